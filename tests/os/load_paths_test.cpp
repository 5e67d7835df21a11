// Files and libraries along lists of directories: the order of the lists, the parent directory, absolute,
// relative and impossible names, what the loader reports, and a process that must not follow the environment.

#include "zulib/os/loading/bosload.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/auxv.h>

#include "tests/os/support.h"
#include "tests/support/fault_allocator.h"
#include "zulib/codepages/ucnvconv.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/files/bospath.h"

namespace {

using namespace ostest;

constexpr unsigned long kEverywhere =
    bosLocateCurrent | bosLocateHome | bosLocateLibrary | bosLocateLoadPath | bosLocateCommandPath;

// What bosLocateFile finds; "" for nothing.
std::string locate(const std::string& name, unsigned long flags) {
  unsigned char out[bosPathSize];
  std::fill(std::begin(out), std::end(out), 'x');
  const int result = bosLocateFile(out, bytes(name), flags);
  EXPECT_EQ(result, bosLocateFile(nullptr, bytes(name), flags));
  EXPECT_EQ(result, out[0] ? 0 : 1);
  return text(out);
}

// Directories of every kind, each below one of its own so that no two have the same directory above.
class LoadPaths : public OsTest {
 protected:
  LoadPaths() {
    set("HOME", d("home").c_str());
    set("ZU", (d("zu1") + ":" + d("zu2") + "/").c_str());
    set("ZULIB", d("zulib").c_str());
    set("LD_LIBRARY_PATH", (":" + d("load1") + "::" + d("load2") + ":").c_str());
    set("LD_RUN_PATH", d("run").c_str());
    set("PATH", d("command").c_str());
    fs::current_path(d("current"));
  }

