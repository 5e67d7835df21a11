// Streams: when they spill, a real pipe whose data is late, and failures.

#include "zulib/storage/blktmp.h"

#include <sys/resource.h>

#include <csignal>
#include <thread>

#include "tests/net/peer.h"
#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/file_faults.h"
#include "zulib/net/zutcpip.h"
#include "zulib/storage/memfile.h"

namespace {

class Streams : public storagetest::StorageTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(pipe.openPipe(nettest::bytes(peer.address())), 0);
    peer.accept();
  }

  nettest::Peer peer;
  ZuTCPIP pipe;
};

TEST_F(Streams, SpillWhenAThirdBlockIsNeeded) {
  const long before = nettest::openDescriptors();
  BlkTmpFile stream(8);
  EXPECT_EQ(stream.appendInt32(1), 1) << "not initialized";
  EXPECT_EQ(takeError(), 1507u);
  ASSERT_EQ(stream.initialize(0), 0);
  for (char c = 'a'; c < 'q'; ++c) ASSERT_EQ(stream.append(&c, 1), 0);
  EXPECT_EQ(nettest::openDescriptors(), before);
  for (char c = 'q'; c < 'u'; ++c) ASSERT_EQ(stream.append(&c, 1), 0);
  EXPECT_EQ(nettest::openDescriptors(), before + 1);
  std::string out(20, '?');
  EXPECT_EQ(stream.read(0, out.data(), 20), 0);
  EXPECT_EQ(out, "abcdefghijklmnopqrst");
}

TEST_F(Streams, WaitsOfThePipe) {
  BlkTmpFile stream(100);
  ASSERT_EQ(stream.initialize(0), 0);
  pipe.setAlternateTimeout(0, 1000);
  peer.send("some");
  int timedOut = 7;
  EXPECT_EQ(stream.appendFromWire(&pipe, 10, 0, 1, &timedOut), 0);
  EXPECT_EQ(timedOut, 1);
  EXPECT_EQ(stream.getLength(), 4u);
  EXPECT_EQ(stream.appendFromWire(&pipe, 10, 0, 1, nullptr), 1);
  // The plain wait is taken again and again.
  pipe.setReadTimeout(0, 1000);
  std::thread sender([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    peer.send("more");
  });
  EXPECT_EQ(stream.appendFromWire(&pipe, 4, 0, 0, &timedOut), 0);
  sender.join();
  EXPECT_EQ(timedOut, 0);
  peer.send("last");
  peer.hangUp();
  EXPECT_EQ(stream.appendFromWire(&pipe, 10, 0, 0, &timedOut), 1);
  EXPECT_EQ(takeError(), 7503u);
  std::string out(12, '?');
  EXPECT_EQ(stream.read(0, out.data(), 12), 0);
  EXPECT_EQ(out, "somemorelast");
}

// Pieces from the wire that end where a block ends, with more to come.
TEST_F(Streams, ReceiveIntoBlocksThatPiecesFillExactly) {
  for (const unsigned long blockSize : {32768UL, 65536UL}) {
    BlkTmpFile stream(blockSize);
    ASSERT_EQ(stream.initialize(0), 0);
    std::string sent(7 * 65536 + 5, '?');
    for (unsigned long i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 31 / 7);
    std::thread sender([&] { peer.send(sent); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // whole pieces are there to be read
    int timedOut = 7;
    EXPECT_EQ(stream.appendFromWire(&pipe, sent.size(), 0, 0, &timedOut), 0);
    sender.join();
    std::string out(sent.size(), '?');
    EXPECT_EQ(stream.read(0, out.data(), out.size()), 0);
    EXPECT_TRUE(out == sent);
  }
}

TEST_F(Streams, FailuresLeaveWhatIsThere) {
  const std::string text = "a text that is longer than two blocks of eight";
  std::string out(text.size(), '?');
  const auto failed = sweepAllocations([&](FaultAllocator& faults) {
    BlkTmpFile stream(8);
    void* pointer = nullptr;
    unsigned long room = 0;
    const bool ready = stream.initialize(0) == 0;
    const bool good = ready && stream.append(text.data(), text.size()) == 0 &&
                      stream.read(3, out.data(), 4) == 0 && stream.tmpPointer(2, &pointer, &room, 0) == 0;
    faults.stop();
    EXPECT_EQ(takeError(), good ? 0u : 30190u);
    const unsigned long kept = stream.getLength();
    EXPECT_TRUE(!ready || stream.read(0, out.data(), kept) == 0);
    EXPECT_EQ(out.substr(0, kept), text.substr(0, kept));
    EXPECT_TRUE(!ready || stream.append("x", 1) == 0) << "usable again";
    return good;
  });
  EXPECT_GE(failed, 5u);

  const auto failedCalls = sweepFileCalls([&](FileFaults& faults) {
    BlkTmpFile stream(8);
    void* pointer = nullptr;
    unsigned long room = 0;
    const bool good = stream.initialize(0) == 0 && stream.append(text.data(), text.size()) == 0 &&
                      stream.read(3, out.data(), 4) == 0 && stream.tmpPointer(2, &pointer, &room, 1) == 0 &&
                      stream.write(1, "more", 4) == 0 && stream.copy(0, &stream, 20) == 0;
    faults.stop();
    EXPECT_EQ(takeError() == 0, good);
    const unsigned long kept = std::min(stream.getLength(), text.size());
    EXPECT_EQ(stream.read(0, out.data(), kept), 0);
    EXPECT_EQ(out.substr(5, kept - 5), text.substr(5, kept - 5));
    return good;
  });
  EXPECT_GT(failedCalls, 10u);

  // The disk is full.
  const auto old = signal(SIGXFSZ, SIG_IGN);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit limit = before;
  limit.rlim_cur = 1000;
  setrlimit(RLIMIT_FSIZE, &limit);
  BlkTmpFile stream(100);
  ASSERT_EQ(stream.initialize(0), 0);
  std::string all;
  while (stream.append(text.data(), text.size()) == 0) all += text;
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, old);
  EXPECT_NE(takeError(), 0u);
  out.resize(all.size());
  EXPECT_EQ(stream.read(0, out.data(), out.size()), 0);
  EXPECT_EQ(out, all);
}

TEST_F(Streams, InMemoryFailCleanly) {
  sweepAllocations([&] {
    MemFile file(4);
    const bool good = file.initialize() == 0 && file.append("0123456789", 10) == 0;
    char out[10];
    EXPECT_EQ(file.read(0, out, 10), 0);
    EXPECT_EQ(takeError(), good ? 0u : 30190u);
    return good;
  });
}

}  // namespace
