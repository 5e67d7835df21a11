// Trees against std::multimap, and positional trees against a vector.

#include "zulib/storage/zutree.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <optional>
#include <vector>

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/file_faults.h"
#include "tests/support/tree_checker.h"

namespace {

using storagetest::Dice;
using storagetest::StorageTest;
using Tree = CheckedTree<ZuTree>;
using PTree = CheckedTree<ZuPTree>;

// Keys are texts of digits at the end of `keySize` bytes, so that their bytes are in the order of the
// numbers.
struct Shape {
  unsigned short keySize, dataSize;
  bool marks, duplicates;
  unsigned long range;  // of the numbers
  short (*compare)(const void*, const void*, unsigned long);
};

short reversed(const void* a, const void* b, unsigned long n) { return memCompare(b, a, n); }

class Sequence {
 public:
  Sequence(const Shape& shape, unsigned long seed)
      : shape(shape),
        dice(seed),
        tree(shape.keySize, shape.dataSize, shape.compare, shape.marks, shape.duplicates, 1),
        model(Order{shape.compare != nullptr}) {}

  void run(int steps) {
    for (int step = 1; step <= steps && !testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(step);
      // Times of growth and of shrinking.
      const bool grows = step / 2000 % 3 != 2;
      const unsigned long what = dice(20);
      if (what < (grows ? 10u : 4u)) {
        add();
      } else if (what < 14) {
        what % 2 ? remove() : removeData();
      } else if (what < 16) {
        change();
      } else if (what < 19) {
        walkAround();
      } else {
        look();
      }
      if (step % 1000 == 0) checkAll();
      if (dice(20000) == 0) {
        EXPECT_EQ(tree.reset(), 0);
        model.clear();
        EXPECT_EQ(next(true), "end") << "an iterator that was open";
      }
    }
    checkAll();
  }

  Tree& tested() { return tree; }

 private:
  struct Order {
    bool backwards;
    bool operator()(const std::string& a, const std::string& b) const { return backwards ? b < a : a < b; }
  };
  using Model = std::multimap<std::string, std::string, Order>;

  std::string padded(unsigned long n, unsigned long size) const {
    const std::string digits = std::to_string(n);
    return std::string(size > digits.size() ? size - digits.size() : 0, '0') +
           digits.substr(digits.size() - std::min(size, digits.size()));
  }
  std::string someKey() { return padded(dice(shape.range), shape.keySize); }
  std::string someData() { return padded(dice(1000), shape.dataSize); }
  // In a tree with data of the old and the new record.
  std::string usualKey() {
    if (model.empty() || dice(3) == 0) return someKey();
    const auto it = model.lower_bound(someKey());
    return it == model.end() ? model.begin()->first : it->first;
  }

  void add() {
    const std::string key = someKey();
    const std::string data = someData();
    unsigned existed = 7;
    ASSERT_EQ(tree.add(key.data(), data.data(), &existed), 0);
    const bool is = !shape.duplicates && model.contains(key);
    EXPECT_EQ(existed, is ? 1u : 0u);
    if (!is) model.emplace_hint(model.lower_bound(key), key, data);
  }

  void remove() {
    const std::string key = usualKey();
    unsigned found = 7;
    ASSERT_EQ(tree.deleteKey(key.data(), &found), 0);
    EXPECT_EQ(found, model.contains(key) ? 1u : 0u);
    if (found) model.erase(model.lower_bound(key));
  }

  void removeData() {
    const std::string key = usualKey();
    auto it = model.lower_bound(key);
    auto end = model.upper_bound(key);
    std::string data = someData();
    if (it != end && dice(4)) {
      auto chosen = it;
      for (unsigned long n = dice(3); n-- > 0 && std::next(chosen) != end;) ++chosen;
      data = chosen->second;
    }
    while (shape.duplicates && it != end && it->second != data) ++it;
    unsigned found = 7;
    ASSERT_EQ(tree.deleteKeyAndData(key.data(), data.data(), &found), 0);
    EXPECT_EQ(found, it != end ? 1u : 0u);
    if (found) model.erase(it);
  }

