// ZuSort beside std::stable_sort: the input is a plan of keys, record lengths and buffers, by which records
// are sorted in memory or in up to 200 runs, searched for, and sorted again in ranges.

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "zulib/storage/sort.h"

namespace sortfuzz {

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
  std::vector<Key> keys{};
  Key anotherKey{};
  bool readsRanges = true;
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
      demand(sorter.addRecord(model.back().data()) == 0);
    }
    sortModel();
  }

  void run() {
    demandAll();
    demandSearches(20);
    if (std::all_of(plan.keys.begin(), plan.keys.end(), isPlain)) demandGroupsSortAgain();
    demand(sorter.reSort() == 0);
    demandInOrder();
  }

 private:
  // Groups are told apart by bytes or text.
  static bool isPlain(const Key& key) { return (key.flags & (ZuSortCustom | ZuSortObject)) == 0; }

  void addKey(const Key& key) {
    keys.push_back(key);
    demand(sorter.addKey(key.flags, key.offset, key.length) == 0);
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

  // Each record is at the place of an equal one in the model, and they are the model's.
  void demandInOrder() {
    unsigned long hashes = 0;
    std::string previous;
    void* record;
    for (const std::string& expected : model) {
      unsigned long matching;
      demand(sorter.getSortedWithCompare(&record, &matching) == 0 && record);
      const std::string found = asRecord(record);
      demand(compare(found, expected) == 0);
      demand(matching == (previous.empty() ? 0 : matchingKeys(previous, found)));
      previous = found;
      hashes += std::hash<std::string>()(found) - std::hash<std::string>()(expected);
    }
    demand(hashes == 0);
    demand(sorter.getNextRecord(&record) == 0 && !record);
  }

  void demandAll() {
    void* record;
    demand(sorter.getFirstRecord(&record) == 0 && !record == model.empty());
    demand(!record || compare(asRecord(record), model[0]) == 0);
    demand(sorter.reSort() == 0);
    demandInOrder();
  }

  // Records that are there and such that are not; reading goes on from where they are, or would be.
  void demandSearches(int searches) {
    for (int i = 0; i < searches; ++i) {
      const std::string wanted = model.empty() || dice(2) ? newRecord() : model[dice(model.size())];
      const auto less = [this](const std::string& a, const std::string& b) { return compare(a, b) < 0; };
      auto at = std::lower_bound(model.begin(), model.end(), wanted, less);
      const bool isThere = at != model.end() && compare(*at, wanted) == 0;
      void* record;
      demand(sorter.getFirstRecordWithKey(wanted.data(), &record) == 0 && (record != nullptr) == isThere);
      if (isThere) demand(compare(asRecord(record), *at++) == 0);
      for (int step = 0; step < 5 && at != model.end(); ++step, ++at) {
        demand(sorter.getNextRecord(&record) == 0 && record);
        demand(compare(asRecord(record), *at) == 0);
      }
    }
  }

  // Adds a key, and sorts by it within each group that is alike on the keys so far, reading each group twice.
  void demandGroupsSortAgain() {
    const unsigned long leading = keys.size();
    void* record;
    unsigned long matching;
    demand(sorter.getFirstRecord(&record) == 0);
    addKey(plan.anotherKey);
    sortModel();
    unsigned long at = 0;
    // Each time records in memory are gone through from the first one.
    for (int groups = 0; record && groups < 60; ++groups) {
      const std::string first = asRecord(record);
      sorter.startResortRange();
      unsigned long end = at;
      do {
        ++end;
        demand(sorter.getSortedWithCompare(&record, &matching) == 0);
      } while (record && sameGroup(first, asRecord(record), leading));
      const std::string next = record ? asRecord(record) : "";
      sorter.endResortRange();
      demand(sorter.resortRange(leading, 0) == 0);
      if (plan.readsRanges) {
        demand(sorter.getFirstRecordInRange(&record) == 0);
        for (unsigned long i = at; i < end; ++i) {
          demand(record && compare(asRecord(record), model[i]) == 0);
          demand((i + 1 == end && end == model.size() ? 0 : sorter.getNextRecord(&record)) == 0);
        }
        demand(end == model.size() || sameGroup(next, asRecord(record), leading));
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

  const Plan plan;
  Dice dice;
  std::vector<Item> items;
  std::map<unsigned short, unsigned long> contexts;
  std::vector<Key> keys;
  ZuSort sorter;
  std::vector<std::string> model;
};

// `in` is the bytes of an input, or dice.
template <class Numbers>
Key randomKey(Numbers& in, unsigned short recordLength, bool mayBeObject) {
  const auto offset = static_cast<unsigned short>(in(recordLength));
  const auto length = static_cast<unsigned short>(1 + in(std::min<unsigned long>(20, recordLength - offset)));
  static constexpr unsigned short kKinds[] = {0, ZuSortText, ZuSortCustom, ZuSortObject};
  const unsigned short kind = kKinds[in(mayBeObject ? 4 : 3)];
  return {static_cast<unsigned short>(kind | (in(3) == 0 ? ZuSortDescending : 0)), offset, length};
}

template <class Numbers>
Plan randomPlan(Numbers& in, unsigned long mostRecords) {
  Plan plan;
  plan.length = static_cast<unsigned short>(1 + in(in(5) == 0 ? 300 : 40));
  plan.buffers = static_cast<unsigned short>(in(2) ? 2 : 64);
  const unsigned long perBuffer = 65536 / plan.length;
  plan.count = in(5) == 0 ? in(4) : in(std::min(mostRecords, 6 * plan.buffers * perBuffer));
  plan.alphabet = static_cast<unsigned>(2 + in(100));
  for (unsigned long n = 1 + in(3); n > 0; --n) {
    plan.keys.push_back(randomKey(in, plan.length, plan.length >= sizeof(Item*) && plan.keys.empty()));
  }
  plan.anotherKey = randomKey(in, plan.length, false);
  plan.readsRanges = in(2) == 0;
  return plan;
}

}  // namespace sortfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr unsigned long kMostRecords = 20000;
  Input in(data, size);
  const sortfuzz::Plan plan = sortfuzz::randomPlan(in, kMostRecords);
  sortfuzz::SortRun(plan, in(65536)).run();
  return 0;
}
