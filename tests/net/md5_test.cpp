// MD5 of messages of any number of bits, beside a model of the padding over another implementation.

#define OPENSSL_SUPPRESS_DEPRECATED

#include "zulib/net/md5.h"

#include <gtest/gtest.h>
#include <openssl/md5.h>

#include <cstring>
#include <random>

namespace {

using Digest = std::array<uint32_t, 4>;

// At an odd address, in a block of just its size.
Digest digestOf(const std::string& bytes, unsigned long bits) {
  std::vector<char> message(1, '?');
  message.insert(message.end(), bytes.begin(), bytes.end());
  Digest digest;
  MD5(reinterpret_cast<const uint32_t*>(message.data() + 1), bits, digest.data());
  return digest;
}

// The padded message as a text of "0" and "1", digested block by block.
TEST(Md5, AnyNumberOfBitsBesideAModel) {
  std::mt19937 random(1321);
  for (unsigned bits = 0; bits <= 1600; ++bits) {
    std::string message((bits + 7) / 8, '\0');
    for (char& c : message) c = static_cast<char>(random());
    std::string padded;
    for (unsigned i = 0; i < bits; ++i) padded += message[i / 8] & 0x80 >> i % 8 ? '1' : '0';
    const bool wholeBlocks = bits > 0 && bits % 512 == 0;
    padded += wholeBlocks ? "000000001" : "1";
    while (padded.size() % 512 != 448) padded += '0';

    std::string bytes(padded.size() / 8, '\0');
    for (size_t i = 0; i < padded.size(); ++i) bytes[i / 8] |= padded[i] == '1' ? 0x80 >> i % 8 : 0;
    const uint64_t length = bits;
    bytes.append(reinterpret_cast<const char*>(&length), sizeof length);
    MD5_CTX context;
    MD5_Init(&context);
    for (size_t at = 0; at < bytes.size(); at += 64) {
      MD5_Transform(&context, reinterpret_cast<const unsigned char*>(&bytes[at]));
    }
    ASSERT_EQ(digestOf(message, bits), (Digest{context.A, context.B, context.C, context.D})) << bits;
  }
}

TEST(Md5, RotationsWrap) {
  for (unsigned places = 0; places < 256; ++places) {
    const uint64_t twice = 0x80000001'80000001;
    EXPECT_EQ(leftRotate(0x80000001, static_cast<unsigned char>(places)),
              static_cast<uint32_t>(twice >> (32 - places % 32)));
  }
}

}  // namespace
