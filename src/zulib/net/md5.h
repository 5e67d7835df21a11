// The MD5 digest, for protocols that ask for it; it is no protection against forgery today.
//
// Digests are those of RFC 1321 except for messages whose length is a multiple of 64 bytes, other than 0: in
// their last block the padding bit comes one byte late, after a zero byte. Both sides of a protocol compute
// it so, which is why it stays.
//
// Threads: any.

#ifndef ZULIB_NET_MD5_H
#define ZULIB_NET_MD5_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"

// The digest of the first `bits` bits of `message`, whose words are in host order; it may lie at any address,
// and is read up to the byte of its last bit. Of a last partial byte the high bits count. `digest` takes four
// words: A, B, C and D. Only the low 32 bits of the length are part of the digest.
ZU_API void MD5(const uint32_t* message, unsigned long bits, uint32_t* digest);

ZU_API uint32_t leftRotate(uint32_t word, unsigned char places);

#endif
