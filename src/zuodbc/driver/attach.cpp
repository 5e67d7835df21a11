#include "zuodbc/driver/attach.h"

#include <strings.h>

#include <algorithm>
#include <cstdint>

#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/messagecatalog.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driver/connectionattributes.h"
#include "zuodbc/driver/driverloading.h"
#include "zuodbc/sources/datasource.h"

namespace dm {
namespace {

// Used where a driver gives no limit: no name is longer than this in practice.
constexpr unsigned short kUsualNameLength = 255;

SQLRETURN allocateDriverHandles(DMConn& conn) {
  const DMDriverFunctions& driver = *conn.driverFunctions;
  SQLRETURN rc = driver.SQLAllocHandle
                     ? ask(driver.SQLAllocHandle, SQL_HANDLE_ENV, SQLHANDLE(nullptr), &conn.state->driverEnv)
                     : ask(driver.SQLAllocEnv, &conn.state->driverEnv);
  if (!SQL_SUCCEEDED(rc)) {
    conn.state->driverEnv = nullptr;
    return fail(conn, "IM004");
  }
  const auto version = static_cast<SQLULEN>(conn.env->odbcVersion);
  rc = ask(driver.SQLSetEnvAttr, conn.state->driverEnv, static_cast<SQLINTEGER>(SQL_ATTR_ODBC_VERSION),
           asPointer(version), static_cast<SQLINTEGER>(SQL_IS_UINTEGER));
  conn.state->driverKnowsVersion = SQL_SUCCEEDED(rc);
  rc = driver.SQLAllocHandle
           ? ask(driver.SQLAllocHandle, SQL_HANDLE_DBC, conn.state->driverEnv, &conn.driverHandle)
           : ask(driver.SQLAllocConnect, conn.state->driverEnv, &conn.driverHandle);
  if (!SQL_SUCCEEDED(rc)) {
    conn.driverHandle = nullptr;
    return fail(conn, "IM005");
  }
  return SQL_SUCCESS;
}

std::string askText(DMConn& conn, SQLUSMALLINT type) {
  char text[256] = "";
  SQLSMALLINT length = 0;
  const SQLRETURN rc = crossToDriver(conn, DM_ENTRIES(*conn.driverFunctions, SQLGetInfo), conn.driverHandle,
                                     type, heldOut(text, static_cast<SQLSMALLINT>(sizeof text), &length))
                           .rc;
  text[sizeof text - 1] = '\0';
  return SQL_SUCCEEDED(rc) ? text : "";
}

template <class Number>
Number askNumber(DMConn& conn, SQLUSMALLINT type, Number otherwise) {
  SQLULEN cell = 0;  // wide enough for any driver's idea of the number
  SQLSMALLINT length = 0;
  const DMDriverFunctions& driver = *conn.driverFunctions;
  const SQLRETURN rc =
      ask(driver.SQLGetInfo ? driver.SQLGetInfo : driver.SQLGetInfoW, conn.driverHandle, type,
          static_cast<SQLPOINTER>(&cell), static_cast<SQLSMALLINT>(sizeof cell), &length);
  return SQL_SUCCEEDED(rc) ? static_cast<Number>(cell) : otherwise;
}

// "03.51" is 351. A driver that does not know the question is of version 1.
unsigned short parseVersion(const std::string& text) {
  const size_t dot = text.find('.');
  const int major = std::atoi(text.c_str());
  const int minor = dot == std::string::npos ? 0 : std::atoi(text.substr(dot + 1, 2).c_str());
  const bool isVersion = major >= 1 && major <= 99 && minor >= 0;
  return static_cast<unsigned short>(isVersion ? major * 100 + minor : 100);
}

unsigned short askBehavior(DMConn& conn, SQLUSMALLINT type) {
  return askNumber<unsigned short>(conn, type, SQL_CB_DELETE);
}

void learnAboutDriver(DMConn& conn) {
  conn.driverVersion = parseVersion(askText(conn, SQL_DRIVER_ODBC_VER));
  conn.cursorBehavior[SQL_COMMIT] = askBehavior(conn, SQL_CURSOR_COMMIT_BEHAVIOR);
  conn.cursorBehavior[SQL_ROLLBACK] = askBehavior(conn, SQL_CURSOR_ROLLBACK_BEHAVIOR);
  conn.activeStatements = askNumber<unsigned short>(conn, SQL_ACTIVE_STATEMENTS, 0);
  std::string quote = askText(conn, SQL_IDENTIFIER_QUOTE_CHAR);
  if (quote == " ") quote.clear();  // how a driver says that it quotes nothing
  quote.copy(conn.identifierQuote, sizeof conn.identifierQuote - 1);
  // The driver counts characters; a UTF-16 unit has up to three bytes in UTF-8.
  const auto orUsual = [&](unsigned short length) -> unsigned short {
    const unsigned bytes = (length == 0 ? kUsualNameLength : length) * (conn.state->isWide ? 3u : 1u);
    return static_cast<unsigned short>(std::min<unsigned>(bytes, UINT16_MAX));
  };
  conn.maxColumnNameLength = orUsual(askNumber<unsigned short>(conn, SQL_MAX_COLUMN_NAME_LEN, 0));
  conn.maxCursorNameLength = orUsual(askNumber<unsigned short>(conn, SQL_MAX_CURSOR_NAME_LEN, 0));
  conn.caseSensitiveIdentifiers = askNumber<unsigned short>(conn, SQL_IDENTIFIER_CASE, 0) == SQL_IC_SENSITIVE;
}

bool wantsCursorLibrary(DMConn& conn) {
  switch (conn.state->configuredCursors.value_or(conn.state->odbcCursors)) {
    case SQL_CUR_USE_ODBC: return true;
    case SQL_CUR_USE_IF_NEEDED:
      return (askNumber<SQLUINTEGER>(conn, SQL_SCROLL_OPTIONS, 0) & SQL_SO_STATIC) == 0;
    default: return false;
  }
}

SQLRETURN freeInDriver(SQLSMALLINT type, SQLHANDLE handle, const DMDriverFunctions& driver) {
  if (!handle) return SQL_SUCCESS;
  if (driver.SQLFreeHandle) return ask(driver.SQLFreeHandle, type, handle);
  return type == SQL_HANDLE_DBC ? ask(driver.SQLFreeConnect, handle) : ask(driver.SQLFreeEnv, handle);
}

}  // namespace

SQLRETURN attachDriver(DMConn& conn, const std::string& library, bool byWide) {
  std::string why;
  const LoadedDriver* driver = loadDriver(library, why);
  if (!driver) return fail(conn, "IM003", "Specified driver could not be loaded: " + why);
  conn.state->functions = std::make_unique<DMDriverFunctions>(driver->functions());
  conn.state->driver = driver;
  conn.driverFunctions = conn.state->functions.get();
  const DMDriverFunctions& table = *conn.driverFunctions;
  const bool hasWide = table.SQLConnectW || table.SQLDriverConnectW;
  const bool hasNarrow = table.SQLConnect || table.SQLDriverConnect;
  conn.state->isWide = hasWide && (byWide || !hasNarrow);
  const SQLRETURN rc = allocateDriverHandles(conn);
  return SQL_SUCCEEDED(rc) ? joined(rc, applyKeptAttributes(conn, true)) : rc;
}

SQLRETURN completeConnection(DMConn& conn) {
  learnAboutDriver(conn);
  if (wantsCursorLibrary(conn)) {
    std::string why;
    conn.state->cursorLibrary = loadCursorLibrary(why);
    if (!conn.state->cursorLibrary)
      return fail(conn, "IM003", "The cursor library could not be loaded: " + why);
    openMessages();
    const std::string lock = valueOf("ODBC", "CursorLibraryLock");
    if (strcasecmp(lock.c_str(), "connection") == 0) conn.libraryLock = &conn.ownLibraryLock;
  }
  const SQLRETURN rc = applyKeptAttributes(conn, false);
  conn.state->connected = true;
  conn.state->browsing = false;
  return rc;
}

void detachDriver(DMConn& conn) noexcept {
  DMConnState& state = *conn.state;
  if (conn.driverFunctions) {
    const DMDriverFunctions& driver = *conn.driverFunctions;
    guardQuietly([&] { return freeInDriver(SQL_HANDLE_DBC, conn.driverHandle, driver); });
    guardQuietly([&] { return freeInDriver(SQL_HANDLE_ENV, state.driverEnv, driver); });
  }
  conn.driverHandle = nullptr;
  conn.driverFunctions = nullptr;
  conn.driverVersion = 0;
  conn.setResultOpen(false);
  conn.identifierQuote[0] = '\0';
  state.driverEnv = nullptr;
  state.functions.reset();
  state.driver = nullptr;
  state.cursorLibrary = nullptr;
  state.isWide = false;
  state.configuredCursors.reset();
  conn.libraryLock = nullptr;
  state.connected = state.browsing = state.driverKnowsVersion = false;
  state.rowsetSize = 1;
  state.bindType = SQL_BIND_BY_COLUMN;
  state.dataSource.clear();
}

}  // namespace dm
