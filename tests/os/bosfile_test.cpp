// Files against the real file system: which name is opened, how, under which lock, and what fails with which
// error.

#include "zulib/os/files/bosfile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <random>
#include <vector>

#include "tests/os/support.h"
#include "tests/support/fault_allocator.h"

using namespace ostest;

namespace {

constexpr uid_t kNobody = 65534;

class BosFile : public OsTest {
 protected:
  // Opens by a name in a buffer, which shows what it was changed to. Returns the handle, -1 on failure.
  int open(const std::string& name, unsigned long mode) {
    std::copy(name.begin(), name.end(), buffer);
    buffer[name.size()] = 0;
    int handle = -7;
    if (bosFileOpen(buffer, mode, &handle) == 0) return handle;
    EXPECT_EQ(handle, -7);
    EXPECT_EQ(ostest::text(buffer), name) << "a failure leaves the name";
    return -1;
  }
  // Opens, closes, and returns the name or the errors.
  std::string opened(const std::string& name, unsigned long mode) {
    const int handle = open(name, mode);
    if (handle < 0) return "error " + errors.take();
    EXPECT_EQ(bosFileClose(handle), 0);
    return ostest::text(buffer);
  }

  unsigned char buffer[bosPathSize] = "";
};

TEST_F(BosFile, ModesDecideWhatIsMade) {
  const std::string file = path("f");
  EXPECT_EQ(opened(file, 0), "error 1509: " + file);
  EXPECT_EQ(opened(file, bosOpenReadWrite), "error 1509: " + file);
  EXPECT_EQ(opened(file, bosOpenCreateIfMissing | bosOpenReadWrite), file);
  EXPECT_EQ(opened(file, bosOpenCreate | bosOpenExclusive), "error 1520: " + file);
  writeFile(file, "kept");
  EXPECT_EQ(opened(file, bosOpenCreate), file);
  EXPECT_EQ(readFile(file), "kept");

  int handle = open(file, 0);
  EXPECT_EQ(bosFileWrite(handle, 0, "x", 1), 1) << "read only";
  EXPECT_EQ(errors.take(), "30041: " + file);
  bosFileClose(handle);

  EXPECT_EQ(opened(directory, bosOpenReadWrite), "error 30041: Is a directory (" + directory + ")");
  EXPECT_EQ(opened(file + "/x", 0), "error 30041: Not a directory (" + file + "/x)");
  EXPECT_EQ(opened(path("g"), bosOpenResolveOnly), path("g"));
  EXPECT_FALSE(fs::exists(path("g")));
  fs::create_symlink(file, path("link"));
  EXPECT_EQ(opened(path("link"), bosOpenReadWrite), path("link"));

  const std::string longName(bosPathSize, 'n');
  EXPECT_EQ(bosFileOpen(bytes(longName), 0, &handle), 1);
  EXPECT_EQ(errors.take(), "30041: File name too long (" + longName + ")");
  EXPECT_EQ(bosFileOpen(units(std::u16string(bosPathSize, u'n')), 0, &handle), 1);
  EXPECT_EQ(errors.take(), "30041: File name too long");
  EXPECT_EQ(bosFileOpen(units(u"\u4e2d"), bosOpenCreate, &handle), 1);
  EXPECT_EQ(errors.take(), "") << "a name that does not convert";
  ASSERT_EQ(bosFileOpen(units(u"\u00e9"), bosOpenCreate, &handle), 0);
  EXPECT_TRUE(fs::exists("\xE9"));
  bosFileClose(handle);
}

TEST_F(BosFile, NotEveryoneMayOpen) {
  const std::string file = path("f");
  writeFile(file, "secret");
  fs::permissions(file, fs::perms(0600));
  const auto isRefused = [&](unsigned long mode, unsigned short number) {
    int handle = 0;
    return bosFileOpen(bytes(file), mode, &handle) == 1 && ZuErrorKeeper::getLastErrorNumber() == number ? 0
                                                                                                         : 1;
  };
  EXPECT_EQ(inOtherProcess([&] { return isRefused(0, 1508); }, kNobody), 0);
  fs::permissions(file, fs::perms(0644));
  EXPECT_EQ(inOtherProcess([&] { return isRefused(bosOpenReadWrite, 1508); }, kNobody), 0);
  fs::permissions(directory, fs::perms(0755));
  EXPECT_EQ(inOtherProcess(
                [&] {
                  const bool deleted = bosFileDelete(bytes(file)) == 0;
                  return deleted ? 1 : errors.take() == "1502: " + file ? 0 : 2;
                },
                kNobody),
            0);
  EXPECT_EQ(inOtherProcess([&] { return bosftest(bytes(path("x"))) ? 1 : 0; }, kNobody), 0);
  EXPECT_TRUE(bosftest(bytes(path("x"))));
  EXPECT_FALSE(bosftest(bytes(path("missing/x"))));
  EXPECT_FALSE(bosftest(bytes("x")));
  EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1) << "nothing of the probes stays";
}

