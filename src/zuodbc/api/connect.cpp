// SQLConnect, SQLDriverConnect, SQLBrowseConnect.

#include "zuodbc/call/entry.h"
#include "zuodbc/call/text.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driver/attach.h"
#include "zuodbc/sources/connectionstring.h"
#include "zuodbc/sources/datasource.h"

using namespace dm;

namespace {

SQLSMALLINT length16(const std::string& text) { return static_cast<SQLSMALLINT>(text.size()); }

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

// What the connect functions share around their own driver call. `connect` returns the driver's code, or
// kDriverLacksFunction.
template <class Connect>
SQLRETURN connectThrough(DMConn& conn, Api api, const std::string& library, const std::string& dataSource,
                         Connect&& connect) {
  Attachment attachment(conn);
  const SQLRETURN attached = attachDriver(conn, library);
  if (!SQL_SUCCEEDED(attached)) return attached;
  conn.state->dataSource = dataSource;
  const SQLRETURN rc = attachment.conclude(askDriver(conn, *conn.driverFunctions, api, connect), api);
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

// A driver without SQLConnect gets the same as a connection string.
SQLRETURN connectByName(DMConn& conn, const DMDriverFunctions& driver, std::string& name, std::string& user,
                        std::string& password) {
  if (driver.SQLConnect) {
    return ask(driver.SQLConnect, conn.driverHandle, bytes(name), length16(name), bytes(user), length16(user),
               bytes(password), length16(password));
  }
  std::string text = "DSN=" + quoteValue(name);
  if (!user.empty()) text += ";UID=" + quoteValue(user);
  if (!password.empty()) text += ";PWD=" + quoteValue(password);
  SQLSMALLINT length = 0;
  SQLCHAR out[1024];
  return ask(driver.SQLDriverConnect, conn.driverHandle, SQLHWND(nullptr), bytes(text), length16(text),
             &out[0], static_cast<SQLSMALLINT>(sizeof out), &length,
             static_cast<SQLUSMALLINT>(SQL_DRIVER_NOPROMPT));
}

// What a connection string says about where to go.
struct Destination {
  std::string library;
  std::string dataSource;  // empty when the string names a driver
};

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
    out.library = libraryOfDriver(*driver);
    return true;
  }
  if (!dataSource && attributes.find("FILEDSN")) {
    postError(conn, "IM002", "File data sources are not supported");
    return false;
  }
  std::string driverName;
  out.dataSource = resolveDataSource(conn, dataSource ? *dataSource : "Default", driverName);
  if (out.dataSource.empty()) return false;
  out.library = libraryOfDriver(driverName);
  return true;
}

bool readDestination(DMConn& conn, const SQLCHAR* in, SQLSMALLINT inLength, std::string& text,
                     ConnectionString& attributes, Destination& destination) {
  if (!readText(conn, in, inLength, text)) return false;
  if (text.size() > kLongestText) {
    postError(conn, "HY090");
    return false;
  }
  std::string why;
  if (!attributes.parse(text, why)) {
    postError(conn, "HY000", why);
    return false;
  }
  if (!findDestination(conn, attributes, destination)) return false;
  if (!attributes.find("DSN") && !attributes.find("DRIVER")) {
    text = "DSN=" + destination.dataSource + (text.empty() ? "" : ";") + text;
  }
  return true;
}

struct OutText {
  SQLCHAR* text;
  SQLSMALLINT size;
  SQLSMALLINT* length;
};

SQLRETURN driverConnect(DMConn& conn, const DMDriverFunctions& driver, std::string& text,
                        const ConnectionString& attributes, const OutText& out, SQLHWND window,
                        SQLUSMALLINT completion) {
  if (driver.SQLDriverConnect) {
    return ask(driver.SQLDriverConnect, conn.driverHandle, window, bytes(text), length16(text), out.text,
               out.size, out.length, completion);
  }
  const auto value = [&](const char* keyword) {
    return attributes.find(keyword) ? *attributes.find(keyword) : std::string();
  };
  std::string name = value("DSN"), user = value("UID"), password = value("PWD");
  if (name.empty()) return kDriverLacksFunction;
  const SQLRETURN rc = connectByName(conn, driver, name, user, password);
  if (SQL_SUCCEEDED(rc) && !copyText(text, out.text, out.size, out.length)) {
    postError(conn, "01004");
    return kWarnedHere;
  }
  return rc;
}

