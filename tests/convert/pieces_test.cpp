// Values through the character converters in random pieces, beside ICU's conversion of the whole text.

#include <gmock/gmock.h>
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

// The bytes of each character; 0: there are several sizes. The units of UTF-16 count as characters, also if
// their order is told by a signature.
unsigned long fixedSize(long page) {
  const int max = ucnv_getMaxCharSize(openPage(page).get());
  return minSize(page) == max ? minSize(page) : 0;
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
  bool isCut = false;
  if (isUTF16(page)) return bytes.size() < 3;
  decode(page, bytes, true, &isCut);
  return isCut;
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
    if (kind == PieceSink::Fixed && from != to && !converter.getStickyError()) {
      sink.setBuffer(60);
      ASSERT_EQ(converter.resetSink() || converter.convert(), 0);
      EXPECT_EQ(sink.piece + std::to_string(sink.lastMore), "0") << "nothing comes after the end";
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

TEST_F(Pieces, FromTheApplicationAreTheWhole) {
  int cut = 0;
  for (int round = 0; round < 4000 && !HasFailure(); ++round) {
    const long from = anyPage();
    const long to = random() % 6 ? anyPage() : from;
    const std::string text = randomText(random, from, anyLength(), random() % 2);
    const auto kind = static_cast<PieceSink::Kind>(random() % 3);
    const bool isFinal = random() % 2;
    const unsigned most = text.size() > 500 ? 40 + random() % 5000 : 4 + random() % 60;
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << from << " to " << to << ", "
                                    << text.size() << " bytes, sink " << kind << (isFinal ? ", final" : ""));
    PieceSink sink(random, kind, most);
    auto* const source = new PieceSource(random, {}, most);
    ZuCharConverterInput converter(source, &sink, from, to, ZuReportAsWarning);
    if (random() % 2) converter.setHandleCache(&cache);
    sink.setBuffer(random() % most);
    ASSERT_EQ(converter.init(), 0);
    bool isCut = false;
    const std::u16string units = decode(from, text, isFinal, &isCut);
    const std::string whole = from == to ? text : encode(to, units, isFinal && kind == PieceSink::Fixed);
    int failed = 0;
    for (size_t at = 0, n = 0; !failed && (at < text.size() || n == 0); at += n) {
      n = std::min<size_t>(text.size() - at, 1 + random() % (2 * most));
      source->setChunk(text.substr(at, n));
      ASSERT_EQ(converter.resetSource(), 0);
      if (isFinal && at + n == text.size()) converter.setFinalData(1);
      do {
        sink.lastMore = -1;
        failed = converter.convert();
        if (kind != PieceSink::Fixed || sink.lastMore == -1) break;
        sink.setBuffer(1 + random() % most);
        ASSERT_EQ(converter.resetSink(), 0);
      } while (sink.lastMore == 1 && !failed);
      n = std::max<size_t>(n, 1);
    }
    const bool endsCut = isFinal && isCut && from != to;
    ASSERT_EQ(failed != 0, endsCut);
    if (endsCut) {
      ++cut;
      EXPECT_TRUE(errors.isExistingError());
      errors.clearErrors();
      EXPECT_EQ(converter.convert(), 1) << "sticky";
      expectError();
      errors.clearErrors();
      continue;
    }
    ASSERT_EQ(converter.flushSink(), 0);
    EXPECT_EQ(sink.lastMore, 0);
    EXPECT_TRUE(isSame(to, sink.joined, whole));
    const bool isMissing = from != to && isSubstituted(to, units, isFinal && kind == PieceSink::Fixed);
    EXPECT_EQ(takeWarnings() > 0, isMissing);
  }
  EXPECT_GT(cut, 20);
}

TEST_F(Pieces, OfTextInMemoryAreTheWhole) {
  for (int round = 0; round < 3000 && !HasFailure(); ++round) {
    const long page = anyPage();
    const bool terminates = random() % 4;
    const bool broken = random() % 2;
    const std::string text = randomText(random, page, random() % 60, broken);
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << page << ", " << text.size() << " bytes");
    ZuMemorySink sink;
    sink.setNotOwned(1);
    ZuSimpleCharConverter converter;
    if (random() % 2) converter.setHandleCache(&cache);
    const auto* const data = reinterpret_cast<const unsigned char*>(text.data());
    ASSERT_EQ(converter.reset(data, text.size(), &sink, page, terminates), 0);
    converter.calculateSinkBytes(text.size(), kZuUnknownLength);
    std::string joined;
    do {
      const unsigned long size = random() % 8 ? random() % (random() % 2 ? 4 : 40) : 60;
      const auto buffer = std::make_unique<unsigned char[]>(size);
      sink.setBuffer(buffer.get(), size);
      ASSERT_EQ(converter.resetSink(), 0);
      ASSERT_EQ(converter.convert(), 0);
      const std::string piece(reinterpret_cast<char*>(buffer.get()), sink.getWritten());
      joined += piece;
      EXPECT_EQ(converter.getSinkBytes(), text.size() - joined.size());
      EXPECT_TRUE(!terminates || size == 0 || buffer[piece.size()] == 0) << size;
      if (terminates && sink.isTruncated() && !broken && !isShifting(page)) {
        const std::u16string rest = decode(page, text.substr(joined.size()));
        const std::u16string before = u' ' + decode(page, piece);
        EXPECT_FALSE(isUTF16(page) && U16_IS_LEAD(before.back()) && U16_IS_TRAIL(rest.front()));
        EXPECT_FALSE(fixedSize(page) ? piece.size() % fixedSize(page) : isEndCut(page, piece));
      }
    } while (sink.isTruncated());
    EXPECT_EQ(joined, text);
  }
}

