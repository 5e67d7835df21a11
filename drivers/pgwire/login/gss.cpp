#include "login/gss.h"

#include "base/errors.h"

namespace pgwire {

// The principal is service/host: the Kerberos library knows the realm.
int GssClient::start() {
  Array<unsigned short> library;
  for (const char c : settings.gssLibrary.view()) {
    if (library.append(static_cast<unsigned char>(c))) return 1;
  }
  if (library.append(static_cast<unsigned short>(0))) return 1;
  services.reset(
      ZuSecurityServices::createSecurityService(settings.gssLibrary.empty() ? nullptr : library.data()));
  if (!services || principal.assign(settings.kerberosName.view()) || principal.append("/") ||
      principal.append(settings.server.view()) || !principal.terminated()) {
    return 1;
  }
  return services->setServicePrincipalName(reinterpret_cast<const unsigned short*>(principal.data()));
}

int GssClient::next(std::string_view server, Text& token) {
  if (!services && start()) return 1;
  Array<unsigned char> input;
  unsigned long length = 0;
  if (token.resize(kLongestToken) ||
      input.append(reinterpret_cast<const unsigned char*>(server.data()), server.size()) ||
      services->getSecurityToken(input.data(), input.size(), reinterpret_cast<unsigned char*>(token.data()),
                                 kLongestToken, &length, nullptr)) {
    return 1;
  }
  token.shorten(length);
  return 0;
}

}  // namespace pgwire
