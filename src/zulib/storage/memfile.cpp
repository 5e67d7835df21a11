#include "zulib/storage/memfile.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>

#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/ram.h"

namespace {

constexpr unsigned long kLongest = 0xFFFFFFFF;
constexpr unsigned long kFirstBlocks = 16;  // room in the list

}  // namespace

MemFile::MemFile(unsigned long blockSize)
    : blockSize(static_cast<uint32_t>(std::clamp(blockSize, 1UL, kLongest))) {}

MemFile::~MemFile() { clear(); }

int MemFile::initialize() { return blocks.getSizeOfArray() > 0 ? 0 : blocks.setInitialSize(kFirstBlocks); }

void MemFile::clear() {
  while (blocks.getCount() > 0) blocks.deleteAtIndex(blocks.getCount() - 1);
  static_cast<void>(blocks.shrink(0));  // to nothing: that cannot fail
  lastBlock = lastUsed = length = 0;
}

int MemFile::addBlock() {
  void* block = ramAlloc(blockSize);
  if (!block) return 1;
  if (blocks.add(block)) {
    free(block);
    return 1;
  }
  lastBlock = static_cast<uint32_t>(blocks.getCount() - 1);
  lastUsed = 0;
  return 0;
}

// Less than the length after an append that failed.
unsigned long MemFile::stored() const {
  return blocks.getCount() == 0 ? 0 : static_cast<unsigned long>(lastBlock) * blockSize + lastUsed;
}

int MemFile::append(const void* data, unsigned long count) {
  if (count > kLongest - length) {
    bosMapError(EFBIG, static_cast<const unsigned char*>(nullptr));
    return 1;
  }
  if (blocks.getCount() == 0 && addBlock()) return 1;
  length += static_cast<uint32_t>(count);
  const auto* from = static_cast<const unsigned char*>(data);
  for (;;) {
    const unsigned long n = std::min<unsigned long>(count, blockSize - lastUsed);
    fastMemCopy(static_cast<unsigned char*>(blocks.at(lastBlock)) + lastUsed, from, n);
    lastUsed += static_cast<uint32_t>(n);
    from += n;
    count -= n;
    if (count == 0) return 0;
    if (addBlock()) return 1;
  }
}

int MemFile::read(unsigned long address, void* out, unsigned long count) const {
  auto* to = static_cast<unsigned char*>(out);
  while (count > 0) {
    void* piece = nullptr;
    unsigned long room = 0;
    tmpPointer(address, &piece, &room, 0);
    const unsigned long n = std::min(count, room);
    if (n == 0) break;
    fastMemCopy(to, piece, n);
    address += n;
    to += n;
    count -= n;
  }
  return 0;
}

int MemFile::tmpPointer(unsigned long address, void** pointer, unsigned long* room, unsigned short) const {
  *pointer = nullptr;
  *room = 0;
  const unsigned long end = stored();
  if (address >= end) return 0;
  const unsigned long offset = address % blockSize;
  *pointer = static_cast<unsigned char*>(blocks.at(address / blockSize)) + offset;
  *room = std::min(blockSize - offset, end - address);
  return 0;
}
