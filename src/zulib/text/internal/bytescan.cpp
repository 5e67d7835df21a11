#include "zulib/text/internal/bytescan.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <bit>
#include <cstring>
#include <initializer_list>

namespace zutext {
namespace {

static_assert(std::endian::native == std::endian::little, "the first byte in memory is the lowest of a word");

typedef signed char Bytes16 __attribute__((vector_size(16)));
typedef unsigned char UnsignedBytes16 __attribute__((vector_size(16)));
typedef unsigned short Units8 __attribute__((vector_size(16)));
typedef std::uint64_t Words2 __attribute__((vector_size(16)));

constexpr std::uint64_t kEachByte = 0x0101010101010101u;
constexpr std::uint64_t kHighBits = kEachByte << 7;

std::uint64_t load8(const void* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

template <class Vector>
Vector load16(const void* p) {
  Vector vector;
  std::memcpy(&vector, p, sizeof vector);
  return vector;
}

template <class Vector>
bool any(Vector vector) {
  const auto words = reinterpret_cast<Words2>(vector);
  return (words[0] | words[1]) != 0;
}

// The number of the first byte in memory that is not 0.
std::ptrdiff_t lowestByte(std::uint64_t word) { return std::countr_zero(word) / 8; }

std::uint64_t spread(unsigned char byte) { return kEachByte * byte; }

// Has the high bit of each byte set that is 0, and maybe of bytes above the first of them.
std::uint64_t zeroBytes(std::uint64_t word) { return (word - kEachByte) & ~word & kHighBits; }

// The blocks of `sameAsciiCi` are the same if nothing is found in any of them.
struct CiFindings {
  Bytes16 high = {};  // the high bits of all bytes that were looked at
  Bytes16 diff = {};  // not 0 where two differ in more than the case of a letter

  void look(const unsigned char* a, const unsigned char* b) {
    const auto x = load16<Bytes16>(a);
    const auto y = load16<Bytes16>(b);
    // One comparison for both ends of the letters: what lies above z wraps to below 0.
    const auto shifted = reinterpret_cast<UnsignedBytes16>(x | 0x20) + (127 - 'z');
    const auto isLetter = reinterpret_cast<Bytes16>(shifted) > 127 - 26;
    diff |= (x ^ y) & ~(isLetter & 0x20);
    high |= x | y;
  }
  bool areNone() const { return !any(diff | (high & static_cast<signed char>(0x80))); }
};

Bytes16 isEither(const unsigned char* p, signed char c1, signed char c2) {
  const auto bytes = load16<Bytes16>(p);
  return (bytes == c1) | (bytes == c2);
}

// `findEither` in less than a block: in the first and the last eight bytes, which may overlap.
const unsigned char* findEitherShort(const unsigned char* p, const unsigned char* end, unsigned char c1,
                                     unsigned char c2) {
  if (end - p < 8) return plain::findEither(p, end, c1, c2);
  for (const unsigned char* at : {p, end - 8}) {
    const std::uint64_t word = load8(at);
    const std::uint64_t found = zeroBytes(word ^ spread(c1)) | zeroBytes(word ^ spread(c2));
    if (found != 0) return at + lowestByte(found);
  }
  return nullptr;
}

#if defined(__x86_64__)
typedef signed char Bytes32 __attribute__((vector_size(32)));
typedef unsigned char UnsignedBytes32 __attribute__((vector_size(32)));

// `sameAsciiCi` by four blocks of 32 bytes. One function without helpers, since only a function with the mark
// may hold such vectors. Where two bytes differ in no more than the bit of the case, either of them with that
// bit set is both of them together.
[[gnu::target("avx2")]] unsigned long sameAsciiCi32(const unsigned char* a, const unsigned char* b,
                                                    unsigned long n) {
  unsigned long i = 0;
  for (; n - i >= 4 * sizeof(Bytes32); i += 4 * sizeof(Bytes32)) {
    Bytes32 high = {};
    Bytes32 diff = {};
    for (unsigned long at = i; at < i + 4 * sizeof(Bytes32); at += sizeof(Bytes32)) {
      Bytes32 x, y;
      std::memcpy(&x, a + at, sizeof x);
      std::memcpy(&y, b + at, sizeof y);
      const auto shifted = reinterpret_cast<UnsignedBytes32>(x | y) + (127 - 'z');
      const auto isLetter = reinterpret_cast<Bytes32>(shifted) > 127 - 26;
      diff |= (x ^ y) & ~(isLetter & 0x20);
      high |= x | y;
    }
    const auto bits = reinterpret_cast<__m256i>(diff | (high & static_cast<signed char>(0x80)));
    if (_mm256_testz_si256(bits, bits) == 0) break;
  }
  return i;
}

// `findEither` in at least 32 bytes.
[[gnu::target("avx2")]] const unsigned char* findEither32(const unsigned char* p, const unsigned char* end,
                                                          signed char c1, signed char c2) {
  for (; end - p >= 128; p += 128) {
    Bytes32 found = {};
    for (int i = 0; i < 128; i += 32) {
      Bytes32 bytes;
      std::memcpy(&bytes, p + i, sizeof bytes);
      found |= (bytes == c1) | (bytes == c2);
    }
    const auto bits = reinterpret_cast<__m256i>(found);
    if (_mm256_testz_si256(bits, bits) == 0) break;
  }
  for (; p < end; p += 32) {
    if (end - p < 32) p = end - 32;  // looks again at some bytes that are known to be neither
    Bytes32 bytes;
    std::memcpy(&bytes, p, sizeof bytes);
    const auto found =
        static_cast<unsigned>(_mm256_movemask_epi8(reinterpret_cast<__m256i>((bytes == c1) | (bytes == c2))));
    if (found != 0) return p + std::countr_zero(found);
  }
  return nullptr;
}

bool hasBlocksOf32() { return __builtin_cpu_supports("avx2") != 0; }
#else
unsigned long sameAsciiCi32(const unsigned char*, const unsigned char*, unsigned long) { return 0; }
const unsigned char* findEither32(const unsigned char*, const unsigned char*, signed char, signed char) {
  return nullptr;
}
bool hasBlocksOf32() { return false; }
#endif

}  // namespace

const unsigned char* skipAscii(const unsigned char* p, const unsigned char* end) {
  while (end - p >= 16 && ((load8(p) | load8(p + 8)) & kHighBits) == 0) p += 16;
  return plain::skipAscii(p, end);
}

const unsigned char* findEither(const unsigned char* p, const unsigned char* end, unsigned char c1,
                                unsigned char c2) {
  constexpr auto kStep = static_cast<std::ptrdiff_t>(kBlock);
  if (end - p < kStep) return findEitherShort(p, end, c1, c2);
  const auto s1 = static_cast<signed char>(c1);
  const auto s2 = static_cast<signed char>(c2);
  if (end - p >= 2 * kStep && hasBlocksOf32()) return findEither32(p, end, s1, s2);
  for (; p < end; p += kStep) {
    if (end - p < kStep) p = end - kStep;  // looks again at some bytes that are known to be neither
    const auto found = reinterpret_cast<Words2>(isEither(p, s1, s2));
    if (found[0] != 0) return p + lowestByte(found[0]);
    if (found[1] != 0) return p + 8 + lowestByte(found[1]);
  }
  return nullptr;
}

unsigned long sameAsciiCi(const unsigned char* a, const unsigned char* b, unsigned long n) {
  unsigned long i = hasBlocksOf32() ? sameAsciiCi32(a, b, n) : 0;
  for (; n - i >= kBlock; i += kBlock) {
    CiFindings findings;
    findings.look(a + i, b + i);
    if (!findings.areNone()) break;
  }
  return i;
}

unsigned long sameLiterals(const unsigned char* a, const unsigned char* b, unsigned long n,
                           const unsigned char (&wild)[3]) {
  const std::uint64_t wilds[3] = {spread(wild[0]), spread(wild[1]), spread(wild[2])};
  unsigned long i = 0;
  for (; n - i >= 8; i += 8) {
    const std::uint64_t word = load8(a + i);
    // In ASCII the subtraction sets the high bit of a zero byte, and maybe of bytes above it.
    const std::uint64_t hits =
        ((word ^ wilds[0]) - kEachByte) | ((word ^ wilds[1]) - kEachByte) | ((word ^ wilds[2]) - kEachByte);
    if (word != load8(b + i) || ((word | hits) & kHighBits) != 0) break;
  }
  return i;
}

// Reads whole aligned blocks of 16 bytes: the one with the terminator is read to its end, which lies on the
// same page. The sanitizers would take that for an overrun.
__attribute__((no_sanitize_address, no_sanitize_thread)) unsigned long wideLength(const unsigned short* s) {
  const unsigned short* p = s;
  while ((reinterpret_cast<std::uintptr_t>(p) & 15) != 0) {
    if (*p == 0) return static_cast<unsigned long>(p - s);
    ++p;
  }
  while (!any(*reinterpret_cast<const Units8*>(p) == 0)) p += 8;
  while (*p != 0) ++p;
  return static_cast<unsigned long>(p - s);
}

const unsigned short* scanUnit(const unsigned short* p, const unsigned short* end, unsigned short ch) {
  for (; end - p >= 8; p += 8) {
    if (any(load16<Units8>(p) == ch)) break;
  }
  return plain::scanUnit(p, end, ch);
}

unsigned long sameUnits(const unsigned short* a, const unsigned short* b, unsigned long n) {
  unsigned long i = 0;
  while (n - i >= 4 && load8(a + i) == load8(b + i)) i += 4;
  return i + plain::sameUnits(a + i, b + i, n - i);
}

}  // namespace zutext
