// LIKE in both widths; narrowtext_fuzz.cpp holds narrow text against an obvious matcher.

#include "zulib/text/strlike.h"

#include "tests/support/locales.h"
#include "tests/text/support.h"

using namespace texttest;

namespace {

TEST(StrLike, WideTextAgreesToo) {
  std::mt19937 random(17);
  const std::pair<const char*, const char16_t*> alphabet[] = {
      {"a", u"a"}, {"B", u"B"}, {"b", u"b"}, {"\xC3\xA9", u"\u00E9"}, {"\xF0\x9F\x98\x80", u"\U0001F600"},
      {"_", u"_"}, {"%", u"%"}};
  for (int round = 0; round < 20000 && !HasFailure(); ++round) {
    std::string narrow[2];  // value and pattern
    std::u16string wide[2];
    for (unsigned long i = 0; i < 2; ++i) {
      for (unsigned n = random() % 9; n > 0; --n) {
        const auto& [bytes, units] = alphabet[random() % (i == 0 ? 5 : 7)];
        narrow[i] += bytes;
        wide[i] += units;
      }
    }
    const int caseSensitive = random() % 2 == 0;
    const ExactUnits v(wide[0]);
    const ExactUnits p(wide[1]);
    EXPECT_EQ(strLike(bytes(narrow[0]), bytes(narrow[1]), '%', '_', '\\', caseSensitive, 1, zuCPUTF8),
              strLike(v.get(), v.size(), p.get(), p.size(), u'%', u'_', u'\\', caseSensitive, 1))
        << narrow[0] << " LIKE " << narrow[1];
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
      {"a", "a\\", 1, false},    {"a\\", "a\\", 1, false},   {"   ", "", 0, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.matches, strLike(bytes(c.value), bytes(c.pattern), '%', '_', '\\', 1, c.keepBlanks, zuCPUTF8))
        << c.value << " LIKE " << c.pattern;
  }
}

}  // namespace
