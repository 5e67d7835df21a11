// The functions around the cache.

#include <atomic>

#include "zulib/os/profiles/internal/zuininames.h"
#include "zulib/os/profiles/zuini.h"
#include "zulib/text/strcopy.h"

namespace {

using WideArgument = zuini::NarrowText<zuTextConvertSize>;

// The task's list, made when there is none; null without memory.
ZuIniFileCacheList* taskList() {
  if (ZuIniFileCacheList* list = bosGetPTaskIniList()) return list;
  auto* made = new ZuIniFileCacheList;
  if (!made) return nullptr;
  void* expected = nullptr;
  std::atomic_ref cell(*mdsGetPerTaskDataAddress(PerTaskIniList));
  if (cell.compare_exchange_strong(expected, made)) return made;
  delete made;
  return static_cast<ZuIniFileCacheList*>(expected);
}

// A reference for one call.
class Borrowed {
 public:
  explicit Borrowed(const unsigned char* name) : cache(zuPrivateProfileInit(name)) {}
  Borrowed(const Borrowed&) = delete;
  Borrowed& operator=(const Borrowed&) = delete;
  ~Borrowed() {
    if (!isKept) zuPrivateProfileTerm(cache);
  }

  explicit operator bool() const { return cache != nullptr; }
  ZuIniFileCache* operator->() const { return cache; }
  ZuIniFileCache* get() const { return cache; }

  // The reference stays with the list. A cache without a file is never found again there, so its references
  // would only pile up: it is given back.
  void keep() { isKept = cache && cache->isOpen(); }

 private:
  ZuIniFileCache* cache;
  bool isKept = false;
};

}  // namespace

ZuIniFileCache* zuProfileInit(const unsigned char* name) {
  ZuIniFileCacheList* list = taskList();
  return list ? list->open(name) : nullptr;
}

ZuIniFileCache* zuPrivateProfileInit(const unsigned char* name) { return zuProfileInit(name); }

void zuPrivateProfileTerm(ZuIniFileCache* cache) {
  ZuIniFileCacheList* list = bosGetPTaskIniList();
  if (list) list->close(cache);
}

unsigned long zuGetProfileString(const unsigned char* section, const unsigned char* key,
                                 const unsigned char* defaultValue, unsigned char* out, unsigned long size,
                                 const unsigned char* name) {
  Borrowed cache(name);
  cache.keep();
  return zuGetPrivateProfileString(section, key, defaultValue, out, size, cache.get());
}

int zuWriteProfileString(const unsigned char* section, const unsigned char* key, const unsigned char* value,
                         const unsigned char* name) {
  Borrowed cache(name);
  cache.keep();
  return zuWritePrivateProfileString(section, key, value, cache.get());
}

int zuGetProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                    const unsigned char* name) {
  Borrowed cache(name);
  cache.keep();
  return zuGetPrivateProfileInt(section, key, defaultValue, cache.get());
}

unsigned long zuGetPrivateProfileString(const unsigned char* section, const unsigned char* key,
                                        const unsigned char* defaultValue, unsigned char* out,
                                        unsigned long size, ZuIniFileCache* cache) {
  return cache ? cache->bosGetProfileString(section, key, defaultValue, out, size)
               : zustrlcpy(out, defaultValue, size);
}

unsigned long zuGetPrivateProfileString(const unsigned char* section, const unsigned char* key,
                                        const unsigned char* defaultValue, unsigned char* out,
                                        unsigned long size, const unsigned char* name) {
  const Borrowed cache(name);
  return zuGetPrivateProfileString(section, key, defaultValue, out, size, cache.get());
}

unsigned long zuGetPrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                         const unsigned short* defaultValue, unsigned short* out,
                                         unsigned long size, ZuIniFileCache* cache) {
  if (cache) return cache->bosGetProfileStringW(section, key, defaultValue, out, size);
  return out && size ? zuini::copyDefault(out, defaultValue, size) : 0;
}

unsigned long zuGetPrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                         const unsigned short* defaultValue, unsigned short* out,
                                         unsigned long size, const unsigned short* name) {
  const WideArgument narrowName(name);
  const Borrowed cache(narrowName.converts() ? narrowName.text() : nullptr);
  return zuGetPrivateProfileStringW(section, key, defaultValue, out, size, cache.get());
}

int zuWritePrivateProfileString(const unsigned char* section, const unsigned char* key,
                                const unsigned char* value, ZuIniFileCache* cache) {
  return cache ? cache->bosPutProfileString(section, key, value) : 0;
}

int zuWritePrivateProfileString(const unsigned char* section, const unsigned char* key,
                                const unsigned char* value, const unsigned char* name) {
  const Borrowed cache(name);
  return zuWritePrivateProfileString(section, key, value, cache.get());
}

int zuWritePrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                 const unsigned short* value, ZuIniFileCache* cache) {
  const WideArgument narrowSection(section);
  const WideArgument narrowKey(key);
  const WideArgument narrowValue(value);
  if (!narrowSection.converts() || !narrowKey.converts() || !narrowValue.converts()) return 0;
  return zuWritePrivateProfileString(narrowSection.text(), narrowKey.text(), narrowValue.text(), cache);
}

int zuWritePrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                 const unsigned short* value, const unsigned short* name) {
  const WideArgument narrowName(name);
  const Borrowed cache(narrowName.converts() ? narrowName.text() : nullptr);
  return zuWritePrivateProfileStringW(section, key, value, cache.get());
}

int zuGetPrivateProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                           ZuIniFileCache* cache) {
  return cache ? cache->bosGetProfileInt(section, key, defaultValue) : defaultValue;
}

int zuGetPrivateProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                           const unsigned char* name) {
  const Borrowed cache(name);
  return zuGetPrivateProfileInt(section, key, defaultValue, cache.get());
}

int zuGetPrivateProfileIntW(const unsigned short* section, const unsigned short* key, int defaultValue,
                            ZuIniFileCache* cache) {
  const WideArgument narrowSection(section);
  const WideArgument narrowKey(key);
  if (!narrowSection.converts() || !narrowKey.converts()) return defaultValue;
  return zuGetPrivateProfileInt(narrowSection.text(), narrowKey.text(), defaultValue, cache);
}

int zuGetPrivateProfileIntW(const unsigned short* section, const unsigned short* key, int defaultValue,
                            const unsigned short* name) {
  const WideArgument narrowName(name);
  const Borrowed cache(narrowName.converts() ? narrowName.text() : nullptr);
  return zuGetPrivateProfileIntW(section, key, defaultValue, cache.get());
}

unsigned long zuGetPrivateProfileSection(const unsigned char* section, unsigned char* out, unsigned long size,
                                         const unsigned char* name) {
  Borrowed cache(name);
  cache.keep();
  return cache ? cache->bosGetProfileSection(section, out, size) : 0;
}

unsigned long GetPrivateProfileString(const unsigned char* section, const unsigned char* key,
                                      const unsigned char* defaultValue, unsigned char* out,
                                      unsigned long size, const unsigned char* name) {
  ZuIniFileCache cache(name);
  return cache.bosGetProfileString(section, key, defaultValue, out, size);
}

int GetPrivateProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                         const unsigned char* name) {
  ZuIniFileCache cache(name);
  return cache.bosGetProfileInt(section, key, defaultValue);
}

int WritePrivateProfileString(const unsigned char* section, const unsigned char* key,
                              const unsigned char* value, const unsigned char* name) {
  ZuIniFileCache cache(name);
  return cache.bosPutProfileString(section, key, value);
}