TEST_F(BosFile, SpecialNames) {
  writeFile(path("own"), "");
  writeFile(path("other"), "");
  const struct {
    const char* name;
    std::map<std::string, std::string> variables;
    const char* present;  // a file in the home directory
    std::string result;
  } cases[] = {
      {"ODBC.INI", {}, "ODBC.INI", path("ODBC.INI")},
      {".ODBC.ini", {}, ".ODBC.ini", path(".ODBC.ini")},
      {".odbc.ini", {}, "", "error 1509: " + path(".odbc.ini")},
      {".odbc.ini", {{"ODBCINI", path("own")}, {"ODBC_INI", path("other")}}, ".odbc.ini", path("own")},
      {".odbc.ini", {{"ODBC_INI", path("other")}}, "", path("other")},
      {"odbc.ini", {{"ODBCINI", path("none")}}, "odbc.ini", "error 1509: " + path("none")},
      {"odbc.ini", {{"ODBCINI", directory}}, "odbc.ini", "error 30041: Is a directory (" + directory + ")"},
      {".odbcinst.ini", {{"ODBCINST", path("own")}, {"ODBCINSTINI", path("other")}}, "", path("own")},
      {"OdbcInst.ini", {{"ODBCINSTINI", path("other")}}, "", path("other")},
      {".zulib.ini", {{"ZULIB_INI", path("own")}}, ".zulib.ini", path(".zulib.ini")},
      {".zulib.ini", {{"ZULIB_INI", path("own")}}, "", path("own")},
      {".zulib.ini", {{"ZULIB_INI", path("none")}}, "", "error 1509: " + path("none")},
      {".ZULIB.INI", {{"ZULIB_INI", path("own")}}, "", "error 1509: .ZULIB.INI"},
      {".system.defaults", {{"ZU_SYSTEM_INI", path("own")}}, "", path("own")},
      {"./.odbc.ini", {{"ODBCINI", path("own")}}, "", "error 1509: ./.odbc.ini"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name + c.result);
    for (const auto& [variable, value] : c.variables) set(variable, value.c_str());
    fs::create_directory("elsewhere");
    if (*c.present) writeFile(path(c.present), "");
    fs::current_path("elsewhere");
    EXPECT_EQ(opened(c.name, bosOpenMapSpecial), c.result);
    fs::current_path(directory);
    if (*c.present) fs::remove(path(c.present));
    for (const auto& [variable, value] : c.variables) set(variable, nullptr);
  }

  set("ODBCINI", path("own").c_str());
  EXPECT_EQ(open(".odbc.ini", bosOpenMapSpecial | bosOpenResolveOnly), 0);
  EXPECT_EQ(ostest::text(buffer), path("own"));
  int handle = 0;
  ASSERT_EQ(bosFileOpen(bytes(".odbc.ini"), bosOpenMapSpecial, &handle), 0) << "a name that may not change";
  bosFileClose(handle);
  set("HOME", std::string(bosPathSize - 10, 'h').c_str());
  const std::string tooLong = "error 30041: File name too long (hhh";
  EXPECT_EQ(opened(".zulib.ini", bosOpenMapSpecial).substr(0, tooLong.size()), tooLong);
}

