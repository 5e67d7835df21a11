#include <algorithm>

#include "zulib/collections/internal/objectsort.h"

// In place and without allocation, so there is nothing here that can fail.
int sortObjects(ZuObject** items, unsigned long count) {
  std::sort(items, items + count,
            [](const ZuObject* a, const ZuObject* b) { return compareObjects(a, b) < 0; });
  return 0;
}
