// ScrollCursor: life, set-up, the fetch out of the cache and on from the driver.

#include "zulib/cursor/rows/cursor.h"

#include <fcntl.h>
#include <cstring>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/statement/parser.h"

namespace {

enum Stage : int { MakeFile = 5, MakeMap = 6, MakeBlock = 7 };

constexpr SQLULEN PAGE = 4096;
constexpr SQLULEN LARGEST_BLOCK = 65535;  // but for a row that is longer by itself

}  // namespace

ScrollCursor::ScrollCursor(DMStmt* stmt, unsigned short api) : FwdCursor(stmt, api) { initMembers(); }

ScrollCursor::~ScrollCursor() { cleanup(); }

void ScrollCursor::initMembers() {
  concurrency = stmt->concurrency == SQL_CONCUR_READ_ONLY ? SQL_CONCUR_READ_ONLY : SQL_CONCUR_VALUES;
  scrollType = SQL_CURSOR_STATIC;
  auxStmt = nullptr;
  auxHasRow = false;
  fieldCount = 0;
  fieldMap = nullptr;
  rowInSet = 0;
  statusOffset = blockSize = blockBytes = rowsPerBlock = 0;
  blockList = nullptr;
  tempName[0] = '\0';
  file = nullptr;
  fileLength = 0;
  concurrencyLowered = false;
}

// Answers like `release`. The second statement goes first: its parameters lie in the blocks.
SQLRETURN ScrollCursor::cleanup() {
  for (DMStmt* other = conn->GetFirstStmtFromDbcList(); other; other = conn->GetNextStmtFromDbcList(other))
    if (other->parser) other->parser->forgetTarget(this);
  if (auxStmt && restoreArd) SQLFreeStmt(auxStmt, SQL_DROP);
  auxStmt = nullptr;
  std::free(fieldMap);
  fieldMap = nullptr;
  fieldCount = 0;
  while (tagFBHDR* block = blockList) {
    blockList = block->next;
    std::free(block);
  }
  return releaseFile();
}

// The file goes also when it cannot be closed.
SQLRETURN ScrollCursor::releaseFile() {
  if (!file) return SQL_SUCCESS;
  bool failed = false;
  try {
    file->fileClose();
  } catch (const CFileException&) {
    failed = true;
  }
  try {
    CFile::fileRemove(tempName);
  } catch (const CFileException&) {
    failed = true;
  }
  delete file;
  file = nullptr;
  return failed ? clError(stmt, clmsg::TempFileClose) : SQLRETURN{SQL_SUCCESS};
}

SQLRETURN ScrollCursor::release() {
  const SQLRETURN rc = cleanup();
  FwdCursor::release();
  return rc;
}

void ScrollCursor::reset() {
  moveErrors(stmt, -2, -2);
  cleanup();
  FwdCursor::reset();
  initMembers();
}

SQLRETURN ScrollCursor::init() {
  if (initStage < MakeFile) {
    const SQLRETURN rc = FwdCursor::init();
    if (clFailed(rc)) return rc;
    lowerConcurrency();
    initStage = MakeFile;
    const SQLRETURN own = init();
    return own == SQL_SUCCESS ? rc : own;
  }
  try {
    const SQLRETURN rc = runSetUp();
    if (clFailed(rc) && rc != SQL_STILL_EXECUTING) reset();
    return rc;
  } catch (const CException&) {
    reset();
    throw;
  }
}

SQLRETURN ScrollCursor::runSetUp() {
  if (initStage == MakeFile) {
    makeFile();
    initStage = MakeMap;
  }
  if (initStage == MakeMap) {
    const SQLRETURN rc = createFieldMap();
    if (clFailed(rc)) return rc;
    initStage = MakeBlock;
  }
  makeFirstBlock();
  initStage = Ready;
  return SQL_SUCCESS;
}

// A binary value without a length could not stand in a search.
void ScrollCursor::lowerConcurrency() {
  if (concurrency == SQL_CONCUR_READ_ONLY) return;
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info)) {
    if (isBookmark(info) || info->bind->octetLengthPtr || info->bind->cType != SQL_C_BINARY) continue;
    concurrencyLowered = true;
    concurrency = SQL_CONCUR_READ_ONLY;
  }
}

