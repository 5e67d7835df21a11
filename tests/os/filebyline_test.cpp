// The line reader: a bounded run of the fuzz target, which aborts where it differs from its model, failures,
// and files that change.

#define LLVMFuzzerTestOneInput readLines
#include "fuzz/filebyline_fuzz.cpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <thread>

#include "tests/os/support.h"
#include "tests/support/fault_allocator.h"
#include "zulib/os/files/bosfile.h"

using namespace ostest;

namespace {

class FileByLine : public OsTest {
 protected:
  std::string next() {
    EXPECT_EQ(reader.getNextLine(&view), 0) << errors.take();
    return shown();
  }
  std::string shown() const {
    return std::string(reinterpret_cast<const char*>(view.asPascalStr()), view.getLength());
  }
  void open(const std::string& content, unsigned long bufferSize) {
    writeFile("f", content);
    ASSERT_EQ(reader.openFile(bytes("f"), bufferSize), 0);
  }

  ZuFileByLine reader;
  ZuSubString view;
};

TEST_F(FileByLine, FailuresLeaveTheReaderWhereItWas) {
  EXPECT_EQ(reader.openFile(bytes("none"), 100), 1);
  EXPECT_EQ(errors.take(), "1509: none");
  EXPECT_FALSE(reader.isFileOpen());
  ASSERT_EQ(reader.openFile(bytes("."), 100), 0);
  EXPECT_EQ(reader.getNextLine(&view), 1);
  EXPECT_EQ(reader.getNextNonBlankLine(&view), 1);
  EXPECT_EQ(errors.take(), "30041: Is a directory (.); 30041: Is a directory (.)");

  open("a\nb\n", 100);
  next();
  reader.setSeekOffset(-5);
  EXPECT_EQ(next(), "b\n");

  sweepAllocations([&] {
    ZuFileByLine another;
    if (another.openFile(bytes("f"), 100)) {
      EXPECT_FALSE(another.isFileOpen());
      return false;
    }
    EXPECT_EQ(another.getNextLine(&view), 0);
    EXPECT_EQ(shown(), "a\n");
    another.setCryptType(2);
    if (another.getNextLine(&view)) {
      EXPECT_EQ(another.getNextLineOffset(), 2);
      return false;
    }
    EXPECT_EQ(shown(), std::string("\x9D\n"));
    return true;
  });
}

TEST_F(FileByLine, ScrambledLines) {
  const std::string lines[] = {"first line\n", "\n", "a line that is longer than the buffer\n", " \t\n",
                               "tail"};
  std::string content;
  for (const std::string& line : lines) content += line;
  encrypt(reinterpret_cast<unsigned char*>(content.data()), content.size(), ZuScrambleLines, nullptr);
  open(content, 16);
  reader.setCryptType(ZuScrambleLines);
  for (const std::string& line : lines) {
    std::string whole = next();
    while (!reader.isLineComplete()) whole += next();
    EXPECT_EQ(whole, line);
  }
  EXPECT_EQ(reader.getPrevLineOffset(), static_cast<long long>(content.size() - 4));
  reader.setSeekOffset(0);
  next();
  EXPECT_EQ(reader.getNextNonBlankLine(&view), 0);
  EXPECT_EQ(shown(), "a line that ") << "blank is what the line says, not what the file holds";
  reader.ungetLine();
  reader.setCryptType(0);
  EXPECT_EQ(next()[0], static_cast<char>(~'a'));

  // In mode 3 each line is a text by itself, without its line feed.
  std::string secret = "secret";
  encrypt(reinterpret_cast<unsigned char*>(secret.data()), secret.size(), ZuScrambleBlocks, nullptr);
  ASSERT_EQ(secret.find('\n'), std::string::npos);
  open(secret + "\n" + secret, 100);
  reader.setCryptType(ZuScrambleBlocks);
  reader.resetReturnEol();
  EXPECT_EQ(next(), "secret");
  EXPECT_EQ(next(), "secret");
}

TEST_F(FileByLine, FilesThatChangeWhileTheyAreRead) {
  open("one\ntwo\n", 5);
  EXPECT_EQ(next(), "one\n");
  EXPECT_EQ(next(), "two\n");
  EXPECT_EQ(next(), "");
  ASSERT_EQ(inOtherProcess([] {
              std::ofstream("f", std::ios::app) << "three\n";
              return 0;
            }),
            0);
  EXPECT_EQ(next(), "t") << "a file that grew";
  EXPECT_EQ(next(), "hree\n");
  ASSERT_EQ(inOtherProcess([] { return truncate("f", 2); }), 0);
  EXPECT_EQ(next(), "");
  EXPECT_TRUE(reader.isEndOfFile());
  EXPECT_EQ(reader.getFirstLine(&view), 0);
  EXPECT_EQ(shown(), "on");

  mkfifo("pipe", 0666);
  std::thread writer([] {
    const int pipe = ::open("pipe", O_WRONLY);
    for (const char* part : {"li", "ne\nre", "st"}) {
      EXPECT_GT(write(pipe, part, strlen(part)), 0);
      usleep(2000);
    }
    close(pipe);
  });
  ASSERT_EQ(reader.openFile(bytes("pipe"), 100), 0);
  EXPECT_EQ(next(), "line\n");
  EXPECT_EQ(next(), "rest");
  writer.join();
}

TEST_F(FileByLine, LinesBeyondFourGigabytes) {
  constexpr long long kFar = (4LL << 30) + 100;
  int handle = 0;
  ASSERT_EQ(bosFileOpen(bytes("f"), bosOpenCreate, &handle), 0);
  ASSERT_EQ(bosFileWrite(handle, kFar, "far\naway\n", 9), 0);
  bosFileClose(handle);
  ASSERT_EQ(reader.openFile(bytes("f"), 64), 0);
  reader.setSeekOffset(kFar);
  EXPECT_EQ(next(), "far\n");
  EXPECT_EQ(next(), "away\n");
  EXPECT_EQ(reader.getPrevLineOffset(), kFar + 4);
  EXPECT_EQ(reader.getNextLineOffset(), kFar + 9);
  reader.ungetLine();
  EXPECT_EQ(next(), "away\n");
}

TEST_F(FileByLine, RandomFilesLikeTheModel) {
  Dice dice(11);
  for (int round = 0; round < 600; ++round) {
    std::vector<uint8_t> bytes = dice.bytes(66 + dice(200));
    for (size_t i = 66; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>("ab\n\r \0x"[bytes[i] % 7]);
    ASSERT_EQ(readLines(bytes.data(), bytes.size()), 0) << round;
  }
  EXPECT_EQ(reader.getNextLine(&view), 1);
  EXPECT_EQ(errors.take(), "1507");
}

}  // namespace
