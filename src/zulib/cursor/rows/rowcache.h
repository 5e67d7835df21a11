// RowCache keeps the rows that a scrollable cursor has read, in blocks of a fixed number of rows. About 64 KB
// of blocks are in memory; the others are in a private temporary file, which is unlinked as soon as it is
// open.
//
// A row, in memory and on file:
//
//   0                                  statusOffset          rowSize
//   |  values and length cells  ...    | status (16 bits) 0 |
//
// A block:
//
//   0             sizeof(tagFBHDR)                                              blockSize
//   | tagFBHDR    | row firstRow | row firstRow + 1 | ...                       |
//
// On file, block k is at offset k * blockSize and holds the rows from k * rowsPerBlock on, head included. The
// head has a checksum of the block; one that does not fit is error 124.
//
// Invariants:
//  1. Every block that holds rows is in memory, or on file, or both.
//  2. A block that is not `saved` differs from the file, or is not there.
//  3. A pinned block is not evicted, so pointers to its rows stay valid.
//  4. Blocks in memory exceed the limit only by pinned ones, by the one in use, and by one while the disk is
//     full.
//
// Thread use: under CursorLibrarySingleThreadLock.

#ifndef ZULIB_CURSOR_ROWS_ROWCACHE_H
#define ZULIB_CURSOR_ROWS_ROWCACHE_H

#include <cstdint>
#include <memory>

#include "zulib/cursor/rows/cfile.h"
#include "zuodbc/dmhandle.h"

struct tagFBHDR {
  tagFBHDR* next;
  tagFBHDR* prev;
  SQLLEN firstRow;  // row number of the first row in the block
  SQLLEN lastRow;   // of the last; firstRow - 1 while it is empty
  SQLLEN dirty;     // changed since it was made; a block that has been on file keeps it set
  std::uint64_t checksum;
  std::uint32_t pins;
  std::uint32_t saved;  // equal to the block on file
};

class RowCache {
 public:
  static constexpr char kFilePrefix[] = "CTT";

  // Errors are posted on `stmt`.
  explicit RowCache(DMStmt* stmt) : stmt(stmt) {}
  RowCache(const RowCache&) = delete;
  RowCache& operator=(const RowCache&) = delete;
  ~RowCache();

  // Set-up, in this order. `valueBytes`: of a row, without its status.
  void makeFile();                                           // error 120
  void layOutBlocks(SQLLEN rowsetSize, SQLULEN valueBytes);  // error 296
  void makeFirstBlock();

  // Frees everything and closes the file. Returns 0, or SQL_ERROR with error 132.
  SQLRETURN release();

  // Returns the block that holds the row, or the one that it is to be appended to, and makes it the most
  // recently used one. Errors 124 and 128.
  tagFBHDR* getBlock(SQLLEN row);
  unsigned char* rowAddress(tagFBHDR* block, SQLLEN row) const;
  static bool holds(const tagFBHDR* block, SQLLEN row) {
    return row >= block->firstRow && row <= block->lastRow;
  }

  // The block has changed, or has got the row `row` as its last one.
  static void markChanged(tagFBHDR* block);
  static void append(tagFBHDR* block, SQLLEN row);

  unsigned short statusOf(const unsigned char* row) const;
  void setStatus(unsigned char* row, unsigned short status) const;

  // Keeps the block of a row in memory; calls pair up.
  void pin(SQLLEN row) { ++getBlock(row)->pins; }
  void unpin(SQLLEN row);

 private:
  tagFBHDR* findBlock(SQLLEN row) const;
  tagFBHDR* addBlock();
  tagFBHDR* takeBlock(SQLLEN row);
  tagFBHDR* leastRecent(bool savedOnly, const tagFBHDR* except) const;
  void dropExcess(const tagFBHDR* except);
  bool isOverLimit() const;
  void unlink(tagFBHDR* block);
  void moveToHead(tagFBHDR* block);
  bool isOnFile(SQLLEN row) const;
  void readBlock(tagFBHDR* block, SQLLEN row);
  bool isIntact(const tagFBHDR* block, SQLLEN row) const;
  bool writeBlock(tagFBHDR* block);
  off_t blockOffset(SQLLEN row) const;
  std::uint64_t checksumOf(const tagFBHDR* block) const;

  DMStmt* stmt;
  SQLULEN statusOffset = 0;
  SQLULEN rowSize = 0;
  SQLULEN blockSize = 0;
  SQLULEN rowsPerBlock = 0;
  SQLULEN blockBytes = 0;         // of all blocks in memory
  tagFBHDR* blockList = nullptr;  // owned, most recently used first
  char tempName[1024] = "";       // empty once the file has no name
  std::unique_ptr<CFile> file;
  off_t fileLength = 0;  // bytes written so far, in whole blocks
};

#endif
