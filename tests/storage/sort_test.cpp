// ZuSort beside std::stable_sort: all kinds of keys, records in memory and in up to 200 runs, searching,
// ranges that are sorted again, changed keys.

#include "zulib/storage/sort.h"

#include <algorithm>
#include <clocale>
#include <cstring>
#include <map>
#include <vector>

#include "tests/storage/support.h"
#include "tests/support/locales.h"
#include "zulib/collections/zusorted.h"

namespace {

using storagetest::Dice;
using Sorter = storagetest::StorageTest;

class Item : public ZuObject {
 public:
  explicit Item(int key) : key(key) {}
  // Of the result only the low 16 bits count.
  int compare(const ZuObject* other) const override {
    const int theirs = static_cast<const Item*>(other)->key;
    return 0x50000 + (key < theirs ? -1 : key > theirs);
  }

  int key;
};

int compareLastByte(void* context, const void* a, const void* b) {
  const auto last = *static_cast<unsigned long*>(context) - 1;
  return static_cast<const unsigned char*>(a)[last] - static_cast<const unsigned char*>(b)[last];
}

struct Key {
  unsigned short flags;
  unsigned short offset;
  unsigned short length;
};

// What is sorted, and how.
struct Plan {
  unsigned short length = 0;
  unsigned short buffers = ZuSort::kMaximumBuffers;
  unsigned long count = 0;
  unsigned alphabet = 256;  // different bytes in the records
  std::vector<Key> keys;
};

// The records of a plan, the sorter that got them, and the order they should have.
class SortRun {
 public:
  SortRun(const Plan& plan, unsigned long seed) : plan(plan), dice(seed), sorter(plan.length) {
    for (int i = 0; i < 50; ++i) items.emplace_back(static_cast<int>(dice(20)));
    sorter.setBufferLimit(plan.buffers);
    for (const Key& key : plan.keys) addKey(key);
    for (unsigned long i = 0; i < plan.count; ++i) {
      model.push_back(newRecord());
      EXPECT_EQ(sorter.addRecord(model.back().data()), 0);
    }
    sortModel();
  }

  void addKey(const Key& key) {
    keys.push_back(key);
    ASSERT_EQ(sorter.addKey(key.flags, key.offset, key.length), 0);
    sorter.keys[sorter.keyCount - 1].compareFunction = compareLastByte;
    sorter.keys[sorter.keyCount - 1].compareContext = &contexts[key.length];
    contexts[key.length] = key.length;
  }

  std::string newRecord() {
    std::string record(plan.length, 0);
    for (char& byte : record) byte = static_cast<char>('A' + dice(plan.alphabet));
    if (keys[0].flags & ZuSortObject) {
      const Item* item = &items[dice(items.size())];
      std::memcpy(record.data(), &item, sizeof item);
    }
    return record;
  }

  int compareKey(const Key& key, const std::string& a, const std::string& b) const {
    int order;
    if (key.flags & ZuSortObject) {
      order = item(a)->key - item(b)->key;
    } else if (key.flags & ZuSortText) {
      const std::string left(a, key.offset, key.length);
      const std::string right(b, key.offset, key.length);
      order = std::strcoll(left.c_str(), right.c_str());
    } else if (key.flags & ZuSortCustom) {
      order = static_cast<unsigned char>(a[key.offset + key.length - 1u]) -
              static_cast<unsigned char>(b[key.offset + key.length - 1u]);
    } else {
      order = a.compare(key.offset, key.length, b, key.offset, key.length);
    }
    return key.flags & ZuSortDescending ? -order : order;
  }

  int compare(const std::string& a, const std::string& b) const {
    for (const Key& key : keys) {
      if (const int order = compareKey(key, a, b)) return order;
    }
    return 0;
  }

  void sortModel() {
    std::stable_sort(model.begin(), model.end(),
                     [this](const std::string& a, const std::string& b) { return compare(a, b) < 0; });
  }

