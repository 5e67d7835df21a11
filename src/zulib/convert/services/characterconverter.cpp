#include "zulib/convert/services/characterconverter.h"

#include <algorithm>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/codepages/zuleadbytes.h"
#include "zulib/convert/internal/icuconverter.h"
#include "zulib/convert/internal/report.h"
#include "zulib/convert/services/oxconvert.h"
#include "zulib/text/strcopy.h"
#include "zulib/text/zuchar.h"

namespace {

constexpr unsigned char kUTF8Name[] = "UTF8";

// The code pages "td_..." of the table that are EBCDIC: an ASCII scan would misread their bytes.
bool isEbcdicPage(long codePage) {
  switch (codePage) {
    case 2000005045:
    case 2000005046:
    case 2000005049:
    case 2000005053:
    case 2000005056: return true;
    default: return codePage > 2000005038 && codePage < 2000005044;
  }
}

template <class Cache>
int makeCache(Cache*& cache, unsigned long size) {
  if (!cache) cache = new Cache;
  return cache ? cache->initialize(size) : 1;
}

// Characters that are whole in `room` bytes of UTF-8, up to a NUL.
long countWhole(const unsigned char* text, long room) {
  long count = 0;
  for (long i = 0; i < room && text[i] != 0; ++count) {
    i += static_cast<long>(zuCharSize(text + i, zuCPUTF8));
    if (i > room) break;
  }
  return count;
}

}  // namespace

CharacterConverter::CharacterConverter(ReportCodePageErrors reportCodePageErrors) {
  substitution.reportCodePageErrors = reportCodePageErrors;
}

CharacterConverter::~CharacterConverter() {
  delete handleCache;
  delete leadByteCache;
  delete nameCache;
}

int CharacterConverter::initialize(unsigned long size) {
  if (handleCache && nameCache && leadByteCache) return 0;
  if (makeCache(handleCache, size) || makeCache(nameCache, size)) return 1;
  if (!leadByteCache) leadByteCache = new ZuPCU8Cache;
  return leadByteCache ? 0 : 1;
}

void CharacterConverter::setEnableFallbackMapping(unsigned int on) {
  enableFallback = on;
  if (handleCache) handleCache->setEnableFallbackMapping(on);
  if (nameCache) nameCache->setEnableFallbackMapping(on);
}

unsigned long CharacterConverter::oxMaxCharSize(long codePage) {
  UConverter* handle = nullptr;
  return getHandle(codePage, &handle) ? 0 : zuconvert::charSizesOf(handle).max;
}

unsigned long CharacterConverter::oxMinCharSize(long codePage) {
  UConverter* handle = nullptr;
  return getHandle(codePage, &handle) ? 0 : zuconvert::charSizesOf(handle).min;
}

// Makes a new converter follow this object's settings; closes it if that fails.
bool CharacterConverter::prepare(UConverter* handle) {
  if (!handle) return false;
  if (zuconvert::installPolicy(handle, &substitution)) {
    ucnv_close(handle);
    return false;
  }
  if (enableFallback) ucnv_setFallback(handle, 1);
  return true;
}

// A new converter in the cache; null on failure.
UConverter* CharacterConverter::openInto(long codePage) {
  UConverter* const handle = zuconvert::openCodePage(codePage);
  if (!prepare(handle)) return nullptr;
  if (!handleCache->addAssoc(codePage, handle)) return handle;
  ucnv_close(handle);
  return nullptr;
}

// The same by name, which becomes the cache's copy.
UConverter* CharacterConverter::openInto(const unsigned char*& name, unsigned long length) {
  unsigned char* const copy = ramAllocStr(name, length);
  if (!copy) return nullptr;
  UConverter* const handle = zuconvert::openName(copy);
  if (prepare(handle)) {
    if (!nameCache->addAssoc(copy, length, handle)) {
      name = copy;
      return handle;
    }
    ucnv_close(handle);
  }
  free(copy);
  return nullptr;
}

// Without a frame of its own, for the row "getHandle, last page" of the benchmark.
int CharacterConverter::getHandle(long codePage, UConverter** handle) {
  if (codePage != lastCodePage || !lastHandle) return findHandle(codePage, handle);
  *handle = lastHandle;
  return 0;
}

int CharacterConverter::findHandle(long codePage, UConverter** handle) {
  if (!handleCache) return zuconvert::reportFailure();
  UConverter* found = handleCache->getHandleForKey(codePage);
  if (!found) found = openInto(codePage);
  if (!found) return 1;
  lastCodePage = codePage;
  *handle = lastHandle = found;
  return 0;
}

int CharacterConverter::getHandle(const unsigned char* name, unsigned long length, UConverter** handle) {
  if (lastName && length == lastNameLength && memEqual(name, lastName, length)) {
    *handle = lastNameHandle;
    return 0;
  }
  if (!nameCache) return zuconvert::reportFailure();
  UConverter* found = nameCache->getHandleForKey(&name, length);
  if (!found) found = openInto(name, length);
  if (!found) return 1;
  lastName = name;
  lastNameLength = length;
  *handle = lastNameHandle = found;
  return 0;
}

int CharacterConverter::getUTF8Handle() {
  return utf8Handle ? 0 : getHandle(kUTF8Name, sizeof kUTF8Name - 1, &utf8Handle);
}

int CharacterConverter::getPossibleLeadByteMap(long codePage, const unsigned char** map) {
  if (!lastLeadMap || codePage != lastLeadCodePage) {
    if (!leadByteCache) return zuconvert::reportFailure();
    const unsigned char* found = leadByteCache->getHandleForKey(codePage);
    if (!found) {
      UConverter* handle = nullptr;
      unsigned char* fresh = nullptr;
      if (getHandle(codePage, &handle) || generateLeadByteMap(handle, &fresh)) return 1;
      if (leadByteCache->addAssoc(codePage, fresh)) {
        free(fresh);
        return 1;
      }
      found = fresh;
    }
    lastLeadCodePage = codePage;
    lastLeadMap = found;
  }
  *map = lastLeadMap;
  return 0;
}

