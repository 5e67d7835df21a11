// ZuTmpFile beside a model, at the end of its addresses, without its file, and under several threads.

#include "zulib/storage/tmp.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <thread>
#include <vector>

#include "tests/storage/support.h"

namespace {

using storagetest::Dice;
using TmpFile = storagetest::StorageTest;

constexpr unsigned long kAddressEnd = 0xFFFFFFFF;

// Where the next space is, by the rules of the store.
class SpaceModel {
 public:
  unsigned long find(unsigned long length) {
    for (auto& [start, size] : extents) {
      if (size < length) continue;
      const unsigned long found = start;
      const unsigned long rest = size - length;
      extents.erase(found);
      if (rest >= 256) extents[found + length] = rest;
      return found;
    }
    nextFree += length;
    return nextFree - length;
  }

  void free(unsigned long start, unsigned long length) {
    if (start + length == nextFree) {
      nextFree = start;
    } else if (length >= 256) {
      extents[start] = length;
    } else {
      return;
    }
    for (auto at = extents.begin(); at != extents.end(); ++at) {
      for (auto next = std::next(at); next != extents.end() && at->first + at->second == next->first;
           next = extents.erase(next)) {
        at->second += next->second;
      }
    }
    if (!extents.empty() && extents.rbegin()->first + extents.rbegin()->second == nextFree) {
      nextFree = extents.rbegin()->first;
      extents.erase(nextFree);
    }
  }

  unsigned long contiguous(unsigned long length) {
    unsigned long start = (nextFree + 3) / 4 * 4;
    if (2048 - start % 2048 < length) start = (start + 2047) / 2048 * 2048;
    nextFree = start + length;
    return start;
  }

