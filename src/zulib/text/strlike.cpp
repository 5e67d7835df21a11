#include "zulib/text/strlike.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "zulib/text/internal/quote.h"
#include "zulib/text/internal/walk.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/strtrim.h"

using namespace zutext;

namespace {

template <class Char>
struct Wildcards {
  Char many;
  Char single;
  Char escape;
};

// Every byte folded to itself: what a comparison with regard to case folds by.
constexpr std::array<unsigned char, 256> kAsTheyAre = [] {
  std::array<unsigned char, 256> bytes{};
  for (unsigned i = 0; i < 256; ++i) bytes[i] = static_cast<unsigned char>(i);
  return bytes;
}();

// The walk through the text: that of UTF-8 is a constant, so that the compiler knows what its tables say.
struct UTF8Text {
  static constexpr NarrowWalk walk{};  // NOLINT(readability-identifier-naming): a member of both forms
};
struct LocaleText {
  const NarrowWalk walk{zuCPLocale};
};

// What the match needs to know of narrow text.
template <class Source>
class NarrowText : private Source {
 public:
  using Char = unsigned char;

  explicit NarrowText(bool caseSensitive)
      : caseSensitive(caseSensitive), fold(caseSensitive ? kAsTheyAre.data() : walk.foldTable()) {}

  // Passes literal characters that are the same in both, as far as that takes no more than a look at the
  // tables. False when it ends at two that are surely not the same; else the place decides nothing.
  bool passSame(const Char*& v, const Char* vEnd, const Char*& p, const Char* pEnd,
                const Wildcards<Char>& wild) const {
    const Char* sizes = walk.sizeTable();
    if (walk.plainAscii()) {
      const auto left = static_cast<unsigned long>(std::min(vEnd - v, pEnd - p));
      const unsigned long same =
          left < 8 ? 0 : sameLiterals(v, p, left, {wild.many, wild.single, wild.escape});
      v += same;
      p += same;
    }
    while (v < vEnd && p < pEnd) {
      const Char c = *p;
      if (c == wild.many || c == wild.single || c == wild.escape) break;
      const unsigned char size = sizes[c];
      if (size == 1) {
        // In UTF-8 nothing longer folds into a single byte, so that the value's byte is one as well.
        if (!walk.isUTF8() && sizes[*v] != 1) break;
        if (fold[*v] != fold[c]) return false;
      } else if (!walk.isUTF8() || !sameBytes(v, vEnd, p, pEnd, size)) {
        break;
      }
      v += size;
      p += size;
    }
    return true;
  }

  const Char* next(const Char* p, const Char* end) const { return walk.next(p, end); }

  // The two characters are the same. One of several bytes is compared whole and never folded.
  bool equal(const Char* a, const Char* aEnd, const Char* b, const Char* bEnd) const {
    const unsigned long size = walk.step(b, static_cast<unsigned long>(bEnd - b));
    if (walk.step(a, static_cast<unsigned long>(aEnd - a)) != size) return false;
    return size == 1 ? fold[*a] == fold[*b] : std::memcmp(a, b, size) == 0;
  }

  // The first character of the value at or past `from` that equals the pattern's at `b`; null when none does.
  const Char* seek(const Char* from, const Char* end, const Char* b, const Char* bEnd) const {
    if (walk.plainFold() && *b < 0x80) return seekAscii(from, end, *b);
    const unsigned long size = walk.step(b, static_cast<unsigned long>(bEnd - b));
    if (size > 1) return findWhole(from, end, b, size);
    while (from < end && !equal(from, end, b, bEnd)) from = next(from, end);
    return from < end ? from : nullptr;
  }

 private:
  using Source::walk;

  // The first character of exactly these bytes.
  const Char* findWhole(const Char* from, const Char* end, const Char* b, unsigned long size) const {
    while (from < end) {
      from = find(walk, from, static_cast<unsigned long>(end - from), b, size);
      if (!from) break;
      const Char* after = next(from, end);
      if (after == from + size) return from;
      from = after;
    }
    return nullptr;
  }

  static bool sameBytes(const Char* a, const Char* aEnd, const Char* b, const Char* bEnd,
                        unsigned char size) {
    if (aEnd - a < size || bEnd - b < size) return false;
    for (unsigned char i = 0; i < size; ++i) {
      if (a[i] != b[i]) return false;
    }
    return true;
  }

