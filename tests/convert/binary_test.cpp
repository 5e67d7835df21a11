// Binary values in random pieces beside their text as a whole.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/convert/pieces.h"
#include "tests/support/fault_allocator.h"
#include "zulib/convert/converters/zubinaryconverter.h"
#include "zulib/convert/sources/zumemory.h"
#include "zulib/convert/sources/zumultimemory.h"
#include "zulib/convert/sources/zutmpfilevalue.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace {

constexpr unsigned kWholeValue = 1 << 20;

std::mt19937 dice{74};
unsigned long upTo(unsigned long n) { return dice() % (n + 1); }

// In binary values an empty region ends the value, so there is none before its end.
class FullPieceSource : public PieceSource {
 public:
  explicit FullPieceSource(std::string value, unsigned mostBytes = 40, CallFault* fault = nullptr)
      : PieceSource(dice, std::move(value), mostBytes, fault), isWhole(mostBytes == kWholeValue) {}
  using PieceSource::getData;
  int getData(const void** data, unsigned long* size, int* more) override {
    do {
      if (PieceSource::getData(data, size, more)) return 1;
    } while (*more && (isWhole || *size == 0));
    if (!isWhole && *size > 0 && upTo(3) == 0) *more = 1;
    return 0;
  }
  int reset() override { return PieceSource::reset(); }

 private:
  bool isWhole;
};

std::string randomBytes(unsigned long n) {
  std::string bytes(n, 0);
  for (char& c : bytes) c = static_cast<char>(dice());
  return bytes;
}

std::string textOf(const std::string& bytes, BinaryType type) {
  if (type == kZuBinaryPlain) return bytes;
  std::string text;
  for (const char c : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(c));
    for (const char digit : {digits[0], digits[1]}) {
      text += digit;
      if (type == kZuBinaryWideHex) text += '\0';
    }
  }
  return text;
}

class Binary : public testing::Test {
 protected:
  Binary() { ZuErrorKeeper::setErrorList(&errors); }
  ~Binary() override { ZuErrorKeeper::giveUpErrorList(); }
  unsigned takeError() {
    const unsigned number = ZuErrorKeeper::getLastErrorNumber();
    errors.clearErrors();
    return number;
  }
  ZuErrorList errors;
};

// One call into a fixed buffer: all that fits of the rest in whole digits, a terminator where there is room.
void checkPiece(const PieceSink& sink, const std::string& text, unsigned long before, unsigned long width,
                int terminate, bool direct) {
  const unsigned long reserve = terminate && sink.size >= width / 2 ? width / 2 : 0;
  const unsigned long n = std::min((sink.size - reserve) / width * width, text.size() - before);
  ASSERT_TRUE(sink.piece == text.substr(before, n));
  if (before + n < text.size()) {
    ASSERT_EQ(sink.lastMore, 1);
  }
  const unsigned long zeros = !terminate ? 0 : direct && width < 4 ? 1 : 2;
  for (unsigned long i = n; i < sink.size; ++i) ASSERT_EQ(sink.data()[i], i < n + zeros ? 0 : '#');
}

TEST_F(Binary, ValuesReachTheClientInPiecesOfEverySize) {
  for (int round = 0; round < 4000; ++round) {
    const bool isLarge = round % 500 == 0;
    const auto type = static_cast<BinaryType>(upTo(2));
    const int terminate = static_cast<int>(upTo(1));
    const bool direct = upTo(3) == 0;
    const std::string bytes = randomBytes(isLarge ? 20000 : upTo(90));
    const std::string text = textOf(bytes, type);
    const auto sink = new PieceSink(dice, static_cast<PieceSink::Kind>(upTo(2)), 30);
    ZuBinaryConverter converter(new FullPieceSource(bytes), sink, type, terminate);
    ASSERT_EQ(converter.init() || (upTo(1) && converter.reset()), 0);
    converter.calculateSinkBytes(bytes.size(), kZuUnknownLength);
    converter.setFinalData(direct);
    while (sink->lastMore != 0) {
      sink->setBuffer(upTo(isLarge ? 9000 : 40));
      const unsigned long before = sink->joined.size();
      ASSERT_EQ(converter.resetSink() | converter.convert(), 0);
      if (sink->kind == PieceSink::Fixed) checkPiece(*sink, text, before, 1UL << type, terminate, direct);
      ASSERT_EQ(converter.getSinkBytes(), text.size() - sink->joined.size());
    }
    ASSERT_TRUE(sink->joined == text);
  }
}

