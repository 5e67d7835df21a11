#include "zulib/language/parser/internal/zudeadends.h"

#include <cstdint>

namespace {

constexpr unsigned long kLeastRoom = 32;  // below the 1024 bytes from which the C library takes more time

std::uint64_t mixed(std::uint64_t n) {
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15u;
  n *= kOdd;
  return n ^ n >> 32;
}

}  // namespace

// The cell with the dead end, or the empty one where it belongs.
unsigned long ZuDeadEnds::cellOf(const ZuDeadEnd& wanted) const {
  const std::uint64_t hash = mixed(mixed(mixed(wanted.activation) + wanted.state) + wanted.place);
  unsigned long at = hash & (room - 1);
  while (cells[at].activation != 0 && !(cells[at] == wanted)) at = (at + 1) & (room - 1);
  return at;
}

int ZuDeadEnds::add(const ZuDeadEnd& found) {
  if (2 * (count + 1) >= room && grow()) return 1;
  ZuDeadEnd& cell = cells[cellOf(found)];
  count += cell.activation == 0;
  cell = found;
  return 0;
}

int ZuDeadEnds::grow() {
  const unsigned long newRoom = room ? 2 * room : kLeastRoom;
  auto* const newCells = static_cast<ZuDeadEnd*>(ramAllocZ(newRoom * sizeof(ZuDeadEnd)));
  if (!newCells) return 1;
  ZuDeadEnd* const oldCells = cells;
  const unsigned long oldRoom = room;
  cells = newCells;
  room = newRoom;
  for (unsigned long i = 0; i < oldRoom; ++i) {
    if (oldCells[i].activation != 0) cells[cellOf(oldCells[i])] = oldCells[i];
  }
  free(oldCells);
  return 0;
}

void ZuDeadEnds::clear() {
  if (count == 0) return;
  count = 0;
  if (room == kLeastRoom) {
    for (unsigned long i = 0; i < room; ++i) cells[i].activation = 0;
    return;
  }
  free(cells);
  cells = nullptr;
  room = 0;
}
