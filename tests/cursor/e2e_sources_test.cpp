// Scrolling, positioned statements and long values over real data sources: SQLite, PostgreSQL,
// and PostgreSQL as a forward-only stream, whose result comes in portions.

#include <cstring>
#include <random>

#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"

namespace {

enum class Source { Sqlite, Postgres, PostgresStream };

class DataSource : public testing::TestWithParam<Source> {
 protected:
  void SetUp() override {
    std::string why;
    ASSERT_TRUE(GetParam() == Source::Sqlite || PostgresFixture::isRunning(why)) << why;
    connection = std::make_unique<OdbcConnection>(connectionString());
    connection->run("create table t (id integer, name varchar(40), note text)");
  }

  void TearDown() override {
    if (connection) connection->run("drop table t");
  }

  std::string connectionString() const {
    switch (GetParam()) {
      case Source::Sqlite: return SqliteFixture::connectionString(scratch);
      case Source::Postgres: return PostgresFixture::connectionString();
      case Source::PostgresStream: return PostgresFixture::streaming(2);
    }
    return "";
  }

  // Rows 1 to `count`: (i, 'row i', null).
  void fill(int count) {
    connection->run(
        "insert into t select i, 'row ' || i, null from (with recursive g(i) as "
        "(select 1 union all select i + 1 from g where i < " +
        std::to_string(count) + ") select i from g) as numbers");
  }

  OdbcConnection& conn() { return *connection; }

 private:
  ScratchDirectory scratch;
  std::unique_ptr<OdbcConnection> connection;
};

std::string nameOf(const testing::TestParamInfo<Source>& info) {
  const char* names[] = {"Sqlite", "Postgres", "PostgresStream"};
  return names[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Real, DataSource,
                         testing::Values(Source::Sqlite, Source::Postgres, Source::PostgresStream), nameOf);

TEST_P(DataSource, ServesAResultLargerThanItsMemory) {
  constexpr int COUNT = 3000;
  constexpr int SIZE = 10;
  fill(COUNT);
  OdbcStatement stmt(conn());
  stmt.makeScrollable();
  Rowset rows(stmt, SIZE, 200);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t order by id"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_LAST));
  std::mt19937 random(1);
  for (int i = 0; i < 150; ++i) {
    const int first = 1 + static_cast<int>(random() % (COUNT - SIZE));
    ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, first));
    ASSERT_EQ(rowTexts(first, first + SIZE - 1), rows.text());
  }
}

TEST_P(DataSource, BindsRowWiseAtAnOffset) {
  fill(5);
  struct Row {
    SQLINTEGER id;
    SQLLEN idLength;
    char name[12];
    SQLLEN nameLength;
  };
  Row storage[5] = {};
  SQLLEN offset = 2 * sizeof(Row);
  OdbcStatement stmt(conn());
  stmt.makeScrollable(2);
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_BIND_TYPE, sizeof(Row)));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_BIND_OFFSET_PTR, &offset));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &storage[0].id, 0, &storage[0].idLength));
  EXPECT_SQL(
      SQL_SUCCESS, stmt,
      SQLBindCol(stmt, 2, SQL_C_CHAR, storage[0].name, sizeof storage[0].name, &storage[0].nameLength));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t order by id"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_ABSOLUTE, 3));
  EXPECT_EQ(3, storage[2].id);
  EXPECT_STREQ("row 4", storage[3].name);
  EXPECT_EQ(5, storage[3].nameLength);
  offset = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_PRIOR, 0));
  EXPECT_EQ(1, storage[0].id);
  EXPECT_STREQ("row 2", storage[1].name);
  EXPECT_EQ(3, storage[2].id);
  EXPECT_EQ(0, storage[4].id);
}

