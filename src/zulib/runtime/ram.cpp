#include "zulib/runtime/ram.h"

#include <cstdlib>
#include <cstring>

namespace {

// One more than the greatest count of characters that fits a block together with its terminator.
constexpr unsigned long kTooManyBytes = ~0UL;
constexpr unsigned long kTooManyUnits = ~0UL / sizeof(unsigned short);

void* orMemoryError(void* block) {
  if (!block) ramAddMemoryError();
  return block;
}

// Room for `n` characters and a terminator. A count beyond any size is an allocation that fails.
template <class Char>
Char* allocText(unsigned long n) {
  constexpr unsigned long kTooMany = sizeof(Char) == 1 ? kTooManyBytes : kTooManyUnits;
  if (n >= kTooMany) return static_cast<Char*>(orMemoryError(nullptr));
  return static_cast<Char*>(ramAlloc((n + 1) * sizeof(Char)));
}

unsigned long atLeastZero(long n) { return n < 0 ? 0 : static_cast<unsigned long>(n); }

}  // namespace

void* ramAlloc(unsigned long size) { return orMemoryError(std::malloc(size ? size : 1)); }

void* ramAllocZ(unsigned long size) { return orMemoryError(std::calloc(1, size ? size : 1)); }

int ramResize(void** block, unsigned long size) {
  // On a size of 0 the C library would free the block and return null. The caller, for whom null is a
  // failure, would then go on to use the block.
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
  constexpr unsigned long kKept = 4;
  if (ramResize(block, size)) return 1;
  if (size > kKept) std::memset(static_cast<unsigned char*>(*block) + kKept, 0, size - kKept);
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
