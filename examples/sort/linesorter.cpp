#include "linesorter.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr unsigned kNumberSize = 8;
constexpr unsigned kLengthSize = sizeof(uint32_t);
constexpr unsigned kTextRoom = 120;  // most lines fit their records
constexpr unsigned short kCacheSize = 32768;

unsigned short recordLength(unsigned keyLength) {
  return static_cast<unsigned short>(keyLength + kNumberSize + kLengthSize + kTextRoom);
}

}  // namespace

LineSorter::LineSorter(unsigned first, unsigned last, unsigned long memory)
    : first(first),
      keyLength(last - first + 1),
      record(recordLength(keyLength)),
      sorter(recordLength(keyLength)),
      longLines(kCacheSize, 1) {
  sorter.setBufferLimit(static_cast<unsigned short>(std::min(memory / ZuSort::kBufferSize, 64UL)));
  isKeySet = sorter.addKey(0, 0, static_cast<unsigned short>(keyLength + kNumberSize)) == 0;
}

int LineSorter::add(std::string_view line) {
  if (!isKeySet) return 1;
  unsigned char* at = record.data();
  std::memset(at, 0, record.size());
  if (line.size() >= first) line.copy(reinterpret_cast<char*>(at), keyLength, first - 1);
  at += keyLength;
  const uint64_t number = getLineCount();
  for (unsigned i = 0; i < kNumberSize; ++i) at[i] = static_cast<unsigned char>(number >> (56 - 8 * i));
  at += kNumberSize;
  const auto length = static_cast<uint32_t>(line.size());
  std::memcpy(at, &length, kLengthSize);
  at += kLengthSize;
  if (line.size() <= kTextRoom) {
    std::memcpy(at, line.data(), length);
  } else {
    unsigned long address;
    if (longLines.tmpFindSpace(line.size(), &address)) return 1;
    if (longLines.tmpWrite(address, line.data(), line.size())) return 1;
    std::memcpy(at, &address, sizeof address);
  }
  return sorter.addRecord(record.data());
}

int LineSorter::next(std::string* line, bool* isEnd) {
  void* found;
  if (sorter.getSorted(&found)) return 1;
  *isEnd = found == nullptr;
  if (*isEnd) return 0;
  const unsigned char* at = static_cast<unsigned char*>(found) + keyLength + kNumberSize;
  uint32_t length;
  std::memcpy(&length, at, kLengthSize);
  at += kLengthSize;
  line->resize(length);
  if (length <= kTextRoom) {
    std::memcpy(line->data(), at, length);
    return 0;
  }
  unsigned long address;
  std::memcpy(&address, at, sizeof address);
  return longLines.tmpRead(address, line->data(), length);
}
