// The search of ZuSet, which probes one byte for each cell before it reads the cell.
//
// Beside the table lies one mark for each cell: 0 for an empty one, else some bits of what the set knows of
// the value: of its hash, or of what tells values of one hash apart. A search looks at eight marks at once,
// and at a cell and its value only where the mark is a wanted one. Searches go down the table, so the marks
// of the cells at the top are repeated below those of cell 0: a group of eight that ends at any cell can be
// read in one piece.

#ifndef ZULIB_COLLECTIONS_INTERNAL_SETPROBE_H
#define ZULIB_COLLECTIONS_INTERNAL_SETPROBE_H

#include <bit>
#include <cstdint>
#include <cstring>

namespace zucollections {

static_assert(std::endian::native == std::endian::little, "a group has its highest cell in its highest byte");

constexpr unsigned long kGroup = 8;  // marks that are looked at together
constexpr uint64_t kEachByte = 0x0101010101010101;
constexpr uint64_t kTopBits = kEachByte << 7;
constexpr uint64_t kLowBits = ~kTopBits;

// 1 to 127. The start index comes from the low bits of the same product.
inline unsigned char markOf(uint32_t hash) {
  const auto top = static_cast<unsigned char>(hash * 0x9E3779B9u >> 25);
  return top ? top : 1;
}

// The top bit of each byte that is 0; no byte may have its top bit set.
inline uint64_t zeroBytes(uint64_t bytes) { return ~(bytes + kLowBits) & kTopBits; }

// Where a group has a mark: of one value, or of either of two.
struct OneMark {
  explicit OneMark(uint32_t bits) : wanted(kEachByte * markOf(bits)) {}
  uint64_t in(uint64_t group) const { return zeroBytes(group ^ wanted); }
  uint64_t wanted;
};
struct EitherMark {
  EitherMark(uint32_t bits, uint32_t others) : one(bits), other(others) {}
  uint64_t in(uint64_t group) const { return one.in(group) | other.in(group); }
  OneMark one, other;
};

// The index of the first cell, from `start` down, that is empty, or that has a wanted mark and for which
// `matches(index)` is true.
template <typename Marks, typename Matches>
unsigned long probe(const unsigned char* marks, unsigned long tableSize, unsigned long start, Marks wanted,
                    Matches matches) {
  for (unsigned long last = start;;) {
    uint64_t group;
    std::memcpy(&group, marks + last + 1, kGroup);  // the marks of cells last - 7 to last
    const uint64_t empty = zeroBytes(group);
    uint64_t found = empty | wanted.in(group);
    while (found) {
      const auto zeros = static_cast<unsigned long>(std::countl_zero(found));
      unsigned long index = last - (zeros >> 3);
      if (index > last) [[unlikely]]
        index = (index + tableSize * kGroup) % tableSize;
      if (static_cast<int64_t>(empty << zeros) < 0 || matches(index)) return index;
      found &= ~(kTopBits << 56 >> zeros);
    }
    last = kGroup <= last ? last - kGroup : last + tableSize - kGroup;
  }
}

}  // namespace zucollections

#endif
