// ZuTmpFileConverter: text from one code page to another, out of a temporary store or into one, a buffer at a
// time. It is no part of the pipeline of sources and sinks (zudataconverter.h).
//
// A converter reads a ZuTmpFile from address 0 on, a MemFile or a block of memory; or it writes a ZuTmpFile
// from address 0 on, or a block of memory. It does not own the store. Between two calls the store may be used
// for other things: the converter keeps an address in it, no pointer.
//
// Usage:
//   ZuTmpFileConverter reader(&store, bytes, 106, 4);
//   for (int more = 1; more;) {
//     if (reader.convert(buffer, size, 0, &length, &more)) return 1;
//     ... length bytes of buffer
//   }
//
// Characters that the target code page lacks are substituted without a record. Bytes of an unfinished
// character wait for the next piece; at the end of the value they are dropped. A target code page with shift
// states is not put back to its first state at the end.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_CONVERT_CONVERTERS_ZUTMPFILECONVERTER_H
#define ZULIB_CONVERT_CONVERTERS_ZUTMPFILECONVERTER_H

#include "zulib/convert/services/zuconvertreturn.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class MemFile;
class ZuTmpFile;

class ZU_API ZuTmpFileConverter : public ZuObject {
 public:
  // Read `size` bytes of code page `from`, of a MemFile all it has, as text of code page `to`.
  ZuTmpFileConverter(ZuTmpFile* file, unsigned long size, long from, long to);
  ZuTmpFileConverter(const unsigned char* memory, unsigned long size, long from, long to);
  ZuTmpFileConverter(const MemFile* file, long from, long to);

  // Write text of code page `from` to the store in code page `to`. A block of memory has `size` bytes, and
  // they are changed.
  ZuTmpFileConverter(long from, long to, ZuTmpFile* file);
  ZuTmpFileConverter(long from, long to, const unsigned char* memory, unsigned long size);

  ZuTmpFileConverter(const ZuTmpFileConverter&) = delete;
  ZuTmpFileConverter& operator=(const ZuTmpFileConverter&) = delete;
  ~ZuTmpFileConverter() override;

  // Starts another value of `size` bytes, or with `size` bytes of memory to write to. A ZuTmpFile that is
  // written to is emptied. 0 or 1.
  [[nodiscard]] int reset(unsigned long size);

  // Reads the next piece of at most `size` bytes. `*length` is its bytes, `*more` is 0 if it was the last
  // one; a piece may be empty. Returns 0 or 1.
  //
  // Without `nullTerminate` a piece fills its buffer, and may end within a character. With it the piece ends
  // in a whole character and a terminator of one byte, or of two if the code page has no characters of one;
  // if more follows, there is warning 2735 ("01004", native code 4), also if the buffer has no room for the
  // terminator. Kept: of a terminated value the character that the end of the buffer would cut is dropped. A
  // driver avoids that if it reads without a terminator, or a code page whose characters are all as long as
  // the shortest into a buffer of a multiple of that size.
  [[nodiscard]] int convert(unsigned char* buffer, unsigned long size, int nullTerminate, long* length,
                            int* more);

  // Writes the next piece of the value, which may end within a character. `*length` is the bytes that the
  // store then has, 0 after a failure. If memory is used up: warning 2735, and nothing is added. Returns 0 or
  // 1.
  [[nodiscard]] int convert(unsigned char* data, unsigned long size, long* length);

 private:
  ZuTmpFileConverter(long from, long to, bool writes);
  int openHandles();
  int allocateBuffers(unsigned long offsets);
  int nextStretch(const unsigned char** bytes, unsigned long* n);
  int fillUnicode();
  UErrorCode writeUnits(unsigned char** cursor, unsigned char* limit, bool wholeCharacters);
  int store(const UChar* units, const UChar* end, long* length);

  ZuTmpFile* tmpFile = nullptr;
  const MemFile* memFile = nullptr;
  unsigned char* memory = nullptr;

  UConverter* toUnicodeHandle = nullptr;    // owned, opened when first needed
  UConverter* fromUnicodeHandle = nullptr;  // likewise
  long sourceCodePage;
  long sinkCodePage;
  unsigned minCharSize = 0;               // of the sink's code page
  ICUSubstitutionErrorInfo substitution;  // with the policy of silence

  UChar* unicodeBuffer = nullptr;        // owned
  const UChar* unicodeCursor = nullptr;  // what the sink has not taken
  const UChar* unicodeEnd = nullptr;
  UChar heldSurrogate = 0;           // goes before the next units
  int32_t* offsetsBuffer = nullptr;  // owned; for each byte of a piece the unit it comes from
  unsigned long offsetsCapacity = 0;

  unsigned long dataLength = 0;    // bytes of the value, or of memory to write to
  unsigned long filePosition = 0;  // of the next byte to read or to write
  bool truncateOnReset;            // the converter writes
};

#endif
