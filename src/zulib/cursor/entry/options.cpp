// The statement options that the cursor library stores or returns by itself. All others are the driver's.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/resources.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"

namespace {

// Some drivers cannot take the bind type as a descriptor's field, but take it as a statement attribute.
SQLRETURN setBindType(DMStmt* stmt, SQLULEN value) {
  if (stmt->cursor) return clError(stmt, clmsg::BindingFixed);
  stmt->fetchState |= DM_FETCH_BIND_TYPE_SET;
  if (!clFailed(CLSetDescField(stmt->ard, 0, SQL_DESC_BIND_TYPE, asPointer(value), 0))) return SQL_SUCCESS;
  stmt->ard->VFreeErrors();
  return CursorLibSetOneStmtAttr(stmt, SQL_ATTR_ROW_BIND_TYPE, asPointer(value), SQL_IS_UINTEGER);
}

SQLRETURN setCursorType(DMStmt* stmt, SQLULEN value) {
  const bool known = value == SQL_CURSOR_FORWARD_ONLY || value == SQL_CURSOR_STATIC;
  stmt->cursorType = known ? value : SQL_CURSOR_STATIC;
  return known ? SQL_SUCCESS : clWarning(stmt, clmsg::OptionValueChanged);
}

SQLRETURN setConcurrency(DMStmt* stmt, SQLULEN value) {
  switch (value) {
    case SQL_CONCUR_READ_ONLY:
    case SQL_CONCUR_VALUES: stmt->concurrency = static_cast<unsigned short>(value); return SQL_SUCCESS;
    case SQL_CONCUR_ROWVER:
      stmt->concurrency = SQL_CONCUR_VALUES;
      return clWarning(stmt, clmsg::OptionValueChanged);
    default: return clError(stmt, clmsg::NotSupported);
  }
}

SQLRETURN setUseBookmarks(DMStmt* stmt, SQLULEN value) {
  stmt->useBookmarks = value;
  // The option is read back from these two bits.
  stmt->flags &= ~(DM_STMT_UB_ON | DM_STMT_UB_VARIABLE);
  if (value == SQL_UB_ON) stmt->flags |= DM_STMT_UB_ON;
  if (value == SQL_UB_VARIABLE) stmt->flags |= DM_STMT_UB_VARIABLE;
  return SQL_SUCCESS;
}

// A cursor that was made for `api` takes the new size from its next fetch on.
SQLRETURN resizeCursor(DMStmt* stmt, unsigned short api, SQLULEN size) {
  const auto resize = [&](FwdCursor& cursor) -> SQLRETURN {
    if (cursor.isMadeFor(api)) cursor.setRowsetSize(static_cast<SQLLEN>(size));
    return SQL_SUCCESS;
  };
  return cursorOrDriver(stmt, resize, []() -> SQLRETURN { return SQL_SUCCESS; });
}

SQLRETURN setRowsetSize(DMStmt* stmt, SQLULEN value) {
  stmt->rowsetSize = value;
  return resizeCursor(stmt, API_EXTENDEDFETCH, value);
}

SQLRETURN setRowArraySize(DMStmt* stmt, SQLULEN value) {
  setArraySize(stmt->ard, value);
  if (stmt->savedArd) setArraySize(stmt->savedArd, value);
  return resizeCursor(stmt, API_FETCHSCROLL, value);
}

SQLULEN bookmarkUse(const DMStmt* stmt) {
  if (stmt->flags & DM_STMT_UB_ON) return SQL_UB_ON;
  return stmt->flags & DM_STMT_UB_VARIABLE ? SQL_UB_VARIABLE : SQL_UB_OFF;
}

SQLRETURN put(SQLPOINTER value, SQLULEN number) {
  *static_cast<SQLULEN*>(value) = number;
  return SQL_SUCCESS;
}

SQLRETURN putPointer(SQLPOINTER value, void* pointer) {
  *static_cast<void**>(value) = pointer;
  return SQL_SUCCESS;
}

SQLRETURN rowNumber(DMStmt* stmt, SQLUSMALLINT option, SQLPOINTER value) {
  return cursorOrDriver(
      stmt, [&](FwdCursor& cursor) { return put(value, cursor.rowNumber()); },
      [&] { return CursorLibGetStmtOption(stmt, option, value); });
}

}  // namespace

