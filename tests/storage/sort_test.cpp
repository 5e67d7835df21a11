// ZuSort: bounded runs of the fuzz target, which aborts where it differs from std::stable_sort, millions of
// records, and what it refuses.

#define LLVMFuzzerTestOneInput sortByPlan
#include "fuzz/sort_fuzz.cpp"

#include "tests/storage/support.h"
#include "tests/support/locales.h"
#include "zulib/collections/zusorted.h"

namespace {

using namespace sortfuzz;
using Sorter = storagetest::StorageTest;

TEST_F(Sorter, SortsAsTheModel) {
  Dice dice(1);
  for (unsigned long round = 0; round < 24; ++round) {
    const TestLocale locale(round % 4 == 0 ? "en_US.UTF-8" : "C");
    SortRun(randomPlan(dice, 20000), round).run();
  }
}

// Runs of few records, with a cache for each or one that all share, down to two records; and many runs.
TEST_F(Sorter, MergesRunsOfAllShapes) {
  const Key first{0, 0, 1};
  const Key longText{ZuSortText, 10, 600};
  const Plan plans[] = {
      {.length = 65535, .buffers = 3, .count = 40, .alphabet = 3, .keys = {{0, 65534, 1}}},
      {.length = 30000, .buffers = 2, .count = 700, .alphabet = 20, .keys = {first, {ZuSortCustom, 100, 4}}},
      {.length = 9000, .buffers = 2, .count = 150, .alphabet = 2, .keys = {first}},
      {.length = 1000, .buffers = 2, .count = 2000, .alphabet = 2, .keys = {{ZuSortText, 3, 2}, longText}},
      {.length = 400, .buffers = 2, .count = 32000, .alphabet = 4, .keys = {{0, 2, 3}}},
      {.length = 1, .buffers = 2, .count = 400000, .keys = {first}},
  };
  for (Plan plan : plans) {
    plan.anotherKey = {ZuSortDescending, static_cast<unsigned short>(plan.length / 2), 1};
    SortRun(plan, plan.length).run();
  }
}

// As many records as need several full buffers, on one key of each length that is loaded in its own way.
TEST_F(Sorter, SortsMillionsOfRecords) {
  struct Row {
    unsigned char bytes[12];
    bool operator<(const Row& other) const { return std::memcmp(bytes, other.bytes, 12) < 0; }
  };
  for (const unsigned short length : {3, 8, 12}) {
    const unsigned long count = length == 12 ? 2000000 : 300000;
    Dice dice(length);
    ZuSort sorter(12);
    ASSERT_EQ(sorter.addKey(0, static_cast<unsigned short>(12 - length), length), 0);
    std::vector<Row> model(count);
    for (Row& row : model) {
      // Many are alike in their first 8 bytes.
      const unsigned long words[] = {dice(4) == 0 ? 0 : dice(~0UL), dice(~0UL)};
      std::memcpy(row.bytes, words, sizeof row.bytes);
      std::memset(row.bytes, 0, 12u - length);
      ASSERT_EQ(sorter.addRecord(&row), 0);
    }
    EXPECT_EQ(sorter.getRunCount(), length == 12 ? 5 : 0);
    std::stable_sort(model.begin(), model.end());
    void* record;
    for (const Row& row : model) {
      ASSERT_EQ(sorter.getSorted(&record), 0);
      ASSERT_EQ(std::memcmp(record, row.bytes, 12), 0);
    }
    ASSERT_EQ(sorter.getSorted(&record), 0);
    EXPECT_EQ(record, nullptr);
  }
}

// What a caller may get wrong, and what memory does not allow.
TEST_F(Sorter, RefusesWhatItCannotDo) {
  ZuSort sorter(4);
  for (int i = 0; i < 64; ++i) ASSERT_EQ(sorter.addKey(0, 0, 4), 0);
  EXPECT_EQ(sorter.addKey(0, 0, 4), 1);
  EXPECT_EQ(takeError(), 2710u);

  // An array stays the caller's, and cannot grow.
  unsigned char array[] = {3, 1, 2, 0};
  ZuSort ofArray(1);
  ASSERT_EQ(ofArray.addKey(ZuSortDescending, 0, 1), 0);
  ofArray.setBuf(4, array);
  ASSERT_EQ(ofArray.sortBuf(), 0);
  EXPECT_EQ(std::string(array, array + 4), std::string("\3\2\1\0", 4));
  EXPECT_EQ(ofArray.addRecord(array), 1);
  EXPECT_EQ(takeError(), 2716u);

  // Records of 65535 bytes in two buffers leave no room to merge; they can still be read.
  ZuSort tight(65535);
  tight.setBufferLimit(2);
  std::string record(65535, 'r');
  void* found;
  ASSERT_EQ(tight.addRecord(record.data()) | tight.addRecord(record.data()), 0);
  EXPECT_EQ(tight.addRecord(record.data()), 1);
  EXPECT_EQ(takeError(), 30190u);
  ASSERT_EQ(tight.getFirstRecord(&found), 0);
  EXPECT_NE(found, nullptr);

  ZuSort merging(30000);
  merging.setBufferLimit(2);
  for (int i = 0; i < 9; ++i) ASSERT_EQ(merging.addRecord(record.data()), 0);
  ASSERT_EQ(merging.getFirstRecord(&found), 0);
  EXPECT_EQ(merging.addRecord(record.data()), 1);
  EXPECT_EQ(takeError(), 1507u);

  ZuSort empty(0);
  EXPECT_EQ(empty.addRecord(record.data()), 1);
  EXPECT_EQ(takeError(), 30041u);
}

// Gives numbers to records as they are compared, so that each pivot is among the lowest: a known adversary of
// any quicksort.
struct Adversary {
  static constexpr int kUndecided = 1 << 14;

