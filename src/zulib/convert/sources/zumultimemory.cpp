#include "zulib/convert/sources/zumultimemory.h"

#include <cstdlib>

#include "zulib/runtime/ram.h"

namespace {

// Appends a new block of `size` bytes to `blocks` and returns it; null if allocation fails.
unsigned char* addBlock(ZuArrayPVoid& blocks, unsigned long size) {
  void* const block = ramAlloc(size);
  if (!block) return nullptr;
  if (blocks.add(block)) {
    std::free(block);
    return nullptr;
  }
  return static_cast<unsigned char*>(block);
}

void freeBlocks(ZuArrayPVoid& blocks) {
  for (unsigned long i = blocks.getCount(); i > 0; --i) std::free(blocks.at(i - 1));
  static_cast<void>(blocks.shrink(0));
}

// Copies `size` bytes to offset `offset` of block `index` and on into new blocks, moving both along.
int fillBlocks(ZuArrayPVoid& blocks, unsigned long blockSize, unsigned long& index, unsigned long& offset,
               const void* data, unsigned long size) {
  auto from = static_cast<const unsigned char*>(data);
  while (size > blockSize - offset) {
    const unsigned long room = blockSize - offset;
    fastMemCopy(static_cast<unsigned char*>(blocks.at(index)) + offset, from, room);
    from += room;
    size -= room;
    offset = blockSize;
    if (!addBlock(blocks, blockSize)) return 1;
    ++index;
    offset = 0;
  }
  if (size) fastMemCopy(static_cast<unsigned char*>(blocks.at(index)) + offset, from, size);
  offset += size;
  return 0;
}

}  // namespace

ZuMultiMemorySink::ZuMultiMemorySink(unsigned long blockSize, int getDataSupported)
    : ZuDataSink(getDataSupported), blockSize(blockSize) {}

ZuMultiMemorySink::~ZuMultiMemorySink() { ZuMultiMemorySink::freeMemory(); }

void ZuMultiMemorySink::freeMemory() { freeBlocks(blocks); }

int ZuMultiMemorySink::init() {
  blockIndex = 0;
  blockOffset = 0;
  return 0;
}

int ZuMultiMemorySink::reset() {
  freeMemory();
  return init();
}

int ZuMultiMemorySink::writeData(const void* data, unsigned long size, int) {
  // The total outlives the blocks (see reset), so it alone does not tell whether there is a first block.
  if (totalBytes == 0 || blocks.getCount() == 0) {
    if (!addBlock(blocks, blockSize)) return 1;
    blockIndex = 0;
  }
  totalBytes += size;
  return fillBlocks(blocks, blockSize, blockIndex, blockOffset, data, size);
}

int ZuMultiMemorySink::getData(void** buffer, unsigned long* size, int* more) {
  unsigned char* const block = addBlock(blocks, blockSize);
  if (!block) return 1;
  *buffer = block;
  *size = blockSize;
  *more = 1;
  return 0;
}

int ZuMultiMemorySink::dataWritten(unsigned long size, int) {
  totalBytes += size;
  return 0;
}

int ZuMultiMemorySink::prepareToCache() {
  freeMemory();
  return 0;
}

ZuMultiMemorySource::ZuMultiMemorySource(unsigned long blockSize) : blockSize(blockSize) {}

ZuMultiMemorySource::~ZuMultiMemorySource() { ZuMultiMemorySource::freeMemory(); }

void ZuMultiMemorySource::freeMemory() {
  freeBlocks(blocks);
  empty();
}

void ZuMultiMemorySource::empty() {
  filling = false;
  blockIndex = 0;
  position = 0;
  totalBytes = 0;
}

int ZuMultiMemorySource::init() {
  empty();
  return 0;
}

int ZuMultiMemorySource::reset() { return init(); }

int ZuMultiMemorySource::append(const void* data, unsigned long size) {
  if (totalBytes == 0) {
    freeMemory();
    if (!addBlock(blocks, blockSize)) return 1;
  }
  if (!filling && totalBytes > 0) {  // after a read: back to the end of the value
    blockIndex = blocks.getCount() - 1;
    position = totalBytes - blockIndex * blockSize;
  }
  filling = true;
  totalBytes += size;
  return fillBlocks(blocks, blockSize, blockIndex, position, data, size);
}

void ZuMultiMemorySource::startReading() {
  if (!filling) return;
  filling = false;
  blockIndex = 0;
  position = 0;
}

int ZuMultiMemorySource::getData(const void** data, unsigned long* size, int* more) {
  startReading();
  *data = nullptr;
  *size = 0;
  *more = 0;
  if (totalBytes == 0 || blockIndex >= blocks.getCount()) return 0;
  *data = blocks.at(blockIndex++);
  *more = blockIndex < blocks.getCount();
  *size = *more ? blockSize : totalBytes - (blockIndex - 1) * blockSize;
  return 0;
}

int ZuMultiMemorySource::getData(void* buffer, unsigned long max, unsigned long* got, int* more) {
  startReading();
  *got = 0;
  *more = 0;
  if (position >= totalBytes) return 0;
  const unsigned long n = max < totalBytes - position ? max : totalBytes - position;
  auto to = static_cast<unsigned char*>(buffer);
  for (unsigned long left = n; left > 0;) {
    const unsigned long offset = position % blockSize;
    const unsigned long piece = left < blockSize - offset ? left : blockSize - offset;
    fastMemCopy(to, static_cast<unsigned char*>(blocks.at(position / blockSize)) + offset, piece);
    to += piece;
    position += piece;
    left -= piece;
  }
  *got = n;
  *more = position < totalBytes;
  return 0;
}

int ZuMultiMemorySource::prepareToCache() {
  freeMemory();
  return 0;
}
