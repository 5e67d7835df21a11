#include "zulib/convert/converters/zucharconverter.h"

#include <unicode/utf16.h>

#include <algorithm>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/internal/icuconverter.h"
#include "zulib/convert/internal/report.h"
#include "zulib/convert/internal/tail.h"
#include "zulib/convert/sources/zutmpfilevalue.h"

namespace {

constexpr unsigned long kUnit = sizeof(UChar);
constexpr unsigned long kMostAtOnce = 0x40000000UL;  // bytes that ICU takes in one call

// What a converter may write beyond its maximum for each unit, in characters: shifts and signatures.
constexpr unsigned long kExtraChars = 10;

// The last bytes of a buffer are converted with offsets, to see where characters begin. Below kTailChars
// characters of room the offsets of all that can be written fit into kTailBytes.
constexpr unsigned long kTailChars = 32;
constexpr unsigned long kTailBytes = 512;

}  // namespace

ZuCharConverter::ZuCharConverter() { directionTag = 2; }

ZuCharConverter::ZuCharConverter(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage,
                                 long sinkCodePage, int nullTerminate,
                                 ReportCodePageErrors reportCodePageErrors)
    : ZuCharConverterBase(source, sink, sourceCodePage, sinkCodePage, reportCodePageErrors),
      nullTerminate(nullTerminate) {
  directionTag = 2;
}

ZuCharConverter::~ZuCharConverter() { std::free(validationBuffer); }

void ZuCharConverter::readSizes() {
  const zuconvert::CharSizes sizes = zuconvert::charSizesOf(fromUnicode.get());
  maxSinkCharSize = sizes.max;
  minSinkCharSize = sizes.min;
}

bool ZuCharConverter::hasFixedSize() const { return minSinkCharSize && minSinkCharSize == maxSinkCharSize; }

// The sizes of the sink's characters, and the from-Unicode converter if there is none and it is needed.
int ZuCharConverter::prepareFromUnicode(int terminates) {
  if (isUTF16(sinkCodePage)) {
    maxSinkCharSize = minSinkCharSize = kUnit;
    return 0;
  }
  const bool isNeeded = terminates || !hasSameCodePages();
  if (isNeeded && !fromUnicode && openFromUnicode()) return 1;
  if (!terminates) return 0;
  readSizes();
  // The width alone settles where a buffer may end.
  if (hasSameCodePages() && hasFixedSize()) giveBackFromUnicode();
  return 0;
}

int ZuCharConverter::init() {
  prepareToCache();
  maxSinkCharSize = minSinkCharSize = 0;
  stickyError = U_ZERO_ERROR;
  if (needsToUnicode() && openToUnicode()) return 1;
  if (prepareFromUnicode(nullTerminate)) return 1;
  return start();
}

// The state of a new value, and its first input.
int ZuCharConverter::start() {
  clearValue();
  // Only a page of characters of several sizes, other than the Unicode ones, is converted to see how it ends.
  isValidated = nullTerminate && hasSameCodePages() && !isUTF16(sinkCodePage) &&
                sinkCodePage != UCNV_IANA_UTF_8 && !hasFixedSize();
  pendingHighSurrogate = 0;
  pendingCount = 0;
  if (setUpSink()) return 1;
  isReady = true;
  return source ? preFetch() : 0;
}

int ZuCharConverter::reset(ZuDataSource* newSource, ZuDataSink* newSink, long newSourcePage, long newSinkPage,
                           int newNullTerminate) {
  stickyError = U_ZERO_ERROR;
  isReady = false;
  const bool keepsSink = newSinkPage == sinkCodePage;
  if (retargetToUnicode(newSourcePage, newSinkPage)) return 1;
  retargetFromUnicode(newSinkPage);
  if (!keepsSink) maxSinkCharSize = minSinkCharSize = 0;
  const bool isKnown = newNullTerminate && nullTerminate && keepsSink && hasSameCodePages() && hasFixedSize();
  if (!isKnown && prepareFromUnicode(newNullTerminate)) {
    sinkCodePage = 0;
    return 1;
  }
  replaceSource(newSource);
  replaceSink(newSink);
  nullTerminate = newNullTerminate;
  sourceNotOwned = 0;
  driverValueWord = 0;
  return start();
}

