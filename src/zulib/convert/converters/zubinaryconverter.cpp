#include "zulib/convert/converters/zubinaryconverter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "zulib/convert/internal/report.h"
#include "zulib/convert/sources/zutmpfilevalue.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/ram.h"
#include "zulib/text/zuhex.h"

namespace {

constexpr unsigned short kNativeBadHex = 41;

unsigned short* units(unsigned char* p) { return reinterpret_cast<unsigned short*>(p); }
const unsigned short* units(const unsigned char* p) { return reinterpret_cast<const unsigned short*>(p); }

}  // namespace

// --- what both directions share ------------------------------------------------------------------------

ZuBinaryConverterBase::~ZuBinaryConverterBase() {
  delete sink;
  sink = nullptr;
  std::free(scratch);
}

void ZuBinaryConverterBase::rewindSource() {
  sourceCursor = nullptr;
  sourceLeft = 0;
  moreSource = 1;
}

void ZuBinaryConverterBase::dropBuffer() {
  sinkStart = nullptr;
  sinkCursor = nullptr;
  room = 0;
}

int ZuBinaryConverterBase::init() {
  rewindSource();
  dropBuffer();
  finalData = 0;
  if (sink) directSink = sink->bGetDataSupported();
  state = State::Started;
  return 0;
}

int ZuBinaryConverterBase::reset() {
  if (!source || !sink) return zuconvert::reportFailure();
  if (source->reset() || sink->reset() || resetSink()) return 1;
  rewindSource();
  finalData = 0;
  return 0;
}

int ZuBinaryConverterBase::restart(ZuDataSource* newSource, ZuDataSink* newSink, BinaryType type) {
  replaceSource(newSource);
  if (sink != newSink) delete sink;
  sink = newSink;
  binaryType = type;
  rewindSource();
  finalData = 0;
  sourceNotOwned = 0;
  driverValueWord = 0;
  return resetSink();
}

int ZuBinaryConverterBase::allocateScratch() {
  if (!scratch) scratch = static_cast<unsigned char*>(ramAlloc(kScratchSize));
  return scratch ? 0 : 1;
}

int ZuBinaryConverterBase::resetSink() {
  state = State::Started;
  dropBuffer();
  if (!sink || binaryType < kZuBinaryPlain || binaryType > kZuBinaryWideHex)
    return zuconvert::reportFailure();
  directSink = sink->bGetDataSupported();
  if (directSink) return takeBuffer();
  moreSink = 1;
  if ((binaryType != kZuBinaryPlain || stagesPlainBytes()) && allocateScratch()) return 1;
  sinkStart = scratch;
  sinkCursor = scratch;
  room = kScratchSize;
  state = State::BufferTaken;
  return 0;
}

int ZuBinaryConverterBase::prepareToCache() {
  std::free(scratch);
  scratch = nullptr;
  rewindSource();
  dropBuffer();
  state = State::New;
  return 0;
}

// Before each convert.
int ZuBinaryConverterBase::prepareConvert() {
  if (!source || !sink || state == State::New || state == State::BufferFull)
    return zuconvert::reportFailure();
  return state == State::Started ? resetSink() : 0;
}

int ZuBinaryConverterBase::takeBuffer() {
  void* buffer = nullptr;
  unsigned long size = 0;
  int more = 0;
  if (sink->getData(&buffer, &size, &more)) return 1;
  if (!buffer && size > 0) return zuconvert::reportFailure();
  sinkStart = static_cast<unsigned char*>(buffer);
  sinkCursor = sinkStart;
  room = size;
  moreSink = more;
  state = State::BufferTaken;
  return 0;
}

// A sink with nothing but empty buffers would be asked for ever.
int ZuBinaryConverterBase::nextBuffer() {
  if (takeBuffer()) return 1;
  return room > 0 ? 0 : zuconvert::reportFailure();
}

