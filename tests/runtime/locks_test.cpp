// Critical sections, semaphores made on first use, and the atomic exchanges.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include "tests/runtime/worker.h"
#include "zulib/runtime/zucritse.h"
#include "zulib/runtime/zudebug.h"
#include "zulib/runtime/zusemaph.h"

namespace {

void onThreads(int count, const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(work, t);
  for (auto& thread : threads) thread.join();
}

ZuSemaphore* mark(unsigned long value) { return reinterpret_cast<ZuSemaphore*>(value); }

TEST(CriticalSection, OneThreadAtATimeUnlessDisabled) {
  ZuCriticalSection section(0);
  EXPECT_FALSE(section.isDisabled());
  long counter = 0;
  onThreads(4, [&](int) {
    for (int i = 0; i < 1000; ++i) {
      const ZuCriticalSectionHolder held(section);
      ++counter;
    }
  });
  EXPECT_EQ(counter, 4000);

  ZuCriticalSection disabled(1);
  EXPECT_TRUE(disabled.isDisabled());
  disabled.enter();
  Worker other;
  other.run([&] {
    disabled.enter();
    disabled.leave();
  });
  disabled.leave();

  // One that is held may be destroyed.
  std::make_unique<ZuCriticalSection>(0)->enter();
}

TEST(Semaphore, IsGivenBackByAnotherThread) {
  ZuSemaphore semaphore(nullptr, nullptr);
  std::atomic<bool> passed = false;
  semaphore.SemaphoreEnter();
  Worker other;
  other.start([&] {
    semaphore.SemaphoreEnter();
    passed = true;
  });
  EXPECT_FALSE(passed);
  std::thread([&] { zuSemaphoreExit(&semaphore); }).join();
  other.wait();
  EXPECT_TRUE(passed);
  EXPECT_EQ(semaphore.SemaphoreFree(), 0);
}

TEST(Semaphore, MadeByManyThreadsAtOnceItIsOneAndExcludes) {
  for (int round = 0; round < 50; ++round) {
    ZuSemaphore* cell = nullptr;
    long counter = 0;
    onThreads(4, [&](int) {
      for (int i = 0; i < 20; ++i) {
        zuSemaphoreEnter(&cell);
        ++counter;
        zuSemaphoreExit(&cell);
      }
    });
    EXPECT_EQ(counter, 80);
    delete cell;
  }
}

TEST(Semaphore, MarksInTheCellAreRespected) {
  ZuSemaphore* cell = mark(1);
  zuSemaphoreEnter(&cell);
  EXPECT_EQ(cell, mark(1)) << "being made: nobody makes another";
  for (const unsigned long value : {0UL, 1UL, 2UL}) {
    cell = mark(value);
    zuSemaphoreExit(&cell);
    EXPECT_EQ(cell, mark(value));
  }

  // Remade after the library's end it leaves its mark again; made before it does not.
  cell = mark(2);
  zuSemaphoreEnter(&cell);
  ASSERT_GT(cell, mark(2));
  delete cell;
  EXPECT_EQ(cell, mark(2));
  cell = nullptr;
  zuSemaphoreEnter(&cell);
  ZuSemaphore* made = cell;
  delete made;
  EXPECT_EQ(cell, made);
}

TEST(Exchange, HandsEachValueOnOnce) {
  for (auto* exchange : {atomicThreadExchange, atomicTaskExchange}) {
    constexpr int kThreads = 4;
    constexpr unsigned long kPerThread = 500;
    unsigned long cell = 0;
    std::vector<unsigned long> sums(kThreads);
    onThreads(kThreads, [&](int t) {
      for (unsigned long i = 1; i <= kPerThread; ++i) sums[static_cast<std::size_t>(t)] += exchange(&cell, i);
    });
    const unsigned long out = std::accumulate(sums.begin(), sums.end(), cell);
    EXPECT_EQ(out, kThreads * kPerThread * (kPerThread + 1) / 2);
  }
}

TEST(RunTimeDebug, ReadsAHexadecimalMask) {
  const std::string saved = getenv("ZU_DEBUGGING") ? getenv("ZU_DEBUGGING") : "";
  const std::pair<const char*, unsigned long> cases[] = {
      {"1A0", 0x1A0}, {"0x11", 0x11}, {"none", 0}, {"", 0}};
  for (const auto& [text, bits] : cases) {
    setenv("ZU_DEBUGGING", text, 1);
    EXPECT_EQ(ZuRunTimeDebug().debugItem(~0UL), bits) << text;
    EXPECT_EQ(ZuRunTimeDebug().debugItem(0x21), bits & 0x21) << text;
  }
  setenv("ZU_DEBUGGING", saved.c_str(), 1);
}

}  // namespace