int CharacterConverter::isPossibleLeadByte(long codePage, unsigned char byte, int* result) {
  const unsigned char* map = nullptr;
  if (getPossibleLeadByteMap(codePage, &map) || !map) return 1;
  *result = map[byte];
  return 0;
}

// The end of every conversion that can substitute.
int CharacterConverter::finish(ZuConvertReturn result) {
  if (substitution.substituted) {
    substitution.substituted = 0;
    if (result < ZuConvertFailed) result = ZuConvertSubstituted;
  }
  return checkOXreturn(result);
}

int CharacterConverter::copyUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                 long* dstUsed, long* srcUsed) {
  const long length = srcLen < 0 ? static_cast<long>(strLen(src)) : srcLen;
  const long copied = std::min(length, std::max(dstLen, 0L));
  fastMemCopy(dst, src, static_cast<unsigned long>(copied));
  if (length < dstLen) dst[length] = 0;
  if (dstUsed) *dstUsed = copied;
  if (srcUsed) *srcUsed = copied;
  return checkOXreturn(copied < length ? ZuConvertTruncated : ZuConvertOK);
}

int CharacterConverter::convertUTF16(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                     long* dstUsed, long* srcUsed) {
  const auto* const units = reinterpret_cast<const unsigned short*>(src);
  long needed = 0;
  // What is not written at the end of a full target must not be read as text.
  const long unsure = std::clamp(dstLen, 0L, 4L);
  memZero(dst + std::max(dstLen, 0L) - unsure, static_cast<unsigned long>(unsure));
  const ZuConvertReturn result = oxUTF16ToUTF8(dst, dstLen, units, srcLen < 0 ? -1 : srcLen / 2, &needed, 0);
  if (dstUsed) *dstUsed = needed;
  if (srcUsed) {
    *srcUsed = result >= ZuConvertFailed ? 0
               : needed >= dstLen        ? 2 * countWhole(dst, dstLen)
                                         : 2 * static_cast<long>(zuCharLen(dst, zuCPUTF8));
  }
  return checkOXreturn(result);
}

int CharacterConverter::oxAnsiToUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                     long* dstUsed, long* srcUsed, long codePage) {
  if (!dst || !src) return checkOXreturn(ZuConvertFailed);
  if (codePage == UCNV_IANA_UTF_8) return copyUTF8(dst, dstLen, src, srcLen, dstUsed, srcUsed);
  if (codePage == UCNV_IANA_UTF_16LE) return convertUTF16(dst, dstLen, src, srcLen, dstUsed, srcUsed);
  if (isEbcdicPage(codePage)) {
    return oxCpgToCpg(dst, dstLen, src, srcLen, dstUsed, srcUsed, codePage, UCNV_IANA_UTF_8);
  }
  UConverter* from = nullptr;
  if (getHandle(codePage, &from) || getUTF8Handle()) return 1;
  substitution.substituted = 0;
  return finish(srcUsed ? ::oxAnsiToUTF8(dst, dstLen, src, srcLen, dstUsed, srcUsed, from, utf8Handle)
                        : ::oxAnsiToUTF8(dst, dstLen, src, srcLen, dstUsed, from, utf8Handle));
}

int CharacterConverter::oxUTF8ToAnsi(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                     long* dstUsed, long* srcUsed, long codePage) {
  UConverter* to = nullptr;
  if (getUTF8Handle() || getHandle(codePage, &to)) return 1;
  substitution.substituted = 0;
  return finish(srcUsed ? ::oxUTF8ToAnsi(dst, dstLen, src, srcLen, dstUsed, srcUsed, utf8Handle, to)
                        : ::oxUTF8ToAnsi(dst, dstLen, src, srcLen, dstUsed, utf8Handle, to));
}

int CharacterConverter::oxCpgToCpg(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                   long* dstUsed, long* srcUsed, long fromCodePage, long toCodePage) {
  UConverter* from = nullptr;
  UConverter* to = nullptr;
  if (getHandle(fromCodePage, &from) || getHandle(toCodePage, &to)) return 1;
  substitution.substituted = 0;
  return finish(srcUsed ? ::oxCpgToCpg(dst, dstLen, src, srcLen, dstUsed, srcUsed, from, to)
                        : ::oxCpgToCpg(dst, dstLen, src, srcLen, dstUsed, from, to));
}

int CharacterConverter::oxUCS2ToAnsi(unsigned char* dst, long dstLen, unsigned short* src, long srcLen,
                                     long* dstUsed, long* srcUsed, long codePage, int byteSwap) {
  UConverter* to = nullptr;
  if (getHandle(codePage, &to)) return 1;
  substitution.substituted = 0;
  return finish(srcUsed ? ::oxUCS2ToAnsi(dst, dstLen, src, srcLen, dstUsed, srcUsed, to, byteSwap)
                        : ::oxUCS2ToAnsi(dst, dstLen, src, srcLen, dstUsed, to, byteSwap));
}

// Towards Unicode nothing is substituted.
int CharacterConverter::oxAnsiToUCS2(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                                     long* dstUsed, long* srcUsed, long codePage, int byteSwap) {
  UConverter* from = nullptr;
  if (getHandle(codePage, &from)) return 1;
  return checkOXreturn(srcUsed ? ::oxAnsiToUCS2(dst, dstLen, src, srcLen, dstUsed, srcUsed, from, byteSwap)
                               : ::oxAnsiToUCS2(dst, dstLen, src, srcLen, dstUsed, from, byteSwap));
}
