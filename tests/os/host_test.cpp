// Region locks between threads and processes, the search for files by the shell, time stamps, and facts about
// the host against what the system says.

#include <fcntl.h>
#include <fnmatch.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "tests/os/support.h"
#include "tests/runtime/worker.h"
#include "tests/support/fault_allocator.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/files/bosfindfiles.h"
#include "zulib/os/files/bosregion.h"
#include "zulib/os/files/regionlist.h"
#include "zulib/os/host/boshost.h"
#include "zulib/os/host/zutime.h"

using namespace ostest;

namespace {

class RegionLocks : public OsTest {
 protected:
  RegionLocks() : file(::open(path("f").c_str(), O_RDWR | O_CREAT, 0600)) {}
  ~RegionLocks() override {
    close(file);
    EXPECT_EQ(REGION_LOCKS.getCount(), 0u);
  }

  // The number of the error, 0 for success.
  static unsigned lock(int handle, long long offset, long long length) {
    const Errors own;
    const int result = bosRegionLock(handle, 0, offset, length);
    const unsigned number = ZuErrorKeeper::getLastErrorNumber();
    EXPECT_EQ(result, number ? 1 : 0);
    return number;
  }
  unsigned lock(long long offset, long long length) const { return lock(file, offset, length); }
  int unlock(long long offset, long long length) const { return bosRegionLock(file, 1, offset, length); }
  unsigned lockElsewhere(long long offset, long long length) {
    unsigned number = 0;
    other.run([&] { number = lock(offset, length); });
    return number;
  }
  void unlockElsewhere(long long offset, long long length) {
    other.run([&] { EXPECT_EQ(unlock(offset, length), 0); });
  }
  int lockInOtherProcess(long long offset, long long length) const {
    return inOtherProcess([&] { return lock(offset, length) == 1512 ? 1 : 0; });
  }

  const int file;
  Worker other;
};

TEST_F(RegionLocks, KeepThreadsAndProcessesApart) {
  const struct {
    long long heldOffset, heldLength, offset, length;
    bool conflict;
  } cases[] = {
      {10, 10, 0, 10, false}, {10, 10, 20, 10, false}, {10, 10, 10, 10, true},
      {10, 10, 5, 6, true},   {10, 10, 19, 5, true},   {10, 10, 5, 30, true},
      {10, 0, 0, 10, false},  {10, 0, 500, 1, true},   {10, 10, 0, 0, true},
      {10, 10, 15, 0, true},  {10, 10, 20, 0, false},  {10, 0, 5, 0, true},
      {10, 0, 15, 0, true},   {10, 10, 9, 2, true},    {0, 1, 1, 0, false},
      {10, 10, 12, 3, false},  // inside what is held
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.heldOffset << "," << c.heldLength << " " << c.offset << ","
                                    << c.length);
    ASSERT_EQ(lock(c.heldOffset, c.heldLength), 0u);
    EXPECT_EQ(lockElsewhere(c.offset, c.length), c.conflict ? 1512u : 0u);
    if (!c.conflict) unlockElsewhere(c.offset, c.length);
    EXPECT_EQ(REGION_LOCKS.getCount(), 1u) << "the first keeps its lock";
    unlock(c.heldOffset, c.heldLength);
  }

  // Twice by one thread; the system's lock goes with the first unlock, the record with the second.
  EXPECT_EQ(lock(0, 5), 0u);
  EXPECT_EQ(lock(0, 5), 0u);
  EXPECT_EQ(lock(3, 9), 0u) << "another range of the same thread";
  EXPECT_EQ(REGION_LOCKS.getCount(), 2u);
  EXPECT_EQ(lockInOtherProcess(1, 1), 1);
  EXPECT_EQ(unlock(3, 9), 0);
  EXPECT_EQ(unlock(0, 5), 0);
  EXPECT_EQ(lockInOtherProcess(1, 1), 0);
  EXPECT_EQ(lockElsewhere(0, 5), 1512u);
  unlockElsewhere(0, 5);
  EXPECT_EQ(unlock(0, 5), 0);
  EXPECT_EQ(lockElsewhere(0, 5), 0u);
  EXPECT_EQ(unlock(0, 5), 0) << "not ours";
  EXPECT_EQ(REGION_LOCKS.getCount(), 1u);
  unlockElsewhere(0, 5);

  EXPECT_EQ(lock(0, 0, 1), 0u);
  EXPECT_EQ(lock(file + 500, 0, 1), 1507u);
  EXPECT_EQ(lock(file, 0, -1), 30041u);
  {
    FaultAllocator faults;
    faults.failAt(1);
    const int result = bosRegionLock(file, 0, 0, 1);
    faults.stop();
    EXPECT_EQ(result, 1);
  }
  EXPECT_EQ(errors.take().substr(0, 4), "1503");
}

// Whoever has the lock is alone.
TEST_F(RegionLocks, ThreadsTakeTurns) {
  std::atomic<int> inside = 0;
  std::atomic<int> turns = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int done = 0; done < 50;) {
        if (lock(100, 10) != 0) {
          std::this_thread::yield();
          continue;
        }
        EXPECT_EQ(++inside, 1);
        ++turns;
        ++done;
        --inside;
        EXPECT_EQ(unlock(100, 10), 0);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(turns, 200);
}

