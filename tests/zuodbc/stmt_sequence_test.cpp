// The order of calls: which functions each state of a statement admits, and how the states follow.

#include <algorithm>
#include <functional>
#include <map>
#include <thread>

#include "tests/support/odbc_fixture.h"
#include "tests/support/scripted_driver.h"

namespace {

SQLCHAR* text(const char* literal) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(literal)); }

class StmtSequence : public testing::Test {
 protected:
  void SetUp() override {
    script.answers["select"] = scriptedRows(3);
    ASSERT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }

  // Brings a statement into a state, by its name in the tables below.
  void bring(OdbcStatement& stmt, const std::string& state) {
    if (state == "prepared") stmt.prepare("select 1");
    if (state == "executed") stmt.execute("update t");
    if (state == "open" || state == "fetched" || state == "extended") stmt.execute("select 1");
    if (state == "prepared open") {
      stmt.prepare("select 1");
      SQLExecute(stmt);
    }
    if (state == "fetched") SQLFetch(stmt);
    if (state == "extended") SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, &count, &status);
    if (state == "needs data" || state == "asked" || state == "put") {
      SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 9, 0, &count, 0, &atExecution);
      ASSERT_SQL(SQL_NEED_DATA, stmt, stmt.execute("update t"));
    }
    if (state == "asked" || state == "put") {
      ASSERT_SQL(SQL_NEED_DATA, stmt, SQLParamData(stmt, &pointer));
    }
    if (state == "put") {
      ASSERT_SQL(SQL_SUCCESS, stmt, SQLPutData(stmt, text("x"), 1));
    }
  }

  DriverScript script;
  ScriptedDriver driver{ScriptedVariant::Odbc3, script};
  OdbcConnection conn{SQL_CUR_USE_DRIVER};
  SQLLEN atExecution = SQL_LEN_DATA_AT_EXEC(1);
  SQLULEN count = 0;
  SQLUSMALLINT status = 0;
  SQLSMALLINT number = 0;
  SQLLEN length = 0;
  SQLPOINTER pointer = nullptr;
  char buffer[32] = "";
};

TEST_F(StmtSequence, EachStateAdmitsItsFunctions) {
  const std::map<std::string, std::function<SQLRETURN(SQLHSTMT)>> calls = {
      {"prepare", [](SQLHSTMT s) { return SQLPrepare(s, text("select 1"), SQL_NTS); }},
      {"exec direct", [](SQLHSTMT s) { return SQLExecDirect(s, text("select 1"), SQL_NTS); }},
      {"execute", [](SQLHSTMT s) { return SQLExecute(s); }},
      {"tables", [](SQLHSTMT s) { return SQLTables(s, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0); }},
      {"fetch", [](SQLHSTMT s) { return SQLFetch(s); }},
      {"scroll", [](SQLHSTMT s) { return SQLFetchScroll(s, SQL_FETCH_NEXT, 0); }},
      {"extended", [&](SQLHSTMT s) { return SQLExtendedFetch(s, SQL_FETCH_NEXT, 0, &count, &status); }},
      {"get data", [&](SQLHSTMT s) { return SQLGetData(s, 1, SQL_C_CHAR, buffer, sizeof buffer, &length); }},
      {"columns", [&](SQLHSTMT s) { return SQLNumResultCols(s, &number); }},
      {"row count", [&](SQLHSTMT s) { return SQLRowCount(s, &length); }},
      {"param data", [&](SQLHSTMT s) { return SQLParamData(s, &pointer); }},
      {"put data", [](SQLHSTMT s) { return SQLPutData(s, text("x"), 1); }},
      {"close", [](SQLHSTMT s) { return SQLCloseCursor(s); }},
      {"free close", [](SQLHSTMT s) { return SQLFreeStmt(s, SQL_CLOSE); }},
      {"name", [](SQLHSTMT s) { return SQLSetCursorName(s, text("c"), SQL_NTS); }},
      {"cursor type",
       [](SQLHSTMT s) {
         return SQLSetStmtAttr(s, SQL_ATTR_CURSOR_TYPE, SQLPOINTER(SQL_CURSOR_FORWARD_ONLY), 0);
       }},
      {"cancel", [](SQLHSTMT s) { return SQLCancel(s); }},
  };
  struct Case {
    const char* state;
    std::map<std::string, std::string> refused;  // all others go on
  };
  const Case cases[] = {
      {"allocated",
       {{"execute", "HY010"},
        {"fetch", "HY010"},
        {"scroll", "HY010"},
        {"extended", "HY010"},
        {"get data", "HY010"},
        {"columns", "HY010"},
        {"row count", "HY010"},
        {"param data", "HY010"},
        {"put data", "HY010"},
        {"close", "24000"}}},
      {"prepared",
       {{"fetch", "HY010"},
        {"scroll", "HY010"},
        {"extended", "HY010"},
        {"get data", "HY010"},
        {"row count", "HY010"},
        {"param data", "HY010"},
        {"put data", "HY010"},
        {"close", "24000"},
        {"cursor type", "HY011"}}},
      {"executed",
       {{"execute", "HY010"},
        {"fetch", "24000"},
        {"scroll", "24000"},
        {"extended", "24000"},
        {"get data", "24000"},
        {"param data", "HY010"},
        {"put data", "HY010"},
        {"close", "24000"},
        {"name", "24000"}}},
      {"open",
       {{"prepare", "24000"},
        {"exec direct", "24000"},
        {"execute", "HY010"},
        {"tables", "24000"},
        {"get data", "24000"},
        {"param data", "HY010"},
        {"put data", "HY010"},
        {"name", "24000"},
        {"cursor type", "24000"}}},
      {"prepared open",
       {{"prepare", "24000"},
        {"exec direct", "24000"},
        {"execute", "24000"},
        {"tables", "24000"},
        {"get data", "24000"},
        {"param data", "HY010"},
        {"put data", "HY010"},
        {"name", "24000"},
        {"cursor type", "24000"}}},
      {"fetched",
       {{"prepare", "24000"},
        {"exec direct", "24000"},
        {"execute", "HY010"},
        {"tables", "24000"},
        {"extended", "HY010"},
        {"param data", "HY010"},
        {"put data", "HY010"},
        {"name", "24000"},
        {"cursor type", "24000"}}},
      {"extended",
       {{"prepare", "24000"},
        {"exec direct", "24000"},
        {"execute", "HY010"},
        {"tables", "24000"},
        {"fetch", "HY010"},
        {"scroll", "HY010"},
        {"param data", "HY010"},
        {"put data", "HY010"},
        {"name", "24000"},
        {"cursor type", "24000"}}},
  };
  for (const Case& c : cases) {
    for (const auto& [name, call] : calls) {
      OdbcStatement stmt(conn);
      bring(stmt, c.state);
      SQLRETURN rc = call(stmt);
      auto refusal = c.refused.find(name);
      if (refusal == c.refused.end()) {
        EXPECT_TRUE(SQL_SUCCEEDED(rc)) << name << " while " << c.state << ": " << stmt.why();
      } else {
        EXPECT_EQ(SQL_ERROR, rc) << name << " while " << c.state;
        EXPECT_EQ(refusal->second, stmt.states()) << name << " while " << c.state;
      }
    }
  }
  // A statement that waits for data admits nothing but what leads out.
  const std::map<std::string, std::vector<std::string>> ways = {
      {"needs data", {"param data", "cancel"}},
      {"asked", {"put data", "cancel"}},
      {"put", {"put data", "param data", "cancel"}}};
  for (const auto& [state, out] : ways) {
    for (const auto& [name, call] : calls) {
      OdbcStatement stmt(conn);
      bring(stmt, state);
      SQLRETURN rc = call(stmt);
      bool leads = std::find(out.begin(), out.end(), name) != out.end();
      EXPECT_EQ(leads, rc != SQL_ERROR) << name << " while " << state << ": " << stmt.why();
      EXPECT_EQ(leads ? "" : "HY010", stmt.states()) << name << " while " << state;
      SQLCancel(stmt);
    }
  }
}

