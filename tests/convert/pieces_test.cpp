// Values through the character converters in random pieces, beside ICU's conversion of the whole text.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/convert/pieces.h"
#include "tests/support/fault_allocator.h"
#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/converters/zucharconverter.h"
#include "zulib/convert/converters/zucharconverterinput.h"
#include "zulib/convert/converters/zusimplecharconverter.h"
#include "zulib/convert/sources/zumemory.h"
#include "zulib/convert/sources/zumultimemory.h"
#include "zulib/convert/sources/zutmpfilevalue.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace {

constexpr long kLE = UCNV_IANA_UTF_16LE, kBE = UCNV_IANA_UTF_16BE, kUTF8 = UCNV_IANA_UTF_8;
constexpr long kJIS = 39, kUTF7 = 1012, kEbcdic = 2000000930, kKorean = 37, kEUC = 18, kGB18030 = 114;
constexpr long kLatin1 = UCNV_IANA_LATIN_1, kWindows = 2252, kUTF32 = 1019, kNotInstalled = 14;
constexpr long kSCSU = 1011;  // ICU chooses among encodings by how much of the text it sees at once

bool isUTF16(long page) { return page == kLE || page == kBE; }

unsigned short minSize(long page) {
  return static_cast<unsigned short>(ucnv_getMinCharSize(openPage(page).get()));
}

bool isShifting(long page) {
  const UConverterType type = ucnv_getType(openPage(page).get());
  return type == UCNV_EBCDIC_STATEFUL || type == UCNV_ISO_2022 || type == UCNV_UTF7 || type == UCNV_HZ;
}

// The pieces of a terminated buffer of UTF-16 between two pages: whole pairs.
class UnitPieces {
 public:
  explicit UnitPieces(std::u16string text) : text(std::move(text)) {}
  // `isStuck`: the converter reports half a pair at the end of the value.
  std::u16string next(unsigned long size, bool isStuck) {
    const unsigned long limit = size < 2 ? 0 : size / 2 - 1;
    if (held) {
      if (limit == 0) return {};
      return {std::exchange(held, 0)};  // alone, so that buffers of one unit get on
    }
    std::u16string piece = text.substr(position, limit);
    position += piece.size();
    if (piece.size() < limit || piece.empty() || !U16_IS_LEAD(piece.back())) return piece;
    if (!isStuck) held = piece.back();
    piece.pop_back();
    return piece;
  }

 private:
  std::u16string text;
  size_t position = 0;
  char16_t held = 0;
};

// The pieces of a terminated buffer of another page: a character that the limit cuts is dropped.
class WholePieces {
 public:
  WholePieces(long page, std::u16string text) : converter(openPage(page)), text(std::move(text)) {
    min = static_cast<unsigned long>(ucnv_getMinCharSize(converter.get()));
  }
  std::string next(unsigned long size) {
    const unsigned long limit = size > min ? size - min : 0;
    std::string piece(limit, 0);
    std::vector<int32_t> offsets(limit + 1);
    const char16_t* in = text.data();
    char* out = piece.data();
    UErrorCode status = U_ZERO_ERROR;
    ucnv_fromUnicode(converter.get(), &out, out + limit, &in, in + text.size(), offsets.data(), true,
                     &status);
    size_t end = static_cast<size_t>(out - piece.data());
    text.erase(0, static_cast<size_t>(in - text.data()));
    char rest[100];
    char* held = rest;
    if (status == U_BUFFER_OVERFLOW_ERROR) {
      status = U_ZERO_ERROR;
      ucnv_fromUnicode(converter.get(), &held, std::end(rest), &in, in, nullptr, false, &status);
    }
    if (held != rest) {
      const int32_t last = end ? offsets[end - 1] : 0;
      while (end > 0 && offsets[end - 1] >= last) --end;
      ucnv_resetFromUnicode(converter.get());
      ++dropped;
    }
    piece.resize(end);
    return piece;
  }
  int dropped = 0;

 private:
  Converter converter;
  std::u16string text;
  unsigned long min;
};

