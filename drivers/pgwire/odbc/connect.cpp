// Connecting, disconnecting and transactions.

#include <algorithm>

#include "login/login.h"
#include "odbc/connectstring.h"
#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/parameters.h"
#include "odbc/text.h"

namespace pgwire {

namespace {

template <class H>
void deleteAll(Array<H*>& handles) {
  for (H* handle : handles) delete handle;
  handles.clear();
}

int logInto(Connection& conn) {
  if (conn.hasLoginTimeout) conn.settings.loginWait = static_cast<uint32_t>(conn.loginTimeout);
  conn.settings.readOnly = conn.settings.readOnly || conn.accessMode == SQL_MODE_READ_ONLY;
  if (completeSettings(conn.settings) || logIn(conn.session, conn.settings)) return 1;
  conn.session.setConnectionWait(static_cast<uint32_t>(conn.connectionTimeout));
  conn.session.startQueryTimer(0);
  conn.connected = true;
  if (conn.isolation == SQL_TXN_READ_COMMITTED || !conn.setIsolation(conn.isolation)) return 0;
  conn.session.close();
  conn.connected = false;
  return 1;
}

void clearSettings(Settings& s) {
  for (Text* text : {&s.dataSource, &s.driver, &s.server, &s.port, &s.database, &s.user, &s.password,
                     &s.applicationName, &s.options, &s.kerberosName, &s.gssLibrary}) {
    text->clear();
  }
  s.loginWait = Settings().loginWait;
  s.textSize = Settings().textSize;
  s.logStream = s.readOnly = false;
}

// The application's code page is in the string itself: narrow text cannot be read before it is known.
long codePageOf(const SQLCHAR* text, std::size_t length) {
  char* dsn = nullptr;
  const long page = ucnvGetAppCodePage(reinterpret_cast<const char*>(text), length, &dsn);
  ucnv_free(dsn);
  return page;
}
long codePageOf(const SQLWCHAR* text, std::size_t length) {
  char16_t* dsn = nullptr;
  const long page = ucnvGetAppCodePageW(reinterpret_cast<const char16_t*>(text), length, &dsn);
  ucnv_free(dsn);
  return page;
}

int setCodePage(Connection& conn, long page) {
  if (!conn.codePage.initialize(page)) return 0;
  return 1;
}

template <class Char>
SQLRETURN driverConnect(SQLHDBC handle, Char* in, SQLSMALLINT length, Char* out, SQLSMALLINT size,
                        SQLSMALLINT* needed) {
  return enter<Connection>(handle, [&](Connection& conn) {
    if (!in || (length < 0 && length != SQL_NTS)) return codeOf(fail(Issue::BadLength));
    clearSettings(conn.settings);
    if (setCodePage(conn, codePageOf(in, lengthOf(in, length)))) return codeOf(1);
    const TextArgument<Char> text(conn.codePage, in, length);
    Settings& settings = conn.settings;
    if (text.hasFailed() || readConnectString(text.view(), settings)) return codeOf(1);
    if (!settings.dataSource.empty() && readDataSource(settings.dataSource.view(), settings))
      return codeOf(1);
    if (logInto(conn)) return codeOf(1);
    return codeOf(giveText(conn.codePage, text.view(), out, size, needed));
  });
}

// What an application has to give before a login can be tried, or to give again; a star marks what it need
// not.
std::string_view wantedAttributes(const Connection& conn) {
  if (conn.settings.user.empty())
    return "UID:User=?;*PWD:Password=?;*Server:Server=?;*Port:Port=?;*Database:Database=?";
  return "PWD:Password=?";
}

// Each call adds attributes, until they are enough for a login.
template <class Char>
SQLRETURN browseConnect(SQLHDBC handle, Char* in, SQLSMALLINT length, Char* out, SQLSMALLINT size,
                        SQLSMALLINT* needed) {
  return enter<Connection>(handle, [&](Connection& conn) -> SQLRETURN {
    const bool first = !conn.isBrowsing;
    conn.isBrowsing = false;
    if (!in || (length < 0 && length != SQL_NTS)) return codeOf(fail(Issue::BadLength));
    if (first) {
      clearSettings(conn.settings);
      conn.browsed.clear();
      if (setCodePage(conn, codePageOf(in, lengthOf(in, length)))) return SQL_ERROR;
    }
    const TextArgument<Char> text(conn.codePage, in, length);
    Settings& settings = conn.settings;
    if (text.hasFailed() || readConnectString(text.view(), settings) ||
        (!conn.browsed.empty() && conn.browsed.append(';')) || conn.browsed.append(text.view()) ||
        (first && !settings.dataSource.empty() && readDataSource(settings.dataSource.view(), settings))) {
      return SQL_ERROR;
    }
    const bool canTry = !settings.user.empty();
    if (canTry && !logInto(conn))
      return codeOf(giveText(conn.codePage, conn.browsed.view(), out, size, needed));
    if (canTry && !conn.session.wantsPassword) return SQL_ERROR;
    conn.errors.clearErrors();
    if (giveText(conn.codePage, wantedAttributes(conn), out, size, needed)) return SQL_ERROR;
    conn.isBrowsing = true;
    return SQL_NEED_DATA;
  });
}

template <class Char>
SQLRETURN connect(SQLHDBC handle, Char* dsn, SQLSMALLINT dsnLength, Char* user, SQLSMALLINT userLength,
                  Char* password, SQLSMALLINT passwordLength) {
  return enter<Connection>(handle, [&](Connection& conn) {
    Settings& settings = conn.settings;
    clearSettings(settings);
    if (setCodePage(conn, UCNV_IANA_UTF_8)) return codeOf(1);
    const TextArgument<Char> name(conn.codePage, dsn, dsnLength);
    if (name.hasFailed() || settings.dataSource.assign(name.view()) || !settings.dataSource.terminated())
      return codeOf(1);
    if (setCodePage(conn, ucnvGetAppCodePageFromDSN(settings.dataSource.data()))) return codeOf(1);
    const TextArgument<Char> userText(conn.codePage, user, userLength);
    const TextArgument<Char> passwordText(conn.codePage, password, passwordLength);
    if (userText.hasFailed() || passwordText.hasFailed() || settings.user.assign(userText.view()) ||
        settings.password.assign(passwordText.view())) {
      return codeOf(1);
    }
    return codeOf(readDataSource(settings.dataSource.view(), settings) || logInto(conn));
  });
}

SQLRETURN disconnect(Connection& conn) {
  if (conn.session.isAlive() && conn.session.transaction != 'I') {
    if (!conn.autocommit) return codeOf(fail(Issue::TransactionOpen));
  }
  for (Statement* stmt : conn.statements) {
    stmt->replies.abandon();
    stmt->putStream.reset();
  }
  conn.session.close();
  conn.errors.clearErrors();
  deleteAll(conn.statements);
  deleteAll(conn.descriptors);
  conn.connected = conn.isBrowsing = false;
  return SQL_SUCCESS;
}

SQLRETURN endTransaction(SQLHDBC handle, SQLSMALLINT completion) {
  return enter<Connection>(handle, [&](Connection& conn) {
    if (completion != SQL_COMMIT && completion != SQL_ROLLBACK)
      return codeOf(fail(Issue::BadTransactionOperation));
    if (!conn.session.isAlive()) return codeOf(fail(Issue::ConnectionIsDead));
    return codeOf(conn.endTransaction(completion == SQL_COMMIT));
  });
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLDriverConnect(SQLHDBC handle, SQLHWND, SQLCHAR* in, SQLSMALLINT length, SQLCHAR* out,
                                   SQLSMALLINT size, SQLSMALLINT* needed, SQLUSMALLINT) {
  return driverConnect(handle, in, length, out, size, needed);
}
SQLRETURN SQL_API SQLDriverConnectW(SQLHDBC handle, SQLHWND, SQLWCHAR* in, SQLSMALLINT length, SQLWCHAR* out,
                                    SQLSMALLINT size, SQLSMALLINT* needed, SQLUSMALLINT) {
  return driverConnect(handle, in, length, out, size, needed);
}

SQLRETURN SQL_API SQLBrowseConnect(SQLHDBC handle, SQLCHAR* in, SQLSMALLINT length, SQLCHAR* out,
                                   SQLSMALLINT size, SQLSMALLINT* needed) {
  return browseConnect(handle, in, length, out, size, needed);
}
SQLRETURN SQL_API SQLBrowseConnectW(SQLHDBC handle, SQLWCHAR* in, SQLSMALLINT length, SQLWCHAR* out,
                                    SQLSMALLINT size, SQLSMALLINT* needed) {
  return browseConnect(handle, in, length, out, size, needed);
}

SQLRETURN SQL_API SQLConnect(SQLHDBC handle, SQLCHAR* dsn, SQLSMALLINT dsnLength, SQLCHAR* user,
                             SQLSMALLINT userLength, SQLCHAR* password, SQLSMALLINT passwordLength) {
  return connect(handle, dsn, dsnLength, user, userLength, password, passwordLength);
}
SQLRETURN SQL_API SQLConnectW(SQLHDBC handle, SQLWCHAR* dsn, SQLSMALLINT dsnLength, SQLWCHAR* user,
                              SQLSMALLINT userLength, SQLWCHAR* password, SQLSMALLINT passwordLength) {
  return connect(handle, dsn, dsnLength, user, userLength, password, passwordLength);
}

SQLRETURN SQL_API SQLDisconnect(SQLHDBC handle) { return enter<Connection>(handle, disconnect); }

SQLRETURN SQL_API SQLEndTran(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion) {
  // The driver manager ends the transactions of an environment connection by connection.
  return type == SQL_HANDLE_DBC ? endTransaction(handle, completion) : static_cast<SQLRETURN>(SQL_SUCCESS);
}

}  // extern "C"
