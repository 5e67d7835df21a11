// The row cache: spilling, coming back, updates to evicted rows, rows longer than a block, and a temporary
// file that fails.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>
#include <random>

#include "tests/cursor/entry_fixture.h"

namespace {

constexpr int ROWS = 3000;  // of 72 bytes and more: several times the memory of the cache

class ScrollCache : public EntryTest {
 protected:
  ScrollCache() : setting("ODBCTMPDIR", scratch.path().c_str()) {
    script.answers["select"] = scriptedRows(ROWS);
    stmt.makeScrollable(SIZE);
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
  }

  std::string file() const {
    const std::vector<std::string> files = scratch.files();
    return files.size() == 1 ? scratch.path() + "/" + files[0] : "not one file";
  }

  // A row set out of the file, which takes the blocks in memory out of it.
  void expectAt(SQLLEN row) {
    EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, row));
    EXPECT_EQ(rowTexts(static_cast<int>(row), static_cast<int>(row + SIZE - 1)), rows.text());
  }

  static constexpr int SIZE = 20;
  ScratchDirectory scratch;
  EnvironmentSetting setting;
  OdbcStatement stmt{conn};
  Rowset rows{stmt, SIZE};
};

TEST_F(ScrollCache, GoesBackToTheSameRows) {
  expectAt(ROWS - SIZE + 1);
  std::mt19937 random(1);
  for (int i = 0; i < 200; ++i) expectAt(1 + static_cast<SQLLEN>(random() % (ROWS - SIZE)));
  EXPECT_EQ(ROWS,
            script.count("SQLFetch"));  // the driver only ever moves forward, and was not yet at its end
  EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_LAST));
  EXPECT_EQ(rowTexts(ROWS - SIZE + 1, ROWS), rows.text());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  EXPECT_TRUE(scratch.files().empty());
}

TEST_F(ScrollCache, AppendsToATailThatWasEvicted) {
  for (SQLLEN last = 100; last <= ROWS; last += 370) {
    expectAt(last);
    for (SQLLEN row = 1; row < last - SIZE; row += 101) expectAt(row);
  }
}

TEST_F(ScrollCache, KeepsUpdatesToEvictedRows) {
  OdbcStatement change(conn);
  expectAt(ROWS - SIZE + 1);
  for (const SQLLEN row : {5, 1500, 2900}) {
    expectAt(row);
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE));
    rows.setName(1, row == 1500 ? nullptr : "changed");
    ASSERT_SQL(SQL_SUCCESS, change, change.execute("update t set name = ? where current of c"));
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 4, SQL_POSITION, SQL_LOCK_NO_CHANGE));
    ASSERT_SQL(SQL_SUCCESS, change, change.execute("delete from t where current of c"));
  }
  for (SQLLEN row = 1; row < ROWS - SIZE; row += 301) rows.fetch(SQL_FETCH_ABSOLUTE, row);
  for (const SQLLEN row : {5, 1500, 2900}) {
    const int first = static_cast<int>(row);
    EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, row));
    const std::string name = row == 1500 ? "null" : "changed";
    EXPECT_EQ(rowTexts(first, first) + " " + std::to_string(row + 1) + ":" + name + "+ " +
                  rowTexts(first + 2, first + 2) + " " + rowTexts(first + 3, first + 3) + "- " +
                  rowTexts(first + 4, first + SIZE - 1),
              rows.text());
  }
}

TEST_F(ScrollCache, ARowLongerThanABlock) {
  const SQLLEN wide = 70000;
  std::vector<char> names(static_cast<size_t>(2 * wide));
  SQLLEN lengths[2];
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, nullptr, 0, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 2, SQL_C_CHAR, names.data(), wide, lengths));
  stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, 2);
  for (const SQLLEN row : {1, 40, 7, 39, 1}) {
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_ABSOLUTE, row));
    EXPECT_EQ("row " + std::to_string(row), names.data());
    EXPECT_EQ("row " + std::to_string(row + 1), &names[static_cast<size_t>(wide)]);
  }
}

TEST_F(ScrollCache, NoDirectoryForTheFile) {
  const EnvironmentSetting missing("ODBCTMPDIR", (scratch.path() + "/missing").c_str());
  EXPECT_SQL(SQL_ERROR, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_NE(std::string::npos, stmt.why().find(catalogText(120)));
  {
    const EnvironmentSetting there("ODBCTMPDIR", scratch.path().c_str());
    expectAt(1);  // the set-up is taken up again
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 1, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  }
}

// Nothing is lost when the disk is full for a while: the row that could not be stored comes again.
TEST_F(ScrollCache, TheDiskIsFull) {
  expectAt(1);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit tight{30000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &tight);
  EXPECT_SQL(SQL_ERROR, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, ROWS - SIZE + 1));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_NE(std::string::npos, stmt.why().find(catalogText(128)));
  for (SQLLEN row = 1; row < ROWS; row += SIZE) expectAt(row);
}

TEST_F(ScrollCache, TheFileIsCutShort) {
  expectAt(ROWS - SIZE + 1);
  ASSERT_EQ(0, truncate(file().c_str(), 5000));
  EXPECT_SQL(SQL_ERROR, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, 700));
  EXPECT_NE(std::string::npos, stmt.why().find(catalogText(124)));
  // Rows of other blocks follow as zeros, which is not taken for rows.
  EXPECT_SQL(SQL_ERROR, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, 900));
  EXPECT_NE(std::string::npos, stmt.why().find(catalogText(124)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
  expectAt(1000);
}

TEST_F(ScrollCache, TheFileIsRemovedBySomeoneElse) {
  expectAt(1);
  ASSERT_EQ(0, unlink(file().c_str()));
  expectAt(ROWS - SIZE + 1);
  expectAt(7);
  EXPECT_SQL(SQL_ERROR, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
  EXPECT_NE(std::string::npos, stmt.why().find(catalogText(132)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));  // the cursor is gone all the same
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
  expectAt(7);
}

}  // namespace