TEST_F(StmtSequence, APreparedStatementStaysPreparedAndAFailedOneIsNot) {
  OdbcStatement stmt(conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select 1"));
  for (int run = 0; run < 2; ++run) {
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
  }
  script.faults.push_back({"SQLPrepare", 2, SQL_ERROR, "42000"});
  EXPECT_SQL(SQL_ERROR, stmt, stmt.prepare("selct"));
  EXPECT_SQL(SQL_ERROR, stmt, SQLExecute(stmt));
  EXPECT_EQ("HY010", stmt.states());
}

TEST_F(StmtSequence, ACallRefusedHereLeavesTheStateAlone) {
  OdbcStatement stmt(conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select 1"));
  EXPECT_SQL(SQL_ERROR, stmt, SQLPrepare(stmt, text("x"), -7));
  EXPECT_EQ("HY090", stmt.states());
  EXPECT_SQL(SQL_ERROR, stmt, SQLExecDirect(stmt, nullptr, SQL_NTS));
  EXPECT_EQ("HY009", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
}

TEST_F(StmtSequence, WhatStillExecutesMustBeCalledAgain) {
  OdbcStatement stmt(conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ASYNC_ENABLE, SQL_ASYNC_ENABLE_ON));
  script.faults.push_back({"SQLExecDirect", 1, SQL_STILL_EXECUTING, "", 2});
  ASSERT_SQL(SQL_STILL_EXECUTING, stmt, stmt.execute("select 1"));
  EXPECT_SQL(SQL_ERROR, stmt, SQLFetch(stmt));
  EXPECT_EQ("HY010", stmt.states());
  EXPECT_SQL(SQL_ERROR, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
  EXPECT_SQL(SQL_STILL_EXECUTING, stmt, stmt.execute("select 1"));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
}

TEST_F(StmtSequence, ACancelEndsTheWaitForData) {
  OdbcStatement stmt(conn);
  SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 9, 0, buffer, 0, &atExecution);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("update t"));
  ASSERT_SQL(SQL_NEED_DATA, stmt, SQLExecute(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCancel(stmt));
  EXPECT_SQL(SQL_ERROR, stmt, SQLParamData(stmt, &pointer));
  EXPECT_EQ("HY010", stmt.states());
  EXPECT_SQL(SQL_NEED_DATA, stmt, SQLExecute(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCancel(stmt));
}

TEST_F(StmtSequence, ACancelFromAnotherThreadReachesARunningCall) {
  OdbcStatement stmt(conn);
  script.closeGate("SQLExecDirect");
  SQLRETURN running = SQL_SUCCESS;
  std::thread other([&] { running = stmt.execute("select 1"); });
  ASSERT_TRUE(script.waitForGate());
  EXPECT_EQ(SQL_SUCCESS, SQLCancel(stmt));
  other.join();
  EXPECT_EQ(SQL_ERROR, running);
  EXPECT_EQ("HY008", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
}

}  // namespace
