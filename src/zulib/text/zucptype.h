// How the bytes of a narrow text are to be read.

#ifndef ZULIB_TEXT_ZUCPTYPE_H
#define ZULIB_TEXT_ZUCPTYPE_H

enum zuCPType {
  zuCPLocale = 1,      // the multi-byte encoding of the C locale
  zuCPUCS2 = 2,        // UCS-2 in a byte pointer: `zuCharLen` counts 16-bit units, a zero unit ends a text
  zuCPUTF8 = 3,        // UTF-8
  zuCPSingleByte = 4,  // single bytes: `strFindCi` with two folded patterns sizes no characters
};

#endif
