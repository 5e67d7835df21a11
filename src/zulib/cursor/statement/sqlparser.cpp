#include "zulib/cursor/statement/sqlparser.h"

#include <strings.h>
#include <algorithm>
#include <climits>
#include <cstring>

#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/cursor/internal/forward.h"

namespace {

// The call succeeds with a warning, which is thrown because the way out is long.
bool isWarning(const CException& exception) {
  return exception.IsKindOf(RCException::className()) &&
         static_cast<const RCException&>(exception).rc == SQL_SUCCESS_WITH_INFO;
}

// The driver only looks at the text, so rows of other statements do not matter.
bool isLight(Submit function) { return function == Submit::Prepare || function == Submit::NativeSql; }

// The code of a second call replaces a success, and a warning only if the call failed.
void takeIfWorse(SQLRETURN* rc, SQLRETURN second) {
  if (*rc == SQL_SUCCESS || (*rc == SQL_SUCCESS_WITH_INFO && clFailed(second))) *rc = second;
}

// A statement without a cursor name does not stop the search for one.
bool hasNoCursorName(DMStmt* statement) {
  return clQueued(statement, u"HY015") || clQueued(statement, u"HY010") || clQueued(statement, u"S1010") ||
         clQueued(statement, u"S1015");
}

}  // namespace

void SqlParser::Pin::take(SearchTarget* from) {
  if (target) return;
  row = from->pinRow();
  target = from;
}

void SqlParser::Pin::release() {
  if (target) target->unpinRow(row);
  target = nullptr;
}

SqlParser::SqlParser(DMStmt* stmt) : conn(stmt->conn), stmt(stmt), text(conn->identifierQuote[0]) {
  initMembers();
}

SqlParser::~SqlParser() { stmt->parser = nullptr; }

void SqlParser::initMembers() {
  state = New;
  cancelled = searchStale = suspended = false;
  cursorNameLength = static_cast<unsigned short>(conn->maxCursorNameLength + 1);
  text = SqlText(conn->identifierQuote[0]);
  target = nullptr;
  rowCount = 0;
  resultCols = 0;
}

void SqlParser::reset() {
  if (searched.holder()) resetParams();
  reread.release();
  initMembers();
}

SQLRETURN SqlParser::cancel() {
  cancelled = true;
  if (state == Analysing) return SQL_SUCCESS;
  if (state != Analysed || !suspended) return DriverSQLCancel(stmt);
  // The statement is waiting for the rows of another to be read.
  for (DMStmt* other : DMStmtList(conn)) {
    if (!hasUnreadRows(other)) continue;
    if (SearchTarget* const cursor = targetOf(other)) cursor->markCancelled();
    break;
  }
  return SQL_SUCCESS;
}

void SqlParser::settleCancel(SQLRETURN rc) {
  if (suspended) return;
  cancelled = false;
  if (clFailed(rc) || state == New) return;
  if (searched.holder()) resetParams();
  forgetExecution();
}

int SqlParser::getJoinFlag() { return text.joinFlag; }

void SqlParser::analyzeSelect() { text.analyzeSelect(); }

void SqlParser::analyzeSql(char* sql, SQLLEN length) {
  if (state != New) return;
  stopIfCancelled();
  state = Analysing;
  if (stmt->cursorType == SQL_CURSOR_FORWARD_ONLY && stmt->concurrency != SQL_CONCUR_READ_ONLY)
    throw ODBCException(stmt, clmsg::NotSupported);
  text.assign(sql, length);
  text.setStmtType();
  if ((text.type == SqlText::Update || text.type == SqlText::Delete) && getCursor()) {
    checkTarget();
    if (text.type == SqlText::Update) {
      makeUpdateStmt();
    } else {
      makeDeleteStmt();
    }
  }
  if (text.type == SqlText::Select) analyzeSelect();
  stopIfCancelled();
  state = Analysed;
}

void SqlParser::checkTarget() const {
  if (target->getConcurrency() == SQL_CONCUR_READ_ONLY)
    throw ODBCException(stmt, clmsg::PositionedStatementInvalid);
  if (paramsetSize != 1) throw ODBCException(stmt, clmsg::ParameterArrays);
}

