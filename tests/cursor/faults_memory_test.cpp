// A whole life of a scrolling statement with each of its allocations failing in turn: every failure is told
// as HY001, nothing is leaked, and the connection goes on working.

#include "tests/support/fault_allocator.h"
#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"

namespace {

class FailingMemory : public testing::TestWithParam<ScriptedVariant> {
 protected:
  FailingMemory() : driver(GetParam(), script), connection(SQL_CUR_USE_ODBC) {
    script.answers["select"] = scriptedRows(9);
    script.answers["select id, name from t WHERE"] = scriptedRows(1);
  }

  void SetUp() override {
    ASSERT_SQL(SQL_SUCCESS, connection, connection.connect(driver.connectionString()));
  }

  // Whether a step worked; one that did not must have told why.
  bool worked(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle) {
    if (SQL_SUCCEEDED(rc)) return true;
    const FaultPause pause;
    EXPECT_EQ(SQL_ERROR, rc);
    EXPECT_NE(std::string::npos, sqlstates(type, handle).find(memoryState())) << diagnostics(type, handle);
    return false;
  }

  std::string memoryState() const { return "HY001"; }

  // Scrolls, updates, reads a value again and closes.
  bool scroll(SQLHSTMT stmt, SQLHSTMT writer) {
    const auto step = [&](SQLRETURN rc) { return worked(rc, SQL_HANDLE_STMT, stmt); };
    const auto write = [&](SQLRETURN rc) { return worked(rc, SQL_HANDLE_STMT, writer); };
    SQLINTEGER ids[3] = {};
    SQLLEN idLengths[3] = {};
    char names[3][12] = {};
    SQLLEN nameLengths[3] = {};
    char piece[8] = "";
    SQLLEN left = 0;
    SQLINTEGER newId = 3;
    return step(SQLSetStmtAttr(stmt, SQL_ATTR_CURSOR_TYPE, reinterpret_cast<SQLPOINTER>(SQL_CURSOR_STATIC),
                               0)) &&
           step(SQLSetStmtAttr(stmt, SQL_ATTR_CONCURRENCY, reinterpret_cast<SQLPOINTER>(SQL_CONCUR_VALUES),
                               0)) &&
           step(SQLSetStmtAttr(stmt, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(3), 0)) &&
           step(SQLSetCursorName(stmt, name("C1"), SQL_NTS)) &&
           step(SQLBindCol(stmt, 1, SQL_C_SLONG, ids, 0, idLengths)) &&
           step(SQLBindCol(stmt, 2, SQL_C_CHAR, names, sizeof names[0], nameLengths)) &&
           step(SQLExecDirect(stmt, name("select id, name from t"), SQL_NTS)) &&
           step(SQLFetchScroll(stmt, SQL_FETCH_LAST, 0)) &&
           step(SQLFetchScroll(stmt, SQL_FETCH_ABSOLUTE, 2)) &&
           step(SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE)) &&
           step(SQLGetData(stmt, 2, SQL_C_CHAR, piece, sizeof piece, &left)) &&
           write(SQLBindParameter(writer, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &newId, 0,
                                  nullptr)) &&
           write(SQLPrepare(writer, name("update t set id = ? where current of C1"), SQL_NTS)) &&
           write(SQLExecute(writer)) && step(SQLFreeStmt(stmt, SQL_CLOSE));
  }

  static SQLCHAR* name(const char* text) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text)); }

  // Statements are allocated and freed under failures too.
  bool wholeLife() {
    SQLHSTMT stmt = nullptr;
    SQLHSTMT writer = nullptr;
    bool passed = worked(SQLAllocHandle(SQL_HANDLE_STMT, connection, &stmt), SQL_HANDLE_DBC, connection) &&
                  worked(SQLAllocHandle(SQL_HANDLE_STMT, connection, &writer), SQL_HANDLE_DBC, connection) &&
                  scroll(stmt, writer);
    for (SQLHSTMT one : {writer, stmt}) {
      if (one && !worked(SQLFreeHandle(SQL_HANDLE_STMT, one), SQL_HANDLE_STMT, one)) passed = false;
    }
    return passed;
  }

  void expectUsable() {
    OdbcStatement stmt(connection);
    stmt.makeScrollable();
    Rowset rows(stmt, 2);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
    ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, 8));
    EXPECT_EQ(rowTexts(8, 9), rows.text());
  }

  DriverScript script;
  ScriptedDriver driver;
  OdbcConnection connection;
};

INSTANTIATE_TEST_SUITE_P(Drivers, FailingMemory,
                         testing::Values(ScriptedVariant::Odbc2, ScriptedVariant::Odbc3,
                                         ScriptedVariant::NoDescriptors));

TEST_P(FailingMemory, IsToldAndLosesNothing) {
  const int before = script.liveHandles;
  sweepAllocations([&](FaultAllocator& faults) {
    const bool passed = wholeLife();
    const bool struck = faults.triggered();
    const FaultPause pause;
    EXPECT_EQ(before, script.liveHandles);
    if (struck) expectUsable();
    return passed;
  });
}

// From some allocation on there is no memory at all, until the statements are freed.
TEST_P(FailingMemory, MayLast) {
  const int before = script.liveHandles;
  for (std::size_t n = 1; !HasFailure(); n += 3) {
    FaultAllocator faults;
    faults.failFrom(n);
    const bool passed = wholeLife();
    const bool struck = faults.triggered();
    faults.stop();
    EXPECT_NE(struck, passed) << "from allocation " << n << " on";
    EXPECT_EQ(before, script.liveHandles) << "from allocation " << n << " on";
    expectUsable();
    if (!struck) break;
  }
}

// An environment, a connection and the loading of a driver, as well.
TEST_P(FailingMemory, WhileConnecting) {
  const std::string text = driver.connectionString();
  const int before = script.liveHandles;
  sweepAllocations([&] {
    SQLHENV env = nullptr;
    SQLHDBC conn = nullptr;
    bool passed =
        SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env)) &&
        worked(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
               SQL_HANDLE_ENV, env) &&
        worked(SQLAllocHandle(SQL_HANDLE_DBC, env, &conn), SQL_HANDLE_ENV, env) &&
        worked(
            SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, reinterpret_cast<SQLPOINTER>(SQL_CUR_USE_ODBC), 0),
            SQL_HANDLE_DBC, conn) &&
        worked(SQLDriverConnect(conn, nullptr, name(text.c_str()), SQL_NTS, nullptr, 0, nullptr,
                                SQL_DRIVER_NOPROMPT),
               SQL_HANDLE_DBC, conn);
    if (passed) passed = worked(SQLDisconnect(conn), SQL_HANDLE_DBC, conn);
    if (conn) SQLFreeHandle(SQL_HANDLE_DBC, conn);
    if (env) SQLFreeHandle(SQL_HANDLE_ENV, env);
    const FaultPause pause;
    EXPECT_EQ(before, script.liveHandles);
    return passed;
  });
}

}  // namespace
