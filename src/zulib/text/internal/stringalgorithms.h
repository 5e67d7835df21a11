// What the two owning strings do, once for both kinds: memory and editing. The operations on whole texts
// (quotes, lines) are in textalgorithms.h.

#ifndef ZULIB_TEXT_INTERNAL_STRINGALGORITHMS_H
#define ZULIB_TEXT_INTERNAL_STRINGALGORITHMS_H

#include <charconv>
#include <cstdlib>

#include "zulib/runtime/ram.h"
#include "zulib/text/internal/report.h"
#include "zulib/text/internal/stringkinds.h"

namespace zutext {

// Text that stays where it is while a string is edited: a copy when it lies in that string's own block.
template <class Char>
class StableText {
 public:
  StableText(const Char* p, unsigned long n, bool copyIt) : text(p) {
    if (!copyIt) return;
    copy = static_cast<Char*>(ramAlloc(n * sizeof(Char)));
    if (copy != nullptr) moveChars(copy, p, n);
    text = copy;
    failed = copy == nullptr;
  }
  StableText(const StableText&) = delete;
  StableText& operator=(const StableText&) = delete;
  ~StableText() { std::free(copy); }

  const Char* get() const { return text; }
  bool hasFailed() const { return failed; }

 private:
  const Char* text;
  Char* copy = nullptr;
  bool failed = false;
};

template <class Kind>
struct StringAlgorithms {
  using Char = typename Kind::Char;
  using View = typename Kind::View;
  using String = typename Kind::String;

  static constexpr unsigned long mostElements = static_cast<unsigned long>(-1) / 2 / sizeof(Char);

  // A fresh block with the text and a terminator becomes the string's; the one it had is not freed.
  static int initialize(String& s, const Char* p, unsigned long n, unsigned long capacity) {
    if (n >= mostElements || capacity > mostElements) return memoryIsGone();
    auto* block = static_cast<Char*>(ramAlloc(capacity * sizeof(Char)));
    if (block == nullptr) return 1;
    moveChars(block, p, n);
    block[n] = 0;
    setBuffer(s, block, capacity, n, 1);
    return 0;
  }

  static void setBuffer(String& s, Char* p, unsigned long capacity, unsigned long length, unsigned owned) {
    s.data = p;
    s.capacity = capacity;
    s.owned = owned;
    setLength(s, length);
  }

  // A length that is a new beginning; the narrow kind keeps a second record of it.
  static void setLength(String& s, unsigned long length) {
    s.length = length;
    if constexpr (Kind::hasCodePage) s.initialLength = length;
  }

  static void unInitialize(String& s) {
    if (s.owned != 0) std::free(s.data);
    setBuffer(s, nullptr, 0, 0, s.owned);
  }

  static bool isEnoughSpace(const String& s, unsigned long n) {
    return s.data != nullptr && s.capacity > s.length && s.capacity - s.length > n;
  }

  static int assureSpace(String& s, unsigned long n) {
    if (isEnoughSpace(s, n)) return 0;
    if (n >= mostElements || s.length >= mostElements - n) return memoryIsGone();
    return resize(s, s.length + n + 1);
  }

  static int resize(String& s, unsigned long capacity) {
    if (s.owned == 0 && s.data != nullptr) {
      reportBorrowedBuffer();
      return 1;
    }
    if (capacity > mostElements) return memoryIsGone();
    // `realloc` frees a block that shall have no bytes, so a capacity of 0 keeps one element.
    const unsigned long bytes = (capacity == 0 ? 1 : capacity) * sizeof(Char);
    void* block = s.data;
    if (block == nullptr) {
      block = ramAlloc(bytes);
      if (block == nullptr) return 1;
      s.owned = 1;
    } else if (ramResize(&block, bytes)) {
      return 1;
    }
    s.data = static_cast<Char*>(block);
    s.capacity = capacity;
    if (s.length >= capacity) s.length = capacity == 0 ? 0 : capacity - 1;
    return 0;
  }

  static int trim(String& s) {
    if (s.data == nullptr) return 0;
    if (s.owned != 0) return resize(s, s.length + 1);
    if (s.capacity > s.length) s.capacity = s.length + 1;
    return 0;
  }

  static bool isInside(const String& s, const Char* p) {
    return s.data != nullptr && p >= s.data && p < s.data + s.capacity;
  }

