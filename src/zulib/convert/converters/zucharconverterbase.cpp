#include "zulib/convert/converters/zucharconverterbase.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/internal/report.h"
#include "zulib/convert/services/oxunicode.h"

namespace {

constexpr unsigned long kStageSize = 16384;
constexpr unsigned long kScratchSize = 4096;
constexpr unsigned long kSwapSize = 8192;            // bytes swapped into the stage at once
constexpr unsigned long kMostAtOnce = 0x40000000UL;  // bytes that ICU takes in one call
constexpr unsigned long kUnit = sizeof(UChar);

bool isAligned(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % kUnit == 0; }

// Reports a character that the end of the value cuts; ICU by itself substitutes it as it does illegal bytes.
extern "C" void stopAtCut(const void*, UConverterToUnicodeArgs* args, const char* bytes, int32_t length,
                          UConverterCallbackReason reason, UErrorCode* status) {
  if (*status == U_TRUNCATED_CHAR_FOUND) return;
  UCNV_TO_U_CALLBACK_SUBSTITUTE(nullptr, args, bytes, length, reason, status);
}

void setCallback(UConverter* converter, UConverterToUCallback callback) {
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter, callback, nullptr, nullptr, nullptr, &status);
}

unsigned char* makeBuffer(unsigned char*& buffer, unsigned long size) {
  if (!buffer) buffer = static_cast<unsigned char*>(ramAlloc(size));
  return buffer;
}

}  // namespace

ZuCharConverterBase::ZuCharConverterBase(ZuDataSource* source, ZuDataSink* sink, long sourceCodePage,
                                         long sinkCodePage, ReportCodePageErrors policy)
    : ZuDataConverter(source, sink), sourceCodePage(sourceCodePage), sinkCodePage(sinkCodePage) {
  substitution.reportCodePageErrors = policy;
}

ZuCharConverterBase::~ZuCharConverterBase() {
  giveBackFromUnicode();
  giveBackToUnicode();
  std::free(unicodeBuffer);
  std::free(sinkScratch);
}

bool ZuCharConverterBase::isUTF16(long codePage) {
  return codePage == UCNV_IANA_UTF_16LE || codePage == UCNV_IANA_UTF_16BE;
}

int ZuCharConverterBase::openToUnicode() {
  toUnicodeDirty = 0;
  if (toUnicode.open(handleCache, sourceCodePage, nullptr)) return 1;
  if (reportsCuts) setCallback(toUnicode.get(), stopAtCut);
  return 0;
}

int ZuCharConverterBase::openFromUnicode() {
  fromUnicodeDirty = 0;
  return fromUnicode.open(handleCache, sinkCodePage, &substitution);
}

void ZuCharConverterBase::giveBackToUnicode() {
  if (toUnicode && reportsCuts) setCallback(toUnicode.get(), UCNV_TO_U_CALLBACK_SUBSTITUTE);
  toUnicode.giveBack(toUnicodeDirty != 0, false);
}

// The flag of the other converter decides. Kept: whoever takes a converter from the cache resets it.
void ZuCharConverterBase::giveBackFromUnicode() { fromUnicode.giveBack(false, toUnicodeDirty != 0); }

int ZuCharConverterBase::retargetToUnicode(long newSourcePage, long newSinkPage) {
  const bool isNeeded = !isUTF16(newSourcePage) && newSourcePage != newSinkPage;
  if (toUnicode && isNeeded && newSourcePage == sourceCodePage) {
    if (toUnicodeDirty) ucnv_resetToUnicode(toUnicode.get());
    toUnicodeDirty = 0;
  } else {
    giveBackToUnicode();
  }
  sourceCodePage = newSourcePage;
  if (!isNeeded || toUnicode || !openToUnicode()) return 0;
  sourceCodePage = 0;
  return 1;
}

