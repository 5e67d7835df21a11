#include "zulib/convert/converters/zutmpfileconverter.h"

#include <algorithm>
#include <cstdlib>

#include "zulib/convert/internal/icuconverter.h"
#include "zulib/convert/internal/report.h"
#include "zulib/runtime/ram.h"
#include "zulib/storage/memfile.h"
#include "zulib/storage/tmp.h"

namespace {

constexpr unsigned long kUnicodeUnits = 2050;
constexpr unsigned long kStoreBuffer = 2048;
constexpr unsigned long kLongestPiece = 0x3FFFFFFF;  // four bytes for each can still be counted in 32 bits
// Units that bytes of earlier pieces can add to those of a piece.
constexpr unsigned long kHeldUnits = 16;

char* chars(unsigned char* p) { return reinterpret_cast<char*>(p); }
const char* chars(const unsigned char* p) { return reinterpret_cast<const char*>(p); }

// Takes the bytes out of the converter that did not fit the last buffer, and tells whether there were any.
bool takeHeldBytes(UConverter* converter) {
  char bytes[64];
  char* cursor = bytes;
  const UChar none[1] = {};
  const UChar* units = none;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_fromUnicode(converter, &cursor, bytes + sizeof bytes, &units, none, nullptr, 0, &status);
  return cursor != bytes;
}

// Of `n` bytes, those before the character that the last one belongs to.
unsigned long bytesBeforeLast(const int32_t* offsets, unsigned long n) {
  if (n == 0) return 0;
  const int32_t last = offsets[n - 1];
  while (n > 0 && offsets[n - 1] >= last) --n;
  return n;
}

}  // namespace

ZuTmpFileConverter::ZuTmpFileConverter(long from, long to, bool writes)
    : sourceCodePage(from), sinkCodePage(to), truncateOnReset(writes) {}

ZuTmpFileConverter::ZuTmpFileConverter(ZuTmpFile* file, unsigned long size, long from, long to)
    : ZuTmpFileConverter(from, to, false) {
  tmpFile = file;
  dataLength = size;
}

ZuTmpFileConverter::ZuTmpFileConverter(const unsigned char* memory, unsigned long size, long from, long to)
    : ZuTmpFileConverter(from, to, false) {
  this->memory = const_cast<unsigned char*>(memory);
  dataLength = size;
}

ZuTmpFileConverter::ZuTmpFileConverter(const MemFile* file, long from, long to)
    : ZuTmpFileConverter(from, to, false) {
  memFile = file;
}

ZuTmpFileConverter::ZuTmpFileConverter(long from, long to, ZuTmpFile* file)
    : ZuTmpFileConverter(from, to, true) {
  tmpFile = file;
}

ZuTmpFileConverter::ZuTmpFileConverter(long from, long to, const unsigned char* memory, unsigned long size)
    : ZuTmpFileConverter(from, to, true) {
  this->memory = const_cast<unsigned char*>(memory);
  dataLength = size;
}

ZuTmpFileConverter::~ZuTmpFileConverter() {
  if (toUnicodeHandle) ucnv_close(toUnicodeHandle);
  if (fromUnicodeHandle) ucnv_close(fromUnicodeHandle);
  std::free(unicodeBuffer);
  std::free(offsetsBuffer);
}

int ZuTmpFileConverter::reset(unsigned long size) {
  const int failed = truncateOnReset && tmpFile ? tmpFile->tmpTruncate(0) : 0;
  dataLength = size;
  filePosition = 0;
  unicodeCursor = unicodeBuffer;
  unicodeEnd = unicodeBuffer;
  heldSurrogate = 0;
  substitution.substituted = 0;
  if (toUnicodeHandle) ucnv_resetToUnicode(toUnicodeHandle);
  if (fromUnicodeHandle) ucnv_resetFromUnicode(fromUnicodeHandle);
  return failed;
}

