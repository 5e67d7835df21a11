#include "zulib/cursor/rows/position.h"

#include <algorithm>

namespace {

constexpr SQLULEN kMaxRowset = SQLULEN{1} << 48;
constexpr SQLLEN kFarthest = SQLLEN{1} << 61;  // more rows than any result has

}  // namespace

SQLLEN nearer(SQLLEN row) { return std::clamp(row, -kFarthest, kFarthest); }

SQLLEN Position::usableRowsetSize(SQLULEN size) {
  return static_cast<SQLLEN>(std::clamp(size, SQLULEN{1}, kMaxRowset));
}

Position::Position(SQLULEN size) : rowsetSize(usableRowsetSize(size)) {
  rowsDone = effectiveRowset = rowsetSize;
  curRow = nextRow = -rowsetSize;
}

Position::Landing Position::beforeStart(SQLLEN size) {
  curRow = nextRow = -size;
  return OutOfResult;
}

Position::Landing Position::afterEnd() {
  curRow = nextRow = rowsRead;
  return OutOfResult;
}

// A row before the first can only be the result of a row-set size that has changed.
Position::Landing Position::onRow(SQLLEN target, SQLLEN* row) {
  *row = std::max<SQLLEN>(target, 0);
  effectiveRowset = rowsetSize;
  return OnRow;
}

Position::Landing Position::movedToStart(SQLLEN* row) {
  *row = 0;
  return MovedToStart;
}

bool Position::needsEnd(unsigned short orientation, SQLLEN row) {
  if (orientation == SQL_FETCH_LAST) effectiveRowset = rowsetSize;
  if (endOfData) return false;
  return orientation == SQL_FETCH_LAST || (orientation == SQL_FETCH_ABSOLUTE && row < 0);
}

Position::Landing Position::land(unsigned short orientation, SQLLEN* row) {
  *row = nearer(*row);
  switch (orientation) {
    case SQL_FETCH_NEXT: {
      const SQLLEN next = curRow + effectiveRowset;
      return endOfData && next >= rowsRead ? afterEnd() : onRow(next, row);
    }
    case SQL_FETCH_LAST: return rowsRead == 0 ? OutOfResult : onRow(rowsRead - effectiveRowset, row);
    case SQL_FETCH_PRIOR: return prior(row);
    case SQL_FETCH_ABSOLUTE: return absolute(row);
    case SQL_FETCH_RELATIVE: return relative(row);
    case SQL_FETCH_BOOKMARK:
      if (*row < 0) return beforeStart(effectiveRowset);
      return endOfData && *row >= rowsRead ? afterEnd() : onRow(*row, row);
    case SQL_FETCH_FIRST: *row = 0; [[fallthrough]];
    default: return onRow(*row, row);
  }
}

Position::Landing Position::prior(SQLLEN* row) {
  effectiveRowset = rowsetSize;
  if (curRow < 1) return beforeStart(rowsetSize);
  if (curRow >= effectiveRowset && (!endOfData || rowsRead >= effectiveRowset))
    return onRow(curRow - effectiveRowset, row);
  return movedToStart(row);
}

Position::Landing Position::absolute(SQLLEN* row) {
  const SQLLEN wanted = *row;
  if (wanted == 0) {
    // By the size of the last row set: the new size counts from here on.
    const SQLLEN lastSize = effectiveRowset;
    effectiveRowset = rowsetSize;
    return beforeStart(lastSize);
  }
  if (wanted > 0) return endOfData && wanted > rowsRead ? afterEnd() : onRow(wanted - 1, row);
  if (-wanted <= rowsRead) return onRow(wanted + rowsRead, row);
  return -wanted > effectiveRowset ? beforeStart(effectiveRowset) : movedToStart(row);
}

Position::Landing Position::relative(SQLLEN* row) {
  const SQLLEN step = *row;
  effectiveRowset = rowsetSize;
  const bool fromBefore = curRow < 0 && step > 0;
  const bool fromAfter = endOfData && curRow >= rowsRead && step < 0;
  if (fromBefore || fromAfter) return absolute(row);
  if ((curRow < 0 && step < 1) || (curRow == 0 && step < 0)) return beforeStart(effectiveRowset);
  const SQLLEN target = curRow + step;
  if (target >= 0) return endOfData && target >= rowsRead ? afterEnd() : onRow(target, row);
  return -step > effectiveRowset ? beforeStart(effectiveRowset) : movedToStart(row);
}