  // Makes room for `n` more elements and answers where `p` is then, should it lie in the string's own block.
  // That there is room now has to be tested with `isEnoughSpace`.
  static const Char* grown(String& s, unsigned long n, const Char* p) {
    const bool inside = isInside(s, p);
    const auto offset = inside ? p - s.data : 0;
    if (assureSpace(s, n) == 0 && inside) return s.data + offset;
    return p;
  }

  static int append(String& s, const Char* p, unsigned long n) {
    p = grown(s, n, p);
    if (!isEnoughSpace(s, n)) return 1;
    moveChars(s.data + s.length, p, n);
    s.length += n;
    return 0;
  }

  static int clearAndSet(String& s, const Char* p, unsigned long n) {
    const unsigned long before = s.length;
    if (isInside(s, p)) {
      moveChars(s.data, p, n);
    } else {
      s.length = 0;
      if (append(s, p, n)) {
        s.length = before;
        return 1;
      }
    }
    setLength(s, 0);
    s.length = n;
    return 0;
  }

  template <class Number>
  static int appendNumber(String& s, Number number) {
    constexpr unsigned long leastRoom = 15;
    char digits[24];
    const auto n =
        static_cast<unsigned long>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits);
    if (assureSpace(s, n > leastRoom ? n : leastRoom)) return 1;
    for (unsigned long i = 0; i < n; ++i) s.data[s.length++] = static_cast<Char>(digits[i]);
    return 0;
  }

  static int change(String& s, unsigned long offset, unsigned long oldLength, const Char* p,
                    unsigned long newLength) {
    if (offset > s.length || oldLength > s.length - offset) return 1;
    if (p != nullptr && newLength == 0) newLength = Kind::length(p);
    const StableText<Char> text(p, newLength, isInside(s, p));
    if (text.hasFailed()) return 1;
    // A shorter text makes room for the terminator by itself.
    const bool shrinks = s.data != nullptr && newLength < oldLength;
    if (!shrinks && assureSpace(s, newLength - oldLength)) return 1;
    // Only the low 16 bits of both lengths count, as those who store such texts rely on: 65535 is the limit.
    const auto tail = static_cast<unsigned short>(s.length - offset - oldLength);
    Char* place = s.data + offset;
    if (newLength != oldLength) moveChars(place + newLength, place + oldLength, tail);
    if (p != nullptr) moveChars(place, text.get(), static_cast<unsigned short>(newLength));
    s.length = s.length - oldLength + newLength;
    s.data[s.length] = 0;
    return 0;
  }

  static int replaceAll(String& s, const Char* pat, unsigned long m, const Char* p, unsigned long n) {
    const auto steps = Kind::steps(s);
    if (p == nullptr) n = 0;
    const unsigned long hits = countHits(s, steps, pat, m);
    if (hits == 0) return 0;
    const StableText<Char> pattern(pat, m, isInside(s, pat));
    const StableText<Char> text(p, n, isInside(s, p));
    if (pattern.hasFailed() || text.hasFailed()) return 1;
    // The text moves up by all that it will grow, and is then written anew from the start in one pass.
    if (n > m && hits > mostElements / (n - m)) return memoryIsGone();
    const unsigned long more = n > m ? hits * (n - m) : 0;
    if (assureSpace(s, more)) return 1;
    moveChars(s.data + more, s.data, s.length);
    const Char* from = s.data + more;
    const Char* end = from + s.length;
    Char* out = s.data;
    while (const Char* hit =
               Kind::find(steps, from, static_cast<unsigned long>(end - from), pattern.get(), m)) {
      out = moved(out, from, static_cast<unsigned long>(hit - from));
      out = moved(out, text.get(), n);
      from = hit + m;
    }
    out = moved(out, from, static_cast<unsigned long>(end - from));
    *out = 0;
    s.length = static_cast<unsigned long>(out - s.data);
    return 0;
  }

  static int memoryIsGone() {
    ramAddMemoryError();
    return 1;
  }

 private:
  static unsigned long countHits(const String& s, const typename Kind::Steps& steps, const Char* pat,
                                 unsigned long m) {
    unsigned long hits = 0;
    const Char* from = s.data;
    const Char* end = from + s.length;
    while (from != end) {
      const Char* hit = Kind::find(steps, from, static_cast<unsigned long>(end - from), pat, m);
      if (hit == nullptr) break;
      ++hits;
      from = hit + m;
    }
    return hits;
  }

  static Char* moved(Char* out, const Char* p, unsigned long n) {
    moveChars(out, p, n);
    return out + n;
  }
};

}  // namespace zutext

#endif
