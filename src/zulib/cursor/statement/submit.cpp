// SqlParser: the sequence of execution. Each call goes as far as the driver lets it; `state` tells where
// the next call of the same kind takes it up.

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/queue.h"
#include "zulib/cursor/rows/cursor.h"
#include "zulib/cursor/statement/parser.h"

namespace {

// The driver only looks at the text; no rows of others are in its way.
bool isLight(Submit function) { return function == Submit::Prepare || function == Submit::NativeSql; }

// The answer of a second call counts when the first one worked, but does not hide a warning.
void takeIfWorse(SQLRETURN* rc, SQLRETURN second) {
  if (*rc == SQL_SUCCESS || (*rc == SQL_SUCCESS_WITH_INFO && clFailed(second))) *rc = second;
}

}  // namespace

SQLRETURN SqlParser::submitSql(Submit function) {
  SQLRETURN rc;
  try {
    rc = runSequence(function);
  } catch (const CException&) {
    if (searched) {
      moveErrors();
      resetParams();
    }
    suspended = false;
    throw;
  }
  suspended = rc == SQL_STILL_EXECUTING;
  suspendedIn = function;
  return rc;
}

SQLRETURN SqlParser::runSequence(Submit function) {
  const bool light = isLight(function);
  SQLRETURN rc = SQL_SUCCESS;
  SQLRETURN first = SQL_SUCCESS;
  if (conn->activeStatements == 1 && !light) closeGetDataCursors();
  if (state == Analysed) rc = makeFinal(light);
  Next next = state == Described ? Next::Describe : Next::Finish;
  if (state == Final || state == Sent) {
    if (state == Final) {
      if (!suspended) stopIfCancelled();  // else the driver's answer is taken first, or it would stay busy
      rc = first = send(function);
      if (rc == SQL_STILL_EXECUTING) return rc;
      if (cancelled && !clFailed(rc)) CursorLibFreeStmt(stmt, SQL_CLOSE);
    }
    stopIfCancelled();
    state = Sent;
    if (function == Submit::ParamData) rc = CursorLibParamData(stmt, paramDataOut);
    next = takeAnswer(light, first, &rc);
  }
  if (next == Next::RunAgain) return rc;
  if (next == Next::Describe) describeResult(&rc);
  if (rc == SQL_STILL_EXECUTING || rc == SQL_NEED_DATA) return rc;
  settle(rc);
  if (clFailed(rc)) throw RCException(rc);
  return rc;
}

// Frees the connection for this statement, and fills its search.
SQLRETURN SqlParser::makeFinal(bool light) {
  SQLRETURN rc = SQL_SUCCESS;
  if (conn->activeStatements == 1 && conn->hasOpenResult && !light) rc = flushStmts();
  if (clFailed(rc)) return rc;
  if (target) buildSearch(stmt);
  stopIfCancelled();
  state = Final;
  return rc;
}

SQLRETURN SqlParser::send(Submit function) {
  auto* sql = reinterpret_cast<SQLCHAR*>(text);
  const auto length = static_cast<SQLINTEGER>(textLength);
  switch (function) {
    case Submit::ExecDirect: return CursorLibExecDirect(stmt, sql, length);
    case Submit::Execute: return CursorLibExecute(stmt);
    case Submit::Prepare: return CursorLibPrepare(stmt, sql, length);
    case Submit::NativeSql:
      return CursorLibNativeSql(stmt->conn, sql, length, reinterpret_cast<SQLCHAR*>(nativeOut), nativeOutMax,
                                nativeOutLength);
    case Submit::ParamData: break;  // has nothing to send
  }
  return SQL_SUCCESS;
}

SqlParser::Next SqlParser::takeAnswer(bool light, SQLRETURN first, SQLRETURN* rc) {
  // A positioned statement that touched no row; a driver may say so by SQL_NO_DATA.
  const bool noRow = first == SQL_NO_DATA && !light && isPositioned();
  if (!clFailed(*rc) || noRow) {
    if (light) return Next::Finish;
    if (*rc == SQL_SUCCESS_WITH_INFO) moveErrors();
    if (!isPositioned()) return Next::Describe;
    applyToTarget(first, rc);
    return Next::Finish;
  }
  if (*rc == SQL_ERROR && isStmtPositioned()) {
    // The text stands, and the statement may be run again when the cursor has a row.
    state = Final;
    searchStale = target != nullptr;
    if (target) resetParams();
    return Next::RunAgain;
  }
  return Next::Finish;
}

// The target's cache takes what a positioned statement did, also when it touched too many rows.
void SqlParser::applyToTarget(SQLRETURN first, SQLRETURN* rc) {
  if (first == SQL_NO_DATA) {
    rowCount = 0;
    *rc = SQL_SUCCESS;
  } else {
    takeIfWorse(rc, CursorLibRowCount(stmt, &rowCount));
    if (clFailed(*rc)) return;
  }
  if (rowCount != 0 && stmtType == Update) target->updateRow();
  if (rowCount != 0 && stmtType == Delete) target->deleteRow();
  if (rowCount == 1) return;
  settle(*rc);
  throw ODBCException(stmt, rowCount == 0 ? clmsg::NoRowTouched : clmsg::ManyRowsTouched,
                      SQL_SUCCESS_WITH_INFO);
}

void SqlParser::describeResult(SQLRETURN* rc) {
  if (stmtType != Select && stmtType != Unknown) return;
  if (*rc == SQL_SUCCESS_WITH_INFO) moveErrors();
  stopIfCancelled();
  state = Described;
  SQLSMALLINT count = 0;
  takeIfWorse(rc, CursorLibNumResultCols(stmt, &count));
  resultCols = static_cast<unsigned short>(count);
}

// The execution is over.
void SqlParser::settle(SQLRETURN rc) {
  if (target || searched) {
    if (rc != SQL_SUCCESS) moveErrors();
    resetParams();
  }
  forgetExecution();
}

void SqlParser::stopIfCancelled() {
  if (!cancelled) return;
  forgetExecution();
  throw ODBCException(stmt, clmsg::Cancelled);
}

void SqlParser::closeGetDataCursors() {
  for (DMStmt* other = conn->GetFirstStmtFromDbcList(); other; other = conn->GetNextStmtFromDbcList(other))
    if (other->cursor) other->cursor->closeGetDataCursor();
}

// Reads the open results of the connection to their ends, into the caches of their cursors, so that a
// driver with one active statement is free for this one.
SQLRETURN SqlParser::flushStmts() {
  SQLRETURN rc = SQL_SUCCESS;
  for (DMStmt* other = conn->GetFirstStmtFromDbcList(); other && !clFailed(rc);
       other = conn->GetNextStmtFromDbcList(other)) {
    FwdCursor* cursor = other->cursor;
    if (!cursor || cursor->isAtEnd() || !cursor->IsKindOf(ScrollCursor::className())) continue;
    try {
      rc = cursor->flush();
    } catch (ODBCException& exception) {
      exception.handle = stmt;  // the statement that runs now reports it
      throw;
    }
    if (rc == SQL_ERROR && other != stmt) stmt->RetrieveDriverErrorsRowCol(other, 1, -2, -2);
  }
  if (rc == SQL_STILL_EXECUTING && !(stmt->flags & DM_STMT_ASYNC)) rc = SQL_SUCCESS;
  return rc;
}

bool SqlParser::isStmtPositioned() {
  const bool positioned = clQueued(stmt, u"24000");
  moveErrors();
  return positioned;
}

void SqlParser::moveErrors() { stmt->RetrieveDriverErrorsRowCol(stmt, 1, -2, -2); }
