// What the page pool caches, threads and failures.

#include "zulib/storage/zuvm.h"

#include <fcntl.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"
#include "zulib/os/files/bosfile.h"

namespace {

constexpr long long kPage = kBvmPageSize;

class PagePool : public storagetest::StorageTest {
 protected:
  ~PagePool() override {
    for (const int file : files) close(file);
  }

  // A file that has no name.
  int newFile(const std::string& content = "") {
    std::string name = directory + "/fXXXXXX";
    const int file = mkstemp(name.data());
    unlink(name.c_str());
    EXPECT_EQ(pwrite(file, content.data(), content.size(), 0), static_cast<ssize_t>(content.size()));
    files.push_back(file);
    return file;
  }

  static std::string read(vm_info* pool, int file, long long offset, unsigned long length,
                          VmHintType hint = bvmHintNone) {
    std::string out(length, '?');
    unsigned long got = 0;
    if (bvmFileRead(pool, file, offset, out.data(), length, &got, hint)) return "error";
    return out.substr(0, got);
  }
  static unsigned long cached(const vm_info* pool, int file) {
    unsigned long n = 0;
    for (unsigned i = 0; i < pool->entryCount; ++i) n += pool->entries[i].file == file;
    return n;
  }

  std::vector<int> files;
};

TEST_F(PagePool, WhatStaysCached) {
  vm_info* pool = bvmInit(1);
  ASSERT_EQ(bvmInit(50), pool);
  EXPECT_EQ(pool->maxEntries, 8);
  const int file = newFile(std::string(20 * 8192 + 10, 'x'));
  read(pool, file, 20 * kPage, 5);
  // A file that changes by other means is seen where its pages are not cached, and beyond their length.
  EXPECT_EQ(pwrite(file, "yyyyyyyyyyyyyyyyyyyy", 20, 20 * kPage), 20);
  EXPECT_EQ(read(pool, file, 20 * kPage, 10), "xxxxxxxxxx");
  EXPECT_EQ(read(pool, file, 20 * kPage, 11), "yyyyyyyyyyy");
  // A write past the length of a cached page.
  EXPECT_EQ(bvmFileWrite(pool, file, 20 * kPage + 15, "z", 1), 0);
  EXPECT_EQ(read(pool, file, 20 * kPage, 16), "xxxxxxxxxxyyyyyz");

  for (int page = 0; page < 8; ++page) read(pool, file, page * kPage, 1);
  EXPECT_EQ(cached(pool, file), 8u) << "the page used first made room";
  EXPECT_EQ(read(pool, file, 20 * kPage, 10), "yyyyyyyyyy");
  for (const int page : {1, 3, 4, 5, 6, 7}) read(pool, file, page * kPage, 1);
  read(pool, file, 2 * kPage, 1);
  EXPECT_EQ(pwrite(file, "0", 1, 20 * kPage), 1);
  EXPECT_EQ(pwrite(file, "1", 1, 1 * kPage), 1);
  read(pool, file, 10 * kPage, 1, bvmHintNoEviction);
  EXPECT_EQ(read(pool, file, 20 * kPage, 1), "y") << "nothing was evicted";
  EXPECT_EQ(read(pool, file, 1 * kPage, 1), "x");

  // The last bytes that can be cached, the first that cannot, and a write that fails after it has written.
  EXPECT_EQ(bvmFlush(pool, file), 0);
  EXPECT_EQ(bvmFileWrite(pool, file, 536870911, "pq", 2), 0);
  EXPECT_EQ(read(pool, file, 536870911, 5), "pq");
  EXPECT_EQ(cached(pool, file), 1u);
  EXPECT_EQ(pwrite(file, "rs", 2, 536870911), 2);
  EXPECT_EQ(read(pool, file, 536870911, 5), "ps");
  lseek(file, 20 * kPage + 15, SEEK_SET);
  EXPECT_EQ(read(pool, file, -1, 3), "zyy");
  const std::string tooLong(70000, 'n');
  EXPECT_EQ(read(pool, file, 5, 1), "x");
  EXPECT_EQ(bvmFileWrite(pool, file, 0, tooLong.data(), tooLong.size()), 1);
  EXPECT_EQ(takeError(), 30041u);
  EXPECT_EQ(read(pool, file, 5, 1), "n");

  EXPECT_EQ(read(pool, -5, 0, 1), "error");
  EXPECT_EQ(takeError(), 1507u);
  const int closed = newFile("q");
  EXPECT_EQ(read(pool, closed, 0, 1), "q");
  EXPECT_EQ(bvmFileClose(pool, closed), 0);
  EXPECT_EQ(read(pool, closed, 0, 1), "error");
  EXPECT_EQ(takeError(), 1507u);
  EXPECT_EQ(bvmFileWrite(pool, closed, 0, "q", 1), 1);
  EXPECT_EQ(takeError(), 1507u);
  EXPECT_EQ(bvmFileClose(pool, 0), 0);
  files.pop_back();
  bvmTerm(pool);
  EXPECT_EQ(read(pool, file, 5, 1), "n") << "one user is left";
  bvmTerm(pool);
}

TEST_F(PagePool, ThreadsShareOnePool) {
  const int file = newFile(std::string(40 * 8192, 'a'));
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t) {
    threads.emplace_back([=] {
      Dice dice(t);
      // Each thread writes and reads back its own byte of every page.
      for (int round = 0; round < 20; ++round) {
        vm_info* pool = bvmInit(2);
        const char mine = static_cast<char>('b' + dice(20));
        for (long long page = 0; page < 40; ++page) {
          EXPECT_EQ(bvmFileWrite(pool, file, page * kPage + t, &mine, 1), 0);
          EXPECT_EQ(read(pool, file, page * kPage + t, 1), std::string(1, mine));
          if (dice(50) == 0) bvmFlush(pool, file);
        }
        bvmTerm(pool);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(PagePool, AllocationsFail) {
  const int file = newFile("content");
  const auto failed = sweepAllocations([&] {
    vm_info* pool = bvmInit(1);
    const bool good = pool && read(pool, file, 0, 7) == "content";
    const FaultPause quiet;
    EXPECT_EQ(takeError(), good ? 0u : 30190u);
    if (pool) {
      EXPECT_EQ(read(pool, file, 0, 7), "content") << "usable again";
      bvmTerm(pool);
    }
    return good;
  });
  EXPECT_EQ(failed, 4u);
}

}  // namespace
