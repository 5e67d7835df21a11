// SQLGetInfo and SQLNativeSql.

#include <cstdint>
#include <cstring>
#include <vector>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/textfields.h"
#include "zuodbc/call/trace.h"
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

SQLRETURN ownInformation(DMConn& conn, SQLUSMALLINT type, const TextOut<SQLSMALLINT>& out) {
  switch (type) {
    case SQL_ODBC_VER: return writeText(conn, kOdbcVersion, Form::Internal, out);
    case SQL_DM_VER: return writeText(conn, kManagerVersion, Form::Internal, out);
    case SQL_DRIVER_HENV: return putHandle(conn.state->driverEnv, out.buffer, out.length);
    case SQL_DRIVER_HDBC: return putHandle(conn.driverHandle, out.buffer, out.length);
    case SQL_DRIVER_HLIB: return putHandle(conn.state->driver->module(), out.buffer, out.length);
    case SQL_DRIVER_HSTMT: return exchangeHandle(conn, DM_STMT, out.buffer, out.length);
    default: return exchangeHandle(conn, DM_DESC, out.buffer, out.length);
  }
}

// Drivers write through null pointers: cells of ours take what the application does not want. `size` bytes
// may be written to the value, however long the text is.
SQLRETURN askDriverInformation(DMConn& conn, const DMDriverFunctions& driver, SQLUSMALLINT type,
                               TextOut<SQLSMALLINT> out) {
  if (out.size < 0) return refuse(conn, "HY090");
  std::vector<char> scratch;
  if (!out.buffer) {
    scratch.resize(INT16_MAX - 1);
    out.buffer = scratch.data();
    out.size = INT16_MAX - 1;
  }
  SQLSMALLINT scratchLength = 0;
  if (!out.length) out.length = &scratchLength;
  const SQLRETURN rc = askText(conn, DM_ENTRIES(driver, SQLGetInfo), conn.driverHandle, type, out);
  if (type != SQL_DRIVER_ODBC_VER || SQL_SUCCEEDED(rc)) return rc;
  return writeText(conn, kOldestVersion, Form::Internal, out) == SQL_SUCCESS ? SQLRETURN(SQL_SUCCESS)
                                                                             : kWarnedHere;
}

SQLRETURN getInfo(SQLHDBC handle, SQLUSMALLINT type, const TextOut<SQLSMALLINT>& out) {
  // A negative size is wrong for every type; an odd one for text only.
  const auto refusal = [&]() -> const char* {
    if (out.size < 0) return "HY090";
    return checkSize(out);
  };
  if (isOwn(type) && !isMarked(static_cast<DMConn*>(handle))) {
    return callOwn(findConnection(handle), Api::GetInfo, [&](DMConn& conn) -> SQLRETURN {
      if (!knownWithoutDriver(type) && !requireConnected(conn)) return SQL_ERROR;
      if (const char* refused = checkSize(out)) return fail(conn, refused);
      return ownInformation(conn, type, out);
    });
  }
  return callConnection(
      handle, Api::GetInfo,
      [&](DMConn& conn, const CursorLibrary& library) -> SQLRETURN {
        if (const char* refused = refusal()) return fail(conn, refused);
        return askLibrary(conn, library.CLGetInfo, type, out);
      },
      [&](DMConn& conn, const DMDriverFunctions& driver) -> SQLRETURN {
        if (const char* refused = refusal()) return refuse(conn, refused);
        return askDriverInformation(conn, driver, type, out);
      });
}

SQLRETURN nativeSql(SQLHDBC handle, const TextIn<SQLINTEGER>& sql, const TextOut<SQLINTEGER>& out) {
  const auto refusal = [&]() -> const char* {
    if (const char* wrong = checkText(sql)) return wrong;
    return checkSize(out);
  };
  return callConnection(
      handle, Api::NativeSql,
      [&](DMConn& conn, const CursorLibrary& library) -> SQLRETURN {
        if (const char* refused = refusal()) return fail(conn, refused);
        return askLibrary(conn, library.CLNativeSql, sql, out);
      },
      [&](DMConn& conn, const DMDriverFunctions& driver) -> SQLRETURN {
        if (const char* refused = refusal()) return refuse(conn, refused);
        return askText(conn, DM_ENTRIES(driver, SQLNativeSql), conn.driverHandle, sql, out);
      });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLGetInfo(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT size,
                                    SQLSMALLINT* length) {
  return traced("SQLGetInfo", getInfo, handle, type,
                valueOut(Form::Narrow, value, size, length, isTextInfo(type)));
}
ZU_API SQLRETURN SQL_API SQLGetInfoW(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT size,
                                     SQLSMALLINT* length) {
  return traced("SQLGetInfoW", getInfo, handle, type,
                valueOut(Form::Wide, value, size, length, isTextInfo(type)));
}
DM_ALIAS(SQLGetInfo);

ZU_API SQLRETURN SQL_API SQLNativeSql(SQLHDBC handle, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out,
                                      SQLINTEGER outSize, SQLINTEGER* outLength) {
  return traced("SQLNativeSql", nativeSql, handle, textIn(sql, length), textOut(out, outSize, outLength));
}
ZU_API SQLRETURN SQL_API SQLNativeSqlW(SQLHDBC handle, SQLWCHAR* sql, SQLINTEGER length, SQLWCHAR* out,
                                       SQLINTEGER outSize, SQLINTEGER* outLength) {
  return traced("SQLNativeSqlW", nativeSql, handle, textIn(sql, length), textOut(out, outSize, outLength));
}
DM_ALIAS(SQLNativeSql);

}  // extern "C"
