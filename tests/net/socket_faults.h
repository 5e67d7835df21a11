// Makes the socket calls of the library fail, fall short or time out on demand. test_net is linked with
// --wrap for them (tests/CMakeLists.txt), so that tests and fixtures reach them too: arm only around calls of
// the library.

#ifndef ZULIB_TESTS_NET_SOCKET_FAULTS_H
#define ZULIB_TESTS_NET_SOCKET_FAULTS_H

#include <chrono>
#include <cstddef>
#include <string>

namespace nettest {

// One lives at a time; its end disarms.
class SocketFaults {
 public:
  SocketFaults();
  SocketFaults(const SocketFaults&) = delete;
  SocketFaults& operator=(const SocketFaults&) = delete;
  ~SocketFaults();

  // The calls to `call` ("send", "recv", ... or "" for all) number `first` to `first` + `times` - 1 from here
  // on return -1 with `error`; a name look-up fails with `error` as its own error word.
  void fail(const std::string& call, int error, int first = 1, int times = 1);

  // Each send takes at most `n` bytes.
  void limitSends(size_t n);

  // Waits return at once as if their time were over.
  void expireWaits();

  // What was called: how many of the calls named in fail, and how long the last wait was to be.
  int count() const;
  std::chrono::microseconds lastWait() const;
};

}  // namespace nettest

#endif
