#include "zulib/net/zupipe.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "zulib/errors/zuerror.h"
#include "zulib/net/connection.h"
#include "zulib/net/internal/datastreamlog.h"
#include "zulib/net/internal/neterrors.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"

namespace {

constexpr unsigned long kChunk = 65535;  // the most that a transport moves at once

constexpr ZuNetFunctions kTcpIp = {
    ConnectionObjectSize, ConnectionRead,  ConnectionWrite,        ConnectionWriteOOB,
    ConnectionOpen,       ConnectionClose, ConnectionCheckForData, {}};

// The chunks of a transfer: every one is full except the last, which may be empty.
unsigned long chunkCount(unsigned long length) { return length / kChunk + 1; }
unsigned short chunkSize(unsigned long length, unsigned long index) {
  return static_cast<unsigned short>(index < length / kChunk ? kChunk : length % kChunk);
}

// An alert of a TLS peer that was spoken to in plain text.
bool isTlsAlert(const unsigned char* data, unsigned long length) {
  constexpr unsigned char kAlert = 21;
  constexpr unsigned char kAlertLength = 2;
  return length == 7 && data[0] == kAlert && data[3] == 0 && data[4] == kAlertLength;
}

}  // namespace

ZuPipe::ZuPipe() { setProtocol(ZuProtocolTcpIp); }

ZuPipe::~ZuPipe() {
  std::free(trustedRootsFile);
  reset();
}

void ZuPipe::setProtocol(ZuProtocolType type) {
  protocol = type;
  if (type == ZuProtocolTcpIp) netFunctions = kTcpIp;
}

void ZuPipe::setLogging(unsigned short on) {
  logging = on;
  if (on) {
    if (!logFile) logFile = zunet::openDataStreamLog();
  } else {
    zunet::closeDataStreamLog(logFile);
    logFile = 0;
  }
}

int ZuPipe::setSSL() {
  sslEnabled = 1;
  return 0;
}

int ZuPipe::setTrustedRootsFilename(const char* name) {
  if (!name) return 0;
  unsigned char* copy = ramAllocStr(reinterpret_cast<const unsigned char*>(name));
  if (!copy) return 1;
  std::free(trustedRootsFile);
  trustedRootsFile = reinterpret_cast<char*>(copy);
  return 0;
}

int ZuPipe::openPipe(const unsigned char* address) {
  if (!address) {
    addResourceError(ZU_MSG_NET_NO_ADDRESS);
    return -1;
  }
  if (connection && closePipe() != 0) return -1;
  connection = new (std::nothrow) unsigned char[netFunctions.ObjectSize()];
  if (!connection) {
    if (reportErrors) ZuErrorKeeper::addMemoryError();
    return -1;
  }
  unsigned error = 0;
  if (netFunctions.Open(connection, reinterpret_cast<const char*>(address), &error) == 0) {
    if (reportErrors) zunet::addLinkError(ZU_MSG_NET_NOT_CONNECTED);
    return -1;
  }
  if (sslEnabled && initSSL() != 0) {
    closePipe();
    return -1;
  }
  connected = 1;
  return 0;
}

int ZuPipe::closePipe() {
  if (connection) {
    if (sslEnabled) resetSSL();
    unsigned error = 0;
    if (netFunctions.Close(connection, &error) < 0) {
      addNetLibError(netError, static_cast<long>(error));
      return -1;
    }
    delete[] connection;
    connection = nullptr;
  }
  connected = 0;
  return 0;
}

void ZuPipe::reset() {
  if (sslEnabled) resetSSL();
  delete[] connection;
  connection = nullptr;
  connected = 0;
}

