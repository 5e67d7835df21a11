// The temporary file of a scrollable cursor: whole counts or an exception, and no signal.

#include "zulib/cursor/rows/cfile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstring>

#include "tests/support/odbc_fixture.h"

namespace {

class CFileTest : public testing::Test {
 protected:
  CFileTest() {
    const EnvironmentSetting setting("ODBCTMPDIR", scratch.path().c_str());
    GetTempFileName("/nowhere", "CTT", 7, name, sizeof name);
  }

  ScratchDirectory scratch;
  char name[1024];
};

TEST_F(CFileTest, IsMadeForItsOwnerAloneUnderTheStatedName) {
  CFile file(name);
  const std::string made(name);
  EXPECT_EQ(scratch.path() + "/CTT", made.substr(0, made.size() - 6));
  EXPECT_EQ(std::string::npos, made.find("XXXXXX"));
  struct stat facts;
  ASSERT_EQ(0, stat(name, &facts));
  EXPECT_EQ(0600u, facts.st_mode & 07777);
  CFile::fileRemove(name);
  EXPECT_THROW(CFile::fileRemove(name), CFileException);
}

TEST_F(CFileTest, MovesWholeCountsAnywhere) {
  CFile file(name);
  char bytes[8] = "abcdefg", read[8] = "";
  const off_t far = off_t{5} << 30;  // a hole of more than 4 GB costs nothing
  file.fileSeek(far, SEEK_SET);
  file.fileWrite(bytes, sizeof bytes);
  EXPECT_EQ(far + 8, file.position);
  file.fileSeek(-8, SEEK_END);
  file.fileRead(read, sizeof read);
  EXPECT_STREQ(bytes, read);
  file.fileSeek(-4, SEEK_CUR);
  EXPECT_THROW(file.fileRead(read, sizeof read), CFileException);
  EXPECT_THROW(file.fileSeek(-1, SEEK_SET), CFileException);
  EXPECT_EQ(far + 4, file.position);
  file.fileClose();
  EXPECT_THROW(file.fileWrite(bytes, 1), CFileException);
}

TEST_F(CFileTest, StopsAtTheFileSizeLimitWithoutASignal) {
  CFile file(name);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit tight{8, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &tight);
  EXPECT_NO_THROW(file.fileWrite("12345678", 8));
  EXPECT_THROW(file.fileWrite("9", 1), CFileException);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_NO_THROW(file.fileWrite("9", 1));
}

TEST(CFileNames, OpensAndRefuses) {
  EXPECT_THROW(CFile("/nowhere/at/all", O_RDWR | O_CREAT), CFileException);
  char name[20];
  {
    const EnvironmentSetting setting("ODBCTMPDIR", "");  // like unset
    GetTempFileName(nullptr, "CTT", 0, name, sizeof name);
    EXPECT_STREQ("/tmp/CTTXXXXXX", name);
    EXPECT_THROW(GetTempFileName(nullptr, "CTT", 0, name, strlen(name)), CFileException);
  }
}

}  // namespace
