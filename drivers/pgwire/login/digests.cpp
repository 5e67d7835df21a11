#include "login/digests.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <memory>

#include "base/errors.h"

namespace pgwire {

namespace {

// libcrypto fails only if memory is exhausted or a digest is switched off.
int outcome(bool done) {
  if (done) return 0;
  ZuErrorKeeper::addMemoryError();
  return 1;
}

const unsigned char* bytes(std::string_view s) { return reinterpret_cast<const unsigned char*>(s.data()); }

}  // namespace

int md5Hex(std::string_view first, std::string_view second, Text& out) {
  constexpr unsigned kSize = 16;
  unsigned char digest[kSize];
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  const bool done = context && EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) == 1 &&
                    EVP_DigestUpdate(context.get(), first.data(), first.size()) == 1 &&
                    EVP_DigestUpdate(context.get(), second.data(), second.size()) == 1 &&
                    EVP_DigestFinal_ex(context.get(), digest, nullptr) == 1;
  if (outcome(done) || out.resize(2UL * kSize)) return 1;
  constexpr char kDigits[] = "0123456789abcdef";
  for (unsigned i = 0; i < kSize; ++i) {
    out[2UL * i] = kDigits[digest[i] >> 4];
    out[2UL * i + 1] = kDigits[digest[i] & 15];
  }
  return 0;
}

int hmac(const Key& key, std::string_view data, Key& out) {
  return outcome(HMAC(EVP_sha256(), key.data(), key.size(), bytes(data), data.size(), out.data(), nullptr));
}

int sha256(const Key& data, Key& out) {
  return outcome(EVP_Digest(data.data(), data.size(), out.data(), nullptr, EVP_sha256(), nullptr) == 1);
}

int saltedPassword(std::string_view password, std::string_view salt, unsigned rounds, Key& out) {
  return outcome(PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), bytes(salt),
                                   static_cast<int>(salt.size()), static_cast<int>(rounds), EVP_sha256(),
                                   static_cast<int>(out.size()), out.data()) == 1);
}

int randomBytes(unsigned char* out, unsigned n) { return outcome(RAND_bytes(out, static_cast<int>(n)) == 1); }

int toBase64(const void* data, unsigned long n, Text& out) {
  const unsigned long length = (n + 2) / 3 * 4;
  if (out.resize(length + 1)) return 1;
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), static_cast<const unsigned char*>(data),
                  static_cast<int>(n));
  out.shorten(length);
  return 0;
}

int fromBase64(std::string_view text, Text& out) {
  if (text.empty() || text.size() % 4 != 0 || out.resize(text.size() / 4 * 3)) return 1;
  const int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()), bytes(text),
                                static_cast<int>(text.size()));
  if (n < 0) return 1;
  const unsigned padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  out.shorten(static_cast<unsigned>(n) - padding);
  return 0;
}

bool areEqual(const Key& a, std::string_view b) {
  return b.size() == a.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace pgwire
