// LIKE against a matcher that is obviously right: it tries every split, character by character.

#include "zulib/text/strlike.h"

#include "tests/support/locales.h"
#include "tests/text/support.h"

using namespace texttest;

namespace {

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
    } else if (characters[i] != "\\") {
      pieces.push_back({Kind::Literal, folded(characters[i], caseSensitive, cp)});
    } else if (++i < characters.size()) {
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

TEST(StrLike, AgreesWithAnObviousMatcher) {
  std::mt19937 random(13);
  for (const Encoding& encoding : encodings()) {
    SCOPED_TRACE(encoding.locale);
    const TestLocale locale(encoding.locale);
    auto patternPieces = encoding.pieces;
    for (const char* wild : {"%", "%", "_", "\\", "\\%", "\\_"}) patternPieces.push_back(wild);
    int hits = 0;
    for (int round = 0; round < 20000 && !HasFailure(); ++round) {
      const std::string value = randomText(random, encoding.pieces, 9);
      const std::string pattern = randomText(random, patternPieces, 6);
      const bool caseSensitive = random() % 2 == 0;
      auto characters = plainCharacters(value, encoding.cp);
      for (std::string& character : characters) character = folded(character, caseSensitive, encoding.cp);
      const bool expected = plainLike(characters, parse(pattern, caseSensitive, encoding.cp));
      const ExactBytes v(value);
      const ExactBytes p(pattern);
      EXPECT_EQ(expected,
                strLike(v.get(), v.size(), p.get(), p.size(), '%', '_', '\\', caseSensitive, 1, encoding.cp))
          << value << " LIKE " << pattern;
      EXPECT_EQ(expected,
                strLike(bytes(value), bytes(pattern), '%', '_', '\\', caseSensitive, 1, encoding.cp));
      hits += expected;
    }
    EXPECT_GT(hits, 500) << "the patterns hardly ever match";
  }
}

TEST(StrLike, WideTextAgreesToo) {
  std::mt19937 random(17);
  const std::vector<std::string> alphabet = {"a", "B", "b", "\xC3\xA9", "\xF0\x9F\x98\x80", "_", "%"};
  const auto widen = [](const std::vector<std::string>& pieces, const std::vector<std::u16string>& wide,
                        const std::vector<unsigned>& chosen, std::string* narrow, std::u16string* out) {
    for (const unsigned i : chosen) {
      *narrow += pieces[i];
      *out += wide[i];
    }
  };
  const std::vector<std::u16string> wideAlphabet = {u"a", u"B", u"b", u"\u00E9", u"\U0001F600", u"_", u"%"};
  for (int round = 0; round < 20000 && !HasFailure(); ++round) {
    std::vector<unsigned> valuePieces(random() % 9);
    std::vector<unsigned> patternPieces(random() % 6);
    for (unsigned& i : valuePieces) i = random() % 5;
    for (unsigned& i : patternPieces) i = random() % 7;
    std::string value, pattern;
    std::u16string wideValue, widePattern;
    widen(alphabet, wideAlphabet, valuePieces, &value, &wideValue);
    widen(alphabet, wideAlphabet, patternPieces, &pattern, &widePattern);
    const int caseSensitive = random() % 2 == 0;
    const ExactUnits v(wideValue);
    const ExactUnits p(widePattern);
    EXPECT_EQ(strLike(bytes(value), bytes(pattern), '%', '_', '\\', caseSensitive, 1, zuCPUTF8),
              strLike(v.get(), v.size(), p.get(), p.size(), u'%', u'_', u'\\', caseSensitive, 1))
        << value << " LIKE " << pattern;
  }
  EXPECT_TRUE(strLike(units(u"\U00010428"), 2, units(u"\U00010400"), 2, u'%', u'_', u'\\', 0, 1));
  EXPECT_TRUE(strLike(units(u"\xD800z"), 2, units(u"__"), 2, u'%', u'_', u'\\', 1, 1))
      << "a lone surrogate is one";
}

TEST(StrLike, BlanksAndEdges) {
  struct {
    const char *value, *pattern;
    int keepBlanks;
    bool matches;
  } const cases[] = {
      {"abc  ", "abc", 0, true}, {"abc  ", "abc", 1, false}, {"abc", "abc  ", 0, true},
      {"", "%", 1, true},        {"", "_", 1, false},        {"", "", 1, true},
      {"a", "a\\", 1, false},    {"a\\", "a\\", 1, false},   {"a%", "a\\%", 1, true},
      {"ab", "a\\%", 1, false},  {"aab", "%ab", 1, true},    {"   ", "", 0, true},
      {"ab", "%_%_%", 1, true},  {"a", "%_%_%", 1, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.matches, strLike(bytes(c.value), bytes(c.pattern), '%', '_', '\\', 1, c.keepBlanks, zuCPUTF8))
        << c.value << " LIKE " << c.pattern;
  }
}

// The search for the place where a literal matches goes by blocks of 8, 16, 32 and 128 bytes.
TEST(StrLike, FindsALetterAtEveryPlaceOfTextsOfEveryLength) {
  for (unsigned long n = 1; n <= 200; ++n) {
    for (unsigned long at = 0; at <= n && !HasFailure(); ++at) {
      std::string value(n, '8');  // one bit from x
      if (at < n) value[at] = 'X';
      const ExactBytes v(value);
      const auto like = [&](const char* pattern) {
        const std::string p = pattern;
        const bool counted = strLike(v.get(), n, bytes(p), p.size(), '%', '_', '\\', 0, 1, zuCPUTF8);
        EXPECT_EQ(counted, strLike(bytes(value), bytes(p), '%', '_', '\\', 0, 1, zuCPUTF8)) << value << p;
        return counted;
      };
      EXPECT_EQ(at < n, like("%x%")) << value;
      EXPECT_EQ(at == n - 1, like("%x")) << value;
      EXPECT_EQ(at == 0, like("x%")) << value;
      EXPECT_EQ(at + 1 < n, like("%x8%")) << value;
    }
  }
}

}  // namespace
