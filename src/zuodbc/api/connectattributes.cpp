// Connection attributes and options, before and after there is a driver.

#include <cstdint>
#include <cstring>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/text.h"
#include "zuodbc/driver/connecting.h"

namespace dm {
namespace {

// Where the attributes of drivers begin.
constexpr SQLINTEGER firstDriverAttribute = 0x4000;

bool isText(SQLINTEGER attribute, SQLINTEGER length) {
  switch (attribute) {
    case SQL_ATTR_CURRENT_CATALOG:
    case SQL_ATTR_TRACEFILE:
    case SQL_ATTR_TRANSLATE_LIB: return true;
    default: return attribute >= firstDriverAttribute && (length == SQL_NTS || length > 0);
  }
}

bool isEarly(SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_LOGIN_TIMEOUT:
    case SQL_ATTR_PACKET_SIZE:
    case SQL_ATTR_CURRENT_CATALOG:
    case SQL_ATTR_CONNECTION_TIMEOUT:
    case SQL_ATTR_QUIET_MODE: return true;
    default: return attribute >= firstDriverAttribute;
  }
}

// Those that the driver manager keeps for itself.
bool isOwn(SQLINTEGER attribute) {
  return attribute == SQL_ATTR_ODBC_CURSORS || attribute == SQL_ATTR_TRACE || attribute == SQL_ATTR_TRACEFILE;
}

// The options of ODBC 2: the value is a number, or a text that ends in a zero.
SQLULEN optionValue(SQLPOINTER value) { return reinterpret_cast<SQLULEN>(value); }

}  // namespace

SQLRETURN setDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, SQLINTEGER attribute,
                             SQLPOINTER value, SQLINTEGER length) {
  if (driver.SQLSetConnectAttr) return driver.SQLSetConnectAttr(conn.driverHandle, attribute, value, length);
  if (attribute < 0 || attribute > UINT16_MAX) return refuse(conn, "HY092");
  return ask(driver.SQLSetConnectOption, conn.driverHandle, static_cast<SQLUSMALLINT>(attribute),
             optionValue(value));
}

SQLRETURN applyKeptAttributes(DMConn& conn, bool beforeConnect) {
  SQLRETURN result = SQL_SUCCESS;
  for (auto& [attribute, kept] : conn.state->keptAttributes) {
    if (isOwn(attribute) || isEarly(attribute) != beforeConnect) continue;
    auto work = [&, attribute = attribute, &kept = kept](DMConn& conn, const DMDriverFunctions& driver) {
      SQLPOINTER value = kept.isText ? kept.text.data() : reinterpret_cast<SQLPOINTER>(kept.value);
      SQLINTEGER length = kept.isText ? static_cast<SQLINTEGER>(kept.text.size()) : kept.length;
      return setDriverAttribute(conn, driver, attribute, value, length);
    };
    SQLRETURN rc = askDriver(conn, *conn.driverFunctions, Api::SetConnectAttr, work);
    settleErrors(conn);
    if (rc == SQL_SUCCESS) continue;
    if (!SQL_SUCCEEDED(rc)) postError(conn, "IM006");
    result = SQL_SUCCESS_WITH_INFO;
  }
  return result;
}

}  // namespace dm

using namespace dm;

namespace {

SQLRETURN setOwn(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  SQLULEN number = optionValue(value);
  KeptAttribute& kept = conn.state->keptAttributes[attribute];
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
      if (!value) return fail(conn, "HY009");
      kept.isText = true;
      return readText(conn, static_cast<SQLCHAR*>(value), length, kept.text) ? SQL_SUCCESS : SQL_ERROR;
  }
}

SQLRETURN keep(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  if (attribute == SQL_ATTR_CONNECTION_DEAD || attribute == SQL_ATTR_AUTO_IPD) return fail(conn, "HY092");
  if (attribute == SQL_ATTR_TRANSLATE_LIB || attribute == SQL_ATTR_TRANSLATE_OPTION)
    return fail(conn, "08003");
  if (attribute == SQL_ATTR_AUTOCOMMIT && optionValue(value) > SQL_AUTOCOMMIT_ON) return fail(conn, "HY024");
  KeptAttribute kept;
  kept.length = length;
  kept.isText = isText(attribute, length);
  if (kept.isText) {
    if (!value) return fail(conn, "HY009");
    if (!readText(conn, static_cast<SQLCHAR*>(value), length, kept.text)) return SQL_ERROR;
  } else {
    kept.value = optionValue(value);
  }
  conn.state->keptAttributes[attribute] = std::move(kept);
  return SQL_SUCCESS;
}

// The value in a cell as wide as the standard says.
SQLRETURN tell(SQLINTEGER attribute, SQLULEN number, SQLPOINTER value, SQLINTEGER* length) {
  bool wide = attribute == SQL_ATTR_ODBC_CURSORS || attribute == SQL_ATTR_QUIET_MODE;
  auto narrow = static_cast<SQLUINTEGER>(number);
  if (value && wide) std::memcpy(value, &number, sizeof number);
  if (value && !wide) std::memcpy(value, &narrow, sizeof narrow);
  if (length) *length = static_cast<SQLINTEGER>(wide ? sizeof number : sizeof narrow);
  return SQL_SUCCESS;
}

