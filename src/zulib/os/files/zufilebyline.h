// A text file by its lines, delivered as views into the reader's buffer: no line is copied unless it is
// scrambled.
//
// A line that is longer than the buffer comes in pieces of the buffer's size less 4, with
// `isLineComplete` 0 for all but the last. A carriage return stays in the line. The file may grow or change
// while it is read; the buffer keeps what was read.
//
// Offsets are those of the file, in bytes.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_OS_FILES_ZUFILEBYLINE_H
#define ZULIB_OS_FILES_ZUFILEBYLINE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/text/zustring.h"

class ZU_API ZuFileByLine : public ZuObject {
 public:
  ZuFileByLine();
  ZuFileByLine(const ZuFileByLine&) = delete;
  ZuFileByLine& operator=(const ZuFileByLine&) = delete;
  ~ZuFileByLine() override;

  // Closes the open file, and opens another for reading. The smallest buffer is 5 bytes.
  // 0, or 1 with no file open and the error recorded.
  int openFile(const unsigned char* name, unsigned long bufferSize);
  // No file is open afterwards, also if it returns 1.
  int closeFile();

  // Returns the first line, or the one at the reader's position. The view is valid until the next call; it is
  // empty at the end of the file. 0, or 1 with the position unchanged and the error recorded.
  int getFirstLine(ZuSubString* view);
  int getNextLine(ZuSubString* view);
  // Skips lines, and pieces of lines, that hold only white space.
  int getNextNonBlankLine(ZuSubString* view);

  // Makes the line last delivered the next one again.
  void ungetLine();

  // Makes the line at `offset` the next one; -1 cancels that.
  void setSeekOffset(long long offset) { seekOffset = offset; }
  // Makes the line after all that was delivered so far the next one.
  void seekToUnread() { seekOffset = unreadOffset; }

  // Lines with their line feed, which is the default, or without it.
  void setReturnEol() { returnEol = true; }
  void resetReturnEol() { returnEol = false; }

  bool isEndOfFile() const { return endOfFile; }
  bool isLineComplete() const { return lineComplete; }
  bool isFileOpen() const { return handle > 0; }

  // Where the line last delivered starts, and where it ends.
  long long getPrevLineOffset() const { return lineOffset; }
  long long getNextLineOffset() const { return readIndex < 0 ? bufferEnd : bufferStart + readIndex; }

  // How the lines from here on are scrambled: a mode of `encrypt` with the library's own key, 0 for not at
  // all. Each line, or piece of one, is unscrambled by itself, with the line feed if that is delivered, and
  // its view then points to a copy.
  void setCryptType(unsigned short type) { cryptType = type; }

 private:
  const unsigned char* nextLineFeed() const;
  void leaveReadLine();
  int load();
  int fill(long long offset);
  void deliver(const unsigned char* lineFeed, ZuSubString* view);
  void unscramble(ZuSubString* view);

  int handle = 0;
  unsigned char* name = nullptr;    // owned
  unsigned char* buffer = nullptr;  // owned; one byte more than its size
  unsigned long bufferSize = 0;
  unsigned long bytesInBuffer = 0;
  long readIndex = -1;           // of the next line in the buffer; -1: nothing is loaded
  long long bufferStart = 0;     // file offset of the buffer's first byte
  long long bufferEnd = 0;       // file offset past the buffer
  long long lineOffset = 0;      // of the line last delivered
  long long seekOffset = -1;     // of the next line; -1: where the last one ended
  long long unreadOffset = 0;    // the highest offset delivered so far
  long long previousUnread = 0;  // what unreadOffset was before the last line
  bool returnEol = true;
  bool lineComplete = false;
  bool endOfFile = false;
  ZuString scratch;  // a line while it is unscrambled
  unsigned short cryptType = 0;
};

#endif
