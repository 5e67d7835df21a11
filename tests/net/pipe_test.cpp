// Both pipes: what they make of every error number, what they do in which order, and their log.

#include <unicode/ucnv.h>

#include <cerrno>
#include <csignal>
#include <random>
#include <thread>

#include "tests/net/errors.h"
#include "tests/net/peer.h"
#include "tests/net/socket_faults.h"
#include "tests/support/fault_allocator.h"
#include "zulib/net/zupipe.h"
#include "zulib/net/zutcpip.h"

using namespace nettest;
using namespace std::chrono;

namespace {

using Bytes = std::vector<unsigned char>;

// One interface to both, for what they have in common.
ZuNetStatus write(ZuPipe& pipe, const std::string& data) {
  return pipe.writePipe(bytes(data), data.size(), 0);
}
ZuNetStatus write(ZuTCPIP& pipe, const std::string& data) { return pipe.writePipe(bytes(data), data.size()); }
ZuNetStatus read(ZuPipe& pipe, unsigned char* to, unsigned long n, unsigned long* got) {
  return pipe.readPipe(to, n, 0, got);
}
ZuNetStatus read(ZuTCPIP& pipe, unsigned char* to, unsigned long n, unsigned long* got) {
  return pipe.readPipe(to, n, got, 0);
}
constexpr int interfaceErrorOf(const ZuPipe&) { return 0; }
constexpr int interfaceErrorOf(const ZuTCPIP&) { return 21; }

template <class Pipe>
class Pipes : public ostest::OsTest {
 protected:
  ~Pipes() override { pipe.closePipe(); }
  void open() {
    ASSERT_EQ(pipe.openPipe(bytes(peer.address())), 0);
    peer.accept();
  }
  std::string errorOf(const std::string& numberAndParam) const {
    return numberAndParam + (interfaceErrorOf(pipe) ? " 08S01/21" : " 08S01");
  }
  // Runs a transfer whose system call ends with `number`, and checks what the tables make of it.
  template <class Transfer>
  void expectJudged(const char* call, int number, Transfer&& transfer) {
    SCOPED_TRACE(std::string(call) + " " + std::to_string(number));
    open();
    ZuNetStatus status;
    {
      SocketFaults faults;
      faults.fail(call, number, 1, 2);  // twice: a read that finds nothing waits and reads again
      status = transfer();
    }
    const bool lost = number == EAGAIN || number == EPIPE || number == ECONNRESET;
    const bool late = number == ETIME || number == ETIMEDOUT;
    EXPECT_EQ(status, lost ? netConnectionLost : late ? netTimeout : netError);
    EXPECT_EQ(pipe.isConnected(), !lost);
    EXPECT_EQ(errors.take(), lost   ? errorOf("7503 -")
                             : late ? ""
                                    : errorOf("7500 " + std::to_string(number)));
    EXPECT_EQ(pipe.closePipe(), 0);
  }

