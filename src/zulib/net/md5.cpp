#include "zulib/net/md5.h"

#include <bit>
#include <cstring>

namespace {

constexpr unsigned long kBlockBits = 512;
constexpr unsigned long kBlockBytes = 64;
constexpr unsigned long kLengthAt = 448;  // bits before the length in the last block
constexpr unsigned kLengthWord = 14;

// Word i is the integer part of 2^32 * |sin(i + 1)|.
constexpr uint32_t kSines[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

// The functions of the four rounds, each as the change of `a` before its rotation. The first argument of each
// is the word that was computed last: it enters as late as it can, since every step waits for the one before.
struct RoundF {
  static uint32_t of(uint32_t b, uint32_t c, uint32_t d) { return d ^ (b & (c ^ d)); }
};
struct RoundG {
  // The two halves have no bit in common, so a sum can take the place of the "or".
  static uint32_t of(uint32_t b, uint32_t c, uint32_t d) { return (c & ~d) + (b & d); }
};
struct RoundH {
  static uint32_t of(uint32_t b, uint32_t c, uint32_t d) { return b ^ (c ^ d); }
};
struct RoundI {
  static uint32_t of(uint32_t b, uint32_t c, uint32_t d) { return c ^ (b | ~d); }
};

struct Shifts {
  int first, second, third, fourth;
};

// The 16 steps of a round, which takes the words of the block from `start` on in strides.
template <class Round, unsigned kFirst, unsigned kStart, unsigned kStride, Shifts kShifts>
inline void runRound(uint32_t& a, uint32_t& b, uint32_t& c, uint32_t& d, const uint32_t* words) {
  const auto step = [words](uint32_t& into, uint32_t x, uint32_t y, uint32_t z, unsigned i, int shift) {
    into += words[(kStart + i * kStride) % 16] + kSines[kFirst + i];
    into = x + std::rotl(into + Round::of(x, y, z), shift);
  };
  for (unsigned i = 0; i < 16; i += 4) {
    step(a, b, c, d, i, kShifts.first);
    step(d, a, b, c, i + 1, kShifts.second);
    step(c, d, a, b, i + 2, kShifts.third);
    step(b, c, d, a, i + 3, kShifts.fourth);
  }
}

void addBlock(uint32_t* state, const void* block) {
  uint32_t words[16];
  std::memcpy(words, block, sizeof words);
  uint32_t a = state[0];
  uint32_t b = state[1];
  uint32_t c = state[2];
  uint32_t d = state[3];
  runRound<RoundF, 0, 0, 1, Shifts{7, 12, 17, 22}>(a, b, c, d, words);
  runRound<RoundG, 16, 1, 5, Shifts{5, 9, 14, 20}>(a, b, c, d, words);
  runRound<RoundH, 32, 5, 3, Shifts{4, 11, 16, 23}>(a, b, c, d, words);
  runRound<RoundI, 48, 0, 7, Shifts{6, 10, 15, 21}>(a, b, c, d, words);
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

// Copies the last `bits` of a message to a block of zeros and sets the bit after them.
void padInto(unsigned char* block, const unsigned char* rest, unsigned long bits) {
  const unsigned long whole = bits / 8;
  const unsigned partial = bits % 8;
  std::memcpy(block, rest, whole);
  const unsigned char kept = partial ? static_cast<unsigned char>(rest[whole] & ~(0xFF >> partial)) : 0;
  block[whole] = static_cast<unsigned char>(kept | 0x80 >> partial);
}

// Adds the last block, with the length of the message.
void addLastBlock(uint32_t* state, unsigned char* block, unsigned long bits) {
  const auto length = static_cast<uint32_t>(bits);
  std::memcpy(block + kLengthWord * sizeof length, &length, sizeof length);
  addBlock(state, block);
}

}  // namespace

void MD5(const uint32_t* message, unsigned long bits, uint32_t* digest) {
  uint32_t state[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  const auto* rest = reinterpret_cast<const unsigned char*>(message);
  unsigned long left = bits;
  for (; left >= kBlockBits; left -= kBlockBits, rest += kBlockBytes) addBlock(state, rest);

  unsigned char block[kBlockBytes] = {};
  if (left == 0 && bits != 0) {
    // Whole blocks: what follows is padded as if a zero byte were still to come.
    constexpr unsigned char kZero = 0;
    padInto(block, &kZero, 8);
  } else {
    padInto(block, rest, left);
    if (left >= kLengthAt) {
      addBlock(state, block);
      std::memset(block, 0, sizeof block);
    }
  }
  addLastBlock(state, block, bits);
  std::memcpy(digest, state, sizeof state);
}

uint32_t leftRotate(uint32_t word, unsigned char places) { return std::rotl(word, places % 32); }