// Sends `text` in chunks, which may end within the digits of a byte, or in one. 0, or 1 if a call failed.
int send(ZuBinaryConverterInput& converter, PieceSource& source, const std::string& text, bool inChunks) {
  const bool isAnnounced = upTo(1);
  unsigned long at = 0;
  do {
    const unsigned long n = inChunks ? std::min(1 + upTo(50), text.size() - at) : text.size();
    source.setChunk(text.substr(at, n));
    at += n;
    converter.setFinalData(isAnnounced && at == text.size());
    if (converter.resetSource() || converter.convert()) return 1;
  } while (at < text.size());
  return converter.flushSink();
}

TEST_F(Binary, TextFromTheClientBecomesItsBytes) {
  for (int round = 0; round < 4000; ++round) {
    const auto type = static_cast<BinaryType>(upTo(2));
    const auto kind = static_cast<PieceSink::Kind>(upTo(2));
    const std::string bytes = randomBytes(round % 500 == 0 ? 40000 : upTo(90));
    std::string text = textOf(bytes, type);
    if (type && upTo(1)) {
      for (char& c : text) c = static_cast<char>(std::tolower(c));
      text += text.substr(0, std::min<unsigned long>(upTo((1UL << type) - 1), text.size()));  // is dropped
    }
    // A buffer that a second region fills is not counted as a whole: either there is one, or it is not
    // filled.
    const bool isOneRegion = type != kZuBinaryPlain && (kind != PieceSink::Fixed || upTo(1));
    const auto sink = new PieceSink(dice, kind, 30);
    sink->setBuffer(bytes.size() + (isOneRegion ? 0 : 1));
    const auto source = new FullPieceSource("", isOneRegion ? kWholeValue : 40);
    ZuBinaryConverterInput converter(source, sink, type);
    ASSERT_EQ(converter.init(), 0);
    ASSERT_EQ(send(converter, *source, text, !isOneRegion), 0) << takeError();
    ASSERT_TRUE(sink->joined == bytes) << round << " type " << type << " kind " << kind;
  }
}

TEST_F(Binary, AFilledBufferCountsTheLastPassAndABadDigitEndsTheValue) {
  const auto source = new FullPieceSource("4142", kWholeValue);
  const auto sink = new PieceSink(dice, PieceSink::Fixed, 0);
  sink->setBuffer(4);
  ZuBinaryConverterInput converter(source, sink, kZuBinaryHex);
  ASSERT_EQ(converter.init() | converter.convert(), 0);
  EXPECT_EQ(sink->lastMore, -1);
  source->setChunk("4344454");
  ASSERT_EQ(converter.resetSource() | converter.convert(), 0);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(sink->data()), 4), "ABCD");
  EXPECT_EQ(sink->joined, "AB") << "the room before the second pass";

  source->setChunk("4");
  ASSERT_EQ(converter.resetSource() | converter.resetSink() | converter.convert(), 0);
  source->setChunk("5G5");
  EXPECT_EQ(converter.resetSource() | converter.convert(), 1);
  EXPECT_STREQ(errors.getLastError()->getInterfaceCode(), "22018");
  EXPECT_EQ(errors.getLastError()->getInterfaceError(), 41);
  EXPECT_EQ(takeError(), ZU_MSG_BAD_HEX_DIGIT);
}

