#include "zulib/runtime/ram.h"

#include <cstdlib>
#include <cstring>

namespace {

// One more than the greatest count of characters that fits a block together with its terminator.
constexpr unsigned long TOO_MANY_BYTES = ~0UL;
constexpr unsigned long TOO_MANY_UNITS = ~0UL / sizeof(unsigned short);

void* orMemoryError(void* block) {
  if (!block) ramAddMemoryError();
  return block;
}

// Room for `n` characters and a terminator. A count that cannot be had is memory that is not there.
template <class Char>
Char* allocText(unsigned long n) {
  constexpr unsigned long tooMany = sizeof(Char) == 1 ? TOO_MANY_BYTES : TOO_MANY_UNITS;
  if (n >= tooMany) return static_cast<Char*>(orMemoryError(nullptr));
  return static_cast<Char*>(ramAlloc((n + 1) * sizeof(Char)));
}

unsigned long atLeastZero(long n) { return n < 0 ? 0 : static_cast<unsigned long>(n); }

}  // namespace

void* ramAlloc(unsigned long size) { return orMemoryError(std::malloc(size ? size : 1)); }

void* ramAllocZ(unsigned long size) { return orMemoryError(std::calloc(1, size ? size : 1)); }

int ramResize(void** block, unsigned long size) {
  // On a size of 0 the C library would release the block and answer null, and the caller, who takes null for
  // a failure, would go on to use it.
  void* resized = nullptr;
  if (size) {
    resized = std::realloc(*block, size);
  } else if (!*block) {
    resized = std::malloc(1);
  }
  if (!resized) {
    ramAddMemoryError();
    return 1;
  }
  *block = resized;
  return 0;
}

int ramResizeZ(void** block, unsigned long size) {
  constexpr unsigned long kept = 4;
  if (ramResize(block, size)) return 1;
  if (size > kept) std::memset(static_cast<unsigned char*>(*block) + kept, 0, size - kept);
  return 0;
}

unsigned long ramSize(const void*) { return 0; }

unsigned char* ramAllocStr(const unsigned char* s) { return ramAllocStrNT(s, BUTSTLEN(s) + 1); }

unsigned char* ramAllocStrNT(const unsigned char* s, unsigned long n) {
  auto* text = static_cast<unsigned char*>(ramAlloc(n));
  if (text) memCopy(text, s, n);
  return text;
}

unsigned char* ramAllocStr(const unsigned char* s, unsigned long n) {
  auto* text = allocText<unsigned char>(n);
  if (!text) return nullptr;
  memCopy(text, s, n);
  text[n] = 0;
  return text;
}

unsigned char* ramAllocStr(const unsigned char* s, long n) { return ramAllocStr(s, atLeastZero(n)); }

unsigned char* ramAllocStr(const unsigned char* s, int n) { return ramAllocStr(s, static_cast<long>(n)); }

unsigned short* ramAllocStrW(const unsigned char* s, unsigned long n) {
  auto* text = allocText<unsigned short>(n);
  if (!text) return nullptr;
  for (unsigned long i = 0; i < n; ++i) text[i] = s[i];
  text[n] = 0;
  return text;
}

unsigned short* ramAllocStrW(const unsigned char* s, long n) { return ramAllocStrW(s, atLeastZero(n)); }

unsigned char* ramAllocStr(const unsigned short* s, unsigned long n) {
  auto* text = allocText<unsigned char>(n);
  if (!text) return nullptr;
  for (unsigned long i = 0; i < n; ++i) text[i] = static_cast<unsigned char>(s[i]);
  text[n] = 0;
  return text;
}

unsigned char* ramAllocStr(const unsigned short* s, long n) { return ramAllocStr(s, atLeastZero(n)); }

unsigned char* ramAllocStr(const unsigned short* s) {
  unsigned long n = 0;
  while (s[n]) ++n;
  return ramAllocStr(s, n);
}
