// Case, comparison, copies, quotes, search and trimming of narrow text, against models that cut the text into
// characters and look at nothing else.

#include "tests/support/fault_allocator.h"
#include "tests/support/locales.h"
#include "tests/text/support.h"
#include "zulib/text/zudbcs.h"

using namespace texttest;

namespace {

using Characters = std::vector<std::string>;

// A single byte folded by the library; longer characters stay.
std::string foldedSingle(const std::string& character) {
  if (character.size() != 1) return character;
  unsigned char scratch[2] = {static_cast<unsigned char>(character[0]), 0};
  strUpper(scratch);
  return text(scratch, 1);
}

int sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

// The first offset at a character start where `pattern` stands; -1 when there is none.
long plainFind(const std::string& s, const std::string& pattern, zuCPType cp) {
  if (pattern.empty()) return -1;
  for (unsigned long i = 0; i < s.size(); i += plainSize(s, i, cp)) {
    if (s.compare(i, pattern.size(), pattern) == 0) return static_cast<long>(i);
  }
  return -1;
}

long at(const unsigned char* base, const unsigned char* hit) { return hit == nullptr ? -1 : hit - base; }

// Calls `check` with many random texts of each encoding, under its locale.
template <class Check>
void withRandomTexts(unsigned most, Check check) {
  std::mt19937 random(7);
  for (const Encoding& encoding : encodings()) {
    SCOPED_TRACE(encoding.locale);
    const TestLocale locale(encoding.locale);
    for (int round = 0; round < 1500 && !testing::Test::HasFailure(); ++round) {
      check(randomText(random, encoding.pieces, most), randomText(random, encoding.pieces, 3), encoding.cp);
    }
  }
}

TEST(StrFind, HitsOnlyWholeCharacters) {
  withRandomTexts(40, [](const std::string& s, const std::string& pattern, zuCPType cp) {
    const ExactBytes exact(s);
    const ExactBytes part(pattern);
    EXPECT_EQ(plainFind(s, pattern, cp),
              at(exact.get(), strFind(exact.get(), exact.size(), part.get(), part.size(), cp)))
        << s << " / " << pattern;
    EXPECT_EQ(plainFind(s, "_", cp), at(bytes(s), strFind(bytes(s), '_', cp))) << s;
    long last = -1;
    for (unsigned long i = 0; i < s.size(); i += plainSize(s, i, cp)) {
      if (s[i] == 'a') last = static_cast<long>(i);
    }
    EXPECT_EQ(last, at(bytes(s), strFindReverse(bytes(s), 'a', cp))) << s;
    EXPECT_EQ(last, at(bytes(s), strFind(bytes(s), 'a', strFindFirst, cp)))
        << "the options are not looked at";
  });
}

TEST(StrFind, WithoutRegardToCase) {
  withRandomTexts(40, [](const std::string& s, const std::string& pattern, zuCPType cp) {
    std::string upper = pattern;
    std::string lower = pattern;
    std::string folded = s;
    strUpper(reinterpret_cast<unsigned char*>(upper.data()), upper.size());
    strLower(reinterpret_cast<unsigned char*>(lower.data()), lower.size());
    strUpper(reinterpret_cast<unsigned char*>(folded.data()), folded.size());
    const ExactBytes exact(s);
    const ExactBytes part(pattern);
    EXPECT_EQ(plainFind(folded, upper, cp),
              at(exact.get(), strFindCi(exact.get(), exact.size(), part.get(), part.size(), cp)))
        << s << " / " << pattern;

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
    EXPECT_EQ(expected, at(exact.get(), strFindCi(exact.get(), exact.size(), bytes(upper), bytes(lower),
                                                  pattern.size(), cp)))
        << s << " / " << pattern;
  });
}

TEST(StrFind, ZonesAndSets) {
  struct {
    const char* s;
    char ch;
    long hit;
  } const cases[] = {{"a'x'x", 'x', 4},   {"\"x'x\"x", 'x', 5}, {"'x", 'x', -1},
                     {"'a''x'x", 'x', 6}, {"a'x'", '\'', 1},    {"`x`'x", 'x', -1}};
  for (const auto& c : cases) {
    const unsigned char* s = bytes(c.s);
    const std::u16string wide(c.s, c.s + std::strlen(c.s));
    EXPECT_EQ(c.hit, at(s, strFind(s, static_cast<unsigned char>(c.ch), '\'', '"', '`', zuCPLocale))) << c.s;
    const unsigned short* hit = strFind(units(wide), static_cast<unsigned short>(c.ch), u'\'', u'"', u'`');
    EXPECT_EQ(c.hit, hit == nullptr ? -1 : hit - units(wide)) << c.s;
  }
  const TestLocale sjis("ja_JP.SJIS");
  const unsigned char* kana = bytes("\x83\x61");  // its second byte is a letter, its first is in no class
  EXPECT_FALSE(strContains(kana, 2, nullptr, strClassLower, zuCPLocale));
  EXPECT_TRUE(strContains(kana, 2, bytes("x\x83"), 0, zuCPLocale));
  EXPECT_TRUE(strDoesNotContain(kana, 2, bytes("a"), strClassLower, zuCPLocale));
  EXPECT_TRUE(
      strContains(bytes("aZ9_"), 4, bytes("_"), strClassLower | strClassUpper | strClassDigit, zuCPUTF8));
  EXPECT_FALSE(strContains(bytes("aZ9_"), 4, bytes("_"), strClassLower | strClassUpper, zuCPUTF8));
  EXPECT_TRUE(strContains(bytes(""), 0, nullptr, 0, zuCPUTF8));
}

TEST(StrCase, FoldsByCharacterAndKeepsItsLength) {
  withRandomTexts(40, [](const std::string& s, const std::string&, zuCPType) {
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
    EXPECT_EQ(expected, text(exact.get(), exact.size())) << s;
  });
}

TEST(StrCase, KeepsCharactersThatWouldChangeTheirSize) {
  const TestLocale utf8("en_US.UTF-8");
  std::string s = "\xC4\xB1\xC8\xBFz";  // one would shrink to a byte, the other grow to three
  strUpper(reinterpret_cast<unsigned char*>(s.data()));
  EXPECT_EQ("\xC4\xB1\xC8\xBFZ", s);
  std::string cut = "\xC3\xA9\xC3\xA9";
  strUpper(reinterpret_cast<unsigned char*>(cut.data()), 3);
  EXPECT_EQ("\xC3\x89\xC3\xA9", cut) << "a character cut by the count stays";
  strUpper(static_cast<unsigned char*>(nullptr));
  strLower(static_cast<unsigned short*>(nullptr), 3);
  std::u16string wide = u"a\U00010428\xD801";
  strUpper(reinterpret_cast<unsigned short*>(wide.data()), wide.size());
  EXPECT_EQ(u"A\U00010400\xD801", wide);
}

TEST(StrCompare, WithoutRegardToCase) {
  std::mt19937 random(3);
  withRandomTexts(40, [&random](const std::string& s, const std::string& other, zuCPType cp) {
    std::string t = random() % 2 == 0 ? s + other : s.substr(0, s.size() / 2) + other;
    for (char& c : t) {
      if (c == 'b' && random() % 2 == 0) c = 'B';
    }
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
    EXPECT_EQ(expected, strCompareCi(a.get(), a.size(), b.get(), b.size(), cp)) << s << " / " << t;
    EXPECT_EQ(expected, strCompareCi(bytes(s), bytes(t), cp)) << s << " / " << t;
    EXPECT_EQ(expected == 0, strEqualCi(a.get(), a.size(), b.get(), b.size(), cp)) << s << " / " << t;
    EXPECT_EQ(expected == 0, strEqualCi(bytes(s), bytes(t), cp)) << s << " / " << t;
  });
}

TEST(StrCompare, OneCharacter) {
  const TestLocale sjis("ja_JP.SJIS");
  EXPECT_TRUE(isCharEqual(bytes("a"), bytes("A"), 0));
  EXPECT_FALSE(isCharEqual(bytes("a"), bytes("A"), 1));
  EXPECT_FALSE(isCharEqual(bytes("\x83\x61"), bytes("\x83\x41"), 0)) << "a second byte is not folded";
  EXPECT_TRUE(isCharEqual(bytes("\xC3\xA9"), bytes("\xC3\xA9"), 1, zuCPUTF8));
  EXPECT_FALSE(isCharEqual(bytes("\xE2\x82\xAC"), bytes("\xE2\x82\xAD"), 0, zuCPUTF8));
  EXPECT_TRUE(isCharEqual(units(u"\U00010428"), units(u"\U00010400"), 0));
  EXPECT_FALSE(isCharEqual(units(u"\U00010428"), units(u"\U00010400"), 1));
}

TEST(StrCompare, PaddedNumbersAndLocaleOrder) {
  struct {
    const char *a, *b;
    int order;
  } const padded[] = {
      {"ab", "ab  ", 0}, {"ab", "ab\t", -1}, {"ab \x01", "ab", 1}, {"", "  ", 0}, {"b", "ab", 1}};
  for (const auto& c : padded) EXPECT_EQ(c.order, strComparePad(bytes(c.a), bytes(c.b))) << c.a << "/" << c.b;

  const double numbers[] = {-1e300, -2.5, -2.25, -0.0, 1e-300, 2.25, 1e300};
  for (size_t i = 0; i < std::size(numbers); ++i) {
    for (size_t k = 0; k < std::size(numbers); ++k) {
      unsigned char a[8];
      unsigned char b[8];
      for (int n = 0; n < 8; ++n) {
        a[n] = reinterpret_cast<const unsigned char*>(&numbers[i])[7 - n];
        b[n] = reinterpret_cast<const unsigned char*>(&numbers[k])[7 - n];
      }
      EXPECT_EQ(i < k ? -1 : i > k, floatCompare(a, b)) << numbers[i] << " " << numbers[k];
    }
  }

  const TestLocale utf8("en_US.UTF-8");
  EXPECT_LT(strCompareIntl(bytes("a"), bytes("B")), 0) << "not the order of the bytes";
  EXPECT_NE(0, strCompareCiIntl(bytes("a"), 1, bytes("A"), 1)) << "nothing is folded";
  const std::string longText(600, 'a');
  EXPECT_GT(strCompareIntl(ExactBytes(longText + "b").get(), 601, ExactBytes(longText).get(), 600), 0);
  EXPECT_EQ(0, strCompareIntl(ExactBytes(longText).get(), 512, ExactBytes(longText).get(), 512));
  sweepAllocations([&longText] {
    return strCompareCiIntl(bytes(longText), 600, bytes("b"), 1) < 0;  // 0 without memory
  });
  EXPECT_EQ(0, strCompareWithMaxLength(bytes("abc"), bytes("abd"), 2));
  EXPECT_GT(strCompare(bytes("\x80"), 1, bytes("\x7F"), 1), 0);
}

TEST(StrCopy, BoundsAndSurrogates) {
  unsigned char narrow[6];
  std::memset(narrow, 'x', sizeof narrow);
  strCopy(narrow, 5, bytes("ab"));
  EXPECT_EQ(0, std::memcmp(narrow, "ab\0x\0x", 6)) << "the last place of the size is terminated too";
  EXPECT_EQ(narrow + 3, strCopy(narrow, 4, bytes("abcdef")));
  EXPECT_EQ("abc", text(narrow));
  strCopy(narrow, 0, bytes("zzz"));
  EXPECT_EQ("abc", text(narrow));

  unsigned short wide[8];
  const std::u16string pair = u"ab\U0001F600";
  const std::u16string cuts[] = {u"", u"", u"a", u"ab", u"ab", pair};
  for (unsigned long size = 1; size < 6; ++size) {
    std::fill(std::begin(wide), std::end(wide), u'x');
    const unsigned short* end = strCopy(wide, size, units(pair));
    EXPECT_EQ(cuts[size], text(wide)) << size;
    EXPECT_EQ(wide + cuts[size].size(), end);
    EXPECT_EQ(u'x', wide[size]) << "nothing behind the size is written";
  }
  strCopy(wide, bytes("\xE9z"), 1);
  EXPECT_EQ(u"\u00E9", text(wide)) << "widening knows no code page";
  EXPECT_EQ(narrow + 2, strCopy(narrow, 3, units(u"\u0141bcd"), 4));
  EXPECT_EQ("Ab", text(narrow));
}

TEST(StrQuote, QuotesAndTakesQuotesAway) {
  withRandomTexts(12, [](const std::string& s, const std::string&, zuCPType cp) {
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
    ASSERT_EQ(expected, text(out.data())) << s;
    EXPECT_EQ(out.data() + expected.size(), end);

    std::vector<unsigned char> copy(whole.size() + 1);
    strCopyUnquoted(copy.data(), out.data(), expected.size(), cp);
    EXPECT_EQ(whole, text(copy.data())) << s;
    const ExactBytes inPlace(expected);
    const unsigned long n = strRemoveQuotes(inPlace.get(), inPlace.size(), '\'', cp);
    EXPECT_EQ(whole, text(inPlace.get(), n)) << s;
  });
}

TEST(StrQuote, TextThatIsNotQuotedWell) {
  const char* const untouched[] = {"'a'b'", "'", "a'", "'a", "'''", "'a''", "", "ab"};
  for (const char* s : untouched) {
    std::string copy = s;
    EXPECT_EQ(copy.size(), strRemoveQuotes(reinterpret_cast<unsigned char*>(copy.data()), '\'', zuCPUTF8))
        << s;
    EXPECT_EQ(s, copy);
  }
  struct {
    const char16_t *s, *terminated, *counted;
  } const wide[] = {{u"'a''b'", u"a'b", u"a'b"}, {u"'a'b'", u"ab", u"ab"},
                    {u"'ab", u"ab", u"'ab"},     {u"ab'", u"ab'", u"ab'"},
                    {u"''", u"", u""},           {u"'a\U0001F600'", u"a\U0001F600", u"a\U0001F600"},
                    {u"'", u"", u"'"},           {u"''''", u"'", u"'"}};
  for (const auto& c : wide) {
    std::u16string s = c.s;
    EXPECT_EQ(std::char_traits<char16_t>::length(c.terminated),
              strRemoveQuotes(reinterpret_cast<unsigned short*>(s.data()), u'\''));
    EXPECT_EQ(std::u16string(c.terminated), s.c_str());
    s = c.s;
    const unsigned long n = strRemoveQuotes(reinterpret_cast<unsigned short*>(s.data()), s.size(), u'\'');
    EXPECT_EQ(c.counted, s.substr(0, n));
  }
  unsigned short out[16];
  strCopyQuoted(out, units(u"a'\U0001F600"), 3, u'\'');
  EXPECT_EQ(u"'a'''", text(out)) << "a pair cut by the count is dropped";
  strCopyUnquoted(out, units(u"'"), 1);
  EXPECT_EQ(u"", text(out));
  unsigned char narrow[16] = "x=";
  strCatQuoted(narrow, bytes("a\"b"), zuCPUTF8, '"');
  EXPECT_EQ("x=\"a\"\"b\"", text(narrow));
}

TEST(StrTrim, WhiteSpaceAtTheEndOnly) {
  withRandomTexts(12, [](const std::string& s, const std::string& more, zuCPType cp) {
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
      EXPECT_EQ(white, strRightTrim(exact.get(), exact.size(), cp)) << subject;
      EXPECT_EQ(blank, strRightTrimBlanks(exact.get(), exact.size(), cp)) << subject;
    }
  });
  std::string s = "a\x85 ";
  EXPECT_EQ(2u, strRightTrim(reinterpret_cast<unsigned char*>(s.data()), zuCPLocale));
  EXPECT_EQ(0, s[2]);
  EXPECT_EQ(3u, strRightTrim(units(u"a\U0001F600 \u3000"), 5));
  EXPECT_EQ(0u, strRightTrim(units(u" \n"), 2));
  const TestLocale utf8("en_US.UTF-8");
  EXPECT_EQ(1u, strRightTrim(bytes("a\xE3\x80\x80 "), 5, zuCPUTF8));
}

// Long texts go by blocks of 16 and 128 bytes: one differing byte must be seen at every place of them.
TEST(StrEqualCi, SeesOneDifferenceAnywhereInALongText) {
  constexpr unsigned long n = 150;
  for (unsigned long at = 0; at < n && !HasFailure(); ++at) {
    for (unsigned byte = 1; byte < 256; ++byte) {
      for (const unsigned change : {0x20u, 0x80u, 0x01u}) {
        std::string s(n, 'q');
        std::string t(n, 'Q');
        s[at] = static_cast<char>(byte);
        t[at] = static_cast<char>(byte ^ change);
        const bool isLetter = (byte | 0x20) >= 'a' && (byte | 0x20) <= 'z';
        const ExactBytes a(s);
        const ExactBytes b(t);
        EXPECT_EQ(isLetter && change == 0x20, strEqualCi(a.get(), n, b.get(), n, zuCPUTF8))
            << byte << " and " << (byte ^ change) << " at " << at;
      }
    }
  }
}

}  // namespace
