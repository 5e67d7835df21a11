#include "zulib/storage/tmp.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "zulib/errors/zuerror.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"

struct ZuTmpFile::CacheSet {
  uint32_t pageA;
  uint32_t pageB;
  unsigned char flags;  // the bits below
};

namespace {

constexpr unsigned long kPageSize = 2048;
constexpr unsigned long kSetSize = 2 * kPageSize;
constexpr uint32_t kNoPage = 0xFFFFFFFF;  // addresses have 32 bits, so no page has this number

constexpr unsigned char kDirtyA = 1;
constexpr unsigned char kDirtyB = 2;
constexpr unsigned char kUsedB = 4;  // B was used last: A is replaced next

constexpr uint32_t kAddressEnd = 0xFFFFFFFF;    // the last byte is the one before it
constexpr unsigned long kSmallestExtent = 256;  // less is not worth an entry in the list

constexpr long long kPositionUnknown = -1;

long long placeOf(unsigned long page) {
  return static_cast<long long>(page) * static_cast<long long>(kPageSize);
}

unsigned char withBit(unsigned char flags, unsigned char bit, bool on) {
  return static_cast<unsigned char>(on ? flags | bit : flags & ~bit);
}

bool isRest(unsigned long length) { return length == ZuTmpFile::kRest || length == kAddressEnd; }

// A stretch of free space.
class TmpSpace : public ZuObject {
 public:
  TmpSpace(uint32_t start, uint32_t length) : start(start), length(length) {}
  int compare(const ZuObject* other) const override {
    const uint32_t theirs = static_cast<const TmpSpace*>(other)->start;
    return start < theirs ? -1 : start > theirs;
  }
  uint32_t end() const { return start + length; }

  uint32_t start;
  uint32_t length;
};

TmpSpace* extentAt(const ZuSortedArray& list, unsigned long i) { return static_cast<TmpSpace*>(list.at(i)); }

int failBeyondEnd(const unsigned char* fileName) {
  bosMapError(EFBIG, fileName);
  return 1;
}

}  // namespace

ZuTmpFile::ZuTmpFile(unsigned short cacheSize, unsigned disabled) : cacheSize(cacheSize), lock(disabled) {}

ZuTmpFile::~ZuTmpFile() { tmpTruncate(0); }

bool ZuTmpFile::withinRange(unsigned long address, unsigned long length) const {
  return address <= kAddressEnd && length <= kAddressEnd - address;
}

// --- the cache --------------------------------------------------------------------------------------------

int ZuTmpFile::tmpAlloc() {
  if (sets) return 0;
  // Fewer bytes than one set has would be a cache without a place for any page.
  const unsigned long bytes = std::max<unsigned long>(cacheSize, kSetSize);
  if (!buffer) buffer = static_cast<unsigned char*>(ramAlloc(bytes));
  if (!buffer) return 1;
  sets = static_cast<CacheSet*>(ramAllocZ(bytes / kSetSize * sizeof(CacheSet)));
  return sets ? 0 : 1;
}

// The bytes of page `number`, which is now the one last used in its set; null if it could not be brought in.
// A set of zeros has page 0 in both places. That is harmless: the first page to be replaced is B.
unsigned char* ZuTmpFile::findPage(uint32_t number, Use use) {
  const unsigned long setCount = std::max<unsigned long>(cacheSize / kSetSize, 1);
  CacheSet& set = sets[number & (setCount - 1)];
  unsigned char* pageA = buffer + static_cast<unsigned long>(&set - sets) * kSetSize;
  const bool changes = use != Use::Read && use != Use::Point;
  if (set.pageA == number) {
    set.flags = withBit(set.flags, kUsedB, false);
    if (changes) set.flags |= kDirtyA;
    return pageA;
  }
  if (set.pageB == number) {
    set.flags |= kUsedB;
    if (changes) set.flags |= kDirtyB;
    return pageA + kPageSize;
  }
  return replacePage(set, number, use);
}

unsigned char* ZuTmpFile::replacePage(CacheSet& set, uint32_t number, Use use) {
  const bool replacesA = (set.flags & kUsedB) != 0;
  const unsigned char dirty = replacesA ? kDirtyA : kDirtyB;
  uint32_t& held = replacesA ? set.pageA : set.pageB;
  unsigned char* page =
      buffer + static_cast<unsigned long>(&set - sets) * kSetSize + (replacesA ? 0 : kPageSize);
  if (set.flags & dirty) {
    // A reader must not fail for ever on a page that cannot be written: it gives the page up.
    if (use == Use::Read) set.flags = withBit(set.flags, dirty, false);
    if (tmpWrFile(page, held)) return nullptr;
    set.flags = withBit(set.flags, dirty, false);
  }
  if (use != Use::WriteWhole && tmpRdFile(page, number)) {
    held = kNoPage;  // a part of it may have been overwritten
    return nullptr;
  }
  held = number;
  set.flags = withBit(set.flags, kUsedB, !replacesA);
  set.flags = withBit(set.flags, dirty, use != Use::Read && use != Use::Point);
  return page;
}

