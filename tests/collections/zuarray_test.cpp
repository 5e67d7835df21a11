#include "zulib/collections/zuarray.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/collections/support.h"

namespace {

using Items = std::vector<ZuObject*>;

TEST(ZuArray, GrowsByItsStepOrDoubles) {
  ZuArrayU32 steady, doubling(0), neverSized(0);
  ASSERT_EQ(doubling.setInitialSize(3), 0);
  for (uint32_t i = 0; i < 17; ++i) {
    ASSERT_EQ(steady.add(i) | doubling.add(i), 0);
    EXPECT_EQ(steady.getSizeOfArray(), i < 16 ? 16u : 32u);
    EXPECT_EQ(doubling.getSizeOfArray(), i < 3 ? 3u : i < 6 ? 6u : i < 12 ? 12u : 24u);
  }
  EXPECT_EQ(neverSized.add(1), 1) << "twice nothing is nothing";
  ASSERT_EQ(doubling.resize(24, 1), 0);
  EXPECT_EQ(doubling.getSizeOfArray(), 24u) << "the size asked for, not twice what is there";
  ASSERT_EQ(doubling.increaseSize(0, 1), 0);
  EXPECT_EQ(doubling.getSizeOfArray(), 48u);
  for (uint32_t i = 0; i < 48; ++i) EXPECT_EQ(doubling[i], i < 17 ? i : 0) << "new cells are zero";
  ASSERT_EQ(doubling.resize(5, 0), 0);
  EXPECT_EQ(doubling.getCount(), 5u) << "no more in use than there are";
  for (unsigned short i = 0; i < 5; ++i) EXPECT_EQ(doubling[i], 0u) << "nothing kept";
}

TEST(ZuArray, CopiesABorrowedVectorOutWhenItGrows) {
  ZUSIZE_T cells[4] = {};
  ZuArrayZUSIZE_T array;
  array.borrowVector(cells, 4);
  for (ZUSIZE_T i = 1; i <= 4; ++i) array.push(i * 10);
  EXPECT_EQ(cells[3], 40u) << "it works in the caller's cells";
  EXPECT_EQ(array.shrink(5), 1) << "a borrowed vector has no more room than it has";
  ASSERT_EQ(array.add(50), 0);
  cells[0] = 0;
  EXPECT_EQ(array[0], 10u);
  EXPECT_EQ(*array.pop(), 50u);
  EXPECT_EQ(*array.top(), 40u);
}

TEST(ZuArray, DeletesWhatItsFlagsCover) {
  for (const bool everyCell : {false, true}) {
    ZuArray array;
    Items items;
    for (int i = 0; i < 6; ++i) {
      items.push_back(new Item(i));
      ASSERT_EQ(array.add(items[i]), 0);
    }
    array.setDeleteEveryCell(everyCell);
    array.setNextIndex(2);
    array.deleteContents();
    EXPECT_EQ(Item::alive, everyCell ? 0 : 4);
    for (int i = 2; i < 6 && !everyCell; ++i) delete items[i];
  }
  ZuArrayPVoid blocks;
  blocks.setDeleteContentsOnDestruct();
  for (int i = 0; i < 3; ++i) ASSERT_EQ(blocks.add(ramAlloc(8)), 0);
  blocks.deleteAtIndex(1);
  EXPECT_EQ(blocks.getCount(), 2u);
}

TEST(ZuBitArray, BehavesAsAVectorOfBits) {
  Dice dice(5);
  for (unsigned long bits = 0; bits < 70; ++bits) {
    ZuBitArray array;
    ASSERT_EQ(bits % 2 ? array.initialize(bits) : array.resize(bits), 0);
    std::vector<int> model(bits + 8);
    for (unsigned long i = 0; i < bits; ++i) {
      model[i] = static_cast<int>(dice(2));
      if (model[i]) array.set(i);
    }
    ASSERT_EQ(array.resize(bits + 8), 0);
    EXPECT_EQ(array.getBitCount(), bits + 8);
    for (unsigned long i = 0; i < model.size(); ++i) EXPECT_EQ(array.isSet(i), model[i]) << i;
    array.resetAll();
    for (unsigned long i = 0; i < model.size(); ++i) EXPECT_EQ(array.isSet(i), 0) << i;
    const unsigned long sameBlock = (bits + 15) / 8 * 8;
    ASSERT_EQ(array.resize(sameBlock), 0);
    EXPECT_EQ(array.getBitCount(), bits + 8) << "the block is as long as before";
  }
}

}  // namespace
