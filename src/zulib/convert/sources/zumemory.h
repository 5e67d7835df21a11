// A value in one piece of memory: ZuMemorySource reads it, ZuMemorySink writes into a buffer of a fixed size,
// as an application gives it for a column.
//
// Usage:
//   ZuMemorySource source(wire, wireLength);
//   ZuMemorySink sink(buffer, bufferSize);
//   converter.reset(&source, &sink, 106, 4, 1) ...
//   if (sink.isTruncated()) ...

#ifndef ZULIB_CONVERT_SOURCES_ZUMEMORY_H
#define ZULIB_CONVERT_SOURCES_ZUMEMORY_H

#include "zulib/convert/sources/zudatasink.h"
#include "zulib/convert/sources/zudatasource.h"

class ZU_API ZuMemorySource : public ZuDataSource {
 public:
  // Reads `length` bytes of `data`. With `freeOnDelete` not 0 the source owns the block (of the `ram`
  // family).
  ZuMemorySource(const void* data, unsigned long length, int freeOnDelete = 0);
  ZuMemorySource(const ZuMemorySource&) = delete;
  ZuMemorySource& operator=(const ZuMemorySource&) = delete;
  ~ZuMemorySource() override;

  void freeMemory() override;
  int init() override;
  int reset() override;

  // The whole value each time; it does not move the position of the copy form.
  int getData(const void** region, unsigned long* size, int* more) override;

  // For one read of the whole value: `max` is compared with the whole length, not with what is left, so
  // `*more` is 1 whenever `max` is less than the length. A call that would read past the end fails (2737).
  int getData(void* buffer, unsigned long max, unsigned long* got, int* more) override;

 private:
  const unsigned char* data;
  unsigned long length;
  int freeOnDelete;
  unsigned long position = 0;  // of the copy form
};

class ZU_API ZuMemorySink : public ZuDataSink {
 public:
  // Writes to `size` bytes at `buffer`. With `freeOnDelete` not 0 the sink owns the block.
  explicit ZuMemorySink(void* buffer = nullptr, unsigned long size = 0, int freeOnDelete = 0);
  ZuMemorySink(const ZuMemorySink&) = delete;
  ZuMemorySink& operator=(const ZuMemorySink&) = delete;
  ~ZuMemorySink() override;

  // Takes the application's next buffer; nothing is written yet. The converter's `resetSink` must follow. A
  // buffer that the sink owns is freed.
  void setBuffer(void* newBuffer, unsigned long newSize);

  void freeMemory() override;
  int init() override;
  int reset() override;

  // Copies what fits after the bytes already written and notes the truncation; never fails.
  int writeData(const void* from, unsigned long n, int more) override;
  // The whole buffer each time, as a fixed one.
  int getData(void** out, unsigned long* outSize, int* more) override;
  int dataWritten(unsigned long n, int more) override;

  // getData and dataWritten without a virtual call.
  void inlineGetData(void** out, unsigned long* outSize) const {
    *out = buffer;
    *outSize = size;
  }
  void inlineDataWritten(unsigned long n, int more) {
    written += n;
    truncated = more;
  }

  unsigned long getWritten() const { return written; }
  int isTruncated() const { return truncated; }

 private:
  unsigned char* buffer;
  unsigned long size;
  unsigned long written = 0;
  int freeOnDelete;
  int truncated = 0;
};

// The object behind getEmptyDataSource: no data, length 0. Made at load, destroyed at unload.
extern ZuMemorySource AnEmptyDataSource;

#endif
