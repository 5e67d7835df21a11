// Handles: abuse of every kind, the order of freeing, and allocation on drivers of both ODBC versions.

#include <cstring>
#include <functional>

#include "tests/support/fault_allocator.h"
#include "tests/support/odbc_fixture.h"
#include "tests/support/scripted_driver.h"
#include "zuodbc/dmhandle.h"

namespace {

class Handles : public testing::Test {
 protected:
  DriverScript script;
  ScriptedDriver driver{ScriptedVariant::Odbc3, script};
};

// One function of each road and of each handle type, given a handle of the wrong sort.
TEST_F(Handles, NullStaleAndWrongTypeAreInvalid) {
  OdbcConnection conn(driver.connectionString(), SQL_CUR_USE_DRIVER);
  OdbcStatement other(conn);
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
  EXPECT_EQ(SQL_ERROR, SQLAllocHandle(99, conn, &out));
  EXPECT_EQ("HY092", conn.states());
}

TEST_F(Handles, FreeingIsRefusedWhileSomethingStandsOnTheHandle) {
  SQLHENV env;
  SQLHDBC conn;
  SQLHSTMT stmt = &env;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env));
  EXPECT_EQ(SQL_ERROR, SQLAllocHandle(SQL_HANDLE_DBC, env, &conn)) << "no ODBC version was declared";
  EXPECT_EQ("HY010", sqlstates(SQL_HANDLE_ENV, env));
  ASSERT_EQ(SQL_SUCCESS, SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, SQLPOINTER(SQL_OV_ODBC3), 0));
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DBC, env, &conn));
  EXPECT_EQ(SQL_ERROR, SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, SQLPOINTER(SQL_OV_ODBC2), 0));
  EXPECT_EQ(SQL_ERROR, SQLFreeHandle(SQL_HANDLE_ENV, env));
  EXPECT_EQ("HY010", sqlstates(SQL_HANDLE_ENV, env));
  EXPECT_EQ(SQL_ERROR, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt));
  EXPECT_EQ("08003", sqlstates(SQL_HANDLE_DBC, conn));
  EXPECT_EQ(SQL_NULL_HSTMT, stmt);

  std::string target = driver.connectionString();
  auto* text = reinterpret_cast<SQLCHAR*>(target.data());
  ASSERT_EQ(SQL_SUCCESS,
            SQLDriverConnect(conn, nullptr, text, SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT));
  EXPECT_EQ(SQL_ERROR, SQLFreeHandle(SQL_HANDLE_DBC, conn));
  EXPECT_EQ("HY010", sqlstates(SQL_HANDLE_DBC, conn));
  EXPECT_EQ(SQL_SUCCESS, SQLDisconnect(conn));
  EXPECT_EQ(0, script.liveHandles);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DBC, conn));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DBC, conn));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_ENV, env));
}

TEST_F(Handles, DisconnectTakesStatementsAndDescriptorsWithIt) {
  for (SQLULEN cursors : {SQL_CUR_USE_DRIVER, SQL_CUR_USE_ODBC}) {
    OdbcConnection conn(driver.connectionString(), cursors);
    SQLHSTMT stmt;
    SQLHDESC desc, implicit;
    ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt));
    ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc));
    ASSERT_EQ(SQL_SUCCESS, SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &implicit, SQL_IS_POINTER, nullptr));
    EXPECT_EQ(SQL_ERROR, SQLFreeHandle(SQL_HANDLE_DESC, implicit));
    EXPECT_EQ("HY017", sqlstates(SQL_HANDLE_DESC, implicit));
    EXPECT_SQL(SQL_SUCCESS, conn, conn.disconnect());
    EXPECT_EQ(SQL_INVALID_HANDLE, SQLFetch(stmt));
    EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DESC, desc));
    EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DESC, implicit));
    EXPECT_EQ(0, script.liveHandles);
  }
}

