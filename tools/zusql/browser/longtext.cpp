#include "tools/zusql/browser/longtext.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "tools/zusql/display.h"

namespace zusql {

namespace {

constexpr std::size_t kBytesOfCharacter = 4;

[[noreturn]] void fail() {
  throw std::runtime_error(std::string("the temporary file of the value: ") + std::strerror(errno));
}

}  // namespace

LongText::LongText(Reader reader) : reader(std::move(reader)), file(std::tmpfile()) {
  if (!file) fail();
}

void LongText::setWidth(std::size_t columns) {
  if (columns == width) return;
  width = std::max<std::size_t>(columns, 2);
  marks.clear();
  lines = 0;
  nextLine = 0;
}

void LongText::readPiece() {
  if (complete) return;
  std::string piece;
  complete = !reader(piece);
  if (fseeko(file.get(), length, SEEK_SET) != 0 ||
      std::fwrite(piece.data(), 1, piece.size(), file.get()) != piece.size()) {
    fail();
  }
  length += static_cast<std::int64_t>(piece.size());
}

std::string LongText::bytesAt(std::int64_t offset, std::size_t most) {
  std::string bytes(most, '\0');
  if (fseeko(file.get(), offset, SEEK_SET) != 0) fail();
  bytes.resize(std::fread(bytes.data(), 1, most, file.get()));
  return bytes;
}

// The text of the line that begins at an offset, and where the next one begins; -1 if the line is not
// complete.
std::int64_t LongText::lineEnd(std::int64_t begin, std::string& text, std::int64_t& next) {
  // The bytes of a full line of the widest characters, and of one more.
  const std::size_t most = (width + 1) * kBytesOfCharacter;
  const std::string bytes = bytesAt(begin, most);
  const std::size_t feed = bytes.find('\n');
  const std::string_view upToFeed = std::string_view(bytes).substr(0, feed);
  const std::size_t taken = bytesWithin(upToFeed, width);
  const bool isCut = taken < upToFeed.size();
  if (feed == std::string::npos && !complete && bytes.size() < most) return -1;
  text = visible(upToFeed.substr(0, taken));
  next = begin + static_cast<std::int64_t>(taken) + (!isCut && feed != std::string::npos ? 1 : 0);
  return next;
}

// Finds the end of one more line. False at the end of the text.
bool LongText::findNextLine() {
  std::string text;
  std::int64_t next = 0;
  while (lineEnd(nextLine, text, next) < 0) readPiece();
  if (next == nextLine) return false;
  if (lines % kMarkEvery == 0) marks.push_back(nextLine);
  ++lines;
  nextLine = next;
  return true;
}

bool LongText::line(std::int64_t number, std::string& text) {
  while (lines <= number) {
    if (!findNextLine()) return false;
  }
  std::int64_t at = marks[static_cast<std::size_t>(number / kMarkEvery)];
  std::int64_t next = at;
  for (std::int64_t i = number / kMarkEvery * kMarkEvery; i <= number; ++i) {
    at = next;
    lineEnd(at, text, next);
  }
  return true;
}

}  // namespace zusql
