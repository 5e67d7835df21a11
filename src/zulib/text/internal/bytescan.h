// Scans of long texts that look at many bytes at a time.
//
// Each has its plain version in `plain`, which says what it does and which the tests hold it against, and the
// rows of
// `./dev bench text` that it is here for. Nothing past the end of a counted text is read.

#ifndef ZULIB_TEXT_INTERNAL_BYTESCAN_H
#define ZULIB_TEXT_INTERNAL_BYTESCAN_H

#include <cstdint>

namespace zutext {
namespace plain {

constexpr unsigned asciiUpper(unsigned byte) { return byte >= 'a' && byte <= 'z' ? byte - 32 : byte; }

inline const unsigned char* skipAscii(const unsigned char* p, const unsigned char* end) {
  while (p < end && *p < 0x80) ++p;
  return p;
}

inline const unsigned char* findEither(const unsigned char* p, const unsigned char* end, unsigned char c1,
                                       unsigned char c2) {
  while (p < end && *p != c1 && *p != c2) ++p;
  return p < end ? p : nullptr;
}

inline unsigned long sameAsciiCi(const unsigned char* a, const unsigned char* b, unsigned long n) {
  unsigned long i = 0;
  while (i < n && (a[i] | b[i]) < 0x80 && asciiUpper(a[i]) == asciiUpper(b[i])) ++i;
  return i;
}

inline unsigned long sameLiterals(const unsigned char* a, const unsigned char* b, unsigned long n,
                                  const unsigned char (&wild)[3]) {
  unsigned long i = 0;
  while (i < n && a[i] == b[i] && a[i] < 0x80 && a[i] != wild[0] && a[i] != wild[1] && a[i] != wild[2]) ++i;
  return i;
}

inline unsigned long wideLength(const unsigned short* s) {
  unsigned long n = 0;
  while (s[n] != 0) ++n;
  return n;
}

inline const unsigned short* scanUnit(const unsigned short* p, const unsigned short* end, unsigned short ch) {
  while (p < end && *p != ch) ++p;
  return p;
}

inline unsigned long sameUnits(const unsigned short* a, const unsigned short* b, unsigned long n) {
  unsigned long i = 0;
  while (i < n && a[i] == b[i]) ++i;
  return i;
}

}  // namespace plain

// The first byte at or past `p` that is not ASCII; `end` if there is none. Row: strFindCi.
const unsigned char* skipAscii(const unsigned char* p, const unsigned char* end);

// The first byte at or past `p` that is `c1` or `c2`; null if there is none. Rows: strFindCiFolded,
// strLike/middle.
const unsigned char* findEither(const unsigned char* p, const unsigned char* end, unsigned char c1,
                                unsigned char c2);

// How many bytes from the start of `a` and `b` are ASCII and the same in any case, at most `n`, rounded down
// to blocks of kBlock. Row: strEqualCi.
constexpr unsigned long kBlock = 16;
unsigned long sameAsciiCi(const unsigned char* a, const unsigned char* b, unsigned long n);

// How many bytes from the start of `a` and `b` are ASCII, the same, and none of the three in `wild`, which
// are ASCII; at most `n`, rounded down to 8. Row: strLike/equal.
unsigned long sameLiterals(const unsigned char* a, const unsigned char* b, unsigned long n,
                           const unsigned char (&wild)[3]);

// Units before the terminator. Row: wideFind.
unsigned long wideLength(const unsigned short* s);

// The first unit `ch` at or past `p`; `end` if there is none. Row: wideFind.
const unsigned short* scanUnit(const unsigned short* p, const unsigned short* end, unsigned short ch);

// How many units from the start of `a` and `b` are the same, at most `n`. Row: wideCompareCiSame.
unsigned long sameUnits(const unsigned short* a, const unsigned short* b, unsigned long n);

}  // namespace zutext

#endif