TEST_F(Pieces, MeasuredInATemporaryFileAreTheWhole) {
  for (int round = 0; round < 300 && !HasFailure(); ++round) {
    const long from = anyPage();
    const long to = anyPage();
    const std::string text = randomText(random, from, anyLength() % 3000, true);
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << from << " to " << to);
    const std::string whole = from == to ? text : encode(to, decode(from, text), false);
    const unsigned long blockSize = 64 + random() % 3000;
    PieceSink sink(random, PieceSink::Fixed, 1);
    ZuTmpFileSink file(blockSize);
    ZuCharConverter converter(new PieceSource(random, text, 500), &sink, from, to, 0, ZuReportNone);
    ASSERT_EQ(converter.init(), 0);
    ZuDataSource* old = nullptr;
    ASSERT_EQ(converter.calculateSinkBytes(&file, new ZuTmpFileSource(blockSize), &old), 0);
    delete old;
    EXPECT_TRUE(to == kSCSU || converter.getSinkBytes() == whole.size());
    while (sink.lastMore != 0) {
      sink.setBuffer(1 + random() % 1000);
      ASSERT_EQ(converter.resetSink(), 0);
      ASSERT_EQ(converter.convert(), 0);
    }
    EXPECT_TRUE(isSame(to, sink.joined, whole));
    EXPECT_EQ(converter.getSinkBytes(), 0u);
  }
}

TEST_F(Pieces, LengthsAreKnownWhereCharactersHaveOneSize) {
  constexpr unsigned long kNone = kZuUnknownLength;
  const struct {
    long from, to;
    int terminates;
    unsigned long bytes, chars, expected;
  } cases[] = {{kLatin1, kLE, 0, 10, kNone, 20},       {kUTF8, kLE, 0, 10, kNone, kNone},
               {kUTF8, kLE, 1, kNone, 10, 20},         {kLE, kLatin1, 0, 10, kNone, 5},
               {kLE, kUTF8, 1, 10, 5, kNone},          {kUTF8, kUTF8, 1, 10, kNone, 10},
               {kUTF8, kUTF8, 1, kNone, 5, kNone},     {kLatin1, kLatin1, 1, kNone, 5, 5},
               {kLatin1, kLatin1, 0, kNone, 5, kNone}, {kLatin1, kUTF32, 1, 10, kNone, 40},
               {kLE, kBE, 0, 10, kNone, 10},           {kLE, kLE, 0, kNone, kNone, kNone}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.from << " to " << c.to << ", " << c.terminates);
    PieceSink sink(random, PieceSink::Fixed, 1);
    ZuCharConverter converter(new PieceSource(random, "abcdefghij", 4), &sink, c.from, c.to, c.terminates,
                              ZuReportNone);
    ASSERT_EQ(converter.init(), 0);
    converter.calculateSinkBytes(c.bytes, c.chars);
    EXPECT_EQ(converter.getSinkBytes(), c.expected);
  }
}

