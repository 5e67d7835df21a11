// Whole strings from one code page to another, with converters of the caller.
//
// All forms return a ZuConvertReturn and record nothing. Null text gives ZuConvertFailed. Lengths are bytes
// of narrow text and units of UTF-16; a negative source length means terminated text. `dstUsed` and `srcUsed`
// may be null. The converters are reset first. A text that fills its buffer to the last byte has no
// terminator.
//
// The forms with `srcUsed` report, on failure too, what was written and how much of the source ICU has taken:
// with a target that is too small (ZuConvertTruncated) up to 2000 units more than what was written. They need
// a target of at least one byte. The text may end within a character then.
//
// The forms without `srcUsed` always write a terminator, and report in `dstUsed` the length that the whole
// text needs, whatever the size of the target. Of oxAnsiToUTF8 and oxUTF8ToAnsi the source also ends at a
// NUL. oxUCS2ToAnsi and oxAnsiToUCS2 call a text that leaves room for nothing but the terminator truncated.
//
// oxAnsiToUTF8 and oxUTF8ToAnsi copy a start that is ASCII without ICU: they are not for code pages whose
// bytes below 0x80 mean something else.
//
// Thread safety: one thread at a time uses a converter.

#ifndef ZULIB_CONVERT_SERVICES_OXCONVERT_H
#define ZULIB_CONVERT_SERVICES_OXCONVERT_H

#include "zulib/convert/services/zuconvertreturn.h"
#include "zulib/runtime/zuapi.h"

ZU_API ZuConvertReturn oxAnsiToUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                    long* dstUsed, long* srcUsed, UConverter* from, UConverter* to);
ZU_API ZuConvertReturn oxAnsiToUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                    long* dstUsed, UConverter* from, UConverter* to);

ZU_API ZuConvertReturn oxUTF8ToAnsi(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                    long* dstUsed, long* srcUsed, UConverter* from, UConverter* to);
ZU_API ZuConvertReturn oxUTF8ToAnsi(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                    long* dstUsed, UConverter* from, UConverter* to);

// Two NUL bytes end the text, if two fit; without `srcUsed` only in code pages whose characters have at least
// two bytes.
ZU_API ZuConvertReturn oxCpgToCpg(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                  long* dstUsed, long* srcUsed, UConverter* from, UConverter* to);
ZU_API ZuConvertReturn oxCpgToCpg(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                  long* dstUsed, UConverter* from, UConverter* to);

// With `byteSwap` the bytes of the source's units are swapped first, in the caller's buffer. The source may
// have an odd address.
ZU_API ZuConvertReturn oxUCS2ToAnsi(unsigned char* dst, long dstLen, unsigned short* src, long srcLen,
                                    long* dstUsed, long* srcUsed, UConverter* to, int byteSwap);
ZU_API ZuConvertReturn oxUCS2ToAnsi(unsigned char* dst, long dstLen, unsigned short* src, long srcLen,
                                    long* dstUsed, UConverter* to, int byteSwap);

// With `byteSwap` the bytes of the result's units are swapped.
ZU_API ZuConvertReturn oxAnsiToUCS2(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                                    long* dstUsed, long* srcUsed, UConverter* from, int byteSwap);
ZU_API ZuConvertReturn oxAnsiToUCS2(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                                    long* dstUsed, UConverter* from, int byteSwap);

// Between UTF-16 and UTF-8, without a converter; malformed text is a failure. `dstUsed` gets the length that
// the whole text needs. The ReqLen forms keep the last element of the target for a terminator. A text that
// leaves no room for the terminator is called truncated. Units in the other byte order are swapped with
// `byteSwap`; the source is not changed, and may have an odd address.
ZU_API ZuConvertReturn oxUTF16ToUTF8(unsigned char* dst, long dstLen, const unsigned short* src, long srcLen,
                                     long* dstUsed, int byteSwap);
ZU_API ZuConvertReturn oxUTF16ToUTF8ReqLen(unsigned char* dst, long dstLen, const unsigned short* src,
                                           long srcLen, long* dstUsed, int byteSwap);
ZU_API ZuConvertReturn oxUTF8ToUTF16(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                                     long* dstUsed, int byteSwap);
ZU_API ZuConvertReturn oxUTF8ToUTF16ReqLen(unsigned short* dst, long dstLen, const unsigned char* src,
                                           long srcLen, long* dstUsed, int byteSwap);

#endif
