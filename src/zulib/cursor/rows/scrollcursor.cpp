#include "zulib/cursor/rows/scrollcursor.h"

#include <algorithm>
#include <cstring>

#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/cursor/internal/forward.h"
#include "zulib/cursor/statement/sqlparser.h"

namespace {

enum Stage : int { kMakeFile = 5, kMakeMap = 6, kMakeBlock = 7, kDone = 0 };

unsigned concurrencyFor(const DMStmt* stmt) {
  return stmt->concurrency == SQL_CONCUR_READ_ONLY ? SQL_CONCUR_READ_ONLY : SQL_CONCUR_VALUES;
}

// True if the value comes with SQLPutData, so that the buffer holds none.
bool isDataAtExecution(SQLLEN length) {
  return length == SQL_DATA_AT_EXEC || length <= SQL_LEN_DATA_AT_EXEC_OFFSET;
}

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

bool isReadable(unsigned short status) { return status == CL_ROW_READ || status == CL_ROW_UPDATED; }

}  // namespace

ScrollCursor::ScrollCursor(DMStmt* stmt, unsigned short api)
    : FwdCursor(stmt, api), conn(stmt->conn), cache(stmt) {
  setConcurrency(concurrencyFor(stmt));
}

ScrollCursor::~ScrollCursor() { cleanup(); }

// The second statement goes before the blocks: its parameters point into them.
SQLRETURN ScrollCursor::cleanup() {
  if (SqlParser* const own = statement()->parser) own->forgetTarget(this);
  if (isReferredTo()) {
    for (DMStmt* other : DMStmtList(conn))
      if (other->parser) other->parser->forgetTarget(this);
  }
  if (auxStmt && keepsDriver()) SQLFreeStmt(auxStmt, SQL_DROP);
  auxStmt = nullptr;
  auxHasRow = false;
  fieldMap.reset();
  fieldCount = 0;
  return cache.release();
}

SQLRETURN ScrollCursor::release() {
  const SQLRETURN closed = cleanup();
  const SQLRETURN rc = FwdCursor::release();
  return clFailed(closed) ? closed : rc;
}

void ScrollCursor::reset() {
  cleanup();
  FwdCursor::reset();
  setConcurrency(concurrencyFor(statement()));
  rowInSet = 0;
  concurrencyLowered = false;
  getDataStage = Ready;
}

SQLRETURN ScrollCursor::runSetUp() {
  SQLRETURN rc = SQL_SUCCESS;
  if (getInitStage() < kMakeFile) {
    rc = FwdCursor::runSetUp();
    if (clFailed(rc)) return rc;
    lowerConcurrencyIfNeeded();
    setInitStage(kMakeFile);
  }
  if (getInitStage() == kMakeFile) {
    cache.makeFile();
    setInitStage(kMakeMap);
  }
  if (getInitStage() == kMakeMap) {
    const SQLRETURN mapped = createFieldMap();
    if (clFailed(mapped)) return mapped;
    setInitStage(kMakeBlock);
  }
  cache.makeFirstBlock();
  setInitStage(kDone);
  return rc;
}

// A binary value without a length cannot be part of a search.
void ScrollCursor::lowerConcurrencyIfNeeded() {
  if (getConcurrency() == SQL_CONCUR_READ_ONLY) return;
  for (const tagCINFO& info : boundColumns().all()) {
    if (info.isBookmark() || info.bind->octetLengthPtr || info.bind->cType != SQL_C_BINARY) continue;
    concurrencyLowered = true;
    setConcurrency(SQL_CONCUR_READ_ONLY);
    return;
  }
}

SQLRETURN ScrollCursor::createFieldMap() {
  if (!fieldMap) layOutRows();
  for (FieldMapEntry& entry : fields()) {
    if (entry.searchable != kSearchableUnknown) continue;
    SQLLEN searchable = SQL_UNSEARCHABLE;
    if (!entry.info->isBookmark()) {
      const SQLRETURN rc = CursorLibColAttributes(statement(), entry.info->bind->column,
                                                  SQL_COLUMN_SEARCHABLE, nullptr, 0, nullptr, &searchable);
      if (clFailed(rc)) return rc;
    }
    entry.searchable = static_cast<SQLULEN>(searchable);
  }
  cache.layOutBlocks(position().rowsetSize, boundColumns().rowSize());
  return SQL_SUCCESS;
}

