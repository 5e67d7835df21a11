// EBCDIC as the data-stream log shows it.

#ifndef ZULIB_NET_ZUEBCDIC_H
#define ZULIB_NET_ZUEBCDIC_H

#include "zulib/runtime/zuapi.h"

// The ASCII letter, digit or sign of an EBCDIC byte; "." for a byte that is none of those.
ZU_API unsigned char ZuEbcdicToAscii(unsigned char byte);

#endif
