#include "zulib/storage/zusharedfile.h"

#include <algorithm>
#include <cerrno>

#include "zulib/os/files/bosfile.h"

namespace {

constexpr unsigned long kBlockSize = 4096;
constexpr unsigned long kMostBlocks = 65536;

int failWith(int reason) {
  bosMapError(reason, static_cast<const unsigned char*>(nullptr));
  return 1;
}

}  // namespace

ZuSharedFile::~ZuSharedFile() = default;

int ZuSharedFile::read(unsigned long offset, void* buffer, unsigned long n) {
  auto* to = static_cast<unsigned char*>(buffer);
  while (n > 0) {
    const unsigned long block = offset / kBlockSize;
    if (block >= blocks.getCount()) return failWith(EINVAL);
    const unsigned long position = offset % kBlockSize;
    const unsigned long chunk = std::min(kBlockSize - position, n);
    if (file->tmpRead(blocks[block] + position, to, chunk)) return 1;
    offset += chunk;
    to += chunk;
    n -= chunk;
  }
  return 0;
}

int ZuSharedFile::write(unsigned long offset, const void* buffer, unsigned long n) {
  const auto* from = static_cast<const unsigned char*>(buffer);
  while (n > 0) {
    const unsigned long block = offset / kBlockSize;
    if (block >= kMostBlocks) return failWith(EFBIG);
    if (block > blocks.getCount()) return failWith(EINVAL);
    if (block == blocks.getCount()) {
      unsigned long address = 0;
      if (file->tmpFindSpace(kBlockSize, &address)) return 1;
      if (blocks.add(address)) {
        file->tmpFreeSpace(address, kBlockSize);
        return 1;
      }
    }
    const unsigned long position = offset % kBlockSize;
    const unsigned long chunk = std::min(kBlockSize - position, n);
    if (file->tmpWrite(blocks[block] + position, from, chunk)) return 1;
    offset += chunk;
    from += chunk;
    n -= chunk;
  }
  return 0;
}

int ZuSharedFile::truncate() {
  int result = 0;
  for (unsigned long i = 0; i < blocks.getCount(); ++i) result |= file->tmpFreeSpace(blocks[i], kBlockSize);
  return blocks.shrink(0) | result;
}
