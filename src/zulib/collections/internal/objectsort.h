// The one door through which a sorted array sorts itself.

#ifndef ZULIB_COLLECTIONS_INTERNAL_OBJECTSORT_H
#define ZULIB_COLLECTIONS_INTERNAL_OBJECTSORT_H

#include "zulib/runtime/zuobject.h"

// The result of comparing two elements: as everywhere in sorted arrays, the low 16 bits count.
inline short compareObjects(const ZuObject* a, const ZuObject* b) {
  return static_cast<short>(a->compare(b));
}

// Sorts `count` pointers by `compareObjects`, in place; equal elements end in any order. 0, or 1 with the
// elements in any order.
[[nodiscard]] int sortObjects(ZuObject** items, unsigned long count);

#endif
