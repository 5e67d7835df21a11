// The allocators' edges, and the byte moves against plain loops, overlapping ranges included.

#include "zulib/runtime/ram.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/fault_allocator.h"
#include "zulib/errors/zuerror.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct FreeBlock {
  void operator()(void* block) const { std::free(block); }
};
template <class T>
using Block = std::unique_ptr<T, FreeBlock>;

const unsigned char* u8(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

// A list for the thread, so that the out-of-memory mark can be seen.
class RamTest : public testing::Test {
 protected:
  RamTest() { ZuErrorKeeper::setErrorList(&list); }
  ~RamTest() override { ZuErrorKeeper::giveUpErrorList(); }

  // Whether the mark was set since the last question.
  bool marked() {
    const bool was = list.isOutOfMemory();
    list.resetOutOfMemory();
    return was;
  }

  ZuErrorList list;
};

TEST_F(RamTest, SizeZeroIsABlockButNoResize) {
  Block<void> block(ramAlloc(0));
  const Block<void> zeroed(ramAllocZ(0));
  ASSERT_TRUE(block);
  ASSERT_TRUE(zeroed);
  EXPECT_EQ(*static_cast<char*>(zeroed.get()), 0);

  void* kept = block.release();
  void* before = kept;
  EXPECT_EQ(ramResize(&kept, 0), 1);
  EXPECT_EQ(kept, before);
  EXPECT_TRUE(marked());
  std::memset(kept, 'x', 1);  // still the caller's
  EXPECT_EQ(ramSize(kept), 0u);
  std::free(kept);
}

TEST_F(RamTest, ResizeZKeepsFourBytesWhateverTheBlockHeld) {
  void* block = ramAlloc(16);
  ASSERT_TRUE(block);
  std::memcpy(block, "0123456789abcdef", 16);
  ASSERT_EQ(ramResizeZ(&block, 4), 0);
  EXPECT_EQ(std::memcmp(block, "0123", 4), 0);
  ASSERT_EQ(ramResizeZ(&block, 16), 0);
  EXPECT_EQ(std::memcmp(block, "0123\0\0\0\0\0\0\0\0\0\0\0", 16), 0);
  std::free(block);
}

TEST_F(RamTest, FailuresMarkTheThreadAndKeepTheBlock) {
  FaultAllocator faults;
  void* block = ramAlloc(4);
  ASSERT_TRUE(block);
  std::memcpy(block, "data", 4);
  const std::vector<std::function<bool()>> attempts = {
      [] { return ramAlloc(8) == nullptr; },
      [] { return ramAllocZ(8) == nullptr; },
      [] { return ramAllocStr(u8("text")) == nullptr; },
      [] { return ramAllocStrW(u8("text"), 4UL) == nullptr; },
      [&] { return ramResize(&block, 100) == 1; },
      [&] { return ramResizeZ(&block, 100) == 1; },
  };
  for (std::size_t i = 0; i < attempts.size(); ++i) {
    faults.failAt(1);
    EXPECT_TRUE(attempts[i]()) << i;
    faults.stop();
    EXPECT_TRUE(marked()) << i;
  }
  EXPECT_EQ(std::memcmp(block, "data", 4), 0);
  std::free(block);

  // Counts whose size in bytes does not fit a size.
  EXPECT_FALSE(ramAllocStr(u8("x"), ~0UL));
  EXPECT_FALSE(ramAllocStrW(u8("x"), ~0UL / 2));
  EXPECT_TRUE(marked());
}

TEST_F(RamTest, TextsChangeTheirWidthByteByByte) {
  const unsigned short wide[] = {'a', 0x4E62, 0x00FF, 0};
  const Block<unsigned char> narrow(ramAllocStr(wide));
  EXPECT_EQ(std::memcmp(narrow.get(), "a\x62\xFF", 4), 0);
  const Block<unsigned short> widened(ramAllocStrW(u8("\xE9z"), 2L));
  const unsigned short expected[] = {0xE9, 'z', 0};
  EXPECT_EQ(std::memcmp(widened.get(), expected, sizeof expected), 0);

  const Block<unsigned char> bare(ramAllocStrNT(u8("abc"), 3));
  EXPECT_EQ(std::memcmp(bare.get(), "abc", 3), 0);
  const Block<unsigned char> none(ramAllocStr(u8("abc"), -5L));
  const Block<unsigned char> noneInt(ramAllocStr(u8("abc"), -1));
  const Block<unsigned char> noneWide(ramAllocStr(wide, -1L));
  const Block<unsigned short> noneWidened(ramAllocStrW(u8("abc"), -1L));
  EXPECT_EQ(*none | *noneInt | *noneWide | *noneWidened, 0);
  const Block<unsigned char> part(ramAllocStr(u8("abc"), 2));
  EXPECT_STREQ(reinterpret_cast<char*>(part.get()), "ab");
}

// What a move does to a buffer: `from` and `to` are offsets in it.
using Move = std::function<void(unsigned char* to, const unsigned char* from, unsigned long n)>;

void units(unsigned char* to, const unsigned char* from, long first, long end, long width, int step) {
  for (long i = step > 0 ? first : end - width; i >= first && i < end; i += step * width) {
    unsigned char unit[4];
    std::memcpy(unit, from + i, static_cast<std::size_t>(width));
    std::memcpy(to + i, unit, static_cast<std::size_t>(width));
  }
}

void forward(unsigned char* to, const unsigned char* from, unsigned long n) {
  units(to, from, 0, static_cast<long>(n), 1, 1);
}

void backward(unsigned char* to, const unsigned char* from, unsigned long n) {
  units(to, from, 0, static_cast<long>(n), 1, -1);
}

void aligned(unsigned char* to, const unsigned char* from, unsigned long size) {
  const long n = static_cast<long>(size);
  const long whole = n / 8 * 8;
  units(to, from, 0, whole, 4, 1);
  if (n % 2) {
    units(to, from, whole, n, 1, -1);
  } else if (n & 2) {
    units(to, from, whole, n, 2, -1);
  } else {
    units(to, from, whole, n, 4, 1);
  }
}

void fast(unsigned char* to, const unsigned char* from, unsigned long size) {
  const long n = static_cast<long>(size);
  const auto bits = reinterpret_cast<std::uintptr_t>(to) | reinterpret_cast<std::uintptr_t>(from);
  if (bits % 2) return backward(to, from, size);
  if (bits % 8 == 0) return aligned(to, from, size);
  const long width = bits % 4 ? 2 : 4;
  units(to, from, n / width * width, n, 1, -1);
  units(to, from, 0, n / width * width, width, 1);
}

// Every pair of places and every length, on a buffer that starts at a multiple of 8.
void compareMoves(const char* name, unsigned long step, const Move& ours, const Move& model) {
  constexpr unsigned long kRoom = 96;
  constexpr unsigned long kPlaces = 24;
  alignas(8) unsigned char expected[kRoom];
  alignas(8) unsigned char actual[kRoom];
  for (unsigned long to = 0; to <= kPlaces; to += step) {
    for (unsigned long from = 0; from <= kPlaces; from += step) {
      for (unsigned long n = 0; n <= 40; ++n) {
        for (unsigned long i = 0; i < kRoom; ++i) expected[i] = actual[i] = static_cast<unsigned char>(i);
        model(expected + to, expected + from, n);
        ours(actual + to, actual + from, n);
        ASSERT_EQ(std::memcmp(actual, expected, kRoom), 0) << name << ' ' << to << ' ' << from << ' ' << n;
      }
    }
  }
}

TEST(Mem, MovesKeepTheirDirectionWhereRangesOverlap) {
  compareMoves("memCopy", 1, memCopy, forward);
  compareMoves("memMove", 1, memMove, forward);
  compareMoves("memCopyHuge", 1, memCopyHuge, forward);
  compareMoves("memCopyReverse", 1, memCopyReverse, backward);
  compareMoves("memCopyAligned", 8, memCopyAligned, aligned);
  compareMoves("fastMemCopy", 1, fastMemCopy, fast);
}

TEST(Mem, EqualityAndOrderOfUnsignedBytesWithinTheRange) {
  for (unsigned long n = 0; n < 20; ++n) {
    Bytes a(n, 0x7F);  // blocks of exactly n bytes: a read beyond them is seen
    Bytes b(n, 0x7F);
    EXPECT_TRUE(memEqual(a.data(), b.data(), n));
    EXPECT_EQ(memCompare(a.data(), b.data(), n), 0);
    for (unsigned long i = 0; i < n; ++i) {
      b[i] = 0x80;
      EXPECT_FALSE(memEqual(a.data(), b.data(), n));
      EXPECT_EQ(memCompare(a.data(), b.data(), n), -1);
      EXPECT_EQ(memCompareHuge(b.data(), a.data(), n), 1);
      b[i] = 0x7F;
    }
  }
}

TEST(Mem, FillsReachExactlyTheirRange) {
  for (unsigned long from = 0; from < 8; ++from) {
    for (unsigned long n = 0; n < 24; ++n) {
      Bytes bytes(40, 'x');
      Bytes expected = bytes;
      memZero(bytes.data() + from, n);
      std::fill_n(expected.begin() + static_cast<long>(from), n, 0);
      EXPECT_EQ(bytes, expected);
    }
  }
  Bytes words(13, 'x');
  memZero4Byte(words.data(), 3);
  EXPECT_EQ(words, Bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 'x'}));
}

