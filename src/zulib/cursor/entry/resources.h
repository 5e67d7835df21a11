// What the cursor library owns on a statement: its SqlParser and its cursor, created on demand, and their
// end.
//
// Thread use: under CursorLibrarySingleThreadLock, inside a guard, unless stated otherwise; may throw.

#ifndef ZULIB_CURSOR_ENTRY_RESOURCES_H
#define ZULIB_CURSOR_ENTRY_RESOURCES_H

#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/rows/fwdcursor.h"
#include "zulib/cursor/statement/sqlparser.h"
#include "zuodbc/dmhandle.h"

// SQLFreeStmt's options are 0 to 3; this one drops what the library holds for a statement whose driver side
// is gone, or going with its connection.
constexpr SQLUSMALLINT kDropKeepingDriver = 10;

// Any of the three fetch functions was used on the result set.
constexpr unsigned short kAnyFetch = DM_FETCH_BY_FETCH | DM_FETCH_BY_SCROLL | DM_FETCH_BY_EXTENDED;

// True if a cursor of the statement puts a copy in the place of its explicit row descriptor, and undoes that
// itself; the driver's bindings of the descriptor are then never changed.
bool usesStandIn(const DMStmt* stmt);

// Gives the statement the cursor that its cursor type asks for. `api`: API_EXTENDEDFETCH or API_FETCHSCROLL.
void AllocCursor(DMStmt* stmt, unsigned short api);

// Returns the statement's SqlParser, which is created if there is none.
SqlParser& parserOf(DMStmt* stmt);

// Both clear the statement's pointer before the destructor runs. deleteCursor returns SQL_ERROR if the cursor
// could not give back all that it held; the cause is then posted on the statement, and the cursor has ended
// all the same.
SQLRETURN deleteCursor(DMStmt* stmt);
void deleteParser(DMStmt* stmt);

// Ends the cursor of a statement that lives on: the driver is bound to the application's buffers again.
void endCursor(DMStmt* stmt);

// Ends a result: its cursor, and any fetch function may be used next.
void endResult(DMStmt* stmt);

// Runs `withCursor` on the statement's cursor, or `withDriver` if there is none. The question is repeated
// under the lock, because another thread may just have ended the cursor. To be called outside a guard.
template <class WithCursor, class WithDriver>
SQLRETURN cursorOrDriver(DMStmt* stmt, WithCursor withCursor, WithDriver withDriver) {
  if (!stmt->cursor) return withDriver();
  return guarded(stmt, [&] { return stmt->cursor ? withCursor(*stmt->cursor) : withDriver(); });
}

// Frees what belongs to `option`: SQL_CLOSE, SQL_DROP, SQL_UNBIND, SQL_RESET_PARAMS or kDropKeepingDriver.
// Returns the code of rebinding the driver, if that takes place.
SQLRETURN ReleaseCLStmtResources(DMStmt* stmt, unsigned short option);

#endif
