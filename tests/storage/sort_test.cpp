// ZuSort beside std::stable_sort: all kinds of keys, records in memory and in up to 200 runs, searching,
// ranges that are sorted again, changed keys.

#include "zulib/storage/sort.h"

#include <algorithm>
#include <clocale>
#include <cstring>
#include <map>
#include <vector>

#include "tests/storage/support.h"
#include "zulib/text/strcompare.h"

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
    while (record) {
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
        ASSERT_TRUE(end == model.size() || asRecord(record) == next);
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

TEST_F(Sorter, SortsAsTheModel) {
  Dice dice(1);
  for (int round = 0; round < 60; ++round) {
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
    SortRun run(plan, static_cast<unsigned long>(round));
    run.expectAll();
    run.expectSearches(20);
    // Groups are told apart by bytes or text.
    const auto isPlain = [](const Key& key) { return (key.flags & (ZuSortCustom | ZuSortObject)) == 0; };
    if (std::all_of(plan.keys.begin(), plan.keys.end(), isPlain)) {
      run.expectGroupsSortAgain(randomKey(dice, plan.length, false), dice(2) == 0);
    }
    ASSERT_EQ(run.sorter.reSort(), 0);
    run.expectTheRest(0);
    if (HasFatalFailure() || HasFailure()) return;
  }
}

}  // namespace
