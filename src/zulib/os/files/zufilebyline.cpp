#include "zulib/os/files/zufilebyline.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/ram.h"
#include "zulib/text/strcopy.h"

namespace {

// If a line fills the buffer, a piece of all but this many bytes is delivered.
constexpr unsigned long kKeptOfPiece = 4;

constexpr long long kCurrentPosition = -1;

}  // namespace

ZuFileByLine::ZuFileByLine() = default;

ZuFileByLine::~ZuFileByLine() { closeFile(); }

int ZuFileByLine::openFile(const unsigned char* fileName, unsigned long size) {
  closeFile();
  if (bosFileOpen(fileName, 0, &handle)) return 1;
  bufferSize = std::max(size, kKeptOfPiece + 1);
  name = ramAllocStr(fileName);
  buffer = static_cast<unsigned char*>(ramAlloc(bufferSize + 1));
  if (name && buffer) return 0;
  closeFile();
  return 1;
}

int ZuFileByLine::closeFile() {
  const int failed = bosFileClose(handle);
  std::free(name);
  std::free(buffer);
  handle = 0;
  name = buffer = nullptr;
  bufferSize = bytesInBuffer = 0;
  readIndex = -1;
  bufferStart = bufferEnd = lineOffset = unreadOffset = previousUnread = 0;
  seekOffset = -1;
  returnEol = true;
  lineComplete = endOfFile = false;
  scratch.unInitialize();
  cryptType = 0;
  return failed;
}

int ZuFileByLine::getFirstLine(ZuSubString* view) {
  seekOffset = 0;
  return getNextLine(view);
}

int ZuFileByLine::getNextLine(ZuSubString* view) {
  if (!isFileOpen()) {
    bosMapError(EBADF, name);
    return 1;
  }
  // Room for any line comes first, so that a failure leaves the reader where it was.
  scratch.clear();
  if (cryptType != 0 && scratch.assureSpace(bufferSize)) return 1;
  leaveReadLine();
  const unsigned char* lineFeed = nextLineFeed();
  if (!lineFeed) {
    if (load()) return 1;
    lineFeed = nextLineFeed();
  }
  deliver(lineFeed, view);
  if (cryptType != 0) unscramble(view);
  return 0;
}

int ZuFileByLine::getNextNonBlankLine(ZuSubString* view) {
  for (;;) {
    if (getNextLine(view)) return 1;
    if (endOfFile) return 0;
    const unsigned char* line = view->asPascalStr();
    const auto isBlank = [](unsigned char byte) { return std::isspace(byte) != 0; };
    if (!std::all_of(line, line + view->getLength(), isBlank)) return 0;
  }
}

void ZuFileByLine::ungetLine() {
  seekOffset = lineOffset;
  // The two differ only if the last line was the furthest that was delivered.
  unreadOffset = previousUnread;
}

// Moves to a requested offset inside the buffer, or drops the buffer.
void ZuFileByLine::leaveReadLine() {
  if (readIndex < 0) return;
  if (seekOffset >= 0) {
    const bool isInside =
        seekOffset >= bufferStart && seekOffset < bufferStart + static_cast<long long>(bytesInBuffer);
    readIndex = isInside ? static_cast<long>(seekOffset - bufferStart) : -1;
    if (isInside) seekOffset = -1;
  } else if (static_cast<unsigned long>(readIndex) >= bytesInBuffer) {
    readIndex = -1;
  }
}

const unsigned char* ZuFileByLine::nextLineFeed() const {
  if (readIndex < 0) return nullptr;
  const auto start = static_cast<unsigned long>(readIndex);
  return static_cast<const unsigned char*>(std::memchr(buffer + start, '\n', bytesInBuffer - start));
}

// Fills the buffer: after its unread rest, or all of it from the requested offset or the position of the
// file.
int ZuFileByLine::load() {
  if (readIndex >= 0) {
    const auto passed = static_cast<unsigned long>(readIndex);
    bytesInBuffer -= passed;
    std::memmove(buffer, buffer + passed, bytesInBuffer);
    bufferStart += readIndex;
    readIndex = 0;
    return fill(kCurrentPosition);
  }
  const long long start = seekOffset >= 0 ? seekOffset : bufferEnd;
  bytesInBuffer = 0;
  if (fill(seekOffset >= 0 ? seekOffset : kCurrentPosition)) return 1;
  bufferStart = start;
  bufferEnd = start + static_cast<long long>(bytesInBuffer);
  readIndex = 0;
  seekOffset = -1;
  return 0;
}

int ZuFileByLine::fill(long long offset) {
  const unsigned long before = bytesInBuffer;
  while (bytesInBuffer < bufferSize) {
    unsigned long got = 0;
    bosFileRead(handle, offset, buffer + bytesInBuffer, bufferSize - bytesInBuffer, &got);
    if (got == 0) break;
    if (got == static_cast<unsigned long>(-1)) {
      // What was read before the failure is delivered first.
      if (bytesInBuffer > before) break;
      bosMapError(errno, name);
      return 1;
    }
    bytesInBuffer += got;
    bufferEnd += static_cast<long long>(got);
    offset = kCurrentPosition;
  }
  buffer[bytesInBuffer] = 0;
  return 0;
}

void ZuFileByLine::deliver(const unsigned char* lineFeed, ZuSubString* view) {
  const unsigned char* line = buffer + readIndex;
  unsigned long length = bytesInBuffer - static_cast<unsigned long>(readIndex);
  unsigned long passed = length;
  lineOffset = bufferStart + readIndex;
  lineComplete = true;
  if (lineFeed) {
    length = static_cast<unsigned long>(lineFeed - line);
    passed = length + 1;
    if (returnEol) length = passed;
  } else if (bytesInBuffer == bufferSize) {
    lineComplete = false;
    passed = length = bufferSize - kKeptOfPiece;
  }
  endOfFile = !lineFeed && length == 0;
  readIndex += static_cast<long>(passed);
  previousUnread = unreadOffset;
  unreadOffset = std::max(unreadOffset, getNextLineOffset());
  view->initialize(line, length);
}

void ZuFileByLine::unscramble(ZuSubString* view) {
  static_cast<void>(scratch.concat(*view));
  scratch.decrypt(cryptType, nullptr);
  view->initialize(scratch.asPascalStr(), scratch.getLength());
}
