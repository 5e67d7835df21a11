#include "zulib/convert/internal/icuconverter.h"

#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/internal/report.h"
#include "zulib/convert/scalar/zuconvert.h"

namespace zuconvert {

namespace {

UConverter* open(const char* icuName, const unsigned char* shown) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(icuName, &status);
  if (!U_FAILURE(status)) return converter;
  checkICUreturn(status);
  if (status == U_FILE_ACCESS_ERROR) ZuErrorKeeper::appendTextToLastError(shown);
  return nullptr;
}

}  // namespace

UConverter* openCodePage(long codePage) {
  unsigned char digits[40];
  convert(digits, static_cast<long long>(codePage));
  return open(ucnvIANAidToICUname(codePage), digits);
}

UConverter* openName(const unsigned char* name) { return open(reinterpret_cast<const char*>(name), name); }

int installPolicy(UConverter* converter, ICUSubstitutionErrorInfo* info) {
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setFromUCallBack(converter, handleCharacterSubstitution, info, &info->oldCallback, &info->oldContext,
                        &status);
  if (!U_FAILURE(status)) return 0;
  addError(ZU_MSG_CODE_PAGE_SETUP_FAILED)
      .appendText(reinterpret_cast<const unsigned char*>(" Unable to set callback"));
  return 1;
}

CharSizes charSizesOf(const UConverter* converter) {
  return {static_cast<unsigned short>(ucnv_getMaxCharSize(converter)),
          static_cast<unsigned short>(ucnv_getMinCharSize(converter))};
}

}  // namespace zuconvert