  void change() {
    const std::string key = usualKey();
    const auto it = model.lower_bound(key);
    const bool is = it != model.end() && it->first == key;
    if (dice(2)) {
      const std::string data = someData();
      EXPECT_EQ(tree.changeData(key.data(), data.data()), is ? 0 : 1);
      if (is) it->second = data;
      return;
    }
    const std::string newKey = dice(10) ? someKey() : key;
    const bool allowed = is && (newKey == key || shape.duplicates || !model.contains(newKey));
    EXPECT_EQ(tree.changeKey(key.data(), newKey.data()), allowed ? 0 : 1);
    if (!allowed || newKey == key) return;
    const std::string data = it->second;
    model.erase(it);
    model.emplace_hint(model.lower_bound(newKey), newKey, data);
  }

  void look() {
    const std::string key = usualKey();
    std::string data(shape.dataSize, '?');
    unsigned found = 7;
    ASSERT_EQ(tree.getData(key.data(), data.data(), &found, dice(2) ? nullptr : &place), 0);
    const auto it = model.lower_bound(key);
    const bool is = it != model.end() && it->first == key;
    EXPECT_EQ(found, is ? 1u : 0u);
    EXPECT_TRUE(!is || data == it->second);
    ASSERT_EQ(tree.doesExist(key.data(), &found), 0);
    EXPECT_EQ(found, is ? 1u : 0u);
  }

  std::string step(int (ZuTree::*move)(void*, void*, unsigned*, ZuTreeIterator*)) {
    std::string key(shape.keySize, '?');
    std::string data(shape.dataSize, '?');
    unsigned found = 7;
    EXPECT_EQ((tree.*move)(key.data(), data.data(), &found, &place), 0);
    EXPECT_EQ(place.isOnRecord(), found == 1);
    return found ? key + "=" + data : "end";
  }
  std::string next(bool forward) { return step(forward ? &ZuTree::getNext : &ZuTree::getPrevious); }
  std::string shown(typename Model::const_iterator it) const {
    return it == model.end() ? "end" : it->first + "=" + it->second;
  }

  // From a record, some steps to and fro; records on the way are deleted and changed.
  void walkAround() {
    if (model.empty()) return;
    auto it = model.lower_bound(usualKey());
    if (it == model.end()) it = model.begin();
    it = model.lower_bound(it->first);
    unsigned found = 0;
    ASSERT_EQ(tree.getData(it->first.data(), nullptr, &found, &place), 0);
    ASSERT_EQ(found, 1u);
    bool onRecord = true;
    for (unsigned long n = dice(30); n-- > 0;) {
      const bool forward = dice(3) != 0;
      if (onRecord && dice(8) == 0) {
        ASSERT_EQ(tree.deleteCurrent(&place), 0);
        it = model.erase(it);
        onRecord = false;
        EXPECT_EQ(tree.deleteCurrent(&place), 1) << "it is deleted";
        continue;
      }
      if (onRecord && dice(8) == 0) {
        const std::string data = someData();
        ASSERT_EQ(tree.changeCurrentData(data.data(), &place), 0);
        it->second = data;
      }
      // Between two records `it` is the one after the place.
      if (forward && onRecord) ++it;
      if (!forward && it == model.begin())
        it = model.end();
      else if (!forward)
        --it;
      ASSERT_EQ(next(forward), shown(it));
      if (it == model.end()) break;
      onRecord = true;
    }
  }

  void checkAll() {
    tree.check();
    ASSERT_EQ(tree.getRecordCount(), model.size());
    std::string found = step(&ZuTree::getFirst);
    for (auto it = model.begin(); it != model.end(); ++it, found = next(true)) ASSERT_EQ(found, shown(it));
    EXPECT_EQ(found, "end");
    EXPECT_EQ(next(false), "end") << "the place is lost";
    found = step(&ZuTree::getLast);
    for (auto it = model.end(); it != model.begin(); found = next(false)) ASSERT_EQ(found, shown(--it));
    EXPECT_EQ(found, "end");
  }

  const Shape shape;
  Dice dice;
  Tree tree;
  Model model;
  ZuTreeIterator place{&tree};
};

using TreeSequences = StorageTest;

TEST_F(TreeSequences, AreThoseOfAMultimap) {
  const Shape shapes[] = {
      {8, 4, true, false, 100000, nullptr},      // 49 sons
      {8, 4, true, true, 2000, nullptr},         // groups of equal keys
      {8, 4, true, true, 30, nullptr},           // long ones
      {3, 3, false, true, 500, nullptr},         // without marks
      {8, 0, false, false, 5000, reversed},      //
      {5, 600, true, true, 300, nullptr},        // 4 sons
      {5, 600, false, true, 300, nullptr},       //
      {6, 900, true, false, 3000, nullptr},      // 3 sons
      {6, 900, false, false, 3000, nullptr},     //
      {1000, 500, true, true, 200, nullptr},     // 2 sons
      {1000, 500, false, false, 200, reversed},  //
  };
  unsigned long seed = 1;
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(testing::Message() << shape.keySize << "+" << shape.dataSize << " marks " << shape.marks
                                    << " duplicates " << shape.duplicates);
    Sequence(shape, seed++).run(shape.dataSize > 100 ? 6000 : 20000);
    if (HasFailure()) break;
  }
}

