#include "zulib/codepages/zutextconvert.h"

#include <string.h>
#include <unicode/ustring.h>

#include <algorithm>

#include "zulib/text/strcopy.h"

namespace {

constexpr unsigned long kMostUnits = zuTextConvertSize - 1;
constexpr unsigned short kMostLatin1 = 0xFF;

}  // namespace

// Latin-1 is the first 256 code points, so that neither direction needs a converter of ICU, which would take
// memory at the moment when an error about memory is being reported.
long zuGetANSIStrFromUTF16Str(const unsigned short* w, unsigned char* out, unsigned long size) {
  if (!w || !out || size == 0) return -1;
  const unsigned long n = std::min({strLen(w), kMostUnits, size - 1});
  // A character that Latin-1 lacks is a failure, since a name with another character is another name.
  if (std::any_of(w, w + n, [](unsigned short unit) { return unit > kMostLatin1; })) return -1;
  return strCopy(out, size, w, n) - out;
}

long zuGetANSIStrFromUTF16Str(const unsigned short* w, unsigned char* out) {
  return zuGetANSIStrFromUTF16Str(w, out, zuTextConvertSize);
}

long zuGetUTF16StrFromANSIStr(const unsigned char* s, unsigned short* out, unsigned long size) {
  if (!s || !out || size == 0) return -1;
  return strCopy(out, size, s) - out;
}

long zuGetUTF16StrFromANSIStr(const unsigned char* s, unsigned short* out) {
  return zuGetUTF16StrFromANSIStr(s, out, zuTextConvertSize);
}

long zuGetUTF8StrFromUTF16Str(const unsigned short* w, unsigned char* out, unsigned long size) {
  constexpr unsigned long kMostBytes = 0x7FFFFFFF;
  if (!w || !out || size == 0) return -1;
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8(reinterpret_cast<char*>(out), static_cast<int32_t>(std::min(size, kMostBytes)), &length,
              reinterpret_cast<const UChar*>(w), -1, &status);
  if (U_FAILURE(status)) return -1;
  if (status == U_STRING_NOT_TERMINATED_WARNING) out[--length] = 0;
  return length;
}

long zuGetUTF8StrFromUTF16Str(const unsigned short* w, unsigned char* out) {
  return zuGetUTF8StrFromUTF16Str(w, out, zuTextConvertSize);
}
