// Logical lines out of a text in memory.

#ifndef ZULIB_OS_FILES_BOSGETBL_H
#define ZULIB_OS_FILES_BOSGETBL_H

#include "zulib/runtime/zuapi.h"

// Values of `*status` of bosgetbl that are not lengths.
enum : long {
  bosLineEnd = -1,      // there is no more text
  bosLineTooLong = -2,  // the line has more than `size` bytes
};

// Takes one line from `text`, which ends at a zero byte or 0x1A, at `*pos`, and moves `*pos` past its line
// feed.
// `*status` receives the length of the line in `out`, without line feed and a carriage return before it.
//
// A line feed inside quotes (" or ', and within them the other kind) does not end the line. Of a line that
// begins with ";" only the ";" is stored.
//
// `out` must have room for `size` bytes, and is terminated if the line leaves room for that. Of a line that
// is too long `out` receives the first size - 1 bytes, terminated, and `*pos` is unchanged.
ZU_API void bosgetbl(const unsigned char* text, unsigned long* pos, unsigned char* out, unsigned long size,
                     long* status);

#endif
