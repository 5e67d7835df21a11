// Sources and sinks that cut a value at random, texts that are hard to cut, and ICU's conversion of a whole
// text beside which the pieces are laid.

#ifndef ZULIB_TESTS_CONVERT_PIECES_H
#define ZULIB_TESTS_CONVERT_PIECES_H

#include <unicode/ucnv.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zulib/convert/sources/zudatasink.h"
#include "zulib/convert/sources/zudatasource.h"

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

Converter openPage(long page);

// The numbers of the table that the installed ICU opens; some are more likely to be drawn.
const std::vector<long>& openPages();

// ICU's conversions of a whole text: malformed text and missing characters are substituted. `flush` 0 leaves
// the text open, as if more were to come.
// `isCut` gets whether the end cuts a character.
std::u16string decode(long page, const std::string& bytes, bool flush = true, bool* isCut = nullptr);
std::string encode(long page, const std::u16string& units, bool flush = true);

// A text in a page: about `length` units, with pairs, halves of pairs, combining and unassigned characters,
// and, with `broken`, bytes that are changed, removed and inserted.
std::string randomText(std::mt19937& random, long page, unsigned length, bool broken);

// Fails the n-th call to it and to all that share it; 0: none.
struct CallFault {
  int failAt = 0;
  int calls = 0;
  bool fails() { return failAt && ++calls == failAt; }
};

// A value in random regions, each of them in a block that is gone with the next call.
class PieceSource : public ZuDataSource {
 public:
  PieceSource(std::mt19937& random, std::string value, unsigned mostBytes, CallFault* fault = nullptr)
      : random(random), value(std::move(value)), mostBytes(mostBytes), fault(fault) {}

  int init() override { return reset(); }
  int reset() override;
  int getData(const void** data, unsigned long* size, int* more) override;
  int getData(void* buffer, unsigned long max, unsigned long* got, int* more) override;

  // The next chunk of a value, in place of what is there.
  void setChunk(std::string chunk) { value = std::move(chunk); }

 private:
  std::mt19937& random;
  std::string value;
  unsigned mostBytes;
  CallFault* fault;
  size_t position = 0;
  std::unique_ptr<char[]> region;
};

// Buffers of random sizes in blocks of exactly that size, and what was written to them.
class PieceSink : public ZuDataSink {
 public:
  enum Kind { Fixed, Extendable, Copying };

  PieceSink(std::mt19937& random, Kind kind, unsigned mostBytes, CallFault* fault = nullptr)
      : ZuDataSink(kind != Copying), kind(kind), random(random), mostBytes(mostBytes), fault(fault) {
    setNotOwned(1);
  }

  // The next buffer of a fixed sink.
  void setBuffer(unsigned long newSize);

  int init() override { return 0; }
  int reset() override { return 0; }
  int writeData(const void* data, unsigned long size, int more) override;
  int getData(void** out, unsigned long* outSize, int* more) override;
  int dataWritten(unsigned long n, int more) override;

  const Kind kind;
  std::string joined;      // all that was reported
  std::string piece;       // what was reported last
  int lastMore = -1;       // with that; -1: nothing was reported
  unsigned long size = 0;  // of the buffer
  const unsigned char* data() const { return buffer.get(); }

 private:
  std::mt19937& random;
  unsigned mostBytes;
  CallFault* fault;
  std::unique_ptr<unsigned char[]> buffer;
};

#endif