int ZuTmpFileConverter::openHandles() {
  if (!toUnicodeHandle) toUnicodeHandle = zuconvert::openCodePage(sourceCodePage);
  if (!toUnicodeHandle) return 1;
  if (fromUnicodeHandle) return 0;
  UConverter* const opened = zuconvert::openCodePage(sinkCodePage);
  if (!opened) return 1;
  if (zuconvert::installPolicy(opened, &substitution)) {
    ucnv_close(opened);
    return 1;
  }
  fromUnicodeHandle = opened;
  minCharSize = zuconvert::charSizesOf(opened).min;
  return 0;
}

int ZuTmpFileConverter::allocateBuffers(unsigned long offsets) {
  if (!unicodeBuffer) {
    unicodeBuffer = static_cast<UChar*>(ramAlloc(kUnicodeUnits * sizeof(UChar)));
    if (!unicodeBuffer) return 1;
    unicodeCursor = unicodeBuffer;
    unicodeEnd = unicodeBuffer;
  }
  if (offsets <= offsetsCapacity) return 0;
  const auto grown = static_cast<int32_t*>(ramAlloc(offsets * sizeof(int32_t)));
  if (!grown) return 1;
  std::free(offsetsBuffer);
  offsetsBuffer = grown;
  offsetsCapacity = offsets;
  return 0;
}

// The bytes at the position that are in memory in one stretch; none at the end of the value.
int ZuTmpFileConverter::nextStretch(const unsigned char** bytes, unsigned long* n) {
  *bytes = nullptr;
  *n = 0;
  const unsigned long size = memFile ? memFile->getLength() : dataLength;
  if (filePosition >= size) return 0;
  void* pointer = nullptr;
  unsigned long room = size - filePosition;
  if (tmpFile) {
    unsigned short pageRoom = 0;
    if (tmpFile->tmpPointer(filePosition, &pointer, &pageRoom, 0)) return 1;
    room = std::min<unsigned long>(room, pageRoom);
  } else if (memFile) {
    unsigned long blockRoom = 0;
    if (memFile->tmpPointer(filePosition, &pointer, &blockRoom, 0)) return 1;
    room = std::min(room, blockRoom);
  } else {
    pointer = memory + filePosition;
  }
  *bytes = static_cast<const unsigned char*>(pointer);
  *n = std::min(room, kLongestPiece);
  return 0;
}

// Fills the stage, which the sink has taken, with the next units; none at the end of the value. The stage
// never ends between the two halves of a character: the converter would forget the first if it is reset.
int ZuTmpFileConverter::fillUnicode() {
  UChar* end = unicodeBuffer;
  if (heldSurrogate) *end++ = heldSurrogate;
  heldSurrogate = 0;
  unicodeCursor = unicodeBuffer;
  unicodeEnd = unicodeBuffer;
  for (unsigned long n = 1; n > 0 && unicodeEnd == unicodeBuffer;) {
    const unsigned char* bytes = nullptr;
    if (nextStretch(&bytes, &n)) return 1;
    const char* cursor = chars(bytes);
    UErrorCode status = U_ZERO_ERROR;
    ucnv_toUnicode(toUnicodeHandle, &end, unicodeBuffer + kUnicodeUnits, &cursor, chars(bytes) + n, nullptr,
                   0, &status);
    if (U_FAILURE(status) && status != U_BUFFER_OVERFLOW_ERROR) {
      ucnv_resetToUnicode(toUnicodeHandle);
      return checkICUreturn(status);
    }
    filePosition += static_cast<unsigned long>(cursor - chars(bytes));
    const bool halved = end > unicodeBuffer && U16_IS_LEAD(end[-1]);
    unicodeEnd = halved ? end - 1 : end;
  }
  if (unicodeEnd < end) heldSurrogate = *unicodeEnd;
  return 0;
}

// Moves units to the buffer as long as there is room: of the last character as much as fits, or with
// `wholeCharacters` none of it, and then it is lost.
UErrorCode ZuTmpFileConverter::writeUnits(unsigned char** cursor, unsigned char* limit,
                                          bool wholeCharacters) {
  UErrorCode status = U_ZERO_ERROR;
  char* target = chars(*cursor);
  ucnv_fromUnicode(fromUnicodeHandle, &target, chars(limit), &unicodeCursor, unicodeEnd,
                   wholeCharacters ? offsetsBuffer : nullptr, 0, &status);
  auto written = static_cast<unsigned long>(target - chars(*cursor));
  if (status == U_BUFFER_OVERFLOW_ERROR && wholeCharacters && takeHeldBytes(fromUnicodeHandle))
    written = bytesBeforeLast(offsetsBuffer, written);
  *cursor += written;
  return status;
}

