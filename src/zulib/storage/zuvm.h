// The page pool: one cache of file pages for the process. It is asked in place of `bosFileRead` and
// `bosFileWrite` by code that reads files in small random steps.
//
// Pages have 8192 bytes and are keyed by file handle and page number. Entry i of the table owns page i modulo
// 8 of pool i / 8; pools have 64 KB and are allocated when they are first needed:
//
//   hash[bvmhash] -> entry -> entry ...      chains, and the free list, are linked by index; 65535 ends one
//   pools[0]  |page 0|page 1| ... |page 7|   pools[1]  |page 8| ...
//
// Reads go through the cache, writes go to the file and to the pages that are cached. Nothing is written
// later, so a page is evicted by forgetting it. A file that is changed by other means than `bvmFileWrite` on
// the same handle is not looked at again while its pages are cached: `bvmFlush` drops them.
//
// Only the first 65536 pages of a file, 512 MB, are cached: page numbers have 16 bits. What lies beyond is
// read from the file.
//
// Usage:
//   vm_info* pool = bvmInit(4);
//   if (!pool || bvmFileRead(pool, file, offset, out, length, &got, bvmHintNone)) return 1;
//   bvmFileClose(pool, file);
//   bvmTerm(pool);
//
// Operations return 0, or 1 after one record on the thread's error list.
//
// Thread safety: any thread. VM_LOCK guards bvmInit and bvmTerm, the pool's own lock everything else. A user
// of the pool must not outlive its bvmTerm.

#ifndef ZULIB_STORAGE_ZUVM_H
#define ZULIB_STORAGE_ZUVM_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zucritse.h"

constexpr unsigned long kBvmPageSize = 8192;
constexpr unsigned long kBvmPoolSize = 65536;
constexpr unsigned short kBvmPagesPerPool = kBvmPoolSize / kBvmPageSize;
constexpr unsigned short kBvmHashSize = 97;
constexpr unsigned short kBvmNone = 65535;  // no entry

enum VmHintType {
  bvmHintNone = 0,
  bvmHintNoEviction = 1,  // this read must not evict a page
};

// One cached page.
struct vm_map {
  long file;          // 0: the entry is free
  uint16_t page;      // number in the file
  uint16_t reserved;  // 0
  uint16_t length;    // valid bytes
  uint16_t stamp;     // vm_info::clock at the last use
  uint16_t next;      // in the hash chain or the free list
};

// The pool, in cell PerTaskPagePool of the process.
struct ZU_API vm_info {
  void enterLock() { lock->enter(); }
  void leaveLock() { lock->leave(); }

  uint16_t clock;           // counts uses
  ZuCriticalSection* lock;  // owned
  uint16_t users;           // calls of bvmInit without their bvmTerm
  uint16_t maxEntries;
  uint16_t entryCount;          // entries made so far
  uint16_t freeHead;            // first free entry
  vm_map* entries;              // owned; maxEntries of them
  uint16_t hash[kBvmHashSize];  // first entry of each chain
  unsigned char** pools;        // maxEntries / 8 of them, owned; null until needed
};

// Guards the creation and the end of the pool.
extern ZU_API ZuCriticalSection VM_LOCK;

// The pool with one more user, or null. The first caller decides its size: `pools` times 64 KB, of which at
// most 8191 are used. With 0 nothing is cached.
[[nodiscard]] ZU_API vm_info* bvmInit(unsigned short pools);

// One user less; the last frees the pool.
ZU_API void bvmTerm(void* info);

// Reads up to `length` bytes; `*got` is less at the end of the file. A negative offset is not cached and goes
// to `bosFileRead` as it is: -1 reads at the current position.
ZU_API int bvmFileRead(void* info, int file, long long offset, void* out, unsigned long length,
                       unsigned long* got, VmHintType hint);

// Writes to the file in one piece, as `bosFileWrite`, and to the cached pages in the range. When the file
// write fails those pages are dropped.
ZU_API int bvmFileWrite(void* info, int file, long long offset, const void* in, unsigned long length);

// Drops the pages of a file.
ZU_API int bvmFlush(void* info, int file);

// Drops the pages of a file and closes it. A handle of 0 succeeds and does nothing.
ZU_API int bvmFileClose(void* info, int file);

// What the operations above consist of. The caller holds the pool's lock.

// The chain of a page.
ZU_API unsigned short bvmhash(int file, unsigned short page);

// The memory of an entry.
ZU_API unsigned char* bvmpoolptr(vm_info* info, unsigned short entry);

// The entry and the bytes of a page, which are valid while the lock is held. `*data` is null if the page is
// not cached and is not to be: `load` is 0, or there is no room that `hint` allows to take.
ZU_API int bvmmap(vm_info* info, int file, unsigned short page, vm_map** map, unsigned char** data,
                  unsigned short load, VmHintType hint);

// Drops the page of an entry, which is in use.
ZU_API void bvmfreeb(void* info, unsigned short entry);

#endif