  std::string asRecord(const void* record) const { return {static_cast<const char*>(record), plan.length}; }

  // Keys that are neither text nor bytes match if their bytes do.
  unsigned long matchingKeys(const std::string& a, const std::string& b) const {
    const auto differ = [&](const Key& key) {
      const bool isText = (key.flags & (ZuSortText | ZuSortObject)) == ZuSortText;
      return isText ? compareKey(key, a, b) != 0
                    : a.compare(key.offset, key.length, b, key.offset, key.length) != 0;
    };
    return static_cast<unsigned long>(std::find_if(keys.begin(), keys.end(), differ) - keys.begin());
  }

  // All records from here on stand where an equal one is in the model, and they are the model's.
  void expectTheRest(unsigned long from) {
    unsigned long hashes = 0;
    std::string previous;
    for (unsigned long i = from; i < model.size(); ++i) {
      void* record;
      unsigned long matching;
      ASSERT_EQ(sorter.getSortedWithCompare(&record, &matching), 0);
      ASSERT_NE(record, nullptr) << i << " of " << model.size();
      const std::string found = asRecord(record);
      ASSERT_EQ(compare(found, model[i]), 0) << i << " of " << model.size();
      ASSERT_EQ(matching, previous.empty() ? 0 : matchingKeys(previous, found));
      previous = found;
      hashes += std::hash<std::string>()(found) - std::hash<std::string>()(model[i]);
    }
    if (from > 0) return;
    EXPECT_EQ(hashes, 0u) << "the records are not those that were added";
    void* record;
    ASSERT_EQ(sorter.getNextRecord(&record), 0);
    EXPECT_EQ(record, nullptr);
  }

  void expectAll() {
    void* record;
    ASSERT_EQ(sorter.getFirstRecord(&record), 0);
    ASSERT_EQ(record == nullptr, model.empty());
    if (record) {
      EXPECT_EQ(compare(asRecord(record), model[0]), 0);
    }
    ASSERT_EQ(sorter.reSort(), 0);
    expectTheRest(0);
  }

  // Records that are there and such that are not; reading goes on from where they are, or would be.
  void expectSearches(int searches) {
    for (int i = 0; i < searches; ++i) {
      const std::string wanted = model.empty() || dice(2) ? newRecord() : model[dice(model.size())];
      const auto less = [this](const std::string& a, const std::string& b) { return compare(a, b) < 0; };
      auto at = std::lower_bound(model.begin(), model.end(), wanted, less);
      const bool isThere = at != model.end() && compare(*at, wanted) == 0;
      void* record;
      ASSERT_EQ(sorter.getFirstRecordWithKey(wanted.data(), &record), 0);
      ASSERT_EQ(record != nullptr, isThere);
      if (isThere) {
        ASSERT_EQ(compare(asRecord(record), *at++), 0);
      }
      for (int step = 0; step < 5 && at != model.end(); ++step, ++at) {
        ASSERT_EQ(sorter.getNextRecord(&record), 0);
        ASSERT_NE(record, nullptr);
        ASSERT_EQ(compare(asRecord(record), *at), 0);
      }
    }
  }

  // Adds a key, and sorts by it within each group that is alike on the keys so far, reading each group twice.
  void expectGroupsSortAgain(const Key& key, bool readsRange) {
    const unsigned long leading = keys.size();
    void* record;
    unsigned long matching;
    ASSERT_EQ(sorter.getFirstRecord(&record), 0);
    addKey(key);
    sortModel();
    unsigned long at = 0;
    // Each time records in memory are gone through from the first one.
    for (int groups = 0; record && groups < 60; ++groups) {
      const std::string first = asRecord(record);
      sorter.startResortRange();
      unsigned long end = at;
      do {
        ++end;
        ASSERT_EQ(sorter.getSortedWithCompare(&record, &matching), 0);
      } while (record && sameGroup(first, asRecord(record), leading));
      const std::string next = record ? asRecord(record) : "";
      sorter.endResortRange();
      ASSERT_EQ(sorter.resortRange(leading, 0), 0);
      if (readsRange) {
        ASSERT_EQ(sorter.getFirstRecordInRange(&record), 0);
        for (unsigned long i = at; i < end; ++i) {
          ASSERT_NE(record, nullptr);
          ASSERT_EQ(compare(asRecord(record), model[i]), 0) << i;
          ASSERT_EQ(i + 1 == end && end == model.size() ? 0 : sorter.getNextRecord(&record), 0);
        }
        ASSERT_TRUE(end == model.size() || sameGroup(next, asRecord(record), leading));
      }
      if (end == model.size()) break;
      at = end;
    }
  }

