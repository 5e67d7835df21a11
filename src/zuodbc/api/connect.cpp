// SQLConnect, SQLDriverConnect, SQLBrowseConnect.

#include <strings.h>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driver/attach.h"
#include "zuodbc/driver/pool.h"
#include "zuodbc/sources/codepage.h"
#include "zuodbc/sources/connectionstring.h"
#include "zuodbc/sources/datasource.h"

using namespace dm;

namespace {

using In = TextIn<SQLSMALLINT>;
using Out = TextOut<SQLSMALLINT>;

// The longest text that fits the 16-bit length of the connect functions.
constexpr size_t kLongestText = 32767;

// Frees the driver's handles at its end unless the connection is complete, also after an exception.
class Attachment {
 public:
  explicit Attachment(DMConn& conn) : conn(conn) {}
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;
  ~Attachment() {
    if (kept) return;
    if (connected) {
      guardQuietly([&] { return ask(conn.driverFunctions->SQLDisconnect, conn.driverHandle); });
    }
    detachDriver(conn);
  }

  // Completes the connection after the driver's own function has returned `rc`, or waits for the next step of
  // a browse.
  SQLRETURN conclude(SQLRETURN rc, Api api) {
    settleErrors(conn);
    if (rc == SQL_NEED_DATA && api == Api::BrowseConnect) {
      kept = conn.state->browsing = true;
      return rc;
    }
    if (!SQL_SUCCEEDED(rc)) return rc;
    connected = true;
    const SQLRETURN completed = completeConnection(conn);
    if (!SQL_SUCCEEDED(completed)) return completed;
    kept = true;
    return joined(rc, completed);
  }

