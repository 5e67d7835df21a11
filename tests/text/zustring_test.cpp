// The string classes against std::basic_string models. What both widths do is tested on both by one text.

#include "zulib/text/zustring.h"

#include <gtest/gtest.h>

#include "tests/support/fault_allocator.h"
#include "tests/support/locales.h"
#include "tests/text/support.h"
#include "zulib/collections/zuarray.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/ram.h"
#include "zulib/text/zustringw.h"

using namespace texttest;

namespace {

struct Narrow {
  using View = ZuSubString;
  using String = ZuString;
  using Editor = ZuReplaceString;
  using Char = unsigned char;
  using Model = std::string;
  static int change(String& s, unsigned long at, unsigned long n, const Char* p, unsigned long m) {
    return s.changeBytes(at, n, p, m);
  }
  static int addQuoted(String& s, const View& v, Char quote) { return s.addQuotedBytes(v, quote); }
  static int addQuoted(Editor& e, const Char* p, unsigned long n, Char quote) {
    return e.addQuotedBytes(p, n, quote);
  }
};

struct Wide {
  using View = ZuSubStringW;
  using String = ZuStringW;
  using Editor = ZuReplaceStringW;
  using Char = unsigned short;
  using Model = std::u16string;
  static int change(String& s, unsigned long at, unsigned long n, const Char* p, unsigned long m) {
    return s.changeChars(at, n, p, m);
  }
  static int addQuoted(String& s, const View& v, Char quote) { return s.addQuotedChars(v, quote); }
  static int addQuoted(Editor& e, const Char* p, unsigned long n, Char quote) {
    return e.addQuotedChars(p, n, quote);
  }
};

template <class Kind>
class Strings : public testing::Test {
 protected:
  using Char = typename Kind::Char;
  using Model = typename Kind::Model;
  using String = typename Kind::String;

