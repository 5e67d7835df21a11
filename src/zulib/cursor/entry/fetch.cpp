// The entry points that move through a result: fetches, SQLSetPos, SQLGetData, SQLRowCount, SQLMoreResults
// and SQLCloseCursor.
//
// A statement has a cursor only from its first SQLFetchScroll or SQLExtendedFetch on. SQLFetch always goes
// to the driver. The three functions exclude each other on a result: `fetchState` records which one was used,
// and while the driver is bound to a cursor's buffers no other function may reach it, whatever the fetches so
// far have returned.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/resources.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"

namespace {

// True if the driver would fetch into the buffers of a cursor: the statement's own, or that of another
// statement that shares its row descriptor in a driver that cannot copy it.
bool fetchesIntoCursor(const DMStmt* stmt) {
  if (stmt->cursor) return stmt->cursor->hasDriverBindings();
  if (!stmt->ard->isExplicit() || usesStandIn(stmt)) return false;
  for (const DMStmt* other : DMStmtList(stmt->conn))
    if (isDescriptor(other->ard, stmt->ard) && other->cursor && other->cursor->hasDriverBindings())
      return true;
  return false;
}

SQLRETURN fetchThroughCursor(DMStmt* stmt, unsigned short api, unsigned short orientation, SQLLEN offset,
                             SQLULEN* rowCount, SQLUSMALLINT* rowStatus) {
  return guarded(stmt, [&] {
    if (stmt->cursor && !stmt->cursor->isMadeFor(api)) {
      if (stmt->cursor->hasDriverBindings()) throw ODBCException(stmt, clmsg::FetchMixed);
      deleteCursor(stmt);  // its set-up has failed
    }
    if (!stmt->cursor) AllocCursor(stmt, api);
    const SQLRETURN rc = stmt->cursor->fetch(orientation, offset, rowCount, rowStatus);
    if (!clFailed(rc)) stmt->fetchState |= api == API_FETCHSCROLL ? DM_FETCH_BY_SCROLL : DM_FETCH_BY_EXTENDED;
    return rc;
  });
}

// The driver has to be told the application's row array before its first SQLFetch, and again after any of the
// settings has changed.
bool rowArrayIsKnown(const DMStmt* stmt) {
  return (stmt->fetchState & DM_FETCH_BY_FETCH) && !(stmt->fetchState & DM_FETCH_BIND_TYPE_SET) &&
         !(stmt->ard->headerChanged & kHeaderChanged) && !(stmt->ird->headerChanged & kHeaderChanged);
}

// Before the driver fetches a row array: the buffers of an earlier cursor that it still has bound hold one
// row.
SQLRETURN unbindCursorBuffers(DMStmt* stmt) {
  if (!(stmt->ard->flags & DM_DESC_CURSOR_BOUND)) return SQL_SUCCESS;
  SQLRETURN rc = CursorLibFreeStmt(stmt, SQL_UNBIND);
  if (!clFailed(rc)) rc = RestoreBindings(stmt);
  if (!clFailed(rc)) stmt->ard->flags &= ~unsigned{DM_DESC_CURSOR_BOUND};
  return rc;
}

}  // namespace

SQLRETURN CLExtendedFetch(SQLHSTMT handle, SQLUSMALLINT orientation, SQLLEN offset, SQLULEN* rowCountPtr,
                          SQLUSMALLINT* statusPtr) {
  auto* stmt = static_cast<DMStmt*>(handle);
  if (stmt->fetchState & (DM_FETCH_BY_FETCH | DM_FETCH_BY_SCROLL)) return clError(stmt, clmsg::FetchMixed);
  return fetchThroughCursor(stmt, API_EXTENDEDFETCH, orientation, offset, rowCountPtr, statusPtr);
}

SQLRETURN CLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN offset) {
  auto* stmt = static_cast<DMStmt*>(handle);
  if (stmt->fetchState & (DM_FETCH_BY_FETCH | DM_FETCH_BY_EXTENDED)) return clError(stmt, clmsg::FetchMixed);
  return fetchThroughCursor(stmt, API_FETCHSCROLL, static_cast<unsigned short>(orientation), offset,
                            stmt->ird->rowsProcessedPtr, stmt->ird->arrayStatusPtr);
}

