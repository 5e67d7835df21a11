#include "zulib/collections/zuset.h"

#include <gtest/gtest.h>

#include "tests/collections/support.h"

namespace {

// A set of numbers, equal in their low 32 bits. With `hashes` at 1 all values collide.
class NumberSet : public ZuSet {
 public:
  explicit NumberSet(uint32_t hashes = ~0u) : hashes(hashes) {}
  uint32_t doHash(const void* value) const override { return low(value) % hashes; }
  bool areEqual(const void* stored, const void* wanted) const override { return low(stored) == low(wanted); }

  int addNumber(uintptr_t number) { return add(reinterpret_cast<void*>(number)); }
  bool holds(uintptr_t number) const { return find(number) == number; }
  uintptr_t find(uintptr_t number) const {
    return reinterpret_cast<uintptr_t>(at(findIndexOf(reinterpret_cast<void*>(number))));
  }

 private:
  static uint32_t low(const void* value) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(value)); }
  uint32_t hashes;
};

TEST(ZuSet, GrowsPastItsCapacityAndProbesDownwards) {
  NumberSet set(1);
  EXPECT_EQ(set.addNumber(1), 1) << "no table yet";
  ASSERT_EQ(set.initialize(75), 0);
  EXPECT_EQ(set.getTableSize(), 101u);
  for (uintptr_t number = 1; number <= 75; ++number) ASSERT_EQ(set.addNumber(number), 0);
  EXPECT_EQ(set.getTableSize(), 101u);
  EXPECT_EQ(set.find(1), 1u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(set.at(0)), 1u) << "hash 0 begins at cell 0";
  EXPECT_EQ(reinterpret_cast<uintptr_t>(set.at(100)), 2u) << "and goes on from the top";
  EXPECT_EQ(reinterpret_cast<uintptr_t>(set.at(27)), 75u);
  ASSERT_EQ(set.addNumber(76), 0);
  EXPECT_EQ(set.getTableSize(), 94u * 100 / 75 + 1);
  for (uintptr_t number = 1; number <= 76; ++number) EXPECT_TRUE(set.holds(number));
  set.reset();
  EXPECT_EQ(set.getCount() + set.getTableSize() + set.getHighWater(), 0u);
  ASSERT_EQ(set.initialize(1), 0);
  EXPECT_FALSE(set.holds(1));
}

TEST(ZuSet, OverwritesAnEqualValueAndStillCountsIt) {
  NumberSet set;
  ASSERT_EQ(set.initialize(4), 0);
  const uintptr_t alike = 7 + (1UL << 32);
  ASSERT_EQ(set.addNumber(7), 0);
  ASSERT_EQ(set.addNumber(alike), 0);
  EXPECT_EQ(set.getCount(), 2u);
  EXPECT_EQ(set.find(7), alike) << "the new value is the one that stays";
  for (int i = 0; i < 3; ++i) ASSERT_EQ(set.addNumber(7), 0);
  EXPECT_EQ(set.getCount(), 1u) << "growing counts anew";
  EXPECT_EQ(set.getHighWater(), 4u);
}

// Growth is worked out in 16 bits, so a capacity from 52428 on is followed by a smaller one. The set then
// settles for a capacity that holds its values, as long as there is one.
TEST(ZuSet, StaysWholeWhereGrowthWrapsAround) {
  NumberSet grown, ample;
  ASSERT_EQ(grown.initialize(16), 0);
  ASSERT_EQ(ample.initialize(70000), 0);
  uintptr_t reached = 0;
  while (reached < 70000 && grown.addNumber(reached + 1) == 0) ++reached;
  EXPECT_GE(reached, 52429u);
  EXPECT_LE(reached, 65535u);
  EXPECT_EQ(grown.getCount(), reached);
  EXPECT_FALSE(grown.holds(reached + 1)) << "the value that found no room is not in";
  for (uintptr_t number = 1; number <= reached; ++number) ASSERT_TRUE(grown.holds(number)) << number;
  for (uintptr_t number = 1; number <= 70000; ++number) ASSERT_EQ(ample.addNumber(number), 0);
  EXPECT_EQ(ample.addNumber(70001), 1);
  EXPECT_EQ(ample.getCount(), 70000u);
  EXPECT_FALSE(ample.holds(70001));
}

}  // namespace