TEST_F(Pieces, CharactersThatAPageLacksGoByThePolicy) {
  const std::string text = "a\xC2\xA2\xE2\x82\xACz\xE2\x82\xAC";  // the euro is not in Latin-1
  for (const bool isCached : {false, true}) {
    for (const auto policy : {ZuReportNone, ZuReportAsError, ZuReportAsWarning}) {
      ZuICUHandleCache handles(1, policy);
      PieceSink sink(random, PieceSink::Fixed, 1);
      sink.setBuffer(100);
      ZuCharConverter converter(new PieceSource(random, text, 100), &sink, kUTF8, kLatin1, 1, policy);
      if (isCached) converter.setHandleCache(&handles);
      ASSERT_EQ(converter.init(), 0);
      for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(converter.convert(), policy == ZuReportAsError) << "the error is sticky";
        if (policy == ZuReportAsError) {
          expectError();
          continue;
        }
        EXPECT_EQ(takeWarnings(), policy == ZuReportAsWarning && again == 0);
        EXPECT_EQ(sink.joined, "a\xA2\x1Az\x1A");
        EXPECT_EQ(converter.resetSink(), 0);
        sink.joined.resize(5);
      }
      EXPECT_EQ(converter.getStickyError(), policy == ZuReportAsError ? U_INVALID_CHAR_FOUND : U_ZERO_ERROR);
    }
  }
}

// A transfer by either converter; whether all its calls succeeded.
bool transfer(ZuCharConverterBase& converter, PieceSink& sink, bool isInput) {
  auto* const input = dynamic_cast<ZuCharConverterInput*>(&converter);
  if (isInput) input->setFinalData(1);
  for (int n = 0; n < 2000 && sink.lastMore != 0; ++n) {
    if (sink.kind == PieceSink::Fixed) {
      sink.setBuffer(16 + static_cast<unsigned long>(n) % 9);
      if (converter.resetSink()) return false;
    }
    if (converter.convert()) return false;
    if (sink.kind == PieceSink::Copying) break;
  }
  return true;
}

TEST_F(Pieces, FailuresOfSourceAndSinkArePassedOn) {
  const std::string text = randomText(random, kUTF8, 300, false);
  const long pages[][2] = {{kUTF8, kEUC}, {kUTF8, kLE}, {kUTF8, kUTF8}, {kLE, kBE}, {kBE, kJIS}};
  for (const auto& [from, to] : pages) {
    const std::string value = encode(from, decode(kUTF8, text));
    for (const auto kind : {PieceSink::Fixed, PieceSink::Extendable, PieceSink::Copying}) {
      for (const bool isInput : {false, true}) {
        CallFault fault;
        for (fault.failAt = 1;; ++fault.failAt) {
          SCOPED_TRACE(testing::Message()
                       << from << " to " << to << ", sink " << kind << ", call " << fault.failAt);
          fault.calls = 0;
          PieceSink sink(random, kind, 50, &fault);
          auto* const source = new PieceSource(random, value, 40, &fault);
          ZuCharConverter output(source, &sink, from, to, 0, ZuReportNone);
          ZuCharConverterInput input(source, &sink, from, to, ZuReportNone);
          (isInput ? static_cast<ZuDataConverter&>(output) : input).setSourceNotOwned(1);
          ZuCharConverterBase& converter = isInput ? static_cast<ZuCharConverterBase&>(input) : output;
          const bool passed = !converter.init() && transfer(converter, sink, isInput);
          const bool triggered = fault.calls >= fault.failAt;
          EXPECT_NE(passed, triggered);
          EXPECT_EQ(takeWarnings(), 0) << "who failed has told";
          if (!triggered) break;
          sink.joined.clear();
          sink.lastMore = -1;
          auto* const fresh = new PieceSource(random, value, 40);
          fault.calls = 1000000;
          ASSERT_EQ(isInput ? input.reset(fresh, &sink, from, to) : output.reset(fresh, &sink, from, to, 0),
                    0);
          ASSERT_TRUE(transfer(converter, sink, isInput));
          EXPECT_EQ(sink.joined,
                    from == to ? value : encode(to, decode(from, value), kind == PieceSink::Fixed));
        }
      }
    }
  }
}

