// The private file of a scrollable cursor, and what becomes of a statement when the file cannot be made,
// written, read or removed.

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"
#include "zulib/cursor/entry/messages.h"

namespace {

class TemporaryFile : public testing::Test {
 protected:
  // Rows of some 200 bytes, so many that most of them lie in the file.
  static constexpr int ROWS = 2000;
  static constexpr int SIZE = 5;

  TemporaryFile() : driver(ScriptedVariant::Odbc3, script), connection(SQL_CUR_USE_ODBC) {
    script.answers["select"] = scriptedRows(ROWS);
  }

  void SetUp() override {
    ASSERT_SQL(SQL_SUCCESS, connection, connection.connect(driver.connectionString()));
    stmt = std::make_unique<OdbcStatement>(connection);
    stmt->makeScrollable();
    rows = std::make_unique<Rowset>(*stmt, SIZE, 200);
    ASSERT_SQL(SQL_SUCCESS, *stmt, stmt->execute("select id, name from t"));
  }

  void TearDown() override {
    stmt.reset();
    EXPECT_TRUE(directory.files().empty());
  }

  // The last call answered SQL_ERROR with this message of the cursor library.
  void expectError(int number) {
    EXPECT_NE(std::string::npos, stmt->why().find(catalogText(number + 1) + ": ")) << stmt->why();
    EXPECT_NE(std::string::npos, stmt->why().find(catalogText(number))) << stmt->why();
  }

  void expectScrolls() {
    EXPECT_SQL(SQL_SUCCESS, *stmt, rows->fetch(SQL_FETCH_LAST));
    EXPECT_EQ(rowTexts(ROWS - SIZE + 1, ROWS), rows->text());
    EXPECT_SQL(SQL_SUCCESS, *stmt, rows->fetch(SQL_FETCH_FIRST));
    EXPECT_EQ(rowTexts(1, SIZE), rows->text());
  }

  // The statement runs its query anew.
  void expectUsable() {
    EXPECT_SQL(SQL_SUCCESS, *stmt, SQLFreeStmt(*stmt, SQL_CLOSE));
    ASSERT_SQL(SQL_SUCCESS, *stmt, stmt->execute("select id, name from t"));
    expectScrolls();
  }

  std::string file() const { return directory.path() + "/" + directory.files().at(0); }

  ScratchDirectory directory;
  EnvironmentSetting place{"ODBCTMPDIR", directory.path().c_str()};
  DriverScript script;
  ScriptedDriver driver;
  OdbcConnection connection;
  std::unique_ptr<OdbcStatement> stmt;
  std::unique_ptr<Rowset> rows;
};

TEST_F(TemporaryFile, HasNoDirectory) {
  {
    const EnvironmentSetting nowhere("ODBCTMPDIR", (directory.path() + "/none").c_str());
    EXPECT_EQ(SQL_ERROR, rows->fetch(SQL_FETCH_FIRST));
    expectError(clmsg::TempFileCreate);
  }
  // The same result, once there is a place for the file.
  expectScrolls();
  expectUsable();
}

TEST_F(TemporaryFile, HasNoRoom) {
  const auto before = std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
  rlimit small = limit;
  small.rlim_cur = 20000;
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  const SQLRETURN rc = rows->fetch(SQL_FETCH_LAST);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, before);
  EXPECT_EQ(SQL_ERROR, rc);
  expectError(clmsg::TempFileWrite);
  expectUsable();
}

TEST_F(TemporaryFile, IsCutShort) {
  ASSERT_SQL(SQL_SUCCESS, *stmt, rows->fetch(SQL_FETCH_LAST));
  ASSERT_EQ(0, truncate(file().c_str(), 100));
  EXPECT_EQ(SQL_ERROR, rows->fetch(SQL_FETCH_FIRST));
  expectError(clmsg::TempFileRead);

  // What is in memory is still there.
  EXPECT_SQL(SQL_SUCCESS, *stmt, rows->fetch(SQL_FETCH_ABSOLUTE, ROWS - SIZE + 1));
  EXPECT_EQ(rowTexts(ROWS - SIZE + 1, ROWS), rows->text());
  expectUsable();
}

TEST_F(TemporaryFile, IsRemovedBySomeoneElse) {
  ASSERT_SQL(SQL_SUCCESS, *stmt, rows->fetch(SQL_FETCH_LAST));
  ASSERT_EQ(0, unlink(file().c_str()));
  EXPECT_SQL(SQL_SUCCESS, *stmt, rows->fetch(SQL_FETCH_FIRST));
  EXPECT_EQ(rowTexts(1, SIZE), rows->text());
  EXPECT_EQ(SQL_ERROR, SQLFreeStmt(*stmt, SQL_CLOSE));
  expectError(clmsg::TempFileClose);
  expectUsable();
}

// Two cursors at once have a file each, also when their names are made at the same moment.
TEST_F(TemporaryFile, BelongsToOneCursor) {
  OdbcStatement other(connection);
  other.makeScrollable();
  Rowset otherRows(other, SIZE, 200);
  ASSERT_SQL(SQL_SUCCESS, other, other.execute("select id, name from t"));
  expectScrolls();
  EXPECT_SQL(SQL_SUCCESS, other, otherRows.fetch(SQL_FETCH_FIRST));
  EXPECT_EQ(2u, directory.files().size());
  EXPECT_SQL(SQL_SUCCESS, other, SQLCloseCursor(other));
  EXPECT_EQ(1u, directory.files().size());
  expectScrolls();
}

}  // namespace
