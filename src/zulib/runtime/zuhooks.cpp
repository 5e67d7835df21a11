#include "zulib/runtime/zuhooks.h"

#include <charconv>

#include "zulib/runtime/ram.h"

namespace zuhooks {
namespace {

constinit PostReport postReport = nullptr;
constinit MarkOutOfMemory markOutOfMemory = nullptr;
constinit ReadText readNarrow = nullptr;
constinit ReadTextW readWide = nullptr;

template <class Char>
unsigned long writeNumber(Char* out, unsigned short id) {
  char digits[8];
  const auto length =
      static_cast<unsigned long>(std::to_chars(digits, digits + sizeof digits, id).ptr - digits);
  for (unsigned long i = 0; i < length; ++i) out[i] = static_cast<Char>(digits[i]);
  out[length] = 0;
  return length;
}

}  // namespace

void setReporter(PostReport post, MarkOutOfMemory mark) {
  postReport = post;
  markOutOfMemory = mark;
}

void setTexts(ReadText narrow, ReadTextW wide) {
  readNarrow = narrow;
  readWide = wide;
}

void report(const Report& report) {
  if (postReport) postReport(report);
}

unsigned long readText(unsigned char* out, unsigned short id) {
  return readNarrow ? readNarrow(out, id) : writeNumber(out, id);
}

unsigned long readText(unsigned short* out, unsigned short id) {
  return readWide ? readWide(out, id) : writeNumber(out, id);
}

}  // namespace zuhooks

void ramAddMemoryError() {
  if (zuhooks::markOutOfMemory) zuhooks::markOutOfMemory();
}
