// A hash set in one open table. A subclass says what a value's hash is and when two values are equal.
//
// A value is a pointer-sized cell, not owned, and never 0: a cell of 0 is empty. A value is at the
// start index of its hash or below it, down to the first empty cell and round from 0 to the top.
// Invariants: count is at most the capacity, which is below the table size, so that every search meets an
// empty cell. Nothing is ever removed, and the table only grows.
//
// `initialize` comes first: a set without a table can neither be searched nor added to.
//
// Thread safety: one thread at a time, or under a lock of the caller.

#ifndef ZULIB_COLLECTIONS_ZUSET_H
#define ZULIB_COLLECTIONS_ZUSET_H

#include <cstdint>

#include "zulib/collections/zuarray.h"

class ZU_API ZuSet : public ZuObject {
 public:
  ZuSet() = default;
  ZuSet(const ZuSet&) = delete;
  ZuSet& operator=(const ZuSet&) = delete;

  // Frees the table, not what the values may point to.
  ~ZuSet() override;

  virtual uint32_t doHash(const void* value) const = 0;
  virtual bool areEqual(const void* stored, const void* wanted) const = 0;

  // Bits by which values of one hash are told apart before `areEqual` is asked; those of equal values must be
  // equal. By themselves they are the hash.
  virtual uint32_t doMark(const void* value, uint32_t hash) const;

  // Makes the set empty, with room for `n` values. 0, or 1 with the set as it was.
  [[nodiscard]] int initialize(unsigned long n);

  // Gives the table back. The set must be initialised again before use.
  void reset();

  // Values that the table holds before it grows.
  unsigned long getCapacity() const { return capacityOf(tableSize); }

  // Works out the table size for `n` values. The table itself is not touched: that is for `initialize` and
  // `resize` to do.
  void setCapacity(unsigned long n) { tableSize = tableSizeFor(n); }

  // Stores the value. One equal to it is overwritten in its cell, and count goes up all the same, so
  // ask `findIndexOf` first if that matters. 0, or 1 with the set as it was when the table cannot grow or
  // the value is null.
  [[nodiscard]] int add(void* value);

  // The index of the cell that holds a value equal to `value`, or else of the empty cell where it would go.
  unsigned long findIndexOf(const void* value) const;

  // Where the search for a hash begins. In 32 bits, unsigned.
  unsigned long startIndex(uint32_t hash) const {
    const uint32_t spread = hash * 0x9E3779B9u;
    if (tableSize > UINT32_MAX) return spread;
    return spread % static_cast<uint32_t>(tableSize);
  }

  // Sets the capacity to `n`, or to what growth from `n` on comes to when there are more values than that,
  // and stores all values anew; count is then the number of values. 0, or 1 with the set as it was.
  [[nodiscard]] int resize(unsigned long n);

  // The value in a cell, null when it is empty.
  void* at(unsigned long index) const { return table.at(index); }
  unsigned long getTableSize() const { return tableSize; }

  // Calls of `add` that are not undone by a `resize`: values that were overwritten count too.
  unsigned long getCount() const { return count; }
  unsigned long getHighWater() const { return highWater; }

 protected:
  // Cells of the table as it is: `setCapacity` alone changes tableSize.
  unsigned long cells() const { return table.getSizeOfArray(); }

  // Marks all values anew, for a subclass that changes what it calls equal.
  void markAgain();

  // Empties a cell, for a subclass that gives up all its values; it then sets count to 0. Emptying only
  // some cells would hide values below them.
  void clearCell(unsigned long index);

  static constexpr uint16_t kDefaultLoadPercent = 75;
  static constexpr uint16_t kDefaultGrowPercent = 25;

 private:
  ZuArrayPVoid table;

 protected:
  unsigned long tableSize = 0;  // cells
  unsigned long count = 0;
  uint16_t loadPercent = kDefaultLoadPercent;  // of the table that is filled before it grows
  uint16_t growPercent = kDefaultGrowPercent;  // of the capacity that a growth adds
  unsigned long highWater = 0;                 // highest count ever reached
  unsigned char* marks = nullptr;              // one byte for each cell, owned; see internal/setprobe.h

 private:
  unsigned long tableSizeFor(unsigned long n) const { return n * 100 / loadPercent + 1; }
  unsigned long capacityOf(unsigned long cells) const { return loadPercent * cells / 100; }
  unsigned long grownFrom(unsigned long capacity) const;
  int growUntil(unsigned long values, unsigned long& n) const;
  int replaceTable(unsigned long n, ZuArrayPVoid& old);
  unsigned long indexOf(uint32_t hash, const void* value) const;
  void store(unsigned long index, uint32_t hash, void* value);
  void setMark(unsigned long index, unsigned char mark);
};

#endif