// Returns 1 if the statement is positioned; `target` is its cursor then.
int SqlParser::getCursor() {
  target = nullptr;
  switch (text.findCursorName()) {
    case SqlText::Form::Searched: return 0;
    case SqlText::Form::Malformed: throw ODBCException(stmt, clmsg::PositionedStatementInvalid);
    case SqlText::Form::Positioned: break;
  }
  findTarget();
  return 1;
}

// Finds the cursor that the text names among the statements of the connection.
void SqlParser::findTarget() {
  SQLRETURN rc = SQL_SUCCESS;
  const DMStmt* const found = statementNamed(text.cursorName.get(), &rc);
  if (clFailed(rc)) throw RCException(rc);
  stmt->VFreeErrors();
  if (!found || !found->cursor) throw ODBCException(stmt, clmsg::CursorNameNotFound);
  target = targetOf(found);
  if (!target) throw ODBCException(stmt, clmsg::PositionedStatementInvalid);
  target->noteReference();
}

DMStmt* SqlParser::statementNamed(const char* name, SQLRETURN* rc) {
  const auto room = static_cast<SQLSMALLINT>(std::min<int>(cursorNameLength + 3, SHRT_MAX));
  const ClBlock<char> buffer(static_cast<char*>(clAllocZ(static_cast<std::size_t>(room) + 1)));
  for (DMStmt* other : DMStmtList(conn)) {
    *rc = cursorNameOf(other, buffer.get(), room);
    if (*rc == SQL_ERROR) return nullptr;
    if (sameName(buffer.get(), name)) return other;
  }
  return nullptr;
}

// An empty name for a statement that has none.
SQLRETURN SqlParser::cursorNameOf(DMStmt* statement, char* name, SQLSMALLINT size) {
  SQLSMALLINT length = 0;
  name[0] = '\0';
  conn->inCursorName = 1;
  const SQLRETURN rc = SQLGetCursorName(statement, reinterpret_cast<SQLCHAR*>(name), size, &length);
  conn->inCursorName = 0;
  if (!clFailed(rc)) return rc;
  name[0] = '\0';
  if (hasNoCursorName(statement)) return SQL_SUCCESS;
  clMoveErrors(statement, statement);
  return rc;
}

bool SqlParser::sameName(const char* a, const char* b) const {
  return (conn->caseSensitiveIdentifiers ? std::strcmp(a, b) : strcasecmp(a, b)) == 0;
}

void SqlParser::makeUpdateStmt() { openSearch(); }

void SqlParser::makeDeleteStmt() { openSearch(); }

// Ends the text with the head of a search. The predicates come at execution, from the row current then.
void SqlParser::openSearch() {
  text.openSearch(static_cast<SQLULEN>(target->numSearchCols()), target->searchNameSize());
}

void SqlParser::buildSearch(DMStmt* statement) {
  if (target->getJoinFlag()) throw ODBCException(stmt, clmsg::JoinNotUpdatable);
  openSearch();
  text.beginPredicates();
  auto parameter = static_cast<unsigned short>(text.paramCount + 1);
  SearchColumn column;
  for (int index = -1; target->nextSearchCol(statement, &index, &column);) {
    if (!column.lengthPtr && column.cType == SQL_C_BINARY)
      throw ODBCException(stmt, clmsg::BinaryWithoutLength);
    const bool isNull = column.lengthPtr && *column.lengthPtr == SQL_NULL_DATA;
    text.appendPredicate(column.name, isNull);
    if (isNull || !statement->driverHandle) continue;
    (statement == stmt ? searched : reread).take(target);
    // No buffer length: the value stays in the cursor's block.
    const SQLRETURN rc = dvrBindParam(statement, parameter++, SQL_PARAM_INPUT, column.cType, column.sqlType,
                                      column.size, column.scale, column.value, 0, column.lengthPtr);
    if (clFailed(rc)) throw RCException(rc);
  }
  if (!text.closePredicates()) throw ODBCException(stmt, clmsg::NoSearchableColumn);
}

SQLRETURN SqlParser::dvrBindParam(DMStmt* statement, unsigned short number, short ioType, short cType,
                                  short sqlType, SQLULEN size, short scale, void* data, SQLLEN length,
                                  SQLLEN* lengthPtr) {
  return CursorLibBindParameter(statement, number, ioType, cType, sqlType, size, scale, data, length,
                                lengthPtr);
}

