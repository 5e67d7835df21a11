// The bytes of a connection object, and the wait for its socket.

#ifndef ZULIB_NET_INTERNAL_CONNECTIONOBJECT_H
#define ZULIB_NET_INTERNAL_CONNECTIONOBJECT_H

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace zunet {

constexpr unsigned kConnectionSize = 548;
constexpr int kNoSocket = -1;

// Packed, because it lies in memory of the caller's, at any address, and its size is part of the interface.
struct __attribute__((packed)) ConnectionObject {
  int socketHandle;
  uint32_t port;              // host order
  uint32_t address;           // IPv4, network order
  uint16_t errorCode;         // the last error, cut to 16 bits
  uint16_t errorDetail;       // its second code
  const char* errorFunction;  // the function of the interface that failed
  const char* errorCall;      // the system call that failed
  char errorText[kConnectionSize - 16 - 2 * sizeof(const char*)];
};
static_assert(sizeof(ConnectionObject) == kConnectionSize);
static_assert(offsetof(ConnectionObject, errorFunction) == 16);

// Waits until a read of `socket` would not block: data, the peer's close or an error. Returns 1, 0 after the
// time, or -1 with `errno` set: EINTR after a signal. Takes a descriptor of any size, which select does not.
int waitForInput(int socket, std::chrono::microseconds time);

}  // namespace zunet

#endif