int ZuBinaryConverterBase::readRegion() {
  const void* region = nullptr;
  unsigned long size = 0;
  int more = 0;
  if (source->getData(&region, &size, &more)) return 1;
  sourceCursor = static_cast<const unsigned char*>(region);
  sourceLeft = size;
  moreSource = more;
  return 0;
}

// Gives the sink the first `bytes` of what was written since the last time.
int ZuBinaryConverterBase::handOver(unsigned long bytes, int more) {
  const unsigned char* const from = sinkStart;
  if (directSink) {
    sinkStart = sinkCursor;
    return sink->dataWritten(bytes, more);
  }
  sinkCursor = sinkStart;
  room = kScratchSize;
  return sink->writeData(from, bytes, more);
}

// --- to the client ---------------------------------------------------------------------------------------

int ZuBinaryConverter::reset(ZuDataSource* newSource, ZuDataSink* newSink, BinaryType type, int terminate) {
  nullTerminate = terminate;
  return restart(newSource, newSink, type);
}

int ZuBinaryConverter::init() {
  static_cast<void>(ZuBinaryConverterBase::init());
  if (!sink || directSink) return 0;
  nullTerminate = 0;
  return resetSink();
}

void ZuBinaryConverter::calculateSinkBytes(unsigned long sourceBytes, unsigned long) {
  sinkBytes = sourceBytes == kZuUnknownLength ? kZuUnknownLength : sourceBytes * textWidth();
}

int ZuBinaryConverter::calculateSinkBytes(ZuTmpFileSink* tmpSink, ZuTmpFileSource* tmpSource,
                                          ZuDataSource** oldSource) {
  *oldSource = tmpSource;
  ZuDataSink* const clientSink = sink;
  const BinaryType clientType = binaryType;
  const int clientTerminate = nullTerminate;
  sink = tmpSink;
  binaryType = kZuBinaryPlain;
  nullTerminate = 0;
  const int failed = resetSink() || convert();
  sink = clientSink;
  binaryType = clientType;
  nullTerminate = clientTerminate;
  state = State::Started;
  if (failed) return 1;
  sinkBytes = tmpSink->getTotalBytes();
  if (tmpSink->getDataSource(tmpSource)) return 1;
  *oldSource = source;
  source = nullptr;
  return reset(tmpSource, clientSink, clientType, clientTerminate);
}

// Bytes of the source that the buffer takes.
unsigned long ZuBinaryConverter::sourceCapacity() const {
  if (binaryType == kZuBinaryPlain) return room;
  const unsigned long terminator = textWidth() / 2;
  const bool keepsRoom = nullTerminate && !moreSink && room >= terminator;
  return (keepsRoom ? room - terminator : room) / textWidth();
}

// Writes `n` bytes, as text if the value is one. `from` may be the end of what was written.
void ZuBinaryConverter::write(const unsigned char* from, unsigned long n) {
  if (binaryType == kZuBinaryHex) {
    hexify(sinkCursor, from, n);
  } else if (binaryType == kZuBinaryWideHex) {
    wideHexify(units(sinkCursor), from, n);
  } else if (n > 0 && from != sinkCursor) {
    fastMemCopy(sinkCursor, from, n);
  }
  advanceSink(n * textWidth());
  countDown(n * textWidth());
}

// The text of one byte where the sink's buffer is too small for it, and another one follows.
int ZuBinaryConverter::writeAcrossBuffers() {
  unsigned char digits[4];
  if (binaryType == kZuBinaryHex) {
    hexify(digits, sourceCursor, 1);
  } else {
    wideHexify(units(digits), sourceCursor, 1);
  }
  for (unsigned long i = 0; i < textWidth(); ++i) {
    if (room == 0 && (handOver(1) || nextBuffer())) return 1;
    *sinkCursor = digits[i];
    advanceSink(1);
  }
  advanceSource(1);
  countDown(textWidth());
  return 0;
}

void ZuBinaryConverter::terminate(bool twice) {
  if (!nullTerminate || moreSink || room == 0) return;
  sinkCursor[0] = 0;
  if (twice && room > 1) sinkCursor[1] = 0;
}

