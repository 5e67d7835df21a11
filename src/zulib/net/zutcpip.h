// ZuTCPIP, the older pipe: one TCP connection to "host,port" that it reads and writes directly, each transfer
// one call of the system, with waits that its user sets.
//
// A read without a wait blocks until something comes. Statuses, records and logs are those of ZuPipe, except
// that
//   - every record also has interface error 21;
//   - a read through the alternate wait ends with netAltTimeout in place of netTimeout;
//   - a write is one send: a status of netOk tells only that some of the bytes went out.
//
// Destroying an open pipe, like `reset`, leaves its socket open: closePipe comes first.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_NET_ZUTCPIP_H
#define ZULIB_NET_ZUTCPIP_H

#include <cstdint>

#include "zulib/net/zunetstatus.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

namespace zunet {
struct ConnectionObject;
}

class ZU_API ZuTCPIP : public ZuObject {
 public:
  ZuTCPIP();
  ZuTCPIP(const ZuTCPIP&) = delete;
  ZuTCPIP& operator=(const ZuTCPIP&) = delete;
  ~ZuTCPIP() override;

  // As in ZuPipe.
  void setLogging(unsigned short on);
  void setReportErrors(unsigned on) { reportErrors = on; }

  // How long a read waits, and how long one with `useAlternate`. A read wait of 0 and 0, as at the start,
  // waits for ever; an alternate wait of 0 and 0 only looks.
  void setReadTimeout(uint32_t seconds, uint32_t microseconds);
  void setAlternateTimeout(uint32_t seconds, uint32_t microseconds);

  // Connects to "host,port". 0, or -1 with error 7508 (null address), 7505 (not connected) or out of memory.
  // A pipe that is open is closed first.
  int openPipe(const unsigned char* address);
  // 0, or -1 if the connection cannot be closed.
  int closePipe();
  // Forgets the connection without closing its socket.
  void reset();

  // Sends the bytes, or those that the system takes at once. An empty write counts as a lost connection.
  ZuNetStatus writePipe(const unsigned char* data, unsigned long length);
  // Reads what is there, at most `length` bytes; `*got` takes their number, 0 on failure.
  ZuNetStatus readPipe(unsigned char* buffer, unsigned long length, unsigned long* got, int useAlternate);

  bool isConnected() const { return connected != 0; }
  // True if the last call ended because the system reported a time-out during the alternate wait.
  bool hasTimedOut() const { return timedOutFlag != 0; }

 protected:
  void logDataStream(const unsigned char* data, unsigned long length, int reading);
  void addNetLibError(ZuNetStatus status, long number);

  int logFile = 0;             // handle of the log, 0 for none
  unsigned short logging = 0;  // not 0: log every transfer
  uint32_t connected = 0;      // 1 from a successful open until a close or a lost connection
  zunet::ConnectionObject* connection = nullptr;  // owned
  uint32_t readTimeout[2] = {0, 0};               // seconds, microseconds
  uint32_t alternateTimeout[2] = {0, 0};
  uint32_t reportErrors = 1;
  uint32_t timedOutFlag = 0;

 private:
  ZuNetStatus waitForData(bool alternate);
  ZuNetStatus fail(int number);
  ZuNetStatus notOpen();
};

#endif
