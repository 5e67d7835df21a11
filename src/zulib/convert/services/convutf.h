// Strict transcoders between UTF-8 and UTF-16 that tell how far they got.
//
// Both write up to `dstCapacity` elements at `*dst`, move `*dst` and `*src` to the point reached, and set
// `*required`, which may be null, to the elements that the whole source needs. A terminator is written if
// there is room for it, and not counted. `srcLength` -1 means terminated text.
//
// Returns `*dst` as it was, or null if the text or the arguments are bad. `*err` is ICU's code:
//
//   U_ZERO_ERROR                        all is written
//   U_STRING_NOT_TERMINATED_WARNING     all is written, without a terminator
//   U_BUFFER_OVERFLOW_ERROR             `dstCapacity` was too small; `*src` tells what was written
//   U_INVALID_CHAR_FOUND                malformed text; UTF-8: `*src` is after the malformed bytes
//   U_TRUNCATED_CHAR_FOUND              UTF-8 that ends, or has a NUL, after a malformed sequence: `*src` is
//                                       at the end of the last whole character
//   U_ILLEGAL_ARGUMENT_ERROR            a null source, a length below -1, a negative capacity, a null target
//                                       with a capacity
//
// Malformed text past the point where the target was full sets the code, and leaves `*src` at that point.
// Nothing is done if `err` is null or holds a failure.
//
// Thread safety: any thread, on distinct text.

#ifndef ZULIB_CONVERT_SERVICES_CONVUTF_H
#define ZULIB_CONVERT_SERVICES_CONVUTF_H

#include <unicode/utypes.h>

#include "zulib/runtime/zuapi.h"

// A pair of which only the first unit fits is cut: that unit is written, `*src` is after the character, and
// the second unit counts as required.
ZU_API unsigned short* ConvUTF8ToUTF16(unsigned short** dst, long dstCapacity, long* required,
                                       const unsigned char** src, long srcLength, UErrorCode* err);

// A character that does not fit whole is not written.
ZU_API unsigned char* ConvUTF16ToUTF8(unsigned char** dst, long dstCapacity, long* required,
                                      const unsigned short** src, long srcLength, UErrorCode* err);

#endif
