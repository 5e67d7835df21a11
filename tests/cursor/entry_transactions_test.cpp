// Native SQL and parameter arrays.

#include "tests/support/fault_allocator.h"
#include "tests/support/scripted_fixture.h"

namespace {

using NativeSql = ScriptedTest;

TEST_F(NativeSql, ShowsWhatWouldBeSentOrWhyNot) {
  const int live = script.liveHandles;
  SQLCHAR out[100] = "";
  SQLINTEGER length = -1;
  const auto native = [&](const char* sql, SQLINTEGER size = 100) {
    return SQLNativeSql(conn, reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql)), SQL_NTS, out, size,
                        &length);
  };
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, conn, native("insert into t values (1)", 7));
  EXPECT_STREQ("insert", reinterpret_cast<char*>(out));
  EXPECT_EQ(24, length);
  EXPECT_EQ("01004", conn.states());
  EXPECT_EQ("34000", refusal(conn, native("delete from t where current of nobody")));
  script.faults = {{"SQLNativeSql", script.count("SQLNativeSql") + 1, SQL_ERROR, "42000"}};
  EXPECT_EQ("42000", refusal(conn, native("nonsense")));
  EXPECT_EQ(live, script.liveHandles);  // the statement that it runs on has no driver side
  sweepAllocations([&] {
    const SQLRETURN rc = native("select a from t for update");
    const FaultPause pause;
    EXPECT_EQ(rc == SQL_SUCCESS ? "" : "HY001", conn.states());
    return rc == SQL_SUCCESS;
  });
  EXPECT_STREQ("select a from t ", reinterpret_cast<char*>(out));
}

// Parameter attributes are kept when they are set, and told before the next execution.
struct ParameterArrays : ScriptedTest, testing::WithParamInterface<ScriptedVariant> {
  ParameterArrays() : ScriptedTest({.variant = GetParam()}) {}
};

INSTANTIATE_TEST_SUITE_P(Versions, ParameterArrays,
                         testing::Values(ScriptedVariant::Odbc2, ScriptedVariant::Odbc3));

TEST_P(ParameterArrays, ReachTheDriver) {
  const char* function = GetParam() == ScriptedVariant::Odbc2 ? "SQLParamOptions" : "SQLSetStmtAttr";
  OdbcStatement stmt(conn);
  SQLULEN processed = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_PARAMSET_SIZE, 3));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_PARAMS_PROCESSED_PTR, &processed));
  for (const bool tells : {true, false}) {
    const int before = script.count(function);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("insert into t values (?)"));
    EXPECT_EQ(tells, script.count(function) > before);
  }
  EXPECT_EQ(3u, attribute(stmt, SQL_ATTR_PARAMSET_SIZE));
}

}  // namespace
