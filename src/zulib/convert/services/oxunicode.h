// Small tools for UTF-16 and UTF-8 text, and facts about code pages.
//
// Thread safety: any thread, on distinct text.

#ifndef ZULIB_CONVERT_SERVICES_OXUNICODE_H
#define ZULIB_CONVERT_SERVICES_OXUNICODE_H

#include <unicode/ucnv.h>

#include <cstdint>

#include "zulib/runtime/zuapi.h"

// Units before the terminator. The second form takes text at any address.
ZU_API unsigned long oxUnicodeLen(const unsigned short* text);
ZU_API unsigned long oxUCS2Len(const void* text);

// A terminated copy of `ramAlloc`, the caller's; null if the allocation fails.
[[nodiscard]] ZU_API unsigned short* oxUnicodeDup(const unsigned short* text);

// Copies the text and its terminator; returns `dst`.
ZU_API unsigned short* oxUnicodeCopy(unsigned short* dst, const unsigned short* src);

// Bytes of the text in a code page, without a terminator: in that of `converter`, which is reset first, or in
// that of ICU's default converter. The text is terminated, or has `length` units. -1 if it does not convert.
ZU_API long oxAsciiLenOfUnicodeStr(const unsigned short* text);
ZU_API long oxAsciiLenOfUnicodeStr(const unsigned short* text, long length);
ZU_API long oxAsciiLenOfUnicodeStr(const unsigned short* text, UConverter* converter);
ZU_API long oxAsciiLenOfUnicodeStr(const unsigned short* text, long length, UConverter* converter);

// Swaps the bytes of each of `count` units. The addresses may be odd; `dst` may be `src`, but not overlap it
// otherwise.
ZU_API void oxUCS2Swap(void* dst, const void* src, unsigned long count);

// A code point as the units of its UTF-16 form in 32 bits, a pair with its first unit in the upper half; 0
// above U+10FFFF. And the code point of such a form, 0 if it is none.
ZU_API std::uint32_t UTF16CharFromUTF8Char(std::uint32_t codePoint);
ZU_API std::uint32_t UTF8CharFromUTF16Char(std::uint32_t units);

// Write the UTF-8 form of a code point up to U+10FFFF, 1 to 4 bytes: the first takes it as
// UTF16CharFromUTF8Char packs it and returns the number of bytes, the second as it is and returns the end.
ZU_API unsigned long oxAppendUTF8(unsigned char* dst, std::uint32_t units);
ZU_API unsigned char* Append_UTF8(unsigned char* dst, std::uint32_t codePoint);

// Makes `length` bytes of UTF-8 upper case in place, character by character, and returns the new length. A
// text that becomes shorter gets a terminator. Malformed bytes, and the few characters whose upper case takes
// more bytes, stay as they are.
ZU_API unsigned long oxUTF8Upper(unsigned char* text, unsigned long length);

// Opens and closes a converter of the code page, with a record if it does not open. Always returns 1.
ZU_API int VerifyCodePage(long codePage);

// The most bytes that a character takes in the code page; 0 with a record if it does not open.
ZU_API unsigned long oxMaxCharSize(long codePage);

#endif
