// Binary values in pieces of any size against their text as a whole. Every buffer is a block of its own size,
// so that the sanitizer sees a byte outside of it.

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "tests/support/fault_allocator.h"
#include "zulib/convert/converters/zubinaryconverter.h"
#include "zulib/convert/sources/zumemory.h"
#include "zulib/convert/sources/zutmpfilevalue.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace {

constexpr unsigned long kAnySize = ~0UL;

std::mt19937 dice{74};
unsigned long upTo(unsigned long n) { return dice() % (n + 1); }

// The call that fails, counted down by source and sink; and the objects that exist.
int callsToFailure = 0;
int objects = 0;
bool callFails() { return callsToFailure > 0 && --callsToFailure == 0; }

// Shows its value in regions of random size, of which now and then one is empty at the end.
class PieceSource : public ZuDataSource {
 public:
  explicit PieceSource(std::string value, unsigned long longest = 40)
      : value(std::move(value)), longest(longest) {
    ++objects;
  }
  ~PieceSource() override { --objects; }
  int init() override { return reset(); }
  int reset() override {
    at = 0;
    return callFails();
  }
  int getData(const void** data, unsigned long* size, int* more) override {
    const FaultPause pause;
    const unsigned long n =
        std::min(value.size() - at, longest == kAnySize ? longest : 1 + upTo(longest - 1));
    region = std::make_unique<char[]>(n);
    std::copy_n(value.data() + at, n, region.get());
    at += n;
    *data = region.get();
    *size = n;
    *more = at < value.size() || (longest != kAnySize && n > 0 && upTo(3) == 0);
    return callFails();
  }
  int getData(void* buffer, unsigned long max, unsigned long* got, int* more) override {
    *got = std::min(max, value.size() - at);
    std::copy_n(value.data() + at, *got, static_cast<char*>(buffer));
    at += *got;
    *more = at < value.size();
    return callFails();
  }
  void setValue(std::string next) { value = std::move(next); }

 private:
  std::string value;
  unsigned long longest;
  unsigned long at = 0;
  std::unique_ptr<char[]> region;
};

enum class Kind { Fixed, Extendable, Copying };

class PieceSink : public ZuDataSink {
 public:
  PieceSink(Kind kind, unsigned long size) : ZuDataSink(kind != Kind::Copying), kind(kind), size(size) {
    setNotOwned(1);
    ++objects;
  }
  ~PieceSink() override { --objects; }
  int init() override { return 0; }
  int reset() override { return callFails(); }
  int writeData(const void* data, unsigned long n, int more) override {
    const FaultPause pause;
    received.append(static_cast<const char*>(data), n);
    lastMore = more;
    return callFails();
  }
  int getData(void** out, unsigned long* outSize, int* more) override {
    const FaultPause pause;
    *outSize = kind == Kind::Fixed ? size : 1 + upTo(size - 1);
    buffer = std::make_unique<char[]>(*outSize);
    std::fill_n(buffer.get(), *outSize, '#');
    reported = 0;
    *out = buffer.get();
    *more = kind == Kind::Extendable;
    return callFails();
  }
  int dataWritten(unsigned long n, int more) override {
    const FaultPause pause;
    received.append(buffer ? buffer.get() + reported : "", n);
    reported += n;
    lastMore = more;
    return callFails();
  }

  const Kind kind;
  unsigned long size;
  unsigned long reported = 0;
  std::unique_ptr<char[]> buffer;
  std::string received;
  int lastMore = -1;
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
  ~Binary() override {
    ZuErrorKeeper::giveUpErrorList();
    callsToFailure = 0;
    EXPECT_EQ(objects, 0);
  }
  unsigned takeError() {
    const unsigned number = errors.getLastError() ? errors.getLastError()->getErrorNumber() : 0;
    errors.clearErrors();
    return number;
  }
  ZuErrorList errors;
};

// One call into a fixed buffer: all that fits of the rest, whole digits, a terminator where there is room.
void checkPiece(const PieceSink& sink, const std::string& text, unsigned long before, unsigned long width,
                int terminate, bool direct) {
  const unsigned long reserve = terminate && sink.size >= width / 2 ? width / 2 : 0;
  const unsigned long fits = (sink.size - reserve) / width * width;
  const unsigned long n = std::min(fits, text.size() - before);
  ASSERT_TRUE(sink.received.substr(before) == text.substr(before, n));
  if (before + n < text.size()) {
    ASSERT_EQ(sink.lastMore, 1);
  }
  const unsigned long zeros = !terminate ? 0 : direct && width < 4 ? 1 : 2;
  for (unsigned long i = n; i < sink.size; ++i) ASSERT_EQ(sink.buffer[i], i < n + zeros ? 0 : '#');
}

