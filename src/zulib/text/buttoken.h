// The older reader of SQL-shaped tokens, and the growing buffer that goes with it.
//
// Thread safety: reentrant on distinct text; the classes of characters come from the C locale.

#ifndef ZULIB_TEXT_BUTTOKEN_H
#define ZULIB_TEXT_BUTTOKEN_H

#include "zulib/runtime/zuapi.h"
#include "zulib/text/zuchar.h"

// Low bits of `kindAndFlags`: what the characters ",", "#", "." and ":" mean, and what a name is.
enum : unsigned short {
  butModeArgument = 1,  // a token is all up to one of ",()|" or a byte below 33 outside back-quotes
  butModeHash = 2,      // "#" begins a name; "#" and "$" continue it, and a backslash takes in an operator
  butModeDot = 3,       // names joined by "."
  butModeColon = 4,     // digits and names with ":" and "." inside; never tests the room in `out`
  butModePlain = 5,
  butModeHashWide = 6,  // as 2; never tests the room in `out`
  butModeMask = 0x0FFF,

  // High bits.
  butNoFold = 0x2000,  // names are not folded to upper case
  butGrow = 0x4000,    // a token that does not fit moves to a block of its own, which the caller frees
  butDrop = 0x8000,    // what does not fit is dropped, and the rest of the token passed over
};

// Where `out` holds the address of the block after a token outgrew it; the byte before is then 0. A
// caller that asks for growth clears these bytes first: no other token has a 0 in byte 1 and an address here.
constexpr unsigned long butBlockOffset = 2;

// Reads one token from the terminated text at `*cursor`, after leading white space, into `out` of `outSize`
// bytes, with a terminator, and moves `*cursor` past it; at the end of the text the token is empty. Quoted
// tokens keep their quotes, doubled ones inside included.
//
// 0, or 1 with `*cursor` as it was: the token does not fit (error 2700), is not closed (error 2703), or
// there was no memory to grow. `out` then holds what was read, which in a token not closed may be a block.
[[nodiscard]] ZU_API int buttoken(unsigned char* out, const unsigned char** cursor,
                                  unsigned short kindAndFlags, unsigned short outSize, zuCPType cp);

// Makes `need` bytes free after `*cursor` in the block `*base` of `*size` bytes; a null
// `*base` gets its first block. Grows in steps of 512 bytes and moves `*cursor` along. 0, or 1 with all
// three as they were if allocation fails or the block would pass 65535 bytes.
[[nodiscard]] ZU_API int butxpand(unsigned char** base, unsigned char** cursor, unsigned short* size,
                                  unsigned short need);

#endif
