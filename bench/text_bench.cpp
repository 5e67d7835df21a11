// Memory and text functions beside what the C library, SQLite and ICU do for the same work.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <strings.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zulib/runtime/ram.h"
#include "zulib/text/zudbcs.h"

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }
const unsigned short* units(const std::u16string& s) {
  return reinterpret_cast<const unsigned short*>(s.c_str());
}

// Runs the work over and over; what it returns must be `expected`, or the figure would be of other work.
template <class Work>
void repeat(benchmark::State& state, long expected, Work work) {
  if (static_cast<long>(work()) != expected) state.SkipWithError("another result than the reference");
  for (auto _ : state) {
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(work());
  }
}

// ---- memory ----

// Both sides work on the same two blocks and are called through a pointer that the compiler cannot see
// through: the reference is a call of the C library too, in the same loop.
constexpr unsigned long kMostBytes = 65536;
struct Blocks {
  alignas(64) unsigned char a[kMostBytes + 64];
  alignas(64) unsigned char b[kMostBytes + 64];
} blocks;

template <class Function>
Function* called(Function* function) {
  benchmark::DoNotOptimize(function);
  return function;
}

unsigned long blockSize(const benchmark::State& state) {
  std::memset(&blocks, 'a', sizeof blocks);
  return static_cast<unsigned long>(state.range(0));
}

void sizes(benchmark::internal::Benchmark* bench) {
  for (const int n : {16, 64, 256, 1024, 4096, 16384, static_cast<int>(kMostBytes)}) bench->Arg(n);
}

void copyOurs(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* copy = called(&memCopy);
  repeat(state, 0, [=] { return copy(blocks.a, blocks.b, n), 0; });
}
void copyReference(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* copy = called(&std::memcpy);
  repeat(state, 0, [=] { return copy(blocks.a, blocks.b, n), 0; });
}
void fillOurs(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* fill = called(&memFill);
  repeat(state, 0, [=] { return fill(blocks.a, 'x', n), 0; });
}
void fillReference(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* fill = called(&std::memset);
  repeat(state, 0, [=] { return fill(blocks.a, 'x', n), 0; });
}
void zeroOurs(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* zero = called(&memZero);
  repeat(state, 0, [=] { return zero(blocks.a, n), 0; });
}
void zeroReference(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* fill = called(&std::memset);
  repeat(state, 0, [=] { return fill(blocks.a, 0, n), 0; });
}
void equalOurs(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* equal = called(&memEqual);
  repeat(state, 1, [=] { return equal(blocks.a, blocks.b, n); });
}
void equalReference(benchmark::State& state) {
  const auto n = blockSize(state);
  auto* compare = called(&std::memcmp);
  repeat(state, 0, [=] { return compare(blocks.a, blocks.b, n); });
}

BENCHMARK(copyOurs)->Name("memCopy/ours")->Apply(sizes);
BENCHMARK(copyReference)->Name("memCopy/reference")->Apply(sizes);
BENCHMARK(fillOurs)->Name("memFill/ours")->Apply(sizes);
BENCHMARK(fillReference)->Name("memFill/reference")->Apply(sizes);
BENCHMARK(zeroOurs)->Name("memZero/ours")->Apply(sizes);
BENCHMARK(zeroReference)->Name("memZero/reference")->Apply(sizes);
BENCHMARK(equalOurs)->Name("memEqual/ours")->Apply(sizes);
BENCHMARK(equalReference)->Name("memEqual/reference")->Apply(sizes);

// ---- LIKE ----

// Words of lower-case letters, of about `n` bytes; with `accents` every fifth letter takes two bytes.
std::string words(unsigned long n, bool accents) {
  std::mt19937 random(1);
  std::string s;
  while (s.size() < n) {
    const auto letter = static_cast<char>('a' + random() % 20);
    if (random() % 7 == 0) {
      s += ' ';
    } else if (accents && random() % 5 == 0) {
      s += {'\xC3', static_cast<char>(0xA0 + random() % 20)};
    } else {
      s += letter;
    }
  }
  return s;
}

struct LikeCase {
  const char* name;
  std::string value;
  std::string pattern;
  bool matches;
};