SQLRETURN CLSetStmtOption(SQLHSTMT handle, SQLUSMALLINT option, SQLULEN value) {
  auto* stmt = static_cast<DMStmt*>(handle);
  switch (option) {
    case SQL_BIND_TYPE: return setBindType(stmt, value);
    case SQL_CURSOR_TYPE: return setCursorType(stmt, value);
    case SQL_CONCURRENCY: return setConcurrency(stmt, value);
    case SQL_KEYSET_SIZE: return clError(stmt, clmsg::NotSupported);
    case SQL_ROWSET_SIZE: return setRowsetSize(stmt, value);
    case SQL_SIMULATE_CURSOR:
      return value == SQL_SC_NON_UNIQUE ? SQL_SUCCESS : clWarning(stmt, clmsg::OptionValueChanged);
    case SQL_RETRIEVE_DATA: return value == SQL_RD_ON ? SQL_SUCCESS : clError(stmt, clmsg::NotSupported);
    case SQL_USE_BOOKMARKS: return setUseBookmarks(stmt, value);
    case SQL_ATTR_FETCH_BOOKMARK_PTR:
      stmt->fetchBookmarkPtr = static_cast<SQLLEN*>(asPointer(value));
      return SQL_SUCCESS;
    case SQL_ATTR_ROW_ARRAY_SIZE: return setRowArraySize(stmt, value);
    default: return CursorLibSetStmtOption(stmt, option, value);
  }
}

SQLRETURN CLGetStmtOption(SQLHSTMT handle, SQLUSMALLINT option, SQLPOINTER value) {
  auto* stmt = static_cast<DMStmt*>(handle);
  SQLULEN scratch = 0;
  if (!value) value = &scratch;
  switch (option) {
    case SQL_BIND_TYPE: return put(value, stmt->ard->bindType);
    case SQL_CURSOR_TYPE: return put(value, stmt->cursorType);
    case SQL_CONCURRENCY: return put(value, stmt->concurrency);
    case SQL_KEYSET_SIZE: return clError(stmt, clmsg::NotSupported);
    case SQL_ROWSET_SIZE: return put(value, stmt->rowsetSize);
    case SQL_SIMULATE_CURSOR: return put(value, SQL_SC_NON_UNIQUE);
    case SQL_RETRIEVE_DATA: return put(value, SQL_RD_ON);
    case SQL_USE_BOOKMARKS: return put(value, bookmarkUse(stmt));
    case SQL_GET_BOOKMARK:
      if (stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarksOff);
      return rowNumber(stmt, option, value);
    case SQL_ROW_NUMBER: return rowNumber(stmt, option, value);
    case SQL_ATTR_FETCH_BOOKMARK_PTR: return putPointer(value, stmt->fetchBookmarkPtr);
    case SQL_ATTR_PARAM_OPERATION_PTR: return putPointer(value, stmt->apd->arrayStatusPtr);
    case SQL_ATTR_ROW_BIND_OFFSET_PTR: return putPointer(value, stmt->ard->bindOffsetPtr);
    case SQL_ATTR_ROW_OPERATION_PTR: return putPointer(value, stmt->ard->arrayStatusPtr);
    case SQL_ATTR_ROW_STATUS_PTR: return putPointer(value, stmt->ird->arrayStatusPtr);
    case SQL_ATTR_ROWS_FETCHED_PTR: return putPointer(value, stmt->ird->rowsProcessedPtr);
    case SQL_ATTR_ROW_ARRAY_SIZE: return put(value, stmt->ard->arraySize);
    default: return CursorLibGetStmtOption(stmt, option, value);
  }
}

SQLRETURN CLSetScrollOptions(SQLHSTMT handle, SQLUSMALLINT concurrency, SQLLEN keyset, SQLUSMALLINT rowset) {
  auto* stmt = static_cast<DMStmt*>(handle);
  const bool readOnly = concurrency == SQL_CONCUR_READ_ONLY;
  const bool fits = (readOnly || concurrency == SQL_CONCUR_VALUES) &&
                    (keyset == SQL_SCROLL_STATIC || (keyset == SQL_SCROLL_FORWARD_ONLY && readOnly));
  if (!fits) return clError(stmt, clmsg::NotSupported);
  stmt->concurrency = concurrency;
  stmt->cursorType = static_cast<SQLULEN>(-keyset);  // the scroll options are the negated cursor types
  stmt->rowsetSize = rowset;
  return SQL_SUCCESS;
}
