// ASCII runs, which need no decoding: found and copied 16 bytes at a time.
//
// The vector forms are justified by the rows "ansi to utf-8" and "conv utf-8 to utf-16" of the benchmark.

#ifndef ZULIB_CONVERT_INTERNAL_ASCIIRUN_H
#define ZULIB_CONVERT_INTERNAL_ASCIIRUN_H

#include <cstdint>
#include <cstring>

namespace zuconvert {

constexpr unsigned long kAsciiBlock = 16;

// Whether none of 16 bytes has its top bit set.
inline bool isAsciiBlock(const unsigned char* p) {
  std::uint64_t words[2];
  std::memcpy(words, p, sizeof words);
  return ((words[0] | words[1]) & 0x8080808080808080U) == 0;
}

// Copy the ASCII bytes at the start of `n` bytes, widened or not, and return their number. The ranges do not
// overlap.
template <class Unit>
unsigned long copyAscii(Unit* dst, const unsigned char* src, unsigned long n) {
  unsigned long i = 0;
  for (; n - i >= kAsciiBlock && isAsciiBlock(src + i); i += kAsciiBlock) {
    for (unsigned long j = 0; j < kAsciiBlock; ++j) dst[i + j] = src[i + j];
  }
  for (; i < n && src[i] < 0x80; ++i) dst[i] = src[i];
  return i;
}

}  // namespace zuconvert

#endif
