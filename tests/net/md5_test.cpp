// MD5 by the vectors of RFC 1321, and messages of any number of bits beside a model of the padding.

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
  const std::vector<char> message = [&] {
    std::vector<char> copy(1, '?');
    copy.insert(copy.end(), bytes.begin(), bytes.end());
    return copy;
  }();
  Digest digest;
  MD5(reinterpret_cast<const uint32_t*>(message.data() + 1), bits, digest.data());
  return digest;
}

std::string hexOf(const Digest& digest) {
  std::string hex;
  for (const uint32_t word : digest) {
    for (int shift = 0; shift < 32; shift += 8) {
      char two[3];
      snprintf(two, sizeof two, "%02x", word >> shift & 0xFF);
      hex += two;
    }
  }
  return hex;
}

TEST(Md5, PublishedVectors) {
  const std::string digits = "1234567890";
  const std::pair<std::string, std::string> vectors[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {digits + digits + digits + digits + digits + digits + digits + digits,
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [message, digest] : vectors)
    EXPECT_EQ(hexOf(digestOf(message, 8 * message.size())), digest);
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
