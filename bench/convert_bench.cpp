// Conversion: numbers and text, beside the standard library.

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "zulib/convert/scalar/zuconvert.h"

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

}  // namespace
