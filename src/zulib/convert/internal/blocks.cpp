#include "zulib/convert/internal/blocks.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace zuconvert {

namespace {

typedef unsigned short Units8 __attribute__((vector_size(16)));

#if defined(__x86_64__)
constexpr unsigned long kVector = sizeof(__m256i);
constexpr unsigned long kBlock = 4 * kVector;

// Each is one function without helpers, since only a function with the mark may hold such vectors. They are
// for the rows "ansi to utf-8, ASCII" and "ucs-2 swap" of the benchmark. The first vector is written as it
// comes, and a part of it again by the others, which are aligned.

[[gnu::target("avx2")]] unsigned long copyAscii32(unsigned char* dst, const unsigned char* src,
                                                  unsigned long n) {
  unsigned long i = 0;
  if (n >= kBlock) {
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
    if (_mm256_movemask_epi8(first) != 0) return 0;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), first);
    i = kVector - reinterpret_cast<std::uintptr_t>(dst) % kVector;
  }
  for (; n - i >= kBlock; i += kBlock) {
    const auto* const from = reinterpret_cast<const __m256i*>(src + i);
    auto* const to = reinterpret_cast<__m256i*>(dst + i);
    const __m256i a = _mm256_loadu_si256(from);
    const __m256i b = _mm256_loadu_si256(from + 1);
    const __m256i c = _mm256_loadu_si256(from + 2);
    const __m256i d = _mm256_loadu_si256(from + 3);
    if (_mm256_movemask_epi8((a | b) | (c | d)) != 0) break;
    _mm256_storeu_si256(to, a);
    _mm256_storeu_si256(to + 1, b);
    _mm256_storeu_si256(to + 2, c);
    _mm256_storeu_si256(to + 3, d);
  }
  return i;
}

[[gnu::target("avx2")]] unsigned long swapUnits32(unsigned char* dst, const unsigned char* src,
                                                  unsigned long n) {
  const __m256i order = _mm256_set1_epi64x(0x0607040502030001) +
                        _mm256_set_epi64x(0x0808080808080808, 0, 0x0808080808080808, 0);
  unsigned long i = 0;
  if (n >= kBlock && dst != src && reinterpret_cast<std::uintptr_t>(dst) % 2 == 0) {
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_shuffle_epi8(first, order));
    i = kVector - reinterpret_cast<std::uintptr_t>(dst) % kVector;
  }
  for (; n - i >= kBlock; i += kBlock) {
    for (unsigned long at = i; at < i + kBlock; at += kVector) {
      const __m256i units = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + at));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + at), _mm256_shuffle_epi8(units, order));
    }
  }
  return i;
}

bool hasBlocksOf32() { return __builtin_cpu_supports("avx2") != 0; }
#else
unsigned long copyAscii32(unsigned char*, const unsigned char*, unsigned long) { return 0; }
unsigned long swapUnits32(unsigned char*, const unsigned char*, unsigned long) { return 0; }
bool hasBlocksOf32() { return false; }
#endif

}  // namespace

unsigned long copyAscii(unsigned char* dst, const unsigned char* src, unsigned long n) {
  unsigned long i = hasBlocksOf32() ? copyAscii32(dst, src, n) : 0;
  for (; n - i >= 8 && isAscii8(src + i); i += 8) std::memcpy(dst + i, src + i, 8);
  return i + plain::copyAscii(dst + i, src + i, n - i);
}

void swapUnits(unsigned char* dst, const unsigned char* src, unsigned long count) {
  const unsigned long n = 2 * count;
  unsigned long i = hasBlocksOf32() ? swapUnits32(dst, src, n) : 0;
  for (; n - i >= sizeof(Units8); i += sizeof(Units8)) {
    Units8 units;
    std::memcpy(&units, src + i, sizeof units);
    units = units << 8 | units >> 8;
    std::memcpy(dst + i, &units, sizeof units);
  }
  plain::swapUnits(dst + i, src + i, (n - i) / 2);
}

}  // namespace zuconvert
