// SqlParser: life, and the calls of the application that it takes.

#include "zulib/cursor/statement/parser.h"

#include <cstring>

#include "zulib/cursor/entry/bindinfo.h"
#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/rows/cursor.h"

namespace {

constexpr unsigned QUOTES_AND_ZERO = 3;

// The call succeeds with a warning, which it throws because the way out is long.
bool isWarning(const CException& exception) {
  return exception.IsKindOf(RCException::className()) &&
         static_cast<const RCException&>(exception).rc == SQL_SUCCESS_WITH_INFO;
}

}  // namespace

SqlParser::SqlParser(DMStmt* stmt)
    : conn(stmt->conn),
      stmt(stmt),
      paramsetSize(1),
      paramDataOut(nullptr),
      nativeOut(nullptr),
      nativeOutMax(0),
      nativeOutLength(nullptr) {
  initMembers();
}

SqlParser::~SqlParser() {
  letGoSearch();
  cleanup();
  stmt->parser = nullptr;
}

void SqlParser::initMembers() {
  state = New;
  cancelled = false;
  nameLength = static_cast<unsigned short>(conn->maxColumnNameLength + QUOTES_AND_ZERO);
  cursorNameLength = static_cast<unsigned short>(conn->maxCursorNameLength + 1);
  text = nullptr;
  textLength = 0;
  stmtType = Unknown;
  whereOffset = 0;
  target = nullptr;
  paramCount = 0;
  rowCount = 0;
  groupBy = joinFlag = false;
  resultCols = 0;
  textRoom = 0;
  targetName = nullptr;
  searched = nullptr;
  searchStale = suspended = false;
  suspendedIn = Submit::ExecDirect;
}

void SqlParser::cleanup() {
  std::free(text);
  std::free(targetName);
}

void SqlParser::reset() {
  if (searched) resetParams();
  cleanup();
  initMembers();
}

SQLRETURN SqlParser::cancel() {
  cancelled = true;
  if (state == Analysing) return SQL_SUCCESS;
  if (state != Analysed) return DriverSQLCancel(stmt);
  // The statement may be waiting for the rows of another to be read.
  for (DMStmt* other = conn->GetFirstStmtFromDbcList(); other; other = conn->GetNextStmtFromDbcList(other)) {
    if (!other->cursor || other->cursor->isAtEnd()) continue;
    if (other->cursor->IsKindOf(ScrollCursor::className())) other->cursor->markCancelled();
    break;
  }
  return SQL_SUCCESS;
}

int SqlParser::getJoinFlag() { return joinFlag; }

// A call that the driver is still executing is taken up, not begun again.
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
  // The execution that asked for data is gone, with the cursor that it referred to.
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
  if (targetName && !target) {
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
  if (searched) {
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
    if (stmt->apd->isExplicit()) stmt->apd = stmt->implicitApd;
    DropBindings(stmt->apd, nullptr);
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

void SqlParser::forgetResult() {
  nameLength = static_cast<unsigned short>(conn->maxColumnNameLength + QUOTES_AND_ZERO);
  rowCount = 0;
  target = nullptr;
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
