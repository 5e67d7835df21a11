#include "zulib/os/profiles/zuini.h"

#include <climits>
#include <cstdlib>

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

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
