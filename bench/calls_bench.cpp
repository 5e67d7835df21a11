// What a call through the driver manager costs beside the same call of the driver, without the cursor
// library.

#include <benchmark/benchmark.h>

#include <memory>

#include "odbc_loop.h"

namespace {

constexpr char kDriver[] = "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";
constexpr int kRows = 1000;
constexpr const char* kNumbers =
    "with recursive n(i) as (select 1 union all select i + 1 from n where i < 1000) "
    "select i, printf('%100d', i) from n";

std::unique_ptr<OdbcLoop> open(bool straight) {
  static const OdbcCalls driver = OdbcCalls::ofDriver(kDriver);
  return std::make_unique<OdbcLoop>(kDriver, "Database=:memory:;", straight ? &driver : nullptr,
                                    SQL_CUR_USE_DRIVER);
}

void fetch(benchmark::State& state, bool straight) {
  const auto loop = open(straight);
  SQLINTEGER number = 0;
  loop->prepare(kNumbers);
  loop->bind(1, SQL_C_SLONG, &number, 0, nullptr);
  for (auto _ : state) {
    loop->executePrepared();
    while (loop->fetch()) benchmark::DoNotOptimize(number);
    loop->close();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

void getData(benchmark::State& state, bool straight) {
  const auto loop = open(straight);
  char text[128];
  loop->prepare(kNumbers);
  for (auto _ : state) {
    loop->executePrepared();
    while (loop->fetch()) {
      loop->getData(2, SQL_C_CHAR, text, sizeof text);
      benchmark::DoNotOptimize(text[0]);
    }
    loop->close();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

void execute(benchmark::State& state, bool straight) {
  const auto loop = open(straight);
  loop->execute("create table t (i integer)");
  loop->prepare("insert into t values (1)");
  for (auto _ : state) loop->executePrepared();
}

void repeated(benchmark::internal::Benchmark* run) { run->Repetitions(9)->Unit(benchmark::kMicrosecond); }

BENCHMARK_CAPTURE(fetch, ours, false)->Name("fetch_1000/ours")->Apply(repeated);
BENCHMARK_CAPTURE(fetch, straight, true)->Name("fetch_1000/reference")->Apply(repeated);
BENCHMARK_CAPTURE(getData, ours, false)->Name("get_data_1000/ours")->Apply(repeated);
BENCHMARK_CAPTURE(getData, straight, true)->Name("get_data_1000/reference")->Apply(repeated);
BENCHMARK_CAPTURE(execute, ours, false)->Name("execute/ours")->Apply(repeated);
BENCHMARK_CAPTURE(execute, straight, true)->Name("execute/reference")->Apply(repeated);

}  // namespace
