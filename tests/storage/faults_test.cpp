// Every allocation and every file call made to fail in turn, and a disk that becomes full.

#include <csignal>
#include <cstdio>
#include <cstring>

#include <sys/wait.h>
#include <unistd.h>

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/file_faults.h"
#include "zulib/storage/sort.h"
#include "zulib/storage/tmp.h"

namespace {

using StorageFaults = storagetest::StorageTest;

const std::string kPage(2048, 'p');

bool writePages(ZuTmpFile& store, unsigned long first, unsigned long last) {
  for (unsigned long i = first; i <= last; ++i) {
    if (store.tmpWrite(i * 2048, kPage.data(), 2048)) return false;
  }
  return true;
}

// What was written before the failure can still be read; lost free space is no failure.
TEST_F(StorageFaults, TmpFileReportsAndKeepsItsBytes) {
  const auto scenario = [&](FaultAllocator& faults) {
    ZuTmpFile store(4096, 0);
    unsigned long first = 0;
    unsigned long second = 0;
    bool good = store.tmpFindSpace(300, &first) == 0 && store.tmpFindSpace(300, &second) == 0;
    good = good && writePages(store, 1, 5) && store.tmpFreeSpace(first, 300) == 0;
    faults.stop();
    EXPECT_EQ(takeError() == 0, good);
    EXPECT_EQ(store.tmpWrite(9 * 2048, kPage.data(), 100), 0) << "usable again";
    std::string read(100, 0);
    EXPECT_EQ(store.tmpRead(9 * 2048, read.data(), 100), 0);
    EXPECT_EQ(read, kPage.substr(0, 100));
    return good && !faults.triggered();
  };
  EXPECT_GE(sweepAllocations(scenario), 5u);

  const auto calls = sweepFileCalls([&](FileFaults& faults) {
    ZuTmpFile store(4096, 0);
    std::string read(2048, 0);
    const bool good = writePages(store, 1, 4) && store.tmpLoseFocus() == 0 &&
                      store.tmpRead(2048, read.data(), 2048) == 0 && store.tmpTruncate(0) == 0;
    EXPECT_EQ(takeError() == 0, good);
    EXPECT_EQ(good && read != kPage, false);
    faults.stop();
    return good;
  });
  EXPECT_GE(calls, 9u);
}

// A page that cannot be written to the full disk stays in memory, whoever wanted its place.
TEST_F(StorageFaults, FullDiskLeavesWhatIsInMemory) {
  FileFaults faults;
  for (const unsigned long room : {0UL, 1000UL, 2048UL, 3000UL}) {
    ZuTmpFile store(4096, 0);
    ASSERT_TRUE(writePages(store, 1, 2));
    faults.fillDiskAfter(room);
    unsigned long inMemory = 2;
    while (writePages(store, inMemory + 1, inMemory + 1)) ++inMemory;
    const unsigned error = takeError();
    EXPECT_TRUE(error == 1506 || error == 30041) << error;
    std::string read(2048, 0);
    for (const unsigned long page : {inMemory, inMemory - 1}) {
      ASSERT_EQ(store.tmpRead(page * 2048, read.data(), 2048), 0);
      EXPECT_EQ(read, kPage);
    }
    faults.stop();
    EXPECT_TRUE(writePages(store, inMemory + 1, inMemory + 2));
    for (unsigned long page = 1; page <= inMemory; ++page) {
      ASSERT_EQ(store.tmpRead(page * 2048, read.data(), 2048), 0);
      EXPECT_EQ(read, kPage) << page;
    }
  }
}

constexpr unsigned short kLength = 3000;  // 21 records in a buffer

// The same record until the next call; nothing is allocated for it.
const char* recordOf(unsigned long number) {
  static char record[kLength];
  std::memset(record, static_cast<int>('a' + number % 7), kLength);
  std::snprintf(record, kLength, "%06lu", number * 7919 % 1000);
  return record;
}

bool addRecords(ZuSort& sorter, unsigned long count) {
  for (unsigned long i = 0; i < count; ++i) {
    if (sorter.addRecord(recordOf(i))) return false;
  }
  return true;
}

// Reads all from here on, which is in order. After a failure it goes on where it was; false if that fails
// too, or if there was a failure.
bool readInOrder(ZuSort& sorter, unsigned long expected) {
  std::string previous;
  unsigned long count = 0;
  bool hasFailed = false;
  for (void* record;; ++count) {
    if (sorter.getSorted(&record)) {
      EXPECT_EQ(record, nullptr);
      if (hasFailed || sorter.getSorted(&record)) return false;
      hasFailed = true;
    }
    if (!record) break;
    const std::string key(static_cast<char*>(record), 6);
    EXPECT_LE(previous, key);
    previous = key;
  }
  EXPECT_EQ(count, expected);
  return !hasFailed;
}

// Adding, reading, searching, sorting ranges and sorting again, over several runs.
bool useSorter(ZuSort& sorter, unsigned long count) {
  void* record;
  unsigned long matching;
  if (sorter.addKey(0, 0, 6) || !addRecords(sorter, count) || !readInOrder(sorter, count)) return false;
  if (sorter.getFirstRecordWithKey(recordOf(5), &record)) return false;
  EXPECT_EQ(std::memcmp(record, recordOf(5), 6), 0);
  sorter.startResortRange();
  for (int i = 0; i < 60; ++i) {
    if (sorter.getSortedWithCompare(&record, &matching)) return false;
  }
  sorter.endResortRange();
  if (sorter.resortRange(0, 1) || sorter.getFirstRecordInRange(&record) || sorter.reSort()) return false;
  return readInOrder(sorter, count);
}

TEST_F(StorageFaults, SorterReportsAndLosesNothing) {
  const auto allocations = sweepAllocations([&](FaultAllocator& faults) {
    ZuSort sorter(kLength);
    sorter.setBufferLimit(4);
    const bool good = useSorter(sorter, 300);
    EXPECT_EQ(takeError() == 0, good);
    if (!good && sorter.getRunCount() == 0) {
      EXPECT_TRUE(readInOrder(sorter, sorter.getRecordCount()));
    }
    return good && !faults.triggered();
  });
  EXPECT_GE(allocations, 5u);
  const auto calls = sweepFileCalls([&](FileFaults& faults) {
    ZuSort sorter(kLength);
    sorter.setBufferLimit(2);
    const bool good = useSorter(sorter, 150);
    EXPECT_EQ(takeError() == 0, good);
    faults.stop();
    // Whatever failed, reading from the beginning gives all records or fails again.
    void* record;
    if (sorter.getFirstRecord(&record) == 0 && record) readInOrder(sorter, sorter.getRecordCount() - 1);
    errors.clearErrors();
    return good;
  });
  EXPECT_GE(calls, 50u);
}

// The disk is full in the middle of the first run, or of a later one.
TEST_F(StorageFaults, SorterReadsWhatIsInMemoryWhenTheDiskIsFull) {
  FileFaults faults;
  for (const unsigned long room : {0UL, 70000UL, 200000UL}) {
    ZuSort sorter(kLength);
    sorter.setBufferLimit(2);
    ASSERT_EQ(sorter.addKey(0, 0, 6), 0);
    faults.fillDiskAfter(room);
    EXPECT_FALSE(addRecords(sorter, 150));
    EXPECT_NE(takeError(), 0u);
    EXPECT_EQ(sorter.getRecordCount(), room < 100000 ? 42u : 84u);
    if (sorter.getRunCount() > 0) faults.stop();
    EXPECT_TRUE(readInOrder(sorter, sorter.getRecordCount()));
    faults.stop();
  }
}

TEST_F(StorageFaults, KilledProcessLeavesNoFileOfTheSorter) {
  const pid_t child = fork();
  if (child == 0) {
    ZuSort sorter(kLength);
    sorter.setBufferLimit(2);
    if (sorter.addKey(0, 0, 6) == 0 && addRecords(sorter, 100) && sorter.getRunCount() > 0) raise(SIGKILL);
    _exit(1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
  EXPECT_EQ(filesLeft(), 0u);
}

}  // namespace