  bool sameGroup(const std::string& a, const std::string& b, unsigned long leading) const {
    return std::all_of(keys.begin(), keys.begin() + static_cast<long>(leading),
                       [&](const Key& key) { return compareKey(key, a, b) == 0; });
  }

  const Item* item(const std::string& record) const {
    const Item* found;
    std::memcpy(&found, record.data(), sizeof found);
    return found;
  }

  Plan plan;
  Dice dice;
  std::vector<Item> items;
  std::map<unsigned short, unsigned long> contexts;
  std::vector<Key> keys;
  ZuSort sorter;
  std::vector<std::string> model;
};

Key randomKey(Dice& dice, unsigned short recordLength, bool mayBeObject) {
  const auto offset = static_cast<unsigned short>(dice(recordLength));
  const auto length = static_cast<unsigned short>(1 + dice(std::min(20, recordLength - offset)));
  static constexpr unsigned short kKinds[] = {0, ZuSortText, ZuSortCustom, ZuSortObject};
  const unsigned short kind = kKinds[dice(mayBeObject ? 4 : 3)];
  return {static_cast<unsigned short>(kind | (dice(3) == 0 ? ZuSortDescending : 0)), offset, length};
}

// Groups are told apart by bytes or text.
bool isPlain(const Key& key) { return (key.flags & (ZuSortCustom | ZuSortObject)) == 0; }

void runPlan(const Plan& plan, unsigned long seed, const Key& anotherKey, bool readsRange) {
  SortRun run(plan, seed);
  run.expectAll();
  run.expectSearches(20);
  if (std::all_of(plan.keys.begin(), plan.keys.end(), isPlain)) {
    run.expectGroupsSortAgain(anotherKey, readsRange);
  }
  ASSERT_EQ(run.sorter.reSort(), 0);
  run.expectTheRest(0);
}

TEST_F(Sorter, SortsAsTheModel) {
  Dice dice(1);
  for (int round = 0; round < 24; ++round) {
    Plan plan;
    plan.length = static_cast<unsigned short>(1 + dice(dice(5) == 0 ? 300 : 40));
    plan.buffers = static_cast<unsigned short>(dice(2) ? 2 : 64);
    const unsigned long perBuffer = 65536 / plan.length;
    plan.count = dice(5) == 0 ? dice(4) : dice(std::min(20000UL, 6 * plan.buffers * perBuffer));
    plan.alphabet = static_cast<unsigned>(2 + dice(100));
    const unsigned long keys = 1 + dice(3);
    for (unsigned long i = 0; i < keys; ++i) {
      plan.keys.push_back(randomKey(dice, plan.length, plan.length >= sizeof(Item*) && i == 0));
    }
    SCOPED_TRACE(round);
    const TestLocale locale(round % 4 == 0 ? "en_US.UTF-8" : "C");
    runPlan(plan, static_cast<unsigned long>(round), randomKey(dice, plan.length, false), round % 2 == 0);
    if (HasFailure()) return;
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
  for (const Plan& plan : plans) {
    SCOPED_TRACE(plan.length);
    runPlan(plan, plan.length, {ZuSortDescending, static_cast<unsigned short>(plan.length / 2), 1}, true);
    if (HasFailure()) return;
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
