#include "zulib/convert/converters/zusimplecharconverter.h"

#include <algorithm>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/internal/icuconverter.h"
#include "zulib/convert/internal/report.h"
#include "zulib/convert/internal/tail.h"
#include "zulib/convert/sources/zumemory.h"

namespace {

constexpr unsigned long kUnit = sizeof(UChar);

bool isUTF16(long codePage) { return codePage == UCNV_IANA_UTF_16LE || codePage == UCNV_IANA_UTF_16BE; }

}  // namespace

ZuSimpleCharConverter::ZuSimpleCharConverter(const unsigned char* data, unsigned long length,
                                             ZuDataSink* sink, long codePage, int nullTerminate,
                                             ReportCodePageErrors reportCodePageErrors)
    : ZuDataConverter(nullptr, sink),
      codePage(codePage),
      sourceCursor(data),
      sourceEnd(data + length),
      nullTerminate(nullTerminate) {
  substitution.reportCodePageErrors = reportCodePageErrors;
}

ZuSimpleCharConverter::~ZuSimpleCharConverter() { std::free(validationBuffer); }

// The sizes of the characters, and the converter if the end of a buffer must be checked with it.
int ZuSimpleCharConverter::open() {
  maxCharSize = minCharSize = isUTF16(codePage) ? kUnit : 0;
  if (maxCharSize || !nullTerminate) return 0;
  if (!handle && handle.open(handleCache, codePage, &substitution)) return 1;
  const zuconvert::CharSizes sizes = zuconvert::charSizesOf(handle.get());
  maxCharSize = sizes.max;
  minCharSize = sizes.min;
  if (isFixedSize()) handle.giveBack(false, false);
  return 0;
}

int ZuSimpleCharConverter::start() {
  isReady = !sink || !resetSink();
  return isReady ? 0 : 1;
}

int ZuSimpleCharConverter::init() {
  prepareToCache();
  finalData = 0;
  stickyError = U_ZERO_ERROR;
  return open() || start();
}

int ZuSimpleCharConverter::reset(const unsigned char* data, unsigned long length, ZuDataSink* newSink,
                                 long newCodePage, int newNullTerminate) {
  stickyError = U_ZERO_ERROR;
  isReady = false;
  const bool isKnown = newCodePage == codePage && newNullTerminate && isFixedSize();
  if (newCodePage != codePage) handle.giveBack(false, false);
  codePage = newCodePage;
  nullTerminate = newNullTerminate;
  if (!isKnown && open()) {
    codePage = 0;
    maxCharSize = minCharSize = 0;
    return 1;
  }
  replaceSink(newSink);
  sourceCursor = data;
  sourceEnd = data + length;
  finalData = 0;
  driverValueWord = 0;
  return start();
}

int ZuSimpleCharConverter::reset() { return zuconvert::reportFailure(); }

int ZuSimpleCharConverter::resetSink() {
  const auto* const memory = dynamic_cast<const ZuMemorySink*>(sink);
  if (!memory) return zuconvert::reportFailure();
  void* buffer = nullptr;
  memory->inlineGetData(&buffer, &sinkSize);
  sinkStart = sinkCursor = static_cast<unsigned char*>(buffer);
  const unsigned long reserved = nullTerminate ? std::min<unsigned long>(minCharSize, sinkSize) : 0;
  sinkLimit = sinkStart + sinkSize - reserved;
  return 0;
}

int ZuSimpleCharConverter::prepareToCache() {
  handle.giveBack(false, false);
  isReady = false;
  return 0;
}

void ZuSimpleCharConverter::calculateSinkBytes(unsigned long sourceBytes, unsigned long) {
  sinkBytes = sourceBytes;
}

// Bytes at the end of the `used` ones that are to come again, with the rest of their character.
UErrorCode ZuSimpleCharConverter::unfinished(unsigned long used, unsigned long& n) {
  const unsigned char* const text = sinkCursor - used;
  if (isUTF16(codePage)) {
    n = used % kUnit;
    if (used - n >= kUnit && zuconvert::isLeadUnit(sinkCursor - n - kUnit, codePage)) n += kUnit;
  } else if (codePage == UCNV_IANA_UTF_8) {
    n = zuconvert::tailUTF8(text, used);
  } else if (isFixedSize()) {
    n = used % minCharSize;
  } else {
    return zuconvert::unfinishedBytes(handle.get(), validationBuffer, text, used, false, n);
  }
  return U_ZERO_ERROR;
}

int ZuSimpleCharConverter::convert() {
  if (stickyError) return checkICUreturn(stickyError);
  if (!isReady || !sink) return zuconvert::reportFailure();
  auto* const memory = static_cast<ZuMemorySink*>(sink);
  const auto rest = static_cast<unsigned long>(sourceEnd - sourceCursor);
  const int truncated = rest > room();
  const bool isValidated = truncated && nullTerminate && handle && codePage != UCNV_IANA_UTF_8;
  if (isValidated && !validationBuffer) {
    validationBuffer = static_cast<unsigned char*>(ramAlloc(zuconvert::kValidationSize));
    if (!validationBuffer) return 1;
  }
  unsigned long used = std::min(rest, room());
  if (used) fastMemCopy(sinkCursor, sourceCursor, used);
  sinkCursor += used;
  sourceCursor += used;
  if (nullTerminate) {
    unsigned long held = 0;
    const UErrorCode status = truncated ? unfinished(used, held) : U_ZERO_ERROR;
    if (U_FAILURE(status)) {
      stickyError = status;
      return checkICUreturn(status);
    }
    sinkCursor -= held;
    sourceCursor -= held;
    used -= held;
    zuconvert::terminate(sinkCursor, sinkSize, minCharSize);
  }
  memory->inlineDataWritten(used, truncated);
  if (truncated) {
    countDown(used);
  } else {
    sinkBytes = 0;
  }
  return 0;
}
