// What the owning string of zustringof.h does. zustring.cpp and zustringw.cpp each instantiate it for one
// width.

#ifndef ZULIB_TEXT_INTERNAL_STRINGDEFS_H
#define ZULIB_TEXT_INTERNAL_STRINGDEFS_H

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "zulib/runtime/ram.h"
#include "zulib/runtime/zuhooks.h"
#include "zulib/text/internal/quote.h"
#include "zulib/text/zustringof.h"

namespace zutext {

template <class Char>
constexpr unsigned long kMostCharacters = static_cast<unsigned long>(-1) / 2 / sizeof(Char);

inline int outOfMemory() {
  ramAddMemoryError();
  return 1;
}

// Text that stays where it is while a string is edited: a copy if `copyIt`.
template <class Char>
class StableText {
 public:
  StableText(const Char* p, unsigned long n, bool copyIt)
      : copy(copyIt ? static_cast<Char*>(ramAlloc(n * sizeof(Char))) : nullptr), text(copyIt ? copy : p) {
    failed = copyIt && !copy;
    if (copy) moveChars(copy, p, n);
  }
  StableText(const StableText&) = delete;
  StableText& operator=(const StableText&) = delete;
  ~StableText() { std::free(copy); }

  const Char* get() const { return text; }
  bool hasFailed() const { return failed; }

 private:
  Char* copy;
  const Char* text;
  bool failed;
};

// Follows the quoted zones of a text. A zone opens with any of three quotes and ends at the same one; without
// a first quote there are no zones.
template <class Char>
class Zones {
 public:
  Zones(Char q1, Char q2, Char q3) : q1(q1), q2(q2), q3(q3) {}

  // Takes the next character, which begins with `ch`; true if it lies outside all zones and opens none.
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

}  // namespace zutext

// ---- memory ----

template <class Char>
ZuStringOf<Char>::~ZuStringOf() {
  if (owned) std::free(data);
}

// A fresh block with the text and a terminator becomes the string's.
template <class Char>
int ZuStringOf<Char>::copyText(const Char* p, unsigned long n, unsigned long newCapacity) {
  if (newCapacity == 0 || newCapacity > zutext::kMostCharacters<Char>) return zutext::outOfMemory();
  auto* block = static_cast<Char*>(ramAlloc(newCapacity * sizeof(Char)));
  if (!block) return 1;
  *zutext::moveChars(block, p, n) = 0;
  setBuffer(block, newCapacity, n, 1);
  return 0;
}

template <class Char>
void ZuStringOf<Char>::setBuffer(Char* p, unsigned long newCapacity, unsigned long newLength,
                                 unsigned newOwned) {
  data = p;
  capacity = newCapacity;
  owned = newOwned;
  this->setLength(newLength);
}

template <class Char>
int ZuStringOf<Char>::initialize(const Char* terminated) {
  return initialize(terminated, zutext::lengthOf(terminated));
}

template <class Char>
int ZuStringOf<Char>::initialize(const Char* p, unsigned long n) {
  return initialize(View(p, n));
}

template <class Char>
int ZuStringOf<Char>::initialize(const View& view) {
  if (copyText(view.asPascalStr(), view.getLength(), view.getLength() + 1)) return 1;
  this->takeCodePage(view);
  return 0;
}

template <class Char>
int ZuStringOf<Char>::initialize(unsigned long n) {
  if (copyText(nullptr, 0, n + 1)) return 1;
  this->takeCodePage({});
  return 0;
}

template <class Char>
void ZuStringOf<Char>::initializeWithBuffer(Char* p, unsigned long newCapacity, unsigned long newLength) {
  setBuffer(p, newCapacity, newLength, 0);
  this->takeCodePage({});
}

template <class Char>
void ZuStringOf<Char>::initializeTakeBuffer(Char* p, unsigned long newCapacity, unsigned long newLength) {
  setBuffer(p, newCapacity, newLength, 1);
  this->takeCodePage({});
}

template <class Char>
void ZuStringOf<Char>::unInitialize() {
  if (owned) std::free(data);
  setBuffer(nullptr, 0, 0, owned);
}

template <class Char>
int ZuStringOf<Char>::assureSpace(unsigned long n) {
  if (isEnoughSpace(n)) return 0;
  constexpr unsigned long kMost = zutext::kMostCharacters<Char>;
  if (n >= kMost || length >= kMost - n) return zutext::outOfMemory();
  return resize(length + n + 1);
}

template <class Char>
int ZuStringOf<Char>::resize(unsigned long newCapacity) {
  if (!owned && data) {
    zuhooks::report(ZU_MSG_BORROWED_BUFFER_FULL);
    return 1;
  }
  if (newCapacity > zutext::kMostCharacters<Char>) return zutext::outOfMemory();
  // `realloc` frees a block that is to have no bytes, so a capacity of 0 keeps one character.
  const unsigned long bytes = std::max(newCapacity, 1ul) * sizeof(Char);
  void* block = data;
  if (!block) {
    block = ramAlloc(bytes);
    if (!block) return 1;
    owned = 1;
  } else if (ramResize(&block, bytes)) {
    return 1;
  }
  data = static_cast<Char*>(block);
  capacity = newCapacity;
  if (length >= newCapacity) length = newCapacity == 0 ? 0 : newCapacity - 1;
  return 0;
}

template <class Char>
int ZuStringOf<Char>::trim() {
  if (!data) return 0;
  if (owned) return resize(length + 1);
  if (capacity > length) capacity = length + 1;
  return 0;
}

template <class Char>
bool ZuStringOf<Char>::isInside(const Char* p) const {
  return data && p >= data && p < data + capacity;
}

// Makes room for `n` more characters and returns where `p` is then, which may lie in the string's own block.
// Whether there is room has to be tested with `isEnoughSpace`.
template <class Char>
const Char* ZuStringOf<Char>::grown(unsigned long n, const Char* p) {
  const bool inside = isInside(p);
  const auto offset = inside ? p - data : 0;
  return assureSpace(n) == 0 && inside ? data + offset : p;
}

template <class Char>
Char* ZuStringOf<Char>::asCStr(unsigned long offset) {
  if (assureSpace(0)) return nullptr;
  data[length] = 0;
  return data + offset;
}

// ---- editing ----

template <class Char>
int ZuStringOf<Char>::clearAndSet(const View& view) {
  const Char* p = view.asPascalStr();
  const unsigned long n = view.getLength();
  const unsigned long before = length;
  if (isInside(p)) {
    zutext::moveChars(data, p, n);
  } else {
    length = 0;
    if (concat(p, n)) {
      length = before;
      return 1;
    }
  }
  clear();
  length = n;
  return 0;
}

template <class Char>
int ZuStringOf<Char>::concat(const Char* terminated) {
  return concat(terminated, zutext::lengthOf(terminated));
}

template <class Char>
int ZuStringOf<Char>::concat(const Char* p, unsigned long n) {
  p = grown(n, p);
  if (!isEnoughSpace(n)) return 1;
  zutext::moveChars(data + length, p, n);
  length += n;
  return 0;
}

template <class Char>
template <class Number>
int ZuStringOf<Char>::concatNumber(Number number) {
  constexpr unsigned long kLeastRoom = 15;
  char digits[24];
  const auto n =
      static_cast<unsigned long>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits);
  if (assureSpace(std::max(n, kLeastRoom))) return 1;
  std::copy(digits, digits + n, data + length);
  length += n;
  return 0;
}