class FindFiles : public OsTest {
 protected:
  // The names in the order of delivery, or the error.
  std::vector<std::string> find(const std::string& pattern) {
    unsigned char name[bosPathSize] = "";
    std::copy(pattern.begin(), pattern.end(), name);
    std::vector<std::string> names;
    ZuBosFileFindDesc* search = nullptr;
    for (;;) {
      if (bosFindFiles(&search, name)) {
        EXPECT_FALSE(search);
        return {"error " + errors.take().substr(0, 5)};
      }
      if (!search) return names;
      names.push_back(text(name));
    }
  }
  using Names = std::vector<std::string>;
};

TEST_F(FindFiles, PatternsAreExpandedAndNothingElse) {
  const std::string strange[] = {"a b",       "a'b", "a\"b",  "a$HOME", "a`id`", "a\\b",  "a;b",
                                 "a&b",       "a|b", "a<b>",  "a(b)",   "a#b",   "#a",    "a{b,c}",
                                 "a~b",       "~a",  "a!b",   "-l",     "a\tb",  "a$(b)", "\xC3\xA9",
                                 "a\xE9\x81", "EOT", "a\\$b", "a\\`b",  "$$",    "=a"};
  for (const std::string& name : strange) writeFile(path(name), "");
  for (const std::string& name : strange) {
    if (name == "~a") continue;
    EXPECT_EQ(find(name), Names{name});
    EXPECT_EQ(find(path(name)), Names{name});
  }
  EXPECT_EQ(find("./~a"), Names{"~a"});
  EXPECT_EQ(find("~/-l"), Names{"-l"});
  for (const char* pattern : {"*", "a[ $]*", "a?b", "a[!a-z;]b", "[-#]*", "*\\*", "?\"*"}) {
    std::set<std::string> expected;
    for (const std::string& name : strange) {
      // To fnmatch a backslash is an escape, to the search it is a character.
      if (fnmatch(pattern, name.c_str(), FNM_PERIOD | FNM_NOESCAPE) == 0) expected.insert(name);
    }
    const Names found = find(pattern);
    EXPECT_EQ(std::set<std::string>(found.begin(), found.end()), expected) << pattern;
    EXPECT_EQ(found.size(), expected.size());
  }

  // Attempts to run a command, each of which would leave a file.
  for (const char* attempt :
       {"x; touch hit", "x $(touch hit)", "`touch hit`", "x\\`touch hit\\`", "x && touch hit",
        "x | touch hit", "$(\\touch hit)", "x > hit", "\\$(touch hit)", "x\\\\$(touch hit)",
        "\"$(touch hit)\"", "'`touch hit`'", "${x:=`touch hit`}", "x\rtouch hit"}) {
    EXPECT_EQ(find(attempt), Names{}) << attempt;
  }
  EXPECT_EQ(find("x\nEOT\ntouch hit"), Names{"error 30041"});
  EXPECT_FALSE(fs::exists(path("hit")));
  EXPECT_EQ(find(std::string(1000, 'n')), Names{"error 30041"});
}

// Output of several buffers, with names of every length, so that lines end everywhere in them.
TEST_F(FindFiles, LongListsAreWhole) {
  fs::create_directory(path("d"));
  Names expected;
  for (int i = 0; i < 400; ++i) {
    expected.push_back(std::to_string(1000 + i) + std::string(static_cast<unsigned long>(i * 7 % 200), 'x'));
    writeFile(path("d/" + expected.back()), "");
  }
  EXPECT_EQ(find("d/*"), expected);
  EXPECT_EQ(find("d"), expected) << "the names in a directory";
  const std::string trace = traceOf("200", [&] { find("d/1000"); });
  EXPECT_EQ(trace, "bosFindFiles: Search for d/1000\nbosFindFiles: returns fileName=1000\n");
  sweepAllocations([&](FaultAllocator& faults) {
    unsigned char name[bosPathSize] = "d/1000";
    ZuBosFileFindDesc* search = nullptr;
    const bool good = bosFindFiles(&search, name) == 0;
    faults.stop();
    EXPECT_EQ(search != nullptr, good);
    EXPECT_EQ(errors.isOutOfMemory(), !good);
    errors.clearErrors();
    delete search;
    return good;
  });
}

