#include "zulib/storage/zuvm.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "zulib/errors/zuerror.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/mds.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"

namespace {

constexpr unsigned char kPrimes[16] = {13, 61, 29, 43, 17, 67, 31, 47, 19, 71, 37, 53, 23, 73, 41, 59};

constexpr unsigned short kMostPools = (kBvmNone - 1) / kBvmPagesPerPool;
constexpr long long kCachedRange = 65536LL * kBvmPageSize;  // offsets below it can be cached
constexpr unsigned short kAgeingClock = 40000;  // from here on a search for a victim halves what it passes
constexpr unsigned short kLastClock = 65535;    // here everything is halved

const unsigned char* const kNoName = nullptr;

class PoolHolder {
 public:
  explicit PoolHolder(vm_info* info) : info(info) { info->enterLock(); }
  PoolHolder(const PoolHolder&) = delete;
  PoolHolder& operator=(const PoolHolder&) = delete;
  ~PoolHolder() { info->leaveLock(); }

 private:
  vm_info* info;
};

bool isCacheable(long long offset) { return offset >= 0 && offset < kCachedRange; }
uint16_t pageOf(long long offset) {
  return static_cast<uint16_t>(offset / static_cast<long long>(kBvmPageSize));
}
unsigned long positionOf(long long offset) { return static_cast<unsigned long>(offset) % kBvmPageSize; }

void freePool(vm_info* info) {
  for (unsigned i = 0; i < info->maxEntries / kBvmPagesPerPool; ++i) free(info->pools[i]);
  delete info->lock;
  free(info->entries);
  free(info);
}

vm_info* makePool(unsigned short wanted) {
  const unsigned short pools = std::min(wanted, kMostPools);
  auto* info = static_cast<vm_info*>(ramAllocZ(sizeof(vm_info) + pools * sizeof(unsigned char*)));
  if (!info) return nullptr;
  info->pools = reinterpret_cast<unsigned char**>(info + 1);
  info->freeHead = kBvmNone;
  std::fill(std::begin(info->hash), std::end(info->hash), kBvmNone);
  info->maxEntries = static_cast<uint16_t>(pools * kBvmPagesPerPool);
  info->entries = static_cast<vm_map*>(ramAlloc(info->maxEntries * sizeof(vm_map)));
  info->lock = info->entries ? new ZuCriticalSection(VM_LOCK.isDisabled()) : nullptr;
  if (info->lock) return info;
  free(info->entries);
  free(info);
  return nullptr;
}

bool isHandle(int file) {
  if (file < 1) bosMapError(EBADF, kNoName);
  return file >= 1;
}

// Reads as bosFileRead does, but fails if the read failed.
int readFile(int file, long long offset, void* out, unsigned long length, unsigned long* got) {
  if (!isHandle(file)) return 1;
  if (bosFileRead(file, offset, out, length, got)) return 1;
  if (static_cast<long>(*got) >= 0) return 0;
  bosMapError(errno, kNoName);
  return 1;
}

// The eight entries of the next pool become the free list, the lowest in front.
int addPool(vm_info* info) {
  auto* pool = static_cast<unsigned char*>(ramAlloc(kBvmPoolSize));
  if (!pool) return 1;
  const uint16_t first = info->entryCount;
  info->pools[first / kBvmPagesPerPool] = pool;
  info->entryCount = static_cast<uint16_t>(first + kBvmPagesPerPool);
  for (uint16_t i = info->entryCount; i-- > first;) {
    info->entries[i] = {};
    info->entries[i].next = info->freeHead;
    info->freeHead = i;
  }
  return 0;
}

// The entry with the smallest stamp, the first of equal ones.
uint16_t findVictim(vm_info* info) {
  uint16_t victim = 0;
  uint16_t smallest = kLastClock;
  for (uint16_t i = 0; i < info->entryCount; ++i) {
    uint16_t& stamp = info->entries[i].stamp;
    if (stamp < smallest) {
      smallest = stamp;
      victim = i;
    }
    if (info->clock > kAgeingClock) stamp = static_cast<uint16_t>(stamp / 2);
  }
  return victim;
}

// Stamps the entry as the one last used.
void touch(vm_info* info, vm_map& entry) {
  entry.stamp = info->clock;
  ++info->clock;
  if (info->clock != kLastClock) return;
  for (uint16_t i = 0; i < info->entryCount; ++i) {
    info->entries[i].stamp = static_cast<uint16_t>(info->entries[i].stamp / 2);
  }
  info->clock = static_cast<uint16_t>(info->clock / 2);
}

uint16_t findEntry(const vm_info* info, int file, unsigned short page) {
  uint16_t i = info->hash[bvmhash(file, page)];
  while (i != kBvmNone && (info->entries[i].file != file || info->entries[i].page != page)) {
    i = info->entries[i].next;
  }
  return i;
}

// Brings a page in; the result is its entry in `*loaded`, or kBvmNone if there is no room or nothing to read.
int loadPage(vm_info* info, int file, unsigned short page, VmHintType hint, uint16_t* loaded) {
  *loaded = kBvmNone;
  if (info->freeHead == kBvmNone) {
    if (info->entryCount < info->maxEntries) {
      if (addPool(info)) return 1;
    } else if (hint == bvmHintNoEviction) {
      return 0;
    } else {
      bvmfreeb(info, findVictim(info));
    }
  }
  const uint16_t i = info->freeHead;
  vm_map& entry = info->entries[i];
  unsigned long count = 0;
  if (readFile(file, page * kBvmPageSize, bvmpoolptr(info, i), kBvmPageSize, &count)) {
    if (ZuErrorKeeper::getLastErrorNumber() != ZU_MSG_ACCESS_DENIED) return 1;
    ZuErrorKeeper::clearLastError();
    return 0;
  }
  info->freeHead = entry.next;
  uint16_t& chain = info->hash[bvmhash(file, page)];
  entry = {file, page, 0, static_cast<uint16_t>(count), 0, chain};
  chain = i;
  *loaded = i;
  return 0;
}

// The bytes between the end of a cached page and `position` are not known here: the file has them.
bool fillUpTo(const vm_map& entry, unsigned char* data, unsigned long position) {
  if (position <= entry.length) return true;
  const unsigned long gap = position - entry.length;
  unsigned long got = 0;
  bosFileRead(static_cast<int>(entry.file), entry.page * kBvmPageSize + entry.length, data + entry.length,
              gap, &got);
  return got == gap;
}

// Puts written bytes into the page that begins at or before `offset`, if it is cached.
int updatePage(vm_info* info, int file, long long offset, const unsigned char* in, unsigned long chunk) {
  vm_map* entry = nullptr;
  unsigned char* data = nullptr;
  if (bvmmap(info, file, pageOf(offset), &entry, &data, 0, bvmHintNone)) return 1;
  if (!data) return 0;
  const unsigned long position = positionOf(offset);
  if (!fillUpTo(*entry, data, position)) {
    bvmfreeb(info, static_cast<uint16_t>(entry - info->entries));
    return 0;
  }
  std::memcpy(data + position, in, chunk);
  entry->length = std::max(entry->length, static_cast<uint16_t>(position + chunk));
  return 0;
}

void dropPages(vm_info* info, int file, uint16_t first, uint16_t last) {
  for (uint16_t i = 0; i < info->entryCount; ++i) {
    const vm_map& entry = info->entries[i];
    if (entry.file == file && entry.page >= first && entry.page <= last) bvmfreeb(info, i);
  }
}

// After a write that failed, or went where the pool cannot tell, what is cached might be old.
void dropRange(vm_info* info, int file, long long offset, unsigned long length) {
  if (file < 1 || offset >= kCachedRange) return;
  if (offset < 0) {
    dropPages(info, file, 0, 65535);
    return;
  }
  const unsigned long room = static_cast<unsigned long>(kCachedRange - 1 - offset);
  dropPages(info, file, pageOf(offset), pageOf(offset + static_cast<long long>(std::min(length, room))));
}

}  // namespace