// A vector whose empty elements are holes.
class Positions {
 public:
  explicit Positions(unsigned short dataSize, unsigned long seed)
      : dice(seed), dataSize(dataSize), tree(dataSize) {}

  void run(int steps) {
    for (int step = 1; step <= steps && !testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(step);
      const bool grows = step / 2000 % 3 != 2;
      const unsigned long what = dice(20);
      if (what < (grows ? 10u : 3u)) {
        insert();
      } else if (what < 16) {
        erase();
      } else {
        what < 18 ? fillOrMake() : look();
      }
      if (step % 1000 == 0 || step < 50) checkAll();
    }
    checkAll();
  }

 private:
  using Element = std::optional<unsigned>;

  std::string bytes(unsigned n) const {
    std::string text = std::to_string(n);
    text.resize(dataSize, '.');
    return text;
  }
  // Often at an end of the sequence, where deleted keys have no position before them.
  unsigned long somewhere() {
    const unsigned long last = model.size() + 2;
    return dice(4) == 0 ? dice(2) : dice(last);
  }
  void reach(unsigned long position) {
    if (model.size() < position) model.resize(position);
  }

  void insert() {
    const unsigned long position = somewhere();
    const auto at = [&] { return model.begin() + static_cast<long>(position); };
    if (dice(10) == 0) {
      ASSERT_EQ(tree.addHoleAtPos(position), 0);
      if (position < model.size()) model.insert(at(), Element());
      return;
    }
    ASSERT_EQ(tree.addAtPos(position, bytes(++last).data()), 0);
    reach(position);
    model.insert(at(), last);
  }

  void erase() {
    const unsigned long position = somewhere();
    unsigned found = 7;
    ASSERT_EQ(tree.deleteKeyAtPos(position, &found), 0);
    EXPECT_EQ(found, position < model.size() && model[position] ? 1u : 0u);
    if (position < model.size()) model.erase(model.begin() + static_cast<long>(position));
  }

  // Without moving what comes after.
  void fillOrMake() {
    const unsigned long position = somewhere();
    const auto key = static_cast<uint32_t>(position);
    const bool is = position < model.size() && model[position];
    unsigned found = 7;
    if (dice(2)) {
      ASSERT_EQ(tree.add(&key, bytes(++last).data(), &found), 0);
      reach(position + 1);
      if (!is) model[position] = last;
    } else {
      ASSERT_EQ(tree.deleteKey(&key, &found), 0);
      if (is) model[position] = Element();
    }
    EXPECT_EQ(found, is ? 1u : 0u);
  }

  void look() {
    const unsigned long position = somewhere();
    auto key = static_cast<uint32_t>(position);
    std::string data(dataSize, '?');
    unsigned found = 7;
    ASSERT_EQ(tree.getData(&key, data.data(), &found, &place), 0);
    const bool is = position < model.size() && model[position];
    ASSERT_EQ(found, is ? 1u : 0u);
    if (!is) return;
    EXPECT_EQ(data, bytes(*model[position]));
    // The neighbours, with their positions.
    ASSERT_EQ(tree.getNext(&key, data.data(), &found, &place), 0);
    unsigned long expected = position + 1;
    while (expected < model.size() && !model[expected]) ++expected;
    ASSERT_EQ(found, expected < model.size() ? 1u : 0u);
    if (!found) return;
    EXPECT_EQ(key, expected);
    EXPECT_EQ(data, bytes(*model[expected]));
    ASSERT_EQ(tree.getPrevious(&key, data.data(), &found, &place), 0);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(key, position);
  }

