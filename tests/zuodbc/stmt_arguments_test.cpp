// What applications get wrong, and descriptors: the answer is a diagnostic and the driver is not called.

#include <functional>

#include "tests/support/odbc_fixture.h"
#include "tests/support/scripted_driver.h"
#include "zuodbc/dmhandle.h"

namespace {

SQLCHAR* text(const char* literal) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(literal)); }

class StmtArguments : public testing::Test {
 protected:
  void SetUp() override {
    script.answers["select"] = scriptedRows(3);
    ASSERT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }
  SQLHDESC descriptor(OdbcStatement& stmt, SQLINTEGER attribute) {
    SQLHDESC desc = nullptr;
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtAttr(stmt, attribute, &desc, SQL_IS_POINTER, nullptr));
    return desc;
  }

  DriverScript script;
  ScriptedDriver driver{ScriptedVariant::Odbc3, script};
  OdbcConnection conn{SQL_CUR_USE_DRIVER};
  SQLINTEGER value = 0;
  SQLLEN length = 0;
};

TEST_F(StmtArguments, AreCheckedBeforeTheDriverIsCalled) {
  OdbcStatement stmt(conn);
  SQLHSTMT s = stmt;
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  auto bindParameter = [&](SQLUSMALLINT number, SQLSMALLINT ioType, SQLPOINTER data, SQLLEN size,
                           SQLLEN* lengthPtr) {
    return SQLBindParameter(s, number, ioType, SQL_C_SLONG, SQL_INTEGER, 10, 0, data, size, lengthPtr);
  };
  struct Case {
    const char* sqlstate;
    std::function<SQLRETURN()> call;
  };
  const Case cases[] = {
      {"HY090", [&] { return SQLBindCol(s, 1, SQL_C_CHAR, &value, -1, nullptr); }},
      {"HY009", [&] { return SQLGetData(s, 1, SQL_C_SLONG, nullptr, 0, &length); }},
      {"HY090", [&] { return SQLGetData(s, 1, SQL_C_CHAR, &value, -5, &length); }},
      {"07009", [&] { return bindParameter(0, SQL_PARAM_INPUT, &value, 0, nullptr); }},
      {"HY105", [&] { return bindParameter(1, 0, &value, 0, nullptr); }},
      {"HY105", [&] { return bindParameter(1, 77, &value, 0, nullptr); }},
      {"HY090", [&] { return bindParameter(1, SQL_PARAM_INPUT, &value, -2, nullptr); }},
      {"HY009", [&] { return bindParameter(1, SQL_PARAM_INPUT, nullptr, 0, nullptr); }},
      {"HY106", [&] { return SQLFetchScroll(s, 0, 0); }},
      {"HY106", [&] { return SQLFetchScroll(s, 7, 0); }},
      {"HY106", [&] { return SQLFetchScroll(s, 99, 0); }},
      {"HY092", [&] { return SQLSetPos(s, 1, 5, SQL_LOCK_NO_CHANGE); }},
      {"HY092", [&] { return SQLBulkOperations(s, 3); }},
      {"HY092", [&] { return SQLFreeStmt(s, 4); }},
      {"HY092", [&] { return SQLFreeStmt(s, 10); }},
      {"HY092", [&] { return SQLSetStmtAttr(s, 500, nullptr, 0); }},
      {"HY092", [&] { return SQLSetStmtAttr(s, SQL_ATTR_ROW_NUMBER, nullptr, 0); }},
      {"HY092", [&] { return SQLGetStmtAttr(s, -3, &value, 0, nullptr); }},
      {"HY024", [&] { return SQLSetStmtAttr(s, SQL_ATTR_ROW_ARRAY_SIZE, nullptr, 0); }},
      {"HY024", [&] { return SQLSetStmtAttr(s, SQL_ATTR_APP_ROW_DESC, &value, 0); }},
      {"HY017", [&] { return SQLSetStmtAttr(s, SQL_ATTR_IMP_ROW_DESC, nullptr, 0); }},
      {"HY090",
       [&] { return SQLDescribeCol(s, 1, nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr); }},
      {"07009",
       [&] { return SQLDescribeCol(s, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr); }},
      {"HY090", [&] { return SQLTables(s, text("x"), -4, nullptr, 0, nullptr, 0, nullptr, 0); }},
      {"HY009", [&] { return SQLPrimaryKeys(s, nullptr, 0, nullptr, 0, nullptr, 0); }},
      {"HY009",
       [&] {
         return SQLForeignKeys(s, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0);
       }},
      {"HY100", [&] { return SQLStatistics(s, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, 2, 0); }},
      {"HY097", [&] { return SQLSpecialColumns(s, 3, nullptr, 0, nullptr, 0, text("t"), SQL_NTS, 0, 0); }},
  };
  int callsBefore = script.calls;
  for (const Case& c : cases) {
    EXPECT_SQL(SQL_ERROR, stmt, c.call());
    EXPECT_EQ(c.sqlstate, stmt.states()) << "case " << (&c - cases);
  }
  EXPECT_EQ(callsBefore, script.calls);
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFetch(conn)) << "a handle of another type";
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLExecute(nullptr));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLGetDescField(stmt, 0, SQL_DESC_COUNT, &value, 0, nullptr));
}

