// ZuDataConverter: the frame of every converter of long values.
//
// A driver gives a converter a source and a sink and calls `convert` once for each piece: for each SQLGetData
// call in the direction to the application, for each SQLPutData call in the other. All state between two
// pieces is in the converter.
//
// Life: constructed with source, sink and code pages, or empty; `init` once; then any number of rounds of
// `resetSink` (after the driver has pointed the sink at a new buffer) and `convert`; `reset` to start the
// same value again, or a `reset` with arguments for another value; `prepareToCache` while the object is kept
// unused.
//
// Ownership: the converter deletes its source and its sink when they are replaced by a reset with arguments
// and when it is destroyed, except a source after `setSourceNotOwned` and a sink that is `isNotOwned`.
//
// Operations return 0, or 1 with the cause on the thread's error list; a failure of the source or the sink is
// passed on without a further record. Sizes are bytes.
//
// Thread safety: none; one statement at a time uses a converter.

#ifndef ZULIB_CONVERT_CONVERTERS_ZUDATACONVERTER_H
#define ZULIB_CONVERT_CONVERTERS_ZUDATACONVERTER_H

#include "zulib/convert/sources/zudatasink.h"
#include "zulib/convert/sources/zudatasource.h"

class ZuTmpFileSink;
class ZuTmpFileSource;

// A number of bytes or characters that is not known; drivers turn it into SQL_NO_TOTAL.
constexpr unsigned long kZuUnknownLength = 0xFFFFFFFF;

class ZU_API ZuDataConverter : public ZuObject {
 public:
  ZuDataConverter(const ZuDataConverter&) = delete;
  ZuDataConverter& operator=(const ZuDataConverter&) = delete;
  ~ZuDataConverter() override;

  // Moves one piece: as much as the sink takes, or all that the source has.
  [[nodiscard]] virtual int convert() = 0;

  [[nodiscard]] virtual int init() = 0;
  // Rewinds source, sink and converter for a new transfer of the same value.
  [[nodiscard]] virtual int reset() = 0;
  // Takes the sink's buffer anew; keeps the position in the source and every byte held back.
  [[nodiscard]] virtual int resetSink() = 0;

  // Sets `sinkBytes` from the length of the value at the source, in bytes and in characters, of which either
  // may be kZuUnknownLength. The base does nothing.
  virtual void calculateSinkBytes(unsigned long sourceBytes, unsigned long sourceChars);
  // Measures by converting the whole value into `tmpSink`, from which `tmpSource` then replays it.
  // `*oldSource` is the source that the converter no longer uses, which the caller keeps or deletes. The base
  // cannot measure: error 2737 ("HY000", native code 60).
  [[nodiscard]] virtual int calculateSinkBytes(ZuTmpFileSink* tmpSink, ZuTmpFileSource* tmpSource,
                                               ZuDataSource** oldSource);

  // Gives up file handles, ICU converters and buffers; init or a reset with arguments brings them back.
  [[nodiscard]] virtual int prepareToCache() { return 0; }

  // Bytes that the sink will still receive; kZuUnknownLength if that is not known.
  unsigned long getSinkBytes() const { return sinkBytes; }
  void setSinkBytes(unsigned long bytes) { sinkBytes = bytes; }

  ZuDataSource* getSource() const { return source; }
  ZuDataSink* getSink() const { return sink; }

  // Tells that the source has the end of the value and that this convert need not be resumable. Cleared by
  // init and reset.
  void setFinalData(int on) { finalData = on; }
  // Not 0: the converter does not delete its source.
  void setSourceNotOwned(int on) { sourceNotOwned = on; }

  // Two words for the driver. The first is cleared by the constructor only, the second also by each reset
  // with arguments. The library does not read them.
  unsigned long driverWord = 0;
  unsigned long driverValueWord = 0;

 protected:
  ZuDataConverter() = default;
  ZuDataConverter(ZuDataSource* source, ZuDataSink* sink) : source(source), sink(sink) {}

  // Replace the source or the sink by the rules of ownership; replacing one by itself deletes nothing.
  void replaceSource(ZuDataSource* newSource);
  void replaceSink(ZuDataSink* newSink);

  // Takes `bytes` off a known `sinkBytes`, not below 0.
  void countDown(unsigned long bytes) {
    if (sinkBytes != kZuUnknownLength) sinkBytes -= bytes < sinkBytes ? bytes : sinkBytes;
  }

  ZuDataSource* source = nullptr;
  ZuDataSink* sink = nullptr;
  unsigned long sinkBytes = kZuUnknownLength;
  int finalData = 0;
  int sourceNotOwned = 0;
  int directionTag = 0;  // 2: to the application, 4: from it; for drivers, which tell converters apart by it
};

#endif
