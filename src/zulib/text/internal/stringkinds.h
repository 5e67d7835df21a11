// The two kinds of string classes, narrow and wide, as the shared algorithms see them: the classes, how
// their text is stepped through, and the free functions that compare and search it.

#ifndef ZULIB_TEXT_INTERNAL_STRINGKINDS_H
#define ZULIB_TEXT_INTERNAL_STRINGKINDS_H

#include <unicode/uchar.h>

#include <cctype>

#include "zulib/text/internal/narrow.h"
#include "zulib/text/internal/quote.h"
#include "zulib/text/internal/wide.h"
#include "zulib/text/strcase.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/strfind.h"
#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

namespace zutext {

struct NarrowKind {
  using Char = unsigned char;
  using View = ZuSubString;
  using String = ZuString;
  using Editor = ZuReplaceString;
  using Steps = NarrowWalk;
  static constexpr bool hasCodePage = true;

  static Steps steps(const View& view) { return NarrowWalk(view.getCodePage()); }
  static unsigned long length(const Char* s) { return narrowLength(s); }

  static const Char* find(const Steps& steps, const Char* s, unsigned long n, Char ch) {
    return findByte(steps, s, n, ch);
  }
  static const Char* find(const Steps& steps, const Char* s, unsigned long n, const Char* pat,
                          unsigned long m) {
    return findBytes(steps, s, n, pat, m);
  }

  static bool equalCi(const View& view, const Char* p, unsigned long n) {
    return strEqualCi(view.asPascalStr(), view.getLength(), p, n, view.getCodePage());
  }
  static int compareCi(const View& view, const Char* p, unsigned long n) {
    return strCompareCi(view.asPascalStr(), view.getLength(), p, n, view.getCodePage());
  }
  static bool isSpace(Char ch) { return std::isspace(ch) != 0; }
};

struct WideKind {
  using Char = unsigned short;
  using View = ZuSubStringW;
  using String = ZuStringW;
  using Editor = ZuReplaceStringW;
  using Steps = WideWalk;
  static constexpr bool hasCodePage = false;

  static Steps steps(const View&) { return {}; }
  static unsigned long length(const Char* s) { return wideLength(s); }

  static const Char* find(const Steps&, const Char* s, unsigned long n, Char ch) { return strFind(s, n, ch); }
  static const Char* find(const Steps&, const Char* s, unsigned long n, const Char* pat, unsigned long m) {
    return strFind(s, n, pat, m);
  }

  static bool equalCi(const View& view, const Char* p, unsigned long n) {
    return strEqualCi(view.asPascalStr(), view.getLength(), p, n);
  }
  static int compareCi(const View& view, const Char* p, unsigned long n) {
    return strCompareCi(view.asPascalStr(), view.getLength(), p, n);
  }
  static bool isSpace(Char ch) { return u_isWhitespace(ch) != 0; }
};

// Moves elements between ranges that may overlap.
template <class Char>
void moveChars(Char* dst, const Char* src, unsigned long n) {
  if (n != 0) std::memmove(dst, src, n * sizeof(Char));
}

}  // namespace zutext

#endif