  const Char* seekAscii(const Char* from, const Char* end, Char ch) const {
    const Char folded = walk.fold(ch);
    if (*from == ch) return from;
    if (caseSensitive || folded < 'A' || folded > 'Z') {
      return find(walk, from, static_cast<unsigned long>(end - from), ch);
    }
    while (from < end) {
      const Char* hit = findEither(from, end, folded, folded | 0x20);
      if (!hit) break;
      from = walk.reach(from, hit, end);
      if (from == hit) return hit;
    }
    return nullptr;
  }

  bool caseSensitive;
  const Char* fold;  // of single bytes
};

// What the match needs to know of UTF-16.
class WideText {
 public:
  using Char = unsigned short;

  explicit WideText(bool caseSensitive) : caseSensitive(caseSensitive) {}

  bool passSame(const Char*& v, const Char* vEnd, const Char*& p, const Char* pEnd,
                const Wildcards<Char>& wild) const {
    while (v < vEnd && p < pEnd && *v == *p && !isHigh(*p) && *p != wild.many && *p != wild.single &&
           *p != wild.escape) {
      ++v;
      ++p;
    }
    return true;
  }

  const Char* next(const Char* p, const Char* end) const { return WideWalk().next(p, end); }

  bool equal(const Char* a, const Char* aEnd, const Char* b, const Char* bEnd) const {
    const std::uint32_t x = codePointAt(a, static_cast<unsigned long>(aEnd - a));
    const std::uint32_t y = codePointAt(b, static_cast<unsigned long>(bEnd - b));
    return x == y || (!caseSensitive && upperPoint(x) == upperPoint(y));
  }

  const Char* seek(const Char* from, const Char* end, const Char* b, const Char* bEnd) const {
    while (from < end && !equal(from, end, b, bEnd)) from = next(from, end);
    return from < end ? from : nullptr;
  }

 private:
  bool caseSensitive;
};

// The two positions to go back to after a mismatch: past the last `many`, and where in the value it was.
template <class Char>
struct Restart {
  const Char* pattern = nullptr;
  const Char* value = nullptr;
};

template <class Text>
class Matcher {
 public:
  using Char = typename Text::Char;

  Matcher(const Text& text, const Wildcards<Char>& wild, const Char* valueEnd, const Char* patternEnd)
      : text(text), wild(wild), valueEnd(valueEnd), patternEnd(patternEnd) {}

  bool match(const Char* value, const Char* pattern) {
    v = value;
    p = pattern;
    for (;;) {
      const bool maybe = text.passSame(v, valueEnd, p, patternEnd, wild);
      if (v == valueEnd) break;
      if (maybe && p < patternEnd && *p == wild.many) {
        if (!passMany()) continue;
        if (p == patternEnd) return true;
        restart.pattern = p;
      } else if (maybe && p < patternEnd && *p == wild.single) {
        stepBoth();
        continue;
      } else if (maybe && matchLiteral()) {
        continue;
      } else {
        if (!restart.pattern) return false;
        p = restart.pattern;
        v = text.next(restart.value, valueEnd);
      }
      if (!seekRestart()) return false;
    }
    while (p < patternEnd && *p == wild.many) ++p;
    return p == patternEnd;
  }

 private:
  void stepBoth() {
    v = text.next(v, valueEnd);
    p = text.next(p, patternEnd);
  }

  // Steps over a run of `many`, and each `single` after it with a character of the value. False when the
  // pattern is then at `many` again.
  bool passMany() {
    while (p < patternEnd && *p == wild.many) ++p;
    while (p < patternEnd && *p == wild.single && v < valueEnd) {
      ++p;
      v = text.next(v, valueEnd);
    }
    return p == patternEnd || *p != wild.many;
  }

  // The character of the pattern that is to be matched literally: after the escape, if there is one at `at`.
  const Char* literal(const Char* at) const { return *at == wild.escape ? at + 1 : at; }

  bool matchLiteral() {
    if (p == patternEnd) return false;
    const Char* wanted = literal(p);
    if (wanted == patternEnd || !text.equal(v, valueEnd, wanted, patternEnd)) return false;
    p = wanted;
    stepBoth();
    return true;
  }

