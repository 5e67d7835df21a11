// Hexadecimal text in both directions.
//
// Writing gives upper case, two digits to a byte, the high digit first, and no terminator unless stated.
// Reading takes either case. Counts of text are in characters, counts of bytes in bytes.
//
// Thread safety: reentrant on distinct text.

#ifndef ZULIB_TEXT_ZUHEX_H
#define ZULIB_TEXT_ZUHEX_H

#include "zulib/runtime/zuapi.h"

// The digits by their value.
inline constexpr char HEXDIGIT[] = "0123456789ABCDEF";

// Writes `value` with at least `minDigits` digits, and a terminator. Returns the number of digits; 0 is one
// digit.
ZU_API unsigned long hexify(unsigned char* out, unsigned long value, unsigned short minDigits);

// Writes `n` bytes as 2n digits, and returns 2n. `out` may be `bytes`.
ZU_API unsigned long hexify(unsigned char* out, const unsigned char* bytes, unsigned long n);
ZU_API unsigned long hexifyHuge(unsigned char* out, const unsigned char* bytes, unsigned long n);

// Writes `n` bytes as 2n units, and returns 4n, the bytes written. `out` may be at `bytes`. Like the text of
// wideDehexify it may be at any address, also an odd one.
ZU_API unsigned long wideHexify(unsigned short* out, const unsigned char* bytes, unsigned long n);

// Reads `n` digits, two to a byte; an odd last digit gives a byte with a low half of 0. 0, or 1 at a
// character that is no digit (error 2708), with what comes before it in `out`. `out` may be `text`.
ZU_API int dehexify(unsigned char* out, const unsigned char* text, unsigned long n);
ZU_API int dehexifyHuge(unsigned char* out, const unsigned char* text, unsigned long n);

// The same, but a byte of two digits that equals `mark` is written twice. `*count` becomes a quarter of the
// number of bytes written.
ZU_API int dehexify(unsigned char* out, const unsigned char* text, unsigned long n, unsigned char mark,
                    unsigned long* count);

// The same from 16-bit units, where a unit of value 0 is skipped.
ZU_API int wideDehexify(unsigned char* out, const unsigned short* text, unsigned long n);

// True when all of the `n` bytes are digits.
ZU_API bool isHexString(const unsigned char* text, unsigned long n);

#endif
