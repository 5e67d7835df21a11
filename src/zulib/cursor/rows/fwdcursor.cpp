// FwdCursor: life, the members' first values, and the operations that a forward cursor does not have.

#include <algorithm>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/queue.h"
#include "zulib/cursor/rows/cursor.h"

namespace {

constexpr unsigned NAME_BOUNDARY = 4;
constexpr unsigned QUOTES_AND_ZERO = 3;
constexpr unsigned MAX_NAME_BUFFER = 0x7FFC;  // its length must fit in a SQLSMALLINT
constexpr SQLULEN MAX_ROWSET = SQLULEN{1} << 48;

unsigned short nameBufferSize(unsigned short maxColumnNameLength) {
  const unsigned size =
      (maxColumnNameLength + QUOTES_AND_ZERO + NAME_BOUNDARY - 1) / NAME_BOUNDARY * NAME_BOUNDARY;
  return static_cast<unsigned short>(std::min(size, MAX_NAME_BUFFER));
}

}  // namespace

FwdCursor::FwdCursor(DMStmt* stmt, unsigned short api)
    : conn(stmt->conn), stmt(stmt), restoreArd(true), fetchApi(api) {
  initMembers();
}

FwdCursor::~FwdCursor() {
  cleanup();
  stmt->cursor = nullptr;
}

// A size that no application can mean would overflow the arithmetic on row numbers.
SQLLEN FwdCursor::usableRowsetSize(SQLULEN size) {
  return static_cast<SQLLEN>(std::clamp(size, SQLULEN{1}, MAX_ROWSET));
}

void FwdCursor::initMembers() {
  initStage = 1;
  cancelled = false;
  concurrency = SQL_CONCUR_READ_ONLY;
  scrollType = SQL_CURSOR_FORWARD_ONLY;
  rowsetSize = usableRowsetSize(fetchApi == API_FETCHSCROLL ? stmt->ard->arraySize : stmt->rowsetSize);
  rowsDone = effectiveRowset = rowsetSize;
  curRow = nextRow = -rowsetSize;
  rowsRead = 0;
  endOfData = resumeFetch = rowErrors = cutShort = false;
  nameLength = nameBufferSize(conn->maxColumnNameLength);
  resultCols = boundCols = 0;
  columns = nullptr;
  rowSize = 0;
  bindType = stmt->ard->bindType;
  driverBound = rowWaits = false;
  waitingCode = SQL_SUCCESS;
}

void FwdCursor::cleanup() {
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info)) {
    if (info->ownsBuffer) std::free(info->buffer);
    std::free(info->name);
  }
  std::free(columns);
  columns = nullptr;
  boundCols = 0;
  if (stmt->savedArd) giveBackDescriptor();
}

SQLRETURN FwdCursor::release() {
  cleanup();
  return SQL_SUCCESS;
}

// The driver must not be left with the addresses of buffers that are gone, because the statement lives on
// and the application may fetch without a cursor.
// What the driver said of a failure stands before the clean-up calls it again.
void FwdCursor::reset() {
  moveErrors(stmt, -2, -2);
  const bool atEnd = endOfData;
  const bool rebind = driverBound && !stmt->savedArd;
  cleanup();
  if (rebind) RestoreBindings(stmt);
  initMembers();
  endOfData = atEnd;
}

SQLULEN FwdCursor::rowNumber() {
  const bool onRow = curRow >= 0 && (curRow < rowsRead || !endOfData);
  if (!onRow) throw ODBCException(stmt, clmsg::InvalidCursorState);
  return static_cast<SQLULEN>(curRow) + 1;
}

void FwdCursor::closeGetDataCursor() {}

SQLRETURN FwdCursor::cancel() {
  cancelled = true;
  return DriverSQLCancel(stmt);
}

SQLRETURN FwdCursor::getData(unsigned short, short, void*, SQLLEN, SQLLEN*) {
  throw ODBCException(stmt, clmsg::GetDataOnForwardCursor);
}

SQLRETURN FwdCursor::rowCount(SQLLEN* count) {
  if (count) *count = rowsRead;
  return SQL_SUCCESS;
}

SQLRETURN FwdCursor::setPos(SQLULEN, int, int) { throw ODBCException(stmt, clmsg::RowGone); }

void FwdCursor::prepareFetch() { rowsDone = 0; }

void FwdCursor::saveData(unsigned short) {}

SQLRETURN FwdCursor::flush() {
  if (initStage > 0) {
    const SQLRETURN rc = init();
    if (clFailed(rc)) return rc;
  }
  if (cancelled && (stmt->flags & DM_STMT_ASYNC)) {
    cancelled = false;
    SQLRETURN rc;
    do {
      rc = fetchToRow(rowsRead + 1);
    } while (rc == SQL_STILL_EXECUTING);
    resumeFetch = false;
    rowsDone = 0;
    if (clFailed(rc)) return rc;
    throw ODBCException(stmt, clmsg::Cancelled);
  }
  const SQLRETURN rc = fetchToRow(0);
  stmt->flags |= DM_STMT_FLUSHED;
  return rc == SQL_NO_DATA ? SQLRETURN{SQL_SUCCESS} : rc;
}

void FwdCursor::moveErrors(DMStmt* from, SQLLEN row, SQLLEN column) {
  stmt->RetrieveDriverErrorsRowCol(from, 1, row, column);
}

SQLRETURN FwdCursor::withCutShort(SQLRETURN rc) {
  const bool warn = cutShort && rc == SQL_SUCCESS;
  cutShort = false;
  return warn ? SQLRETURN{SQL_SUCCESS_WITH_INFO} : rc;
}

void FwdCursor::throwIfCancelled() {
  if (!cancelled) return;
  cancelled = resumeFetch = false;
  rowsDone = 0;
  throw ODBCException(stmt, clmsg::Cancelled);
}
