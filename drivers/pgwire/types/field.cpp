#include "types/field.h"

#include <zulib/convert/converters/zubinaryconverter.h>
#include <zulib/text/zuhex.h>

#include <algorithm>

#include "base/errors.h"

namespace pgwire {

int Field::head(char* buffer, uint32_t n, std::string_view& out) const {
  n = std::min(n, length);
  if (const unsigned char* data = inMemory()) {
    out = {reinterpret_cast<const char*>(data), n};
    return 0;
  }
  if (message->read(offset, buffer, n)) return 1;
  out = {buffer, n};
  return 0;
}

int FieldSource::reset() {
  position = 0;
  return 0;
}

int FieldSource::getData(const void** data, unsigned long* size, int* more) {
  *data = region;
  return getData(region, kRegion, size, more);
}

int FieldSource::getData(void* buffer, unsigned long max, unsigned long* got, int* more) {
  const auto n = static_cast<uint32_t>(std::min<unsigned long>(max, field.length - position));
  if (n > 0 && field.message->read(field.offset + position, buffer, n)) return 1;
  position += n;
  *got = n;
  *more = position < field.length ? 1 : 0;
  return 0;
}

Field HexFieldSource::withoutPrefix(Field field) {
  constexpr uint32_t kPrefix = 2;
  const uint32_t n = std::min(field.length, kPrefix);
  field.offset += n;
  field.length -= n;
  return field;
}

int HexFieldSource::getData(const void** data, unsigned long* size, int* more) {
  if (FieldSource::getData(data, size, more)) return 1;
  if (dehexify(region, region, *size)) {
    setInvalidHexadecimal();
    return 1;
  }
  *size /= 2;
  return 0;
}

}  // namespace pgwire
