// The line reader: against a plain model over random files and small buffers, and its states one by one.

#include "zulib/os/files/zufilebyline.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <random>
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

TEST_F(FileByLine, DeliversLinesAndTheTail) {
  open("one\r\ntwo\n\nlast", 100);
  EXPECT_EQ(next(), "one\r\n");
  EXPECT_EQ(reader.getPrevLineOffset(), 0);
  EXPECT_EQ(reader.getNextLineOffset(), 5);
  reader.resetReturnEol();
  EXPECT_EQ(next(), "two");
  EXPECT_EQ(reader.getNextLineOffset(), 9);
  EXPECT_EQ(next(), "");
  EXPECT_FALSE(reader.isEndOfFile());
  EXPECT_EQ(next(), "last");
  EXPECT_FALSE(reader.isEndOfFile());
  EXPECT_TRUE(reader.isLineComplete());
  EXPECT_EQ(next(), "");
  EXPECT_TRUE(reader.isEndOfFile());
  reader.setReturnEol();
  EXPECT_EQ(reader.getFirstLine(&view), 0);
  EXPECT_EQ(shown(), "one\r\n");
  reader.closeFile();
  EXPECT_FALSE(reader.isFileOpen());
  EXPECT_EQ(reader.getNextLine(&view), 1);
  EXPECT_EQ(errors.take(), "1507");
}

TEST_F(FileByLine, LongLinesComeInPieces) {
  open("0123456789abcdefgh\nx\n", 8);
  std::string pieces;
  for (std::string piece = next(); !reader.isLineComplete(); piece = next()) {
    EXPECT_EQ(piece.size(), 4u);
    pieces += piece + "|";
  }
  EXPECT_EQ(pieces + shown(), "0123|4567|89ab|cdefgh\n");
  EXPECT_EQ(next(), "x\n");
  open(std::string(40, 'y'), 0);
  std::string all;
  while (!reader.isEndOfFile()) all += next();
  EXPECT_EQ(all, std::string(40, 'y')) << "a buffer of the smallest size still moves on";
}

TEST_F(FileByLine, UngetAndUnread) {
  open("a\nbb\nccc\ndddd\n", 10);
  next();
  EXPECT_EQ(next(), "bb\n");
  reader.ungetLine();
  EXPECT_EQ(next(), "bb\n");
  EXPECT_EQ(next(), "ccc\n");
  reader.setSeekOffset(0);
  EXPECT_EQ(next(), "a\n");
  reader.ungetLine();
  EXPECT_EQ(next(), "a\n");
  reader.seekToUnread();
  EXPECT_EQ(next(), "dddd\n");
  reader.ungetLine();
  reader.setSeekOffset(0);
  EXPECT_EQ(next(), "a\n");
  reader.seekToUnread();
  EXPECT_EQ(next(), "dddd\n") << "what was put back is unread";
  reader.setSeekOffset(1000);
  EXPECT_EQ(next(), "");
  EXPECT_TRUE(reader.isEndOfFile());
  reader.setSeekOffset(2);
  reader.setSeekOffset(-1);
  EXPECT_EQ(next(), "");
}

TEST_F(FileByLine, BlankLinesArePassed) {
  open(" \t\n\r\n\f\v\n x\n \n", 6);
  EXPECT_EQ(reader.getNextNonBlankLine(&view), 0);
  EXPECT_EQ(shown(), " x\n");
  EXPECT_EQ(reader.getNextNonBlankLine(&view), 0);
  EXPECT_TRUE(reader.isEndOfFile());
}

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
  constexpr long long far = (4LL << 30) + 100;
  int handle = 0;
  ASSERT_EQ(bosFileOpen(bytes("f"), bosOpenCreate, &handle), 0);
  ASSERT_EQ(bosFileWrite(handle, far, "far\naway\n", 9), 0);
  bosFileClose(handle);
  ASSERT_EQ(reader.openFile(bytes("f"), 64), 0);
  reader.setSeekOffset(far);
  EXPECT_EQ(next(), "far\n");
  EXPECT_EQ(next(), "away\n");
  EXPECT_EQ(reader.getPrevLineOffset(), far + 4);
  EXPECT_EQ(reader.getNextLineOffset(), far + 9);
  reader.ungetLine();
  EXPECT_EQ(next(), "away\n");
}

// The stated rules over the whole text: what stands at `at`, for any state of the buffer, but that a line
// longer than the buffer comes in pieces whose ends the model takes from the reader.
TEST_F(FileByLine, RandomFilesAgainstAModel) {
  std::mt19937 random(11);
  for (int round = 0; round < 300 && !HasFailure(); ++round) {
    std::string content;
    for (unsigned n = random() % 200; n > 0; --n) content += "ab\n\r \0x"[random() % 7];
    const unsigned long size = 5 + random() % 40;
    open(content, size);
    unsigned long at = 0;
    unsigned long last = 0;
    unsigned long unread = 0;
    for (int step = 0; step < 60 && !HasFailure(); ++step) {
      const unsigned choice = random() % 8;
      if (choice == 0) {
        at = random() % (content.size() + 1);
        reader.setSeekOffset(static_cast<long long>(at));
      } else if (choice == 1 && step > 0) {
        reader.ungetLine();
        at = last;
        unread = static_cast<unsigned long>(-1);
      } else if (choice == 2 && unread != static_cast<unsigned long>(-1)) {
        reader.seekToUnread();
        at = unread;
      }
      const std::string line = next();
      const auto feed = content.find('\n', at);
      const std::string whole = content.substr(at, feed == std::string::npos ? feed : feed + 1 - at);
      EXPECT_EQ(line, whole.substr(0, line.size()));
      EXPECT_EQ(reader.isEndOfFile(), whole.empty());
      if (reader.isLineComplete()) {
        EXPECT_EQ(line, whole);
        EXPECT_LE(line.size(), size);
      } else {
        EXPECT_EQ(line.size(), size - 4);
        EXPECT_GE(whole.size(), size);
      }
      EXPECT_EQ(reader.getPrevLineOffset(), static_cast<long long>(at));
      last = at;
      at += line.size();
      if (unread != static_cast<unsigned long>(-1)) unread = std::max(unread, at);
      EXPECT_EQ(reader.getNextLineOffset(), static_cast<long long>(at));
    }
  }
}

}  // namespace
