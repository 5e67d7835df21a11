// FwdCursor::firstRow: from a fetch direction to the first row of the new row set. All directions stand
// here, because the scrollable cursor uses the same arithmetic.
//
// A position before the result is minus a row-set size, so that one row set forward is the first row; a
// position behind it is the number of rows.

#include <algorithm>
#include <cstring>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/rows/cursor.h"

namespace {

// Far more rows than any result has; sums of two such numbers do not overflow.
constexpr SQLLEN FARTHEST = SQLLEN{1} << 61;

SQLLEN nearer(SQLLEN row) { return std::clamp(row, -FARTHEST, FARTHEST); }

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

}  // namespace

SQLRETURN FwdCursor::beforeStart(SQLLEN size) {
  curRow = nextRow = -size;
  return SQL_NO_DATA;
}

SQLRETURN FwdCursor::afterEnd() {
  curRow = nextRow = rowsRead;
  return SQL_NO_DATA;
}

// A row before the first can only come of a row-set size that changed on the way.
SQLRETURN FwdCursor::toRow(SQLLEN target, SQLLEN* row) {
  *row = std::max<SQLLEN>(target, 0);
  effectiveRowset = rowsetSize;
  return SQL_SUCCESS;
}

// Part of the row set lies before the result, so it starts at the first row instead.
SQLRETURN FwdCursor::toStart(SQLLEN* row) {
  *row = 0;
  return clWarning(stmt, clmsg::RowsetMovedToStart);
}

SQLRETURN FwdCursor::firstRow(unsigned short orientation, SQLLEN* row) {
  throwIfCancelled();
  if (resumeFetch) {
    *row = nextRow + rowsDone;
    return SQL_SUCCESS;
  }
  if (endOfData && rowsRead == 0) return SQL_NO_DATA;
  prepareFetch();
  *row = nearer(*row);
  switch (orientation) {
    case SQL_FETCH_NEXT: return firstRowNext(row);
    case SQL_FETCH_FIRST: return toRow(0, row);
    case SQL_FETCH_LAST: return firstRowLast(row);
    case SQL_FETCH_PRIOR: return firstRowPrior(row);
    case SQL_FETCH_ABSOLUTE: return firstRowAbsolute(row);
    case SQL_FETCH_RELATIVE: return firstRowRelative(row);
    case SQL_FETCH_BOOKMARK: return firstRowBookmark(row);
    default: return toRow(*row, row);
  }
}

SQLRETURN FwdCursor::firstRowNext(SQLLEN* row) {
  const SQLLEN next = curRow + effectiveRowset;
  if (endOfData && next >= rowsRead) return afterEnd();
  return toRow(next, row);
}

SQLRETURN FwdCursor::firstRowLast(SQLLEN* row) {
  effectiveRowset = rowsetSize;
  if (!endOfData) {
    const SQLRETURN rc = fetchToRow(0);
    if (rc != SQL_NO_DATA) return rc;
  }
  if (rowsRead == 0) return SQL_NO_DATA;
  return toRow(rowsRead - effectiveRowset, row);
}

SQLRETURN FwdCursor::firstRowPrior(SQLLEN* row) {
  effectiveRowset = rowsetSize;
  if (curRow < 1) return beforeStart(rowsetSize);
  if (curRow >= effectiveRowset && (!endOfData || rowsRead >= effectiveRowset))
    return toRow(curRow - effectiveRowset, row);
  return toStart(row);
}

SQLRETURN FwdCursor::firstRowAbsolute(SQLLEN* row) {
  const SQLLEN wanted = *row;
  if (wanted == 0) {
    beforeStart(
        effectiveRowset);  // the size of the last row set, before the new one is taken. This is meant.
    effectiveRowset = rowsetSize;
    return SQL_NO_DATA;
  }
  if (wanted > 0) {
    if (endOfData && wanted > rowsRead) return afterEnd();
    return toRow(wanted - 1, row);
  }
  if (!endOfData) {
    const SQLRETURN rc = fetchToRow(0);
    if (rc != SQL_NO_DATA) return rc;
  }
  if (-wanted <= rowsRead) return toRow(wanted + rowsRead, row);
  if (-wanted > effectiveRowset) return beforeStart(effectiveRowset);
  return toStart(row);
}

SQLRETURN FwdCursor::firstRowRelative(SQLLEN* row) {
  const SQLLEN step = *row;
  effectiveRowset = rowsetSize;
  const bool fromBefore = curRow < 0 && step > 0;
  const bool fromBehind = endOfData && curRow >= rowsRead && step < 0;
  if (fromBefore || fromBehind) return firstRowAbsolute(row);
  if ((curRow < 0 && step < 1) || (curRow == 0 && step < 0)) return beforeStart(effectiveRowset);
  const SQLLEN target = curRow + step;
  if (target >= 0) {
    if (endOfData && target >= rowsRead) return afterEnd();
    return toRow(target, row);
  }
  if (-step > effectiveRowset) return beforeStart(effectiveRowset);
  return toStart(row);
}

// Bookmarks are row numbers from 1. The value that the application points to is as wide as the binding of
// the bookmark column makes it.
SQLRETURN FwdCursor::firstRowBookmark(SQLLEN* row) {
  if (stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarksOff);
  SQLLEN target;
  if (fetchApi == API_FETCHSCROLL) {
    if (!stmt->fetchBookmarkPtr) return clError(stmt, clmsg::NoBookmarkPointer);
    std::size_t width = bookmarkWidth(0);
    for (const tagCINFO* info = columns; info != endOfColumns(); ++info)
      if (isBookmark(info)) width = bookmarkWidth(info->bind->length);
    target = nearer(readBookmark(stmt->fetchBookmarkPtr, width)) - 1 + *row;
  } else {
    target = *row - 1;
  }
  if (target < 0) return beforeStart(effectiveRowset);
  if (endOfData && target >= rowsRead) return afterEnd();
  return toRow(target, row);
}
