// Hexadecimal text of any kind, read in every form beside a plain reader, and written again.

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "zulib/text/zuhex.h"

namespace {

using Bytes = std::vector<unsigned char>;

void demand(bool holds) {
  if (!holds) std::abort();
}

int digitOf(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const int upper = std::toupper(c);
  return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}

// The bytes of the digits in front of the first character that is none; `all` tells whether there was none.
Bytes plainRead(const unsigned char* text, size_t n, bool* all) {
  Bytes bytes;
  for (size_t i = 0; i < n; ++i) {
    const int digit = digitOf(text[i]);
    *all = digit >= 0;
    if (!*all) return bytes;
    if (i % 2 == 0) {
      bytes.push_back(static_cast<unsigned char>(digit << 4));
    } else {
      bytes.back() |= static_cast<unsigned char>(digit);
    }
  }
  *all = true;
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  bool all = true;
  const Bytes expected = plainRead(data, size, &all);
  Bytes out(size / 2 + 1);
  demand((dehexify(out.data(), data, size) == 0) == all);
  demand(isHexString(data, size) == all);
  Bytes inPlace(data, data + size);
  inPlace.push_back(0);
  demand((dehexifyHuge(inPlace.data(), inPlace.data(), size) == 0) == all);
  if (!all) return 0;
  for (size_t i = 0; i < expected.size(); ++i) demand(out[i] == expected[i] && inPlace[i] == expected[i]);

  Bytes again(2 * expected.size() + 1);
  demand(hexify(again.data(), out.data(), expected.size()) == 2 * expected.size());
  for (size_t i = 0; i < size; ++i) demand(again[i] == std::toupper(data[i]));
  return 0;
}
