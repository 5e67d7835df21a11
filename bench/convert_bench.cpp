// Conversion: numbers and text, beside the standard library; hexadecimal text, beside a plain loop over a
// table.

#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/converters/zucharconverter.h"
#include "zulib/convert/scalar/zuconvert.h"
#include "zulib/convert/services/characterconverter.h"
#include "zulib/convert/services/convutf.h"
#include "zulib/convert/services/oxconvert.h"
#include "zulib/convert/services/oxunicode.h"
#include "zulib/convert/sources/zumemory.h"
#include "zulib/text/zuhex.h"

namespace {

constexpr int kNumbers = 4096;

// Numbers of every length up to 64 bits, alike for both columns.
const std::vector<long long>& numbers() {
  static const std::vector<long long> all = [] {
    std::mt19937_64 random(3);
    std::vector<long long> made(kNumbers);
    for (long long& n : made) n = static_cast<long long>(random() >> random() % 64);
    return made;
  }();
  return all;
}

const std::vector<std::string>& texts() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> made;
    for (const long long n : numbers()) made.push_back(std::to_string(n));
    return made;
  }();
  return all;
}

void integerToTextOurs(benchmark::State& state) {
  unsigned char text[32];
  for (auto _ : state) {
    for (const long long n : numbers()) benchmark::DoNotOptimize(convert(text, sizeof text, n));
  }
  state.SetItemsProcessed(state.iterations() * kNumbers);
}
BENCHMARK(integerToTextOurs)->Name("integer to text/ours");

void integerToTextReference(benchmark::State& state) {
  char text[32];
  for (auto _ : state) {
    for (const long long n : numbers()) benchmark::DoNotOptimize(std::to_chars(text, text + sizeof text, n));
  }
  state.SetItemsProcessed(state.iterations() * kNumbers);
}
BENCHMARK(integerToTextReference)->Name("integer to text/reference");

void integerFromTextOurs(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : texts()) {
      long long value = 0;
      benchmark::DoNotOptimize(convert(reinterpret_cast<const unsigned char*>(text.c_str()), &value));
      benchmark::DoNotOptimize(value);
    }
  }
}
BENCHMARK(integerFromTextOurs)->Name("integer from text/ours");

void integerFromTextReference(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : texts()) {
      long long value = 0;
      benchmark::DoNotOptimize(std::from_chars(text.data(), text.data() + text.size(), value));
      benchmark::DoNotOptimize(value);
    }
  }
}
BENCHMARK(integerFromTextReference)->Name("integer from text/reference");

constexpr unsigned long kHexBytes = 16384;

const std::vector<unsigned char>& binary() {
  static const std::vector<unsigned char> all = [] {
    std::mt19937 random(5);
    std::vector<unsigned char> made(kHexBytes);
    for (unsigned char& byte : made) byte = static_cast<unsigned char>(random());
    return made;
  }();
  return all;
}

const std::vector<unsigned char>& hexText() {
  static const std::vector<unsigned char> all = [] {
    std::vector<unsigned char> made(kHexBytes);
    hexify(made.data(), binary().data(), kHexBytes / 2);
    return made;
  }();
  return all;
}

void tableHexify(unsigned char* out, const unsigned char* bytes, unsigned long n) {
  for (unsigned long i = 0; i < n; ++i) {
    *out++ = static_cast<unsigned char>(HEXDIGIT[bytes[i] >> 4]);
    *out++ = static_cast<unsigned char>(HEXDIGIT[bytes[i] & 15]);
  }
}

int tableDehexify(unsigned char* out, const unsigned char* text, unsigned long n) {
  static const std::vector<signed char> values = [] {
    std::vector<signed char> made(256, -1);
    for (int i = 0; i < 16; ++i) {
      made[static_cast<unsigned char>(HEXDIGIT[i])] = static_cast<signed char>(i);
      made[static_cast<unsigned char>(std::tolower(HEXDIGIT[i]))] = static_cast<signed char>(i);
    }
    return made;
  }();
  const signed char* const valueOf = values.data();
  for (unsigned long i = 0; i + 1 < n; i += 2) {
    const int high = valueOf[text[i]];
    const int low = valueOf[text[i + 1]];
    if (high < 0 || low < 0) return 1;
    *out++ = static_cast<unsigned char>(high << 4 | low);
  }
  return 0;
}

