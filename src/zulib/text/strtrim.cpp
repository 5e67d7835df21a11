#include "zulib/text/strtrim.h"

#include <unicode/uchar.h>

#include "zulib/text/internal/walk.h"

using namespace zutext;

namespace {

// The end of the last character that is not `isBlank`, walking forward from the start of a character.
template <class IsBlank>
const unsigned char* lastKept(const NarrowWalk& walk, const unsigned char* s, const unsigned char* end,
                              IsBlank isBlank) {
  const unsigned char* kept = s;
  for (const unsigned char* p = s; p < end;) {
    const unsigned char* next = walk.next(p, end);
    if (!isBlank(p, static_cast<unsigned long>(end - p))) kept = next;
    p = next;
  }
  return kept;
}

template <class IsBlank>
unsigned long trimmed(const unsigned char* s, unsigned long n, zuCPType cp, IsBlank isBlank) {
  const NarrowWalk walk(cp);
  const unsigned char* end = s + n;
  if (walk.plainAscii()) {
    // Where the text ends in plain ASCII, the last character that stays is mostly there: look from the end,
    // as far as every byte is known to be a character.
    const unsigned char* tail = end;
    while (tail > s && tail[-1] < 0x80) --tail;
    if (tail != s) tail = walk.reach(s, tail, end);
    for (const unsigned char* p = end; p > tail; --p) {
      if (!isBlank(p - 1, 1)) return static_cast<unsigned long>(p - s);
    }
  }
  return static_cast<unsigned long>(lastKept(walk, s, end, isBlank) - s);
}

bool isBlankByte(const unsigned char* p, unsigned long) { return *p == 0x20; }

}  // namespace

unsigned long strRightTrim(const unsigned char* s, unsigned long n, zuCPType cp) {
  const LocaleFacts& facts = localeFacts();
  return trimmed(s, n, cp, [&facts](const unsigned char* p, unsigned long left) {
    return isWhiteSpaceWithin(p, left, facts);
  });
}

unsigned long strRightTrim(unsigned char* s, zuCPType cp) {
  const unsigned long n = strRightTrim(s, lengthOf(s), cp);
  s[n] = 0;
  return n;
}

unsigned long strRightTrimBlanks(const unsigned char* s, unsigned long n, zuCPType cp) {
  return trimmed(s, n, cp, isBlankByte);
}

unsigned long strRightTrimBlanks(unsigned char* s, zuCPType cp) {
  const unsigned long n = strRightTrimBlanks(s, lengthOf(s), cp);
  // Text without blanks may lie in memory that cannot be written.
  if (s[n] != 0) s[n] = 0;
  return n;
}

unsigned long strRightTrim(const unsigned short* s, unsigned long n) {
  while (n > 0) {
    const unsigned long size = n > 1 && isLow(s[n - 1]) && isHigh(s[n - 2]) ? 2 : 1;
    if (!u_isWhitespace(static_cast<UChar32>(codePointAt(s + n - size, size)))) break;
    n -= size;
  }
  return n;
}

unsigned long strRightTrim(unsigned short* s) {
  const unsigned long n = strRightTrim(s, lengthOf(s));
  s[n] = 0;
  return n;
}
