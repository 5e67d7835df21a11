// Connections that scroll side by side in two threads: each sees its own rows, and no data race is left to
// ThreadSanitizer to find.

#include <thread>

#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"

namespace {

constexpr int kCount = 800;
constexpr int kSize = 4;

// Scrolls up and down a result of kCount rows, and updates some on the way, each time from a new cursor. What
// went wrong first, or nothing.
std::string scrollAround(OdbcConnection& connection) {
  for (int round = 0; round < 3; ++round) {
    OdbcStatement stmt(connection);
    OdbcStatement writer(connection);
    stmt.makeScrollable();
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.setName("C1"));
    Rowset rows(stmt, kSize, 200);
    if (!SQL_SUCCEEDED(stmt.execute("select id, name from t"))) return stmt.why();
    if (rows.fetch(SQL_FETCH_LAST) != SQL_SUCCESS) return stmt.why();
    if (rows.text() != rowTexts(kCount - kSize + 1, kCount)) return rows.text();
    for (int i = 0; i < 60; ++i) {
      const int first = 1 + i * 37 % (kCount - kSize);
      if (rows.fetch(SQL_FETCH_ABSOLUTE, first) != SQL_SUCCESS) return stmt.why();
      if (rows.text() != rowTexts(first, first + kSize - 1)) return rows.text();
    }
    if (writer.execute("update t set id = id where current of C1") != SQL_SUCCESS) return writer.why();
    if (rows.fetch(SQL_FETCH_RELATIVE, 0) != SQL_SUCCESS) return stmt.why();
    if (rows.status(0) != SQL_ROW_UPDATED) return "no row is marked as updated";
  }
  return "";
}

TEST(ThreadsOfTwoConnections, ScrollOverTwoDrivers) {
  DriverScript script;
  script.answers["select"] = scriptedRows(kCount);
  const ScriptedDriver two(ScriptedVariant::Odbc2, script);
  const ScratchDirectory directory;
  const std::string sqlite = SqliteFixture::connectionString(directory);
  {
    OdbcConnection connection(sqlite);
    connection.run("create table t (id integer, name varchar(40))");
    connection.run("with recursive g(i) as (select 1 union all select i + 1 from g where i < " +
                   std::to_string(kCount) + ") insert into t select i, 'row ' || i from g");
  }
  std::vector<std::thread> threads;
  for (const std::string& where : {two.connectionString(), sqlite}) {
    threads.emplace_back([where] {
      OdbcConnection connection(where);
      EXPECT_EQ("", scrollAround(connection));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