void ScrollCursor::layOutRows() {
  const auto columns = boundColumns().all();
  fieldMap.reset(static_cast<FieldMapEntry*>(clAllocZ(columns.size() * sizeof(FieldMapEntry))));
  fieldCount = boundColumns().size();
  SQLULEN offset = 0;
  for (unsigned short i = 0; i < fieldCount; ++i) {
    fields()[i] = {&columns[i], offset, kSearchableUnknown};
    if (!columns[i].isBookmark()) offset += alignCell(columns[i].length) + (columns[i].hasCell ? kCell : 0);
  }
}

void ScrollCursor::checkDirection(unsigned short orientation) const {
  if (orientation == kFetchResume) throw ODBCException(statement(), clmsg::NotSupported);
}

SQLRETURN ScrollCursor::takeWarning() {
  if (!concurrencyLowered) return SQL_SUCCESS;
  concurrencyLowered = false;
  return clWarning(statement(), clmsg::ConcurrencyLowered);
}

SQLRETURN ScrollCursor::fetchFromBuffer(SQLLEN row, SQLULEN* rowCount, unsigned short* rowStatus) {
  if (row >= position().rowsRead) return SQL_SUCCESS;
  SQLLEN done = position().rowsDone;
  prepareTargets();
  const SQLRETURN rc = copyCachedRows(row, &done, rowStatus ? rowStatus + done : nullptr);
  *rowCount = static_cast<SQLULEN>(done);
  setRowsDone(done, false);
  return rc;
}

// A block is asked for only when the row leaves the one in use, so that a run of rows in one block does not
// change the order of the list.
SQLRETURN ScrollCursor::copyCachedRows(SQLLEN row, SQLLEN* done, unsigned short* status) {
  SQLRETURN rc = SQL_SUCCESS;
  tagFBHDR* block = nullptr;
  for (; *done < position().effectiveRowset && row < position().rowsRead; ++*done, ++row) {
    if (!block || !RowCache::holds(block, row)) block = cache.getBlock(row);
    const SQLRETURN one = retrieveData(fieldCount, cache.rowAddress(block, row), &status, row, *done);
    if (clFailed(one)) return one;
    if (one == SQL_SUCCESS_WITH_INFO) rc = one;
  }
  return rc;
}

SQLRETURN ScrollCursor::retrieveData(unsigned short count, const unsigned char* row, unsigned short** status,
                                     SQLLEN, SQLLEN index) {
  for (const FieldMapEntry& entry : fields().first(count)) {
    const tagCINFO* const info = entry.info;
    if (info->isBookmark()) {
      if (clFailed(handleBookmark(info, index))) return SQL_ERROR;
      continue;
    }
    const ClTarget& target = info->target;
    const unsigned char* const field = row + entry.offset;
    if (target.data && info->length)
      std::memcpy(target.data + static_cast<SQLULEN>(index) * target.dataStep, field, info->length);
    // A length that was bound after the row was stored is not known.
    const SQLLEN cell = info->hasCell ? loadCell(field + alignCell(info->length)) : SQLLEN{SQL_NO_TOTAL};
    const SQLULEN step = static_cast<SQLULEN>(index) * target.cellStep;
    if (target.indicator) storeCell(target.indicator + step, cell == SQL_NULL_DATA ? SQL_NULL_DATA : 0);
    if (target.length) storeCell(target.length + step, cell);
  }
  const unsigned short stored = cache.statusOf(row);
  if (*status) *(*status)++ = stored;
  return stored == CL_ROW_ERROR ? noteRowError() : SQLRETURN{SQL_SUCCESS};
}