int ZuCharConverter::reset() {
  if (!isReady || !source || !sink) return zuconvert::reportFailure();
  if (source->reset() || sink->reset() || resetSink()) return 1;
  resetDirtyHandles();
  unicodeCursor = unicodeEnd = reinterpret_cast<const UChar*>(unicodeBuffer);
  hasSplitByte = hasSplitSinkByte = false;
  isFlushed = false;
  finalData = 0;
  moreSource = 1;
  if (fromUnicode.getInfo()) fromUnicode.getInfo()->substituted = 0;
  return 0;
}

unsigned char* ZuCharConverter::limitOf() const {
  if (!isWholeOnly()) return sinkStart + sinkSize;
  return sinkStart + (sinkSize > minSinkCharSize ? sinkSize - minSinkCharSize : 0);
}

int ZuCharConverter::preFetch() {
  if (!isReady || !source) return zuconvert::reportFailure();
  sourceCursor = sourceEnd = nullptr;
  if (hasSameCodePages()) return 0;
  if (readRegion()) return 1;
  // A sink of UTF-16 is written to directly, but what its buffer had before the driver's next resetSink would
  // be lost.
  if (isUTF16(sinkCodePage) && !isUTF16(sourceCodePage)) return 0;
  const UErrorCode status = takeInput();
  if (U_FAILURE(status)) static_cast<void>(checkICUreturn(status));  // again from the next convert
  return 0;
}

void ZuCharConverter::calculateSinkBytes(unsigned long sourceBytes, unsigned long sourceChars) {
  sinkBytes = kZuUnknownLength;
  if (hasSameCodePages()) {
    if (sourceBytes != kZuUnknownLength) {
      sinkBytes = sourceBytes;
    } else if (sourceChars != kZuUnknownLength && hasFixedSize()) {
      sinkBytes = sourceChars * maxSinkCharSize;
    }
    return;
  }
  if (sourceChars == kZuUnknownLength) {
    if (sourceBytes == kZuUnknownLength) return;
    if (sourceCodePage >= UCNV_IANA_UTF_16BE && sourceCodePage <= UCNV_IANA_UTF_16) {
      sourceChars = sourceBytes / kUnit;
    } else if (toUnicode) {
      const zuconvert::CharSizes sizes = zuconvert::charSizesOf(toUnicode.get());
      if (sizes.max == sizes.min) sourceChars = sourceBytes / sizes.max;
    }
    if (sourceChars == kZuUnknownLength) return;
  }
  if (!maxSinkCharSize || !minSinkCharSize) {
    if (sinkCodePage >= UCNV_IANA_UTF_16BE && sinkCodePage <= UCNV_IANA_UTF_16) {
      maxSinkCharSize = minSinkCharSize = kUnit;
    } else if (fromUnicode) {
      readSizes();
    }
  }
  if (hasFixedSize()) sinkBytes = sourceChars * maxSinkCharSize;
}

int ZuCharConverter::calculateSinkBytes(ZuTmpFileSink* tmpSink, ZuTmpFileSource* tmpSource,
                                        ZuDataSource** oldSource) {
  *oldSource = tmpSource;
  if (!isReady || !source) return zuconvert::reportFailure();
  ZuDataSink* const savedSink = sink;
  const int savedNullTerminate = nullTerminate;
  sink = tmpSink;
  nullTerminate = 0;
  const int failed = resetSink() || convert() || tmpSink->getDataSource(tmpSource);
  // The temporary sink is not this object's to delete.
  sink = savedSink;
  nullTerminate = savedNullTerminate;
  if (failed) {
    isReady = false;
    return 1;
  }
  sinkBytes = tmpSink->getTotalBytes();
  *oldSource = source;
  source = nullptr;
  if (!reset(tmpSource, savedSink, sinkCodePage, sinkCodePage, savedNullTerminate)) return 0;
  if (!source) source = tmpSource;
  return 1;
}

int ZuCharConverter::convert() {
  if (stickyError) return checkICUreturn(stickyError);
  if (!isReady || !source || !sink) return zuconvert::reportFailure();
  return hasSameCodePages() ? convertSame() : convertOther();
}

// ---- One code page: bytes are copied, and what a buffer's end cuts is held back.

