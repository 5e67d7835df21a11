// A value that stays in memory while it is small and goes to a temporary file when it outgrows its buffer.
// ZuTmpFileSink collects it; ZuTmpFileSource reads what a sink collected, or is filled with `append`.
//
//   value bytes:   | block 0 | block 1 | ... | last block |      each of bufferSize bytes, the last one
//   shorter in the file:   all blocks, from offset 0, once the value is complete and longer than bufferSize
//   in the buffer: the whole value, if it is not longer than bufferSize
//
// Usage:
//   ZuTmpFileSink sink(8192);
//   if (sink.writeData(piece, n, more)) return 1;  ...
//   ZuTmpFileSource source(8192);
//   if (sink.getDataSource(&source)) return 1;     // the source borrows the sink's buffer and file
//
// After a failed write the sink keeps its counts; the value is lost and must be given up.

#ifndef ZULIB_CONVERT_SOURCES_ZUTMPFILEVALUE_H
#define ZULIB_CONVERT_SOURCES_ZUTMPFILEVALUE_H

#include "zulib/convert/sources/zudatasink.h"
#include "zulib/convert/sources/zudatasource.h"
#include "zulib/os/files/bosfile.h"

namespace zuconvert {

// The buffer and the file that the two classes share.
struct TmpFileStore {
  explicit TmpFileStore(unsigned long bufferSize) : bufferSize(bufferSize) {}

  [[nodiscard]] int allocate();  // the buffer, if there is none
  [[nodiscard]] int open();      // the file for writing, if it is not open: a new one, or the one of fileName
  [[nodiscard]] int write(const void* bytes, unsigned long n);  // at the file's position, in pieces
  [[nodiscard]] int close();
  // Adds bytes: fills the buffer from `fill` on, and writes each full buffer to the file.
  [[nodiscard]] int add(const unsigned char*& bytes, unsigned long& n, unsigned long& fill);
  void freeAll();  // also deletes the file

  unsigned char* buffer = nullptr;  // owned, unless the source has borrowed it
  unsigned long bufferSize;
  int file = 0;                           // 0: not open
  unsigned char fileName[bosPathSize]{};  // empty: no file yet
};

}  // namespace zuconvert

class ZuTmpFileSource;

class ZU_API ZuTmpFileSink : public ZuDataSink {
 public:
  // `bufferSize` must be greater than 0. With `getDataSupported` 0 a converter uses writeData only.
  explicit ZuTmpFileSink(unsigned long bufferSize, int getDataSupported = 1);
  ZuTmpFileSink(const ZuTmpFileSink&) = delete;
  ZuTmpFileSink& operator=(const ZuTmpFileSink&) = delete;
  // Also deletes the file.
  ~ZuTmpFileSink() override;

  void freeMemory() override;
  int init() override;
  int reset() override;
  int writeData(const void* data, unsigned long size, int more) override;
  int getData(void** out, unsigned long* size, int* more) override;
  int dataWritten(unsigned long size, int more) override;

  // Empties the value, and the file, which keeps its name for the next value.
  int prepareToCache() override;

  unsigned long getTotalBytes() const { return totalBytes; }

  // Lets `target` read the value that was written; the sink must live as long as `target` reads. 0 or 1.
  [[nodiscard]] int getDataSource(ZuTmpFileSource* target);

 private:
  zuconvert::TmpFileStore store;
  unsigned long used = 0;  // bytes in the buffer
  unsigned long totalBytes = 0;
};

class ZU_API ZuTmpFileSource : public ZuDataSource {
 public:
  explicit ZuTmpFileSource(unsigned long bufferSize);
  ZuTmpFileSource(const ZuTmpFileSource&) = delete;
  ZuTmpFileSource& operator=(const ZuTmpFileSource&) = delete;
  ~ZuTmpFileSource() override;

  // Takes over on loan a buffer and, for a value longer than it, an open file at offset 0. Read it with the
  // pointer form. What the source held before is freed.
  void reset(unsigned char* buffer, unsigned long bufferSize, int file, unsigned long totalBytes);

  // Adds bytes at the end of the value; done() ends it. Then reset(), and the copy form reads.
  [[nodiscard]] int append(const void* data, unsigned long size);
  [[nodiscard]] int done();

  // A borrowed file is closed, not deleted.
  void freeMemory() override;
  int init() override;
  // Goes to the start, and reads the first block of the file into the buffer for the copy form.
  int reset() override;
  // Reads the blocks of a borrowed value in order. It reads each block itself, so it goes with the reset that
  // takes arguments, not with the plain one, whose first block it would skip.
  int getData(const void** data, unsigned long* size, int* more) override;
  // Goes with the plain reset. While the value is in a file `*more` is left as it is.
  int getData(void* out, unsigned long max, unsigned long* got, int* more) override;
  int prepareToCache() override;

  unsigned long getTotalBytes() const { return totalBytes; }

 private:
  [[nodiscard]] int readBlock(unsigned long expected);

  zuconvert::TmpFileStore store;
  unsigned long blocksRead = 0;
  unsigned long position = 0;  // in the value; while appending, bytes in the buffer
  unsigned long totalBytes = 0;
  int borrowed = 0;  // the buffer and the file belong to a sink
};

#endif
