// FwdCursor: the fetch itself. Rows are pulled from the driver one at a time and copied from the private
// buffers into the application's arrays. Nothing here allocates.

#include <algorithm>
#include <cstring>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/queue.h"
#include "zulib/cursor/rows/cursor.h"
#include "zuodbc/dmservices.h"

namespace {

constexpr SQLLEN UNKNOWN_COLUMN = -2;

// The application's rows may stand on any boundary.
void storeCell(void* cell, SQLLEN value) {
  if (cell) std::memcpy(cell, &value, sizeof value);
}

// Tells the connection on every way out whether the driver has rows left for this statement.
class OpenResultReport {
 public:
  OpenResultReport(DMConn* conn, const bool& endOfData) : conn(conn), endOfData(endOfData) {}
  OpenResultReport(const OpenResultReport&) = delete;
  OpenResultReport& operator=(const OpenResultReport&) = delete;
  ~OpenResultReport() { conn->hasOpenResult = !endOfData; }

 private:
  DMConn* conn;
  const bool& endOfData;
};

}  // namespace

SQLRETURN FwdCursor::fetch(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                           unsigned short* rowStatus) {
  SQLULEN scratch;
  if (!rowCount) rowCount = &scratch;
  if (initStage > 0) {
    const SQLRETURN rc = init();
    if (clFailed(rc)) throw RCException(rc);
  }
  if (orientation != SQL_FETCH_NEXT)
    throw ODBCException(stmt,
                        orientation == CL_FETCH_RESUME ? clmsg::NotSupported : clmsg::DirectionNotPossible);
  SQLLEN row = offset;
  const SQLRETURN found = firstRow(SQL_FETCH_NEXT, &row);
  if (clFailed(found)) throw RCException(found);
  effectiveRowset = rowsetSize;
  if (!resumeFetch) nextRow = row;
  *rowCount = static_cast<SQLULEN>(rowsDone);
  rowErrors = false;
  const SQLRETURN rc = fetchFromDriver(row, rowCount, rowStatus);
  if (!clFailed(rc)) curRow = nextRow;
  if (rc == SQL_NO_DATA) curRow = rowsRead;
  return withCutShort(rc == SQL_SUCCESS ? found : rc);
}

SQLRETURN FwdCursor::fetchFromDriver(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus) {
  OpenResultReport report(conn, endOfData);
  const SQLLEN doneAtEntry = rowsDone;
  try {
    return pullRows(firstRow, rowCount, rowStatus);
  } catch (const CException&) {
    rowsDone = doneAtEntry;
    throw;
  }
}

// Where a row set in progress stands.
struct FwdCursor::Delivery {
  SQLLEN row;  // in the row set
  SQLRETURN rc;
  bool warning;
  bool failed;  // the call answers SQL_ERROR at once
};

