#include "zulib/convert/internal/tail.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>

#include "zulib/codepages/ucnvconv.h"

namespace zuconvert {

namespace {

constexpr unsigned long kLongestUTF8 = 4;
constexpr unsigned long kMostAtOnce = 0x40000000UL;

bool isMalformed(UErrorCode status) {
  return status == U_INVALID_CHAR_FOUND || status == U_TRUNCATED_CHAR_FOUND || status == U_ILLEGAL_CHAR_FOUND;
}

// Feeds text to the converter, without a look at the result.
UErrorCode feed(UConverter* converter, unsigned char* buffer, const unsigned char* text, unsigned long n) {
  UErrorCode status = U_ZERO_ERROR;
  const char* in = reinterpret_cast<const char*>(text);
  const char* const end = in + n;
  do {
    UChar* out = reinterpret_cast<UChar*>(buffer);
    const char* const until = end - in > static_cast<long>(kMostAtOnce) ? in + kMostAtOnce : end;
    status = U_ZERO_ERROR;
    ucnv_toUnicode(converter, &out, out + kValidationSize / sizeof(UChar), &in, until, nullptr, false,
                   &status);
  } while (status == U_BUFFER_OVERFLOW_ERROR || (!U_FAILURE(status) && in != end));
  return status;
}

}  // namespace

unsigned long unfinishedUTF8(const unsigned char* text, unsigned long n) {
  const unsigned long looked = std::min(n, kLongestUTF8);
  const unsigned char* const end = text + n - looked;
  auto whole = static_cast<long>(looked);  // the macro subtracts before it compares
  U8_TRUNCATE_IF_INCOMPLETE(end, 0, whole);
  return looked - static_cast<unsigned long>(whole);
}

bool isLeadUnit(const unsigned char* p, long codePage) {
  return U16_IS_LEAD(codePage == UCNV_IANA_UTF_16BE ? p[0] << 8 | p[1] : p[1] << 8 | p[0]);
}

UErrorCode unfinishedBytes(UConverter* converter, unsigned char* buffer, const unsigned char* text,
                           unsigned long n, unsigned long& unfinished) {
  unfinished = 0;
  ucnv_resetToUnicode(converter);
  UErrorCode status = feed(converter, buffer, text, n);
  if (!U_FAILURE(status)) {
    const int32_t held = ucnv_toUCountPending(converter, &status);
    if (held > 0) unfinished = std::min(static_cast<unsigned long>(held), n);
  }
  ucnv_resetToUnicode(converter);
  return isMalformed(status) ? U_ZERO_ERROR : status;
}

}  // namespace zuconvert
