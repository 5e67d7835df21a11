// Results of conversions, what is done with characters that a code page lacks, and the diagnostic records of
// both.
//
// Thread safety: any thread; records go on the calling thread's list.

#ifndef ZULIB_CONVERT_SERVICES_ZUCONVERTRETURN_H
#define ZULIB_CONVERT_SERVICES_ZUCONVERTRETURN_H

#include <unicode/ucnv.h>

#include "zulib/runtime/zuapi.h"

enum ZuConvertReturn {
  ZuConvertOK = 0,
  ZuConvertTruncated = 1,
  ZuConvertSubstituted = 2,
  ZuConvertFailed = 4,  // also for null arguments
  ZuConvertBadTable = 5,
  ZuConvertNoCodePage = 6,
};

// What happens to a character that the target code page lacks.
enum ReportCodePageErrors {
  ZuReportNone = 0,       // it is substituted silently
  ZuReportAsError = 1,    // the conversion stops with ICU's error
  ZuReportAsWarning = 2,  // it is substituted, and said so; every other value means the same
};

// Context of handleCharacterSubstitution: belongs to one converter, or to several that one owner uses one at
// a time. It must live as long as the converter, which calls back once more when it is closed.
struct ICUSubstitutionErrorInfo {
  ReportCodePageErrors reportCodePageErrors = ZuReportNone;
  int substituted = 0;                            // set when a character was substituted; the owner clears it
  UConverterFromUCallback oldCallback = nullptr;  // what the installation replaced
  const void* oldContext = nullptr;
};

// The from-Unicode callback for a policy. `context` is an ICUSubstitutionErrorInfo. The replaced callback,
// ICU's default one, writes the substitution character.
extern "C" ZU_API void handleCharacterSubstitution(const void* context, UConverterFromUnicodeArgs* fromArgs,
                                                   const UChar* units, int32_t length, UChar32 codePoint,
                                                   UConverterCallbackReason reason, UErrorCode* err);

ZU_API ZuConvertReturn mapICUreturn(UErrorCode code);

// Record what a result means, and return 0, or 1 for an error:
//
//   truncated             warning 2735  "01004"  native code 4
//   substituted           warning 2736  "01000"  native code 2
//   bad table             error 2738    "HY000"  native code 60
//   code page not found   error 2739    "HY000"  native code 60
//   anything else but 0   error 2737    "HY000"  native code 60
ZU_API int checkICUreturn(UErrorCode code);
ZU_API int checkOXreturn(ZuConvertReturn code);

// `length` if the result came with text, else 0.
ZU_API long setConversionReturnLength(ZuConvertReturn code, long length);

#endif