// --- reading and writing ----------------------------------------------------------------------------------

int ZuTmpFile::readPages(unsigned long address, unsigned char* out, unsigned long length) {
  if (!withinRange(address, length)) return failBeyondEnd(fileName);
  if (length > 0 && !sets) {
    addError(ZU_MSG_BAD_FILE_HANDLE);
    return 1;
  }
  while (length > 0) {
    const unsigned long offset = address % kPageSize;
    const unsigned long n = std::min(length, kPageSize - offset);
    const unsigned char* page = findPage(static_cast<uint32_t>(address / kPageSize), Use::Read);
    if (!page) return 1;
    std::memcpy(out, page + offset, n);
    address += n;
    out += n;
    length -= n;
  }
  return 0;
}

int ZuTmpFile::tmpRead(unsigned long address, void* out, unsigned long length) {
  const ZuCriticalSectionHolder held(lock);
  return readPages(address, static_cast<unsigned char*>(out), length);
}

int ZuTmpFile::tmpWrite(unsigned long address, const void* in, unsigned long length) {
  const ZuCriticalSectionHolder held(lock);
  if (!withinRange(address, length)) return failBeyondEnd(fileName);
  if (tmpAlloc()) return 1;
  const auto* from = static_cast<const unsigned char*>(in);
  const unsigned long end = address + length;
  while (address < end) {
    const unsigned long offset = address % kPageSize;
    const unsigned long n = std::min(end - address, kPageSize - offset);
    const Use use = n == kPageSize ? Use::WriteWhole : Use::Write;
    unsigned char* page = findPage(static_cast<uint32_t>(address / kPageSize), use);
    if (!page) return 1;
    std::memcpy(page + offset, from, n);
    address += n;
    from += n;
  }
  nextFree = std::max(nextFree, static_cast<uint32_t>(end));
  return 0;
}

int ZuTmpFile::readHuge(unsigned long address, void* out, unsigned long length) {
  return tmpRead(address, out, length);
}

int ZuTmpFile::writeHuge(unsigned long address, const void* in, unsigned long length) {
  return tmpWrite(address, in, length);
}

int ZuTmpFile::read(unsigned long address, ZuString* out, unsigned long length) {
  const ZuCriticalSectionHolder held(lock);
  if (!withinRange(address, length)) return failBeyondEnd(fileName);
  if (length > out->getLength() && out->assureSpace(length - out->getLength())) return 1;
  out->clear();
  if (readPages(address, out->asPascalStr(), length)) return 1;
  out->setCurSize(length);
  return 0;
}

int ZuTmpFile::tmpPointer(unsigned long address, void** pointer, unsigned short* room,
                          unsigned short forWriting) {
  const ZuCriticalSectionHolder held(lock);
  if (!withinRange(address, 1)) return failBeyondEnd(fileName);
  if (tmpAlloc()) return 1;
  const Use use = forWriting ? Use::PointForWriting : Use::Point;
  unsigned char* page = findPage(static_cast<uint32_t>(address / kPageSize), use);
  if (!page) return 1;
  *pointer = page + address % kPageSize;
  *room = static_cast<unsigned short>(kPageSize - address % kPageSize);
  return 0;
}

// --- space ------------------------------------------------------------------------------------------------

// 0 if a free extent was long enough.
int ZuTmpFile::takeFreeExtent(unsigned long length, unsigned long* address) {
  for (unsigned long i = 0; i < freeList.getCount(); ++i) {
    TmpSpace* extent = extentAt(freeList, i);
    if (extent->length < length) continue;
    *address = extent->start;
    if (extent->length - length < kSmallestExtent) {
      freeList.deleteAtIndex(i);
    } else {
      extent->start += static_cast<uint32_t>(length);
      extent->length -= static_cast<uint32_t>(length);
    }
    return 0;
  }
  return 1;
}

int ZuTmpFile::tmpFindSpace(unsigned long length, unsigned long* address) {
  const ZuCriticalSectionHolder held(lock);
  if (tmpAlloc()) return 1;
  if (isRest(length)) {
    *address = nextFree;
    nextFree = kAddressEnd;
    return 0;
  }
  if (takeFreeExtent(length, address) == 0) return 0;
  if (!withinRange(nextFree, length)) return failBeyondEnd(fileName);
  *address = nextFree;
  nextFree += static_cast<uint32_t>(length);
  return 0;
}

int ZuTmpFile::tmpFreeSpace(unsigned long address, unsigned long length) {
  const ZuCriticalSectionHolder held(lock);
  if (!withinRange(address, isRest(length) ? 0 : length)) return failBeyondEnd(fileName);
  const auto start = static_cast<uint32_t>(address);
  if (isRest(length) || address + length == nextFree) {
    nextFree = start;
    coalesceFreeSpace();
  } else if (length >= kSmallestExtent) {
    keepFreeExtent(start, static_cast<uint32_t>(length));
    coalesceFreeSpace();
  }
  return 0;
}

