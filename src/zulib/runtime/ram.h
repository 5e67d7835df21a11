// The floor of the library: allocators that return null on failure, byte moves, and boundary arithmetic.
//
// No allocator throws or aborts. One that fails marks the out-of-memory state of the calling thread's error
// list and returns null or 1, so its caller only gives up and records nothing of its own. A block has no
// header: it is released with the C library's `free`, and with nothing else.
//
// No operation here tests a pointer for null, except the destructor of `AFPU8`.
//
// Thread safety: any thread; nothing here keeps state between calls.

#ifndef ZULIB_RUNTIME_RAM_H
#define ZULIB_RUNTIME_RAM_H

#include "zulib/runtime/zuapi.h"

// The primitives, with C linkage. Sizes are in bytes.

#ifdef __cplusplus
extern "C" {
#endif

// Copies `n` bytes as if one at a time from the lowest address up.
ZU_API void BUTMEMCP(void* dest, const void* src, unsigned long n);

// Copies `n` bytes as if one at a time from the highest address down.
ZU_API void BUTMMCPD(void* dest, const void* src, unsigned long n);

// Sets `n` bytes to `value`.
ZU_API void BUTU8FIL(void* dest, unsigned char value, unsigned long n);

// -1, 0 or 1 as the first unsigned byte that differs is lower, absent or higher in `a`.
ZU_API short BUTMMCMP(const void* a, const void* b, unsigned long n);

// Exchanges two ranges that do not overlap. Allocates nothing.
ZU_API void BUTMMSWP(void* a, void* b, unsigned long n);

// Copies, or appends, a zero-terminated text with its terminator. The room in `dest` is the caller's duty.
ZU_API void BUTSTCPY(unsigned char* dest, const unsigned char* src);
ZU_API void BUTSTCAT(unsigned char* dest, const unsigned char* src);

// `strcmp`, with the result cut to its low 16 bits, read as a signed number.
ZU_API long BUTSTCMP(const unsigned char* a, const unsigned char* b);

// Bytes before the terminator.
ZU_API unsigned long BUTSTLEN(const unsigned char* s);

#ifdef __cplusplus
}

#include <stdlib.h>

// Marks the out-of-memory state of the calling thread's error list. Allocates nothing.
ZU_API void ramAddMemoryError();

// A block of `size` bytes, or of 1 byte if `size` is 0; the Z form is zero-filled. Null if the allocation
// fails.
[[nodiscard]] ZU_API void* ramAlloc(unsigned long size);
[[nodiscard]] ZU_API void* ramAllocZ(unsigned long size);

// Gives `*block` the new size and returns 0, or returns 1 with `*block` unchanged and still owned by the
// caller. A size of 0 on an existing block is such a failure.
[[nodiscard]] ZU_API int ramResize(void** block, unsigned long size);

// `ramResize`, after which every byte from the fifth on is zero. The allocator does not know the old size, so
// only the first four bytes are kept, whatever the block held.
[[nodiscard]] ZU_API int ramResizeZ(void** block, unsigned long size);

// 0: block sizes are not kept.
ZU_API unsigned long ramSize(const void* block);

// A new block with a copy of the text; null if the allocation fails. Counts are in characters, and a negative
// count counts as 0. All but the NT form (exactly `n` bytes) add a terminator. Between the widths each
// byte becomes one unit and each unit its low byte: no code page is consulted.
[[nodiscard]] ZU_API unsigned char* ramAllocStr(const unsigned char* s);
[[nodiscard]] ZU_API unsigned char* ramAllocStrNT(const unsigned char* s, unsigned long n);
[[nodiscard]] ZU_API unsigned char* ramAllocStr(const unsigned char* s, unsigned long n);
[[nodiscard]] ZU_API unsigned char* ramAllocStr(const unsigned char* s, long n);
[[nodiscard]] ZU_API unsigned char* ramAllocStr(const unsigned char* s, int n);
[[nodiscard]] ZU_API unsigned short* ramAllocStrW(const unsigned char* s, unsigned long n);
[[nodiscard]] ZU_API unsigned short* ramAllocStrW(const unsigned char* s, long n);
[[nodiscard]] ZU_API unsigned char* ramAllocStr(const unsigned short* s, unsigned long n);
[[nodiscard]] ZU_API unsigned char* ramAllocStr(const unsigned short* s, long n);
[[nodiscard]] ZU_API unsigned char* ramAllocStr(const unsigned short* s);

