// Statement and connection attributes: those that are options under another name, those that are fields of a
// descriptor's header, and the few that the cursor library decides by itself.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"

namespace {

// A statement attribute that is a field of a descriptor's header.
struct HeaderAttribute {
  DMDesc* DMStmt::*desc;
  SQLINTEGER attribute;
  SQLSMALLINT field;
};

constexpr HeaderAttribute kHeaderAttributes[] = {
    {&DMStmt::apd, SQL_ATTR_PARAM_BIND_OFFSET_PTR, SQL_DESC_BIND_OFFSET_PTR},
    {&DMStmt::apd, SQL_ATTR_PARAM_BIND_TYPE, SQL_DESC_BIND_TYPE},
    {&DMStmt::apd, SQL_ATTR_PARAM_OPERATION_PTR, SQL_DESC_ARRAY_STATUS_PTR},
    {&DMStmt::ipd, SQL_ATTR_PARAM_STATUS_PTR, SQL_DESC_ARRAY_STATUS_PTR},
    // Kept: on the application's descriptor, not on the implementation's.
    {&DMStmt::apd, SQL_ATTR_PARAMS_PROCESSED_PTR, SQL_DESC_ROWS_PROCESSED_PTR},
    {&DMStmt::apd, SQL_ATTR_PARAMSET_SIZE, SQL_DESC_ARRAY_SIZE},
    {&DMStmt::ard, SQL_ATTR_ROW_BIND_OFFSET_PTR, SQL_DESC_BIND_OFFSET_PTR},
    {&DMStmt::ard, SQL_ATTR_ROW_OPERATION_PTR, SQL_DESC_ARRAY_STATUS_PTR},
    {&DMStmt::ird, SQL_ATTR_ROW_STATUS_PTR, SQL_DESC_ARRAY_STATUS_PTR},
    {&DMStmt::ird, SQL_ATTR_ROWS_FETCHED_PTR, SQL_DESC_ROWS_PROCESSED_PTR},
};

// Puts an application's descriptor on the statement, or with null its own one again. During the call
// `selfRef` is the descriptor's driver handle, which is what the driver's attribute takes.
SQLRETURN setDescriptor(DMStmt* stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  if (stmt->cursor) return clError(stmt, clmsg::NotSupported);
  auto* desc = static_cast<DMDesc*>(value);
  void* const self = desc ? desc->selfRef : nullptr;
  if (desc) desc->selfRef = desc->driverHandle;
  const SQLRETURN rc = CursorLibSetOneStmtAttr(stmt, attribute, value, length);
  if (desc) desc->selfRef = self;
  return rc;
}

// The attributes that CLSetStmtOption and CLGetStmtOption know under the same number.
bool isSetOption(SQLINTEGER attribute) {
  return (attribute >= SQL_BIND_TYPE && attribute <= SQL_USE_BOOKMARKS) ||
         attribute == SQL_ATTR_FETCH_BOOKMARK_PTR || attribute == SQL_ATTR_ROW_ARRAY_SIZE;
}

bool isGetOption(SQLINTEGER attribute) {
  return attribute == SQL_ATTR_CURSOR_SENSITIVITY || attribute == SQL_ATTR_CURSOR_SCROLLABLE ||
         (attribute >= SQL_BIND_TYPE && attribute <= SQL_ROW_NUMBER) ||
         attribute == SQL_ATTR_FETCH_BOOKMARK_PTR || attribute == SQL_ATTR_PARAM_OPERATION_PTR ||
         (attribute >= SQL_ATTR_ROW_BIND_OFFSET_PTR && attribute <= SQL_ATTR_ROW_ARRAY_SIZE);
}

// Gives a connection's value to one of its statements.
void passOn(DMStmt* stmt, SQLINTEGER attribute, SQLULEN value) {
  switch (attribute) {
    case SQL_ATTR_CURSOR_SCROLLABLE: stmt->cursorType = value; break;
    case SQL_BIND_TYPE:
      stmt->ard->bindType = value;
      stmt->fetchState |= DM_FETCH_BIND_TYPE_SET;
      break;
    case SQL_CURSOR_TYPE: stmt->cursorType = value; break;
    case SQL_CONCURRENCY: stmt->concurrency = static_cast<unsigned short>(value); break;
    case SQL_ROWSET_SIZE: stmt->rowsetSize = value; break;
    case SQL_ATTR_ROW_ARRAY_SIZE: setArraySize(stmt->ard, value); break;
    default: break;  // SQL_ATTR_CURSOR_SENSITIVITY changes nothing
  }
}

SQLULEN cursorTypeOf(SQLULEN scrollable) {
  return scrollable == SQL_SCROLLABLE ? SQL_CURSOR_STATIC : SQL_CURSOR_FORWARD_ONLY;
}

SQLRETURN passToStatements(DMConn* conn, SQLINTEGER attribute, SQLULEN value) {
  for (DMStmt* stmt : DMStmtList(conn)) {
    // Kept, callers rely on it: the value for the next statement is this one's cursor type, so only the first
    // statement of a connection becomes scrollable.
    if (attribute == SQL_ATTR_CURSOR_SCROLLABLE) value = cursorTypeOf(value);
    passOn(stmt, attribute, value);
  }
  return SQL_SUCCESS;
}

SQLRETURN SetConnectAttr(DMConn* conn, SQLINTEGER attribute, SQLPOINTER pointer, SQLINTEGER length,
                         unsigned short api) {
  const SQLULEN value = asNumber(pointer);
  bool accepted = true;
  switch (attribute) {
    case SQL_ATTR_CURSOR_SENSITIVITY: accepted = value != SQL_SENSITIVE; break;
    case SQL_CURSOR_TYPE: accepted = value == SQL_CURSOR_FORWARD_ONLY || value == SQL_CURSOR_STATIC; break;
    case SQL_CONCURRENCY: accepted = value == SQL_CONCUR_READ_ONLY || value == SQL_CONCUR_VALUES; break;
    case SQL_SIMULATE_CURSOR:
      return value == SQL_SC_NON_UNIQUE ? SQL_SUCCESS : clError(conn, clmsg::NotSupported);
    case SQL_ROWSET_SIZE:
    case SQL_ATTR_ROW_ARRAY_SIZE:
    case SQL_ATTR_CURSOR_SCROLLABLE:
    case SQL_BIND_TYPE: break;
    default: return CursorLibSetConnectAttr(conn, attribute, pointer, length, api);
  }
  return accepted ? passToStatements(conn, attribute, value) : clError(conn, clmsg::NotSupported);
}

}  // namespace

