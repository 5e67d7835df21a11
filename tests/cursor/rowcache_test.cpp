// The row cache and its private file: spilling and coming back, updates to evicted rows, rows that are
// pinned, rows longer than a block, and a file that cannot be made, written or read.

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <random>

#include "gmock/gmock.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/scripted_fixture.h"
#include "zulib/cursor/internal/messages.h"

namespace {

constexpr int kRows = 3000;  // of some 90 bytes: several times the memory of the cache
constexpr int kSize = 20;

class RowCacheTest : public ScriptedTest {
 protected:
  RowCacheTest() : setting("ODBCTMPDIR", scratch.path().c_str()) {
    script.answers["select"] = scriptedRows(kRows);
    stmt.makeScrollable(kSize);
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.setName("c"));
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
  }
  ~RowCacheTest() override { EXPECT_TRUE(scratch.files().empty()); }

  void expectAt(SQLLEN row) {
    EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, row));
    EXPECT_EQ(rowTexts(static_cast<int>(row), static_cast<int>(row + kSize - 1)), rows.text());
  }
  void expectError(SQLLEN row, int message) {
    EXPECT_SQL(SQL_ERROR, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, row));
    EXPECT_THAT(stmt.why(), testing::HasSubstr(catalogText(message)));
  }
  void expectUsable() {
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
    expectAt(kRows - kSize + 1);
    expectAt(1);
  }

  // The private file, which has no name, as the process has it open.
  std::string file() const {
    const std::unique_ptr<DIR, int (*)(DIR*)> fds(opendir("/proc/self/fd"), closedir);
    while (const dirent* entry = readdir(fds.get())) {
      const std::string path = std::string("/proc/self/fd/") + entry->d_name;
      char target[1024] = "";
      if (readlink(path.c_str(), target, sizeof target - 1) > 0 &&
          std::string(target).starts_with(scratch.path() + "/CTT"))
        return path;
    }
    return "no file is open";
  }

  ScratchDirectory scratch;
  EnvironmentSetting setting;
  OdbcStatement stmt{conn};
  Rowset rows{stmt, kSize};
};

// Limits the size of files for a scope; with a signal that would end the program.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t size) {
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit tight{size, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &tight);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before); }

 private:
  rlimit before;
};

TEST_F(RowCacheTest, GoesBackToTheSameRows) {
  std::mt19937 random(1);
  for (SQLLEN last = 100; last <= kRows; last += 290)  // the tail is evicted and appended to again
    for (int i = 0; i < 20; ++i) expectAt(1 + static_cast<SQLLEN>(random()) % (last - kSize));
  EXPECT_TRUE(scratch.files().empty());
  struct stat facts {};
  ASSERT_EQ(0, stat(file().c_str(), &facts));
  EXPECT_EQ(0600u, facts.st_mode & 0777);
  EXPECT_EQ(0u, facts.st_nlink);
  EXPECT_EQ(0, facts.st_size % 4096);
  EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_LAST));
  EXPECT_EQ(kRows + 1, script.count("SQLFetch"));  // the driver only moves forward
}

TEST_F(RowCacheTest, ARowLongerThanABlock) {
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

// The driver reads the search values when the data have come; the cursor has gone through its whole file by
// then, without more memory than before.
TEST_F(RowCacheTest, ARowThatIsPinnedStaysAndTheOthersGo) {
  OdbcStatement change(conn);
  expectAt(3);
  char value[8] = "later";
  SQLLEN length = SQL_DATA_AT_EXEC;
  SQLBindParameter(change, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 8, 0, value, 8, &length);
  EXPECT_SQL(SQL_NEED_DATA, change, change.execute("update t set name = ? where current of c"));
  SQLPOINTER token;
  EXPECT_SQL(SQL_NEED_DATA, change, SQLParamData(change, &token));
  expectAt(kRows - kSize + 1);
  {
    FaultAllocator faults;
    faults.failFrom(1);  // all blocks that there will be are there
    for (SQLLEN row = 1; row < kRows - kSize; row += 401)
      ASSERT_EQ(SQL_SUCCESS, rows.fetch(SQL_FETCH_ABSOLUTE, row));
    rows.fetch(SQL_FETCH_ABSOLUTE, 3);
  }
  EXPECT_SQL(SQL_SUCCESS, change, SQLPutData(change, value, SQL_NTS));
  EXPECT_SQL(SQL_SUCCESS, change, SQLParamData(change, &token));
  EXPECT_EQ((std::vector<std::string>{"later", "3", "row 3"}), script.executed().back().parameters);
}

TEST_F(RowCacheTest, NoDirectoryForTheFile) {
  {
    const EnvironmentSetting missing("ODBCTMPDIR", (scratch.path() + "/missing").c_str());
    expectError(1, clmsg::TempFileCreate);
  }
  expectAt(1);  // the set-up is tried again
  expectUsable();
}

// Nothing is lost while the disk is full: rows on file and in memory can be read, and the row that could not
// be stored comes again.
TEST_F(RowCacheTest, TheDiskIsFull) {
  expectAt(kRows / 2);
  for (SQLLEN row = 1; row < kRows / 2; row += kSize) expectAt(row);
  {
    const FileSizeLimit limit(40000);
    expectError(kRows - kSize + 1, clmsg::TempFileWrite);
    for (SQLLEN row = 1; row < kRows / 2; row += kSize) expectAt(row);
  }
  for (SQLLEN row = 1; row < kRows; row += kSize) expectAt(row);
  expectUsable();
}

TEST_F(RowCacheTest, TheFileIsCutOrChanged) {
  expectAt(kRows - kSize + 1);
  const int fd = open(file().c_str(), O_RDWR);
  ASSERT_NE(-1, fd);
  char byte = 0;
  ASSERT_EQ(1, pread(fd, &byte, 1, 3000));
  byte = static_cast<char>(byte ^ 1);
  ASSERT_EQ(1, pwrite(fd, &byte, 1, 3000));  // in the first block
  expectError(20, clmsg::TempFileRead);
  ASSERT_EQ(0, ftruncate(fd, 9000));
  close(fd);
  expectError(700, clmsg::TempFileRead);
  expectAt(kRows - kSize + 1);  // what is in memory is still there
  expectError(900, clmsg::TempFileRead);
  expectUsable();
}

}  // namespace