SQLRETURN CLFetch(SQLHSTMT handle) {
  auto* stmt = static_cast<DMStmt*>(handle);
  if (stmt->fetchState & (DM_FETCH_BY_SCROLL | DM_FETCH_BY_EXTENDED) || fetchesIntoCursor(stmt))
    return clError(stmt, clmsg::FetchMixed);
  const SQLRETURN unbound = unbindCursorBuffers(stmt);
  if (clFailed(unbound)) return unbound;
  DMDesc& ard = *stmt->ard;
  DMDesc& ird = *stmt->ird;
  if (!rowArrayIsKnown(stmt)) {
    const SQLRETURN rc = CursorLibSetStmtAttr(stmt, ard.arraySize, ird.rowsProcessedPtr, ard.bindOffsetPtr,
                                              ird.arrayStatusPtr, ard.bindType);
    if (clFailed(rc)) return rc;
  }
  stmt->fetchState &= ~DM_FETCH_BIND_TYPE_SET;
  ard.headerChanged &= ~kHeaderChanged;
  ird.headerChanged &= ~kHeaderChanged;

  stmt->fetchState |= DM_FETCH_IN_FETCH;
  const SQLRETURN rc = CursorLibFetch(stmt);
  stmt->fetchState &= ~DM_FETCH_IN_FETCH;
  if (!clFailed(rc)) stmt->fetchState |= DM_FETCH_BY_FETCH;
  return rc;
}

SQLRETURN CLSetPos(SQLHSTMT handle, SQLSETPOSIROW row, SQLUSMALLINT operation, SQLUSMALLINT lock) {
  auto* stmt = static_cast<DMStmt*>(handle);
  const auto withCursor = [&](FwdCursor& cursor) {
    const bool writes = operation == SQL_UPDATE || operation == SQL_DELETE || operation == SQL_ADD;
    if (cursor.getConcurrency() == SQL_CONCUR_READ_ONLY && lock == SQL_LOCK_NO_CHANGE && writes)
      throw ODBCException(stmt, clmsg::OperationNotSupported);
    return cursor.setPos(row, operation, lock);
  };
  return cursorOrDriver(stmt, withCursor, [&] { return CursorLibSetPos(stmt, row, operation, lock); });
}

SQLRETURN CLBulkOperations(SQLHSTMT handle, SQLSMALLINT) {
  return clError(handle, clmsg::OperationNotSupported);
}

SQLRETURN CLGetData(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN length,
                    SQLLEN* lengthPtr) {
  auto* stmt = static_cast<DMStmt*>(handle);
  return cursorOrDriver(
      stmt, [&](FwdCursor& cursor) { return cursor.getData(column, cType, value, length, lengthPtr); },
      [&] { return CursorLibGetData(stmt, column, cType, value, length, lengthPtr); });
}

SQLRETURN CLRowCount(SQLHSTMT handle, SQLLEN* count) {
  auto* stmt = static_cast<DMStmt*>(handle);
  return cursorOrDriver(
      stmt, [&](FwdCursor& cursor) { return cursor.rowCount(count); },
      [&] { return CursorLibRowCount(stmt, count); });
}

// Of the state of the statement only the cursor ends with the result.
SQLRETURN CLMoreResults(SQLHSTMT handle) {
  auto* stmt = static_cast<DMStmt*>(handle);
  const SQLRETURN rc = CursorLibMoreResults(stmt);
  if (clFailed(rc) && rc != SQL_NO_DATA) return rc;
  return guarded(stmt, [&] {
    endCursor(stmt);
    return rc;
  });
}

SQLRETURN CLCloseCursor(SQLHSTMT handle) {
  auto* stmt = static_cast<DMStmt*>(handle);
  const SQLRETURN rc = CursorLibCloseCursor(stmt);
  if (clFailed(rc)) return rc;
  return guarded(stmt, [&] {
    ReleaseCLStmtResources(stmt, SQL_CLOSE);
    return rc;
  });
}
