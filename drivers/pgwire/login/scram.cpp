#include "login/scram.h"

#include <charconv>

#include "base/errors.h"

namespace pgwire {

namespace {

constexpr unsigned kNonceBytes = 18;
// More than any server asks for; each costs time, so that a server must not choose it freely.
constexpr unsigned kMostRounds = 10000000;

// The value of attribute `name` at the head of `text`, which moves past it and its comma.
bool takeAttribute(std::string_view& text, char name, std::string_view& value) {
  if (text.size() < 2 || text[0] != name || text[1] != '=') return false;
  const std::size_t end = text.find(',');
  value = text.substr(2, end == std::string_view::npos ? end : end - 2);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return true;
}

}  // namespace

int ScramClient::start(Text& message) {
  unsigned char random[kNonceBytes];
  if (randomBytes(random, kNonceBytes) || toBase64(random, kNonceBytes, nonce)) return 1;
  // The user's name is empty: the server takes that of the start-up message.
  if (transcript.assign("n=,r=") || transcript.append(nonce.view())) return 1;
  return message.assign("n,,") || message.append(transcript.view());
}

int ScramClient::respond(std::string_view server, Text& message) {
  std::string_view rest = server;
  std::string_view serverNonce;
  std::string_view encodedSalt;
  std::string_view count;
  unsigned rounds = 0;
  Text salt;
  if (!takeAttribute(rest, 'r', serverNonce) || !takeAttribute(rest, 's', encodedSalt) ||
      !takeAttribute(rest, 'i', count) || !serverNonce.starts_with(nonce.view()) ||
      serverNonce.size() == nonce.size() || fromBase64(encodedSalt, salt)) {
    return fail(Issue::BadServerProof);
  }
  const auto parsed = std::from_chars(count.data(), count.data() + count.size(), rounds);
  if (parsed.ptr != count.data() + count.size() || rounds < 1 || rounds > kMostRounds)
    return fail(Issue::BadServerProof);
  if (message.assign("c=biws,r=") || message.append(serverNonce)) return 1;
  if (transcript.append(",") || transcript.append(server) || transcript.append(",") ||
      transcript.append(message.view())) {
    return 1;
  }
  Text proof;
  return prove(salt.view(), rounds, proof) || message.append(",p=") || message.append(proof.view());
}

int ScramClient::prove(std::string_view salt, unsigned rounds, Text& proof) {
  Key salted;
  Key clientKey;
  Key storedKey;
  Key signature;
  Key serverKey;
  if (saltedPassword(password, salt, rounds, salted) || hmac(salted, "Client Key", clientKey) ||
      sha256(clientKey, storedKey) || hmac(storedKey, transcript.view(), signature) ||
      hmac(salted, "Server Key", serverKey) || hmac(serverKey, transcript.view(), serverSignature)) {
    return 1;
  }
  for (std::size_t i = 0; i < clientKey.size(); ++i) clientKey[i] ^= signature[i];
  return toBase64(clientKey.data(), clientKey.size(), proof);
}

int ScramClient::verify(std::string_view server) const {
  std::string_view value;
  Text signature;
  if (!takeAttribute(server, 'v', value) || fromBase64(value, signature) ||
      !areEqual(serverSignature, signature.view())) {
    return fail(Issue::BadServerProof);
  }
  return 0;
}

}  // namespace pgwire
