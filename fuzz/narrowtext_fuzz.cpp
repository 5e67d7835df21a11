// Steps, search, folding, comparison, quoting, trimming and LIKE on narrow text, beside models that cut the
// text into characters and look at nothing else.

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>

#include "fuzz/text/plaintext.h"
#include "zulib/text/zuchar.h"
#include "zulib/text/zudbcs.h"
#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

namespace narrowtext {

using namespace texttest;

template <class Expected, class Actual>
void same(const Expected& expected, const Actual& actual) {
  if (!(expected == actual)) std::abort();
}

using Characters = std::vector<std::string>;

// A single byte folded by the library; longer characters stay.
std::string foldedSingle(const std::string& character) {
  if (character.size() != 1) return character;
  unsigned char scratch[2] = {static_cast<unsigned char>(character[0]), 0};
  strUpper(scratch);
  return text(scratch, 1);
}

int sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

// The first offset at a character start of `pattern`; -1 if there is none.
long plainFind(const std::string& s, const std::string& pattern, zuCPType cp) {
  if (pattern.empty()) return -1;
  for (unsigned long i = 0; i < s.size(); i += plainSize(s, i, cp)) {
    if (s.compare(i, pattern.size(), pattern) == 0) return static_cast<long>(i);
  }
  return -1;
}

long at(const unsigned char* base, const unsigned char* hit) { return hit == nullptr ? -1 : hit - base; }

void find(const std::string& s, const std::string& pattern, zuCPType cp) {
  const ExactBytes exact(s);
  const ExactBytes part(pattern);
  same(plainFind(s, pattern, cp),
       at(exact.get(), strFind(exact.get(), exact.size(), part.get(), part.size(), cp)));
  same(plainFind(s, "_", cp), at(bytes(s), strFind(bytes(s), '_', cp)));
  long last = -1;
  for (unsigned long i = 0; i < s.size(); i += plainSize(s, i, cp)) {
    if (s[i] == 'a') last = static_cast<long>(i);
  }
  same(last, at(bytes(s), strFindReverse(bytes(s), 'a', cp)));
  same(last, at(bytes(s), strFind(bytes(s), 'a', strFindFirst, cp)));
}

void findCi(const std::string& s, const std::string& pattern, zuCPType cp) {
  std::string upper = pattern;
  std::string lower = pattern;
  std::string folded = s;
  strUpper(reinterpret_cast<unsigned char*>(upper.data()), upper.size());
  strLower(reinterpret_cast<unsigned char*>(lower.data()), lower.size());
  strUpper(reinterpret_cast<unsigned char*>(folded.data()), folded.size());
  const ExactBytes exact(s);
  const ExactBytes part(pattern);
  same(plainFind(folded, upper, cp),
       at(exact.get(), strFindCi(exact.get(), exact.size(), part.get(), part.size(), cp)));

  long expected = -1;
  for (unsigned long i = 0; i + pattern.size() <= s.size() && !pattern.empty() && expected < 0;) {
    const unsigned long size = plainSize(s, i, cp);
    bool matches = cp == zuCPSingleByte || size == 1;
    for (unsigned long k = 0; k < pattern.size() && matches; ++k) {
      matches = s[i + k] == upper[k] || s[i + k] == lower[k];
    }
    if (matches) expected = static_cast<long>(i);
    i += cp == zuCPSingleByte ? 1 : size;
  }
  same(expected,
       at(exact.get(), strFindCi(exact.get(), exact.size(), bytes(upper), bytes(lower), pattern.size(), cp)));
}

void fold(const std::string& s) {
  // Folding always reads the locale, whole characters at a time.
  std::string expected;
  for (unsigned long i = 0; i < s.size();) {
    wchar_t wide;
    const int size = std::mbtowc(&wide, s.c_str() + i, s.size() - i);
    std::string character = s.substr(i, size < 1 ? 1 : static_cast<unsigned long>(size));
    if (size < 1) std::mbtowc(nullptr, nullptr, 0);
    char folded[MB_LEN_MAX];
    if (size > 0 &&
        std::wctomb(folded, static_cast<wchar_t>(javaToUpper(static_cast<std::uint32_t>(wide)))) == size) {
      character.assign(folded, static_cast<unsigned long>(size));
    }
    expected += character;
    i += character.size();
  }
  const ExactBytes exact(s);
  strUpper(exact.get(), exact.size());
  same(expected, text(exact.get(), exact.size()));
}

void compareCi(const std::string& s, const std::string& t, zuCPType cp) {
  // The first text decides how many bytes a step takes.
  int expected = 0;
  const unsigned long common = std::min(s.size(), t.size());
  for (unsigned long i = 0; i < common && expected == 0;) {
    const unsigned long size = std::min(plainSize(s.substr(0, common), i, cp), common - i);
    const std::string a = s.substr(i, size);
    const std::string b = t.substr(i, size);
    if (a != b) {
      const bool fold = size == 1 && (cp != zuCPUTF8 || (a[0] >= 0 && b[0] >= 0));
      expected = sign((fold ? foldedSingle(a) : a).compare(fold ? foldedSingle(b) : b));
    }
    i += size;
  }
  if (expected == 0) expected = s.size() < t.size() ? -1 : s.size() > t.size() ? 1 : 0;
  const ExactBytes a(s);
  const ExactBytes b(t);
  same(expected, strCompareCi(a.get(), a.size(), b.get(), b.size(), cp));
  same(expected, strCompareCi(bytes(s), bytes(t), cp));
  same(expected == 0, strEqualCi(a.get(), a.size(), b.get(), b.size(), cp));
  same(expected == 0, strEqualCi(bytes(s), bytes(t), cp));
}

void quote(const std::string& s, zuCPType cp) {
  std::string expected = "'";
  std::string whole;
  const Characters characters = plainCharacters(s, cp);
  for (size_t i = 0; i < characters.size(); ++i) {
    // Only the last can be cut by the count, and is then dropped.
    const unsigned long full = zuCharSize(bytes(characters[i] + "\xA2\xA2\xA2"), cp);
    if (i + 1 == characters.size() && cp != zuCPSingleByte && full > characters[i].size()) break;
    expected += characters[i] == "'" ? "''" : characters[i];
    whole += characters[i];
  }
  expected += "'";
  std::vector<unsigned char> out(2 * s.size() + 3, 'x');
  const ExactBytes exact(s);
  const unsigned char* end = strCopyQuoted(out.data(), exact.get(), exact.size(), cp, '\'');
  same(expected, text(out.data()));
  same(out.data() + expected.size(), end);

  std::vector<unsigned char> copy(whole.size() + 1);
  strCopyUnquoted(copy.data(), out.data(), expected.size(), cp);
  same(whole, text(copy.data()));
  const ExactBytes inPlace(expected);
  const unsigned long n = strRemoveQuotes(inPlace.get(), inPlace.size(), '\'', cp);
  same(whole, text(inPlace.get(), n));
}

void trim(const std::string& s, const std::string& more, zuCPType cp) {
  for (const std::string& subject : {s, s + " \t", s + more + "   "}) {
    unsigned long white = 0;
    unsigned long blank = 0;
    for (unsigned long i = 0; i < subject.size();) {
      const unsigned long size = plainSize(subject, i, cp);
      if (!zuIsWhiteSpace(bytes(subject) + i, cp)) white = i + size;
      if (subject[i] != ' ') blank = i + size;
      i += size;
    }
    const ExactBytes exact(subject);
    same(white, strRightTrim(exact.get(), exact.size(), cp));
    same(blank, strRightTrimBlanks(exact.get(), exact.size(), cp));
  }
}

// ---- LIKE: tries every split, character by character ----

enum class Kind { Many, Single, Literal, Never };

struct Piece {
  Kind kind;
  std::string character;
};

std::string folded(const std::string& character, bool caseSensitive, zuCPType cp) {
  if (caseSensitive || character.size() != 1 || (cp == zuCPUTF8 && character[0] < 0)) return character;
  unsigned char scratch[2] = {static_cast<unsigned char>(character[0]), 0};
  strUpper(scratch);
  return text(scratch, 1);
}

std::vector<Piece> parse(const std::string& pattern, bool caseSensitive, zuCPType cp) {
  std::vector<Piece> pieces;
  const auto characters = plainCharacters(pattern, cp);
  for (size_t i = 0; i < characters.size(); ++i) {
    if (characters[i] == "%") {
      pieces.push_back({Kind::Many, ""});
    } else if (characters[i] == "_") {
      pieces.push_back({Kind::Single, ""});
    } else if (characters[i] != "\\" || ++i < characters.size()) {
      pieces.push_back({Kind::Literal, folded(characters[i], caseSensitive, cp)});
    } else {
      pieces.push_back({Kind::Never, ""});
    }
  }
  return pieces;
}

bool plainLike(const std::vector<std::string>& value, const std::vector<Piece>& pattern) {
  // can[i] tells whether the first i characters match the pieces so far.
  std::vector<char> can(value.size() + 1, 0);
  can[0] = 1;
  for (const Piece& piece : pattern) {
    std::vector<char> next(value.size() + 1, 0);
    for (size_t i = 0; i <= value.size(); ++i) {
      if (piece.kind == Kind::Many) {
        next[i] = can[i] || (i > 0 && next[i - 1]);
      } else if (i > 0 && can[i - 1]) {
        next[i] =
            piece.kind == Kind::Single || (piece.kind == Kind::Literal && piece.character == value[i - 1]);
      }
    }
    can = next;
  }
  return can[value.size()] != 0;
}

// Returns whether the pattern matches.
bool like(const std::string& value, const std::string& pattern, bool caseSensitive, zuCPType cp) {
  auto characters = plainCharacters(value, cp);
  for (std::string& character : characters) character = folded(character, caseSensitive, cp);
  const bool expected = plainLike(characters, parse(pattern, caseSensitive, cp));
  const ExactBytes v(value);
  const ExactBytes p(pattern);
  same(expected, strLike(v.get(), v.size(), p.get(), p.size(), '%', '_', '\\', caseSensitive, 1, cp));
  same(expected, strLike(bytes(value), bytes(pattern), '%', '_', '\\', caseSensitive, 1, cp));
  // UTF-16 says the same of valid text.
  ZuStringW wideValue, widePattern;
  const bool valid = cp == zuCPUTF8 && caseSensitive && wideValue.initialize(v.get(), v.size(), cp) == 0 &&
                     widePattern.initialize(p.get(), p.size(), cp) == 0;
  if (valid) {
    same(expected, strLike(wideValue.asPascalStr(), wideValue.getLength(), widePattern.asPascalStr(),
                           widePattern.getLength(), u'%', u'_', u'\\', 1, 1));
  }
  return expected;
}

void step(const std::string& s, zuCPType cp) {
  const Characters characters = plainCharacters(s, cp);
  const ExactBytes exact(s);
  same(characters.size(), zuCharLen(exact.get(), exact.size(), cp));
  same(characters.size(), zuCharLen(bytes(s), cp));
  const unsigned long last = s.size() - (characters.empty() ? 0 : characters.back().size());
  same(last, zuCharLast(exact.get(), exact.size(), cp));
  same(bytes(s) + last, zuCharLast(bytes(s), cp));
  if (cp != zuCPLocale) return;
  unsigned long at = 0;
  for (const std::string& character : characters) {
    same(false, zuIs2ndByte(bytes(s), bytes(s) + at) != 0);
    same(true, zuStrSBCSChar(bytes(s), bytes(s) + at, static_cast<unsigned char>(character[0])) != 0);
    same(true, character.size() != 2 || zuIs2ndByte(bytes(s), bytes(s) + at + 1) != 0);
    at += character.size();
  }
}

// A view searches by character, and what a string quotes it takes out of the quotes again.
void views(const std::string& s, zuCPType cp) {
  const ExactBytes exact(s);
  const ZuSubString view(exact.get(), exact.size(), cp);
  const Characters characters = plainCharacters(s, cp);
  unsigned long first = s.size(), second = s.size(), count = 0, at = 0;
  for (const std::string& character : characters) {
    if (character == "a" && count++ < 2) (count == 1 ? first : second) = at;
    at += character.size();
  }
  same(first, view.findChar('a'));
  same(second, view.findChar('a', first + 1));
  same(first, view.findSubString(bytes("a")));
  same(count, view.countChar('a'));
  same(count != 0, view.isCharInStr('a') != 0);
  // A character cut at the end would take the closing quote for its second byte.
  const std::string last = characters.empty() ? "" : characters.back();
  if (zuCharSize(bytes(last + "\xA2\xA2\xA2"), cp) > last.size()) return;
  ZuString quoted;
  ZuString out;
  same(0, quoted.initialize(0ul, cp) | quoted.addQuotedBytes(view, '\''));
  same(0, quoted.copyQuotedStr(&out));
  same(s, text(out.asCStr()));
}

void all(const std::string& s, const std::string& other, zuCPType cp) {
  step(s, cp);
  views(s, cp);
  find(s, other, cp);
  findCi(s, other, cp);
  fold(s);
  std::string flipped = s + other;
  std::replace(flipped.begin() + static_cast<long>(s.size() / 3), flipped.end(), 'b', 'B');
  compareCi(s, flipped, cp);
  compareCi(s, s.substr(0, s.size() / 2) + other, cp);
  quote(s, cp);
  trim(s, other, cp);
}

}  // namespace narrowtext

// The first byte is how the rest is read, the second where it is cut in two.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const zuCPType cp = data[0] & 1 ? zuCPUTF8 : data[0] & 2 ? zuCPSingleByte : zuCPLocale;
  std::string text;
  for (size_t i = 2; i < size; ++i) text += static_cast<char>(data[i] == 0 ? 'a' : data[i]);
  const std::string other = text.substr(text.size() - data[1] % (text.size() + 1));
  text.resize(text.size() - other.size());
  narrowtext::all(text, other, cp);
  narrowtext::like(text, other, data[0] & 4, cp);
  return 0;
}
