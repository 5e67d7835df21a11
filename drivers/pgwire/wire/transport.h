// The connection to the server: sends requests, and cuts what comes into messages.
//
// Memory does not depend on what the server sends: bytes are read into one buffer, and a message that does
// not fit there goes to a stream that spills to a file. A receive that times out can be repeated and goes on
// where it was.
//
// Failures put a record on the thread's error list, with SQLSTATE 08S01.
//
// Thread safety: none; one thread at a time.

#ifndef PGWIRE_WIRE_TRANSPORT_H
#define PGWIRE_WIRE_TRANSPORT_H

#include <zulib/net/zutcpip.h>
#include <zulib/storage/blktmp.h>

#include <cstdint>

#include "base/array.h"
#include "wire/message.h"
#include "wire/request.h"

namespace pgwire {

enum class Received { Message, TimedOut, Failed };

class Transport {
 public:
  Transport() : spill(kSpillBlock) {}
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  ~Transport() { close(); }

  // `address` is "host,port". 0, or 1.
  [[nodiscard]] int open(const char* address, bool log);
  void close();
  bool isOpen() const { return pipe.isConnected(); }

  [[nodiscard]] int send(Request& request, unsigned long begin, unsigned long length);

  // How long a receive waits for the next bytes, in seconds; 0 for ever.
  void setWait(uint32_t seconds);

  Received receive(Message& message);

  // Waits for the server to close, and throws away what still comes.
  void drain(uint32_t seconds);

 private:
  static constexpr uint32_t kHeader = 5;
  static constexpr uint32_t kBuffer = 65536;
  static constexpr unsigned long kSpillBlock = 65536;
  static constexpr uint32_t kLongest = 0x40000000;  // the server's own limit for a row

  Received fill(uint32_t wanted);
  Received receiveLong(Message& message);

  ZuTCPIP pipe;
  bool hasWait = false;
  Array<unsigned char> buffer;
  uint32_t begin = 0;  // of what was not given out yet
  uint32_t end = 0;
  BlkTmpFile spill;         // the body of a long message
  uint32_t longLength = 0;  // of the long message that is being received, else 0
  char longType = 0;
};

}  // namespace pgwire

#endif
