// What the views of zustringof.h do. zustring.cpp and zustringw.cpp each instantiate it for one width.

#ifndef ZULIB_TEXT_INTERNAL_VIEWDEFS_H
#define ZULIB_TEXT_INTERNAL_VIEWDEFS_H

#include <algorithm>
#include <cctype>
#include <type_traits>

#include "zulib/collections/zuarray.h"
#include "zulib/runtime/zuhooks.h"
#include "zulib/text/internal/decimal.h"
#include "zulib/text/internal/quote.h"
#include "zulib/text/strcase.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/zustringof.h"

namespace zutext {

template <class Char>
constexpr bool kIsNarrow = std::is_same_v<Char, unsigned char>;

inline zuhooks::Report withText(ZuMessage number, const unsigned char* text) {
  return {.number = number, .appended = text};
}
inline zuhooks::Report withText(ZuMessage number, const unsigned short* text) {
  return {.number = number, .appendedW = text};
}

}  // namespace zutext

template <class Char>
typename ZuTextNames<Char>::Walk ZuSubStringOf<Char>::walk() const {
  if constexpr (zutext::kIsNarrow<Char>) {
    return zutext::NarrowWalk(this->codePage);
  } else {
    return {};
  }
}

template <class Char>
ZuSubStringOf<Char>::ZuSubStringOf(const Char* terminated) {
  initialize(terminated, zutext::lengthOf(terminated));
}

template <class Char>
void ZuSubStringOf<Char>::initialize(const Char* p, unsigned long n) {
  data = const_cast<Char*>(p);
  this->setLength(n);
  this->takeCodePage({});
}

// The offset of a position that a search returned.
template <class Char>
unsigned long ZuSubStringOf<Char>::offsetOf(const Char* hit) const {
  return hit ? static_cast<unsigned long>(hit - data) : length;
}

template <class Char>
unsigned long ZuSubStringOf<Char>::findChar(Char ch, unsigned long start) const {
  if (!data || start >= length) return length;
  return offsetOf(zutext::find(walk(), data + start, length - start, ch));
}

template <class Char>
unsigned long ZuSubStringOf<Char>::findSubString(const Char* terminated, unsigned long start) const {
  return data ? findSubString(terminated, zutext::lengthOf(terminated), start) : length;
}

template <class Char>
unsigned long ZuSubStringOf<Char>::findSubString(const Char* p, unsigned long n, unsigned long start) const {
  if (!data || start > length || n > length - start) return length;
  return offsetOf(zutext::find(walk(), data + start, length - start, p, n));
}

template <class Char>
unsigned short ZuSubStringOf<Char>::countChar(Char ch) const {
  const auto steps = walk();
  unsigned long count = 0;
  for (unsigned long i = 0; i < length && data[i] != 0;) {
    const unsigned long size = steps.step(data + i, length - i);
    if (size == 1 && data[i] == ch) ++count;
    i += size;
  }
  return static_cast<unsigned short>(count);
}

template <class Char>
bool ZuSubStringOf<Char>::isEqual(const Char* terminated) const {
  return isEqual(terminated, zutext::lengthOf(terminated));
}

template <class Char>
bool ZuSubStringOf<Char>::isEqual(const Char* p, unsigned long n) const {
  return length == n && (n == 0 || std::memcmp(data, p, n * sizeof(Char)) == 0);
}

template <class Char>
bool ZuSubStringOf<Char>::isEqualCi(const Char* terminated) const {
  return isEqualCi(terminated, zutext::lengthOf(terminated));
}

template <class Char>
bool ZuSubStringOf<Char>::isEqualCi(const Char* p, unsigned long n) const {
  if constexpr (zutext::kIsNarrow<Char>) {
    return strEqualCi(data, length, p, n, this->codePage);
  } else {
    return strEqualCi(data, length, p, n);
  }
}

template <class Char>
int ZuSubStringOf<Char>::compare(const ZuObject* other) const {
  return compareCi(*static_cast<const ZuSubStringOf*>(other));
}

template <class Char>
int ZuSubStringOf<Char>::compare(const ZuSubStringOf* other) const {
  return strCompare(data, length, other->data, other->length);
}

template <class Char>
int ZuSubStringOf<Char>::compareCi(const Char* terminated) const {
  return compareCi(terminated, zutext::lengthOf(terminated));
}