int ZuCharConverter::convertSame() {
  if (isValidated && !validationBuffer && makeValidationBuffer()) return 1;
  unsigned long inBuffer = 0;  // bytes that this call has put into the present buffer
  if (pendingCount > 0) {
    if (room() < pendingCount) return handOverSame(0, 1, false);
    fastMemCopy(sinkCursor, pendingBytes, pendingCount);
    sinkCursor += pendingCount;
    inBuffer = pendingCount;
    pendingCount = 0;
  }
  for (;;) {
    while (sourceCursor == sourceEnd && moreSource) {
      if (directSink && finalData && !moreSink) return readDirectly(inBuffer);
      if (readRegion()) return 1;
    }
    const unsigned long n = available();
    if (n == 0) return directSink ? handOverSame(inBuffer, 0, true) : 0;
    if (!directSink) {
      if (sink->writeData(sourceCursor, n, moreSource)) return 1;
      sourceCursor = sourceEnd;
      countDown(n);
      continue;
    }
    const unsigned long fits = std::min(n, room());
    copyToSink(fits);
    inBuffer += fits;
    if (fits == n) continue;
    if (!moreSink) return handOverSame(inBuffer, 1, true);
    if (sink->dataWritten(inBuffer, 1) || takeNextBuffer()) return 1;
    countDown(inBuffer);
    inBuffer = 0;
  }
}

// The last of the value goes straight into the application's buffer.
int ZuCharConverter::readDirectly(unsigned long inBuffer) {
  unsigned long got = 0;
  moreSource = 0;
  if (source->getData(sinkCursor, room(), &got, &moreSource)) return 1;
  sinkCursor += got;
  return handOverSame(inBuffer + got, moreSource, true);
}

// The end of a piece. `checksTail`: its end may cut a character.
int ZuCharConverter::handOverSame(unsigned long inBuffer, int truncated, bool checksTail) {
  if (isWholeOnly()) {
    if (checksTail) {
      const UErrorCode status = holdTail(inBuffer, !truncated);
      if (U_FAILURE(status)) {
        stickyError = status;
        return checkICUreturn(status);
      }
    }
    zuconvert::terminate(sinkCursor, sinkSize, minSinkCharSize);
  }
  if (sink->dataWritten(inBuffer, truncated)) return 1;
  countDown(inBuffer);
  return 0;
}

int ZuCharConverter::makeValidationBuffer() {
  validationBuffer = static_cast<unsigned char*>(ramAlloc(zuconvert::kValidationSize));
  return validationBuffer ? 0 : 1;
}

// Holds back the character that the end of the buffer cuts.
UErrorCode ZuCharConverter::holdTail(unsigned long& inBuffer, bool isWhole) {
  const unsigned char* const text = sinkCursor - inBuffer;
  if (isUTF16(sinkCodePage)) {
    holdUnits(inBuffer);
  } else if (sinkCodePage == UCNV_IANA_UTF_8) {
    hold(zuconvert::unfinishedUTF8(text, inBuffer), inBuffer);
  } else if (hasFixedSize()) {
    hold(inBuffer % minSinkCharSize, inBuffer);
  } else if (isValidated) {
    unsigned long n = 0;
    const UErrorCode status =
        zuconvert::unfinishedBytes(fromUnicode.get(), validationBuffer, text, inBuffer, isWhole, n);
    if (U_FAILURE(status)) return status;
    hold(std::min(n, kMostHeld), inBuffer);
  }
  return U_ZERO_ERROR;
}

void ZuCharConverter::hold(unsigned long n, unsigned long& inBuffer) {
  sinkCursor -= n;
  inBuffer -= n;
  for (unsigned long i = 0; i < n; ++i) pendingBytes[i] = sinkCursor[i];
  pendingCount = n;
}

// Half a unit, by the address, and the first unit of a pair. Of the latter the second byte and its sign are
// held, and the cursor goes back over that byte alone. Kept: the header says how drivers avoid it.
void ZuCharConverter::holdUnits(unsigned long& inBuffer) {
  if (reinterpret_cast<std::uintptr_t>(sinkCursor) % kUnit != 0 && inBuffer > 0) hold(1, inBuffer);
  if (inBuffer < kUnit || !zuconvert::isLeadUnit(sinkCursor - kUnit, sinkCodePage)) return;
  inBuffer -= kUnit;
  if (pendingCount) pendingBytes[kUnit] = pendingBytes[0];
  pendingCount += kUnit;
  --sinkCursor;
  pendingBytes[0] = *sinkCursor;
  pendingBytes[1] = *sinkCursor & 0x80 ? 0xFF : 0;
}

// ---- Two code pages.

int ZuCharConverter::convertOther() {
  int result = 0;
  for (Step step = Step::Top; step != Step::Leave;) {
    if (step == Step::Top) {
      step = isUTF16(sinkCodePage) ? fillUnits() : isWholeOnly() ? fillWhole(result) : fill(result);
    } else if (step == Step::Input) {
      step = getInput(result);
    } else {
      step = handOver(result);
    }
  }
  return finish(result);
}

