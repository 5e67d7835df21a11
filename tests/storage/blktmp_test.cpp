// Streams against a std::string: what is appended, overwritten, read, pointed to, and sent through a real
// pipe.

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

using storagetest::Dice;

class Streams : public storagetest::StorageTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(pipe.openPipe(nettest::bytes(peer.address())), 0);
    peer.accept();
  }

  static std::string someBytes(Dice& dice, unsigned long n) {
    std::string all(n, 0);
    for (char& c : all) c = static_cast<char>(dice(256));
    return all;
  }

  nettest::Peer peer;
  ZuTCPIP pipe;
};

// The number as it lies in the stream.
template <class Number>
std::string ordered(Number value, bool highFirst) {
  std::string all;
  for (unsigned i = 0; i < sizeof value; ++i) all += static_cast<char>(value >> 8 * i);
  if (highFirst) std::reverse(all.begin(), all.end());
  return all;
}

class Model {
 public:
  Model(unsigned long blockSize, unsigned short order, unsigned long seed)
      : dice(seed), blockSize(blockSize), order(order), stream(blockSize) {
    EXPECT_EQ(stream.initialize(order), 0);
  }

  void step(nettest::Peer& peer, ZuTCPIP& pipe) {
    switch (dice(14)) {
      case 0:
      case 1: return appendBytes();
      case 2:
      case 3: return appendNumbers();
      case 4: return overwrite();
      case 5: return point();
      case 6: return copyPart();
      case 7: return receive(peer, pipe);
      case 8: return send(peer, pipe);
      case 9: return readNumbers();
      default: return readPart();
    }
  }

  void clear() {
    stream.clear();
    text.clear();
    position = 0;
  }
  unsigned long size() const { return text.size(); }
  BlkTmpFile& tested() { return stream; }

 private:
  unsigned long someLength() { return dice(5) ? dice(blockSize / 3 + 4) : dice(3 * blockSize + 4); }
  std::string bytes(unsigned long n) {
    std::string all(n, 0);
    for (char& c : all) c = static_cast<char>(dice(256));
    return all;
  }
  void appended(const std::string& more) {
    text += more;
    position += more.size();
  }

  void appendBytes() {
    const std::string more = bytes(someLength());
    ASSERT_EQ(stream.append(more.data(), more.size()), 0);
    appended(more);
  }

  void appendNumbers() {
    for (unsigned long n = dice(8); n-- > 0;) {
      const uint64_t value = dice(~0UL);
      ASSERT_EQ(stream.appendInt8(static_cast<uint8_t>(value)), 0);
      ASSERT_EQ(stream.appendInt16(static_cast<uint16_t>(value)), 0);
      ASSERT_EQ(stream.appendInt32(static_cast<uint32_t>(value)), 0);
      ASSERT_EQ(stream.appendInt64(value), 0);
      appended(std::string(1, static_cast<char>(value)) + ordered(static_cast<uint16_t>(value), order) +
               ordered(static_cast<uint32_t>(value), order) + ordered(value, order));
    }
  }

  void overwrite() {
    const unsigned long address = dice(text.size() + 1);
    const std::string more = bytes(someLength());
    ASSERT_EQ(stream.write(address, more.data(), more.size()), 0);
    text.replace(address, std::min(more.size(), text.size() - address), more);
    EXPECT_EQ(stream.write(text.size() + 1, "x", 1), 1) << "past the end";
    position = stream.getPosition();
  }

  void point() {
    const unsigned long address = dice(text.size() + 1);
    void* pointer = nullptr;
    unsigned long room = 0;
    const bool writable = dice(2) != 0;
    ASSERT_EQ(stream.tmpPointer(address, &pointer, &room, writable), 0);
    ASSERT_LE(room, text.size() - address);
    ASSERT_TRUE(room > 0 || address == text.size());
    ASSERT_EQ(std::string(static_cast<char*>(pointer), room), text.substr(address, room));
    if (!writable || room == 0) return;
    const std::string changed = bytes(1 + dice(room));
    std::memcpy(pointer, changed.data(), changed.size());
    text.replace(address, changed.size(), changed);
  }

  void copyPart() {
    const unsigned long address = dice(text.size() + 1);
    const unsigned long n = dice(std::min(text.size() - address, 3 * blockSize) + 1);
    ASSERT_EQ(stream.copy(address, &stream, n), 0);
    appended(text.substr(address, n));
    EXPECT_EQ(stream.copy(text.size(), &stream, 1), 1);
  }