// The pieces of a terminated buffer in one page of UTF-16, with what is held back of a pair.
class SamePieces {
 public:
  SamePieces(bool isBE, std::string text) : isBE(isBE), text(std::move(text)) {}
  std::string next(const unsigned char* buffer, unsigned long size) {
    const unsigned long limit = size < 2 ? 0 : size - 2;
    if (held.size() > limit) return {};
    std::string piece = held + text.substr(0, limit - held.size());
    text.erase(0, piece.size() - held.size());
    held.clear();
    const auto address = reinterpret_cast<std::uintptr_t>(buffer) + piece.size();
    if (address % 2 && !piece.empty()) {
      held = piece.back();
      piece.pop_back();
    }
    if (piece.size() < 2 || (static_cast<unsigned char>(piece.end()[isBE ? -2 : -1]) & 0xFC) != 0xD8)
      return piece;
    held.insert(0, {piece.back(), static_cast<char>(piece.back() < 0 ? -1 : 0)});
    isCut = true;
    piece.resize(piece.size() - 2);
    return piece;
  }
  bool isCut = false;  // in this piece or one before

 private:
  bool isBE;
  std::string text, held;
};

bool isSame(long page, const std::string& a, const std::string& b) {
  return a == b || (page == kSCSU && decode(page, a) == decode(page, b));
}

bool isEndCut(long page, const std::string& bytes) {
  const Converter converter = openPage(page);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  std::u16string units(bytes.size() * 4 + 40, 0);
  const char* in = bytes.data();
  char16_t* out = units.data();
  ucnv_toUnicode(converter.get(), &out, out + units.size(), &in, in + bytes.size(), nullptr, true, &status);
  return status == U_TRUNCATED_CHAR_FOUND;
}

void noteSubstitution(const void* context, UConverterFromUnicodeArgs* args, const UChar* units,
                      int32_t length, UChar32 c, UConverterCallbackReason reason, UErrorCode* status) {
  if (reason <= UCNV_IRREGULAR) *static_cast<bool*>(const_cast<void*>(context)) = true;
  UCNV_FROM_U_CALLBACK_SUBSTITUTE(nullptr, args, units, length, c, reason, status);
}

bool isSubstituted(long page, const std::u16string& units, bool flush) {
  if (isUTF16(page)) return false;
  bool noted = false;
  const Converter converter = openPage(page);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setFromUCallBack(converter.get(), noteSubstitution, &noted, nullptr, nullptr, &status);
  std::string bytes(units.size() * 12 + 100, 0);
  const char16_t* in = units.data();
  char* out = bytes.data();
  ucnv_fromUnicode(converter.get(), &out, out + bytes.size(), &in, in + units.size(), nullptr, flush,
                   &status);
  return noted;
}

class Pieces : public testing::Test {
 protected:
  Pieces() { ZuErrorKeeper::setErrorList(&errors); }
  ~Pieces() override { ZuErrorKeeper::giveUpErrorList(); }

  long anyPage() {
    static constexpr long kOften[] = {kLE,     kBE,     kLE,  kUTF8,    kJIS,   kUTF7,
                                      kEbcdic, kKorean, kEUC, kGB18030, kLatin1};
    if (random() % 2) return kOften[random() % std::size(kOften)];
    return openPages()[random() % openPages().size()];
  }

  unsigned anyLength() {
    switch (random() % 8) {
      case 0: return 0;
      case 1: return random() % 20000;
      case 2: return random() % 2000;
      default: return random() % 40;
    }
  }

  // The warnings of the list, which must have no error; the list is then empty.
  int takeWarnings() {
    int warnings = 0;
    for (ZuError* e = errors.getFirstNode(); e; e = errors.getNextNode()) {
      EXPECT_TRUE(e->isWarning()) << e->getErrorNumber();
      EXPECT_EQ(e->getErrorNumber(), ZU_MSG_SUBSTITUTED);
      ++warnings;
    }
    errors.clearErrors();
    return warnings;
  }

  void expectError(ZuMessage number = ZU_MSG_CONVERSION_FAILED) {
    EXPECT_EQ(ZuErrorKeeper::getLastErrorNumber(), number);
    EXPECT_STREQ(ZuErrorKeeper::getLastError()->getInterfaceCode(), "HY000");
    EXPECT_EQ(ZuErrorKeeper::getLastError()->getInterfaceError(), 60);
    errors.clearErrors();
  }

  std::mt19937 random{7};
  ZuErrorList errors{nullptr, 1};
  ZuICUHandleCache cache{8, ZuReportAsWarning};
};

