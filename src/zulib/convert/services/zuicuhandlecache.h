// ZuICUHandleCache: open converters that the streaming converters of a connection share.
//
// Opening a converter is costly, and an ICU converter keeps state, so one user at a time may have it. A user
// takes a converter out of the cache, owns it, and gives it back, reset if it is not in a clean state. Each
// of up to eight code pages has a slot, and a slot keeps up to three idle converters. A converter of a code
// page without a slot is opened for the one use, and closed when it comes back.
//
// Usage:
//   ZuICUHandleCache cache(8, ZuReportAsWarning);
//   ICUSubstitutionErrorInfo* info;
//   UConverter* converter = cache.getHandleForKey(106, &info);
//   if (!converter) return 1;
//   ...
//   cache.addAssoc(106, converter, info);
//
// Invariants of a slot, whose cells 0, 1, 2 each hold a converter or nothing:
//   1. Cells below `handleCount` hold idle converters, with their records if there is a policy.
//   2. Cells from `handleCount` on hold nothing, or a converter without a record that clearCache put aside:
//      it stays open until the cell is needed or the cache is destroyed.
//
// Thread safety: none; a cache serves one connection.

#ifndef ZULIB_CONVERT_SERVICES_ZUICUHANDLECACHE_H
#define ZULIB_CONVERT_SERVICES_ZUICUHANDLECACHE_H

#include "zulib/codepages/zuleadbytes.h"
#include "zulib/convert/services/zuconvertreturn.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZU_API ZuICUHandleCache : public ZuObject {
 public:
  static constexpr unsigned long kMostSlots = 8;
  static constexpr unsigned long kMostHandles = 3;  // idle converters of a slot

  // `maxSlots` above 8 counts as 8.
  explicit ZuICUHandleCache(unsigned long maxSlots = kMostSlots,
                            ReportCodePageErrors reportCodePageErrors = ZuReportNone);
  ZuICUHandleCache(const ZuICUHandleCache&) = delete;
  ZuICUHandleCache& operator=(const ZuICUHandleCache&) = delete;
  // Closes the converters that are in the cache. Those that are out are their users'.
  ~ZuICUHandleCache() override;

  // A converter, which becomes the caller's until addAssoc, with the record of its substitutions in `*info`:
  // null unless the cache has a policy. The record says nothing yet. Null if no converter can be had, with
  // error 2739 or that of checkICUreturn.
  UConverter* getHandleForKey(long key, ICUSubstitutionErrorInfo** info);

  // Takes a converter back, with its record. Closes it if the code page has no slot or its slot is full.
  // Always returns 0.
  int addAssoc(long key, UConverter* handle, ICUSubstitutionErrorInfo* info);

  // The bytes per character of a code page. Of a page without a slot, `*min` is the maximum too, since
  // nothing is kept of it; of one that does not open, the sizes are 2 and 1, and no error is recorded.
  void getCharSizes(long key, unsigned long* max, unsigned long* min);

  // Makes the cache hand out new converters only. The idle ones stay open.
  void clearCache();

  unsigned long getUsedSlots() const { return usedSlots; }
  unsigned long getMaxSlots() const { return maxSlots; }

 private:
  struct Slot {
    long codePage = 0;
    const char* icuName = nullptr;
    unsigned long maxCharSize = 0;
    unsigned long minCharSize = 0;
    unsigned long handleCount = 0;
    UConverter* handles[kMostHandles] = {};
  };

  unsigned long indexOf(long key) const;  // usedSlots if there is none
  UConverter* withPolicy(UConverter* converter, ICUSubstitutionErrorInfo** info) const;
  void fillSlot(long key, const UConverter* converter);

  unsigned long usedSlots = 0;
  unsigned long maxSlots;
  Slot slots[kMostSlots];
  ICUSubstitutionErrorInfo* substitutionInfo[kMostSlots][kMostHandles + 1] = {};
  ReportCodePageErrors reportCodePageErrors;
};

// The lead-byte map of a code page, from `cache`, or built with a converter of `handles` and kept in `cache`.
// Returns 0, or 1 if there is no converter or an allocation fails.
[[nodiscard]] ZU_API int getPossibleLeadByteMap(ZuPCU8Cache* cache, ZuICUHandleCache* handles, long codePage,
                                                const unsigned char** map);

#endif