TEST_F(BosFile, TemporaryFilesAreNewAndPrivate) {
  fs::create_directory("t");
  const auto made = [&] {
    const std::string name = opened("", bosOpenTemporary);
    struct stat facts = {};
    EXPECT_EQ(stat(name.c_str(), &facts), 0) << name;
    EXPECT_EQ(facts.st_mode & 0777u, 0600u);
    return name;
  };
  set("ZU_TMPDIR", path("t").c_str());
  const std::string first = made();
  EXPECT_EQ(first.substr(0, first.size() - 6), path("t/zu"));
  EXPECT_NE(first, made());
  set("TMPDIR", directory.c_str());
  EXPECT_EQ(fs::path(made()).parent_path(), directory);
  set("TMPDIR", path("none").c_str());
  set("ZU_TMPDIR", path("none").c_str());
  const std::string common = made();
  // The buffer receives a name and need not hold one before.
  const std::unique_ptr<unsigned char[]> unset(new unsigned char[bosPathSize]);
  std::fill_n(unset.get(), bosPathSize, 'x');
  int handle = 0;
  ASSERT_EQ(bosFileOpen(unset.get(), bosOpenTemporary, &handle), 0);
  bosFileClose(handle);
  EXPECT_EQ(bosFileDelete(unset.get()), 0);
  EXPECT_EQ(fs::path(common).parent_path(), "/tmp");
  EXPECT_EQ(bosFileDelete(bytes(common)), 0);
  EXPECT_EQ(bosFileDelete(bytes(common)), 0) << "a file that is not there is deleted";
}

TEST_F(BosFile, LookedForAlongThePath) {
  fs::create_directory("d");
  writeFile(path("d/tool"), "found");
  const std::string old = getenv("PATH");
  set("PATH", path("d").c_str());
  const int handle = open("tool", bosOpenLocate);
  ASSERT_GT(handle, 0);
  EXPECT_EQ(ostest::text(buffer), "tool");
  char content[5];
  unsigned long got = 0;
  bosFileRead(handle, 0, content, sizeof content, &got);
  EXPECT_EQ(std::string(content, got), "found");
  bosFileClose(handle);
  EXPECT_EQ(opened("tool", 0), "error 1509: tool");
  EXPECT_EQ(opened("tools", bosOpenLocate), "error 1509: tools");
  set("PATH", old.c_str());
}

TEST_F(BosFile, LocksKeepOtherProcessesOut) {
  const std::string file = path("f");
  writeFile(file, "x");
  const auto error = [&](unsigned long mode) {
    return inOtherProcess([&] {
      int handle = 0;
      return bosFileOpen(bytes(file), mode, &handle) == 0 ? 0 : ZuErrorKeeper::getLastErrorNumber() - 1500;
    });
  };
  constexpr unsigned long kWriting = bosOpenReadWrite | bosOpenWriteLock;
  int handle = open(file, kWriting);
  EXPECT_EQ(error(kWriting), 12);
  EXPECT_EQ(error(bosOpenReadLock), 12);
  EXPECT_EQ(error(bosOpenReadLock | bosOpenNoReadLock), 0);
  EXPECT_EQ(error(bosOpenReadWrite), 0) << "the lock is advisory";
  EXPECT_EQ(error(bosOpenWriteLock), 0) << "not without writing";
  EXPECT_EQ(error(bosOpenCreate | bosOpenReadLock), 0) << "made with the lock or without it";
  bosFileClose(handle);
  EXPECT_EQ(error(kWriting), 0);

  handle = open(file, bosOpenReadLock);
  EXPECT_EQ(error(bosOpenReadLock), 0);
  EXPECT_EQ(error(kWriting), 12);
  EXPECT_EQ(error(kWriting | bosOpenReadLock), 12) << "the write lock goes first";
  bosFileClose(handle);
}

