// The statement functions over a real SQLite driver, without the cursor library.

#include <cstring>

#include "tests/support/odbc_fixture.h"

namespace {

class StmtSqlite : public SqliteFixture {
 protected:
  void SetUp() override {
    ASSERT_SQL(SQL_SUCCESS, conn, conn.connect(connectionString()));
    conn.run("create table item (id integer primary key, name varchar(40), made date)");
    conn.run("insert into item values (1, 'one', '2024-02-29'), (2, null, null), (3, 'three', '1999-12-31')");
  }
  OdbcConnection conn{SQL_CUR_USE_DRIVER};
};

TEST_F(StmtSqlite, RowsComeByBindingAndPieceByPiece) {
  OdbcStatement stmt(conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from item order by id"));
  SQLSMALLINT columns = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLNumResultCols(stmt, &columns));
  EXPECT_EQ(2, columns);
  SQLBIGINT id = 0;
  SQLLEN idLength = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SBIGINT, &id, sizeof id, &idLength));

  std::string seen;
  SQLRETURN rc;
  while (SQL_SUCCEEDED(rc = SQLFetch(stmt))) {
    char piece[3];
    SQLLEN length = 0;
    seen += std::to_string(id) + ":";
    // The driver gives a null value again and again.
    while (length != SQL_NULL_DATA &&
           SQL_SUCCEEDED(SQLGetData(stmt, 2, SQL_C_CHAR, piece, sizeof piece, &length))) {
      seen += length == SQL_NULL_DATA ? std::string("NULL") : std::string(piece) + "|";
    }
    seen += " ";
  }
  EXPECT_EQ(SQL_NO_DATA, rc) << stmt.why();
  EXPECT_EQ("1:on|e| 2:NULL 3:th|re|e| ", seen);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
}

TEST_F(StmtSqlite, APreparedStatementRunsAgainWithOtherParameters) {
  OdbcStatement stmt(conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select count(*) from item where id >= ?"));
  SQLSMALLINT parameters = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLNumParams(stmt, &parameters));
  EXPECT_EQ(1, parameters);
  SQLINTEGER from = 0;
  SQLINTEGER count = -1;
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &from, 0, nullptr));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &count, 0, nullptr));
  for (from = 1; from <= 4; ++from) {
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
    EXPECT_EQ(4 - from, count);
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  }
}

TEST_F(StmtSqlite, DataAtExecutionArrivesInPieces) {
  OdbcStatement stmt(conn);
  SQLLEN length = SQL_LEN_DATA_AT_EXEC(6);
  int token = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt,
             SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 40, 0, &token, 0, &length));
  ASSERT_SQL(SQL_NEED_DATA, stmt, stmt.execute("update item set name = ? where id = 2"));
  SQLPOINTER asked = nullptr;
  ASSERT_SQL(SQL_NEED_DATA, stmt, SQLParamData(stmt, &asked));
  EXPECT_EQ(&token, asked);
  char first[] = "abc";
  char second[] = "def";
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLPutData(stmt, first, 3));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLPutData(stmt, second, 3));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLParamData(stmt, &asked));
  SQLLEN touched = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLRowCount(stmt, &touched));
  EXPECT_EQ(1, touched);
  EXPECT_EQ("abcdef", conn.value("select name from item where id = 2"));
}

TEST_F(StmtSqlite, DescriptorsAndCatalogFunctionsAnswer) {
  OdbcStatement stmt(conn);
  SQLCHAR table[] = "item";
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLColumns(stmt, nullptr, 0, nullptr, 0, table, SQL_NTS, nullptr, 0));
  int columns = 0;
  while (SQL_SUCCEEDED(SQLFetch(stmt))) ++columns;
  EXPECT_EQ(3, columns);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));

  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from item"));
  SQLCHAR name[16];
  SQLSMALLINT nameLength = 0;
  SQLSMALLINT type = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLDescribeCol(stmt, 2, name, sizeof name, &nameLength, &type, nullptr, nullptr, nullptr));
  EXPECT_STREQ("name", reinterpret_cast<char*>(name));
  EXPECT_EQ(SQL_VARCHAR, type);
}

}  // namespace
