// A value in memory blocks of one size: ZuMultiMemorySink collects it, ZuMultiMemorySource is filled with
// `append` and reads it back. The blocks come from the `ram` family and belong to the object.

#ifndef ZULIB_CONVERT_SOURCES_ZUMULTIMEMORY_H
#define ZULIB_CONVERT_SOURCES_ZUMULTIMEMORY_H

#include "zulib/collections/zuarray.h"
#include "zulib/convert/sources/zudatasink.h"
#include "zulib/convert/sources/zudatasource.h"

class ZU_API ZuMultiMemorySink : public ZuDataSink {
 public:
  // `blockSize` must be greater than 0. With `getDataSupported` 0 a converter uses writeData only. One value
  // is written by writeData alone, or by getData and dataWritten alone.
  explicit ZuMultiMemorySink(unsigned long blockSize, int getDataSupported = 1);
  ZuMultiMemorySink(const ZuMultiMemorySink&) = delete;
  ZuMultiMemorySink& operator=(const ZuMultiMemorySink&) = delete;
  ~ZuMultiMemorySink() override;

  // Frees the blocks, the last one first.
  void freeMemory() override;
  // Both leave the total as it is: it counts the bytes of all values since construction.
  int init() override;
  int reset() override;
  int writeData(const void* data, unsigned long size, int more) override;
  // A new block each time.
  int getData(void** buffer, unsigned long* size, int* more) override;
  int dataWritten(unsigned long size, int more) override;
  int prepareToCache() override;

  unsigned long getBlockSize() const { return blockSize; }
  unsigned long getTotalBytes() const { return totalBytes; }
  const ZuArrayPVoid& getBlocks() const { return blocks; }

 private:
  unsigned long blockSize;
  unsigned long blockIndex = 0;   // of the block that writeData fills
  unsigned long blockOffset = 0;  // in it
  unsigned long totalBytes = 0;
  ZuArrayPVoid blocks;
};

class ZU_API ZuMultiMemorySource : public ZuDataSource {
 public:
  explicit ZuMultiMemorySource(unsigned long blockSize);
  ZuMultiMemorySource(const ZuMultiMemorySource&) = delete;
  ZuMultiMemorySource& operator=(const ZuMultiMemorySource&) = delete;
  ~ZuMultiMemorySource() override;

  // Adds bytes at the end of the value. The first getData after it starts at the beginning of the value.
  [[nodiscard]] int append(const void* data, unsigned long size);

  void freeMemory() override;
  // Both make the source empty: the next append starts a new value.
  int init() override;
  int reset() override;
  int getData(const void** data, unsigned long* size, int* more) override;
  int getData(void* buffer, unsigned long max, unsigned long* got, int* more) override;
  int prepareToCache() override;

  unsigned long getTotalBytes() const { return totalBytes; }

 private:
  void empty();
  void startReading();

  unsigned long blockSize;
  bool filling = false;
  unsigned long blockIndex = 0;  // filling: the block that append fills; reading: the next one to hand out
  unsigned long position = 0;  // filling: offset in that block; reading: offset of the copy form in the value
  unsigned long totalBytes = 0;
  ZuArrayPVoid blocks;
};

#endif
