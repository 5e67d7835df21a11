#include "wire/transport.h"

#include <algorithm>

#include "base/errors.h"

namespace pgwire {

int Transport::open(const char* address, bool log) {
  if (buffer.resize(kBuffer)) return 1;
  begin = end = longLength = 0;
  pipe.setLogging(log ? 1 : 0);
  return pipe.openPipe(reinterpret_cast<const unsigned char*>(address)) == 0 ? 0 : 1;
}

void Transport::close() {
  pipe.setReportErrors(0);
  pipe.closePipe();
  pipe.setLogging(0);
  pipe.setReportErrors(1);
}

int Transport::send(Request& request, unsigned long begin, unsigned long length) {
  return request.bytes().writeToWire(begin, &pipe, length, 0);
}

void Transport::setWait(uint32_t seconds) {
  hasWait = seconds > 0;
  pipe.setReadTimeout(seconds, 0);
  pipe.setAlternateTimeout(seconds, 0);
}

// Reads until the buffer has `wanted` bytes together.
Received Transport::fill(uint32_t wanted) {
  if (begin > 0) {
    std::memmove(buffer.data(), buffer.data() + begin, end - begin);
    end -= begin;
    begin = 0;
  }
  while (end < wanted) {
    unsigned long got = 0;
    const ZuNetStatus status = pipe.readPipe(buffer.data() + end, kBuffer - end, &got, 0);
    if (status == netTimeout) return Received::TimedOut;
    if (status != netOk) return Received::Failed;
    end += static_cast<uint32_t>(got);
  }
  return Received::Message;
}

Received Transport::receive(Message& message) {
  if (longLength > 0) return receiveLong(message);
  if (end - begin < kHeader) {
    const Received status = fill(kHeader);
    if (status != Received::Message) return status;
  }
  uint32_t length = 0;
  std::memcpy(&length, buffer.data() + begin + 1, sizeof length);
  length = __builtin_bswap32(length);
  if (length < 4 || length > kLongest) {
    fail(Issue::BadMessage);
    return Received::Failed;
  }
  const uint32_t whole = length + 1;
  if (whole > kBuffer) {
    longLength = length - 4;
    longType = static_cast<char>(buffer[begin]);
    begin += kHeader;
    if (spill.initialize(1) || spill.append(buffer.data() + begin, end - begin)) return Received::Failed;
    begin = end = 0;
    return receiveLong(message);
  }
  if (end - begin < whole) {
    const Received status = fill(whole);
    if (status != Received::Message) return status;
  }
  message.type = static_cast<char>(buffer[begin]);
  message.length = length - 4;
  message.data = buffer.data() + begin + kHeader;
  begin += whole;
  return Received::Message;
}

Received Transport::receiveLong(Message& message) {
  int timedOut = 0;
  const unsigned long left = longLength - spill.getLength();
  // A read without a wait would time out at once here, so the wait is only used where there is one.
  if (spill.appendFromWire(&pipe, left, 0, hasWait ? 1 : 0, &timedOut)) return Received::Failed;
  if (timedOut) return Received::TimedOut;
  message.type = longType;
  message.length = longLength;
  message.data = nullptr;
  message.spill = &spill;
  message.spillStart = 0;
  longLength = 0;
  return Received::Message;
}

void Transport::drain(uint32_t seconds) {
  pipe.setReportErrors(0);
  setWait(std::max(1U, seconds));
  unsigned long got = 0;
  while (pipe.readPipe(buffer.data(), kBuffer, &got, 0) == netOk) continue;
  pipe.setReportErrors(1);
}

}  // namespace pgwire