SQLRETURN CLSetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  auto* stmt = static_cast<DMStmt*>(handle);
  if (isSetOption(attribute))
    return CLSetStmtOption(stmt, static_cast<SQLUSMALLINT>(attribute), asNumber(value));
  for (const auto& header : kHeaderAttributes)
    if (header.attribute == attribute)
      return CLSetDescField(stmt->*header.desc, 0, header.field, value, length);
  switch (attribute) {
    case SQL_ATTR_CURSOR_SENSITIVITY:
      return asNumber(value) == SQL_SENSITIVE ? clError(stmt, clmsg::NotSupported) : SQL_SUCCESS;
    case SQL_ATTR_CURSOR_SCROLLABLE: stmt->cursorType = cursorTypeOf(asNumber(value)); return SQL_SUCCESS;
    case SQL_ATTR_APP_ROW_DESC:
    case SQL_ATTR_APP_PARAM_DESC: return setDescriptor(stmt, attribute, value, length);
    default: return CursorLibSetOneStmtAttr(stmt, attribute, value, length);
  }
}

SQLRETURN CLGetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                        SQLINTEGER* lengthPtr) {
  auto* stmt = static_cast<DMStmt*>(handle);
  // Kept: the two negative attributes are cut to 16 bits, and so become options that go on to the driver.
  if (isGetOption(attribute)) return CLGetStmtOption(stmt, static_cast<SQLUSMALLINT>(attribute), value);
  return CursorLibGetStmtAttr(stmt, attribute, value, length, lengthPtr);
}

SQLRETURN CLSetConnectAttr(SQLHDBC conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  return SetConnectAttr(static_cast<DMConn*>(conn), attribute, value, length, API_SETCONNECTATTR);
}

SQLRETURN CLSetConnectOption(SQLHDBC conn, SQLUSMALLINT option, SQLULEN value) {
  return SetConnectAttr(static_cast<DMConn*>(conn), option, asPointer(value), 0, API_SETCONNECTOPTION);
}
