#include "zulib/convert/internal/tail.h"

#include <unicode/utf16.h>

#include <algorithm>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/text/zuchar.h"

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
  unsigned long tail = 1;
  while (tail < n && tail < kLongestUTF8 && (text[n - tail] & 0xC0) == 0x80) ++tail;
  if (tail > n) return 0;
  return zuCharSize(text + n - tail, zuCPUTF8) > tail ? tail : 0;
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

void terminate(unsigned char* end, unsigned long size, unsigned short minCharSize) {
  if (size == 0) return;
  end[0] = 0;
  if (minCharSize >= 2 && size >= 2) end[1] = 0;
}

}  // namespace zuconvert