SQLRETURN FwdCursor::pullRows(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus) {
  Delivery delivery{rowsDone, SQL_NO_DATA, false, false};
  if (!endOfData) {
    delivery.rc = SQL_SUCCESS;
    if (rowsRead < firstRow) {
      const SQLRETURN rc = fetchToRow(firstRow);
      if (clFailed(rc)) return rc;
    }
    prepareTargets();
    while (delivery.row < effectiveRowset && pullRow(&delivery, rowStatus)) ++delivery.row;
    if (delivery.failed) return SQL_ERROR;
    *rowCount = static_cast<SQLULEN>(delivery.row);
    rowsDone = delivery.row;
    resumeFetch = delivery.rc == SQL_STILL_EXECUTING;
    if (delivery.rc == SQL_NO_DATA) endOfData = true;
  }
  if (delivery.row == 0 || resumeFetch) return delivery.rc;
  if (rowStatus)
    for (SQLLEN i = delivery.row; i < effectiveRowset; ++i) rowStatus[i] = SQL_ROW_NOROW;
  return delivery.warning || rowErrors ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

// The next row of the driver into the row set. False when the row set ends before it.
bool FwdCursor::pullRow(Delivery* delivery, unsigned short* rowStatus) {
  throwIfCancelled();
  SQLRETURN& rc = delivery->rc = nextDriverRow();
  if (rc == SQL_ERROR && !takeFailedRow(delivery)) return false;
  if (rc == SQL_SUCCESS_WITH_INFO) {
    moveErrors(stmt, delivery->row + 1, UNKNOWN_COLUMN);
    delivery->warning = true;
  }
  if (rc != SQL_ERROR && clFailed(rc)) return false;
  if (rowStatus) {
    const bool info = rc == SQL_SUCCESS_WITH_INFO && fetchApi == API_FETCHSCROLL;
    rowStatus[delivery->row] = rc == SQL_ERROR ? SQL_ROW_ERROR
                               : info          ? SQL_ROW_SUCCESS_WITH_INFO
                                               : SQL_ROW_SUCCESS;
  }
  ++rowsRead;
  delivery->failed = !deliverRow(delivery->row);
  storeRow(rc);
  return !delivery->failed;
}

// The driver answered SQL_ERROR: true when only this row is bad and the result goes on. An error that
// ends a row set which has rows already is a warning on it, so that it is not lost.
bool FwdCursor::takeFailedRow(Delivery* delivery) {
  if (clQueued(stmt, u"24000")) {
    delivery->rc = SQL_NO_DATA;
    return false;
  }
  if (clQueuedCancel(stmt)) cancelled = false;
  if (clQueuedCancel(stmt) || !stmt->ValidateErrorQueue(isExpectedFetchError)) {
    if (delivery->row == 0) return false;
    moveErrors(stmt, delivery->row + 1, UNKNOWN_COLUMN);
    delivery->warning = true;
    return false;
  }
  rowErrors = true;
  postRowError();
  if (rowFailureIsFinal()) {
    delivery->failed = true;
    return false;
  }
  moveErrors(stmt, delivery->row + 1, UNKNOWN_COLUMN);
  return true;
}

SQLRETURN FwdCursor::fetchToRow(SQLLEN row) {
  if (row != 0 && rowsRead >= row) return SQL_SUCCESS;
  OpenResultReport report(conn, endOfData);
  do {
    throwIfCancelled();
    SQLRETURN rc = nextDriverRow();
    if (rc == SQL_ERROR || rc == SQL_SUCCESS_WITH_INFO) {
      if (clQueuedCancel(stmt)) {
        cancelled = false;
        return rc;
      }
      // The rest of the result is treated as gone, after any other warning too. This is meant; the fetch
      // that read ahead answers with the driver's words.
      if (!stmt->ValidateErrorQueue(isExpectedFetchError)) {
        moveErrors(stmt, UNKNOWN_COLUMN, UNKNOWN_COLUMN);
        cutShort = true;
        rc = SQL_NO_DATA;
      }
    }
    if (rc == SQL_NO_DATA) endOfData = true;
    if (rc != SQL_ERROR && clFailed(rc)) return rc;
    ++rowsRead;
    storeRow(rc);
  } while (row == 0 || rowsRead < row);
  return SQL_SUCCESS;
}

// A row that could not be stored (the disk is full) still stands in the private buffers, and is the next
// one when the application tries again.
SQLRETURN FwdCursor::nextDriverRow() {
  if (!rowWaits) return CursorLibFetch(stmt);
  rowWaits = false;
  return waitingCode;
}

void FwdCursor::storeRow(SQLRETURN rc) {
  try {
    saveData(rc == SQL_ERROR ? CL_ROW_ERROR : CL_ROW_READ);
  } catch (const CException&) {
    --rowsRead;
    rowWaits = true;
    waitingCode = rc;
    throw;
  }
}

bool FwdCursor::rowFailureIsFinal() const { return rowsetSize == 1 && fetchApi != API_EXTENDEDFETCH; }

void FwdCursor::postRowError() {
  if (fetchApi == API_EXTENDEDFETCH || !isVersion3Driver()) clWarning(stmt, clmsg::RowError);
}

unsigned char* FwdCursor::dataElement(const BindInfo* bind, SQLLEN index) const {
  if (!bind->data) return nullptr;
  const DMDesc* ard = stmt->ard;
  const SQLLEN step = ard->bindType ? static_cast<SQLLEN>(ard->bindType) : bind->length;
  return static_cast<unsigned char*>(bind->data) + index * step +
         (ard->bindOffsetPtr ? *ard->bindOffsetPtr : 0);
}

// Row-wise the lengths step with the rows, as the data do; column-wise they are an array of their own.
SQLLEN* FwdCursor::lengthElement(SQLLEN* pointer, SQLLEN index) const {
  if (!pointer) return nullptr;
  const DMDesc* ard = stmt->ard;
  const SQLLEN step = ard->bindType ? static_cast<SQLLEN>(ard->bindType) : static_cast<SQLLEN>(CL_CELL);
  auto* first = reinterpret_cast<unsigned char*>(pointer);
  return reinterpret_cast<SQLLEN*>(first + index * step + (ard->bindOffsetPtr ? *ard->bindOffsetPtr : 0));
}

void FwdCursor::prepareTargets() {
  const SQLULEN byRow = stmt->ard->bindType;
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info)) {
    const BindInfo* bind = info->bind;
    SQLLEN* apart = bind->indicatorPtr != bind->octetLengthPtr ? bind->indicatorPtr : nullptr;
    ClTarget& target = info->target;
    target.data = dataElement(bind, 0);
    target.dataStep = byRow ? byRow : info->length;
    target.length = reinterpret_cast<unsigned char*>(lengthElement(bind->octetLengthPtr, 0));
    target.indicator = reinterpret_cast<unsigned char*>(lengthElement(apart, 0));
    target.cellStep = byRow ? byRow : CL_CELL;
  }
}