  // An ASCII text in this width.
  static Model model(const char* s) { return Model(s, s + std::strlen(s)); }
  static const Char* chars(const Model& s) { return reinterpret_cast<const Char*>(s.c_str()); }
  template <class View>
  static Model of(const View& view) {
    return text(view.asPascalStr(), view.getLength());
  }
};

using Kinds = testing::Types<Narrow, Wide>;
TYPED_TEST_SUITE(Strings, Kinds);

TYPED_TEST(Strings, LinesAndBlanks) {
  using String = typename TypeParam::String;
  using Char = typename TypeParam::Char;
  using Edit = int (*)(String&);
  const Edit breaks = [](String& s) { return s.removeLineBreaks('\'', '"', 0); };
  const Edit tabs = [](String& s) { return s.removeTabs('\'', '"', 0); };
  const Edit feeds = [](String& s) { return s.removeLineFeeds('\'', '"', 0); };
  const Edit wrap4 = [](String& s) { return s.insertLineBreaks(4, Char{'\''}, 0, 0); };
  const Edit eol3 = [](String& s) { return s.forceEol(3) | s.forceEol(2); };
  const struct {
    Edit edit;
    const char *s, *expected;
  } cases[] = {
      {breaks, "a\n\nb", "a b"},
      {breaks, "a\n", "a"},
      {breaks, "'a\nb'\nc", "'a\nb' c"},
      {breaks, "\n", ""},
      {breaks, "\"a'\n\"'\n", "\"a'\n\"'\n"},
      {tabs, "\ta\n\tb\t", " a\n b"},
      {feeds, "a\r\n\tb\r", "a \tb"},
      {wrap4, "aa bb cc", "aa\nbb\ncc"},
      {wrap4, "aaaaaa bb", "aaaaaa\nbb"},
      {wrap4, "'a b c' d e f", "'a b c'\nd e\nf"},
      {wrap4, "a b", "a b"},
      {eol3, "a\n", "a\n\n\n"},
  };
  for (const auto& c : cases) {
    String s;
    ASSERT_EQ(0, s.initialize(this->chars(this->model(c.s))));
    EXPECT_EQ(0, c.edit(s));
    EXPECT_EQ(this->model(c.expected), this->of(s)) << c.s;
  }
  ZuArray lines;
  const typename TypeParam::Model text = this->model("a\n\nbc\nrest");
  ASSERT_EQ(0, typename TypeParam::View(this->chars(text)).getLines(&lines));
  ASSERT_EQ(2u, lines.getCount());
  EXPECT_EQ(this->model("bc"), this->of(*static_cast<String*>(lines.at(1))));
  lines.deleteContents();
}

TYPED_TEST(Strings, GrowthIsExactAndABorrowedBufferDoesNotGrow) {
  using Char = typename TypeParam::Char;
  typename TypeParam::String s;
  EXPECT_FALSE(s.isEnoughSpace(0));
  ASSERT_EQ(0, s.concat(s));
  EXPECT_EQ(1u, s.getCapacity()) << "an empty text needs room for its terminator";
  ASSERT_EQ(0, s.concat(this->chars(this->model("abc"))));
  EXPECT_EQ(4u, s.getCapacity());
  ASSERT_EQ(0, s.concat(-9223372036854775807L - 1));
  ASSERT_EQ(0, s.concatSpace());
  ASSERT_EQ(0, s.concat(18446744073709551615UL));
  EXPECT_EQ(this->model("abc-9223372036854775808 18446744073709551615"), text(s.asCStr()));
  ASSERT_EQ(0, s.resize(3));
  EXPECT_EQ(this->model("ab"), text(s.asCStr()));
  EXPECT_EQ(1, s.assureSpace(static_cast<unsigned long>(-1)));
  EXPECT_EQ(1, TypeParam::change(s, 3, 0, nullptr, 0)) << "past the text";
  EXPECT_EQ(1, TypeParam::change(s, 1, 2, nullptr, 0));

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  Char buffer[6] = {'a', 'b', 'c'};
  {
    typename TypeParam::String borrowed;
    borrowed.initializeWithBuffer(buffer, 5, 3);
    ASSERT_EQ(0, borrowed.concat(Char{'d'}));
    EXPECT_EQ(1, borrowed.concat(Char{'e'}));
    EXPECT_EQ(2716, ZuErrorKeeper::getLastErrorNumber());
    EXPECT_EQ(1, borrowed.addQuotes('\''));
    EXPECT_EQ(1, borrowed.replaceSubString(this->chars(this->model("a")), this->chars(this->model("aa"))));
    EXPECT_EQ(this->model("abcd"), text(borrowed.asCStr()));
    borrowed.initializeWithBuffer(buffer, 4, 4);
    EXPECT_EQ(nullptr, borrowed.asCStr()) << "no room for a terminator";
    ASSERT_EQ(0, TypeParam::change(borrowed, 1, 2, this->chars(this->model("z")), 1));
    EXPECT_EQ(this->model("azd"), text(borrowed.asCStr())) << "a shorter text makes the room itself";
    ASSERT_EQ(0, borrowed.initialize(this->chars(this->model("own"))));
    ASSERT_EQ(0, borrowed.concat(Char{'!'})) << "a fresh block is the string's own";
  }
  EXPECT_EQ(0, buffer[5]);
  errors.clearErrors();
  ZuErrorKeeper::giveUpErrorList();
}

TYPED_TEST(Strings, AFailedAllocationLeavesTheTextAsItWas) {
  using Char = typename TypeParam::Char;
  using Model = typename TypeParam::Model;
  const Model start = this->model("it's a\nlong 'text'\n");
  sweepAllocations([&](FaultAllocator& faults) {
    typename TypeParam::String s;
    if (s.initialize(this->chars(start), start.size())) return false;
    const std::function<int()> steps[] = {
        [&] { return s.concat(s); },
        [&] { return s.concat(5L); },
        [&] { return s.addQuotes('\''); },
        [&] { return TypeParam::addQuoted(s, s, '\''); },
        [&] { return s.replaceSubString(this->chars(this->model("i")), this->chars(this->model("iii"))); },
        [&] { return TypeParam::change(s, 1, 1, s.asPascalStr(), 5); },
        [&] { return s.copyQuotedStr(&s); },
        [&] { return s.forceEol(9); },
    };
    bool all = true;
    for (const auto& step : steps) {
      const Model before = (FaultPause(), this->of(s));
      if (step() == 0) continue;
      all = false;
      const FaultPause pause;
      EXPECT_TRUE(faults.triggered());
      EXPECT_EQ(before, this->of(s));
    }
    {
      typename TypeParam::Editor editor(&s);
      if (editor.concat(this->chars(start), 3) ||
          TypeParam::addQuoted(editor, this->chars(start), 3, Char{'\''})) {
        all = false;
      }
    }
    ZuArray lines;
    if (s.getLines(&lines)) all = false;
    lines.deleteContents();
    return all;
  });
}

TEST(ZuString, EmptyViewsHoldNothing) {
  const ZuSubString empty;
  EXPECT_EQ(0u, empty.findChar('a'));
  EXPECT_FALSE(empty.isCharInStr('a'));
  EXPECT_EQ(0, empty.getLastChar());
}

// A byte at the end that could lead a character of two is text too. Only a count can cut a character.
TEST(ZuString, QuotingKeepsTheLastByte) {
  const TestLocale utf8("en_US.UTF-8");
  unsigned char out[16];
  for (const zuCPType cp : {zuCPLocale, zuCPUTF8, zuCPSingleByte}) {
    const ZuSubString view(bytes("Spa\xDF"), 4, cp);
    view.getCopyQuoted(out, 0);
    EXPECT_EQ("'Spa\xDF'", text(out));
    strCopyQuoted(out, bytes("Spa\xDF"), cp, '\'');
    EXPECT_EQ("'Spa\xDF'", text(out));
    strCopyQuoted(out, bytes("Spa\xC3\xA9"), 4, cp, '\'');
    EXPECT_EQ(cp == zuCPSingleByte ? "'Spa\xC3'" : "'Spa'", text(out));
    ZuString s;
    ASSERT_EQ(0, s.initialize(view));
    ASSERT_EQ(0, s.addQuotes('\''));
    ASSERT_EQ(0, s.addQuotedBytes(view, '"'));
    EXPECT_EQ("'Spa\xDF'\"Spa\xDF\"", text(s.asCStr()));
    {
      ZuReplaceString editor(&s);
      ASSERT_EQ(0, editor.addQuotedBytes(bytes("\xDF"), 1, '\''));
    }
    EXPECT_EQ("'\xDF''Spa\xDF'", text(s.asCStr()).substr(0, 9));
  }
}

TEST(ZuString, HashAndOrderIgnoreCase) {
  for (const char* locale : {"zh_CN.GBK", "ja_JP.SJIS", "en_US.UTF-8", "tr_TR.ISO-8859-9"}) {
    const TestLocale inLocale(locale);
    for (const zuCPType cp : {zuCPLocale, zuCPUTF8, zuCPSingleByte}) {
      for (unsigned lead = 0x80; lead < 0x100; ++lead) {
        const std::string s = {'x', static_cast<char>(lead), 'a', 'I', static_cast<char>(lead)};
        const std::string t = {'X', static_cast<char>(lead), 'A', 'i', static_cast<char>(lead)};
        const ZuSubString one(bytes(s), 5, cp);
        const ZuSubString other(bytes(t), 5, cp);
        if (one.isEqualCi(other)) {
          EXPECT_EQ(one.hash(), other.hash()) << locale << cp << lead;
        }
      }
    }
  }
  const ZuSubString lower(bytes("abcdefgh"));
  const ZuSubString upper(bytes("ABCDEZZZ"));
  EXPECT_EQ('A' + 0u + 'B' + 'C' + 'D' + 'E', lower.hash());
  EXPECT_EQ(upper.hash(), lower.hash());
  EXPECT_EQ(('A' + 0u) + ('B' << 3u) + ('C' << 6u) + ('D' << 9u) + ('E' << 12u) + ('F' << 15u),
            ZuSubStringW(units(u"abcdefgh")).hash());
  const ZuObject* object = &upper;
  EXPECT_LT(lower.compare(object), 0) << "f before z, in any case";
  EXPECT_GT(lower.compare(&upper), 0) << "exactly, a comes after A";
  const unsigned char* const set[] = {bytes("x"), bytes("ABCDEFGH"), bytes("abcdefgh")};
  EXPECT_EQ(2u, lower.indexInSet(set, 3));
  EXPECT_EQ(1u, lower.indexInSetCi(set, 3));
  EXPECT_EQ(2u, lower.indexInSet(set, 2)) << "as many as there are: none";
}

TEST(ZuString, QuotesTrimAndLimits) {
  unsigned char out[16];
  const ZuSubString view(bytes("a'b"));
  view.getCopyQuoted(out, '"');
  EXPECT_EQ("'a''b'", text(out)) << "always the apostrophe";
  unsigned short wide[16];
  ZuSubStringW(units(u"a'b")).getCopyQuoted(wide, u'"');
  EXPECT_EQ(u"\"a'b\"", text(wide));
  ZuSubString blanks(bytes(" a \t\n"));
  blanks.rightBlankTrim();
  EXPECT_EQ(2u, blanks.getLength());

  // Of a tail longer than 16 bits only as much as these count is moved.
  const std::string start = "ab" + std::string(65536, 'x') + "yz";
  ZuString s;
  ASSERT_EQ(0, s.initialize(bytes(start), start.size()));
  ASSERT_EQ(0, s.changeBytes(0, 2, nullptr, 0));
  EXPECT_EQ(65538u, s.getLength());
  EXPECT_EQ("xxxxxx", text(s.asPascalStr(65530), 6)) << "the tail's last two bytes stay where they were";
  ASSERT_EQ(0, s.clearAndSet(ZuSubString(bytes("abc"), 3)));
  ASSERT_EQ(0, s.changeBytes(1, 1, bytes("XYZ"), 0)) << "0 means up to the terminator";
  EXPECT_EQ("aXYZc", text(s.asCStr()));
  ASSERT_EQ(0, s.replaceSubString(ZuSubString(s.asPascalStr(1), 3), bytes("-"), 1));
  EXPECT_EQ("a-c", text(s.asCStr()));
  EXPECT_EQ(1, s.replaceSubString(ZuSubString(bytes("q")), bytes("-"), 1)) << "not this string's buffer";
}

TEST(ZuString, ReadsSizes) {
  constexpr int kOk = 0;
  const struct {
    const char* s;
    int narrow, wide;
    ZUSIZE_T number;
  } cases[] = {
      {" \t12  ", kOk, kOk, 12},
      {"+4294967295", kOk, kOk, 4294967295},
      {"4294967296", 2701, 2701, 0},
      {" + +7", kOk, 2702, 7},
      {"", kOk, 2702, 0},
      {"+", 2702, 2702, 0},
      {"1 2", 2702, 2702, 0},
      {"-1", 2702, 2702, 0},
  };
  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  const auto check = [&](const auto& view, int error, ZUSIZE_T number, const char* s) {
    constexpr ZUSIZE_T kUntouched = 77;
    ZUSIZE_T out = kUntouched;
    EXPECT_EQ(error == kOk ? 0 : 1, view.getAsZUSIZE_T(&out)) << s;
    EXPECT_EQ(error == kOk ? number : kUntouched, out) << s;
    EXPECT_EQ(error, ZuErrorKeeper::getLastErrorNumber()) << s;
    if (error) {
      const std::u16string whole = text(errors.getLastError()->getErrorView().asPascalStr(),
                                        errors.getLastError()->getErrorView().getLength());
      EXPECT_NE(std::u16string::npos, whole.find(std::u16string(s, s + std::strlen(s)))) << s;
    }
    errors.clearErrors();
  };
  for (const auto& c : cases) {
    const ExactBytes narrow(std::string(c.s));
    const ExactUnits wide(std::string(c.s));
    check(ZuSubString(narrow.get(), narrow.size()), c.narrow, c.number, c.s);
    check(ZuSubStringW(wide.get(), wide.size()), c.wide, c.number, c.s);
  }
  ZuErrorKeeper::giveUpErrorList();
}

TEST(ZuString, FoldedViews) {
  const ZuSubString view(bytes("Select"));
  ZuSubStringUpper upper(&view);
  EXPECT_FALSE(upper.isEqualUpper(bytes("INSERT"), 6));
  EXPECT_TRUE(upper.isEqualUpper(bytes("SELECT"), 6));
  EXPECT_FALSE(upper.isEqualUpper(bytes("Select"), 6)) << "once folded, only folded text is equal";
  for (const unsigned long n : {1ul, 24ul, 25ul, 48ul, 49ul}) {
    const std::u16string small(n, u'a');
    const std::u16string large(n, u'A');
    const ZuSubStringW wide(units(small));
    ZuSubStringUpperW wideUpper(&wide);
    EXPECT_EQ(u'A', wideUpper.getFirstChar());
    EXPECT_EQ(0, wideUpper.compareUpper(units(large), n));
    EXPECT_LT(wideUpper.compareUpper(units(large + u"A"), n + 1), 0);
    EXPECT_TRUE(wideUpper.isEqualUpper(units(large), n));
    EXPECT_EQ(n > 48, wideUpper.isEqualUpper(units(small), n));
  }
}

TEST(ZuStringW, CrossesToNarrowTextAndBack) {
  const std::u16string all = u"a\u00E9\u20AC\U0001F600";
  const std::string utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  const ExactBytes exact(utf8);
  {
    const TestLocale locale("en_US.UTF-8");
    for (const zuCPType cp : {zuCPUTF8, zuCPLocale}) {
      ZuStringW s;
      ASSERT_EQ(0, s.initialize(exact.get(), exact.size(), cp));
      EXPECT_EQ(all, text(s.asCStr()));
      EXPECT_EQ(utf8, text(s.asCStr(cp)));
    }
    ZuStringW cut;
    ASSERT_EQ(0, cut.initialize(exact.get(), 5, zuCPLocale));
    EXPECT_EQ(u"a\u00E9", text(cut.asCStr())) << "a character cut by the count ends the text";
  }
  const TestLocale sjis("ja_JP.SJIS");
  ZuStringW s;
  ASSERT_EQ(0, s.initialize(bytes("\x83\x5C\\"), 3, zuCPLocale));
  EXPECT_EQ(u"\u30BD\\", text(s.asCStr()));
  EXPECT_EQ("\x83\x5C\\", text(s.asCStr(zuCPLocale)));
  ASSERT_EQ(0, s.concat(u'\u00E9'));
  EXPECT_EQ("\x83\x5C\\?", text(s.asCStr(zuCPLocale)));
  ASSERT_EQ(0, s.clearAndSet(ZuSubStringW(units(u"a\xD800"))));
  EXPECT_EQ(std::string("a\0", 1), text(s.asCStr(zuCPUTF8))) << "no valid UTF-16: the low bytes";
  const unsigned char ucs2[] = {0xFF, 'a', 0, 0xAC, 0x20, 0, 0};
  s.unInitialize();
  ASSERT_EQ(0, s.initialize(ucs2 + 1, zuCPUCS2));
  EXPECT_EQ(u"a\u20AC", text(s.asCStr()));

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  EXPECT_EQ(1, s.initialize(bytes("\xC3"), 1, zuCPUTF8));
  EXPECT_EQ(u"a\u20AC", text(s.asCStr()));
  ASSERT_NE(nullptr, errors.getLastError());
  EXPECT_EQ(2737, errors.getLastError()->getErrorNumber());
  EXPECT_STREQ("01004", errors.getLastError()->getInterfaceCode());
  EXPECT_EQ(4, errors.getLastError()->getInterfaceError());
  errors.clearErrors();
  ZuErrorKeeper::giveUpErrorList();

  FaultAllocator faults;
  faults.failAt(1);
  EXPECT_STREQ("Out Of Memory", reinterpret_cast<const char*>(s.asCStr(zuCPUTF8)));
}

}  // namespace
