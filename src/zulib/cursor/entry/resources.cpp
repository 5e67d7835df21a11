#include "zulib/cursor/entry/resources.h"

#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/forward.h"
#include "zulib/cursor/rows/scrollcursor.h"
#include "zuodbc/driverfunctions.h"

bool usesStandIn(const DMStmt* stmt) {
  const DMDriverFunctions* const functions = stmt->conn->driverFunctions;
  return stmt->ard->isExplicit() && functions && functions->hasDescriptorCalls();
}

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
  FwdCursor* const cursor = stmt->cursor;
  stmt->cursor = nullptr;
  if (!cursor) return SQL_SUCCESS;
  const SQLRETURN rc = cursor->release();
  delete cursor;
  return rc;
}

void deleteParser(DMStmt* stmt) {
  SqlParser* const parser = stmt->parser;
  stmt->parser = nullptr;
  delete parser;
}

void endCursor(DMStmt* stmt) {
  if (!stmt->cursor) return;
  deleteCursor(stmt);
  RestoreBindings(stmt);
}

void endResult(DMStmt* stmt) {
  endCursor(stmt);
  stmt->fetchState &= ~kAnyFetch;
}

SQLRETURN ReleaseCLStmtResources(DMStmt* stmt, unsigned short option) {
  const bool close = option == SQL_CLOSE;
  const bool restore = close && !usesStandIn(stmt);
  SQLRETURN ended = SQL_SUCCESS;
  const bool endsResult = close || option == SQL_DROP || option == kDropKeepingDriver;

  if (option == kDropKeepingDriver && stmt->cursor) stmt->cursor->keepDriverDescriptor();
  if (endsResult) {
    // A driver that refuses the plain row array keeps its old one; the statement is released all the same.
    if (!stmt->cursor && option != kDropKeepingDriver)
      CursorLibSetStmtAttr(stmt, 1, nullptr, nullptr, nullptr, SQL_BIND_BY_COLUMN);
    ended = deleteCursor(stmt);
  }
  // Kept: the parameters go with the columns, with SQL_UNBIND too.
  if (option == SQL_UNBIND || (endsResult && !close)) FreeBindArray(stmt);

  // A prepared statement keeps its analysed text when it is closed.
  if (endsResult && !(close && (stmt->flags & DM_STMT_PREPARED))) deleteParser(stmt);
  const SQLRETURN rc = restore ? RestoreBindings(stmt) : SQLRETURN{SQL_SUCCESS};
  if (close) stmt->fetchState &= ~kAnyFetch;
  // The cause of a cursor's incomplete end is posted; everything else is released all the same.
  if (clFailed(ended)) throw RCException(ended);
  return rc;
}