  void checkAll() {
    tree.check();
    uint32_t key = 0;
    std::string data(dataSize, '?');
    unsigned found = 7;
    ASSERT_EQ(tree.getFirst(&key, data.data(), &found, &place), 0);
    for (unsigned long i = 0; i < model.size(); ++i) {
      if (!model[i]) continue;
      ASSERT_EQ(found, 1u);
      ASSERT_EQ(key, i);
      ASSERT_EQ(data, bytes(*model[i]));
      ASSERT_EQ(tree.getNext(&key, data.data(), &found, &place), 0);
    }
    ASSERT_EQ(found, 0u);
    ASSERT_EQ(tree.getLast(&key, data.data(), &found, &place), 0);
    for (unsigned long i = model.size(); i-- > 0;) {
      if (!model[i]) continue;
      ASSERT_EQ(found, 1u);
      ASSERT_EQ(key, i);
      ASSERT_EQ(tree.getPrevious(&key, nullptr, &found, &place), 0);
    }
    ASSERT_EQ(found, 0u);
  }

  Dice dice;
  const unsigned short dataSize;
  PTree tree;
  std::vector<Element> model;
  unsigned last = 0;
  ZuTreeIterator place{&tree};
};

TEST_F(TreeSequences, OfPositionsAreThoseOfAVector) {
  unsigned long seed = 1;
  for (const unsigned short dataSize : {8, 300, 500, 900}) {
    SCOPED_TRACE(dataSize);
    for (int i = 0; i < 3 && !HasFailure(); ++i) Positions(dataSize, seed++).run(6000);
  }
}

// Every key of a permutation is added, every third deleted, the rest walked
// through.
TEST_F(TreeSequences, GrowToThousandsOfNodes) {
  constexpr uint32_t kRecords = 250000;
  constexpr uint64_t kStep = 618033;  // shares no factor with kRecords
  Tree tree(4, 4, treeZUSIZE_TCompare, 1, 0, 1);
  for (uint64_t i = 0; i < kRecords; ++i) {
    const auto key = static_cast<uint32_t>(i * kStep % kRecords);
    ASSERT_EQ(tree.add(&key, &key, nullptr), 0);
  }
  tree.check();
  unsigned found = 0;
  for (uint32_t key = 0; key < kRecords; key += 3) {
    ASSERT_EQ(tree.deleteKey(&key, &found), 0);
    ASSERT_EQ(found, 1u);
  }
  tree.check();
  uint32_t key = 0;
  uint32_t data = 0;
  ASSERT_EQ(tree.getFirst(&key, &data, &found, nullptr), 0);
  for (uint32_t i = 1; i < kRecords; i += i % 3) {
    ASSERT_TRUE(found && key == i && data == i) << i;
    ASSERT_EQ(tree.getNext(&key, &data, &found, nullptr), 0);
  }
  EXPECT_FALSE(found);
}

class TreeFaults : public StorageTest {
 protected:
  static std::string key(unsigned long n) {
    const std::string digits = std::to_string(n);
    return std::string(8 - digits.size(), '0') + digits;
  }
  // Adds records with keys from `from` on; the result is how many were added.
  static unsigned long fill(ZuTree& tree, unsigned long from, unsigned long n) {
    for (unsigned long i = 0; i < n; ++i) {
      unsigned existed = 0;
      if (tree.add(key((from + i) * 7919 % 99991).data(), "data", &existed)) return i;
      EXPECT_EQ(existed, 0u);
    }
    return n;
  }
};

// A record for each failure; the records that were there still are.
TEST_F(TreeFaults, AllocationsFail) {
  sweepAllocations([&](FaultAllocator& faults) {
    Tree tree(8, 4, nullptr, 1, 0, 0);
    ZuTreeIterator place;
    const unsigned long added = fill(tree, 0, 1200);
    std::string first(8, 0);
    unsigned found = 0;
    const bool walks = tree.getFirst(first.data(), nullptr, &found, &place) == 0;
    faults.stop();
    EXPECT_EQ(errors.isOutOfMemory(), faults.triggered());
    errors.clearErrors();
    tree.check();
    EXPECT_EQ(fill(tree, added, 10), 10u) << "usable again";
    EXPECT_EQ(tree.getFirst(first.data(), nullptr, &found, &place), 0);
    EXPECT_EQ(found, 1u);
    return added == 1200 && walks;
  });
  CheckedTree<ZuTree> useless(2000, 100, nullptr, 1, 0, 0);
  EXPECT_EQ(useless.add(std::string(2000, 'k').data(), std::string(100, 'd').data(), nullptr), 1);
  EXPECT_EQ(takeError(), 30041u);
}

