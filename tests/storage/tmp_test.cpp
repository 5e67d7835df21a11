// ZuTmpFile: which page goes, the end of its addresses, without its file, and under several threads.

#include "zulib/storage/tmp.h"

#include <sys/wait.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "tests/storage/support.h"

namespace {

using TmpFile = storagetest::StorageTest;

constexpr unsigned long kAddressEnd = 0xFFFFFFFF;

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