// Lost space is no error.
void ZuTmpFile::keepFreeExtent(uint32_t start, uint32_t length) {
  TmpSpace* extent = new TmpSpace(start, length);
  if (extent && freeList.add(extent) == 0) return;
  delete extent;
  ZuErrorKeeper::clearLastError();
}

void ZuTmpFile::coalesceFreeSpace() {
  for (unsigned long i = 1; i < freeList.getCount();) {
    TmpSpace* before = extentAt(freeList, i - 1);
    if (before->end() == extentAt(freeList, i)->start) {
      before->length += extentAt(freeList, i)->length;
      freeList.deleteAtIndex(i);
    } else {
      ++i;
    }
  }
  if (freeList.getCount() == 0) return;
  const unsigned long last = freeList.getCount() - 1;
  if (extentAt(freeList, last)->end() != nextFree) return;
  nextFree = extentAt(freeList, last)->start;
  freeList.deleteAtIndex(last);
}

unsigned long ZuTmpFile::getContiguousSpace(unsigned long length) {
  const ZuCriticalSectionHolder held(lock);
  unsigned long start = (nextFree + 3UL) & ~3UL;
  if (kPageSize - start % kPageSize < length) start = (start + kPageSize - 1) & ~(kPageSize - 1);
  if (!withinRange(start, length)) {
    failBeyondEnd(fileName);
    return 0;
  }
  nextFree = static_cast<uint32_t>(start + length);
  return start;
}

// --- the file ---------------------------------------------------------------------------------------------

int ZuTmpFile::openFile() {
  if (handle > 0) return 0;
  filePosition = 0;
  if (fileName) return bosFileOpen(fileName, bosOpenReadWrite, &handle);
  auto* name = static_cast<unsigned char*>(ramAlloc(bosPathSize + 1));
  if (!name) return 1;
  name[0] = 0;
  if (bosFileOpen(name, bosOpenTemporary | bosOpenReadWrite, &handle)) {
    free(name);
    return 1;
  }
  fileName = name;
  owner = getpid();
  TMP_FILES.add(this);
  return 0;
}

int ZuTmpFile::tmpWrFile(const void* page, unsigned long number) {
  highPage = std::max(highPage, static_cast<uint32_t>(number));
  if (openFile()) return 1;
  // Pages often follow each other: a seek is saved then.
  const long long place = placeOf(number);
  const int result = bosFileWrite(handle, place == filePosition ? kPositionUnknown : place, page, kPageSize);
  filePosition = result ? kPositionUnknown : placeOf(number + 1);
  if (result == 0) filePages = std::max(filePages, static_cast<uint32_t>(number + 1));
  return result;
}

int ZuTmpFile::tmpRdFile(void* page, unsigned long number) {
  if (number > highPage || !fileName) return 0;
  if (openFile()) return 1;
  // The position stays where the next write may need it, and the seek is saved: trees read pages all over the
  // file.
  const ssize_t got = pread(handle, page, kPageSize, placeOf(number));
  // Less than a page is no failure: the page was skipped when later ones were written.
  if (got >= 0) return 0;
  bosMapError(errno, fileName);
  return 1;
}

int ZuTmpFile::tmpLoseFocus() {
  const ZuCriticalSectionHolder held(lock);
  const int closed = bosFileClose(handle);
  handle = 0;
  return closed;
}

int ZuTmpFile::dropFile() {
  const int closed = bosFileClose(handle);
  handle = 0;
  if (!fileName) return closed;
  TMP_FILES.remove(this);
  const int deleted = owner == getpid() ? bosFileDelete(fileName) : 0;
  free(fileName);
  fileName = nullptr;
  return closed | deleted;
}

int ZuTmpFile::tmpTruncate(unsigned keepBuffer) {
  const ZuCriticalSectionHolder held(lock);
  free(sets);
  sets = nullptr;
  if (!keepBuffer) {
    free(buffer);
    buffer = nullptr;
  }
  freeList.deleteContents();
  nextFree = 1;
  highPage = 0;
  filePages = 0;
  return dropFile();
}

void ZuTmpFileList::add(ZuTmpFile* file) {
  const ZuCriticalSectionHolder held(lock);
  file->previousNamed = nullptr;
  file->nextNamed = first;
  if (first) first->previousNamed = file;
  first = file;
}

void ZuTmpFileList::remove(ZuTmpFile* file) {
  const ZuCriticalSectionHolder held(lock);
  (file->previousNamed ? file->previousNamed->nextNamed : first) = file->nextNamed;
  if (file->nextNamed) file->nextNamed->previousNamed = file->previousNamed;
}

// After a fork the lock might be held by a thread that the child does not have.
void ZuTmpFileList::unlinkFiles() {
  const bool isChild = getpid() != maker;
  if (!isChild) lock.enter();
  for (const ZuTmpFile* file = first; file; file = file->nextNamed) {
    if (file->owner == getpid()) unlink(reinterpret_cast<const char*>(file->fileName));
  }
  if (!isChild) lock.leave();
}

ZuTmpFileList::~ZuTmpFileList() { unlinkFiles(); }
