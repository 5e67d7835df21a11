// Code points: surrogate pairs, and case.
//
// A pair is a high surrogate followed by a low one; any other surrogate is a character of its own.

#ifndef ZULIB_TEXT_INTERNAL_CODEPOINT_H
#define ZULIB_TEXT_INTERNAL_CODEPOINT_H

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

// The case of UTF-16.
inline std::uint32_t upperPoint(std::uint32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  return static_cast<std::uint32_t>(u_toupper(static_cast<UChar32>(c)));
}
inline std::uint32_t lowerPoint(std::uint32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  return static_cast<std::uint32_t>(u_tolower(static_cast<UChar32>(c)));
}

// The case of narrow text (`javaToUpper`, `javaToLower`). The two Latin-1 ranges are taken whole, with 0xD7
// and 0xF7, which are no letters.
inline std::uint32_t upperLatin(std::uint32_t c) {
  if ((c >= 0x61 && c <= 0x7A) || (c >= 0xE0 && c <= 0xFE)) return c - 32;
  return c < 0xFF ? c : static_cast<std::uint32_t>(u_toupper(static_cast<UChar32>(c)));
}
inline std::uint32_t lowerLatin(std::uint32_t c) {
  if ((c >= 0x41 && c <= 0x5A) || (c >= 0xC0 && c <= 0xDE)) return c + 32;
  return c < 0xFF ? c : static_cast<std::uint32_t>(u_tolower(static_cast<UChar32>(c)));
}

}  // namespace zutext

#endif
