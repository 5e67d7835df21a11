// What a cached file answers.

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zulib/os/profiles/internal/zuininames.h"
#include "zulib/os/profiles/internal/zuinitext.h"
#include "zulib/os/profiles/internal/zuinitrace.h"
#include "zulib/os/profiles/zuinicache.h"
#include "zulib/text/strcopy.h"

using zuini::Bytes;
using zuini::bytesOf;
using zuini::chars;
using zuini::isTraced;
using zuini::NarrowText;
using zuini::SemaphoreHolder;
using zuini::TRACE_READS;
using zuini::TRACE_WRITES;

namespace {

constexpr char READ[] = "GetProfileString:";
constexpr unsigned long NUMBER_SIZE = 20;  // of the buffer that a number is read into
constexpr unsigned long WIDE_SIZE = 128;   // of those that stand between UTF-16 and the file

void traceKeys(const unsigned char* list, unsigned long length) {
  for (unsigned long i = 0; i < length && list[i] != 0;) {
    const unsigned long n = std::strlen(chars(list + i));
    std::printf("%s Entry %s Len=%d\n", READ, chars(list + i), static_cast<int>(n));
    i += n + 1;
  }
}

}  // namespace

unsigned long zustrlcpy(unsigned char* dst, const unsigned char* src, unsigned long size) {
  if (!dst || size == 0) return 0;
  const unsigned long n = src ? strnlen(chars(src), size - 1) : 0;
  if (n) std::memmove(dst, src, n);
  dst[n] = 0;
  return n;
}

// Answers the length, and 0 when there is no value; `out` is then untouched.
unsigned long ZuIniFileCache::findValue(const unsigned char* section, const unsigned char* key,
                                        unsigned char* out, unsigned long outSize) {
  const bool traced = isTraced(TRACE_READS);
  const Bytes all(text, textLength);
  zuini::Section place;
  zuini::Entry entry;
  const bool isThere = zuini::findSection(all, bytesOf(section), &place);
  if (traced) std::printf("%s Section %s %sfound.\n", READ, chars(section), isThere ? "" : "not ");
  if (!isThere) return 0;
  const bool hasEntry = zuini::findEntry(all, place.start, bytesOf(key), &entry);
  if (traced) std::printf("%s Entry %s %sfound.\n", READ, chars(key), hasEntry ? "" : "not ");
  if (!hasEntry) return 0;
  auto length = static_cast<unsigned long>(entry.valueEnd - entry.value);
  // A value of exactly the size comes whole, with its terminator behind the size: the callers have the room.
  if (length > outSize) length = outSize - 1;
  if (length == 0) return 0;
  std::memcpy(out, entry.value, length);
  out[length] = 0;
  if (traced) std::printf("%s Value=%s\n", READ, chars(out));
  return length;
}

unsigned long ZuIniFileCache::findKeys(const unsigned char* section, unsigned char* out,
                                       unsigned long outSize) {
  const bool traced = isTraced(TRACE_WRITES);
  if (traced) {
    std::printf("%s Multi-Entry Output Requested.\n", READ);
    std::printf("%s Fecthing all entries for %s\n", READ, chars(section));
  }
  const Bytes all(text, textLength);
  zuini::Section place;
  const bool isThere = zuini::findSection(all, bytesOf(section), &place);
  if (traced) std::printf("%s Section %s %sfound.\n", READ, chars(section), isThere ? "" : "not ");
  const unsigned long length = isThere ? zuini::listKeys(all, place, {out, outSize}) : 0;
  if (traced) traceKeys(out, length);
  if (traced && length == 0) std::printf("%s No data found.\n", READ);
  return length;
}

unsigned long ZuIniFileCache::bosGetProfileString(const unsigned char* section, const unsigned char* key,
                                                  const unsigned char* defaultValue, unsigned char* out,
                                                  unsigned long outSize) {
  if (!out || outSize == 0) return 0;
  unsigned long length = 0;
  if (section && isOpen() && !proFileSync()) {
    SemaphoreHolder hold(semaphore);
    length = key ? findValue(section, key, out, outSize) : findKeys(section, out, outSize);
  }
  if (length == 0) length = zustrlcpy(out, defaultValue, outSize);
  if (isTraced(key ? TRACE_READS : TRACE_WRITES))
    std::printf("%s Return Len=%d returnBuf=%s\n", READ, static_cast<int>(length), chars(out));
  return length;
}

unsigned long ZuIniFileCache::bosGetProfileSection(const unsigned char* section, unsigned char* out,
                                                   unsigned long outSize) {
  return bosGetProfileString(section, nullptr, nullptr, out, outSize);
}

int ZuIniFileCache::bosGetProfileInt(const unsigned char* section, const unsigned char* key,
                                     int defaultValue) {
  if (!key) return defaultValue;
  unsigned char digits[NUMBER_SIZE + 1];
  bosGetProfileString(section, key, nullptr, digits, NUMBER_SIZE);
  unsigned char* end = digits;
  while (*end >= '0' && *end <= '9') ++end;
  *end = 0;
  if (end == digits) return defaultValue;
  errno = 0;
  const unsigned long long value = std::strtoull(chars(digits), nullptr, 10);
  return errno != 0 || value > INT_MAX ? defaultValue : static_cast<int>(value);
}

unsigned long ZuIniFileCache::bosGetProfileStringW(const unsigned short* section, const unsigned short* key,
                                                   const unsigned short* defaultValue, unsigned short* out,
                                                   unsigned long outSize) {
  if (!out || outSize == 0) return 0;
  const NarrowText<WIDE_SIZE> narrowSection(section);
  const NarrowText<WIDE_SIZE> narrowKey(key);
  const NarrowText<WIDE_SIZE> narrowDefault(defaultValue);
  if (narrowSection.converts() && narrowKey.converts() && narrowDefault.converts()) {
    unsigned char value[WIDE_SIZE];
    const unsigned long length = bosGetProfileString(narrowSection.text(), narrowKey.text(),
                                                     narrowDefault.text(), value, WIDE_SIZE - 1);
    const long wide = length == 0 ? 0 : zuGetUTF16StrFromANSIStr(value, out, outSize);
    if (wide > 0) return static_cast<unsigned long>(wide);
  }
  return zuini::copyDefault(out, defaultValue, outSize);
}
