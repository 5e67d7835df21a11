// The login by Kerberos: the tokens that the library's security services make.

#ifndef PGWIRE_LOGIN_GSS_H
#define PGWIRE_LOGIN_GSS_H

#include <zulib/net/zugsservices.h>

#include <memory>
#include <string_view>

#include "base/array.h"
#include "login/settings.h"

namespace pgwire {

class GssClient {
 public:
  explicit GssClient(const Settings& settings) : settings(settings) {}

  // The token that follows the server's one, which is empty at first. It is empty if there is nothing to
  // send. 0, or 1 after a record.
  [[nodiscard]] int next(std::string_view server, Text& token);

 private:
  static constexpr std::size_t kLongestToken = 65536;

  int start();

  const Settings& settings;
  std::unique_ptr<ZuSecurityServices> services;
  Text principal;
};

}  // namespace pgwire

#endif
