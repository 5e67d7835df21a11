// Stepping, counting and classes of characters, where narrowtext_fuzz.cpp does not reach.

#include "zulib/text/zuchar.h"

#include <gtest/gtest.h>

#include <clocale>

#include "tests/support/locales.h"
#include "tests/text/support.h"

using namespace texttest;

namespace {

TEST(ZuChar, ALocaleChangedBetweenCallsIsSeen) {
  const unsigned char hiraganaInEuc[] = {0xA4, 0xA2, 0};
  const TestLocale euc("ja_JP.EUC-JP");
  EXPECT_TRUE(zuIsLeadByte(hiraganaInEuc));
  locale_t ofThread = duplocale(LC_GLOBAL_LOCALE);
  {
    const TestLocale sjis("ja_JP.SJIS");  // where these are two half-width signs
    EXPECT_FALSE(zuIsLeadByte(hiraganaInEuc));
    EXPECT_EQ(1u, zuCharSize(hiraganaInEuc, zuCPLocale));
    const locale_t before = uselocale(ofThread);
    EXPECT_TRUE(zuIsLeadByte(hiraganaInEuc));
    uselocale(before);
    EXPECT_FALSE(zuIsLeadByte(hiraganaInEuc));
  }
  freelocale(ofThread);
  EXPECT_EQ(2u, zuCharSize(hiraganaInEuc, zuCPLocale));
}

TEST(ZuChar, GoesBackOneCharacter) {
  const unsigned char* s = bytes("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
  EXPECT_EQ(s, zuCharPrev(s, s, zuCPUTF8));
  EXPECT_EQ(s, zuCharPrev(s, s + 1, zuCPUTF8));
  EXPECT_EQ(1u, zuCharPrev(s, 3ul, zuCPUTF8));
  EXPECT_EQ(3u, zuCharPrev(s, 6ul, zuCPUTF8));
  EXPECT_EQ(9u, zuCharPrev(s, 10ul, zuCPUTF8)) << "a character of four bytes is not passed as a whole";
  EXPECT_EQ(10u, zuCharPrev(s, 11ul, zuCPUTF8));

  const TestLocale euc("ja_JP.EUC-JP");
  const unsigned char* e = bytes(
      "a\xA4\xA2\xC6\xFC"
      "b");
  EXPECT_EQ(1u, zuCharPrev(e, 3ul, zuCPLocale)) << "the byte at the position, a lead byte, decides";
  EXPECT_EQ(4u, zuCharPrev(e, 5ul, zuCPLocale));
  EXPECT_EQ(0u, zuCharPrev(e, 1ul, zuCPLocale));
}

TEST(ZuChar, Oddities) {
  EXPECT_EQ(1u, zuCharSize(bytes("\x82zz"), zuCPUTF8)) << "a stray byte is one here";
  EXPECT_EQ(2u, zuUTF8CharLen(bytes("\x82zz"), 3)) << "and two here";
  EXPECT_EQ(0u, zuUTF8CharLen(ExactBytes(std::string("\xF0\x9F\x98")).get(), 3));
  EXPECT_EQ(0xD7u, javaToUpper(0xF7));
  EXPECT_EQ(0xF7u, javaToLower(0xD7));
  EXPECT_EQ(0x178u, javaToUpper(0xFF));
  EXPECT_EQ(0xB5u, javaToUpper(0xB5)) << "not U+039C, as ICU says";
  EXPECT_EQ(0x10400u, javaToUpper(0x10428));
  EXPECT_TRUE(zuCharEqual(bytes("\xE2\x82\xAC"), bytes("\xE2\x82\xACz"), zuCPUTF8));
  EXPECT_FALSE(zuCharEqual(bytes("\xE2\x82\xAC"), bytes("\xE2\x82\xAD"), zuCPUTF8));
  EXPECT_FALSE(zuCharEqual(bytes("\xC3\xA9"), bytes("a"), zuCPUTF8));
  const unsigned char* four = bytes("\xF0\x9F\x98\x80");
  EXPECT_FALSE(zuCharEqual(four, four, zuCPUTF8));
  const unsigned char odd[] = {0xFF, 'a', 0, 0, 'b', 0, 0, 0};
  EXPECT_EQ(2u, zuCharLen(odd + 1, zuCPUCS2)) << "at an odd address, with zero bytes within units";
  EXPECT_EQ(3u, zuCharLen(odd, 7, zuCPUCS2));
}

TEST(ZuChar, BlanksAndLettersAreTheLocales) {
  EXPECT_EQ(nullptr, zuSkipBlanks(nullptr, zuCPLocale));
  EXPECT_EQ(std::string("x "), text(zuSkipBlanks(bytes(" \t\n\v\f\rx "), zuCPLocale)));
  EXPECT_EQ(std::string(), text(zuSkipBlanks(bytes("  "), zuCPUTF8)));
  {
    const TestLocale utf8("en_US.UTF-8");
    EXPECT_EQ(std::string("x"), text(zuSkipBlanks(bytes("\xE3\x80\x80 x"), zuCPUTF8)))
        << "an ideographic blank";
    EXPECT_TRUE(zuIsAlpha(bytes("\xC3\xA9"), zuCPLocale));
    EXPECT_FALSE(zuIsAlpha(bytes("\xC3"), zuCPLocale));
  }
  const TestLocale sjis("ja_JP.SJIS");
  EXPECT_TRUE(zuIsAlphaNumeric(bytes("\x82\xA0"), zuCPLocale));
  EXPECT_FALSE(zuIsAlpha(bytes("7"), zuCPLocale));
  EXPECT_TRUE(zuIsAlphaNumeric(bytes("7"), zuCPLocale));

  EXPECT_TRUE(zuIsAlpha(units(u"\U00010400"))) << "a pair is joined";
  EXPECT_FALSE(zuIsAlpha(units(u"\xD801")));
  EXPECT_TRUE(zuIsAlphaNumeric(units(u"9")));
  EXPECT_FALSE(zuIsAlphaNumeric(units(u"\u0669"))) << "of digits only the ASCII ones";
  EXPECT_TRUE(zuIsWhiteSpace(units(u"\u3000")));
}

TEST(ZuChar, WideStepsPassPairs) {
  const std::u16string s = u"a\U0001F600z";
  const unsigned short* p = units(s);
  EXPECT_EQ(3u, zuCharNext(p, 1ul));
  EXPECT_EQ(p + 3, zuCharNext(p + 1));
  EXPECT_EQ(1u, zuCharPrev(p, 3ul));
  EXPECT_EQ(p + 1, zuCharPrev(p, p + 3));
  EXPECT_EQ(p, zuCharPrev(p, p));
  EXPECT_EQ(3u, zuCharLast(p, 4));
  EXPECT_EQ(1u, zuCharLast(p, 3));
  EXPECT_EQ(0u, zuCharLast(p, 0));
  EXPECT_EQ(3u, zuCharLen(p));
  const std::u16string low = u"\xDC00z";
  EXPECT_EQ(0u, zuCharPrev(units(low), 1ul)) << "no room for two units";
  EXPECT_EQ(2u, zuCharLen(units(u"a\xD800"))) << "a high surrogate before the terminator ends the count";
}

}  // namespace