// Replaces the generated parameters by the application's own. The first failure ends it.
void SqlParser::resetParams() {
  searched.release();
  CursorLibFreeStmt(stmt, SQL_RESET_PARAMS);
  for (const BindInfo* bind = stmt->apd->bindList; bind; bind = bind->next) {
    const SQLRETURN rc =
        dvrBindParam(stmt, bind->column, bind->ioType, bind->cType, bind->sqlType, bind->size, bind->scale,
                     bind->data, bind->length, bind->octetLengthPtr);
    if (clFailed(rc)) return;
  }
}

void SqlParser::forgetTarget(const SearchTarget* cursor) {
  if (target == cursor) target = nullptr;
  if (reread.holder() == cursor) reread.release();
  if (searched.holder() != cursor) return;
  DriverSQLCancel(stmt);
  resetParams();
  forgetExecution();
}

// The state of a statement that has been prepared and not been executed yet.
void SqlParser::forgetExecution() {
  state = Idle;
  cancelled = suspended = searchStale = false;
}

void SqlParser::forgetResult() {
  rowCount = 0;
  target = nullptr;
}

// A call that the driver is still executing is continued, not begun again.
SQLRETURN SqlParser::runText(char* sql, SQLLEN length, Submit function) {
  try {
    if (!suspended || suspendedIn != function) {
      reset();
      analyzeSql(sql, length);
    }
    return submitSql(function);
  } catch (const CException& exception) {
    if (!isWarning(exception)) reset();
    throw;
  }
}

SQLRETURN SqlParser::execDirect(char* sql, SQLLEN length) { return runText(sql, length, Submit::ExecDirect); }

SQLRETURN SqlParser::prepare(char* sql, SQLLEN length) { return runText(sql, length, Submit::Prepare); }

SQLRETURN SqlParser::nativeSql(char* sql, SQLLEN length, char* out, SQLINTEGER outMax,
                               SQLINTEGER* outLength) {
  nativeOut = out;
  nativeOutMax = outMax;
  nativeOutLength = outLength;
  return runText(sql, length, Submit::NativeSql);
}

SQLRETURN SqlParser::paramData(void** value) {
  // The execution that asked for data has ended, with the cursor that it referred to.
  if (state == Idle || state == New) throw ODBCException(stmt, clmsg::InvalidCursorState);
  paramDataOut = value;
  try {
    return submitSql(Submit::ParamData);
  } catch (const CException& exception) {
    // A prepared statement can be executed again.
    if (!isWarning(exception) && !(stmt->flags & DM_STMT_PREPARED)) reset();
    throw;
  }
}

// A positioned statement is sent as text each time, because the current row has other values.
SQLRETURN SqlParser::execute() {
  if (state == New) throw ODBCException(stmt, clmsg::NoStatementText);
  if (text.cursorName && !target) {
    findTarget();
    checkTarget();
  }
  if (state == Idle) {
    state = Analysed;
    if (target) CursorLibFreeStmt(stmt, SQL_CLOSE);
  } else if (searchStale) {
    state = Analysed;
    searchStale = false;
  }
  return submitSql(target ? Submit::ExecDirect : Submit::Execute);
}

SQLRETURN SqlParser::putData(void* value, SQLLEN length) {
  const SQLRETURN rc = CursorLibPutData(stmt, value, length);
  if (rc != SQL_ERROR) return rc;
  if (searched.holder()) {
    moveErrors();
    resetParams();
  }
  forgetExecution();
  return rc;
}

SQLRETURN SqlParser::paramOptions(SQLULEN rows, SQLULEN* rowPtr) {
  const SQLRETURN rc = CursorLibParamOptions(stmt, rows, rowPtr);
  if (!clFailed(rc)) paramsetSize = rows;
  return rc;
}

SQLRETURN SqlParser::numParams(short* count) { return CursorLibNumParams(stmt, count); }

SQLRETURN SqlParser::freeStmt(unsigned short option) {
  if (option == SQL_RESET_PARAMS) {
    dropParameters(stmt);
  } else if (option == SQL_DROP) {
    if (!stmt->apd->isExplicit()) DropBindings(stmt->apd, nullptr);
    if (!stmt->ard->isExplicit()) DropBindings(stmt->ard, nullptr);
    reset();
  } else if (option == SQL_CLOSE) {
    forgetResult();
  }
  return CursorLibFreeStmt(stmt, option);
}

