// UTF-16: pairs, lone surrogates and pairs cut by a count, at every boundary.

#include "tests/text/support.h"
#include "zulib/text/zudbcs.h"

using namespace texttest;

namespace {

const std::u16string pieces[] = {u"a",      u"B",      u"b",          u"\u00E9",     u"\u00C9",
                                 u"\xD800", u"\xDC00", u"\U00010400", u"\U00010428", u"\uFFFD"};

std::u16string randomWide(std::mt19937& random, unsigned most) {
  std::u16string s;
  for (unsigned n = random() % (most + 1); n > 0; --n) s += pieces[random() % std::size(pieces)];
  return s;
}

bool isHigh(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool isLow(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

std::vector<std::u16string> characters(const std::u16string& s) {
  std::vector<std::u16string> all;
  for (size_t i = 0; i < s.size(); i += all.back().size()) {
    all.push_back(s.substr(i, isHigh(s[i]) && i + 1 < s.size() && isLow(s[i + 1]) ? 2 : 1));
  }
  return all;
}

unsigned long pointOf(const std::u16string& c) {
  return c.size() == 1 ? c[0] : 0x10000ul + ((c[0] & 0x3FFul) << 10) + (c[1] & 0x3FFul);
}

long at(const unsigned short* base, const unsigned short* hit) { return hit == nullptr ? -1 : hit - base; }

std::u16string folded(std::u16string s) {
  strUpper(reinterpret_cast<unsigned short*>(s.data()), s.size());
  return s;
}

TEST(Wide, SearchNeverHitsHalfOfAPair) {
  std::mt19937 random(5);
  for (int round = 0; round < 20000 && !HasFailure(); ++round) {
    const std::u16string s = randomWide(random, 20);
    const std::u16string pattern = randomWide(random, 3);
    const char16_t unit = std::u16string(u"aB\xD800\xDC00")[random() % 4];
    long first = -1;
    long last = -1;
    long any = -1;
    long found = -1;
    long foundCi = -1;
    long i = 0;
    const bool ciCan = !pattern.empty() && !isHigh(pattern.back());
    for (const std::u16string& c : characters(s)) {
      const auto from = static_cast<size_t>(i);
      if (c == std::u16string(1, unit)) {
        if (first < 0) first = i;
        last = i;
      }
      if (any < 0 && (c == u"b" || c == u"\u00E9")) any = i;
      if (found < 0 && !pattern.empty() && s.compare(from, pattern.size(), pattern) == 0) found = i;
      // Folded text keeps its units, so a match is one of folded stretches that begin and end alike.
      const std::u16string stretch = s.substr(from, pattern.size());
      const bool endsWhole = stretch.empty() || !isHigh(stretch.back());
      if (foundCi < 0 && ciCan && endsWhole && stretch.size() == pattern.size() &&
          folded(stretch) == folded(pattern)) {
        foundCi = i;
      }
      i += static_cast<long>(c.size());
    }
    const ExactUnits exact(s);
    const ExactUnits part(pattern);
    EXPECT_EQ(first, at(exact.get(), strFind(exact.get(), exact.size(), unit)));
    EXPECT_EQ(last, at(exact.get(), strFindReverse(exact.get(), exact.size(), unit)));
    EXPECT_EQ(any, at(exact.get(), strFindAnyChar(exact.get(), exact.size(),
                                                  units(u"\u00E9"
                                                        u"b"))));
    EXPECT_EQ(any, at(exact.get(), strFindAnyChar(exact.get(), exact.size(),
                                                  bytes("\xE9"
                                                        "b"))));
    EXPECT_EQ(found, at(exact.get(), strFind(exact.get(), exact.size(), part.get(), part.size())));
    EXPECT_EQ(found, at(units(s), strFind(units(s), units(pattern))));
    if (pattern.size() > 1 && !isHigh(pattern[pattern.size() - 1])) {
      EXPECT_EQ(foundCi, at(exact.get(), strFindCi(exact.get(), exact.size(), part.get(), part.size())));
    }
  }
}

TEST(Wide, LengthOfTextAtEveryAddressAndSize) {
  for (unsigned offset = 0; offset < 8; ++offset) {
    for (unsigned n = 0; n < 40; ++n) {
      std::vector<unsigned short> block(offset + n + 1, u'x');
      block.back() = 0;
      EXPECT_EQ(n, strLen(block.data() + offset));
    }
  }
}

TEST(Wide, ExactOrderByCodePointIsOneSided) {
  struct {
    const char16_t *a, *b;
    int byUnit, counted;
  } const cases[] = {
      {u"a", u"a", 0, 0},
      {u"a", u"ab", -1, -1},
      {u"\U00010000", u"\uFFFD", -1, 1},
      {u"\uFFFD", u"\U00010000", 1, 1},        // a pair in the second text makes the first the greater
      {u"\U00010000", u"\U00010001", -1, -1},  // they differ in the low half only
      {u"\U00010000", u"\U00010400", -1, 1},
      {u"\xD800", u"\u2401", 1, -1},  // a lone high one counts as its pair with 0
      {u"\u2401", u"\xD800", -1, 1},
      {u"z\u3000", u"z\xD800", -1, 1},
  };
  for (const auto& c : cases) {
    const std::u16string a = c.a;
    const std::u16string b = c.b;
    const ExactUnits x(a);
    const ExactUnits y(b);
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(c.byUnit, strCompare(units(a), units(b)));
    EXPECT_EQ(c.counted, strCompare(x.get(), x.size(), y.get(), y.size()));
    EXPECT_EQ(c.counted, strCompare(x.get(), x.size(), units(b)));
    EXPECT_EQ(c.counted, strCompare(units(a), y.get(), y.size()));
    EXPECT_EQ(a == b, strEqual(units(a), units(b)));
    EXPECT_EQ(a == b, strEqual(x.get(), x.size(), units(b)));
    EXPECT_EQ(a == b, strEqual(units(a), y.get(), y.size()));
  }
  const std::u16string zero(u"a\0b", 3);
  EXPECT_FALSE(strEqual(units(zero), 3, units(u"a"))) << "a terminator inside the counted side";
  EXPECT_LT(strCompareIntl(units(u"\uFFFD"), units(u"\U00010000")), 0);
}

TEST(Wide, ComparesWithoutRegardToCase) {
  std::mt19937 random(11);
  for (int round = 0; round < 20000 && !HasFailure(); ++round) {
    const std::u16string s = randomWide(random, 12);
    const std::u16string t =
        random() % 2 == 0 ? folded(s) : s.substr(0, s.size() / 2) + randomWide(random, 3);
    const auto a = characters(s);
    const auto b = characters(t);
    int expected = 0;
    bool cut = false;
    size_t i = 0;
    for (; i < a.size() && i < b.size() && expected == 0; ++i) {
      const bool endsA = i + 1 == a.size() && isHigh(s.back()) && a[i].size() == 1;
      const bool endsB = i + 1 == b.size() && isHigh(t.back()) && b[i].size() == 1;
      if (endsA || endsB) {
        cut = true;
        expected = a[i][0] == b[i][0] && i + 1 == b.size() && b[i].size() == 1;
        break;
      }
      const unsigned long x = pointOf(folded(a[i]));
      const unsigned long y = pointOf(folded(b[i]));
      expected = x < y ? -1 : x > y;
    }
    if (!cut && expected == 0) expected = a.size() < b.size() ? -1 : a.size() > b.size();
    const int sign = expected < 0 ? -1 : expected > 0;
    const ExactUnits x(s);
    const ExactUnits y(t);
    EXPECT_EQ(sign, strCompareCi(x.get(), x.size(), y.get(), y.size()));
    EXPECT_EQ(sign, strCompareCi(units(s), units(t)));
    EXPECT_EQ(sign, strCompareCi(units(s), y.get(), y.size()));
    EXPECT_EQ(!cut && sign == 0, strEqualCi(x.get(), x.size(), y.get(), y.size())) << cut;
    EXPECT_EQ(!cut && sign == 0, strEqualCi(x.get(), x.size(), units(t)));
  }
}

TEST(Wide, AgainstUTF8) {
  struct {
    const char16_t* w;
    const char* u;
    int order;
  } const cases[] = {{u"a\u20AC", "a\xE2\x82\xAC", 0},
                     {u"\U0001F600", "\xF0\x9F\x98\x80", 0},
                     {u"a", "ab", -1},
                     {u"ab", "a", 1},
                     {u"\uFFFD", "\xF0\x9F\x98\x80", -1},
                     {u"\u20AC", "\xE2\x82", 1},
                     {u"\xD83D", "\xF0\x9F\x98\x80", -1},
                     {u"\xD83D", "", -1},
                     {u"", "\xE2\x82", 1},
                     {u"", "", 0},
                     {u"\u00E9", "\xC3\xA8", 1}};
  for (const auto& c : cases) EXPECT_EQ(c.order, strCompareUTF8(units(c.w), bytes(c.u))) << c.u;
}

}  // namespace