void ScrollCursor::makeFile() {
  try {
    GetTempFileName(nullptr, CFilePrefix, 0, tempName, sizeof tempName);
    file = new CFile(tempName);
  } catch (const CFileException&) {
    throw ODBCException(stmt, clmsg::TempFileCreate);
  }
}

void ScrollCursor::makeFirstBlock() {
  auto* block = static_cast<tagFBHDR*>(clAllocZ(blockSize));
  block->lastRow = -1;
  blockList = block;
  blockBytes = blockSize;
}

SQLRETURN ScrollCursor::createFieldMap() {
  if (!fieldMap) layOutRows();
  for (FieldMapEntry* entry = fieldMap; entry != fieldMap + fieldCount; ++entry) {
    if (entry->searchable != CL_SEARCHABLE_UNKNOWN) continue;
    SQLLEN searchable = SQL_UNSEARCHABLE;
    if (!isBookmark(entry->info)) {
      const SQLRETURN rc = CursorLibColAttributes(stmt, entry->info->bind->column, SQL_COLUMN_SEARCHABLE,
                                                  nullptr, 0, nullptr, &searchable);
      if (clFailed(rc)) return rc;
    }
    entry->searchable = static_cast<SQLULEN>(searchable);
  }
  statusOffset = rowSize;
  rowSize += CL_CELL;
  layOutBlocks();
  return SQL_SUCCESS;
}

void ScrollCursor::layOutRows() {
  fieldMap = static_cast<FieldMapEntry*>(clAllocZ(boundCols * sizeof(FieldMapEntry)));
  fieldCount = boundCols;
  SQLULEN offset = 0;
  for (unsigned short i = 0; i < fieldCount; ++i) {
    fieldMap[i] = {columns + i, offset, CL_SEARCHABLE_UNKNOWN};
    if (isBookmark(columns + i)) continue;
    offset += alignCell(columns[i].length) + (columns[i].hasCell ? CL_CELL : 0);
  }
}

// A block holds a full row set, so that a fetch usually touches one block.
void ScrollCursor::layOutBlocks() {
  constexpr SQLULEN HEAD = sizeof(tagFBHDR);
  SQLULEN bytes;
  const bool huge = __builtin_mul_overflow(static_cast<SQLULEN>(rowsetSize), rowSize, &bytes);
  blockSize = huge ? 0 : (bytes + HEAD + PAGE - 1) / PAGE * PAGE;
  if (huge || bytes > LARGEST_BLOCK || blockSize > LARGEST_BLOCK) {
    const SQLULEN rows = (LARGEST_BLOCK - HEAD) / rowSize;
    blockSize = (rows ? rows : 1) * rowSize + HEAD;
  }
  rowsPerBlock = (blockSize - HEAD) / rowSize;
  if (rowsPerBlock == 0) throw ODBCException(stmt, clmsg::RowTooLong);
}

SQLULEN ScrollCursor::rowNumber() {
  const SQLLEN row = rowInSet + curRow;
  if (!isOnRow(row)) throw ODBCException(stmt, clmsg::InvalidCursorState);
  const unsigned short status = statusOf(rowAddress(getBlock(row), row));
  if (status != CL_ROW_READ && status != CL_ROW_UPDATED) throw ODBCException(stmt, clmsg::RowGone);
  return static_cast<SQLULEN>(row) + 1;
}

bool ScrollCursor::isOnRow(SQLLEN row) const { return initStage <= 0 && row >= 0 && row < rowsRead; }

SQLRETURN ScrollCursor::cancel() {
  switch (initStage) {
    case Selecting:
      cancelled = true;
      return stmt->parser ? stmt->parser->selectCurrentCancel(this, stmt) : SQLRETURN{SQL_SUCCESS};
    case Fetching:
    case Getting:
      // The statement that the application knows, although the call runs on the second one. This is meant.
      cancelled = true;
      return DriverSQLCancel(stmt);
    default: return FwdCursor::cancel();
  }
}

SQLRETURN ScrollCursor::fetch(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                              unsigned short* rowStatus) {
  SQLULEN scratch;
  try {
    return fetchRowset(orientation, offset, rowCount ? rowCount : &scratch, rowStatus);
  } catch (const CException&) {
    if (initStage <= 0) initStage = Positioned;  // a set-up that is not done is taken up again
    throw;
  }
}

