#include "zulib/storage/blktmp.h"

#include <stdlib.h>

#include <algorithm>
#include <bit>
#include <cerrno>

#include "zulib/net/zutcpip.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/ram.h"

static_assert(std::endian::native == std::endian::little, "numbers are stored low byte first as they are");

namespace {

constexpr unsigned long kAddressEnd = 0xFFFFFFFF;  // the longest stream
constexpr unsigned long kWritePiece = 32768;       // bosFileWrite takes less than 65536 at a time
constexpr unsigned long kWirePiece = 32768;
constexpr unsigned long kShortCopy = 15;  // up to here a loop is faster than the copy routine

int failWith(int reason) {
  bosMapError(reason, static_cast<const unsigned char*>(nullptr));
  return 1;
}

// Ranges may overlap: a stream can be copied to itself.
void copyBytes(unsigned char* to, const unsigned char* from, unsigned long n) {
  if (n > kShortCopy) {
    std::memmove(to, from, n);
  } else {
    for (unsigned long i = 0; i < n; ++i) to[i] = from[i];
  }
}

// Copies the part of `data`, which has the bytes from `address` on, that `buffer` has a copy of.
void refresh(unsigned char* buffer, unsigned long start, unsigned long length, unsigned long address,
             const unsigned char* data, unsigned long count) {
  const unsigned long from = std::max(start, address);
  const unsigned long end = std::min(start + length, address + count);
  if (from < end && buffer + (from - start) != data + (from - address)) {
    std::memcpy(buffer + (from - start), data + (from - address), end - from);
  }
}

}  // namespace

BlkTmpFile::BlkTmpFile(unsigned long blockSize)
    : blockSize(static_cast<uint32_t>(std::clamp(blockSize, 1UL, kAddressEnd))) {}

BlkTmpFile::~BlkTmpFile() {
  for (const Block& block : buffers) free(block.data);
  free(view);
  free(readCache);
  bosFileClose(handle);
  free(fileName);
}

int BlkTmpFile::initialize(unsigned short newOrder) {
  nativeOrder = newOrder;
  swapBytes = newOrder ? 1 : 0;
  current = 0;
  int failed = 0;
  for (Block& block : buffers) {
    if (!block.data) block.data = static_cast<unsigned char*>(ramAlloc(blockSize));
    if (!block.data) failed = 1;
  }
  clear();
  return failed;
}

void BlkTmpFile::clear() {
  for (Block& block : buffers) block.used = block.start = 0;
  flushed = 0;
  length = 0;
  position = 0;
  viewLength = viewStart = viewWritable = 0;
  readCacheLength = readCacheStart = 0;
  setNext();
}

// Bytes that the current block may have: less than a block at the end of all addresses, none before the
// stream is initialized.
uint32_t BlkTmpFile::limit() const {
  if (!buffers[0].data || !buffers[1].data) return 0;
  return static_cast<uint32_t>(std::min<unsigned long>(blockSize, kAddressEnd - buffers[current].start));
}

void BlkTmpFile::setNext() {
  const Block& block = buffers[current];
  next = block.data + block.used;
  end = block.data + limit();
}

bool BlkTmpFile::hasRoomFor(unsigned long count) const {
  return limit() > 0 && count <= kAddressEnd - length;
}

bool BlkTmpFile::contains(unsigned long address, unsigned long count) const {
  return address <= length && count <= length - address;
}

// --- the file ---------------------------------------------------------------------------------------------

int BlkTmpFile::openFile() {
  if (fileName) return 0;
  auto* name = static_cast<unsigned char*>(ramAlloc(bosPathSize + 1));
  if (!name) return 1;
  name[0] = 0;
  if (bosFileOpen(name, bosOpenTemporary | bosOpenReadWrite, &handle)) {
    free(name);
    return 1;
  }
  fileName = name;
  return bosFileDelete(name);
}

int BlkTmpFile::writeFile(unsigned long address, const void* data, unsigned long count) {
  const auto* from = static_cast<const unsigned char*>(data);
  while (count > 0) {
    const unsigned long n = std::min(count, kWritePiece);
    if (bosFileWrite(handle, static_cast<long long>(address), from, n)) return 1;
    address += n;
    from += n;
    count -= n;
  }
  return 0;
}

// Changes what is in the file already, and what the view and the read cache have of it.
int BlkTmpFile::storeInFile(unsigned long address, const unsigned char* data, unsigned long count) {
  if (writeFile(address, data, count)) return 1;
  refresh(view, viewStart, viewLength, address, data, count);
  refresh(readCache, readCacheStart, readCacheLength, address, data, count);
  return 0;
}

