#include "zulib/text/strcopy.h"

#include <cstring>

#include "zulib/runtime/ram.h"
#include "zulib/text/internal/walk.h"

using namespace zutext;

namespace {

// Copies element by element, widened or cut to the width of `dst`, and terminates.
template <class To, class From>
To* copyElements(To* dst, const From* src, unsigned long n) {
  for (unsigned long i = 0; i < n; ++i) dst[i] = static_cast<To>(src[i]);
  dst[n] = 0;
  return dst + n;
}

unsigned long atMost(unsigned long n, unsigned long most) { return n < most ? n : most; }

unsigned long lengthWithin(const unsigned char* s, unsigned long most) {
  return strnlen(reinterpret_cast<const char*>(s), most);
}

}  // namespace

unsigned long strLen(const unsigned char* s) { return BUTSTLEN(s); }
unsigned long strLen(const unsigned short* s) { return lengthOf(s); }

unsigned char* strCopy(unsigned char* dst, unsigned long size, const unsigned char* src) {
  if (size == 0) return dst;
  dst[size - 1] = 0;
  return copyElements(dst, src, lengthWithin(src, size - 1));
}

unsigned char* strCopy(unsigned char* dst, const unsigned char* src, unsigned long n) {
  if (n != 0) std::memmove(dst, src, n);
  dst[n] = 0;
  return dst + n;
}

unsigned short* strCopy(unsigned short* dst, unsigned long size, const unsigned short* src) {
  if (size == 0) return dst;
  unsigned long n = 0;
  while (n < size - 1 && src[n] != 0) ++n;
  const bool cut = src[n] != 0;
  if (cut && n > 0 && isHigh(src[n - 1])) --n;
  return copyElements(dst, src, n);
}

unsigned short* strCopy(unsigned short* dst, const unsigned short* src) {
  return strCopy(dst, src, lengthOf(src));
}

unsigned short* strCopy(unsigned short* dst, const unsigned short* src, unsigned long n) {
  if (n != 0) std::memmove(dst, src, 2 * n);
  dst[n] = 0;
  return dst + n;
}

unsigned short* strCopy(unsigned short* dst, unsigned long size, const unsigned char* src) {
  if (size == 0) return dst;
  return copyElements(dst, src, lengthWithin(src, size - 1));
}

unsigned short* strCopy(unsigned short* dst, const unsigned char* src) {
  return copyElements(dst, src, std::strlen(reinterpret_cast<const char*>(src)));
}

unsigned short* strCopy(unsigned short* dst, const unsigned char* src, unsigned long n) {
  return copyElements(dst, src, n);
}

unsigned char* strCopy(unsigned char* dst, const unsigned short* src) {
  return copyElements(dst, src, lengthOf(src));
}

unsigned char* strCopy(unsigned char* dst, unsigned long size, const unsigned short* src, unsigned long n) {
  if (size == 0) return dst;
  return copyElements(dst, src, atMost(n, size - 1));
}
