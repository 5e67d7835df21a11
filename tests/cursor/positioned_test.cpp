// Positioned statements and SQLGetData as the driver sees them: the text, the parameters, the order of
// calls, and what happens when the driver or the cursor refuses.

#include <cstring>

#include "tests/cursor/entry_fixture.h"

namespace {

constexpr SQLRETURN STILL = SQL_STILL_EXECUTING;

class Positioned : public EntryTest {
 protected:
  explicit Positioned(ScriptedVariant variant = ScriptedVariant::Odbc3) : EntryTest(variant) {}

  // Opens the cursor "c" at the given row.
  void open(SQLLEN row = 2) {
    stmt.makeScrollable(1);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
    rows = std::make_unique<Rowset>(stmt, 1, 12);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
    ASSERT_TRUE(SQL_SUCCEEDED(rows->fetch(SQL_FETCH_ABSOLUTE, row))) << stmt.why();
  }

  // The last statement that the driver ran, and its parameters.
  std::string last() {
    const ScriptExecution execution = script.executed().back();
    std::string out = execution.text;
    for (const std::string& parameter : execution.parameters) out += " | " + parameter;
    return out;
  }
  void touches(SQLLEN count) {
    script.answers["update"] = script.answers["delete"] = ScriptAnswer{{}, {}, count, {}};
  }

