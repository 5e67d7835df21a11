// Walking narrow text by character without asking the C library about bytes whose answer cannot differ.
//
// What the C locale makes of each single byte is worked out once per encoding (LocaleFacts) and
// looked up from then on; only a byte that may begin a double-byte character is put to the C library. The
// facts hang on the name of the encoding, so a later `setlocale` or `uselocale` is seen by the next call.

#ifndef ZULIB_TEXT_INTERNAL_NARROW_H
#define ZULIB_TEXT_INTERNAL_NARROW_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zulib/text/zuchar.h"

namespace zutext {

struct LocaleFacts {
  bool asciiPlain;           // no byte below 0x80 begins a longer character
  bool asciiFold;            // below 0x80 exactly a to z and A to Z fold, and nothing above folds into it
  char codeset[64];          // the name of the encoding
  unsigned char size[256];   // 2 when the byte can begin a double-byte character, else 1
  unsigned char upper[256];  // the byte as a character of its own, folded by strUpper
};

// The facts of the calling thread's locale. They stay valid until the library is unloaded.
const LocaleFacts& localeFacts();

// True when the two bytes at `p` are one character of the C locale.
bool isDoubleByte(const unsigned char* p);

// The wide character at `p` and its size within `left` bytes: 0 when there is none that is whole and valid.
// `cut` tells a character that the count ends within.
unsigned long decodeLocale(const unsigned char* p, unsigned long left, wchar_t* wide, bool* cut);

// White space in the C locale, looking at no more than `left` bytes.
bool isWhiteSpaceWithin(const unsigned char* p, unsigned long left, const LocaleFacts& facts);

inline constexpr std::uint64_t highBits = 0x8080808080808080u;

// Sizes in UTF-8, by first byte.
inline constexpr std::array<unsigned char, 256> utf8Sizes = [] {
  std::array<unsigned char, 256> sizes{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    sizes[byte] = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
  }
  return sizes;
}();

// ASCII folds alike in every locale, so single bytes of UTF-8 need no facts.
inline constexpr std::array<unsigned char, 256> asciiUpper = [] {
  std::array<unsigned char, 256> upper{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    upper[byte] = static_cast<unsigned char>(byte >= 'a' && byte <= 'z' ? byte - 32 : byte);
  }
  return upper;
}();

inline std::uint64_t load8(const void* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// The first byte at or past `p` that is not ASCII; `end` when there is none.
const unsigned char* skipAscii(const unsigned char* p, const unsigned char* end);

// The first byte at or past `p` that is `c1` or `c2`; null when there is none.
const unsigned char* findEither(const unsigned char* p, const unsigned char* end, unsigned char c1,
                                unsigned char c2);

// How many bytes from the start of `a` and `b`, in whole blocks, are ASCII and the same but for a to z and A
// to Z, at most `n`.
unsigned long sameAsciiCi(const unsigned char* a, const unsigned char* b, unsigned long n);

// Steps through narrow text of one type. Made for one operation: it must not outlive a change of locale.
class NarrowWalk {
 public:
  // Through UTF-8, which needs no locale: a walk that is a constant leaves only the looks at its tables.
  constexpr NarrowWalk() = default;
  explicit NarrowWalk(zuCPType cp) {
    if (cp != zuCPUTF8) followLocale();
  }

  // Bytes of the character at `p`, of which `left` (at least 1) may be looked at. Above `left` when the count
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

  // True when runs of ASCII are single bytes and fold as a to z and A to Z do.
  bool plainFold() const { return asciiFold; }
  bool plainAscii() const { return asciiPlain; }

 private:
  void followLocale();

  // True when a look at the bytes just before `p`, which is past `start`, shows that none reaches over it.
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

  const unsigned char* sizes = utf8Sizes.data();   // by first byte
  const unsigned char* upper = asciiUpper.data();  // folded bytes
  bool utf8 = true;
  bool ask = false;  // a size of 2 has to be confirmed by the C library
  bool asciiPlain = true;
  bool asciiFold = true;
};

// First place of `m` bytes at the start of a character; null when there is none.
const unsigned char* findBytes(const NarrowWalk& walk, const unsigned char* s, unsigned long n,
                               const unsigned char* pat, unsigned long m);

// First byte `ch` at the start of a character in `n` bytes; null when there is none.
const unsigned char* findByte(const NarrowWalk& walk, const unsigned char* s, unsigned long n,
                              unsigned char ch);

inline unsigned long narrowLength(const unsigned char* s) {
  return std::strlen(reinterpret_cast<const char*>(s));
}

// Bytes before the terminator, which in UCS-2 is a zero unit.
inline unsigned long narrowLength(const unsigned char* s, zuCPType cp) {
  return cp == zuCPUCS2 ? 2 * zuCharLen(s, cp) : narrowLength(s);
}

}  // namespace zutext

#endif
