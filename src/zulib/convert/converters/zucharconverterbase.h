// ZuCharConverterBase: what the two directions of character conversion share, the stages from a source
// through UTF-16 to a sink.
//
//   source region  ->  to-Unicode converter  ->  UTF-16 stage  ->  from-Unicode converter  ->  sink buffer
//                                                     |
//   a source of UTF-16LE is its own stage; into a sink of UTF-16 the first converter writes directly
//
// A stage keeps what the next one did not take: the source region between `sourceCursor` and `sourceEnd`, the
// UTF-16 between `unicodeCursor` and `unicodeEnd`, and each converter the output that found no room and the
// input that is not yet a whole character.
//
// Code pages are IANA numbers. Two equal ones convert nothing. See zudataconverter.h for life, ownership and
// errors.

#ifndef ZULIB_CONVERT_CONVERTERS_ZUCHARCONVERTERBASE_H
#define ZULIB_CONVERT_CONVERTERS_ZUCHARCONVERTERBASE_H

#include "zulib/convert/converters/zudataconverter.h"
#include "zulib/convert/services/zucodepagehandle.h"

class ZU_API ZuCharConverterBase : public ZuDataConverter {
 public:
  ~ZuCharConverterBase() override;

  int resetSink() override;
  // Gives both converters back; init or a reset with arguments must follow.
  int prepareToCache() override;

  // Where converters come from, from the next init or reset with arguments on. Null, as at first: each is
  // opened and closed for this object alone. The cache must outlive the object's use of it.
  void setHandleCache(ZuICUHandleCache* cache) { handleCache = cache; }

  // The policy for converters that are not from a cache; a cache has its own.
  void setReportCodePageErrors(ReportCodePageErrors policy) { substitution.reportCodePageErrors = policy; }

  long getSourceCodePage() const { return sourceCodePage; }
  long getSinkCodePage() const { return sinkCodePage; }

  // The conversion error that every convert reports until init or a reset with arguments; 0 if there is none.
  UErrorCode getStickyError() const { return stickyError; }

 protected:
  // Where the conversion goes on.
  enum class Step { Top, Input, HandOver, Leave };

  ZuCharConverterBase() = default;
  ZuCharConverterBase(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage, long sinkCodePage,
                      ReportCodePageErrors policy);

  static bool isUTF16(long codePage);
  bool needsToUnicode() const { return !isUTF16(sourceCodePage) && sourceCodePage != sinkCodePage; }
  bool hasSameCodePages() const { return sourceCodePage == sinkCodePage; }

  [[nodiscard]] int openToUnicode();
  [[nodiscard]] int openFromUnicode();
  void giveBackToUnicode();
  void giveBackFromUnicode();
  void resetDirtyHandles();

  // Change the code pages. The converter of a page that stays is kept, reset, if it is still needed; others
  // go back. The first also opens the one that is missing, or fails with a source code page of 0.
  [[nodiscard]] int retargetToUnicode(long newSourcePage, long newSinkPage);
  void retargetFromUnicode(long newSinkPage);

  // Clears what is left of a value and of its errors.
  void clearValue();

  // Makes the buffers that are missing, and takes the sink's buffer.
  [[nodiscard]] int setUpSink();
  // Takes the next buffer of a sink that has more than one; fails if nothing fits into it.
  [[nodiscard]] int takeNextBuffer();
  // Called with each new buffer: the end of the room in it.
  virtual unsigned char* limitOf() const { return sinkStart + sinkSize; }

  // The next region of the source.
  [[nodiscard]] int readRegion();

  // Converts from the source region into the UTF-16 stage, or directly into a sink of UTF-16. A failure is
  // sticky.
  [[nodiscard]] UErrorCode takeInput();

  // Swaps units of the stage into a sink of the other byte order.
  void swapToSink();

  // Into a sink of UTF-16: the room that a step needs. A buffer that another one follows can end within a
  // unit, whose second byte putSplitByte() writes into the next one.
  unsigned long leastRoom() const { return moreSink ? 1 : sizeof(UChar); }
  void putSplitByte();

  // One call of the from-Unicode converter: from the stage up to `end` into the sink up to `limit`. 0 or
  // U_BUFFER_OVERFLOW_ERROR, or a failure, which is sticky.
  [[nodiscard]] UErrorCode convertToSink(const UChar* end, unsigned char* limit, int32_t* offsets,
                                         bool flush);

  // Nothing follows the source region.
  virtual bool isLastRegion() const { return !moreSource; }
  // Nothing more will come to the stage.
  bool isInputDone() const { return isLastRegion() && sourceCursor == sourceEnd && !toUnicodeDirty; }
  // Something is to come after what the sink has, as far as the stages know.
  bool isMoreHeld() const;

  unsigned long room() const { return static_cast<unsigned long>(sinkLimit - sinkCursor); }
  unsigned long used() const { return static_cast<unsigned long>(sinkCursor - sinkStart); }
  unsigned long available() const { return static_cast<unsigned long>(sourceEnd - sourceCursor); }

  // Copies `n` bytes of the source region into the sink's buffer.
  void copyToSink(unsigned long n);

  // Steps of both directions: from the stage into a buffer that may end anywhere, where the converter holds
  // the rest of a cut character; the next input, after which there is something to convert, or nothing is
  // left; and the end by an error, which gives the result.
  Step fill(int& result);
  Step getInput(int& result);
  Step fail(UErrorCode status, int& result);

  // The end of a call that converted: the warning of a substitution.
  int finish(int result);

  long sourceCodePage = 0;
  long sinkCodePage = 0;
  ICUSubstitutionErrorInfo substitution;  // of converters that are not from the cache
  ZuCodePageHandle toUnicode;
  ZuCodePageHandle fromUnicode;
  unsigned char* unicodeBuffer = nullptr;  // kStageSize bytes
  unsigned char* sinkScratch = nullptr;    // the buffer for a sink that has none
  unsigned char* sinkStart = nullptr;      // the sink's buffer
  unsigned long sinkSize = 0;
  unsigned char* sinkCursor = nullptr;
  unsigned char* sinkLimit = nullptr;
  const unsigned char* sourceCursor = nullptr;
  const unsigned char* sourceEnd = nullptr;
  const UChar* unicodeCursor = nullptr;  // in unicodeBuffer or in the source region
  const UChar* unicodeEnd = nullptr;
  ZuICUHandleCache* handleCache = nullptr;
  int moreSource = 1;         // the source has more regions
  int moreSink = 0;           // the sink has more buffers
  int directSink = 0;         // the sink has buffers
  bool hasSplitByte = false;  // the end of a region cut a unit of UTF-16, whose first byte is splitByte
  unsigned char splitByte = 0;
  bool hasSplitSinkByte = false;  // likewise the end of a sink's buffer, and the second byte
  unsigned char splitSinkByte = 0;
  bool reportsCuts = false;       // a character that the end of the value cuts is an error
  bool isReady = false;           // init or a reset with arguments has succeeded
  bool toUnicodeHolds = false;    // the converter has output for which there was no room
  bool fromUnicodeHolds = false;  // likewise
  bool isFlushed = false;         // the text in the sink's page has its end
  int toUnicodeDirty = 0;         // the converter may hold state
  int fromUnicodeDirty = 0;
  UErrorCode stickyError = U_ZERO_ERROR;

 private:
  void takeUnits();
  void stageUnits(const unsigned char* bytes, unsigned long n);
  void splitUnit(const UChar* unit);
};

#endif
