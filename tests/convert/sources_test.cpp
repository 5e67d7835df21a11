// Sources and sinks against a string: what went in, in pieces of any size, comes out in pieces of any size.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <random>
#include <string>

#include "tests/support/fault_allocator.h"
#include "zulib/convert/converters/zudataconverter.h"
#include "zulib/convert/sources/zumemory.h"
#include "zulib/convert/sources/zumultimemory.h"
#include "zulib/convert/sources/zutmpfilevalue.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace {

class Sources : public testing::Test {
 protected:
  Sources() { ZuErrorKeeper::setErrorList(&errors); }
  ~Sources() override { ZuErrorKeeper::giveUpErrorList(); }

  std::string randomText(unsigned long size) {
    std::string text(size, 0);
    for (char& c : text) c = static_cast<char>(random());
    return text;
  }
  unsigned long upTo(unsigned long n) { return random() % (n + 1); }

  // Gives `value` to the sink in random pieces, by writeData or through the sink's own buffers.
  int feed(ZuDataSink& sink, const std::string& value, bool inPlace) {
    unsigned long at = 0;
    do {
      unsigned long n = upTo(std::min(value.size() - at, 3 * kBlock));
      void* buffer = nullptr;
      if (inPlace) {
        unsigned long room = 0;
        int another = 0;
        if (sink.getData(&buffer, &room, &another)) return 1;
        EXPECT_TRUE(another);
        n = std::min(room, value.size() - at);
        std::copy_n(value.data() + at, n, static_cast<char*>(buffer));
      }
      const int more = at + n < value.size();
      if (inPlace ? sink.dataWritten(n, more) : sink.writeData(value.data() + at, n, more)) return 1;
      at += n;
    } while (at < value.size());
    return 0;
  }

  static std::string regions(ZuDataSource& source) {
    std::string out;
    int more = 1;
    while (more) {
      const void* data = nullptr;
      unsigned long size = 0;
      if (source.getData(&data, &size, &more)) return "failed";
      out.append(static_cast<const char*>(data), size);
    }
    return out;
  }

  std::string copies(ZuDataSource& source, unsigned long expected) {
    std::string out;
    while (true) {
      char buffer[4 * kBlock];
      unsigned long got = 0;
      int more = 0;
      const unsigned long max = 1 + upTo(sizeof buffer - 1);
      if (source.getData(buffer, max, &got, &more)) return "failed";
      EXPECT_EQ(got, std::min(max, expected - out.size()));
      if (got == 0) return out;
      out.append(buffer, got);
    }
  }

  static constexpr unsigned long kBlock = 64;
  std::mt19937 random{7};
  ZuErrorList errors;
};

TEST_F(Sources, BlocksReturnWhatWasWritten) {
  for (int round = 0; round < 400; ++round) {
    const std::string value = randomText(round < 10 ? round * kBlock / 2 : upTo(6 * kBlock));
    SCOPED_TRACE(value.size());
    ZuMultiMemorySource source(kBlock);
    for (unsigned long at = 0; at < value.size();) {
      const unsigned long n = 1 + upTo(value.size() - at - 1);
      ASSERT_EQ(source.append(value.data() + at, n), 0);
      at += n;
      if (at < value.size() && upTo(3) == 0)
        static_cast<void>(regions(source));  // a read between two appends changes nothing
    }
    EXPECT_EQ(round % 2 ? regions(source) : copies(source, value.size()), value);
    EXPECT_EQ(source.init(), 0);
    EXPECT_EQ(regions(source), "") << "init empties the source";
    EXPECT_EQ(source.append("ab", 2), 0);
    EXPECT_EQ(regions(source), "ab");

    ZuMultiMemorySink sink(kBlock);
    const bool inPlace = upTo(1);
    ASSERT_EQ(feed(sink, value, inPlace), 0);
    EXPECT_EQ(sink.getTotalBytes(), value.size());
    std::string out;
    for (unsigned long i = 0; i < sink.getBlocks().getCount(); ++i) {
      out.append(static_cast<const char*>(sink.getBlocks().at(i)), kBlock);
    }
    EXPECT_EQ(out.substr(0, value.size()), value);
    EXPECT_EQ(sink.reset(), 0);
    EXPECT_EQ(sink.writeData("x", 1, 0), 0);
    EXPECT_EQ(sink.getTotalBytes(), value.size() + 1) << "the total goes on";
  }
}