// False when the row fails the call.
bool FwdCursor::deliverRow(SQLLEN index) {
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info)) {
    if (isBookmark(info)) {
      if (clFailed(handleBookmark(info, index))) return false;
      continue;
    }
    const ClTarget& target = info->target;
    if (target.data && info->length)
      std::memcpy(target.data + static_cast<SQLULEN>(index) * target.dataStep, info->buffer, info->length);
    if (!deliverLength(info, index)) return false;
  }
  return true;
}

bool FwdCursor::deliverLength(const tagCINFO* info, SQLLEN index) {
  const ClTarget& target = info->target;
  const SQLULEN step = static_cast<SQLULEN>(index) * target.cellStep;
  const bool isNull = info->lengthCell == SQL_NULL_DATA;
  // A null with an indicator of its own (a null pointer counts as one) leaves the length as it was.
  const bool together = info->bind->indicatorPtr == info->bind->octetLengthPtr;
  if (target.length && (!isNull || together)) storeCell(target.length + step, info->lengthCell);
  if (target.indicator) storeCell(target.indicator + step, isNull ? SQL_NULL_DATA : 0);
  if (!isNull || target.length || target.indicator) return true;
  return postNullWithoutIndicator(info, index);
}

// A null value has nowhere to go.
bool FwdCursor::postNullWithoutIndicator(const tagCINFO* info, SQLLEN index) {
  postRowError();
  tagODBCERROR error{sizeof(tagODBCERROR), stmt, DM_COMPONENT_CURSOR_LIBRARY,
                     clmsg::ColumnError,   -1,   index + 1,
                     info->bind->column};
  PostODBCComponentError(&error);
  if (rowFailureIsFinal()) return false;
  rowErrors = true;
  return true;
}

SQLRETURN FwdCursor::handleBookmark(tagCINFO* info, SQLLEN index) {
  const BindInfo* bind = info->bind;
  if (stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarkColumnNotPossible);
  if (stmt->useBookmarks == SQL_UB_VARIABLE && bind->length < 4) return clError(stmt, clmsg::BookmarksOff);
  const std::size_t width = bookmarkWidth(bind->length);
  if (bind->length && bind->data) {
    const auto value = static_cast<std::uint64_t>(index + nextRow + 1);
    std::memcpy(dataElement(bind, index), &value, std::min(width, static_cast<std::size_t>(bind->length)));
  }
  storeCell(lengthElement(bind->indicatorPtr, index), 0);
  storeCell(lengthElement(bind->octetLengthPtr, index), static_cast<SQLLEN>(width));
  return SQL_SUCCESS;
}

// The failures of one row that leave the result usable.
int FwdCursor::isExpectedFetchError(unsigned short* sqlstate) {
  static constexpr const char* expected[] = {"01004", "01S01", "01S07", "07006", "22002",
                                             "22003", "22007", "22012", "22015", "22018"};
  for (const char* state : expected)
    if (UTF16asciistrcmpi(sqlstate, state) == 0) return 1;
  return 0;
}
