// ZuTmpFile: bytes by address, in memory as long as they fit, and in a temporary file beyond that.
//
// Addresses begin at 1 and are 32 bits wide; an operation that would pass the end of them fails (error 30041)
// and changes nothing. Space below the end of what is used is handed out again, first fit by address.
//
// The cache holds pages of 2048 bytes in sets of two; page p can only be in set p modulo the number of sets:
//
//   set 0            set 1            ...        buffer, cacheSize bytes
//   |page A|page B|  |page A|page B|
//
// Of the two pages in a set the one that was not used last is replaced. A page is written to the file only if
// it was changed, so a store that fits its cache never has a file.
//
// Invariants:
//   1. A page number above `highPage` has never been written to the file.
//   2. `freeList` is ordered by start, and no two extents in it touch.
//   3. A store with a file name is in TMP_FILES, so that its file is gone after unload at the latest.
//
// Usage:
//   ZuTmpFile store(32768, 0);
//   unsigned long address;
//   if (store.tmpFindSpace(length, &address)) return 1;
//   if (store.tmpWrite(address, bytes, length)) return 1;
//
// Operations return 0, or 1 after one record on the thread's error list.
//
// Thread safety: each public operation holds the store's lock, unless that is disabled.

#ifndef ZULIB_STORAGE_TMP_H
#define ZULIB_STORAGE_TMP_H

#include <sys/types.h>
#include <unistd.h>

#include <cstdint>

#include "zulib/collections/zusorted.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zucritse.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/text/zustring.h"

class ZU_API ZuTmpFile : public ZuObject {
 public:
  // As a length: all that remains.
  static constexpr unsigned long kRest = ~0UL;

  // `cacheSize` is in bytes; its number of 4096s must be a power of two. Allocates nothing yet. With
  // `disabled` not 0 the store takes no lock.
  ZuTmpFile(unsigned short cacheSize, unsigned disabled);
  ZuTmpFile(const ZuTmpFile&) = delete;
  ZuTmpFile& operator=(const ZuTmpFile&) = delete;
  ~ZuTmpFile() override;

  // Bytes that were never written read as whatever the cache held. Before anything was written or allocated
  // there is nothing to read (error 1507). If the page that has to make room cannot be written to the file it
  // stays readable, but is not tried again.
  int tmpRead(unsigned long address, void* out, unsigned long length);

  // The end of the used space rises to the end of the write. After a failure pages before the one that
  // failed are written.
  int tmpWrite(unsigned long address, const void* in, unsigned long length);

  // The same, for the large buffers of a caller.
  int readHuge(unsigned long address, void* out, unsigned long length);
  int writeHuge(unsigned long address, const void* in, unsigned long length);

  // Replaces the content of `out`, which is empty if reading fails, and as it was if it cannot grow.
  int read(unsigned long address, ZuString* out, unsigned long length);

  // A pointer into the cached page, and the bytes from it to the end of the page. It is valid until the next
  // operation on the store. With `forWriting` the page is written to the file when it has to make room.
  int tmpPointer(unsigned long address, void** pointer, unsigned short* room, unsigned short forWriting);

  // Allocates `length` bytes, or (kRest, or 0xFFFFFFFF) all from the end of the used space on. If less than
  // 256 bytes of a free extent remain they go with it.
  int tmpFindSpace(unsigned long length, unsigned long* address);

  // Frees bytes; with kRest or 0xFFFFFFFF all from `address` on. Less than 256 bytes before the end of the
  // used space are lost, as is an extent for which there is no memory: neither is an error.
  int tmpFreeSpace(unsigned long address, unsigned long length);

  // Allocates at the end of the used space, at a multiple of 4, and within one page unless `length` is more
  // than a page. Returns the address, or 0 if the address space is used up.
  unsigned long getContiguousSpace(unsigned long length);

  // Closes the file until it is needed again.
  int tmpLoseFocus();

  // Empties the store and deletes its file. The memory of the cache is kept if `keepBuffer` is not 0. The
  // store is empty also after a failure.
  int tmpTruncate(unsigned keepBuffer);

 protected:
  // None of these takes the lock.

  // Writes page `number` to the file, which is made if there is none.
  int tmpWrFile(const void* page, unsigned long number);
  // Reads page `number`. A page that the file does not have leaves `page` as it is.
  int tmpRdFile(void* page, unsigned long number);
  // Gives the store its cache, if it has none.
  int tmpAlloc();

 private:
  friend class ZuTmpFileList;
  struct CacheSet;
  enum class Use { Read, Write, WriteWhole, Point, PointForWriting };

  bool withinRange(unsigned long address, unsigned long length) const;
  unsigned char* findPage(uint32_t number, Use use);
  unsigned char* replacePage(CacheSet& set, uint32_t number, Use use);
  int takeFreeExtent(unsigned long length, unsigned long* address);
  void keepFreeExtent(uint32_t start, uint32_t length);
  void coalesceFreeSpace();
  int readPages(unsigned long address, unsigned char* out, unsigned long length);
  int openFile();
  int dropFile();

  unsigned short cacheSize;           // bytes of the cache, as asked for
  uint32_t highPage = 0;              // highest page written to the file
  uint32_t nextFree = 1;              // end of the used space
  int handle = 0;                     // 0 if the file is not open
  unsigned char* fileName = nullptr;  // owned; null until the first write to the file
  uint32_t filePages = 0;             // pages that the file holds
  CacheSet* sets = nullptr;           // owned; null until first used
  unsigned char* buffer = nullptr;    // owned; the pages of all sets
  ZuSortedArray freeList;             // owns its TmpSpaces
  ZuCriticalSection lock;
  long long filePosition = -1;     // where the open file is, -1 if unknown
  ZuTmpFile* nextNamed = nullptr;  // in TMP_FILES
  ZuTmpFile* previousNamed = nullptr;
  pid_t owner = 0;  // the process that made the file
};

// The stores that have a file. Those that still exist when the library is unloaded lose their files then. A
// child of fork leaves the files to its parent.
class ZuTmpFileList {
 public:
  ZuTmpFileList() = default;
  ZuTmpFileList(const ZuTmpFileList&) = delete;
  ZuTmpFileList& operator=(const ZuTmpFileList&) = delete;
  ~ZuTmpFileList();

  void add(ZuTmpFile* file);
  void remove(ZuTmpFile* file);

  // Removes the files from their directories. The stores can still be used.
  void unlinkFiles();

 private:
  ZuTmpFile* first = nullptr;
  ZuCriticalSection lock{0};
  const pid_t maker = getpid();
};

extern ZuTmpFileList TMP_FILES;

#endif