void ScrollCursor::saveData(unsigned short status) {
  if (position().endOfData) return;
  const SQLLEN row = position().rowsRead - 1;
  tagFBHDR* const block = cache.getBlock(row);
  unsigned char* const start = cache.rowAddress(block, row);
  for (const FieldMapEntry& entry : fields()) {
    const tagCINFO* const info = entry.info;
    if (info->isBookmark()) continue;
    unsigned char* const field = start + entry.offset;
    if (info->length) std::memcpy(field, info->buffer, info->length);
    if (info->hasCell) storeCell(field + alignCell(info->length), info->lengthCell);
  }
  cache.setStatus(start, status);
  RowCache::append(block, row);
}

bool ScrollCursor::isOnRow(SQLLEN row) const {
  return isSetUp() && position().curRow >= 0 && row < position().rowsRead;
}

// The current row, or an error on `statement`. The pointer is valid until the next use of the cache.
unsigned char* ScrollCursor::requireRow(DMStmt* statement) {
  const SQLLEN row = currentRow();
  if (!isOnRow(row)) throw ODBCException(statement, clmsg::InvalidCursorState);
  unsigned char* const start = cache.rowAddress(cache.getBlock(row), row);
  if (!isReadable(cache.statusOf(start))) throw ODBCException(statement, clmsg::RowGone);
  return start;
}

SQLULEN ScrollCursor::rowNumber() {
  requireRow(statement());
  return static_cast<SQLULEN>(currentRow()) + 1;
}

SQLRETURN ScrollCursor::setPos(SQLULEN row, int operation, int lock) {
  failIfLost();
  if (!isSetUp()) {
    const SQLRETURN rc = init();
    if (clFailed(rc)) return rc;
  }
  if (operation != SQL_POSITION || lock != SQL_LOCK_NO_CHANGE || row == 0)
    throw ODBCException(statement(), clmsg::NotSupported);
  if (row > static_cast<SQLULEN>(position().effectiveRowset))
    throw ODBCException(statement(), clmsg::RowOutOfRowset);
  if (position().curRow < 0) throw ODBCException(statement(), clmsg::InvalidCursorState);
  const SQLLEN inSet = static_cast<SQLLEN>(row) - 1;
  if (position().endOfData && inSet + position().curRow >= position().rowsRead)
    throw ODBCException(statement(), clmsg::RowGone);
  getDataStage = Positioned;
  rowInSet = inSet;
  return SQL_SUCCESS;
}

int ScrollCursor::getJoinFlag() { return statement()->parser ? statement()->parser->getJoinFlag() : 0; }

int ScrollCursor::numSearchCols() {
  return static_cast<int>(std::ranges::count_if(fields(), [](const FieldMapEntry& entry) {
    return entry.searchable == SQL_ALL_EXCEPT_LIKE || entry.searchable == SQL_SEARCHABLE;
  }));
}

// A column whose name is a blank has none.
bool ScrollCursor::isSearchable(const FieldMapEntry& entry) {
  const bool can = entry.searchable == SQL_ALL_EXCEPT_LIKE || entry.searchable == SQL_SEARCHABLE;
  const char* const name = entry.info->name;
  return can && name[0] && name[1] != ' ';
}

bool ScrollCursor::nextSearchCol(DMStmt* statement, int* index, SearchColumn* column) {
  ++*index;
  if (*index < 0) return false;
  while (*index < fieldCount && !isSearchable(fields()[*index])) ++*index;
  if (*index >= fieldCount) return false;
  const FieldMapEntry& entry = fields()[*index];
  const BindInfo* const bind = entry.info->bind;
  unsigned char* const field = requireRow(statement) + entry.offset;
  *column = {entry.info->name,
             field,
             searchLength(entry, field, bind->typeGiven),
             bind->typeGiven,
             entry.info->sqlType,
             bind->size,
             bind->scale};
  return true;
}

int ScrollCursor::getSearchCol(DMStmt* statement, int* index, char* name, void** value, SQLLEN** lengthPtr,
                               short* cType, short* sqlType, SQLULEN* size, short* scale) {
  SearchColumn column;
  if (!nextSearchCol(statement, index, &column)) return 0;
  std::strcpy(name, column.name);
  *value = column.value;
  *lengthPtr = column.lengthPtr;
  *cType = column.cType;
  *sqlType = column.sqlType;
  *size = column.size;
  *scale = column.scale;
  return 1;
}

