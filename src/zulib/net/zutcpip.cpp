#include "zulib/net/zutcpip.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>

#include "zulib/errors/zuerror.h"
#include "zulib/net/connection.h"
#include "zulib/net/internal/connectionobject.h"
#include "zulib/net/internal/datastreamlog.h"
#include "zulib/net/internal/neterrors.h"
#include "zulib/runtime/zumessages.h"

using std::chrono::microseconds;
using std::chrono::steady_clock;

ZuTCPIP::ZuTCPIP() = default;

ZuTCPIP::~ZuTCPIP() { reset(); }

void ZuTCPIP::setLogging(unsigned short on) {
  logging = on;
  if (on) {
    if (!logFile) logFile = zunet::openDataStreamLog();
  } else {
    zunet::closeDataStreamLog(logFile);
    logFile = 0;
  }
}

void ZuTCPIP::setReadTimeout(uint32_t seconds, uint32_t micro) {
  readTimeout[0] = seconds;
  readTimeout[1] = micro;
}

void ZuTCPIP::setAlternateTimeout(uint32_t seconds, uint32_t micro) {
  alternateTimeout[0] = seconds;
  alternateTimeout[1] = micro;
}

int ZuTCPIP::openPipe(const unsigned char* address) {
  if (!address) {
    if (reportErrors) zunet::addLinkError(ZU_MSG_NET_NO_ADDRESS);
    return -1;
  }
  if (connection && closePipe() != 0) return -1;
  connection = new (std::nothrow) zunet::ConnectionObject;
  if (!connection) {
    if (reportErrors) ZuErrorKeeper::addMemoryError();
    return -1;
  }
  unsigned error = 0;
  if (ConnectionOpen(connection, reinterpret_cast<const char*>(address), &error) == 0) {
    if (reportErrors) zunet::addLinkError(ZU_MSG_NET_NOT_CONNECTED);
    return -1;
  }
  connected = 1;
  return 0;
}

int ZuTCPIP::closePipe() {
  timedOutFlag = 0;
  if (connection) {
    unsigned error = 0;
    if (connected && ConnectionClose(connection, &error) < 0) {
      addNetLibError(netError, static_cast<long>(error));
      return -1;
    }
    // The socket of a lost connection is of no use to anybody.
    if (!connected && connection->socketHandle >= 0) close(connection->socketHandle);
    delete connection;
    connection = nullptr;
  }
  connected = 0;
  return 0;
}

void ZuTCPIP::reset() {
  delete connection;
  connection = nullptr;
  connected = 0;
}

ZuNetStatus ZuTCPIP::writePipe(const unsigned char* data, unsigned long length) {
  timedOutFlag = 0;
  if (logging) logDataStream(data, length, 0);
  if (!connection) return notOpen();
  const ssize_t sent = send(connection->socketHandle, data, length, MSG_NOSIGNAL);
  if (sent > 0) return netOk;
  return fail(sent == 0 ? kConnectionFailed : errno);
}

ZuNetStatus ZuTCPIP::readPipe(unsigned char* buffer, unsigned long length, unsigned long* got,
                              int useAlternate) {
  timedOutFlag = 0;
  if (!connection) return notOpen();
  *got = 0;
  if (useAlternate || readTimeout[0] || readTimeout[1]) {
    const ZuNetStatus waited = waitForData(useAlternate != 0);
    if (waited != netOk) return waited;
  }
  ssize_t count = 0;
  do {
    count = recv(connection->socketHandle, buffer, length, 0);
  } while (count < 0 && errno == EINTR);
  if (count <= 0) return fail(count == 0 ? kConnectionFailed : errno);
  *got = static_cast<unsigned long>(count);
  if (logging) logDataStream(buffer, *got, 1);
  return netOk;
}

// Waits for data as long as was set, however many signals come in between.
ZuNetStatus ZuTCPIP::waitForData(bool alternate) {
  const uint32_t* limit = alternate ? alternateTimeout : readTimeout;
  microseconds left = std::chrono::seconds(limit[0]) + microseconds(limit[1]);
  const auto end = steady_clock::now() + left;
  int ready = 0;
  while ((ready = zunet::waitForInput(connection->socketHandle, left)) < 0 && errno == EINTR) {
    left = std::max(microseconds(0), std::chrono::duration_cast<microseconds>(end - steady_clock::now()));
  }
  if (ready > 0) return netOk;
  const ZuNetStatus status = ready == 0 ? netTimeout : fail(errno);
  if (status != netTimeout || !alternate) return status;
  if (ready < 0) timedOutFlag = 1;
  return netAltTimeout;
}

// The status of a transfer that ended with an error number, with its error record.
ZuNetStatus ZuTCPIP::fail(int number) {
  const ZuNetStatus status = zunet::statusOf(static_cast<unsigned>(number));
  if (status == netConnectionLost) connected = 0;
  if (status != netTimeout) addNetLibError(status, number);
  return status;
}

ZuNetStatus ZuTCPIP::notOpen() {
  connected = 0;
  addNetLibError(netConnectionLost, netConnectionLost);
  return netConnectionLost;
}

void ZuTCPIP::logDataStream(const unsigned char* data, unsigned long length, int reading) {
  char header[48];
  std::snprintf(header, sizeof header, "%s %lu bytes\n", reading ? "Reading" : "Sending", length);
  zunet::logTransfer(logFile, header, data, length);
}

void ZuTCPIP::addNetLibError(ZuNetStatus status, long number) {
  ZuError* error = reportErrors ? zunet::addStatusError(status, number) : nullptr;
  if (error) error->setInterfaceError(zunet::kNetworkFailure);
}