template <class Char>
int ZuStringOf<Char>::concat(unsigned long number) {
  return concatNumber(number);
}

template <class Char>
int ZuStringOf<Char>::concat(long number) {
  return concatNumber(number);
}

template <class Char>
int ZuStringOf<Char>::change(unsigned long offset, unsigned long oldLength, const Char* p,
                             unsigned long newLength) {
  if (offset > length || oldLength > length - offset) return 1;
  if (p && newLength == 0) newLength = zutext::lengthOf(p);
  const zutext::StableText<Char> text(p, newLength, isInside(p));
  if (text.hasFailed()) return 1;
  // A shorter text makes room for the terminator by itself.
  if (newLength >= oldLength && assureSpace(newLength - oldLength)) return 1;
  // Only the low 16 bits of both lengths count, as those who store such texts rely on: 65535 is the limit.
  const auto tail = static_cast<unsigned short>(length - offset - oldLength);
  Char* place = data + offset;
  if (newLength != oldLength) zutext::moveChars(place + newLength, place + oldLength, tail);
  if (p) zutext::moveChars(place, text.get(), static_cast<unsigned short>(newLength));
  length = length - oldLength + newLength;
  data[length] = 0;
  return 0;
}

template <class Char>
int ZuStringOf<Char>::replaceSubString(const Char* pat, unsigned long patLength, const Char* text,
                                       unsigned long textLength) {
  const auto steps = this->walk();
  if (!text) textLength = 0;
  const auto nextHit = [&](const Char* from, const Char* end) {
    return zutext::find(steps, from, static_cast<unsigned long>(end - from), pat, patLength);
  };
  unsigned long hits = 0;
  for (const Char* hit = nextHit(data, data + length); hit; hit = nextHit(hit + patLength, data + length))
    ++hits;
  if (hits == 0) return 0;
  const zutext::StableText<Char> pattern(pat, patLength, isInside(pat));
  const zutext::StableText<Char> replacement(text, textLength, isInside(text));
  if (pattern.hasFailed() || replacement.hasFailed()) return 1;
  pat = pattern.get();
  // The text moves up by all that it will grow, and is then written anew from the start in one pass.
  const unsigned long growth = textLength > patLength ? textLength - patLength : 0;
  if (growth && hits > zutext::kMostCharacters<Char> / growth) return zutext::outOfMemory();
  if (assureSpace(hits * growth)) return 1;
  const Char* from = data + hits * growth;
  const Char* const end = zutext::moveChars(data + hits * growth, data, length);
  Char* out = data;
  while (const Char* hit = nextHit(from, end)) {
    out = zutext::moveChars(out, from, static_cast<unsigned long>(hit - from));
    out = zutext::moveChars(out, replacement.get(), textLength);
    from = hit + patLength;
  }
  out = zutext::moveChars(out, from, static_cast<unsigned long>(end - from));
  *out = 0;
  length = static_cast<unsigned long>(out - data);
  return 0;
}

