#include "zulib/convert/services/convutf.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>

#include "zulib/convert/internal/blocks.h"
#include "zulib/convert/services/oxunicode.h"
#include "zulib/text/strcopy.h"

namespace {

constexpr long kMostBytes = 4;  // of a character of UTF-8
constexpr long kAscii = 8;      // bytes of ASCII that are taken at once

constexpr bool isSurrogate(UChar32 c) { return (c & ~0x7FF) == 0xD800; }

// The code point at `s`, which moves past it; below 0 if it is malformed, with `s` past the malformed bytes.
// Reads up to `end`.
UChar32 decodeSlowly(const unsigned char*& s, const unsigned char* end) {
  int32_t used = 1;
  UChar32 c = *s;
  constexpr UBool kStrict = -1;  // no surrogates
  if (c >= 0x80) {
    c = utf8_nextCharSafeBody(s, &used, static_cast<int32_t>(std::min(end - s, kMostBytes)), c, kStrict);
  }
  s += used;
  return c;
}

// Whether the bytes at `s`, which is not ASCII, are one whole character of three bytes; of two.
bool isThree(const unsigned char* s, UChar32& c) {
  const unsigned lead = s[0] - 0xE0U;
  const unsigned second = s[1] ^ 0x80U;
  const unsigned third = s[2] ^ 0x80U;
  c = static_cast<UChar32>(lead << 12 | second << 6 | third);
  return lead < 0x10 && (second | third) < 0x40 && c >= 0x800 && !isSurrogate(c);
}
bool isTwo(const unsigned char* s, UChar32& c) {
  const unsigned lead = s[0] - 0xC2U;
  const unsigned second = s[1] ^ 0x80U;
  c = static_cast<UChar32>((lead + 2) << 6 | second);
  return lead < 0x1E && second < 0x40;
}

// What a malformed sequence from `start` to `after` means, and the place that is reported for it.
UErrorCode classify(const unsigned char* start, const unsigned char*& after, const unsigned char* end) {
  if (after < end && *after != 0) return U_INVALID_CHAR_FOUND;
  after = start;
  return U_TRUNCATED_CHAR_FOUND;
}

// Units that the text from `s` to `end` needs.
long countUnits(const unsigned char* s, const unsigned char* end, UErrorCode* err) {
  long units = 0;
  while (s < end) {
    if (end - s >= kAscii && zuconvert::isAscii8(s)) {
      s += kAscii;
      units += kAscii;
      continue;
    }
    const unsigned char* start = s;
    const UChar32 c = decodeSlowly(s, end);
    if (c < 0) {
      *err = classify(start, s, end);
      return 0;
    }
    units += U16_LENGTH(c);
  }
  return units;
}

// Decodes while there are eight bytes and eight units; the rest is left to the caller.
UErrorCode decodeRun(const unsigned char*& from, const unsigned char* end, unsigned short*& to,
                     const unsigned short* limit) {
  const unsigned char* s = from;
  unsigned short* out = to;
  UErrorCode status = U_ZERO_ERROR;
  while (end - s >= kAscii && limit - out >= kAscii) {
    UChar32 c;
    if (*s < 0x80) {
      if (zuconvert::isAscii8(s)) {
        for (long i = 0; i < kAscii; ++i) out[i] = s[i];
        s += kAscii;
        out += kAscii;
      } else {
        *out++ = *s++;
      }
    } else if (isThree(s, c)) {
      *out++ = static_cast<unsigned short>(c);
      s += 3;
    } else if (isTwo(s, c)) {
      *out++ = static_cast<unsigned short>(c);
      s += 2;
    } else {
      const unsigned char* const start = s;
      c = decodeSlowly(s, end);
      if (c < 0) {
        status = classify(start, s, end);
        break;
      }
      *out++ = U16_LEAD(c);
      *out++ = U16_TRAIL(c);
    }
  }
  from = s;
  to = out;
  return status;
}

// Both ends of a transcoding: the terminator, and what is left to say about the room.
template <class Char>
void terminate(Char* end, long capacity, long needed, long* required, UErrorCode* err) {
  if (required) *required = needed;
  if (end && needed < capacity) {
    *end = 0;
  } else {
    *err = needed == capacity ? U_STRING_NOT_TERMINATED_WARNING : U_BUFFER_OVERFLOW_ERROR;
  }
}

template <class Dst, class Src>
bool acceptable(Dst* const* dst, long dstCapacity, const Src* const* src, long srcLength, UErrorCode* err) {
  if (!err || U_FAILURE(*err)) return false;
  if (src && *src && srcLength >= -1 && dst && dstCapacity >= 0 && (*dst || dstCapacity == 0)) return true;
  *err = U_ILLEGAL_ARGUMENT_ERROR;
  return false;
}

// The code point at `s`, which moves past it; a surrogate if it is without its other half.
UChar32 joinAt(const unsigned short*& s, const unsigned short* end) {
  const UChar32 c = *s++;
  if (!U16_IS_LEAD(c) || s == end || !U16_IS_TRAIL(*s)) return c;
  return U16_GET_SUPPLEMENTARY(c, *s++);
}

}  // namespace

unsigned short* ConvUTF8ToUTF16(unsigned short** dst, long dstCapacity, long* required,
                                const unsigned char** src, long srcLength, UErrorCode* err) {
  if (!acceptable(dst, dstCapacity, src, srcLength, err)) return nullptr;
  unsigned short* const target = *dst;
  const unsigned short* const limit = target + dstCapacity;
  const unsigned char* const end = *src + (srcLength < 0 ? static_cast<long>(strLen(*src)) : srcLength);
  UErrorCode status = decodeRun(*src, end, *dst, limit);
  long uncut = 0;  // a second unit without room
  while (!U_FAILURE(status) && *src < end && *dst < limit) {
    const unsigned char* const start = *src;
    const UChar32 c = decodeSlowly(*src, end);
    if (c < 0) {
      status = classify(start, *src, end);
    } else if (c < 0x10000) {
      *(*dst)++ = static_cast<unsigned short>(c);
    } else {
      *(*dst)++ = U16_LEAD(c);
      if (*dst < limit) {
        *(*dst)++ = U16_TRAIL(c);
      } else {
        uncut = 1;
      }
    }
  }
  const long rest = U_FAILURE(status) ? 0 : countUnits(*src, end, &status);
  if (U_FAILURE(status)) {
    *err = status;
    return nullptr;
  }
  terminate(*dst, dstCapacity, (*dst - target) + uncut + rest, required, err);
  return target;
}

unsigned char* ConvUTF16ToUTF8(unsigned char** dst, long dstCapacity, long* required,
                               const unsigned short** src, long srcLength, UErrorCode* err) {
  if (!acceptable(dst, dstCapacity, src, srcLength, err)) return nullptr;
  unsigned char* const target = *dst;
  const unsigned char* const limit = target + dstCapacity;
  const unsigned short* s = *src;
  const unsigned short* const end = s + (srcLength < 0 ? static_cast<long>(strLen(s)) : srcLength);
  long needed = 0;
  for (bool fits = true; s < end;) {
    const UChar32 c = joinAt(s, end);
    if (isSurrogate(c)) {
      *err = U_INVALID_CHAR_FOUND;
      return nullptr;
    }
    const long size = U8_LENGTH(c);
    needed += size;
    fits = fits && size <= limit - *dst;
    if (!fits) continue;
    *dst = Append_UTF8(*dst, static_cast<std::uint32_t>(c));
    *src = s;
  }
  terminate(*dst, dstCapacity, needed, required, err);
  return target;
}