int ZuBinaryConverter::readIntoBuffer() {
  unsigned long got = 0;
  moreSource = 0;
  if (source->getData(sinkCursor, sourceCapacity(), &got, &moreSource)) return 1;
  write(sinkCursor, got);
  terminate(binaryType == kZuBinaryWideHex);
  state = State::BufferFull;
  return handOver(moreSource);
}

// Writes until the buffer is full or a region was the last one. `*ended` is set if there was no further
// region.
int ZuBinaryConverter::fillBuffer(bool* ended) {
  bool last = false;
  while (!last) {
    if (sourceLeft == 0) {
      if (!moreSource) {
        *ended = true;
        return 0;
      }
      if (readRegion()) return 1;
      if (sourceLeft == 0) {
        moreSource = 0;
        return 0;
      }
      last = !moreSource;
    }
    const unsigned long capacity = sourceCapacity();
    if (capacity == 0 && moreSink && binaryType != kZuBinaryPlain) {
      if (writeAcrossBuffers()) return 1;
      last = last && sourceLeft == 0;
      continue;
    }
    const unsigned long n = std::min(capacity, sourceLeft);
    if (capacity <= sourceLeft) last = true;
    write(sourceCursor, n);
    advanceSource(n);
  }
  return 0;
}

int ZuBinaryConverter::convert() {
  if (prepareConvert()) return 1;
  if (directSink && finalData && !moreSink && !sourceCursor) return readIntoBuffer();
  while (true) {
    bool ended = false;
    if (fillBuffer(&ended)) return 1;
    terminate(true);
    if (directSink && !moreSink) state = State::BufferFull;
    const int more = ended ? 0 : !directSink || moreSource || sourceLeft > 0;
    if (handOver(more)) return 1;
    if (!more || state == State::BufferFull) return 0;
    if (directSink && nextBuffer()) return 1;
  }
}

// --- from the client -------------------------------------------------------------------------------------

int ZuBinaryConverterInput::reset(ZuDataSource* newSource, ZuDataSink* newSink, BinaryType type) {
  pendingCount = 0;
  return restart(newSource, newSink, type);
}

int ZuBinaryConverterInput::reset() {
  pendingCount = 0;
  return ZuBinaryConverterBase::reset();
}

int ZuBinaryConverterInput::init() {
  pendingCount = 0;
  return ZuBinaryConverterBase::init();
}

int ZuBinaryConverterInput::resetSource() {
  if (!source) return zuconvert::reportFailure();
  rewindSource();
  return source->reset();
}

int ZuBinaryConverterInput::flushSink() {
  if (!sink) return zuconvert::reportFailure();
  pendingCount = 0;
  return finalData ? 0 : handOver(0);
}

// Writes the bytes of `n` bytes of text, of which a byte that is not completed does not count. Units of value
// 0 are no digits and no error; bytes that are not written because of them are 0.
int ZuBinaryConverterInput::decode(const unsigned char* text, unsigned long n) {
  const unsigned long bytes = n / textWidth();
  if (binaryType == kZuBinaryWideHex && bytes > 0) std::memset(sinkCursor, 0, bytes);
  const int failed = binaryType == kZuBinaryHex ? dehexify(sinkCursor, text, n)
                                                : wideDehexify(sinkCursor, units(text), n / 2);
  if (failed) {
    setInvalidHexadecimal();
    return 1;
  }
  advanceSink(bytes);
  return 0;
}

// Reads all of the text, which is longer than the buffer, in one call: a source in memory is read only once.
int ZuBinaryConverterInput::decodeIntoBuffer() {
  if (room > ~0UL / textWidth()) return zuconvert::reportFailure();
  const unsigned long longest = room * textWidth();
  AFPU8 block;
  unsigned char* text = nullptr;
  if (longest <= kScratchSize) {
    if (allocateScratch()) return 1;
    text = scratch;
  } else {
    block = static_cast<unsigned char*>(ramAlloc(longest));
    text = block;
    if (!text) return 1;
  }
  unsigned long got = 0;
  moreSource = 0;
  if (source->getData(text, longest, &got, &moreSource) || decode(text, got)) return 1;
  return handOver(moreSource);
}

