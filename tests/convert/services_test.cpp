// Whole strings between code pages, the strict transcoders and the caches of converters, beside ICU.

#include <gtest/gtest.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstring>

#include "tests/convert/pieces.h"
#include "tests/support/fault_allocator.h"
#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/services/characterconverter.h"
#include "zulib/convert/services/convutf.h"
#include "zulib/convert/services/oxconvert.h"
#include "zulib/convert/services/oxunicode.h"
#include "zulib/convert/services/zuicuhandlecache.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/zuchar.h"

namespace {

constexpr long kLatin1 = 4, kUTF8 = 106, kLE = 1014, kBE = 1013, kSCSU = 1011, kNotInstalled = 14;

using Bytes = std::basic_string<unsigned char>;

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }
const unsigned short* units(const std::u16string& s) {
  return reinterpret_cast<const unsigned short*>(s.data());
}

// ConvUTF8ToUTF16 with every room, in exact blocks, beside U8_NEXT.
void checkFromUTF8(const std::string& text, long room) {
  std::u16string expected;
  UErrorCode expectedCode = U_ZERO_ERROR;
  size_t reached = 0;
  bool isFull = room == 0;
  for (size_t i = 0; i < text.size();) {
    const size_t start = i;
    UChar32 c;
    U8_NEXT(bytes(text), i, text.size(), c);
    if (c < 0) {
      const bool isEnd = i == text.size() || text[i] == 0;
      expectedCode = isEnd ? U_TRUNCATED_CHAR_FOUND : U_INVALID_CHAR_FOUND;
      if (!isFull) reached = isEnd ? start : i;
      break;
    }
    if (!isFull) reached = i;
    UChar pair[2];
    size_t n = 0;
    U16_APPEND_UNSAFE(pair, n, c);
    expected.append(pair, n);
    isFull = static_cast<long>(expected.size()) >= room;
  }
  const auto source = std::make_unique<char[]>(text.size());
  std::copy(text.begin(), text.end(), source.get());
  const auto target = std::make_unique<unsigned short[]>(static_cast<size_t>(room));
  const auto* src = reinterpret_cast<const unsigned char*>(source.get());
  unsigned short* dst = target.get();
  long required = -1;
  UErrorCode code = U_ZERO_ERROR;
  const auto* const result =
      ConvUTF8ToUTF16(&dst, room, &required, &src, static_cast<long>(text.size()), &code);
  if (U_FAILURE(expectedCode)) {
    EXPECT_EQ(code, expectedCode);
    EXPECT_EQ(result, nullptr);
  } else {
    const auto needed = static_cast<long>(expected.size());
    EXPECT_EQ(required, needed);
    EXPECT_EQ(code, needed < room    ? U_ZERO_ERROR
                    : needed == room ? U_STRING_NOT_TERMINATED_WARNING
                                     : U_BUFFER_OVERFLOW_ERROR);
    EXPECT_EQ(dst - target.get(), std::min(needed, room));
    EXPECT_TRUE(needed >= room || *dst == 0);
  }
  EXPECT_EQ(src - reinterpret_cast<const unsigned char*>(source.get()), static_cast<long>(reached));
  EXPECT_TRUE(std::equal(target.get(), dst, expected.begin()));
}

TEST(Transcoders, TakeEveryCodePointBothWays) {
  std::u16string all;
  for (UChar32 c = 1; c <= 0x10FFFF; ++c) {
    if (U_IS_SURROGATE(c)) continue;
    UChar pair[2];
    size_t n = 0;
    U16_APPEND_UNSAFE(pair, n, c);
    all.append(pair, n);
  }
  const std::string text = encode(kUTF8, all);
  std::u16string back(all.size() + 1, u'#');
  for (const long length : {static_cast<long>(text.size()), -1L}) {
    auto* dst = reinterpret_cast<unsigned short*>(back.data());
    const unsigned char* src = bytes(text);
    long required = 0;
    UErrorCode code = U_ZERO_ERROR;
    ASSERT_NE(ConvUTF8ToUTF16(&dst, static_cast<long>(back.size()), &required, &src, length, &code), nullptr);
    EXPECT_EQ(required, static_cast<long>(all.size()));
    EXPECT_TRUE(back.compare(0, all.size(), all) == 0);
  }
  std::string again(text.size() + 1, '#');
  auto* dst = reinterpret_cast<unsigned char*>(again.data());
  const unsigned short* src = units(all);
  UErrorCode code = U_ZERO_ERROR;
  ASSERT_NE(ConvUTF16ToUTF8(&dst, static_cast<long>(again.size()), nullptr, &src, -1, &code), nullptr);
  EXPECT_TRUE(again.c_str() == text);
}

