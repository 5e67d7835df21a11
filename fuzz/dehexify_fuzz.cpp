// Hexadecimal text of any kind, read in every form beside a plain reader, and written again.

#include <algorithm>
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

// The bytes of the digits before the first character that is none; `all` tells whether there was none.
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
  // The same characters in 16 bits, at an odd address, with a unit of 0 after each, which is skipped.
  Bytes wide(4 * size + 1);
  for (size_t i = 0; i < size; ++i) wide[4 * i + 1] = data[i];
  const auto units = reinterpret_cast<const unsigned short*>(wide.data() + 1);
  Bytes fromWide(size / 2 + 1);
  const bool withoutZero = all || std::count(data, data + size, 0) == 0;
  if (withoutZero) demand((wideDehexify(fromWide.data(), units, 2 * size) == 0) == all);
  if (!all) return 0;
  demand(std::equal(expected.begin(), expected.end(), fromWide.begin()));
  for (size_t i = 0; i < expected.size(); ++i) demand(out[i] == expected[i] && inPlace[i] == expected[i]);

  Bytes again(2 * expected.size() + 1);
  demand(hexify(again.data(), out.data(), expected.size()) == 2 * expected.size());
  for (size_t i = 0; i < size; ++i) demand(again[i] == std::toupper(data[i]));
  Bytes wideAgain(4 * expected.size() + 1);
  const auto at = reinterpret_cast<unsigned short*>(wideAgain.data() + 1);
  demand(wideHexify(at, out.data(), expected.size()) == 4 * expected.size());
  for (size_t i = 0; i < size; ++i)
    demand(wideAgain[2 * i + 1] == std::toupper(data[i]) && wideAgain[2 * i + 2] == 0);
  return 0;
}