SQLRETURN getOwn(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size, SQLINTEGER* length) {
  if (attribute == SQL_ATTR_ODBC_CURSORS) return tell(attribute, conn.state->odbcCursors, value, length);
  if (attribute == SQL_ATTR_TRACE) return tell(attribute, SQL_OPT_TRACE_OFF, value, length);
  return writeText(conn, conn.state->keptAttributes[attribute].text, value, size, length);
}

// Without a driver: what was kept, or the standard's default.
SQLRETURN getKept(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size, SQLINTEGER* length) {
  auto found = conn.state->keptAttributes.find(attribute);
  if (found != conn.state->keptAttributes.end()) {
    const KeptAttribute& kept = found->second;
    return kept.isText ? writeText(conn, kept.text, value, size, length)
                       : tell(attribute, kept.value, value, length);
  }
  switch (attribute) {
    case SQL_ATTR_ACCESS_MODE: return tell(attribute, SQL_MODE_READ_WRITE, value, length);
    case SQL_ATTR_AUTOCOMMIT: return tell(attribute, SQL_AUTOCOMMIT_ON, value, length);
    case SQL_ATTR_LOGIN_TIMEOUT:
    case SQL_ATTR_CONNECTION_TIMEOUT:
    case SQL_ATTR_ASYNC_ENABLE:
    case SQL_ATTR_METADATA_ID:
    case SQL_ATTR_QUIET_MODE: return tell(attribute, 0, value, length);
    default: return fail(conn, "08003");
  }
}

SQLRETURN getFromDriver(DMConn& conn, const DMDriverFunctions& driver, SQLINTEGER attribute, SQLPOINTER value,
                        SQLINTEGER size, SQLINTEGER* length) {
  if (driver.SQLGetConnectAttr)
    return driver.SQLGetConnectAttr(conn.driverHandle, attribute, value, size, length);
  if (attribute < 0 || attribute > UINT16_MAX) return refuse(conn, "HY092");
  if (!isText(attribute, 0)) {
    if (length) *length = sizeof(SQLUINTEGER);
    return ask(driver.SQLGetConnectOption, conn.driverHandle, static_cast<SQLUSMALLINT>(attribute), value);
  }
  // The option form knows no buffer size, so the text goes through a buffer of the size it may have.
  char text[SQL_MAX_OPTION_STRING_LENGTH + 1] = "";
  SQLRETURN rc = ask(driver.SQLGetConnectOption, conn.driverHandle, static_cast<SQLUSMALLINT>(attribute),
                     static_cast<SQLPOINTER>(text));
  if (!SQL_SUCCEEDED(rc)) return rc;
  return joined(rc, writeText(conn, text, value, size, length));
}

// One road for both forms of the call. `text` values of an option end in a zero.
template <class ClWork>
SQLRETURN setAttribute(SQLHDBC handle, Api api, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                       ClWork&& clWork) {
  auto toDriver = [&](DMConn& conn, const DMDriverFunctions& driver) {
    if (api == Api::SetConnectOption && driver.SQLSetConnectOption) {
      return driver.SQLSetConnectOption(conn.driverHandle, static_cast<SQLUSMALLINT>(attribute),
                                        optionValue(value));
    }
    return setDriverAttribute(conn, driver, attribute, value, length);
  };
  auto* marked = static_cast<DMConn*>(handle);
  DMConn* conn = isMarked(marked) ? nullptr : findConnection(handle);
  if (conn && (isOwn(attribute) || !conn->state->connected)) {
    return callOwn(conn, api, [&](DMConn& conn) {
      return isOwn(attribute) ? setOwn(conn, attribute, value, length) : keep(conn, attribute, value, length);
    });
  }
  return callConnection(handle, api, clWork, toDriver);
}

SQLRETURN getAttribute(SQLHDBC handle, Api api, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size,
                       SQLINTEGER* length) {
  auto fromDriver = [&](DMConn& conn, const DMDriverFunctions& driver) {
    if (api == Api::GetConnectOption && driver.SQLGetConnectOption) {
      return driver.SQLGetConnectOption(conn.driverHandle, static_cast<SQLUSMALLINT>(attribute), value);
    }
    return getFromDriver(conn, driver, attribute, value, size, length);
  };
  auto* marked = static_cast<DMConn*>(handle);
  DMConn* conn = isMarked(marked) ? nullptr : findConnection(handle);
  if (conn && (isOwn(attribute) || !conn->state->connected)) {
    return callOwn(conn, api, [&](DMConn& conn) {
      return isOwn(attribute) ? getOwn(conn, attribute, value, size, length)
                              : getKept(conn, attribute, value, size, length);
    });
  }
  return callConnection(handle, api, noCursorLibrary, fromDriver);
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
  SQLINTEGER length = isText(option, 0) ? SQL_NTS : SQL_IS_UINTEGER;
  return setAttribute(handle, Api::SetConnectOption, option, reinterpret_cast<SQLPOINTER>(value), length,
                      [&](DMConn& conn, const CursorLibrary& library) {
                        return library.CLSetConnectOption(&conn, option, value);
                      });
}

ZU_API SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                           SQLINTEGER size, SQLINTEGER* length) {
  return getAttribute(handle, Api::GetConnectAttr, attribute, value, size, length);
}

ZU_API SQLRETURN SQL_API SQLGetConnectOption(SQLHDBC handle, SQLUSMALLINT option, SQLPOINTER value) {
  SQLINTEGER size = isText(option, 0) ? SQL_MAX_OPTION_STRING_LENGTH : SQL_IS_UINTEGER;
  return getAttribute(handle, Api::GetConnectOption, option, value, size, nullptr);
}
}
