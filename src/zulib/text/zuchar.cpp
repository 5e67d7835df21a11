#include "zulib/text/zuchar.h"

#include <unicode/uchar.h>

#include <cstring>
#include <cwctype>

#include "zulib/text/internal/walk.h"

using namespace zutext;

namespace {

// The longest character that `zuCharEqual` compares.
constexpr unsigned long kLongestEqual = 3;

// The wide character at `p` in the C locale; 0, which is in no class, when there is none.
std::wint_t wideAt(const unsigned char* p) {
  wchar_t wide = 0;
  bool cut;
  if (*p == 0 || decodeLocale(p, static_cast<unsigned long>(-1), &wide, &cut) == 0) return 0;
  return static_cast<std::wint_t>(wide);
}

// The code point at `p` in terminated text.
UChar32 pointAt(const unsigned short* p) { return static_cast<UChar32>(codePointAt(p, 2)); }

}  // namespace

unsigned long zuCharSize(const unsigned char* p, zuCPType cp) {
  return NarrowWalk(cp).size(p, static_cast<unsigned long>(-1));
}

bool zuIsLeadByte(const unsigned char* p) { return localeFacts().size[*p] == 2 && isDoubleByte(p); }

unsigned long zuUTF8CharLen(const unsigned char* p, unsigned long n) {
  unsigned long count = 0;
  for (unsigned long i = 0; i < n; ++count) {
    // Not the sizes of zuCharSize: everything from 0x80 to 0xDF counts as two bytes.
    const unsigned long size = p[i] < 0x80 ? 1 : p[i] < 0xE0 ? 2 : p[i] < 0xF0 ? 3 : 4;
    if (size > n - i) break;
    i += size;
  }
  return count;
}

const unsigned char* zuCharNext(const unsigned char* p, zuCPType cp) { return p + zuCharSize(p, cp); }

unsigned char* zuCharNext(unsigned char* p, zuCPType cp) { return p + zuCharSize(p, cp); }

unsigned long zuCharNext(const unsigned char* base, unsigned long offset, zuCPType cp) {
  return offset + zuCharSize(base + offset, cp);
}

const unsigned char* zuCharPrev(const unsigned char* start, const unsigned char* p, zuCPType cp) {
  if (p <= start) return start;
  if (cp != zuCPUTF8) {
    // The byte at `p` decides, not the one before it; callers know this and step from lead bytes.
    const unsigned char* previous = p - 1;
    return zuIsLeadByte(p) && previous > start ? previous - 1 : previous;
  }
  // At most three bytes back: of a character of four bytes this ends on its last one. Kept: stored offsets
  // depend on it.
  const unsigned char* previous = p - 1;
  if (zuCharSize(previous, cp) != 1 || previous == start) return previous;
  if (zuCharSize(p - 2, cp) != 1) return p - 2;
  if (p - 2 > start && zuCharSize(p - 3, cp) > 1) return p - 3;
  return previous;
}

unsigned long zuCharPrev(const unsigned char* base, unsigned long offset, zuCPType cp) {
  return static_cast<unsigned long>(zuCharPrev(base, base + offset, cp) - base);
}

const unsigned char* zuCharLast(const unsigned char* p, zuCPType cp) {
  return p + zuCharLast(p, lengthOf(p), cp);
}

unsigned long zuCharLast(const unsigned char* base, unsigned long n, zuCPType cp) {
  const NarrowWalk walk(cp);
  unsigned long last = 0;
  for (unsigned long i = 0; i < n; i += walk.step(base + i, n - i)) last = i;
  return last;
}

bool zuCharEqual(const unsigned char* a, const unsigned char* b, zuCPType cp) {
  const unsigned long size = zuCharSize(a, cp);
  if (size != zuCharSize(b, cp)) return false;
  // Kept: callers treat a character of four bytes as never equal.
  if (size > kLongestEqual) return false;
  for (unsigned long i = 0; i < size; ++i) {
    if (a[i] != b[i]) return false;
    if (a[i] == 0) break;  // a terminator cuts both
  }
  return true;
}

unsigned long zuCharLen(const unsigned char* p, zuCPType cp) { return zuCharLen(p, lengthOf(p, cp), cp); }

unsigned long zuCharLen(const unsigned char* p, unsigned long n, zuCPType cp) {
  if (cp == zuCPUCS2) return n >> 1;
  const NarrowWalk walk(cp);
  unsigned long count = 0;
  for (unsigned long i = 0; i < n; i += walk.step(p + i, n - i)) ++count;
  return count;
}

bool zuIs2ndByte(const unsigned char* start, const unsigned char* p) {
  const LocaleFacts& facts = localeFacts();
  while (start < p) start += facts.size[*start] == 2 && isDoubleByte(start) ? 2 : 1;
  return start > p;
}

bool zuStrSBCSChar(const unsigned char* start, const unsigned char* p, unsigned char ch) {
  return *p == ch && !zuIs2ndByte(start, p);
}

const unsigned char* zuSkipBlanks(const unsigned char* p, zuCPType cp) {
  if (!p) return p;
  const NarrowWalk walk(cp);
  const unsigned char* end = p + lengthOf(p);
  while (p < end && zuIsWhiteSpace(p, cp)) p = walk.next(p, end);
  return p;
}

bool zuIsWhiteSpace(const unsigned char* p, zuCPType) { return std::iswspace(wideAt(p)) != 0; }
bool zuIsAlpha(const unsigned char* p, zuCPType) { return std::iswalpha(wideAt(p)) != 0; }
bool zuIsAlphaNumeric(const unsigned char* p, zuCPType) { return std::iswalnum(wideAt(p)) != 0; }

bool zuIsWhiteSpace(const unsigned short* p) { return u_isWhitespace(pointAt(p)) != 0; }
bool zuIsAlpha(const unsigned short* p) { return u_isalpha(pointAt(p)) != 0; }
bool zuIsAlphaNumeric(const unsigned short* p) {
  return (*p >= '0' && *p <= '9') || u_isalpha(pointAt(p)) != 0;
}

const unsigned short* zuCharNext(const unsigned short* p) { return p + (isHigh(*p) ? 2 : 1); }

unsigned long zuCharNext(const unsigned short* base, unsigned long index) {
  return index + (isHigh(base[index]) ? 2 : 1);
}

const unsigned short* zuCharPrev(const unsigned short* start, const unsigned short* p) {
  return start + zuCharPrev(start, p <= start ? 0 : static_cast<unsigned long>(p - start));
}

unsigned long zuCharPrev(const unsigned short* base, unsigned long index) {
  if (index == 0) return 0;
  return index - (isLow(base[index - 1]) && index > 1 ? 2 : 1);
}

unsigned long zuCharLast(const unsigned short* p, unsigned long n) {
  unsigned long last = 0;
  for (unsigned long i = 0; i < n; i = zuCharNext(p, i)) last = i;
  return last;
}

unsigned long zuCharLen(const unsigned short* p) {
  unsigned long count = 0;
  while (*p != 0) {
    ++count;
    if (isHigh(*p) && p[1] == 0) break;
    p = zuCharNext(p);
  }
  return count;
}

std::uint32_t javaToUpper(std::uint32_t c) { return upperLatin(c); }
std::uint32_t javaToLower(std::uint32_t c) { return lowerLatin(c); }
