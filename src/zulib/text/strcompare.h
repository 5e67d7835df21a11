// Comparison of texts, exact, blank-padded, by the C locale, and without regard to case.
//
// An order is below 0, 0 or above 0; results of the C library are cut to 16 signed bits. Counts are in bytes
// or 16-bit units.
//
// Without regard to case, a narrow character of more than one byte is never folded: it equals only itself,
// and orders by its bytes. Single bytes fold by the C locale (`strUpper`). UTF-16 folds by code point.
//
// Thread safety: reentrant; the narrow folding and the `Intl` forms read the C locale of the calling thread.

#ifndef ZULIB_TEXT_STRCOMPARE_H
#define ZULIB_TEXT_STRCOMPARE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zuchar.h"

// Order of terminated texts as if the shorter were padded with blanks: with a remainder of other bytes than
// 0x20 the longer text is the greater.
ZU_API int strComparePad(const unsigned char* a, const unsigned char* b);

// Order by `strcoll`. The counted form copies, and takes memory only for a side of more than 512 bytes;
// if allocation fails it returns 0, and the calling thread's error list is marked.
ZU_API int strCompareIntl(const unsigned char* a, const unsigned char* b);
ZU_API int strCompareIntl(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb);

// Plain `strcoll` too: these fold nothing, and callers rely on the one order. The counted form always
// takes memory for both sides.
ZU_API int strCompareCiIntl(const unsigned char* a, const unsigned char* b);
ZU_API int strCompareCiIntl(const unsigned char* a, unsigned long na, const unsigned char* b,
                            unsigned long nb);

// Order of terminated UTF-16 by code point.
ZU_API int strCompareIntl(const unsigned short* a, const unsigned short* b);

// Order of at most `n` bytes, up to a terminator.
ZU_API int strCompareWithMaxLength(const unsigned char* a, const unsigned char* b, unsigned long n);

// Order of two big-endian 8-byte IEEE numbers.
ZU_API int floatCompare(const unsigned char* a, const unsigned char* b);

// Unsigned byte order; of a text and its continuation the shorter is the smaller.
ZU_API int strCompare(const unsigned char* a, const unsigned char* b);
ZU_API int strCompare(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb);

// UTF-16: two terminated texts order by unit. With a count on either side a pair in the first text sorts
// after all single units; a pair in the second text makes the first the greater. Kept: sorted data is stored
// in this order.
ZU_API int strCompare(const unsigned short* a, const unsigned short* b);
ZU_API int strCompare(const unsigned short* a, unsigned long na, const unsigned short* b);
ZU_API int strCompare(const unsigned short* a, const unsigned short* b, unsigned long nb);
ZU_API int strCompare(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb);

// Order of terminated UTF-16 and terminated UTF-8 by code point. 1 when a terminator cuts a sequence of `u`,
// -1 when it cuts a pair of `w`.
ZU_API int strCompareUTF8(const unsigned short* w, const unsigned char* u);

// Equality. A counted side must be used up exactly where the terminated side ends.
ZU_API bool strEqual(const unsigned char* a, const unsigned char* b);
ZU_API bool strEqual(const unsigned short* a, const unsigned short* b);
ZU_API bool strEqual(const unsigned short* a, unsigned long na, const unsigned short* b);
ZU_API bool strEqual(const unsigned short* a, const unsigned short* b, unsigned long nb);

// Equality of `n` units.
ZU_API bool strEqualSameLens(const unsigned short* a, const unsigned short* b, unsigned long n);

// Without regard to case, narrow. Different counts are never equal; the shorter of two texts that are alike
// so far is the smaller.
ZU_API bool strEqualCi(const unsigned char* a, const unsigned char* b, zuCPType cp = zuCPLocale);
ZU_API bool strEqualCi(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb,
                       zuCPType cp = zuCPLocale);
ZU_API int strCompareCi(const unsigned char* a, const unsigned char* b, zuCPType cp = zuCPLocale);
ZU_API int strCompareCi(const unsigned char* a, unsigned long na, const unsigned char* b, unsigned long nb,
                        zuCPType cp = zuCPLocale);

// Without regard to case, UTF-16. A high surrogate as the last unit of a text ends the comparison there:
// never equal; and in the order 1 when the two units are the same and the second text is finished,
// else 0.
ZU_API bool strEqualCi(const unsigned short* a, const unsigned short* b);
ZU_API bool strEqualCi(const unsigned short* a, unsigned long na, const unsigned short* b);
ZU_API bool strEqualCi(const unsigned short* a, const unsigned short* b, unsigned long nb);
ZU_API bool strEqualCi(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb);
ZU_API int strCompareCi(const unsigned short* a, const unsigned short* b);
ZU_API int strCompareCi(const unsigned short* a, unsigned long na, const unsigned short* b);
ZU_API int strCompareCi(const unsigned short* a, const unsigned short* b, unsigned long nb);
ZU_API int strCompareCi(const unsigned short* a, unsigned long na, const unsigned short* b, unsigned long nb);

// Equality of the one character at `a` and `b`. Narrow characters of more than one byte are never folded. In
// UTF-16 a pair equals a single unit only without regard to case, when the two fold alike.
ZU_API bool isCharEqual(const unsigned char* a, const unsigned char* b, int caseSensitive,
                        zuCPType cp = zuCPLocale);
ZU_API bool isCharEqual(const unsigned short* a, const unsigned short* b, int caseSensitive);

#endif
