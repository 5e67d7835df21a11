// The value of a column in the current row: a part of a message, which stays with the replies.

#ifndef PGWIRE_TYPES_FIELD_H
#define PGWIRE_TYPES_FIELD_H

#include <zulib/convert/sources/zudatasource.h>

#include <cstdint>
#include <string_view>

#include "base/array.h"
#include "wire/message.h"

namespace pgwire {

struct Field {
  const Message* message = nullptr;
  uint32_t offset = 0;
  uint32_t length = 0;
  bool isNull = true;
  bool binary = false;  // in the server's binary form, else its text

  // The bytes, if they are in memory in one piece; else no data.
  const unsigned char* inMemory() const { return message->data ? message->data + offset : nullptr; }

  // The first bytes of the value, at most `n`, in `buffer` or in place. 0, or 1 after a record.
  [[nodiscard]] int head(char* buffer, uint32_t n, std::string_view& out) const;
};

// Reads a field for a converter, in regions of a buffer of its own: the message may move between two pieces.
class FieldSource : public ZuDataSource {
 public:
  explicit FieldSource(const Field& field) : field(field) {}

  int init() override { return reset(); }
  int reset() override;
  int getData(const void** data, unsigned long* size, int* more) override;
  int getData(void* buffer, unsigned long max, unsigned long* got, int* more) override;

 protected:
  static constexpr uint32_t kRegion = 8192;
  const Field field;
  uint32_t position = 0;
  unsigned char region[kRegion];
};

// The bytes of a field that is the server's hexadecimal form of binary data, "\x00ff...".
class HexFieldSource : public FieldSource {
 public:
  explicit HexFieldSource(const Field& field) : FieldSource(withoutPrefix(field)) {}
  using FieldSource::getData;
  int getData(const void** data, unsigned long* size, int* more) override;

  static Field withoutPrefix(Field field);
};

}  // namespace pgwire

#endif
