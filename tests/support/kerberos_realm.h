// A Kerberos realm of its own: a directory with a database, a key distribution centre on a free port of
// loopback, and the environment that sends the Kerberos libraries of this process to them. One at a time.

#ifndef ZULIB_TESTS_SUPPORT_KERBEROS_REALM_H
#define ZULIB_TESTS_SUPPORT_KERBEROS_REALM_H

#include <string>

#include "tests/support/server_process.h"

class KerberosRealm {
 public:
  static constexpr char kService[] = "db/localhost@ZULIB.TEST";
  static constexpr char kUser[] = "alice@ZULIB.TEST";

  // Starts the centre, with the two principals and their keytab. Throws std::runtime_error.
  KerberosRealm();
  KerberosRealm(const KerberosRealm&) = delete;
  KerberosRealm& operator=(const KerberosRealm&) = delete;
  ~KerberosRealm();

  // Gives the user a ticket that lasts for some seconds, in place of the one before.
  void logIn(int seconds = 3600) const;
  // Takes the user's tickets away.
  void logOut() const;

 private:
  std::string path(const char* name) const { return centre.value() + "/" + name; }

  ServerProcess centre;
};

#endif
