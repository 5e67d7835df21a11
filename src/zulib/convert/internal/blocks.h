// Runs of bytes that need no decoding, in blocks of vectors. Ranges do not overlap, unless said.

#ifndef ZULIB_CONVERT_INTERNAL_BLOCKS_H
#define ZULIB_CONVERT_INTERNAL_BLOCKS_H

#include <cstdint>
#include <cstring>

namespace zuconvert {

// Copies the ASCII bytes at the start of `n` bytes, and returns their number.
unsigned long copyAscii(unsigned char* dst, const unsigned char* src, unsigned long n);

// Swaps the bytes of each of `count` units. `dst` may be `src`.
void swapUnits(unsigned char* dst, const unsigned char* src, unsigned long count);

// Whether none of 8 bytes has its top bit set.
inline bool isAscii8(const unsigned char* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return (word & 0x8080808080808080U) == 0;
}

// What the two do, byte by byte.
namespace plain {

inline unsigned long copyAscii(unsigned char* dst, const unsigned char* src, unsigned long n) {
  unsigned long i = 0;
  for (; i < n && src[i] < 0x80; ++i) dst[i] = src[i];
  return i;
}

inline void swapUnits(unsigned char* dst, const unsigned char* src, unsigned long count) {
  for (; count > 0; --count, dst += 2, src += 2) {
    const unsigned char first = src[0];
    dst[0] = src[1];
    dst[1] = first;
  }
}

}  // namespace plain
}  // namespace zuconvert

#endif
