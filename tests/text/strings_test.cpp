// Narrow text: a bounded run of the fuzz target, which aborts where the models differ, and cases that it does
// not reach.

#include <gtest/gtest.h>

#define LLVMFuzzerTestOneInput narrowText
#include "fuzz/narrowtext_fuzz.cpp"
#include "tests/support/fault_allocator.h"
#include "tests/support/locales.h"
#include "tests/text/support.h"
#include "zulib/text/zudbcs.h"

using namespace texttest;

namespace {

TEST(NarrowText, RandomTextsLikeTheModels) {
  std::mt19937 random(7);
  for (const Encoding& encoding : encodings()) {
    SCOPED_TRACE(encoding.locale);
    const TestLocale locale(encoding.locale);
    auto wild = encoding.pieces;
    for (const char* piece : {"%", "%", "_", "\\", "\\%", "\\_"}) wild.push_back(piece);
    int hits = 0;
    for (int round = 0; round < 10000; ++round) {
      const std::string s = randomText(random, encoding.pieces, round % 8 == 0 ? 150 : 12);
      narrowtext::all(s, randomText(random, encoding.pieces, 3), encoding.cp);
      hits += narrowtext::like(s, randomText(random, wild, 6), round % 2 == 0, encoding.cp);
    }
    EXPECT_GT(hits, 250) << "the patterns hardly ever match";
  }
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
    EXPECT_EQ(c.hit,
              narrowtext::at(s, strFind(s, static_cast<unsigned char>(c.ch), '\'', '"', '`', zuCPLocale)))
        << c.s;
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

TEST(StrCompare, PaddedNumbersAndLocaleOrder) {
  struct {
    const char *a, *b;
    int order;
  } const padded[] = {
      {"ab", "ab  ", 0}, {"ab", "ab\t", -1}, {"ab \x01", "ab", 1}, {"", "  ", 0}, {"b", "ab", 1}};
  for (const auto& c : padded) EXPECT_EQ(c.order, strComparePad(bytes(c.a), bytes(c.b))) << c.a << "/" << c.b;

  const double numbers[] = {-1e300, -2.5, -2.25, -0.0, 1e-300, 2.25, 1e300};
  const auto bigEndian = [](double number) {
    const std::string image(reinterpret_cast<const char*>(&number), sizeof number);
    return std::string(image.rbegin(), image.rend());
  };
  for (const double a : numbers) {
    for (const double b : numbers) {
      EXPECT_EQ(a < b ? -1 : a > b, floatCompare(bytes(bigEndian(a)), bytes(bigEndian(b)))) << a << " " << b;
    }
  }

  EXPECT_TRUE(isCharEqual(bytes("a"), bytes("A"), 0));
  EXPECT_FALSE(isCharEqual(bytes("a"), bytes("A"), 1));
  EXPECT_FALSE(isCharEqual(bytes("\xE2\x82\xAC"), bytes("\xE2\x82\xAD"), 0, zuCPUTF8));
  EXPECT_TRUE(isCharEqual(units(u"\U00010428"), units(u"\U00010400"), 0));
  EXPECT_FALSE(isCharEqual(units(u"\U00010428"), units(u"\U00010400"), 1));

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
    EXPECT_EQ(u'x', wide[size]) << "nothing past the size is written";
  }
  strCopy(wide, bytes("\xE9z"), 1);
  EXPECT_EQ(u"\u00E9", text(wide)) << "widening knows no code page";
  EXPECT_EQ(narrow + 2, strCopy(narrow, 3, units(u"\u0141bcd"), 4));
  EXPECT_EQ("Ab", text(narrow));
}

TEST(StrQuote, TextThatIsNotQuotedWell) {
  for (const char* s : {"'a'b'", "'", "a'", "'a", "'''", "'a''", "", "ab"}) {
    std::string copy = s;
    EXPECT_EQ(copy.size(), strRemoveQuotes(reinterpret_cast<unsigned char*>(copy.data()), '\'', zuCPUTF8))
        << s;
    EXPECT_EQ(s, copy);
  }
  const struct {
    const char16_t *s, *terminated, *counted;
  } wide[] = {{u"'a''b'", u"a'b", u"a'b"}, {u"'a'b'", u"ab", u"ab"}, {u"'ab", u"ab", u"'ab"},
              {u"ab'", u"ab'", u"ab'"},    {u"''", u"", u""},        {u"'", u"", u"'"}};
  for (const auto& c : wide) {
    std::u16string s = c.s;
    strRemoveQuotes(reinterpret_cast<unsigned short*>(s.data()), u'\'');
    EXPECT_EQ(std::u16string(c.terminated), s.c_str());
    s = c.s;
    s.resize(strRemoveQuotes(reinterpret_cast<unsigned short*>(s.data()), s.size(), u'\''));
    EXPECT_EQ(c.counted, s);
  }
  unsigned short out[16];
  strCopyQuoted(out, units(u"a'\U0001F600"), 3, u'\'');
  EXPECT_EQ(u"'a'''", text(out)) << "a pair cut by the count is dropped";
  unsigned char narrow[16] = "x=";
  strCatQuoted(narrow, bytes("a\"b"), zuCPUTF8, '"');
  EXPECT_EQ("x=\"a\"\"b\"", text(narrow));
}

TEST(StrTrim, WhiteSpaceAtTheEndOnly) {
  std::string s = "a\x85 ";
  EXPECT_EQ(2u, strRightTrim(reinterpret_cast<unsigned char*>(s.data()), zuCPLocale));
  EXPECT_EQ(0, s[2]);
  EXPECT_EQ(3u, strRightTrim(units(u"a\U0001F600 \u3000"), 5));
  EXPECT_EQ(0u, strRightTrim(units(u" \n"), 2));
  const TestLocale utf8("en_US.UTF-8");
  EXPECT_EQ(1u, strRightTrim(bytes("a\xE3\x80\x80 "), 5, zuCPUTF8));
}

}  // namespace
