#include "zulib/net/connection.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zulib/net/internal/connectionobject.h"

using zunet::ConnectionObject;
using zunet::kNoSocket;

namespace {

constexpr unsigned kVersion = 0x07000207;
constexpr std::chrono::seconds kReadWait(10);
constexpr size_t kHostSize = 4096;    // of the host in an address text, with its terminator
constexpr size_t kLookUpSize = 1024;  // of the work buffer of a look-up
constexpr short kInputEvents = POLLIN | POLLPRI | POLLRDNORM | POLLRDBAND;
static_assert(kInputEvents == 0xC3);
constexpr int kEnumerationNotOffered = 2;
constexpr uint32_t kNoDetail = 0xFFFF;

ConnectionObject& objectOf(void* conn) { return *static_cast<ConnectionObject*>(conn); }

void setError(ConnectionObject& object, const char* function, const char* call, uint32_t code, int detail) {
  object.errorCode = static_cast<uint16_t>(code);
  object.errorDetail = static_cast<uint16_t>(detail);
  if (object.errorDetail == kNoDetail) object.errorDetail = kConnectionFailed;
  object.errorFunction = function;
  object.errorCall = call;
  // A long address in the text is cut at the object's end.
  std::snprintf(object.errorText, sizeof object.errorText, "%s (%s()).", function, call);
}

// Records a failure; the result is that of the functions that return a count.
unsigned short fail(ConnectionObject& object, const char* function, const char* call, uint32_t code,
                    unsigned* error) {
  *error = code;
  setError(object, function, call, code, -1);
  return 0;
}

uint32_t lastError() { return static_cast<uint32_t>(errno); }

// The code of a transfer that moved nothing: the peer closed, or the system's error.
uint32_t transferError(ssize_t result) { return result == 0 ? uint32_t{kConnectionFailed} : lastError(); }

// Makes the socket of an object and gives it any local port. Returns the call that failed, or null.
const char* makeSocket(ConnectionObject& object) {
  object.socketHandle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
  if (object.socketHandle < 0) return "socket";
  const linger resetOnClose = {1, 0};
  setsockopt(object.socketHandle, SOL_SOCKET, SO_LINGER, &resetOnClose, sizeof resetOnClose);
  const int on = 1;
  setsockopt(object.socketHandle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  sockaddr_in local = {};
  local.sin_family = AF_INET;
  return bind(object.socketHandle, reinterpret_cast<const sockaddr*>(&local), sizeof local) < 0 ? "bind"
                                                                                                : nullptr;
}

// Takes "host,port" apart and looks the host up. False if the address is bad.
bool resolve(ConnectionObject& object, const char* text) {
  const char* comma = text ? std::strchr(text, ',') : nullptr;
  if (!comma || !comma[1]) return false;
  const auto length = static_cast<size_t>(comma - text);
  if (length == 0 || length >= kHostSize) return false;
  char host[kHostSize];
  std::memcpy(host, text, length);
  host[length] = 0;
  unsigned address = inet_addr(host);
  unsigned ignored;
  if (address == INADDR_NONE && MapHostNameToAddress(&object, host, &address, &ignored)) return false;
  object.address = address;
  object.port = static_cast<uint32_t>(std::strtol(comma + 1, nullptr, 10));
  return true;
}

bool connectSocket(const ConnectionObject& object) {
  sockaddr_in peer = {};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(static_cast<uint16_t>(object.port));
  peer.sin_addr.s_addr = object.address;
  return connect(object.socketHandle, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0;
}

unsigned short writeAll(void* conn, const void* buffer, unsigned short length, int flags,
                        const char* function, unsigned* error) {
  ConnectionObject& object = objectOf(conn);
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  *error = 0;
  unsigned written = 0;
  while (written < length) {
    const ssize_t sent = send(object.socketHandle, bytes + written, length - written, flags | MSG_NOSIGNAL);
    if (sent <= 0) return fail(object, function, "send", transferError(sent), error);
    written += static_cast<unsigned>(sent);
  }
  return length;
}

}  // namespace

int zunet::waitForInput(int socket, std::chrono::microseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  const timespec limit = {seconds.count(), std::chrono::nanoseconds(time - seconds).count()};
  pollfd wanted = {socket, POLLIN | POLLRDNORM | POLLRDBAND, 0};
  // ppoll would take no notice of a negative descriptor, and wait for nothing.
  const int ready = socket < 0 ? 0 : ppoll(&wanted, 1, &limit, nullptr);
  if (socket >= 0 && !(wanted.revents & POLLNVAL)) return ready;
  errno = EBADF;
  return -1;
}

unsigned ConnectionObjectSize() { return zunet::kConnectionSize; }

unsigned ConnectionVer() { return kVersion; }

int ConnectionOpen(void* conn, const char* address, unsigned* error) {
  ConnectionObject& object = objectOf(conn);
  std::memset(&object, 0, sizeof object);
  object.socketHandle = kNoSocket;
  *error = 0;
  const char* failed = makeSocket(object);
  uint32_t code = lastError();
  if (!failed && !resolve(object, address)) {
    failed = address ? address : "";
    code = kConnectionFailed;
  } else if (!failed && !connectSocket(object)) {
    failed = "connect";
    code = lastError();
  }
  if (!failed) return 1;
  if (object.socketHandle >= 0) close(object.socketHandle);
  object.socketHandle = kNoSocket;
  return fail(object, "ConnectionOpen", failed, code, error);
}

int ConnectionClose(void* conn, unsigned* error) {
  ConnectionObject& object = objectOf(conn);
  *error = 0;
  if (object.socketHandle == kNoSocket) return 1;
  const bool closed = close(object.socketHandle) == 0;
  object.socketHandle = kNoSocket;
  return closed ? 1 : fail(object, "ConnectionClose", "closesocket", lastError(), error);
}

unsigned short ConnectionRead(void* conn, void* buffer, unsigned short length, unsigned short, unsigned short,
                              unsigned* error) {
  ConnectionObject& object = objectOf(conn);
  *error = 0;
  // What is there already needs no wait, which would cost as much as the read.
  ssize_t got = recv(object.socketHandle, buffer, length, MSG_DONTWAIT);
  if (got < 0 && errno == EAGAIN) {
    const int ready = zunet::waitForInput(object.socketHandle, kReadWait);
    if (ready == 0) return fail(object, "ConnectionRead", "recv", kConnectionTimedOut, error);
    if (ready > 0) got = recv(object.socketHandle, buffer, length, 0);
  }
  if (got <= 0) return fail(object, "ConnectionRead", "recv", transferError(got), error);
  return static_cast<unsigned short>(got);
}

unsigned short ConnectionWrite(void* conn, const void* buffer, unsigned short length, unsigned* error) {
  return writeAll(conn, buffer, length, 0, "ConnectionWrite", error);
}

unsigned short ConnectionWriteOOB(void* conn, const void* buffer, unsigned short length, unsigned* error) {
  return writeAll(conn, buffer, length, MSG_OOB, "ConnectionWriteOOB", error);
}

unsigned short ConnectionTransact(void* conn, void* readBuffer, const void* writeBuffer,
                                  unsigned short writeLength, unsigned short readLength, unsigned short first,
                                  unsigned short second, unsigned* error) {
  if (ConnectionWrite(conn, writeBuffer, writeLength, error) < writeLength) return 0;
  return ConnectionRead(conn, readBuffer, readLength, first, second, error);
}

int ConnectionCheckForData(void* conn, unsigned* hasData, unsigned* error) {
  ConnectionObject& object = objectOf(conn);
  *hasData = 0;
  *error = 0;
  pollfd wanted = {object.socketHandle, kInputEvents, 0};
  const int ready = poll(&wanted, 1, 0);
  if (ready < 0) return fail(object, "ConnectionCheckForData", "poll", lastError(), error);
  if (ready == 0) return 0;
  if (wanted.revents & ~kInputEvents) {
    return fail(object, "ConnectionCheckForData", "", kConnectionFailed, error);
  }
  *hasData = 1;
  return 1;
}

int ConnectionError(void* conn, unsigned* code, const char** text, unsigned* detail) {
  const ConnectionObject& object = objectOf(conn);
  if (code) *code = object.errorCode;
  if (text) *text = object.errorText;
  if (detail) *detail = object.errorDetail;
  return 1;
}

int ConnectionStatus(void*, unsigned short) { return 0; }

void ConnectionMode(void*, unsigned short) {}

int ConnectionServerEnum(void*, unsigned short, unsigned short* count) {
  if (count) *count = 0;
  return kEnumerationNotOffered;
}

int ConnectionServerEnumW(void* handle, unsigned short number, unsigned short* count) {
  return ConnectionServerEnum(handle, number, count);
}

const char* MapHostNameToAddress(void* conn, const char* name, unsigned* address, unsigned* error) {
  hostent record;
  hostent* found = nullptr;
  char work[kLookUpSize];
  int word = 0;
  gethostbyname_r(name, &record, work, sizeof work, &found, &word);
  // Some resolvers leave HOST_NOT_FOUND in the word of a look-up that succeeded.
  const bool resolved = found && (word == 0 || word == HOST_NOT_FOUND);
  const bool isIPv4 = resolved && found->h_addrtype == AF_INET && found->h_length == sizeof *address;
  *error = 0;
  if (isIPv4 && found->h_addr_list[0]) {
    std::memcpy(address, found->h_addr_list[0], sizeof *address);
    return nullptr;
  }
  const char* call = resolved ? "" : "gethostbyname_r";
  fail(objectOf(conn), "MapHostNameToAddress", call,
       resolved || word == 0 ? uint32_t{kConnectionFailed} : static_cast<uint32_t>(word), error);
  return call;
}
