// Binary values between client and wire: plain bytes, or bytes on one side and hexadecimal text on the other.
// ZuBinaryConverter writes the text, for a client that reads a binary column as characters;
// ZuBinaryConverterInput reads it, for one that sends characters to a binary column.
//
// A sink that does not hand out its own memory gets its bytes from a buffer of the converter, `scratch`.
//
// Ownership: as in the base class, except that these converters always delete their sink, also one that is
// `isNotOwned`.
//
// Order of calls: a convert before init or a reset with arguments fails, as does one after a fixed buffer was
// filled and the driver has not called resetSink (error 2737).
//
// Usage, for each SQLGetData call:
//   sink->setBuffer(buffer, bufferSize);
//   if (converter.resetSink() || converter.convert()) return SQL_ERROR;
//   ... sink->getWritten(), sink->isTruncated(), converter.getSinkBytes()
//
// Thread safety: none; one statement at a time uses a converter.

#ifndef ZULIB_CONVERT_CONVERTERS_ZUBINARYCONVERTER_H
#define ZULIB_CONVERT_CONVERTERS_ZUBINARYCONVERTER_H

#include "zulib/convert/converters/zudataconverter.h"

// The form of the text: none, hexadecimal in 8-bit characters (two bytes of text for each byte), or
// hexadecimal in UTF-16 of the machine's byte order (four).
using BinaryType = int;
constexpr BinaryType kZuBinaryPlain = 0;
constexpr BinaryType kZuBinaryHex = 1;
constexpr BinaryType kZuBinaryWideHex = 2;

// What the two directions share: the position in the source's region and in the sink's buffer.
class ZU_API ZuBinaryConverterBase : public ZuDataConverter {
 public:
  ZuBinaryConverterBase(const ZuBinaryConverterBase&) = delete;
  ZuBinaryConverterBase& operator=(const ZuBinaryConverterBase&) = delete;
  ~ZuBinaryConverterBase() override;

  int init() override;
  int reset() override;
  int resetSink() override;
  int prepareToCache() override;

 protected:
  static constexpr unsigned long kScratchSize = 16384;

  ZuBinaryConverterBase() = default;
  ZuBinaryConverterBase(ZuDataSource* source, ZuDataSink* sink, BinaryType type)
      : ZuDataConverter(source, sink), binaryType(type) {}

  // The direction copies plain bytes by way of `scratch` too.
  virtual bool stagesPlainBytes() const = 0;

  [[nodiscard]] int restart(ZuDataSource* newSource, ZuDataSink* newSink, BinaryType type);
  void rewindSource();
  void dropBuffer();
  [[nodiscard]] int prepareConvert();
  [[nodiscard]] int allocateScratch();
  [[nodiscard]] int takeBuffer();
  [[nodiscard]] int nextBuffer();
  [[nodiscard]] int readRegion();
  [[nodiscard]] int handOver(int more) { return handOver(used(), more); }
  [[nodiscard]] int handOver(unsigned long bytes, int more);

  unsigned long used() const { return static_cast<unsigned long>(sinkCursor - sinkStart); }
  // Bytes of text for each byte.
  unsigned long textWidth() const {
    return binaryType == kZuBinaryHex ? 2 : binaryType == kZuBinaryWideHex ? 4 : 1;
  }
  void advanceSource(unsigned long n) {
    sourceCursor += n;
    sourceLeft -= n;
  }
  void advanceSink(unsigned long n) {
    sinkCursor += n;
    room -= n;
  }

  enum class State {
    New,      // before init or a reset with arguments
    Started,  // the sink's buffer is to be taken
    BufferTaken,
    BufferFull,  // a fixed buffer was handed over: resetSink must come next
  };

  State state = State::New;
  unsigned char* scratch = nullptr;    // owned
  unsigned char* sinkStart = nullptr;  // of what is not yet handed over
  unsigned long room = 0;              // bytes free at sinkCursor
  unsigned char* sinkCursor = nullptr;
  const unsigned char* sourceCursor = nullptr;  // null before the first region of a transfer
  unsigned long sourceLeft = 0;
  int moreSource = 1;
  int moreSink = 0;    // 0: the buffer is fixed
  int directSink = 0;  // the sink hands out its own memory
  BinaryType binaryType = kZuBinaryPlain;
};