 private:
  DMConn& conn;
  bool connected = false;
  bool kept = false;
};

// Where a connection goes to.
struct Destination {
  std::string library;
  std::string driver;      // as the connection string or the data source names it
  std::string dataSource;  // empty when the string names a driver
};

// What the connect functions share around their own driver call. `connect` returns the driver's code, or
// kDriverLacksFunction. `request` is all that the application asked for, by which a pooled connection is
// found; empty: not from the pool.
template <class Connect>
SQLRETURN connectThrough(DMConn& conn, Api api, Form form, const Destination& destination,
                         const std::string& request, Connect&& connect) {
  const std::string& library = destination.library;
  Attachment attachment(conn);
  const SQLRETURN attached = attachDriver(conn, library, form == Form::Wide);
  if (!SQL_SUCCEEDED(attached)) return attached;
  conn.state->dataSource = destination.dataSource;
  const PoolKey key =
      request.empty() ? PoolKey() : poolKey(conn, library, destination.driver, form == Form::Wide, request);
  const bool isPooled = !key.text.empty() && takePooled(conn, key.text);
  const SQLRETURN rc = attachment.conclude(
      isPooled ? SQLRETURN(SQL_SUCCESS) : askDriver(conn, *conn.driverFunctions, api, connect), api);
  if (SQL_SUCCEEDED(rc) && !key.text.empty()) notePoolKey(conn, key);
  return SQL_SUCCEEDED(rc) ? joined(attached, rc) : rc;
}

// The data source to use for a name: the name itself or "Default". Empty: there is none (IM002 posted).
std::string resolveDataSource(DMConn& conn, const std::string& name, std::string& driver) {
  if (name.size() > kMaxDataSourceName) {
    postError(conn, "IM010");
    return {};
  }
  for (const std::string& candidate : {name, std::string("Default")}) {
    driver = driverOfDataSource(candidate);
    if (!driver.empty()) return candidate;
  }
  postError(conn, "IM002", "Data source name not found, and no default driver specified: '" + name + "'");
  return {};
}

// What SQLConnect is given, as readText keeps it: in one of the forms Narrow and Utf8.
struct Credentials {
  std::string name, user, password;
  Form form;
};

// A driver without SQLConnect gets the same as a connection string.
SQLRETURN connectByName(DMConn& conn, const DMDriverFunctions& driver, const Credentials& given) {
  const auto entries = DM_ENTRIES(driver, SQLConnect);
  const auto held = [&](const std::string& text) { return heldIn<SQLSMALLINT>(text, given.form); };
  if (entries)
    return askText(conn, entries, conn.driverHandle, held(given.name), held(given.user),
                   held(given.password));
  std::string text = "DSN=" + quoteValue(given.name);
  if (!given.user.empty()) text += ";UID=" + quoteValue(given.user);
  if (!given.password.empty()) text += ";PWD=" + quoteValue(given.password);
  SQLSMALLINT length = 0;
  char out[1024];
  return askText(conn, DM_ENTRIES(driver, SQLDriverConnect), conn.driverHandle, SQLHWND(nullptr), held(text),
                 Out{out, sizeof out, &length, given.form}, static_cast<SQLUSMALLINT>(SQL_DRIVER_NOPROMPT));
}

// DSN or DRIVER, whichever comes first; without either, the default data source.
bool findDestination(DMConn& conn, const ConnectionString& attributes, Destination& out) {
  const std::string* dataSource = attributes.find("DSN");
  const std::string* driver = attributes.find("DRIVER");
  if (dataSource && driver && driver < dataSource) dataSource = nullptr;
  if (!dataSource && driver) {
    if (driver->empty()) {
      postError(conn, "IM012", "DRIVER keyword syntax error: the value is empty");
      return false;
    }
    out.driver = *driver;
    out.library = libraryOfDriver(out.driver);
    return true;
  }
  if (!dataSource && attributes.find("FILEDSN")) {
    postError(conn, "IM002", "File data sources are not supported");
    return false;
  }
  out.dataSource = resolveDataSource(conn, dataSource ? *dataSource : "Default", out.driver);
  if (out.dataSource.empty()) return false;
  out.library = libraryOfDriver(out.driver);
  return true;
}

constexpr const char* kCursorsKeyword = "Cursors";

// Whose cursors the connection uses, by the connection string or the data source, so that no program has to
// be changed to scroll. False, with HY024 posted, if that is none of the three words.
bool readCursors(DMConn& conn, const std::string* given, const std::string& dataSource) {
  const std::string word = given ? *given : valueOf(dataSource, kCursorsKeyword);
  std::optional<SQLULEN>& cursors = conn.state->configuredCursors;
  cursors.reset();
  if (word.empty()) return true;
  if (strcasecmp(word.c_str(), "library") == 0) cursors = SQL_CUR_USE_ODBC;
  if (strcasecmp(word.c_str(), "ifneeded") == 0) cursors = SQL_CUR_USE_IF_NEEDED;
  if (strcasecmp(word.c_str(), "driver") == 0) cursors = SQL_CUR_USE_DRIVER;
  if (!cursors)
    postError(conn, "HY024", "Cursors is neither library nor ifneeded nor driver: '" + word + "'");
  return cursors.has_value();
}

// A connection string on its way to the driver: the caller's own, unless something had to be put before it.
struct Request {
  In given;
  std::string text;  // as readText keeps it
  bool isChanged = false;
  ConnectionString attributes;
  Destination destination;