TEST_F(Binary, AMeasuredValueIsReplayedAsTheTextThatWasAskedFor) {
  for (int round = 0; round < 300; ++round) {
    const auto type = static_cast<BinaryType>(upTo(2));
    const std::string bytes = randomBytes(upTo(300));
    ZuTmpFileSink file(64, static_cast<int>(upTo(1)));
    const auto sink = new PieceSink(dice, PieceSink::Extendable, 50);
    ZuBinaryConverter converter(new FullPieceSource(bytes), sink, type, 1);
    ZuDataSource* old = nullptr;
    ASSERT_EQ(converter.init() | converter.calculateSinkBytes(&file, new ZuTmpFileSource(64), &old), 0);
    delete old;
    EXPECT_EQ(converter.getSinkBytes(), bytes.size());
    ASSERT_EQ(converter.convert(), 0);
    ASSERT_TRUE(sink->joined == textOf(bytes, type));
  }
}

// Moves `value` as hexadecimal text, or from it; after a failure the same objects serve the next value.
bool transfer(ZuDataSource* source, ZuDataSink* sink, BinaryType type, bool isInput, bool final) {
  ZuBinaryConverter out;
  ZuBinaryConverterInput in;
  ZuDataConverter& converter = isInput ? static_cast<ZuDataConverter&>(in) : out;
  const auto run = [&] {
    if (isInput ? in.reset(source, sink, type) : out.reset(source, sink, type, 1)) return false;
    converter.setFinalData(final);
    return converter.convert() == 0 && (!isInput || in.flushSink() == 0);
  };
  if (run()) return true;
  EXPECT_TRUE(source->reset() == 0 && sink->reset() == 0 && run());
  return false;
}

TEST_F(Binary, EveryCallAndEveryAllocationMayFail) {
  const std::string text = textOf("012345", kZuBinaryHex);
  for (unsigned choice = 0; choice < 36; ++choice) {
    const auto type = static_cast<BinaryType>(choice % 3);
    CallFault fault;
    bool good = false;
    while (!good) {
      fault = {fault.failAt + 1};
      const auto sink = new PieceSink(dice, static_cast<PieceSink::Kind>(choice / 3 % 3), 90, &fault);
      sink->setBuffer(90);
      const auto source = new FullPieceSource(textOf("012345", type), kWholeValue, &fault);
      good = transfer(source, sink, type, choice / 9 % 2, choice / 18);
      EXPECT_EQ(takeError(), 0u) << "the source and the sink report";
    }
    EXPECT_GT(fault.failAt, 2);
  }
  for (const bool isInput : {false, true}) {
    for (const int getDataSupported : {0, 1}) {
      sweepAllocations([&](FaultAllocator& faults) {
        const auto [source, sink] = [&] {
          const FaultPause pause;
          return std::pair(new ZuMemorySource(text.data(), text.size()),
                           new ZuMultiMemorySink(8, getDataSupported));
        }();
        const bool good = transfer(source, sink, kZuBinaryHex, isInput, true);
        faults.stop();
        EXPECT_EQ(takeError() == 0, good);
        return good;
      });
    }
  }
}

TEST_F(Binary, CallsInTheWrongOrderFail) {
  ZuMemorySource kept("ab", 2);
  char buffer[4];
  ZuBinaryConverter converter(&kept, new ZuMemorySink(buffer, sizeof buffer), kZuBinaryHex, 0);
  converter.setSourceNotOwned(1);
  EXPECT_EQ(converter.convert(), 1) << "before init";
  EXPECT_EQ(takeError(), ZU_MSG_CONVERSION_FAILED);
  EXPECT_EQ(converter.init() | converter.convert(), 0);
  EXPECT_EQ(converter.convert(), 1) << "the full buffer again";
  EXPECT_EQ(converter.resetSink() | converter.convert(), 0);
  EXPECT_EQ(converter.prepareToCache(), 0);
  EXPECT_EQ(converter.convert(), 1);
  EXPECT_EQ(converter.reset(&kept, converter.getSink(), 3, 0), 1) << "no such type";
  converter.setSourceNotOwned(1);

  ZuBinaryConverterInput none;
  EXPECT_EQ(none.init(), 0);
  EXPECT_TRUE(none.resetSink() && none.resetSource() && none.reset() && none.convert() && none.flushSink());
}

}  // namespace
