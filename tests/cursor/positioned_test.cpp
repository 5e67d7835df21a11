// Positioned statements and SQLGetData as the driver sees them: the text, the parameters, the order of
// calls, and what happens when the driver or the cursor refuses.

#include "fuzz/scripted.h"
#include "gmock/gmock.h"

namespace {

constexpr SQLRETURN kStill = SQL_STILL_EXECUTING;

class Positioned : public ScriptedTest {
 protected:
  // Opens the cursor "c" at the given row.
  void open(SQLLEN row = 2, SQLULEN size = 1) {
    stmt.makeScrollable();
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
    rows = std::make_unique<Rowset>(stmt, size, 12);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
    ASSERT_TRUE(SQL_SUCCEEDED(rows->fetch(SQL_FETCH_ABSOLUTE, row))) << stmt.why();
  }

  void expectRefused(const std::string& sql, const std::string& why) {
    EXPECT_SQL(SQL_ERROR, change, change.execute(sql));
    EXPECT_THAT(change.why(), testing::HasSubstr(why));
  }

  OdbcStatement stmt{conn};
  OdbcStatement change{conn};
  std::unique_ptr<Rowset> rows;
};

constexpr char kDelete[] = "delete from t where current of c";

TEST_F(Positioned, RefusesWhatItCannotFindAgain) {
  ScriptAnswer answer = scriptedRows(2);
  for (ScriptColumn& column : answer.columns) column.searchable = SQL_UNSEARCHABLE;
  script.answers["select id"] = answer;
  open(1);
  expectRefused(kDelete, catalogText(272));
  answer.columns[0].searchable = SQL_LIKE_ONLY;
  answer.columns[1].searchable = SQL_ALL_EXCEPT_LIKE;
  script.answers["select id"] = answer;
  SQLFreeStmt(stmt, SQL_CLOSE);
  open(1);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute(kDelete));
  EXPECT_EQ("delete from t WHERE \"name\" = ? | row 1", lastExecution(script));

  const std::pair<const char*, int> cases[] = {{"select id, name from t, u", 276},
                                               {"select id, name from t group by id", 288}};
  for (const auto& [sql, message] : cases) {
    SQLFreeStmt(stmt, SQL_CLOSE);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute(sql));
    rows->fetch(SQL_FETCH_NEXT);
    SQLINTEGER id = 0;
    EXPECT_SQL(SQL_ERROR, stmt, SQLGetData(stmt, 1, SQL_C_SLONG, &id, 0, nullptr));
    EXPECT_THAT(stmt.why(), testing::HasSubstr(catalogText(message)));
  }
}

TEST_F(Positioned, ABinaryColumnNeedsALength) {
  unsigned char bytes[16];
  SQLLEN length;
  stmt.makeScrollable(1);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
  SQLBindCol(stmt, 2, SQL_C_BINARY, bytes, sizeof bytes, nullptr);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_EQ("01S02", warning(stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  expectRefused(kDelete, "42000");
  SQLFreeStmt(stmt, SQL_CLOSE);
  SQLBindCol(stmt, 2, SQL_C_BINARY, bytes, sizeof bytes, &length);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_SQL(SQL_SUCCESS, change, change.execute(kDelete));
}

TEST_F(Positioned, NamesAreQuotedAndNeverOverflow) {
  ScriptAnswer answer = scriptedRows(1);
  answer.columns[1].name.assign(15, '"').append(14, 'x');  // does not fit when doubled
  const std::pair<std::string, std::string> names[] = {{"a\"b", "a\"\"b"},
                                                       {std::string(500, 'n'), std::string(33, 'n')}};
  for (const auto& [name, quoted] : names) {
    answer.columns[0].name = name;
    script.answers["select"] = answer;
    SQLFreeStmt(stmt, SQL_CLOSE);
    open(1);
    EXPECT_SQL(SQL_SUCCESS, change, change.execute(kDelete));
    EXPECT_EQ("delete from t WHERE \"" + quoted + "\" = ? | 1", lastExecution(script));
  }
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
  EXPECT_EQ("24000", refusal(change, SQLParamData(change, &token)));
  length = SQL_NTS;
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("insert into t values (?)"));
  EXPECT_EQ("insert into t values (?) | later", lastExecution(script));

  // SQL_RESET_PARAMS forgets the parameters also when the statement's text is gone.
  EXPECT_SQL(SQL_SUCCESS, change, SQLFreeStmt(change, SQL_CLOSE));
  EXPECT_SQL(SQL_SUCCESS, change, SQLFreeStmt(change, SQL_RESET_PARAMS));
  EXPECT_EQ(nullptr, object(change).apd->bindList);
  open(1);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute(kDelete));
  EXPECT_EQ("delete from t WHERE \"id\" = ? AND \"name\" = ? | 1 | row 1", lastExecution(script));
}

TEST_F(Positioned, CarriesOnWhereTheDriverStopped) {
  open(2);
  const std::pair<const char*, ScriptFault> cases[] = {{kDelete, {"SQLRowCount", 1, kStill, ""}},
                                                       {"select", {"SQLNumResultCols", 1, kStill, "", 2}}};
  for (const auto& [sql, then] : cases) {
    script.counts.clear();
    script.faults = {{"SQLExecDirect", 1, kStill, ""}, then};
    for (const SQLRETURN rc : {kStill, kStill, SQLRETURN{SQL_SUCCESS}})
      EXPECT_SQL(rc, change, change.execute(sql));
    EXPECT_EQ(2, script.count("SQLExecDirect"));
  }
}

class OneActiveStatement : public ScriptedTest {
 protected:
  OneActiveStatement() { takeOneStatementAtATime(); }
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
      EXPECT_EQ("08S01", refusal(reader, rc));
  }
}

TEST_F(Positioned, HasANativeText) {
  open(2);
  SQLCHAR text[100] = "";
  SQLINTEGER length = 0;
  SQLCHAR sql[] = "delete from t where current of c";
  EXPECT_SQL(SQL_SUCCESS, conn, SQLNativeSql(conn, sql, SQL_NTS, text, sizeof text, &length));
  EXPECT_STREQ("delete from t WHERE \"id\" = ? AND \"name\" = ?", reinterpret_cast<char*>(text));
  rows->fetch(SQL_FETCH_ABSOLUTE, 0);
  EXPECT_EQ("24000", refusal(conn, SQLNativeSql(conn, sql, SQL_NTS, text, sizeof text, &length)));
}

}  // namespace
