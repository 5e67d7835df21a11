// SQLGetInfo and SQLNativeSql.

#include <cstdint>
#include <cstring>
#include <vector>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/text.h"
#include "zuodbc/driver/driverloading.h"

using namespace dm;

namespace {

// The ODBC version that the driver manager implements, its own version, and the ODBC version of a driver that
// does not know the question.
constexpr std::string_view kOdbcVersion = "03.52";
constexpr std::string_view kManagerVersion = "03.52.0001.0000";
constexpr std::string_view kOldestVersion = "01.00";

bool knownWithoutDriver(SQLUSMALLINT type) { return type == SQL_ODBC_VER || type == SQL_DM_VER; }

bool isOwn(SQLUSMALLINT type) {
  switch (type) {
    case SQL_ODBC_VER:
    case SQL_DM_VER:
    case SQL_DRIVER_HENV:
    case SQL_DRIVER_HDBC:
    case SQL_DRIVER_HSTMT:
    case SQL_DRIVER_HDESC:
    case SQL_DRIVER_HLIB: return true;
    default: return false;
  }
}

SQLRETURN putHandle(const void* handle, SQLPOINTER value, SQLSMALLINT* length) {
  if (value) std::memcpy(value, &handle, sizeof handle);
  if (length) *length = sizeof handle;
  return SQL_SUCCESS;
}

// Replaces the application's handle in the value cell by the driver's.
SQLRETURN exchangeHandle(DMConn& conn, int type, SQLPOINTER value, SQLSMALLINT* length) {
  if (!value) return fail(conn, "HY009");
  SQLHANDLE given;
  std::memcpy(&given, value, sizeof given);
  DMHandle* handle = findHandle(type, given);
  if (!handle || connectionOf(*handle) != &conn) return fail(conn, "HY024");
  if (type == DM_DESC) haveDriverDescriptor(static_cast<DMDesc&>(*handle));
  return putHandle(handle->driverHandle, value, length);
}

SQLRETURN ownInformation(DMConn& conn, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT size,
                         SQLSMALLINT* length) {
  switch (type) {
    case SQL_ODBC_VER: return writeText(conn, kOdbcVersion, value, size, length);
    case SQL_DM_VER: return writeText(conn, kManagerVersion, value, size, length);
    case SQL_DRIVER_HENV: return putHandle(conn.state->driverEnv, value, length);
    case SQL_DRIVER_HDBC: return putHandle(conn.driverHandle, value, length);
    case SQL_DRIVER_HLIB: return putHandle(conn.state->driver->module(), value, length);
    case SQL_DRIVER_HSTMT: return exchangeHandle(conn, DM_STMT, value, length);
    default: return exchangeHandle(conn, DM_DESC, value, length);
  }
}

// Drivers write through null pointers: cells of ours take what the application does not want. `size` bytes
// may be written to the value, however long the text is.
SQLRETURN askDriverInformation(DMConn& conn, const DMDriverFunctions& driver, SQLUSMALLINT type,
                               SQLPOINTER value, SQLSMALLINT size, SQLSMALLINT* length) {
  if (size < 0) return refuse(conn, "HY090");
  std::vector<char> scratch;
  if (!value) {
    scratch.resize(INT16_MAX);
    value = scratch.data();
    size = INT16_MAX;
  }
  SQLSMALLINT scratchLength = 0;
  if (!length) length = &scratchLength;
  const SQLRETURN rc = ask(driver.SQLGetInfo, conn.driverHandle, type, value, size, length);
  if (type != SQL_DRIVER_ODBC_VER || SQL_SUCCEEDED(rc)) return rc;
  return writeText(conn, kOldestVersion, value, size, length) == SQL_SUCCESS ? SQLRETURN(SQL_SUCCESS)
                                                                             : kWarnedHere;
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLGetInfo(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT size,
                                    SQLSMALLINT* length) {
  if (isOwn(type) && !isMarked(static_cast<DMConn*>(handle))) {
    return callOwn(findConnection(handle), Api::GetInfo, [&](DMConn& conn) -> SQLRETURN {
      if (!knownWithoutDriver(type) && !requireConnected(conn)) return SQL_ERROR;
      return ownInformation(conn, type, value, size, length);
    });
  }
  return callConnection(
      handle, Api::GetInfo,
      [&](DMConn& conn, const CursorLibrary& library) -> SQLRETURN {
        if (size < 0) return fail(conn, "HY090");
        return library.CLGetInfo(&conn, type, value, size, length);
      },
      [&](DMConn& conn, const DMDriverFunctions& driver) -> SQLRETURN {
        return askDriverInformation(conn, driver, type, value, size, length);
      });
}

ZU_API SQLRETURN SQL_API SQLNativeSql(SQLHDBC handle, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out,
                                      SQLINTEGER outSize, SQLINTEGER* outLength) {
  const auto refusal = [&]() -> const char* {
    if (!sql) return "HY009";
    if ((length < 0 && length != SQL_NTS) || outSize < 0) return "HY090";
    return nullptr;
  };
  return callConnection(
      handle, Api::NativeSql,
      [&](DMConn& conn, const CursorLibrary& library) -> SQLRETURN {
        if (const char* refused = refusal()) return fail(conn, refused);
        return library.CLNativeSql(&conn, sql, length, out, outSize, outLength);
      },
      [&](DMConn& conn, const DMDriverFunctions& driver) -> SQLRETURN {
        if (const char* refused = refusal()) return refuse(conn, refused);
        return ask(driver.SQLNativeSql, conn.driverHandle, sql, length, out, outSize, outLength);
      });
}
}