// The length with which a value is part of a search; null leaves it to the terminator or the type. Of a value
// that was truncated only what fits is compared.
SQLLEN* ScrollCursor::searchLength(const FieldMapEntry& entry, unsigned char* field, short cType) {
  const tagCINFO* const info = entry.info;
  if (!info->hasCell) return nullptr;
  auto* length = reinterpret_cast<SQLLEN*>(field + alignCell(info->length));
  if (*length == SQL_NO_TOTAL || *length > static_cast<SQLLEN>(info->length)) length = &info->bind->length;
  const bool binary = cType == SQL_C_BINARY || info->cType == SQL_C_BINARY;
  return binary || *length == SQL_NULL_DATA ? length : nullptr;
}

SQLLEN ScrollCursor::pinRow() {
  const SQLLEN row = currentRow();
  cache.pin(row);
  return row;
}

unsigned char* ScrollCursor::rowToChange(tagFBHDR** block) {
  const SQLLEN row = currentRow();
  if (!isOnRow(row)) return nullptr;
  *block = cache.getBlock(row);
  return cache.rowAddress(*block, row);
}

void ScrollCursor::deleteRow() {
  tagFBHDR* block;
  unsigned char* const row = rowToChange(&block);
  if (!row) return;
  cache.setStatus(row, CL_ROW_DELETED);
  RowCache::markChanged(block);
}

void ScrollCursor::updateRow() {
  tagFBHDR* block;
  unsigned char* const row = rowToChange(&block);
  if (!row) return;
  for (const FieldMapEntry& entry : fields())
    if (!entry.info->isBookmark()) updateField(entry, row + entry.offset);
  cache.setStatus(row, CL_ROW_UPDATED);
  RowCache::markChanged(block);
}

// Copies the application's buffer for the current row to a cached field.
void ScrollCursor::updateField(const FieldMapEntry& entry, unsigned char* field) {
  const tagCINFO* const info = entry.info;
  const BindInfo* const bind = info->bind;
  const SQLLEN* const lengthAt = boundColumns().lengthElement(bind->octetLengthPtr, rowInSet);
  const SQLLEN* const indicatorAt = boundColumns().lengthElement(bind->indicatorPtr, rowInSet);
  SQLLEN length = lengthAt ? loadCell(lengthAt) : static_cast<SQLLEN>(info->length);
  if (indicatorAt && loadCell(indicatorAt) == SQL_NULL_DATA) length = SQL_NULL_DATA;
  if (lengthAt && isDataAtExecution(length)) return;
  const unsigned char* const data = boundColumns().dataElement(bind, rowInSet);
  if (data && info->length) std::memcpy(field, data, info->length);
  if (!info->hasCell) return;
  unsigned char* const cellAt = field + alignCell(info->length);
  SQLLEN cell = loadCell(cellAt);
  if (hasOwnLength(info->cType)) {
    cell = length == SQL_NTS && data ? terminatedLength(data, info->length, info->cType) : length;
  } else if (cell == SQL_NULL_DATA || length == SQL_NULL_DATA) {
    cell = length;
  }
  storeCell(cellAt, cell);
}

void ScrollCursor::closeGetDataCursor() {
  if (conn->activeStatements != 1 || !auxHasRow || !auxStmt) return;
  CursorLibFreeStmt(auxStmt, SQL_CLOSE);
  auxHasRow = false;
  getDataStage = Positioned;
}

// Cancels the call that is under way. The driver's cancel is that of the statement which the application
// knows, although SQLGetData runs on the second one.
SQLRETURN ScrollCursor::cancel() {
  if (getDataStage == Selecting) {
    setCancelled();
    SqlParser* const parser = statement()->parser;
    return parser ? parser->selectCurrentCancel(this, statement()) : SQLRETURN{SQL_SUCCESS};
  }
  return FwdCursor::cancel();
}