// `work` reads all of `input` and writes to a buffer of twice its size.
template <class Work>
void throughput(benchmark::State& state, const std::vector<unsigned char>& input, Work&& work) {
  std::vector<unsigned char> out(2 * input.size());
  for (auto _ : state) {
    work(out.data(), input.data(), static_cast<unsigned long>(input.size()));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void hexifyOurs(benchmark::State& state) {
  throughput(state, binary(), [](auto* out, auto* in, auto n) { hexify(out, in, n); });
}
BENCHMARK(hexifyOurs)->Name("hexify 16 KB/ours");

void hexifyReference(benchmark::State& state) { throughput(state, binary(), tableHexify); }
BENCHMARK(hexifyReference)->Name("hexify 16 KB/reference");

void dehexifyOurs(benchmark::State& state) {
  throughput(state, hexText(), [](auto* out, auto* in, auto n) { return dehexify(out, in, n); });
}
BENCHMARK(dehexifyOurs)->Name("dehexify 16 KB/ours");

void dehexifyReference(benchmark::State& state) { throughput(state, hexText(), tableDehexify); }
BENCHMARK(dehexifyReference)->Name("dehexify 16 KB/reference");

// ---- code pages ----

constexpr unsigned long kMegabyte = 1UL << 20;
constexpr unsigned long kPieceSize = 4096;

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

UConverter* open(long page) {
  UErrorCode status = U_ZERO_ERROR;
  return ucnv_open(ucnvIANAidToICUname(page), &status);
}

// A page and a text of a megabyte that it has: words of letters that are not ASCII, and spaces.
struct Page {
  Page(long number, char16_t first, char16_t letters) : number(number), from(open(number)), to(open(number)) {
    std::mt19937 random(1);
    while (wide.size() < kMegabyte / 2) {
      for (auto n = 1 + random() % 8; n; --n) wide += static_cast<char16_t>(first + random() % letters);
      wide += u"the of, "[random() % 8];
      wide += u' ';
    }
    text.resize(wide.size() * 4);
    text.resize(convertDirectly(text.data(), text.size(), wide));
  }

  size_t convertDirectly(char* out, size_t size, const std::u16string& units) const {
    UErrorCode status = U_ZERO_ERROR;
    char* end = out;
    const char16_t* in = units.data();
    ucnv_fromUnicode(to, &end, out + size, &in, in + units.size(), nullptr, true, &status);
    return static_cast<size_t>(end - out);
  }

  size_t convertDirectly(char16_t* out, size_t size, const std::string& narrow) const {
    UErrorCode status = U_ZERO_ERROR;
    char16_t* end = out;
    const char* in = narrow.data();
    ucnv_toUnicode(from, &end, out + size, &in, in + narrow.size(), nullptr, true, &status);
    return static_cast<size_t>(end - out);
  }

  long number;
  UConverter* from;
  UConverter* to;
  std::u16string wide;
  std::string text;
};

const Page& page(long number) {
  static const Page latin1(UCNV_IANA_LATIN_1, 0xE0, 0x1F);
  static const Page windows(2252, 0xE0, 0x1F);
  static const Page euc(18, 0x3041, 0x50);
  static const Page gb(114, 0x4E00, 0x1000);
  static const Page utf8(UCNV_IANA_UTF_8, 0x3041, 0x3000);
  for (const Page* p : {&latin1, &windows, &euc, &gb}) {
    if (p->number == number) return *p;
  }
  return utf8;
}

std::string nameOf(const char* work, long number) {
  return std::string(work) + " " + ucnvIANAidToICUname(number);
}

// Runs the work, whose result must be `expected`, or the figure would be of other work.
template <class Work>
void add(const std::string& name, unsigned long expected, Work work) {
  benchmark::RegisterBenchmark(name.c_str(), [expected, work](benchmark::State& state) {
    if (static_cast<unsigned long>(work()) != expected)
      state.SkipWithError("another result than the reference");
    for (auto _ : state) {
      benchmark::ClobberMemory();
      benchmark::DoNotOptimize(work());
    }
  });
}

std::string target(4 * kMegabyte, 0);
unsigned char* const kOut = reinterpret_cast<unsigned char*>(target.data());

// A value through a converter in pieces of 4 KB; the bytes that came out.
class Pieces {
 public:
  Pieces(const void* data, unsigned long size, long from, long to, int terminates)
      : source(data, size), converter(&source, &sink, from, to, terminates, ZuReportNone) {
    converter.setSourceNotOwned(1);
    sink.setNotOwned(1);
    if (converter.init()) std::abort();
  }

  unsigned long run() {
    unsigned long written = 0;
    if (converter.reset(&source, &sink, converter.getSourceCodePage(), converter.getSinkCodePage(),
                        terminates))
      return 0;
    converter.setSourceNotOwned(1);
    do {
      sink.setBuffer(kOut, kPieceSize);
      if (converter.resetSink() || converter.convert()) return 0;
      written += sink.getWritten();
    } while (sink.isTruncated());
    return written;
  }

 private:
  ZuMemorySource source;
  ZuMemorySink sink;
  ZuCharConverter converter;

 public:
  int terminates = 0;
};

void addPieces(const std::string& name, const void* data, unsigned long size, long from, long to,
               int terminates) {
  auto* const pieces = new Pieces(data, size, from, to, terminates);
  pieces->terminates = terminates;
  add(name, pieces->run(), [pieces] { return pieces->run(); });
}

void addPage(long number) {
  const Page& p = page(number);
  const auto wideSize = p.wide.size() * sizeof(char16_t);
  auto* const units = reinterpret_cast<unsigned short*>(kOut);
  auto* const wide = reinterpret_cast<unsigned short*>(const_cast<char16_t*>(p.wide.data()));

  const auto toWide = [&p] {
    return p.convertDirectly(reinterpret_cast<char16_t*>(kOut), kMegabyte, p.text);
  };
  const auto fromWide = [&p] { return p.convertDirectly(target.data(), target.size(), p.wide); };
  for (const char* side : {"to UTF-16, whole", "to UTF-16 in pieces"}) {
    add(nameOf(side, number) + "/reference", p.wide.size(), toWide);
  }
  for (const char* side :
       {"from UTF-16, whole", "from UTF-16 in pieces", "from UTF-16 in pieces, terminated"}) {
    add(nameOf(side, number) + "/reference", p.text.size(), fromWide);
  }
  add(nameOf("to UTF-16, whole", number) + "/ours", p.wide.size(), [&p, units] {
    long used = 0, taken = 0;
    oxAnsiToUCS2(units, kMegabyte, bytes(p.text), static_cast<long>(p.text.size()), &used, &taken, p.from, 0);
    return used;
  });
  add(nameOf("from UTF-16, whole", number) + "/ours", p.text.size(), [&p, wide] {
    long used = 0, taken = 0;
    oxUCS2ToAnsi(kOut, 4 * kMegabyte, wide, static_cast<long>(p.wide.size()), &used, &taken, p.to, 0);
    return used;
  });
  const long kWide = UCNV_IANA_UTF_16LE;
  addPieces(nameOf("to UTF-16 in pieces", number) + "/ours", p.text.data(), p.text.size(), number, kWide, 1);
  addPieces(nameOf("from UTF-16 in pieces", number) + "/ours", wide, wideSize, kWide, number, 0);
  addPieces(nameOf("from UTF-16 in pieces, terminated", number) + "/ours", wide, wideSize, kWide, number, 1);
}

void addCopies() {
  static const std::string ascii(kMegabyte, 'x');
  static UConverter* const latin1 = open(UCNV_IANA_LATIN_1);
  static UConverter* const utf8 = open(UCNV_IANA_UTF_8);
  for (const unsigned long n : {4096UL, 65536UL, kMegabyte}) {
    for (const char* work : {"ansi to utf-8, ASCII/", "ucs-2 swap/"}) {
      add(work + std::to_string(n) + "/reference", n, [n] {
        std::memcpy(kOut, ascii.data(), n);
        return n;
      });
    }
    add("ansi to utf-8, ASCII/" + std::to_string(n) + "/ours", n, [n] {
      long used = 0, taken = 0;
      oxAnsiToUTF8(kOut, static_cast<long>(n), bytes(ascii), static_cast<long>(n), &used, &taken, latin1,
                   utf8);
      return used;
    });
    add("ucs-2 swap/" + std::to_string(n) + "/ours", n, [n] {
      oxUCS2Swap(kOut, ascii.data(), n / 2);
      return n;
    });
  }
  // A terminated buffer takes a byte less, so that the next piece begins at another alignment.
  const auto copyPieces = [](unsigned long pieceSize) {
    for (unsigned long at = 0; at < kMegabyte; at += pieceSize) {
      std::memcpy(kOut, ascii.data() + at, std::min(pieceSize, kMegabyte - at));
    }
    return kMegabyte;
  };
  const struct {
    const char* name;
    long from, to;
    int terminates;
  } rows[] = {{"same page in pieces", UCNV_IANA_UTF_8, UCNV_IANA_UTF_8, 0},
              {"same page in pieces, terminated", UCNV_IANA_UTF_8, UCNV_IANA_UTF_8, 1},
              {"UTF-16LE to UTF-16BE in pieces", UCNV_IANA_UTF_16LE, UCNV_IANA_UTF_16BE, 0}};
  for (const auto& row : rows) {
    addPieces(row.name + std::string("/ours"), ascii.data(), kMegabyte, row.from, row.to, row.terminates);
    const unsigned long pieceSize = kPieceSize - static_cast<unsigned long>(row.terminates);
    add(row.name + std::string("/reference"), kMegabyte, [=] { return copyPieces(pieceSize); });
  }
}

void addTranscoders() {
  static const Page& p = page(UCNV_IANA_UTF_8);
  const auto convert = [] {
    auto* dst = reinterpret_cast<unsigned short*>(kOut);
    const unsigned char* src = bytes(p.text);
    UErrorCode status = U_ZERO_ERROR;
    long required = 0;
    ConvUTF8ToUTF16(&dst, kMegabyte, &required, &src, static_cast<long>(p.text.size()), &status);
    return required;
  };
  const auto direct = [] {
    UErrorCode status = U_ZERO_ERROR;
    int32_t required = 0;
    u_strFromUTF8(reinterpret_cast<char16_t*>(kOut), kMegabyte, &required, p.text.data(),
                  static_cast<int32_t>(p.text.size()), &status);
    return required;
  };
  const auto copy = [] {
    std::memcpy(kOut, p.text.data(), p.text.size());
    return p.wide.size();
  };
  add("ConvUTF8ToUTF16/ours", p.wide.size(), convert);
  add("ConvUTF8ToUTF16/reference", p.wide.size(), direct);
  add("ConvUTF8ToUTF16 beside memcpy/ours", p.wide.size(), convert);
  add("ConvUTF8ToUTF16 beside memcpy/reference", p.wide.size(), copy);
}

void addHandles() {
  static CharacterConverter converter;
  if (converter.initialize(8)) std::abort();
  add("getHandle, last page", 0, [] {
    UConverter* handle = nullptr;
    return converter.getHandle(UCNV_IANA_UTF_8, &handle);
  });
  add("getHandle, cached page (of two calls)", 0, [] {
    UConverter* handle = nullptr;
    return converter.getHandle(UCNV_IANA_LATIN_1, &handle) + converter.getHandle(2252, &handle);
  });
}

// What the end of a terminated buffer costs: a piece that ends within a character, with and without it.
void addTailCheck() {
  static const std::string text = [] {
    std::string made;
    while (made.size() < 64) made += "\xE3\x81\x82";
    return made;
  }();
  for (const int terminates : {0, 1}) {
    static ZuMemorySource source(text.data(), text.size());
    auto* const sink = new ZuMemorySink;
    auto* const converter =
        new ZuCharConverter(&source, sink, UCNV_IANA_UTF_8, UCNV_IANA_UTF_8, terminates, ZuReportNone);
    if (converter->init()) std::abort();
    add(std::string("tail check of a piece") + (terminates ? "/ours" : "/reference"), terminates ? 30 : 32,
        [sink, converter, terminates] {
          if (converter->reset(&source, sink, UCNV_IANA_UTF_8, UCNV_IANA_UTF_8, terminates)) return 0UL;
          converter->setSourceNotOwned(1);
          sink->setBuffer(kOut, 32);
          if (converter->resetSink() || converter->convert()) return 0UL;
          return sink->getWritten();
        });
  }
}

const bool kAreAdded = [] {
  for (const long number : {4L, 2252L, 18L, 114L, 106L}) addPage(number);
  addCopies();
  addTranscoders();
  addHandles();
  addTailCheck();
  return true;
}();

}  // namespace
