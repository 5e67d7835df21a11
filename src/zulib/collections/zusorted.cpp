#include "zulib/collections/zusorted.h"

#include "zulib/runtime/zuhooks.h"

namespace {

// The result of comparing two elements, of which the low 16 bits count.
short compareObjects(const ZuObject* a, const ZuObject* b) { return static_cast<short>(a->compare(b)); }

// A binary search among `count` elements, where `order(i)` is how the wanted one compares with element i.
// 1 and the index of an equal element, not always the first; or 0 and the index where it would go.
template <typename Order>
int searchOrdered(unsigned long count, unsigned long& index, Order order) {
  index = 0;
  if (count == 0 || order(0) < 0) return 0;
  // Nothing sorts below element 0 from here on, so that `high` never passes below zero.
  unsigned long low = 0;
  unsigned long high = count - 1;
  while (low <= high) {
    const unsigned long middle = low + (high - low) / 2;
    const int result = order(middle);
    if (result == 0) {
      index = middle;
      return 1;
    }
    if (result > 0) {
      low = middle + 1;
      index = low;
    } else {
      high = middle - 1;
      index = middle;
    }
  }
  return 0;
}

// The last element after `index` that is still equal.
template <typename Order>
unsigned long lastEqual(unsigned long count, unsigned long index, Order order) {
  while (index + 1 < count && order(index + 1) == 0) ++index;
  return index;
}

}  // namespace

ZuSortedArray::~ZuSortedArray() = default;

int ZuSortedArray::add(ZuObject* obj) {
  if (count == 0 || flags & (sortingStopped | sortingOnRequest)) return ZuArray::add(obj);
  unsigned long index;
  if (findIndexOf(obj, index)) {
    findIndexOfLastKey(obj, index);
    ++index;
  }
  return addAtIndex(obj, index);
}

int ZuSortedArray::findIndexOf(const ZuObject* obj, unsigned long& index) const {
  return searchOrdered(count, index, [&](unsigned long i) { return compareObjects(obj, items[i]); });
}

int ZuSortedArray::seqFindIndexOf(const ZuObject* obj, unsigned long& index) const {
  for (index = 0; index < count; ++index) {
    if (compareObjects(obj, items[index]) == 0) return 1;
  }
  return 0;
}

void ZuSortedArray::findIndexOfLastKey(const ZuObject* obj, unsigned long& index) const {
  index = lastEqual(count, index, [&](unsigned long i) { return compareObjects(obj, items[i]); });
}

int ZuSortedArray::resort() {
  setFlag(sortingStopped, 0);
  if (count < 2) return 0;
  return zuhooks::sortObjects(items, count);
}

// Moves the first of each group of equal elements down over the others. Answers the cells then in use.
unsigned long ZuSortedArray::dropDuplicates(bool destroy) {
  if (count == 0) return 0;
  unsigned long kept = 1;
  for (unsigned long i = 1; i < count; ++i) {
    ZuObject* element = items[i];
    if (compareObjects(items[kept - 1], element) != 0) {
      items[kept++] = element;
    } else if (destroy) {
      delete element;
    }
  }
  for (unsigned long i = kept; i < count; ++i) items[i] = nullptr;
  return kept;
}

void ZuSortedArray::deleteDuplicates() { count = dropDuplicates(true); }

void ZuSortedArray::removeDuplicates() { count = dropDuplicates(false); }

ZuSortedArrayZUSIZE_T::~ZuSortedArrayZUSIZE_T() = default;

int ZuSortedArrayZUSIZE_T::compare(ZUSIZE_T a, ZUSIZE_T b) const { return a < b ? -1 : a > b; }

int ZuSortedArrayZUSIZE_T::add(ZUSIZE_T value) {
  unsigned long index;
  if (findIndexOf(value, index)) {
    findIndexOfLastKey(value, index);
    ++index;
  }
  return addAtIndex(value, index);
}

int ZuSortedArrayZUSIZE_T::findIndexOf(ZUSIZE_T value, unsigned long& index) const {
  return searchOrdered(count, index,
                       [&](unsigned long i) { return static_cast<short>(compare(value, items[i])); });
}

void ZuSortedArrayZUSIZE_T::findIndexOfLastKey(ZUSIZE_T value, unsigned long& index) const {
  index =
      lastEqual(count, index, [&](unsigned long i) { return static_cast<short>(compare(value, items[i])); });
}
