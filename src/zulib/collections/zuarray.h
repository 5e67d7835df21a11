// Arrays of pointers, of integers and of bits, each in one vector that grows on demand.
//
//   ZuArray            ZuObject*, which it may own (deleted through their virtual destructor)
//   ZuArrayPVoid       void*, which it may own (released with `free`)
//   ZuArrayU32 ...     integers
//   ZuBitArray         one bit per index
//
// Invariants: cells below `count` are in use; cells from `count` to `size` are room, and may hold stale
// copies. `items` is null until the first room is needed. A vector is freed by the array only when the
// array owns it; a borrowed one is copied out when it must grow, and the array owns the copy.
//
// Indexes and counts are in cells. Indexing and removal test no range: the caller knows what is there.
// Growth returns 0, or 1 with the array as it was and the out-of-memory state of the thread marked.
//
// Thread safety: one thread at a time, or under a lock of the caller.

#ifndef ZULIB_COLLECTIONS_ZUARRAY_H
#define ZULIB_COLLECTIONS_ZUARRAY_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/runtime/zutypes.h"

// What all arrays share. `Cell` is the type of one element: a pointer or an integer.
template <typename Cell>
class ZU_API ZuArrayOf : public ZuObject {
 public:
  // `growBy` cells are added on each growth; 0 doubles instead, and then the first room must come from
  // `setInitialSize` or `resize`.
  enum : unsigned long { defaultGrowBy = 16 };
  explicit ZuArrayOf(unsigned long growBy = defaultGrowBy) : growBy(growBy) {}
  ZuArrayOf(const ZuArrayOf&) = delete;
  ZuArrayOf& operator=(const ZuArrayOf&) = delete;
  ~ZuArrayOf() override;

  void setGrowBy(unsigned long cells) { growBy = cells; }

  // Gives the array a zeroed vector of `n` cells of its own. An earlier vector is not freed:
  // whoever gave the array its vector keeps it. Call it on a fresh array.
  [[nodiscard]] int setInitialSize(unsigned long n);

  // Lets the array work in `n` cells that stay the caller's, until it has to grow. What the array held is
  // let go as `shrink(0)` would.
  void borrowVector(Cell* cells, unsigned long n);

  // Appends.
  [[nodiscard]] int add(Cell value) {
    if (count >= size && makeRoom()) return 1;
    items[count++] = value;
    return 0;
  }

  // Stores at `i`, after moving cells `i` and up by one. Nothing tests that `i` is at most count; a greater
  // one must lie in the room there is, moves nothing, and raises count by one all the same.
  [[nodiscard]] int addAtIndex(Cell value, unsigned long i);

  // The element at `i`, and the cell at `i`. `i` is of any integer type.
  template <typename Index>
  Cell at(Index i) const {
    return items[i];
  }
  template <typename Index>
  Cell& operator[](Index i) {
    return items[i];
  }

  // Appends without growing: the caller has reserved the room.
  void push(Cell value) { items[count++] = value; }

  // Moves later cells down by one. The element stays alive, and the highest cell keeps a stale copy.
  void removeAtIndex(unsigned long i);

  bool doesExist(Cell value) const;

  // Sets count to 0 and nothing else: elements survive, and are not deleted.
  void reset() { count = 0; }

  // Sets count to `i`, wherever that is.
  void setNextIndex(unsigned long i) { count = i; }

  unsigned long getCount() const { return count; }
  unsigned long getSizeOfArray() const { return size; }

  // Sets the size to exactly `n`; `keep` as in `increaseSize`.
  [[nodiscard]] int resize(unsigned long n, int keep) { return increaseSize(n - size, keep, 0); }

  // Changes the size by `delta` (modulo 2^64, so it may shrink the vector, and count with it). A delta of 0
  // doubles the size when `doubleOnZero` is not 0; an empty array stays empty. With `keep` the cells stay
  // and new ones are zero. Without, the old vector goes first and all cells are zero; a failure then leaves
  // the array empty.
  [[nodiscard]] int increaseSize(unsigned long delta, int keep, int doubleOnZero = 1);

  // Sets size and count to `n`, whatever count was. 0 frees an owned vector. Elements that no longer fit
  // are not deleted. A borrowed vector stays as it is; 1 when it holds fewer than `n` cells.
  [[nodiscard]] int shrink(unsigned long n);

  // Exchanges the vectors, with their sizes, counts and ownership.
  void swapVector(ZuArrayOf& other);

 protected:
  // Enumerators and not static constants: those of a template are unique symbols of the process, which keep
  // a library that exports them from being unloaded.
  enum : unsigned char {
    deleteOnDestruct = 1,
    deleteEveryCell = 2,
    ownsVector = 4,
    sortingStopped = 8,
    sortingOnRequest = 16,
  };

