#include "zulib/os/profiles/zuini.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>

#include "zulib/errors/zuerror.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

using zuos::NarrowName;

namespace {

// Returns the task's list, which is made if there is none; null if the allocation fails.
ZuIniFileCacheList* taskList() {
  if (ZuIniFileCacheList* list = bosGetPTaskIniList()) return list;
  auto* made = new ZuIniFileCacheList;
  if (!made) return nullptr;
  void* expected = nullptr;
  const std::atomic_ref cell(*mdsGetPerTaskDataAddress(PerTaskIniList));
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

  // Leaves the reference with the list. A cache without a file is never found again there, so its references
  // would only pile up: it is given back all the same.
  void keep() { isKept = cache && cache->isOpen(); }

 private:
  ZuIniFileCache* cache;
  bool isKept = false;
};

// The forms by name are the forms by cache with a reference of their own. A name that does not convert is
// none.
class BorrowedByWideName {
 public:
  explicit BorrowedByWideName(const unsigned short* name)
      : narrow(name), cache(narrow.converts() ? narrow.text() : nullptr) {}
  ZuIniFileCache* get() const { return cache.get(); }

 private:
  NarrowName narrow;
  Borrowed cache;
};

// The default of a UTF-16 read without a file: at most size - 1 units and a terminator.
unsigned long copyTerminated(unsigned short* out, const unsigned short* text, unsigned long size) {
  if (!out || size == 0) return 0;
  unsigned long length = 0;
  while (text && length < size - 1 && text[length] != 0) {
    out[length] = text[length];
    ++length;
  }
  out[length] = 0;
  return length;
}

constexpr char kExtension[] = {'.', 's', 'o'};

template <class Char>
unsigned long moduleName(const Char* module, Char* out, unsigned long size) {
  if (!out || size == 0) return 0;
  unsigned long length = module ? std::min(strLen(module), size - 1) : 0;
  std::copy_n(module, length, out);
  if (length != 0 && size - 1 - length >= sizeof kExtension) {
    for (const char c : kExtension) out[length++] = static_cast<Char>(c);
  }
  out[length] = 0;
  return length;
}

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
  if (cache && cache->isOpen()) return cache->bosGetProfileStringW(section, key, defaultValue, out, size);
  return copyTerminated(out, defaultValue, size);
}

unsigned long zuGetPrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                         const unsigned short* defaultValue, unsigned short* out,
                                         unsigned long size, const unsigned short* name) {
  const BorrowedByWideName cache(name);
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
  const NarrowName narrowSection(section);
  const NarrowName narrowKey(key);
  const NarrowName narrowValue(value);
  if (!narrowSection.converts() || !narrowKey.converts() || !narrowValue.converts()) return 0;
  return zuWritePrivateProfileString(narrowSection.text(), narrowKey.text(), narrowValue.text(), cache);
}

int zuWritePrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                 const unsigned short* value, const unsigned short* name) {
  const BorrowedByWideName cache(name);
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
  const NarrowName narrowSection(section);
  const NarrowName narrowKey(key);
  if (!narrowSection.converts() || !narrowKey.converts()) return defaultValue;
  return zuGetPrivateProfileInt(narrowSection.text(), narrowKey.text(), defaultValue, cache);
}

int zuGetPrivateProfileIntW(const unsigned short* section, const unsigned short* key, int defaultValue,
                            const unsigned short* name) {
  const BorrowedByWideName cache(name);
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

unsigned long zuGetModName(const unsigned char* module, unsigned char* out, unsigned long size) {
  return moduleName(module, out, size);
}

unsigned long zuGetModFileNameW(const unsigned short* module, unsigned long size, unsigned short* out) {
  return moduleName(module, out, size);
}

ZuIni::~ZuIni() { closeCache(); }

void ZuIni::closeCache() {
  zuPrivateProfileTerm(cache);
  cache = nullptr;
  std::free(fileName);
  fileName = nullptr;
}

int ZuIni::open(const unsigned char* name) {
  close();
  if (!name) return 1;
  fileName = ramAllocStr(name);
  if (!fileName) return 1;
  cache = zuPrivateProfileInit(name);
  if (cache) return 0;
  closeCache();
  return 1;
}

void ZuIni::close() { closeCache(); }

int ZuIni::validState() {
  if (cache) return 0;
  addError(ZU_MSG_NO_PROFILE_OPEN);
  return 1;
}

int ZuIni::getEntry(const unsigned char* section, const unsigned char* key, unsigned char* out,
                    unsigned long size, const unsigned char* defaultValue) {
  const bool wasOpen = cache != nullptr;
  getEntryWithLen(section, key, out, size, defaultValue);
  return wasOpen ? 0 : 1;
}

unsigned long ZuIni::getEntryWithLen(const unsigned char* section, const unsigned char* key,
                                     unsigned char* out, unsigned long size,
                                     const unsigned char* defaultValue) {
  if (validState()) return zustrlcpy(out, defaultValue, size);
  return cache->bosGetProfileString(section, key, defaultValue, out, size);
}

int ZuIni::getEntry(const unsigned char* section, const unsigned char* key, short* out, short defaultValue) {
  *out = defaultValue;
  if (validState()) return 1;
  const int value = cache->bosGetProfileInt(section, key, defaultValue);
  if (value <= SHRT_MAX) *out = static_cast<short>(value);
  return 0;
}

unsigned long ZuIni::getSectionWithValues(const unsigned char* section, unsigned char* out,
                                          unsigned long size, const unsigned char* defaultValue) {
  if (validState()) return zustrlcpy(out, defaultValue, size);
  zustrlcpy(out, nullptr, size);
  return zuGetPrivateProfileSection(section, out, size, fileName);
}

int ZuIni::writeEntry(const unsigned char* section, const unsigned char* key, const unsigned char* value) {
  return cache && cache->bosPutProfileString(section, key, value) ? 0 : 1;
}

int ZuIni::deleteEntry(const unsigned char* section, const unsigned char* key) {
  return writeEntry(section, key, nullptr);
}
