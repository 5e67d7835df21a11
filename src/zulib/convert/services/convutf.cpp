#include "zulib/convert/services/convutf.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>

#include "zulib/convert/internal/asciirun.h"
#include "zulib/convert/services/oxunicode.h"
#include "zulib/text/strcopy.h"

namespace {

constexpr long kMostBytes = 4;  // of a character of UTF-8
constexpr long kMostUnits = 2;  // and of UTF-16

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

// The same where at least four bytes can be read.
UChar32 decode(const unsigned char*& s, const unsigned char* end) {
  const unsigned lead = s[0];
  const unsigned second = s[1] ^ 0x80U;
  if (lead >= 0xC2 && lead < 0xE0 && second < 0x40) {
    s += 2;
    return static_cast<UChar32>((lead & 0x1F) << 6 | second);
  }
  const unsigned third = s[2] ^ 0x80U;
  if (lead >= 0xE0 && lead < 0xF0 && second < 0x40 && third < 0x40) {
    const auto c = static_cast<UChar32>((lead & 0xF) << 12 | second << 6 | third);
    if (c >= 0x800 && !isSurrogate(c)) {
      s += 3;
      return c;
    }
  }
  return decodeSlowly(s, end);
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
    if (end - s >= static_cast<long>(zuconvert::kAsciiBlock) && zuconvert::isAsciiBlock(s)) {
      s += zuconvert::kAsciiBlock;
      units += zuconvert::kAsciiBlock;
      continue;
    }
    const unsigned char* start = s;
    const UChar32 c = end - s >= kMostBytes && *s >= 0x80 ? decode(s, end) : decodeSlowly(s, end);
    if (c < 0) {
      *err = classify(start, s, end);
      return 0;
    }
    units += U16_LENGTH(c);
  }
  return units;
}

// Decodes while characters fit whole and four bytes can be read; the rest is left to the caller.
UErrorCode decodeRun(const unsigned char*& s, const unsigned char* end, unsigned short*& out,
                     const unsigned short* limit) {
  while (end - s >= kMostBytes && limit - out >= kMostUnits) {
    if (*s < 0x80) {
      const unsigned long n =
          zuconvert::copyAscii(out, s, static_cast<unsigned long>(std::min<long>(end - s, limit - out)));
      s += n;
      out += n;
      continue;
    }
    const unsigned char* start = s;
    const UChar32 c = decode(s, end);
    if (c < 0) return classify(start, s, end);
    if (c < 0x10000) {
      *out++ = static_cast<unsigned short>(c);
    } else {
      *out++ = U16_LEAD(c);
      *out++ = U16_TRAIL(c);
    }
  }
  return U_ZERO_ERROR;
}

// Both ends of a transcoding: the terminator, and what is left to say about the room.
template <class Char>
void terminate(Char* end, long capacity, long needed, long* required, UErrorCode* err) {
  if (required) *required = needed;
  if (needed < capacity) {
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