SQLRETURN ScrollCursor::fetchRowset(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                                    unsigned short* rowStatus) {
  bool warning = false;
  if (initStage > 0) {
    const SQLRETURN rc = init();
    if (clFailed(rc)) throw RCException(rc);
    warning = rc == SQL_SUCCESS_WITH_INFO;
  }
  if (orientation == CL_FETCH_RESUME) throw ODBCException(stmt, clmsg::NotSupported);
  SQLLEN row = offset;
  SQLRETURN rc = firstRow(orientation, &row);
  if (clFailed(rc)) throw RCException(rc);
  warning |= rc == SQL_SUCCESS_WITH_INFO;
  effectiveRowset = rowsetSize;
  rowErrors = false;
  if (!resumeFetch) nextRow = row;
  *rowCount = static_cast<SQLULEN>(rowsDone);
  rc = fetchFromBuffer(row, rowCount, rowStatus);
  warning |= rc == SQL_SUCCESS_WITH_INFO;
  if (!clFailed(rc) && static_cast<SQLLEN>(*rowCount) < effectiveRowset)
    rc = fetchFromDriver(static_cast<SQLLEN>(*rowCount) + nextRow, rowCount, rowStatus);
  if (!clFailed(rc)) {
    initStage = Positioned;
    curRow = nextRow;
    rowInSet = 0;
    if (rowErrors) rc = SQL_SUCCESS_WITH_INFO;
  }
  if (rc == SQL_NO_DATA) curRow = rowsRead;
  if (concurrencyLowered) {
    concurrencyLowered = false;
    const SQLRETURN lowered = clWarning(stmt, clmsg::ConcurrencyLowered);
    if (rc == SQL_SUCCESS) rc = lowered;
  }
  return withCutShort(rc == SQL_SUCCESS && warning ? SQLRETURN{SQL_SUCCESS_WITH_INFO} : rc);
}

SQLRETURN ScrollCursor::fetchFromBuffer(SQLLEN row, SQLULEN* count, unsigned short* status) {
  if (row >= rowsRead) return SQL_SUCCESS;
  const SQLLEN doneAtEntry = rowsDone;
  SQLLEN done = rowsDone;
  try {
    prepareTargets();
    const SQLRETURN rc = copyCachedRows(row, &done, status ? status + rowsDone : nullptr);
    *count = static_cast<SQLULEN>(done);
    rowsDone = done;
    resumeFetch = rc == SQL_STILL_EXECUTING;
    return rc;
  } catch (const CException&) {
    rowsDone = doneAtEntry;
    throw;
  }
}

// A block is asked for only when the row leaves the one at hand, so that a run of rows in one block does
// not change the order of the list.
SQLRETURN ScrollCursor::copyCachedRows(SQLLEN row, SQLLEN* done, unsigned short* status) {
  SQLRETURN rc = SQL_SUCCESS;
  tagFBHDR* block = nullptr;
  for (; *done < effectiveRowset && row < rowsRead; ++*done, ++row) {
    if (!block || row < block->firstRow || row > block->lastRow) block = getBlock(row);
    rc = retrieveData(fieldCount, rowAddress(block, row), &status, row, *done);
    if (clFailed(rc)) break;
  }
  return rc;
}

SQLRETURN ScrollCursor::setPos(SQLULEN row, int operation, int lock) {
  if (initStage > 0) {
    const SQLRETURN rc = init();
    if (clFailed(rc)) return rc;
  }
  if (operation != SQL_POSITION || lock != SQL_LOCK_NO_CHANGE || row == 0)
    throw ODBCException(stmt, clmsg::NotSupported);
  if (row > static_cast<SQLULEN>(effectiveRowset)) throw ODBCException(stmt, clmsg::RowOutOfRowset);
  const SQLLEN inSet = static_cast<SQLLEN>(row) - 1;
  if (endOfData && inSet + curRow >= rowsRead) throw ODBCException(stmt, clmsg::RowGone);
  initStage = Positioned;
  rowInSet = inSet;
  return SQL_SUCCESS;
}
