// Records of threads: counting, reuse, lack of memory, and many threads at once.

#include "zulib/runtime/mds.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/runtime/worker.h"
#include "tests/support/fault_allocator.h"
#include "zulib/errors/zuerror.h"

namespace {

// Puts the list of records aside, so that a test starts without any.
class ThreadRecords : public testing::Test {
 protected:
  ThreadRecords() : saved(mdsGetPerTaskData(PerTaskThreadList)) {
    mdsSetPerTaskData(PerTaskThreadList, static_cast<void*>(nullptr));
  }
  ~ThreadRecords() override {
    for (ZuThreadInfo* info = head(); info;) {
      ZuThreadInfo* next = info->getNext();
      delete info;
      info = next;
    }
    mdsSetPerTaskData(PerTaskThreadList, saved);
  }

  static ZuThreadInfo* head() { return static_cast<ZuThreadInfo*>(mdsGetPerTaskData(PerTaskThreadList)); }

  // The worker's record after entering or leaving the library once.
  static ZuThreadInfo* enter(Worker& worker) {
    ZuThreadInfo* info = nullptr;
    worker.run([&] {
      EXPECT_TRUE(mdsPerThreadInit());
      info = getThreadInfo();
    });
    return info;
  }
  static void leave(Worker& worker) {
    worker.run([] { mdsPerThreadTerm(); });
  }

  void* saved;
};

TEST_F(ThreadRecords, EnteringAndLeavingCount) {
  mdsPerThreadTerm();
  EXPECT_FALSE(mdsGetPerThreadData(PerThreadErrorList));
  ASSERT_TRUE(mdsPerThreadInit());
  ASSERT_TRUE(mdsPerThreadInit());
  int mine = 0;
  const auto cell = static_cast<PerThreadData>(PerThreadDataCount - 1);
  mdsSetPerThreadData(cell, &mine);
  mdsPerThreadTerm();
  EXPECT_EQ(mdsGetPerThreadData(cell), &mine);
  EXPECT_EQ(*mdsGetPerThreadDataAddress(cell), &mine);
  mdsPerThreadTerm();
  EXPECT_FALSE(getThreadInfo());
  EXPECT_FALSE(mdsGetPerThreadData(cell));
  mdsPerThreadTerm();
  EXPECT_TRUE(head()->isDeleted());

  ASSERT_TRUE(mdsPerThreadInit());
  EXPECT_EQ(getThreadInfo(), head()) << "a deleted head is reused";
  EXPECT_FALSE(mdsGetPerThreadData(cell)) << "a reused record starts empty";
  getThreadInfo()->lockedDecrementCount();
  EXPECT_FALSE(getThreadInfo());
}

TEST_F(ThreadRecords, ADeletedRecordIsReusedUnlessItIsTheLast) {
  Worker first;
  Worker middle;
  Worker last;
  Worker later;
  Worker latest;
  ZuThreadInfo* firstInfo = enter(first);
  ZuThreadInfo* middleInfo = enter(middle);
  ZuThreadInfo* lastInfo = enter(last);
  EXPECT_EQ(firstInfo->getNext(), middleInfo);
  EXPECT_EQ(middleInfo->getNext(), lastInfo);

  leave(last);
  ZuThreadInfo* appended = enter(later);
  EXPECT_NE(appended, lastInfo);
  EXPECT_EQ(lastInfo->getNext(), appended);
  EXPECT_EQ(enter(latest), lastInfo) << "no longer the last";

  leave(middle);
  EXPECT_EQ(enter(last), middleInfo);
}

TEST_F(ThreadRecords, WithoutMemoryForARecordTheThreadStaysOutside) {
  sweepAllocations([] {
    if (!mdsPerThreadInit()) {
      EXPECT_FALSE(getThreadInfo());
      mdsPerThreadTerm();
      return false;
    }
    mdsPerThreadTerm();
    return true;
  });
}

TEST_F(ThreadRecords, CellsOfManyThreadsStayApart) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 300;
  std::vector<std::thread> running;
  for (int t = 0; t < kThreads; ++t) {
    running.emplace_back([t] {
      for (int round = 0; round < kRounds; ++round) {
        ASSERT_TRUE(mdsPerThreadInit());
        ASSERT_FALSE(mdsGetPerThreadData(PerThreadErrorList)) << "another thread's cell";
        int mine = t;
        mdsSetPerThreadData(PerThreadErrorList, &mine);
        std::this_thread::yield();
        ASSERT_EQ(mdsGetPerThreadData(PerThreadErrorList), &mine);
        mdsPerThreadTerm();
      }
    });
  }
  for (auto& thread : running) thread.join();
  int records = 0;
  for (ZuThreadInfo* info = head(); info; info = info->getNext()) {
    EXPECT_TRUE(info->isDeleted());
    ++records;
  }
  EXPECT_LE(records, kThreads + 1) << "records are reused";
}

// What the library's own ThreadListOwner does at exit, while another thread goes on, in a process of its own.
TEST(ThreadRecordsAtExit, AThreadThatStillRunsKeepsItsRecord) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        static std::atomic<int> rounds = 0;
        std::thread([] {
          ZuErrorList list;
          ZuErrorKeeper::setErrorList(&list);
          for (;; ++rounds) {
            addError(1, reinterpret_cast<const unsigned char*>("text"));
            if (ZuErrorKeeper::getErrorList() != &list) _exit(1);
            list.clearErrors();
          }
        }).detach();
        while (rounds < 100) std::this_thread::yield();
        { const ThreadListOwner atExit; }
        const int before = rounds;
        while (rounds < before + 100) std::this_thread::yield();
        _exit(0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
