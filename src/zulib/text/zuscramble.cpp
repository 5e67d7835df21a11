#include "zulib/text/zuscramble.h"

#include <cstring>

#include "zulib/text/strcopy.h"

namespace {

constexpr unsigned long kKeySize = 16;   // units
constexpr unsigned long kKeyLimit = 15;  // of a caller's key, with its terminator
constexpr unsigned kDelta = 158;
constexpr int kRounds = 32;

// The library's own keys. Files are scrambled with them: a change makes those unreadable.
constexpr unsigned char kKey[kKeySize] = {0x6B, 0xD1, 0x2E, 0x97, 0x45, 0xF8, 0x1C, 0xA3,
                                          0x72, 0x0D, 0xE6, 0x59, 0xB4, 0x38, 0xCF, 0x81};
constexpr unsigned short kKeyW[kKeySize] = {0x6BD1, 0x2E97, 0x45F8, 0x1CA3, 0x720D, 0xE659, 0xB438, 0xCF81,
                                            0x93C4, 0x5A7E, 0x0FB2, 0xD846, 0x21ED, 0xAC70, 0x7F1B, 0xE935};

const unsigned char* builtInKey(unsigned char) { return kKey; }
const unsigned short* builtInKey(unsigned short) { return kKeyW; }

template <class Unit>
void complement(Unit* data, unsigned long length) {
  for (unsigned long i = 0; i < length; ++i) data[i] = static_cast<Unit>(~data[i]);
}

template <class Unit>
void complementLines(Unit* data, unsigned long length) {
  for (unsigned long i = 0; i < length; ++i) {
    // Two XORs under a mask: the compiler makes faster vector code of it than of a choice.
    const Unit unit = data[i];
    const Unit kept = unit == '\n' ? static_cast<Unit>(~0) : Unit{0};
    data[i] = static_cast<Unit>(~(unit ^ kept));
  }
}

// A block cipher of two units a block, in the arithmetic of a unit.
template <class Unit>
class BlockScheme {
 public:
  explicit BlockScheme(const Unit* callersKey) {
    std::memcpy(key, builtInKey(Unit()), sizeof key);
    if (callersKey) strCopy(key, kKeyLimit, callersKey);
  }

  void encrypt(Unit* data, unsigned long length) const {
    if (length == 1) data[0] ^= key[0];
    if (length < 2) return;
    for (unsigned long i = 0; i < length; i += 2) encryptPair(data[i], partner(data, length, i));
  }

  void decrypt(Unit* data, unsigned long length) const {
    if (length == 1) data[0] ^= key[0];
    if (length < 2) return;
    for (unsigned long i = (length + 1) / 2 * 2; i > 0; i -= 2) {
      decryptPair(data[i - 2], partner(data, length, i - 2));
    }
  }

 private:
  // The last unit of an odd length pairs with the first.
  static Unit& partner(Unit* data, unsigned long length, unsigned long i) {
    return data[i + 1 < length ? i + 1 : 0];
  }

  // What is added to one unit of a pair for the other.
  static Unit mix(Unit unit, unsigned sum, Unit k, Unit nextK) {
    return static_cast<Unit>(((unit << 4) + k) ^ (sum + unit) ^ ((unit >> 5) + nextK));
  }

  void encryptPair(Unit& a, Unit& b) const {
    unsigned sum = 0;
    for (int round = 0; round < kRounds; ++round) {
      sum += kDelta;
      a = static_cast<Unit>(a + mix(b, sum, key[0], key[1]));
      b = static_cast<Unit>(b + mix(a, sum, key[2], key[3]));
    }
  }

  void decryptPair(Unit& a, Unit& b) const {
    unsigned sum = kDelta * kRounds;
    for (int round = 0; round < kRounds; ++round) {
      b = static_cast<Unit>(b - mix(a, sum, key[2], key[3]));
      a = static_cast<Unit>(a - mix(b, sum, key[0], key[1]));
      sum -= kDelta;
    }
  }

  Unit key[kKeySize];
};

// Modes 1 and 2 undo themselves.
template <class Unit>
bool complementByMode(Unit* data, unsigned long length, unsigned short mode) {
  if (mode == ZuScrambleComplement) complement(data, length);
  if (mode == ZuScrambleLines) complementLines(data, length);
  return mode != ZuScrambleBlocks;
}

template <class Unit>
void encryptUnits(Unit* data, unsigned long length, unsigned short mode, const Unit* key) {
  if (!complementByMode(data, length, mode)) BlockScheme<Unit>(key).encrypt(data, length);
}

template <class Unit>
void decryptUnits(Unit* data, unsigned long length, unsigned short mode, const Unit* key) {
  if (!complementByMode(data, length, mode)) BlockScheme<Unit>(key).decrypt(data, length);
}

}  // namespace

void encrypt(unsigned char* data, unsigned long length, unsigned short mode, const unsigned char* key) {
  encryptUnits(data, length, mode, key);
}

void decrypt(unsigned char* data, unsigned long length, unsigned short mode, const unsigned char* key) {
  decryptUnits(data, length, mode, key);
}

void encrypt(unsigned short* data, unsigned long length, unsigned short mode, const unsigned short* key) {
  encryptUnits(data, length, mode, key);
}

void decrypt(unsigned short* data, unsigned long length, unsigned short mode, const unsigned short* key) {
  decryptUnits(data, length, mode, key);
}
