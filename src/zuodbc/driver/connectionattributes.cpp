#include "zuodbc/driver/connectionattributes.h"

#include <cstdint>
#include <string>

#include "zuodbc/call/crossing.h"
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

// Of an option that a driver has in both forms the narrow one is used: it is what drivers of ODBC 2 have.
Form optionForm(const void* narrow) { return narrow ? Form::Narrow : Form::Wide; }

SQLRETURN setOption(DMConn& conn, const DMDriverFunctions& driver, SQLINTEGER attribute,
                    const TextIn<SQLINTEGER>& in) {
  const auto entries = DM_ENTRIES(driver, SQLSetConnectOption);
  if (!isOption(attribute)) return refuse(conn, "HY092");
  const auto option = static_cast<SQLUSMALLINT>(attribute);
  auto value = reinterpret_cast<SQLULEN>(in.text);
  if (isVersion3Switch(attribute)) return value ? refuse(conn, "HYC00") : SQLRETURN(SQL_SUCCESS);
  const Form form = optionForm(reinterpret_cast<const void*>(entries.narrow));
  HeldText held;
  const CodePage from = pageOf(&conn, in.form), to = pageOf(&conn, form);
  if (in.isText && in.text && from != to) {
    if (!convertText(&conn, from, to, bytesOf(in), held)) return refuse(conn, "HY000");
  } else if (in.length != SQL_NTS && isBytes(attribute, const_cast<void*>(in.text), in.length)) {
    held = holdText(valueBytes(const_cast<void*>(in.text), in.length));
  }
  if (held.bytes) value = reinterpret_cast<SQLULEN>(held.bytes.get());
  return form == Form::Narrow ? ask(entries.narrow, conn.driverHandle, option, value)
                              : ask(entries.wide, conn.driverHandle, option, value);
}

SQLRETURN getOption(DMConn& conn, const DMDriverFunctions& driver, SQLINTEGER attribute,
                    const TextOut<SQLINTEGER>& out) {
  const auto entries = DM_ENTRIES(driver, SQLGetConnectOption);
  if (!isOption(attribute)) return refuse(conn, "HY092");
  const auto option = static_cast<SQLUSMALLINT>(attribute);
  const Form form = optionForm(reinterpret_cast<const void*>(entries.narrow));
  OptionCell cell;
  SQLRETURN rc = SQL_SUCCESS;
  if (!isVersion3Switch(attribute)) {
    rc = form == Form::Narrow ? ask(entries.narrow, conn.driverHandle, option, cell.address())
                              : ask(entries.wide, conn.driverHandle, option, cell.address());
  }
  if (!SQL_SUCCEEDED(rc)) return rc;
  SQLRETURN given;
  if (isTextAttribute(attribute)) {
    given = cell.giveText(conn, form, out);
  } else if (isDriverDefined(attribute) && out.size > 0) {
    given = cell.giveEither(conn, form, out);
  } else {
    const bool isPointer = attribute == SQL_ATTR_QUIET_MODE;
    given = cell.giveNumber(isPointer ? sizeof(SQLULEN) : sizeof(SQLUINTEGER), out.buffer, out.length);
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

bool isText(SQLINTEGER attribute, SQLINTEGER length) noexcept {
  return isTextAttribute(attribute) || (isDriverDefined(attribute) && (length == SQL_NTS || length > 0));
}

bool isBytes(SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) noexcept {
  return isText(attribute, length) || (isDriverDefined(attribute) && !valueBytes(value, length).empty());
}

SQLRETURN setDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                             const TextIn<SQLINTEGER>& value) {
  const auto entries = DM_ENTRIES(driver, SQLSetConnectAttr);
  const bool asOption = !entries || (api == Api::SetConnectOption && DM_ENTRIES(driver, SQLSetConnectOption));
  const SQLRETURN rc = asOption ? setOption(conn, driver, attribute, value)
                                : askText(conn, entries, conn.driverHandle, attribute, value);
  if (SQL_SUCCEEDED(rc)) keepForStatements(conn, attribute, const_cast<void*>(value.text));
  return rc;
}

SQLRETURN getDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                             const TextOut<SQLINTEGER>& out) {
  const auto entries = DM_ENTRIES(driver, SQLGetConnectAttr);
  if (!entries || (api == Api::GetConnectOption && DM_ENTRIES(driver, SQLGetConnectOption)))
    return getOption(conn, driver, attribute, out);
  return askText(conn, entries, conn.driverHandle, attribute, out);
}

SQLRETURN applyKeptAttributes(DMConn& conn, bool beforeConnect) {
  SQLRETURN result = SQL_SUCCESS;
  for (auto& [attribute, kept] : conn.state->keptAttributes) {
    if (isEarly(attribute) != beforeConnect) continue;
    const auto work = [&, attribute = attribute, &kept = kept](DMConn& conn,
                                                               const DMDriverFunctions& driver) {
      const SQLPOINTER value = kept.isText ? kept.text.data() : asPointer(kept.value);
      const bool isConverted = kept.isUtf8 && isText(attribute, kept.length);
      const auto length = isConverted ? static_cast<SQLINTEGER>(kept.text.size()) : kept.length;
      return setDriverAttribute(
          conn, driver, Api::SetConnectAttr, attribute,
          valueIn(isConverted ? Form::Utf8 : Form::Narrow, value, length, isText(attribute, kept.length)));
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
