// Text out of temporary stores and into them, in pieces of any size, against ICU on the whole text; in this
// room for its files that fail.

#include <unicode/ucnv.h>

#include <vector>

#include "tests/storage/support.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/file_faults.h"
#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/converters/zutmpfileconverter.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/storage/memfile.h"
#include "zulib/storage/tmp.h"

namespace {

constexpr unsigned long kElsewhere = 1 << 20;  // in a store, beyond every value

// UTF-8, UTF-16 of both orders, Latin-1, Windows-1252, EUC-KR, EUC-JP, GB18030, and two with states:
// ISO-2022-JP, UTF-7.
constexpr long kPages[] = {106, 1014, 1013, 4, 2252, 38, 18, 114, 39, 1012};
long somePage(storagetest::Dice& dice) { return kPages[dice(std::size(kPages))]; }

class Converter {
 public:
  explicit Converter(long page) {
    UErrorCode status = U_ZERO_ERROR;
    handle = ucnv_open(ucnvIANAidToICUname(page), &status);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() { ucnv_close(handle); }

  std::string write(const std::u16string& text) {
    std::string out(8 * text.size() + 8, 0);
    char* target = out.data();
    const char16_t* from = text.data();
    UErrorCode status = U_ZERO_ERROR;
    ucnv_fromUnicode(handle, &target, out.data() + out.size(), &from, from + text.size(), nullptr, 0,
                     &status);
    out.resize(static_cast<unsigned long>(target - out.data()));
    return out;
  }
  std::u16string read(const std::string& text) {
    std::u16string out(2 * text.size() + 8, 0);
    char16_t* target = out.data();
    const char* from = text.data();
    UErrorCode status = U_ZERO_ERROR;
    ucnv_toUnicode(handle, &target, out.data() + out.size(), &from, from + text.size(), nullptr, 0, &status);
    out.resize(static_cast<unsigned long>(target - out.data()));
    return out;
  }

 private:
  UConverter* handle;
};

class TmpFileConverter : public storagetest::StorageTest {
 protected:
  // Text of `page` with characters of every length, now and then with bytes that are none.
  std::string randomText(long page, unsigned long characters) {
    std::u16string text;
    const unsigned long kind = dice(4);
    for (unsigned long i = 0; i < characters; ++i) {
      const unsigned long choice = dice(kind + 1);
      if (choice == 3) text += {static_cast<char16_t>(0xD83D), static_cast<char16_t>(0xDC00 + dice(0x200))};
      if (choice != 3)
        text += static_cast<char16_t>(choice == 0   ? 'a' + dice(26)
                                      : choice == 1 ? 0xC0 + dice(64)
                                                    : 0x3041 + dice(80));
    }
    std::string bytes = Converter(page).write(text);
    for (char& c : bytes) {
      if (kind == 3 && dice(40) == 0) c = static_cast<char>(dice(256));
    }
    return bytes;
  }

