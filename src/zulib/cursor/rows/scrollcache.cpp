// ScrollCursor: the cache of rows. Blocks in memory hang in one list, most recently used first; at the
// limit the last one of the list goes to the file and takes the rows that are wanted.
//
// Every block that has been on file has been dirty, and the mark is stored with it, so it is written again
// at its next eviction and a head that is not dirty cannot have come from this cursor.

#include <cstring>
#include <limits>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/rows/cursor.h"

namespace {

constexpr SQLULEN MEMORY_LIMIT = 65536;  // of all blocks in memory, but the first is always granted
constexpr SQLLEN NO_ROW = std::numeric_limits<SQLLEN>::max();

}  // namespace

unsigned char* ScrollCursor::rowAddress(tagFBHDR* block, SQLLEN row) const {
  return reinterpret_cast<unsigned char*>(block + 1) + static_cast<SQLULEN>(row - block->firstRow) * rowSize;
}

off_t ScrollCursor::blockOffset(SQLLEN row) const {
  return row / static_cast<SQLLEN>(rowsPerBlock) * static_cast<off_t>(blockSize);
}

void ScrollCursor::setStatus(unsigned char* row, unsigned short status) const {
  const ClStatusCell cell{status, CL_ROW_MARK};
  std::memcpy(row + statusOffset, &cell, sizeof cell);
}

unsigned short ScrollCursor::statusOf(const unsigned char* row) const {
  unsigned short status;
  std::memcpy(&status, row + statusOffset, sizeof status);
  return status;
}

// The block that has the row, or has room for it: the one at the end of the rows read so far.
tagFBHDR* ScrollCursor::findBlock(SQLLEN row) const {
  for (tagFBHDR* block = blockList; block; block = block->next)
    if (row >= block->firstRow && row - block->firstRow < static_cast<SQLLEN>(rowsPerBlock)) return block;
  return nullptr;
}

tagFBHDR* ScrollCursor::getBlock(SQLLEN row) {
  tagFBHDR* block = findBlock(row);
  if (!block && blockBytes + blockSize < MEMORY_LIMIT) block = addBlock(row);
  if (!block && blocksHeld) {
    // Past the limit, since the driver may still read values in any of the others.
    block = addBlock(row);
    readBlock(block, row);
  }
  if (!block) {
    block = blockList;
    while (block->next) block = block->next;
    if (block->dirty) writeBlock(block);
    readBlock(block, row);
  }
  moveToHead(block);
  return block;
}

tagFBHDR* ScrollCursor::addBlock(SQLLEN row) {
  auto* block = static_cast<tagFBHDR*>(clAllocZ(blockSize));
  block->firstRow = row;
  block->lastRow = row - 1;
  tagFBHDR* last = blockList;
  while (last->next) last = last->next;
  last->next = block;
  block->prev = last;
  blockBytes += blockSize;
  return block;
}

void ScrollCursor::unlink(tagFBHDR* block) {
  (block->prev ? block->prev->next : blockList) = block->next;
  if (block->next) block->next->prev = block->prev;
}

void ScrollCursor::moveToHead(tagFBHDR* block) {
  if (block == blockList) return;
  unlink(block);
  block->prev = nullptr;
  block->next = blockList;
  if (blockList) blockList->prev = block;
  blockList = block;
}

// A row beyond what has been written gets the block empty. A block that could not be read, or is not what
// was written, holds no row at all afterwards.
void ScrollCursor::readBlock(tagFBHDR* block, SQLLEN row) {
  const off_t offset = blockOffset(row);
  if (offset + static_cast<off_t>(blockSize) > fileLength) {
    block->firstRow = row;
    block->lastRow = row - 1;
    return;
  }
  tagFBHDR* const next = block->next;
  tagFBHDR* const prev = block->prev;
  bool read = true;
  try {
    file->fileSeek(offset, SEEK_SET);
    file->fileRead(block, blockSize);
  } catch (const CFileException&) {
    read = false;
  }
  block->next = next;
  block->prev = prev;
  if (read && isBlockOf(block, row)) return;
  block->firstRow = NO_ROW;
  block->lastRow = NO_ROW - 1;
  block->dirty = 0;
  throw ODBCException(stmt, clmsg::TempFileRead);
}

// The row itself may be the next one to be stored. The last row is looked at because a cut takes the end.
bool ScrollCursor::isBlockOf(tagFBHDR* block, SQLLEN row) const {
  const auto perBlock = static_cast<SQLLEN>(rowsPerBlock);
  const SQLLEN last = block->lastRow;
  if (!block->dirty || block->firstRow != row / perBlock * perBlock) return false;
  if (last < block->firstRow || last < row - 1 || last - block->firstRow >= perBlock) return false;
  ClStatusCell cell;
  std::memcpy(&cell, rowAddress(block, last) + statusOffset, sizeof cell);
  return cell.mark == CL_ROW_MARK;
}

void ScrollCursor::writeBlock(tagFBHDR* block) {
  const off_t offset = blockOffset(block->firstRow);
  const off_t end = offset + static_cast<off_t>(blockSize);
  try {
    file->fileSeek(offset, SEEK_SET);
    file->fileWrite(block, blockSize);
  } catch (const CFileException&) {
    throw ODBCException(stmt, clmsg::TempFileWrite);
  }
  if (end <= fileLength) return;
  file->fileSetLength(end);
  fileLength = end;
}

void ScrollCursor::saveData(unsigned short status) {
  if (endOfData) return;
  const SQLLEN row = rowsRead - 1;
  tagFBHDR* block = getBlock(row);
  unsigned char* const start = rowAddress(block, row);
  for (const FieldMapEntry* entry = fieldMap; entry != fieldMap + fieldCount; ++entry) {
    const tagCINFO* info = entry->info;
    if (isBookmark(info)) continue;
    unsigned char* field = start + entry->offset;
    if (info->length) std::memcpy(field, info->buffer, info->length);
    if (info->hasCell) std::memcpy(field + alignCell(info->length), &info->lengthCell, CL_CELL);
  }
  setStatus(start, status);
  block->dirty = 1;
  block->lastRow = row;
}

SQLRETURN ScrollCursor::retrieveData(unsigned short count, unsigned char* row, unsigned short** status,
                                     SQLLEN, SQLLEN index) {
  for (FieldMapEntry* entry = fieldMap; entry != fieldMap + count; ++entry) {
    tagCINFO* info = entry->info;
    if (isBookmark(info)) {
      if (clFailed(handleBookmark(info, index))) return SQL_ERROR;
      continue;
    }
    const ClTarget& target = info->target;
    const unsigned char* field = row + entry->offset;
    if (target.data && info->length)
      std::memcpy(target.data + static_cast<SQLULEN>(index) * target.dataStep, field, info->length);
    // A length that is bound since the row was stored is not known.
    SQLLEN cell = SQL_NO_TOTAL;
    if (info->hasCell) std::memcpy(&cell, field + alignCell(info->length), CL_CELL);
    const SQLLEN indicator = cell == SQL_NULL_DATA ? SQL_NULL_DATA : 0;
    const SQLULEN step = static_cast<SQLULEN>(index) * target.cellStep;
    if (target.indicator) std::memcpy(target.indicator + step, &indicator, CL_CELL);
    if (target.length) std::memcpy(target.length + step, &cell, CL_CELL);
  }
  const unsigned short stored = statusOf(row);
  if (*status) *(*status)++ = stored;
  if (stored != CL_ROW_ERROR) return SQL_SUCCESS;
  rowErrors = true;
  postRowError();
  return rowFailureIsFinal() ? SQL_ERROR : SQL_SUCCESS_WITH_INFO;
}