TEST_F(Pieces, ToTheApplicationAreTheWhole) {
  int dropped = 0;
  for (int round = 0; round < 4000 && !HasFailure(); ++round) {
    const long from = anyPage();
    const long to = random() % 6 ? anyPage() : from;
    const std::string text = randomText(random, from, anyLength(), random() % 2);
    const auto kind = static_cast<PieceSink::Kind>(random() % 4 % 3);
    // A page that shifts writes the end of one character with the next: which of them a cut drops is told by
    // the input steps, so that there must be one.
    const bool inOneStep = isShifting(to);
    const bool terminates = to != kSCSU && !(inOneStep && text.size() > 8000) && random() % 2;
    const unsigned most = text.size() > 500 ? 40 + random() % 5000 : 4 + random() % 60;
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << from << " to " << to << ", "
                                    << text.size() << " bytes, sink " << kind
                                    << (terminates ? ", terminated" : ""));
    PieceSink sink(random, kind, most);
    ZuCharConverter converter(new PieceSource(random, text, inOneStep ? 1U << 30 : most), &sink, from, to,
                              terminates, ZuReportAsWarning);
    if (random() % 2) converter.setHandleCache(&cache);
    sink.setBuffer(random() % 2 * 3);  // what is prepared for it must not be lost
    ASSERT_EQ(converter.init(), 0);

    const bool isWhole = kind == PieceSink::Fixed && terminates;
    const std::u16string units = decode(from, text);
    const std::string whole = from == to ? text : encode(to, units, kind == PieceSink::Fixed);
    UnitPieces unitPieces(units);
    SamePieces samePieces(to == kBE, text);
    WholePieces wholePieces(to, units);
    const unsigned short min = isUTF16(to) ? 2 : minSize(to);
    converter.setSinkBytes(whole.size() + 100000);
    int warnings = 0;
    for (unsigned n = 0; sink.lastMore != 0; ++n) {
      ASSERT_LT(n, text.size() * 8 + 50) << "no end";
      if (kind == PieceSink::Fixed) sink.setBuffer(n % 16 ? random() % (most + 1) : most + 30);
      ASSERT_EQ(kind == PieceSink::Fixed || n == 0 ? converter.resetSink() : 0, 0);
      sink.piece.clear();
      ASSERT_EQ(converter.convert(), 0);
      const int now = takeWarnings();
      EXPECT_LE(now, 1);
      warnings += now;
      EXPECT_EQ(converter.getSinkBytes(), whole.size() + 100000 - sink.joined.size());
      if (kind == PieceSink::Copying) break;
      if (!isWhole) continue;
      if (from != to && isUTF16(to)) {
        EXPECT_EQ(sink.piece, encode(to, unitPieces.next(sink.size, converter.getStickyError() != 0)));
      } else if (from != to) {
        ASSERT_EQ(sink.piece, wholePieces.next(sink.size)) << "piece " << n << " in " << sink.size;
      } else if (isUTF16(to)) {
        ASSERT_EQ(sink.piece, samePieces.next(sink.data(), sink.size));
      }
      if (!samePieces.isCut) {
        const auto zeros = std::min<unsigned long>(sink.size, min > 1 ? 2 : 1);
        const std::string after(reinterpret_cast<const char*>(sink.data()) + sink.piece.size(), zeros);
        EXPECT_EQ(after, std::string(zeros, 0));
      }
      if (converter.getStickyError()) {
        EXPECT_EQ(converter.convert(), 1);
        expectError();
        break;
      }
    }
    dropped += wholePieces.dropped;
    if (!isWhole) {
      EXPECT_TRUE(isSame(to, sink.joined, whole));
    } else if (from == to && !isUTF16(to)) {
      EXPECT_EQ(sink.joined, whole.substr(0, sink.joined.size()));
      EXPECT_TRUE(sink.joined == whole || isEndCut(to, whole.substr(sink.joined.size())));
    } else if (!isUTF16(to) && wholePieces.dropped == 0) {
      EXPECT_TRUE(sink.joined == whole) << "nothing is lost but what straddles a buffer's end";
    }
    const bool isMissing = from != to && isSubstituted(to, units, kind == PieceSink::Fixed);
    EXPECT_EQ(warnings > 0, isMissing);
  }
  EXPECT_GT(dropped, 100);
}

}  // namespace
