// Cancels: of a call that waits in the driver, from another thread, and of calls that are still executing.

#include <functional>
#include <thread>

#include "tests/support/scripted_fixture.h"

namespace {

class ThreadsCancel : public ScriptedTest {
 protected:
  ThreadsCancel() { script.answers["SQLTables"] = scriptedRows(5); }
};

// A cancel reaches the driver at once while a call of another thread is in it, and ends that call only.
TEST_F(ThreadsCancel, EndsTheCallUnderWay) {
  OdbcStatement stmt(conn);
  stmt.makeScrollable();
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_FIRST));
  OdbcStatement tables(conn);  // has neither SqlParser nor cursor
  const std::pair<const char*, std::function<SQLRETURN()>> calls[] = {
      {"SQLFetch", [&] { return rows.fetch(SQL_FETCH_NEXT); }},
      {"SQLTables", [&] { return SQLTables(tables, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0); }}};
  for (const auto& [function, call] : calls) {
    const auto& run = call;  // a lambda cannot take a structured binding in every compiler
    const OdbcStatement& user = &call == &calls[0].second ? stmt : tables;
    script.closeGate(function);
    SQLRETURN rc = SQL_SUCCESS;
    std::string states;
    std::thread worker([&] {
      rc = run();
      states = user.states();
    });
    ASSERT_TRUE(script.waitForGate());
    EXPECT_EQ(SQL_SUCCESS, SQLCancel(user));
    worker.join();
    EXPECT_EQ(SQL_ERROR, rc);
    EXPECT_EQ("HY008", states);
    EXPECT_SQL(SQL_SUCCESS, user, call());
  }
  EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_FIRST));
  EXPECT_EQ(rowTexts(1, 2), rows.text());
}

// A cancel without a call under way concerns no other call; one of a call that asked for data ends it.
TEST_F(ThreadsCancel, LeavesAnIdleStatementAlone) {
  char value[8] = "later";
  SQLLEN length = SQL_DATA_AT_EXEC;
  OdbcStatement writer(conn);
  SQLBindParameter(writer, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 8, 0, value, 8, &length);
  EXPECT_SQL(SQL_SUCCESS, writer, SQLCancel(writer));
  ASSERT_SQL(SQL_SUCCESS, writer, writer.prepare("insert into t values (?)"));
  EXPECT_SQL(SQL_SUCCESS, writer, SQLCancel(writer));
  EXPECT_SQL(SQL_NEED_DATA, writer, SQLExecute(writer));
  EXPECT_SQL(SQL_SUCCESS, writer, SQLCancel(writer));
  length = 5;
  EXPECT_SQL(SQL_SUCCESS, writer, SQLExecute(writer));
}

// An execution that is cancelled between two polls.
TEST_F(ThreadsCancel, EndsWhatIsStillExecuting) {
  OdbcStatement stmt(conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ASYNC_ENABLE, SQL_ASYNC_ENABLE_ON));
  script.faults = {{"SQLExecDirect", 1, SQL_STILL_EXECUTING, "", 5}};
  ASSERT_EQ(SQL_STILL_EXECUTING, stmt.execute("select id, name from t"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCancel(stmt));
  EXPECT_EQ(SQL_ERROR, stmt.execute("select id, name from t"));
  EXPECT_NE(std::string::npos, stmt.states().find("HY008")) << stmt.why();
  script.faults.clear();
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
}

// The server's own cancel, over a driver that waits for it.
class PostgresThreadsCancel : public PostgresFixture {};

TEST_F(PostgresThreadsCancel, EndAStatementThatWaitsInTheServer) {
  const OdbcConnection conn(connectionString());
  OdbcConnection watcher(connectionString(), SQL_CUR_USE_DRIVER);  // waits for no lock of the cursor library
  OdbcStatement stmt(conn);
  SQLRETURN rc = SQL_SUCCESS;
  std::thread sleeping([&] { rc = stmt.execute("select pg_sleep(60)"); });
  const char* const asleep =
      "select count(*) from pg_stat_activity where wait_event = 'PgSleep' and state = 'active'";
  while (watcher.value(asleep) == "0") std::this_thread::yield();
  EXPECT_EQ(SQL_SUCCESS, SQLCancel(stmt));
  sleeping.join();
  EXPECT_EQ(SQL_ERROR, rc);
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1")) << "the cancel concerns no later call";
}

}  // namespace
