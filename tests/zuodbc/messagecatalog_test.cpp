// Where the driver manager finds the cursor library's messages. Each case runs in a process of its own, since
// a process looks for its catalog once.

#include "zuodbc/call/messagecatalog.h"

#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/odbc_fixture.h"

namespace {

std::string message(unsigned short number) {
  char text[dm::kMessageTextSize];
  char state[6];
  dm::readMessage(number, text, sizeof text, state);
  return std::string(state) + " " + text;
}

// Ends a process that has this environment.
[[noreturn]] void exitWhetherMessageIs(const std::string& expected) {
  std::exit(message(64) == expected ? 0 : 1);
}

class MessageCatalog : public testing::Test {
 protected:
  MessageCatalog() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char* variable : {"LC_MESSAGES", "LANG"}) unsetenv(variable);
  }

  // A directory with a catalog of two texts, in Latin.
  std::string latin() const {
    const std::string place = scratch.path() + "/own/locale/en_US/LC_MESSAGES";
    std::filesystem::create_directories(place);
    std::ofstream(scratch.path() + "/odbc.msg")
        << "$set 1\n64 Nihil est.\n65 34000\n136 Plenum est.\n137 HY001\n";
    EXPECT_EQ(std::system(("gencat " + place + "/odbc.m " + scratch.path() + "/odbc.msg").c_str()), 0);
    return scratch.path() + "/own";
  }
  void write(const char* file, const std::string& installDir) const {
    std::ofstream(scratch.path() + "/" + file) << "[ODBC]\nInstallDir = " << installDir << "\n";
  }

  const ScratchDirectory scratch;
  const EnvironmentSetting system{"ODBCSYSINI", scratch.path().c_str()};
  const EnvironmentSetting user{"ODBCINI", (scratch.path() + "/odbc.ini").c_str()};
};

TEST_F(MessageCatalog, BesideTheLibraryInTheUsersLanguage) {
  EXPECT_EXIT(exitWhetherMessageIs("34000 No statement of this connection has a cursor of this name."),
              testing::ExitedWithCode(0), "");
  const EnvironmentSetting german("LANG", "de_DE.UTF-8");
  EXPECT_EXIT(exitWhetherMessageIs("34000 Keine Anweisung dieser Verbindung hat einen Cursor dieses Namens."),
              testing::ExitedWithCode(0), "");
}

TEST_F(MessageCatalog, ProfileFilesNameAnotherDirectory) {
  const EnvironmentSetting german("LANG", "de_DE.UTF-8");
  write("odbcinst.ini", latin() + "/");
  EXPECT_EXIT(exitWhetherMessageIs("34000 Nihil est."), testing::ExitedWithCode(0), "");
  write("odbc.ini", scratch.path() + "/none");
  EXPECT_EXIT(exitWhetherMessageIs("HY000 64"), testing::ExitedWithCode(0), "")
      << "the user's file wins, and without a catalog the number is the text";
}

// No profile is read for it, so it looks for no catalog; one that is open is used.
TEST_F(MessageCatalog, OutOfMemoryNeedsNoCatalog) {
  write("odbc.ini", latin());
  const auto steps = [] {
    const bool before = message(136) == "HY001 Memory allocation error";
    dm::openMessages();
    std::exit(before && message(136) == "HY001 Plenum est." ? 0 : 1);
  };
  EXPECT_EXIT(steps(), testing::ExitedWithCode(0), "");
}

TEST_F(MessageCatalog, AFailedOpenIsTriedAgain) {
  write("odbc.ini", latin());
  const auto steps = [] {
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const bool withoutDescriptor = message(64) == "HY000 64";
    setrlimit(RLIMIT_NOFILE, &limit);
    std::exit(withoutDescriptor && message(64) == "34000 Nihil est." ? 0 : 1);
  };
  EXPECT_EXIT(steps(), testing::ExitedWithCode(0), "");
}

}  // namespace