void ZuCharConverterBase::retargetFromUnicode(long newSinkPage) {
  if (fromUnicode && newSinkPage == sinkCodePage) {
    if (fromUnicodeDirty) ucnv_resetFromUnicode(fromUnicode.get());
    fromUnicodeDirty = 0;
  } else {
    giveBackFromUnicode();
  }
  sinkCodePage = newSinkPage;
}

void ZuCharConverterBase::resetDirtyHandles() {
  if (toUnicodeDirty && toUnicode) ucnv_resetToUnicode(toUnicode.get());
  if (fromUnicodeDirty && fromUnicode) ucnv_resetFromUnicode(fromUnicode.get());
  toUnicodeDirty = 0;
  fromUnicodeDirty = 0;
  toUnicodeHolds = false;
  fromUnicodeHolds = false;
}

int ZuCharConverterBase::prepareToCache() {
  giveBackFromUnicode();
  giveBackToUnicode();
  toUnicodeDirty = 0;
  fromUnicodeDirty = 0;
  isReady = false;
  return 0;
}

void ZuCharConverterBase::clearValue() {
  finalData = 0;
  moreSource = 1;
  sourceCursor = sourceEnd = nullptr;
  unicodeCursor = unicodeEnd = reinterpret_cast<const UChar*>(unicodeBuffer);
  hasSplitByte = false;
  hasSplitSinkByte = false;
  toUnicodeHolds = false;
  fromUnicodeHolds = false;
  isFlushed = false;
  if (fromUnicode.getInfo()) fromUnicode.getInfo()->substituted = 0;
}

int ZuCharConverterBase::setUpSink() {
  if (!makeBuffer(unicodeBuffer, kStageSize)) return 1;
  if (!unicodeCursor) unicodeCursor = unicodeEnd = reinterpret_cast<const UChar*>(unicodeBuffer);
  return sink ? ZuCharConverterBase::resetSink() : 0;
}

int ZuCharConverterBase::resetSink() {
  if (!sink) return zuconvert::reportFailure();
  sinkStart = sinkCursor = sinkLimit = nullptr;
  sinkSize = 0;
  directSink = sink->bGetDataSupported();
  if (directSink) {
    void* buffer = nullptr;
    unsigned long size = 0;
    moreSink = 0;
    if (sink->getData(&buffer, &size, &moreSink)) return 1;
    sinkStart = static_cast<unsigned char*>(buffer);
    sinkSize = size;
  } else {
    moreSink = 1;
    if (!makeBuffer(sinkScratch, kScratchSize)) return 1;
    sinkStart = sinkScratch;
    sinkSize = kScratchSize;
  }
  sinkCursor = sinkStart;
  sinkLimit = limitOf();
  return 0;
}

// A sink that goes on handing out buffers into which nothing fits would keep the conversion going for ever.
int ZuCharConverterBase::takeNextBuffer() {
  if (ZuCharConverterBase::resetSink()) return 1;
  return moreSink && sinkSize == 0 ? zuconvert::reportFailure() : 0;
}

int ZuCharConverterBase::readRegion() {
  const void* region = nullptr;
  unsigned long size = 0;
  if (source->getData(&region, &size, &moreSource)) return 1;
  sourceCursor = static_cast<const unsigned char*>(region);
  sourceEnd = sourceCursor + size;
  return 0;
}

bool ZuCharConverterBase::isMoreHeld() const {
  return moreSource || sourceCursor != sourceEnd || toUnicodeHolds || unicodeCursor != unicodeEnd ||
         fromUnicodeHolds || hasSplitSinkByte;
}

void ZuCharConverterBase::copyToSink(unsigned long n) {
  if (n) fastMemCopy(sinkCursor, sourceCursor, n);
  sinkCursor += n;
  sourceCursor += n;
}