  In forDriver() const { return isChanged ? heldIn<SQLSMALLINT>(text, keptForm(given.form)) : given; }
};

bool readDestination(DMConn& conn, Request& request) {
  std::string& text = request.text;
  if (!readText(conn, request.given, text)) return false;
  if (text.size() > kLongestText) {
    postError(conn, "HY090");
    return false;
  }
  std::string why;
  if (!request.attributes.parse(text, why)) {
    postError(conn, "HY000", why);
    return false;
  }
  Destination& destination = request.destination;
  if (!findDestination(conn, request.attributes, destination)) return false;
  const bool isDefault = !request.attributes.find("DSN") && !request.attributes.find("DRIVER");
  if (isDefault) {
    text = "DSN=" + destination.dataSource + (text.empty() ? "" : ";") + text;
    request.isChanged = true;
  }
  const std::string* cursors = request.attributes.find(kCursorsKeyword);
  if (!readCursors(conn, cursors, destination.dataSource)) return false;
  if (cursors) {  // the driver does not know the keyword
    text = (isDefault ? "DSN=" + destination.dataSource + ';' : std::string()) +
           request.attributes.without(kCursorsKeyword);
    request.isChanged = true;
  }
  // Null is an empty string to the driver manager, but not to every driver.
  if (!request.given.text) request.isChanged = true;
  useCodePage(conn, codePageOf(text, destination.dataSource));
  return true;
}

SQLRETURN driverConnect(DMConn& conn, const DMDriverFunctions& driver, const Request& request, const Out& out,
                        SQLHWND window, SQLUSMALLINT completion) {
  const auto entries = DM_ENTRIES(driver, SQLDriverConnect);
  if (entries) return askText(conn, entries, conn.driverHandle, window, request.forDriver(), out, completion);
  const auto value = [&](const char* keyword) {
    const std::string* found = request.attributes.find(keyword);
    return found ? *found : std::string();
  };
  const Credentials credentials{value("DSN"), value("UID"), value("PWD"), keptForm(request.given.form)};
  if (credentials.name.empty()) return kDriverLacksFunction;
  const SQLRETURN rc = connectByName(conn, driver, credentials);
  if (SQL_SUCCEEDED(rc) &&
      copyText(&conn, request.text, pageOf(&conn, keptForm(request.given.form)), out) == Copied::Cut) {
    postError(conn, "01004");
    return kWarnedHere;
  }
  return rc;
}

SQLRETURN browse(DMConn& conn, const In& in, const Out& out) {
  Request request{in, {}, false, {}, {}};
  const auto work = [&](DMConn& conn, const DMDriverFunctions& driver) {
    return askText(conn, DM_ENTRIES(driver, SQLBrowseConnect), conn.driverHandle, request.forDriver(), out);
  };
  if (!conn.state->browsing) {
    if (!readDestination(conn, request)) return SQL_ERROR;
    return connectThrough(conn, Api::BrowseConnect, in.form, request.destination, {}, work);
  }
  if (!readText(conn, in, request.text)) return SQL_ERROR;
  request.isChanged = !in.text;
  Attachment attachment(conn);
  return attachment.conclude(askDriver(conn, *conn.driverFunctions, Api::BrowseConnect, work),
                             Api::BrowseConnect);
}

// 08002 when the connection is in use; a browse in progress goes on with SQLBrowseConnect alone.
bool isFree(DMConn& conn, Api api) {
  if (conn.state->connected || (conn.state->browsing && api != Api::BrowseConnect)) {
    postError(conn, "08002");
    return false;
  }
  return true;
}

// Before there is a driver, texts are as the application's: UTF-8 of a wide one.
void speakAs(DMConn& conn, Form form) {
  if (!conn.state->browsing) conn.state->isWide = form == Form::Wide;
  if (form == Form::Wide) __atomic_store_n(&conn.env->utf8Mode, 0, __ATOMIC_RELAXED);
}

SQLRETURN connect(SQLHDBC handle, const In& name, const In& user, const In& password) {
  return callOwn(findConnection(handle), Api::Connect, [&](DMConn& conn) -> SQLRETURN {
    if (!isFree(conn, Api::Connect)) return SQL_ERROR;
    speakAs(conn, name.form);
    Credentials given{{}, {}, {}, keptForm(name.form)};
    Destination destination;
    if (!readText(conn, name, given.name) || !readText(conn, user, given.user) ||
        !readText(conn, password, given.password))
      return SQL_ERROR;
    if (std::max(given.user.size(), given.password.size()) > kLongestText) return fail(conn, "HY090");
    given.name = destination.dataSource = resolveDataSource(conn, given.name, destination.driver);
    if (given.name.empty()) return SQL_ERROR;
    destination.library = libraryOfDriver(destination.driver);
    if (!readCursors(conn, nullptr, given.name)) return SQL_ERROR;
    useCodePage(conn, codePageOf({}, given.name));
    const std::string request = given.name + '\0' + given.user + '\0' + given.password;
    return connectThrough(
        conn, Api::Connect, name.form, destination, request,
        [&](DMConn& conn, const DMDriverFunctions& driver) { return connectByName(conn, driver, given); });
  });
}

SQLRETURN connectByString(SQLHDBC handle, SQLHWND window, const In& in, const Out& out,
                          SQLUSMALLINT completion) {
  return callOwn(findConnection(handle), Api::DriverConnect, [&](DMConn& conn) -> SQLRETURN {
    Request request{in, {}, false, {}, {}};
    if (!isFree(conn, Api::DriverConnect)) return SQL_ERROR;
    if (completion > SQL_DRIVER_COMPLETE_REQUIRED) return fail(conn, "HY110");
    if (const char* wrong = checkSize(out)) return fail(conn, wrong);
    speakAs(conn, in.form);
    if (!readDestination(conn, request)) return SQL_ERROR;
    bool isAsked = false;
    const SQLRETURN rc =
        connectThrough(conn, Api::DriverConnect, in.form, request.destination, ' ' + request.text,
                       [&](DMConn& conn, const DMDriverFunctions& driver) {
                         isAsked = true;
                         return driverConnect(conn, driver, request, out, window, completion);
                       });
    // A pooled connection was made by this same string.
    if (!SQL_SUCCEEDED(rc) || isAsked) return rc;
    return joined(rc, writeText(conn, request.text, keptForm(in.form), out));
  });
}

SQLRETURN browseConnect(SQLHDBC handle, const In& in, const Out& out) {
  return callOwn(findConnection(handle), Api::BrowseConnect, [&](DMConn& conn) -> SQLRETURN {
    if (!isFree(conn, Api::BrowseConnect)) return SQL_ERROR;
    if (const char* wrong = checkSize(out)) return fail(conn, wrong);
    speakAs(conn, in.form);
    return browse(conn, in, out);
  });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLConnect(SQLHDBC handle, SQLCHAR* name, SQLSMALLINT nameLength, SQLCHAR* user,
                                    SQLSMALLINT userLength, SQLCHAR* password, SQLSMALLINT passwordLength) {
  return traced("SQLConnect", connect, handle, textIn(name, nameLength), textIn(user, userLength),
                textIn(password, passwordLength, Secrecy::Password));
}
ZU_API SQLRETURN SQL_API SQLConnectW(SQLHDBC handle, SQLWCHAR* name, SQLSMALLINT nameLength, SQLWCHAR* user,
                                     SQLSMALLINT userLength, SQLWCHAR* password, SQLSMALLINT passwordLength) {
  return traced("SQLConnectW", connect, handle, textIn(name, nameLength), textIn(user, userLength),
                textIn(password, passwordLength, Secrecy::Password));
}
DM_ALIAS(SQLConnect);

ZU_API SQLRETURN SQL_API SQLDriverConnect(SQLHDBC handle, SQLHWND window, SQLCHAR* in, SQLSMALLINT inLength,
                                          SQLCHAR* out, SQLSMALLINT outSize, SQLSMALLINT* outLength,
                                          SQLUSMALLINT completion) {
  return traced("SQLDriverConnect", connectByString, handle, window,
                textIn(in, inLength, Secrecy::ConnectionString), textOut(out, outSize, outLength),
                completion);
}
ZU_API SQLRETURN SQL_API SQLDriverConnectW(SQLHDBC handle, SQLHWND window, SQLWCHAR* in, SQLSMALLINT inLength,
                                           SQLWCHAR* out, SQLSMALLINT outSize, SQLSMALLINT* outLength,
                                           SQLUSMALLINT completion) {
  return traced("SQLDriverConnectW", connectByString, handle, window,
                textIn(in, inLength, Secrecy::ConnectionString), textOut(out, outSize, outLength),
                completion);
}
DM_ALIAS(SQLDriverConnect);

ZU_API SQLRETURN SQL_API SQLBrowseConnect(SQLHDBC handle, SQLCHAR* in, SQLSMALLINT inLength, SQLCHAR* out,
                                          SQLSMALLINT outSize, SQLSMALLINT* outLength) {
  return traced("SQLBrowseConnect", browseConnect, handle, textIn(in, inLength, Secrecy::ConnectionString),
                textOut(out, outSize, outLength));
}
ZU_API SQLRETURN SQL_API SQLBrowseConnectW(SQLHDBC handle, SQLWCHAR* in, SQLSMALLINT inLength, SQLWCHAR* out,
                                           SQLSMALLINT outSize, SQLSMALLINT* outLength) {
  return traced("SQLBrowseConnectW", browseConnect, handle, textIn(in, inLength, Secrecy::ConnectionString),
                textOut(out, outSize, outLength));
}
DM_ALIAS(SQLBrowseConnect);

}  // extern "C"
