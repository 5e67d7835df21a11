// Trees: a bounded run of the fuzz target, which aborts where they differ from its models, trees of many
// nodes, and failures.

#define LLVMFuzzerTestOneInput editTree
#include "fuzz/tree_fuzz.cpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/file_faults.h"

namespace {

using storagetest::StorageTest;
using Tree = CheckedTree<ZuTree>;
using PTree = CheckedTree<ZuPTree>;

using TreeSequences = StorageTest;

TEST_F(TreeSequences, AreThoseOfTheModels) {
  Dice dice(1);
  for (unsigned kind = 0; kind < treefuzz::kKinds; ++kind) {
    // Records of some hundred bytes need fewer steps to fill a node.
    const bool large = kind >= 5;
    for (int round = 0; round < (large ? 2 : 1); ++round) {
      std::vector<uint8_t> commands = dice.bytes(large ? 25000 : 150000);
      commands[0] = static_cast<uint8_t>(kind);
      ASSERT_EQ(editTree(commands.data(), commands.size()), 0) << kind;
    }
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
