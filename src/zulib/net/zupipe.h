// ZuPipe, what a driver's wire protocol talks through: one connection to "host,port", by a table of network
// functions that the protocol chooses.
//
//   ZuPipe pipe;
//   if (pipe.openPipe(address)) return 1;
//   if (pipe.writePipe(request, requestLength, 0)) return 1;
//   unsigned long got;
//   if (pipe.readPipe(reply, sizeof reply, 0, &got)) return 1;
//   pipe.closePipe();
//
// Transfers are made in chunks of 65535 bytes and one last chunk, which is empty when the length is a
// multiple of 65535. A read returns at the first chunk that is not filled, so it may bring less than was
// asked for; the wait for each chunk is at most 10 seconds.
//
// Failures are statuses, with an error record of SQLSTATE 08S01 unless setReportErrors turned records off:
//   netError           7500 with the error number
//   netTimeout         no record; the pipe stays connected
//   netConnectionLost  7503; isConnected is then false
// A pipe whose connection was lost may be tried again, which tells what the socket says now.
//
// Destroying an open pipe, like `reset`, leaves its socket open: closePipe comes first.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_NET_ZUPIPE_H
#define ZULIB_NET_ZUPIPE_H

#include <cstdint>

#include "zulib/net/zuebcdic.h"
#include "zulib/net/zunetstatus.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

enum ZuProtocolType : int {
  ZuProtocolTcpIp = 0,  // the functions of connection.h
};

// The transport under a pipe. The contracts are those of the functions of connection.h with the same names.
// NOLINTBEGIN(readability-identifier-naming)
struct ZuNetFunctions {
  unsigned (*ObjectSize)();
  unsigned short (*Read)(void*, void*, unsigned short, unsigned short, unsigned short, unsigned*);
  unsigned short (*Write)(void*, const void*, unsigned short, unsigned*);
  unsigned short (*WriteOOB)(void*, const void*, unsigned short, unsigned*);
  int (*Open)(void*, const char*, unsigned*);
  int (*Close)(void*, unsigned*);
  int (*CheckForData)(void*, unsigned*, unsigned*);
  void (*reserved[5])();  // null
};
// NOLINTEND(readability-identifier-naming)

class ZU_API ZuPipe : public ZuObject {
 public:
  // A pipe for TCP/IP.
  ZuPipe();
  ZuPipe(const ZuPipe&) = delete;
  ZuPipe& operator=(const ZuPipe&) = delete;
  ~ZuPipe() override;

  // Fills the function table for TCP/IP; another type leaves it as it is.
  void setProtocol(ZuProtocolType type);

  // Not 0: logs every transfer to a new file in the current directory, the first of 0.out, 1.out... that is
  // free, or goes on with the file that is open. 0: closes the file. The file stays open when the pipe is
  // destroyed.
  void setLogging(unsigned short on);

  // Asks for TLS, which is not available: openPipe then fails with error 7511. Returns 0.
  int setSSL();
  unsigned isSSL() const { return sslEnabled; }
  // Keeps a copy of the file name for a TLS layer. 0, or 1 with the former name kept. Null does nothing.
  int setTrustedRootsFilename(const char* name);

  // 0: failures post no error records.
  void setReportErrors(unsigned on) { reportErrors = on; }

  // Connects to "host,port". 0, or -1 with error 7508 (null address), 7505 (not connected), 7511 (TLS) or out
  // of memory. A pipe that is open is closed first.
  int openPipe(const unsigned char* address);
  // 0, or -1 if the transport cannot close.
  int closePipe();
  // Forgets the connection without closing its socket.
  void reset();

  // Sends all bytes, as out-of-band data if `outOfBand` is not 0.
  ZuNetStatus writePipe(const unsigned char* data, unsigned long length, int outOfBand);
  // Reads up to `length` bytes; `*got` takes their number, also on failure, and may be null. The third
  // argument is ignored. A TLS alert from the peer is error 7509.
  ZuNetStatus readPipe(unsigned char* buffer, unsigned long length, int, unsigned long* got);
  // `available` is 1 if data can be read at once, else 0.
  ZuNetStatus peekPipe(int& available);

  bool isConnected() const { return connected != 0; }

 protected:
  void logDataStream(const unsigned char* data, unsigned long length, int reading);
  void addNetLibError(ZuNetStatus status, long number);
  void addResourceError(unsigned short message);

  // Reserved for a TLS layer: all but resetSSL fail with error 7511.
  int initSSL();
  void resetSSL();
  ZuNetStatus writeSSL(const unsigned char* data, unsigned long length, int outOfBand);
  ZuNetStatus readSSL(unsigned char* buffer, unsigned long length, int, unsigned long* got);

  int logFile = 0;             // handle of the log, 0 for none
  unsigned short logging = 0;  // not 0: log every transfer
  uint32_t connected = 0;      // 1 from a successful open until a close or a lost connection
  ZuProtocolType protocol = ZuProtocolTcpIp;
  ZuNetFunctions netFunctions = {};
  unsigned char* connection = nullptr;  // the transport's object, owned, from new[]
  uint32_t readTimeout[2] = {0, 0};     // seconds, microseconds; the transport has its own wait
  char* trustedRootsFile = nullptr;     // owned, a ram block
  uint32_t sslEnabled = 0;
  uint32_t reportErrors = 1;

 private:
  ZuNetStatus fail(unsigned number);
  ZuNetStatus notOpen();
  ZuNetStatus readChunk(unsigned char* to, unsigned short chunk, unsigned short* count);
};

#endif
