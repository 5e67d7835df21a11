// Scrambling beside a plain model, in both widths, for every length, mode and key.

#include "zulib/text/zuscramble.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "tests/text/support.h"
#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

namespace {

// The first units of the library's own keys. Files are scrambled with them, so they never change.
constexpr std::array<unsigned, 4> kOwnKey = {0x6B, 0xD1, 0x2E, 0x97};
constexpr std::array<unsigned, 4> kOwnKeyW = {0x6BD1, 0x2E97, 0x45F8, 0x1CA3};

template <class Unit>
struct Width {
  using Text = std::vector<Unit>;
  static constexpr unsigned kMask = sizeof(Unit) == 1 ? 0xFF : 0xFFFF;

  // `key` is terminated, or empty for none.
  static Text scrambled(Text text, unsigned mode, const Text& key) {
    std::array<unsigned, 4> k = sizeof(Unit) == 1 ? kOwnKey : kOwnKeyW;
    for (size_t i = 0; i < k.size() && i < key.size(); ++i) k[i] = key[i];
    const size_t n = text.size();
    for (size_t i = 0; i < n && mode != 3; ++i) {
      if (mode == 1 || (mode == 2 && text[i] != 10)) text[i] = static_cast<Unit>(kMask - text[i]);
    }
    if (mode != 3) return text;
    if (n == 1) text[0] = static_cast<Unit>(text[0] ^ k[0]);
    for (size_t i = 0; n > 1 && i < n; i += 2) {
      unsigned a = text[i];
      unsigned b = text[(i + 1) % n];
      for (unsigned round = 1; round <= 32; ++round) {
        const unsigned sum = round * 158 & kMask;
        a = (a + ((((b << 4) + k[0]) ^ (sum + b) ^ ((b >> 5) + k[1])) & kMask)) & kMask;
        b = (b + ((((a << 4) + k[2]) ^ (sum + a) ^ ((a >> 5) + k[3])) & kMask)) & kMask;
      }
      text[i] = static_cast<Unit>(a);
      text[(i + 1) % n] = static_cast<Unit>(b);
    }
    return text;
  }
};

template <class Unit>
class Scramble : public testing::Test {};
using Widths = testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(Scramble, Widths);

TYPED_TEST(Scramble, EveryLengthModeAndKeyAgainstTheModel) {
  using Text = std::vector<TypeParam>;
  std::mt19937 random(1);
  for (unsigned length = 0; length <= 40; ++length) {
    for (unsigned mode = 0; mode <= 4; ++mode) {
      for (unsigned keyLength = 0; keyLength <= 20; ++keyLength) {
        Text text(length);
        for (auto& unit : text) unit = static_cast<TypeParam>(random() % 4 ? random() : 10);
        Text key;  // the last one is no key at all, the first one an empty text
        for (unsigned i = 0; i < keyLength; ++i)
          key.push_back(static_cast<TypeParam>(1 + random() % (Width<TypeParam>::kMask - 1)));
        if (keyLength < 20) key.push_back(0);
        if (keyLength == 20) key.clear();
        const TypeParam* given = key.empty() ? nullptr : key.data();

        Text ours = text;
        encrypt(ours.data(), length, static_cast<unsigned short>(mode), given);
        ASSERT_EQ(ours, Width<TypeParam>::scrambled(text, mode, key)) << length << " in mode " << mode;
        const bool lossy =
            mode == 2 && std::count(ours.begin(), ours.end(), 10) != std::count(text.begin(), text.end(), 10);
        decrypt(ours.data(), length, static_cast<unsigned short>(mode), given);
        EXPECT_TRUE(lossy || ours == text) << length << " in mode " << mode;
      }
    }
  }
}

TEST(ScrambledString, StringsScrambleTheirOwnText) {
  ZuString narrow;
  ASSERT_EQ(narrow.initialize(reinterpret_cast<const unsigned char*>("text")), 0);
  const unsigned char key[] = "key!";
  narrow.encrypt(3, key);
  EXPECT_FALSE(narrow.isEqual(reinterpret_cast<const unsigned char*>("text")));
  narrow.decrypt(3, key);
  EXPECT_TRUE(narrow.isEqual(reinterpret_cast<const unsigned char*>("text")));
  ZuStringW wide;
  wide.encrypt(3, nullptr);
  ASSERT_EQ(wide.initialize(reinterpret_cast<const unsigned short*>(u"x")), 0);
  wide.encrypt(3, nullptr);
  EXPECT_EQ(wide[0], u'x' ^ kOwnKeyW[0]);
}

}  // namespace
