// Two shared files in one temporary file, against plain vectors.

#include "zulib/storage/zusharedfile.h"

#include <vector>

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"

namespace {

using SharedFile = storagetest::StorageTest;

TEST_F(SharedFile, FilesInOneStoreKeepTheirBytes) {
  storagetest::Dice dice(1);
  ZuTmpFile store(8192, 0);
  ZuSharedFile files[2] = {ZuSharedFile(&store), ZuSharedFile(&store)};
  std::vector<char> model[2];
  for (int step = 0; step < 3000; ++step) {
    const unsigned long which = dice(2);
    std::vector<char>& bytes = model[which];
    const unsigned long blocks = (bytes.size() + 4095) / 4096 * 4096;
    const unsigned long offset = dice(bytes.size() + 1);
    const unsigned long n = dice(dice(10) ? 300 : 20000);
    if (dice(300) == 0) {
      ASSERT_EQ(files[which].truncate(), 0);
      bytes.clear();
      char c;
      EXPECT_EQ(files[which].read(0, &c, 1), 1);
    } else if (dice(2)) {
      std::vector<char> piece(n);
      for (char& c : piece) c = static_cast<char>(dice(256));
      ASSERT_EQ(files[which].write(offset, piece.data(), n), 0);
      bytes.resize(std::max(bytes.size(), offset + n));
      std::copy(piece.begin(), piece.end(), bytes.begin() + static_cast<long>(offset));
      EXPECT_EQ(files[which].write((bytes.size() + 4095) / 4096 * 4096 + 4096, "x", 1), 1) << "leaves a gap";
    } else if (offset + n <= bytes.size()) {
      std::vector<char> piece(n);
      ASSERT_EQ(files[which].read(offset, piece.data(), n), 0);
      ASSERT_TRUE(std::equal(piece.begin(), piece.end(), bytes.begin() + static_cast<long>(offset)));
    } else if (offset + n > blocks) {
      std::vector<char> piece(n);
      EXPECT_EQ(files[which].read(offset, piece.data(), n), 1) << "past the last block";
    }
  }
  errors.clearErrors();
}

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
