// Positioned statements and SQLGetData as the driver sees them: the text, the parameters, the order of
// calls, and what happens when the driver or the cursor refuses.

#include <random>

#include "gmock/gmock.h"
#include "tests/support/scripted_fixture.h"

namespace {

constexpr SQLRETURN kStill = SQL_STILL_EXECUTING;

class Positioned : public ScriptedTest {
 protected:
  explicit Positioned(ScriptedVariant variant = ScriptedVariant::Odbc3)
      : ScriptedTest({.variant = variant}) {}

  // Opens the cursor "c" at the given row.
  void open(SQLLEN row = 2, SQLULEN size = 1) {
    stmt.makeScrollable();
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
    rows = std::make_unique<Rowset>(stmt, size, 12);
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
  void expectRefused(const std::string& sql, const std::string& why) {
    EXPECT_SQL(SQL_ERROR, change, change.execute(sql));
    EXPECT_THAT(change.why(), testing::HasSubstr(why));
  }

  OdbcStatement stmt{conn};
  OdbcStatement change{conn};
  std::unique_ptr<Rowset> rows;
};

constexpr char kDelete[] = "delete from t where current of c";

// A cursor with its rows as they must be in its cache.
class RandomPositions : public Positioned, public testing::WithParamInterface<ScriptedVariant> {
 protected:
  RandomPositions() : Positioned(GetParam()) {}
  struct Row {
    ScriptValue name;
    const char* mark = "";
  };
  int pick(int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); }
  Row* current() { return first < 1 || first + place > count ? nullptr : &table[first + place - 1]; }

  std::string expectedText() const {
    std::string all;
    for (int i = first; first > 0 && i < first + size && i <= count; ++i)
      all += (i > first ? " " : "") + std::to_string(i) + ":" + table[i - 1].name.value_or("null") +
             table[i - 1].mark;
    return all;
  }

  // What must become of a statement that refers to the current row: refused, or sent with its values.
  void expectSent(SQLRETURN rc, SQLRETURN worked, OdbcStatement& by, const std::string& text) {
    const Row* const row = current();
    const bool gone = row && *row->mark == '-';
    ASSERT_SQL(row && !gone ? worked : SQL_ERROR, by, rc);
    if (!row || gone) {
      EXPECT_EQ(row ? "HY109" : "24000", by.states());
      return;
    }
    const std::size_t bar = text.find(" | ");
    EXPECT_EQ(text.substr(0, bar) + " WHERE \"id\" = ? AND \"name\" " + (row->name ? "= ?" : "IS NULL") +
                  (bar == std::string::npos ? "" : text.substr(bar)) + " | " + std::to_string(first + place) +
                  (row->name ? " | " + *row->name : ""),
              last());
  }

  void start();
  void step();
  void touch(SQLLEN touched);
  void readAgain();

