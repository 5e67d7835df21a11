// The other end of a connection, on loopback, in the hands of the test: a listener, and the socket of whoever
// connected to it. A connection is complete before it is accepted, so one thread can play both ends. The
// peer's own transfers go by sendto and recvfrom, which SocketFaults leaves alone.

#ifndef ZULIB_TESTS_NET_PEER_H
#define ZULIB_TESTS_NET_PEER_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>

#include "tests/os/support.h"

namespace nettest {

using ostest::bytes;

class Peer {
 public:
  Peer() {
    listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof here;
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&here), length), 0);
    EXPECT_EQ(listen(listener, 8), 0);
    EXPECT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&here), &length), 0);
    portNumber = ntohs(here.sin_port);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() {
    hangUp();
    refuse();
  }

  std::string port() const { return std::to_string(portNumber); }
  std::string address() const { return "127.0.0.1," + port(); }

  // Takes the connection that was made last.
  void accept() {
    hangUp();
    handle = ::accept(listener, nullptr, nullptr);
    EXPECT_GE(handle, 0);
  }

  void send(const std::string& data, int flags = 0) const {
    EXPECT_EQ(sendto(handle, data.data(), data.size(), flags | MSG_NOSIGNAL, nullptr, 0),
              static_cast<ssize_t>(data.size()));
  }
  // Reads `n` bytes, or fewer if the connection ends.
  std::string receive(size_t n) const {
    std::string all(n, '\0');
    const ssize_t got = recvfrom(handle, all.data(), n, MSG_WAITALL, nullptr, nullptr);
    all.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return all;
  }

  // Ends the connection: in order, or with a reset.
  void hangUp() {
    if (handle >= 0) close(handle);
    handle = -1;
  }
  void abort() {
    const linger now = {1, 0};
    setsockopt(handle, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    hangUp();
  }
  // Nobody listens any more.
  void refuse() {
    if (listener >= 0) close(listener);
    listener = -1;
  }

  int handle = -1;

 private:
  int listener = -1;
  uint16_t portNumber = 0;
};

inline long openDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries));
}

}  // namespace nettest

#endif