SQLRETURN browse(DMConn& conn, SQLCHAR* in, SQLSMALLINT inLength, const OutText& out) {
  std::string text;
  ConnectionString attributes;
  Destination destination;
  const auto work = [&](DMConn& conn, const DMDriverFunctions& driver) {
    return ask(driver.SQLBrowseConnect, conn.driverHandle, bytes(text), length16(text), out.text, out.size,
               out.length);
  };
  if (!conn.state->browsing) {
    if (!readDestination(conn, in, inLength, text, attributes, destination)) return SQL_ERROR;
    return connectThrough(conn, Api::BrowseConnect, destination.library, destination.dataSource, work);
  }
  if (!readText(conn, in, inLength, text)) return SQL_ERROR;
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

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLConnect(SQLHDBC handle, SQLCHAR* name, SQLSMALLINT nameLength, SQLCHAR* user,
                                    SQLSMALLINT userLength, SQLCHAR* password, SQLSMALLINT passwordLength) {
  return callOwn(findConnection(handle), Api::Connect, [&](DMConn& conn) -> SQLRETURN {
    std::string nameText, userText, passwordText, driver;
    if (!isFree(conn, Api::Connect) || !readText(conn, name, nameLength, nameText) ||
        !readText(conn, user, userLength, userText) ||
        !readText(conn, password, passwordLength, passwordText))
      return SQL_ERROR;
    if (std::max(userText.size(), passwordText.size()) > kLongestText) return fail(conn, "HY090");
    std::string dataSource = resolveDataSource(conn, nameText, driver);
    if (dataSource.empty()) return SQL_ERROR;
    return connectThrough(conn, Api::Connect, libraryOfDriver(driver), dataSource,
                          [&](DMConn& conn, const DMDriverFunctions& driver) {
                            return connectByName(conn, driver, dataSource, userText, passwordText);
                          });
  });
}

ZU_API SQLRETURN SQL_API SQLDriverConnect(SQLHDBC handle, SQLHWND window, SQLCHAR* in, SQLSMALLINT inLength,
                                          SQLCHAR* out, SQLSMALLINT outSize, SQLSMALLINT* outLength,
                                          SQLUSMALLINT completion) {
  return callOwn(findConnection(handle), Api::DriverConnect, [&](DMConn& conn) -> SQLRETURN {
    std::string text;
    ConnectionString attributes;
    Destination destination;
    if (!isFree(conn, Api::DriverConnect)) return SQL_ERROR;
    if (completion > SQL_DRIVER_COMPLETE_REQUIRED) return fail(conn, "HY110");
    if (outSize < 0) return fail(conn, "HY090");
    if (!readDestination(conn, in, inLength, text, attributes, destination)) return SQL_ERROR;
    return connectThrough(
        conn, Api::DriverConnect, destination.library, destination.dataSource,
        [&](DMConn& conn, const DMDriverFunctions& driver) {
          return driverConnect(conn, driver, text, attributes, {out, outSize, outLength}, window, completion);
        });
  });
}

ZU_API SQLRETURN SQL_API SQLBrowseConnect(SQLHDBC handle, SQLCHAR* in, SQLSMALLINT inLength, SQLCHAR* out,
                                          SQLSMALLINT outSize, SQLSMALLINT* outLength) {
  return callOwn(findConnection(handle), Api::BrowseConnect, [&](DMConn& conn) -> SQLRETURN {
    if (!isFree(conn, Api::BrowseConnect)) return SQL_ERROR;
    if (outSize < 0) return fail(conn, "HY090");
    return browse(conn, in, inLength, {out, outSize, outLength});
  });
}
}
