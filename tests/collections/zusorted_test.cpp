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

// Every key from below the first to above the last, there or not.
void expectFinds(const ZuSortedArray& array, const Items& model, int keys) {
  for (int key = -1; key <= keys; ++key) {
    const Item wanted(key);
    const auto range = std::equal_range(model.begin(), model.end(), &wanted, before);
    const auto first = static_cast<unsigned long>(range.first - model.begin());
    const auto after = static_cast<unsigned long>(range.second - model.begin());
    unsigned long index = 99999;
    ASSERT_EQ(array.findIndexOf(&wanted, index), first < after ? 1 : 0);
    if (first == after) {
      EXPECT_EQ(index, first) << "where it would go";
    } else {
      EXPECT_EQ(wanted.compare(array.at(index)), 0);
      array.findIndexOfLastKey(&wanted, index);
      EXPECT_EQ(index + 1, after);
      ASSERT_EQ(array.seqFindIndexOf(&wanted, index), 1);
      EXPECT_EQ(index, first);
    }
  }
}

TEST(ZuSortedArray, KeepsOrderAndFindsThroughRandomAdds) {
  for (int keys : {1, 2, 7, 60, 1000}) {
    SCOPED_TRACE(keys);
    Dice dice(static_cast<unsigned>(keys));
    ZuSortedArray array;
    array.setDeleteContentsOnDestruct();
    Items model;
    expectFinds(array, model, keys);
    for (int i = 0; i < 200; ++i) {
      auto* item = new Item(static_cast<int>(dice(static_cast<unsigned long>(keys))));
      ASSERT_EQ(array.add(item), 0);
      model.insert(std::upper_bound(model.begin(), model.end(), item, before), item);
      ASSERT_NO_FATAL_FAILURE(expectSame(array, model)) << "equal keys are in the order of their adding";
    }
    expectFinds(array, model, keys);
  }
}

TEST(ZuSortedArray, SortsABulkLoadOnce) {
  for (const bool onRequest : {false, true}) {
    Dice dice(3);
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
    for (int key : {1, 1, 1, 2, 3, 3}) {
      items.push_back(new Item(key));
      ASSERT_EQ(array.add(items.back()), 0);
    }
    destroy ? array.deleteDuplicates() : array.removeDuplicates();
    EXPECT_EQ(Item::alive, 2 + (destroy ? 3 : 6));
    expectSame(array, {items[0], items[3], items[4]});
    array.deleteContents();
    for (int i : {1, 2, 5}) destroy ? void() : delete items[i];
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