void ZuCharConverterBase::stageUnits(const unsigned char* bytes, unsigned long n) {
  if (sourceCodePage == UCNV_IANA_UTF_16BE && sinkCodePage != UCNV_IANA_UTF_16LE) {
    oxUCS2Swap(unicodeBuffer, bytes, n / kUnit);
  } else {
    std::memcpy(unicodeBuffer, bytes, n);
  }
  unicodeCursor = reinterpret_cast<const UChar*>(unicodeBuffer);
  unicodeEnd = unicodeCursor + n / kUnit;
}

// A source of UTF-16. Units of this machine's byte order, or those that are going to be swapped anyway, stay
// where they are. A unit that the end of a region cuts is joined in the stage.
void ZuCharConverterBase::takeUnits() {
  unicodeCursor = unicodeEnd = reinterpret_cast<const UChar*>(unicodeBuffer);
  const unsigned long n = available();
  if (hasSplitByte && n > 0) {
    const unsigned char unit[kUnit] = {splitByte, *sourceCursor++};
    hasSplitByte = false;
    stageUnits(unit, kUnit);
    return;
  }
  if (n < kUnit) {
    if (n == 1 && !isLastRegion()) {
      splitByte = *sourceCursor;
      hasSplitByte = true;
    }
    sourceCursor = sourceEnd;
    return;
  }
  const bool goesToUTF16 = isUTF16(sinkCodePage);
  const bool staysInPlace = goesToUTF16 || (sourceCodePage == UCNV_IANA_UTF_16LE && isAligned(sourceCursor));
  const unsigned long most = staysInPlace ? kMostAtOnce : kSwapSize;
  const unsigned long taken = std::min(n, most) & ~(kUnit - 1);
  if (staysInPlace) {
    unicodeCursor = reinterpret_cast<const UChar*>(sourceCursor);
    unicodeEnd = reinterpret_cast<const UChar*>(sourceCursor + taken);
  } else {
    stageUnits(sourceCursor, taken);
  }
  sourceCursor += taken;
  if (isLastRegion() && available() == 1) sourceCursor = sourceEnd;  // half a unit is no text
}

UErrorCode ZuCharConverterBase::takeInput() {
  if (isUTF16(sourceCodePage)) {
    takeUnits();
    return U_ZERO_ERROR;
  }
  const bool isDirect = isUTF16(sinkCodePage);
  const bool isSplit = isDirect && room() < kUnit;
  const bool isStaged = !isDirect || isSplit || !isAligned(sinkCursor);
  UChar* const target = reinterpret_cast<UChar*>(isStaged ? unicodeBuffer : sinkCursor);
  const unsigned long most = isDirect ? std::max(room(), kUnit) : kStageSize;
  const unsigned long capacity = std::min(most, isStaged ? kStageSize : kMostAtOnce) / kUnit;
  const unsigned long n = std::min(available(), kMostAtOnce);
  const bool flush = isLastRegion() && n == available();
  UChar* out = target;
  const char* in = reinterpret_cast<const char*>(sourceCursor);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUnicode(toUnicode.get(), &out, target + capacity, &in, in + n, nullptr, flush, &status);
  sourceCursor = reinterpret_cast<const unsigned char*>(in);
  toUnicodeHolds = status == U_BUFFER_OVERFLOW_ERROR;
  if (U_FAILURE(status) && !toUnicodeHolds) {
    ucnv_resetToUnicode(toUnicode.get());
    toUnicodeDirty = 0;
    stickyError = status;
    return status;
  }
  toUnicodeDirty = toUnicodeHolds || !flush;
  if (!isDirect) {
    unicodeCursor = target;
    unicodeEnd = out;
    return U_ZERO_ERROR;
  }
  if (isSplit) {
    if (out != target) splitUnit(target);
    return U_ZERO_ERROR;
  }
  const auto written = static_cast<unsigned long>(out - target) * kUnit;
  if (sinkCodePage == UCNV_IANA_UTF_16BE) {
    oxUCS2Swap(sinkCursor, target, written / kUnit);
  } else if (isStaged) {
    std::memcpy(sinkCursor, target, written);
  }
  sinkCursor += written;
  return U_ZERO_ERROR;
}

