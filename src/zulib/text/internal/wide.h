// UTF-16 by code point: pairs, and scans for one unit.
//
// A pair is a high surrogate with a low one behind it; any other surrogate is a character of its own.

#ifndef ZULIB_TEXT_INTERNAL_WIDE_H
#define ZULIB_TEXT_INTERNAL_WIDE_H

#include <unicode/uchar.h>

#include <cstdint>

namespace zutext {

constexpr bool isHigh(unsigned unit) { return (unit & 0xFC00u) == 0xD800u; }
constexpr bool isLow(unsigned unit) { return (unit & 0xFC00u) == 0xDC00u; }

constexpr std::uint32_t joinPair(std::uint32_t high, std::uint32_t low) {
  return (high << 10) + low - 0x35FDC00u;
}
constexpr unsigned short highOf(std::uint32_t codePoint) {
  return static_cast<unsigned short>((codePoint >> 10) + 0xD7C0u);
}
constexpr unsigned short lowOf(std::uint32_t codePoint) {
  return static_cast<unsigned short>((codePoint & 1023u) | 0xDC00u);
}

// Units of the character at `p`, of which `left` (at least 1) may be looked at.
inline unsigned long wideSize(const unsigned short* p, unsigned long left) {
  return isHigh(p[0]) && left > 1 && isLow(p[1]) ? 2 : 1;
}

inline std::uint32_t codePointAt(const unsigned short* p, unsigned long left) {
  return wideSize(p, left) == 2 ? joinPair(p[0], p[1]) : p[0];
}

inline std::uint32_t foldPoint(std::uint32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  return static_cast<std::uint32_t>(u_toupper(static_cast<UChar32>(c)));
}

// Units before the terminator.
unsigned long wideLength(const unsigned short* s);

// The first unit `ch` at or past `p`, halves of pairs included; `end` when there is none.
const unsigned short* scanUnit(const unsigned short* p, const unsigned short* end, unsigned short ch);

}  // namespace zutext

#endif
