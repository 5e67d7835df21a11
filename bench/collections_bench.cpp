// The collections beside their counterparts in the standard library, on the same data.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "zulib/collections/zuarray.h"
#include "zulib/collections/zudictionary.h"
#include "zulib/collections/zuset.h"
#include "zulib/collections/zusorted.h"

namespace {

// The allocator keeps what it has got from the system. By itself it adapts to what ran before, and the same
// work then costs page faults or not by its place in the list.
[[maybe_unused]] const bool kAllocatorSettled =
    mallopt(M_MMAP_MAX, 0) == 1 && mallopt(M_TRIM_THRESHOLD, -1) == 1;

constexpr unsigned long kElements[] = {1000, 50000, 1000000};

void sizes(benchmark::internal::Benchmark* bench) {
  for (const unsigned long n : kElements) bench->Arg(static_cast<int64_t>(n));
}

unsigned long countOf(const benchmark::State& state) { return static_cast<unsigned long>(state.range(0)); }

void countItems(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * state.range(0)); }

class Number : public ZuObject {
 public:
  int compare(const ZuObject* other) const override {
    const auto theirs = static_cast<const Number*>(other)->key;
    return key < theirs ? -1 : key > theirs;
  }

  unsigned long key = 0;
};

std::vector<Number> numbers(unsigned long n) {
  std::mt19937_64 engine(n);
  std::vector<Number> all(n);
  for (Number& number : all) number.key = engine();
  return all;
}

void arrayAdd(benchmark::State& state) {
  Number number;
  for (auto _ : state) {
    ZuArray array(0);
    if (array.setInitialSize(1)) return state.SkipWithError("allocation failed");
    for (unsigned long i = 0; i < countOf(state); ++i) {
      if (array.add(&number)) return state.SkipWithError("allocation failed");
    }
    benchmark::DoNotOptimize(array[0]);
    benchmark::ClobberMemory();
  }
  countItems(state);
}
BENCHMARK(arrayAdd)->Name("array_add/ours")->Apply(sizes);

void vectorPushBack(benchmark::State& state) {
  Number number;
  for (auto _ : state) {
    std::vector<ZuObject*> array;
    for (unsigned long i = 0; i < countOf(state); ++i) array.push_back(&number);
    benchmark::DoNotOptimize(array.data());
    benchmark::ClobberMemory();
  }
  countItems(state);
}
BENCHMARK(vectorPushBack)->Name("array_add/reference")->Apply(sizes);

void sortedLoad(benchmark::State& state) {
  std::vector<Number> all = numbers(countOf(state));
  for (auto _ : state) {
    ZuSortedArray array(0);
    bool failed = array.setInitialSize(16) != 0;
    array.stopSort();
    for (Number& number : all) failed |= array.add(&number) != 0;
    failed |= array.resort() != 0;
    if (failed) state.SkipWithError("allocation failed");
    benchmark::DoNotOptimize(array[0]);
  }
  countItems(state);
}
BENCHMARK(sortedLoad)->Name("sorted_load_resort/ours")->Apply(sizes)->Unit(benchmark::kMicrosecond);

void stdSort(benchmark::State& state) {
  std::vector<Number> all = numbers(countOf(state));
  for (auto _ : state) {
    std::vector<ZuObject*> array;
    for (Number& number : all) array.push_back(&number);
    std::sort(array.begin(), array.end(),
              [](const ZuObject* a, const ZuObject* b) { return a->compare(b) < 0; });
    benchmark::DoNotOptimize(array.data());
  }
  countItems(state);
}
BENCHMARK(stdSort)->Name("sorted_load_resort/reference")->Apply(sizes)->Unit(benchmark::kMicrosecond);

uint32_t hashOf(unsigned long key) { return static_cast<uint32_t>(key ^ key >> 32); }

class NumberSet final : public ZuSet {
 public:
  uint32_t doHash(const void* value) const override { return hashOf(static_cast<const Number*>(value)->key); }
  bool areEqual(const void* stored, const void* wanted) const override {
    return static_cast<const Number*>(stored)->key == static_cast<const Number*>(wanted)->key;
  }
};

struct HashNumber {
  std::size_t operator()(const Number* number) const { return hashOf(number->key); }
};
struct EqualNumber {
  bool operator()(const Number* a, const Number* b) const { return a->key == b->key; }
};
using StdSet = std::unordered_set<const Number*, HashNumber, EqualNumber>;

// Room from the start, since growth of a set ends at 65535 values.
bool fill(NumberSet& set, std::vector<Number>& all) {
  bool failed = set.initialize(all.size()) != 0;
  for (Number& number : all) failed |= set.add(&number) != 0;
  return !failed;
}

void fill(StdSet& set, const std::vector<Number>& all) {
  set.reserve(all.size());
  for (const Number& number : all) set.insert(&number);
}

void setAdd(benchmark::State& state) {
  std::vector<Number> all = numbers(countOf(state));
  for (auto _ : state) {
    NumberSet set;
    if (!fill(set, all)) state.SkipWithError("allocation failed");
    benchmark::DoNotOptimize(set.getCount());
  }
  countItems(state);
}
BENCHMARK(setAdd)->Name("set_add/ours")->Apply(sizes)->Unit(benchmark::kMicrosecond);

void stdSetAdd(benchmark::State& state) {
  const std::vector<Number> all = numbers(countOf(state));
  for (auto _ : state) {
    StdSet set;
    fill(set, all);
    benchmark::DoNotOptimize(set.size());
  }
  countItems(state);
}
BENCHMARK(stdSetAdd)->Name("set_add/reference")->Apply(sizes)->Unit(benchmark::kMicrosecond);

