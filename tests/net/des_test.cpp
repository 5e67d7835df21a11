// DES by the published vectors, and beside another implementation on random keys and texts.

#define OPENSSL_SUPPRESS_DEPRECATED

#include "zulib/net/des.h"

#include <gtest/gtest.h>
#include <openssl/des.h>

#include <cstring>
#include <random>

namespace {

using Block = std::array<unsigned char, 8>;
using Bytes = std::vector<unsigned char>;

Block blockOf(uint64_t value) {
  Block block;
  for (unsigned i = 0; i < 8; ++i) block[i] = static_cast<unsigned char>(value >> (56 - 8 * i));
  return block;
}

Block processed(uint64_t key, Block block, CipherDir direction) {
  DESwCBCEncryptor des;
  des.SetKeySchedule(blockOf(key).data(), 8, direction);
  des.ProcessBlock(block.data());
  return block;
}

// From the known-answer sets: variable plain text, variable key, permutation, substitution tables.
TEST(Des, PublishedVectors) {
  const struct {
    uint64_t key, text, cipher;
  } vectors[] = {
      {0x133457799BBCDFF1, 0x0123456789ABCDEF, 0x85E813540F0AB405},
      {0x0101010101010101, 0x8000000000000000, 0x95F8A5E5DD31D900},
      {0x0101010101010101, 0x4000000000000000, 0xDD7F121CA5015619},
      {0x0101010101010101, 0x0000000000000001, 0x166B40B44ABA4BD6},
      {0x8001010101010101, 0x0000000000000000, 0x95A8D72813DAA94D},
      {0x0101010101010102, 0x0000000000000000, 0x869EFD7F9F265A09},
      {0x1046913489980131, 0x0000000000000000, 0x88D55E54F54C97B4},
      {0x7CA110454A1A6E57, 0x01A1D6D039776742, 0x690F5B0D9A26939B},
      {0x0131D9619DC1376E, 0x5CD54CA83DEF57DA, 0x7A389D10354BD271},
      {0x07A1133E4A0B2686, 0x0248D43806F67172, 0x868EBB51CAB4599A},
      {0x1C587F1C13924FEF, 0x305532286D6F295A, 0x63FAC0D034D9F793},
  };
  for (const auto& v : vectors) {
    EXPECT_EQ(processed(v.key, blockOf(v.text), CipherEncrypt), blockOf(v.cipher)) << std::hex << v.key;
    EXPECT_EQ(processed(v.key, blockOf(v.cipher), CipherDecrypt), blockOf(v.text)) << std::hex << v.key;
  }
}

TEST(Des, TheChainOfTheStandard) {
  DESwCBCEncryptor des;
  des.SetKeySchedule(blockOf(0x0123456789ABCDEF).data(), 8, CipherEncrypt);
  des.SetChainBlock(blockOf(0x1234567890ABCDEF).data());
  const auto* text = reinterpret_cast<const unsigned char*>("Now is the time for all ");
  const Bytes expected = {0xE5, 0xC7, 0xCD, 0xDE, 0x87, 0x2B, 0xF2, 0x7C, 0x43, 0xE9, 0x34, 0x00,
                          0x8C, 0x38, 0x9C, 0x0F, 0x68, 0x37, 0x88, 0x49, 0x9A, 0x7C, 0x05, 0xF6};
  for (int call = 0; call < 2; ++call) {
    Bytes out(24);
    des.ProcessString(text, out.data(), 0);
    EXPECT_EQ(out, expected) << "each call starts from the same vector";
  }
}

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
    des.ProcessString(inPlace ? ours.data() : text.data(), length, ours.data(), 0);
    EXPECT_EQ(Bytes(ours.begin(), ours.begin() + static_cast<long>(whole)), expected);
    EXPECT_TRUE(inPlace || ours[whole] == 0x77);

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
