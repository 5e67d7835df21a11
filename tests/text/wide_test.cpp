// UTF-16: a bounded run of the fuzz target, which aborts where the models differ, and the exact order.

#include <gtest/gtest.h>

#define LLVMFuzzerTestOneInput wideText
#include "fuzz/widetext_fuzz.cpp"
#include "tests/text/support.h"
#include "zulib/text/zudbcs.h"

using namespace texttest;

namespace {

TEST(Wide, RandomTextsLikeTheModels) {
  std::mt19937 random(5);
  for (int round = 0; round < 30000; ++round) {
    std::vector<uint8_t> data(1 + random() % 25);
    for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());
    data[0] = static_cast<uint8_t>(data.size() - 1 - std::min<size_t>(random() % 4, data.size() - 1));
    ASSERT_EQ(wideText(data.data(), data.size()), 0) << round;
  }
}

TEST(Wide, ExactOrderByCodePointIsOneSided) {
  struct {
    const char16_t *a, *b;
    int byUnit, counted;
  } const cases[] = {
      {u"a", u"ab", -1, -1},
      {u"\U00010000", u"\uFFFD", -1, 1},
      {u"\uFFFD", u"\U00010000", 1, 1},        // a pair in the second text makes the first the greater
      {u"\U00010000", u"\U00010001", -1, -1},  // they differ in the low half only
      {u"\U00010000", u"\U00010400", -1, 1},
      {u"\xD800", u"\u2401", 1, -1},  // a lone high one counts as its pair with 0
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
