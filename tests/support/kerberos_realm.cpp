#include "tests/support/kerberos_realm.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

KerberosRealm::KerberosRealm() : centre(std::string("kerberos.sh ") + kUser + " " + kService, "realm") {
  if (centre.value().empty())
    throw std::runtime_error("the key distribution centre does not run: " + centre.failure());
  setenv("KRB5_CONFIG", path("krb5.conf").c_str(), 1);
  setenv("KRB5CCNAME", ("FILE:" + path("tickets")).c_str(), 1);
  setenv("KRB5_KTNAME", ("FILE:" + path("keytab")).c_str(), 1);
  setenv("KRB5RCACHENAME", "none:", 1);
}

KerberosRealm::~KerberosRealm() {
  for (const char* variable : {"KRB5_CONFIG", "KRB5CCNAME", "KRB5_KTNAME", "KRB5RCACHENAME"})
    unsetenv(variable);
}

void KerberosRealm::logIn(int seconds) const {
  const std::string command =
      "kinit -l " + std::to_string(seconds) + "s -k -t " + path("keytab") + " " + kUser;
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
}

void KerberosRealm::logOut() const { std::remove(path("tickets").c_str()); }
