// Bytes as text of any code page, converted to any other in pieces, in both directions, beside ICU's
// conversion of the whole.

#include <unicode/ucnv.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "zulib/codepages/internal/ucnvtables.h"
#include "zulib/convert/converters/zucharconverter.h"
#include "zulib/convert/converters/zucharconverterinput.h"
#include "zulib/convert/converters/zusimplecharconverter.h"
#include "zulib/convert/sources/zumemory.h"
#include "zulib/convert/sources/zumultimemory.h"

namespace {

constexpr unsigned long kMostText = 2000;
constexpr long kSCSU = 1011;  // ICU chooses among encodings by how much of the text it sees at once

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

void demand(bool holds) {
  if (!holds) std::abort();
}

Converter open(long page) {
  UErrorCode status = U_ZERO_ERROR;
  return Converter(ucnv_open(ucnvIANAidToICUname(page), &status));
}

const std::vector<long>& openPages() {
  static const std::vector<long> all = [] {
    std::vector<long> pages;
    for (const UcnvNameRow& row : IANAtoICUTable) {
      if (open(row.id)) pages.push_back(row.id);
    }
    return pages;
  }();
  return all;
}

bool isUTF16(long page) { return page == UCNV_IANA_UTF_16LE || page == UCNV_IANA_UTF_16BE; }

std::string convertWhole(long from, long to, const std::string& text) {
  const Converter in = open(from);
  const Converter out = open(to);
  std::u16string units(text.size() * 4 + 40, 0);
  std::string bytes(units.size() * 12 + 100, 0);
  UErrorCode status = U_ZERO_ERROR;
  const char* s = text.data();
  char16_t* wide = units.data();
  ucnv_toUnicode(in.get(), &wide, wide + units.size(), &s, s + text.size(), nullptr, true, &status);
  const char16_t* u = units.data();
  char* end = bytes.data();
  ucnv_fromUnicode(out.get(), &end, end + bytes.size(), &u, wide, nullptr, true, &status);
  demand(U_SUCCESS(status));
  bytes.resize(static_cast<size_t>(end - bytes.data()));
  return bytes;
}

// What the input says about the pieces.
struct Sizes {
  const uint8_t* data;
  size_t n;
  size_t at = 0;
  unsigned long next() { return n ? data[at++ % n] % 40U : 9; }
};

// All pieces of the value joined; no more of them than `most`.
template <class Convert>
std::string join(Convert& converter, ZuMemorySink& sink, Sizes& sizes, unsigned long most) {
  std::string joined;
  for (unsigned long n = 0; n < most; ++n) {
    const unsigned long size = n % 4 ? sizes.next() : 50;
    const auto buffer = std::make_unique<unsigned char[]>(size);
    sink.setBuffer(buffer.get(), size);
    if (converter.resetSink() || converter.convert()) return joined;
    demand(sink.getWritten() <= size);
    joined.append(reinterpret_cast<char*>(buffer.get()), sink.getWritten());
    if (!sink.isTruncated()) return joined;
  }
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 12) return 0;
  const auto& pages = openPages();
  const long from = pages[data[0] % pages.size()];
  const long to = data[1] % 8 ? pages[data[2] % pages.size()] : from;
  const bool terminates = data[3] & 1;
  const unsigned long blockSize = 1 + data[4];
  Sizes sizes{data + 5, 7};
  const std::string text(reinterpret_cast<const char*>(data) + 12, std::min<size_t>(size - 12, kMostText));
  const unsigned long most = text.size() * 20 + 100;

  ZuMemorySink sink;
  sink.setNotOwned(1);
  ZuMultiMemorySource source(blockSize);
  demand(!source.append(text.data(), text.size()));
  ZuCharConverter output(&source, &sink, from, to, terminates, ZuReportAsWarning);
  output.setSourceNotOwned(1);
  demand(!output.init());
  const std::string joined = join(output, sink, sizes, most);
  if (!terminates && from == to) demand(joined == text);
  // Half a pair is text between the two orders of UTF-16, and not for ICU.
  const bool isComparable = from != to && to != kSCSU && !isUTF16(from) && !isUTF16(to);
  if (!terminates && isComparable) demand(joined == convertWhole(from, to, text));

  ZuSimpleCharConverter simple;
  demand(!simple.reset(reinterpret_cast<const unsigned char*>(text.data()), text.size(), &sink, from,
                       terminates));
  demand(join(simple, sink, sizes, most) == text);

  ZuMemorySource chunk(text.data(), text.size());
  ZuMultiMemorySink blocks(blockSize);
  blocks.setNotOwned(1);
  ZuCharConverterInput input(&chunk, &blocks, from, to, ZuReportAsError);
  input.setSourceNotOwned(1);
  demand(!input.init());
  for (int n = 0; n < 3; ++n) {
    if (input.resetSource() || input.convert()) break;
    input.setFinalData(n == 1);
  }
  static_cast<void>(input.flushSink());
  return 0;
}
