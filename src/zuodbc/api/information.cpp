// SQLGetInfo and SQLNativeSql.

#include <cstring>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/text.h"
#include "zuodbc/driver/driverloading.h"

using namespace dm;

namespace {

// The ODBC version that the driver manager speaks, and its own version.
constexpr std::string_view odbcVersion = "03.52";
constexpr std::string_view managerVersion = "03.52.0001.0000";

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

SQLRETURN tellHandle(const void* handle, SQLPOINTER value, SQLSMALLINT* length) {
  if (value) std::memcpy(value, &handle, sizeof handle);
  if (length) *length = sizeof handle;
  return SQL_SUCCESS;
}

// The driver's handle for the application's, which stands in the value cell.
SQLRETURN exchangeHandle(DMConn& conn, int type, SQLPOINTER value, SQLSMALLINT* length) {
  if (!value) return fail(conn, "HY009");
  SQLHANDLE given;
  std::memcpy(&given, value, sizeof given);
  DMHandle* handle = findHandle(type, given);
  if (!handle || connectionOf(*handle) != &conn) return fail(conn, "HY024");
  if (type == DM_DESC) haveDriverDescriptor(static_cast<DMDesc&>(*handle));
  return tellHandle(handle->driverHandle, value, length);
}

SQLRETURN ownInformation(DMConn& conn, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT size,
                         SQLSMALLINT* length) {
  switch (type) {
    case SQL_ODBC_VER: return writeText(conn, odbcVersion, value, size, length);
    case SQL_DM_VER: return writeText(conn, managerVersion, value, size, length);
    case SQL_DRIVER_HENV: return tellHandle(conn.state->driverEnv, value, length);
    case SQL_DRIVER_HDBC: return tellHandle(conn.driverHandle, value, length);
    case SQL_DRIVER_HLIB: return tellHandle(conn.state->driver->module(), value, length);
    case SQL_DRIVER_HSTMT: return exchangeHandle(conn, DM_STMT, value, length);
    default: return exchangeHandle(conn, DM_DESC, value, length);
  }
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
        if (size < 0) return refuse(conn, "HY090");
        return ask(driver.SQLGetInfo, conn.driverHandle, type, value, size, length);
      });
}

ZU_API SQLRETURN SQL_API SQLNativeSql(SQLHDBC handle, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out,
                                      SQLINTEGER outSize, SQLINTEGER* outLength) {
  auto refusal = [&]() -> const char* {
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