  Errors errors;
  Peer peer;
  Pipe pipe;
  unsigned char buffer[200] = {};
  unsigned long got = 99;
  microseconds lastWait{0};
};

using BothPipes = testing::Types<ZuPipe, ZuTCPIP>;
TYPED_TEST_SUITE(Pipes, BothPipes);

TYPED_TEST(Pipes, EveryErrorNumberHasItsStatus) {
  const long before = openDescriptors();
  for (const int number : {EAGAIN, EPIPE, ECONNRESET, ETIME, ETIMEDOUT, EIO, EBADF, ENOBUFS}) {
    this->expectJudged("send", number, [&] { return write(this->pipe, "data"); });
    this->expectJudged("recv", number, [&] {
      this->peer.send("reply");
      return read(this->pipe, this->buffer, 5, &this->got);
    });
    EXPECT_EQ(this->got, 0u);
  }
  this->expectJudged("send", EINTR, [&] { return write(this->pipe, "data"); });
  this->peer.hangUp();
  EXPECT_EQ(openDescriptors(), before) << "also those of lost connections";
}

TYPED_TEST(Pipes, LifeOfAPipe) {
  auto& pipe = this->pipe;
  const std::string lost = this->errorOf("7503 -");
  EXPECT_EQ(read(pipe, this->buffer, 1, &this->got), netConnectionLost);
  EXPECT_EQ(write(pipe, "x"), netConnectionLost);
  EXPECT_EQ(this->errors.take(), lost + "; " + lost);
  EXPECT_EQ(pipe.closePipe(), 0);
  EXPECT_EQ(pipe.openPipe(nullptr), -1);
  EXPECT_EQ(this->errors.take(), interfaceErrorOf(pipe) ? "7508 - 08S01/21" : "7508 -");
  EXPECT_EQ(pipe.openPipe(bytes("nowhere")), -1);
  EXPECT_EQ(this->errors.take(), "7505 - 08S01/21");
  EXPECT_FALSE(pipe.isConnected());

  this->open();
  this->peer.send("reply");
  EXPECT_EQ(write(pipe, "quest"), netOk);
  EXPECT_EQ(this->peer.receive(5), "quest");
  EXPECT_EQ(read(pipe, this->buffer, 100, &this->got), netOk);
  EXPECT_EQ(this->got, 5u) << "a short read is a success";
  this->peer.hangUp();
  EXPECT_EQ(read(pipe, this->buffer, 100, &this->got), netConnectionLost);
  EXPECT_FALSE(pipe.isConnected());
  EXPECT_EQ(this->errors.take(), lost);
  EXPECT_EQ(read(pipe, this->buffer, 100, &this->got), netConnectionLost)
      << "still says what the socket says";
  EXPECT_EQ(this->errors.take(), lost);

  pipe.setReportErrors(0);
  EXPECT_EQ(read(pipe, this->buffer, 100, &this->got), netConnectionLost);
  pipe.closePipe();
  EXPECT_EQ(pipe.openPipe(nullptr), -1);
  EXPECT_EQ(pipe.openPipe(bytes("nowhere")), -1);
  EXPECT_EQ(write(pipe, "x"), netError);
  EXPECT_EQ(this->errors.take(), "");
}

TYPED_TEST(Pipes, OpeningAgainClosesTheFirstConnection) {
  this->open();
  const long before = openDescriptors();
  ASSERT_EQ(this->pipe.openPipe(bytes(this->peer.address())), 0);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(this->peer.receive(1), "");
}

TYPED_TEST(Pipes, NoMemoryForAConnection) {
  sweepAllocations([&] {
    const bool opened = this->pipe.openPipe(bytes(this->peer.address())) == 0;
    const FaultPause quiet;
    EXPECT_EQ(this->errors.take(), opened ? "" : "out of memory");
    EXPECT_EQ(this->pipe.isConnected(), opened);
    this->pipe.closePipe();
    return opened;
  });
}

// A peer that closes, resets, dribbles or writes too much at any moment: every transfer ends with a status,
// what came is what was sent, and nothing is written past the buffer.
TYPED_TEST(Pipes, RandomPeers) {
  std::mt19937 random(7);
  for (int round = 0; round < 200 && !this->HasFailure(); ++round) {
    this->open();
    std::string sent;
    std::string received;
    bool ended = false;
    while (!ended) {
      const unsigned action = random() % 10;
      if (action == 0) this->peer.abort();
      if (action == 1) this->peer.hangUp();
      ended = action <= 1;
      if (!ended) {
        std::string piece(1 + random() % 150, '\0');
        for (char& c : piece) c = static_cast<char>(random());
        this->peer.send(piece);
        sent += piece;
      }
      const unsigned long want = 1 + random() % 100;
      this->buffer[want] = 0xA5;
      const ZuNetStatus status = read(this->pipe, this->buffer, want, &this->got);
      EXPECT_LE(this->got, want);
      EXPECT_EQ(this->buffer[want], 0xA5);
      received.append(reinterpret_cast<char*>(this->buffer), this->got);
      EXPECT_EQ(sent.compare(0, received.size(), received), 0);
      if (status != netOk) {
        EXPECT_EQ(status, netConnectionLost);
        EXPECT_TRUE(ended);
        EXPECT_FALSE(this->pipe.isConnected());
      }
      write(this->pipe, "x");
    }
    this->pipe.closePipe();
    this->errors.take();
  }
}

// The log as its description has it, by way of printf.
std::string expectedLog(const std::string& header, const std::string& data) {
  std::string log = header + "HEX\t\t\t\tASCII\t\t\tEBCDIC\n";
  const auto cell = [&](size_t at, const char* format, const char* blank, auto&& shown) {
    char text[8];
    snprintf(text, sizeof text, format, at < data.size() ? shown(static_cast<unsigned char>(data[at])) : 0);
    log += at < data.size() ? text : blank;
  };
  for (size_t row = 0; row <= data.size(); row += 8) {
    for (size_t i = 0; i < 8; ++i) cell(row + i, "%.2X ", "   ", [](int c) { return c; });
    log += "\t";
    for (size_t i = 0; i < 8; ++i)
      cell(row + i, "%c ", "  ", [](int c) { return c >= 32 && c <= 127 ? c : '.'; });
    log += "\t";
    for (size_t i = 0; i < 8; ++i) cell(row + i, "%c ", "  ", [](int c) { return ZuEbcdicToAscii(c); });
    log += "\n";
  }
  return log + "\n";
}

TYPED_TEST(Pipes, TheLogByteForByte) {
  auto& pipe = this->pipe;
  const bool isOld = interfaceErrorOf(pipe) != 0;
  ostest::writeFile("0.out", "kept");
  this->open();
  pipe.setLogging(1);
  pipe.setLogging(1);
  std::string expected;
  std::mt19937 random(5);
  for (const size_t n : {1, 7, 8, 9, 16, 100}) {
    std::string data(n, '\0');
    for (char& c : data) c = static_cast<char>(random());
    const std::string count = std::to_string(n);
    EXPECT_EQ(write(pipe, data), netOk);
    expected += expectedLog("Sending " + count + " bytes\n", data);
    this->peer.send(data);
    EXPECT_EQ(read(pipe, this->buffer, sizeof this->buffer, &this->got), netOk);
    expected += expectedLog("Reading " + count + (isOld ? " bytes\n" : " bytes\r\n"), data);
  }
  this->peer.hangUp();
  EXPECT_EQ(read(pipe, this->buffer, sizeof this->buffer, &this->got), netConnectionLost);
  pipe.closePipe();
  EXPECT_EQ(write(pipe, "late"), netConnectionLost);
  expected += expectedLog("Sending 4 bytes\n", "late");
  pipe.setLogging(0);
  EXPECT_EQ(write(pipe, "off"), netConnectionLost);
  EXPECT_EQ(ostest::readFile("1.out"), expected);
  EXPECT_EQ(ostest::readFile("0.out"), "kept");
  pipe.setLogging(1);
  EXPECT_TRUE(ostest::fs::exists("2.out")) << "a new file each time";
  pipe.setLogging(0);
  this->errors.take();
}

TYPED_TEST(Pipes, ALogThatCannotBeWrittenDisturbsNothing) {
  const auto transfer = [&] {
    this->open();
    EXPECT_EQ(write(this->pipe, "quest"), netOk);
    EXPECT_EQ(this->peer.receive(5), "quest");
    EXPECT_EQ(this->errors.take(), "");
    this->pipe.closePipe();
  };
  ostest::fs::create_directory("0.out");
  this->pipe.setLogging(1);
  transfer();
  this->pipe.setLogging(0);
  ostest::fs::remove("0.out");
  ostest::fs::create_symlink("/dev/full", "0.out");
  this->pipe.setLogging(1);
  transfer();
  this->pipe.setLogging(0);
  EXPECT_EQ(this->errors.take(), "");
}

// The table of the log beside ICU's: the letters, digits and signs of EBCDIC, and one sign of our own.
TEST(EbcdicToAscii, AgreesWithTheCodePage) {
  UErrorCode problem = U_ZERO_ERROR;
  UConverter* ebcdic = ucnv_open("ibm-37", &problem);
  ASSERT_TRUE(U_SUCCESS(problem));
  int shown = 0;
  for (int byte = 0; byte < 256; ++byte) {
    const unsigned char ours = ZuEbcdicToAscii(static_cast<unsigned char>(byte));
    if (ours == '.') continue;
    ++shown;
    const char source = static_cast<char>(byte);
    const char* from = &source;
    EXPECT_EQ(ours, byte == 0xB9 ? '`' : ucnv_getNextUChar(ebcdic, &from, from + 1, &problem)) << byte;
  }
  ucnv_close(ebcdic);
  EXPECT_EQ(shown, 26 + 26 + 10 + 25);
}

// --- ZuPipe alone ---

// A transport that does as a script says, and writes down what it was asked.
struct Script {
  struct Step {
    unsigned short count;
    unsigned error;
  };
  std::vector<Step> steps;
  std::vector<int> asked;  // chunk lengths; negative for out-of-band data
  int closeResult = 1;
  int checkResult = 0;
  unsigned checkError = 0;

