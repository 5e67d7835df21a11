// A bounded run of the fuzz target of hexadecimal text, which aborts where it differs from a plain reader.

#define LLVMFuzzerTestOneInput readHex
#include "fuzz/dehexify_fuzz.cpp"

#include <gtest/gtest.h>

#include <random>

TEST(HexText, RandomTextsLikeThePlainReader) {
  std::mt19937 random(37);
  for (int round = 0; round < 5000; ++round) {
    std::vector<uint8_t> text(random() % 60);
    for (uint8_t& byte : text)
      byte = static_cast<uint8_t>("0123456789abcdefABCDEFgG@`/:"[random() % (random() % 9 ? 22 : 28)]);
    ASSERT_EQ(readHex(text.data(), text.size()), 0) << round;
  }
}