void ZuCharConverterBase::swapToSink() {
  const auto units = std::min(static_cast<unsigned long>(unicodeEnd - unicodeCursor), room() / kUnit);
  oxUCS2Swap(sinkCursor, unicodeCursor, units);
  unicodeCursor += units;
  sinkCursor += units * kUnit;
  if (unicodeCursor != unicodeEnd && moreSink && room() == 1) {
    UChar unit;
    std::memcpy(&unit, unicodeCursor, kUnit);
    // Units that are going to be swapped are in the order of the source.
    unit = static_cast<UChar>(sinkCodePage == UCNV_IANA_UTF_16BE ? unit : unit << 8 | unit >> 8);
    splitUnit(&unit);
    ++unicodeCursor;
  }
}

// Writes the first byte of a unit of this machine's byte order, and keeps the second one.
void ZuCharConverterBase::splitUnit(const UChar* unit) {
  const auto high = static_cast<unsigned char>(*unit >> 8);
  const auto low = static_cast<unsigned char>(*unit);
  const bool isBigEndian = sinkCodePage == UCNV_IANA_UTF_16BE;
  *sinkCursor++ = isBigEndian ? high : low;
  splitSinkByte = isBigEndian ? low : high;
  hasSplitSinkByte = true;
}

void ZuCharConverterBase::putSplitByte() {
  if (!hasSplitSinkByte || room() == 0) return;
  *sinkCursor++ = splitSinkByte;
  hasSplitSinkByte = false;
}

UErrorCode ZuCharConverterBase::convertToSink(const UChar* end, unsigned char* limit, int32_t* offsets,
                                              bool flush) {
  char* out = reinterpret_cast<char*>(sinkCursor);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_fromUnicode(fromUnicode.get(), &out, reinterpret_cast<const char*>(limit), &unicodeCursor, end,
                   offsets, flush, &status);
  sinkCursor = reinterpret_cast<unsigned char*>(out);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    fromUnicodeDirty = 1;
    return status;
  }
  if (U_FAILURE(status)) {
    ucnv_resetFromUnicode(fromUnicode.get());
    fromUnicodeDirty = 0;
    stickyError = status;
    return status;
  }
  fromUnicodeDirty = !flush;
  isFlushed = flush;
  return U_ZERO_ERROR;
}

ZuCharConverterBase::Step ZuCharConverterBase::fill(int& result) {
  if (isFlushed) return Step::HandOver;
  unsigned char* const limit = sinkCursor + std::min(room(), kMostAtOnce);
  const UErrorCode status = convertToSink(unicodeEnd, limit, nullptr, !moreSink && isInputDone());
  fromUnicodeHolds = status == U_BUFFER_OVERFLOW_ERROR;
  if (fromUnicodeHolds) return limit != sinkLimit ? Step::Top : Step::HandOver;
  return U_FAILURE(status) ? fail(status, result) : Step::Input;
}

ZuCharConverterBase::Step ZuCharConverterBase::getInput(int& result) {
  if (sourceCursor == sourceEnd) {
    if (moreSource) {
      if (readRegion()) {
        result = 1;
        return Step::Leave;
      }
    } else if (!toUnicodeHolds && !(toUnicodeDirty && isLastRegion())) {
      return Step::HandOver;
    }
  }
  const UErrorCode status = takeInput();
  return U_FAILURE(status) ? fail(status, result) : Step::Top;
}

ZuCharConverterBase::Step ZuCharConverterBase::fail(UErrorCode status, int& result) {
  result = checkICUreturn(status);
  return Step::Leave;
}

int ZuCharConverterBase::finish(int result) {
  ICUSubstitutionErrorInfo* const info = fromUnicode.getInfo();
  if (info && info->substituted) {
    info->substituted = 0;
    zuconvert::reportSubstitution();
  }
  return result;
}
