#include "zulib/convert/internal/tail.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <iterator>

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

// Stops at a character that the end of the text cuts, and notes how many bytes of it there are.
extern "C" void noteCut(const void* context, UConverterToUnicodeArgs*, const char*, int32_t length,
                        UConverterCallbackReason, UErrorCode* status) {
  if (*status == U_TRUNCATED_CHAR_FOUND) *static_cast<int32_t*>(const_cast<void*>(context)) = length;
}

// Of the bytes that the converter holds, those that make no character if nothing follows them.
int32_t cutBytes(UConverter* converter) {
  int32_t cut = 0;
  UConverterToUCallback callback = nullptr;
  const void* context = nullptr;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter, noteCut, &cut, &callback, &context, &status);
  UChar units[64];
  UChar* out = units;
  const char* none = "";
  ucnv_toUnicode(converter, &out, std::end(units), &none, none, nullptr, true, &status);
  status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter, callback, context, nullptr, nullptr, &status);
  return cut;
}

}  // namespace

unsigned long unfinishedUTF8(const unsigned char* text, unsigned long n) {
  const unsigned long looked = std::min(n, kLongestUTF8);
  const unsigned char* const end = text + n - looked;
  auto whole = static_cast<long>(looked);  // the macro subtracts before it compares
  U8_TRUNCATE_IF_INCOMPLETE(end, 0, whole);
  return looked - static_cast<unsigned long>(whole);
}

unsigned long tailUTF8(const unsigned char* text, unsigned long n) {
  if (n == 0) return 0;
  unsigned long tail = 1;
  while (tail < n && U8_IS_TRAIL(text[n - tail])) ++tail;
  const auto trails = static_cast<unsigned long>(U8_COUNT_TRAIL_BYTES(text[n - tail]));
  return trails >= tail ? tail : 0;
}

bool isLeadUnit(const unsigned char* p, long codePage) {
  return U16_IS_LEAD(codePage == UCNV_IANA_UTF_16BE ? p[0] << 8 | p[1] : p[1] << 8 | p[0]);
}

UErrorCode unfinishedBytes(UConverter* converter, unsigned char* buffer, const unsigned char* text,
                           unsigned long n, bool isEnd, unsigned long& unfinished) {
  unfinished = 0;
  // A piece of a page with shifts may begin in another state than the first one, and then a whole character
  // would be taken for a cut one, and be lost at the end.
  if (isEnd && ucnv_getType(converter) != UCNV_MBCS) return U_ZERO_ERROR;
  ucnv_resetToUnicode(converter);
  UErrorCode status = feed(converter, buffer, text, n);
  if (!U_FAILURE(status)) {
    int32_t held = ucnv_toUCountPending(converter, &status);
    if (held > 0 && isEnd) held = cutBytes(converter);
    if (held > 0) unfinished = std::min(static_cast<unsigned long>(held), n);
  }
  ucnv_resetToUnicode(converter);
  return isMalformed(status) ? U_ZERO_ERROR : status;
}

}  // namespace zuconvert
