// Text out of temporary stores and into them, in pieces of any size, against ICU on the whole text.

#include <gtest/gtest.h>

#include "tests/convert/pieces.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/file_faults.h"
#include "zulib/convert/converters/zutmpfileconverter.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/storage/memfile.h"
#include "zulib/storage/tmp.h"

namespace {

constexpr unsigned long kElsewhere = 1 << 20;  // in a store, beyond every value

// UTF-8, UTF-16 of both orders, Latin-1, Windows-1252, EUC-KR, EUC-JP, GB18030, and two with states:
// ISO-2022-JP and UTF-7, which comes last: as a source it could have halves of pairs.
constexpr long kPages[] = {106, 1014, 1013, 4, 2252, 38, 18, 114, 39, 1012};
bool hasStates(long page) { return page == 39 || page == 1012; }
bool hasUnits(long page) { return page == 1014 || page == 1013; }

// ICU's reading of a text that may go on.
std::u16string decodeOpen(long page, const std::string& bytes) {
  std::u16string units(2 * bytes.size() + 8, 0);
  char16_t* out = units.data();
  const char* in = bytes.data();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUnicode(openPage(page).get(), &out, out + units.size(), &in, in + bytes.size(), nullptr, 0, &status);
  units.resize(static_cast<size_t>(out - units.data()));
  return units;
}

class TmpFileConverter : public testing::Test {
 protected:
  TmpFileConverter() { ZuErrorKeeper::setErrorList(&errors); }
  ~TmpFileConverter() override { ZuErrorKeeper::giveUpErrorList(); }

  // Draws two pages and a text of the first; what the text is in UTF-16 and in the second.
  void draw() {
    from = kPages[upTo(std::size(kPages) - 2)];
    to = kPages[upTo(std::size(kPages) - 1)];
    longest = upTo(20) == 0 ? 6000 : 30;
    value = randomText(random, from, static_cast<unsigned>(upTo(longest)), true);
    text = decodeOpen(from, value);
    whole = encode(to, text, false);
  }

  // What a piece with `room` bytes for characters takes of the text: whole characters, and one that would be
  // cut is lost.
  std::string takePiece(unsigned long room) {
    std::string piece;
    while (at < text.size() && piece.size() < room) {
      const std::u16string character = text.substr(at, U16_IS_LEAD(text[at]) ? 2 : 1);
      const std::string bytes = encode(to, character, false);
      at += character.size();
      if (piece.size() + bytes.size() > room) break;
      piece += bytes;
    }
    return piece;
  }

  unsigned long upTo(unsigned long n) { return random() % (n + 1); }
  unsigned takeError() {
    const unsigned number = ZuErrorKeeper::getLastErrorNumber();
    errors.clearErrors();
    return number;
  }

