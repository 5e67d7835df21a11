// CLBindCol and CLBindParameter.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/resources.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"

namespace {

struct ColumnBinding {
  SQLUSMALLINT column;
  SQLSMALLINT typeGiven;
  SQLSMALLINT cType;
  SQLPOINTER data;
  SQLLEN length;
  SQLLEN* lengthPtr;
};

// True if the type and size, with the defaults that the cursor `reader` uses for the column, are those of the
// record.
bool sameShape(const FwdCursor* reader, const BindInfo* old, const ColumnBinding& binding) {
  const short sqlType = reader ? reader->sqlTypeOf(binding.column) : short{0};
  const short cType = effectiveCType(binding.typeGiven, sqlType);
  if (cType != old->cType) return false;
  const auto length = static_cast<SQLULEN>(binding.length);
  return !binding.data || effectiveSize(cType, length) == static_cast<SQLULEN>(old->length);
}

void fill(BindInfo* record, const ColumnBinding& binding) {
  record->column = binding.column;
  record->typeGiven = binding.typeGiven;
  record->cType = binding.cType;
  record->data = binding.data;
  record->length = binding.length;
  record->octetLengthPtr = record->indicatorPtr = binding.lengthPtr;
  record->scale = 0;
  record->typeForm = ET_BIND_CONCISE;
}

// Puts the binding on the driver and on the descriptor's list. A record that is not put back on the list is
// freed: the column is unbound, also if the driver refuses the new binding.
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

// Gives a column of an open cursor a new address. The record keeps its place in the list, which is the order
// of the cursor's columns. The driver, which is bound to the cursor's buffers, is not told.
void rebind(DMDesc* desc, ColumnBinding binding) {
  BindInfo* record = FindBindInfo(desc, binding.column);
  if (!record) return;
  binding.cType = record->cType;
  binding.length = record->length;
  fill(record, binding);
}

// The same for the driver's side of the application's own descriptor, while a copy takes its place.
SQLRETURN rebindOnDriver(DMDesc* desc, const ColumnBinding& binding) {
  const struct {
    SQLSMALLINT field;
    SQLPOINTER value;
  } addresses[] = {{SQL_DESC_DATA_PTR, binding.data},
                   {SQL_DESC_OCTET_LENGTH_PTR, binding.lengthPtr},
                   {SQL_DESC_INDICATOR_PTR, binding.lengthPtr}};
  for (const auto& address : addresses) {
    if (binding.column == 0) break;
    const SQLRETURN rc = CursorLibSetDescField(desc, static_cast<SQLSMALLINT>(binding.column), address.field,
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
  const ColumnBinding binding{column, cType, cType, data, length, lengthPtr};
  if (!stmt->cursor && CheckModifyDesc(stmt->ard))
    return guarded(stmt, [&] { return bindOnDriver(stmt, binding); });

  // While copies take the place of the application's descriptor, all of them follow it.
  DMDesc* const desc = stmt->savedArd ? stmt->savedArd : stmt->ard;
  return guarded(stmt, [&] {
    const DMStmt* const reader = stmt->cursor ? stmt : statementReading(desc);
    const BindInfo* const old = FindBindInfo(desc, column);
    if (!old || !sameShape(reader ? reader->cursor : nullptr, old, binding))
      return clError(stmt, clmsg::BindingFixed);
    if (desc->shareCount != 0) {
      const SQLRETURN rc = rebindOnDriver(desc, binding);
      if (clFailed(rc)) return rc;
    }
    rebind(desc, binding);
    return onStandIns(desc, [&](DMDesc* copy) -> SQLRETURN {
      rebind(copy, binding);
      return SQL_SUCCESS;
    });
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