int BlkTmpFile::readFile(unsigned long address, void* out, unsigned long count) {
  unsigned long got = 0;
  if (bosFileRead(handle, static_cast<long long>(address), out, count, &got)) return 1;
  if (got == count) return 0;
  return failWith(static_cast<long>(got) < 0 ? errno : EIO);
}

// --- writing ----------------------------------------------------------------------------------------------

// Before the current block is filled: the other one is emptied.
int BlkTmpFile::spillOther() {
  Block& block = other();
  if (block.used == 0) return 0;
  if (openFile() || writeFile(flushed, block.data, block.used)) return 1;
  flushed += block.used;
  block.used = 0;
  return 0;
}

void BlkTmpFile::flip() {
  const uint32_t start = buffers[current].start + blockSize;
  current = 1 - current;
  buffers[current].start = start;
}

// The bytes of a number, which are in their order.
int BlkTmpFile::appendSlowly(uint64_t value, unsigned long size) { return append(&value, size); }

int BlkTmpFile::append(const void* data, unsigned long count) {
  const Settled settled(this);
  if (!hasRoomFor(count)) return failWith(limit() > 0 ? EFBIG : EBADF);
  const auto* from = static_cast<const unsigned char*>(data);
  unsigned long left = count;
  while (buffers[current].used + left > blockSize) {
    if (spillOther()) return 1;
    Block& block = buffers[current];
    const uint32_t room = blockSize - block.used;
    std::memcpy(block.data + block.used, from, room);
    block.used = blockSize;
    length += room;
    from += room;
    left -= room;
    flip();
  }
  Block& block = buffers[current];
  copyBytes(block.data + block.used, from, left);
  block.used += static_cast<uint32_t>(left);
  length += static_cast<uint32_t>(left);
  position += static_cast<uint32_t>(count);
  return 0;
}

int BlkTmpFile::write(unsigned long address, const void* data, unsigned long count) {
  const Settled settled(this);
  if (address > length) return failWith(EINVAL);
  if (!hasRoomFor(count - std::min(count, length - address))) return failWith(limit() > 0 ? EFBIG : EBADF);
  if (address == length) return append(data, count);
  const auto* from = static_cast<const unsigned char*>(data);
  if (address < flushed) {
    const unsigned long n = std::min<unsigned long>(count, flushed - address);
    if (storeInFile(address, from, n)) return 1;
    address += n;
    from += n;
    count -= n;
  }
  for (Block* block : {&other(), &buffers[current]}) {
    const bool isCurrent = block == &buffers[current];
    if (count == 0 || (!isCurrent && address >= buffers[current].start)) continue;
    const unsigned long offset = address - block->start;
    const auto n =
        static_cast<uint32_t>(std::min<unsigned long>(count, (isCurrent ? limit() : block->used) - offset));
    std::memcpy(block->data + offset, from, n);
    block->used = std::max(block->used, static_cast<uint32_t>(offset + n));
    length = std::max(length, block->start + block->used);
    address += n;
    from += n;
    count -= n;
  }
  setNext();
  return count > 0 ? append(from, count) : 0;
}

int BlkTmpFile::copy(unsigned long address, BlkTmpFile* source, unsigned long count) {
  source->settle();
  if (!source->contains(address, count)) return failWith(EINVAL);
  while (count > 0) {
    void* piece = nullptr;
    unsigned long room = 0;
    if (source->tmpPointer(address, &piece, &room, 0)) return 1;
    const unsigned long n = std::min(room, count);
    if (append(piece, n)) return 1;
    address += n;
    count -= n;
  }
  return 0;
}

// --- reading ----------------------------------------------------------------------------------------------

int BlkTmpFile::fillReadCache(unsigned long address) {
  if (!readCache) readCache = static_cast<unsigned char*>(ramAlloc(blockSize));
  if (!readCache) return 1;
  // Not what the file still has of a stream that was longer.
  const auto n = static_cast<uint32_t>(std::min<unsigned long>(blockSize, flushed - address));
  readCacheLength = 0;
  if (readFile(address, readCache, n)) return 1;
  readCacheStart = static_cast<uint32_t>(address);
  readCacheLength = n;
  return 0;
}