SQLRETURN SqlParser::closeCursor() {
  const SQLRETURN rc = CursorLibCloseCursor(stmt);
  if (!clFailed(rc)) forgetResult();
  return rc;
}

SQLRETURN SqlParser::bindParameter(unsigned short number, short ioType, short cType, short sqlType,
                                   SQLULEN size, short scale, void* data, SQLLEN length, SQLLEN* lengthPtr) {
  BindInfo* record = FindBindInfo(stmt->apd, number);
  if (stmt->cursor || !CheckModifyDesc(stmt->apd)) {
    const bool same =
        record && record->cType == cType && record->length == length && (record->scale == scale || !data);
    if (!same) return clError(stmt, clmsg::BindingFixed);
  }
  ClBlock<BindInfo> fresh;
  if (!record) fresh.reset(record = static_cast<BindInfo*>(clAllocZ(sizeof(BindInfo))));
  const SQLRETURN rc =
      dvrBindParam(stmt, number, ioType, cType, sqlType, size, scale, data, length, lengthPtr);
  if (clFailed(rc)) return rc;
  if (fresh) {
    BindInfo** link = &stmt->apd->bindList;
    while (*link) link = &(*link)->next;
    *link = fresh.release();
  }
  record->sqlType = sqlType;
  record->ioType = ioType;
  record->column = number;
  record->cType = cType;
  record->size = size;
  record->scale = scale;
  record->data = data;
  record->length = length;
  record->octetLengthPtr = record->indicatorPtr = lengthPtr;
  record->typeForm = ET_BIND_CONCISE;
  return rc;
}

