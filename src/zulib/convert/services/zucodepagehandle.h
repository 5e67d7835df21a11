// ZuCodePageHandle: the converter of one code page that a streaming converter holds, from the cache of its
// connection or opened for it alone.
//
// Thread safety: none; its owner's.

#ifndef ZULIB_CONVERT_SERVICES_ZUCODEPAGEHANDLE_H
#define ZULIB_CONVERT_SERVICES_ZUCODEPAGEHANDLE_H

#include "zulib/convert/services/zuicuhandlecache.h"
#include "zulib/runtime/zuapi.h"

class ZU_API ZuCodePageHandle {
 public:
  ZuCodePageHandle() = default;
  ZuCodePageHandle(const ZuCodePageHandle&) = delete;
  ZuCodePageHandle& operator=(const ZuCodePageHandle&) = delete;
  // Gives the converter back, reset in both directions.
  ~ZuCodePageHandle() { giveBack(true, true); }

  // Takes a converter, clean, from `cache`, which must live until it goes back; or, if that is null, opens
  // one with the policy of `privateInfo` (null: none), which must live as long. Returns 0, or 1 with a
  // record.
  [[nodiscard]] int open(ZuICUHandleCache* cache, long codePage, ICUSubstitutionErrorInfo* privateInfo);

  // Gives the converter back to the cache, reset in the directions that are said, or closes it.
  void giveBack(bool resetToUnicode, bool resetFromUnicode);

  UConverter* get() const { return handle; }
  explicit operator bool() const { return handle != nullptr; }

  // Where the converter's substitutions are noted; null without a policy.
  ICUSubstitutionErrorInfo* getInfo() const { return info; }

 private:
  UConverter* handle = nullptr;
  ICUSubstitutionErrorInfo* info = nullptr;
  ZuICUHandleCache* origin = nullptr;  // null: opened privately
  long codePage = 0;
};

#endif
