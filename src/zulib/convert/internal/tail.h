// The end of a piece that is cut from text in one code page: how many bytes belong to a character that the
// cut leaves unfinished.

#ifndef ZULIB_CONVERT_INTERNAL_TAIL_H
#define ZULIB_CONVERT_INTERNAL_TAIL_H

#include <unicode/ucnv.h>

namespace zuconvert {

// In UTF-8. Malformed bytes are not unfinished.
unsigned long unfinishedUTF8(const unsigned char* text, unsigned long n);

// The same by a look at the last lead byte alone: also of a character whose second byte is wrong.
unsigned long tailUTF8(const unsigned char* text, unsigned long n);

// Whether the unit of UTF-16 at `p` is the first of a pair.
bool isLeadUnit(const unsigned char* p, long codePage);

// In any page, by what the converter holds of the text. `buffer` is the place for a conversion that nobody
// reads. A character that could be the start of a longer one is unfinished too, unless `isEnd` tells that
// nothing follows the text; pages with shifts have no unfinished character there. The converter is reset.
//
// Returns a failure other than those of malformed text, which has no unfinished character.
constexpr unsigned long kValidationSize = 16384;
UErrorCode unfinishedBytes(UConverter* converter, unsigned char* buffer, const unsigned char* text,
                           unsigned long n, bool isEnd, unsigned long& unfinished);

// Ends a text in a buffer of `size` bytes with one zero byte, or two in a page of at least two bytes a
// character.
inline void terminate(unsigned char* end, unsigned long size, unsigned short minCharSize) {
  if (size == 0) return;
  end[0] = 0;
  if (minCharSize >= 2 && size >= 2) end[1] = 0;
}

}  // namespace zuconvert

#endif