vm_info* bvmInit(unsigned short pools) {
  const ZuCriticalSectionHolder held(VM_LOCK);
  auto* info = static_cast<vm_info*>(mdsGetPerTaskData(PerTaskPagePool));
  if (!info) {
    info = makePool(pools);
    if (!info) return nullptr;
    mdsSetPerTaskData(PerTaskPagePool, info);
  }
  ++info->users;
  return info;
}

void bvmTerm(void* pool) {
  const ZuCriticalSectionHolder held(VM_LOCK);
  auto* info = static_cast<vm_info*>(pool);
  if (!info || --info->users > 0) return;
  mdsSetPerTaskData(PerTaskPagePool, static_cast<void*>(nullptr));
  freePool(info);
}

unsigned short bvmhash(int file, unsigned short page) {
  const uint32_t product = (page + 1u) * kPrimes[file & 15] + static_cast<uint32_t>(file);
  const int chain = static_cast<int32_t>(product) % kBvmHashSize;
  return static_cast<unsigned short>(chain < 0 ? chain + kBvmHashSize : chain);
}

unsigned char* bvmpoolptr(vm_info* info, unsigned short entry) {
  return info->pools[entry / kBvmPagesPerPool] + entry % kBvmPagesPerPool * kBvmPageSize;
}

int bvmmap(vm_info* info, int file, unsigned short page, vm_map** map, unsigned char** data,
           unsigned short load, VmHintType hint) {
  *data = nullptr;
  uint16_t i = findEntry(info, file, page);
  if (i == kBvmNone) {
    if (!load || info->maxEntries == 0) return 0;
    if (loadPage(info, file, page, hint, &i)) return 1;
    if (i == kBvmNone) return 0;
  }
  *map = &info->entries[i];
  *data = bvmpoolptr(info, i);
  touch(info, **map);
  return 0;
}