// Random calls on one file, whose content the model keeps from an offset beyond 4 GB on.
TEST_F(BosFile, RandomCallsFollowTheModel) {
  constexpr long long kBase = 5LL << 30;
  std::mt19937 random(8);
  const std::string name = path("f");
  const int handle = open(name, bosOpenCreate);
  std::string model;
  unsigned long position = 0;
  for (int step = 0; step < 2000; ++step) {
    SCOPED_TRACE(step);
    const bool isHere = random() % 3 == 0;
    const unsigned long at = isHere ? position : random() % 300;
    const long long offset = isHere ? -1 : kBase + static_cast<long long>(at);
    ASSERT_EQ(isHere ? bosFileSeek(handle, kBase + static_cast<long long>(position), SEEK_SET) : 0, 0);
    switch (random() % 4) {
      case 0: {
        const unsigned long n = random() % 50 ? random() % 100 : 65530 + random() % 5000;
        const std::string text(n, static_cast<char>('a' + step % 26));
        // The count has 16 bits: what it cannot say is a failure, although all of it is written.
        ASSERT_EQ(bosFileWrite(handle, offset, text.data(), n), n > 65535 ? 1 : 0);
        ASSERT_EQ(errors.take(), n <= 65535 ? "" : (n == 65536 ? "1506: " : "30041: ") + name);
        if (n > 0 && model.size() < at + n) model.resize(at + n);
        model.replace(std::min(at, model.size()), n, text);
        position = at + n;
        break;
      }
      case 1: {
        std::vector<char> got(120);
        unsigned long count = 0;
        ASSERT_EQ(bosFileRead(handle, offset, got.data(), got.size(), &count), 0);
        const std::string expected = at < model.size() ? model.substr(at, got.size()) : "";
        ASSERT_EQ(std::string(got.data(), count), expected);
        position = at + count;
        break;
      }
      case 2: {
        const unsigned long size = random() % 400;
        const long long whole = kBase + static_cast<long long>(size);
        ASSERT_EQ(random() % 2   ? bosFileTruncate(handle, whole)
                  : random() % 2 ? bosFileTruncate(bytes(name), whole)
                                 : bosFileSize(handle, whole),
                  0);
        model.resize(size);
        break;
      }
      default: {
        unsigned long date = 0;
        unsigned long size = 0;
        ASSERT_EQ(bosFileDateSize(bytes(name), &date, &size), 0);
        const unsigned long whole = static_cast<unsigned long>(kBase) + model.size();
        ASSERT_TRUE(size == whole || (model.empty() && size <= whole)) << size;
        ASSERT_NEAR(static_cast<double>(date), static_cast<double>(time(nullptr)), 60);
      }
    }
  }
  char byte;
  unsigned long got = 0;
  EXPECT_EQ(bosFileSeek(handle, -1, SEEK_SET), 1);
  EXPECT_EQ(bosFileWrite(handle, -9, "x", 1), 1);
  EXPECT_EQ(errors.take(), "30041: Invalid argument; 30041: Invalid argument");
  EXPECT_EQ(bosFileRead(handle, -9, &byte, 1, &got), 0);
  EXPECT_EQ(got, static_cast<unsigned long>(-1)) << "no read at another place than the wanted one";
  bosFileClose(handle);
  EXPECT_EQ(bosFileRead(handle, -1, &byte, 1, &got), 0);
  EXPECT_EQ(got, static_cast<unsigned long>(-1));
  EXPECT_EQ(bosFileClose(handle), 1);
  EXPECT_EQ(bosFileSize(handle, 1), 1);
  EXPECT_EQ(bosFileTruncate(bytes(path("none")), 1), 1);
  EXPECT_EQ(bosFileDateSize(bytes(path("none")), &got, &got), 1);
  EXPECT_EQ(errors.take(), "1507; 1509: " + path("none"));
  EXPECT_EQ(bosFileClose(0), 0);
}

TEST_F(BosFile, WideTextIsWrittenAsUtf8OrRaw) {
  const int handle = open(path("f"), bosOpenCreate);
  EXPECT_EQ(bosFileWrite(handle, 0, units(u"a\u00e9\u4e2d"), 3, 1), 0);
  EXPECT_EQ(readFile(path("f")), "a\xC3\xA9\xE4\xB8\xAD");
  sweepAllocations([&] { return bosFileWrite(handle, 0, units(u"a"), 1, 1) == 0; });
  errors.take();
  EXPECT_EQ(bosFileWrite(handle, 0, units(u"ab"), 4, 0), 0);
  EXPECT_EQ(readFile(path("f")).substr(0, 4), std::string("a\0b\0", 4));
  EXPECT_EQ(bosFileWrite(handle, 0, units(std::u16string(1, u'\xD800')), 1, 1), 1);
  EXPECT_EQ(errors.take().substr(0, 6), "30041:");
  bosFileClose(handle);
}

TEST_F(BosFile, AFullDisk) {
  const int full = open("/dev/full", bosOpenReadWrite);
  EXPECT_EQ(bosFileWrite(full, -1, "x", 1), 1);
  EXPECT_EQ(errors.take(), "1506: /dev/full");
  bosFileClose(full);

  const auto limited = [&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {10, 10};
    setrlimit(RLIMIT_FSIZE, &limit);
    int handle = 0;
    bosFileOpen(bytes(path("f")), bosOpenCreate, &handle);
    if (bosFileWrite(handle, 0, "0123456789ab", 12) != 1) return 1;  // a part was written
    if (bosFileWrite(handle, -1, "x", 1) != 1) return 2;             // nothing was
    if (bosFileWrite(handle, -1, std::string(65535, 'x').data(), 65535) != 1) return 3;
    const std::string error = "30041: " + path("f");
    return errors.take() == error + "; " + error + "; " + error ? 0 : 4;
  };
  EXPECT_EQ(inOtherProcess(limited), 0);
  EXPECT_EQ(readFile(path("f")), "0123456789");
}

