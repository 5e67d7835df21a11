// The scans that look at many bytes at a time, against their plain versions: one or two places of interest,
// at every place of texts of many lengths, at every address.

#include "zulib/text/internal/bytescan.h"

#include <gtest/gtest.h>

#include "tests/text/support.h"

using namespace texttest;
using namespace zutext;

namespace {

TEST(ByteScan, AgreesWithThePlainVersions) {
  std::mt19937 random(29);
  const std::string interesting = "xX%_\\8Hh\x80\xE1@`[{";
  for (int round = 0; round < 60000 && !HasFailure(); ++round) {
    const unsigned long n = random() % (round % 16 == 0 ? 400 : 70);
    std::string s(n, 'q');
    std::string t(n, random() % 2 ? 'Q' : 'q');
    for (unsigned places = random() % 3; n != 0 && places > 0; --places) {
      const unsigned long at = random() % n;
      s[at] = interesting[random() % interesting.size()];
      if (random() % 2) t[at] = static_cast<char>(s[at] ^ (random() % 2 ? 0x20 : 0));
    }
    const ExactBytes a(s);
    const ExactBytes b(t);
    const unsigned char* end = a.get() + n;
    EXPECT_EQ(plain::skipAscii(a.get(), end), skipAscii(a.get(), end)) << s;
    EXPECT_EQ(plain::findEither(a.get(), end, 'x', 'X'), findEither(a.get(), end, 'x', 'X')) << s;
    EXPECT_EQ(plain::sameAsciiCi(a.get(), b.get(), n) / kBlock * kBlock, sameAsciiCi(a.get(), b.get(), n))
        << s << t;
    const unsigned char wild[] = {'%', '_', '\\'};
    EXPECT_EQ(plain::sameLiterals(a.get(), b.get(), n, wild) / 8 * 8, sameLiterals(a.get(), b.get(), n, wild))
        << s << t;

    const unsigned long offset = random() % 8;
    std::u16string wide(offset, u'x');
    for (const char c : s) wide += static_cast<char16_t>(c == 'q' ? u'\u3071' : c);
    const unsigned short* w = units(wide) + offset;
    EXPECT_EQ(plain::wideLength(w), wideLength(w));
    EXPECT_EQ(plain::scanUnit(w, w + n, 'x'), scanUnit(w, w + n, 'x'));
    const ExactUnits x(wide.substr(offset));
    EXPECT_EQ(plain::sameUnits(w, x.get(), n), sameUnits(w, x.get(), n));
    if (n != 0) x.get()[random() % n] ^= 1u << random() % 16;
    EXPECT_EQ(plain::sameUnits(w, x.get(), n), sameUnits(w, x.get(), n));
  }
}

}  // namespace
