#include "zulib/cursor/rows/fwdcursor.h"

#include <algorithm>
#include <cstring>

#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/cursor/internal/forward.h"
#include "zulib/cursor/statement/target.h"
#include "zuodbc/dmservices.h"

namespace {

enum Stage : int { kCheckBindings = 1, kAllocate = 2, kDescribe = 3, kBind = 4, kDone = 0 };

constexpr SQLLEN kUnknownColumn = SQL_COLUMN_NUMBER_UNKNOWN;

SQLULEN rowsetSizeFor(const DMStmt* stmt, unsigned short api) {
  return api == API_FETCHSCROLL ? stmt->ard->arraySize : stmt->rowsetSize;
}

SQLLEN readBookmark(const void* from, std::size_t width) {
  if (width == sizeof(SQLLEN)) {
    SQLLEN value;
    std::memcpy(&value, from, sizeof value);
    return value;
  }
  std::int32_t value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

// Tells the connection, however the scope is left, whether the driver has rows left for this statement.
class OpenResultReport {
 public:
  OpenResultReport(DMConn* conn, const bool& endOfData) : conn(conn), endOfData(endOfData) {}
  OpenResultReport(const OpenResultReport&) = delete;
  OpenResultReport& operator=(const OpenResultReport&) = delete;
  ~OpenResultReport() { conn->setResultOpen(!endOfData); }

 private:
  DMConn* conn;
  const bool& endOfData;
};

}  // namespace

SearchTarget* targetOf(const DMStmt* stmt) { return stmt->cursor ? stmt->cursor->asTarget() : nullptr; }

bool hasUnreadRows(const DMStmt* stmt) { return stmt->cursor && !stmt->cursor->isAtEnd(); }

FwdCursor::FwdCursor(DMStmt* stmt, unsigned short api)
    : conn(stmt->conn), stmt(stmt), place(rowsetSizeFor(stmt, api)), columns(stmt), fetchApi(api) {}

FwdCursor::~FwdCursor() {
  cleanup();
  stmt->cursor = nullptr;
}

void FwdCursor::initMembers() {
  initStage = kCheckBindings;
  place = Position(rowsetSizeFor(stmt, fetchApi));
  cancelled = resumeFetch = rowErrors = cutShort = rowWaits = false;
  concurrency = SQL_CONCUR_READ_ONLY;
  resultCols = 0;
}

void FwdCursor::cleanup() { columns.release(restoreArd); }

SQLRETURN FwdCursor::release() { return columns.release(restoreArd); }

// The statement lives on, and the application may fetch without a cursor, so the driver gets the
// application's bindings back. The driver's records are taken over first: the calls of the clean-up would
// drop them.
void FwdCursor::reset() {
  moveErrors(stmt, SQL_ROW_NUMBER_UNKNOWN, kUnknownColumn);
  const bool atEnd = place.endOfData;
  const bool rebind = columns.areOnDriver() && !stmt->savedArd;
  cleanup();
  if (rebind) RestoreBindings(stmt);
  initMembers();
  place.endOfData = atEnd;
}

SQLRETURN FwdCursor::init() {
  try {
    const SQLRETURN rc = runSetUp();
    if (clFailed(rc) && rc != SQL_STILL_EXECUTING) reset();
    return rc;
  } catch (const CException&) {
    reset();
    throw;
  }
}

SQLRETURN FwdCursor::runSetUp() {
  SQLRETURN rc = SQL_SUCCESS;
  bool warning = false;
  const auto run = [&](SQLRETURN (FwdCursor::*step)(), int stage) {
    if (initStage != stage) return true;
    rc = (this->*step)();
    warning |= rc == SQL_SUCCESS_WITH_INFO;
    if (!clFailed(rc)) initStage = stage + 1;
    return !clFailed(rc);
  };
  if (initStage == kCheckBindings) {
    if (!stmt->ard->bindList) throw ODBCException(stmt, clmsg::NoBoundColumns);
    initStage = kAllocate;
  }
  if (!run(&FwdCursor::allocateColumns, kAllocate) || !run(&FwdCursor::getColAttributes, kDescribe) ||
      !run(&FwdCursor::setStmtBindings, kBind))
    return rc;
  if (initStage == kBind + 1) initStage = kDone;
  return warning ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

SQLRETURN FwdCursor::allocateColumns() {
  SQLSMALLINT count = 0;
  const SQLRETURN rc = CursorLibNumResultCols(stmt, &count);
  if (clFailed(rc)) return rc;
  resultCols = static_cast<unsigned short>(std::max<SQLSMALLINT>(count, 0));
  for (const BindInfo* bind = stmt->ard->bindList; bind; bind = bind->next) {
    if (resultCols != 0 && bind->column <= resultCols) continue;
    place.endOfData = true;
    throw ODBCException(stmt, resultCols == 0 ? clmsg::InvalidCursorState : clmsg::ColumnBeyondResult);
  }
  columns.allocateColumns();
  return SQL_SUCCESS;
}

SQLRETURN FwdCursor::getColAttributes() { return columns.getColAttributes(); }

SQLRETURN FwdCursor::setStmtBindings() { return columns.setStmtBindings(); }

short FwdCursor::sqlTypeOf(unsigned short column) const {
  const tagCINFO* const info = columns.find(column);
  return info ? info->sqlType : short{0};
}

SQLULEN FwdCursor::rowNumber() {
  const bool onRow = place.curRow >= 0 && (place.curRow < place.rowsRead || !place.endOfData);
  if (!onRow) throw ODBCException(stmt, clmsg::InvalidCursorState);
  return static_cast<SQLULEN>(place.curRow) + 1;
}

SQLRETURN FwdCursor::cancel() {
  cancelled = true;
  return DriverSQLCancel(stmt);
}

SQLRETURN FwdCursor::readValue(unsigned short, short, void*, SQLLEN, SQLLEN*) {
  throw ODBCException(stmt, clmsg::GetDataOnForwardCursor);
}

// A cancel concerns the call that it meets, not the next one.
SQLRETURN FwdCursor::getData(unsigned short column, short cType, void* value, SQLLEN length,
                             SQLLEN* lengthPtr) {
  failIfLost();
  suspended = false;
  try {
    const SQLRETURN rc = readValue(column, cType, value, length, lengthPtr);
    suspended = rc == SQL_STILL_EXECUTING;
    if (!suspended) cancelled = false;
    return rc;
  } catch (const CException&) {
    cancelled = false;
    throw;
  }
}

SQLRETURN FwdCursor::rowCount(SQLLEN* count) {
  failIfLost();
  if (count) *count = place.rowsRead;
  return SQL_SUCCESS;
}

SQLRETURN FwdCursor::setPos(SQLULEN, int, int) { throw ODBCException(stmt, clmsg::RowGone); }

SQLRETURN FwdCursor::takeWarning() { return SQL_SUCCESS; }

SQLRETURN FwdCursor::flush() {
  if (lost) return SQL_SUCCESS;
  if (!isSetUp()) {
    const SQLRETURN rc = init();
    if (clFailed(rc)) return rc;
  }
  if (cancelled && (stmt->flags & DM_STMT_ASYNC)) {
    cancelled = false;
    SQLRETURN rc;
    do {
      rc = fetchToRow(place.rowsRead + 1);
    } while (rc == SQL_STILL_EXECUTING);
    resumeFetch = false;
    place.rowsDone = 0;
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

void FwdCursor::failIfLost() const {
  if (lost) throw ODBCException(stmt, clmsg::ResultLost);
}

void FwdCursor::throwIfCancelled() {
  if (!cancelled) return;
  cancelled = resumeFetch = false;
  place.rowsDone = 0;
  throw ODBCException(stmt, clmsg::Cancelled);
}

void FwdCursor::setRowsDone(SQLLEN rows, bool moreToCome) {
  place.rowsDone = rows;
  resumeFetch = moreToCome;
}

SQLRETURN FwdCursor::fetch(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                           unsigned short* rowStatus) {
  SQLULEN scratch;
  suspended = false;
  try {
    const SQLRETURN rc = fetchRowset(orientation, offset, rowCount ? rowCount : &scratch, rowStatus);
    suspended = rc == SQL_STILL_EXECUTING;
    return rc;
  } catch (const RCException& exception) {
    suspended = exception.rc == SQL_STILL_EXECUTING;
    throw;
  }
}

SQLRETURN FwdCursor::fetchRowset(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                                 unsigned short* rowStatus) {
  failIfLost();
  cutShort = false;
  bool warning = false;
  if (!isSetUp()) {
    const SQLRETURN rc = init();
    if (clFailed(rc)) throw RCException(rc);
    warning = rc == SQL_SUCCESS_WITH_INFO && asTarget();
  }
  checkDirection(orientation);
  leaveRow();
  SQLLEN row = offset;
  SQLRETURN rc = firstRow(orientation, &row);
  if (clFailed(rc)) throw RCException(rc);
  warning |= rc == SQL_SUCCESS_WITH_INFO;
  place.effectiveRowset = place.rowsetSize;
  rowErrors = false;
  if (!resumeFetch) place.nextRow = row;
  *rowCount = static_cast<SQLULEN>(place.rowsDone);
  rc = fetchFromBuffer(row, rowCount, rowStatus);
  warning |= rc == SQL_SUCCESS_WITH_INFO;
  const auto delivered = static_cast<SQLLEN>(*rowCount);
  if (!clFailed(rc) && delivered < place.effectiveRowset)
    rc = fetchFromDriver(delivered + place.nextRow, rowCount, rowStatus);
  if (!clFailed(rc)) {
    place.curRow = place.nextRow;
    enterRowset();
  }
  if (rc == SQL_NO_DATA) place.curRow = place.rowsRead;
  warning |= takeWarning() == SQL_SUCCESS_WITH_INFO || rowErrors || cutShort;
  return rc == SQL_SUCCESS && warning ? SQLRETURN{SQL_SUCCESS_WITH_INFO} : rc;
}

void FwdCursor::checkDirection(unsigned short orientation) const {
  if (orientation == SQL_FETCH_NEXT) return;
  throw ODBCException(stmt, orientation == kFetchResume ? clmsg::NotSupported : clmsg::DirectionNotPossible);
}

SQLRETURN FwdCursor::firstRow(unsigned short orientation, SQLLEN* row) {
  throwIfCancelled();
  if (resumeFetch) {
    *row = place.nextRow + place.rowsDone;
    return SQL_SUCCESS;
  }
  if (place.endOfData && place.rowsRead == 0) return SQL_NO_DATA;
  prepareFetch();
  if (orientation == SQL_FETCH_BOOKMARK) {
    const SQLRETURN rc = bookmarkedRow(row);
    if (clFailed(rc)) return rc;
  }
  if (place.needsEnd(orientation, *row)) {
    const SQLRETURN rc = fetchToRow(0);
    if (rc != SQL_NO_DATA) return rc;
  }
  switch (place.land(orientation, row)) {
    case Position::OnRow: return SQL_SUCCESS;
    case Position::MovedToStart: return clWarning(stmt, clmsg::RowsetMovedToStart);
    default: return SQL_NO_DATA;
  }
}

// `*row`: the offset from the bookmark, or with SQLExtendedFetch the bookmark itself. The value that the
// application points to is as wide as the binding of the bookmark column makes it.
SQLRETURN FwdCursor::bookmarkedRow(SQLLEN* row) {
  if (stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarksOff);
  *row = nearer(*row) - 1;
  if (fetchApi == API_EXTENDEDFETCH) return SQL_SUCCESS;
  if (!stmt->fetchBookmarkPtr) return clError(stmt, clmsg::NoBookmarkPointer);
  const tagCINFO* const info = columns.find(0);
  *row += nearer(readBookmark(stmt->fetchBookmarkPtr, bookmarkWidth(info ? info->bind->length : 0)));
  return SQL_SUCCESS;
}

SQLRETURN FwdCursor::fetchFromBuffer(SQLLEN, SQLULEN*, unsigned short*) { return SQL_SUCCESS; }

void FwdCursor::saveData(unsigned short) {}

SQLRETURN FwdCursor::fetchFromDriver(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus) {
  const OpenResultReport report(conn, place.endOfData);
  const SQLLEN doneAtEntry = place.rowsDone;
  try {
    return pullRows(firstRow, rowCount, rowStatus);
  } catch (const CException&) {
    place.rowsDone = doneAtEntry;
    throw;
  }
}

// The row set in progress.
struct FwdCursor::Delivery {
  SQLLEN row;  // in the row set
  SQLRETURN rc;
  bool warning;
  bool failed;  // the call returns SQL_ERROR at once
};

SQLRETURN FwdCursor::pullRows(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus) {
  Delivery delivery{place.rowsDone, SQL_NO_DATA, false, false};
  if (!place.endOfData) {
    delivery.rc = SQL_SUCCESS;
    if (place.rowsRead < firstRow) {
      const SQLRETURN rc = fetchToRow(firstRow);
      if (clFailed(rc)) return rc;
    }
    columns.prepareTargets();
    resumeFetch = false;
    while (delivery.row < place.effectiveRowset && pullRow(&delivery, rowStatus)) ++delivery.row;
    if (delivery.failed) return SQL_ERROR;
    *rowCount = static_cast<SQLULEN>(delivery.row);
    setRowsDone(delivery.row, delivery.rc == SQL_STILL_EXECUTING);
    if (delivery.rc == SQL_NO_DATA) place.endOfData = true;
  }
  if (delivery.row == 0 || resumeFetch) return delivery.rc;
  if (rowStatus) {
    for (SQLLEN i = delivery.row; i < place.effectiveRowset; ++i) rowStatus[i] = SQL_ROW_NOROW;
  }
  return delivery.warning || rowErrors ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

// Moves the next row of the driver into the row set. Returns false if the row set ends before it.
bool FwdCursor::pullRow(Delivery* delivery, unsigned short* rowStatus) {
  throwIfCancelled();
  const SQLRETURN& rc = delivery->rc = nextDriverRow();
  if (rc == SQL_ERROR && !takeFailedRow(delivery)) return false;
  if (rc == SQL_SUCCESS_WITH_INFO) {
    moveErrors(stmt, delivery->row + 1, kUnknownColumn);
    delivery->warning = true;
  }
  if (rc != SQL_ERROR && clFailed(rc)) return false;
  if (rowStatus) {
    const bool info = rc == SQL_SUCCESS_WITH_INFO && fetchApi == API_FETCHSCROLL;
    rowStatus[delivery->row] = rc == SQL_ERROR ? SQL_ROW_ERROR
                               : info          ? SQL_ROW_SUCCESS_WITH_INFO
                                               : SQL_ROW_SUCCESS;
  }
  ++place.rowsRead;
  delivery->failed = !deliverRow(delivery->row);
  storeRow(rc);
  return !delivery->failed;
}

// What an SQL_ERROR of the driver's fetch means.
FwdCursor::Verdict FwdCursor::judge() const {
  if (clDriverSaid(stmt, u"24000")) return Verdict::EndOfResult;
  if (clDriverCancelled(stmt)) return Verdict::Cancelled;
  if (clConnectionLost(stmt)) return Verdict::Lost;
  return stmt->ValidateDriverErrors(isExpectedFetchError) ? Verdict::RowError : Verdict::ResultError;
}

// Returns true if only this row is bad and the result goes on. An error that ends a row set with rows in it
// is a warning on that row set, so that it is reported; a lost connection fails the call.
bool FwdCursor::takeFailedRow(Delivery* delivery) {
  switch (judge()) {
    case Verdict::EndOfResult:
      stmt->DropDriverErrors();
      delivery->rc = SQL_NO_DATA;
      return false;
    case Verdict::Lost: lost = delivery->failed = true; return false;
    case Verdict::RowError: break;
    case Verdict::Cancelled: cancelled = false; [[fallthrough]];
    case Verdict::ResultError:
      if (delivery->row == 0) return false;
      moveErrors(stmt, delivery->row + 1, kUnknownColumn);
      delivery->warning = true;
      return false;
  }
  rowErrors = true;
  postRowError();
  if (rowFailureIsFinal()) {
    delivery->failed = true;
    return false;
  }
  moveErrors(stmt, delivery->row + 1, kUnknownColumn);
  return true;
}

SQLRETURN FwdCursor::fetchToRow(SQLLEN row) {
  if (row != 0 && place.rowsRead >= row) return SQL_SUCCESS;
  const OpenResultReport report(conn, place.endOfData);
  do {
    throwIfCancelled();
    SQLRETURN rc = nextDriverRow();
    if (rc == SQL_ERROR) {
      bool ends = false;
      rc = takeFailedReadAhead(rc, &ends);
      if (ends) return rc;
    }
    if (rc == SQL_NO_DATA) place.endOfData = true;
    if (rc != SQL_ERROR && clFailed(rc)) return rc;
    ++place.rowsRead;
    storeRow(rc);
  } while (row == 0 || place.rowsRead < row);
  return SQL_SUCCESS;
}

// Returns the code that the row counts as; with `*ends` the code that the reading returns. After an error
// that is not one row's the rest of the result is treated as absent; the fetch that read ahead then warns,
// with the driver's records.
SQLRETURN FwdCursor::takeFailedReadAhead(SQLRETURN rc, bool* ends) {
  switch (judge()) {
    case Verdict::RowError: return rc;
    case Verdict::EndOfResult: stmt->DropDriverErrors(); return SQL_NO_DATA;
    case Verdict::ResultError:
      moveErrors(stmt, SQL_ROW_NUMBER_UNKNOWN, kUnknownColumn);
      cutShort = true;
      return SQL_NO_DATA;
    case Verdict::Cancelled: cancelled = false; break;
    case Verdict::Lost: lost = true; break;
  }
  *ends = true;
  return rc;
}

// A row that could not be stored (the disk is full) is still in the private buffers, and is the next one when
// the application tries again.
SQLRETURN FwdCursor::nextDriverRow() {
  if (!rowWaits) return CursorLibFetch(stmt);
  rowWaits = false;
  return waitingCode;
}

void FwdCursor::storeRow(SQLRETURN rc) {
  try {
    saveData(rc == SQL_ERROR ? CL_ROW_ERROR : CL_ROW_READ);
  } catch (const CException&) {
    --place.rowsRead;
    rowWaits = true;
    waitingCode = rc;
    throw;
  }
}

bool FwdCursor::rowFailureIsFinal() const { return place.rowsetSize == 1 && fetchApi != API_EXTENDEDFETCH; }

void FwdCursor::postRowError() {
  if (fetchApi == API_EXTENDEDFETCH || !isVersion3Driver(conn)) clWarning(stmt, clmsg::RowError);
}

SQLRETURN FwdCursor::noteRowError() {
  rowErrors = true;
  if (!rowFailureIsFinal()) {
    postRowError();
    return SQL_SUCCESS_WITH_INFO;
  }
  clWarning(stmt, clmsg::RowError);  // or the call would fail without a record
  return SQL_ERROR;
}

// Returns false if this row makes the whole call fail.
bool FwdCursor::deliverRow(SQLLEN index) {
  for (const tagCINFO& info : columns.all()) {
    if (info.isBookmark()) {
      if (clFailed(handleBookmark(&info, index))) return false;
      continue;
    }
    const ClTarget& target = info.target;
    if (target.data && info.length)
      std::memcpy(target.data + static_cast<SQLULEN>(index) * target.dataStep, info.buffer, info.length);
    if (!deliverLength(info, index)) return false;
  }
  return true;
}

bool FwdCursor::deliverLength(const tagCINFO& info, SQLLEN index) {
  const ClTarget& target = info.target;
  const SQLULEN step = static_cast<SQLULEN>(index) * target.cellStep;
  const bool isNull = info.lengthCell == SQL_NULL_DATA;
  // A null with an indicator of its own (a null pointer counts as one) leaves the length unchanged.
  const bool together = info.bind->indicatorPtr == info.bind->octetLengthPtr;
  if (target.length && (!isNull || together)) storeCell(target.length + step, info.lengthCell);
  if (target.indicator) storeCell(target.indicator + step, isNull ? SQL_NULL_DATA : 0);
  if (!isNull || target.length || target.indicator) return true;
  return postNullWithoutIndicator(info, index);
}

bool FwdCursor::postNullWithoutIndicator(const tagCINFO& info, SQLLEN index) {
  postRowError();
  clColumnWarning(stmt, clmsg::ColumnError, index + 1, info.bind->column);
  if (rowFailureIsFinal()) return false;
  rowErrors = true;
  return true;
}

SQLRETURN FwdCursor::handleBookmark(const tagCINFO* info, SQLLEN index) {
  const BindInfo* const bind = info->bind;
  if (stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarkColumnNotPossible);
  if (stmt->useBookmarks == SQL_UB_VARIABLE && bind->length < 4) return clError(stmt, clmsg::BookmarksOff);
  const std::size_t width = bookmarkWidth(bind->length);
  if (bind->length && bind->data) {
    const auto value = static_cast<std::uint64_t>(index + place.nextRow + 1);
    std::memcpy(columns.dataElement(bind, index), &value,
                std::min(width, static_cast<std::size_t>(bind->length)));
  }
  storeCell(columns.lengthElement(bind->indicatorPtr, index), 0);
  storeCell(columns.lengthElement(bind->octetLengthPtr, index), static_cast<SQLLEN>(width));
  return SQL_SUCCESS;
}

// A callback of ValidateDriverErrors: the failures of one row, which leave the result usable.
int FwdCursor::isExpectedFetchError(unsigned short* sqlstate) {
  static constexpr const char* kExpected[] = {"01004", "01S01", "01S07", "07006", "22002",
                                              "22003", "22007", "22012", "22015", "22018"};
  for (const char* state : kExpected)
    if (UTF16asciistrcmpi(sqlstate, state) == 0) return 1;
  return 0;
}
