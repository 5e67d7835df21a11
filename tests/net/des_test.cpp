// DES beside another implementation on random keys and texts.

#define OPENSSL_SUPPRESS_DEPRECATED

#include "zulib/net/des.h"

#include <gtest/gtest.h>
#include <openssl/des.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <vector>

namespace {

using Block = std::array<unsigned char, 8>;
using Bytes = std::vector<unsigned char>;

// Lengths that are no multiple of a block read and write the whole of the last one; in place or not.
TEST(Des, RandomTextsBesideAnotherImplementation) {
  std::mt19937 random(46);
  for (int round = 0; round < 500 && !testing::Test::HasFailure(); ++round) {
    Block key;
    Block vector;
    for (auto* block : {&key, &vector}) {
      for (auto& byte : *block) byte = static_cast<unsigned char>(random());
    }
    const unsigned long length = random() % 70;
    const unsigned long whole = (length + 7) / 8 * 8;
    Bytes text(whole);
    for (auto& byte : text) byte = static_cast<unsigned char>(random());

    DES_key_schedule schedule;
    DES_set_key_unchecked(reinterpret_cast<const_DES_cblock*>(key.data()), &schedule);
    DES_cblock chain;
    std::memcpy(chain, vector.data(), sizeof chain);
    Bytes expected(whole);
    DES_ncbc_encrypt(text.data(), expected.data(), static_cast<long>(whole), &schedule, &chain, DES_ENCRYPT);

    DESwCBCEncryptor des;
    des.SetKeySchedule(key.data(), 8, CipherEncrypt);
    des.SetChainBlock(vector.data());
    Bytes ours = random() % 2 ? text : Bytes(whole + 1, 0x77);
    const bool inPlace = ours.size() == whole;
    for (int call = inPlace; call < 2; ++call) {  // each starts from the same vector
      des.ProcessString(inPlace ? ours.data() : text.data(), length, ours.data(), 0);
    }
    EXPECT_EQ(Bytes(ours.begin(), ours.begin() + static_cast<long>(whole)), expected);
    EXPECT_TRUE(inPlace || ours[whole] == 0x77);
    if (std::count(text.begin(), text.end(), 0) == 0 && length == whole) {
      Bytes terminated = text;
      terminated.push_back(0);
      Bytes out(whole);
      des.ProcessString(terminated.data(), out.data(), 0);
      EXPECT_EQ(out, expected);
    }

    des.SetKeySchedule(key.data(), 8, CipherDecrypt);
    for (unsigned long at = whole; at > 0; at -= 8) {
      des.ProcessBlock(&ours[at - 8]);
      xorbuf(&ours[at - 8], at > 8 ? &ours[at - 16] : vector.data(), 8);
    }
    EXPECT_EQ(Bytes(ours.begin(), ours.begin() + static_cast<long>(whole)), text);

    uint32_t left = random();
    uint32_t right = random();
    const uint32_t before[] = {left, right};
    InitialPermutation(left, right);
    FinalPermutation(left, right);
    EXPECT_TRUE(left == before[0] && right == before[1]);
  }
}

}  // namespace
