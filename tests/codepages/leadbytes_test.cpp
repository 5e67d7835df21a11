// The caches of converters and maps, and the counts that are taken from lead-byte maps.

#include "zulib/codepages/zuleadbytes.h"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <random>
#include <string>

#include "tests/support/fault_allocator.h"
#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/services/zuicuhandlecache.h"
#include "zulib/runtime/ram.h"

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

UConverter* openConverter(const char* name) {
  const FaultPause pause;
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(name, &status);
  EXPECT_TRUE(U_SUCCESS(status)) << name;
  return converter;
}

TEST(HandleCaches, GrowAndFindTheirOwn) {
  sweepAllocations([] {
    ZuIntHandleCache numbers;
    ZuStrHandleCache names;
    ZuPCU8Cache maps;  // not initialised
    if (numbers.initialize(2) || names.initialize(1)) return false;
    for (long i = 0; i < 20; ++i) {
      UConverter* byNumber = openConverter("UTF-8");
      UConverter* byName = openConverter("UTF-8");
      auto* map = static_cast<unsigned char*>(ramAlloc(1));
      const std::string name = "page" + std::to_string(i);
      auto* key = ramAllocStr(bytes(name), name.size());
      const bool added[] = {numbers.addAssoc(i, byNumber) == 0,
                            key && names.addAssoc(key, name.size(), byName) == 0,
                            map && maps.addAssoc(i, map) == 0};
      if (!added[0]) ucnv_close(byNumber);
      if (!added[1]) {
        ucnv_close(byName);
        free(key);
      }
      if (!added[2]) free(map);
      EXPECT_EQ(numbers.getHandleForKey(i), added[0] ? byNumber : nullptr);
      EXPECT_EQ(maps.getHandleForKey(i), added[2] ? map : nullptr);
      const unsigned char* wanted = bytes(name);
      EXPECT_EQ(names.getHandleForKey(&wanted, name.size()), added[1] ? byName : nullptr);
      EXPECT_EQ(wanted == key, added[1]) << "the cache's own name";
      if (!added[0] || !added[1] || !added[2]) return false;
      if (i == 2) {
        EXPECT_EQ(numbers.getSize(), 4u);
        EXPECT_EQ(maps.getSize(), 16u);
      }
    }
    const std::string names1[] = {"pagx1", "page1"};
    const unsigned char* other = bytes(names1[0]);
    EXPECT_EQ(names.getHandleForKey(&other, 5), nullptr);
    const unsigned char* known = bytes(names1[1]);
    for (const unsigned flag : {0u, 1u}) {
      numbers.setEnableFallbackMapping(flag);
      names.setEnableFallbackMapping(flag);
      EXPECT_EQ(ucnv_usesFallback(numbers.getHandleForKey(7)), flag);
      EXPECT_EQ(ucnv_usesFallback(names.getHandleForKey(&known, 5)), flag);
    }
    return true;
  });
}

constexpr long kShiftJis = 2024, kGbk = 113, kGb18030 = 114, kBig5 = 2026;
constexpr long kNotInstalled = 14;

