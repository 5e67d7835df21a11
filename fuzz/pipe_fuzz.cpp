// What a peer sends, in pieces of any size, to either pipe, which reads in pieces of any size: what is read
// is what was sent, nothing is written past a buffer, and the end of the peer is seen as such.

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/input.h"
#include "fuzz/net/socketpipe.h"
#include "zulib/net/connection.h"
#include "zulib/net/internal/connectionobject.h"
#include "zulib/net/zupipe.h"

namespace {

constexpr size_t kMostBytes = 20000;  // a socket pair holds them

int socketToOpen;

// Pipes that open the socket above in place of a connection.
class SocketPipe : public ZuPipe {
 public:
  SocketPipe() {
    netFunctions.Open = [](void* conn, const char*, unsigned*) {
      static_cast<zunet::ConnectionObject*>(conn)->socketHandle = socketToOpen;
      return 1;
    };
    openPipe(reinterpret_cast<const unsigned char*>(""));
  }
  ZuNetStatus read(unsigned char* to, unsigned long n, unsigned long* got) { return readPipe(to, n, 0, got); }
};

class ReadingTCPIP : public SocketTCPIP {
 public:
  ReadingTCPIP() : SocketTCPIP(socketToOpen) {}
  ZuNetStatus read(unsigned char* to, unsigned long n, unsigned long* got) { return readPipe(to, n, got, 0); }
};

bool isAlert(const std::string& bytes) {
  return bytes.size() == 7 && bytes[0] == 21 && bytes[3] == 0 && bytes[4] == 2;
}

template <class Pipe>
void converse(const uint8_t* script, size_t steps, const std::string& sent) {
  int ends[2];
  demand(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
  socketToOpen = ends[0];
  Pipe pipe;
  std::string received;
  size_t put = 0;
  for (size_t i = 0; i < steps; ++i) {
    // A piece from the peer, then a read of another length.
    const size_t piece = std::min<size_t>(script[i] & 15, sent.size() - put);
    if (piece) demand(send(ends[1], sent.data() + put, piece, 0) == static_cast<ssize_t>(piece));
    put += piece;
    if (put == received.size()) continue;
    const unsigned long want = 1 + (script[i] >> 4);
    auto* buffer = static_cast<unsigned char*>(std::malloc(want));
    unsigned long got = 0;
    const ZuNetStatus status = pipe.read(buffer, want, &got);
    const std::string bytes(reinterpret_cast<char*>(buffer), got);
    demand(got >= 1 && got <= want);
    demand(status == (std::is_same_v<Pipe, SocketPipe> && isAlert(bytes) ? netError : netOk));
    received += bytes;
    std::free(buffer);
  }
  demand(send(ends[1], sent.data() + put, sent.size() - put, 0) == static_cast<ssize_t>(sent.size() - put));
  close(ends[1]);
  unsigned char rest[1000];
  unsigned long got = 0;
  while (received.size() < sent.size()) {
    pipe.read(rest, sizeof rest, &got);
    demand(got > 0);
    received.append(reinterpret_cast<char*>(rest), got);
  }
  demand(received == sent);
  demand(pipe.isConnected());
  demand(pipe.read(rest, sizeof rest, &got) == netConnectionLost && got == 0 && !pipe.isConnected());
  pipe.closePipe();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > kMostBytes) return 0;
  const size_t steps = std::min<size_t>(data[0], size - 1);
  const std::string sent(reinterpret_cast<const char*>(data) + 1 + steps, size - 1 - steps);
  converse<SocketPipe>(data + 1, steps, sent);
  converse<ReadingTCPIP>(data + 1, steps, sent);
  return 0;
}
