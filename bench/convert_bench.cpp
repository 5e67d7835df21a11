// Conversion: numbers and text, beside the standard library; hexadecimal text, beside a plain loop over a
// table.

#include <benchmark/benchmark.h>

#include <cctype>
#include <charconv>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "zulib/convert/scalar/zuconvert.h"
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

}  // namespace
