#include "zulib/collections/zusorted.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/collections/support.h"

namespace {

using Items = std::vector<ZuObject*>;

bool before(const ZuObject* a, const ZuObject* b) { return a->compare(b) < 0; }

void expectSame(const ZuSortedArray& array, const Items& model) {
  ASSERT_EQ(array.getCount(), model.size());
  for (unsigned long i = 0; i < model.size(); ++i) ASSERT_EQ(array.at(i), model[i]) << "at " << i;
}

TEST(ZuSortedArray, SortsABulkLoadOnce) {
  for (const bool onRequest : {false, true}) {
    const Dice dice(3);
    ZuSortedArray array;
    array.setDeleteContentsOnDestruct();
    Items model;
    onRequest ? array.sortOnRequest() : array.stopSort();
    for (int i = 0; i < 500; ++i) {
      model.push_back(new Item(i * 167 % 500));
      ASSERT_EQ(array.add(model.back()), 0);
    }
    expectSame(array, model);
    ASSERT_EQ(array.resort(), 0);
    std::sort(model.begin(), model.end(), before);
    expectSame(array, model);
    auto* lowest = new Item(-5);
    ASSERT_EQ(array.add(lowest), 0);
    EXPECT_EQ(array.at(onRequest ? 500 : 0), lowest) << "resort ends stopSort, not sortOnRequest";
  }
}

TEST(ZuSortedArray, DropsDuplicatesAndKeepsTheFirst) {
  ZuSortedArray one;
  Item low(0), far(65536);
  ASSERT_EQ(one.add(&low), 0);
  unsigned long index = 7;
  EXPECT_EQ(one.findIndexOf(&far, index), 1) << "a compare is cut to 16 bits";
  one.reset();
  for (const bool destroy : {false, true}) {
    Items items;
    ZuSortedArray array;
    for (const int key : {1, 1, 1, 2, 3, 3}) {
      items.push_back(new Item(key));
      ASSERT_EQ(array.add(items.back()), 0);
    }
    destroy ? array.deleteDuplicates() : array.removeDuplicates();
    EXPECT_EQ(Item::alive, 2 + (destroy ? 3 : 6));
    expectSame(array, {items[0], items[3], items[4]});
    array.deleteContents();
    for (const int i : {1, 2, 5}) destroy ? void() : delete items[i];
  }
}

class Descending : public ZuSortedArrayZUSIZE_T {
 public:
  using ZuSortedArrayZUSIZE_T::compare;
  int compare(ZUSIZE_T a, ZUSIZE_T b) const override { return ZuSortedArrayZUSIZE_T::compare(b, a); }
};

TEST(ZuSortedArrayZUSIZE_T, OrdersByItsOwnCompare) {
  Dice dice(9);
  ZuSortedArrayZUSIZE_T up;
  Descending down;
  std::vector<ZUSIZE_T> model;
  for (int i = 0; i < 300; ++i) {
    // Both ends of the range, where a difference would overflow.
    model.push_back(dice(2) ? ~0UL - dice(40) : dice(40));
    ASSERT_EQ(up.add(model.back()) | down.add(model.back()), 0);
  }
  std::sort(model.begin(), model.end());
  for (unsigned long i = 0; i < model.size(); ++i) {
    ASSERT_EQ(up[i], model[i]);
    ASSERT_EQ(down[i], model[model.size() - 1 - i]);
    unsigned long index;
    ASSERT_EQ(up.findIndexOf(model[i], index), 1);
    up.findIndexOfLastKey(model[i], index);
    EXPECT_TRUE(index + 1 == model.size() || model[index + 1] > model[i]);
  }
}

}  // namespace
