// Scrambling of text, in place, which keeps passwords and files from plain view. It is no protection against
// anybody who has this library.
//
// Mode 1 complements every unit; mode 2 every unit except line feeds, so that a text file keeps its lines (a
// unit whose complement is a line feed becomes one and does not come back); mode 3 mixes pairs of units under
// a key. Any other mode does nothing.
//
// The key of mode 3 is up to four units of text, terminated; more are ignored, and those that a shorter key
// leaves out after its terminator, or all without a key (null), come from the library's own.
//
//   encrypt(text, length, 3, key);
//   decrypt(text, length, 3, key);  // the text again
//
// Lengths are in units. Threads: any.

#ifndef ZULIB_TEXT_ZUSCRAMBLE_H
#define ZULIB_TEXT_ZUSCRAMBLE_H

#include "zulib/runtime/zuapi.h"

enum ZuScrambleMode : unsigned short {
  ZuScrambleComplement = 1,
  ZuScrambleLines = 2,
  ZuScrambleBlocks = 3,
};

ZU_API void encrypt(unsigned char* data, unsigned long length, unsigned short mode, const unsigned char* key);
ZU_API void decrypt(unsigned char* data, unsigned long length, unsigned short mode, const unsigned char* key);
ZU_API void encrypt(unsigned short* data, unsigned long length, unsigned short mode,
                    const unsigned short* key);
ZU_API void decrypt(unsigned short* data, unsigned long length, unsigned short mode,
                    const unsigned short* key);

#endif
