// Cutting blanks from the right end.
//
// Narrow text is walked forward by character, so a trail byte is never taken for a blank. The counted forms
// return the length that remains, at most `n`, and write nothing; the in-place forms return it too.
//
// Thread safety: reentrant on distinct text.

#ifndef ZULIB_TEXT_STRTRIM_H
#define ZULIB_TEXT_STRTRIM_H

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zuchar.h"

// White space as `zuIsWhiteSpace` has it.
ZU_API unsigned long strRightTrim(const unsigned char* s, unsigned long n, zuCPType cp);
ZU_API unsigned long strRightTrim(unsigned char* s, zuCPType cp);

// Only the byte 0x20. The in-place form writes a terminator only where there is none.
ZU_API unsigned long strRightTrimBlanks(const unsigned char* s, unsigned long n, zuCPType cp);
ZU_API unsigned long strRightTrimBlanks(unsigned char* s, zuCPType cp);

// UTF-16, by code point.
ZU_API unsigned long strRightTrim(const unsigned short* s, unsigned long n);
ZU_API unsigned long strRightTrim(unsigned short* s);

#endif