  void receive(nettest::Peer& peer, ZuTCPIP& pipe) {
    const std::string more = bytes(std::min(someLength(), 60000UL));
    peer.send(more);
    int timedOut = 7;
    ASSERT_EQ(stream.appendFromWire(&pipe, more.size(), 0, 0, &timedOut), 0);
    EXPECT_EQ(timedOut, 0);
    text += more;
  }

  void send(nettest::Peer& peer, ZuTCPIP& pipe) {
    if (dice(4)) return;  // the peer takes its time to acknowledge short pieces
    const unsigned long address = dice(text.size() + 1);
    const unsigned long n = std::min({text.size() - address, dice(4 * blockSize + 1), 60000UL});
    ASSERT_EQ(stream.writeToWire(address, &pipe, n, 0), 0);
    ASSERT_EQ(n ? peer.receive(n) : "", text.substr(address, n));
    EXPECT_EQ(stream.writeToWire(text.size(), &pipe, 1, 0), 1);
  }

  void readPart() {
    const unsigned long address = dice(text.size() + 1);
    const unsigned long n = dice(3) ? dice(20) : someLength();
    std::string out(n, '?');
    const bool is = n <= text.size() - address;
    ASSERT_EQ(stream.read(address, out.data(), n), is ? 0 : 1);
    ASSERT_TRUE(!is || out == text.substr(address, n));
    EXPECT_EQ(stream.getPosition(), position);
  }

  void readNumbers() {
    const unsigned long address = dice(text.size() + 1);
    stream.setPosition(address);
    const bool highFirst = dice(2) != 0;
    uint32_t value = 0;
    const int result = highFirst == (order != 0) ? stream.readInt32(&value) : stream.readBEInt32(&value);
    EXPECT_EQ(result, text.size() - address >= 4 ? 0 : 1);
    ASSERT_TRUE(result || ordered(value, highFirst) == text.substr(address, 4));
    position = address + 4;
    EXPECT_EQ(stream.getPosition(), position) << "whatever the result";
  }

  Dice dice;
  const unsigned long blockSize;
  const bool order;
  BlkTmpFile stream;
  std::string text;
  unsigned long position = 0;
};

TEST_F(Streams, AreThoseOfAString) {
  unsigned long seed = 1;
  for (const unsigned long blockSize : {1, 8, 100, 5000, 100000}) {
    for (const unsigned short order : {0, 1}) {
      SCOPED_TRACE(testing::Message() << blockSize << " " << order);
      Model model(blockSize, order, seed++);
      for (int step = 0; step < 800 && !HasFailure(); ++step) {
        SCOPED_TRACE(step);
        model.step(peer, pipe);
        // What the file has of the stream before must never be seen in the next.
        if (model.size() > 40 * blockSize + 1000 || model.size() > 2000000) model.clear();
      }
      EXPECT_EQ(filesLeft(), 0u) << "the file has no name";
      errors.clearErrors();
    }
  }
}

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

TEST_F(Streams, InMemoryAreThoseOfAString) {
  Dice dice(1);
  for (const unsigned long blockSize : {1, 7, 64, 5000}) {
    MemFile file(blockSize);
    EXPECT_EQ(file.initialize(), 0);
    std::string text;
    for (int step = 0; step < 2000; ++step) {
      if (dice(3) == 0) {
        const std::string more = someBytes(dice, dice(dice(5) ? 20 : 3 * blockSize));
        ASSERT_EQ(file.append(more.data(), more.size()), 0);
        text += more;
      } else if (dice(300) == 0) {
        file.clear();
        text.clear();
      }
      const unsigned long address = dice(text.size() + 5);
      const unsigned long n = dice(3 * blockSize);
      std::string out(n, '?');
      std::string expected = out;
      if (address < text.size()) expected.replace(0, std::min(n, text.size() - address), text, address, n);
      ASSERT_EQ(file.read(address, out.data(), n), 0);
      ASSERT_EQ(out, expected);
      void* pointer = &out;
      unsigned long room = 7;
      ASSERT_EQ(file.tmpPointer(address, &pointer, &room, 0), 0);
      const bool is = address < text.size();
      ASSERT_EQ(room, is ? std::min(blockSize - address % blockSize, text.size() - address) : 0u);
      ASSERT_TRUE(is ? text.compare(address, room, static_cast<char*>(pointer), room) == 0 : !pointer);
    }
  }
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
