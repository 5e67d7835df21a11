// Many threads over one environment: on connections of their own, on one connection with a statement each,
// with cancels and with transactions of the environment, over a scripted driver and over SQLite, without the
// cursor library, with it, and with it under a lock for each connection. ThreadSanitizer watches; every row
// that arrives must be the right one.

#include <atomic>
#include <fstream>
#include <functional>
#include <thread>
#include <tuple>

#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"

namespace {

constexpr int kCount = 200;
constexpr int kSize = 4;

// A connection in the environment of another.
class Guest {
 public:
  Guest(SQLHENV env, const std::string& connectionString, SQLULEN cursors) {
    EXPECT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DBC, env, &conn));
    SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, reinterpret_cast<SQLPOINTER>(cursors), 0);
    std::string text = connectionString;
    EXPECT_TRUE(SQL_SUCCEEDED(SQLDriverConnect(conn, nullptr, reinterpret_cast<SQLCHAR*>(text.data()),
                                               SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT)))
        << diagnostics(SQL_HANDLE_DBC, conn);
  }
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;
  ~Guest() {
    EXPECT_EQ(SQL_SUCCESS, SQLDisconnect(conn)) << diagnostics(SQL_HANDLE_DBC, conn);
    EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DBC, conn));
  }
  operator SQLHDBC() const { return conn; }

 private:
  SQLHDBC conn = SQL_NULL_HDBC;
};

enum class Mode { Plain, Scrolled, OwnLocks };

class ManyThreads : public testing::TestWithParam<std::tuple<bool, Mode>> {
 protected:
  ManyThreads() : conn(cursors) {
    script.answers["select"] = scriptedRows(kCount);
    if (mode == Mode::OwnLocks)
      std::ofstream(directory.path() + "/odbc.ini") << "[ODBC]\nCursorLibraryLock=connection\n";
    where = isReal ? SqliteFixture::connectionString(directory) : driver.connectionString();
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(where));
    if (!isReal) return;
    conn.run("create table t (id integer, name varchar(40))");
    conn.run("with recursive g(i) as (select 1 union all select i + 1 from g where i < " +
             std::to_string(kCount) + ") insert into t select i, 'row ' || i from g");
  }

  // Reads some of the result, and with the cursor library scrolls and updates a row on the way. What went
  // wrong, or nothing; "got" and the rows if they were not the right ones.
  std::string read(SQLHDBC of, OdbcStatement& stmt) const {
    if (scrolls) stmt.makeScrollable();
    Rowset rows(stmt, kSize);
    const std::string wrong = readInto(rows, of, stmt);
    SQLFreeStmt(stmt, SQL_CLOSE);
    SQLFreeStmt(stmt, SQL_UNBIND);
    return wrong;
  }

  std::string readInto(Rowset& rows, SQLHDBC of, OdbcStatement& stmt) const {
    if (stmt.execute("select id, name from t") != SQL_SUCCESS) return stmt.why();
    for (int i = 0; i < 12; ++i) {
      const int first = 1 + (scrolls ? i * 37 % (kCount - kSize) : i * kSize);
      const SQLRETURN rc = scrolls ? rows.fetch(SQL_FETCH_ABSOLUTE, first) : rows.fetch(SQL_FETCH_NEXT);
      if (rc != SQL_SUCCESS) return stmt.why();
      if (rows.text() != rowTexts(first, first + kSize - 1)) return "got " + rows.text();
    }
    if (!scrolls || isReal) return "";  // SQLite lets one connection write at a time
    SQLCHAR name[32];
    if (SQLGetCursorName(stmt, name, sizeof name, nullptr) != SQL_SUCCESS) return stmt.why();
    OdbcStatement writer(of);
    const std::string update = "update t set id = id where current of ";
    const SQLRETURN rc = writer.execute(update + reinterpret_cast<char*>(name));
    return rc == SQL_SUCCESS ? "" : writer.why();
  }

  static void inThreads(int count, const std::function<void()>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
  }

  const bool isReal = std::get<0>(GetParam());
  const Mode mode = std::get<1>(GetParam());
  const bool scrolls = mode != Mode::Plain;
  const SQLULEN cursors = scrolls ? SQL_CUR_USE_ODBC : SQL_CUR_USE_DRIVER;
  DriverScript script;
  const ScriptedDriver driver{ScriptedVariant::Odbc3, script};
  const ScratchDirectory directory;
  const EnvironmentSetting sources{"ODBCINI", (directory.path() + "/odbc.ini").c_str()};
  std::string where;
  OdbcConnection conn;
};

