#include "tools/zusql/browser/result.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "tools/zusql/cancel.h"

namespace zusql {

namespace {

// All values of a row set together.
constexpr std::size_t kRowSetBytes = 4u << 20;

// The shortest and longest text of a number, and what a character takes in UTF-8.
constexpr std::size_t kNumberBytes = 32;
constexpr std::size_t kLongestNumber = 128;
constexpr std::size_t kBytesOfCharacter = 4;

std::size_t widthOf(const Column& column, std::size_t cellBytes) {
  constexpr std::size_t kAlignment = 4;
  std::size_t bytes = cellBytes;
  if (column.isNumeric()) {
    bytes = std::clamp<std::size_t>(static_cast<std::size_t>(std::max<std::int64_t>(column.displaySize, 0)),
                                    kNumberBytes, kLongestNumber);
  } else if (column.size > 0 && column.size < cellBytes) {
    bytes = std::clamp<std::size_t>(column.size * kBytesOfCharacter, kNumberBytes, cellBytes);
  }
  return (bytes + kAlignment) / kAlignment * kAlignment;
}

}  // namespace

Result::Result(const Connection& connection, const std::string& sql, std::int64_t rowsWanted,
               std::size_t cellBytes)
    : query(connection) {
  query.check(SQLSetCursorName(query.handle(), sqlText(kCursorName), SQL_NTS));
  query.setAttribute(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC);
  try {
    query.setAttribute(SQL_ATTR_CONCURRENCY, SQL_CONCUR_VALUES);
  } catch (const OdbcError&) {
    updatable = false;
  }
  query.execute(sql);
  described = query.columns();
  if (hasRows()) bind(rowsWanted, cellBytes);
}

void Result::bind(std::int64_t rowsWanted, std::size_t cellBytes) {
  std::size_t rowBytes = sizeof(SQLUSMALLINT);  // the state of the row
  for (const Column& column : described) rowBytes += widthOf(column, cellBytes) + sizeof(SQLLEN);
  capacity = std::clamp<std::int64_t>(static_cast<std::int64_t>(kRowSetBytes / rowBytes), 1, rowsWanted);
  const auto rows = static_cast<std::size_t>(capacity);
  states.resize(rows);
  query.setAttribute(SQL_ATTR_ROW_ARRAY_SIZE, rows);
  query.setAttribute(SQL_ATTR_ROW_STATUS_PTR, states.data());
  query.setAttribute(SQL_ATTR_ROWS_FETCHED_PTR, &held);
  buffers.reserve(described.size());
  for (const Column& column : described) {
    Buffer& buffer = buffers.emplace_back();
    buffer.width = widthOf(column, cellBytes);
    buffer.values.resize(rows * buffer.width);
    buffer.lengths.resize(rows);
    query.check(SQLBindCol(query.handle(), static_cast<SQLUSMALLINT>(buffers.size()), SQL_C_CHAR,
                           buffer.values.data(), static_cast<SQLLEN>(buffer.width), buffer.lengths.data()));
  }
}

void Result::fetchAt(std::int64_t first) {
  const CancelScope cancellable(query.handle());
  held = 0;
  SQLRETURN rc = SQL_SUCCESS;
  try {
    rc = query.check(SQLFetchScroll(query.handle(), SQL_FETCH_ABSOLUTE, first + 1));
  } catch (const OdbcError&) {
    held = 0;
    read = std::max(read, query.rowCount());
    throw;
  }
  start = first;
  if (rc == SQL_NO_DATA) held = 0;
  read = std::max(read, held == 0 ? query.rowCount() : first + static_cast<std::int64_t>(held));
  if (held < static_cast<SQLULEN>(capacity)) complete = true;
}

std::int64_t Result::load(std::int64_t first, std::int64_t count) {
  const std::int64_t wanted = std::min(count, capacity);
  const auto end = [&] { return start + static_cast<std::int64_t>(held); };
  const std::int64_t last = complete ? std::min(first + wanted, read) : first + wanted;
  if (complete && first >= read) return 0;
  if (held == 0 || first < start || last > end()) {
    // The rest of the row set is in the direction of the movement.
    const bool isBackward = held > 0 && first < start;
    fetchAt(isBackward ? std::max<std::int64_t>(0, first + wanted - capacity) : first);
    if (held == 0) return 0;
  }
  return std::clamp<std::int64_t>(end() - first, 0, wanted);
}

void Result::readTowards(std::int64_t row) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kShort{20};
  constexpr std::chrono::milliseconds kLong{80};
  if (complete || read > row) return;
  const Clock::time_point before = Clock::now();
  fetchAt(std::min(row, read + portion));
  const auto taken = Clock::now() - before;
  if (taken < kShort) portion = std::min<std::int64_t>(portion * 2, 1 << 20);
  if (taken > kLong) portion = std::max<std::int64_t>(portion / 2, 10);
}

CellView Result::cell(std::int64_t row, std::size_t column) const {
  const Buffer& buffer = buffers[column];
  const SQLLEN length = buffer.lengths[place(row)];
  if (length == SQL_NULL_DATA) return {{}, true, false};
  const char* const text = &buffer.values[place(row) * buffer.width];
  const bool isCut = length == SQL_NO_TOTAL || length >= static_cast<SQLLEN>(buffer.width);
  return {{text, isCut ? strnlen(text, buffer.width) : static_cast<std::size_t>(std::max<SQLLEN>(length, 0))},
          false,
          isCut};
}

RowState Result::state(std::int64_t row) const {
  switch (states[place(row)]) {
    case SQL_ROW_UPDATED: return RowState::Changed;
    case SQL_ROW_DELETED: return RowState::Deleted;
    case SQL_ROW_ERROR: return RowState::Failed;
    default: return RowState::Unchanged;
  }
}

bool Result::makeCurrent(std::int64_t row) {
  if (load(row, 1) == 0) return false;
  query.check(SQLSetPos(query.handle(), place(row) + 1, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  return true;
}

Result::Slot Result::slot(std::int64_t row, std::size_t column) {
  Buffer& buffer = buffers[column];
  return {&buffer.values[place(row) * buffer.width], buffer.width, &buffer.lengths[place(row)]};
}

}  // namespace zusql
