// convert: integers to decimal text and back, in 8-bit and in UTF-16 text.
//
// To text: the bounded forms write at most `max` characters and no terminator, and return the characters
// written; a number that does not fit gives 0. The unbounded forms need room for 33 characters and write a
// terminator.
//
// From text: 0 with the value in `*out`, or 1 with `*out` untouched and an error with the text appended to
// it: 2701 if the number is out of range, 2702 if the text is not a number. The accepted range is that of the
// types of a 32-bit build: `long` and `unsigned long` have 32 bits here, whatever they have in memory, as
// SQLINTEGER has.
//
// White space is what zuIsWhiteSpace says. Nothing allocates, except to record an error.
//
// Thread safety: any thread.

#ifndef ZULIB_CONVERT_SCALAR_ZUCONVERT_H
#define ZULIB_CONVERT_SCALAR_ZUCONVERT_H

#include "zulib/runtime/zuapi.h"

// Bounded. A negative number needs `max` of at least 2. When its magnitude does not fit, the "-" stays in the
// buffer and 0 is returned.
ZU_API unsigned long convert(unsigned char* text, unsigned long max, unsigned long value);
ZU_API unsigned long convert(unsigned char* text, unsigned long max, long value);
ZU_API unsigned long convert(unsigned char* text, unsigned long max, unsigned long long value);
ZU_API unsigned long convert(unsigned char* text, unsigned long max, long long value);
ZU_API unsigned long convert(unsigned short* text, unsigned long max, unsigned long value);
ZU_API unsigned long convert(unsigned short* text, unsigned long max, long value);
ZU_API unsigned long convert(unsigned short* text, unsigned long max, unsigned long long value);
ZU_API unsigned long convert(unsigned short* text, unsigned long max, long long value);

inline unsigned long convert(unsigned char* text, unsigned long max, unsigned value) {
  return convert(text, max, static_cast<unsigned long>(value));
}
inline unsigned long convert(unsigned char* text, unsigned long max, int value) {
  return convert(text, max, static_cast<long>(value));
}
inline unsigned long convert(unsigned short* text, unsigned long max, unsigned value) {
  return convert(text, max, static_cast<unsigned long>(value));
}
inline unsigned long convert(unsigned short* text, unsigned long max, int value) {
  return convert(text, max, static_cast<long>(value));
}

// Unbounded, terminated. The 8-bit forms return characters, the UTF-16 forms bytes, without the terminator.
ZU_API unsigned long convert(unsigned short* text, unsigned long value);
ZU_API unsigned long convert(unsigned short* text, long value);
ZU_API unsigned long convert(unsigned char* text, unsigned long long value);
ZU_API unsigned long convert(unsigned char* text, long long value);
ZU_API unsigned long convert(unsigned short* text, unsigned long long value);
ZU_API unsigned long convert(unsigned short* text, long long value);

// A field of `width` characters and a terminator, filled with blanks, with the number at its left or right
// end; at most 10 digits, so a wider field has blanks before or after. Returns the digits written. A number
// that is too large fills the field with "*" from where it is and gives 0. The number 0 gives a field of
// blanks, and 0. The sign of a negative number is at the very start (left), or directly before the digits
// (right), and does not count.
ZU_API unsigned long convert(unsigned char* text, unsigned short width, unsigned long long value,
                             unsigned short leftJustified);
ZU_API unsigned long convert(unsigned char* text, unsigned short width, long long value,
                             unsigned short leftJustified);

// Terminated 8-bit text: white space and "+" in any mix, digits, white space. A signed target takes white
// space and one "-" before that.
ZU_API int convert(const unsigned char* text, unsigned long long* out);
ZU_API int convert(const unsigned char* text, long long* out);
ZU_API int convert(const unsigned char* text,
                   unsigned long* out);                    // 32 bits; `out` may be null, to test the text
ZU_API int convert(const unsigned char* text, long* out);  // 32 bits
ZU_API int convert(const unsigned char* text, unsigned short* out);
ZU_API int convert(const unsigned char* text, short* out);
ZU_API int convert(const unsigned char* text, unsigned char* out);
ZU_API int convert(const unsigned char* text, char* out);  // -128 to 127

// 8-bit text of `length` bytes, in the same form. One without a digit, as an empty field, is 0.
ZU_API int convert(const unsigned char* text, unsigned short length, unsigned long long* out);
ZU_API int convert(const unsigned char* text, unsigned short length, long long* out);
ZU_API int convert(const unsigned char* text, unsigned short length, unsigned long* out);  // 32 bits
ZU_API int convert(const unsigned char* text, unsigned short length, long* out);           // 32 bits
ZU_API int convert(const unsigned char* text, unsigned short length, unsigned short* out);

// UTF-16 text, terminated or of `length` units: for a signed target white space and one "-"; then one "+",
// white space, digits, white space.
ZU_API int convert(const unsigned short* text, unsigned long* out);  // 32 bits
ZU_API int convert(const unsigned short* text, long* out);           // 32 bits
ZU_API int convert(const unsigned short* text, unsigned short* out);
ZU_API int convert(const unsigned short* text, unsigned long length, unsigned long* out);  // 32 bits
ZU_API int convert(const unsigned short* text, unsigned long length, long* out);           // 32 bits
ZU_API int convert(const unsigned short* text, unsigned long length, unsigned short* out);

#endif
