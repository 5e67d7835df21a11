// The cursor library over real drivers, beside the same work done straight at the driver.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "odbc_loop.h"
#include "postgres_server.h"

namespace {

constexpr char kSqliteDriver[] = "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";
constexpr char kPostgresDriver[] = "/usr/lib/x86_64-linux-gnu/odbc/psqlodbca.so";
constexpr SQLLEN kRows = 1000000;
constexpr char kQuery[] = "select id, name, amount from rows";
constexpr SQLULEN kRowset = 100;
constexpr SQLULEN kSmallRowset = 20;
constexpr SQLLEN kNameWidth = 32;

// What an application binds: three columns of up to kRowset rows.
struct Bound {
  SQLLEN id[kRowset], idLength[kRowset];
  char name[kRowset][kNameWidth];
  SQLLEN nameLength[kRowset];
  double amount[kRowset];
  SQLLEN amountLength[kRowset];
  SQLULEN fetched = 0;
  SQLUSMALLINT status[kRowset];

  void bindTo(OdbcLoop& loop) {
    loop.bind(1, SQL_C_SBIGINT, id, sizeof id[0], idLength);
    loop.bind(2, SQL_C_CHAR, name, kNameWidth, nameLength);
    loop.bind(3, SQL_C_DOUBLE, amount, sizeof amount[0], amountLength);
  }