SQLRETURN SqlParser::submitSql(Submit function) {
  SQLRETURN rc;
  try {
    rc = runSequence(function);
  } catch (const CException&) {
    if (searched.holder()) {
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
      // A driver that is still executing is asked once more first, or it would stay busy.
      if (!suspended) stopIfCancelled();
      rc = first = send(function);
      if (rc == SQL_STILL_EXECUTING) return rc;
      if (cancelled && !clFailed(rc)) CursorLibFreeStmt(stmt, SQL_CLOSE);
    }
    stopIfCancelled();
    state = Sent;
    if (function == Submit::ParamData) rc = CursorLibParamData(stmt, paramDataOut);
    next = takeReturn(light, first, &rc);
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
  if (conn->activeStatements == 1 && conn->isResultOpen() && !light) rc = flushStmts();
  if (clFailed(rc)) return rc;
  if (target) buildSearch(stmt);
  stopIfCancelled();
  state = Final;
  return rc;
}

SQLRETURN SqlParser::send(Submit function) {
  auto* const sql = reinterpret_cast<SQLCHAR*>(text.get());
  const auto length = static_cast<SQLINTEGER>(text.length());
  switch (function) {
    case Submit::ExecDirect: return CursorLibExecDirect(stmt, sql, length);
    case Submit::Execute: return CursorLibExecute(stmt);
    case Submit::Prepare: return CursorLibPrepare(stmt, sql, length);
    case Submit::NativeSql:
      return CursorLibNativeSql(conn, sql, length, reinterpret_cast<SQLCHAR*>(nativeOut), nativeOutMax,
                                nativeOutLength);
    case Submit::ParamData: break;  // has nothing to send
  }
  return SQL_SUCCESS;
}

SqlParser::Next SqlParser::takeReturn(bool light, SQLRETURN first, SQLRETURN* rc) {
  // A driver may report by SQL_NO_DATA that a positioned statement touched no row.
  const bool noRow = first == SQL_NO_DATA && !light && isPositioned();
  if (!clFailed(*rc) || noRow) {
    if (light) return Next::Finish;
    if (*rc == SQL_SUCCESS_WITH_INFO) moveErrors();
    if (!isPositioned()) return Next::Describe;
    applyToTarget(first, rc);
    return Next::Finish;
  }
  if (*rc == SQL_ERROR && isStmtPositioned()) {
    // The text is kept, and the statement may be run again when the cursor has a row.
    state = Final;
    searchStale = target != nullptr;
    if (target) resetParams();
    return Next::RunAgain;
  }
  return Next::Finish;
}

// Applies a positioned statement to the target's cache, also if it touched too many rows.
void SqlParser::applyToTarget(SQLRETURN first, SQLRETURN* rc) {
  if (first == SQL_NO_DATA) {
    rowCount = 0;
    *rc = SQL_SUCCESS;
  } else {
    takeIfWorse(rc, CursorLibRowCount(stmt, &rowCount));
    if (clFailed(*rc)) return;
  }
  if (rowCount != 0 && text.type == SqlText::Update) target->updateRow();
  if (rowCount != 0 && text.type == SqlText::Delete) target->deleteRow();
  if (rowCount == 1) return;
  settle(*rc);
  throw ODBCException(stmt, rowCount == 0 ? clmsg::NoRowTouched : clmsg::ManyRowsTouched,
                      SQL_SUCCESS_WITH_INFO);
}

void SqlParser::describeResult(SQLRETURN* rc) {
  if (text.type != SqlText::Select && text.type != SqlText::Unknown) return;
  if (*rc == SQL_SUCCESS_WITH_INFO) moveErrors();
  stopIfCancelled();
  state = Described;
  SQLSMALLINT count = 0;
  takeIfWorse(rc, CursorLibNumResultCols(stmt, &count));
  resultCols = static_cast<unsigned short>(count);
}

// The execution has ended.
void SqlParser::settle(SQLRETURN rc) {
  if (target || searched.holder()) {
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
  for (const DMStmt* other : DMStmtList(conn))
    if (SearchTarget* const cursor = targetOf(other)) cursor->closeGetDataCursor();
}

// Reads the open results of the connection to their ends, into the caches of their cursors, so that a driver
// with one active statement is free for this one.
SQLRETURN SqlParser::flushStmts() {
  SQLRETURN rc = SQL_SUCCESS;
  for (DMStmt* other : DMStmtList(conn)) {
    SearchTarget* const cursor = targetOf(other);
    if (!cursor || !hasUnreadRows(other)) continue;
    try {
      rc = cursor->flush();
    } catch (ODBCException& exception) {
      exception.handle = stmt;  // the statement that runs now reports it
      throw;
    }
    if (rc == SQL_ERROR && other != stmt) clMoveErrors(stmt, other);
    if (clFailed(rc)) break;
  }
  if (rc == SQL_STILL_EXECUTING && !(stmt->flags & DM_STMT_ASYNC)) rc = SQL_SUCCESS;
  return rc;
}

// Returns true if the driver reported that the statement is on no row.
bool SqlParser::isStmtPositioned() {
  const bool positioned = clDriverSaid(stmt, u"24000");
  moveErrors();
  return positioned;
}

void SqlParser::moveErrors() { clMoveErrors(stmt, stmt); }

SQLRETURN SqlParser::selectCurrent(SearchTarget* cursor, DMStmt* other) {
  target = cursor;
  if (text.type != SqlText::Select) throw ODBCException(stmt, clmsg::ReselectNotSelect);
  if (text.groupBy) throw ODBCException(stmt, clmsg::ReselectGrouped);
  if (conn->activeStatements == 1 && conn->isResultOpen()) {
    const SQLRETURN rc = flushStmts();
    if (clFailed(rc)) return rc;
  }
  if (state != Final) {
    stopIfCancelled();
    try {
      state = Analysing;
      buildSearch(other);
    } catch (const CException&) {
      reread.release();
      forgetExecution();  // or the statement could not be executed again
      throw;
    }
    stopIfCancelled();
    state = Final;
  }
  const SQLRETURN rc = CursorLibExecDirect(other, reinterpret_cast<SQLCHAR*>(text.get()),
                                           static_cast<SQLINTEGER>(text.length()));
  if (rc != SQL_STILL_EXECUTING) {
    reread.release();
    state = Idle;
    cancelled = false;
  }
  return rc;
}

SQLRETURN SqlParser::selectCurrentCancel(SearchTarget* cursor, DMStmt* other) {
  target = cursor;
  if (conn->activeStatements == 1 && conn->isResultOpen()) return SQL_SUCCESS;
  cancelled = true;
  return state == Analysing ? SQLRETURN{SQL_SUCCESS} : DriverSQLCancel(other);
}
