// Connection attributes and options, before and after there is a driver.

#include <cstring>
#include <optional>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/text.h"
#include "zuodbc/driver/connectionattributes.h"

using namespace dm;

namespace {

// Those that the driver manager keeps for itself.
bool isOwn(SQLINTEGER attribute) {
  return attribute == SQL_ATTR_ODBC_CURSORS || attribute == SQL_ATTR_TRACE || attribute == SQL_ATTR_TRACEFILE;
}

// The length that an option of ODBC 2 has as an attribute.
SQLINTEGER optionLength(SQLUSMALLINT option) { return isTextAttribute(option) ? SQL_NTS : SQL_IS_UINTEGER; }

// A text of the standard must be there, with a length that can be one.
const char* checkValue(SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  if (!isTextAttribute(attribute)) return nullptr;
  if (!value) return "HY009";
  return length < 0 && length != SQL_NTS ? "HY090" : nullptr;
}

SQLRETURN setOwn(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  const SQLULEN number = asNumber(value);
  switch (attribute) {
    case SQL_ATTR_ODBC_CURSORS:
      if (conn.state->connected || conn.state->browsing) return fail(conn, "08002");
      if (number > SQL_CUR_USE_DRIVER) return fail(conn, "HY024");
      conn.state->odbcCursors = number;
      return SQL_SUCCESS;
    case SQL_ATTR_TRACE:  // there is no trace to switch on
      if (number == SQL_OPT_TRACE_OFF) return SQL_SUCCESS;
      return fail(conn, number == SQL_OPT_TRACE_ON ? "HYC00" : "HY024");
    default:
      return readText(conn, static_cast<SQLCHAR*>(value), length, conn.state->traceFile) ? SQL_SUCCESS
                                                                                         : SQL_ERROR;
  }
}

SQLRETURN keep(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  if (attribute == SQL_ATTR_CONNECTION_DEAD || attribute == SQL_ATTR_AUTO_IPD) return fail(conn, "HY092");
  if (attribute == SQL_ATTR_TRANSLATE_LIB || attribute == SQL_ATTR_TRANSLATE_OPTION)
    return fail(conn, "08003");
  if (attribute == SQL_ATTR_AUTOCOMMIT && asNumber(value) > SQL_AUTOCOMMIT_ON) return fail(conn, "HY024");
  KeptAttribute kept;
  kept.length = length;
  kept.isText = isBytes(attribute, value, length);
  if (kept.isText) {
    kept.text = valueBytes(value, length);
  } else {
    kept.value = asNumber(value);
  }
  conn.state->keptAttributes[attribute] = std::move(kept);
  return SQL_SUCCESS;
}

// Writes a number into a cell of the width that the standard gives the attribute.
SQLRETURN putNumber(SQLINTEGER attribute, SQLULEN number, SQLPOINTER value, SQLINTEGER* length) {
  const bool wide = attribute == SQL_ATTR_ODBC_CURSORS || attribute == SQL_ATTR_QUIET_MODE;
  const auto narrow = static_cast<SQLUINTEGER>(number);
  if (value && wide) std::memcpy(value, &number, sizeof number);
  if (value && !wide) std::memcpy(value, &narrow, sizeof narrow);
  if (length) *length = static_cast<SQLINTEGER>(wide ? sizeof number : sizeof narrow);
  return SQL_SUCCESS;
}

SQLRETURN getOwn(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size, SQLINTEGER* length) {
  if (attribute == SQL_ATTR_ODBC_CURSORS) return putNumber(attribute, conn.state->odbcCursors, value, length);
  if (attribute == SQL_ATTR_TRACE) return putNumber(attribute, SQL_OPT_TRACE_OFF, value, length);
  return writeText(conn, conn.state->traceFile, value, size, length);
}

// Without a driver: what was kept, or the standard's default.
SQLRETURN getKept(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size, SQLINTEGER* length) {
  const auto found = conn.state->keptAttributes.find(attribute);
  if (found != conn.state->keptAttributes.end()) {
    const KeptAttribute& kept = found->second;
    return kept.isText ? writeText(conn, kept.text, value, size, length)
                       : putNumber(attribute, kept.value, value, length);
  }
  switch (attribute) {
    case SQL_ATTR_ACCESS_MODE: return putNumber(attribute, SQL_MODE_READ_WRITE, value, length);
    case SQL_ATTR_AUTOCOMMIT: return putNumber(attribute, SQL_AUTOCOMMIT_ON, value, length);
    case SQL_ATTR_LOGIN_TIMEOUT:
    case SQL_ATTR_CONNECTION_TIMEOUT:
    case SQL_ATTR_ASYNC_ENABLE:
    case SQL_ATTR_METADATA_ID:
    case SQL_ATTR_QUIET_MODE: return putNumber(attribute, 0, value, length);
    default: return fail(conn, "08003");
  }
}

bool isOfStatements(SQLINTEGER attribute) {
  return attribute >= SQL_ATTR_CURSOR_SENSITIVITY && attribute <= SQL_ATTR_ROW_ARRAY_SIZE;
}

// Both forms of the call. What concerns the driver manager alone, or a connection without a driver, stays
// here.
DMConn* ownConnection(SQLHDBC handle, SQLINTEGER attribute) {
  DMConn* conn = isMarked(static_cast<DMConn*>(handle)) ? nullptr : findConnection(handle);
  return conn && (isOwn(attribute) || !conn->state->connected) ? conn : nullptr;
}

template <class ClWork>
SQLRETURN setAttribute(SQLHDBC handle, Api api, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                       ClWork&& clWork) {
  const char* wrong = checkValue(attribute, value, length);
  if (DMConn* own = ownConnection(handle, attribute)) {
    return callOwn(own, api, [&](DMConn& conn) {
      if (wrong) return fail(conn, wrong);
      return isOwn(attribute) ? setOwn(conn, attribute, value, length) : keep(conn, attribute, value, length);
    });
  }
  return callConnection(
      handle, api,
      [&](DMConn& conn, const CursorLibrary& library) {
        if (wrong) return fail(conn, wrong);
        // The library sets it on the statements, which other threads may be using.
        std::optional<EnteredStatements> statements;
        if (isOfStatements(attribute)) statements.emplace(conn);
        return clWork(conn, library);
      },
      [&](DMConn& conn, const DMDriverFunctions& driver) {
        return wrong ? refuse(conn, wrong) : setDriverAttribute(conn, driver, api, attribute, value, length);
      });
}

SQLRETURN getAttribute(SQLHDBC handle, Api api, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size,
                       SQLINTEGER* length) {
  if (DMConn* own = ownConnection(handle, attribute)) {
    return callOwn(own, api, [&](DMConn& conn) {
      return isOwn(attribute) ? getOwn(conn, attribute, value, size, length)
                              : getKept(conn, attribute, value, size, length);
    });
  }
  return callConnection(handle, api, kNoCursorLibrary, [&](DMConn& conn, const DMDriverFunctions& driver) {
    return getDriverAttribute(conn, driver, api, attribute, value, size, length);
  });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER length) {
  return setAttribute(handle, Api::SetConnectAttr, attribute, value, length,
                      [&](DMConn& conn, const CursorLibrary& library) {
                        return library.CLSetConnectAttr(&conn, attribute, value, length);
                      });
}

ZU_API SQLRETURN SQL_API SQLSetConnectOption(SQLHDBC handle, SQLUSMALLINT option, SQLULEN value) {
  return setAttribute(handle, Api::SetConnectOption, option, asPointer(value), optionLength(option),
                      [&](DMConn& conn, const CursorLibrary& library) {
                        return library.CLSetConnectOption(&conn, option, value);
                      });
}

ZU_API SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER size, SQLINTEGER* length) {
  return getAttribute(handle, Api::GetConnectAttr, attribute, value, size, length);
}

ZU_API SQLRETURN SQL_API SQLGetConnectOption(SQLHDBC handle, SQLUSMALLINT option, SQLPOINTER value) {
  const bool mayBeText = isTextAttribute(option) || isDriverDefined(option);
  const SQLINTEGER size = mayBeText ? SQL_MAX_OPTION_STRING_LENGTH : SQL_IS_UINTEGER;
  return getAttribute(handle, Api::GetConnectOption, option, value, size, nullptr);
}
}
