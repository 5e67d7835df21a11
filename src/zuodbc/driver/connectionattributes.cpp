#include "zuodbc/driver/connectionattributes.h"

#include <cstdint>
#include <string>

#include "zuodbc/call/entry.h"
#include "zuodbc/driver/optioncell.h"

namespace dm {
namespace {

// What drivers want to know before they connect.
bool isEarly(SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_LOGIN_TIMEOUT:
    case SQL_ATTR_PACKET_SIZE:
    case SQL_ATTR_CURRENT_CATALOG:
    case SQL_ATTR_CONNECTION_TIMEOUT:
    case SQL_ATTR_QUIET_MODE: return true;
    default: return isDriverDefined(attribute);
  }
}

// Attributes of ODBC 3 that no driver of ODBC 2 knows, and whose default is 0.
bool isVersion3Switch(SQLINTEGER attribute) {
  return attribute == SQL_ATTR_CONNECTION_TIMEOUT || attribute == SQL_ATTR_METADATA_ID;
}

bool isOption(SQLINTEGER attribute) { return attribute >= 0 && attribute <= UINT16_MAX; }

SQLRETURN setOption(DMConn& conn, const DMDriverFunctions& driver, SQLINTEGER attribute, SQLPOINTER value,
                    SQLINTEGER length) {
  if (!isOption(attribute)) return refuse(conn, "HY092");
  if (isVersion3Switch(attribute)) return value ? refuse(conn, "HYC00") : SQLRETURN(SQL_SUCCESS);
  std::string text;
  if (length != SQL_NTS && isBytes(attribute, value, length)) {
    text = valueBytes(value, length);
    value = text.data();
  }
  return ask(driver.SQLSetConnectOption, conn.driverHandle, static_cast<SQLUSMALLINT>(attribute),
             asNumber(value));
}

SQLRETURN getOption(DMConn& conn, const DMDriverFunctions& driver, SQLINTEGER attribute, SQLPOINTER value,
                    SQLINTEGER size, SQLINTEGER* lengthPtr) {
  if (!isOption(attribute)) return refuse(conn, "HY092");
  OptionCell cell;
  SQLRETURN rc = SQL_SUCCESS;
  if (!isVersion3Switch(attribute)) {
    rc = ask(driver.SQLGetConnectOption, conn.driverHandle, static_cast<SQLUSMALLINT>(attribute),
             cell.address());
  }
  if (!SQL_SUCCEEDED(rc)) return rc;
  SQLRETURN given;
  if (isTextAttribute(attribute)) {
    given = cell.giveText(conn, value, size, lengthPtr);
  } else if (isDriverDefined(attribute) && size > 0) {
    given = cell.giveEither(conn, value, size, lengthPtr);
  } else {
    const bool isPointer = attribute == SQL_ATTR_QUIET_MODE;
    given = cell.giveNumber(isPointer ? sizeof(SQLULEN) : sizeof(SQLUINTEGER), value, lengthPtr);
  }
  return ownOutcome(rc, given);
}

// An option of ODBC 2 that is set on a connection counts for its statements, those to come included.
void keepForStatements(DMConn& conn, SQLINTEGER attribute, SQLPOINTER value) {
  if (attribute != SQL_ROWSET_SIZE && attribute != SQL_BIND_TYPE) return;
  const SQLULEN number = asNumber(value);
  const bool isRowset = attribute == SQL_ROWSET_SIZE;
  DMConnState& state = *conn.state;
  const std::lock_guard guard(state.lock);
  (isRowset ? state.rowsetSize : state.bindType) = number;
  for (DMStmt* stmt = state.firstStmt; stmt; stmt = stmt->state->next) {
    DriverRowset& rowset = stmt->state->driverRowset;
    (isRowset ? stmt->rowsetSize : stmt->ard->bindType) = number;
    (isRowset ? rowset.size : rowset.bindType) = number;
  }
}

}  // namespace

bool isTextAttribute(SQLINTEGER attribute) noexcept {
  return attribute == SQL_ATTR_CURRENT_CATALOG || attribute == SQL_ATTR_TRACEFILE ||
         attribute == SQL_ATTR_TRANSLATE_LIB;
}

bool isDriverDefined(SQLINTEGER attribute) noexcept {
  switch (attribute) {
    case SQL_ATTR_ENLIST_IN_DTC:
    case SQL_ATTR_ENLIST_IN_XA:
    case SQL_ATTR_CONNECTION_DEAD:
    case SQL_ATTR_AUTO_IPD:
    case SQL_ATTR_METADATA_ID: return false;
    default: return attribute >= kFirstDriverAttribute;
  }
}

bool isBytes(SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) noexcept {
  return isTextAttribute(attribute) ||
         (isDriverDefined(attribute) && (length == SQL_NTS || !valueBytes(value, length).empty()));
}

SQLRETURN setDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                             SQLPOINTER value, SQLINTEGER length) {
  const bool asOption =
      !driver.SQLSetConnectAttr || (api == Api::SetConnectOption && driver.SQLSetConnectOption);
  const SQLRETURN rc = asOption ? setOption(conn, driver, attribute, value, length)
                                : ask(driver.SQLSetConnectAttr, conn.driverHandle, attribute, value, length);
  if (SQL_SUCCEEDED(rc)) keepForStatements(conn, attribute, value);
  return rc;
}

SQLRETURN getDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                             SQLPOINTER value, SQLINTEGER size, SQLINTEGER* lengthPtr) {
  if (!driver.SQLGetConnectAttr || (api == Api::GetConnectOption && driver.SQLGetConnectOption))
    return getOption(conn, driver, attribute, value, size, lengthPtr);
  return ask(driver.SQLGetConnectAttr, conn.driverHandle, attribute, value, size, lengthPtr);
}

SQLRETURN applyKeptAttributes(DMConn& conn, bool beforeConnect) {
  SQLRETURN result = SQL_SUCCESS;
  for (auto& [attribute, kept] : conn.state->keptAttributes) {
    if (isEarly(attribute) != beforeConnect) continue;
    const auto work = [&, attribute = attribute, &kept = kept](DMConn& conn,
                                                               const DMDriverFunctions& driver) {
      const SQLPOINTER value = kept.isText ? kept.text.data() : asPointer(kept.value);
      return setDriverAttribute(conn, driver, Api::SetConnectAttr, attribute, value, kept.length);
    };
    const SQLRETURN rc = askDriver(conn, *conn.driverFunctions, Api::SetConnectAttr, work);
    settleErrors(conn);
    if (rc == SQL_SUCCESS) continue;
    if (!SQL_SUCCEEDED(rc)) postError(conn, "IM006");
    result = SQL_SUCCESS_WITH_INFO;
  }
  return result;
}

}  // namespace dm
