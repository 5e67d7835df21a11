// Two threads on one statement, and handles that go while others use them.
// ThreadSanitizer watches these; what can be stated is stated besides.

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "tests/support/scripted_fixture.h"

namespace {

// With the cursor library and without.
class ThreadsOnHandles : public ScriptedTest, public testing::WithParamInterface<SQLULEN> {
 protected:
  ThreadsOnHandles() : ScriptedTest({.cursors = GetParam()}) { script.answers["select"] = scriptedRows(50); }
};

using Call = std::function<void(SQLHSTMT)>;

// Runs both, `rounds` times each, at once.
void together(SQLHSTMT stmt, int rounds, const Call& one, const Call& other) {
  std::atomic<int> ready{0};
  const auto run = [&](const Call& call) {
    ++ready;
    while (ready < 2) std::this_thread::yield();
    for (int i = 0; i < rounds; ++i) call(stmt);
  };
  std::thread second([&] { run(other); });
  run(one);
  second.join();
}

TEST_P(ThreadsOnHandles, MayCallTheSameStatementAtOnce) {
  struct Buffers {
    SQLINTEGER id;
    SQLINTEGER data;
    SQLLEN length, dataLength;
    SQLULEN number;
  } buffers[2] = {};
  const std::pair<const char*, std::function<void(SQLHSTMT, Buffers&)>> calls[] = {
      {"run",
       [](SQLHSTMT s, Buffers&) {
         SQLExecDirect(s, sqlText("select 1"), SQL_NTS);
         SQLFreeStmt(s, SQL_CLOSE);
       }},
      {"prepare",
       [](SQLHSTMT s, Buffers&) {
         SQLPrepare(s, sqlText("select 1"), SQL_NTS);
         SQLExecute(s);
       }},
      {"fetch", [](SQLHSTMT s, Buffers&) { SQLFetch(s); }},
      {"scroll", [](SQLHSTMT s, Buffers&) { SQLFetchScroll(s, SQL_FETCH_FIRST, 0); }},
      {"bind", [](SQLHSTMT s, Buffers& b) { SQLBindCol(s, 1, SQL_C_SLONG, &b.id, 0, &b.length); }},
      {"unbind", [](SQLHSTMT s, Buffers&) { SQLFreeStmt(s, SQL_UNBIND); }},
      {"cancel", [](SQLHSTMT s, Buffers&) { SQLCancel(s); }},
      {"get data", [](SQLHSTMT s, Buffers& b) { SQLGetData(s, 1, SQL_C_SLONG, &b.data, 0, &b.dataLength); }},
      {"attribute",
       [](SQLHSTMT s, Buffers& b) {
         SQLSetStmtAttr(s, SQL_ATTR_CURSOR_TYPE, SQLPOINTER(SQL_CURSOR_STATIC), 0);
         SQLGetStmtAttr(s, SQL_ATTR_ROW_ARRAY_SIZE, &b.number, 0, nullptr);
       }},
      {"diagnostics",
       [](SQLHSTMT s, Buffers&) {
         diagnostics(SQL_HANDLE_STMT, s);
         SQLRETURN last;
         SQLGetDiagField(SQL_HANDLE_STMT, s, 0, SQL_DIAG_RETURNCODE, &last, 0, nullptr);
       }},
  };
  for (const auto& one : calls) {
    for (const auto& other : calls) {
      OdbcStatement stmt(conn);
      SQLBindCol(stmt, 1, SQL_C_SLONG, &buffers[0].id, 0, &buffers[0].length);
      stmt.execute("select 1");
      together(
          stmt, 4, [&](SQLHSTMT s) { one.second(s, buffers[0]); },
          [&](SQLHSTMT s) { other.second(s, buffers[1]); });
      SQLFreeStmt(stmt, SQL_CLOSE);
      ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1")) << one.first << " with " << other.first;
      ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt)) << one.first << " with " << other.first;
    }
  }
}

// A call that has looked the handle up is waited for, and then finds that the handle is gone.
TEST_P(ThreadsOnHandles, UseAStatementThatIsBeingFreed) {
  for (int round = 0; round < 40; ++round) {
    SQLHSTMT stmt;
    ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt));
    SQLExecDirect(stmt, sqlText("select 1"), SQL_NTS);
    std::thread other([&] {
      SQLRETURN rc;
      while ((rc = SQLFetch(stmt)) != SQL_INVALID_HANDLE) EXPECT_NE(SQL_STILL_EXECUTING, rc);
      EXPECT_EQ(SQL_INVALID_HANDLE, SQLCancel(stmt));
      EXPECT_EQ("", sqlstates(SQL_HANDLE_STMT, stmt));
    });
    EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_STMT, stmt));
    other.join();
  }
  EXPECT_EQ(SQL_SUCCESS, conn.disconnect());
  EXPECT_EQ(0, script.liveHandles);
}

// Copying onto a descriptor and freeing it both look through the statements of the connection.
TEST_P(ThreadsOnHandles, CopyAndFreeDescriptorsInUse) {
  std::atomic<int> wrong{0};
  const auto run = [&] {
    OdbcStatement stmt(conn);
    SQLHDESC own = nullptr, used = nullptr, now = nullptr;
    SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &own, 0, nullptr);
    for (int round = 0; round < 30; ++round) {
      const bool worked =
          SQLAllocHandle(SQL_HANDLE_DESC, conn, &used) == SQL_SUCCESS &&
          stmt.set(SQL_ATTR_APP_ROW_DESC, used) == SQL_SUCCESS && SQLCopyDesc(own, used) == SQL_SUCCESS &&
          SQLFreeHandle(SQL_HANDLE_DESC, used) == SQL_SUCCESS &&
          SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &now, 0, nullptr) == SQL_SUCCESS && now == own;
      if (!worked) ++wrong;
    }
  };
  std::thread other(run);
  run();
  other.join();
  EXPECT_EQ(0, wrong);
}

// Statements on one connection cost the same, however many there are: 5,000 are made and freed in turn. The
// sanitizers make a walk of the list in each call show as a test that does not end in time.
TEST_P(ThreadsOnHandles, NeedNoWalkToFreeAStatement) {
  std::vector<SQLHSTMT> many(5000);
  SQLINTEGER id;
  for (SQLHSTMT& stmt : many) {
    ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt));
    ASSERT_EQ(SQL_SUCCESS, SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 0, nullptr));
  }
  for (SQLHSTMT stmt : many) ASSERT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_STMT, stmt));
}

INSTANTIATE_TEST_SUITE_P(Cursors, ThreadsOnHandles, testing::Values(SQL_CUR_USE_DRIVER, SQL_CUR_USE_ODBC),
                         [](const auto& info) {
                           return info.param == SQL_CUR_USE_ODBC ? "OfTheLibrary" : "OfTheDriver";
                         });

}  // namespace