TEST(Mem, SwapsInStepsAndByElement) {
  for (const unsigned long n : {1UL, 511UL, 512UL, 513UL, 1500UL}) {
    Bytes a(n);
    Bytes b(n);
    for (unsigned long i = 0; i < n; ++i) {
      a[i] = static_cast<unsigned char>(i * 7);
      b[i] = static_cast<unsigned char>(i * 11 + 3);
    }
    const Bytes oldA = a;
    const Bytes oldB = b;
    memSwap(a.data(), b.data(), n);
    EXPECT_EQ(a, oldB);
    EXPECT_EQ(b, oldA);
  }
  std::string elements = "aaabbbccc";
  butswap(elements.data(), 0, 2, 3);
  butswap(elements.data(), 1, 1, 3);
  EXPECT_EQ(elements, "cccbbbaaa");
}

TEST(Mem, BoundariesKeepTheirOddFormula) {
  const struct {
    unsigned long value;
    unsigned short boundary;
    unsigned long expected;
  } cases[] = {{5, 4, 8}, {1, 4, 0}, {9, 8, 16}, {0, 4, 3}, {16, 8, 23}};
  for (const auto& c : cases) {
    unsigned long value = c.value;
    void* address = reinterpret_cast<void*>(c.value);
    auto small = static_cast<unsigned short>(c.value);
    alignOnByteBoundary(value, c.boundary);
    alignOnByteBoundary(address, c.boundary);
    alignOnByteBoundary(small, c.boundary);
    EXPECT_EQ(value, c.expected);
    EXPECT_EQ(reinterpret_cast<unsigned long>(address), c.expected);
    EXPECT_EQ(small, c.expected);
  }
  unsigned short wraps = 0xFFFF;
  alignOnByteBoundary(wraps, 4);
  EXPECT_EQ(wraps, 2);
}

}  // namespace