template <class Char>
int ZuStringOf<Char>::replaceSubString(const Char* pat, const Char* text, unsigned long textLength) {
  return replaceSubString(pat, zutext::lengthOf(pat), text, textLength);
}

template <class Char>
int ZuStringOf<Char>::replaceSubString(const Char* pat, const Char* text) {
  return replaceSubString(pat, text, text ? zutext::lengthOf(text) : 0);
}

template <class Char>
int ZuStringOf<Char>::replaceSubString(const View& view, const Char* p, unsigned long n) {
  if (view.asPascalStr() < data || view.asPascalStr() > data + length) return 1;
  return change(static_cast<unsigned long>(view.asPascalStr() - data), view.getLength(), p, n);
}

// ---- quotes and lines ----

template <class Char>
int ZuStringOf<Char>::addQuotes(Char quote) {
  const auto steps = this->walk();
  const zutext::StableText<Char> text(data, length, true);
  if (text.hasFailed() || assureSpace(zutext::countQuotes(text.get(), length, steps, quote) + 2)) return 1;
  length = static_cast<unsigned long>(zutext::writeQuoted(data, text.get(), length, steps, quote) - data);
  return 0;
}

template <class Char>
void ZuStringOf<Char>::removeQuotes() {
  if (!data || capacity == 0) return;
  length = static_cast<unsigned long>(zutext::writeUnquoted(data, data, length, this->walk()) - data);
}

template <class Char>
int ZuStringOf<Char>::addQuoted(const View& view, Char quote) {
  const auto steps = view.walk();
  const unsigned long n = view.getLength();
  const unsigned long room = n + zutext::countQuotes(view.asPascalStr(), n, steps, quote) + 2;
  const Char* p = grown(room, view.asPascalStr());
  if (!isEnoughSpace(room)) return 1;
  length = static_cast<unsigned long>(zutext::writeQuoted(data + length, p, n, steps, quote) - data);
  return 0;
}

template <class Char>
int ZuStringOf<Char>::forceEol(unsigned long n) {
  unsigned long present = 0;
  while (present < n && present < length && data[length - 1 - present] == '\n') ++present;
  if (present == n) return 0;
  if (assureSpace(n - present)) return 1;
  for (; present < n; ++present) data[length++] = '\n';
  return 0;
}

// A line feed takes the place of the blank, so the text keeps its length.
template <class Char>
int ZuStringOf<Char>::insertLineBreaks(unsigned long width, Char q1, Char q2, Char q3) {
  if (length <= width) return 0;
  zutext::Zones<Char> zones(q1, q2, q3);
  const auto steps = this->walk();
  unsigned long lineStart = 0;
  unsigned long lastBlank = 0;  // a break point if it lies past the line's start
  for (unsigned long i = 0; i < length;) {
    if (zones.isOutside(data[i]) && data[i] == ' ') lastBlank = i;
    i += steps.step(&data[i], length - i);
    if (i - lineStart > width && lastBlank > lineStart) {
      data[lastBlank] = '\n';
      lineStart = lastBlank + 1;
    }
  }
  return 0;
}

// Drops each run of characters for which `isDropped` holds outside zones. One blank replaces a run, but not
// at the end.
template <class Char>
template <class IsDropped>
int ZuStringOf<Char>::dropRuns(Char q1, Char q2, Char q3, IsDropped isDropped) {
  zutext::Zones<Char> zones(q1, q2, q3);
  const auto steps = this->walk();
  const unsigned long n = length;
  Char* out = data;
  for (unsigned long i = 0; i < n;) {
    if (zones.isOutside(data[i]) && isDropped(data[i])) {
      ++i;
      if (i < n && data[i] != 0 && !isDropped(data[i])) *out++ = ' ';
      continue;
    }
    const unsigned long size = steps.step(data + i, n - i);
    out = zutext::putChars(out, data + i, size);
    i += size;
  }
  length = static_cast<unsigned long>(out - data);
  return 0;
}

template <class Char>
int ZuStringOf<Char>::removeLineBreaks(Char q1, Char q2, Char q3) {
  return dropRuns(q1, q2, q3, [](Char ch) { return ch == '\n'; });
}

template <class Char>
int ZuStringOf<Char>::removeTabs(Char q1, Char q2, Char q3) {
  return dropRuns(q1, q2, q3, [](Char ch) { return ch == '\t'; });
}

template <class Char>
int ZuStringOf<Char>::removeLineFeeds(Char q1, Char q2, Char q3) {
  return dropRuns(q1, q2, q3, [](Char ch) { return ch == '\n' || ch == '\r'; });
}

#endif