TEST_F(StmtArguments, LengthsArePassedWithAll64Bits) {
  OdbcStatement stmt(conn);
  SQLULEN rows = 0;
  const SQLULEN many = (SQLULEN(1) << 32) + 7;
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_MAX_ROWS, many));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtAttr(stmt, SQL_ATTR_MAX_ROWS, &rows, 0, nullptr));
  EXPECT_EQ(many, rows);
  ScriptAnswer touched;
  touched.rowCount = SQLLEN(many);
  script.answers["update"] = touched;
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("update t"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLRowCount(stmt, &length));
  EXPECT_EQ(SQLLEN(many), length);
}

TEST_F(StmtArguments, AnExplicitDescriptorServesSeveralStatementsAndGoesBack) {
  OdbcStatement first(conn);
  OdbcStatement second(conn);
  SQLHDESC own = descriptor(first, SQL_ATTR_APP_ROW_DESC);
  SQLHDESC shared = nullptr;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DESC, conn, &shared));
  EXPECT_SQL(SQL_SUCCESS, first, first.set(SQL_ATTR_APP_ROW_DESC, shared));
  EXPECT_SQL(SQL_SUCCESS, second, second.set(SQL_ATTR_APP_ROW_DESC, shared));
  EXPECT_SQL(SQL_SUCCESS, first, SQLBindCol(first, 1, SQL_C_SLONG, &value, 0, &length));
  EXPECT_SQL(SQL_SUCCESS, first, first.set(SQL_ATTR_ROW_BIND_TYPE, SQLULEN(64)));
  SQLULEN bindType = 0;
  EXPECT_SQL(SQL_SUCCESS, second, SQLGetStmtAttr(second, SQL_ATTR_ROW_BIND_TYPE, &bindType, 0, nullptr));
  EXPECT_EQ(64u, bindType);
  ASSERT_SQL(SQL_SUCCESS, second, second.execute("select 1"));
  EXPECT_SQL(SQL_SUCCESS, second, SQLFetch(second));
  EXPECT_EQ(1, value) << "bound through the other statement";

  // Another statement's own descriptor is no descriptor to share.
  EXPECT_SQL(SQL_ERROR, second, second.set(SQL_ATTR_APP_ROW_DESC, own));
  EXPECT_EQ("HY017", second.states());

  EXPECT_SQL(SQL_SUCCESS, first, first.set(SQL_ATTR_APP_ROW_DESC, static_cast<void*>(nullptr)));
  EXPECT_EQ(own, descriptor(first, SQL_ATTR_APP_ROW_DESC));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DESC, shared));
  EXPECT_NE(shared, descriptor(second, SQL_ATTR_APP_ROW_DESC))
      << "freed, it gives way to the statement's own";
}

TEST_F(StmtArguments, DescriptorFieldsFollowTheStatementsAttributes) {
  OdbcStatement stmt(conn);
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
  SQLHDESC ird = descriptor(stmt, SQL_ATTR_IMP_ROW_DESC);
  SQLUSMALLINT status[4];
  EXPECT_EQ(SQL_SUCCESS, SQLSetDescField(ard, 0, SQL_DESC_ARRAY_SIZE, SQLPOINTER(4), SQL_IS_UINTEGER));
  EXPECT_EQ(SQL_SUCCESS, SQLSetDescField(ird, 0, SQL_DESC_ARRAY_STATUS_PTR, status, SQL_IS_POINTER));
  EXPECT_EQ(4u, static_cast<DMDesc*>(ard)->arraySize);
  SQLUSMALLINT* where = nullptr;
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLGetStmtAttr(stmt, SQL_ATTR_ROW_STATUS_PTR, &where, SQL_IS_POINTER, nullptr));
  EXPECT_EQ(status, where);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(SQL_ROW_NOROW, status[3]);

  EXPECT_EQ(SQL_ERROR, SQLSetDescField(ird, 1, SQL_DESC_NAME, text("x"), SQL_NTS));
  EXPECT_EQ("HY016", sqlstates(SQL_HANDLE_DESC, ird));
  EXPECT_EQ(SQL_ERROR, SQLSetDescField(ard, 1, 999, nullptr, 0));
  EXPECT_EQ("HY091", sqlstates(SQL_HANDLE_DESC, ard));
  EXPECT_EQ(SQL_ERROR, SQLGetDescRec(ard, -1, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, nullptr));
  EXPECT_EQ("07009", sqlstates(SQL_HANDLE_DESC, ard));

  OdbcStatement fresh(conn);
  SQLHDESC undescribed = descriptor(fresh, SQL_ATTR_IMP_ROW_DESC);
  EXPECT_EQ(SQL_ERROR, SQLCopyDesc(undescribed, ard));
  EXPECT_EQ("HY007", sqlstates(SQL_HANDLE_DESC, ard));
  EXPECT_EQ(SQL_ERROR, SQLCopyDesc(ard, ird));
  EXPECT_EQ("HY016", sqlstates(SQL_HANDLE_DESC, ird));
  SQLHDESC target = descriptor(fresh, SQL_ATTR_APP_ROW_DESC);
  EXPECT_EQ(SQL_SUCCESS, SQLCopyDesc(ard, target));
  EXPECT_EQ(4u, static_cast<DMDesc*>(target)->arraySize);
}

}  // namespace