int ZuTmpFileConverter::convert(unsigned char* buffer, unsigned long size, int nullTerminate, long* length,
                                int* more) {
  *length = 0;
  *more = 1;
  if (truncateOnReset) return zuconvert::reportFailure();
  size = std::min(size, kLongestPiece);
  if (openHandles() || allocateBuffers(nullTerminate ? size : 0)) return 1;
  if (filePosition == 0 && unicodeCursor == unicodeEnd && fillUnicode()) return 1;
  const unsigned long reserved = nullTerminate ? minCharSize : 0;
  if (size < reserved) return checkICUreturn(U_BUFFER_OVERFLOW_ERROR);

  unsigned char* const limit = buffer + (size - reserved);
  unsigned char* cursor = buffer;
  UErrorCode status = U_ZERO_ERROR;
  while (*more) {
    status = writeUnits(&cursor, limit, nullTerminate != 0);
    if (U_FAILURE(status)) break;
    if (fillUnicode()) return 1;
    *more = unicodeCursor != unicodeEnd;
  }
  const bool cut = status == U_BUFFER_OVERFLOW_ERROR && !nullTerminate;  // the rest stays in the converter
  if (U_FAILURE(status) && !cut) ucnv_resetFromUnicode(fromUnicodeHandle);
  if (nullTerminate && size > 0) cursor[0] = 0;
  if (nullTerminate && size > 0 && minCharSize >= 2) cursor[1] = 0;
  *length = static_cast<long>(cursor - buffer);
  return cut ? 0 : checkICUreturn(status);
}

// Converts the units into the store, after what it has, and sets `*length` to what it has then.
int ZuTmpFileConverter::store(const UChar* units, const UChar* end, long* length) {
  unsigned char bytes[kStoreBuffer];
  UErrorCode status = U_ZERO_ERROR;
  do {
    unsigned char* const start = tmpFile ? bytes : memory + filePosition;
    const unsigned long room = tmpFile ? sizeof bytes : std::min(dataLength - filePosition, kLongestPiece);
    char* cursor = chars(start);
    status = U_ZERO_ERROR;
    ucnv_fromUnicode(fromUnicodeHandle, &cursor, chars(start) + room, &units, end, nullptr, 0, &status);
    if (U_FAILURE(status) && !(tmpFile && status == U_BUFFER_OVERFLOW_ERROR)) break;
    const auto n = static_cast<unsigned long>(cursor - chars(start));
    if (tmpFile && tmpFile->tmpWrite(filePosition, bytes, n)) return 1;
    filePosition += n;
  } while (U_FAILURE(status));
  if (U_FAILURE(status)) {
    ucnv_resetFromUnicode(fromUnicodeHandle);
    return checkICUreturn(status);
  }
  *length = static_cast<long>(filePosition);
  return 0;
}

int ZuTmpFileConverter::convert(unsigned char* data, unsigned long size, long* length) {
  *length = 0;
  if (!truncateOnReset || size > kLongestPiece) return zuconvert::reportFailure();
  if (openHandles()) return 1;
  AFPU8 block;
  const unsigned long capacity = 2 * size + kHeldUnits;
  block = static_cast<unsigned char*>(ramAlloc(capacity * sizeof(UChar)));
  if (!block) return 1;
  const auto units = reinterpret_cast<UChar*>(static_cast<unsigned char*>(block));
  UChar* end = units;
  const char* cursor = chars(data);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUnicode(toUnicodeHandle, &end, units + capacity, &cursor, chars(data) + size, nullptr, 0, &status);
  if (U_FAILURE(status)) {
    ucnv_resetToUnicode(toUnicodeHandle);
    return checkICUreturn(status);
  }
  return store(units, end, length);
}
