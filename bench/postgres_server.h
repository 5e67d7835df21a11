// A PostgreSQL server for the life of a benchmark, in a scratch directory and on a free loopback port.
//
// Its keeper is a shell that reads from a pipe which only this program holds, so the server stops and its
// files go when the program ends, however it ends.

#ifndef ZULIB_BENCH_POSTGRES_SERVER_H
#define ZULIB_BENCH_POSTGRES_SERVER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

class PostgresServer {
 public:
  PostgresServer() {
    char name[] = "/tmp/zulibbenchXXXXXX";
    if (!mkdtemp(name)) return;
    directory = name;
    const std::string bin = "/usr/lib/postgresql/15/bin/", data = " -D " + directory + "/data ";
    const std::string wanted = std::to_string(freePort());
    const bool root = geteuid() == 0;
    const std::string script = "cd " + directory + "; " + (root ? "chown postgres .; " : "") +
                               (root ? "runuser -u postgres -- " : "") + "sh -c '" + bin + "initdb" + data +
                               "-A trust -U postgres -E UTF8 --locale=C --no-sync && " + bin + "pg_ctl" +
                               data + "-w -l server -o \"-F -p " + wanted +
                               " -h 127.0.0.1 -k \\\"\\\"\" start' >log 2>&1 </dev/null && "
                               "touch ready || touch failed; read forever; " +
                               (root ? "runuser -u postgres -- " : "") + bin + "pg_ctl" + data +
                               "-m immediate -w stop >>log 2>&1; rm -rf " + directory;
    keeper = popen(script.c_str(), "w");
    for (int tenths = 0; keeper && tenths < 600; ++tenths) {
      if (std::filesystem::exists(directory + "/ready")) port = wanted;
      if (!port.empty() || std::filesystem::exists(directory + "/failed")) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;
  ~PostgresServer() {
    if (keeper) pclose(keeper);
  }

  // Empty when no server could be started.
  const std::string& portNumber() const { return port; }

 private:
  static int freePort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    close(fd);
    return bound ? ntohs(address.sin_port) : 0;
  }

  std::string directory;
  std::string port;
  FILE* keeper = nullptr;
};

#endif
