// The PostgreSQL server of a test program.
//
// The server's keeper is a shell that waits for the end of a pipe, whose other end only the test program
// holds. So the server stops and its files go when the program ends, however it ends.

#include <arpa/inet.h>
#include <fcntl.h>
#include <glob.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/odbc_fixture.h"

namespace {

// The newest installed server's programs; empty when there is none.
std::string binaries() {
  glob_t found{};
  std::string directory;
  if (glob("/usr/lib/postgresql/*/bin", 0, nullptr, &found) == 0)
    directory = found.gl_pathv[found.gl_pathc - 1];
  globfree(&found);
  return directory;
}

// A port that nobody listens on now.
int freePort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  int port = 0;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
    port = ntohs(address.sin_port);
  }
  close(fd);
  return port;
}

class PostgresServer {
 public:
  static PostgresServer& instance() {
    static PostgresServer server;
    return server;
  }

  ~PostgresServer() {
    if (keeper <= 0) return;
    close(lifeline);
    waitpid(keeper, nullptr, 0);
  }

  int port = 0;  // 0: the server could not be started
  std::string failure;

 private:
  PostgresServer() {
    if (binaries().empty()) {
      failure = "no PostgreSQL server is installed";
      return;
    }
    for (int attempt = 0; attempt < 3 && port == 0; ++attempt) start();
  }

  void start() {
    int life[2];
    int ready[2];
    if (pipe2(life, O_CLOEXEC) != 0 || pipe2(ready, O_CLOEXEC) != 0) return;
    const int wanted = freePort();
    const std::string script = keeperScript(wanted);
    keeper = fork();
    if (keeper == 0) {
      dup2(life[0], STDIN_FILENO);
      dup2(ready[1], STDOUT_FILENO);
      if (geteuid() == 0)
        execlp("runuser", "runuser", "-u", "postgres", "--", "sh", "-c", script.c_str(), nullptr);
      execlp("sh", "sh", "-c", script.c_str(), nullptr);
      _exit(127);
    }
    close(life[0]);
    close(ready[1]);
    lifeline = life[1];
    std::string report;
    char bytes[512];
    for (ssize_t n;
         report.find("READY\n") == std::string::npos && (n = read(ready[0], bytes, sizeof bytes)) > 0;) {
      report.append(bytes, n);
    }
    close(ready[0]);
    if (report.find("READY\n") != std::string::npos) {
      port = wanted;
      return;
    }
    failure = report;
    close(lifeline);
    waitpid(keeper, nullptr, 0);
    keeper = 0;
  }

  static std::string keeperScript(int wanted) {
    const std::string bin = binaries();
    return "umask 077; dir=$(mktemp -d /tmp/zulibpgXXXXXX) || exit 1; cd \"$dir\"; trap 'rm -rf \"$dir\"' "
           "EXIT; "
           "trap '' INT TERM HUP; "
           "timeout 60 " +
           bin +
           "/initdb -D \"$dir/data\" -A trust -U postgres -E UTF8 --locale=C --no-sync >log 2>&1 && "
           "timeout 60 " +
           bin +
           "/pg_ctl -D \"$dir/data\" -l \"$dir/server\" -w -t 50 "
           "-o \"-F -p " +
           std::to_string(wanted) +
           " -h 127.0.0.1 -k ''\" start </dev/null >>log 2>&1 || "
           "{ cat log server; exit 1; }; "
           "echo READY; exec >/dev/null 2>&1; read forever; " +
           bin + "/pg_ctl -D \"$dir/data\" -m immediate -w -t 30 stop";
  }

  pid_t keeper = 0;
  int lifeline = -1;
};

}  // namespace

bool PostgresFixture::isRunning(std::string& why) {
  why = PostgresServer::instance().failure;
  return PostgresServer::instance().port != 0;
}

void PostgresFixture::SetUp() {
  std::string why;
  ASSERT_TRUE(isRunning(why)) << why;
}

std::string PostgresFixture::connectionString(const std::string& options) {
  return "Driver=/usr/lib/x86_64-linux-gnu/odbc/psqlodbca.so;Server=127.0.0.1;Port=" +
         std::to_string(PostgresServer::instance().port) + ";Database=postgres;UID=postgres;" + options;
}

std::string PostgresFixture::streaming(int rows) {
  return connectionString("UseDeclareFetch=1;Fetch=" + std::to_string(rows) + ";");
}
