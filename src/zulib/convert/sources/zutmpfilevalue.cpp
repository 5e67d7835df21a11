#include "zulib/convert/sources/zutmpfilevalue.h"

#include <unistd.h>

#include <cstdlib>

#include "zulib/convert/internal/report.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"

namespace zuconvert {
namespace {

constexpr long long kCurrentPosition = -1;
constexpr unsigned long kReadFailed = ~0UL;
// bosFileWrite takes less than 65536 bytes at a time.
constexpr unsigned long kLongestWrite = 32768;

}  // namespace

int TmpFileStore::allocate() {
  if (!buffer) buffer = static_cast<unsigned char*>(ramAlloc(bufferSize));
  return buffer ? 0 : 1;
}

int TmpFileStore::open() {
  if (file) return 0;
  const unsigned long mode = fileName[0] ? bosOpenReadWrite : bosOpenReadWrite | bosOpenTemporary;
  return bosFileOpen(fileName, mode, &file);
}

int TmpFileStore::write(const void* bytes, unsigned long n) {
  auto from = static_cast<const unsigned char*>(bytes);
  while (n > 0) {
    const unsigned long piece = n < kLongestWrite ? n : kLongestWrite;
    if (bosFileWrite(file, kCurrentPosition, from, piece)) return 1;
    from += piece;
    n -= piece;
  }
  return 0;
}

int TmpFileStore::close() {
  const int open = file;
  file = 0;
  return bosFileClose(open);
}

int TmpFileStore::add(const unsigned char*& bytes, unsigned long& n, unsigned long& fill) {
  while (n > bufferSize - fill) {
    const unsigned long room = bufferSize - fill;
    if (open()) return 1;
    if (fill == 0) {
      if (write(bytes, bufferSize)) return 1;
    } else {
      fastMemCopy(buffer + fill, bytes, room);
      if (write(buffer, bufferSize)) return 1;
    }
    bytes += room;
    n -= room;
    fill = 0;
  }
  return 0;
}

void TmpFileStore::freeAll() {
  std::free(buffer);
  buffer = nullptr;
  if (file) static_cast<void>(close());
  if (fileName[0]) static_cast<void>(bosFileDelete(fileName));
  fileName[0] = 0;
}

}  // namespace zuconvert

ZuTmpFileSink::ZuTmpFileSink(unsigned long bufferSize, int getDataSupported)
    : ZuDataSink(getDataSupported), store(bufferSize) {}

ZuTmpFileSink::~ZuTmpFileSink() { store.freeAll(); }

void ZuTmpFileSink::freeMemory() {
  store.freeAll();
  used = 0;
}

int ZuTmpFileSink::init() {
  used = 0;
  totalBytes = 0;
  // The next value begins at the start of the file.
  return store.file ? store.close() : 0;
}

int ZuTmpFileSink::reset() { return init(); }

int ZuTmpFileSink::writeData(const void* data, unsigned long size, int more) {
  if (store.allocate()) return 1;
  totalBytes += size;
  auto bytes = static_cast<const unsigned char*>(data);
  if (store.add(bytes, size, used)) return 1;
  if (store.file && !more && used == 0) {
    if (store.write(bytes, size)) return 1;
    return store.close();
  }
  if (size) fastMemCopy(store.buffer + used, bytes, size);
  used += size;
  if (!more && store.file) {
    if (store.write(store.buffer, used)) return 1;
    used = 0;
    return store.close();
  }
  return 0;
}

int ZuTmpFileSink::getData(void** out, unsigned long* size, int* more) {
  if (used >= store.bufferSize) {
    if (store.open() || store.write(store.buffer, used)) return 1;
    used = 0;
  } else if (store.allocate()) {
    return 1;
  }
  *out = store.buffer + used;
  *size = store.bufferSize - used;
  *more = 1;
  return 0;
}

int ZuTmpFileSink::dataWritten(unsigned long size, int more) {
  used += size;
  totalBytes += size;
  if (more || !store.file) return 0;
  if (store.write(store.buffer, used)) return 1;
  used = 0;
  return store.close();
}

int ZuTmpFileSink::prepareToCache() {
  used = 0;
  totalBytes = 0;
  if (store.file) {
    const int failed = bosFileTruncate(store.file, 0);
    return store.close() | failed;
  }
  return store.fileName[0] ? bosFileTruncate(store.fileName, 0) : 0;
}