TEST(Time, StampsAreReadAndCompared) {
  const struct {
    const char* stamp;
    int result;
    const char* equal;  // the object is as after this one; null: as a new one
  } cases[] = {
      {"11:31:2100:23:59:59.99", 0, "011:031:02100:23:59:59.99x"},
      {"0:0:0:0:0:0.0", 0, nullptr},
      {"12:01:2005:10:00:00.00", 1, nullptr},
      {"1:32:2005:10:00:00.00", 1, nullptr},
      {"1:1:2101:10:00:00.00", 1, nullptr},
      {"1:1:2005:24:00:00.00", 1, nullptr},
      {"1:1:2005:10:60:00.00", 1, nullptr},
      {"1:1:2005:10:00:60.00", 1, nullptr},
      {"1:1:2005:10:00:00.100", 1, nullptr},
      {"65537:1:2005:10:00:00.00", 1, nullptr},
      {"-1:1:2005:10:00:00.00", 1, nullptr},
      {"3:4:2005", 1, "3:4:2005:0:0:0.0"},
      {"3:4:2005:5:6:7", 1, "3:4:2005:5:6:7.0"},
      {"", 1, nullptr},
  };
  for (const auto& c : cases) {
    ZuTime time;
    ZuTime expected;
    if (c.equal) expected.initialize(c.equal);
    time.initialize("9:9:9:9:9:9.9");
    EXPECT_EQ(time.initialize(c.stamp), c.result) << c.stamp;
    EXPECT_TRUE(time == expected) << c.stamp;
  }
  const auto at = [](const char* stamp) {
    ZuTime time;
    EXPECT_EQ(time.initialize(stamp), 0);
    return time;
  };
  const ZuTime before = at("2:2:2000:2:2:2.2");
  EXPECT_FALSE(at("1:1:2001:1:1:1.1") < before);
  EXPECT_FALSE(at("1:1:2001:1:1:1.1") > before);
  EXPECT_TRUE(at("3:3:2001:3:3:3.3") > before && before < at("3:3:2001:3:3:3.3"));
  EXPECT_FALSE(at("3:3:2001:3:3:3.2") > before);
  const struct {
    const char* later;
    bool hour, day;
  } elapsed[] = {{"2:2:2000:2:59:59.99", false, false}, {"2:2:2000:3:0:0.0", true, false},
                 {"2:3:2000:0:0:0.0", true, true},      {"3:1:2000:0:0:0.0", true, true},
                 {"1:1:2001:0:0:0.0", true, true},      {"1:31:2000:23:0:0.0", false, false}};
  for (const auto& c : elapsed) {
    EXPECT_EQ(at(c.later).anHourElapsed(before), c.hour) << c.later;
    EXPECT_EQ(at(c.later).aDayElapsed(before), c.day) << c.later;
  }
}

TEST(Time, NowIsThatOfTheSystem) {
  unsigned char clock[12] = "";
  unsigned char day[23] = "";
  char expected[2][32];
  do {
    const time_t now = time(nullptr);
    strftime(expected[0], sizeof expected[0], "%m:%d:%Y:%H:%M:%S.00", localtime(&now));
    EXPECT_EQ(ZuTime().getCurrentTimeStamp(clock), 11);
    EXPECT_EQ(ZuTime().getCurrentDayTimeStamp(day), 22);
    const time_t after = time(nullptr);
    strftime(expected[1], sizeof expected[1], "%m:%d:%Y:%H:%M:%S.00", localtime(&after));
  } while (std::string(expected[0]) != expected[1]);
  EXPECT_EQ(text(day), expected[0]);
  EXPECT_EQ(text(clock), expected[0] + 11);
  ZuTime captured;
  captured.captureCurrentTimeStamp();
  EXPECT_FALSE(captured == ZuTime());
}

TEST(Host, FactsAreThoseOfTheSystem) {
  char name[256];
  ASSERT_EQ(gethostname(name, sizeof name), 0);
  unsigned char out[300];
  unsigned short wide[300];
  EXPECT_EQ(bosGetMachineName(out, 299), 0);
  EXPECT_EQ(text(out), name);
  EXPECT_EQ(bosGetMachineName(wide, 299), 0);
  EXPECT_EQ(text(wide), std::u16string(name, name + strlen(name)));
  out[2] = 'x';
  EXPECT_EQ(bosGetMachineName(out, 1), 0);
  EXPECT_EQ(text(out), std::string(name, 1));
  EXPECT_EQ(out[2], 'x');
  EXPECT_EQ(bosGetMachineName(out, 0), 0);
  EXPECT_EQ(bosGetMachineName(static_cast<unsigned char*>(nullptr), 5), 0);
  EXPECT_EQ(text(out), std::string(name, 1));
  EXPECT_EQ(bosGetHostUser(out, 299), 0);
  EXPECT_EQ(bosGetHostUser(wide, 299), 0);
  EXPECT_EQ(text(wide), std::u16string(out, out + strlen(reinterpret_cast<char*>(out))));
  EXPECT_EQ(inOtherProcess([] { return bosGetHostUser(new unsigned char[9], 8); }, 54321), 1)
      << "no such user";

  EXPECT_EQ(bosGetProcessID(), static_cast<unsigned long>(getpid()));
  EXPECT_GE(bosGetLogicalProcessorCount(), 1);
  unsigned long another = bosGetThreadID();
  std::thread([&] { another = bosGetThreadID(); }).join();
  EXPECT_NE(another, bosGetThreadID());
  EXPECT_EQ(bosCreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr), 1);
  if (fs::exists("/bin/ps")) {
    bosGetCommand(1, out, 300);
    EXPECT_EQ(text(out), readFile("/proc/self/comm").substr(0, readFile("/proc/self/comm").size() - 1));
    bosGetCommand(1, out, 5);
    EXPECT_EQ(text(out), readFile("/proc/self/comm").substr(0, 3));
  }
}

}  // namespace
