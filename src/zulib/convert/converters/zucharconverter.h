// ZuCharConverter: a character value from the wire to the application, in as many pieces as its buffers need.
//
// Into a fixed buffer (a sink that has no other buffer after it) with `nullTerminate`, each piece is whole
// characters and a terminator of one byte, or of two in code pages whose characters have at least two. The
// terminator is not counted in what the sink is told. What does not fit comes with the next piece, after the
// driver has pointed the sink at its next buffer: `more` of dataWritten tells that there is something to
// come.
//
// What does not come back:
//
//   - Between two code pages, into a fixed and terminated buffer of a page with characters of several bytes
//     (not UTF-16): the character that would begin in the buffer and end after it is dropped, and a page that
//     shifts begins the next piece in its first state. A driver avoids it with `nullTerminate` 0: then the
//     buffer is filled to its last byte, the rest of a cut character begins the next piece, and the driver
//     terminates the text itself. Or it measures the value first with the second calculateSinkBytes, after
//     which the pieces are cut from text in the sink's code page, and cut characters come back whole.
//   - In one code page of UTF-16, into such a buffer that ends within a pair: the first unit of the pair
//     comes back as its second byte and the sign of that. The buffer then has one byte of that unit, outside
//     of what is counted. With `nullTerminate` 0, or buffers that are one unit apart, the pair comes whole.
//   - In one code page without shifts, into such a buffer: the bytes of a character that the end of the value
//     cuts.
//   - Into a sink that has further buffers, the shift of a page back to its first state at the end of the
//     text, and a first half of a pair at the end.
//
// In UTF-16 whose order is told by a signature (1015) a unit counts as a character: in that one code page a
// piece may end within a pair, and the next one begins with its second unit.
//
// Between two code pages malformed text is replaced as ICU does it, and what is done with characters that the
// sink's page lacks is told by the policy. Errors are sticky: every later convert reports them again. A
// terminated buffer of UTF-16 that is full just after a lone first half of a pair, with which the value ends,
// is delivered without it; the next convert fails (2737).
//
// Usage, for SQLGetData:
//   ZuCharConverter converter(source, sink, 106, 2252, 1, ZuReportAsWarning);
//   if (converter.init()) return 1;
//   for each call:
//     sink->setBuffer(buffer, size);
//     if (converter.resetSink() || converter.convert()) return 1;
//     ... sink->getWritten(), sink->isTruncated(), converter.getSinkBytes()

#ifndef ZULIB_CONVERT_CONVERTERS_ZUCHARCONVERTER_H
#define ZULIB_CONVERT_CONVERTERS_ZUCHARCONVERTER_H

#include "zulib/convert/converters/zucharconverterbase.h"

class ZU_API ZuCharConverter : public ZuCharConverterBase {
 public:
  ZuCharConverter();
  ZuCharConverter(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage, long sinkCodePage,
                  int nullTerminate, ReportCodePageErrors reportCodePageErrors);
  ~ZuCharConverter() override;

  int convert() override;

  // Reads the first region of the source, if there is one.
  int init() override;

  // For a value that was transferred whole: what was read of the source and not converted, and what is held
  // back, comes before the value. To give a value up use the reset with arguments.
  int reset() override;

  // Another value. If a converter of ICU cannot be had the source and the sink stay as they were, and the
  // object must be reset again; the new ones are then the caller's.
  [[nodiscard]] int reset(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage, long sinkCodePage,
                          int nullTerminate);

  // Known only if the sink's characters all have the same size, or if both code pages are the same.
  void calculateSinkBytes(unsigned long sourceBytes, unsigned long sourceChars) override;

  // `tmpSink` stays the caller's, and must live as long as the value; `tmpSource` becomes the converter's. On
  // failure the object must be reset.
  int calculateSinkBytes(ZuTmpFileSink* tmpSink, ZuTmpFileSource* tmpSource,
                         ZuDataSource** oldSource) override;

  // Gets the first input ready. Called by init and by the reset with arguments.
  [[nodiscard]] int preFetch();

 protected:
  unsigned char* limitOf() const override;

 private:
  bool isWholeOnly() const { return nullTerminate && !moreSink; }
  bool hasFixedSize() const;
  void readSizes();
  [[nodiscard]] int prepareFromUnicode(int terminates);
  [[nodiscard]] int start();

  int convertSame();
  [[nodiscard]] int makeValidationBuffer();
  int readDirectly(unsigned long inBuffer);
  int handOverSame(unsigned long inBuffer, int truncated, bool checksTail);
  [[nodiscard]] UErrorCode holdTail(unsigned long& inBuffer, bool isWhole);
  void hold(unsigned long n, unsigned long& inBuffer);
  void holdUnits(unsigned long& inBuffer);

  int convertOther();
  Step fillUnits();
  Step fillWhole(int& result);
  Step dropCut(unsigned char* start, const int32_t* offsets);
  Step handOver(int& result);

  static constexpr unsigned long kMostHeld = 32;  // bytes of an unfinished character, or sequence of them

  unsigned char* validationBuffer = nullptr;  // what the tail is converted into to see how it ends
  unsigned short maxSinkCharSize = 0;         // bytes per character of the sink's code page; 0: not known
  unsigned short minSinkCharSize = 0;
  int nullTerminate = 0;
  bool isValidated = false;                 // the end of a buffer is checked with the converter
  unsigned short pendingHighSurrogate = 0;  // held back between two code pages; 0: none
  unsigned long pendingCount = 0;           // bytes held back in one code page
  unsigned char pendingBytes[kMostHeld];
};

#endif
