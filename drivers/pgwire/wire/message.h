// One message from the server, where it was received: in the transport's buffer, or, if it is too long for
// that, in a stream that spills to a file. It is valid until the next message is asked for.
//
// Reading past the end of the body fails without a record: the caller reports a bad message.

#ifndef PGWIRE_WIRE_MESSAGE_H
#define PGWIRE_WIRE_MESSAGE_H

#include <zulib/storage/blktmp.h>

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/array.h"

namespace pgwire {

struct Message {
  char type = 0;
  uint32_t length = 0;                  // of the body
  const unsigned char* data = nullptr;  // the body, or null if it is in `spill`
  BlkTmpFile* spill = nullptr;
  uint32_t spillStart = 0;  // of the body in `spill`

  [[nodiscard]] int read(uint32_t offset, void* out, uint32_t n) const {
    if (offset > length || n > length - offset) return 1;
    if (!data) return spill->read(spillStart + offset, out, n);
    std::memcpy(out, data + offset, n);
    return 0;
  }

  // The bytes from `offset` on that lie together: at least one unless `n` is 0, at most `n`.
  [[nodiscard]] int piece(uint32_t offset, uint32_t n, const unsigned char** out, uint32_t* got) const {
    if (offset > length || n > length - offset) return 1;
    *got = n;
    if (data) {
      *out = data + offset;
      return 0;
    }
    void* at = nullptr;
    unsigned long room = 0;
    if (spill->tmpPointer(spillStart + offset, &at, &room, 0)) return 1;
    *out = static_cast<const unsigned char*>(at);
    if (room < n) *got = static_cast<uint32_t>(room);
    return 0;
  }
};

// Reads the fields of a message one after another.
class MessageReader {
 public:
  explicit MessageReader(const Message& message) : message(message) {}

  [[nodiscard]] int int8(uint8_t* out) { return take(out, sizeof *out); }
  [[nodiscard]] int int16(uint16_t* out) {
    if (take(out, sizeof *out)) return 1;
    *out = __builtin_bswap16(*out);
    return 0;
  }
  [[nodiscard]] int int32(uint32_t* out) {
    if (take(out, sizeof *out)) return 1;
    *out = __builtin_bswap32(*out);
    return 0;
  }
  // A terminated text, without its terminator.
  [[nodiscard]] int text(Text& out) {
    out.clear();
    for (char c = 0;;) {
      if (take(&c, 1)) return 1;
      if (c == 0) return 0;
      if (out.append(c)) return 1;
    }
  }
  // A value of a row, with its length before it; empty if it is null.
  [[nodiscard]] int value(Text& out) {
    uint32_t length = 0;
    if (int32(&length)) return 1;
    if (length == 0xFFFFFFFF) length = 0;
    if (length > message.length - offset || out.resize(length)) return 1;
    return length ? take(out.data(), length) : 0;
  }
  [[nodiscard]] int rest(Text& out) {
    if (out.resize(message.length - offset)) return 1;
    return out.empty() ? 0 : take(out.data(), static_cast<uint32_t>(out.size()));
  }
  [[nodiscard]] int skip(uint32_t n) {
    if (n > message.length - offset) return 1;
    offset += n;
    return 0;
  }
  uint32_t position() const { return offset; }

 private:
  int take(void* out, uint32_t n) {
    if (message.read(offset, out, n)) return 1;
    offset += n;
    return 0;
  }

  const Message& message;
  uint32_t offset = 0;
};

}  // namespace pgwire

#endif
