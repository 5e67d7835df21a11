// What the two views do, once for both kinds.

#ifndef ZULIB_TEXT_INTERNAL_VIEWALGORITHMS_H
#define ZULIB_TEXT_INTERNAL_VIEWALGORITHMS_H

#include "zulib/collections/zuarray.h"
#include "zulib/text/internal/stringalgorithms.h"
#include "zulib/text/internal/stringkinds.h"

namespace zutext {

template <class Kind>
struct ViewAlgorithms {
  using Char = typename Kind::Char;
  using View = typename Kind::View;
  using String = typename Kind::String;

  static void set(View& view, const Char* p, unsigned long n) {
    view.data = const_cast<Char*>(p);
    view.length = n;
    if constexpr (Kind::hasCodePage) view.initialLength = n;
  }

  // The offset of a position that a search answered; the length for null.
  static unsigned long offset(const View& view, const Char* position) {
    return position == nullptr ? view.length : static_cast<unsigned long>(position - view.data);
  }

  static unsigned long findChar(const View& view, Char ch, unsigned long start) {
    if (view.data == nullptr || start >= view.length) return view.length;
    return offset(view, Kind::find(Kind::steps(view), view.data + start, view.length - start, ch));
  }

  static unsigned long findSubString(const View& view, const Char* p, unsigned long n, unsigned long start) {
    if (view.data == nullptr || start > view.length || n > view.length - start) return view.length;
    return offset(view, Kind::find(Kind::steps(view), view.data + start, view.length - start, p, n));
  }

  static unsigned short countChar(const View& view, Char ch) {
    const auto steps = Kind::steps(view);
    unsigned long count = 0;
    for (unsigned long i = 0; i < view.length && view.data[i] != 0;) {
      const unsigned long size = steps.step(view.data + i, view.length - i);
      if (size == 1 && view.data[i] == ch) ++count;
      i += size;
    }
    return static_cast<unsigned short>(count);
  }

  static bool isEqual(const View& view, const Char* p, unsigned long n) {
    return view.length == n && (n == 0 || std::memcmp(view.data, p, n * sizeof(Char)) == 0);
  }

  static unsigned long indexInSet(const View& view, const Char* const* set, unsigned long n) {
    unsigned long i = 0;
    while (i < n && !isEqual(view, set[i], Kind::length(set[i]))) ++i;
    return i;
  }

  static unsigned long indexInSetCi(const View& view, const Char* const* set, unsigned long n) {
    unsigned long i = 0;
    while (i < n && !Kind::equalCi(view, set[i], Kind::length(set[i]))) ++i;
    return i;
  }

  // The closing quote goes because it is a quote with nothing behind it; without one the last character
  // stays.
  static int copyQuoted(const View& view, String& target) {
    const unsigned long n = view.length;
    const auto steps = Kind::steps(view);
    const Char* p = StringAlgorithms<Kind>::grown(target, n, view.data);
    if (target.data == nullptr || !target.isEnoughSpace(n)) return 1;
    for (unsigned long i = 1; i < n;) {
      if (p[i] == p[0] && ++i == n) break;
      const unsigned long size = steps.step(p + i, n - i);
      putChars(target.data + target.length, p + i, size);
      target.length += size;
      i += size;
    }
    return 0;
  }

  static void rightBlankTrim(View& view) {
    while (view.length > 0 && Kind::isSpace(view.data[view.length - 1])) --view.length;
  }

  static int getLines(const View& view, ZuArray& lines) {
    const auto steps = Kind::steps(view);
    unsigned long n = 0;
    while (n < view.length && view.data[n] != 0) ++n;
    const Char* p = view.data;
    for (const Char* end = p + n; p < end;) {
      const Char* lineFeed = Kind::find(steps, p, static_cast<unsigned long>(end - p), Char{'\n'});
      if (lineFeed == nullptr) break;  // what does not end in a line feed is no line
      if (lineFeed != p && addLine(view, p, static_cast<unsigned long>(lineFeed - p), lines)) return 1;
      p = lineFeed + 1;
    }
    return 0;
  }

 private:
  static int addLine(const View& view, const Char* p, unsigned long n, ZuArray& lines) {
    auto* line = new String;
    if (line == nullptr) return 1;
    View text(p, n);
    if constexpr (Kind::hasCodePage) text.codePage = view.codePage;
    if (line->initialize(text) || lines.add(line)) {
      delete line;
      return 1;
    }
    return 0;
  }
};

}  // namespace zutext

#endif
