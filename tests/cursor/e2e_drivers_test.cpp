// The cursor library over drivers of every ODBC version: which calls reach the driver in which form, when the
// library scrolls, and how it adapts to a driver's limits.

#include "tests/support/scripted_fixture.h"

namespace {

class AnyDriver : public ScriptedTest, public testing::WithParamInterface<ScriptedVariant> {
 protected:
  AnyDriver() : ScriptedTest({.variant = GetParam()}) { script.answers["select"] = scriptedRows(9); }
};

INSTANTIATE_TEST_SUITE_P(Variants, AnyDriver,
                         testing::Values(ScriptedVariant::Odbc1, ScriptedVariant::Odbc2,
                                         ScriptedVariant::Odbc3, ScriptedVariant::NoDescriptors));

// A driver with one active statement: the open result is read to its end before the next statement runs.
TEST_P(AnyDriver, MakesRoomForASecondStatement) {
  script.answers["select id, name, note from t WHERE"] = {
      {{"id"}, {"name", SQL_VARCHAR, 20}, {"note", SQL_VARCHAR, 20}},
      {{{"2", "row 2", "a note"}, {}}},
      -1,
      {}};
  takeOneStatementAtATime();
  OdbcStatement stmt(conn);
  stmt.makeScrollable();
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.setName("C1"));
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name, note from t"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_EQ(2, script.count("SQLFetch"));

  OdbcStatement writer(conn);
  EXPECT_SQL(SQL_SUCCESS, writer, writer.execute("delete from u"));
  EXPECT_EQ(10, script.count("SQLFetch"));
  EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_EQ(rowTexts(3, 4), rows.text());

  // Reading the row again takes the one statement, and gives it back to the next.
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_FIRST));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  char note[20] = "";
  SQLLEN length = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetData(stmt, 3, SQL_C_CHAR, note, sizeof note, &length));
  EXPECT_STREQ("a note", note);
  EXPECT_SQL(SQL_SUCCESS, writer, writer.execute("delete from t where current of C1"));
  EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_LAST));
  EXPECT_EQ("8:row 8 9:row 9", rows.text());
}

// What a transaction's end leaves of an open cursor and of a prepared statement.
TEST_P(AnyDriver, EndsTransactionsAsTheDriverDoes) {
  for (const SQLUSMALLINT behaviour : {SQL_CB_DELETE, SQL_CB_CLOSE, SQL_CB_PRESERVE}) {
    for (const SQLSMALLINT completion : {SQL_COMMIT, SQL_ROLLBACK}) {
      SCOPED_TRACE("behaviour " + std::to_string(behaviour) + ", completion " + std::to_string(completion));
      const bool commits = completion == SQL_COMMIT;
      script.info[SQL_CURSOR_COMMIT_BEHAVIOR] = commits ? behaviour : SQLUSMALLINT{SQL_CB_PRESERVE};
      script.info[SQL_CURSOR_ROLLBACK_BEHAVIOR] = commits ? SQLUSMALLINT{SQL_CB_PRESERVE} : behaviour;
      reconnect();
      EXPECT_SQL(SQL_SUCCESS, conn, conn.setAutocommit(false));
      OdbcStatement stmt(conn);
      stmt.makeScrollable();
      Rowset rows(stmt, 3);
      ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select id, name from t"));
      ASSERT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
      ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));
      EXPECT_SQL(SQL_SUCCESS, conn, conn.endTransaction(commits ? SQL_ROLLBACK : SQL_COMMIT));
      EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));  // the other end leaves all as it was
      EXPECT_EQ(rowTexts(4, 6), rows.text());
      script.counts.clear();
      script.faults = {{"SQLEndTran", 1, SQL_ERROR, "40001"}, {"SQLTransact", 1, SQL_ERROR, "40001"}};
      EXPECT_EQ("40001", refusal(conn, conn.endTransaction(completion)));  // ends nothing
      EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));
      EXPECT_EQ(rowTexts(7, 9), rows.text());

      EXPECT_SQL(SQL_SUCCESS, conn, conn.endTransaction(completion));
      const bool preserved = behaviour == SQL_CB_PRESERVE;
      EXPECT_SQL(preserved ? SQL_SUCCESS : SQL_ERROR, stmt, rows.fetch(SQL_FETCH_PRIOR));
      if (preserved) SQLFreeStmt(stmt, SQL_CLOSE);
      EXPECT_SQL(behaviour == SQL_CB_DELETE ? SQL_ERROR : SQL_SUCCESS, stmt, SQLExecute(stmt));
    }
  }
}

// Who scrolls, by the connection's choice and by what the driver can do itself.
TEST(CursorChoice, DecidesWhoScrolls) {
  const struct {
    const char* what;
    SQLULEN choice;
    bool driverScrolls;
    bool libraryAnswers;
  } cases[] = {
      {"the library, always", SQL_CUR_USE_ODBC, true, true},
      {"the driver, always", SQL_CUR_USE_DRIVER, false, false},
      {"if needed, and it is", SQL_CUR_USE_IF_NEEDED, false, true},
      {"if needed, and it is not", SQL_CUR_USE_IF_NEEDED, true, false},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.what);
    ScriptedConnection over({.cursors = one.choice});
    if (one.driverScrolls) {
      over.script.info[SQL_SCROLL_OPTIONS] = SQLUINTEGER{SQL_SO_FORWARD_ONLY | SQL_SO_STATIC};
      over.script.info[SQL_FETCH_DIRECTION] =
          SQLUINTEGER{SQL_FD_FETCH_NEXT | SQL_FD_FETCH_PRIOR | SQL_FD_FETCH_ABSOLUTE};
      over.script.info[SQL_STATIC_CURSOR_ATTRIBUTES1] =
          SQLUINTEGER{SQL_CA1_NEXT | SQL_CA1_ABSOLUTE | SQL_CA1_RELATIVE};
      over.reconnect();
    }
    OdbcStatement stmt(over.conn);
    stmt.set(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC);  // this driver refuses it, whatever it said
    Rowset rows(stmt, 2);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
    EXPECT_SQL(one.libraryAnswers ? SQL_SUCCESS : SQL_ERROR, stmt, rows.fetch(SQL_FETCH_LAST));
    EXPECT_EQ(one.libraryAnswers ? 0 : 1, over.script.count("SQLFetchScroll"));
  }
}

}  // namespace
