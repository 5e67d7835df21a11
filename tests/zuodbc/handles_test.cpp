// Handles: abuse of every kind, the order of freeing, and allocation on drivers of both ODBC versions.

#include <cstring>
#include <functional>

#include "gmock/gmock.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/scripted_fixture.h"

namespace {

class Handles : public ScriptedTest {
 protected:
  Handles() : ScriptedTest({.cursors = SQL_CUR_USE_DRIVER}) {}
  SQLRETURN connect(SQLHDBC other) {
    return SQLDriverConnect(other, nullptr, sqlText(driver.connectionString()), SQL_NTS, nullptr, 0, nullptr,
                            SQL_DRIVER_NOPROMPT);
  }
};

// One function of each road and of each handle type, given a handle of the wrong sort.
TEST_F(Handles, NullStaleAndWrongTypeAreInvalid) {
  const OdbcStatement other(conn);
  SQLHSTMT stale = SQL_NULL_HSTMT;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stale));
  ASSERT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_STMT, stale));
  char onStack[512];
  std::memset(onStack, 0x5a, sizeof onStack);

  SQLHANDLE out;
  SQLSMALLINT number = 0;
  const std::function<SQLRETURN(SQLHANDLE)> statementCalls[] = {
      [](SQLHANDLE h) { return SQLFetch(h); },
      [](SQLHANDLE h) { return SQLCancel(h); },
      [](SQLHANDLE h) { return SQLFreeStmt(h, SQL_CLOSE); },
      [](SQLHANDLE h) { return SQLFreeHandle(SQL_HANDLE_STMT, h); },
      [&](SQLHANDLE h) { return SQLNumResultCols(h, &number); },
      [](SQLHANDLE h) { return SQLGetDiagRec(SQL_HANDLE_STMT, h, 1, nullptr, nullptr, nullptr, 0, nullptr); },
  };
  for (const auto& call : statementCalls) {
    for (SQLHANDLE bad : {static_cast<SQLHANDLE>(nullptr), stale, static_cast<SQLHANDLE>(SQLHDBC(conn)),
                          SQLHANDLE(conn.environment()), static_cast<SQLHANDLE>(onStack)}) {
      EXPECT_EQ(SQL_INVALID_HANDLE, call(bad));
    }
  }
  const std::function<SQLRETURN(SQLHANDLE)> connectionCalls[] = {
      [](SQLHANDLE h) { return SQLDisconnect(h); },
      [](SQLHANDLE h) { return SQLFreeHandle(SQL_HANDLE_DBC, h); },
      [](SQLHANDLE h) { return SQLEndTran(SQL_HANDLE_DBC, h, SQL_COMMIT); },
      [&](SQLHANDLE h) { return SQLAllocHandle(SQL_HANDLE_STMT, h, &out); },
      [](SQLHANDLE h) { return SQLSetConnectAttr(h, SQL_ATTR_AUTOCOMMIT, nullptr, 0); },
      [](SQLHANDLE h) { return SQLGetInfo(h, SQL_DM_VER, nullptr, 0, nullptr); },
  };
  for (const auto& call : connectionCalls) {
    for (SQLHANDLE bad : {static_cast<SQLHANDLE>(nullptr), stale, static_cast<SQLHANDLE>(SQLHSTMT(other)),
                          conn.environment(), static_cast<SQLHANDLE>(onStack)}) {
      EXPECT_EQ(SQL_INVALID_HANDLE, call(bad));
    }
  }
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLSetEnvAttr(SQLHDBC(conn), SQL_ATTR_ODBC_VERSION, nullptr, 0));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DESC, SQLHSTMT(other)));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(99, conn));
  EXPECT_EQ("HY092", refusal(conn, SQLAllocHandle(99, conn, &out)));
}

TEST_F(Handles, FreeingIsRefusedWhileSomethingStandsOnTheHandle) {
  conn.disconnect();
  SQLHENV env;
  SQLHDBC dbc;
  SQLHSTMT stmt = &env;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env));
  ASSERT_EQ(SQL_SUCCESS, SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, SQLPOINTER(SQL_OV_ODBC3), 0));
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc));
  EXPECT_EQ("HY010", refusal(SQL_HANDLE_ENV, env, SQLFreeHandle(SQL_HANDLE_ENV, env)));
  EXPECT_EQ("08003", refusal(SQL_HANDLE_DBC, dbc, SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt)));
  EXPECT_EQ(SQL_NULL_HSTMT, stmt);

  ASSERT_EQ(SQL_SUCCESS, connect(dbc));
  EXPECT_EQ("HY010", refusal(SQL_HANDLE_DBC, dbc, SQLFreeHandle(SQL_HANDLE_DBC, dbc)));
  EXPECT_EQ(SQL_SUCCESS, SQLDisconnect(dbc));
  EXPECT_EQ(0, script.liveHandles);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DBC, dbc));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DBC, dbc));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_ENV, env));
}

