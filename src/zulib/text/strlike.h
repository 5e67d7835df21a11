// The match of SQL's LIKE.
//
// `many` matches any run of characters, `single` for one, and `escape` takes the character after it
// literally; an escape as the last of the pattern matches nothing. With `keepBlanks` 0, white space at the
// end of value and pattern does not count. With `caseSensitive` 0, single bytes fold by the C locale,
// UTF-16 by code point.
//
// Takes no memory and does not recurse: only the last `many` is ever gone back to, which is enough.
//
// Thread safety: reentrant.

#ifndef ZULIB_TEXT_STRLIKE_H
#define ZULIB_TEXT_STRLIKE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zuchar.h"

ZU_API bool strLike(const unsigned char* value, unsigned long valueLen, const unsigned char* pattern,
                    unsigned long patternLen, unsigned char many, unsigned char single, unsigned char escape,
                    int caseSensitive, int keepBlanks, zuCPType cp);

// Terminated value and pattern.
ZU_API bool strLike(const unsigned char* value, const unsigned char* pattern, unsigned char many,
                    unsigned char single, unsigned char escape, int caseSensitive, int keepBlanks,
                    zuCPType cp);

// UTF-16.
ZU_API bool strLike(const unsigned short* value, unsigned long valueLen, const unsigned short* pattern,
                    unsigned long patternLen, unsigned short many, unsigned short single,
                    unsigned short escape, int caseSensitive, int keepBlanks);

#endif
