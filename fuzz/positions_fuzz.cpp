// Positioned statements and values that are read again as a small language: each byte moves a cursor over the
// scripted driver, updates or deletes its row, or reads it again. What the driver is sent goes by a model of
// the rows in the cursor's cache.

#include "fuzz/input.h"
#include "fuzz/scripted.h"

namespace positionsfuzz {

constexpr char kDelete[] = "delete from t where current of c";

// A cursor with its rows as they must be in its cache.
class Run : public ScriptedConnection {
 public:
  Run(Input& input, ScriptedVariant variant) : ScriptedConnection({.variant = variant}), input(input) {}
  void run();

 private:
  struct Row {
    ScriptValue name;
    const char* mark = "";
  };
  int pick(int below) { return static_cast<int>(input(static_cast<unsigned long>(below))); }
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
              lastExecution(script));
  }

  void start();
  void step();
  void touch(SQLLEN touched);
  void readAgain();

  Input& input;
  OdbcStatement stmt{conn}, change{conn};
  std::unique_ptr<Rowset> rows;
  std::vector<Row> table;
  int count = 0, size = 0, first = 0, place = 0;
  OdbcStatement eraser{conn};
  char value[12] = "";
  SQLLEN length = SQL_NTS;
  bool isRead = false;
};

void Run::start() {
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
  EXPECT_EQ("select id, name from t ",
            lastExecution(script));  // as it was, whatever SQLGetData has made of it
  EXPECT_NE(SQL_ERROR, rows->fetch(SQL_FETCH_LAST));
  EXPECT_NE(SQL_ERROR, rows->fetch(SQL_FETCH_ABSOLUTE, first = 1));
  isRead = false;
}

// Touches the current row by an update or a delete; `touched`: how many rows the driver says it was.
void Run::touch(SQLLEN touched) {
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
    EXPECT_SQL(SQL_SUCCESS, change, SQLPutData(change, value, 2));
    EXPECT_SQL(SQL_SUCCESS, change, SQLPutData(change, value + 2, SQL_NTS));
    rc = SQLParamData(change, &token);
  }
  expectSent(rc, worked, change, "update t set name = ? | " + name.value_or("NULL"));
  if (isThere && touched) *row = {name, "+"};
}

// The first SQLGetData on a row reads it again.
void Run::readAgain() {
  SQLINTEGER id = 0;
  const std::size_t before = script.executed().size();
  const SQLRETURN rc = SQLGetData(stmt, 1, SQL_C_SLONG, &id, 0, nullptr);
  if (!isRead) return isRead = SQL_SUCCEEDED(rc), expectSent(rc, SQL_SUCCESS, stmt, "select id, name from t");
  EXPECT_SQL(SQL_NO_DATA, stmt, rc);  // the value has been given
  EXPECT_EQ(before, script.executed().size());
}

void Run::step() {
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

void Run::run() {
  SQLBindParameter(change, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 8, 0, value, sizeof value, &length);
  stmt.makeScrollable();
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select id, name from t"));
  rows = std::make_unique<Rowset>(stmt, 1);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows->fetch(SQL_FETCH_NEXT));
  ASSERT_SQL(SQL_SUCCESS, change, change.prepare("update t set name = ? where current of c"));
  while (!input.atEnd() && !testing::Test::HasFailure()) {
    start();
    for (int i = 0; i < 16 && !testing::Test::HasFailure(); ++i) step();
  }
}

}  // namespace positionsfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const ScriptedVariant variants[] = {ScriptedVariant::Odbc1, ScriptedVariant::Odbc2, ScriptedVariant::Odbc3,
                                      ScriptedVariant::NoDescriptors};
  const ScriptedVariant variant = variants[input(4)];
  positionsfuzz::Run(input, variant).run();
  endProgramOnFailure();
  return 0;
}