TEST(Transcoders, RefuseAllThatIsMalformed) {
  // One byte of each class that a decoder tells apart, in every sequence of up to four, within other text.
  static constexpr unsigned char kClasses[] = {0,    0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                               0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE,
                                               0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
  std::mt19937 random(5);
  constexpr unsigned long kCount = std::size(kClasses);
  for (unsigned long n = 0; n < kCount * kCount * kCount * kCount && !testing::Test::HasFailure(); ++n) {
    std::string text;
    for (unsigned long rest = n; rest || text.empty(); rest /= kCount) {
      text += static_cast<char>(kClasses[rest % kCount]);
    }
    checkFromUTF8(text, static_cast<long>(random() % 6));
    if (random() % 8 == 0)
      checkFromUTF8(std::string(random() % 20, 'x') + text + "\xC3\xA9yyyyyyyyyyyyyyyyyyyy", 60);
  }
}

TEST(Transcoders, StopWhereTheTargetIsFull) {
  std::mt19937 random(6);
  for (int round = 0; round < 20000 && !testing::Test::HasFailure(); ++round) {
    std::u16string text;
    for (auto n = random() % 12; n; --n) {
      static constexpr char16_t kUnits[] = {u'a', u'é', u'€', 0xD83D, 0xDE00, 0xFFFF, 0x7FF, 0x800};
      text += kUnits[random() % std::size(kUnits)];
    }
    const auto room = static_cast<long>(random() % 30);
    std::string whole(100, 0);
    int32_t needed = 0;
    UErrorCode expected = U_ZERO_ERROR;
    u_strToUTF8(whole.data(), 100, &needed, text.data(), static_cast<int32_t>(text.size()), &expected);
    const auto target = std::make_unique<unsigned char[]>(static_cast<size_t>(room));
    unsigned char* dst = target.get();
    const unsigned short* src = units(text);
    long required = 0;
    UErrorCode code = U_ZERO_ERROR;
    const auto* const result =
        ConvUTF16ToUTF8(&dst, room, &required, &src, static_cast<long>(text.size()), &code);
    const std::string written(reinterpret_cast<char*>(target.get()), static_cast<size_t>(dst - target.get()));
    if (U_FAILURE(expected)) {
      EXPECT_EQ(code, U_INVALID_CHAR_FOUND);
      EXPECT_EQ(result, nullptr);
      continue;
    }
    EXPECT_EQ(required, needed);
    EXPECT_EQ(code == U_BUFFER_OVERFLOW_ERROR, needed > room);
    EXPECT_EQ(written, encode(kUTF8, text.substr(0, static_cast<size_t>(src - units(text)))));
    EXPECT_LT(std::min<long>(needed, room) - static_cast<long>(written.size()), 4);
  }
  unsigned short* none = nullptr;
  const unsigned char* src = nullptr;
  UErrorCode code = U_ZERO_ERROR;
  EXPECT_EQ(ConvUTF8ToUTF16(&none, 0, nullptr, &src, 0, &code), nullptr);
  EXPECT_EQ(code, U_ILLEGAL_ARGUMENT_ERROR);
  EXPECT_EQ(ConvUTF8ToUTF16(&none, 0, nullptr, &src, 0, nullptr), nullptr);
}

class Services : public testing::Test {
 protected:
  Services() { ZuErrorKeeper::setErrorList(&errors); }
  ~Services() override { ZuErrorKeeper::giveUpErrorList(); }

  // The number of the one record that there is, 0 if there is none.
  int takeRecord() {
    const ZuError* const record = errors.getFirstNode();
    const int number = record ? record->getErrorNumber() : 0;
    EXPECT_EQ(errors.getNextNode(), nullptr);
    errors.clearErrors();
    return number;
  }

  std::mt19937 random{8};
  ZuErrorList errors{nullptr, 1};
};

TEST_F(Services, StringsBecomeWhatICUMakesOfThem) {
  CharacterConverter converter(ZuReportAsWarning);
  ASSERT_EQ(converter.initialize(4), 0);
  for (int round = 0; round < 3000 && !HasFailure(); ++round) {
    const long from = openPages()[random() % openPages().size()];
    const long to = openPages()[random() % openPages().size()];
    // Of these `decode` and `encode` leave half a pair as it is.
    if (from == kLE || from == kBE || to == kLE || to == kBE) continue;
    const std::string text = randomText(random, from, random() % 8 ? random() % 30 : random() % 5000, true);
    const std::u16string wide = decode(from, text);
    if (wide.empty()) continue;  // some pages begin with a signature, also of nothing
    const std::string whole = encode(to, wide);
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << from << " to " << to);
    const auto room = random() % 2 ? whole.size() + 2 : random() % (whole.size() + 2);
    const auto out = std::make_unique<unsigned char[]>(room);
    const auto* const source = bytes(text);
    long used = -1, taken = -1;
    const auto size = static_cast<long>(room), length = static_cast<long>(text.size());
    const bool isComparable = to != kSCSU && from != kSCSU;
    if (room > 0) {
      EXPECT_EQ(converter.oxCpgToCpg(out.get(), size, source, length, &used, &taken, from, to), 0);
      const std::string made(reinterpret_cast<char*>(out.get()), static_cast<size_t>(used));
      EXPECT_TRUE(!isComparable || made == whole.substr(0, room));
      const int record = takeRecord();
      EXPECT_TRUE(used < static_cast<long>(whole.size()) ? record != 0
                                                         : record == 0 || record == ZU_MSG_SUBSTITUTED);
      if (room == whole.size() + 2) {
        EXPECT_EQ(taken, length);
      }
    }
    // Without the source's length the whole length is told, of an open text.
    EXPECT_EQ(converter.oxCpgToCpg(out.get(), size, source, length, &used, nullptr, from, to), 0);
    takeRecord();
    const std::string open = encode(to, wide, false);
    EXPECT_TRUE(!isComparable || used == static_cast<long>(open.size()));

    const auto wideRoom = wide.size() + random() % 3;
    const auto wideOut = std::make_unique<unsigned short[]>(wideRoom + 1);
    EXPECT_EQ(converter.oxAnsiToUCS2(wideOut.get(), static_cast<long>(wideRoom), source, length, &used,
                                     wideRoom ? &taken : nullptr, from, 1),
              0);
    EXPECT_EQ(used, static_cast<long>(wide.size()));
    takeRecord();
    if (wideRoom <= wide.size()) continue;

    // Back, at an odd address or not; the swapped units are the caller's.
    const auto raw = std::make_unique<unsigned char[]>(2 * wide.size() + 1);
    auto* const odd = reinterpret_cast<unsigned short*>(raw.get() + random() % 2);
    std::memcpy(odd, wideOut.get(), 2 * wide.size());
    const auto back = std::make_unique<unsigned char[]>(whole.size() + 9);
    EXPECT_EQ(
        converter.oxUCS2ToAnsi(back.get(), static_cast<long>(whole.size() + 9), odd,
                               static_cast<long>(wide.size()), &used, random() % 2 ? &taken : nullptr, to, 1),
        0);
    EXPECT_TRUE(!isComparable ||
                std::string(reinterpret_cast<char*>(back.get()), static_cast<size_t>(used)) == whole);
    EXPECT_EQ(back[static_cast<size_t>(used)], 0);
    EXPECT_EQ(std::memcmp(odd, wide.data(), 2 * wide.size()), 0);
    takeRecord();
  }
}

