// The analyser and the cursor of a statement: made on demand, ended by option.

#include "zulib/cursor/entry/stmtresources.h"

#include "zulib/cursor/entry/bindinfo.h"
#include "zulib/cursor/entry/exception.h"
#include "zulib/cursor/entry/forward.h"
#include "zuodbc/driverfunctions.h"

namespace {

// A cursor over an explicit descriptor has put a copy in its place, and undoes that itself.
bool copyStandsIn(const DMStmt* stmt) {
  const DMDriverFunctions* functions = stmt->conn->driverFunctions;
  return stmt->ard->isExplicit() && functions && functions->hasDescriptorCalls();
}

}  // namespace

void AllocCursor(DMStmt* stmt, unsigned short api) {
  if (!stmt->ard->bindList) throw ODBCException(stmt, clmsg::NoBoundColumns);
  if (stmt->cursorType != SQL_CURSOR_FORWARD_ONLY) {
    stmt->cursor = new ScrollCursor(stmt, api);
  } else {
    stmt->cursor = new FwdCursor(stmt, api);
  }
}

SqlParser& parserOf(DMStmt* stmt) {
  if (!stmt->parser) stmt->parser = new SqlParser(stmt);
  return *stmt->parser;
}

SQLRETURN deleteCursor(DMStmt* stmt) {
  FwdCursor* cursor = stmt->cursor;
  stmt->cursor = nullptr;
  if (!cursor) return SQL_SUCCESS;
  SQLRETURN rc = cursor->release();
  delete cursor;
  return rc;
}

void deleteParser(DMStmt* stmt) {
  SqlParser* parser = stmt->parser;
  stmt->parser = nullptr;
  delete parser;
}

void endResult(DMStmt* stmt) {
  if (stmt->cursor) {
    deleteCursor(stmt);
    RestoreBindings(stmt);
  }
  stmt->fetchState &= ~CL_ANY_FETCH;
}

SQLRETURN ReleaseCLStmtResources(DMStmt* stmt, unsigned short option) {
  const bool close = option == SQL_CLOSE;
  const bool restore = close && !copyStandsIn(stmt);
  SQLRETURN ended = SQL_SUCCESS;
  const bool endsResult = close || option == SQL_DROP || option == CL_DROP_KEEPING_DRIVER;

  if (option == CL_DROP_KEEPING_DRIVER && stmt->cursor) stmt->cursor->keepDriverDescriptor();
  if (endsResult) {
    // A driver that refuses the plain row array keeps its old one; the statement is released all the same.
    if (!stmt->cursor && option != CL_DROP_KEEPING_DRIVER)
      CursorLibSetStmtAttr(stmt, 1, nullptr, nullptr, nullptr, SQL_BIND_BY_COLUMN);
    ended = deleteCursor(stmt);
  }
  // The parameters go with the columns, for SQL_UNBIND too. This is meant.
  if (option == SQL_UNBIND || (endsResult && !close)) FreeBindArray(stmt);

  // A prepared statement keeps its analysed text when it is closed.
  if (endsResult && !(close && (stmt->flags & DM_STMT_PREPARED))) deleteParser(stmt);
  SQLRETURN rc = restore ? RestoreBindings(stmt) : SQL_SUCCESS;
  if (close) stmt->fetchState &= ~CL_ANY_FETCH;
  // A cursor that could not give back its file has posted that; everything else is released all the same.
  if (clFailed(ended)) throw RCException(ended);
  return rc;
}
