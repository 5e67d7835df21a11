// Quoting and unquoting, once for both widths.

#ifndef ZULIB_TEXT_INTERNAL_QUOTE_H
#define ZULIB_TEXT_INTERNAL_QUOTE_H

#include "zulib/text/internal/walk.h"

namespace zutext {

// Copies forward, element by element: the characters are short, and `out` may overlap `p` from below.
template <class Char>
Char* putChars(Char* out, const Char* p, unsigned long n) {
  for (unsigned long i = 0; i < n; ++i) *out++ = p[i];
  return out;
}

// Writes the text quoted and terminated; returns the terminator's position. Every element is kept, also
// what looks like the start of a longer character at the end.
template <class Char, class Walk>
Char* writeQuoted(Char* out, const Char* src, unsigned long n, const Walk& walk, Char quote) {
  *out++ = quote;
  for (const Char* end = src + n; src < end;) {
    const unsigned long size = walk.step(src, static_cast<unsigned long>(end - src));
    if (size == 1 && *src == quote) *out++ = quote;
    out = putChars(out, src, size);
    src += size;
  }
  *out++ = quote;
  *out = 0;
  return out;
}

// Writes what lies between src[0], which is the quote, and the last of `n` elements, with one of each pair
// of quotes; returns the terminator's position. Never runs ahead of what it reads, so `out` may be `src`.
template <class Char, class Walk>
Char* writeUnquoted(Char* out, const Char* src, unsigned long n, const Walk& walk) {
  if (n >= 2) {
    const Char quote = src[0];
    const Char* end = src + n - 1;
    for (const Char* p = src + 1; p < end;) {
      if (*p == quote && ++p == end) break;
      const unsigned long size = walk.step(p, static_cast<unsigned long>(end - p));
      out = putChars(out, p, size);
      p += size;
    }
  }
  *out = 0;
  return out;
}

// `n` without the character at the end that the count cuts.
template <class Char, class Walk>
unsigned long wholeCharacters(const Char* src, unsigned long n, const Walk& walk) {
  unsigned long i = 0;
  while (i < n) {
    const unsigned long size = walk.size(src + i, n - i);
    if (size > n - i) break;
    i += size;
  }
  return i;
}

// Elements that `writeQuoted` adds inside the quotes.
template <class Char, class Walk>
unsigned long countQuotes(const Char* src, unsigned long n, const Walk& walk, Char quote) {
  unsigned long count = 0;
  for (unsigned long i = 0; i < n;) {
    const unsigned long size = walk.step(src + i, n - i);
    if (size == 1 && src[i] == quote) ++count;
    i += size;
  }
  return count;
}

}  // namespace zutext

#endif
