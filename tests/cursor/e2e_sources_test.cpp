// Scrolling, positioned statements and long values over real data sources: SQLite, PostgreSQL,
// and PostgreSQL as a forward-only stream, whose result comes in portions.

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
  constexpr int kCount = 3000;
  fill(kCount);
  OdbcStatement stmt(conn());
  stmt.makeScrollable();
  Rowset rows(stmt, 10, 200);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t order by id"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_LAST));
  for (int first = 1; first < kCount; first += 173) {
    ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, -first - 9));
    ASSERT_EQ(rowTexts(kCount - first - 8, kCount - first + 1), rows.text());
  }
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

  // Rows that are equal in all columns are touched together, which is told.
  conn().run("insert into t values (1, 'row 1', null)");
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 1, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  EXPECT_EQ("01001", warning(eraser, eraser.execute("delete from t where current of C1")));
}

TEST_P(DataSource, ReadsLongValuesInPieces) {
  fill(3);
  const std::string whole = std::string(2500, 'a') + std::string(2500, 'b');
  conn().run("update t set note = '" + whole + "' where id = 2");
  OdbcStatement stmt(conn());
  stmt.makeScrollable();
  Rowset rows(stmt, 3);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name, note from t order by id"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_FIRST));
  for (int round = 0; round < 2; ++round) {  // with the cursor elsewhere between
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE));
    std::string note;
    char piece[601];
    SQLLEN left = 0;
    SQLRETURN rc = SQL_SUCCESS_WITH_INFO;
    while (rc == SQL_SUCCESS_WITH_INFO && note.size() < whole.size()) {
      rc = SQLGetData(stmt, 3, SQL_C_CHAR, piece, sizeof piece, &left);
      ASSERT_TRUE(SQL_SUCCEEDED(rc)) << stmt.why();
      note += piece;
    }
    EXPECT_EQ(whole, note);
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 3, SQL_POSITION, SQL_LOCK_NO_CHANGE));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetData(stmt, 3, SQL_C_CHAR, piece, sizeof piece, &left));
    EXPECT_EQ(SQL_NULL_DATA, left);
  }
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, 2));
  EXPECT_EQ(rowTexts(2, 3), rows.text());
}

}  // namespace
