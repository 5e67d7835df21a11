// Tokens of arbitrary text: every call moves on inside the text or leaves the cursor alone, stays inside its
// buffer, and a token that may grow holds what one with room enough holds.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zulib/text/buttoken.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

// The block that a token outgrew its buffer for, or null. The buffer was cleared beforehand.
unsigned char* blockOf(const unsigned char* out) {
  if (out[1] != 0) return nullptr;
  unsigned char* block;
  std::memcpy(&block, out + butBlockOffset, sizeof block);
  return block;
}

// One token into `room` bytes; the answer of the reader. What was read is left in `token`.
int read(const unsigned char** cursor, unsigned short kind, unsigned short room, zuCPType cp,
         std::string* token) {
  const std::unique_ptr<unsigned char[]> out(new unsigned char[room]());
  const int failed = buttoken(out.get(), cursor, kind, room, cp);
  unsigned char* block = (kind & butGrow) != 0 ? blockOf(out.get()) : nullptr;
  if (!failed) *token = reinterpret_cast<const char*>(block ? block : out.get());
  std::free(block);
  return failed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3 || size > 4096) return 0;
  const auto mode = static_cast<unsigned short>(data[0] % 6 + 1);
  const auto flags = static_cast<unsigned short>((data[0] & 0x40) != 0 ? butNoFold : 0);
  const auto narrow = static_cast<unsigned short>(16 + data[1] % 32);
  const zuCPType cp = (data[2] & 1) != 0 ? zuCPType(3) : zuCPType(4);
  const std::string copy(reinterpret_cast<const char*>(data + 3), size - 3);
  const auto* text = reinterpret_cast<const unsigned char*>(copy.c_str());
  const unsigned char* const end = text + std::strlen(copy.c_str());
  const auto wide = static_cast<unsigned short>(3 * size + 64);
  const bool testsRoom = mode != butModeColon && mode != butModeHashWide;
  while (text < end) {
    std::string whole;
    const unsigned char* next = text;
    const int failed = read(&next, mode | flags, wide, cp, &whole);
    demand(next >= text && next <= end);
    demand(!failed || next == text);

    std::string grown;
    const unsigned char* again = text;
    const auto growing = static_cast<unsigned short>(mode | flags | butGrow);
    demand(read(&again, growing, testsRoom ? narrow : wide, cp, &grown) == failed);
    demand(again == next && (failed || grown == whole));
    if (failed || next == text) return 0;
    text = next;
  }
  return 0;
}