TEST_F(Binary, ValuesReachTheClientInPiecesOfEverySize) {
  for (int round = 0; round < 4000; ++round) {
    const BinaryType type = static_cast<BinaryType>(upTo(2));
    const unsigned long width = 1UL << type;
    const int terminate = static_cast<int>(upTo(1));
    const bool direct = upTo(3) == 0;
    const std::string bytes = randomBytes(round % 500 == 0 ? 20000 : upTo(90));
    const std::string text = textOf(bytes, type);
    const auto sink = new PieceSink(static_cast<Kind>(upTo(2)), 1 + upTo(30));
    ZuBinaryConverter converter(new PieceSource(bytes), sink, type, terminate);
    ASSERT_EQ(converter.init(), 0);
    if (upTo(1)) {
      ASSERT_EQ(converter.reset(), 0);
    }
    converter.calculateSinkBytes(bytes.size(), kZuUnknownLength);
    if (sink->kind != Kind::Fixed) {
      ASSERT_EQ(converter.convert(), 0);
    } else {
      converter.setFinalData(direct);
      while (sink->lastMore != 0) {
        sink->size = upTo(round % 500 == 0 ? 9000 : 40);
        const unsigned long before = sink->received.size();
        ASSERT_EQ(converter.resetSink() | converter.convert(), 0);
        checkPiece(*sink, text, before, width, terminate, direct);
        ASSERT_EQ(converter.getSinkBytes(), text.size() - sink->received.size());
      }
    }
    ASSERT_TRUE(sink->received == text);
    ASSERT_EQ(sink->lastMore, 0);
    ASSERT_EQ(converter.getSinkBytes(), 0u);
  }
}

// Sends `text` in chunks; the digits of a byte may be cut. Returns 0, or 1 if a call failed.
int send(ZuBinaryConverterInput& converter, PieceSource& source, const std::string& text, bool manyChunks) {
  const bool announced = upTo(1);
  for (unsigned long at = 0; at < text.size() || at == 0;) {
    const unsigned long n = manyChunks ? std::min(1 + upTo(50), text.size() - at) : text.size();
    source.setValue(text.substr(at, n));
    at += n;
    converter.setFinalData(announced && at >= text.size());
    if (converter.resetSource() || converter.convert()) return 1;
    if (n == 0) break;
  }
  return converter.flushSink();
}

TEST_F(Binary, TextFromTheClientBecomesItsBytes) {
  for (int round = 0; round < 4000; ++round) {
    const BinaryType type = static_cast<BinaryType>(upTo(2));
    const std::string bytes = randomBytes(round % 500 == 0 ? 40000 : upTo(90));
    std::string text = textOf(bytes, type);
    if (upTo(1) && type) {
      for (char& c : text) c = static_cast<char>(std::tolower(c));
    }
    const auto kind = static_cast<Kind>(upTo(2));
    // What a region leaves in a buffer that a later one fills is not counted: one or the other is the whole.
    const bool oneRegion = type != kZuBinaryPlain && (kind != Kind::Fixed || upTo(1));
    const auto sink = new PieceSink(kind, kind == Kind::Fixed ? bytes.size() + !oneRegion : 1 + upTo(30));
    const auto source = new PieceSource("", oneRegion ? kAnySize : 40);
    if (type && upTo(1))
      text += text.substr(0, std::min<unsigned long>(upTo((1UL << type) - 1), text.size()));
    ZuBinaryConverterInput converter(source, sink, type);
    ASSERT_EQ(converter.init(), 0);
    ASSERT_EQ(send(converter, *source, text, !oneRegion), 0) << takeError();
    ASSERT_TRUE(sink->received == bytes) << round << " type " << type << " kind " << static_cast<int>(kind);
  }
}

// The digits that the first chunk ends in wait for the second one; a later buffer is not affected.
TEST_F(Binary, DigitsWaitForTheNextChunkAndAFilledBufferCountsTheLastPass) {
  for (const BinaryType type : {kZuBinaryHex, kZuBinaryWideHex}) {
    const std::string bytes = randomBytes(50);
    const std::string text = textOf(bytes, type);
    for (unsigned long cut = 0; cut < 1UL << type; ++cut) {
      const auto source = new PieceSource(text.substr(0, cut), kAnySize);
      const auto sink = new PieceSink(Kind::Extendable, 7);
      ZuBinaryConverterInput converter(source, sink, type);
      ASSERT_EQ(converter.init() | converter.convert(), 0);
      source->setValue(text.substr(cut));
      ASSERT_EQ(converter.resetSource() | converter.convert() | converter.flushSink(), 0);
      EXPECT_EQ(sink->received, bytes);
    }
  }
  const auto source = new PieceSource("4142", kAnySize);
  const auto sink = new PieceSink(Kind::Fixed, 4);
  ZuBinaryConverterInput converter(source, sink, kZuBinaryHex);
  ASSERT_EQ(converter.init() | converter.convert(), 0);
  EXPECT_EQ(sink->lastMore, -1);
  source->setValue("434445");
  ASSERT_EQ(converter.resetSource() | converter.convert(), 0);
  EXPECT_EQ(std::string(sink->buffer.get(), 4), "ABCD");
  EXPECT_EQ(sink->received, "AB") << "the room before the second pass";

  source->setValue("6G");
  ASSERT_EQ(converter.resetSource() | converter.resetSink(), 0);
  EXPECT_EQ(converter.convert(), 1);
  EXPECT_STREQ(errors.getLastError()->getInterfaceCode(), "22018");
  EXPECT_EQ(errors.getLastError()->getInterfaceError(), 41);
  EXPECT_EQ(takeError(), ZU_MSG_BAD_HEX_DIGIT);
}

