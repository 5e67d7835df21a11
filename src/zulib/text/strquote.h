// Putting text in quotes and taking it out again.
//
// A quoted text begins and ends with the quote, and each quote inside is doubled. Only characters of one
// byte (one unit) can be a quote. The counted forms drop a character that the count cuts, except in
// single-byte text; nothing else is ever dropped.
//
// `dst` must hold 2 + 2n + 1 elements for quoting, n for unquoting. Unquoting may run in place (`dst` is
// `src`); quoting may not.
//
// Thread safety: reentrant on distinct text.

#ifndef ZULIB_TEXT_STRQUOTE_H
#define ZULIB_TEXT_STRQUOTE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zuchar.h"

// Writes the text quoted and terminated; returns the position of the terminator.
ZU_API unsigned char* strCopyQuoted(unsigned char* dst, const unsigned char* src, unsigned long n,
                                    zuCPType cp, unsigned char quote);
ZU_API unsigned char* strCopyQuoted(unsigned char* dst, const unsigned char* src, zuCPType cp,
                                    unsigned char quote);
ZU_API unsigned short* strCopyQuoted(unsigned short* dst, const unsigned short* src, unsigned long n,
                                     unsigned short quote);
ZU_API unsigned short* strCopyQuoted(unsigned short* dst, const unsigned short* src, unsigned short quote);

// `strCopyQuoted` at the end of the terminated text in `dst`.
ZU_API unsigned char* strCatQuoted(unsigned char* dst, const unsigned char* src, unsigned long n, zuCPType cp,
                                   unsigned char quote);
ZU_API unsigned char* strCatQuoted(unsigned char* dst, const unsigned char* src, zuCPType cp,
                                   unsigned char quote);
ZU_API unsigned short* strCatQuoted(unsigned short* dst, const unsigned short* src, unsigned long n,
                                    unsigned short quote);
ZU_API unsigned short* strCatQuoted(unsigned short* dst, const unsigned short* src, unsigned short quote);

// Takes src[0] as the quote, whatever it is, and writes the n - 2 elements after it with one of each pair of
// quotes dropped; returns the position of the terminator. Below an `n` of 2 the result is empty.
ZU_API unsigned char* strCopyUnquoted(unsigned char* dst, const unsigned char* src, unsigned long n,
                                      zuCPType cp = zuCPLocale);
ZU_API unsigned short* strCopyUnquoted(unsigned short* dst, const unsigned short* src, unsigned long n);

// In place; returns the new length. Text that is not a well-formed quoted text keeps its length and bytes.
// The counted form writes no terminator.
ZU_API unsigned long strRemoveQuotes(unsigned char* s, unsigned long n, unsigned char quote, zuCPType cp);
ZU_API unsigned long strRemoveQuotes(unsigned char* s, unsigned char quote, zuCPType cp);

// UTF-16 does not look inside first. The counted form needs a quote at both ends and writes a terminator at
// the new length; the terminated form needs the first quote only, drops a lone quote inside, and ends at a
// quote just before the terminator.
ZU_API unsigned long strRemoveQuotes(unsigned short* s, unsigned long n, unsigned short quote);
ZU_API unsigned long strRemoveQuotes(unsigned short* s, unsigned short quote);

#endif
