// How narrow text is read, and the steps from one character to the next in narrow text and in UTF-16.
//
// A narrow text is always read together with a `zuCPType`, and every walk advances by whole characters, so
// a trail byte never passes for a character of its own. Wide text is UTF-16 in 16-bit units.
//
// Pointers walk the text itself; the forms with an `unsigned long` take an offset (bytes or units) into a
// base pointer and return an offset. The steps of this header trust the text to hold the character that its
// first byte or unit announces; the counted functions of the other headers do not.
//
// Thread safety: reentrant on distinct text. Types 1, 2 and 4 read the C locale of the calling thread.

#ifndef ZULIB_TEXT_ZUCHAR_H
#define ZULIB_TEXT_ZUCHAR_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zucptype.h"

// Bytes of the character at `p`. UTF-8 goes by the lead byte alone, and a stray continuation byte is 1.
// The other types know characters of one and of two bytes.
ZU_API unsigned long zuCharSize(const unsigned char* p, zuCPType cp);

// True when the two bytes at `p` are one character of the C locale.
ZU_API bool zuIsLeadByte(const unsigned char* p);

// Whole UTF-8 characters in `n` bytes; ends before a character that would run past `n`. A stray
// continuation byte counts as 2 bytes here and as 1 in `zuCharSize`; callers rely on either.
ZU_API unsigned long zuUTF8CharLen(const unsigned char* p, unsigned long n);

// The character after the one at `p`, or at `offset`.
ZU_API const unsigned char* zuCharNext(const unsigned char* p, zuCPType cp);
ZU_API unsigned char* zuCharNext(unsigned char* p, zuCPType cp);
ZU_API unsigned long zuCharNext(const unsigned char* base, unsigned long offset, zuCPType cp);

// The character before `p`, never below `start`. In UTF-8 it does not step over a character of four bytes
// as a whole; in the other types the byte at `p` itself decides between one and two bytes.
ZU_API const unsigned char* zuCharPrev(const unsigned char* start, const unsigned char* p, zuCPType cp);
ZU_API unsigned long zuCharPrev(const unsigned char* base, unsigned long offset, zuCPType cp);

// The start of the last character: of a terminated text (`p` itself when empty), or of `n` bytes (0 when
// `n` is 0).
ZU_API const unsigned char* zuCharLast(const unsigned char* p, zuCPType cp);
ZU_API unsigned long zuCharLast(const unsigned char* base, unsigned long n, zuCPType cp);

// True when the two characters have the same size and bytes. A character of four bytes is never equal, not
// even to itself.
ZU_API bool zuCharEqual(const unsigned char* a, const unsigned char* b, zuCPType cp);

// Characters up to the terminator (type 2: up to the zero unit), or in `n` bytes (type 2: n / 2).
ZU_API unsigned long zuCharLen(const unsigned char* p, zuCPType cp);
ZU_API unsigned long zuCharLen(const unsigned char* p, unsigned long n, zuCPType cp);

// True when `p` falls on the second byte of a character, walking from `start` in the C locale.
ZU_API bool zuIs2ndByte(const unsigned char* start, const unsigned char* p);

// True when the byte at `p` is `ch` and not the second byte of a character.
ZU_API bool zuStrSBCSChar(const unsigned char* start, const unsigned char* p, unsigned char ch);

// First position that is not white space; the terminator ends the walk, and null returns null.
ZU_API const unsigned char* zuSkipBlanks(const unsigned char* p, zuCPType cp);

// Classes of the one character at `p`, as the C locale sees it; `cp` is accepted and not looked at.
ZU_API bool zuIsWhiteSpace(const unsigned char* p, zuCPType cp);
ZU_API bool zuIsAlpha(const unsigned char* p, zuCPType cp);
ZU_API bool zuIsAlphaNumeric(const unsigned char* p, zuCPType cp);

// Classes of the code point at `p`; a pair is joined first. Of the digits only 0 to 9 are alphanumeric.
ZU_API bool zuIsWhiteSpace(const unsigned short* p);
ZU_API bool zuIsAlpha(const unsigned short* p);
ZU_API bool zuIsAlphaNumeric(const unsigned short* p);

// Two units on over a high surrogate, whatever follows it, and one otherwise.
ZU_API const unsigned short* zuCharNext(const unsigned short* p);
ZU_API unsigned long zuCharNext(const unsigned short* base, unsigned long index);

// Two units back when the unit before the position is a low surrogate and there is room, else one; never
// below the start.
ZU_API const unsigned short* zuCharPrev(const unsigned short* start, const unsigned short* p);
ZU_API unsigned long zuCharPrev(const unsigned short* base, unsigned long index);

// Index of the last character of `n` units; 0 when `n` is 0.
ZU_API unsigned long zuCharLast(const unsigned short* p, unsigned long n);

// Code points up to the terminator; a high surrogate before the terminator counts as one.
ZU_API unsigned long zuCharLen(const unsigned short* p);

// Case of one code point. 0xD7 and 0xF7, which are no letters, map to each other, as the two
// Latin-1 ranges are taken whole. From 0xFF on ICU decides.
ZU_API std::uint32_t javaToUpper(std::uint32_t c);
ZU_API std::uint32_t javaToLower(std::uint32_t c);

#endif
