// Elements that the collection tests put into arrays and lists, and the seeded numbers they are driven by.

#ifndef ZULIB_TESTS_COLLECTIONS_SUPPORT_H
#define ZULIB_TESTS_COLLECTIONS_SUPPORT_H

#include <random>

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

class Dice {
 public:
  explicit Dice(unsigned seed) : engine(seed) {}
  // 0 to sides - 1.
  unsigned long operator()(unsigned long sides) { return engine() % sides; }

 private:
  std::mt19937_64 engine;
};

#endif
