// Lengths, and copies between the two widths.
//
// Every copy ends with a terminator and returns its position. Widening adds a zero high byte and narrowing
// keeps the low byte: no code page is involved, these are for ASCII. Counts and sizes are in elements of the
// text that they are given with; a size includes the terminator, and a size of 0 writes nothing.
//
// Thread safety: reentrant on distinct text.

#ifndef ZULIB_TEXT_STRCOPY_H
#define ZULIB_TEXT_STRCOPY_H

#include "zulib/runtime/zuapi.h"

// Elements before the terminator.
ZU_API unsigned long strLen(const unsigned char* s);
ZU_API unsigned long strLen(const unsigned short* s);

// At most size - 1 bytes. dst[size - 1] becomes a terminator too, also when the text is shorter.
ZU_API unsigned char* strCopy(unsigned char* dst, unsigned long size, const unsigned char* src);

// Exactly `n` bytes.
ZU_API unsigned char* strCopy(unsigned char* dst, const unsigned char* src, unsigned long n);

// At most size - 1 units; a cut never leaves half of a pair.
ZU_API unsigned short* strCopy(unsigned short* dst, unsigned long size, const unsigned short* src);

// To the terminator, or exactly `n` units.
ZU_API unsigned short* strCopy(unsigned short* dst, const unsigned short* src);
ZU_API unsigned short* strCopy(unsigned short* dst, const unsigned short* src, unsigned long n);

// Widening: at most size - 1 bytes, to the terminator, or exactly `n` bytes.
ZU_API unsigned short* strCopy(unsigned short* dst, unsigned long size, const unsigned char* src);
ZU_API unsigned short* strCopy(unsigned short* dst, const unsigned char* src);
ZU_API unsigned short* strCopy(unsigned short* dst, const unsigned char* src, unsigned long n);

// Narrowing: to the terminator, or at most size - 1 of `n` units.
ZU_API unsigned char* strCopy(unsigned char* dst, const unsigned short* src);
ZU_API unsigned char* strCopy(unsigned char* dst, unsigned long size, const unsigned short* src,
                              unsigned long n);

#endif