  void setFlag(unsigned char flag, int on) {
    flags = static_cast<unsigned char>(on ? flags | flag : flags & ~flag);
  }

  Cell* items = nullptr;
  unsigned long size = 0;   // cells allocated
  unsigned long count = 0;  // cells in use, and the next index
  unsigned long growBy;     // cells added on each growth, 0 to double
  unsigned char flags = 0;  // the named bits above

 private:
  int makeRoom();
  int moveTo(unsigned long n);
  void dropVector();
};

// An array that can release its elements.
template <typename Cell>
class ZU_API ZuOwningArrayOf : public ZuArrayOf<Cell> {
 public:
  using ZuArrayOf<Cell>::ZuArrayOf;
  ~ZuOwningArrayOf() override;

  // With `on` not 0, the destructor runs `deleteContents`.
  void setDeleteContentsOnDestruct(int on = 1) { this->setFlag(this->deleteOnDestruct, on); }

  // With `on` not 0, `deleteContents` covers every allocated cell and not just count of them. Mind the
  // stale copies that removals leave.
  void setDeleteEveryCell(int on = 1) { this->setFlag(this->deleteEveryCell, on); }

  // Releases the element, if it is not null, and closes the gap.
  void deleteAtIndex(unsigned long i);

  // Releases each element that is not null, clears the cells and sets count to 0.
  void deleteContents();
};

extern template class ZuArrayOf<ZuObject*>;
extern template class ZuArrayOf<void*>;
extern template class ZuArrayOf<uint32_t>;
extern template class ZuArrayOf<int32_t>;
extern template class ZuArrayOf<ZUSIZE_T>;
extern template class ZuArrayOf<ZUSSIZE_T>;
extern template class ZuOwningArrayOf<ZuObject*>;
extern template class ZuOwningArrayOf<void*>;

class ZU_API ZuArray : public ZuOwningArrayOf<ZuObject*> {
 public:
  using ZuOwningArrayOf::ZuOwningArrayOf;
  ~ZuArray() override;
};

class ZU_API ZuArrayPVoid : public ZuOwningArrayOf<void*> {
 public:
  using ZuOwningArrayOf::ZuOwningArrayOf;
  ~ZuArrayPVoid() override;
};

class ZU_API ZuArrayU32 : public ZuArrayOf<uint32_t> {
 public:
  using ZuArrayOf::ZuArrayOf;
  ~ZuArrayU32() override;
};

class ZU_API ZuArrayS32 : public ZuArrayOf<int32_t> {
 public:
  using ZuArrayOf::ZuArrayOf;
  ~ZuArrayS32() override;
};

class ZU_API ZuArrayZUSSIZE_T : public ZuArrayOf<ZUSSIZE_T> {
 public:
  using ZuArrayOf::ZuArrayOf;
  ~ZuArrayZUSSIZE_T() override;
};

// Sizes, also as a stack. Indexing gives the value and not the cell.
class ZU_API ZuArrayZUSIZE_T : public ZuArrayOf<ZUSIZE_T> {
 public:
  using ZuArrayOf::ZuArrayOf;
  ~ZuArrayZUSIZE_T() override;

  template <typename Index>
  ZUSIZE_T operator[](Index i) const {
    return items[i];
  }

  // Takes the last value off, or only looks at it, and gives its cell, which stays good until the array
  // changes. The array must not be empty.
  ZUSIZE_T* pop() { return &items[--count]; }
  ZUSIZE_T* top() { return &items[count - 1]; }
};

// Bits by index: bit i is bit i modulo 8 of byte i / 8. Only all bits together can be cleared. Neither
// `set` nor `isSet` tests the range: it is the block that has to reach so far.
class ZU_API ZuBitArray : public ZuObject {
 public:
  ZuBitArray() = default;
  ZuBitArray(const ZuBitArray&) = delete;
  ZuBitArray& operator=(const ZuBitArray&) = delete;
  ~ZuBitArray() override;

  // Takes a new block for `n` bits, all clear. 0, or 1 with everything as it was.
  [[nodiscard]] int initialize(unsigned long n);

  // Changes the number of bits to `n` and keeps those that fit. When the block stays as long as it is, the
  // bit count stays as well: the block reaches far enough. 0, or 1 with everything as it
  // was.
  [[nodiscard]] int resize(unsigned long n);

  void set(unsigned long i) { bytes[i >> 3] = static_cast<unsigned char>(bytes[i >> 3] | 1u << (i & 7)); }
  int isSet(unsigned long i) const { return bytes[i >> 3] >> (i & 7) & 1; }
  void resetAll();

  unsigned long getBitCount() const { return bits; }

 private:
  unsigned char* bytes = nullptr;  // owned
  unsigned long bits = 0;
};

#endif