const std::vector<LikeCase>& likeCases() {
  const std::string ascii = words(200, false);
  const std::string accents = words(200, true);
  static const std::vector<LikeCase> cases = {
      {"equal", ascii, ascii, true},
      {"prefix", ascii, ascii.substr(0, 10) + "%", true},
      {"suffix", ascii + "Xyz", "%xyz", true},
      {"middle", ascii + "Xyz" + ascii, "%xyz%", true},
      {"miss", ascii, "%xyz%", false},
      {"shortMiss", "customer", "%order%", false},
      {"single", ascii, std::string("%").append(50, '_') + "zzz%", false},
      {"manyWildcards", ascii + "Xyz", "%a%b%c%d%e%xyz%", true},
      {"manyWildcardsMiss", ascii, "%a%b%c%xyz%", false},
      {"backtracking", std::string(200, 'a'), "%aaaaaaaaab%", false},
      {"utf8Equal", accents, accents, true},
      {"utf8Middle", accents + "\xE2\x82\xAC" + accents, "%\xE2\x82\xAC%", true},
      {"utf8Miss", accents, "%xyz%", false},
      {"utf8ManyWildcards",
       accents + "a\xC3\xA0"
                 "cXyz",
       "%a%\xC3\xA0%c%xyz%", true},
  };
  return cases;
}

const bool kLikeRegistered = [] {
  for (const LikeCase& c : likeCases()) {
    benchmark::RegisterBenchmark(
        (std::string("strLike/") + c.name + "/ours").c_str(), [&c](benchmark::State& state) {
          repeat(state, c.matches,
                 [&] { return strLike(bytes(c.value), bytes(c.pattern), '%', '_', '\\', 0, 1, zuCPUTF8); });
        });
    benchmark::RegisterBenchmark(
        (std::string("strLike/") + c.name + "/reference").c_str(), [&c](benchmark::State& state) {
          repeat(state, c.matches,
                 [&] { return sqlite3_strlike(c.pattern.c_str(), c.value.c_str(), '\\') == 0; });
        });
  }
  return true;
}();

// ---- search and comparison on 1 KB of ASCII ----

constexpr unsigned long kKilobyte = 1024;

