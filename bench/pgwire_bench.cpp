// The driver over PostgreSQL's protocol beside the Debian package's driver and beside libpq, over the same
// rows of the same server. Each run is a process of its own, which tells its time and the memory it took at
// its peak.

#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <functional>

#include "odbc_loop.h"
#include "postgres_server.h"

namespace {

constexpr long kRows = 1000000;
constexpr char kQuery[] = "select id, name, amount from rows";

struct Outcome {
  double seconds = -1;
  long peakKb = 0;
  long rows = 0;
};

PostgresServer& server() {
  static PostgresServer instance;
  return instance;
}

long statusKb(const char* field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + std::strlen(field) + 1);
  }
  return 0;
}

// `prepare` connects, `work` is what is timed and weighed; it returns the rows it has read.
Outcome runAlone(const std::function<std::function<long()>()>& prepare) {
  int pipes[2];
  if (pipe(pipes) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    const auto work = prepare();
    Outcome outcome;
    std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins anew
    const long before = statusKb("VmRSS:");
    const auto start = std::chrono::steady_clock::now();
    outcome.rows = work();
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    outcome.peakKb = statusKb("VmHWM:") - before;
    _exit(write(pipes[1], &outcome, sizeof outcome) == sizeof outcome ? 0 : 1);
  }
  Outcome outcome;
  close(pipes[1]);
  if (read(pipes[0], &outcome, sizeof outcome) != sizeof outcome) outcome = {};
  close(pipes[0]);
  waitpid(child, nullptr, 0);
  return outcome;
}

using Prepare = std::function<std::function<long()>()>;

// One benchmark tells the time, in milliseconds, another the peak of memory over what the process had, in MB.
void report(benchmark::State& state, const Prepare& prepare, bool memory) {
  for (auto _ : state) {
    const Outcome outcome = runAlone(prepare);
    if (outcome.rows != kRows) {
      state.SkipWithError("not all rows came");
      return;
    }
    state.SetIterationTime(outcome.seconds);
    if (memory) state.counters["value"] = static_cast<double>(outcome.peakKb) / 1024;
  }
}

// Executes the query and fetches row by row into three variables.
std::function<long()> overOdbc(const std::string& connectionString, SQLULEN cursors, SQLULEN cursorType) {
  SQLHENV env = nullptr;
  SQLHDBC conn = nullptr;
  SQLHSTMT stmt = nullptr;
  SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &env);
  SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, env, &conn);
  SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, reinterpret_cast<SQLPOINTER>(cursors), 0);
  std::string text = connectionString;
  if (!SQL_SUCCEEDED(SQLDriverConnect(conn, nullptr, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS,
                                      nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT))) {
    return [] { return -1L; };
  }
  SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt);
  SQLSetStmtAttr(stmt, SQL_ATTR_CURSOR_TYPE, reinterpret_cast<SQLPOINTER>(cursorType), 0);
  const bool scrolls = cursorType == SQL_CURSOR_STATIC;
  return [stmt, scrolls] {
    SQLINTEGER id = 0;
    char name[32];
    double amount = 0;
    SQLLEN lengths[3];
    SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 0, &lengths[0]);
    SQLBindCol(stmt, 2, SQL_C_CHAR, name, sizeof name, &lengths[1]);
    SQLBindCol(stmt, 3, SQL_C_DOUBLE, &amount, 0, &lengths[2]);
    std::string sql = kQuery;
    if (!SQL_SUCCEEDED(SQLExecDirect(stmt, reinterpret_cast<SQLCHAR*>(sql.data()), SQL_NTS))) return -1L;
    long rows = 0;
    const auto fetch = [&] { return scrolls ? SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0) : SQLFetch(stmt); };
    while (fetch() == SQL_SUCCESS) rows += id > 0 ? 1 : 0;
    return rows;
  };
}

std::function<long()> overLibpq() {
  PGconn* conn =
      PQconnectdb(("host=127.0.0.1 user=postgres dbname=postgres port=" + server().portNumber()).c_str());
  return [conn] {
    long rows = 0;
    if (!PQsendQuery(conn, kQuery) || !PQsetSingleRowMode(conn)) return -1L;
    double total = 0;
    while (PGresult* result = PQgetResult(conn)) {
      if (PQntuples(result) == 1) {
        rows += std::atoi(PQgetvalue(result, 0, 0)) > 0 ? 1 : 0;
        char name[32];
        std::strncpy(name, PQgetvalue(result, 0, 1), sizeof name - 1);
        benchmark::DoNotOptimize(name);
        total += std::strtod(PQgetvalue(result, 0, 2), nullptr);
      }
      PQclear(result);
    }
    benchmark::DoNotOptimize(total);
    return rows;
  };
}

std::string ours() {
  return "Driver=" ZULIB_PGWIRE ";Server=127.0.0.1;Database=postgres;UID=postgres;Port=" +
         server().portNumber() + ";";
}
std::string debian(const char* options) {
  return "Driver=/usr/lib/x86_64-linux-gnu/odbc/"
         "psqlodbca.so;Server=127.0.0.1;Database=postgres;UID=postgres;Port=" +
         server().portNumber() + ";" + options;
}

void add(const std::string& name, const Prepare& ours, const Prepare& reference) {
  for (const bool memory : {false, true}) {
    for (const bool isOurs : {true, false}) {
      const Prepare prepare = isOurs ? ours : reference;
      const std::string full =
          "1M rows, " + name + (memory ? ", MB" : "") + (isOurs ? "/ours" : "/reference");
      benchmark::RegisterBenchmark(full.c_str(),
                                   [=](benchmark::State& state) { report(state, prepare, memory); })
          ->UseManualTime()
          ->Iterations(1)
          ->Repetitions(memory ? 1 : 3)
          ->Unit(benchmark::kMillisecond);
    }
  }
}

void makeRows() {
  PGconn* conn =
      PQconnectdb(("host=127.0.0.1 user=postgres dbname=postgres port=" + server().portNumber()).c_str());
  for (const char* command : {"create table rows (id int, name varchar(30), amount float8)",
                              "insert into rows select i, 'name of row ' || i, i / 7.0::float8 from "
                              "generate_series(1, 1000000) i",
                              "vacuum freeze rows"}) {
    PQclear(PQexec(conn, command));
  }
  PQfinish(conn);
}

const int kRegistered = [] {
  makeRows();
  const auto forward = [](const std::string& source) {
    return [source] { return overOdbc(source, SQL_CUR_USE_DRIVER, SQL_CURSOR_FORWARD_ONLY); };
  };
  const Prepare own = forward(ours());
  add("beside Debian's driver, streaming", own, forward(debian("UseDeclareFetch=1;Fetch=1000;")));
  add("beside Debian's driver, default", own, forward(debian("")));
  add("beside libpq, single row", own, [] { return overLibpq(); });
  add(
      "static cursor beside forward", [] { return overOdbc(ours(), SQL_CUR_USE_ODBC, SQL_CURSOR_STATIC); },
      own);
  return 0;
}();

}  // namespace