TEST_F(Binary, AMeasuredValueIsReplayedAsTheTextThatWasAskedFor) {
  for (int round = 0; round < 300; ++round) {
    const BinaryType type = static_cast<BinaryType>(upTo(2));
    const std::string bytes = randomBytes(upTo(300));
    ZuTmpFileSink file(64, static_cast<int>(upTo(1)));
    const auto replay = new ZuTmpFileSource(64);
    const auto sink = new PieceSink(Kind::Extendable, 50);
    ZuBinaryConverter converter(new PieceSource(bytes), sink, type, 1);
    ZuDataSource* old = nullptr;
    ASSERT_EQ(converter.init() | converter.calculateSinkBytes(&file, replay, &old), 0);
    delete old;
    EXPECT_EQ(converter.getSinkBytes(), bytes.size());
    ASSERT_EQ(converter.convert(), 0);
    ASSERT_TRUE(sink->received == textOf(bytes, type));
  }
}

// Each failed call of source, sink or allocator fails the transfer; afterwards the objects serve another one.
TEST_F(Binary, FailuresArePassedOnAndTheConverterServesTheNextValue) {
  const std::string bytes = randomBytes(60);
  const auto transfer = [&](BinaryType type, Kind kind, bool input, bool final) {
    const auto make = [&] {
      const FaultPause pause;
      const unsigned long longest = input ? kAnySize : 40;
      return std::pair(new PieceSource(input ? textOf(bytes, type) : bytes, longest),
                       new PieceSink(kind, 400));
    };
    const auto [source, sink] = make();
    ZuBinaryConverter out;
    ZuBinaryConverterInput in;
    const auto run = [&] {
      ZuDataConverter& converter = input ? static_cast<ZuDataConverter&>(in) : out;
      if (input ? in.reset(source, sink, type) : out.reset(source, sink, type, 1)) return 1;
      sink->received.clear();
      converter.setFinalData(final);
      return converter.convert() || (input && in.flushSink()) ? 1 : 0;
    };
    const int failed = run();
    callsToFailure = 0;
    const FaultPause pause;
    const bool outOfMemory = errors.isOutOfMemory();
    EXPECT_EQ(takeError() != 0, outOfMemory);
    EXPECT_EQ(source->reset() | run(), 0);
    EXPECT_TRUE(sink->received == (input ? bytes : textOf(bytes, type)));
    return failed == 0;
  };
  for (unsigned choice = 0; choice < 36; ++choice) {
    const BinaryType type = static_cast<BinaryType>(choice % 3);
    const auto kind = static_cast<Kind>(choice / 3 % 3);
    const auto run = [&] { return transfer(type, kind, choice % 2, choice / 18); };
    int call = 0;
    do {
      callsToFailure = ++call;
    } while (!run());
    EXPECT_GT(call, 2);
  }
  sweepAllocations([&](FaultAllocator& faults) {
    const bool good = transfer(kZuBinaryHex, Kind::Copying, upTo(1), true);
    faults.stop();
    return good;
  });
}

TEST_F(Binary, CallsInTheWrongOrderFailAndOwnershipIsKept) {
  ZuMemorySource kept("ab", 2);
  {
    ZuBinaryConverter converter(&kept, new PieceSink(Kind::Fixed, 2), kZuBinaryHex, 0);
    converter.setSourceNotOwned(1);
    EXPECT_EQ(converter.convert(), 1) << "before init";
    EXPECT_EQ(takeError(), ZU_MSG_CONVERSION_FAILED);
    EXPECT_EQ(converter.init() | converter.convert(), 0);
    EXPECT_EQ(converter.convert(), 1) << "the full buffer again";
    EXPECT_EQ(converter.resetSink() | converter.convert(), 0);
    EXPECT_EQ(converter.prepareToCache(), 0);
    EXPECT_EQ(converter.convert(), 1);
    EXPECT_EQ(converter.reset(&kept, new PieceSink(Kind::Copying, 1), 3, 0), 1) << "no such type";
    converter.setSourceNotOwned(1);
  }
  ZuBinaryConverterInput none;
  EXPECT_EQ(none.init(), 0);
  EXPECT_TRUE(none.resetSink() && none.resetSource() && none.reset() && none.convert() && none.flushSink());
}

}  // namespace