// Copies from the lowest address up, without regard to overlap: a range that moves up over itself is smeared;
// use `memCopyReverse` to avoid that.
ZU_API void memCopy(void* dest, const void* src, unsigned long n);
ZU_API void memCopyHuge(void* dest, const void* src, unsigned long n);
ZU_API void memMove(void* dest, const void* src, unsigned long n);

// Copies from the highest address down.
ZU_API void memCopyReverse(void* dest, const void* src, unsigned long n);

// Copies ranges that both lie on a multiple of 8. Overlap: forward by 4-byte words up to the last multiple
// of 8, then the tail from its end down.
ZU_API void memCopyAligned(void* dest, const void* src, unsigned long n);

// Copies with the widest unit that the two addresses allow. For ranges that overlap, the order depends on
// the alignment: bytes are copied from the end down; of 2-byte and 4-byte units the bytes after the last
// whole unit come first, then the units forward; ranges on a multiple of 8 as in `memCopyAligned`.
ZU_API void fastMemCopy(void* dest, const void* src, unsigned long n);

ZU_API void memFill(void* dest, unsigned char value, unsigned long n);
ZU_API void memFillHuge(void* dest, unsigned char value, unsigned long n);
ZU_API void memZero(void* dest, unsigned long n);

// `count` is in words of 4 bytes.
ZU_API void memZero4Byte(void* dest, unsigned long count);

// -1, 0 or 1; bytes are unsigned.
ZU_API short memCompare(const void* a, const void* b, unsigned long n);
ZU_API short memCompareHuge(const void* a, const void* b, unsigned long n);

// 1 when the ranges are equal, else 0.
ZU_API int memEqual(const void* a, const void* b, unsigned long n);

// Exchanges two ranges that do not overlap; `n` is not 0. Allocates nothing.
ZU_API void memSwap(void* a, void* b, unsigned long n);

// Exchanges elements `i` and `j` of an array of `width`-byte elements.
ZU_API void butswap(void* base, unsigned short i, unsigned short j, unsigned short width);

// Returns 0 for every boundary. Nothing relies on a true result.
ZU_API int verifyByteBoundary(unsigned short boundary);

// Replaces `value` by (value + boundary - 1) AND NOT boundary. The mask is the boundary itself, so this is
// not the usual rounding up: 5 on a boundary of 4 gives 8, but 1 gives 0. Layouts depend on it.
ZU_API void alignOnByteBoundary(unsigned long& value, unsigned short boundary);
ZU_API void alignOnByteBoundary(unsigned short& value, unsigned short boundary);
ZU_API void alignOnByteBoundary(void*& value, unsigned short boundary);

// Owns one raw buffer for the life of a scope. To be assigned once: a second assignment does not free the
// first buffer.
class AFPU8 {
 public:
  AFPU8() = default;
  AFPU8(const AFPU8&) = delete;
  AFPU8& operator=(const AFPU8&) = delete;
  ~AFPU8() {
    if (buffer) free(buffer);
  }

  AFPU8& operator=(unsigned char* owned) {
    buffer = owned;
    return *this;
  }
  operator unsigned char*() const { return buffer; }

 private:
  unsigned char* buffer = nullptr;
};

// Marks a stretch of code that uses process-wide state of the C library. It costs nothing here and takes no
// lock.
class AFGlobalWorld {
 public:
  AFGlobalWorld() {}
  ~AFGlobalWorld() {}
  AFGlobalWorld(const AFGlobalWorld&) = delete;
  AFGlobalWorld& operator=(const AFGlobalWorld&) = delete;
};

#endif  // __cplusplus

#endif
