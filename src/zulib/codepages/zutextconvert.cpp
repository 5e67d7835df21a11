#include "zulib/codepages/zutextconvert.h"

#include <string.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <algorithm>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/text/strcopy.h"

namespace {

constexpr unsigned long MOST_UNITS = zuTextConvertSize - 1;

const UChar* uchars(const unsigned short* w) { return reinterpret_cast<const UChar*>(w); }

// A converter of its own for each call: ICU keeps those that are often opened.
class Latin1Converter {
 public:
  Latin1Converter() : converter(ucnv_open(ucnvIANAidToICUname(UCNV_IANA_LATIN_1), &status)) {
    // A character that Latin-1 lacks is a failure, since a name with another character is another name.
    ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  }
  Latin1Converter(const Latin1Converter&) = delete;
  Latin1Converter& operator=(const Latin1Converter&) = delete;
  ~Latin1Converter() { ucnv_close(converter); }

  // `convert` gets the converter and the status. Text that did not fit is cut, not refused.
  template <class Convert>
  bool run(Convert&& convert) {
    if (U_FAILURE(status)) return false;
    convert(converter, &status);
    return U_SUCCESS(status) || status == U_BUFFER_OVERFLOW_ERROR;
  }

 private:
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter;
};

}  // namespace

long zuGetANSIStrFromUTF16Str(const unsigned short* w, unsigned char* out, unsigned long size) {
  if (!w || !out || size == 0) return -1;
  const UChar* from = uchars(w);
  const UChar* fromEnd = from + std::min(strLen(w), MOST_UNITS);
  char* to = reinterpret_cast<char*>(out);
  const bool converted = Latin1Converter().run([&](UConverter* converter, UErrorCode* status) {
    ucnv_fromUnicode(converter, &to, to + size - 1, &from, fromEnd, nullptr, 1, status);
  });
  if (!converted) return -1;
  *to = 0;
  return to - reinterpret_cast<char*>(out);
}

long zuGetANSIStrFromUTF16Str(const unsigned short* w, unsigned char* out) {
  return zuGetANSIStrFromUTF16Str(w, out, zuTextConvertSize);
}

long zuGetUTF16StrFromANSIStr(const unsigned char* s, unsigned short* out, unsigned long size) {
  if (!s || !out || size == 0) return -1;
  const char* from = reinterpret_cast<const char*>(s);
  const char* fromEnd = from + strLen(s);
  auto* to = reinterpret_cast<UChar*>(out);
  const bool converted = Latin1Converter().run([&](UConverter* converter, UErrorCode* status) {
    ucnv_toUnicode(converter, &to, to + size - 1, &from, fromEnd, nullptr, 1, status);
  });
  if (!converted) return -1;
  *to = 0;
  return to - reinterpret_cast<UChar*>(out);
}

long zuGetUTF16StrFromANSIStr(const unsigned char* s, unsigned short* out) {
  return zuGetUTF16StrFromANSIStr(s, out, zuTextConvertSize);
}

long zuGetUTF8StrFromUTF16Str(const unsigned short* w, unsigned char* out, unsigned long size) {
  constexpr unsigned long mostBytes = 0x7FFFFFFF;
  if (!w || !out || size == 0) return -1;
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8(reinterpret_cast<char*>(out), static_cast<int32_t>(std::min(size, mostBytes)), &length,
              uchars(w), -1, &status);
  if (U_FAILURE(status)) return -1;
  if (status == U_STRING_NOT_TERMINATED_WARNING) out[--length] = 0;
  return length;
}

long zuGetUTF8StrFromUTF16Str(const unsigned short* w, unsigned char* out) {
  return zuGetUTF8StrFromUTF16Str(w, out, zuTextConvertSize);
}
