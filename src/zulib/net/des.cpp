#include "zulib/net/des.h"

#include <bit>
#include <cstring>
#include <utility>

#include "zulib/text/strcopy.h"

namespace {

constexpr int kRounds = 16;
constexpr unsigned long kBlock = 8;  // bytes

// The tables of the standard, which counts bits from 1 at the most significant end.

constexpr unsigned char kKeyChoice1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                           10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                           63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                           14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr unsigned char kKeyChoice2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,
                                           26, 8,  16, 7,  27, 20, 13, 2,  41, 52, 31, 37, 47, 55, 30, 40,
                                           51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr unsigned char kKeyShifts[kRounds] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

constexpr unsigned char kPermutation[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                                            2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};

// Each S-box as 4 rows of 16.
constexpr unsigned char kSBoxes[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11}};

// P of the 32 bits of the S-boxes' outputs.
constexpr uint32_t permuted(uint32_t bits) {
  uint32_t result = 0;
  for (const unsigned char from : kPermutation) result = result << 1 | (bits >> (32 - from) & 1);
  return result;
}

constexpr std::array<std::array<uint32_t, 64>, 8> makeSpbox() {
  std::array<std::array<uint32_t, 64>, 8> table = {};
  for (unsigned box = 0; box < 8; ++box) {
    for (unsigned group = 0; group < 64; ++group) {
      const unsigned row = (group >> 4 & 2) | (group & 1);  // the outer bits
      const unsigned column = group >> 1 & 15;
      const uint32_t output = kSBoxes[box][16 * row + column];
      table[box][group] = std::rotl(permuted(output << (28 - 4 * box)), 1);
    }
  }
  return table;
}

// Exchanges the bits of `left` under `mask` with those of `right`.
inline void exchange(uint32_t& left, uint32_t& right, uint32_t mask) {
  const uint32_t different = (left ^ right) & mask;
  left ^= different;
  right ^= different;
}

uint32_t loadBigEndian(const unsigned char* from) {
  uint32_t word;
  std::memcpy(&word, from, sizeof word);
  return std::endian::native == std::endian::little ? __builtin_bswap32(word) : word;
}

void storeBigEndian(unsigned char* to, uint32_t word) {
  if (std::endian::native == std::endian::little) word = __builtin_bswap32(word);
  std::memcpy(to, &word, sizeof word);
}

bool bitOf(const unsigned char* key, unsigned number) {
  return key[(number - 1) / 8] >> (8 - number % 8) % 8 & 1;
}

}  // namespace

constinit const std::array<std::array<uint32_t, 64>, 8> DESwCBCEncryptor::Spbox = makeSpbox();

void DESwCBCEncryptor::SetChainBlock(const unsigned char* vector) {
  std::memcpy(chainBlock, vector, sizeof chainBlock);
}

void DESwCBCEncryptor::SetKeySchedule(const unsigned char* key, unsigned long, CipherDir direction) {
  bool halves[56];
  for (unsigned i = 0; i < 56; ++i) halves[i] = bitOf(key, kKeyChoice1[i]);
  unsigned shift = 0;
  for (int round = 0; round < kRounds; ++round) {
    shift += kKeyShifts[round];
    uint32_t words[2] = {0, 0};
    for (unsigned group = 0; group < 8; ++group) {
      uint32_t bits = 0;
      for (unsigned i = 0; i < 6; ++i) {
        const unsigned choice = kKeyChoice2[6 * group + i] - 1U;
        const unsigned start = choice < 28 ? 0 : 28;
        bits = bits << 1 | (halves[start + (choice - start + shift) % 28] ? 1 : 0);
      }
      words[group % 2] |= bits << (24 - group / 2 * 8);
    }
    std::memcpy(keySchedule[direction == CipherDecrypt ? kRounds - 1 - round : round], words, sizeof words);
  }
}

void DESwCBCEncryptor::ProcessBlock(unsigned char* block) const {
  uint32_t left = loadBigEndian(block);
  uint32_t right = loadBigEndian(block + 4);
  transform(left, right);
  storeBigEndian(block, right);
  storeBigEndian(block + 4, left);
}

void DESwCBCEncryptor::ProcessString(const unsigned char* input, unsigned long length, unsigned char* output,
                                     unsigned long) const {
  if (length == 0) return;
  uint32_t left = loadBigEndian(chainBlock);
  uint32_t right = loadBigEndian(chainBlock + 4);
  for (unsigned long blocks = (length - 1) / kBlock + 1; blocks > 0; --blocks) {
    left ^= loadBigEndian(input);
    right ^= loadBigEndian(input + 4);
    transform(left, right);
    std::swap(left, right);
    storeBigEndian(output, left);
    storeBigEndian(output + 4, right);
    input += kBlock;
    output += kBlock;
  }
}

void DESwCBCEncryptor::ProcessString(const unsigned char* input, unsigned char* output,
                                     unsigned long last) const {
  ProcessString(input, strLen(input), output, last);
}

// The 16 rounds. The halves do not change places between them; the cipher block is the right half before the
// left.
inline void DESwCBCEncryptor::transform(uint32_t& left, uint32_t& right) const {
  const auto round = [](uint32_t half, const uint32_t* key) {
    const uint32_t odd = std::rotr(half, 4) ^ key[0];
    const uint32_t even = half ^ key[1];
    return Spbox[0][odd >> 24 & 63] ^ Spbox[2][odd >> 16 & 63] ^ Spbox[4][odd >> 8 & 63] ^
           Spbox[6][odd & 63] ^ Spbox[1][even >> 24 & 63] ^ Spbox[3][even >> 16 & 63] ^
           Spbox[5][even >> 8 & 63] ^ Spbox[7][even & 63];
  };
  InitialPermutation(left, right);
  for (int i = 0; i < kRounds; i += 2) {
    left ^= round(right, keySchedule[i]);
    right ^= round(left, keySchedule[i + 1]);
  }
  FinalPermutation(right, left);
}

void xorbuf(unsigned char* target, const unsigned char* source, unsigned long count) {
  for (unsigned long i = 0; i < count; ++i) target[i] ^= source[i];
}

// The permutation moves bits between the halves in five exchanges; the rotations line the bits up for each.
void InitialPermutation(uint32_t& left, uint32_t& right) {
  right = std::rotl(right, 4);
  exchange(left, right, 0xF0F0F0F0);
  right = std::rotr(right, 20);
  exchange(left, right, 0xFFFF0000);
  right = std::rotr(right, 18);
  exchange(left, right, 0x33333333);
  right = std::rotr(right, 6);
  exchange(left, right, 0x00FF00FF);
  right = std::rotl(right, 9);
  exchange(left, right, 0xAAAAAAAA);
  left = std::rotl(left, 1);
}

void FinalPermutation(uint32_t& left, uint32_t& right) {
  left = std::rotr(left, 1);
  exchange(left, right, 0xAAAAAAAA);
  right = std::rotr(right, 9);
  exchange(left, right, 0x00FF00FF);
  right = std::rotl(right, 6);
  exchange(left, right, 0x33333333);
  right = std::rotl(right, 18);
  exchange(left, right, 0xFFFF0000);
  right = std::rotl(right, 20);
  exchange(left, right, 0xF0F0F0F0);
  right = std::rotr(right, 4);
}
