// A shared file past its end and without memory.

#include "zulib/storage/zusharedfile.h"

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"

namespace {

using SharedFile = storagetest::StorageTest;

TEST_F(SharedFile, FailsCleanly) {
  const std::string block(4096, 'b');
  ZuTmpFile store(4096, 0);
  ZuSharedFile file(&store);
  EXPECT_EQ(file.write(0, block.data(), 4096), 0);
  EXPECT_EQ(file.write(65536UL * 4096, "x", 1), 1) << "no wrap to the first block";
  EXPECT_EQ(takeError(), 30041u);
  std::string read(1, 0);
  EXPECT_EQ(file.read(0, read.data(), 1), 0);
  EXPECT_EQ(read, "b");

  const auto failed = sweepAllocations([&] {
    ZuTmpFile own(4096, 0);
    ZuSharedFile small(&own);
    const bool good = small.write(0, block.data(), 4096) == 0 && small.write(4096, "x", 1) == 0;
    EXPECT_EQ(takeError(), good ? 0u : 30190u);
    return good;
  });
  EXPECT_GE(failed, 3u);
}

}  // namespace