  storagetest::Dice dice{7};
};

// What a piece of `room` bytes for characters takes of `text` from `at` on: whole characters, and the one
// that would be cut is lost.
std::string takePiece(const std::u16string& text, size_t* at, Converter& sink, unsigned long room) {
  std::string piece;
  while (*at < text.size() && piece.size() < room) {
    const size_t units = U16_IS_LEAD(text[*at]) ? 2 : 1;
    const std::string character = sink.write(text.substr(*at, units));
    *at += units;
    if (piece.size() + character.size() > room) break;
    piece += character;
  }
  return piece;
}

struct Stores {
  explicit Stores(const std::string& value, unsigned long blockSize) : file(4096, 0), blocks(blockSize) {
    failed = file.tmpWrite(0, value.data(), value.size()) | blocks.append(value.data(), value.size());
  }
  ZuTmpFile file;
  MemFile blocks;
  int failed;
};

TEST_F(TmpFileConverter, PiecesAreTheWholeTextOrItsWholeCharacters) {
  for (int round = 0; round < 1200; ++round) {
    const long from = somePage(dice);
    const long to = somePage(dice);
    const std::string value = randomText(from, round % 20 == 0 ? 6000 : dice(60));
    const std::u16string text = Converter(from).read(value);
    Converter sink(to);
    const std::string whole = sink.write(text);
    Stores stores(value, 1 + dice(40));
    ASSERT_EQ(stores.failed, 0);
    const auto memory = reinterpret_cast<const unsigned char*>(value.data());
    ZuTmpFileConverter readers[] = {
        {&stores.file, value.size(), from, to}, {memory, value.size(), from, to}, {&stores.blocks, from, to}};
    ZuTmpFileConverter& reader = readers[dice(3)];
    const int terminate = to == 39 || to == 1012 ? 0 : static_cast<int>(dice(2));
    const unsigned long least = to == 1014 || to == 1013 ? 2 : 1;
    std::string joined;
    size_t at = 0;
    for (int more = 1; more;) {
      const unsigned long size = dice(round % 20 == 0 ? 5000 : 30);
      std::vector<unsigned char> buffer(size);
      long length = -1;
      ASSERT_EQ(reader.convert(buffer.data(), size, terminate, &length, &more), 0)
          << from << " " << to << " " << takeError();
      const std::string piece(buffer.begin(), buffer.begin() + length);
      joined += piece;
      if (!terminate) {
        ASSERT_TRUE(!more || piece.size() == size);
        ASSERT_EQ(takeError(), 0u);
      } else {
        const std::string expected = size < least ? "" : takePiece(text, &at, sink, size - least);
        ASSERT_TRUE(piece == expected) << from << " " << to << " " << round;
        ASSERT_EQ(takeError(), more ? unsigned{ZU_MSG_TRUNCATED} : 0u);
        for (unsigned long i = 0; i < least && size >= least; ++i) ASSERT_EQ(buffer[piece.size() + i], 0);
      }
      if (dice(4) == 0) {  // other work on the store takes the pages' places
        ASSERT_EQ(stores.file.tmpWrite(kElsewhere + dice(20) * 2048, "other", 5), 0);
      }
    }
    if (!terminate) {
      ASSERT_TRUE(joined == whole) << from << " " << to << " " << round;
    }
    ASSERT_TRUE(at == 0 || at == text.size());
  }
}

TEST_F(TmpFileConverter, PiecesThatAreWrittenAreTheWholeText) {
  for (int round = 0; round < 600; ++round) {
    const long from = somePage(dice);
    const long to = somePage(dice);
    const std::string value = randomText(from, round % 20 == 0 ? 6000 : dice(60));
    const std::string whole = Converter(to).write(Converter(from).read(value));
    ZuTmpFile file(4096, 0);
    // Room for one more character: ICU takes the first half of one only if there is some.
    std::vector<unsigned char> memory(whole.size() + 4);
    const bool toFile = dice(2);
    ZuTmpFileConverter writers[] = {{from, to, &file}, {from, to, memory.data(), memory.size()}};
    ZuTmpFileConverter& writer = writers[toFile ? 0 : 1];
    for (int pass = 0; pass < 2; ++pass) {
      long length = 0;
      for (unsigned long at = 0; at < value.size();) {
        const unsigned long n = std::min(value.size() - at, 1 + dice(round % 20 == 0 ? 9000 : 20));
        std::vector<unsigned char> piece(value.begin() + static_cast<long>(at),
                                         value.begin() + static_cast<long>(at + n));
        ASSERT_EQ(writer.convert(piece.data(), n, &length), 0);
        at += n;
      }
      ASSERT_EQ(static_cast<unsigned long>(length), whole.size());
      std::string stored(memory.begin(), memory.end() - 4);
      if (toFile && !whole.empty()) {
        ASSERT_EQ(file.tmpRead(0, stored.data(), whole.size()), 0);
      }
      ASSERT_TRUE(stored == whole) << from << " " << to << " " << round;
      ASSERT_EQ(writer.reset(memory.size()), 0);
    }
    ASSERT_EQ(takeError(), 0u);
  }
}

TEST_F(TmpFileConverter, FullMemoryAndWrongCallsAreReportedAndAddNothing) {
  unsigned char memory[3] = {};
  unsigned char text[] = "abcd";
  long length = -1;
  int more = -1;
  ZuTmpFileConverter writer(106, 4, memory, 3);
  EXPECT_EQ(writer.convert(text, 2, &length), 0);
  EXPECT_EQ(writer.convert(text, 4, &length), 0);
  EXPECT_EQ(length, 0);
  EXPECT_STREQ(errors.getLastError()->getInterfaceCode(), "01004");
  EXPECT_EQ(takeError(), ZU_MSG_TRUNCATED);
  EXPECT_EQ(writer.convert(text, 1, &length), 0);
  EXPECT_EQ(length, 3);
  EXPECT_EQ(memory[2], 'a') << "nothing of the piece that did not fit";
  EXPECT_EQ(writer.convert(memory, 3, 0, &length, &more), 1) << "it is for writing";
  EXPECT_EQ(takeError(), ZU_MSG_CONVERSION_FAILED);

  ZuTmpFileConverter reader(text, 4, 106, 1014);
  EXPECT_EQ(reader.convert(memory, 3, &length), 1) << "it is for reading";
  EXPECT_EQ(takeError(), ZU_MSG_CONVERSION_FAILED);
  ZuTmpFileConverter unknown(text, 4, 106, 109);  // ISO-8859-13
  EXPECT_EQ(unknown.convert(memory, 3, 0, &length, &more), 0);
  EXPECT_EQ(length, 3);
  EXPECT_EQ(unknown.reset(2), 0);
  EXPECT_EQ(unknown.convert(memory, 3, 1, &length, &more), 0);
  EXPECT_STREQ(reinterpret_cast<char*>(memory), "ab");
  EXPECT_EQ(more, 0);
}

// A failure of the file or of memory is passed on; after a reset the converter serves another value.
TEST_F(TmpFileConverter, EveryCallOfTheFileAndEveryAllocationMayFail) {
  const std::string value(10000, 'x');
  const auto roundTrip = [&](auto& faults) {
    ZuTmpFile file(4096, 0);
    ZuTmpFileConverter writer(106, 1014, &file);
    ZuTmpFileConverter reader(&file, 2 * value.size(), 1014, 106);
    std::vector<unsigned char> buffer;
    {
      const FaultPause pause;
      buffer.resize(value.size() + 1);
    }
    const auto run = [&] {
      long length = 0;
      int more = 0;
      std::copy(value.begin(), value.end(), buffer.begin());
      if (writer.convert(buffer.data(), value.size(), &length)) return false;
      EXPECT_EQ(static_cast<unsigned long>(length), 2 * value.size());
      if (reader.convert(buffer.data(), buffer.size(), 1, &length, &more)) return false;
      EXPECT_EQ(static_cast<unsigned long>(length), value.size());
      return true;
    };
    const bool good = run();
    faults.stop();
    EXPECT_EQ(takeError() == 0, good);
    EXPECT_EQ(writer.reset(0) | reader.reset(2 * value.size()), 0);
    EXPECT_TRUE(run());
    EXPECT_TRUE(std::equal(value.begin(), value.end(), buffer.begin()));
    return good;
  };
  EXPECT_GE(sweepFileCalls([&](FileFaults& faults) { return roundTrip(faults); }), 10u);
  EXPECT_GE(sweepAllocations([&](FaultAllocator& faults) { return roundTrip(faults); }), 5u);
}

}  // namespace