  std::map<unsigned long, unsigned long> extents;
  unsigned long nextFree = 1;
};

struct Block {
  unsigned long address;
  std::string bytes;
};

// Random blocks are allocated, written, read in parts and freed. What is read back is what was written, and
// each address is the model's.
void runAgainstModel(unsigned short cacheSize, unsigned long seed) {
  Dice dice(seed);
  ZuTmpFile store(cacheSize, 0);
  SpaceModel model;
  std::vector<Block> blocks;
  for (int step = 0; step < 4000; ++step) {
    const unsigned long what = dice(12);
    if (what < 3 || blocks.empty()) {
      const unsigned long length = 1 + dice(dice(4) == 0 ? 9000 : 700);
      unsigned long address = 0;
      if (dice(5) == 0) {
        address = store.getContiguousSpace(length);
        ASSERT_EQ(address, model.contiguous(length));
      } else {
        ASSERT_EQ(store.tmpFindSpace(length, &address), 0);
        ASSERT_EQ(address, model.find(length));
      }
      blocks.push_back({address, std::string(length, static_cast<char>(dice(256)))});
      ASSERT_EQ(store.tmpWrite(address, blocks.back().bytes.data(), length), 0);
      continue;
    }
    Block& block = blocks[dice(blocks.size())];
    const unsigned long at = dice(block.bytes.size());
    const unsigned long n = 1 + dice(block.bytes.size() - at);
    if (what < 5) {
      for (unsigned long i = 0; i < n; ++i) block.bytes[at + i] = static_cast<char>(dice(256));
      ASSERT_EQ(store.writeHuge(block.address + at, &block.bytes[at], n), 0);
    } else if (what < 8) {
      ZuString part;
      ASSERT_EQ(store.read(block.address + at, &part, n), 0);
      ASSERT_EQ(part.getLength(), n);
      ASSERT_EQ(std::memcmp(part.asPascalStr(), &block.bytes[at], n), 0) << "step " << step;
    } else if (what < 10) {
      void* bytes = nullptr;
      unsigned short room = 0;
      const bool forWriting = what == 8;
      ASSERT_EQ(store.tmpPointer(block.address + at, &bytes, &room, forWriting), 0);
      ASSERT_EQ(room, 2048 - (block.address + at) % 2048);
      ASSERT_EQ(*static_cast<char*>(bytes), block.bytes[at]);
      if (forWriting) *static_cast<char*>(bytes) = block.bytes[at] = static_cast<char>(dice(256));
    } else if (what == 10) {
      ASSERT_EQ(store.tmpFreeSpace(block.address, block.bytes.size()), 0);
      model.free(block.address, block.bytes.size());
      block = blocks.back();
      blocks.pop_back();
    } else {
      ASSERT_EQ(store.tmpLoseFocus(), 0);
    }
  }
  for (const Block& block : blocks) {
    std::string read(block.bytes.size(), 0);
    ASSERT_EQ(store.readHuge(block.address, read.data(), read.size()), 0);
    ASSERT_EQ(read, block.bytes);
  }
}

TEST_F(TmpFile, KeepsBytesAndHandsOutSpaceAsTheModel) {
  // A cache of less than one set counts as one set.
  for (const unsigned short cacheSize : {0, 4096, 8192, 32768}) runAgainstModel(cacheSize, cacheSize + 1);
}

// One set of two pages: the order in which they are replaced is seen in what is written to the file.
TEST_F(TmpFile, ReplacesThePageThatWasNotUsedLast) {
  ZuTmpFile store(4096, 0);
  const auto write = [&](unsigned long page) { return store.tmpWrite(page * 2048 + 1, "x", 1); };
  const auto fileSize = [&] {
    return filesLeft() ? file_size(std::filesystem::directory_iterator(directory)->path()) / 2048 : 0;
  };
  char byte = 0;
  ASSERT_EQ(write(1) | write(2), 0);
  EXPECT_EQ(filesLeft(), 0u);
  ASSERT_EQ(store.tmpRead(2 * 2048 + 1, &byte, 1), 0);
  ASSERT_EQ(write(7), 0);
  EXPECT_EQ(fileSize(), 2u) << "page 1 is written, though page 2 is the newer one";
  ASSERT_EQ(store.tmpRead(2 * 2048 + 1, &byte, 1), 0);
  ASSERT_EQ(store.tmpRead(3 * 2048, &byte, 1), 0);
  EXPECT_EQ(fileSize(), 8u) << "page 7 is written";
  ASSERT_EQ(store.tmpRead(4 * 2048, &byte, 1), 0);
  ASSERT_EQ(store.tmpRead(3 * 2048, &byte, 1), 0);
  ASSERT_EQ(store.tmpRead(1 * 2048 + 1, &byte, 1), 0);
  EXPECT_EQ(byte, 'x');

  ASSERT_EQ(store.tmpTruncate(1), 0);
  EXPECT_EQ(filesLeft(), 0u);
  unsigned long address = 0;
  ASSERT_EQ(store.tmpFindSpace(10, &address), 0);
  EXPECT_EQ(address, 1u);
}

TEST_F(TmpFile, EndOfTheAddressesIsAnErrorAndChangesNothing) {
  ZuTmpFile store(4096, 0);
  char bytes[8] = "abcdefg";
  unsigned long address = 0;
  void* pointer = nullptr;
  unsigned short room = 0;
  EXPECT_EQ(store.tmpRead(1, bytes, 1), 1) << "nothing was ever written";
  EXPECT_EQ(takeError(), 1507u);
  ASSERT_EQ(store.tmpFindSpace(kAddressEnd - 100, &address), 0);
  for (const unsigned long length : {100UL, 0x100000000UL}) {
    EXPECT_EQ(store.tmpFindSpace(length, &address), 1);
    EXPECT_EQ(takeError(), 30041u);
    EXPECT_EQ(store.getContiguousSpace(length), 0u);
    EXPECT_EQ(takeError(), 30041u);
  }
  for (const unsigned long beyond : {kAddressEnd - 2, kAddressEnd, 1UL << 40, ~0UL - 3}) {
    ZuString text;
    EXPECT_EQ(store.tmpWrite(beyond, bytes, 8), 1);
    EXPECT_EQ(store.tmpRead(beyond, bytes, 8), 1);
    EXPECT_EQ(store.read(beyond, &text, 8), 1);
    EXPECT_EQ(store.tmpFreeSpace(beyond, 8), 1);
    EXPECT_EQ(takeError(), 30041u);
  }
  EXPECT_EQ(store.tmpPointer(kAddressEnd, &pointer, &room, 1), 1);
  EXPECT_EQ(takeError(), 30041u);

  // What is left, all of it, back again.
  ASSERT_EQ(store.tmpFindSpace(ZuTmpFile::kRest, &address), 0);
  EXPECT_EQ(address, kAddressEnd - 99);
  EXPECT_EQ(store.tmpWrite(address + 91, bytes, 8), 0) << "up to the last byte";
  EXPECT_EQ(store.tmpFindSpace(1, &address), 1);
  EXPECT_EQ(store.tmpFreeSpace(kAddressEnd - 99, kAddressEnd), 0);
  ASSERT_EQ(store.tmpFindSpace(99, &address), 0);
  EXPECT_EQ(address, kAddressEnd - 99);
}

TEST_F(TmpFile, ThreadsShareOneStore) {
  ZuTmpFile store(8192, 0);
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&store, id] {
      ZuErrorList list;
      ZuErrorKeeper::setErrorList(&list);
      Dice dice(static_cast<unsigned long>(id));
      for (int round = 0; round < 300; ++round) {
        const std::string mine(300 + dice(3000), static_cast<char>('a' + id));
        unsigned long address = 0;
        ASSERT_EQ(store.tmpFindSpace(mine.size(), &address), 0);
        ASSERT_EQ(store.tmpWrite(address, mine.data(), mine.size()), 0);
        ASSERT_EQ(round % 50 == 0 && store.tmpLoseFocus(), false);
        std::string read(mine.size(), 0);
        ASSERT_EQ(store.tmpRead(address, read.data(), read.size()), 0);
        ASSERT_EQ(read, mine);
        ASSERT_EQ(round % 2 == 1 && store.tmpFreeSpace(address, mine.size()), false);
      }
      ZuErrorKeeper::giveUpErrorList();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// A store that nobody destroys loses its file when the process ends; one that a child of fork has inherited
// does not.
TEST_F(TmpFile, FileGoesWithTheProcessThatMadeIt) {
  const std::string page(2048, 'p');
  const auto spill = [&page](ZuTmpFile& store) {
    for (unsigned long i = 1; i < 5; ++i) {
      if (store.tmpWrite(i * 2048, page.data(), 2048)) return false;
    }
    return true;
  };
  ZuTmpFile inherited(4096, 0);
  ASSERT_TRUE(spill(inherited));
  ASSERT_EQ(filesLeft(), 1u);
  const pid_t child = fork();
  if (child == 0) {
    auto* forgotten = new ZuTmpFile(4096, 0);
    const bool made = spill(*forgotten) && filesLeft() == 2;
    exit(made ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(filesLeft(), 1u);
  std::string read(2048, 0);
  EXPECT_EQ(inherited.tmpRead(2048, read.data(), 2048), 0);
  EXPECT_EQ(read, page);
}

}  // namespace