template <class Char>
int ZuSubStringOf<Char>::compareCi(const Char* p, unsigned long n) const {
  if constexpr (zutext::kIsNarrow<Char>) {
    return strCompareCi(data, length, p, n, this->codePage);
  } else {
    return strCompareCi(data, length, p, n);
  }
}

template <class Char>
unsigned long ZuSubStringOf<Char>::indexInSet(const Char* const* set, unsigned long n) const {
  unsigned long i = 0;
  while (i < n && !isEqual(set[i])) ++i;
  return i;
}

template <class Char>
unsigned long ZuSubStringOf<Char>::indexInSetCi(const Char* const* set, unsigned long n) const {
  unsigned long i = 0;
  while (i < n && !isEqualCi(set[i])) ++i;
  return i;
}

template <class Char>
Char* ZuSubStringOf<Char>::getCopyUnquoted(Char* dst) const {
  return zutext::writeUnquoted(dst, data, length, walk());
}

template <class Char>
Char* ZuSubStringOf<Char>::getCopyQuoted(Char* dst, Char quote) const {
  return zutext::writeQuoted(dst, data, length, walk(), quote);
}

// The closing quote is left out because it is a quote with nothing after it; without one the last character
// stays.
template <class Char>
int ZuSubStringOf<Char>::copyQuotedStr(String* target) const {
  const unsigned long n = length;
  const auto steps = walk();
  const Char* p = target->grown(n, data);
  if (!target->isEnoughSpace(n)) return 1;
  Char* out = target->asPascalStr(target->getLength());
  for (unsigned long i = 1; i < n;) {
    if (p[i] == p[0] && ++i == n) break;
    const unsigned long size = steps.step(p + i, n - i);
    out = zutext::putChars(out, p + i, size);
    i += size;
  }
  target->setCurSize(static_cast<unsigned long>(out - target->asPascalStr()));
  return 0;
}

template <class Char>
void ZuSubStringOf<Char>::rightBlankTrim() {
  const auto isSpace = [](Char ch) {
    if constexpr (zutext::kIsNarrow<Char>) {
      return std::isspace(ch) != 0;
    } else {
      return u_isWhitespace(ch) != 0;
    }
  };
  while (length > 0 && isSpace(data[length - 1])) --length;
}

template <class Char>
int ZuSubStringOf<Char>::getLines(ZuArray* lines) const {
  const auto steps = walk();
  const Char* p = data;
  const Char* const end = std::find(p, p + length, Char{0});
  while (p < end) {
    const Char* lineFeed = zutext::find(steps, p, static_cast<unsigned long>(end - p), Char{'\n'});
    if (!lineFeed) break;  // what does not end in a line feed is no line
    if (lineFeed != p) {
      typename ZuTextNames<Char>::View text(p, static_cast<unsigned long>(lineFeed - p));
      text.takeCodePage(*this);
      auto* line = new String;
      if (!line) return 1;
      if (line->initialize(text) || lines->add(line)) {
        delete line;
        return 1;
      }
    }
    p = lineFeed + 1;
  }
  return 0;
}

template <class Char>
int ZuSubStringOf<Char>::getAsZUSIZE_T(ZUSIZE_T* out) const {
  std::uint32_t number = 0;
  const ZuMessage fault = zutext::parseDecimal(data, length, walk(), &number);
  if (fault) {
    String text;
    static_cast<void>(text.initialize(data, length));
    zuhooks::report(zutext::withText(fault, text.asCStr()));
    return 1;
  }
  *out = number;
  return 0;
}

template <class Char, unsigned Limit>
ZuSubStringUpperOf<Char, Limit>::ZuSubStringUpperOf(const View* view)
    : view(view), length(view->getLength()) {}

template <class Char, unsigned Limit>
void ZuSubStringUpperOf<Char, Limit>::fill() {
  if (filled) return;
  zutext::moveChars(folded, view->asPascalStr(), length);
  strUpper(folded, length);
  filled = true;
}

template <class Char, unsigned Limit>
bool ZuSubStringUpperOf<Char, Limit>::isEqualUpper(const Char* p, unsigned long n) {
  if (n != length) return false;
  if (!filled) {
    if (view->isEqual(p, n)) return true;
    if (n > Limit) return view->isEqualCi(p, n);
    fill();
  }
  return n == 0 || std::memcmp(folded, p, n * sizeof(Char)) == 0;
}

#endif