TEST_F(Handles, DisconnectTakesStatementsAndDescriptorsWithIt) {
  for (const SQLULEN cursors : {SQL_CUR_USE_DRIVER, SQL_CUR_USE_ODBC}) {
    conn.disconnect();
    SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, pointer(cursors), 0);
    reconnect();
    OdbcStatement stmt(conn);
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
    const SQLHDESC desc = newDescriptor(), implicit = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
    EXPECT_EQ("HY017", refusal(SQL_HANDLE_DESC, implicit, SQLFreeHandle(SQL_HANDLE_DESC, implicit)));
    EXPECT_SQL(SQL_SUCCESS, conn, conn.disconnect());
    EXPECT_EQ(SQL_INVALID_HANDLE, SQLFetch(stmt));
    EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DESC, desc));
    EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DESC, implicit));
    EXPECT_EQ(0, script.liveHandles);
  }
}

TEST_F(Handles, StatementThatTheDriverKeepsStaysUsable) {
  SQLHSTMT stmt;
  script.faults = {{"SQLFreeHandle", 1, SQL_ERROR, "HY000"}};
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt));
  EXPECT_EQ("HY000", refusal(SQL_HANDLE_STMT, stmt, SQLFreeHandle(SQL_HANDLE_STMT, stmt)));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(stmt, SQL_DROP));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeStmt(stmt, SQL_DROP));
}

TEST(HandlesOfOdbc2, OldFunctionsOnAnOldDriver) {
  DriverScript script;
  const ScriptedDriver driver(ScriptedVariant::Odbc2, script);
  SQLHENV env;
  SQLHDBC conn;
  SQLHSTMT stmt;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocEnv(&env));
  ASSERT_EQ(SQL_SUCCESS, SQLAllocConnect(env, &conn));
  ASSERT_EQ(SQL_SUCCESS, SQLDriverConnect(conn, nullptr, sqlText(driver.connectionString()), SQL_NTS, nullptr,
                                          0, nullptr, SQL_DRIVER_NOPROMPT))
      << diagnostics(SQL_HANDLE_DBC, conn);
  ASSERT_EQ(SQL_SUCCESS, SQLAllocStmt(conn, &stmt));
  SQLHDESC desc;
  EXPECT_EQ("IM001", refusal(SQL_HANDLE_DBC, conn, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc)));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(stmt, SQL_DROP));
  EXPECT_EQ(SQL_SUCCESS, SQLTransact(env, SQL_NULL_HDBC, SQL_ROLLBACK));
  EXPECT_EQ(1, script.count("SQLTransact"));
  EXPECT_EQ(SQL_SUCCESS, SQLDisconnect(conn));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeConnect(conn));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeEnv(env));
  EXPECT_EQ(0, script.liveHandles);
}

// Each allocation of a short life fails in turn: nothing leaks, and the cause is HY001 where there is a
// handle to say it on.
TEST_F(Handles, ExhaustedMemoryIsHY001AndLosesNothing) {
  const std::string text = driver.connectionString();
  SQLCHAR* const target = sqlText(text);
  conn.disconnect();
  sweepAllocations([&](FaultAllocator& faults) {
    SQLHENV env = nullptr;
    SQLHDBC dbc = nullptr;
    SQLHSTMT stmt = nullptr;
    SQLHDESC desc = nullptr;
    auto expectMemory = [&](SQLSMALLINT type, SQLHANDLE handle) {
      faults.stop();
      EXPECT_THAT(sqlstates(type, handle), testing::HasSubstr("HY001"));
    };
    bool done = false;
    if (SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env) != SQL_SUCCESS) return false;
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, SQLPOINTER(SQL_OV_ODBC3), 0);
    if (SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc) != SQL_SUCCESS) {
      expectMemory(SQL_HANDLE_ENV, env);
    } else if (!SQL_SUCCEEDED(SQLDriverConnect(dbc, nullptr, target, SQL_NTS, nullptr, 0, nullptr,
                                               SQL_DRIVER_NOPROMPT)) ||
               SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt) != SQL_SUCCESS ||
               SQLAllocHandle(SQL_HANDLE_DESC, dbc, &desc) != SQL_SUCCESS) {
      expectMemory(SQL_HANDLE_DBC, dbc);
    } else {
      done = SQLSetConnectAttr(dbc, 99999, nullptr, 0) != SQL_INVALID_HANDLE && !faults.triggered();
    }
    faults.stop();
    SQLDisconnect(dbc);
    EXPECT_EQ(0, script.liveHandles);
    EXPECT_EQ(dbc ? SQL_SUCCESS : SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DBC, dbc));
    EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_ENV, env));
    return done;
  });
}

}  // namespace
