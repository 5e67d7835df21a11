#include "tests/net/socket_faults.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

using namespace std::chrono;

namespace {

struct Faults {
  bool armed = false;
  std::string call;
  int error = 0;
  int first = 0;
  int times = 0;
  int made = 0;
  size_t sendLimit = SIZE_MAX;
  bool expired = false;
  microseconds wait{0};
} faults;

// Counts a call; true if it has to fail, with `errno` set.
bool fails(const char* call) {
  if (!faults.armed || (!faults.call.empty() && faults.call != call)) return false;
  ++faults.made;
  if (faults.made < faults.first || faults.made >= faults.first + faults.times) return false;
  errno = faults.error;
  return true;
}

}  // namespace

extern "C" {

int __real_socket(int family, int type, int protocol);
int __wrap_socket(int family, int type, int protocol) {
  return fails("socket") ? -1 : __real_socket(family, type, protocol);
}

int __real_bind(int handle, const sockaddr* address, socklen_t length);
int __wrap_bind(int handle, const sockaddr* address, socklen_t length) {
  return fails("bind") ? -1 : __real_bind(handle, address, length);
}

int __real_connect(int handle, const sockaddr* address, socklen_t length);
int __wrap_connect(int handle, const sockaddr* address, socklen_t length) {
  return fails("connect") ? -1 : __real_connect(handle, address, length);
}

int __real_gethostbyname_r(const char* name, hostent* record, char* buffer, size_t size, hostent** result,
                           int* word);
int __wrap_gethostbyname_r(const char* name, hostent* record, char* buffer, size_t size, hostent** result,
                           int* word) {
  if (!fails("gethostbyname_r")) return __real_gethostbyname_r(name, record, buffer, size, result, word);
  *result = nullptr;
  *word = faults.error;
  return 0;
}

ssize_t __real_send(int handle, const void* data, size_t length, int flags);
ssize_t __wrap_send(int handle, const void* data, size_t length, int flags) {
  if (fails("send")) return -1;
  return __real_send(handle, data, faults.armed ? std::min(length, faults.sendLimit) : length, flags);
}

ssize_t __real_recv(int handle, void* data, size_t length, int flags);
ssize_t __wrap_recv(int handle, void* data, size_t length, int flags) {
  return fails("recv") ? -1 : __real_recv(handle, data, length, flags);
}

int __real_poll(pollfd* handles, nfds_t count, int milliseconds);
int __wrap_poll(pollfd* handles, nfds_t count, int milliseconds) {
  return fails("poll") ? -1 : __real_poll(handles, count, milliseconds);
}

int __real_ppoll(pollfd* handles, nfds_t count, const timespec* limit, const sigset_t* mask);
int __wrap_ppoll(pollfd* handles, nfds_t count, const timespec* limit, const sigset_t* mask) {
  faults.wait = seconds(limit->tv_sec) + duration_cast<microseconds>(nanoseconds(limit->tv_nsec));
  if (fails("ppoll")) return -1;
  return faults.armed && faults.expired ? 0 : __real_ppoll(handles, count, limit, mask);
}

int __real_close(int handle);
int __wrap_close(int handle) {
  // The descriptor goes also if the call reports an error.
  const bool failed = fails("close");
  const int result = __real_close(handle);
  if (failed) errno = faults.error;
  return failed ? -1 : result;
}

}  // extern "C"

namespace nettest {

SocketFaults::SocketFaults() {
  faults = Faults();
  faults.armed = true;
}
SocketFaults::~SocketFaults() { faults.armed = false; }

void SocketFaults::fail(const std::string& call, int error, int first, int times) {
  faults.call = call;
  faults.error = error;
  faults.first = first;
  faults.times = times;
  faults.made = 0;
}
void SocketFaults::limitSends(size_t n) { faults.sendLimit = n; }
void SocketFaults::expireWaits() { faults.expired = true; }
int SocketFaults::count() const { return faults.made; }
microseconds SocketFaults::lastWait() const { return faults.wait; }

}  // namespace nettest
