// Digests and keys of the login, over libcrypto. The library's own MD5 pads some lengths in a way of its own,
// which no server here knows.
//
// Operations return 0, or 1 after a record on the thread's error list.

#ifndef PGWIRE_LOGIN_DIGESTS_H
#define PGWIRE_LOGIN_DIGESTS_H

#include <array>
#include <string_view>

#include "base/array.h"

namespace pgwire {

using Key = std::array<unsigned char, 32>;  // of SHA-256

// Sets `out` to the MD5 of the two parts together, in 32 lower-case digits.
[[nodiscard]] int md5Hex(std::string_view first, std::string_view second, Text& out);

[[nodiscard]] int hmac(const Key& key, std::string_view data, Key& out);
[[nodiscard]] int sha256(const Key& data, Key& out);
[[nodiscard]] int saltedPassword(std::string_view password, std::string_view salt, unsigned rounds, Key& out);
[[nodiscard]] int randomBytes(unsigned char* out, unsigned n);

[[nodiscard]] int toBase64(const void* data, unsigned long n, Text& out);
// 1, without a record, if the text is not base64.
[[nodiscard]] int fromBase64(std::string_view text, Text& out);

// Compares in a time that does not depend on the bytes.
bool areEqual(const Key& a, std::string_view b);

inline std::string_view bytesOf(const Key& key) {
  return {reinterpret_cast<const char*>(key.data()), key.size()};
}

}  // namespace pgwire

#endif
