// The library as a driver gets it: opened at run time, by a program that is not linked with it.
//
// Each load runs its static objects afresh, each unload ends them and takes the records of threads along; the
// leak check at the end of the program sees what stays. And whatever allocation fails, on a thread that was
// there before the library or came later: nothing ends the process.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "tests/reload/failing_malloc.h"
#include "tests/reload/scenarios.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/mds.h"
#include "zulib/runtime/zudebug.h"

namespace {

class Library {
 public:
  explicit Library(const char* path = ZULIB_LIBRARY, int flags = 0)
      : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL | flags)) {}
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    if (handle) dlclose(handle);
  }

  bool isLoaded() const { return handle; }

  // A function or an object by its name in the library.
  template <class T>
  T* get(const char* symbol) const {
    void* found = dlsym(handle, symbol);
    EXPECT_TRUE(found) << symbol;
    return reinterpret_cast<T*>(found);
  }

 private:
  void* handle;
};

TEST(Reload, EachLoadStartsAfreshAndEachUnloadLeavesNothing) {
  for (int round = 1; round <= 10; ++round) {
    setenv("ZU_DEBUGGING", std::to_string(round % 10).c_str(), 1);
    {
      const Library library;
      ASSERT_TRUE(library.isLoaded()) << dlerror();
      auto* debug = library.get<ZuRunTimeDebug>("BOS_RUNTIME_DEBUG");
      EXPECT_EQ(debug->debugItem(~0UL), static_cast<unsigned long>(round % 10));
      auto* cells = library.get<void*>("MDS_PER_TASK_GLOBALS");
      EXPECT_FALSE(cells[PerTaskThreadList]) << "a record of an earlier load";

      auto* dummy = library.get<ZuError>("DummyError");
      auto* enter = library.get<int()>("_Z16mdsPerThreadInitv");
      auto* leave = library.get<void()>("_Z16mdsPerThreadTermv");
      auto* post = library.get<ZuError&(unsigned short)>("_Z8addErrort");
      std::vector<std::thread> threads;
      for (int t = 0; t < 4; ++t) {
        threads.emplace_back([=] {
          EXPECT_TRUE(enter());
          EXPECT_EQ(&post(1), dummy) << "no list on this thread";
          leave();
        });
      }
      for (auto& thread : threads) thread.join();
      EXPECT_TRUE(cells[PerTaskThreadList]);
    }
    void* still = dlopen(ZULIB_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_FALSE(still) << "something in the library keeps it from being unloaded";
  }
  unsetenv("ZU_DEBUGGING");
}

// Whether a loaded library has a segment of thread-local storage.
bool hasThreadLocals(const char* name) {
  struct Query {
    const char* name;
    bool found = false;
    bool threadLocals = false;
  } query{name};
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        auto* asked = static_cast<Query*>(data);
        if (!std::strstr(info->dlpi_name, asked->name)) return 0;
        asked->found = true;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          if (info->dlpi_phdr[i].p_type == PT_TLS) asked->threadLocals = true;
        }
        return 1;
      },
      &query);
  EXPECT_TRUE(query.found) << name;
  return query.threadLocals;
}

TEST(Reload, NoAllocationThatFailsEndsTheProcess) {
  // A thread without anything of the library, since there is no library yet.
  std::binary_semaphore opened(0);
  unsigned count = 0;
  const Scenario* scenarios = nullptr;
  std::thread early([&] {
    opened.acquire();
    for (unsigned i = 0; i < count; ++i) {
      const auto failing = FailingMalloc::from(1);
      scenarios[i].run();
    }
  });
  // ICU keeps its caches when it is unloaded, so it is not: that is not a leak of ours.
  const Library module(ZULIB_SCENARIOS, RTLD_NODELETE);
  const bool isLoaded = module.isLoaded();
  if (isLoaded) scenarios = module.get<decltype(scenarioTable)>("scenarioTable")(&count);
  opened.release();
  early.join();
  ASSERT_TRUE(isLoaded) << dlerror();
  EXPECT_FALSE(hasThreadLocals("libzulib.so"));

  for (unsigned i = 0; i < count; ++i) {
    bool failed = true;
    for (unsigned long n = 1; failed; ++n) {
      ASSERT_LT(n, 10000u) << scenarios[i].name;
      std::thread([&] {
        bool worked;
        {
          const auto failing = FailingMalloc::at(n);
          worked = scenarios[i].run();
          failed = failing.triggered();
        }
        EXPECT_TRUE(worked || failed) << scenarios[i].name << ": no allocation failed";
      }).join();
    }
  }
}

std::atomic<unsigned> workDone{0};

// Lets the threads do so much more work.
void letThemWork() {
  const unsigned enough = workDone + 40;
  while (workDone < enough) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// A process that calls exit() while threads are in the library. They work on after its static objects have
// had their turn: what was registered before the library was opened is called last.
[[noreturn]] void exitUnderThreads() {
  std::atexit(letThemWork);
  const Library module(ZULIB_SCENARIOS, RTLD_NODELETE);
  unsigned count = 0;
  const Scenario* scenarios = module.get<decltype(scenarioTable)>("scenarioTable")(&count);
  for (unsigned t = 0; t < 4; ++t) {
    std::thread([=] {
      for (unsigned i = t;; ++i) {
        if (!scenarios[i % count].run()) std::abort();
        ++workDone;
      }
    }).detach();
  }
  letThemWork();
  std::exit(0);
}

TEST(Reload, ThreadsWorkOnWhileTheProcessExits) {
  for (int round = 0; round < 3; ++round) {
    const pid_t child = fork();
    if (child == 0) exitUnderThreads();
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status);
  }
}

}  // namespace