TEST_F(Sources, TemporaryFilesReturnWhatWasWritten) {
  ZuTmpFileSink reused(kBlock);
  for (int round = 0; round < 300; ++round) {
    const std::string value = randomText(round < 10 ? round * kBlock / 2 : upTo(7 * kBlock));
    SCOPED_TRACE(value.size());
    ASSERT_EQ(feed(reused, value, upTo(1)), 0);
    EXPECT_EQ(reused.getTotalBytes(), value.size());
    ZuTmpFileSource borrowing(kBlock);
    ASSERT_EQ(reused.getDataSource(&borrowing), 0);
    EXPECT_EQ(regions(borrowing), value);
    EXPECT_EQ(regions(borrowing), "") << "past the end";
    if (upTo(1)) {
      ASSERT_EQ(reused.prepareToCache(), 0);
    } else {
      ASSERT_EQ(reused.reset(), 0);
    }

    ZuTmpFileSource filled(kBlock);
    for (unsigned long at = 0; at < value.size();) {
      const unsigned long n = 1 + upTo(value.size() - at - 1);
      ASSERT_EQ(filled.append(value.data() + at, n), 0);
      at += n;
    }
    ASSERT_EQ(filled.done(), 0);
    for (int pass = 0; pass < 2; ++pass) {
      ASSERT_EQ(filled.reset(), 0);
      EXPECT_EQ(copies(filled, value.size()), value);
    }
  }
}

TEST_F(Sources, AFileThatCannotGrowFailsTheWriteAndNothingIsLeaked) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  for (unsigned long limit = 0; limit < 6 * kBlock; limit += kBlock / 2) {
    const rlimit small{limit, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string value = randomText(5 * kBlock + 1);
    ZuTmpFileSink sink(kBlock);
    const int failed = feed(sink, value, limit % kBlock == 0);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(failed, limit < value.size());
    EXPECT_EQ(errors.isExistingError(), failed == 1);
    errors.clearErrors();
  }
}

TEST_F(Sources, AllocationFailuresAreReportedAndTheObjectsStayUsable) {
  const std::string value = randomText(3 * kBlock);
  sweepAllocations([&] {
    ZuMultiMemorySink blocks(kBlock);
    ZuMultiMemorySource source(kBlock);
    ZuTmpFileSink file(kBlock);
    const bool failed = blocks.writeData(value.data(), value.size(), 0) ||
                        source.append(value.data(), value.size()) ||
                        file.writeData(value.data(), value.size(), 0);
    EXPECT_EQ(failed, errors.isOutOfMemory());
    errors.clearErrors();
    EXPECT_EQ(blocks.reset(), 0);
    if (failed) {
      EXPECT_EQ(blocks.writeData("x", 1, 0), 0);
    }
    return !failed;
  });
}

TEST_F(Sources, MemoryEndsAtItsBuffer) {
  char buffer[8];
  ZuMemorySink sink(buffer, sizeof buffer);
  EXPECT_EQ(sink.writeData("12345", 5, 1), 0);
  EXPECT_FALSE(sink.isTruncated());
  EXPECT_EQ(sink.writeData("67890", 5, 0), 0);
  EXPECT_TRUE(sink.isTruncated());
  EXPECT_EQ(std::string(buffer, sink.getWritten()), "12345678");
  EXPECT_EQ(sink.reset(), 0);
  EXPECT_EQ(sink.getWritten(), 0u);
  ZuMemorySink none(nullptr, 0);
  EXPECT_EQ(none.writeData("x", 1, 0), 0);
  EXPECT_TRUE(none.isTruncated());

  ZuMemorySource source("abc", 3);
  EXPECT_EQ(regions(source), "abc");
  unsigned long got = 9;
  int more = 9;
  EXPECT_EQ(source.getData(buffer, 2, &got, &more), 0);
  EXPECT_EQ(got, 2u);
  EXPECT_EQ(more, 1);
  EXPECT_EQ(source.getData(buffer, 8, &got, &more), 1) << "would read past the end";
  EXPECT_EQ(errors.getLastError()->getErrorNumber(), ZU_MSG_CONVERSION_FAILED);
  EXPECT_EQ(source.reset(), 0);
  EXPECT_EQ(source.getData(buffer, 8, &got, &more), 0);
  EXPECT_EQ(std::string(buffer, got), "abc");
  EXPECT_EQ(more, 0);

  ZuDataSource* const empty = getEmptyDataSource();
  EXPECT_EQ(empty->reset(), 0);
  EXPECT_EQ(regions(*empty), "");
}

}  // namespace
