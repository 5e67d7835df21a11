// Where a piece of text may be cut without splitting a character, in code pages that only ICU understands.
//
// A lead-byte map has one entry for each byte value: 1 if that byte alone does not make a whole character in
// the code page, else 0. It is built once for a code page by asking ICU about each byte, and belongs to a
// ZuPCU8Cache.
//
// getPossibleLeadByteMap (convert/services/zuicuhandlecache.h) puts the map of a code page into the cache.
// The functions here return 0, or 1 if that has not happened; a count of 0 bytes gives counts of 0 and needs
// no map.
//
// Thread safety: none; a cache serves one connection.

#ifndef ZULIB_CODEPAGES_ZULEADBYTES_H
#define ZULIB_CODEPAGES_ZULEADBYTES_H

#include "zulib/codepages/zuhandlecache.h"
#include "zulib/runtime/zuapi.h"

// Builds a map in `*map`, a block of `ramAlloc` that becomes the caller's. Returns 0, or 1 if the allocation
// fails.
[[nodiscard]] ZU_API int generateLeadByteMap(UConverter* converter, unsigned char** map);

// Whether the byte is marked in the map, which must be in the cache.
[[nodiscard]] ZU_API int isPossibleLeadByte(const ZuPCU8Cache* cache, long codePage, unsigned char byte,
                                            int* flag);

// Characters in `n` bytes; a last one that the count cuts is one too.
[[nodiscard]] ZU_API int getCountOfChars(const ZuPCU8Cache* cache, long codePage, const unsigned char* bytes,
                                         unsigned long n, unsigned long* count);

// Bytes of the whole characters in `n`. Both forms leave out a last byte that could lead a character, also if
// it is the trail byte of one. The second finds a cut among characters of more than two bytes too; it leaves
// the converter reset.
[[nodiscard]] ZU_API int getCountOfBytes(const ZuPCU8Cache* cache, long codePage, const unsigned char* bytes,
                                         unsigned long n, unsigned long* count);
[[nodiscard]] ZU_API int getCountOfBytes(const ZuPCU8Cache* cache, UConverter* converter, long codePage,
                                         const unsigned char* bytes, unsigned long n, unsigned long* count);

// `n` if the bytes of UTF-8 end with a whole character, else 0, by a look at the last three: four bytes or
// more whose end they do not explain are taken as whole.
ZU_API unsigned long getCountOfUTF8Bytes(const unsigned char* bytes, unsigned long n);

// Both counts in one pass. The bytes of a character that the count cuts are not counted, the character is.
[[nodiscard]] ZU_API int getCounts(const ZuPCU8Cache* cache, long codePage, const unsigned char* bytes,
                                   unsigned long n, unsigned long* byteCount, unsigned long* charCount);

#endif