  OdbcStatement stmt{conn};
  OdbcStatement change{conn};
  std::unique_ptr<Rowset> rows;
};

TEST_F(Positioned, SearchesForTheCachedValues) {
  ScriptAnswer answer = scriptedRows(4);
  answer.rows[1].values[1] = std::nullopt;
  answer.rows[2].values[1] = "a long name that was cut";
  script.answers["select"] = answer;
  open(1);
  char value[8] = "new";
  ASSERT_SQL(SQL_SUCCESS, change,
             SQLBindParameter(change, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 8, 0, value, 8, nullptr));
  const std::pair<SQLLEN, const char*> cases[] = {
      {1, "update t set name = ? WHERE \"id\" = ? AND \"name\" = ? | new | 1 | row 1"},
      {2, "update t set name = ? WHERE \"id\" = ? AND \"name\" IS NULL | new | 2"},
      {3, "update t set name = ? WHERE \"id\" = ? AND \"name\" = ? | new | 3 | a long name"},
  };
  ASSERT_SQL(SQL_SUCCESS, change, change.prepare("update t set name = ? where current of c"));
  for (const auto& [row, expected] : cases) {
    ASSERT_TRUE(SQL_SUCCEEDED(rows->fetch(SQL_FETCH_ABSOLUTE, row)));
    rows->setName(0, "new");
    EXPECT_SQL(SQL_SUCCESS, change, SQLExecute(change));
    EXPECT_EQ(expected, last());
    rows->fetch(SQL_FETCH_RELATIVE, 0);
    EXPECT_EQ(std::to_string(row) + ":new+", rows->text());
  }
  EXPECT_SQL(SQL_SUCCESS, change, SQLExecute(change));  // the values that it has now
  EXPECT_EQ("update t set name = ? WHERE \"id\" = ? AND \"name\" = ? | new | 3 | new", last());
  ASSERT_SQL(SQL_SUCCESS, change, change.execute("insert into t values (?)"));
  EXPECT_EQ("insert into t values (?) | new", last());  // only the application's parameters are left
}

TEST_F(Positioned, TellsWhatTheDriverTouched) {
  open(2);
  const struct {
    SQLLEN count;
    SQLRETURN rc;
    const char* state;
    const char* row;
  } cases[] = {{0, SQL_SUCCESS_WITH_INFO, "01001", "2:row 2"},
               {1, SQL_SUCCESS, "", "2:mine+"},
               {2, SQL_SUCCESS_WITH_INFO, "01001", "2:mine+"}};
  for (const auto& test : cases) {
    touches(test.count);
    rows->setName(0, "mine");
    for (int again = 0; again < 2; ++again) {
      EXPECT_SQL(test.rc, change, change.execute("update t set name = 'mine' where current of c"));
      EXPECT_EQ(test.state, change.states());
    }
    rows->fetch(SQL_FETCH_RELATIVE, 0);
    EXPECT_EQ(test.row, rows->text());
  }
  touches(1);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  EXPECT_SQL(SQL_ERROR, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("HY109", change.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, rows->fetch(SQL_FETCH_ABSOLUTE, 1));
  rows->fetch(SQL_FETCH_NEXT);
  EXPECT_EQ("2:mine-", rows->text());
}

TEST_F(Positioned, RefusesWhatItCannotFindAgain) {
  ScriptAnswer answer = scriptedRows(2);
  for (ScriptColumn& column : answer.columns) column.searchable = SQL_UNSEARCHABLE;
  script.answers["select id"] = answer;
  open(1);
  EXPECT_SQL(SQL_ERROR, change, change.execute("delete from t where current of c"));
  EXPECT_NE(std::string::npos, change.why().find(catalogText(272)));
  answer.columns[0].searchable = SQL_LIKE_ONLY;
  answer.columns[1].searchable = SQL_ALL_EXCEPT_LIKE;
  script.answers["select id"] = answer;
  SQLFreeStmt(stmt, SQL_CLOSE);
  open(1);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("delete from t WHERE \"name\" = ? | row 1", last());

  SQLFreeStmt(stmt, SQL_CLOSE);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t, u"));
  rows->fetch(SQL_FETCH_NEXT);
  EXPECT_SQL(SQL_ERROR, change, change.execute("delete from t where current of c"));
  EXPECT_NE(std::string::npos, change.why().find(catalogText(276)));
  EXPECT_SQL(SQL_NO_DATA, stmt, rows->fetch(SQL_FETCH_PRIOR));
  SQLFreeStmt(stmt, SQL_CLOSE);
  open(1);
  EXPECT_SQL(SQL_NO_DATA, stmt, rows->fetch(SQL_FETCH_PRIOR));
  EXPECT_SQL(SQL_ERROR, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("24000", change.states());
}

TEST_F(Positioned, ABinaryColumnNeedsALength) {
  ScriptAnswer answer = scriptedRows(2);
  script.answers["select"] = answer;
  unsigned char bytes[16];
  SQLLEN length;
  stmt.makeScrollable(1);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
  SQLBindCol(stmt, 2, SQL_C_BINARY, bytes, sizeof bytes, nullptr);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ("01S02", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_SQL(SQL_ERROR, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("42000", change.states());
  SQLFreeStmt(stmt, SQL_CLOSE);
  SQLBindCol(stmt, 2, SQL_C_BINARY, bytes, sizeof bytes, &length);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
}

TEST_F(Positioned, NamesAreQuotedAndNeverOverflow) {
  ScriptAnswer answer = scriptedRows(1);
  answer.columns[0].name = "a\"b";
  answer.columns[1].name.assign(15, '"').append(14, 'x');  // does not fit when doubled
  script.answers["select"] = answer;
  open(1);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("delete from t WHERE \"a\"\"b\" = ? | 1", last());
  SQLFreeStmt(stmt, SQL_CLOSE);
  answer.columns[0].name = std::string(500, 'n');
  script.answers["select"] = answer;
  stmt.execute("select");
  ASSERT_TRUE(SQL_SUCCEEDED(rows->fetch(SQL_FETCH_NEXT))) << stmt.why();
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("delete from t WHERE \"" + std::string(33, 'n') + "\" = ? | 1", last());
}

// A statement that was prepared for a cursor finds it by its name, also when it has been closed meanwhile.
TEST_F(Positioned, OutlivesItsCursor) {
  open(1);
  ASSERT_SQL(SQL_SUCCESS, change, change.prepare("delete from t where current of c"));
  SQLFreeStmt(stmt, SQL_CLOSE);
  EXPECT_SQL(SQL_ERROR, change, SQLExecute(change));
  EXPECT_EQ("34000", change.states());
  open(3);
  EXPECT_SQL(SQL_SUCCESS, change, SQLExecute(change));
  EXPECT_EQ("delete from t WHERE \"id\" = ? AND \"name\" = ? | 3 | row 3", last());
  EXPECT_SQL(SQL_SUCCESS, change, SQLFreeStmt(change, SQL_CLOSE));
  rows->fetch(SQL_FETCH_NEXT);
  EXPECT_SQL(SQL_SUCCESS, change, SQLExecute(change));
  EXPECT_EQ("delete from t WHERE \"id\" = ? AND \"name\" = ? | 4 | row 4", last());
}

// The cursor goes while its statement waits for data: the driver is left with no address of its rows.
TEST_F(Positioned, TheCursorGoesWhileDataIsAwaited) {
  open(1);
  char value[8] = "later";
  SQLLEN length = SQL_DATA_AT_EXEC;
  SQLBindParameter(change, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 8, 0, value, 8, &length);
  EXPECT_SQL(SQL_NEED_DATA, change, change.execute("update t set name = ? where current of c"));
  SQLFreeStmt(stmt, SQL_CLOSE);
  SQLPOINTER token;
  EXPECT_SQL(SQL_ERROR, change, SQLParamData(change, &token));
  EXPECT_EQ("24000", change.states());
  length = SQL_NTS;
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("insert into t values (?)"));
  EXPECT_EQ("insert into t values (?) | later", last());
}

TEST_F(Positioned, DataAtExecution) {
  open(1);
  char value[8] = "later";
  SQLLEN length = SQL_DATA_AT_EXEC;
  SQLBindParameter(change, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 8, 0, value, 8, &length);
  ASSERT_SQL(SQL_SUCCESS, change, change.prepare("update t set name = ? where current of c"));
  for (int again = 0; again < 2; ++again) {
    EXPECT_SQL(SQL_NEED_DATA, change, SQLExecute(change));
    SQLPOINTER token = nullptr;
    EXPECT_SQL(SQL_NEED_DATA, change, SQLParamData(change, &token));
    EXPECT_EQ(value, token);
    EXPECT_SQL(SQL_SUCCESS, change, SQLPutData(change, value, SQL_NTS));
    EXPECT_SQL(SQL_SUCCESS, change, SQLParamData(change, &token));
    EXPECT_EQ("update t set name = ? WHERE \"id\" = ? AND \"name\" = ? | later | 1 | row 1", last());
  }
}

TEST_F(Positioned, CarriesOnWhereTheDriverStopped) {
  open(2);
  script.counts.clear();
  script.faults = {{"SQLExecDirect", 1, STILL, ""}, {"SQLRowCount", 1, STILL, ""}};
  EXPECT_SQL(STILL, change, change.execute("delete from t where current of c"));
  EXPECT_SQL(STILL, change, change.execute("delete from t where current of c"));
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  EXPECT_EQ(2, script.count("SQLExecDirect"));
  EXPECT_EQ(2, script.count("SQLRowCount"));
  script.counts.clear();
  script.faults = {{"SQLExecDirect", 1, STILL, ""}, {"SQLNumResultCols", 1, STILL, "", 2}};
  EXPECT_SQL(STILL, change, change.execute("select"));
  EXPECT_SQL(STILL, change, change.execute("select"));
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("select"));
  EXPECT_EQ(2, script.count("SQLExecDirect"));
}

TEST_F(Positioned, RunsAgainWhenTheDriverFoundNoRow) {
  open(2);
  ASSERT_SQL(SQL_SUCCESS, change, change.prepare("delete from t where current of c"));
  script.counts.clear();
  script.faults = {{"SQLExecDirect", 1, SQL_ERROR, "24000"}};
  EXPECT_SQL(SQL_ERROR, change, SQLExecute(change));
  EXPECT_EQ("24000", change.states());
  rows->fetch(SQL_FETCH_NEXT);
  EXPECT_SQL(SQL_SUCCESS, change, SQLExecute(change));
  EXPECT_EQ("delete from t WHERE \"id\" = ? AND \"name\" = ? | 3 | row 3", last());
}

class OneActiveStatement : public Positioned {
 protected:
  OneActiveStatement() {
    conn.disconnect();
    script.oneActiveStatement = true;
    script.info[SQL_ACTIVE_STATEMENTS] = SQLUSMALLINT{1};
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }
};

// What is in the queue of the other statement already does not decide about its rows.
TEST_F(OneActiveStatement, JudgesARowErrorByTheDriversRecordsAlone) {
  OdbcStatement reader(conn), writer(conn);
  ScriptAnswer answer = scriptedRows(6);
  answer.rows[2].sqlstate = "22003";
  script.answers["select"] = answer;
  reader.makeScrollable(2);
  Rowset read(reader, 2);
  ASSERT_SQL(SQL_SUCCESS, reader, reader.execute("select id, name from t"));
  ASSERT_SQL(SQL_SUCCESS, reader, read.fetch(SQL_FETCH_NEXT));
  EXPECT_SQL(SQL_ERROR, reader, SQLSetPos(reader, 9, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  EXPECT_SQL(SQL_SUCCESS, writer, writer.execute("update t set name = 'x'"));
  EXPECT_SQL(SQL_SUCCESS, reader, read.fetch(SQL_FETCH_LAST));
  EXPECT_EQ(rowTexts(5, 6), read.text());
}

// A connection that is lost while rows are read ahead fails that call, and every later one on the result.
TEST_F(OneActiveStatement, ALostConnectionIsNoEndOfTheResult) {
  for (const char* state : {"08S01", "57P01"}) {
    script.counts.clear();
    script.faults = {{"SQLFetch", 3, SQL_ERROR, state}};
    OdbcStatement reader(conn);
    reader.makeScrollable(1);
    Rowset read(reader, 1);
    ASSERT_SQL(SQL_SUCCESS, reader, reader.execute("select id, name from t"));
    EXPECT_SQL(SQL_ERROR, reader, read.fetch(SQL_FETCH_LAST));
    EXPECT_EQ(state, reader.states());
    SQLLEN count = 0;
    for (const SQLRETURN rc : {read.fetch(SQL_FETCH_FIRST), SQLRowCount(reader, &count)})
      EXPECT_EQ(SQL_ERROR, rc);
    EXPECT_EQ("08S01", reader.states());
  }
}

TEST_F(Positioned, NeedsARowThatWasDelivered) {
  open(2);
  stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, 4);
  EXPECT_SQL(SQL_NO_DATA, stmt, rows->fetch(SQL_FETCH_ABSOLUTE, 0));
  EXPECT_SQL(SQL_ERROR, stmt, SQLSetPos(stmt, 4, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  EXPECT_EQ("24000", stmt.states());
  EXPECT_SQL(SQL_ERROR, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("24000", change.states());
}

TEST_F(Positioned, HasANativeText) {
  open(2);
  SQLCHAR text[100] = "";
  SQLINTEGER length = 0;
  SQLCHAR sql[] = "delete from t where current of c";
  EXPECT_SQL(SQL_SUCCESS, conn, SQLNativeSql(conn, sql, SQL_NTS, text, sizeof text, &length));
  EXPECT_STREQ("delete from t WHERE \"id\" = ? AND \"name\" = ?", reinterpret_cast<char*>(text));
  rows->fetch(SQL_FETCH_ABSOLUTE, 0);
  EXPECT_SQL(SQL_ERROR, conn, SQLNativeSql(conn, sql, SQL_NTS, text, sizeof text, &length));
  EXPECT_EQ("24000", conn.states());
}

// SQL_RESET_PARAMS forgets the parameters also when the statement's text is gone already.
TEST_F(Positioned, HasOnlyTheParametersOfNow) {
  open(1);
  SQLINTEGER stale = 77;
  SQLBindParameter(change, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &stale, 0, nullptr);
  ASSERT_SQL(SQL_SUCCESS, change, change.execute("insert into t values (?)"));
  EXPECT_SQL(SQL_SUCCESS, change, SQLFreeStmt(change, SQL_CLOSE));
  EXPECT_SQL(SQL_SUCCESS, change, SQLFreeStmt(change, SQL_RESET_PARAMS));
  EXPECT_EQ(nullptr, object(change).apd->bindList);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  EXPECT_EQ("delete from t WHERE \"id\" = ? AND \"name\" = ? | 1 | row 1", last());
}

TEST_F(Positioned, GetDataReadsTheRowOnceInPieces) {
  open(3);
  char piece[4];
  SQLLEN length;
  script.counts.clear();
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, stmt, SQLGetData(stmt, 2, SQL_C_CHAR, piece, sizeof piece, &length));
  EXPECT_EQ("01004", stmt.states());
  EXPECT_STREQ("row", piece);
  EXPECT_EQ("select id, name from t WHERE \"id\" = ? AND \"name\" = ? | 3 | row 3", last());
  SQLINTEGER id = 0;
  EXPECT_EQ(1, script.count("SQLFetch"));
  rows->fetch(SQL_FETCH_PRIOR);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetData(stmt, 1, SQL_C_SLONG, &id, 0, nullptr));
  EXPECT_EQ("select id, name from t WHERE \"id\" = ? AND \"name\" = ? | 2 | row 2", last());
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  EXPECT_SQL(SQL_SUCCESS, stmt, rows->fetch(SQL_FETCH_RELATIVE, 0));
  EXPECT_SQL(SQL_ERROR, stmt, SQLGetData(stmt, 1, SQL_C_SLONG, &id, 0, nullptr));
  EXPECT_EQ("HY109", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t group by id"));
  rows->fetch(SQL_FETCH_NEXT);
  EXPECT_SQL(SQL_ERROR, stmt, SQLGetData(stmt, 1, SQL_C_SLONG, &id, 0, nullptr));
  EXPECT_NE(std::string::npos, stmt.why().find(catalogText(288)));
}

// A prepared query can be executed again after SQLGetData has used its text, well or not.
TEST_F(Positioned, GetDataLeavesAPreparedQueryAsItWas) {
  open(1);
  SQLFreeStmt(stmt, SQL_CLOSE);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select id, name from t where id > 0"));
  for (const SQLRETURN expected : {SQL_SUCCESS, SQL_ERROR, SQL_SUCCESS}) {
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
    EXPECT_EQ("select id, name from t where id > 0", last());
    ASSERT_SQL(SQL_SUCCESS, stmt, rows->fetch(SQL_FETCH_NEXT));
    EXPECT_EQ("1:row 1", rows->text());
    script.counts.clear();
    if (expected == SQL_ERROR) script.faults = {{"SQLBindParameter", 2, SQL_ERROR, "HY000"}};
    SQLINTEGER id = 0;
    EXPECT_SQL(expected, stmt, SQLGetData(stmt, 1, SQL_C_SLONG, &id, 0, nullptr));
    script.faults.clear();
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  }
}

}  // namespace