std::string upperCase(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// The pattern is at the end of the text, or nowhere: both are read to the end.
struct Haystack {
  explicit Haystack(bool hit)
      : text(words(kKilobyte - 8, false) + (hit ? "xyzxyzxy" : "abcabcab")),
        at(hit ? static_cast<long>(kKilobyte - 8) : -1) {
    text.erase(0, text.size() - kKilobyte);
  }
  std::string text;
  std::string pattern = "xyzxyzxy";
  long at;
};

template <class Char>
long offset(const Char* base, const Char* hit) {
  return hit == nullptr ? -1 : static_cast<long>(hit - base);
}

void addSearch(const char* type, zuCPType cp, bool hit) {
  static const Haystack haystacks[2] = {Haystack(false), Haystack(true)};
  const Haystack& h = haystacks[hit];
  static const std::string shouted[2] = {upperCase(haystacks[0].text), upperCase(haystacks[1].text)};
  const std::string& upper = shouted[hit];
  const std::string suffix = std::string(type) + (hit ? "Hit" : "Miss");
  const auto pair = [&suffix](const char* work, auto ours, auto reference) {
    const std::string name = std::string(work) + "/" + suffix;
    benchmark::RegisterBenchmark((name + "/ours").c_str(), ours);
    benchmark::RegisterBenchmark((name + "/reference").c_str(), reference);
  };
  pair(
      "strFind",
      [&h, cp](benchmark::State& state) {
        repeat(state, h.at, [&] {
          return offset(bytes(h.text), strFind(bytes(h.text), kKilobyte, bytes(h.pattern), 8, cp));
        });
      },
      [&h](benchmark::State& state) {
        repeat(state, h.at, [&] {
          return offset(h.text.c_str(),
                        static_cast<const char*>(memmem(h.text.data(), kKilobyte, h.pattern.data(), 8)));
        });
      });
  const auto caseReference = [&h, &upper](benchmark::State& state) {
    repeat(state, h.at, [&] {
      return offset(upper.c_str(), static_cast<const char*>(strcasestr(upper.c_str(), h.pattern.c_str())));
    });
  };
  pair(
      "strFindCi",
      [&h, &upper, cp](benchmark::State& state) {
        repeat(state, h.at, [&] {
          return offset(bytes(upper), strFindCi(bytes(upper), kKilobyte, bytes(h.pattern), 8, cp));
        });
      },
      caseReference);
  static const std::string foldedPattern = upperCase(h.pattern);
  pair(
      "strFindCiFolded",
      [&h, &upper, cp](benchmark::State& state) {
        repeat(state, h.at, [&] {
          return offset(bytes(upper),
                        strFindCi(bytes(upper), kKilobyte, bytes(foldedPattern), bytes(h.pattern), 8, cp));
        });
      },
      caseReference);
  pair(
      "strEqualCi",
      [&h, &upper, cp](benchmark::State& state) {
        repeat(state, 1, [&] { return strEqualCi(bytes(h.text), kKilobyte, bytes(upper), kKilobyte, cp); });
      },
      [&h, &upper](benchmark::State& state) {
        repeat(state, 1, [&] { return strncasecmp(h.text.c_str(), upper.c_str(), kKilobyte) == 0; });
      });
}

const bool kSearchRegistered = [] {
  for (const bool hit : {true, false}) {
    addSearch("utf8", zuCPUTF8, hit);
    addSearch("singleByte", zuCPSingleByte, hit);
    addSearch("locale", zuCPLocale, hit);
  }
  return true;
}();

// ---- UTF-16 ----

std::u16string wideWords(char16_t first, unsigned letters) {
  std::mt19937 random(2);
  std::u16string s;
  while (s.size() < kKilobyte)
    s += random() % 7 == 0 ? u' ' : static_cast<char16_t>(first + random() % letters);
  return s;
}

std::u16string folded(std::u16string s) {
  strUpper(reinterpret_cast<unsigned short*>(s.data()), s.size());
  return s;
}

void addWide(const char* type, const std::u16string& lower) {
  const auto text = std::make_shared<std::u16string>(lower);
  const auto upper = std::make_shared<std::u16string>(folded(lower));
  const auto pattern = std::make_shared<std::u16string>(lower.substr(kKilobyte - 8) + u"!");
  const auto found = std::make_shared<std::u16string>(lower + u"!");
  const std::string suffix = type;
  const auto n = static_cast<int32_t>(kKilobyte);
  const auto compare = [&](const char* work, std::shared_ptr<std::u16string> other) {
    benchmark::RegisterBenchmark(
        (std::string(work) + "/" + suffix + "/ours").c_str(), [=](benchmark::State& state) {
          repeat(state, 0, [&] { return strCompareCi(units(*text), kKilobyte, units(*other), kKilobyte); });
        });
    benchmark::RegisterBenchmark(
        (std::string(work) + "/" + suffix + "/reference").c_str(), [=](benchmark::State& state) {
          repeat(state, 0, [&] {
            UErrorCode status = U_ZERO_ERROR;
            return u_strCaseCompare(text->data(), n, other->data(), n, U_FOLD_CASE_DEFAULT, &status);
          });
        });
  };
  compare("wideCompareCi", upper);
  compare("wideCompareCiSame", std::make_shared<std::u16string>(lower));
  const auto at = static_cast<long>(kKilobyte - 8);
  benchmark::RegisterBenchmark(("wideFind/" + suffix + "/ours").c_str(), [=](benchmark::State& state) {
    repeat(state, at, [&] { return offset(units(*found), strFind(units(*found), units(*pattern))); });
  });
  benchmark::RegisterBenchmark(("wideFind/" + suffix + "/reference").c_str(), [=](benchmark::State& state) {
    repeat(state, at, [&] {
      return offset(found->c_str(), static_cast<const char16_t*>(u_strstr(found->c_str(), pattern->c_str())));
    });
  });
}

const bool kWideRegistered = [] {
  addWide("ascii", wideWords(u'a', 26));
  addWide("greek", wideWords(u'\u03B1', 16));
  return true;
}();

}  // namespace
