// Messages to the server, built one after another in a stream and sent together.
//
//   request.clear();
//   if (request.begin('Q') || request.text(sql) || request.end() || transport.send(request)) return 1;
//
// A message is its type (none in the very first one of a connection), the length of what follows with these
// four bytes counted, and its fields; numbers have their high byte first. Operations return 0, or 1 after one
// record on the thread's error list.
//
// Thread safety: none; one thread at a time.

#ifndef PGWIRE_WIRE_REQUEST_H
#define PGWIRE_WIRE_REQUEST_H

#include <zulib/storage/blktmp.h>

#include <cstdint>
#include <string_view>

namespace pgwire {

class Request {
 public:
  Request() : stream(kBlock) {}

  [[nodiscard]] int initialize() { return stream.initialize(1); }
  void clear() { stream.clear(); }
  unsigned long length() const { return stream.getLength(); }
  BlkTmpFile& bytes() { return stream; }

  [[nodiscard]] int begin(char type) {
    if (type != 0 && stream.appendInt8(static_cast<uint8_t>(type))) return 1;
    start = length();
    return stream.appendInt32(0);
  }
  // Writes the length of the message that was begun last.
  [[nodiscard]] int end() { return patch(start, length() - start); }

  [[nodiscard]] int int16(unsigned value) { return stream.appendInt16(static_cast<uint16_t>(value)); }
  [[nodiscard]] int int32(uint32_t value) { return stream.appendInt32(value); }
  [[nodiscard]] int bytes(const void* data, unsigned long n) { return n ? stream.append(data, n) : 0; }
  // A text and its terminator.
  [[nodiscard]] int text(std::string_view s) { return bytes(s.data(), s.size()) || stream.appendInt8(0); }

  // A value with its length before it: `beginValue`, any number of `bytes`, `endValue`.
  [[nodiscard]] int beginValue() {
    valueStart = length();
    return stream.appendInt32(0);
  }
  [[nodiscard]] int endValue() { return patch(valueStart, length() - valueStart - 4); }
  unsigned long valueLength() const { return length() - valueStart - 4; }
  [[nodiscard]] int nullValue() { return stream.appendInt32(0xFFFFFFFF); }
  // The value that was begun becomes null; nothing of it may have been written yet.
  [[nodiscard]] int makeValueNull() { return patch(valueStart, 0xFFFFFFFF); }

  // A message of a type alone.
  [[nodiscard]] int simple(char type) { return begin(type) || end(); }

 private:
  static constexpr unsigned long kBlock = 16384;

  int patch(unsigned long at, unsigned long value) {
    const uint32_t swapped = __builtin_bswap32(static_cast<uint32_t>(value));
    return stream.write(at, &swapped, sizeof swapped);
  }

  BlkTmpFile stream;
  unsigned long start = 0;       // of the message's length
  unsigned long valueStart = 0;  // of the value's length
};

}  // namespace pgwire

#endif