// The bytes from `address` on that are together in one place, at most `count`: in the changed view, in the
// read cache, which is filled if need be, or in a block.
int BlkTmpFile::nextPiece(unsigned long address, unsigned long count, const unsigned char** piece,
                          unsigned long* n) {
  if (address >= flushed) {
    const Block& block = address < buffers[current].start ? other() : buffers[current];
    *piece = block.data + (address - block.start);
    *n = std::min(count, block.start + block.used - address);
    return 0;
  }
  if (isViewChanged() && address >= viewStart && address - viewStart < viewLength) {
    *piece = view + (address - viewStart);
    *n = std::min(count, viewStart + viewLength - address);
    return 0;
  }
  if (address < readCacheStart || address - readCacheStart >= readCacheLength) {
    if (fillReadCache(address)) return 1;
  }
  *piece = readCache + (address - readCacheStart);
  *n = std::min(count, readCacheStart + readCacheLength - address);
  if (isViewChanged() && viewStart > address) *n = std::min(*n, viewStart - address);
  return 0;
}

int BlkTmpFile::read(unsigned long address, void* out, unsigned long count) {
  settle();
  if (!contains(address, count)) return failWith(EINVAL);
  auto* to = static_cast<unsigned char*>(out);
  while (count > 0) {
    const unsigned char* piece = nullptr;
    unsigned long n = address < flushed ? std::min<unsigned long>(count, flushed - address) : 0;
    if (n > blockSize && !isViewChanged()) {
      // More than the read cache could help with.
      if (readFile(address, to, n)) return 1;
    } else {
      if (nextPiece(address, count, &piece, &n)) return 1;
      copyBytes(to, piece, n);
    }
    address += n;
    to += n;
    count -= n;
  }
  return 0;
}

int BlkTmpFile::readCurLoc(void* out, unsigned long count) {
  settle();
  const unsigned long address = position;
  position = static_cast<uint32_t>(std::min(address + std::min(count, kAddressEnd), kAddressEnd));
  return read(address, out, count);
}

int BlkTmpFile::tmpPointer(unsigned long address, void** pointer, unsigned long* room,
                           unsigned short writable) {
  settle();
  if (limit() == 0 || address > length) return failWith(EINVAL);
  if (isViewChanged() && storeInFile(viewStart, view, viewLength)) return 1;
  viewWritable = writable;
  viewLength = viewStart = 0;
  if (address >= flushed) {
    const Block& block = address < buffers[current].start ? other() : buffers[current];
    *pointer = block.data + (address - block.start);
    *room = block.start + block.used - address;
    return 0;
  }
  if (!view) view = static_cast<unsigned char*>(ramAlloc(blockSize));
  if (!view) return 1;
  const auto n = static_cast<uint32_t>(std::min<unsigned long>(blockSize, flushed - address));
  if (readFile(address, view, n)) return 1;
  viewStart = static_cast<uint32_t>(address);
  viewLength = n;
  *pointer = view;
  *room = n;
  return 0;
}

// --- pipes ------------------------------------------------------------------------------------------------

int BlkTmpFile::appendFromWire(ZuTCPIP* wire, unsigned long count, int, int timeout, int* timedOut) {
  const Settled settled(this);
  pipe = wire;
  if (timedOut) *timedOut = 0;
  if (!hasRoomFor(count)) return failWith(limit() > 0 ? EFBIG : EBADF);
  while (count > 0) {
    const unsigned long chunk = std::min(count, kWirePiece);
    // The read may fill the block, with more to come for the other one.
    const unsigned long used = buffers[current].used;
    if (used + chunk >= blockSize && used + count > blockSize && spillOther()) return 1;
    Block& block = buffers[current];
    const unsigned long room = std::min<unsigned long>(chunk, blockSize - block.used);
    unsigned long got = 0;
    const ZuNetStatus status =
        room > 0 ? wire->readPipe(block.data + block.used, room, &got, timeout) : netOk;
    if (status == netTimeout) continue;
    if (status == netAltTimeout && timedOut) {
      *timedOut = 1;
      return 0;
    }
    if (status != netOk) return 1;
    block.used += static_cast<uint32_t>(got);
    length += static_cast<uint32_t>(got);
    count -= got;
    if (block.used == blockSize && count > 0) flip();
  }
  return 0;
}

int BlkTmpFile::writeToWire(unsigned long address, ZuTCPIP* wire, unsigned long count, int) {
  settle();
  if (!contains(address, count)) return failWith(EINVAL);
  while (count > 0) {
    const unsigned char* piece = nullptr;
    unsigned long n = 0;
    if (nextPiece(address, count, &piece, &n) || wire->writePipe(piece, n) != netOk) return 1;
    address += n;
    count -= n;
  }
  return 0;
}
