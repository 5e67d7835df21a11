// The mem family and the primitives under it. The C library moves the bytes wherever its result cannot
// differ from that of the loop that the header promises; where ranges overlap, the loop itself runs.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "zulib/runtime/ram.h"

namespace {

using Byte = unsigned char;

// How far `to` lies above `from`; a `to` below `from` is further away than any range is long.
uintptr_t distance(const void* from, const void* to) {
  return reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from);
}

bool overlap(const void* a, const void* b, unsigned long n) {
  return distance(a, b) < n || distance(b, a) < n;
}

// Like the loop, the C library must not see the pointers of an empty range: they may be null.

// The loops are functions of their own, so that the code that runs for every copy stays short.
[[gnu::noinline]] void loopForward(void* dest, const void* src, unsigned long n) {
  for (unsigned long i = 0; i < n; ++i) static_cast<Byte*>(dest)[i] = static_cast<const Byte*>(src)[i];
}

[[gnu::noinline]] void loopBackward(void* dest, const void* src, unsigned long n) {
  for (unsigned long i = n; i-- > 0;) static_cast<Byte*>(dest)[i] = static_cast<const Byte*>(src)[i];
}

void copyForward(void* dest, const void* src, unsigned long n) {
  if (n == 0) return;
  if (distance(src, dest) >= n) [[likely]] {
    std::memmove(dest, src, n);
  } else {
    loopForward(dest, src, n);
  }
}

void copyBackward(void* dest, const void* src, unsigned long n) {
  if (n == 0) return;
  if (distance(dest, src) >= n) [[likely]] {
    std::memmove(dest, src, n);
  } else {
    loopBackward(dest, src, n);
  }
}

// Units number `from` up to, not including, `to`, in rising order, each read and written whole.
template <class Unit>
void unitsForward(void* dest, const void* src, unsigned long from, unsigned long to) {
  for (unsigned long i = from; i < to; ++i) static_cast<Unit*>(dest)[i] = static_cast<const Unit*>(src)[i];
}

template <class Unit>
void unitsBackward(void* dest, const void* src, unsigned long from, unsigned long to) {
  for (unsigned long i = to; i-- > from;) static_cast<Unit*>(dest)[i] = static_cast<const Unit*>(src)[i];
}

void alignedOverlapping(void* dest, const void* src, unsigned long n) {
  const unsigned long whole = n & ~7UL;
  unitsForward<uint32_t>(dest, src, 0, whole / 4);
  if (n & 1) {
    unitsBackward<Byte>(dest, src, whole, n);
  } else if (n & 2) {
    unitsBackward<uint16_t>(dest, src, whole / 2, n / 2);
  } else if (n & 4) {
    unitsForward<uint32_t>(dest, src, whole / 4, n / 4);
  }
}

void fill(void* dest, unsigned char value, unsigned long n) {
  if (n != 0) std::memset(dest, value, n);
}

short compareBytes(const void* a, const void* b, unsigned long n) {
  if (n == 0) return 0;
  const int order = std::memcmp(a, b, n);
  return static_cast<short>((order > 0) - (order < 0));
}

// In steps of what a fixed buffer on the stack holds, so that nothing need be allocated.
void swapRanges(void* a, void* b, unsigned long n) {
  Byte step[512];
  auto* left = static_cast<Byte*>(a);
  auto* right = static_cast<Byte*>(b);
  while (n > 0) {
    const unsigned long size = std::min<unsigned long>(n, sizeof step);
    std::memcpy(step, left, size);
    std::memmove(left, right, size);
    std::memcpy(right, step, size);
    left += size;
    right += size;
    n -= size;
  }
}

}  // namespace

void BUTMEMCP(void* dest, const void* src, unsigned long n) { copyForward(dest, src, n); }
void BUTMMCPD(void* dest, const void* src, unsigned long n) { copyBackward(dest, src, n); }
void BUTU8FIL(void* dest, unsigned char value, unsigned long n) { fill(dest, value, n); }
short BUTMMCMP(const void* a, const void* b, unsigned long n) { return compareBytes(a, b, n); }
void BUTMMSWP(void* a, void* b, unsigned long n) { swapRanges(a, b, n); }