  static int compare(void* context, const void* a, const void* b) {
    auto* self = static_cast<Adversary*>(context);
    const unsigned left = *static_cast<const unsigned*>(a);
    const unsigned right = *static_cast<const unsigned*>(b);
    std::vector<int>& values = self->values;
    if (values[left] == kUndecided && values[right] == kUndecided) {
      values[left == self->candidate ? left : right] = self->decided++;
    }
    if (values[left] == kUndecided) {
      self->candidate = left;
    } else if (values[right] == kUndecided) {
      self->candidate = right;
    }
    return values[left] - values[right];
  }

  std::vector<int> values = std::vector<int>(4000, kUndecided);
  int decided = 0;
  unsigned candidate = 0;
};

TEST_F(Sorter, StackOfRangesOverflowsWithAnErrorAndLosesNoRecord) {
  Adversary adversary;
  std::vector<unsigned> records(adversary.values.size());
  for (unsigned i = 0; i < records.size(); ++i) records[i] = i;
  ZuSort sorter(sizeof(unsigned));
  ASSERT_EQ(sorter.addKey(ZuSortCustom, 0, sizeof(unsigned)), 0);
  sorter.keys[0].compareFunction = Adversary::compare;
  sorter.keys[0].compareContext = &adversary;
  sorter.setBuf(records.size(), records.data());
  EXPECT_EQ(sorter.sortBuf(), 1);
  EXPECT_EQ(takeError(), 2709u);
  std::sort(records.begin(), records.end());
  for (unsigned i = 0; i < records.size(); ++i) ASSERT_EQ(records[i], i);
}

// Few different keys, sorted and reversed input make no deep stack.
TEST_F(Sorter, StackOfRangesIsBounded) {
  std::vector<unsigned long> numbers(100000);
  const auto sortBy = [&](auto number) {
    for (unsigned long i = 0; i < numbers.size(); ++i) numbers[i] = __builtin_bswap64(number(i));
    ZuSort sorter(8);
    EXPECT_EQ(sorter.addKey(0, 0, 8), 0);
    sorter.setBuf(numbers.size(), numbers.data());
    const int result = sorter.sortBuf();
    const auto less = [](unsigned long a, unsigned long b) {
      return __builtin_bswap64(a) < __builtin_bswap64(b);
    };
    return result == 0 && std::is_sorted(numbers.begin(), numbers.end(), less);
  };
  EXPECT_TRUE(sortBy([](unsigned long) { return 5UL; }));
  EXPECT_TRUE(sortBy([](unsigned long i) { return i; }));
  EXPECT_TRUE(sortBy([](unsigned long i) { return 100000 - i; }));
  EXPECT_TRUE(sortBy([](unsigned long i) { return i % 3; }));
  EXPECT_TRUE(sortBy([](unsigned long i) { return std::min(i, 100000 - i); }));
}

// A sorted array sorts its objects through the sorter.
TEST_F(Sorter, SortsTheObjectsOfAnArray) {
  Dice dice(11);
  std::vector<Item> items;
  for (int i = 0; i < 3000; ++i) items.emplace_back(static_cast<int>(dice(500)));
  ZuSortedArray array;
  array.stopSort();
  for (Item& item : items) ASSERT_EQ(array.add(&item), 0);
  ASSERT_EQ(array.resort(), 0);
  for (unsigned long i = 1; i < array.getCount(); ++i) {
    ASSERT_LE(static_cast<Item*>(array[i - 1])->key, static_cast<Item*>(array[i])->key);
  }
}

}  // namespace
