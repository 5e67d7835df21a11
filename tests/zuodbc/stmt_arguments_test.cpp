// What applications get wrong, and descriptors: the answer is a diagnostic and the driver is not called.

#include <functional>

#include "tests/support/scripted_fixture.h"

namespace {

class StmtArguments : public ScriptedTest {
 protected:
  StmtArguments() : ScriptedTest({.cursors = SQL_CUR_USE_DRIVER}) {}

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
      {"HY090", [&] { return SQLTables(s, sqlText("x"), -4, nullptr, 0, nullptr, 0, nullptr, 0); }},
      {"HY009", [&] { return SQLPrimaryKeys(s, nullptr, 0, nullptr, 0, nullptr, 0); }},
      {"HY009",
       [&] {
         return SQLForeignKeys(s, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0);
       }},
      {"HY100", [&] { return SQLStatistics(s, nullptr, 0, nullptr, 0, sqlText("t"), SQL_NTS, 2, 0); }},
      {"HY097", [&] { return SQLSpecialColumns(s, 3, nullptr, 0, nullptr, 0, sqlText("t"), SQL_NTS, 0, 0); }},
  };
  const int callsBefore = script.calls;
  for (const Case& c : cases) {
    EXPECT_EQ(c.sqlstate, refusal(stmt, c.call())) << "case " << (&c - cases);
  }
  EXPECT_EQ(callsBefore, script.calls);
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLFetch(conn)) << "a handle of another type";
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLExecute(nullptr));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLGetDescField(stmt, 0, SQL_DESC_COUNT, &value, 0, nullptr));
}

TEST_F(StmtArguments, LengthsArePassedWithAll64Bits) {
  OdbcStatement stmt(conn);
  const SQLULEN many = (SQLULEN(1) << 32) + 7;
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_MAX_ROWS, many));
  EXPECT_EQ(many, attribute(stmt, SQL_ATTR_MAX_ROWS));
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
  const SQLHDESC shared = newDescriptor();
  EXPECT_SQL(SQL_SUCCESS, first, first.set(SQL_ATTR_APP_ROW_DESC, shared));
  EXPECT_SQL(SQL_SUCCESS, second, second.set(SQL_ATTR_APP_ROW_DESC, shared));
  EXPECT_SQL(SQL_SUCCESS, first, SQLBindCol(first, 1, SQL_C_SLONG, &value, 0, &length));
  EXPECT_SQL(SQL_SUCCESS, first, first.set(SQL_ATTR_ROW_BIND_TYPE, SQLULEN(64)));
  EXPECT_EQ(64u, attribute(second, SQL_ATTR_ROW_BIND_TYPE));
  ASSERT_SQL(SQL_SUCCESS, second, second.execute("select 1"));
  EXPECT_SQL(SQL_SUCCESS, second, SQLFetch(second));
  EXPECT_EQ(1, value) << "bound through the other statement";

  // Another statement's own descriptor is no descriptor to share.
  EXPECT_EQ("HY017", refusal(second, second.set(SQL_ATTR_APP_ROW_DESC, own)));

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
  SQLUSMALLINT status[9];
  EXPECT_EQ(SQL_SUCCESS, SQLSetDescField(ard, 0, SQL_DESC_ARRAY_SIZE, pointer(9), SQL_IS_UINTEGER));
  EXPECT_EQ(SQL_SUCCESS, SQLSetDescField(ird, 0, SQL_DESC_ARRAY_STATUS_PTR, status, SQL_IS_POINTER));
  EXPECT_EQ(9u, static_cast<DMDesc*>(ard)->arraySize);
  EXPECT_EQ(reinterpret_cast<SQLULEN>(status), attribute(stmt, SQL_ATTR_ROW_STATUS_PTR));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(SQL_ROW_NOROW, status[5]);

  EXPECT_EQ("HY016",
            refusal(SQL_HANDLE_DESC, ird, SQLSetDescField(ird, 1, SQL_DESC_NAME, sqlText("x"), SQL_NTS)));
  EXPECT_EQ("HY091", refusal(SQL_HANDLE_DESC, ard, SQLSetDescField(ard, 1, 999, nullptr, 0)));
  EXPECT_EQ("07009", refusal(SQL_HANDLE_DESC, ard,
                             SQLGetDescRec(ard, -1, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr)));

  const OdbcStatement fresh(conn);
  SQLHDESC undescribed = descriptor(fresh, SQL_ATTR_IMP_ROW_DESC);
  EXPECT_EQ("HY007", refusal(SQL_HANDLE_DESC, ard, SQLCopyDesc(undescribed, ard)));
  EXPECT_EQ("HY016", refusal(SQL_HANDLE_DESC, ird, SQLCopyDesc(ard, ird)));
  SQLHDESC target = descriptor(fresh, SQL_ATTR_APP_ROW_DESC);
  EXPECT_EQ(SQL_SUCCESS, SQLCopyDesc(ard, target));
  EXPECT_EQ(9u, static_cast<DMDesc*>(target)->arraySize);
}

}  // namespace
