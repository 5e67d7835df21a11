// Parameter strings, hex text, the older token reader and the text tools.

#include "zulib/text/zuparams.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/fault_allocator.h"
#include "zulib/errors/zuerror.h"
#include "zulib/os/catalogs/boscatalog.h"
#include "zulib/text/buttoken.h"
#include "zulib/text/zuhex.h"
#include "zulib/text/zutexttools.h"

namespace {

const unsigned char* u8(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
unsigned char* u8(char* text) { return reinterpret_cast<unsigned char*>(text); }
const unsigned short* u16(const char16_t* text) { return reinterpret_cast<const unsigned short*>(text); }
std::string str(ZuString& text) { return reinterpret_cast<char*>(text.asCStr()); }
std::u16string str(ZuStringW& text) { return reinterpret_cast<char16_t*>(text.asCStr()); }

// A list for what goes wrong; `number` takes the one error that was posted.
class TextTools : public testing::Test {
 protected:
  TextTools() { ZuErrorKeeper::setErrorList(&list); }
  ~TextTools() override { ZuErrorKeeper::giveUpErrorList(); }

  int number() {
    const int last = ZuErrorKeeper::getLastErrorNumber();
    list.clearErrors();
    return last;
  }

  ZuErrorList list;
};

TEST_F(TextTools, ParametersFindTheirOwnPlaces) {
  ZuParamString text;
  ASSERT_EQ(text.initialize(u8("%s1 and %sx10 %s1, %d3")), 0);
  text << u8("one") << u8("no place") << -3L;
  for (int i = 4; i <= 9; ++i) text << u8("-");
  text << ZuSubString(u8("tenth"), 3);
  EXPECT_FALSE(text.hasFailed());
  EXPECT_EQ(str(text), "one and ten one, -3");

  ZuParamStringW wide;
  ASSERT_EQ(wide.initialize(u8("%d1|%s2|%s3|%s4"), zuCPUTF8), 0);
  wide << ~0UL << static_cast<const unsigned short*>(nullptr) << u16(u"%s4") << u16(u"later");
  EXPECT_EQ(str(wide), u"18446744073709551615||later|later");

  // UCS-2 ends at a zero unit, not at the zero byte in its first letter.
  ASSERT_EQ(wide.initialize(reinterpret_cast<const unsigned char*>(u"u%s1"), zuCPUCS2), 0);
  wide << u16(u"2");
  EXPECT_EQ(str(wide), u"u2");

  wide.resetParamCount();
  EXPECT_EQ(wide.initialize(u16(u"again %s1"), 7), 0);
  wide << u16(u"x");
  EXPECT_EQ(str(wide), u"again %") << "counted";
}

TEST_F(TextTools, QuotedParametersAndEmptyTemplates) {
  ZuParamString text;
  ASSERT_EQ(text.initialize(u8("x = %s1")), 0);
  EXPECT_EQ(text.setQuotedParam(u8("it's"), '\''), 0);
  EXPECT_EQ(str(text), "x = 'it''s'");
  ASSERT_EQ(text.initialize(16, zuCPUTF8), 0);
  EXPECT_EQ(text.concat(u8("%s1%s2")), 0);
  const unsigned char unterminated[] = {'e'};
  text << ZuSubString(unterminated, 0) << u8("\xC3\xA9");
  EXPECT_EQ(str(text), "\xC3\xA9");
  unsigned char match[16];
  text.resetParamCount();
  EXPECT_EQ(text.buildMatchString(match, 'd'), 3u);
  EXPECT_STREQ(reinterpret_cast<char*>(match), "%d1");
}

TEST_F(TextTools, AFailedChainLeavesTheTextAlone) {
  sweepAllocations([] {
    ZuParamString text;
    static_cast<void>(text.initialize(u8("[%s1] [%s2] [%s3]")));
    text << u8("a long parameter") << u8("b");
    const bool failed = text.hasFailed();
    const unsigned long before = text.getLength();
    const unsigned short count = text.getParamCount();
    text << u8("c");
    if (failed) {
      EXPECT_EQ(text.getLength(), before);
      EXPECT_EQ(text.getParamCount(), count);
    }
    const int appended = text.concat(u8("%s4"));
    const int quoted = text.setQuotedParam(u8("quoted"), '"');
    EXPECT_TRUE(!quoted || text.hasFailed());
    const FaultPause pause;
    const bool good = !text.hasFailed() && !appended && str(text) == "[a long parameter] [b] [c]\"quoted\"";
    EXPECT_EQ(text.initialize(u8("anew %s1")), 0);
    text << u8("x");
    EXPECT_EQ(str(text), "anew x") << "usable again, from number 1 on";
    return good;
  });
}

// What dehexify_fuzz.cpp does not ask for: numbers, the error, and bytes that are doubled.
TEST_F(TextTools, HexText) {
  for (unsigned long value = 1; value != 0; value <<= 1) {
    unsigned char text[40];
    char expected[40];
    std::snprintf(expected, sizeof expected, "%018lX", value - 1);
    EXPECT_EQ(hexify(text, value - 1, 18), 18u);
    EXPECT_STREQ(reinterpret_cast<char*>(text), expected);
    std::snprintf(expected, sizeof expected, "%lX", value - 1);
    EXPECT_EQ(hexify(text, value - 1, 0), std::strlen(expected));
  }
  unsigned char out[16] = {};
  EXPECT_EQ(dehexify(out, u8("12g4"), 4), 1);
  EXPECT_EQ(number(), 2708);
  EXPECT_EQ(out[0], 0x12);
  EXPECT_EQ(wideDehexify(out, u16(u"1\u0141"), 2), 1) << "a unit is not its low byte";
  unsigned long quarter = 0;
  EXPECT_EQ(dehexify(out, u8("27412742274227"), 14, 0x27, &quarter), 0);
  EXPECT_EQ(std::memcmp(out, "''A''B''B''", 11), 0);
  EXPECT_EQ(quarter, 2u);
}

// Reads all tokens of the text, each followed by "|".
std::string tokens(const char* text, unsigned short kindAndFlags, unsigned short size = 64) {
  std::string all;
  const unsigned char* cursor = u8(text);
  std::vector<unsigned char> out(size + 32u);
  for (int i = 0; i < 40; ++i) {
    if (buttoken(out.data(), &cursor, kindAndFlags, size, zuCPLocale)) return all + "failed";
    if (!out[0]) return all;
    all += reinterpret_cast<char*>(out.data());
    all += '|';
  }
  return all + "no end";
}

TEST_F(TextTools, TokensByModeAndClass) {
  const struct {
    const char* text;
    unsigned short kind;
    const char* expected;
  } cases[] = {
      {"  select\t_a1 , b 'it''s' \"A\"\"b\" `c`", butModePlain, "SELECT|_A1|,|B|'it''s'|\"A\"\"b\"|`c`|"},
      {"Select", butModePlain | butNoFold, "Select|"},
      {"a<>b||c!<d*=e<f(+)(+ )", butModePlain, "A|<>|B||||C|!<|D|*=|E|<|F|(+)|(|+|)|"},
      {"{fn now()}x?p1 ?1", butModePlain, "{fn now()}|X|?p1|?|1|"},
      {"12 3.25.5 .x 7a #", butModePlain, "12|3.25|.5|.|X|7|A|#|"},
      {"f(`a,b`c, d||'b'", butModeArgument, "F|(|`A,B`C|,|D||||'B'|"},
      {"#t1 t#2$ 5a \\-x a\\-b\\*c", butModeHash, "#T1|T#2$|5|A|\\|-|X|A-B*C|"},
      {"own.tab.1 .x a. .5", butModeDot, "OWN.TAB.1|.X|A|.|.5|"},
      {":v 10:30:00.5 a:b", butModeColon, ":V|10:30:00.5|A:B|"},
      {"   ", butModeHash, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(tokens(c.text, c.kind), c.expected) << c.text << ' ' << c.kind;
  EXPECT_EQ(number(), 0);
}

TEST_F(TextTools, TokensThatAreNotClosedOrDoNotFit) {
  unsigned char out[64];
  for (const char* open : {"'it''s", "'", "{fn", "\"a'"}) {
    const unsigned char* cursor = u8(open);
    EXPECT_EQ(buttoken(out, &cursor, butModePlain, sizeof out, zuCPLocale), 1);
    EXPECT_EQ(cursor, u8(open));
    EXPECT_STREQ(reinterpret_cast<char*>(out), open);
    EXPECT_EQ(number(), 2703) << open;
  }
  EXPECT_EQ(tokens("abcd", butModePlain, 5), "ABCD|");
  EXPECT_EQ(tokens("abcde", butModePlain, 5), "failed");
  EXPECT_EQ(number(), 2700);
  EXPECT_EQ(tokens("abcde x", butModePlain | butDrop, 5), "ABCD|X|");
  EXPECT_EQ(tokens("'a''b''c' x", butModePlain | butDrop, 4), "'a|X|") << "a doubled quote is not split";
  EXPECT_EQ(tokens("abcde", butModeColon, 2), "ABCDE|") << "no bounds in this mode";
  const unsigned char* cursor = u8("abc");
  EXPECT_EQ(buttoken(out, &cursor, butModePlain | butDrop, 0, zuCPLocale), 1);
  EXPECT_EQ(number(), 2700);
}

TEST_F(TextTools, ATokenGrowsIntoABlockOfItsOwn) {
  sweepAllocations([this] {
    unsigned char out[12] = {};
    const char* text = "a_name_of_many_letters rest";
    const unsigned char* cursor = u8(text);
    const int failed = buttoken(out, &cursor, butModePlain | butGrow, sizeof out, zuCPLocale);
    const FaultPause pause;
    if (failed) {
      EXPECT_EQ(cursor, u8(text));
      EXPECT_TRUE(list.isOutOfMemory());
      return false;
    }
    unsigned char* block;
    std::memcpy(&block, out + butBlockOffset, sizeof block);
    EXPECT_EQ(out[1], 0);
    EXPECT_STREQ(reinterpret_cast<char*>(block), "A_NAME_OF_MANY_LETTERS");
    EXPECT_STREQ(reinterpret_cast<const char*>(cursor), " rest");
    std::free(block);
    return true;
  });
  unsigned char small[9] = {};
  const unsigned char* cursor = u8("more_than_nine");
  list.clearErrors();
  EXPECT_EQ(buttoken(small, &cursor, butModePlain | butGrow, sizeof small, zuCPLocale), 1);
  EXPECT_EQ(number(), 2700) << "no room to record a block";
}

TEST_F(TextTools, ABufferGrowsInSteps) {
  unsigned char* base = nullptr;
  unsigned char* cursor = nullptr;
  unsigned short size = 0;
  for (const unsigned short need : {512, 24, 1000, 1, 3000}) {
    const auto used = static_cast<unsigned short>(base ? cursor - base : 0);
    const bool fits = base && size - used >= need;
    const unsigned expected = fits ? size : size + need / 512 * 512 + 512u;
    ASSERT_EQ(butxpand(&base, &cursor, &size, need), 0);
    EXPECT_EQ(size, expected);
    EXPECT_EQ(cursor - base, used);
    std::memset(cursor, 'x', need);
    cursor += need;
  }
  EXPECT_EQ(butxpand(&base, &cursor, &size, 65000), 1) << "more than its size can say";
  std::free(base);
}

TEST_F(TextTools, TruthAndKeysOfLabels) {
  for (const char* yes : {"1", "10", "t", "Tomorrow", "on", "oN", "ONLY"})
    EXPECT_TRUE(isTrueStr(u8(yes))) << yes;
  for (const char* no : {"", "0", "o", "off", "yes", " 1"}) EXPECT_FALSE(isTrueStr(u8(no))) << no;

  unsigned char markers[zuResourceTextSize];
  getMenuAccelerator(markers);
  const std::string marker(1, static_cast<char>(markers[0]));
  unsigned char bitmap[32] = {};
  auto label = [&](const char* text, const char* arg) {
    char buffer[64];
    std::strcpy(buffer, text);
    makeDialogText(bitmap, u8(buffer), arg ? u8(arg) : nullptr);
    return std::string(buffer);
  };
  EXPECT_EQ(label("Open", nullptr), marker + "Open");
  EXPECT_EQ(bitmap['o' >> 3], 1 << ('o' & 7));
  EXPECT_EQ(label("%s or %s, %% %d", "OO"), "OO o" + marker + "r %s, % %d");
  EXPECT_EQ(label("%6.2s|%-4s|%%", "xyz"), "    " + marker + "xy|%-4s|%");
  EXPECT_EQ(label("%-4s|%.9q", "z"), marker + "z   |%.9q");
  EXPECT_EQ(label((marker + "Quit").c_str(), nullptr), marker + "Quit");
  EXPECT_EQ(label("qq", nullptr), marker + "qq") << "nothing is free: the first";
  EXPECT_EQ(label("", nullptr), "");
  EXPECT_EQ(label(("end" + marker).c_str(), nullptr), "end" + marker);
  const std::string two = "ab" + marker;
  EXPECT_EQ(findMenuAccelerator(u8(two.c_str())), u8(two.c_str()) + 2);
  EXPECT_FALSE(findMenuAccelerator(u8("none")));
}

}  // namespace