// Every call on the temporary file failed in turn: each is reported, and the tree still works.
TEST_F(TreeFaults, FileCallsFail) {
  const std::string data(600, 'd');
  const auto failed = sweepFileCalls([&](FileFaults& faults) {
    Tree tree(8, 600, nullptr, 1, 0, 0);
    bool good = true;
    unsigned found = 0;
    for (unsigned long i = 0; good && i < 60; ++i)
      good = tree.add(key(i * 37 % 61).data(), data.data(), nullptr) == 0;
    for (unsigned long i = 0; good && i < 60; ++i) good = tree.doesExist(key(i).data(), &found) == 0;
    good = good && tree.reset() == 0;
    faults.stop();
    EXPECT_EQ(takeError() == 0, good);
    EXPECT_EQ(tree.add(key(99).data(), data.data(), nullptr), 0);
    EXPECT_EQ(tree.doesExist(key(99).data(), &found), 0);
    EXPECT_EQ(found, 1u);
    return good;
  });
  EXPECT_GT(failed, 50u);
}

// The disk is full: writes of the temporary file beyond a limit fail.
TEST_F(TreeFaults, FileWritesFail) {
  const auto old = signal(SIGXFSZ, SIG_IGN);
  Tree tree(8, 4, nullptr, 1, 0, 0);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit limit = before;
  limit.rlim_cur = 100 * 2048;
  setrlimit(RLIMIT_FSIZE, &limit);
  const unsigned long added = fill(tree, 0, 20000);
  EXPECT_LT(added, 20000u);
  EXPECT_NE(takeError(), 0u);
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, old);
  unsigned missing = 0;
  for (unsigned long i = 0; i < added; ++i) {
    unsigned found = 0;
    EXPECT_EQ(tree.doesExist(key(i * 7919 % 99991).data(), &found), 0);
    missing += !found;
  }
  EXPECT_LE(missing, 25u) << "of the node that was being split at most one half is lost";
}

// Whatever the file has been made to contain, no operation does worse than fail.
TEST_F(TreeFaults, DamagedBytesCrashNothing) {
  for (unsigned long seed = 1; seed <= 40; ++seed) {
    Dice dice(seed);
    Tree tree(8, 4, nullptr, 1, seed % 2, 0);
    PTree positions(8);
    ASSERT_EQ(fill(tree, 0, 3000), 3000u);
    for (unsigned long i = 0; i < 3000; ++i) ASSERT_EQ(positions.addAtPos(dice(i + 1), "position"), 0);
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      const int handle = ::open(entry.path().c_str(), O_RDWR);
      const auto size = static_cast<unsigned long>(lseek(handle, 0, SEEK_END));
      for (unsigned long n = 0; n < 40; ++n) {
        std::string bytes(1 + dice(40), static_cast<char>(dice(4) ? dice(256) : 0));
        if (dice(3) == 0) bytes = std::string("\1\0", 2) + bytes;
        // Often in the header of a node.
        const unsigned long place = dice(2) ? dice(size) : dice(size / 2048) * 2048 + dice(16);
        ASSERT_EQ(pwrite(handle, bytes.data(), bytes.size(), static_cast<off_t>(place)),
                  static_cast<ssize_t>(bytes.size()));
      }
      ::close(handle);
    }
    unsigned failed = 0;
    for (int step = 0; step < 1500; ++step) {
      const std::string wanted = key(dice(99991));
      unsigned found = 0;
      std::string out(8, 0);
      ZuTreeIterator place;
      failed += tree.getData(wanted.data(), nullptr, &found, &place) != 0;
      for (int i = 0; i < 5; ++i) {
        failed += tree.getNext(out.data(), nullptr, &found, &place) != 0;
        failed += dice(4) == 0 && found && tree.deleteCurrent(&place) != 0;
        failed += tree.getPrevious(out.data(), nullptr, &found, &place) != 0;
      }
      failed += tree.add(wanted.data(), "more", nullptr) != 0;
      failed += tree.deleteKey(wanted.data(), &found) != 0;
      failed += positions.addAtPos(dice(4000), "position") != 0;
      failed += positions.deleteKeyAtPos(dice(4000), &found) != 0;
      failed += positions.getLast(out.data(), nullptr, &found, nullptr) != 0;
    }
    EXPECT_GT(failed, 0u);
    EXPECT_NE(takeError(), 0u);
  }
}

}  // namespace
