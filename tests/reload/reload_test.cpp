// The library loaded and unloaded again and again, by a program that is not linked with it. Each load runs
// its static objects afresh, each unload ends them and takes the records of threads along; the leak check at
// the end of the program sees what stays.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/mds.h"
#include "zulib/runtime/zudebug.h"

namespace {

class Library {
 public:
  Library() : handle(dlopen(ZULIB_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}
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
      Library library;
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
          if (t % 2) leave();
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

}  // namespace