// Growing from small, as far as a set grows by itself.
void setGrow(benchmark::State& state) {
  std::vector<Number> all = numbers(countOf(state));
  for (auto _ : state) {
    NumberSet set;
    bool failed = set.initialize(16) != 0;
    for (Number& number : all) failed |= set.add(&number) != 0;
    if (failed) state.SkipWithError("allocation failed");
    benchmark::DoNotOptimize(set.getCount());
  }
  countItems(state);
}
BENCHMARK(setGrow)->Name("set_add_growing/ours")->Arg(1000)->Arg(50000)->Unit(benchmark::kMicrosecond);

void stdSetGrow(benchmark::State& state) {
  const std::vector<Number> all = numbers(countOf(state));
  for (auto _ : state) {
    StdSet set;
    for (const Number& number : all) set.insert(&number);
    benchmark::DoNotOptimize(set.size());
  }
  countItems(state);
}
BENCHMARK(stdSetGrow)
    ->Name("set_add_growing/reference")
    ->Arg(1000)
    ->Arg(50000)
    ->Unit(benchmark::kMicrosecond);

// Wanted values in another order than they went in, each of them its own object; all are there or none is.
std::vector<Number> wantedOf(const std::vector<Number>& all, bool there) {
  std::vector<Number> wanted = all;
  std::shuffle(wanted.begin(), wanted.end(), std::mt19937_64(7));
  for (Number& number : wanted) number.key += there ? 0 : 1;
  return wanted;
}

void setFind(benchmark::State& state, bool there) {
  std::vector<Number> all = numbers(countOf(state));
  const std::vector<Number> wanted = wantedOf(all, there);
  NumberSet set;
  if (!fill(set, all)) state.SkipWithError("allocation failed");
  for (auto _ : state) {
    unsigned long hits = 0;
    for (const Number& number : wanted) hits += set.at(set.findIndexOf(&number)) != nullptr;
    if (hits != (there ? wanted.size() : 0)) state.SkipWithError("wrong results");
  }
  countItems(state);
}

void stdSetFind(benchmark::State& state, bool there) {
  const std::vector<Number> all = numbers(countOf(state));
  const std::vector<Number> wanted = wantedOf(all, there);
  StdSet set;
  fill(set, all);
  for (auto _ : state) {
    unsigned long hits = 0;
    for (const Number& number : wanted) hits += set.find(&number) != set.end();
    if (hits != (there ? wanted.size() : 0)) state.SkipWithError("wrong results");
  }
  countItems(state);
}

BENCHMARK_CAPTURE(setFind, hit, true)->Name("set_find_hit/ours")->Apply(sizes)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(stdSetFind, hit, true)
    ->Name("set_find_hit/reference")
    ->Apply(sizes)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(setFind, miss, false)
    ->Name("set_find_miss/ours")
    ->Apply(sizes)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(stdSetFind, miss, false)
    ->Name("set_find_miss/reference")
    ->Apply(sizes)
    ->Unit(benchmark::kMicrosecond);

// ---- dictionaries of 1,000 names ----

// Random names, or names with a prefix in common, which the hash of the dictionary cannot tell apart.
std::vector<std::string> names(bool prefix) {
  std::mt19937 engine(11);
  std::vector<std::string> all;
  for (int i = 0; i < 1000; ++i) {
    std::string name = prefix ? "COLUMN_" : "";
    if (!prefix) {
      for (int n = 0; n < 8; ++n) name += static_cast<char>('A' + engine() % 26);
    }
    all.push_back(name + std::to_string(i));
  }
  return all;
}

std::vector<ZuSubString> viewsOf(const std::vector<std::string>& all) {
  std::vector<ZuSubString> views;
  for (const std::string& name : all)
    views.emplace_back(reinterpret_cast<const unsigned char*>(name.data()), name.size());
  return views;
}

void dictionaryFind(benchmark::State& state, bool prefix) {
  const std::vector<std::string> all = names(prefix);
  std::vector<ZuSubString> keys = viewsOf(all);
  std::vector<ZuSubString> wanted = viewsOf(all);
  std::shuffle(wanted.begin(), wanted.end(), std::mt19937(7));
  ZuDictionary dictionary;
  bool failed = dictionary.initialize(keys.size()) != 0;
  for (ZuSubString& key : keys) failed |= dictionary.addAssoc(&key, &key) != 0;
  for (auto _ : state) {
    for (const ZuSubString& key : wanted) failed |= !dictionary.getPtrForKey(&key);
    if (failed) return state.SkipWithError("a name was not found");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(all.size()));
}

void stdMapFind(benchmark::State& state, bool prefix) {
  const std::vector<std::string> all = names(prefix);
  std::vector<std::string> wanted = all;
  std::shuffle(wanted.begin(), wanted.end(), std::mt19937(7));
  std::unordered_map<std::string_view, const void*> map;
  for (const std::string& name : all) map.emplace(name, &name);
  bool failed = false;
  for (auto _ : state) {
    for (const std::string& name : wanted) failed |= map.find(name) == map.end();
    if (failed) return state.SkipWithError("a name was not found");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(all.size()));
}

BENCHMARK_CAPTURE(dictionaryFind, random, false)->Name("dictionary_find/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(stdMapFind, random, false)
    ->Name("dictionary_find/reference")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(dictionaryFind, prefix, true)
    ->Name("dictionary_find_prefix/ours")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(stdMapFind, prefix, true)
    ->Name("dictionary_find_prefix/reference")
    ->Unit(benchmark::kMicrosecond);

}  // namespace
