// Both pipes: what they make of every error number, what they do in which order, and their log; with bounded
// runs of the fuzz targets, which abort where a pipe does not keep to its rules.

#define LLVMFuzzerTestOneInput transferOnce
#include "fuzz/transfer_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput readInPieces
#include "fuzz/pipe_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput readLogBack
#include "fuzz/datastreamlog_fuzz.cpp"

#include <unicode/ucnv.h>

#include <cerrno>

#include "tests/net/errors.h"
#include "tests/net/peer.h"
#include "tests/net/socket_faults.h"
#include "tests/support/fault_allocator.h"
#include "zulib/net/zupipe.h"
#include "zulib/net/zutcpip.h"

using namespace nettest;
using namespace transferfuzz;
using namespace std::chrono;

namespace {

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

TYPED_TEST(Pipes, LogsEveryTransferToANewFile) {
  auto& pipe = this->pipe;
  const bool isOld = interfaceErrorOf(pipe) != 0;
  const auto logOfA = [](const std::string& header) {
    const auto cell = [](const std::string& shown, size_t width) {
      return shown + std::string(8 * width - shown.size(), ' ');
    };
    return header + "HEX\t\t\t\tASCII\t\t\tEBCDIC\n" + cell("41 ", 3) + "\t" + cell("A ", 2) + "\t" +
           cell(". ", 2) + "\n\n";
  };
  ostest::writeFile("0.out", "kept");
  this->open();
  pipe.setLogging(1);
  pipe.setLogging(1);
  EXPECT_EQ(write(pipe, "A"), netOk);
  this->peer.send("A");
  EXPECT_EQ(read(pipe, this->buffer, sizeof this->buffer, &this->got), netOk);
  this->peer.hangUp();
  EXPECT_EQ(read(pipe, this->buffer, sizeof this->buffer, &this->got), netConnectionLost);
  pipe.closePipe();
  EXPECT_EQ(write(pipe, "A"), netConnectionLost);
  pipe.setLogging(0);
  EXPECT_EQ(write(pipe, "off"), netConnectionLost);
  EXPECT_EQ(ostest::readFile("1.out"), logOfA("Sending 1 bytes\n") +
                                           logOfA(isOld ? "Reading 1 bytes\n" : "Reading 1 bytes\r\n") +
                                           logOfA("Sending 1 bytes\n"));
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

TEST(PipeModels, PiecesAndLogsOfAnyBytes) {
  Dice dice(7);
  for (int round = 0; round < 300; ++round) {
    const std::vector<uint8_t> bytes = dice.bytes(1 + dice(600));
    ASSERT_EQ(readInPieces(bytes.data(), bytes.size()), 0);
    ASSERT_EQ(readLogBack(bytes.data(), bytes.size() % 130), 0);
  }
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

TEST(ScriptedTransport, RandomTransfersLikeTheModel) {
  Dice dice(17);
  for (int round = 0; round < 3000; ++round) {
    const std::vector<uint8_t> bytes = dice.bytes(40);
    ASSERT_EQ(transferOnce(bytes.data(), bytes.size()), 0);
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