// From the wire to the client. Only whole pairs of digits are written to a fixed buffer; with `nullTerminate`
// the text is terminated there if there is room, by a second 0 too if there is room for it. Hexadecimal text
// keeps the room for the terminator free, plain bytes do not.
class ZU_API ZuBinaryConverter : public ZuBinaryConverterBase {
 public:
  ZuBinaryConverter() = default;
  ZuBinaryConverter(ZuDataSource* source, ZuDataSink* sink, BinaryType type, int nullTerminate)
      : ZuBinaryConverterBase(source, sink, type), nullTerminate(nullTerminate) {}

  using ZuBinaryConverterBase::reset;
  // Starts the transfer of another value.
  [[nodiscard]] int reset(ZuDataSource* newSource, ZuDataSink* newSink, BinaryType type, int terminate);

  int init() override;

  // With `setFinalData` and a fixed buffer the first read of a transfer goes straight into that buffer.
  int convert() override;

  void calculateSinkBytes(unsigned long sourceBytes, unsigned long sourceChars) override;
  // The value goes to `tmpSink` as plain bytes, and `sinkBytes` becomes their number, also if they are
  // written as text afterwards. `tmpSink` remains the caller's; it must live as long as the value is read.
  int calculateSinkBytes(ZuTmpFileSink* tmpSink, ZuTmpFileSource* tmpSource,
                         ZuDataSource** oldSource) override;

 private:
  bool stagesPlainBytes() const override { return true; }
  unsigned long sourceCapacity() const;
  void write(const unsigned char* from, unsigned long n);
  int writeAcrossBuffers();
  void terminate(bool twice);
  int readIntoBuffer();
  int fillBuffer(bool* ended);

  int nullTerminate = 0;
};

// From the client to the wire. The client's text comes in chunks of any length: for each, the driver fills
// the source, calls resetSource and convert; flushSink, or setFinalData before the last convert, ends the
// value. A chunk may end within the digits of a byte.
//
// A buffer that a pass over one region fills is reported to the sink with the room that it had when the pass
// began. Kept: drivers size the sink so that one pass fills a buffer from its start. If an earlier region has
// filled a part of it, that part is not counted, and for a sink without buffers of its own is lost. A driver
// avoids that by a source with the text in one region, or by a sink whose buffer holds the whole value.
class ZU_API ZuBinaryConverterInput : public ZuBinaryConverterBase {
 public:
  ZuBinaryConverterInput() = default;
  ZuBinaryConverterInput(ZuDataSource* source, ZuDataSink* sink, BinaryType type)
      : ZuBinaryConverterBase(source, sink, type) {}

  // Starts the transfer of another value.
  [[nodiscard]] int reset(ZuDataSource* newSource, ZuDataSink* newSink, BinaryType type);
  int reset() override;
  int init() override;

  // The source has a new chunk.
  [[nodiscard]] int resetSource();
  // Ends the value: digits that do not make a byte are dropped, and the sink gets the last bytes, unless
  // `setFinalData` has seen to that.
  [[nodiscard]] int flushSink();

  // Fails at a character that is no digit (error 2708, "22018", native code 41); what was decoded before it
  // remains.
  int convert() override;

 private:
  bool stagesPlainBytes() const override { return false; }
  int decode(const unsigned char* text, unsigned long n);
  int decodeIntoBuffer();
  int completePending();
  int fillBuffer(bool* ended, unsigned long* reported);
  int decodeRegions();
  int passOnRegions();
  int copyIntoBuffers();

  unsigned long pendingCount = 0;  // characters of a byte that the last region began
  unsigned char pendingChars[4]{};
};

// Gives the thread's last error record SQLSTATE "22018" and native code 41.
ZU_API void setInvalidHexadecimal();

#endif
