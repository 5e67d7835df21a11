// MemFile: a stream of bytes in a list of equal blocks, in memory only.
//
// Operations return 0, or 1 after one record on the thread's error list.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_STORAGE_MEMFILE_H
#define ZULIB_STORAGE_MEMFILE_H

#include <cstdint>

#include "zulib/collections/zuarray.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZU_API MemFile : public ZuObject {
 public:
  explicit MemFile(unsigned long blockSize);
  MemFile(const MemFile&) = delete;
  MemFile& operator=(const MemFile&) = delete;
  ~MemFile() override;

  // Reserves the list of blocks; a stream that is not initialized does so when it is appended to.
  int initialize();
  // Frees all blocks.
  void clear();

  // Kept: if a block cannot be allocated the length has grown by `count` all the same. What was not stored is
  // not read.
  int append(const void* data, unsigned long count);

  // Reads what there is of the range. Nothing, without an error, at or past the end.
  int read(unsigned long address, void* out, unsigned long count) const;

  // A pointer to the byte at `address`, and how many follow it in its block; null and 0 at or past the end.
  // `writable` makes no difference: the bytes may be changed.
  int tmpPointer(unsigned long address, void** pointer, unsigned long* room, unsigned short writable) const;

  unsigned long getLength() const { return length; }

 private:
  int addBlock();
  unsigned long stored() const;

  uint32_t blockSize;
  uint32_t lastBlock = 0;  // index
  uint32_t lastUsed = 0;   // bytes in it
  uint32_t length = 0;
  ZuArrayPVoid blocks;  // owned
};

#endif
