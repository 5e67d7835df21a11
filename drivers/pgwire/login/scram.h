// The client's side of SCRAM-SHA-256 (RFC 5802, RFC 7677), without channel binding.
//
//   client.start(first)              -> send `first`
//   client.respond(server, final)    -> send `final`, the reply to the server's first message
//   client.verify(server)            the server has proved that it knows the password, too
//
// A password that is not ASCII is used as it is, without normalisation.

#ifndef PGWIRE_LOGIN_SCRAM_H
#define PGWIRE_LOGIN_SCRAM_H

#include <string_view>

#include "base/array.h"
#include "login/digests.h"

namespace pgwire {

class ScramClient {
 public:
  explicit ScramClient(std::string_view password) : password(password) {}

  // 0, or 1 after a record: no memory, or a message of the server that no honest server sends.
  [[nodiscard]] int start(Text& message);
  [[nodiscard]] int respond(std::string_view server, Text& message);
  [[nodiscard]] int verify(std::string_view server) const;

 private:
  int prove(std::string_view salt, unsigned rounds, Text& proof);

  std::string_view password;
  Text nonce;
  Text transcript;  // all that the proofs sign
  Key serverSignature = {};
};

}  // namespace pgwire

#endif