TEST_P(DataSource, UpdatesAndDeletesAtTheCursor) {
  fill(4);
  conn().run("update t set name = null where id = 3");
  OdbcStatement stmt(conn());
  stmt.makeScrollable();
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.setName("C1"));
  Rowset rows(stmt, 4);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t order by id for update"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_FIRST));
  ASSERT_EQ("1:row 1 2:row 2 3:null 4:row 4", rows.text());

  OdbcStatement writer(conn());
  char name[16] = "second";
  SQLLEN length = SQL_NTS;
  EXPECT_SQL(SQL_SUCCESS, writer,
             SQLBindParameter(writer, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 40, 0, name, sizeof name,
                              &length));
  ASSERT_SQL(SQL_SUCCESS, writer, writer.prepare("update t set name = ? where current of C1"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  rows.setName(1, "second");
  EXPECT_SQL(SQL_SUCCESS, writer, SQLExecute(writer));

  // The same statement again, on another row, to a null value.
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 4, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  length = SQL_NULL_DATA;
  rows.setName(3, nullptr);
  EXPECT_SQL(SQL_SUCCESS, writer, SQLExecute(writer));

  // A row with a null value is found by it.
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 3, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  OdbcStatement eraser(conn());
  EXPECT_SQL(SQL_SUCCESS, eraser, eraser.execute("delete from t where current of C1"));

  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_RELATIVE, 0));
  EXPECT_EQ("1:row 1 2:second+ 3:null- 4:null+", rows.text());
  EXPECT_EQ("second", conn().value("select name from t where id = 2"));
  EXPECT_EQ("NULL", conn().value("select name from t where id = 4"));
  EXPECT_EQ("3", conn().value("select count(*) from t"));

  // A deleted row is no place for another statement.
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 3, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  EXPECT_EQ(SQL_ERROR, eraser.execute("delete from t where current of C1"));
  EXPECT_EQ(catalogText(253), eraser.states());
  EXPECT_EQ("3", conn().value("select count(*) from t"));
}

TEST_P(DataSource, WarnsWhenAPositionedStatementMissesItsRow) {
  fill(2);
  conn().run("insert into t values (2, 'row 2', null)");
  OdbcStatement stmt(conn());
  stmt.makeScrollable();
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.setName("C1"));
  Rowset rows(stmt, 1, 4);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t order by id"));

  // A truncated value is compared as far as it was read, and equals nothing.
  ASSERT_SQL(SQL_SUCCESS_WITH_INFO, stmt, rows.fetch(SQL_FETCH_FIRST));
  EXPECT_EQ("01004", stmt.states());
  OdbcStatement writer(conn());
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, writer.execute("update t set note = 'x' where current of C1"));
  EXPECT_EQ(catalogText(37), writer.states());
  EXPECT_EQ("0", conn().value("select count(*) from t where note = 'x'"));

  // Equal rows are all touched, which is told.
  OdbcStatement whole(conn());
  whole.makeScrollable();
  EXPECT_SQL(SQL_SUCCESS, whole, whole.setName("C2"));
  Rowset wholeRows(whole, 1);
  ASSERT_SQL(SQL_SUCCESS, whole, whole.execute("select id, name from t order by id"));
  ASSERT_SQL(SQL_SUCCESS, whole, wholeRows.fetch(SQL_FETCH_LAST));
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, writer.execute("delete from t where current of C2"));
  EXPECT_EQ(catalogText(41), writer.states());
  EXPECT_EQ("1", conn().value("select count(*) from t"));
}

TEST_P(DataSource, ReadsLongValuesInPieces) {
  fill(3);
  conn().run("update t set note = '" + std::string(2500, 'a') + std::string(2500, 'b') + "' where id = 2");
  OdbcStatement stmt(conn());
  stmt.makeScrollable();
  Rowset rows(stmt, 3);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name, note from t order by id"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_FIRST));

  // Twice, with the cursor elsewhere between.
  for (int round = 0; round < 2; ++round) {
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE));
    std::string note;
    char piece[601];
    SQLLEN left = 0;
    SQLRETURN rc = SQL_SUCCESS_WITH_INFO;
    for (int pieces = 0; rc == SQL_SUCCESS_WITH_INFO && pieces < 100; ++pieces) {
      rc = SQLGetData(stmt, 3, SQL_C_CHAR, piece, sizeof piece, &left);
      ASSERT_TRUE(SQL_SUCCEEDED(rc)) << stmt.why();
      EXPECT_EQ(rc == SQL_SUCCESS_WITH_INFO ? "01004" : "", stmt.states());
      note += piece;
    }
    EXPECT_EQ(std::string(2500, 'a') + std::string(2500, 'b'), note);
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 3, SQL_POSITION, SQL_LOCK_NO_CHANGE));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetData(stmt, 3, SQL_C_CHAR, piece, sizeof piece, &left));
    EXPECT_EQ(SQL_NULL_DATA, left);
  }
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, 2));
  EXPECT_EQ(rowTexts(2, 3), rows.text());
}

}  // namespace
