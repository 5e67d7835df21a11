#include "zulib/cursor/rows/rowcache.h"

#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <limits>

#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/cursor/rows/columns.h"

namespace {

constexpr SQLULEN kMemoryLimit = 65536;  // of all blocks in memory; the first is always granted
constexpr SQLULEN kPage = 4096;
constexpr SQLULEN kLargestBlock = 65535;  // unless a single row is longer
constexpr SQLLEN kNoRow = std::numeric_limits<SQLLEN>::max();
static_assert(sizeof(tagFBHDR) % kCell == 0);

}  // namespace

RowCache::~RowCache() { release(); }

void RowCache::makeFile() {
  try {
    GetTempFileName(nullptr, kFilePrefix, 0, tempName, sizeof tempName);
    file.reset(new CFile(tempName));
  } catch (const CFileException&) {
    tempName[0] = '\0';
    throw ODBCException(stmt, clmsg::TempFileCreate);
  }
  // Nobody else can open the file, and it does not outlive the process.
  if (::unlink(tempName) == 0) tempName[0] = '\0';
}

// A block holds a full row set, so that a fetch usually touches one block.
void RowCache::layOutBlocks(SQLLEN rowsetSize, SQLULEN valueBytes) {
  constexpr SQLULEN kHead = sizeof(tagFBHDR);
  statusOffset = valueBytes;
  rowSize = valueBytes + kCell;
  SQLULEN bytes;
  const bool huge = __builtin_mul_overflow(static_cast<SQLULEN>(rowsetSize), rowSize, &bytes);
  blockSize = huge || bytes > kLargestBlock ? 0 : (bytes + kHead + kPage - 1) / kPage * kPage;
  if (blockSize == 0 || blockSize > kLargestBlock) {
    const SQLULEN rows = (kLargestBlock - kHead) / rowSize;
    blockSize = (rows ? rows : 1) * rowSize + kHead;
  }
  rowsPerBlock = (blockSize - kHead) / rowSize;
  if (rowsPerBlock == 0) throw ODBCException(stmt, clmsg::RowTooLong);
}

void RowCache::makeFirstBlock() {
  tagFBHDR* const block = addBlock();
  block->firstRow = 0;
  block->lastRow = -1;
}

// A file that is gone already is as good as removed.
SQLRETURN RowCache::release() {
  while (tagFBHDR* const block = blockList) {
    blockList = block->next;
    std::free(block);
  }
  blockBytes = 0;
  if (!file) return SQL_SUCCESS;
  bool failed = false;
  try {
    file->fileClose();
  } catch (const CFileException&) {
    failed = true;
  }
  if (*tempName && ::unlink(tempName) != 0 && errno != ENOENT) failed = true;
  file.reset();
  tempName[0] = '\0';
  fileLength = 0;
  return failed ? clError(stmt, clmsg::TempFileClose) : SQLRETURN{SQL_SUCCESS};
}

unsigned char* RowCache::rowAddress(tagFBHDR* block, SQLLEN row) const {
  return reinterpret_cast<unsigned char*>(block + 1) + static_cast<SQLULEN>(row - block->firstRow) * rowSize;
}

off_t RowCache::blockOffset(SQLLEN row) const {
  return row / static_cast<SQLLEN>(rowsPerBlock) * static_cast<off_t>(blockSize);
}

void RowCache::setStatus(unsigned char* row, unsigned short status) const {
  const SQLULEN cell = 0;
  std::memcpy(row + statusOffset, &cell, sizeof cell);
  std::memcpy(row + statusOffset, &status, sizeof status);
}

unsigned short RowCache::statusOf(const unsigned char* row) const {
  unsigned short status;
  std::memcpy(&status, row + statusOffset, sizeof status);
  return status;
}

void RowCache::markChanged(tagFBHDR* block) {
  block->dirty = 1;
  block->saved = 0;
}

void RowCache::append(tagFBHDR* block, SQLLEN row) {
  block->lastRow = row;
  markChanged(block);
}

// The block that has the row, or has room for it: the one at the end of the rows read so far.
tagFBHDR* RowCache::findBlock(SQLLEN row) const {
  for (tagFBHDR* block = blockList; block; block = block->next)
    if (row >= block->firstRow && row - block->firstRow < static_cast<SQLLEN>(rowsPerBlock)) return block;
  return nullptr;
}

tagFBHDR* RowCache::getBlock(SQLLEN row) {
  tagFBHDR* block = findBlock(row);
  if (!block) {
    block = blockBytes + blockSize < kMemoryLimit ? addBlock() : takeBlock(row);
    readBlock(block, row);
  }
  moveToHead(block);
  if (isOverLimit()) dropExcess(block);
  return block;
}

// Makes an empty block at the end of the list.
tagFBHDR* RowCache::addBlock() {
  auto* const block = static_cast<tagFBHDR*>(clAllocZ(blockSize));
  block->firstRow = kNoRow;
  block->lastRow = kNoRow - 1;
  block->saved = 1;
  tagFBHDR** link = &blockList;
  while (*link) {
    block->prev = *link;
    link = &(*link)->next;
  }
  *link = block;
  blockBytes += blockSize;
  return block;
}

