// Failed transactions, native SQL, and parameter arrays.

#include "tests/cursor/entry_fixture.h"
#include "tests/support/fault_allocator.h"

namespace {

struct Transactions : EntryTest {
  // The behaviour is asked for when the connection is made.
  void reconnect(SQLUSMALLINT commit, SQLUSMALLINT rollback) {
    script.info[SQL_CURSOR_COMMIT_BEHAVIOR] = commit;
    script.info[SQL_CURSOR_ROLLBACK_BEHAVIOR] = rollback;
    ASSERT_SQL(SQL_SUCCESS, conn, conn.disconnect());
    ASSERT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }
};

TEST_F(Transactions, AFailedOneEndsNothing) {
  reconnect(SQL_CB_DELETE, SQL_CB_DELETE);
  script.faults.push_back({"SQLEndTran", script.count("SQLEndTran") + 1, SQL_ERROR, "40001"});
  OdbcStatement stmt(conn);
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_SQL(SQL_ERROR, conn, conn.endTransaction(SQL_COMMIT));
  EXPECT_EQ("40001", conn.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(rowTexts(3, 4), rows.text());
}

struct NativeSql : EntryTest {
  SQLRETURN native(const char* sql, SQLINTEGER size = 100) {
    return SQLNativeSql(conn, reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql)), SQL_NTS, out, size,
                        &length);
  }
  const char* text() const { return reinterpret_cast<const char*>(out); }
  SQLCHAR out[100] = "untouched";
  SQLINTEGER length = -1;
};

TEST_F(NativeSql, ShowsWhatWouldBeSent) {
  const int live = script.liveHandles;
  EXPECT_SQL(SQL_SUCCESS, conn, native("select a from t for update"));
  EXPECT_STREQ("select a from t ", text());
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, conn, native("insert into t values (1)", 7));
  EXPECT_STREQ("insert", text());
  EXPECT_EQ(24, length);
  EXPECT_EQ("01004", conn.states());
  EXPECT_EQ(live, script.liveHandles);  // the statement that it runs on has no driver side
}

TEST_F(NativeSql, PostsItsErrorsOnTheConnection) {
  EXPECT_SQL(SQL_ERROR, conn, native("delete from t where current of nobody"));
  EXPECT_EQ("34000", conn.states());
  script.faults.push_back({"SQLNativeSql", script.count("SQLNativeSql") + 1, SQL_ERROR, "42000"});
  EXPECT_SQL(SQL_ERROR, conn, native("nonsense"));
  EXPECT_EQ("42000", conn.states());
}

TEST_F(NativeSql, TellsOfExhaustedMemory) {
  sweepAllocations([&] {
    const SQLRETURN rc = native("select a from t for update");
    const FaultPause pause;
    EXPECT_EQ(rc == SQL_SUCCESS ? "" : "HY001", conn.states());
    return rc == SQL_SUCCESS;
  });
}

// Parameter attributes are kept when they are set, and told before the next execution.
struct ParameterArrays : EntryTest {
  ParameterArrays() : EntryTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Versions, ParameterArrays,
                         testing::Values(ScriptedVariant::Odbc2, ScriptedVariant::Odbc3));

TEST_P(ParameterArrays, ReachTheDriverAndSqlParser) {
  const char* function = GetParam() == ScriptedVariant::Odbc2 ? "SQLParamOptions" : "SQLSetStmtAttr";
  OdbcStatement stmt(conn);
  SQLULEN processed = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_PARAMSET_SIZE, 3));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_PARAMS_PROCESSED_PTR, &processed));
  const int untold = script.count(function);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("insert into t values (?)"));
  const int told = script.count(function);
  EXPECT_LT(untold, told);
  EXPECT_EQ(3u, attribute(stmt, SQL_ATTR_PARAMSET_SIZE));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("insert into t values (?)"));
  EXPECT_EQ(told, script.count(function));

  OdbcStatement query(conn);
  query.makeScrollable();
  Rowset rows(query, 1);
  EXPECT_SQL(SQL_SUCCESS, query, query.setName("c1"));
  ASSERT_SQL(SQL_SUCCESS, query, query.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, query, SQLFetchScroll(query, SQL_FETCH_NEXT, 0));
  EXPECT_SQL(SQL_ERROR, stmt, stmt.execute("delete from t where current of c1"));
  EXPECT_NE(std::string::npos, stmt.why().find(catalogText(292))) << stmt.why();
}

}  // namespace