  unsigned short take(int length, unsigned* error) {
    asked.push_back(length);
    const Step step = asked.size() <= steps.size() ? steps[asked.size() - 1] : Step{0, EIO};
    *error = step.error;
    return step.count;
  }
} script;

class ScriptedPipe : public ZuPipe {
 public:
  ScriptedPipe() {
    netFunctions.Read = [](void*, void*, unsigned short n, unsigned short same, unsigned short zero,
                           unsigned* error) {
      EXPECT_EQ(same, n);
      EXPECT_EQ(zero, 0);
      return script.take(n, error);
    };
    netFunctions.Write = [](void*, const void*, unsigned short n, unsigned* error) {
      return script.take(n, error);
    };
    netFunctions.WriteOOB = [](void*, const void*, unsigned short n, unsigned* error) {
      return script.take(-n, error);
    };
    netFunctions.Open = [](void*, const char*, unsigned*) { return 1; };
    netFunctions.Close = [](void*, unsigned* error) {
      *error = 99;
      return script.closeResult;
    };
    netFunctions.CheckForData = [](void*, unsigned* hasData, unsigned* error) {
      *hasData = 1;
      *error = script.checkError;
      return script.checkResult;
    };
    script = Script();
    EXPECT_EQ(openPipe(bytes("any")), 0);
  }
  using ZuPipe::addNetLibError;
  void setConnected() { connected = 1; }
};

// Transfers of any length against any transport, beside the rules told again in one loop.
TEST(ScriptedTransport, ChunksAndResultsAgainstAModel) {
  Errors errors;
  std::mt19937 random(17);
  const unsigned words[] = {EAGAIN, EPIPE, ECONNRESET, ETIME, ETIMEDOUT, EIO, EINTR};
  const Bytes data(4 * 65535);
  Bytes buffer(data.size());
  ScriptedPipe pipe;
  for (int round = 0; round < 3000 && !testing::Test::HasFailure(); ++round) {
    const unsigned long near = random() % 4 * 65535 + random() % 5;
    const unsigned long length = random() % 2 ? near - std::min(near, 2UL) : random() % data.size();
    const bool reading = random() % 2;
    const bool urgent = random() % 2;
    script = Script();
    pipe.setConnected();
    std::vector<int> asked;
    ZuNetStatus expected = netOk;
    unsigned long total = 0;
    std::string record;
    for (unsigned long left = length;; left -= 65535) {
      const int chunk = static_cast<int>(std::min(left, 65535UL));
      const unsigned choice = random() % 8;
      const unsigned word = choice == 0 ? words[random() % 7] : 0;
      const auto count = static_cast<unsigned short>(choice == 1   ? random() % (chunk + 1)
                                                     : choice == 2 ? 0
                                                                   : chunk);
      script.steps.push_back({count, word});
      asked.push_back(reading || !urgent ? chunk : -chunk);
      if (reading && word == EINTR) {
        left += 65535;
        continue;
      }
      if (word || (!reading && count < chunk)) {
        const bool lost = word == EAGAIN || word == EPIPE || word == ECONNRESET;
        const bool late = word == ETIME || word == ETIMEDOUT;
        expected = lost ? netConnectionLost : late ? netTimeout : netError;
        record = lost ? "7503 - 08S01" : late ? "" : "7500 " + std::to_string(word) + " 08S01";
        break;
      }
      total += count;
      if (count == 0 && chunk != 0) total = 0;
      if (count < chunk || left < 65535) break;
    }
    unsigned long got = total;
    unsigned long* where = random() % 4 ? &got : nullptr;
    if (where) got = 77;
    const ZuNetStatus status = reading ? pipe.readPipe(buffer.data(), length, 1, where)
                                       : pipe.writePipe(data.data(), length, urgent);
    EXPECT_EQ(status, expected);
    EXPECT_EQ(script.asked, asked);
    EXPECT_EQ(pipe.isConnected(), expected != netConnectionLost);
    EXPECT_EQ(errors.take(), record);
    EXPECT_EQ(got, reading || !where ? total : 77);
  }
}

TEST(ScriptedTransport, PeekAndClose) {
  Errors errors;
  ScriptedPipe pipe;
  int available = 5;
  for (const unsigned word : {0u, 11u, 104u}) {
    script.checkError = word;
    EXPECT_EQ(pipe.peekPipe(available), word ? netError : netOk);
    EXPECT_EQ(available, 0);
    EXPECT_EQ(errors.take(), word ? "7500 " + std::to_string(word) + " 08S01" : "");
  }
  script.checkResult = 1;
  script.checkError = 0;
  EXPECT_EQ(pipe.peekPipe(available), netOk);
  EXPECT_EQ(available, 1);
  script.closeResult = -1;
  EXPECT_EQ(pipe.closePipe(), -1);
  EXPECT_EQ(errors.take(), "7500 99 08S01");
  EXPECT_TRUE(pipe.isConnected());
  script.closeResult = 0;
  EXPECT_EQ(pipe.closePipe(), 0);
  EXPECT_EQ(pipe.peekPipe(available), netConnectionLost);
  EXPECT_EQ(errors.take(), "7503 - 08S01");
  const struct {
    ZuNetStatus status;
    const char* record;
  } messages[] = {{netOk, ""},
                  {netError, "7500 -1 08S01"},
                  {netTimeout, "7501 - 08S01"},
                  {netAltTimeout, ""},
                  {netBadHandle, "7504 - 08S01"}};
  for (const auto& m : messages) {
    pipe.addNetLibError(m.status, -1);
    EXPECT_EQ(errors.take(), m.record);
  }
}

using NewPipe = Pipes<ZuPipe>;

TEST_F(NewPipe, LongTransfersInBothDirections) {
  open();
  for (const size_t length : {size_t{65536}, size_t{3 * 65535 + 1}, size_t{1000000}}) {
    std::string data(length, '\0');
    std::mt19937 random(static_cast<unsigned>(length));
    for (char& c : data) c = static_cast<char>(random());
    std::thread echo([&] {
      EXPECT_EQ(peer.receive(length), data);
      peer.send(data);
    });
    EXPECT_EQ(write(pipe, data), netOk);
    Bytes reply(length);
    for (unsigned long done = 0; done < length; done += got) {
      // Not a multiple of 65535: the empty last chunk of such a read takes what is waiting for a lost
      // connection.
      const unsigned long want = std::min(length - done, 65534UL);
      ASSERT_EQ(pipe.readPipe(reply.data() + done, want, 0, &got), netOk);
    }
    echo.join();
    EXPECT_EQ(std::string(reply.begin(), reply.end()), data);
  }
}

TEST_F(NewPipe, PeekSeesWhatWaits) {
  open();
  int available = 7;
  EXPECT_EQ(pipe.peekPipe(available), netOk);
  EXPECT_EQ(available, 0);
  peer.send("x");
  EXPECT_EQ(pipe.peekPipe(available), netOk);
  EXPECT_EQ(available, 1);
  peer.abort();
  EXPECT_EQ(pipe.peekPipe(available), netError);
  EXPECT_EQ(errors.take(), "7500 11 08S01");
}

TEST_F(NewPipe, ATlsAlertIsRecognised) {
  open();
  const std::string alert("\x15\x03\x03\x00\x02\x02\x28", 7);
  for (const size_t n : {7, 6}) {
    peer.send(alert.substr(0, n));
    EXPECT_EQ(read(pipe, buffer, 100, &got), n == 7 ? netError : netOk);
    EXPECT_EQ(got, n);
    EXPECT_EQ(errors.take(), n == 7 ? "7509 -" : "");
  }
  EXPECT_TRUE(pipe.isConnected());
}

TEST_F(NewPipe, TlsIsNotAvailable) {
  const long before = openDescriptors();
  EXPECT_EQ(pipe.isSSL(), 0u);
  EXPECT_EQ(pipe.setSSL(), 0);
  EXPECT_EQ(pipe.isSSL(), 1u);
  EXPECT_EQ(pipe.openPipe(bytes(peer.address())), -1);
  EXPECT_EQ(errors.take(), "7511 -");
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(write(pipe, "x"), netError);
  EXPECT_EQ(read(pipe, buffer, 1, &got), netError);
  EXPECT_EQ(errors.take(), "7511 -; 7511 -");
  EXPECT_EQ(pipe.setTrustedRootsFilename(nullptr), 0);
  sweepAllocations([&] { return pipe.setTrustedRootsFilename("roots.pem") == 0; });
}

TEST_F(NewPipe, AResetLeavesTheSocketOpen) {
  open();
  const long before = openDescriptors();
  pipe.reset();
  EXPECT_FALSE(pipe.isConnected());
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(write(pipe, "x"), netConnectionLost);
  // Ours to close: the descriptor that was open before the peer's.
  for (int handle = 3; handle < peer.handle; ++handle) {
    sockaddr_in end;
    socklen_t length = sizeof end;
    if (getpeername(handle, reinterpret_cast<sockaddr*>(&end), &length) == 0) close(handle);
  }
}

// --- ZuTCPIP alone ---

using OldPipe = Pipes<ZuTCPIP>;

TEST_F(OldPipe, WaitsAndTheirEnds) {
  open();
  const auto readWith = [&](int alternate, const char* call, int error) {
    SocketFaults faults;
    faults.expireWaits();
    if (call) faults.fail(call, error);
    const ZuNetStatus status = pipe.readPipe(buffer, 10, &got, alternate);
    lastWait = faults.lastWait();
    return status;
  };
  pipe.setReadTimeout(3, 500000);
  pipe.setAlternateTimeout(0, 1700000);
  EXPECT_EQ(readWith(0, nullptr, 0), netTimeout);
  EXPECT_EQ(lastWait, milliseconds(3500));
  EXPECT_EQ(readWith(1, nullptr, 0), netAltTimeout);
  EXPECT_EQ(lastWait, milliseconds(1700));
  EXPECT_FALSE(pipe.hasTimedOut());
  EXPECT_EQ(readWith(0, "ppoll", ETIMEDOUT), netTimeout);
  EXPECT_FALSE(pipe.hasTimedOut());
  EXPECT_EQ(readWith(1, "ppoll", ETIME), netAltTimeout);
  EXPECT_TRUE(pipe.hasTimedOut());
  EXPECT_EQ(errors.take(), "");
  EXPECT_EQ(readWith(1, "ppoll", EINTR), netAltTimeout) << "waits again";
  EXPECT_FALSE(pipe.hasTimedOut()) << "cleared by each transfer";
  EXPECT_LE(lastWait, milliseconds(1700)) << "for the rest of the time";
  EXPECT_EQ(readWith(1, "ppoll", EIO), netError);
  EXPECT_EQ(readWith(1, "ppoll", ECONNRESET), netConnectionLost);
  EXPECT_FALSE(pipe.isConnected());
  EXPECT_EQ(errors.take(), "7500 5 08S01/21; 7503 - 08S01/21");

  pipe.setReadTimeout(0, 0);
  peer.send("now");
  lastWait = {};
  {
    SocketFaults faults;
    faults.fail("ppoll", EIO);
    EXPECT_EQ(pipe.readPipe(buffer, 10, &got, 0), netOk) << "no wait at all";
    EXPECT_EQ(got, 3u);
    faults.fail("recv", EINTR);
    peer.send("again");
    EXPECT_EQ(pipe.readPipe(buffer, 10, &got, 0), netOk);
    EXPECT_EQ(got, 5u);
  }
  pipe.setAlternateTimeout(0, 0);
  EXPECT_EQ(pipe.readPipe(buffer, 10, &got, 1), netAltTimeout) << "only looks";
}

TEST_F(OldPipe, AnEmptyWriteCountsAsLost) {
  open();
  EXPECT_EQ(write(pipe, ""), netConnectionLost);
  EXPECT_EQ(errors.take(), "7503 - 08S01/21");
}

}  // namespace
