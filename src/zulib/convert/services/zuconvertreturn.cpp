#include "zulib/convert/services/zuconvertreturn.h"

#include "zulib/convert/internal/report.h"

void handleCharacterSubstitution(const void* context, UConverterFromUnicodeArgs* fromArgs, const UChar* units,
                                 int32_t length, UChar32 codePoint, UConverterCallbackReason reason,
                                 UErrorCode* err) {
  // ICU hands the context of callbacks as const; this one was installed from a record that is not.
  auto* info = static_cast<ICUSubstitutionErrorInfo*>(const_cast<void*>(context));
  if (reason != UCNV_RESET && reason != UCNV_CLOSE) {
    if (info->reportCodePageErrors == ZuReportAsError) return;
    if (info->reportCodePageErrors != ZuReportNone) info->substituted = 1;
  }
  if (info->oldCallback) {
    info->oldCallback(info->oldContext, fromArgs, units, length, codePoint, reason, err);
  }
}

ZuConvertReturn mapICUreturn(UErrorCode code) {
  switch (code) {
    case U_ZERO_ERROR: return ZuConvertOK;
    case U_BUFFER_OVERFLOW_ERROR:
    case U_STRING_NOT_TERMINATED_WARNING: return ZuConvertTruncated;
    case U_ILLEGAL_CHAR_FOUND: return ZuConvertSubstituted;
    case U_INVALID_TABLE_FORMAT:
    case U_INVALID_TABLE_FILE: return ZuConvertBadTable;
    case U_FILE_ACCESS_ERROR: return ZuConvertNoCodePage;
    default: return ZuConvertFailed;
  }
}

// A missing terminator is a truncation only for those who map ICU's code themselves.
int checkICUreturn(UErrorCode code) {
  if (code == U_STRING_NOT_TERMINATED_WARNING) return zuconvert::reportFailure();
  return checkOXreturn(mapICUreturn(code));
}

int checkOXreturn(ZuConvertReturn code) {
  switch (code) {
    case ZuConvertOK: return 0;
    case ZuConvertTruncated: zuconvert::reportTruncation(); return 0;
    case ZuConvertSubstituted: zuconvert::reportSubstitution(); return 0;
    case ZuConvertBadTable: return zuconvert::reportFailure(ZU_MSG_CONVERSION_TABLE_BAD);
    case ZuConvertNoCodePage: return zuconvert::reportFailure(ZU_MSG_CODE_PAGE_NOT_FOUND);
    default: return zuconvert::reportFailure();
  }
}

long setConversionReturnLength(ZuConvertReturn code, long length) {
  return code >= 0 && code < ZuConvertFailed ? length : 0;
}
