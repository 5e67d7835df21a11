// Search and comparison of UTF-16 beside models that cut the text into characters: pairs, lone surrogates and
// pairs cut by a count, at every boundary.

#include <cstdint>
#include <cstdlib>

#include "fuzz/text/plaintext.h"
#include "zulib/text/zudbcs.h"

namespace widetext {

using namespace texttest;

template <class Expected, class Actual>
void same(const Expected& expected, const Actual& actual) {
  if (!(expected == actual)) std::abort();
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

void search(const std::u16string& s, const std::u16string& pattern, char16_t unit) {
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
  same(first, at(exact.get(), strFind(exact.get(), exact.size(), unit)));
  same(last, at(exact.get(), strFindReverse(exact.get(), exact.size(), unit)));
  same(any, at(exact.get(), strFindAnyChar(exact.get(), exact.size(),
                                           units(u"\u00E9"
                                                 u"b"))));
  same(any, at(exact.get(), strFindAnyChar(exact.get(), exact.size(),
                                           bytes("\xE9"
                                                 "b"))));
  same(found, at(exact.get(), strFind(exact.get(), exact.size(), part.get(), part.size())));
  same(found, at(units(s), strFind(units(s), units(pattern))));
  if (pattern.size() > 1 && !isHigh(pattern[pattern.size() - 1])) {
    same(foundCi, at(exact.get(), strFindCi(exact.get(), exact.size(), part.get(), part.size())));
  }
}

void compareCi(const std::u16string& s, const std::u16string& t) {
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
  same(sign, strCompareCi(x.get(), x.size(), y.get(), y.size()));
  same(sign, strCompareCi(units(s), units(t)));
  same(sign, strCompareCi(units(s), y.get(), y.size()));
  same(!cut && sign == 0, strEqualCi(x.get(), x.size(), y.get(), y.size()));
  same(!cut && sign == 0, strEqualCi(x.get(), x.size(), units(t)));
}

void all(const std::u16string& s, const std::u16string& other) {
  for (const char16_t unit : {u'a', u'B', u'\xD800', u'\xDC00'}) search(s, other, unit);
  compareCi(s, folded(s));
  compareCi(s, s.substr(0, s.size() / 2) + other);
}

}  // namespace widetext

// Each byte is a character or half of one; the first says where the text is cut in two.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string pieces[] = {u"a",      u"B",      u"b",          u"\u00E9",     u"\u00C9",
                                   u"\xD800", u"\xDC00", u"\U00010400", u"\U00010428", u"\uFFFD"};
  std::u16string texts[2];
  for (size_t i = 1; i < size; ++i) texts[i > data[0]] += pieces[data[i] % std::size(pieces)];
  widetext::all(texts[0], texts[1]);
  return 0;
}
