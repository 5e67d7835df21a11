// Elements that the collection tests put into arrays and lists.

#ifndef ZULIB_TESTS_COLLECTIONS_SUPPORT_H
#define ZULIB_TESTS_COLLECTIONS_SUPPORT_H

#include "fuzz/input.h"
#include "zulib/runtime/zuobject.h"

// An object that knows its key, orders by it, and counts how many of its kind are alive.
class Item : public ZuObject {
 public:
  explicit Item(int key) : key(key) { ++alive; }
  Item(const Item&) = delete;
  Item& operator=(const Item&) = delete;
  ~Item() override { --alive; }
  int compare(const ZuObject* other) const override { return key - static_cast<const Item*>(other)->key; }

  const int key;
  static inline long alive = 0;
};

#endif
