// CLBindCol and CLBindParameter.

#include "zulib/cursor/entry/bindinfo.h"
#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/stmtresources.h"

namespace {

struct ColumnBinding {
  SQLUSMALLINT column;
  SQLSMALLINT typeGiven;
  SQLSMALLINT cType;
  SQLPOINTER data;
  SQLLEN lengthGiven;
  SQLLEN length;
  SQLLEN* lengthPtr;
};

// The record's type and size, either as the application gave them or as the cursor has resolved them.
bool sameShape(const BindInfo* old, const ColumnBinding& binding) {
  if (binding.typeGiven != old->cType && binding.typeGiven != old->typeGiven) return false;
  return !binding.data || binding.length == old->length || binding.length == old->lengthGiven;
}

void fill(BindInfo* record, const ColumnBinding& binding) {
  record->column = binding.column;
  record->typeGiven = binding.typeGiven;
  record->cType = binding.cType;
  record->data = binding.data;
  record->length = binding.length;
  record->lengthGiven = binding.lengthGiven;
  record->octetLengthPtr = record->indicatorPtr = binding.lengthPtr;
  record->scale = 0;
  record->typeForm = ET_BIND_CONCISE;
}

// Puts the binding on the driver and on the descriptor's list. A record that does not come back to the
// list is freed: the column is unbound, also when the driver has refused the new binding.
SQLRETURN bindOnDriver(DMStmt* stmt, const ColumnBinding& binding) {
  BindInfo* record = GetBindInfo(stmt->ard, binding.column);
  if (!record) throw CMemoryException();
  SQLRETURN rc = SQL_SUCCESS;
  if (binding.column != 0)
    rc = CursorLibBindCol(stmt, binding.column, binding.cType, binding.data, binding.length,
                          binding.lengthPtr);
  if (clFailed(rc) || !binding.data) {
    std::free(record);
    if (clFailed(rc)) throw RCException(rc);
    return rc;
  }
  InsertBindInfo(stmt->ard, record, binding.data);
  fill(record, binding);
  return rc;
}

// A new address for a column of an open cursor. The record keeps its place in the list, which is the
// order of the cursor's columns, and the driver, which is bound to the cursor's buffers, hears nothing.
void rebind(DMDesc* desc, ColumnBinding binding) {
  BindInfo* record = FindBindInfo(desc, binding.column);
  if (!record) return;
  binding.cType = record->cType;
  binding.length = record->length;
  fill(record, binding);
}

// The same for the driver's side of the application's own descriptor, for which a copy stands in while the
// cursor lives.
SQLRETURN rebindOnDriver(DMDesc* desc, const ColumnBinding& binding) {
  const struct {
    SQLSMALLINT field;
    SQLPOINTER value;
  } addresses[] = {{SQL_DESC_DATA_PTR, binding.data},
                   {SQL_DESC_OCTET_LENGTH_PTR, binding.lengthPtr},
                   {SQL_DESC_INDICATOR_PTR, binding.lengthPtr}};
  for (const auto& address : addresses) {
    if (binding.column == 0) break;
    SQLRETURN rc = CursorLibSetDescField(desc, static_cast<SQLSMALLINT>(binding.column), address.field,
                                         address.value, SQL_IS_POINTER);
    if (clFailed(rc)) return rc;
  }
  return SQL_SUCCESS;
}

}  // namespace

SQLRETURN CLBindCol(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER data, SQLLEN length,
                    SQLLEN* lengthPtr) {
  auto* stmt = static_cast<DMStmt*>(handle);
  if (column == 0 && stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarksOff);
  const ColumnBinding binding{column, cType, cType, data, length, length, lengthPtr};
  if (!stmt->cursor && CheckModifyDesc(stmt->ard))
    return guarded(stmt, [&] { return bindOnDriver(stmt, binding); });

  // While a copy stands in for the application's descriptor, the cursor reads the application's records.
  DMDesc* desc = stmt->savedArd ? stmt->savedArd : stmt->ard;
  const BindInfo* old = FindBindInfo(desc, column);
  if (!old || !sameShape(old, binding)) return clError(stmt, clmsg::BindingFixed);
  return guarded(stmt, [&] {
    const bool copied = stmt->ard != desc;
    SQLRETURN rc = copied ? rebindOnDriver(desc, binding) : SQL_SUCCESS;
    if (clFailed(rc)) return rc;
    rebind(desc, binding);
    if (copied) rebind(stmt->ard, binding);
    return rc;
  });
}

SQLRETURN CLBindParameter(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT ioType, SQLSMALLINT cType,
                          SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT scale, SQLPOINTER data,
                          SQLLEN length, SQLLEN* lengthPtr) {
  auto* stmt = static_cast<DMStmt*>(handle);
  return guarded(stmt, [&] {
    return parserOf(stmt).bindParameter(number, ioType, cType, sqlType, size, scale, data, length, lengthPtr);
  });
}
