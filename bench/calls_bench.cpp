// What a call through the driver manager costs beside the same call of the driver, without the cursor
// library: of SQLite's driver, which does a call's work from memory, and of a driver that does nothing.

#include <benchmark/benchmark.h>

#include <memory>

#include "odbc_loop.h"

namespace {

constexpr char kSqlite[] = "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";
constexpr const char* kNumbers =
    "with recursive n(i) as (select 1 union all select i + 1 from n where i < 1000) "
    "select i, t, t, t, t, t, t, t, t, t, t from (select i, printf('%100d', i) t from n)";

std::unique_ptr<OdbcLoop> open(const char* driver, bool straight) {
  const OdbcCalls calls = straight ? OdbcCalls::ofDriver(driver) : OdbcCalls();
  return std::make_unique<OdbcLoop>(driver, "Database=:memory:;", straight ? &calls : nullptr,
                                    SQL_CUR_USE_DRIVER);
}

// The rows of a result, whose execution and end are not timed.
template <class Row>
void readRows(benchmark::State& state, OdbcLoop& loop, Row row) {
  loop.prepare(kNumbers);
  size_t rows = 0;
  for (auto _ : state) {
    state.PauseTiming();
    loop.executePrepared();
    state.ResumeTiming();
    for (; loop.fetch(); ++rows) row();
    state.PauseTiming();
    loop.close();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(rows));
}

void fetch(benchmark::State& state, bool straight) {
  const auto loop = open(kSqlite, straight);
  SQLINTEGER number = 0;
  loop->bind(1, SQL_C_SLONG, &number, 0, nullptr);
  readRows(state, *loop, [&] { benchmark::DoNotOptimize(number); });
}

// A fetch and ten reads of 100 bytes of text for each row.
void getData(benchmark::State& state, bool straight) {
  const auto loop = open(kSqlite, straight);
  char text[128];
  readRows(state, *loop, [&] {
    for (SQLUSMALLINT column = 2; column <= 11; ++column)
      loop->getData(column, SQL_C_CHAR, text, sizeof text);
    benchmark::DoNotOptimize(text[0]);
  });
}

void execute(benchmark::State& state, bool straight) {
  const auto loop = open(kSqlite, straight);
  loop->execute("create table t (i integer)");
  loop->prepare("insert into t values (1)");
  for (auto _ : state) loop->executePrepared();
}

void fetchNothing(benchmark::State& state, bool straight) {
  const auto loop = open(ZULIB_NULL_DRIVER, straight);
  loop->execute("select");
  for (auto _ : state) loop->fetch();
}

void getNothing(benchmark::State& state, bool straight) {
  const auto loop = open(ZULIB_NULL_DRIVER, straight);
  char text[128];
  loop->execute("select");
  loop->fetch();
  for (auto _ : state) loop->getData(1, SQL_C_CHAR, text, sizeof text);
}

// Each with an execution that takes longer and is not timed.
void results(benchmark::internal::Benchmark* run) {
  run->Repetitions(9)->Iterations(20)->Unit(benchmark::kMicrosecond);
}
void nanoseconds(benchmark::internal::Benchmark* run) { run->Repetitions(9)->Unit(benchmark::kNanosecond); }
void microseconds(benchmark::internal::Benchmark* run) { run->Repetitions(9)->Unit(benchmark::kMicrosecond); }

#define CALLS_PAIR(function, name, unit)                                     \
  BENCHMARK_CAPTURE(function, ours, false)->Name(name "/ours")->Apply(unit); \
  BENCHMARK_CAPTURE(function, reference, true)->Name(name "/reference")->Apply(unit)

CALLS_PAIR(fetch, "fetch_1000", results);
CALLS_PAIR(getData, "fetch_1000_get_data_10000", results);
CALLS_PAIR(execute, "execute", microseconds);
CALLS_PAIR(fetchNothing, "fetch_of_null_driver", nanoseconds);
CALLS_PAIR(getNothing, "get_data_of_null_driver", nanoseconds);

}  // namespace
