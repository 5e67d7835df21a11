// Search. All return the position found, or null.
//
// A hit in narrow text lies at the start of a character; in UTF-16 a pair is passed as a whole, so a single
// unit never hits half of a pair. A pattern of length 0, or longer than the text, is not found.
//
// Thread safety: reentrant; types 1, 2 and 4 and the case folding read the C locale of the calling thread.

#ifndef ZULIB_TEXT_STRFIND_H
#define ZULIB_TEXT_STRFIND_H

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zuchar.h"

// Which end a search for a byte starts from. `strFind` takes it and does not look at it.
enum strFindOptions {
  strFindFirst = 0,
  strFindLast = 1,
};

// Bits of `flags` for strContains and strDoesNotContain.
enum : unsigned long {
  strClassLower = 1,  // a to z
  strClassUpper = 2,  // A to Z
  strClassDigit = 4,  // 0 to 9
};

// First byte `ch`. strFindAnsi reads the text in the C locale.
ZU_API const unsigned char* strFind(const unsigned char* s, unsigned char ch, zuCPType cp);
ZU_API const unsigned char* strFindAnsi(const unsigned char* s, unsigned char ch);

// First place with the bytes of the pattern.
ZU_API const unsigned char* strFind(const unsigned char* s, const unsigned char* pat, zuCPType cp);
ZU_API const unsigned char* strFind(const unsigned char* s, unsigned long n, const unsigned char* pat,
                                    unsigned long m, zuCPType cp);

// Last byte `ch`.
ZU_API const unsigned char* strFindReverse(const unsigned char* s, unsigned char ch, zuCPType cp);

// Always the last byte `ch`, whatever the options say: path code finds the last separator with it.
ZU_API const unsigned char* strFind(const unsigned char* s, unsigned char ch, strFindOptions options,
                                    zuCPType cp);

// First byte `ch` outside quoted zones. A zone opens with q1, q2 or q3 and ends at the same byte; zones do
// not nest and know no doubled quotes. `ch` is tested first, so a quote can itself be looked for.
ZU_API const unsigned char* strFind(const unsigned char* s, unsigned char ch, unsigned char q1,
                                    unsigned char q2, unsigned char q3, zuCPType cp);

// Without regard to case, by `strUpper` on copies of both; null also when memory for them is gone.
ZU_API const unsigned char* strFindCi(const unsigned char* s, unsigned long n, const unsigned char* pat,
                                      unsigned long m, zuCPType cp);

// The pattern already folded both ways: each byte may equal either. Takes no memory. Unless `cp` is 4,
// characters of several bytes are passed and never start a match.
ZU_API const unsigned char* strFindCi(const unsigned char* s, unsigned long n, const unsigned char* upper,
                                      const unsigned char* lower, unsigned long m, zuCPType cp);

// True when the first byte of every character (of no character) is in the terminated set `extra`, which may
// be null, or in a class chosen by `flags`.
ZU_API bool strContains(const unsigned char* s, unsigned long n, const unsigned char* extra,
                        unsigned long flags, zuCPType cp);
ZU_API bool strDoesNotContain(const unsigned char* s, unsigned long n, const unsigned char* extra,
                              unsigned long flags, zuCPType cp);

// UTF-16: first unit `ch`, first place of a pattern; terminated or counted.
ZU_API const unsigned short* strFind(const unsigned short* s, unsigned short ch);
ZU_API const unsigned short* strFind(const unsigned short* s, unsigned long n, unsigned short ch);
ZU_API const unsigned short* strFind(const unsigned short* s, const unsigned short* pat);
ZU_API const unsigned short* strFind(const unsigned short* s, unsigned long n, const unsigned short* pat,
                                     unsigned long m);

// UTF-16, outside quoted zones, with the rules of the narrow form.
ZU_API const unsigned short* strFind(const unsigned short* s, unsigned short ch, unsigned short q1,
                                     unsigned short q2, unsigned short q3);

// UTF-16 without regard to case.
ZU_API const unsigned short* strFindCi(const unsigned short* s, const unsigned short* pat);
ZU_API const unsigned short* strFindCi(const unsigned short* s, unsigned long n, const unsigned short* pat,
                                       unsigned long m);

// First unit that is one of the terminated set.
ZU_API const unsigned short* strFindAnyChar(const unsigned short* s, unsigned long n,
                                            const unsigned short* set);
ZU_API const unsigned short* strFindAnyChar(const unsigned short* s, unsigned long n,
                                            const unsigned char* set);

// Last unit `ch`.
ZU_API const unsigned short* strFindReverse(const unsigned short* s, unsigned short ch);
ZU_API const unsigned short* strFindReverse(const unsigned short* s, unsigned long n, unsigned short ch);

#endif