  std::mt19937 random;
  std::vector<Row> table;
  int count = 0, size = 0, first = 0, place = 0;
  OdbcStatement eraser{conn};
  char value[12] = "";
  SQLLEN length = SQL_NTS;
  bool isRead = false;
};

void RandomPositions::start() {
  count = pick(12) ? 1 + pick(9) : 2500;  // more than the cache holds in memory
  size = 1 + pick(3), place = 0;
  ScriptAnswer answer = scriptedRows(count);
  table.assign(static_cast<std::size_t>(count), {});
  for (int i = 0; i < count; ++i) {
    ScriptValue& name = answer.rows[static_cast<std::size_t>(i)].values[1];
    if (pick(5) == 0) name.reset();
    if (name && pick(5) == 0) *name = "a long name that was cut";
    if (name) table[static_cast<std::size_t>(i)].name = name->substr(0, 11);
  }
  script.answers["select"] = answer;
  SQLFreeStmt(stmt, SQL_CLOSE);
  EXPECT_SQL(SQL_ERROR, change, SQLExecute(change));  // outlives the cursor that it was prepared for
  EXPECT_EQ("34000", change.states());
  rows = std::make_unique<Rowset>(stmt, static_cast<SQLULEN>(size), 12);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
  EXPECT_EQ("select id, name from t ", last());  // as it was, whatever SQLGetData has made of it
  EXPECT_NE(SQL_ERROR, rows->fetch(SQL_FETCH_LAST));
  EXPECT_NE(SQL_ERROR, rows->fetch(SQL_FETCH_ABSOLUTE, first = 1));
  isRead = false;
}

// Touches the current row by an update or a delete; `touched`: how many rows the driver says it was.
void RandomPositions::touch(SQLLEN touched) {
  script.answers["update"] = script.answers["delete"] = ScriptAnswer{{}, {}, touched, {}};
  const SQLRETURN worked = touched == 1 ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
  Row* const row = current();
  const bool isThere = row && *row->mark != '-';
  if (isThere && pick(8) == 0) {  // the driver finds no row, and the text must serve again
    script.faults = {{"SQLExecDirect", script.count("SQLExecDirect") + 1, SQL_ERROR, "24000"}};
    EXPECT_EQ("24000", refusal(change, SQLExecute(change)));
  }
  if (pick(3) == 0) {
    expectSent(eraser.execute(kDelete), worked, eraser, "delete from t");
    if (isThere && touched) row->mark = "-";
    return;
  }
  const ScriptValue name = pick(4) ? ScriptValue("new " + std::to_string(pick(100))) : std::nullopt;
  if (isThere) rows->setName(static_cast<SQLULEN>(place), name ? name->c_str() : nullptr);
  if (name) name->copy(value, sizeof value), value[name->size()] = '\0';
  const bool atExecution = isThere && name && touched && pick(3) == 0;
  length = atExecution ? SQL_DATA_AT_EXEC : name ? SQL_NTS : SQL_NULL_DATA;
  SQLRETURN rc = SQLExecute(change);
  if (atExecution) {
    SQLPOINTER token = nullptr;
    for (const SQLRETURN asked : {rc, SQLParamData(change, &token)}) ASSERT_SQL(SQL_NEED_DATA, change, asked);
    EXPECT_SQL(SQL_SUCCESS, change, SQLPutData(change, value, SQL_NTS));
    rc = SQLParamData(change, &token);
  }
  expectSent(rc, worked, change, "update t set name = ? | " + name.value_or("NULL"));
  if (isThere && touched) *row = {name, "+"};
}

// The first SQLGetData on a row reads it again.
void RandomPositions::readAgain() {
  SQLINTEGER id = 0;
  const std::size_t before = script.executed().size();
  const SQLRETURN rc = SQLGetData(stmt, 1, SQL_C_SLONG, &id, 0, nullptr);
  if (!isRead) return isRead = SQL_SUCCEEDED(rc), expectSent(rc, SQL_SUCCESS, stmt, "select id, name from t");
  EXPECT_SQL(SQL_NO_DATA, stmt, rc);  // the value has been given
  EXPECT_EQ(before, script.executed().size());
}

void RandomPositions::step() {
  switch (pick(4)) {
    case 0: {
      const bool again = first > 0 && pick(2);
      const int row = again ? first : pick(count + 2);
      for (int i = 1; again && i < count; i += 50) rows->fetch(SQL_FETCH_ABSOLUTE, i);  // evicts it
      ASSERT_SQL(row > 0 && row <= count ? SQL_SUCCESS : SQL_NO_DATA, stmt,
                 rows->fetch(SQL_FETCH_ABSOLUTE, row));
      first = row, place = 0, isRead = false;
      EXPECT_EQ(expectedText(), current() ? rows->text() : "");
      break;
    }
    case 1: {
      const int to = pick(size);
      if (first < 1 || first + to > count) break;
      ASSERT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, static_cast<SQLSETPOSIROW>(to) + 1, SQL_POSITION, 0));
      place = to, isRead = false;
      break;
    }
    case 2: return touch(pick(5) ? 1 : pick(3));
    default: return readAgain();
  }
}

INSTANTIATE_TEST_SUITE_P(Drivers, RandomPositions,
                         testing::Values(ScriptedVariant::Odbc1, ScriptedVariant::Odbc2,
                                         ScriptedVariant::Odbc3, ScriptedVariant::NoDescriptors));

TEST_P(RandomPositions, SendWhatTheCacheHolds) {
  SQLBindParameter(change, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 8, 0, value, sizeof value, &length);
  stmt.makeScrollable();
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select id, name from t"));
  rows = std::make_unique<Rowset>(stmt, 1);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows->fetch(SQL_FETCH_NEXT));
  ASSERT_SQL(SQL_SUCCESS, change, change.prepare("update t set name = ? where current of c"));
  for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random.seed(seed);
    start();
    for (int i = 0; i < 16 && !HasFailure(); ++i) step();
  }
}

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
  EXPECT_EQ("delete from t WHERE \"name\" = ? | row 1", last());

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
    EXPECT_EQ("delete from t WHERE \"" + quoted + "\" = ? | 1", last());
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
  EXPECT_EQ("insert into t values (?) | later", last());

  // SQL_RESET_PARAMS forgets the parameters also when the statement's text is gone.
  EXPECT_SQL(SQL_SUCCESS, change, SQLFreeStmt(change, SQL_CLOSE));
  EXPECT_SQL(SQL_SUCCESS, change, SQLFreeStmt(change, SQL_RESET_PARAMS));
  EXPECT_EQ(nullptr, object(change).apd->bindList);
  open(1);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute(kDelete));
  EXPECT_EQ("delete from t WHERE \"id\" = ? AND \"name\" = ? | 1 | row 1", last());
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