TEST_F(Handles, FreedDescriptorGivesItsStatementsTheirOwnBack) {
  OdbcConnection conn(driver.connectionString(), SQL_CUR_USE_DRIVER);
  OdbcStatement stmt(conn);
  SQLHDESC own, desc, now;
  ASSERT_EQ(SQL_SUCCESS, SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &own, SQL_IS_POINTER, nullptr));
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, desc, SQL_IS_POINTER));
  ASSERT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DESC, desc));
  ASSERT_EQ(SQL_SUCCESS, SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &now, SQL_IS_POINTER, nullptr));
  EXPECT_EQ(own, now);
}

TEST_F(Handles, StatementThatTheDriverKeepsStaysUsable) {
  OdbcConnection conn(driver.connectionString(), SQL_CUR_USE_DRIVER);
  SQLHSTMT stmt;
  script.faults = {{"SQLFreeHandle", 1, SQL_ERROR, "HY000"}};
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt));
  EXPECT_EQ(SQL_ERROR, SQLFreeHandle(SQL_HANDLE_STMT, stmt));
  EXPECT_EQ("HY000", sqlstates(SQL_HANDLE_STMT, stmt));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(stmt, SQL_DROP));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFreeStmt(stmt, SQL_DROP));
}

TEST(HandlesOfOdbc2, OldFunctionsOnAnOldDriver) {
  DriverScript script;
  ScriptedDriver driver(ScriptedVariant::Odbc2, script);
  SQLHENV env;
  SQLHDBC conn;
  SQLHSTMT stmt;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocEnv(&env));
  ASSERT_EQ(SQL_SUCCESS, SQLAllocConnect(env, &conn));
  std::string target = driver.connectionString();
  auto* text = reinterpret_cast<SQLCHAR*>(target.data());
  ASSERT_EQ(SQL_SUCCESS,
            SQLDriverConnect(conn, nullptr, text, SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT))
      << diagnostics(SQL_HANDLE_DBC, conn);
  ASSERT_EQ(SQL_SUCCESS, SQLAllocStmt(conn, &stmt));
  SQLHDESC desc;
  EXPECT_EQ(SQL_ERROR, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc));
  EXPECT_EQ("IM001", sqlstates(SQL_HANDLE_DBC, conn));
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
  std::string target = driver.connectionString();
  { OdbcConnection warmUp(target, SQL_CUR_USE_DRIVER); }
  sweepAllocations([&](FaultAllocator& faults) {
    SQLHENV env = nullptr;
    SQLHDBC conn = nullptr;
    SQLHSTMT stmt = nullptr;
    SQLHDESC desc = nullptr;
    auto expectMemory = [&](SQLSMALLINT type, SQLHANDLE handle) {
      faults.stop();
      EXPECT_THAT(sqlstates(type, handle), testing::HasSubstr("HY001"));
    };
    bool done = false;
    if (SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env) != SQL_SUCCESS) return false;
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, SQLPOINTER(SQL_OV_ODBC3), 0);
    auto* text = reinterpret_cast<SQLCHAR*>(target.data());
    if (SQLAllocHandle(SQL_HANDLE_DBC, env, &conn) != SQL_SUCCESS) {
      expectMemory(SQL_HANDLE_ENV, env);
    } else if (!SQL_SUCCEEDED(SQLDriverConnect(conn, nullptr, text, SQL_NTS, nullptr, 0, nullptr,
                                               SQL_DRIVER_NOPROMPT))) {
      expectMemory(SQL_HANDLE_DBC, conn);
    } else if (SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt) != SQL_SUCCESS ||
               SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc) != SQL_SUCCESS) {
      expectMemory(SQL_HANDLE_DBC, conn);
    } else {
      done = SQLSetConnectAttr(conn, 99999, nullptr, 0) != SQL_INVALID_HANDLE && !faults.triggered();
    }
    faults.stop();
    SQLDisconnect(conn);
    EXPECT_EQ(0, script.liveHandles);
    EXPECT_EQ(conn ? SQL_SUCCESS : SQL_INVALID_HANDLE, SQLFreeHandle(SQL_HANDLE_DBC, conn));
    EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_ENV, env));
    return done;
  });
}

}  // namespace
