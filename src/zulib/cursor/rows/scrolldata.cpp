// ScrollCursor: single rows. What positioned statements read and change in the cache, and SQLGetData,
// which reads the current row again through a second statement.

#include <algorithm>
#include <cstring>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/queue.h"
#include "zulib/cursor/rows/cursor.h"
#include "zulib/cursor/statement/parser.h"

namespace {

constexpr SQLLEN FIRST_AT_EXEC_LENGTH = SQL_LEN_DATA_AT_EXEC_OFFSET;  // and all below

// The value comes with SQLPutData; the buffer holds none.
bool isDataAtExecution(SQLLEN length) { return length == SQL_DATA_AT_EXEC || length <= FIRST_AT_EXEC_LENGTH; }

SQLLEN terminatedLength(const unsigned char* text, SQLULEN size, short cType) {
  if (cType != SQL_C_WCHAR) return static_cast<SQLLEN>(strnlen(reinterpret_cast<const char*>(text), size));
  SQLULEN length = 0;
  while (length + 2 <= size && (text[length] || text[length + 1])) length += 2;
  return static_cast<SQLLEN>(length);
}

bool hasOwnLength(short cType) {
  return cType == SQL_C_CHAR || cType == SQL_C_BINARY || cType == SQL_C_WCHAR;
}

SQLLEN loadCell(const void* cell) {
  SQLLEN value;
  std::memcpy(&value, cell, sizeof value);
  return value;
}

}  // namespace

void ScrollCursor::closeGetDataCursor() {
  if (conn->activeStatements != 1 || !auxHasRow || !auxStmt) return;
  CursorLibFreeStmt(auxStmt, SQL_CLOSE);
  auxHasRow = false;
  initStage = Positioned;
}

int ScrollCursor::getJoinFlag() { return stmt->parser ? stmt->parser->getJoinFlag() : 0; }

int ScrollCursor::numSearchCols() {
  int count = 0;
  for (const FieldMapEntry* entry = fieldMap; entry != fieldMap + fieldCount; ++entry)
    if (entry->searchable == SQL_ALL_EXCEPT_LIKE || entry->searchable == SQL_SEARCHABLE) ++count;
  return count;
}

// A name that is a blank stands for no column.
bool ScrollCursor::isSearchable(const FieldMapEntry& entry) const {
  const bool can = entry.searchable == SQL_ALL_EXCEPT_LIKE || entry.searchable == SQL_SEARCHABLE;
  const char* name = entry.info->name;
  return can && name[0] && name[1] != ' ';
}

int ScrollCursor::getSearchCol(DMStmt* statement, int* index, char* name, void** value, SQLLEN** lengthPtr,
                               short* cType, short* sqlType, SQLULEN* size, short* scale) {
  ++*index;
  if (*index < 0) return 0;
  while (*index < fieldCount && !isSearchable(fieldMap[*index])) ++*index;
  if (*index >= fieldCount) return 0;
  const FieldMapEntry& entry = fieldMap[*index];
  const BindInfo* bind = entry.info->bind;
  std::strcpy(name, entry.info->name);
  *cType = bind->typeGiven;
  *sqlType = entry.info->sqlType;
  *size = bind->size;
  *scale = bind->scale;
  const SQLLEN row = rowInSet + curRow;
  if (!isOnRow(row)) throw ODBCException(statement, clmsg::InvalidCursorState);
  unsigned char* const start = rowAddress(getBlock(row), row);
  const unsigned short status = statusOf(start);
  if (status != CL_ROW_READ && status != CL_ROW_UPDATED) throw ODBCException(statement, clmsg::RowGone);
  *value = start + entry.offset;
  *lengthPtr = searchLength(entry, start + entry.offset, *cType);
  return 1;
}

// The length with which a value goes into a search; null leaves it to the terminator or the type. Of a
// value that was truncated only what fits is compared.
SQLLEN* ScrollCursor::searchLength(const FieldMapEntry& entry, unsigned char* field, short cType) const {
  const tagCINFO* info = entry.info;
  if (!info->hasCell) return nullptr;
  auto* length = reinterpret_cast<SQLLEN*>(field + alignCell(info->length));
  if (*length == SQL_NO_TOTAL || *length > static_cast<SQLLEN>(info->length)) length = &info->bind->length;
  const bool binary = cType == SQL_C_BINARY || info->cType == SQL_C_BINARY;
  return binary || *length == SQL_NULL_DATA ? length : nullptr;
}

unsigned char* ScrollCursor::currentRow(tagFBHDR** block) {
  const SQLLEN row = rowInSet + curRow;
  if (!isOnRow(row)) return nullptr;
  *block = getBlock(row);
  return rowAddress(*block, row);
}

void ScrollCursor::deleteRow() {
  tagFBHDR* block;
  unsigned char* row = currentRow(&block);
  if (!row) return;
  setStatus(row, CL_ROW_DELETED);
  block->dirty = 1;
}