SQLRETURN ScrollCursor::getBookmark(short cType, void* value, SQLLEN length, SQLLEN* lengthPtr) const {
  const auto room = static_cast<SQLLEN>(DefaultSize(cType, static_cast<SQLULEN>(length)));
  const std::size_t width = bookmarkWidth(room);
  const auto bookmark = static_cast<std::uint64_t>(currentRow() + 1);
  if (value)
    std::memcpy(value, &bookmark, room > 0 ? std::min(width, static_cast<std::size_t>(room)) : width);
  if (lengthPtr) *lengthPtr = static_cast<SQLLEN>(width);
  return SQL_SUCCESS;
}

SQLRETURN ScrollCursor::readValue(unsigned short column, short cType, void* value, SQLLEN length,
                                  SQLLEN* lengthPtr) {
  DMStmt* const stmt = statement();
  if (column == 0 && stmt->useBookmarks == SQL_UB_OFF) return clError(stmt, clmsg::BookmarksOff);
  if (!stmt->parser) throw ODBCException(stmt, clmsg::ReselectNotSelect);
  if (!isOnRow(currentRow())) throw ODBCException(stmt, clmsg::InvalidCursorState);
  if (column == 0) return getBookmark(cType, value, length, lengthPtr);
  if (getDataStage == Ready && !auxHasRow) getDataStage = Positioned;
  if (getDataStage == Positioned) {
    const SQLRETURN rc = prepareGetData();
    if (clFailed(rc)) return rc;
  }
  SQLRETURN rc;
  try {
    rc = continueGetData(column, cType, value, length, lengthPtr);
  } catch (ODBCException& exception) {
    getDataStage = Positioned;
    if (exception.handle == auxStmt) exception.handle = stmt;  // the one that the application knows
    throw;
  } catch (const RCException&) {
    getDataStage = Positioned;
    clMoveErrors(stmt, auxStmt);
    throw;
  }
  if (rc == SQL_ERROR) getDataStage = Positioned;
  if (rc == SQL_ERROR || rc == SQL_SUCCESS_WITH_INFO) clMoveErrors(stmt, auxStmt);
  return rc;
}

SQLRETURN ScrollCursor::prepareGetData() {
  DMStmt* const stmt = statement();
  if (!auxStmt) {
    const SQLRETURN rc = CursorLibAllocStmt(conn, &auxStmt);
    if (clFailed(rc)) {
      auxStmt = nullptr;
      if (clOutOfMemory(conn)) throw CMemoryException();
      clMoveErrors(stmt, conn);
      return rc;
    }
  } else {
    CursorLibFreeStmt(auxStmt, SQL_CLOSE);
    CursorLibFreeStmt(auxStmt, SQL_RESET_PARAMS);  // values of another row, whose block may be gone
  }
  CursorLibSetStmtOption(auxStmt, SQL_ASYNC_ENABLE,
                         stmt->flags & DM_STMT_ASYNC ? SQL_ASYNC_ENABLE_ON : SQL_ASYNC_ENABLE_OFF);
  auxHasRow = false;
  getDataStage = Selecting;
  return SQL_SUCCESS;
}

// Continues where the last call stopped, so that the row is read once and a value can come in pieces.
SQLRETURN ScrollCursor::continueGetData(unsigned short column, short cType, void* value, SQLLEN length,
                                        SQLLEN* lengthPtr) {
  if (getDataStage == Selecting) {
    const SQLRETURN rc = statement()->parser->selectCurrent(this, auxStmt);
    if (clFailed(rc)) return rc;
    getDataStage = Fetching;
  }
  if (getDataStage == Fetching) {
    const SQLRETURN rc = CursorLibFetch(auxStmt);
    auxHasRow = !clFailed(rc);
    if (!auxHasRow) return rc;
  }
  getDataStage = Getting;
  const SQLRETURN rc = CursorLibGetData(auxStmt, column, cType, value, length, lengthPtr);
  if (!clFailed(rc)) getDataStage = Ready;
  return rc;
}
