// ZuSimpleCharConverter: a value that is wholly in memory, in one code page, to the application's buffers,
// piece by piece: the cut-down form of ZuCharConverter, with the same pieces and terminators. A character
// that the end of a terminated buffer cuts comes whole with the next piece; in UTF-16 with a signature (1015)
// a unit counts as one.
//
// The sink is a ZuMemorySink, and counts as fixed. The data stay the caller's and must live as long as the
// value is converted.
//
// Usage:
//   ZuSimpleCharConverter converter;
//   if (converter.reset(data, length, sink, 106, 1)) return 1;
//   if (converter.convert()) return 1;
//   while (sink->isTruncated()) { sink->setBuffer(...); if (converter.resetSink() || converter.convert()) ...
//   }

#ifndef ZULIB_CONVERT_CONVERTERS_ZUSIMPLECHARCONVERTER_H
#define ZULIB_CONVERT_CONVERTERS_ZUSIMPLECHARCONVERTER_H

#include "zulib/convert/converters/zudataconverter.h"
#include "zulib/convert/services/zucodepagehandle.h"

class ZuMemorySink;

class ZU_API ZuSimpleCharConverter : public ZuDataConverter {
 public:
  ZuSimpleCharConverter() = default;
  ZuSimpleCharConverter(const unsigned char* data, unsigned long length, ZuDataSink* sink, long codePage,
                        int nullTerminate, ReportCodePageErrors reportCodePageErrors = ZuReportNone);
  ~ZuSimpleCharConverter() override;

  int convert() override;
  int init() override;
  // Not supported: 2737. Use the reset with arguments.
  int reset() override;
  int resetSink() override;
  // Gives the converter back; init or the reset with arguments must follow.
  int prepareToCache() override;

  // Another value. On failure the sink is not taken, and the object must be reset again.
  [[nodiscard]] int reset(const unsigned char* data, unsigned long length, ZuDataSink* sink, long codePage,
                          int nullTerminate);

  // `sinkBytes` becomes `sourceBytes`.
  using ZuDataConverter::calculateSinkBytes;
  void calculateSinkBytes(unsigned long sourceBytes, unsigned long sourceChars) override;

  // See ZuCharConverterBase.
  void setHandleCache(ZuICUHandleCache* cache) { handleCache = cache; }
  void setReportCodePageErrors(ReportCodePageErrors policy) { substitution.reportCodePageErrors = policy; }

 private:
  [[nodiscard]] int open();
  [[nodiscard]] int start();
  unsigned long room() const { return static_cast<unsigned long>(sinkLimit - sinkCursor); }
  bool isFixedSize() const { return minCharSize && minCharSize == maxCharSize; }
  [[nodiscard]] UErrorCode unfinished(unsigned long used, unsigned long& n);

  long codePage = 0;
  ICUSubstitutionErrorInfo substitution;
  ZuCodePageHandle handle;                    // kept if the end of a buffer must be checked with it
  unsigned char* validationBuffer = nullptr;  // see tail.h
  unsigned char* sinkStart = nullptr;
  unsigned long sinkSize = 0;
  unsigned char* sinkCursor = nullptr;
  unsigned char* sinkLimit = nullptr;
  const unsigned char* sourceCursor = nullptr;
  const unsigned char* sourceEnd = nullptr;
  ZuICUHandleCache* handleCache = nullptr;
  unsigned short maxCharSize = 0;  // 0: not known
  unsigned short minCharSize = 0;
  int nullTerminate = 0;
  bool isReady = false;
  UErrorCode stickyError = U_ZERO_ERROR;
};

#endif