TEST_F(Services, UTF8IsMadeOfAnyPageAndBack) {
  CharacterConverter converter(ZuReportAsWarning);
  ASSERT_EQ(converter.initialize(1), 0);
  for (int round = 0; round < 3000 && !HasFailure(); ++round) {
    static constexpr long kPages[] = {kLatin1, 2252, 18, 114, 2024, kUTF8, kLE};
    const long page = kPages[random() % std::size(kPages)];
    std::string text = randomText(random, page, random() % 50, false);
    if (page != kLE) std::erase(text, '\0');
    if (random() % 2) text.insert(0, random() % 80, page == kLE ? '\1' : 'x');
    if (page == kLE) text.resize(text.size() & ~1UL);
    const std::u16string wide = decode(page, text);
    UErrorCode code = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strToUTF8(nullptr, 0, &needed, wide.data(), static_cast<int32_t>(wide.size()), &code);
    if (code == U_INVALID_CHAR_FOUND) continue;  // half a pair
    const std::string whole = page == kUTF8 ? text : encode(kUTF8, wide);
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << page << ", " << text.size() << " bytes");
    const size_t room = random() % 3 ? whole.size() + 1 : 1 + random() % (whole.size() + 1);
    const size_t shift = random() % 4;
    const auto out = std::make_unique<unsigned char[]>(room + shift);
    unsigned char* const dst = out.get() + shift;
    long used = -1, taken = -1;
    const bool reports = random() % 2;
    EXPECT_EQ(converter.oxAnsiToUTF8(dst, static_cast<long>(room), bytes(text),
                                     static_cast<long>(text.size()), &used, reports ? &taken : nullptr, page),
              0);
    const bool fits = room > whole.size();
    const int record = takeRecord();
    if (fits) {
      EXPECT_EQ(std::string(reinterpret_cast<char*>(dst), static_cast<size_t>(used)), whole);
      EXPECT_EQ(dst[used], 0);
      if (page != kLE && reports) {
        EXPECT_EQ(taken, static_cast<long>(text.size()));
      }
      EXPECT_EQ(record, 0);
    } else {
      const bool isExact = room == whole.size() && (page == kUTF8 || (reports && page != kLE));
      EXPECT_EQ(record, isExact ? 0 : ZU_MSG_TRUNCATED);
      if (!reports && page != kUTF8) {
        EXPECT_EQ(used, static_cast<long>(whole.size()));
      }
    }
    if (!fits || page == kLE || page == kUTF8) continue;
    std::string back(text.size() + 1, '#');
    auto* const narrow = reinterpret_cast<unsigned char*>(back.data());
    EXPECT_EQ(converter.oxUTF8ToAnsi(narrow, static_cast<long>(back.size()), dst, used, &used,
                                     random() % 2 ? &taken : nullptr, page),
              0);
    EXPECT_EQ(back, encode(page, wide) + '\0');
    takeRecord();
  }
}