// Adds the next characters to those that are held; the byte that they make is written.
int ZuBinaryConverterInput::completePending() {
  while (pendingCount < textWidth() && sourceLeft > 0) {
    pendingChars[pendingCount++] = *sourceCursor;
    advanceSource(1);
  }
  if (pendingCount < textWidth()) return 0;
  pendingCount = 0;
  return decode(pendingChars, textWidth());
}

// Decodes until the buffer is full or the source is used up (`*ended`). `*reported` is the room that a full
// buffer had before the last pass.
int ZuBinaryConverterInput::fillBuffer(bool* ended, unsigned long* reported) {
  while (true) {
    if (sourceLeft == 0 && moreSource && readRegion()) return 1;
    if (sourceLeft == 0) {
      moreSource = 0;
      *ended = true;
      return 0;
    }
    *reported = room;
    if (room == 0) return 0;
    if (pendingCount > 0) {
      if (completePending()) return 1;
      if (pendingCount > 0) continue;
    }
    const bool full = room <= sourceLeft / textWidth();
    const unsigned long n = full ? room * textWidth() : sourceLeft - sourceLeft % textWidth();
    if (decode(sourceCursor, n)) return 1;
    advanceSource(n);
    if (full) return 0;
    while (sourceLeft > 0) {
      pendingChars[pendingCount++] = *sourceCursor;
      advanceSource(1);
    }
  }
}

int ZuBinaryConverterInput::decodeRegions() {
  while (true) {
    bool ended = false;
    unsigned long reported = 0;
    if (fillBuffer(&ended, &reported)) return 1;
    if (ended) return finalData ? handOver(0) : 0;
    const int more = moreSource || sourceLeft > 0 || !finalData;
    if (handOver(reported, directSink && !moreSink ? 0 : more)) return 1;
    if (directSink && (!more || !moreSink)) return 0;
    if (directSink && nextBuffer()) return 1;
  }
}

// Plain bytes for a sink without buffers of its own.
int ZuBinaryConverterInput::passOnRegions() {
  do {
    if (readRegion()) return 1;
    if (sourceLeft == 0) return 0;
    const unsigned long n = sourceLeft;
    sourceLeft = 0;
    if (sink->writeData(sourceCursor, n, moreSource || !finalData)) return 1;
  } while (moreSource);
  return 0;
}

// Plain bytes straight into the sink's buffers.
int ZuBinaryConverterInput::copyIntoBuffers() {
  while (true) {
    if (room == 0 && moreSink && (handOver(1) || nextBuffer())) return 1;
    unsigned long got = 0;
    if (source->getData(sinkCursor, room, &got, &moreSource)) return 1;
    if (got == 0 && room == 0 && moreSource) return handOver(1);  // a fixed buffer without room
    // Bytes of earlier reads are handed over also if the source has said that more would come.
    if (got == 0) return finalData && used() > 0 ? handOver(0) : 0;
    advanceSink(got);
    if (!moreSource) return finalData ? handOver(0) : 0;
    if (room == 0 && !moreSink) return handOver(1);
  }
}

int ZuBinaryConverterInput::convert() {
  if (prepareConvert()) return 1;
  if (binaryType == kZuBinaryPlain) return directSink ? copyIntoBuffers() : passOnRegions();
  if (directSink && finalData && !moreSink && !sourceCursor && pendingCount == 0) return decodeIntoBuffer();
  return decodeRegions();
}

void setInvalidHexadecimal() {
  ZuError* const error = ZuErrorKeeper::getLastError();
  if (!error) return;
  error->setInterfaceCode("22018");
  error->setInterfaceError(kNativeBadHex);
}