  // After `many` comes a literal (or a `single` that the value was too short for): goes on past the
  // next place in the value where it matches, so that the places between need not be tried. False when there
  // is none.
  bool seekRestart() {
    restart.value = v;
    if (v == valueEnd || *p == wild.single) return true;
    const Char* wanted = literal(p);
    if (wanted == patternEnd) return false;
    const Char* hit = text.seek(v, valueEnd, wanted, patternEnd);
    if (!hit) return false;
    restart.value = v = hit;
    p = wanted;
    stepBoth();
    return true;
  }

  const Text& text;
  const Wildcards<Char> wild;
  const Char* const valueEnd;
  const Char* const patternEnd;
  const Char* v = nullptr;
  const Char* p = nullptr;
  Restart<Char> restart;
};

template <class Source>
[[gnu::noinline]] bool likeIn(const unsigned char* value, const unsigned char* valueEnd,
                              const unsigned char* pattern, const unsigned char* patternEnd,
                              Wildcards<unsigned char> wild, bool caseSensitive) {
  using Text = NarrowText<Source>;
  const Text text(caseSensitive);
  return Matcher<Text>(text, wild, valueEnd, patternEnd).match(value, pattern);
}

enum class Answer { No, Yes, Open };

// What the first few characters of terminated UTF-8 tell before its length is known. As long as both are the
// same single ASCII characters, one difference decides, and so does a `many` that ends the pattern. Else the
// match begins where this ends. Reads nothing past a terminator: the value's differs from all that goes on.
Answer lookAtHead(const unsigned char*& value, const unsigned char*& pattern, Wildcards<unsigned char> wild,
                  bool caseSensitive) {
  const unsigned char* fold = caseSensitive ? kAsTheyAre.data() : kAsciiUpper.data();
  constexpr int kFew = 16;
  for (int i = 0; i < kFew; ++i, ++value, ++pattern) {
    const unsigned char c = *pattern;
    if (c == wild.many) return pattern[1] == 0 && c != 0 ? Answer::Yes : Answer::Open;
    if (c == 0 || c >= 0x80 || c == wild.single || c == wild.escape) return Answer::Open;
    if (fold[c] != fold[*value]) return Answer::No;
  }
  return Answer::Open;
}

// Inline, so that the terminated form does not hand over ten arguments twice.
inline bool like(const unsigned char* value, unsigned long valueLen, const unsigned char* pattern,
                 unsigned long patternLen, Wildcards<unsigned char> wild, int caseSensitive, int keepBlanks,
                 zuCPType cp) {
  if (keepBlanks == 0) {
    valueLen = strRightTrim(value, valueLen, cp);
    patternLen = strRightTrim(pattern, patternLen, cp);
  }
  const unsigned char* valueEnd = value + valueLen;
  const unsigned char* patternEnd = pattern + patternLen;
  if (cp == zuCPUTF8) return likeIn<UTF8Text>(value, valueEnd, pattern, patternEnd, wild, caseSensitive != 0);
  return likeIn<LocaleText>(value, valueEnd, pattern, patternEnd, wild, caseSensitive != 0);
}

}  // namespace

bool strLike(const unsigned char* value, unsigned long valueLen, const unsigned char* pattern,
             unsigned long patternLen, unsigned char many, unsigned char single, unsigned char escape,
             int caseSensitive, int keepBlanks, zuCPType cp) {
  return like(value, valueLen, pattern, patternLen, {many, single, escape}, caseSensitive, keepBlanks, cp);
}

bool strLike(const unsigned char* value, const unsigned char* pattern, unsigned char many,
             unsigned char single, unsigned char escape, int caseSensitive, int keepBlanks, zuCPType cp) {
  if (cp == zuCPUTF8 && keepBlanks != 0) {
    const Answer answer = lookAtHead(value, pattern, {many, single, escape}, caseSensitive != 0);
    if (answer != Answer::Open) return answer == Answer::Yes;
  }
  return like(value, lengthOf(value), pattern, lengthOf(pattern), {many, single, escape}, caseSensitive,
              keepBlanks, cp);
}

bool strLike(const unsigned short* value, unsigned long valueLen, const unsigned short* pattern,
             unsigned long patternLen, unsigned short many, unsigned short single, unsigned short escape,
             int caseSensitive, int keepBlanks) {
  if (keepBlanks == 0) {
    valueLen = strRightTrim(value, valueLen);
    patternLen = strRightTrim(pattern, patternLen);
  }
  const WideText text(caseSensitive != 0);
  return Matcher<WideText>(text, {many, single, escape}, value + valueLen, pattern + patternLen)
      .match(value, pattern);
}
