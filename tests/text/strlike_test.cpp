// LIKE in both widths; narrowtext_fuzz.cpp holds narrow text against an obvious matcher.

#include "zulib/text/strlike.h"

#include <gtest/gtest.h>

#include "tests/support/locales.h"
#include "tests/text/support.h"

using namespace texttest;

namespace {

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
  EXPECT_TRUE(strLike(units(u"\U00010428"), 2, units(u"\U00010400"), 2, u'%', u'_', u'\\', 0, 1));
  EXPECT_TRUE(strLike(units(u"\xD800z"), 2, units(u"__"), 2, u'%', u'_', u'\\', 1, 1))
      << "a lone surrogate is one";
}

}  // namespace