  void bindRowset(OdbcLoop& loop, SQLULEN rows) {
    loop.set(SQL_ATTR_ROW_ARRAY_SIZE, rows);
    loop.set(SQL_ATTR_ROWS_FETCHED_PTR, &fetched);
    loop.set(SQL_ATTR_ROW_STATUS_PTR, status);
    bindTo(loop);
  }
};

// The database, made once beside the program.
const std::string& database() {
  static const std::string path = [] {
    const auto made = std::filesystem::canonical("/proc/self/exe").parent_path() / "cursor_bench.db";
    if (std::filesystem::exists(made)) return made.string();
    const std::string unfinished = made.string() + ".new";
    std::filesystem::remove(unfinished);
    sqlite3* db = nullptr;
    const std::string work =
        "pragma journal_mode = off; pragma synchronous = off;"
        "create table rows (id integer primary key, name varchar(31), amount double);"
        "with recursive n(i) as (select 1 union all select i + 1 from n where i < " +
        std::to_string(kRows) + ") insert into rows select i, 'the name of row ' || i, i * 0.25 from n;";
    const bool good = sqlite3_open(unfinished.c_str(), &db) == SQLITE_OK &&
                      sqlite3_exec(db, work.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    if (!good) std::exit(1);
    std::filesystem::rename(unfinished, made);
    return made.string();
  }();
  return path;
}

const OdbcCalls& sqliteDriver() {
  static const OdbcCalls calls = OdbcCalls::ofDriver(kSqliteDriver);
  return calls;
}

std::unique_ptr<OdbcLoop> openSqlite(bool straight) {
  // The driver then gives rows as it finds them, and the cost of its own row store is in neither figure.
  const std::string options = "StepAPI=1;Database=" + database() + ";";
  return std::make_unique<OdbcLoop>(kSqliteDriver, options, straight ? &sqliteDriver() : nullptr);
}

// Executes and fetches everything, row set by row set or row by row. The ids must come in order.
bool scrollThrough(OdbcLoop& loop, Bound& bound) {
  loop.execute(kQuery);
  SQLLEN rows = 0;
  while (loop.scroll(SQL_FETCH_NEXT, 0)) {
    rows += static_cast<SQLLEN>(bound.fetched);
    if (bound.id[bound.fetched - 1] != rows) return false;
  }
  return rows == kRows;
}

bool fetchThrough(OdbcLoop& loop, Bound& bound) {
  loop.execute(kQuery);
  SQLLEN rows = 0;
  while (loop.fetch()) {
    if (bound.id[0] != ++rows) return false;
  }
  return rows == kRows;
}

enum Pass { FORWARD_PASS, STATIC_PASS, STRAIGHT_PASS, PASSES };

bool runPass(Pass pass, Bound& bound) {
  auto loop = openSqlite(pass == STRAIGHT_PASS);
  if (pass == STRAIGHT_PASS) {
    bound.bindTo(*loop);
    return fetchThrough(*loop, bound);
  }
  loop->set(SQL_ATTR_CURSOR_TYPE, pass == STATIC_PASS ? SQL_CURSOR_STATIC : SQL_CURSOR_FORWARD_ONLY);
  bound.bindRowset(*loop, kRowset);
  return scrollThrough(*loop, bound);
}

// The best of some rounds, in seconds, with all passes in each round: other work on the machine only ever
// adds, and it should add to all of them.
const std::array<double, PASSES>& passTimes() {
  static const std::array<double, PASSES> times = [] {
    std::array<double, PASSES> best{1e9, 1e9, 1e9};
    auto bound = std::make_unique<Bound>();
    for (int round = 0; round < 7; ++round) {
      for (const Pass pass : {FORWARD_PASS, STATIC_PASS, STRAIGHT_PASS}) {
        const auto begin = std::chrono::steady_clock::now();
        if (!runPass(pass, *bound)) std::exit(1);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        best[pass] = std::min(best[pass], taken.count());
      }
    }
    return best;
  }();
  return times;
}

void pass(benchmark::State& state, Pass pass) {
  for (auto _ : state) state.SetIterationTime(passTimes()[pass]);
}

void once(benchmark::internal::Benchmark* bench) {
  bench->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(pass, forward, FORWARD_PASS)->Name("forward_execute_fetch/ours")->Apply(once);
BENCHMARK_CAPTURE(pass, straight, STRAIGHT_PASS)->Name("forward_execute_fetch/reference")->Apply(once);
BENCHMARK_CAPTURE(pass, scrollable, STATIC_PASS)->Name("static_first_pass/ours")->Apply(once);
BENCHMARK_CAPTURE(pass, straightAgain, STRAIGHT_PASS)->Name("static_first_pass/reference")->Apply(once);

// First rows of row sets, all over the result.
class Positions {
 public:
  SQLLEN next() { return static_cast<SQLLEN>(engine() % (kRows - kSmallRowset)); }

 private:
  std::mt19937_64 engine{42};
};

void randomRowsets(benchmark::State& state) {
  auto bound = std::make_unique<Bound>();
  auto loop = openSqlite(false);
  loop->set(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC);
  bound->bindRowset(*loop, kSmallRowset);
  loop->execute(kQuery);
  loop->scroll(SQL_FETCH_LAST, 0);
  Positions positions;
  for (auto _ : state) {
    const SQLLEN first = positions.next();
    if (!loop->scroll(SQL_FETCH_ABSOLUTE, first + 1) || bound->id[kSmallRowset - 1] != first + 20)
      return state.SkipWithError("wrong answers");
  }
}

// A file like the cursor's: as many rows to a block, as many bytes to a row.
class BlockFile {
 public:
  static constexpr std::size_t kField = sizeof(SQLLEN);
  static constexpr std::size_t kRowBytes = 2 * kField + kNameWidth + kField + 2 * kField + 4;
  static constexpr std::size_t kBlock = 4096;
  static constexpr std::size_t kHead = 40;
  static constexpr SQLLEN kPerBlock = (kBlock - kHead) / kRowBytes;

  BlockFile() {
    std::vector<unsigned char> block(kBlock);
    for (SQLLEN row = 0; row < kRows; row += kPerBlock) {
      for (SQLLEN i = 0; i < kPerBlock; ++i) {
        const SQLLEN id = row + i + 1;
        std::memcpy(&block[kHead + static_cast<std::size_t>(i) * kRowBytes], &id, sizeof id);
      }
      if (write(fd, block.data(), kBlock) != static_cast<ssize_t>(kBlock)) std::exit(1);
    }
  }
  ~BlockFile() { std::fclose(file); }

  // The rows of one row set, each field copied to where the application has bound it.
  bool copyRows(SQLLEN first, Bound& bound) {
    SQLLEN held = -1;
    for (SQLULEN i = 0; i < kSmallRowset; ++i) {
      const SQLLEN row = first + static_cast<SQLLEN>(i);
      if (row / kPerBlock != held) {
        held = row / kPerBlock;
        if (pread(fd, block, kBlock, held * static_cast<off_t>(kBlock)) != static_cast<ssize_t>(kBlock))
          return false;
      }
      const unsigned char* at = block + kHead + static_cast<std::size_t>(row % kPerBlock) * kRowBytes;
      copy(&bound.id[i], at, sizeof bound.id[i]);
      copy(&bound.idLength[i], at, kField);
      copy(bound.name[i], at, kNameWidth);
      copy(&bound.nameLength[i], at, kField);
      copy(&bound.amount[i], at, sizeof bound.amount[i]);
      copy(&bound.amountLength[i], at, kField);
      copy(&bound.status[i], at, sizeof bound.status[i]);
    }
    return true;
  }

 private:
  static void copy(void* to, const unsigned char*& from, std::size_t bytes) {
    std::memcpy(to, from, bytes);
    from += bytes;
  }

  FILE* file = std::tmpfile();
  int fd = fileno(file);
  unsigned char block[kBlock];
};

void preadRowsets(benchmark::State& state) {
  auto bound = std::make_unique<Bound>();
  BlockFile file;
  Positions positions;
  for (auto _ : state) {
    const SQLLEN first = positions.next();
    if (!file.copyRows(first, *bound) || bound->id[kSmallRowset - 1] != first + 20)
      return state.SkipWithError("wrong answers");
  }
}

// The query executed again, and rows skipped up to the position.
void queryAgain(benchmark::State& state) {
  auto bound = std::make_unique<Bound>();
  Positions positions;
  for (auto _ : state) {
    const SQLLEN first = positions.next();
    auto loop = openSqlite(true);
    bound->bindTo(*loop);
    loop->execute(kQuery);
    for (SQLLEN row = 0; row < first + 20; ++row) loop->fetch();
    if (bound->id[0] != first + 20) return state.SkipWithError("wrong answers");
  }
}

BENCHMARK(randomRowsets)->Name("random_absolute_20/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(preadRowsets)->Name("random_absolute_20/reference")->Unit(benchmark::kMicrosecond);
BENCHMARK(randomRowsets)->Name("same_position_by_query/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(queryAgain)
    ->Name("same_position_by_query/reference")
    ->Iterations(10)
    ->Unit(benchmark::kMicrosecond);

// Sixteen connections that scroll at once, under the one lock of the cursor library and under a lock for each
// connection, alone and while one more connection is in a long call of the driver.
enum Crowd { OWN_LOCKS, ONE_LOCK, OWN_LOCKS_SLOW, ONE_LOCK_SLOW, CROWDS };

constexpr int kConnections = 16;
constexpr SQLLEN kCrowdRows = 20000;
constexpr char kSlowQuery[] =
    "with recursive n(i) as (select 1 union all select i + 1 from n where i < 4000000) select count(*) from "
    "n";

// Which lock a connection takes is read from the data sources when it connects.
void writeLock(bool isOwn) {
  const std::string file = database() + (isOwn ? ".own.ini" : ".one.ini");
  std::ofstream(file) << (isOwn ? "[ODBC]\nCursorLibraryLock=connection\n" : "");
  setenv("ODBCINI", file.c_str(), 1);
}

void scrollInCrowd(OdbcLoop& loop) {
  auto bound = std::make_unique<Bound>();
  loop.set(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC);
  bound->bindRowset(loop, kSmallRowset);
  loop.execute(kQuery + (" where id <= " + std::to_string(kCrowdRows)));
  loop.scroll(SQL_FETCH_LAST, 0);
  Positions positions;
  for (int i = 0; i < 2000; ++i) {
    const SQLLEN first = positions.next() % (kCrowdRows - SQLLEN(kSmallRowset));
    if (!loop.scroll(SQL_FETCH_ABSOLUTE, first + 1) || bound->id[0] != first + 1) std::exit(1);
  }
}

// The seconds until all have scrolled.
double crowdTime(Crowd crowd) {
  writeLock(crowd == OWN_LOCKS || crowd == OWN_LOCKS_SLOW);
  std::vector<std::unique_ptr<OdbcLoop>> loops(kConnections);
  for (auto& loop : loops) loop = openSqlite(false);
  const auto slow = openSqlite(false);
  const auto begin = std::chrono::steady_clock::now();
  std::thread beside;
  if (crowd == OWN_LOCKS_SLOW || crowd == ONE_LOCK_SLOW) {
    beside = std::thread([&] { slow->execute(kSlowQuery); });
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  std::vector<std::thread> threads;
  for (auto& loop : loops) threads.emplace_back([&] { scrollInCrowd(*loop); });
  for (std::thread& thread : threads) thread.join();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  if (beside.joinable()) beside.join();
  return taken.count();
}

const std::array<double, CROWDS>& crowdTimes() {
  static const std::array<double, CROWDS> times = [] {
    std::array<double, CROWDS> best{1e9, 1e9, 1e9, 1e9};
    for (int round = 0; round < 5; ++round) {
      for (const Crowd crowd : {OWN_LOCKS, ONE_LOCK, OWN_LOCKS_SLOW, ONE_LOCK_SLOW})
        best[crowd] = std::min(best[crowd], crowdTime(crowd));
    }
    return best;
  }();
  return times;
}

void crowd(benchmark::State& state, Crowd crowd) {
  for (auto _ : state) state.SetIterationTime(crowdTimes()[crowd]);
}

BENCHMARK_CAPTURE(crowd, own, OWN_LOCKS)->Name("scroll_16_connections/ours")->Apply(once);
BENCHMARK_CAPTURE(crowd, one, ONE_LOCK)->Name("scroll_16_connections/reference")->Apply(once);
BENCHMARK_CAPTURE(crowd, ownSlow, OWN_LOCKS_SLOW)->Name("scroll_16_beside_a_slow_call/ours")->Apply(once);
BENCHMARK_CAPTURE(crowd, oneSlow, ONE_LOCK_SLOW)->Name("scroll_16_beside_a_slow_call/reference")->Apply(once);

std::size_t heapInUse() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// The most heap in use while a result is read, beyond what was in use before, in KB: what the driver and,
// in ours, the driver manager with its cursor hold.
void memory(benchmark::State& state, bool straight, SQLULEN cursorType) {
  static const PostgresServer server;
  static const OdbcCalls driver = OdbcCalls::ofDriver(kPostgresDriver);
  if (server.portNumber().empty()) return state.SkipWithError("no PostgreSQL server");
  const std::string options = "Server=127.0.0.1;Port=" + server.portNumber() +
                              ";Database=postgres;UID=postgres;UseDeclareFetch=1;Fetch=100;";
  const std::string query =
      "select i::int8, ('the name of row ' || i)::varchar(31), i * 0.25::float8 "
      "from generate_series(1, " +
      std::to_string(state.range(0)) + ") i";
  auto bound = std::make_unique<Bound>();
  for (auto _ : state) {
    const std::size_t before = heapInUse();
    OdbcLoop loop(kPostgresDriver, options, straight ? &driver : nullptr);
    if (!straight) loop.set(SQL_ATTR_CURSOR_TYPE, cursorType);
    straight ? bound->bindTo(loop) : bound->bindRowset(loop, kRowset);
    loop.execute(query);
    std::size_t most = 0;
    SQLLEN rows = 0;
    while (straight ? loop.fetch() : loop.scroll(SQL_FETCH_NEXT, 0)) {
      rows += straight ? 1 : static_cast<SQLLEN>(bound->fetched);
      if (rows % 1000 == 0) most = std::max(most, heapInUse());
    }
    if (rows != state.range(0)) return state.SkipWithError("wrong answers");
    state.counters["value"] = static_cast<double>(most - before) / 1024;
  }
}

void memorySizes(benchmark::internal::Benchmark* bench) {
  for (const int64_t rows : {10000, 100000, 1000000}) bench->Arg(rows);
  bench->Iterations(1);
}

BENCHMARK_CAPTURE(memory, forward, false, SQL_CURSOR_FORWARD_ONLY)
    ->Name("forward_memory_KB/ours")
    ->Apply(memorySizes);
BENCHMARK_CAPTURE(memory, forwardDriver, true, 0)->Name("forward_memory_KB/reference")->Apply(memorySizes);
BENCHMARK_CAPTURE(memory, scrollable, false, SQL_CURSOR_STATIC)
    ->Name("static_memory_KB/ours")
    ->Apply(memorySizes);
BENCHMARK_CAPTURE(memory, scrollableDriver, true, 0)->Name("static_memory_KB/reference")->Apply(memorySizes);

}  // namespace