TEST_F(BosFile, Attributes) {
  const std::string file = path("f");
  writeFile(file, "");
  fs::create_symlink("nowhere", path("dangling"));
  mkfifo(path("pipe").c_str(), 0666);
  const struct {
    std::string name;
    int attributes;
  } cases[] = {{file, 1},          {directory, 2},    {"..", 2},         {"/dev/null", 32},
               {path("pipe"), 32}, {path("none"), 8}, {file + "/x", 16}, {path("dangling"), 8}};
  for (const auto& c : cases) {
    EXPECT_EQ(bosfattr(bytes(c.name)), c.attributes) << c.name;
    EXPECT_EQ(bosexist(bytes(c.name)), c.attributes & 1) << c.name;
  }
  fs::current_path("/");
  EXPECT_EQ(bosfattr(bytes("..")), 2);
  EXPECT_EQ(bosexist(units(u"none")), 0);
  EXPECT_EQ(bosexist(units(u"\u4e2d")), 1) << "a name that does not convert";

  // The owner's bit for the owner, the group's bit for a group of the owner's number, else the others' bit.
  const struct {
    uid_t owner;
    unsigned mode;
    uid_t user;
    gid_t group;
    int attributes;
  } bits[] = {{kNobody, 0200, kNobody, 1, 1}, {kNobody, 0577, kNobody, 1, 5}, {kNobody, 0020, 7, kNobody, 1},
              {kNobody, 0757, 7, kNobody, 5}, {kNobody, 0002, 7, 7, 1},       {kNobody, 0775, 7, 7, 5},
              {0, 0002, kNobody, 0, 5},       {0, 0020, kNobody, 0, 1}};
  for (const auto& c : bits) {
    ASSERT_EQ(chown(file.c_str(), c.owner, 1), 0);
    fs::permissions(file, fs::perms(c.mode));
    EXPECT_EQ(inOtherProcess([&] {
                if (setgid(c.group) != 0 || setuid(c.user) != 0) return 99;
                return bosfattr(bytes(file));
              }),
              c.attributes)
        << std::oct << c.mode << " by " << c.user;
  }
}

TEST_F(BosFile, RenamesOnlyToNewNames) {
  writeFile("a", "1");
  writeFile("b", "2");
  EXPECT_EQ(bosrname(bytes("a"), bytes("b")), 1);
  EXPECT_EQ(errors.take(), "30042: a|b");
  EXPECT_EQ(bosrname(bytes("none"), bytes("c")), 1);
  EXPECT_EQ(errors.take(), "30042: none|c");
  EXPECT_EQ(bosrname(units(u"a"), units(u"c")), 0);
  EXPECT_EQ(readFile("b") + readFile("c"), "21");
  EXPECT_FALSE(fs::exists("a"));
  EXPECT_EQ(bosFileDelete(bytes(directory)), 1);
  EXPECT_EQ(errors.take(), "1502: " + directory);
  EXPECT_EQ(bosFileDelete(units(u"c")), 0);
}

TEST_F(BosFile, ErrorsOfTheSystemWithAndWithoutAName) {
  for (const int errnum : {ENOLCK, EROFS, EINVAL}) bosMapError(errnum, bytes("n"));
  EXPECT_EQ(errors.take(), "1514; 30049: n; 30041: Invalid argument (n)");
  bosMapError(EINVAL, static_cast<const unsigned char*>(nullptr));
  bosMapError(EACCES, units(u"\u00e9"));
  EXPECT_EQ(errors.take(), "30041: Invalid argument; 1508: \xC3\xA9");
  int handle = 0;
  ZuErrorKeeper::giveUpErrorList();
  EXPECT_EQ(bosFileOpen(bytes("none"), 0, &handle), 1) << "without a list";
  ZuErrorKeeper::setErrorList(&errors);
}

TEST_F(BosFile, GuardsActOnlyWhenArmed) {
  for (const bool armed : {false, true}) {
    writeFile("f", "");
    const std::string name = "f";
    const int handle = open(name, 0);
    {
      ZuFileHandle guard(handle, bytes(name));
      guard.setCloseDelete();
      if (!armed) guard.resetCloseDelete();
    }
    EXPECT_EQ(fs::exists("f"), !armed);
    EXPECT_EQ(fcntl(handle, F_GETFD) < 0, armed);
    if (!armed) bosFileClose(handle);
  }
}

}  // namespace
