// Every allocation of the collections made to fail in turn.

#include <gtest/gtest.h>

#include <deque>

#include "tests/collections/support.h"
#include "tests/support/fault_allocator.h"
#include "zulib/collections/zuarray.h"
#include "zulib/collections/zuset.h"
#include "zulib/collections/zusorted.h"

namespace {

constexpr int kEnough = 40;  // elements, for several growths of each container

TEST(CollectionFaults, ArraysStayWhole) {
  std::deque<Item> items;
  for (int i = 0; i < kEnough; ++i) items.emplace_back(i % 7);
  const auto failed = sweepAllocations([&] {
    ZuSortedArray sorted(4);
    bool good = true;
    for (Item& item : items) {
      const unsigned long count = sorted.getCount();
      const bool added = sorted.add(&item) == 0;
      EXPECT_EQ(sorted.getCount(), count + added);
      EXPECT_EQ(sorted.doesExist(&item), added);
      good = good && added;
    }
    for (unsigned long i = 1; i < sorted.getCount(); ++i) {
      EXPECT_LE(sorted.at(i - 1)->compare(sorted.at(i)), 0);
    }
    return good;
  });
  EXPECT_EQ(failed, kEnough / 4u);
}

TEST(CollectionFaults, ResizingReportsAndKeepsOrEmpties) {
  sweepAllocations([] {
    ZuArrayZUSIZE_T array;
    ZuBitArray bits;
    if (array.setInitialSize(2) || bits.initialize(20)) return false;
    array.push(11);
    bits.set(19);
    const bool kept = array.resize(9, 1) == 0 && array.shrink(1) == 0 && bits.resize(200) == 0;
    EXPECT_EQ(array[0], 11u);
    EXPECT_EQ(bits.isSet(19), 1);
    EXPECT_EQ(bits.getBitCount(), kept ? 200u : 20u);
    if (!kept || bits.initialize(4)) return false;
    if (array.resize(5, 0) == 0) return true;
    EXPECT_EQ(array.getSizeOfArray() + array.getCount(), 0u);
    EXPECT_EQ(array.add(3), 0) << "usable again";
    return false;
  });
  ZuArrayU32 tooLong;
  EXPECT_EQ(tooLong.resize(~0UL / 2, 1), 1);
  EXPECT_EQ(tooLong.add(1), 0);
}

class PointerSet : public ZuSet {
 public:
  uint32_t doHash(const void* value) const override {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(value) >> 3);
  }
  bool areEqual(const void* stored, const void* wanted) const override { return stored == wanted; }
};

TEST(CollectionFaults, SetsStayWhole) {
  static long cells[kEnough];
  sweepAllocations([] {
    PointerSet set;
    if (set.initialize(3)) return false;
    for (int i = 0; i < kEnough; ++i) {
      if (set.add(&cells[i]) == 0) continue;
      EXPECT_EQ(set.getCount(), static_cast<unsigned long>(i));
      for (int j = 0; j < kEnough; ++j) {
        EXPECT_EQ(set.at(set.findIndexOf(&cells[j])) != nullptr, j < i) << "after " << i << " at " << j;
      }
      EXPECT_EQ(set.initialize(1), 0);
      EXPECT_EQ(set.getCount(), 0u);
      return false;
    }
    return true;
  });
}

}  // namespace