TEST_P(ManyThreads, OnConnectionsOfTheirOwn) {
  inThreads(64, [&] {
    const Guest guest(conn.environment(), where, cursors);
    OdbcStatement stmt(guest);
    EXPECT_EQ("", read(guest, stmt));
  });
}

TEST_P(ManyThreads, WithAStatementEachOnOneConnection) {
  inThreads(16, [&] {
    for (int round = 0; round < 4; ++round) {
      OdbcStatement stmt(conn);
      EXPECT_EQ("", read(conn, stmt));
    }
  });
}

// The SQLite driver frees the result in its SQLCancel, whoever reads it.
class ManyThreadsCancelled : public ManyThreads {};

// A call may be cancelled or not; what it delivers is right, and the next call works.
TEST_P(ManyThreadsCancelled, ByAnother) {
  OdbcStatement stmt(conn);
  std::atomic<bool> done{false};
  std::thread cancelling([&] {
    while (!done) {
      EXPECT_EQ(SQL_SUCCESS, SQLCancel(stmt));
      std::this_thread::yield();
    }
  });
  for (int round = 0; round < 30; ++round) {
    const std::string wrong = read(conn, stmt);
    EXPECT_EQ(std::string::npos, wrong.find("got")) << wrong;
  }
  done = true;
  cancelling.join();
  EXPECT_EQ("", read(conn, stmt));
}

// Transactions of the environment while its connections come, read, write and go.
TEST_P(ManyThreads, UnderTransactionsOfTheEnvironment) {
  std::atomic<int> left{4};
  std::thread ending([&] {
    while (left > 0) {
      const SQLRETURN rc =
          SQLEndTran(SQL_HANDLE_ENV, conn.environment(), left % 2 ? SQL_COMMIT : SQL_ROLLBACK);
      EXPECT_NE(SQL_INVALID_HANDLE, rc);
    }
  });
  inThreads(4, [&] {
    for (int round = 0; round < 12; ++round) {
      const Guest guest(conn.environment(), where, cursors);
      if (round % 2) SQLSetConnectAttr(guest, SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_OFF, 0);
      OdbcStatement stmt(guest);
      const std::string wrong = read(guest, stmt);  // a transaction can close the cursor
      EXPECT_EQ(std::string::npos, wrong.find("got")) << wrong;
      SQLEndTran(SQL_HANDLE_DBC, guest, SQL_ROLLBACK);
    }
    --left;
  });
  ending.join();
  OdbcStatement stmt(conn);
  EXPECT_EQ("", read(conn, stmt));
}

std::string nameOf(const testing::TestParamInfo<std::tuple<bool, Mode>>& info) {
  constexpr const char* kNames[] = {"Plain", "Scrolled", "OwnLocks"};
  return std::string(std::get<0>(info.param) ? "Sqlite" : "Scripted") +
         kNames[static_cast<int>(std::get<1>(info.param))];
}

const auto kModes = testing::Values(Mode::Plain, Mode::Scrolled, Mode::OwnLocks);
INSTANTIATE_TEST_SUITE_P(Drivers, ManyThreads, testing::Combine(testing::Bool(), kModes), nameOf);
INSTANTIATE_TEST_SUITE_P(Drivers, ManyThreadsCancelled, testing::Combine(testing::Values(false), kModes),
                         nameOf);

}  // namespace
