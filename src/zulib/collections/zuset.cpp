#include "zulib/collections/zuset.h"

#include "zulib/collections/internal/setprobe.h"

using namespace zucollections;

namespace {

// What growth can reach: the capacity that a table grows to is worked out in 16 bits.
constexpr unsigned long kMostGrownValues = 0xFFFF;

// More values than this have no table size in the arithmetic of `setCapacity`.
constexpr unsigned long kMostValues = ~0UL / 100;

}  // namespace

ZuSet::~ZuSet() { std::free(marks); }

uint32_t ZuSet::doMark(const void*, uint32_t hash) const { return hash; }

unsigned long ZuSet::findIndexOf(const void* value) const { return indexOf(doHash(value), value); }

unsigned long ZuSet::indexOf(uint32_t hash, const void* value) const {
  return probe(marks, tableSize, startIndex(hash), OneMark(doMark(value, hash)),
               [&](unsigned long i) { return areEqual(table.at(i), value); });
}

void ZuSet::setMark(unsigned long index, unsigned char mark) {
  for (unsigned long place = index + kGroup;; place -= tableSize) {
    marks[place] = mark;
    if (place < tableSize) break;
  }
}

void ZuSet::store(unsigned long index, uint32_t hash, void* value) {
  table[index] = value;
  setMark(index, value ? markOf(doMark(value, hash)) : 0);
}

void ZuSet::markAgain() {
  for (unsigned long i = 0; i < cells(); ++i) {
    if (void* const value = at(i)) setMark(i, markOf(doMark(value, doHash(value))));
  }
}

void ZuSet::clearCell(unsigned long index) { store(index, 0, nullptr); }

void ZuSet::reset() {
  ZuArrayPVoid nothing;
  table.swapVector(nothing);
  std::free(marks);
  marks = nullptr;
  tableSize = 0;
  count = 0;
  highWater = 0;
  loadPercent = kDefaultLoadPercent;
  growPercent = kDefaultGrowPercent;
}

int ZuSet::add(void* value) {
  if (tableSize == 0 || !value) return 1;
  const uint32_t hash = doHash(value);
  const unsigned long index = indexOf(hash, value);
  void* const overwritten = table.at(index);
  store(index, hash, value);
  ++count;
  if (count > getCapacity() && resize(grownFrom(getCapacity()))) {
    store(index, hash, overwritten);
    --count;
    return 1;
  }
  if (count > highWater) highWater = count;
  return 0;
}

// The step from one capacity to the next. It is cut to 16 bits: from 52428 on a growth
// starts over from a low number, and only a set that was initialised with more holds more than 65535.
unsigned long ZuSet::grownFrom(unsigned long capacity) const {
  return (growPercent * capacity / 100 + capacity + 1) & 0xFFFF;
}

// Changes `n` to the first capacity that holds `values`, growing from `n` on. 1 when none does.
int ZuSet::growUntil(unsigned long values, unsigned long& n) const {
  for (unsigned long steps = 0; capacityOf(tableSizeFor(n)) < values; ++steps) {
    if (values > kMostGrownValues || steps > kMostGrownValues) {
      ramAddMemoryError();
      return 1;
    }
    n = grownFrom(capacityOf(tableSizeFor(n)));
  }
  return 0;
}

// Puts an empty table for `n` values in place, and the old one into `old`.
int ZuSet::replaceTable(unsigned long n, ZuArrayPVoid& old) {
  if (n > kMostValues) {
    ramAddMemoryError();
    return 1;
  }
  auto* fresh = static_cast<unsigned char*>(ramAllocZ(tableSizeFor(n) + kGroup));
  if (!fresh) return 1;
  if (old.setInitialSize(tableSizeFor(n))) {
    std::free(fresh);
    return 1;
  }
  std::free(marks);
  marks = fresh;
  table.swapVector(old);
  setCapacity(n);
  count = 0;
  return 0;
}

int ZuSet::initialize(unsigned long n) {
  ZuArrayPVoid old;
  return replaceTable(n, old);
}

int ZuSet::resize(unsigned long n) {
  unsigned long values = 0;
  for (unsigned long i = 0; count && i < table.getSizeOfArray(); ++i) values += table.at(i) != nullptr;
  ZuArrayPVoid old;
  if (growUntil(values, n) || replaceTable(n, old)) return 1;
  // The values are distinct, so that each goes to the first empty cell.
  for (unsigned long i = 0; i < old.getSizeOfArray(); ++i) {
    void* const value = old.at(i);
    if (!value) continue;
    const uint32_t hash = doHash(value);
    const auto none = [](unsigned long) { return false; };
    store(probe(marks, tableSize, startIndex(hash), OneMark(hash), none), hash, value);
    ++count;
  }
  return 0;
}
