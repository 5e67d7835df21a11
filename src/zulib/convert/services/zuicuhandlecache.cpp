#include "zulib/convert/services/zuicuhandlecache.h"

#include <algorithm>
#include <new>
#include <utility>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/internal/icuconverter.h"

ZuICUHandleCache::ZuICUHandleCache(unsigned long maxSlots, ReportCodePageErrors reportCodePageErrors)
    : maxSlots(std::min(maxSlots, kMostSlots)), reportCodePageErrors(reportCodePageErrors) {}

ZuICUHandleCache::~ZuICUHandleCache() {
  for (unsigned long i = 0; i < usedSlots; ++i) {
    for (unsigned long j = 0; j < kMostHandles; ++j) {
      // A converter calls back with its record while it is closed.
      if (slots[i].handles[j]) ucnv_close(slots[i].handles[j]);
      std::free(substitutionInfo[i][j]);
    }
  }
}

unsigned long ZuICUHandleCache::indexOf(long key) const {
  const Slot* const slot =
      std::find_if(slots, slots + usedSlots, [key](const Slot& s) { return s.codePage == key; });
  return static_cast<unsigned long>(slot - slots);
}

// The new converter, following the policy; null passes, and is the result if an allocation fails.
UConverter* ZuICUHandleCache::withPolicy(UConverter* converter, ICUSubstitutionErrorInfo** info) const {
  *info = nullptr;
  if (!converter || reportCodePageErrors == ZuReportNone) return converter;
  if (void* const block = ramAlloc(sizeof(ICUSubstitutionErrorInfo))) {
    auto* const fresh = new (block) ICUSubstitutionErrorInfo{reportCodePageErrors};
    if (!zuconvert::installPolicy(converter, fresh)) {
      *info = fresh;
      return converter;
    }
    std::free(block);
  }
  ucnv_close(converter);
  return nullptr;
}

void ZuICUHandleCache::fillSlot(long key, const UConverter* converter) {
  Slot& slot = slots[usedSlots++];
  const zuconvert::CharSizes sizes = zuconvert::charSizesOf(converter);
  slot.codePage = key;
  slot.icuName = ucnvIANAidToICUname(key);
  slot.maxCharSize = sizes.max;
  slot.minCharSize = sizes.min;
}

UConverter* ZuICUHandleCache::getHandleForKey(long key, ICUSubstitutionErrorInfo** info) {
  const unsigned long i = indexOf(key);
  if (i < usedSlots && slots[i].handleCount > 0) {
    const unsigned long last = --slots[i].handleCount;
    *info = std::exchange(substitutionInfo[i][last], nullptr);
    if (*info) (*info)->substituted = 0;
    return std::exchange(slots[i].handles[last], nullptr);
  }
  UConverter* const converter = withPolicy(zuconvert::openCodePage(key), info);
  if (converter && i == usedSlots && usedSlots < maxSlots) fillSlot(key, converter);
  return converter;
}

int ZuICUHandleCache::addAssoc(long key, UConverter* handle, ICUSubstitutionErrorInfo* info) {
  const unsigned long i = indexOf(key);
  if (i < usedSlots && slots[i].handleCount < kMostHandles) {
    const unsigned long next = slots[i].handleCount++;
    if (slots[i].handles[next]) ucnv_close(slots[i].handles[next]);  // put aside by clearCache
    slots[i].handles[next] = handle;
    substitutionInfo[i][next] = info;
    return 0;
  }
  ucnv_close(handle);
  std::free(info);
  return 0;
}

void ZuICUHandleCache::getCharSizes(long key, unsigned long* max, unsigned long* min) {
  if (key >= UCNV_IANA_UTF_16BE && key <= UCNV_IANA_UTF_16) {
    *max = *min = 2;
    return;
  }
  const unsigned long i = indexOf(key);
  if (i == usedSlots) {
    UErrorCode status = U_ZERO_ERROR;
    ICUSubstitutionErrorInfo* info = nullptr;
    UConverter* const converter = withPolicy(ucnv_open(ucnvIANAidToICUname(key), &status), &info);
    *max = converter ? zuconvert::charSizesOf(converter).max : 2;
    *min = converter ? *max : 1;
    if (!converter) return;
    if (usedSlots < maxSlots) fillSlot(key, converter);
    addAssoc(key, converter, info);
    if (i == usedSlots) return;
  }
  *max = slots[i].maxCharSize;
  *min = slots[i].minCharSize;
}

// The records go here, so the converters that stay open must not call back with them later.
void ZuICUHandleCache::clearCache() {
  for (unsigned long i = 0; i < usedSlots; ++i) {
    for (unsigned long j = 0; j < slots[i].handleCount; ++j) {
      ICUSubstitutionErrorInfo* const info = std::exchange(substitutionInfo[i][j], nullptr);
      if (!info) continue;
      UErrorCode status = U_ZERO_ERROR;
      ucnv_setFromUCallBack(slots[i].handles[j], info->oldCallback, info->oldContext, nullptr, nullptr,
                            &status);
      std::free(info);
    }
    slots[i].handleCount = 0;
  }
}

int getPossibleLeadByteMap(ZuPCU8Cache* cache, ZuICUHandleCache* handles, long codePage,
                           const unsigned char** map) {
  const unsigned char* known = cache->getHandleForKey(codePage);
  if (!known) {
    ICUSubstitutionErrorInfo* info = nullptr;
    UConverter* const converter = handles->getHandleForKey(codePage, &info);
    if (!converter) return 1;
    unsigned char* fresh = nullptr;
    const int failed = generateLeadByteMap(converter, &fresh);
    handles->addAssoc(codePage, converter, info);
    if (failed || cache->addAssoc(codePage, fresh)) {
      std::free(fresh);
      return 1;
    }
    known = fresh;
  }
  *map = known;
  return 0;
}
