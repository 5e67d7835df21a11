#include "zulib/codepages/zuhandlecache.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "zulib/runtime/ram.h"

namespace {

constexpr unsigned long kFirstSize = 16;  // of a cache that was not initialised

// Moves parallel tables of `*size` cells, `count` of them in use, to at least `newSize` cells each. 0, or 1
// with the old tables in place.
template <class... Cells>
int resizeTables(unsigned long count, unsigned long* size, unsigned long newSize, Cells**... tables) {
  newSize = std::max({newSize, count, 1UL});
  if (newSize > ~0UL / sizeof(void*)) {
    ramAddMemoryError();
    return 1;
  }
  void* fresh[] = {ramAllocZ(newSize * sizeof(Cells))...};
  bool failed = false;
  for (void* table : fresh) failed |= !table;
  if (failed) {
    for (void* table : fresh) std::free(table);
    return 1;
  }
  unsigned long i = 0;
  const auto replace = [&](auto** table) {
    if (count != 0) std::memcpy(fresh[i], *table, count * sizeof **table);
    std::free(*table);
    *table = static_cast<std::remove_pointer_t<decltype(table)>>(fresh[i++]);
  };
  (replace(tables), ...);
  *size = newSize;
  return 0;
}

// Room for one more entry.
template <class... Cells>
int growTables(unsigned long count, unsigned long* size, Cells**... tables) {
  if (count < *size) return 0;
  return resizeTables(count, size, *size == 0 ? kFirstSize : 2 * *size, tables...);
}

// The index of the key among `count`; `count` if it is not there.
unsigned long indexOf(const long* keys, unsigned long count, long key) {
  unsigned long i = 0;
  while (i < count && keys[i] != key) ++i;
  return i;
}

void setFallback(UConverter* const* handles, unsigned long count, unsigned flag) {
  for (unsigned long i = 0; i < count; ++i) ucnv_setFallback(handles[i], flag != 0);
}

}  // namespace

// ---- converters by number ----

ZuIntHandleCache::~ZuIntHandleCache() {
  for (unsigned long i = 0; i < count; ++i) ucnv_close(handles[i]);
  std::free(keys);
  std::free(handles);
}

int ZuIntHandleCache::initialize(unsigned long n) { return resizeTables(count, &size, n, &keys, &handles); }

int ZuIntHandleCache::addAssoc(long key, UConverter* handle) {
  if (growTables(count, &size, &keys, &handles)) return 1;
  keys[count] = key;
  handles[count++] = handle;
  return 0;
}

UConverter* ZuIntHandleCache::getHandleForKey(long key) const {
  const unsigned long i = indexOf(keys, count, key);
  return i < count ? handles[i] : nullptr;
}

void ZuIntHandleCache::setEnableFallbackMapping(unsigned flag) { setFallback(handles, count, flag); }

// ---- converters by name ----

ZuStrHandleCache::~ZuStrHandleCache() {
  for (unsigned long i = 0; i < count; ++i) {
    ucnv_close(handles[i]);
    std::free(keys[i]);
  }
  std::free(keys);
  std::free(keyLengths);
  std::free(handles);
}

int ZuStrHandleCache::initialize(unsigned long n) {
  return resizeTables(count, &size, n, &keys, &keyLengths, &handles);
}

int ZuStrHandleCache::addAssoc(unsigned char* key, unsigned long length, UConverter* handle) {
  if (growTables(count, &size, &keys, &keyLengths, &handles)) return 1;
  keys[count] = key;
  keyLengths[count] = length;
  handles[count++] = handle;
  return 0;
}

UConverter* ZuStrHandleCache::getHandleForKey(const unsigned char** key, unsigned long length) const {
  for (unsigned long i = 0; i < count; ++i) {
    if (keyLengths[i] != length || memEqual(keys[i], *key, length) == 0) continue;
    *key = keys[i];
    return handles[i];
  }
  return nullptr;
}

void ZuStrHandleCache::setEnableFallbackMapping(unsigned flag) { setFallback(handles, count, flag); }

// ---- maps ----

ZuPCU8Cache::~ZuPCU8Cache() {
  for (unsigned long i = 0; i < count; ++i) std::free(maps[i]);
  std::free(keys);
  std::free(maps);
}

int ZuPCU8Cache::initialize(unsigned long n) { return resizeTables(count, &size, n, &keys, &maps); }

int ZuPCU8Cache::addAssoc(long key, unsigned char* map) {
  if (growTables(count, &size, &keys, &maps)) return 1;
  keys[count] = key;
  maps[count++] = map;
  return 0;
}

const unsigned char* ZuPCU8Cache::getHandleForKey(long key) const {
  const unsigned long i = indexOf(keys, count, key);
  return i < count ? maps[i] : nullptr;
}
