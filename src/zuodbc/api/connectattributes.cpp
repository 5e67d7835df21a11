// Connection attributes and options, before and after there is a driver.

#include <cstring>
#include <optional>

#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/connectionattributes.h"
#include "zuodbc/driver/pool.h"

using namespace dm;

namespace {

// Those that the driver manager keeps for itself.
bool isOwn(SQLINTEGER attribute) {
  return attribute == SQL_ATTR_ODBC_CURSORS || attribute == SQL_ATTR_TRACE || attribute == SQL_ATTR_TRACEFILE;
}

// The length that an option of ODBC 2 has as an attribute.
SQLINTEGER optionLength(SQLUSMALLINT option) { return isTextAttribute(option) ? SQL_NTS : SQL_IS_UINTEGER; }

// A text of the standard must be there, with a length that can be one.
const char* checkValue(SQLINTEGER attribute, const TextIn<SQLINTEGER>& value) {
  if (!isTextAttribute(attribute)) return nullptr;
  if (!value.text) return "HY009";
  return value.length < 0 && value.length != SQL_NTS ? "HY090" : nullptr;
}

const char* checkBuffer(SQLINTEGER attribute, const TextOut<SQLINTEGER>& out) {
  const bool isOdd = isTextAttribute(attribute) && out.form == Form::Wide && out.buffer && out.size % 2 != 0;
  return isOdd ? "HY090" : nullptr;
}

SQLRETURN setOwn(DMConn& conn, SQLINTEGER attribute, const TextIn<SQLINTEGER>& value) {
  const auto number = reinterpret_cast<SQLULEN>(value.text);
  switch (attribute) {
    case SQL_ATTR_ODBC_CURSORS:
      if (conn.state->connected || conn.state->browsing) return fail(conn, "08002");
      if (number > SQL_CUR_USE_DRIVER) return fail(conn, "HY024");
      conn.state->odbcCursors = number;
      return SQL_SUCCESS;
    case SQL_ATTR_TRACE:
      if (number > SQL_OPT_TRACE_ON) return fail(conn, "HY024");
      if (number == SQL_OPT_TRACE_OFF) {
        stopTrace();
        return SQL_SUCCESS;
      }
      if (startTrace(conn.state->traceFile)) return SQL_SUCCESS;
      return fail(conn, "HY000", "The trace file cannot be opened");
    default: return readText(conn, value, conn.state->traceFile) ? SQL_SUCCESS : SQL_ERROR;
  }
}

SQLRETURN keep(DMConn& conn, SQLINTEGER attribute, const TextIn<SQLINTEGER>& value) {
  if (attribute == SQL_ATTR_CONNECTION_DEAD || attribute == SQL_ATTR_AUTO_IPD) return fail(conn, "HY092");
  if (attribute == SQL_ATTR_TRANSLATE_LIB || attribute == SQL_ATTR_TRANSLATE_OPTION)
    return fail(conn, "08003");
  auto* const address = const_cast<void*>(value.text);
  if (attribute == SQL_ATTR_AUTOCOMMIT && asNumber(address) > SQL_AUTOCOMMIT_ON) return fail(conn, "HY024");
  KeptAttribute kept;
  kept.length = value.length;
  kept.isText = isBytes(attribute, address, value.length);
  kept.isUtf8 = value.isText && value.form == Form::Wide;
  if (kept.isUtf8) {
    if (!readText(conn, value, kept.text)) return SQL_ERROR;
  } else if (kept.isText) {
    kept.text = valueBytes(address, value.length);
  } else {
    kept.value = asNumber(address);
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

SQLRETURN getOwn(DMConn& conn, SQLINTEGER attribute, const TextOut<SQLINTEGER>& out) {
  if (attribute == SQL_ATTR_ODBC_CURSORS)
    return putNumber(attribute, conn.state->odbcCursors, out.buffer, out.length);
  if (attribute == SQL_ATTR_TRACE)
    return putNumber(attribute, isTracing ? SQL_OPT_TRACE_ON : SQL_OPT_TRACE_OFF, out.buffer, out.length);
  const Form form = out.form == Form::Wide ? Form::Utf8 : Form::Narrow;
  return writeText(conn, conn.state->traceFile, form, out);
}

// Without a driver: what was kept, or the standard's default.
SQLRETURN getKept(DMConn& conn, SQLINTEGER attribute, const TextOut<SQLINTEGER>& out) {
  const SQLPOINTER value = out.buffer;
  SQLINTEGER* const length = out.length;
  const auto found = conn.state->keptAttributes.find(attribute);
  if (found != conn.state->keptAttributes.end()) {
    const KeptAttribute& kept = found->second;
    return kept.isText ? writeText(conn, kept.text, kept.isUtf8 ? Form::Utf8 : Form::Narrow, out)
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
SQLRETURN setAttribute(SQLHDBC handle, Api api, SQLINTEGER attribute, const TextIn<SQLINTEGER>& value,
                       ClWork&& clWork) {
  const char* wrong = checkValue(attribute, value);
  if (DMConn* own = ownConnection(handle, attribute)) {
    return callOwn(own, api, [&](DMConn& conn) {
      if (wrong) return fail(conn, wrong);
      return isOwn(attribute) ? setOwn(conn, attribute, value) : keep(conn, attribute, value);
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
        if (wrong) return refuse(conn, wrong);
        const SQLRETURN rc = setDriverAttribute(conn, driver, api, attribute, value);
        if (SQL_SUCCEEDED(rc)) notePoolAttribute(conn, attribute);
        return rc;
      });
}

SQLRETURN getAttribute(SQLHDBC handle, Api api, SQLINTEGER attribute, const TextOut<SQLINTEGER>& out) {
  const char* wrong = checkBuffer(attribute, out);
  if (DMConn* own = ownConnection(handle, attribute)) {
    return callOwn(own, api, [&](DMConn& conn) {
      if (wrong) return fail(conn, wrong);
      return isOwn(attribute) ? getOwn(conn, attribute, out) : getKept(conn, attribute, out);
    });
  }
  return callConnection(handle, api, kNoCursorLibrary, [&](DMConn& conn, const DMDriverFunctions& driver) {
    return wrong ? refuse(conn, wrong) : getDriverAttribute(conn, driver, api, attribute, out);
  });
}

SQLRETURN setAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length, Form form) {
  const auto in = valueIn(form, value, length, isText(attribute, length));
  return setAttribute(handle, Api::SetConnectAttr, attribute, in,
                      [&](DMConn& conn, const CursorLibrary& library) {
                        return askLibrary(conn, library.CLSetConnectAttr, attribute, in);
                      });
}

SQLRETURN setOption(SQLHDBC handle, SQLUSMALLINT option, SQLULEN value, Form form) {
  const SQLINTEGER length = optionLength(option);
  const auto in = valueIn(form, asPointer(value), length, isText(option, length));
  return setAttribute(handle, Api::SetConnectOption, option, in,
                      [&](DMConn& conn, const CursorLibrary& library) {
                        // The cursor library takes the text in its own form, and a length with it.
                        if (in.isText && pageOf(&conn, form) != pageOf(&conn, Form::Internal))
                          return askLibrary(conn, library.CLSetConnectAttr, SQLINTEGER{option}, in);
                        return library.CLSetConnectOption(&conn, option, value);
                      });
}

SQLRETURN getOption(SQLHDBC handle, SQLUSMALLINT option, SQLPOINTER value, Form form) {
  const bool mayBeText = isTextAttribute(option) || isDriverDefined(option);
  const SQLINTEGER textSize =
      form == Form::Wide ? SQL_MAX_OPTION_STRING_LENGTH * sizeof(SQLWCHAR) : SQL_MAX_OPTION_STRING_LENGTH;
  const SQLINTEGER size = mayBeText ? textSize : SQLINTEGER{SQL_IS_UINTEGER};
  SQLINTEGER* const noLength = nullptr;
  return getAttribute(handle, Api::GetConnectOption, option,
                      valueOut(form, value, size, noLength, isTextAttribute(option)));
}

SQLRETURN getAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size, SQLINTEGER* length,
                  Form form) {
  return getAttribute(handle, Api::GetConnectAttr, attribute,
                      valueOut(form, value, size, length, isText(attribute, size)));
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER length) {
  return traced("SQLSetConnectAttr", setAttr, handle, attribute, value, length, Form::Narrow);
}
ZU_API SQLRETURN SQL_API SQLSetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                            SQLINTEGER length) {
  return traced("SQLSetConnectAttrW", setAttr, handle, attribute, value, length, Form::Wide);
}
DM_ALIAS(SQLSetConnectAttr);

ZU_API SQLRETURN SQL_API SQLSetConnectOption(SQLHDBC handle, SQLUSMALLINT option, SQLULEN value) {
  return traced("SQLSetConnectOption", setOption, handle, option, value, Form::Narrow);
}
ZU_API SQLRETURN SQL_API SQLSetConnectOptionW(SQLHDBC handle, SQLUSMALLINT option, SQLULEN value) {
  return traced("SQLSetConnectOptionW", setOption, handle, option, value, Form::Wide);
}
DM_ALIAS(SQLSetConnectOption);

ZU_API SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER size, SQLINTEGER* length) {
  return traced("SQLGetConnectAttr", getAttr, handle, attribute, value, size, length, Form::Narrow);
}
ZU_API SQLRETURN SQL_API SQLGetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                            SQLINTEGER size, SQLINTEGER* length) {
  return traced("SQLGetConnectAttrW", getAttr, handle, attribute, value, size, length, Form::Wide);
}
DM_ALIAS(SQLGetConnectAttr);

ZU_API SQLRETURN SQL_API SQLGetConnectOption(SQLHDBC handle, SQLUSMALLINT option, SQLPOINTER value) {
  return traced("SQLGetConnectOption", getOption, handle, option, value, Form::Narrow);
}
ZU_API SQLRETURN SQL_API SQLGetConnectOptionW(SQLHDBC handle, SQLUSMALLINT option, SQLPOINTER value) {
  return traced("SQLGetConnectOptionW", getOption, handle, option, value, Form::Wide);
}
DM_ALIAS(SQLGetConnectOption);

}  // extern "C"