  std::string d(const char* name) const {
    fs::create_directories(path(name) + "/d");
    return path(name) + "/d";
  }
  std::string make(const std::string& name, const std::string& content = "") const {
    writeFile(path(name), content);
    return path(name);
  }
};

TEST_F(LoadPaths, DirectoriesHaveTheirOrder) {
  const char* const order[] = {"current", "home", "zu1", "zu2", "zulib", "load1", "load2", "run", "command"};
  for (const char* name : order) make(std::string(name) + "/d/wanted");
  for (const char* name : order) {
    const std::string expected = path(std::string(name) + "/d/wanted");
    const std::string found = locate("wanted", kEverywhere);
    EXPECT_TRUE(fs::equivalent(found, expected)) << found << " is not " << expected;
    EXPECT_EQ(found.find("//"), std::string::npos) << found;
    fs::remove(expected);
  }
  EXPECT_EQ(locate("wanted", kEverywhere), "");

  // Each flag looks in its own directories only.
  for (const char* name : order) make(std::string(name) + "/d/wanted");
  EXPECT_EQ(locate("elsewhere/../wanted", 0), "");
  fs::current_path("/");
  EXPECT_EQ(locate("wanted", 0), "");
  EXPECT_EQ(locate("wanted", bosLocateHome), d("home") + "/wanted");
  EXPECT_EQ(locate("wanted", bosLocateLibrary), d("zu1") + "/wanted");
  EXPECT_EQ(locate("wanted", bosLocateLoadPath), d("load1") + "/wanted");
  EXPECT_EQ(locate("wanted", bosLocateCommandPath | bosLocateLibrary), d("zu1") + "/wanted");
  EXPECT_EQ(locate("wanted", bosLocateCommandPath), d("command") + "/wanted");
}

TEST_F(LoadPaths, TheDirectoryAboveIsSearchedToo) {
  make("load2/above");
  EXPECT_EQ(locate("above", bosLocateLoadPath), d("load2") + "/../above");
  make("home/above");
  EXPECT_EQ(locate("above", bosLocateHome), "");
  EXPECT_EQ(locate("above", bosLocateHome | bosLocateLoadPath), d("home") + "/../above") << "any directory";
}

TEST_F(LoadPaths, NamesThatStandOrCannotStand) {
  make("current/d/here");
  make("home/d/here");
  EXPECT_EQ(locate("here", bosLocateHome), "here") << "relative";
  EXPECT_EQ(locate(path("current/d/here"), 0), path("current/d/here"));
  fs::create_directory(path("home/d/folder"));
  EXPECT_EQ(locate("folder", kEverywhere), "") << "a directory";
  EXPECT_EQ(locate("", kEverywhere), "");
  set("HOME", (std::string(3000, 'h') + ":" + d("home")).c_str());
  fs::current_path("/");
  EXPECT_EQ(locate("here", bosLocateHome), d("home") + "/here") << "after a directory that is no path";
  EXPECT_EQ(locate(std::string(bosPathSize - 2, 'n'), kEverywhere), "");
  EXPECT_EQ(locate(std::string(100000, 'n'), kEverywhere), "");
}

TEST_F(LoadPaths, WithoutMemoryNothingIsFound) {
  const std::string path = make("command/d/wanted");
  const auto swept = sweepAllocations([&](FaultAllocator& faults) {
    unsigned char out[bosPathSize] = "before";
    const int result = bosLocateFile(out, bytes("wanted"), kEverywhere);
    const bool failed = faults.triggered();
    const FaultPause pause;
    EXPECT_EQ(text(out), failed ? "" : path);
    EXPECT_EQ(result, failed ? 1 : 0);
    return result == 0;
  });
  EXPECT_EQ(swept, 8u) << "one for each directory or list of them";
}

constexpr int kNotSecure = 77;

// The other half of the next test, in a process that has another user's rights.
TEST(SecureEnvironment, DISABLED_InTheOtherProcess) {
  if (!getauxval(AT_SECURE)) _exit(kNotSecure);
  unsigned char name[bosPathSize] = ".odbc.ini";
  int handle = 0;
  if (bosFileOpen(name, bosOpenMapSpecial, &handle) == 0) _exit(1);
  if (!locate("planted", kEverywhere & ~bosLocateCurrent).empty()) _exit(2);
  unsigned char home[bosPathSize] = "planted";
  if (boshpath(home) != 0 || text(home) != "/usr/planted") _exit(3);
  const IniInitialize profiles;
  if (ucnvGetAppCodePageFromDSN(nullptr) != 4) _exit(4);
  if (bosFileOpen(name, bosOpenTemporary, &handle) != 0) _exit(5);
  unlink(reinterpret_cast<const char*>(name));
  _exit(text(name).rfind("/tmp/zu", 0) == 0 && text(name).find('/', 5) == std::string::npos ? 0 : 6);
}

TEST_F(LoadPaths, AProcessWithAnotherUsersRightsFollowsNoVariables) {
  const std::string planted = d("planted");
  make("planted/d/planted");
  make("planted/d/.odbc.ini", "[ODBC]\nIANAAppCodePage=106\n");
  for (const char* variable :
       {"HOME", "ZU", "ZULIB", "LD_LIBRARY_PATH", "LD_RUN_PATH", "PATH", "TMPDIR", "ZU_TMPDIR"})
    set(variable, planted.c_str());
  for (const char* variable : {"ODBCINI", "ODBC_INI"}) set(variable, (planted + "/.odbc.ini").c_str());
  fs::copy_file("/proc/self/exe", path("program"));
  ASSERT_EQ(chown(path("program").c_str(), 65534, 65534), 0);
  fs::permissions(path("program"), fs::perms(04755));
  fs::permissions(planted, fs::perms(0777));
  const int result = inOtherProcess([&] {
    fs::current_path("/usr");
    execl(path("program").c_str(), "program", "--gtest_also_run_disabled_tests",
          "--gtest_filter=SecureEnvironment.*", nullptr);
    return 99;
  });
  if (result == kNotSecure) GTEST_SKIP() << "the file system ignores the set-user-ID bit";
  EXPECT_EQ(result, 0);
}

TEST(LoadLists, AListGrowsByOneDirectory) {
  unsigned char* list = appendPath(nullptr, bytes("/a"));
  list = appendPath(list, nullptr);
  list = appendPath(list, bytes(""));
  list = appendPath(list, bytes("b c"));
  EXPECT_EQ(text(list), "/a::b c:");
  free(list);
  EXPECT_EQ(appendPath(nullptr, nullptr), nullptr);
}

// Libraries under several names: a real one, and a file that is none.
class LoadLibraries : public LoadPaths {
 protected:
  void provide(const std::string& name) const {
    const auto build = fs::read_symlink("/proc/self/exe").parent_path().parent_path();
    fs::copy_file(build / "lib/scripted/libscripted3.so", path(name));
  }
  // Where the library lies that was loaded; "" when none was.
  std::string load(const char* name, int addVersion) const {
    void* library = bosLoadLibrary(bytes(name), addVersion);
    if (!library) return "";
    Dl_info info{};
    EXPECT_TRUE(dladdr(dlsym(library, "SQLFetch"), &info));
    const std::string path = info.dli_fname;
    dlclose(library);
    return path;
  }
};

TEST_F(LoadLibraries, NamesAreCompletedAndFound) {
  for (const char* name : {"zulib/d/libone.so", "zulib/d/libone22.so", "load2/libtwo.so.1"}) provide(name);
  EXPECT_EQ(load("libone", 0), d("zulib") + "/libone.so");
  EXPECT_EQ(load("libone.so", 0), d("zulib") + "/libone.so");
  EXPECT_EQ(load("libone \t", 1), d("zulib") + "/libone22.so");
  EXPECT_EQ(load("libtwo.so.1", 0), d("load2") + "/../libtwo.so.1");
  void* wide = bosLoadLibrary(units(u"libone"), 1);
  ASSERT_TRUE(wide);
  dlclose(wide);

  // What is not there is no error yet: a caller may know another name.
  EXPECT_EQ(load("libtwo.so.1", 1), "");
  EXPECT_EQ(load("libnone", 0), "");
  EXPECT_FALSE(bosLoadLibrary(units(u"lib\u4e00"), 0));
  EXPECT_EQ(errors.take(), "");
}

TEST_F(LoadLibraries, TheLoadersWordsStandInTheError) {
  const std::string bad = make("zulib/d/libtext.so", std::string(500, 'x'));
  EXPECT_EQ(load("libtext", 0), "");
  const std::string words = errors.take();
  EXPECT_EQ(words.rfind("1523: " + bad + "|", 0), 0u) << words;
  EXPECT_NE(words.find("invalid ELF header"), std::string::npos) << words;

  EXPECT_FALSE(bosLoadLibrary(bytes(std::string(bosPathSize - 4, 'n')), 1));
  EXPECT_EQ(errors.take().substr(0, 5), "30041");
}

}  // namespace