ZuNetStatus ZuPipe::writePipe(const unsigned char* data, unsigned long length, int outOfBand) {
  if (logging) logDataStream(data, length, 0);
  if (sslEnabled) return writeSSL(data, length, outOfBand);
  if (!connection) return notOpen();
  const auto write = outOfBand ? netFunctions.WriteOOB : netFunctions.Write;
  unsigned long total = 0;
  for (unsigned long i = 0; i < chunkCount(length); ++i) {
    const unsigned short chunk = chunkSize(length, i);
    unsigned error = 0;
    const unsigned short count = write(connection, data + i * kChunk, chunk, &error);
    if (error || count < chunk) return fail(error);
    total += count;
  }
  if (total == length) return netOk;
  addNetLibError(netError, -1);
  return netError;
}

ZuNetStatus ZuPipe::readPipe(unsigned char* buffer, unsigned long length, int flag, unsigned long* got) {
  if (sslEnabled) return readSSL(buffer, length, flag, got);
  if (!connection) return notOpen();
  unsigned long total = 0;
  if (got) *got = 0;
  for (unsigned long i = 0; i < chunkCount(length); ++i) {
    const unsigned short chunk = chunkSize(length, i);
    unsigned short count = 0;
    const ZuNetStatus status = readChunk(buffer + total, chunk, &count);
    if (status != netOk) return status;
    // A transport that reports neither data nor an error has brought nothing at all.
    total = count || !chunk ? total + count : 0;
    if (got) *got = total;
    if (count < chunk) break;
  }
  const bool alert = isTlsAlert(buffer, total);
  if (alert) addResourceError(ZU_MSG_NET_TLS_EXPECTED);
  if (logging) logDataStream(buffer, total, 1);
  return alert ? netError : netOk;
}

ZuNetStatus ZuPipe::readChunk(unsigned char* to, unsigned short chunk, unsigned short* count) {
  unsigned error = 0;
  do {
    *count = netFunctions.Read(connection, to, chunk, chunk, 0, &error);
  } while (error == EINTR);
  return error ? fail(error) : netOk;
}

ZuNetStatus ZuPipe::peekPipe(int& available) {
  available = 0;
  if (!connection) return notOpen();
  unsigned hasData = 0;
  unsigned error = 0;
  if (netFunctions.CheckForData(connection, &hasData, &error)) {
    available = hasData ? 1 : 0;
  } else if (error) {
    addNetLibError(netError, static_cast<long>(error));
    return netError;
  }
  return netOk;
}

// The status of a transfer that ended with an error number, with its error record.
ZuNetStatus ZuPipe::fail(unsigned number) {
  const ZuNetStatus status = zunet::statusOf(number);
  if (status == netConnectionLost) connected = 0;
  if (status != netTimeout) addNetLibError(status, static_cast<long>(number));
  return status;
}

ZuNetStatus ZuPipe::notOpen() {
  addNetLibError(netConnectionLost, netConnectionLost);
  return netConnectionLost;
}

void ZuPipe::logDataStream(const unsigned char* data, unsigned long length, int reading) {
  char header[48];
  std::snprintf(header, sizeof header, reading ? "Reading %lu bytes\r\n" : "Sending %lu bytes\n", length);
  zunet::logTransfer(logFile, header, data, length);
}

void ZuPipe::addNetLibError(ZuNetStatus status, long number) {
  if (reportErrors) zunet::addStatusError(status, number);
}

void ZuPipe::addResourceError(unsigned short message) {
  if (reportErrors) addError(message);
}

int ZuPipe::initSSL() {
  addResourceError(ZU_MSG_NET_TLS_NOT_AVAILABLE);
  return -1;
}

void ZuPipe::resetSSL() {}

ZuNetStatus ZuPipe::writeSSL(const unsigned char*, unsigned long, int) {
  addResourceError(ZU_MSG_NET_TLS_NOT_AVAILABLE);
  return netError;
}

ZuNetStatus ZuPipe::readSSL(unsigned char*, unsigned long, int, unsigned long* got) {
  if (got) *got = 0;
  addResourceError(ZU_MSG_NET_TLS_NOT_AVAILABLE);
  return netError;
}
