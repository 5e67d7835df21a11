#include "zulib/runtime/zuhooks.h"

#include <algorithm>
#include <charconv>

#include "zulib/runtime/ram.h"
#include "zulib/runtime/zuobject.h"

namespace zuhooks {
namespace {

constinit PostReport postReport = nullptr;
constinit MarkOutOfMemory markOutOfMemory = nullptr;
constinit ReadText readNarrow = nullptr;
constinit ReadTextW readWide = nullptr;
constinit SortObjects sortByStorage = nullptr;

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

void setSorter(SortObjects sort) { sortByStorage = sort; }

int sortObjects(ZuObject** objects, unsigned long count) {
  if (sortByStorage) return sortByStorage(objects, count);
  std::sort(objects, objects + count,
            [](const ZuObject* a, const ZuObject* b) { return static_cast<short>(a->compare(b)) < 0; });
  return 0;
}

}  // namespace zuhooks

void ramAddMemoryError() {
  if (zuhooks::markOutOfMemory) zuhooks::markOutOfMemory();
}
