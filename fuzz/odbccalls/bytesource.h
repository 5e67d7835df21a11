// The decisions of a random run: bytes of an input, and zeros after its end.

#ifndef ZULIB_FUZZ_ODBCCALLS_BYTESOURCE_H
#define ZULIB_FUZZ_ODBCCALLS_BYTESOURCE_H

#include <cstddef>
#include <cstdint>

namespace odbccalls {

class ByteSource {
 public:
  ByteSource(const uint8_t* data, size_t size) : at(data), end(data + size) {}

  // Splits off the next bytes.
  ByteSource take(size_t size) {
    const ByteSource taken(at, size);
    at += size;
    return taken;
  }
  size_t left() const { return static_cast<size_t>(end - at); }
  bool isEmpty() const { return at == end; }
  uint8_t byte() { return at == end ? 0 : *at++; }
  unsigned below(unsigned limit) { return byte() % limit; }
  bool oneIn(unsigned n) { return byte() % n == 1; }  // never at the end of the input

  template <class Value, size_t count>
  Value pick(const Value (&values)[count]) {
    return values[below(count)];
  }

 private:
  const uint8_t* at;
  const uint8_t* end;
};

}  // namespace odbccalls

#endif
