#include "tests/support/kerberos_realm.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

constexpr const char* kVariables[] = {"KRB5_CONFIG", "KRB5_KDC_PROFILE", "KRB5CCNAME", "KRB5_KTNAME",
                                      "KRB5RCACHENAME"};

int freePort() {
  const int handle = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in here = {};
  here.sin_family = AF_INET;
  here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof here;
  const bool found = bind(handle, reinterpret_cast<sockaddr*>(&here), length) == 0 &&
                     getsockname(handle, reinterpret_cast<sockaddr*>(&here), &length) == 0;
  close(handle);
  if (!found) throw std::runtime_error("no free port");
  return ntohs(here.sin_port);
}

bool accepts(int port) {
  const int handle = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in there = {};
  there.sin_family = AF_INET;
  there.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  there.sin_port = htons(static_cast<uint16_t>(port));
  const bool connected = connect(handle, reinterpret_cast<sockaddr*>(&there), sizeof there) == 0;
  close(handle);
  return connected;
}

pid_t start(const std::string& log) {
  const pid_t child = fork();
  if (child != 0) return child;
  if (!freopen(log.c_str(), "w", stderr) || !freopen("/dev/null", "w", stdout)) _exit(126);
  execl("/usr/sbin/krb5kdc", "krb5kdc", "-n", nullptr);
  _exit(127);
}

}  // namespace

KerberosRealm::KerberosRealm() : port(freePort()) {
  char made[] = "/tmp/zurealmXXXXXX";
  if (!mkdtemp(made)) throw std::runtime_error("no directory for a Kerberos realm");
  directory = made;
  writeConfiguration();
  setenv("KRB5_CONFIG", path("krb5.conf").c_str(), 1);
  setenv("KRB5_KDC_PROFILE", path("kdc.conf").c_str(), 1);
  setenv("KRB5CCNAME", ("FILE:" + path("tickets")).c_str(), 1);
  setenv("KRB5_KTNAME", ("FILE:" + path("keytab")).c_str(), 1);
  setenv("KRB5RCACHENAME", "none:", 1);

  run("/usr/sbin/kdb5_util create -s -P master");
  for (const char* principal : {kService, kUser}) {
    run(std::string("/usr/sbin/kadmin.local addprinc -randkey ") + principal);
    run("/usr/sbin/kadmin.local ktadd -k " + path("keytab") + " " + principal);
  }
  centre = start(path("log"));
  for (int tries = 0; !accepts(port); ++tries) {
    if (tries == 200 || waitpid(centre, nullptr, WNOHANG) != 0) {
      std::ifstream log(path("log"));
      throw std::runtime_error("the key distribution centre does not run: " +
                               std::string(std::istreambuf_iterator<char>(log), {}));
    }
    usleep(50000);
  }
}

KerberosRealm::~KerberosRealm() {
  if (centre > 0) {
    kill(centre, SIGTERM);
    waitpid(centre, nullptr, 0);
  }
  for (const char* variable : kVariables) unsetenv(variable);
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
}

void KerberosRealm::writeConfiguration() const {
  std::ofstream(path("krb5.conf")) << "[libdefaults]\n"
                                      "  default_realm = ZULIB.TEST\n"
                                      "  dns_lookup_kdc = false\n"
                                      "  dns_lookup_realm = false\n"
                                      "  dns_canonicalize_hostname = false\n"
                                      "  rdns = false\n"
                                      "  udp_preference_limit = 1\n"
                                      "[realms]\n"
                                      "  ZULIB.TEST = {\n"
                                      "    kdc = 127.0.0.1:"
                                   << port << "\n  }\n";
  std::ofstream(path("kdc.conf")) << "[kdcdefaults]\n"
                                     "  kdc_listen = 127.0.0.1:"
                                  << port << "\n  kdc_tcp_listen = 127.0.0.1:" << port
                                  << "\n[realms]\n"
                                     "  ZULIB.TEST = {\n"
                                     "    database_name = "
                                  << path("principals") << "\n    key_stash_file = " << path("stash")
                                  << "\n    acl_file = " << path("acl")
                                  << "\n    supported_enctypes = aes256-cts-hmac-sha1-96:normal\n"
                                     "  }\n";
}

void KerberosRealm::run(const std::string& command) const {
  const std::string log = path("log");
  if (std::system((command + " >" + log + " 2>&1").c_str()) == 0) return;
  std::ifstream text(log);
  throw std::runtime_error(command + ": " + std::string(std::istreambuf_iterator<char>(text), {}));
}

void KerberosRealm::logIn(int seconds) const {
  run("kinit -l " + std::to_string(seconds) + "s -k -t " + path("keytab") + " " + kUser);
}

void KerberosRealm::logOut() const { std::filesystem::remove(path("tickets")); }