int ZuTmpFileSink::getDataSource(ZuTmpFileSource* target) {
  int file = 0;
  if (totalBytes > store.bufferSize) {
    // The last call may have announced more, so that the end of the value is still in the buffer.
    if (used > 0) {
      if (store.open() || store.write(store.buffer, used)) return 1;
      used = 0;
    }
    if (store.file && store.close()) return 1;
    const unsigned char* const name = store.fileName;
    if (bosFileOpen(name, 0, &file)) return 1;
  }
  target->reset(store.buffer, store.bufferSize, file, totalBytes);
  return 0;
}

ZuTmpFileSource::ZuTmpFileSource(unsigned long bufferSize) : store(bufferSize) {}

ZuTmpFileSource::~ZuTmpFileSource() { ZuTmpFileSource::freeMemory(); }

void ZuTmpFileSource::freeMemory() {
  if (borrowed) {
    if (store.file) static_cast<void>(store.close());
    store.buffer = nullptr;
    borrowed = 0;
  } else {
    store.freeAll();
  }
  totalBytes = 0;
}

void ZuTmpFileSource::reset(unsigned char* buffer, unsigned long bufferSize, int file, unsigned long total) {
  freeMemory();
  store.buffer = buffer;
  store.bufferSize = bufferSize;
  store.file = file;
  totalBytes = total;
  position = 0;
  borrowed = 1;
}

int ZuTmpFileSource::init() {
  position = 0;
  blocksRead = 0;
  return 0;
}

int ZuTmpFileSource::reset() {
  position = 0;
  blocksRead = 0;
  if (!store.file) return 0;
  if (bosFileSeek(store.file, 0, SEEK_SET)) return 1;
  return readBlock(totalBytes < store.bufferSize ? totalBytes : store.bufferSize);
}

// Reads the next block of the file into the buffer, of which at least `expected` bytes must be there.
int ZuTmpFileSource::readBlock(unsigned long expected) {
  if (store.allocate()) return 1;
  unsigned long got = 0;
  unsigned long filled = 0;
  while (filled < store.bufferSize) {
    static_cast<void>(bosFileRead(store.file, zuconvert::kCurrentPosition, store.buffer + filled,
                                  store.bufferSize - filled, &got));
    if (got == 0 || got == zuconvert::kReadFailed) break;
    filled += got;
  }
  if (filled >= expected) return 0;
  addError(ZU_MSG_FILE_IO) << store.fileName;
  return 1;
}

int ZuTmpFileSource::getData(const void** data, unsigned long* size, int* more) {
  *data = nullptr;
  *size = 0;
  *more = 0;
  const unsigned long start = blocksRead * store.bufferSize;
  if (start >= totalBytes) return 0;
  const unsigned long left = totalBytes - start;
  const unsigned long n = left < store.bufferSize ? left : store.bufferSize;
  if (totalBytes > store.bufferSize && readBlock(n)) return 1;
  ++blocksRead;
  *data = store.buffer;
  *size = n;
  *more = left > n;
  return 0;
}

int ZuTmpFileSource::getData(void* out, unsigned long max, unsigned long* got, int* more) {
  if (position >= totalBytes) {
    *got = 0;
    *more = 0;
    return 0;
  }
  const unsigned long n = max < totalBytes - position ? max : totalBytes - position;
  if (totalBytes <= store.bufferSize) {
    if (n) fastMemCopy(out, store.buffer + position, n);
    position += n;
    *got = n;
    *more = 0;
    return 0;
  }
  auto to = static_cast<unsigned char*>(out);
  for (unsigned long left = n; left > 0;) {
    const unsigned long offset = position % store.bufferSize;
    const unsigned long inBuffer = store.bufferSize - offset;
    const unsigned long piece = left < inBuffer ? left : inBuffer;
    fastMemCopy(to, store.buffer + offset, piece);
    to += piece;
    left -= piece;
    position += piece;
    const unsigned long rest = totalBytes - position;
    if (piece == inBuffer && rest > 0 && readBlock(rest < store.bufferSize ? rest : store.bufferSize))
      return 1;
  }
  *got = n;
  return 0;
}

int ZuTmpFileSource::append(const void* data, unsigned long size) {
  if (borrowed) {
    if (totalBytes > 0) return zuconvert::reportFailure();
    freeMemory();
  }
  if (store.allocate()) return 1;
  if (totalBytes == 0) position = 0;
  totalBytes += size;
  auto bytes = static_cast<const unsigned char*>(data);
  if (store.add(bytes, size, position)) return 1;
  if (size) fastMemCopy(store.buffer + position, bytes, size);
  position += size;
  return 0;
}

int ZuTmpFileSource::done() {
  const unsigned long fill = position;
  position = 0;
  return store.file ? store.write(store.buffer, fill) : 0;
}

int ZuTmpFileSource::prepareToCache() {
  freeMemory();
  return 0;
}
