#include "zulib/text/strquote.h"

#include "zulib/text/internal/quote.h"

using namespace zutext;

namespace {

// True when the `n` bytes, n at least 2, begin and end with the quote and every quote between is doubled.
bool isWellQuoted(const unsigned char* s, unsigned long n, unsigned char quote, const NarrowWalk& walk) {
  if (s[0] != quote) return false;
  unsigned long i = walk.step(s, n);
  while (i < n) {
    const unsigned long next = i + walk.step(s + i, n - i);
    if (next == n) return s[i] == quote && next - i == 1;
    if (s[i] == quote) {
      // One of a pair inside: the second must be there, and must not be the closing quote.
      if (s[next] != quote || next + 1 == n) return false;
      i = next + 1;
    } else {
      i = next;
    }
  }
  return false;
}

}  // namespace

unsigned char* strCopyQuoted(unsigned char* dst, const unsigned char* src, unsigned long n, zuCPType cp,
                             unsigned char quote) {
  const NarrowWalk walk(cp);
  // Single-byte text has no pair that a count could cut, whatever the locale makes of its last byte.
  const unsigned long whole = cp == zuCPSingleByte ? n : wholeCharacters(src, n, walk);
  return writeQuoted(dst, src, whole, walk, quote);
}

unsigned char* strCopyQuoted(unsigned char* dst, const unsigned char* src, zuCPType cp, unsigned char quote) {
  return writeQuoted(dst, src, lengthOf(src), NarrowWalk(cp), quote);
}

unsigned short* strCopyQuoted(unsigned short* dst, const unsigned short* src, unsigned long n,
                              unsigned short quote) {
  return writeQuoted(dst, src, wholeCharacters(src, n, WideWalk()), WideWalk(), quote);
}

unsigned short* strCopyQuoted(unsigned short* dst, const unsigned short* src, unsigned short quote) {
  return writeQuoted(dst, src, lengthOf(src), WideWalk(), quote);
}

unsigned char* strCatQuoted(unsigned char* dst, const unsigned char* src, unsigned long n, zuCPType cp,
                            unsigned char quote) {
  return strCopyQuoted(dst + lengthOf(dst), src, n, cp, quote);
}

unsigned char* strCatQuoted(unsigned char* dst, const unsigned char* src, zuCPType cp, unsigned char quote) {
  return strCopyQuoted(dst + lengthOf(dst), src, cp, quote);
}

unsigned short* strCatQuoted(unsigned short* dst, const unsigned short* src, unsigned long n,
                             unsigned short quote) {
  return strCopyQuoted(dst + lengthOf(dst), src, n, quote);
}

unsigned short* strCatQuoted(unsigned short* dst, const unsigned short* src, unsigned short quote) {
  return strCopyQuoted(dst + lengthOf(dst), src, quote);
}

unsigned char* strCopyUnquoted(unsigned char* dst, const unsigned char* src, unsigned long n, zuCPType cp) {
  return writeUnquoted(dst, src, n, NarrowWalk(cp));
}

unsigned short* strCopyUnquoted(unsigned short* dst, const unsigned short* src, unsigned long n) {
  return writeUnquoted(dst, src, n, WideWalk());
}

unsigned long strRemoveQuotes(unsigned char* s, unsigned long n, unsigned char quote, zuCPType cp) {
  const NarrowWalk walk(cp);
  if (n < 2 || !isWellQuoted(s, n, quote, walk)) return n;
  unsigned char* out = s;
  for (unsigned long i = 1; i < n - 1;) {
    if (s[i] == quote) ++i;
    const unsigned long size = walk.step(s + i, n - 1 - i);
    out = putChars(out, s + i, size);
    i += size;
  }
  return static_cast<unsigned long>(out - s);
}

unsigned long strRemoveQuotes(unsigned char* s, unsigned char quote, zuCPType cp) {
  const unsigned long n = strRemoveQuotes(s, lengthOf(s), quote, cp);
  s[n] = 0;
  return n;
}

unsigned long strRemoveQuotes(unsigned short* s, unsigned long n, unsigned short quote) {
  if (n < 2 || s[0] != quote || s[n - 1] != quote) return n;
  return static_cast<unsigned long>(writeUnquoted(s, s, n, WideWalk()) - s);
}

unsigned long strRemoveQuotes(unsigned short* s, unsigned short quote) {
  if (s[0] != quote) return lengthOf(s);
  unsigned short* out = s;
  const unsigned short* p = s + 1;
  while (*p != 0) {
    if (*p == quote && *++p == 0) break;
    const unsigned long size = wideSize(p, 2);
    out = putChars(out, p, size);
    p += size;
  }
  *out = 0;
  return static_cast<unsigned long>(out - s);
}
