#include "zulib/convert/sources/zumemory.h"

#include <cstdlib>

#include "zulib/convert/internal/report.h"
#include "zulib/runtime/ram.h"

ZuDataSource::~ZuDataSource() = default;
ZuDataSink::~ZuDataSink() = default;

ZuDataSource* getEmptyDataSource() { return &AnEmptyDataSource; }

ZuMemorySource::ZuMemorySource(const void* data, unsigned long length, int freeOnDelete)
    : data(static_cast<const unsigned char*>(data)), length(length), freeOnDelete(freeOnDelete) {
  readInPlace = 1;
}

ZuMemorySource::~ZuMemorySource() { ZuMemorySource::freeMemory(); }

void ZuMemorySource::freeMemory() {
  if (!freeOnDelete) return;
  std::free(const_cast<unsigned char*>(data));
  data = nullptr;
  length = 0;
}

int ZuMemorySource::init() {
  position = 0;
  return 0;
}

int ZuMemorySource::reset() {
  position = 0;
  return 0;
}

int ZuMemorySource::getData(const void** region, unsigned long* size, int* more) {
  *region = data;
  *size = length;
  *more = 0;
  return 0;
}

int ZuMemorySource::getData(void* buffer, unsigned long max, unsigned long* got, int* more) {
  const unsigned long n = max >= length ? length : max;
  if (n > length - position) return zuconvert::reportFailure();
  *got = n;
  *more = max >= length ? 0 : 1;
  if (n) fastMemCopy(buffer, data + position, n);
  position += n;
  return 0;
}

ZuMemorySink::ZuMemorySink(void* buffer, unsigned long size, int freeOnDelete)
    : ZuDataSink(1), buffer(static_cast<unsigned char*>(buffer)), size(size), freeOnDelete(freeOnDelete) {}

ZuMemorySink::~ZuMemorySink() { ZuMemorySink::freeMemory(); }

void ZuMemorySink::setBuffer(void* newBuffer, unsigned long newSize) {
  if (freeOnDelete) freeMemory();
  freeOnDelete = 0;
  buffer = static_cast<unsigned char*>(newBuffer);
  size = newSize;
  written = 0;
  truncated = 0;
}

void ZuMemorySink::freeMemory() {
  if (!freeOnDelete) return;
  std::free(buffer);
  buffer = nullptr;
  size = 0;
}

int ZuMemorySink::init() {
  written = 0;
  truncated = 0;
  return 0;
}

int ZuMemorySink::reset() { return init(); }

int ZuMemorySink::writeData(const void* from, unsigned long n, int) {
  const unsigned long room = size > written ? size - written : 0;
  const unsigned long fits = n < room ? n : room;
  if (fits) fastMemCopy(buffer + written, from, fits);
  written += fits;
  if (fits < n) truncated = 1;
  return 0;
}

int ZuMemorySink::getData(void** out, unsigned long* outSize, int* more) {
  inlineGetData(out, outSize);
  *more = 0;
  return 0;
}

int ZuMemorySink::dataWritten(unsigned long n, int more) {
  inlineDataWritten(n, more);
  return 0;
}
