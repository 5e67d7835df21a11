// What the cursor library owns on a statement: the analyser and the cursor, made on demand, and their end.
//
// Thread use: under CursorLibrarySingleThreadLock, inside a guard, but where it says otherwise; may throw.

#ifndef ZULIB_CURSOR_INTERNAL_STMTRESOURCES_H
#define ZULIB_CURSOR_INTERNAL_STMTRESOURCES_H

#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/rows/cursor.h"
#include "zulib/cursor/statement/parser.h"
#include "zuodbc/dmhandle.h"

// SQLFreeStmt's options go from 0 to 3; this one drops what the library holds for a statement whose driver
// side is gone or going with its connection.
constexpr SQLUSMALLINT CL_DROP_KEEPING_DRIVER = 10;

// Any of the three fetch functions was used on the result set.
constexpr unsigned short CL_ANY_FETCH = DM_FETCH_BY_FETCH | DM_FETCH_BY_SCROLL | DM_FETCH_BY_EXTENDED;

// Gives the statement the cursor that its cursor type asks for. `api`: API_EXTENDEDFETCH or API_FETCHSCROLL.
void AllocCursor(DMStmt* stmt, unsigned short api);

// The statement's analyser, made when there is none.
SqlParser& parserOf(DMStmt* stmt);

// Both clear the statement's pointer before the destructor runs. A cursor that could not give back all that
// it held is gone too, with the cause posted on the statement and SQL_ERROR answered.
SQLRETURN deleteCursor(DMStmt* stmt);
void deleteParser(DMStmt* stmt);

// What the end of a result means to a statement that lives on: its cursor goes, the driver is bound to the
// application's buffers again, since the cursor's are gone, and any fetch function may be used next.
void endResult(DMStmt* stmt);

// The answer of the statement's cursor, or of the driver when there is none. Asked again under the lock:
// another thread may just have ended the cursor. Not inside a guard.
template <class WithCursor, class WithDriver>
SQLRETURN cursorOrDriver(DMStmt* stmt, WithCursor withCursor, WithDriver withDriver) {
  if (!stmt->cursor) return withDriver();
  return guarded(stmt, [&] { return stmt->cursor ? withCursor(*stmt->cursor) : withDriver(); });
}

// Frees what belongs to `option`: SQL_CLOSE, SQL_DROP, SQL_UNBIND, SQL_RESET_PARAMS or
// CL_DROP_KEEPING_DRIVER. The code of rebinding the driver, where that takes place.
SQLRETURN ReleaseCLStmtResources(DMStmt* stmt, unsigned short option);

#endif
