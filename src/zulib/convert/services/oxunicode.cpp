#include "zulib/convert/services/oxunicode.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <climits>
#include <cstring>

#include "zulib/convert/internal/blocks.h"
#include "zulib/convert/internal/icuconverter.h"
#include "zulib/runtime/ram.h"
#include "zulib/text/strcopy.h"

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

// Bytes of the text in the code page of `converter`; -1 on a failure.
long countBytes(const unsigned short* text, long length, UConverter* converter) {
  if (!text || length > INT_MAX) return -1;
  UErrorCode status = U_ZERO_ERROR;
  const int32_t n = ucnv_fromUChars(converter, nullptr, 0, reinterpret_cast<const UChar*>(text),
                                    static_cast<int32_t>(length), &status);
  return status == U_BUFFER_OVERFLOW_ERROR || !U_FAILURE(status) ? n : -1;
}

}  // namespace

unsigned long oxUnicodeLen(const unsigned short* text) { return strLen(text); }

unsigned long oxUCS2Len(const void* text) {
  const auto* bytes = static_cast<const unsigned char*>(text);
  unsigned long n = 0;
  while (bytes[2 * n] != 0 || bytes[2 * n + 1] != 0) ++n;
  return n;
}

unsigned short* oxUnicodeDup(const unsigned short* text) {
  const unsigned long n = strLen(text);
  auto* const copy = static_cast<unsigned short*>(ramAlloc((n + 1) * sizeof *text));
  if (copy) strCopy(copy, text, n);
  return copy;
}

unsigned short* oxUnicodeCopy(unsigned short* dst, const unsigned short* src) {
  strCopy(dst, src);
  return dst;
}

long oxAsciiLenOfUnicodeStr(const unsigned short* text) { return oxAsciiLenOfUnicodeStr(text, -1); }

long oxAsciiLenOfUnicodeStr(const unsigned short* text, long length) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(nullptr, &status);
  const long n = countBytes(text, length, converter);
  ucnv_close(converter);
  return n;
}

long oxAsciiLenOfUnicodeStr(const unsigned short* text, UConverter* converter) {
  return countBytes(text, -1, converter);
}

long oxAsciiLenOfUnicodeStr(const unsigned short* text, long length, UConverter* converter) {
  return countBytes(text, length, converter);
}

void oxUCS2Swap(void* dst, const void* src, unsigned long count) {
  zuconvert::swapUnits(static_cast<unsigned char*>(dst), static_cast<const unsigned char*>(src), count);
}

std::uint32_t UTF16CharFromUTF8Char(std::uint32_t codePoint) {
  if (codePoint < 0x10000) return codePoint;
  if (codePoint > kLastCodePoint) return 0;
  const std::uint32_t lead = U16_LEAD(codePoint);
  return lead << 16 | U16_TRAIL(codePoint);
}

std::uint32_t UTF8CharFromUTF16Char(std::uint32_t units) {
  if (units < 0x10000) return units;
  const std::uint32_t lead = units >> 16;
  const std::uint32_t trail = units & 0xFFFF;
  if (!U16_IS_LEAD(lead) || !U16_IS_TRAIL(trail)) return 0;
  return static_cast<std::uint32_t>(U16_GET_SUPPLEMENTARY(lead, trail));
}

unsigned long oxAppendUTF8(unsigned char* dst, std::uint32_t units) {
  return static_cast<unsigned long>(Append_UTF8(dst, UTF8CharFromUTF16Char(units)) - dst);
}

unsigned char* Append_UTF8(unsigned char* dst, std::uint32_t codePoint) {
  const auto tail = [codePoint](int shift) {
    return static_cast<unsigned char>((codePoint >> shift & 0x3F) | 0x80);
  };
  if (codePoint < 0x80) {
    *dst++ = static_cast<unsigned char>(codePoint);
    return dst;
  }
  if (codePoint < 0x800) {
    *dst++ = static_cast<unsigned char>(codePoint >> 6 | 0xC0);
  } else {
    if (codePoint < 0x10000) {
      *dst++ = static_cast<unsigned char>(codePoint >> 12 | 0xE0);
    } else {
      *dst++ = static_cast<unsigned char>(codePoint >> 18 | 0xF0);
      *dst++ = tail(12);
    }
    *dst++ = tail(6);
  }
  *dst++ = tail(0);
  return dst;
}

unsigned long oxUTF8Upper(unsigned char* text, unsigned long length) {
  unsigned char* out = text;
  const unsigned char* p = text;
  const unsigned char* const end = text + length;
  while (p < end) {
    int32_t size = 0;
    UChar32 c;
    U8_NEXT(p, size, end - p, c);
    const UChar32 upper = c < 0 ? c : u_toupper(c);
    if (upper == c || U8_LENGTH(upper) > size) {
      std::memmove(out, p, static_cast<unsigned long>(size));
      out += size;
    } else {
      out += oxAppendUTF8(out, UTF16CharFromUTF8Char(static_cast<std::uint32_t>(upper)));
    }
    p += size;
  }
  if (out != end) *out = 0;
  return static_cast<unsigned long>(out - text);
}

int VerifyCodePage(long codePage) {
  ucnv_close(zuconvert::openCodePage(codePage));
  return 1;
}

unsigned long oxMaxCharSize(long codePage) {
  UConverter* const converter = zuconvert::openCodePage(codePage);
  if (!converter) return 0;
  const unsigned long size = zuconvert::charSizesOf(converter).max;
  ucnv_close(converter);
  return size;
}