TEST(LeadBytes, DoubleByteTextIsCountedAtEveryCut) {
  std::mt19937 random(3);
  ZuICUHandleCache pool;
  ZuPCU8Cache maps;
  for (const long page : {kShiftJis, kGbk, kBig5, static_cast<long>(UCNV_IANA_LATIN_1)}) {
    SCOPED_TRACE(page);
    const unsigned char* map = nullptr;
    ASSERT_EQ(getPossibleLeadByteMap(&maps, &pool, page, &map), 0);
    const unsigned char* again = nullptr;
    ASSERT_EQ(getPossibleLeadByteMap(&maps, &pool, page, &again), 0);
    EXPECT_EQ(map, again);
    sweepAllocations([&] {
      ZuPCU8Cache fresh;
      return getPossibleLeadByteMap(&fresh, &pool, page, &again) == 0;
    });
    UConverter* converter = openConverter(ucnvIANAidToICUname(page));
    std::string text;
    std::vector<unsigned long> starts;
    while (text.size() < 400) {
      const char16_t unit = random() % 3 == 0 ? static_cast<char16_t>('a' + random() % 20)
                                              : static_cast<char16_t>(0x4E00 + random() % 0x400);
      char out[8];
      UErrorCode status = U_ZERO_ERROR;
      const int size = ucnv_fromUChars(converter, out, sizeof out, &unit, 1, &status);
      starts.push_back(text.size());
      text.append(out, static_cast<size_t>(size));
    }
    for (unsigned long n = 0; n <= starts.back(); ++n) {
      unsigned long whole = 0, chars = 0, count = 0, simple = 0;
      const auto next = std::lower_bound(starts.begin(), starts.end(), n);
      ASSERT_EQ(getCounts(&maps, page, bytes(text), n, &whole, &chars), 0);
      EXPECT_EQ(whole, *next == n ? n : *(next - 1)) << n;
      EXPECT_EQ(chars, static_cast<unsigned long>(next - starts.begin())) << n;
      ASSERT_EQ(getCountOfChars(&maps, page, bytes(text), n, &count), 0);
      EXPECT_EQ(count, chars);
      ASSERT_EQ(getCountOfBytes(&maps, page, bytes(text), n, &simple), 0);
      EXPECT_EQ(simple, n - (n != 0 && map[bytes(text)[n - 1]]));
      ASSERT_EQ(getCountOfBytes(&maps, converter, page, bytes(text), n, &count), 0);
      EXPECT_EQ(count, simple) << "no character has more than two bytes";
    }
    ucnv_close(converter);
  }
}

TEST(LeadBytes, LongerCharactersAreAskedOfTheConverter) {
  ZuICUHandleCache pool;
  ZuPCU8Cache maps;
  const unsigned char* map = nullptr;
  ASSERT_EQ(getPossibleLeadByteMap(&maps, &pool, kGb18030, &map), 0);
  ASSERT_EQ(getPossibleLeadByteMap(&maps, &pool, UCNV_IANA_UTF_8, &map), 0);
  const struct {
    long page;
    const char* text;
    unsigned long exact;
  } cases[] = {
      {kGb18030, "a\x81\x30\x81\x30", 3},
      {kGb18030, "a\x81\x30", 1},
      {kGb18030, "a\x81", 1},
      {kGb18030, "0", 1},
      {kGb18030, "\x81", 0},
      {kGb18030, "\x81\x30\x81\x30xy", 6},
      {UCNV_IANA_UTF_8, "ab", 2},
      {UCNV_IANA_UTF_8, "a\xE2", 1},
  };
  for (const auto& c : cases) {
    UConverter* converter = openConverter(ucnvIANAidToICUname(c.page));
    unsigned long count = 77;
    EXPECT_EQ(getCountOfBytes(&maps, converter, c.page, bytes(c.text), strlen(c.text), &count), 0);
    EXPECT_EQ(count, c.exact) << c.text;
    ucnv_close(converter);
  }
  int flag = 7;
  unsigned long count = 7;
  EXPECT_EQ(isPossibleLeadByte(&maps, kGb18030, 0x81, &flag), 0);
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(isPossibleLeadByte(&maps, kBig5, 0x81, &flag), 1);
  EXPECT_EQ(getCountOfBytes(&maps, kBig5, bytes("a"), 1, &count), 1);
  EXPECT_EQ(getCounts(&maps, kBig5, bytes("a"), 0, &count, &count), 0) << "no map for no bytes";
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(getPossibleLeadByteMap(&maps, &pool, kNotInstalled, &map), 1);
}

TEST(LeadBytes, UTF8IsWholeOrNothing) {
  const auto count = [](const char* text) { return getCountOfUTF8Bytes(bytes(text), strlen(text)); };
  for (const char* whole :
       {"", "a", "\xC3\xA9", "\xE2\x82\xAC", "ab\xE2\x82", "\xF0\x9F\x98\x80", "\xE2\x82 a"}) {
    EXPECT_EQ(count(whole), strlen(whole)) << whole;
  }
  for (const char* cut : {"\xC3", "a\xC3", "\xE2\x82", "a\xE2\x82", "\xF0\x9F\x98"})
    EXPECT_EQ(count(cut), 0u) << cut;
}

}  // namespace
