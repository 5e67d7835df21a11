// Case folding of whole texts, in place.
//
// Narrow text is folded in the encoding of the C locale, whatever it is later read as. A character whose
// folded form needs another number of bytes stays as it is, so a text never changes its length here.
// Null pointers and counts of 0 are no-ops.
//
// Thread safety: reentrant on distinct text.

#ifndef ZULIB_TEXT_STRCASE_H
#define ZULIB_TEXT_STRCASE_H

#include "zulib/runtime/zuapi.h"

// To the terminator, or through `n` bytes; a character cut by the count is left alone.
ZU_API void strUpper(unsigned char* s);
ZU_API void strUpper(unsigned char* s, unsigned long n);
ZU_API void strLower(unsigned char* s);
ZU_API void strLower(unsigned char* s, unsigned long n);

// UTF-16 by code point, to the terminator or through `n` units. A pair stays a pair.
ZU_API void strUpper(unsigned short* s);
ZU_API void strUpper(unsigned short* s, unsigned long n);
ZU_API void strLower(unsigned short* s);
ZU_API void strLower(unsigned short* s, unsigned long n);

#endif
