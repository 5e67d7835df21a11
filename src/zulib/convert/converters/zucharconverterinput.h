// ZuCharConverterInput: a character value from the application to the wire, in the chunks of SQLPutData.
//
// The converter does not know which chunk is the last unless the driver tells it: by setFinalData before the
// convert of the last chunk, or by flushSink() after it. Until then a character that a chunk cuts waits in
// the converter for the next chunk, and converted text may stay in the sink's buffer, about which the sink is
// told when it is full. There is no terminator and no prediction of the length.
//
// A value that ends within a character is an error of the convert with final data (2737); with flushSink the
// part of a character, and the shift of a page back to its first state, are left out. As in ZuCharConverter
// errors are sticky, and a sink that has further buffers gets no shift back at the end either. Overflow of a
// fixed buffer ends the call, with `more` 1 to the sink; after the driver's next resetSink a further convert
// goes on.
//
// Usage, for SQLPutData:
//   for each chunk:
//     ... point the source at the application's data
//     if (converter.resetSource()) return 1;
//     if (isLast) converter.setFinalData(1);
//     if (converter.convert()) return 1;
//   if (converter.flushSink()) return 1;   // nothing after setFinalData

#ifndef ZULIB_CONVERT_CONVERTERS_ZUCHARCONVERTERINPUT_H
#define ZULIB_CONVERT_CONVERTERS_ZUCHARCONVERTERINPUT_H

#include "zulib/convert/converters/zucharconverterbase.h"

class ZU_API ZuCharConverterInput : public ZuCharConverterBase {
 public:
  ZuCharConverterInput();
  ZuCharConverterInput(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage, long sinkCodePage,
                       ReportCodePageErrors reportCodePageErrors);

  int convert() override;

  // Reads nothing: the source may have no data yet.
  int init() override;
  int reset() override;

  // Another value. If a converter of ICU cannot be had the source and the sink stay as they were, and the
  // object must be reset again; the new ones are then the caller's.
  [[nodiscard]] int reset(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage, long sinkCodePage);

  // The source has the next chunk.
  [[nodiscard]] int resetSource();

  // Tells the sink that the value has ended, with what its buffer has; nothing after a final convert.
  [[nodiscard]] int flushSink();

 protected:
  bool isLastRegion() const override { return finalData && !moreSource; }

 private:
  [[nodiscard]] int openHandles();
  [[nodiscard]] int start();

  int convertSame();
  int readDirectly();

  int convertOther();
  Step fillUnits();
  Step handOver(int& result);
  bool isFull() const;
  [[nodiscard]] int tellSink();
};

#endif
