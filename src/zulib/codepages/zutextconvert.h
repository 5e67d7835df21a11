// Names and texts between UTF-16 and narrow text.
//
// "ANSI" is Latin-1 here, whatever the locale. All take terminated text and write terminated text of at most
// `size` - 1 bytes or units; what does not fit is cut. The forms without a size have room for
// zuTextConvertSize. Returns the length, or -1 when the text does not convert (nothing is put in the
// place of a character), when a text is null or `size` is 0, and for lack of memory; `out` is then not to be
// used. No error is recorded.
//
// Thread safety: reentrant.

#ifndef ZULIB_CODEPAGES_ZUTEXTCONVERT_H
#define ZULIB_CODEPAGES_ZUTEXTCONVERT_H

#include "zulib/runtime/zuapi.h"

constexpr unsigned long zuTextConvertSize = 1024;

// At most 1023 units of `w`, whatever the size.
ZU_API long zuGetANSIStrFromUTF16Str(const unsigned short* w, unsigned char* out, unsigned long size);
ZU_API long zuGetANSIStrFromUTF16Str(const unsigned short* w, unsigned char* out);

ZU_API long zuGetUTF16StrFromANSIStr(const unsigned char* s, unsigned short* out, unsigned long size);
ZU_API long zuGetUTF16StrFromANSIStr(const unsigned char* s, unsigned short* out);

// A text that fills all of `size` loses its last byte to the terminator, whatever character that cuts; one
// that is longer still does not convert.
ZU_API long zuGetUTF8StrFromUTF16Str(const unsigned short* w, unsigned char* out, unsigned long size);
ZU_API long zuGetUTF8StrFromUTF16Str(const unsigned short* w, unsigned char* out);

#endif
