// Every allocation made to fail in turn.

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"
#include "zulib/storage/tmp.h"

namespace {

using StorageFaults = storagetest::StorageTest;

// What was written before the failure can still be read; lost free space is no failure.
TEST_F(StorageFaults, TmpFileReportsAndKeepsItsBytes) {
  const std::string page(2048, 'p');
  const auto scenario = [&](FaultAllocator& faults) {
    ZuTmpFile store(4096, 0);
    unsigned long first = 0;
    unsigned long second = 0;
    bool good = store.tmpFindSpace(300, &first) == 0 && store.tmpFindSpace(300, &second) == 0;
    for (unsigned long i = 1; good && i < 6; ++i) good = store.tmpWrite(i * 2048, page.data(), 2048) == 0;
    good = good && store.tmpFreeSpace(first, 300) == 0;
    faults.stop();
    EXPECT_EQ(takeError() == 0, good);
    EXPECT_EQ(store.tmpWrite(9 * 2048, page.data(), 100), 0) << "usable again";
    std::string read(100, 0);
    EXPECT_EQ(store.tmpRead(9 * 2048, read.data(), 100), 0);
    EXPECT_EQ(read, page.substr(0, 100));
    return good && !faults.triggered();
  };
  EXPECT_GE(sweepAllocations(scenario), 5u);
}

}  // namespace