// Into UTF-16. The input step writes by itself, unless the source has the other byte order.
ZuCharConverter::Step ZuCharConverter::fillUnits() {
  const bool isSwapped = sinkCodePage == UCNV_IANA_UTF_16BE;
  if (pendingHighSurrogate) {
    if (room() >= kUnit) {
      *sinkCursor++ =
          static_cast<unsigned char>(isSwapped ? pendingHighSurrogate >> 8 : pendingHighSurrogate);
      *sinkCursor++ =
          static_cast<unsigned char>(isSwapped ? pendingHighSurrogate : pendingHighSurrogate >> 8);
      pendingHighSurrogate = 0;
    }
    return Step::HandOver;
  }
  putSplitByte();
  if (isUTF16(sourceCodePage)) swapToSink();
  if (room() >= leastRoom()) return Step::Input;
  if (isWholeOnly() && used() >= kUnit && zuconvert::isLeadUnit(sinkCursor - kUnit, sinkCodePage)) {
    sinkCursor -= kUnit;
    if (isMoreHeld()) {
      pendingHighSurrogate = static_cast<unsigned short>(isSwapped ? sinkCursor[0] << 8 | sinkCursor[1]
                                                                   : sinkCursor[1] << 8 | sinkCursor[0]);
    } else {
      stickyError = U_TRUNCATED_CHAR_FOUND;  // no second unit can follow
    }
  }
  return Step::HandOver;
}

// Into a buffer that ends with a whole character. Up to where it surely suffices ICU is faster without
// offsets (benchmark rows "pieces ... terminated"); what follows needs them.
ZuCharConverter::Step ZuCharConverter::fillWhole(int& result) {
  if (isFlushed) return Step::HandOver;
  for (;;) {
    const auto units = static_cast<unsigned long>(unicodeEnd - unicodeCursor);
    const unsigned long chars = std::min(room(), kMostAtOnce) / maxSinkCharSize;
    if (units == 0 || chars < kExtraChars + kTailChars) break;
    const UChar* const end = unicodeCursor + std::min(units, chars - kExtraChars);
    const bool isAll = end == unicodeEnd;
    const UErrorCode status = convertToSink(end, sinkLimit, nullptr, isAll && isInputDone());
    if (U_FAILURE(status)) return fail(status, result);
    if (isAll) return Step::Input;
  }
  int32_t offsets[kTailBytes];
  unsigned char* const start = sinkCursor;
  const UErrorCode status =
      convertToSink(unicodeEnd, start + std::min(room(), kTailBytes), offsets, isInputDone());
  if (status == U_BUFFER_OVERFLOW_ERROR) return dropCut(start, offsets);
  return U_FAILURE(status) ? fail(status, result) : Step::Input;
}

// The buffer is full. If a character was cut, the converter holds its other bytes: the character goes, with
// all its bytes. `offsets` tells for each byte since `start` where in the stage its character began.
ZuCharConverter::Step ZuCharConverter::dropCut(unsigned char* start, const int32_t* offsets) {
  char rest[kTailBytes];
  char* out = rest;
  const UChar* none = unicodeCursor;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_fromUnicode(fromUnicode.get(), &out, rest + sizeof rest, &none, none, nullptr, false, &status);
  if (out == rest) return Step::HandOver;
  const unsigned char* const last = sinkCursor - 1;
  while (sinkCursor > start && offsets[sinkCursor - 1 - start] >= offsets[last - start]) --sinkCursor;
  ucnv_resetFromUnicode(fromUnicode.get());
  fromUnicodeDirty = 0;
  isFlushed = !isMoreHeld();  // the last character was the one that was cut
  return Step::HandOver;
}

ZuCharConverter::Step ZuCharConverter::handOver(int& result) {
  const unsigned long n = used();
  const bool more = isMoreHeld() || pendingHighSurrogate || stickyError;
  countDown(n);
  result = 1;  // unless all of the following succeeds
  if (!directSink) {
    if (sink->writeData(sinkScratch, n, 1)) return Step::Leave;
    sinkCursor = sinkStart;
  } else {
    if (sink->dataWritten(n, more)) return Step::Leave;
    if (moreSink && takeNextBuffer()) return Step::Leave;
  }
  result = 0;
  if (moreSink) return more ? Step::Top : Step::Leave;
  if (nullTerminate) zuconvert::terminate(sinkCursor, sinkSize, minSinkCharSize);
  return Step::Leave;
}
