// The caches of a connection: open converters by code-page number and by name, and byte maps by code-page
// number. Flat tables with linear search, since only a few code pages are in use at a time.
//
// A cache owns what was added to it. `initialize` takes room for `n` entries; a cache that is full, or was
// not initialised, grows. Functions return 0, or 1 with the cache as it was and the out-of-memory state of
// the thread marked; what was to be added stays the caller's then.
//
// Thread safety: none; a cache serves one connection.

#ifndef ZULIB_CODEPAGES_ZUHANDLECACHE_H
#define ZULIB_CODEPAGES_ZUHANDLECACHE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

struct UConverter;

// Converters by number.
class ZU_API ZuIntHandleCache : public ZuObject {
 public:
  ZuIntHandleCache() = default;
  ZuIntHandleCache(const ZuIntHandleCache&) = delete;
  ZuIntHandleCache& operator=(const ZuIntHandleCache&) = delete;
  // Closes each converter.
  ~ZuIntHandleCache() override;

  [[nodiscard]] int initialize(unsigned long n);
  [[nodiscard]] int addAssoc(long key, UConverter* handle);
  // Null if there is none.
  UConverter* getHandleForKey(long key) const;
  // `ucnv_setFallback` on each converter that is there.
  void setEnableFallbackMapping(unsigned flag);

  unsigned long getCount() const { return count; }
  unsigned long getSize() const { return size; }

 private:
  unsigned long count = 0;  // entries in use
  unsigned long size = 0;   // room in each table
  long* keys = nullptr;
  UConverter** handles = nullptr;
};

// Converters by name. The names are blocks of `ramAlloc`.
class ZU_API ZuStrHandleCache : public ZuObject {
 public:
  ZuStrHandleCache() = default;
  ZuStrHandleCache(const ZuStrHandleCache&) = delete;
  ZuStrHandleCache& operator=(const ZuStrHandleCache&) = delete;
  // Closes each converter and frees each name.
  ~ZuStrHandleCache() override;

  [[nodiscard]] int initialize(unsigned long n);
  [[nodiscard]] int addAssoc(unsigned char* key, unsigned long length, UConverter* handle);
  // Null if there is none. On a hit `*key` becomes the cache's own copy, so that the caller can free its own.
  UConverter* getHandleForKey(const unsigned char** key, unsigned long length) const;
  void setEnableFallbackMapping(unsigned flag);

  unsigned long getCount() const { return count; }
  unsigned long getSize() const { return size; }

 private:
  unsigned long count = 0;
  unsigned long size = 0;
  unsigned char** keys = nullptr;
  unsigned long* keyLengths = nullptr;
  UConverter** handles = nullptr;
};

// Maps of 256 bytes by number. The maps are blocks of `ramAlloc`.
class ZU_API ZuPCU8Cache : public ZuObject {
 public:
  ZuPCU8Cache() = default;
  ZuPCU8Cache(const ZuPCU8Cache&) = delete;
  ZuPCU8Cache& operator=(const ZuPCU8Cache&) = delete;
  // Frees each map.
  ~ZuPCU8Cache() override;

  [[nodiscard]] int initialize(unsigned long n);
  // Every map that was added stays until the cache goes.
  [[nodiscard]] int addAssoc(long key, unsigned char* map);
  const unsigned char* getHandleForKey(long key) const;

  unsigned long getCount() const { return count; }
  unsigned long getSize() const { return size; }

 private:
  unsigned long count = 0;
  unsigned long size = 0;
  long* keys = nullptr;
  unsigned char** maps = nullptr;
};

#endif
