// Logical lines out of a text in memory.

#ifndef ZULIB_OS_BOSGETBL_H
#define ZULIB_OS_BOSGETBL_H

#include "zulib/runtime/zuapi.h"

// What bosgetbl answers in `*status` in place of a length.
constexpr long bosLineEnd = -1;      // there is no more text
constexpr long bosLineTooLong = -2;  // the line has more than `size` bytes

// Takes one line from `text`, which a zero byte or 0x1A ends, at `*pos`, and moves `*pos` behind its line
// feed. `*status` gets the length of the line in `out`, without line feed and a carriage return before it.
//
// A line feed inside quotes (" or ', and within them the other kind) does not end the line. Of a line that
// begins with ";" only that is stored.
//
// `out` has room for `size` bytes, and is terminated when there is room for it. Of a line that is too long
// out has the first size - 1 bytes, terminated, and `*pos` stays.
ZU_API void bosgetbl(const unsigned char* text, unsigned long* pos, unsigned char* out, unsigned long size,
                     long* status);

#endif