void bvmfreeb(void* pool, unsigned short number) {
  auto* info = static_cast<vm_info*>(pool);
  vm_map& entry = info->entries[number];
  uint16_t* link = &info->hash[bvmhash(static_cast<int>(entry.file), entry.page)];
  while (*link != number) link = &info->entries[*link].next;
  *link = entry.next;
  entry.file = 0;
  entry.page = 0;
  entry.next = info->freeHead;
  info->freeHead = number;
}

int bvmFileRead(void* pool, int file, long long offset, void* out, unsigned long length, unsigned long* got,
                VmHintType hint) {
  auto* info = static_cast<vm_info*>(pool);
  const PoolHolder held(info);
  auto* to = static_cast<unsigned char*>(out);
  unsigned long total = 0;
  for (;;) {
    const bool cacheable = isCacheable(offset);
    vm_map* entry = nullptr;
    unsigned char* data = nullptr;
    if (cacheable && bvmmap(info, file, pageOf(offset), &entry, &data, 1, hint)) return 1;
    const unsigned long position = positionOf(offset);
    const unsigned long chunk = cacheable ? std::min(kBvmPageSize - position, length) : length;
    unsigned long moved = chunk;
    if (data && position + chunk <= entry->length) {
      std::memcpy(to, data + position, chunk);
    } else if (readFile(file, offset, to, chunk, &moved)) {
      return 1;
    }
    total += moved;
    length -= moved;
    if (length == 0 || moved != chunk) break;
    offset += static_cast<long long>(moved);
    to += moved;
  }
  *got = total;
  return 0;
}

int bvmFileWrite(void* pool, int file, long long offset, const void* in, unsigned long length) {
  auto* info = static_cast<vm_info*>(pool);
  const PoolHolder held(info);
  if (!isHandle(file)) return 1;
  if (bosFileWrite(file, offset, in, length)) {
    dropRange(info, file, offset, length);
    return 1;
  }
  if (offset < 0) dropRange(info, file, offset, length);
  const auto* from = static_cast<const unsigned char*>(in);
  while (length > 0 && isCacheable(offset)) {
    const unsigned long chunk = std::min(kBvmPageSize - positionOf(offset), length);
    if (updatePage(info, file, offset, from, chunk)) return 1;
    offset += static_cast<long long>(chunk);
    from += chunk;
    length -= chunk;
  }
  return 0;
}

int bvmFlush(void* pool, int file) {
  auto* info = static_cast<vm_info*>(pool);
  const PoolHolder held(info);
  if (file != 0) dropPages(info, file, 0, 65535);
  return 0;
}

int bvmFileClose(void* info, int file) {
  if (file == 0) return 0;
  return bvmFlush(info, file) ? 1 : bosFileClose(file);
}