// Returns a block whose rows need not stay in memory. While the disk is full, rows on file can still be read:
// into the block that is saved, or into one more.
tagFBHDR* RowCache::takeBlock(SQLLEN row) {
  tagFBHDR* block = leastRecent(false, nullptr);
  if (!block) return addBlock();  // all are pinned
  if (block->saved || writeBlock(block)) return block;
  block = leastRecent(true, nullptr);
  if (block) return block;
  if (!isOnFile(row)) throw ODBCException(stmt, clmsg::TempFileWrite);
  return addBlock();
}

tagFBHDR* RowCache::leastRecent(bool savedOnly, const tagFBHDR* except) const {
  tagFBHDR* found = nullptr;
  // A block that is freed has left the list, which the analyser does not see.
  // NOLINTBEGIN(clang-analyzer-unix.Malloc)
  for (tagFBHDR* block = blockList; block; block = block->next)
    if (block != except && block->pins == 0 && (block->saved || !savedOnly)) found = block;
  // NOLINTEND(clang-analyzer-unix.Malloc)
  return found;
}

bool RowCache::isOverLimit() const { return blockBytes >= kMemoryLimit && blockBytes > blockSize; }

// Gives back what exceeds the limit.
void RowCache::dropExcess(const tagFBHDR* except) {
  while (isOverLimit()) {
    tagFBHDR* block = leastRecent(false, except);
    if (block && !block->saved && !writeBlock(block)) block = leastRecent(true, except);
    if (!block) return;
    unlink(block);
    std::free(block);
    blockBytes -= blockSize;
  }
}

void RowCache::unpin(SQLLEN row) {
  tagFBHDR* const block = findBlock(row);
  if (block && block->pins != 0) --block->pins;
  if (isOverLimit()) dropExcess(nullptr);
}

void RowCache::unlink(tagFBHDR* block) {
  (block->prev ? block->prev->next : blockList) = block->next;
  if (block->next) block->next->prev = block->prev;
}

void RowCache::moveToHead(tagFBHDR* block) {
  if (block == blockList) return;
  unlink(block);
  block->prev = nullptr;
  block->next = blockList;
  if (blockList) blockList->prev = block;
  blockList = block;
}

bool RowCache::isOnFile(SQLLEN row) const {
  return blockOffset(row) + static_cast<off_t>(blockSize) <= fileLength;
}

// A row beyond what has been written gets the block empty. A block that could not be read, or is not what was
// written, holds no row at all afterwards.
void RowCache::readBlock(tagFBHDR* block, SQLLEN row) {
  if (!isOnFile(row)) {
    block->firstRow = row;
    block->lastRow = row - 1;
    block->dirty = 0;
    block->saved = 1;
    return;
  }
  tagFBHDR* const next = block->next;
  tagFBHDR* const prev = block->prev;
  bool read = true;
  try {
    file->fileSeek(blockOffset(row), SEEK_SET);
    file->fileRead(block, blockSize);
  } catch (const CFileException&) {
    read = false;
  }
  const bool intact = read && isIntact(block, row);
  block->next = next;
  block->prev = prev;
  block->pins = 0;
  block->saved = 1;
  if (intact) return;
  block->firstRow = kNoRow;
  block->lastRow = kNoRow - 1;
  block->dirty = 0;
  throw ODBCException(stmt, clmsg::TempFileRead);
}

// The row itself may be the next one to be appended.
bool RowCache::isIntact(const tagFBHDR* block, SQLLEN row) const {
  const auto perBlock = static_cast<SQLLEN>(rowsPerBlock);
  return block->checksum == checksumOf(block) && block->firstRow == row / perBlock * perBlock &&
         block->lastRow >= row - 1 && block->lastRow - block->firstRow < perBlock;
}

// Returns false if the block cannot be written.
bool RowCache::writeBlock(tagFBHDR* block) {
  const off_t offset = blockOffset(block->firstRow);
  const off_t end = offset + static_cast<off_t>(blockSize);
  block->checksum = checksumOf(block);
  try {
    file->fileSeek(offset, SEEK_SET);
    file->fileWrite(block, blockSize);
  } catch (const CFileException&) {
    return false;
  }
  block->saved = 1;
  if (end > fileLength) {
    file->fileSetLength(end);
    fileLength = end;
  }
  return true;
}

// Covers the row numbers and all rows. Four sums side by side: each step waits for the one before it.
std::uint64_t RowCache::checksumOf(const tagFBHDR* block) const {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
  std::uint64_t sums[4] = {1, static_cast<std::uint64_t>(block->firstRow),
                           static_cast<std::uint64_t>(block->lastRow), 2};
  const auto mix = [](std::uint64_t sum, std::uint64_t word) {
    sum = (sum ^ word) * kFactor;
    return sum ^ (sum >> 29);
  };
  const auto* at = reinterpret_cast<const unsigned char*>(block + 1);
  const unsigned char* const end = reinterpret_cast<const unsigned char*>(block) + blockSize;
  const auto word = [&] {
    std::uint64_t value;
    std::memcpy(&value, at, sizeof value);
    at += sizeof value;
    return value;
  };
  while (end - at >= static_cast<std::ptrdiff_t>(4 * sizeof(std::uint64_t)))
    for (std::uint64_t& sum : sums) sum = mix(sum, word());
  while (end - at >= static_cast<std::ptrdiff_t>(sizeof(std::uint64_t))) sums[0] = mix(sums[0], word());
  std::uint64_t total = 0;
  for (const std::uint64_t sum : sums) total = mix(total, sum);
  return total;
}
