// Walking text by whole characters: narrow text of a code page, and UTF-16.
//
// Both walks have the same operations, so that one algorithm serves both widths:
//
//   size(p, left)   characters (bytes, units) of the character at `p`; above `left` if the count cuts it
//   step(p, left)   the same, but no more than `left`
//   next(p, end)    the start of the next character
//   find(walk, s, n, ch) and find(walk, s, n, pat, m): the first hit that starts at the start of a character,
//   or null

#ifndef ZULIB_TEXT_INTERNAL_WALK_H
#define ZULIB_TEXT_INTERNAL_WALK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zulib/text/internal/bytescan.h"
#include "zulib/text/internal/codepoint.h"
#include "zulib/text/internal/localefacts.h"
#include "zulib/text/zucptype.h"

namespace zutext {

// Sizes in UTF-8, by first byte.
inline constexpr std::array<unsigned char, 256> kUtf8Sizes = [] {
  std::array<unsigned char, 256> sizes{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    sizes[byte] = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
  }
  return sizes;
}();

// ASCII folds alike in every locale, so single bytes of UTF-8 need no facts.
inline constexpr std::array<unsigned char, 256> kAsciiUpper = [] {
  std::array<unsigned char, 256> upper{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    upper[byte] = static_cast<unsigned char>(plain::asciiUpper(byte));
  }
  return upper;
}();

// Steps through narrow text of one type. Made for one operation: it must not outlive a change of locale.
class NarrowWalk {
 public:
  // Through UTF-8, which needs no locale. Used as a constant, only the table look-ups remain of it.
  constexpr NarrowWalk() = default;
  explicit NarrowWalk(zuCPType cp) {
    if (cp != zuCPUTF8) followLocale();
  }

  // Bytes of the character at `p`, of which `left` (at least 1) may be looked at. Above `left` if the count
  // cuts the character.
  unsigned long size(const unsigned char* p, unsigned long left) const {
    const unsigned long likely = sizes[*p];
    if (likely == 1 || !ask) return likely;
    return left < 2 || isDoubleByte(p) ? 2 : 1;
  }

  // `size`, but no more than `left`.
  unsigned long step(const unsigned char* p, unsigned long left) const {
    const unsigned long whole = size(p, left);
    return whole < left ? whole : left;
  }

  // `p` is below `end`.
  const unsigned char* next(const unsigned char* p, const unsigned char* end) const {
    if (sizes[*p] == 1) return p + 1;  // as a branch, so that a walk need not wait for each size
    return p + step(p, static_cast<unsigned long>(end - p));
  }

  // The first start of a character at or past `target`, from the start of a character at `start`.
  const unsigned char* reach(const unsigned char* start, const unsigned char* target,
                             const unsigned char* end) const {
    if (start >= target) return start;
    return isPlainlyStart(start, target) ? target : reachFurther(start, target, end);
  }

  // The byte as a character of its own, folded to upper case.
  unsigned char fold(unsigned char byte) const { return upper[byte]; }

  // Both tables have 256 entries. A size above 1 has to be asked for by `size`, except in UTF-8.
  const unsigned char* sizeTable() const { return sizes; }
  const unsigned char* foldTable() const { return upper; }
  bool isUTF8() const { return utf8; }

  // True if runs of ASCII are single bytes and fold as a to z and A to Z do.
  bool plainFold() const { return asciiFold; }
  bool plainAscii() const { return asciiPlain; }

 private:
  void followLocale();

  // True if a look at the bytes just before `p`, which is past `start`, shows that none reaches over it.
  bool isPlainlyStart(const unsigned char* start, const unsigned char* p) const {
    if (!utf8) return sizes[p[-1]] == 1;
    if (p - start < 4) return false;
    std::uint32_t before;
    std::memcpy(&before, p - 4, sizeof before);
    return (before & (before << 1) & 0x80808080u) == 0;  // no byte has both high bits of a first byte
  }

  bool isSurelyStart(const unsigned char* start, const unsigned char* p) const;
  const unsigned char* reachFurther(const unsigned char* start, const unsigned char* target,
                                    const unsigned char* end) const;

  const unsigned char* sizes = kUtf8Sizes.data();   // by first byte
  const unsigned char* upper = kAsciiUpper.data();  // folded bytes
  bool utf8 = true;
  bool ask = false;  // a size of 2 has to be confirmed by the C library
  bool asciiPlain = true;
  bool asciiFold = true;
};

// Steps through UTF-16.
class WideWalk {
 public:
  // A high surrogate as the last unit is a cut pair.
  unsigned long size(const unsigned short* p, unsigned long left) const {
    return isHigh(*p) && left == 1 ? 2 : wideSize(p, left);
  }
  unsigned long step(const unsigned short* p, unsigned long left) const { return wideSize(p, left); }
  const unsigned short* next(const unsigned short* p, const unsigned short* end) const {
    return p + step(p, static_cast<unsigned long>(end - p));
  }
};

const unsigned char* find(const NarrowWalk& walk, const unsigned char* s, unsigned long n, unsigned char ch);
const unsigned char* find(const NarrowWalk& walk, const unsigned char* s, unsigned long n,
                          const unsigned char* pat, unsigned long m);
const unsigned short* find(const WideWalk& walk, const unsigned short* s, unsigned long n, unsigned short ch);
const unsigned short* find(const WideWalk& walk, const unsigned short* s, unsigned long n,
                           const unsigned short* pat, unsigned long m);

// True for a unit that is half of a pair in `n` units.
inline bool isHalfOfPair(const unsigned short* s, unsigned long n, unsigned long i) {
  return (isHigh(s[i]) && i + 1 < n && isLow(s[i + 1])) || (isLow(s[i]) && i > 0 && isHigh(s[i - 1]));
}

// Elements before the terminator.
inline unsigned long lengthOf(const unsigned char* s) {
  return std::strlen(reinterpret_cast<const char*>(s));
}
inline unsigned long lengthOf(const unsigned short* s) { return wideLength(s); }

// Bytes before the terminator, which in UCS-2 is a zero unit.
inline unsigned long lengthOf(const unsigned char* s, zuCPType cp) {
  if (cp != zuCPUCS2) return lengthOf(s);
  unsigned long n = 0;
  while (s[n] != 0 || s[n + 1] != 0) n += 2;
  return n;
}

// Moves characters between ranges that may overlap, and returns the end of the copy.
template <class Char>
Char* moveChars(Char* dst, const Char* src, unsigned long n) {
  if (n != 0) std::memmove(dst, src, n * sizeof(Char));
  return dst + n;
}

}  // namespace zutext

#endif
