#include "zulib/convert/services/zucodepagehandle.h"

#include "zulib/convert/internal/icuconverter.h"

int ZuCodePageHandle::open(ZuICUHandleCache* cache, long page, ICUSubstitutionErrorInfo* privateInfo) {
  giveBack(true, true);
  origin = cache;
  codePage = page;
  if (cache) {
    handle = cache->getHandleForKey(page, &info);
    if (!handle) return 1;
    ucnv_reset(handle);  // its last user may not have known that it was dirty
    return 0;
  }
  handle = zuconvert::openCodePage(page);
  if (!handle) return 1;
  if (!privateInfo || privateInfo->reportCodePageErrors == ZuReportNone) return 0;
  if (zuconvert::installPolicy(handle, privateInfo)) {
    ucnv_close(handle);
    handle = nullptr;
    return 1;
  }
  info = privateInfo;
  return 0;
}

void ZuCodePageHandle::giveBack(bool resetToUnicode, bool resetFromUnicode) {
  if (!handle) return;
  if (origin) {
    if (resetToUnicode) ucnv_resetToUnicode(handle);
    if (resetFromUnicode) ucnv_resetFromUnicode(handle);
    origin->addAssoc(codePage, handle, info);
  } else {
    ucnv_close(handle);
  }
  handle = nullptr;
  info = nullptr;
}
