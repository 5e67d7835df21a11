// ZuSharedFile: a file of its own, in blocks of 4096 bytes of a temporary file that several share.
//
//   offset n:  block n / 4096, at position n modulo 4096
//   blocks:    |addr 0|addr 1| ...        where each block is in the temporary file
//
// It grows by the block: a write begins at most at the end of the last one. It has at most 65536 blocks, 256
// MB.
//
// Operations return 0, or 1 after one record on the thread's error list.
//
// Thread safety: none; whoever shares the temporary file has a lock around its use.

#ifndef ZULIB_STORAGE_ZUSHAREDFILE_H
#define ZULIB_STORAGE_ZUSHAREDFILE_H

#include "zulib/collections/zuarray.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/storage/tmp.h"

class ZU_API ZuSharedFile : public ZuObject {
 public:
  // `file` belongs to the caller and outlives this object, which leaves its blocks there unless `truncate` is
  // called.
  explicit ZuSharedFile(ZuTmpFile* file) : file(file) {}
  ZuSharedFile(const ZuSharedFile&) = delete;
  ZuSharedFile& operator=(const ZuSharedFile&) = delete;
  ~ZuSharedFile() override;

  // Fails past the last block (error 30041). What was never written reads as anything.
  int read(unsigned long offset, void* buffer, unsigned long n);

  // Fails, with nothing written, if it begins past the last block (error 30041). After another failure the
  // blocks before the one that failed are written.
  int write(unsigned long offset, const void* buffer, unsigned long n);

  // Gives all blocks back.
  int truncate();

 private:
  ZuTmpFile* file;         // not owned
  ZuArrayZUSIZE_T blocks;  // the address of each
};

#endif
