// How a search stays off the cells.
//
// Beside the table lies one mark for each cell: 0 for an empty one, else some bits of the value's hash. A
// search looks at eight marks at once, and at a cell and its value only where the mark is the wanted one.
// Searches go down the table, so the marks of the cells at the top are repeated below those of cell 0: a
// group of eight that ends at any cell can be read in one piece.

#include "zulib/collections/zuset.h"

#include <bit>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little, "a group has its highest cell in its highest byte");

// What growth can reach: the capacity that a table grows to is worked out in 16 bits.
constexpr unsigned long MOST_GROWN_VALUES = 0xFFFF;

// More values than this have no table size in the arithmetic of `setCapacity`.
constexpr unsigned long MOST_VALUES = ~0UL / 100;

constexpr unsigned long GROUP = 8;  // marks that are looked at together
constexpr uint64_t EACH_BYTE = 0x0101010101010101;
constexpr uint64_t TOP_BITS = EACH_BYTE << 7;
constexpr uint64_t LOW_BITS = ~TOP_BITS;

// 1 to 127. The start index comes from the low bits of the same product.
unsigned char markOf(uint32_t hash) {
  const auto top = static_cast<unsigned char>(hash * 0x9E3779B9u >> 25);
  return top ? top : 1;
}

// The top bit of each byte that is 0, where no byte has its top bit set.
uint64_t zeroBytes(uint64_t bytes) { return ~(bytes + LOW_BITS) & TOP_BITS; }

}  // namespace

ZuSet::~ZuSet() { std::free(marks); }

// The first cell, from the start index of `hash` down, that is empty or whose value `matches` takes.
template <typename Matches>
unsigned long ZuSet::probe(uint32_t hash, Matches matches) const {
  const uint64_t wanted = EACH_BYTE * markOf(hash);
  for (unsigned long last = startIndex(hash);;) {
    uint64_t group;
    std::memcpy(&group, marks + last + 1, GROUP);  // the marks of cells last - 7 to last
    const uint64_t empty = zeroBytes(group);
    uint64_t found = empty | zeroBytes(group ^ wanted);
    while (found) {
      const auto zeros = static_cast<unsigned long>(std::countl_zero(found));
      unsigned long index = last - (zeros >> 3);
      if (index > last) [[unlikely]]
        index = (index + tableSize * GROUP) % tableSize;
      if (static_cast<int64_t>(empty << zeros) < 0 || matches(table.at(index))) return index;
      found &= ~(TOP_BITS << 56 >> zeros);
    }
    last = GROUP <= last ? last - GROUP : last + tableSize - GROUP;
  }
}

unsigned long ZuSet::findIndexOf(const void* value) const {
  return probe(doHash(value), [&](const void* stored) { return areEqual(stored, value); });
}

void ZuSet::setMark(unsigned long index, unsigned char mark) {
  for (unsigned long place = index + GROUP;; place -= tableSize) {
    marks[place] = mark;
    if (place < tableSize) break;
  }
}

void ZuSet::store(unsigned long index, uint32_t hash, void* value) {
  table[index] = value;
  setMark(index, value ? markOf(hash) : 0);
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
  loadPercent = defaultLoadPercent;
  growPercent = defaultGrowPercent;
}

int ZuSet::add(void* value) {
  if (tableSize == 0 || !value) return 1;
  const uint32_t hash = doHash(value);
  const unsigned long index = probe(hash, [&](const void* stored) { return areEqual(stored, value); });
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

// The step from one capacity to the next. It is cut to 16 bits, which is meant: from 52428 on a growth
// starts over from a low number, and only a set that was initialised with more holds more than 65535.
unsigned long ZuSet::grownFrom(unsigned long capacity) const {
  return (growPercent * capacity / 100 + capacity + 1) & 0xFFFF;
}

// Changes `n` to the first capacity that holds `values`, growing from `n` on. 1 when none does.
int ZuSet::growUntil(unsigned long values, unsigned long& n) const {
  for (unsigned long steps = 0; capacityOf(tableSizeFor(n)) < values; ++steps) {
    if (values > MOST_GROWN_VALUES || steps > MOST_GROWN_VALUES) {
      ramAddMemoryError();
      return 1;
    }
    n = grownFrom(capacityOf(tableSizeFor(n)));
  }
  return 0;
}

// Puts an empty table for `n` values in place, and the old one into `old`.
int ZuSet::replaceTable(unsigned long n, ZuArrayPVoid& old) {
  if (n > MOST_VALUES) {
    ramAddMemoryError();
    return 1;
  }
  auto* fresh = static_cast<unsigned char*>(ramAllocZ(tableSizeFor(n) + GROUP));
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
    store(probe(hash, [](const void*) { return false; }), hash, value);
    ++count;
  }
  return 0;
}