TEST_F(Pieces, FailedAllocationsLeaveNothingBehind) {
  const std::string text = randomText(random, kUTF8, 3000, false);
  const long pages[][2] = {{kUTF8, kEUC}, {kUTF8, kLE}, {kEUC, kEUC}};
  for (const auto& [from, to] : pages) {
    const std::string value = encode(from, decode(kUTF8, text));
    std::string buffer(4000, 0);
    ZuICUHandleCache handles(2, ZuReportAsWarning);
    sweepAllocations([&, from = from, to = to] {
      ZuMemorySource source(value.data(), value.size());
      ZuMemorySink sink(buffer.data(), 999);
      ZuMultiMemorySink blocks(512);
      sink.setNotOwned(1);
      blocks.setNotOwned(1);
      ZuCharConverter output(&source, &sink, from, to, 1, ZuReportAsWarning);
      ZuCharConverterInput input(&source, &blocks, from, to, ZuReportAsWarning);
      ZuSimpleCharConverter simple;
      output.setSourceNotOwned(1);
      input.setSourceNotOwned(1);
      output.setHandleCache(&handles);
      bool passed = !output.init() && !output.convert() && !output.resetSink() && !output.convert();
      passed = !input.init() && !input.convert() && passed;
      const auto* const data = reinterpret_cast<const unsigned char*>(value.data());
      return !simple.reset(data, value.size(), &sink, from, 1) && !simple.convert() && passed;
    });
    errors.clearErrors();
  }
}

TEST_F(Pieces, CallsOutOfOrderAreErrors) {
  PieceSink sink(random, PieceSink::Fixed, 1);
  sink.setBuffer(20);
  ZuDataSource* old = nullptr;
  ZuTmpFileSink file(100);
  ZuTmpFileSource fileSource(100);
  ZuCharConverter output;
  ZuCharConverterInput input;
  ZuSimpleCharConverter simple;
  const std::function<int()> calls[] = {
      [&] { return output.convert(); },
      [&] { return output.reset(); },
      [&] { return output.resetSink(); },
      [&] { return output.preFetch(); },
      [&] { return input.convert(); },
      [&] { return input.reset(); },
      [&] { return input.resetSink(); },
      [&] { return input.flushSink(); },
      [&] { return input.resetSource(); },
      [&] { return simple.convert(); },
      [&] { return simple.reset(); },
      [&] { return simple.resetSink(); },
      [&] { return output.calculateSinkBytes(&file, &fileSource, &old); },
      [&] { return input.calculateSinkBytes(&file, &fileSource, &old); },
      [&] { return simple.calculateSinkBytes(&file, &fileSource, &old); },
  };
  for (const auto& call : calls) {
    EXPECT_EQ(call(), 1) << &call - calls;
    expectError();
  }
  const auto expectNoPage = [this](int result) {
    EXPECT_EQ(result, 1);
    EXPECT_THAT(reinterpret_cast<const char*>(ZuErrorKeeper::getLastError()->getErrorText()),
                testing::EndsWith("14"));
    expectError(ZU_MSG_CODE_PAGE_NOT_FOUND);
  };
  // What a failed reset did not take is still the caller's.
  PieceSource source(random, "abc", 9);
  expectNoPage(output.reset(&source, &sink, kNotInstalled, kUTF8, 1));
  expectNoPage(output.reset(&source, &sink, kUTF8, kNotInstalled, 1));
  expectNoPage(input.reset(&source, &sink, kUTF8, kNotInstalled));
  expectNoPage(simple.reset(nullptr, 0, &sink, kNotInstalled, 1));
  EXPECT_EQ(output.convert() + input.convert() + simple.convert(), 3);
  errors.clearErrors();
  EXPECT_EQ(output.reset(new PieceSource(random, "abc", 9), &sink, kUTF8, kWindows, 1), 0);
  EXPECT_EQ(output.prepareToCache(), 0);
  EXPECT_EQ(output.convert(), 1);
  expectError();
  EXPECT_EQ(output.init(), 0);
  EXPECT_EQ(output.convert(), 0);
}

}  // namespace