TEST_F(Services, ConvertersAreOpenedOnceAndByThePolicy) {
  for (const auto policy : {ZuReportNone, ZuReportAsError, ZuReportAsWarning}) {
    CharacterConverter converter(policy);
    UConverter *first = nullptr, *second = nullptr, *other = nullptr, *named = nullptr;
    EXPECT_EQ(converter.getHandle(kLatin1, &first), 1) << "not initialised";
    EXPECT_EQ(takeRecord(), ZU_MSG_CONVERSION_FAILED);
    ASSERT_EQ(converter.initialize(1), 0);
    EXPECT_EQ(converter.getHandle(kNotInstalled, &first), 1);
    EXPECT_EQ(takeRecord(), ZU_MSG_CODE_PAGE_NOT_FOUND);
    EXPECT_EQ(converter.getLastCodePage(), CharacterConverter::kNoCodePage);
    const std::string name = "latin1 and more";
    for (int round = 0; round < 3; ++round) {
      ASSERT_EQ(converter.getHandle(kLatin1, &second), 0);
      ASSERT_EQ(converter.getHandle(2252, &other), 0);
      if (round > 0) {
        EXPECT_EQ(first, second);
      }
      first = second;
      UConverter* again = nullptr;
      ASSERT_EQ(converter.getHandle(bytes(name), 6, &again), 0);
      if (round > 0) {
        EXPECT_EQ(again, named);
      }
      named = again;
    }
    EXPECT_EQ(converter.oxMaxCharSize(114), 4u);
    EXPECT_EQ(converter.oxMinCharSize(1019), 4u);
    converter.setEnableFallbackMapping(1);
    EXPECT_TRUE(ucnv_usesFallback(first) && ucnv_usesFallback(named));
    int isLead = -1;
    EXPECT_EQ(converter.isPossibleLeadByte(2024, 0x81, &isLead), 0);
    EXPECT_EQ(isLead, 1);

    std::u16string text = u"a€b";
    unsigned char out[10] = "#########";
    long used = 0;
    EXPECT_EQ(converter.oxUCS2ToAnsi(out, sizeof out, reinterpret_cast<unsigned short*>(text.data()), 3,
                                     &used, nullptr, kLatin1),
              policy == ZuReportAsError);
    EXPECT_EQ(takeRecord(), policy == ZuReportNone      ? 0
                            : policy == ZuReportAsError ? ZU_MSG_CONVERSION_FAILED
                                                        : ZU_MSG_SUBSTITUTED);
    EXPECT_EQ(out[1], policy == ZuReportAsError ? '#' : 0x1A);
  }
}

