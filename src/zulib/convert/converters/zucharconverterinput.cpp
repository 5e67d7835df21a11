#include "zulib/convert/converters/zucharconverterinput.h"

#include <algorithm>

#include "zulib/convert/internal/report.h"

ZuCharConverterInput::ZuCharConverterInput() {
  directionTag = 4;
  reportsCuts = true;
}

ZuCharConverterInput::ZuCharConverterInput(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage,
                                           long sinkCodePage, ReportCodePageErrors reportCodePageErrors)
    : ZuCharConverterBase(source, sink, sourceCodePage, sinkCodePage, reportCodePageErrors) {
  directionTag = 4;
  reportsCuts = true;
}

int ZuCharConverterInput::openHandles() {
  if (needsToUnicode() && !toUnicode && openToUnicode()) return 1;
  const bool needsFromUnicode = !isUTF16(sinkCodePage) && !hasSameCodePages();
  return needsFromUnicode && !fromUnicode ? openFromUnicode() : 0;
}

int ZuCharConverterInput::start() {
  clearValue();
  if (setUpSink()) return 1;
  isReady = true;
  return 0;
}

int ZuCharConverterInput::init() {
  prepareToCache();
  stickyError = U_ZERO_ERROR;
  return openHandles() || start();
}

int ZuCharConverterInput::reset(ZuDataSource* newSource, ZuDataSink* newSink, long newSourcePage,
                                long newSinkPage) {
  stickyError = U_ZERO_ERROR;
  isReady = false;
  if (retargetToUnicode(newSourcePage, newSinkPage)) return 1;
  retargetFromUnicode(newSinkPage);
  if (openHandles()) {
    sinkCodePage = 0;
    return 1;
  }
  replaceSource(newSource);
  replaceSink(newSink);
  sourceNotOwned = 0;
  driverValueWord = 0;
  return start();
}

int ZuCharConverterInput::reset() {
  if (!isReady || !source || !sink) return zuconvert::reportFailure();
  if (source->reset() || resetSource() || sink->reset() || resetSink()) return 1;
  resetDirtyHandles();
  clearValue();
  return 0;
}

int ZuCharConverterInput::resetSource() {
  if (!source) return zuconvert::reportFailure();
  moreSource = 1;
  sourceCursor = sourceEnd = nullptr;
  isFlushed = false;
  return source->reset();
}

int ZuCharConverterInput::flushSink() {
  if (finalData) return 0;
  if (!isReady || !sink) return zuconvert::reportFailure();
  const unsigned long n = used();
  if (directSink ? sink->dataWritten(n, 0) : sink->writeData(sinkScratch, n, 0)) return 1;
  sinkCursor = sinkStart;
  return 0;
}

int ZuCharConverterInput::convert() {
  if (stickyError) return checkICUreturn(stickyError);
  if (!isReady || !source || !sink) return zuconvert::reportFailure();
  return hasSameCodePages() ? convertSame() : convertOther();
}

// ---- One code page.

int ZuCharConverterInput::convertSame() {
  for (;;) {
    while (sourceCursor == sourceEnd && moreSource) {
      if (directSink && finalData && !moreSink) return readDirectly();
      if (readRegion()) return 1;
    }
    const unsigned long n = available();
    if (n == 0 && !finalData) return 0;
    if (!directSink) {
      if (sink->writeData(sourceCursor, n, moreSource || !finalData)) return 1;
      sourceCursor = sourceEnd;
      if (!moreSource) return 0;
      continue;
    }
    if (n == 0) return sink->dataWritten(used(), 0);
    const unsigned long fits = std::min(n, room());
    copyToSink(fits);
    if (fits == n) continue;
    if (sink->dataWritten(used(), 1)) return 1;
    if (!moreSink) {
      sinkCursor = sinkStart;
      return 0;
    }
    if (takeNextBuffer()) return 1;
  }
}

// The last of the value goes straight into the wire's buffer.
int ZuCharConverterInput::readDirectly() {
  unsigned long got = 0;
  moreSource = 0;
  if (source->getData(sinkCursor, room(), &got, &moreSource)) return 1;
  sinkCursor += got;
  return sink->dataWritten(used(), moreSource);
}

// ---- Two code pages.

int ZuCharConverterInput::convertOther() {
  int result = 0;
  for (Step step = Step::Top; step != Step::Leave;) {
    if (step == Step::Top) {
      step = isUTF16(sinkCodePage) ? fillUnits() : fill(result);
    } else if (step == Step::Input) {
      step = getInput(result);
    } else {
      step = handOver(result);
    }
  }
  return finish(result);
}

ZuCharConverterInput::Step ZuCharConverterInput::fillUnits() {
  putSplitByte();
  if (isUTF16(sourceCodePage)) swapToSink();
  return isFull() ? Step::HandOver : Step::Input;
}

bool ZuCharConverterInput::isFull() const { return room() < (isUTF16(sinkCodePage) ? leastRoom() : 1); }

// The wire is told when a buffer is full, and at the end of the value.
ZuCharConverterInput::Step ZuCharConverterInput::handOver(int& result) {
  if (finalData || isFull()) {
    if (tellSink() || (directSink && moreSink && takeNextBuffer())) {
      result = 1;
      return Step::Leave;
    }
    if (!moreSink) {
      if (finalData) sinkCursor = sinkStart;
      return Step::Leave;
    }
    if (!directSink) sinkCursor = sinkStart;
  }
  return isMoreHeld() ? Step::Top : Step::Leave;
}

int ZuCharConverterInput::tellSink() {
  const bool remains = isMoreHeld();
  if (!directSink) return sink->writeData(sinkScratch, used(), remains || !finalData);
  return sink->dataWritten(used(), remains || (moreSink && !finalData));
}
