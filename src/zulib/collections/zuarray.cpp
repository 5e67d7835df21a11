#include "zulib/collections/zuarray.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

template <typename Cell>
constexpr unsigned long kCellBytes =
    sizeof(Cell);  // NOLINT(bugprone-sizeof-expression): cells may be pointers

// A zeroed vector of `n` cells, or null with the out-of-memory state marked.
template <typename Cell>
Cell* newVector(unsigned long n) {
  if (n > ~0UL / kCellBytes<Cell>) {
    ramAddMemoryError();
    return nullptr;
  }
  return static_cast<Cell*>(ramAllocZ(n * kCellBytes<Cell>));
}

// Gives the vector `n` cells, new ones with anything in them. 1 with the vector as it was.
template <typename Cell>
int resizeVector(Cell*& vector, unsigned long n) {
  if (n > ~0UL / kCellBytes<Cell>) {
    ramAddMemoryError();
    return 1;
  }
  void* block = vector;
  if (ramResize(&block, n * kCellBytes<Cell>)) return 1;
  vector = static_cast<Cell*>(block);
  return 0;
}

void release(ZuObject* element) { delete element; }
void release(void* element) { std::free(element); }

unsigned long bytesFor(unsigned long bits) { return (bits >> 3) + ((bits & 7) != 0); }

}  // namespace

template <typename Cell>
ZuArrayOf<Cell>::~ZuArrayOf() {
  dropVector();
}

// Frees the vector if it is owned, and leaves an array without one.
template <typename Cell>
void ZuArrayOf<Cell>::dropVector() {
  if (flags & ownsVector) std::free(items);
  items = nullptr;
  size = 0;
  count = 0;
}

template <typename Cell>
int ZuArrayOf<Cell>::setInitialSize(unsigned long n) {
  Cell* fresh = newVector<Cell>(n);
  if (!fresh) return 1;
  items = fresh;
  size = n;
  setFlag(ownsVector, 1);
  return 0;
}

template <typename Cell>
void ZuArrayOf<Cell>::borrowVector(Cell* cells, unsigned long n) {
  dropVector();
  items = cells;
  size = n;
  setFlag(ownsVector, 0);
}

// Room for one more cell. An array that doubles from nothing, or whose count was set beyond its size, gets
// none.
template <typename Cell>
int ZuArrayOf<Cell>::makeRoom() {
  if (count > size || increaseSize(growBy, 1)) return 1;
  return count < size ? 0 : 1;
}

template <typename Cell>
int ZuArrayOf<Cell>::addAtIndex(Cell value, unsigned long i) {
  if (count >= size && makeRoom()) return 1;
  if (i < count) std::memmove(items + i + 1, items + i, (count - i) * kCellBytes<Cell>);
  items[i] = value;
  ++count;
  return 0;
}

template <typename Cell>
void ZuArrayOf<Cell>::removeAtIndex(unsigned long i) {
  --count;
  if (i < count) std::memmove(items + i, items + i + 1, (count - i) * kCellBytes<Cell>);
}

template <typename Cell>
bool ZuArrayOf<Cell>::doesExist(Cell value) const {
  return std::find(items, items + count, value) != items + count;
}

template <typename Cell>
int ZuArrayOf<Cell>::increaseSize(unsigned long delta, int keep, int doubleOnZero) {
  const unsigned long newSize = delta || !doubleOnZero ? size + delta : size * 2;
  if (keep && newSize == size) return 0;
  const unsigned long newCount = std::min(count, newSize);
  if (!keep || newSize == 0) dropVector();
  if (newSize && moveTo(newSize)) return 1;
  count = newCount;
  return 0;
}

// Gives the contents a vector of their own with `n` cells, new ones zero.
template <typename Cell>
int ZuArrayOf<Cell>::moveTo(unsigned long n) {
  if (items && flags & ownsVector) {
    if (resizeVector(items, n)) return 1;
    if (n > size) std::memset(items + size, 0, (n - size) * kCellBytes<Cell>);
  } else {
    Cell* fresh = newVector<Cell>(n);
    if (!fresh) return 1;
    if (items) std::memcpy(fresh, items, std::min(size, n) * kCellBytes<Cell>);
    items = fresh;
    setFlag(ownsVector, 1);
  }
  size = n;
  return 0;
}

template <typename Cell>
int ZuArrayOf<Cell>::shrink(unsigned long n) {
  if (n == 0) {
    dropVector();
    return 0;
  }
  if (flags & ownsVector) {
    if (increaseSize(n - size, 1, 0)) return 1;
  } else if (n > size) {
    return 1;
  }
  size = n;
  count = n;
  return 0;
}

template <typename Cell>
void ZuArrayOf<Cell>::swapVector(ZuArrayOf& other) {
  const int mine = flags & ownsVector;
  setFlag(ownsVector, other.flags & ownsVector);
  other.setFlag(ownsVector, mine);
  std::swap(items, other.items);
  std::swap(size, other.size);
  std::swap(count, other.count);
}

template <typename Cell>
ZuOwningArrayOf<Cell>::~ZuOwningArrayOf() {
  if (this->flags & this->deleteOnDestruct) deleteContents();
}

template <typename Cell>
void ZuOwningArrayOf<Cell>::deleteAtIndex(unsigned long i) {
  release(this->items[i]);
  this->removeAtIndex(i);
}

template <typename Cell>
void ZuOwningArrayOf<Cell>::deleteContents() {
  const unsigned long end = this->flags & this->deleteEveryCell ? this->size : this->count;
  for (unsigned long i = 0; i < end; ++i) {
    release(this->items[i]);
    this->items[i] = nullptr;
  }
  this->count = 0;
}

template class ZuArrayOf<ZuObject*>;
template class ZuArrayOf<void*>;
template class ZuArrayOf<uint32_t>;
template class ZuArrayOf<int32_t>;
template class ZuArrayOf<ZUSIZE_T>;
template class ZuArrayOf<ZUSSIZE_T>;
template class ZuOwningArrayOf<ZuObject*>;
template class ZuOwningArrayOf<void*>;

ZuArray::~ZuArray() = default;
ZuArrayPVoid::~ZuArrayPVoid() = default;
ZuArrayU32::~ZuArrayU32() = default;
ZuArrayS32::~ZuArrayS32() = default;
ZuArrayZUSIZE_T::~ZuArrayZUSIZE_T() = default;
ZuArrayZUSSIZE_T::~ZuArrayZUSSIZE_T() = default;

ZuBitArray::~ZuBitArray() { std::free(bytes); }

int ZuBitArray::initialize(unsigned long n) {
  // One byte more than the bits need when they fill their bytes.
  auto* fresh = static_cast<unsigned char*>(ramAllocZ((n >> 3) + 1));
  if (!fresh) return 1;
  std::free(bytes);
  bytes = fresh;
  bits = n;
  return 0;
}

int ZuBitArray::resize(unsigned long n) {
  const unsigned long oldBytes = bytes ? bytesFor(bits) : 0;
  if (bytes && bytesFor(n) == oldBytes) return 0;
  auto* fresh = static_cast<unsigned char*>(ramAllocZ(bytesFor(n)));
  if (!fresh) return 1;
  if (bytes) std::memcpy(fresh, bytes, std::min(oldBytes, bytesFor(n)));
  std::free(bytes);
  bytes = fresh;
  bits = n;
  return 0;
}

void ZuBitArray::resetAll() {
  if (bytes) std::memset(bytes, 0, bytesFor(bits));
}