TEST_F(Services, TheHandleCacheKeepsThreeOfEachPage) {
  for (const auto policy : {ZuReportNone, ZuReportAsWarning}) {
    ZuICUHandleCache cache(2, policy);
    const long pages[] = {kLatin1, 2252, 18, kLE, 114};
    struct Out {
      long page;
      UConverter* handle;
      ICUSubstitutionErrorInfo* info;
    };
    std::vector<Out> out;
    for (int round = 0; round < 100000; ++round) {
      if (out.size() < 10 && random() % 2) {
        Out taken{pages[random() % std::size(pages)], nullptr, nullptr};
        taken.handle = cache.getHandleForKey(taken.page, &taken.info);
        ASSERT_NE(taken.handle, nullptr);
        EXPECT_EQ(taken.info != nullptr, policy != ZuReportNone);
        for (const Out& o : out) ASSERT_NE(o.handle, taken.handle);
        out.push_back(taken);
      } else if (!out.empty()) {
        const size_t i = random() % out.size();
        EXPECT_EQ(cache.addAssoc(out[i].page, out[i].handle, out[i].info), 0);
        out.erase(out.begin() + static_cast<long>(i));
      } else if (random() % 50 == 0) {
        cache.clearCache();
      }
    }
    for (const Out& o : out) cache.addAssoc(o.page, o.handle, o.info);
    EXPECT_EQ(cache.getUsedSlots(), 2u);
    ZuICUHandleCache fresh(1, policy);
    unsigned long max = 0, min = 0;
    const auto expectSizes = [&](long page, unsigned long wantedMax, unsigned long wantedMin) {
      fresh.getCharSizes(page, &max, &min);
      EXPECT_EQ(max, wantedMax) << page;
      EXPECT_EQ(min, wantedMin) << page;
    };
    expectSizes(1013, 2, 2);
    expectSizes(kNotInstalled, 2, 1);
    expectSizes(114, 4, 1);
    expectSizes(18, 3, 3);  // no slot is left
    expectSizes(114, 4, 1);
    EXPECT_EQ(takeRecord(), 0);
  }
}

TEST_F(Services, FailedAllocationsLeaveTheCachesUsable) {
  sweepAllocations([this] {
    CharacterConverter converter(ZuReportAsWarning);
    ZuICUHandleCache cache(2, ZuReportAsWarning);
    UConverter* handle = nullptr;
    ICUSubstitutionErrorInfo* info = nullptr;
    bool passed = !converter.initialize(1);
    for (const long page : {kLatin1, 2252L}) passed = !converter.getHandle(page, &handle) && passed;
    for (const char* name : {"UTF-8", "latin1"}) {
      passed =
          !converter.getHandle(reinterpret_cast<const unsigned char*>(name), strlen(name), &handle) && passed;
    }
    const unsigned char* map = nullptr;
    passed = !converter.getPossibleLeadByteMap(2024, &map) && passed;
    if (UConverter* const taken = cache.getHandleForKey(kLatin1, &info)) {
      cache.addAssoc(kLatin1, taken, info);
    } else {
      passed = false;
    }
    unsigned short odd[5000] = {};
    unsigned char out[6000];
    long used = 0;
    auto* const source = reinterpret_cast<unsigned short*>(reinterpret_cast<char*>(odd) + 1);
    passed = oxUTF16ToUTF8(out, sizeof out, source, 4999, &used, 0) == ZuConvertOK && passed;
    errors.clearErrors();
    return passed;
  });
}

TEST(UnicodeTools, SwapAndUpperCaseLikeThePlainLoops) {
  std::mt19937 random(9);
  for (int round = 0; round < 2000; ++round) {
    const std::string text = randomText(random, kLE, random() % 60, false);
    const unsigned long count = text.size() / 2, shift = random() % 16;
    std::string swapped(text.size() + shift, 0);
    oxUCS2Swap(swapped.data() + shift, text.data(), count);
    EXPECT_EQ(swapped.substr(shift), encode(kBE, decode(kLE, text)));
    oxUCS2Swap(swapped.data() + shift, swapped.data() + shift, count);
    EXPECT_EQ(swapped.substr(shift), text);
  }
  std::string upper =
      "a\xC3\xA9\xC5\xBFz\xC9\x90\xF0\x90\x90\xA8\xFFq";  // ſ becomes S, ɐ would become longer
  const unsigned long n = oxUTF8Upper(reinterpret_cast<unsigned char*>(upper.data()), upper.size());
  EXPECT_EQ(upper.substr(0, n), "A\xC3\x89SZ\xC9\x90\xF0\x90\x90\x80\xFFQ");
  EXPECT_EQ(UTF16CharFromUTF8Char(0x1F600), 0xD83DDE00u);
  EXPECT_EQ(UTF8CharFromUTF16Char(0xD83DDE00), 0x1F600u);
  EXPECT_EQ(UTF16CharFromUTF8Char(0x110000), 0u);
  unsigned short* const copy = oxUnicodeDup(units(u"aé"));
  EXPECT_EQ(oxUnicodeLen(copy), 2u);
  EXPECT_EQ(oxAsciiLenOfUnicodeStr(copy, openPage(kUTF8).get()), 3);
  free(copy);
}

}  // namespace