void ScrollCursor::updateRow() {
  tagFBHDR* block;
  unsigned char* row = currentRow(&block);
  if (!row) return;
  for (const FieldMapEntry* entry = fieldMap; entry != fieldMap + fieldCount; ++entry)
    if (!isBookmark(entry->info)) updateField(*entry, row + entry->offset);
  setStatus(row, CL_ROW_UPDATED);
  block->dirty = 1;
}

// A cached field takes the application's buffer for the current row.
void ScrollCursor::updateField(const FieldMapEntry& entry, unsigned char* field) {
  const tagCINFO* info = entry.info;
  const BindInfo* bind = info->bind;
  const SQLLEN* lengthAt = lengthElement(bind->octetLengthPtr, rowInSet);
  const SQLLEN* indicatorAt = lengthElement(bind->indicatorPtr, rowInSet);
  const bool isNull = indicatorAt && loadCell(indicatorAt) == SQL_NULL_DATA;
  SQLLEN length = lengthAt ? loadCell(lengthAt) : static_cast<SQLLEN>(info->length);
  if (isNull) length = SQL_NULL_DATA;
  if (lengthAt && isDataAtExecution(length)) return;
  const unsigned char* data = dataElement(bind, rowInSet);
  if (data && info->length) std::memcpy(field, data, info->length);
  if (!info->hasCell) return;
  unsigned char* cellAt = field + alignCell(info->length);
  SQLLEN cell = loadCell(cellAt);
  if (hasOwnLength(info->cType)) {
    cell = length == SQL_NTS && data ? terminatedLength(data, info->length, info->cType) : length;
  } else if (cell == SQL_NULL_DATA || length == SQL_NULL_DATA) {
    cell = length;
  }
  std::memcpy(cellAt, &cell, CL_CELL);
}

SQLRETURN ScrollCursor::getBookmark(short cType, void* value, SQLLEN length, SQLLEN* lengthPtr) const {
  const auto room = static_cast<SQLLEN>(DefaultSize(cType, static_cast<SQLULEN>(length)));
  const std::size_t width = bookmarkWidth(room);
  const auto bookmark = static_cast<std::uint64_t>(rowInSet + curRow + 1);
  if (value)
    std::memcpy(value, &bookmark, room > 0 ? std::min(width, static_cast<std::size_t>(room)) : width);
  if (lengthPtr) *lengthPtr = static_cast<SQLLEN>(width);
  return SQL_SUCCESS;
}

SQLRETURN ScrollCursor::getData(unsigned short column, short cType, void* value, SQLLEN length,
                                SQLLEN* lengthPtr) {
  if (column == 0 && stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarksOff);
  if (!stmt->parser) throw ODBCException(stmt, clmsg::ReselectNotSelect);
  if (column == 0) return getBookmark(cType, value, length, lengthPtr);
  if (initStage > 0) throw ODBCException(stmt, clmsg::InvalidCursorState);
  if (initStage == Positioned) {
    const SQLRETURN rc = prepareGetData();
    if (clFailed(rc)) return rc;
  }
  SQLRETURN rc;
  try {
    rc = continueGetData(column, cType, value, length, lengthPtr);
  } catch (ODBCException& exception) {
    if (exception.handle == auxStmt) exception.handle = stmt;  // the one that the application knows
    throw;
  } catch (const RCException&) {
    moveErrors(auxStmt, -2, -2);
    throw;
  }
  if (rc == SQL_ERROR) initStage = Positioned;
  if (rc == SQL_ERROR || rc == SQL_SUCCESS_WITH_INFO) moveErrors(auxStmt, -2, -2);
  return rc;
}

SQLRETURN ScrollCursor::prepareGetData() {
  if (!auxStmt) {
    const SQLRETURN rc = CursorLibAllocStmt(conn, &auxStmt);
    if (clFailed(rc)) {
      auxStmt = nullptr;
      if (clQueued(conn, u"HY001")) throw CMemoryException();
      stmt->RetrieveDriverErrorsRowCol(conn, 1, -2, -2);
      return rc;
    }
  } else {
    CursorLibFreeStmt(auxStmt, SQL_CLOSE);
  }
  CursorLibSetStmtOption(auxStmt, SQL_ASYNC_ENABLE,
                         stmt->flags & DM_STMT_ASYNC ? SQL_ASYNC_ENABLE_ON : SQL_ASYNC_ENABLE_OFF);
  auxHasRow = false;
  initStage = Selecting;
  return SQL_SUCCESS;
}

// Goes on from where the last call stopped, so that the row is read once and a value can come in pieces.
SQLRETURN ScrollCursor::continueGetData(unsigned short column, short cType, void* value, SQLLEN length,
                                        SQLLEN* lengthPtr) {
  if (initStage == Selecting) {
    const SQLRETURN rc = stmt->parser->selectCurrent(this, auxStmt);
    if (clFailed(rc)) return rc;
    initStage = Fetching;
  }
  if (initStage == Fetching) {
    const SQLRETURN rc = CursorLibFetch(auxStmt);
    auxHasRow = !clFailed(rc);
    if (!auxHasRow) return rc;
  }
  initStage = Getting;
  const SQLRETURN rc = CursorLibGetData(auxStmt, column, cType, value, length, lengthPtr);
  if (!clFailed(rc)) initStage = Ready;
  return rc;
}