void BUTSTCPY(unsigned char* dest, const unsigned char* src) { copyForward(dest, src, BUTSTLEN(src) + 1); }

void BUTSTCAT(unsigned char* dest, const unsigned char* src) { BUTSTCPY(dest + BUTSTLEN(dest), src); }

long BUTSTCMP(const unsigned char* a, const unsigned char* b) {
  const AFGlobalWorld world;
  return static_cast<short>(std::strcmp(reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b)));
}

unsigned long BUTSTLEN(const unsigned char* s) { return std::strlen(reinterpret_cast<const char*>(s)); }

void memCopy(void* dest, const void* src, unsigned long n) { copyForward(dest, src, n); }
void memCopyHuge(void* dest, const void* src, unsigned long n) { copyForward(dest, src, n); }
void memMove(void* dest, const void* src, unsigned long n) { copyForward(dest, src, n); }
void memCopyReverse(void* dest, const void* src, unsigned long n) { copyBackward(dest, src, n); }

void memCopyAligned(void* dest, const void* src, unsigned long n) {
  if (!overlap(dest, src, n)) {
    copyForward(dest, src, n);
    return;
  }
  alignedOverlapping(dest, src, n);
}

void fastMemCopy(void* dest, const void* src, unsigned long n) {
  if (!overlap(dest, src, n)) {
    copyForward(dest, src, n);
    return;
  }
  const uintptr_t alignment = reinterpret_cast<uintptr_t>(dest) | reinterpret_cast<uintptr_t>(src);
  if (alignment & 1) {
    unitsBackward<Byte>(dest, src, 0, n);
  } else if (alignment & 2) {
    unitsBackward<Byte>(dest, src, n & ~1UL, n);
    unitsForward<uint16_t>(dest, src, 0, n / 2);
  } else if (alignment & 4) {
    unitsBackward<Byte>(dest, src, n & ~3UL, n);
    unitsForward<uint32_t>(dest, src, 0, n / 4);
  } else {
    alignedOverlapping(dest, src, n);
  }
}

void memFill(void* dest, unsigned char value, unsigned long n) { fill(dest, value, n); }
void memFillHuge(void* dest, unsigned char value, unsigned long n) { fill(dest, value, n); }
void memZero(void* dest, unsigned long n) { fill(dest, 0, n); }
void memZero4Byte(void* dest, unsigned long count) { fill(dest, 0, count * sizeof(uint32_t)); }

short memCompare(const void* a, const void* b, unsigned long n) { return compareBytes(a, b, n); }
short memCompareHuge(const void* a, const void* b, unsigned long n) { return compareBytes(a, b, n); }
int memEqual(const void* a, const void* b, unsigned long n) { return n == 0 || std::memcmp(a, b, n) == 0; }

void memSwap(void* a, void* b, unsigned long n) { swapRanges(a, b, n); }

void butswap(void* base, unsigned short i, unsigned short j, unsigned short width) {
  auto* elements = static_cast<Byte*>(base);
  swapRanges(elements + static_cast<unsigned long>(i) * width,
             elements + static_cast<unsigned long>(j) * width, width);
}

int verifyByteBoundary(unsigned short) { return 0; }

void alignOnByteBoundary(unsigned long& value, unsigned short boundary) {
  value = (value + boundary - 1) & ~static_cast<unsigned long>(boundary);
}

void alignOnByteBoundary(unsigned short& value, unsigned short boundary) {
  value = static_cast<unsigned short>((value + boundary - 1) & ~boundary);
}

void alignOnByteBoundary(void*& value, unsigned short boundary) {
  auto address = reinterpret_cast<unsigned long>(value);
  alignOnByteBoundary(address, boundary);
  value = reinterpret_cast<void*>(address);
}