  std::mt19937 random{7};
  ZuErrorList errors;
  long from = 0, to = 0;
  unsigned long longest = 0;
  std::string value, whole;
  std::u16string text;
  size_t at = 0;
};

TEST_F(TmpFileConverter, PiecesAreTheWholeTextOrItsWholeCharacters) {
  for (int round = 0; round < 1000; ++round) {
    draw();
    SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
    ZuTmpFile file(4096, 0);
    MemFile blocks(1 + upTo(40));
    ASSERT_EQ(file.tmpWrite(0, value.data(), value.size()) | blocks.append(value.data(), value.size()), 0);
    const auto memory = reinterpret_cast<const unsigned char*>(value.data());
    ZuTmpFileConverter readers[] = {
        {&file, value.size(), from, to}, {memory, value.size(), from, to}, {&blocks, from, to}};
    ZuTmpFileConverter& reader = readers[upTo(2)];
    const int terminate = hasStates(to) ? 0 : static_cast<int>(upTo(1));
    const unsigned long least = !terminate ? 0 : hasUnits(to) ? 2 : 1;
    std::string joined;
    at = 0;
    for (int more = 1; more;) {
      const unsigned long size = upTo(longest);
      std::vector<unsigned char> buffer(size);
      long length = -1;
      ASSERT_EQ(reader.convert(buffer.data(), size, terminate, &length, &more), 0);
      const std::string piece(buffer.begin(), buffer.begin() + length);
      joined += piece;
      ASSERT_TRUE(piece == (terminate ? takePiece(size < least ? 0 : size - least)
                                      : whole.substr(joined.size() - piece.size(), size)));
      ASSERT_EQ(takeError(), more && terminate ? unsigned{ZU_MSG_TRUNCATED} : 0u);
      for (unsigned long i = 0; i < least && size >= least; ++i) ASSERT_EQ(buffer[piece.size() + i], 0);
      // Other work on the store takes the places of its pages.
      ASSERT_EQ(file.tmpWrite(kElsewhere + upTo(20) * 2048, "other", upTo(5)), 0);
    }
    ASSERT_TRUE(terminate ? at == text.size() : joined == whole);
  }
}

TEST_F(TmpFileConverter, PiecesThatAreWrittenAreTheWholeText) {
  for (int round = 0; round < 500; ++round) {
    draw();
    SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
    ZuTmpFile file(4096, 0);
    // Room for one more character: ICU takes the first half of one only if there is some.
    std::vector<unsigned char> memory(whole.size() + 4);
    const bool toFile = upTo(1);
    ZuTmpFileConverter writers[] = {{from, to, &file}, {from, to, memory.data(), memory.size()}};
    ZuTmpFileConverter& writer = writers[toFile ? 0 : 1];
    for (int pass = 0; pass < 2; ++pass) {
      long length = 0;
      for (size_t done = 0; done < value.size();) {
        const unsigned long n = std::min(value.size() - done, 1 + upTo(longest));
        std::string piece = value.substr(done, n);
        ASSERT_EQ(writer.convert(reinterpret_cast<unsigned char*>(piece.data()), n, &length), 0);
        done += n;
      }
      ASSERT_EQ(static_cast<unsigned long>(length), whole.size());
      std::string stored(memory.begin(), memory.end() - 4);
      if (toFile && !whole.empty()) {
        ASSERT_EQ(file.tmpRead(0, stored.data(), whole.size()), 0);
      }
      ASSERT_TRUE(stored == whole);
      ASSERT_EQ(writer.reset(memory.size()), 0);
    }
    ASSERT_EQ(takeError(), 0u);
  }
}

TEST_F(TmpFileConverter, FullMemoryAndWrongCallsAreReportedAndAddNothing) {
  unsigned char memory[3] = {};
  unsigned char abcd[] = "abcd";
  long length = -1;
  int more = -1;
  ZuTmpFileConverter writer(106, 4, memory, 3);
  EXPECT_EQ(writer.convert(abcd, 2, &length) | writer.convert(abcd, 4, &length), 0);
  EXPECT_EQ(length, 0);
  EXPECT_STREQ(errors.getLastError()->getInterfaceCode(), "01004");
  EXPECT_EQ(takeError(), ZU_MSG_TRUNCATED);
  EXPECT_EQ(writer.convert(abcd, 1, &length), 0);
  EXPECT_EQ(length, 3);
  EXPECT_EQ(memory[2], 'a') << "nothing of the piece that did not fit";
  EXPECT_EQ(writer.convert(memory, 3, 0, &length, &more), 1) << "it is for writing";
  ZuTmpFileConverter reader(abcd, 4, 106, 4);
  EXPECT_EQ(reader.convert(memory, 3, &length), 1) << "it is for reading";
  EXPECT_EQ(takeError(), ZU_MSG_CONVERSION_FAILED);
  EXPECT_EQ(reader.convert(memory, 3, 0, &length, &more) | reader.reset(2), 0);
  EXPECT_EQ(reader.convert(memory, 3, 1, &length, &more), 0);
  EXPECT_STREQ(reinterpret_cast<char*>(memory), "ab") << "the value from its start";
  ZuTmpFileConverter unknown(abcd, 4, 14, 4);
  EXPECT_EQ(unknown.convert(memory, 3, 0, &length, &more), 1);
  EXPECT_EQ(takeError(), ZU_MSG_CODE_PAGE_NOT_FOUND);
}

// A failure of the file or of memory is passed on; after a reset the converters serve another value.
TEST_F(TmpFileConverter, EveryCallOfTheFileAndEveryAllocationMayFail) {
  const std::string text(10000, 'x');
  std::string buffer(text.size() + 1, 0);
  const auto roundTrip = [&](auto& faults) {
    ZuTmpFile file(4096, 0);
    ZuTmpFileConverter writer(106, 1014, &file);
    ZuTmpFileConverter reader(&file, 2 * text.size(), 1014, 106);
    const auto run = [&] {
      const auto bytes = reinterpret_cast<unsigned char*>(buffer.data());
      long length = 0;
      int more = 0;
      buffer.replace(0, text.size(), text);
      return writer.convert(bytes, text.size(), &length) == 0 &&
             reader.convert(bytes, buffer.size(), 1, &length, &more) == 0;
    };
    const bool good = run();
    faults.stop();
    EXPECT_EQ(takeError() == 0, good);
    EXPECT_TRUE(writer.reset(0) == 0 && reader.reset(2 * text.size()) == 0 && run());
    EXPECT_TRUE(buffer.compare(0, text.size(), text) == 0);
    return good;
  };
  EXPECT_GE(sweepFileCalls([&](FileFaults& faults) { return roundTrip(faults); }), 10u);
  EXPECT_GE(sweepAllocations([&](FaultAllocator& faults) { return roundTrip(faults); }), 5u);
}

}  // namespace
