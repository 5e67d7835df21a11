// What the two owning strings do to their text as a whole, once for both kinds: quotes, line feeds, breaks.

#ifndef ZULIB_TEXT_INTERNAL_TEXTALGORITHMS_H
#define ZULIB_TEXT_INTERNAL_TEXTALGORITHMS_H

#include "zulib/text/internal/stringalgorithms.h"

namespace zutext {

// Follows the quoted zones of a text. A zone opens with any of three quotes and ends at the same one; without
// a first quote there are no zones.
template <class Char>
class Zones {
 public:
  Zones(Char q1, Char q2, Char q3) : q1(q1), q2(q2), q3(q3) {}

  // Takes the next character, which begins with `ch`; true when it lies outside all zones and opens none.
  bool isOutside(Char ch) {
    if (q1 == 0) return true;
    if (zone != 0) {
      if (ch == zone) zone = 0;
      return false;
    }
    if (ch == 0 || (ch != q1 && ch != q2 && ch != q3)) return true;
    zone = ch;
    return false;
  }

 private:
  Char q1, q2, q3;
  Char zone = 0;  // the quote that opened the zone, or 0
};

// The work is done in place through the string's own buffer, since none of these but the quotes make the
// text longer.
template <class Kind>
struct TextAlgorithms {
  using Char = typename Kind::Char;
  using View = typename Kind::View;
  using String = typename Kind::String;
  using Memory = StringAlgorithms<Kind>;

  static int addQuotes(String& s, Char quote) {
    const unsigned long n = s.getLength();
    const auto steps = Kind::steps(s);
    const StableText<Char> text(s.asPascalStr(), n, true);
    if (text.hasFailed()) return 1;
    if (s.assureSpace(countQuotes(text.get(), n, steps, quote) + 2)) return 1;
    const Char* end = writeQuoted(s.asPascalStr(), text.get(), n, steps, quote);
    s.setCurSize(static_cast<unsigned long>(end - s.asPascalStr()));
    return 0;
  }

  static void removeQuotes(String& s) {
    if (s.asPascalStr() == nullptr || s.getCapacity() == 0) return;
    const Char* end = writeUnquoted(s.asPascalStr(), s.asPascalStr(), s.getLength(), Kind::steps(s));
    s.setCurSize(static_cast<unsigned long>(end - s.asPascalStr()));
  }

  static int addQuoted(String& s, const View& view, Char quote) {
    const auto steps = Kind::steps(view);
    const unsigned long n = view.getLength();
    const unsigned long room = n + countQuotes(view.asPascalStr(), n, steps, quote) + 2;
    const Char* p = Memory::grown(s, room, view.asPascalStr());
    if (!s.isEnoughSpace(room)) return 1;
    const Char* end = writeQuoted(s.asPascalStr(s.getLength()), p, n, steps, quote);
    s.setCurSize(static_cast<unsigned long>(end - s.asPascalStr()));
    return 0;
  }

  static int forceEol(String& s, unsigned long n) {
    unsigned long there = 0;
    while (there < n && there < s.getLength() && s[s.getLength() - 1 - there] == '\n') ++there;
    if (there == n) return 0;
    if (s.assureSpace(n - there)) return 1;
    unsigned long length = s.getLength();
    for (; there < n; ++there) s[length++] = '\n';
    s.setCurSize(length);
    return 0;
  }

  // A line feed takes the place of the blank, so the text keeps its length.
  static int insertLineBreaks(String& s, unsigned long width, Zones<Char> zones) {
    const unsigned long n = s.getLength();
    if (n <= width) return 0;
    const auto steps = Kind::steps(s);
    unsigned long lineStart = 0;
    unsigned long lastBlank = 0;  // a break point when it lies past the line's start
    for (unsigned long i = 0; i < n;) {
      if (zones.isOutside(s[i]) && s[i] == ' ') lastBlank = i;
      i += steps.step(&s[i], n - i);
      if (i - lineStart > width && lastBlank > lineStart) {
        s[lastBlank] = '\n';
        lineStart = lastBlank + 1;
      }
    }
    return 0;
  }

  // Drops each run of characters for which `isDropped` holds outside zones; one blank stands for a run, but
  // none at the end.
  template <class IsDropped>
  static int dropRuns(String& s, Zones<Char> zones, IsDropped isDropped) {
    const unsigned long n = s.getLength();
    const auto steps = Kind::steps(s);
    unsigned long out = 0;
    for (unsigned long i = 0; i < n;) {
      const bool outside = zones.isOutside(s[i]);
      if (outside && isDropped(s[i])) {
        ++i;
        if (i < n && s[i] != 0 && !isDropped(s[i])) s[out++] = ' ';
        continue;
      }
      const unsigned long size = steps.step(&s[i], n - i);
      putChars(&s[out], &s[i], size);
      out += size;
      i += size;
    }
    if (out != n) s.setCurSize(out);
    return 0;
  }

  static bool isLineFeed(Char ch) { return ch == '\n'; }
  static bool isTab(Char ch) { return ch == '\t'; }
  static bool isLineEnd(Char ch) { return ch == '\n' || ch == '\r'; }
};

}  // namespace zutext

#endif
