// Profile files: random requests against a plain model, many writers at once, files that resist, and failures
// half-way, none of which may lose what the user wrote. The rules of their text are those of the fuzz target,
// which aborts where they differ from the model's.

#define LLVMFuzzerTestOneInput writeProfile
#include "fuzz/profile_fuzz.cpp"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <atomic>
#include <memory>
#include <random>
#include <thread>

#include "tests/os/support.h"
#include "tests/support/fault_allocator.h"
#include "zulib/os/profiles/zuini.h"
#include "zulib/runtime/zumessages.h"

using namespace ostest;
using namespace std::string_literals;

namespace {

constexpr uid_t kNobody = 65534;
constexpr int kNotPermitted = 77;  // by a process that cannot mount here

// A result of any length, in a block that ends where the call may write last.
template <class Call>
std::string resultOf(unsigned long size, Call call) {
  const std::unique_ptr<unsigned char[]> out(new unsigned char[size + 1]);
  const unsigned long length = call(out.get(), size);
  return {reinterpret_cast<const char*>(out.get()), length};
}

std::string valueOf(ZuIniFileCache& cache, const std::string& section, const char* key,
                    unsigned long size = 300) {
  return resultOf(size, [&](unsigned char* out, unsigned long n) {
    return cache.bosGetProfileString(bytes(section), key ? bytes(key) : nullptr, bytes("?"), out, n);
  });
}

int put(ZuIniFileCache& cache, const char* section, const char* key, const std::string& value) {
  return cache.bosPutProfileString(bytes(section), bytes(key), bytes(value));
}

// Gives a file a date in the past, so that it counts as unchanged from the first reading on.
void setAge(const std::string& path, long seconds) {
  const timespec then = {time(nullptr) - seconds, 0};
  const timespec times[2] = {then, then};
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

class Profiles : public OsTest {
 protected:
  Profiles() : file(path("a.ini")) {
    // Where there is a file system in memory: every write waits for the disk.
    if (access("/dev/shm", W_OK) != 0) return;
    char name[] = "/dev/shm/zuiniXXXXXX";
    fast = mkdtemp(name);
    file = fast + "/a.ini";
  }
  ~Profiles() override {
    delete bosGetPTaskIniList();
    bosPutPTaskIniList(nullptr);
    if (!fast.empty()) fs::remove_all(fast);
  }

  // The names in the directory of the file.
  std::string names() const {
    std::set<std::string> all;
    for (const auto& entry : fs::directory_iterator(fs::path(file).parent_path()))
      all.insert(entry.path().filename());
    std::string joined;
    for (const auto& name : all) joined += name + " ";
    return joined;
  }

  std::string file;
  std::string fast;
};

// One writer of the random sequence: by cache, by name, by name in UTF-16, or through an object.
int writeBy(unsigned way, const std::string& file, ZuIniFileCache& cache, const std::string& section,
            const std::string* key, const std::string* value) {
  const auto wide = [](const std::string& s) { return std::u16string(s.begin(), s.end()); };
  const unsigned char* k = key ? bytes(*key) : nullptr;
  const unsigned char* v = value ? bytes(*value) : nullptr;
  const auto isAscii = [](const std::string* s) {
    return !s || std::all_of(s->begin(), s->end(), [](char c) { return c > 0; });
  };
  ZuIni ini;
  switch (way) {
    case 0: return zuWritePrivateProfileString(bytes(section), k, v, bytes(file));
    case 1: return WritePrivateProfileString(bytes(section), k, v, bytes(file));
    case 2: return ini.open(bytes(file)) == 0 && ini.writeEntry(bytes(section), k, v) == 0;
    case 3:
      if (isAscii(&section) && isAscii(key) && isAscii(value) && (!value || value->size() < 1000)) {
        const std::u16string wideKey = wide(key ? *key : "");
        const std::u16string wideValue = wide(value ? *value : "");
        return zuWritePrivateProfileStringW(units(wide(section)), key ? units(wideKey) : nullptr,
                                            value ? units(wideValue) : nullptr, &cache);
      }
      [[fallthrough]];
    default: return cache.bosPutProfileString(bytes(section), k, v);
  }
}

const std::string kSections[] = {"a", "A", "b", "ODBC", "my dsn", "", "[", "a]", "\xC3\xA4"};
const std::string kKeys[] = {"k",  "K", "kk",  "n",   "Driver", "my key",
                             ";c", "",  "[x]", "a=b", "k[",     "\xC3\xA4"};
const std::string kValues[] = {"",
                               "v",
                               "a=b",
                               " x ",
                               "[v]",
                               "]",
                               "[v",
                               ";",
                               "\t",
                               "12abc",
                               "1\n[b]",
                               "2147483647",
                               "[v][",
                               "2147483648",
                               "-3",
                               "0123456789012345678901",
                               "\xE2\x82\xAC"};
const std::string kParts[] = {
    "[a]\n",        "[A] ;note\n", "\n[b\n[b]\r\n",       ";[a]\n", "#k=1\n",     "x[a]\n",
    " k \t= v\r\n", "k v\n",       "n=12abc\n",           "kk\n",   "\tDriver=x", "[my dsn]\n",
    "\r\n",         "k={[x]}\n",   "k=1"s + '\0' + "2\n", "[a]",    "=\n"};

TEST(ProfileText, RandomWritesLikeTheModel) {
  Dice dice(3);
  const auto pick = [&dice](const auto& from) { return from[dice(std::size(from))]; };
  for (int round = 0; round < 3000; ++round) {
    const unsigned long writes = 1 + dice(6);
    std::string input(1, static_cast<char>(writes - 1));
    for (unsigned long n = writes; n > 0; --n) {
      input += static_cast<char>(dice(256));
      input += pick(kSections) + '\0' + pick(kKeys) + '\0' + pick(kValues) + '\0';
    }
    for (unsigned long n = dice(12); n > 0; --n) input += pick(kParts);
    ASSERT_EQ(writeProfile(reinterpret_cast<const uint8_t*>(input.data()), input.size()), 0);
  }
}

// Whichever way it is written, and whoever changes the file besides, what is read is what the file holds.
TEST_F(Profiles, RandomRequestsFollowTheModel) {
  Dice dice(4);
  const auto pick = [&dice](const auto& from) { return from[dice(std::size(from))]; };
  for (int round = 0; round < 100; ++round) {
    std::string model;
    for (unsigned long n = dice(12); n > 0; --n) model += pick(kParts);
    writeFile(file, model);
    ZuIniFileCache writer(bytes(file));
    ZuIniFileCache reader(bytes(file));
    for (int step = 0; step < 25; ++step) {
      SCOPED_TRACE("round " + std::to_string(round) + ", step " + std::to_string(step) + "\n" + model);
      const std::string section = pick(kSections);
      const std::string key = pick(kKeys);
      const std::string value = dice(100) == 0 ? std::string(70000, 'x') : pick(kValues);
      const std::string* const k = dice(10) ? &key : nullptr;
      const std::string* const v = dice(4) ? &value : nullptr;
      if (dice(12) == 0) {  // a change from outside, with another size or another date
        model = dice(2) ? "[a]\nk=" + std::string(1 + dice(2), 'o') + "\n" : pick(kParts);
        writeFile(file, model);
        if (dice(2)) setAge(file, 100 + step);
        if (dice(4) == 0) {
          fs::remove(file);
          model.clear();
          ASSERT_EQ(valueOf(reader, "a", "k"), "?") << "without a file";
        }
      }
      const bool refused = inimodel::isRefused(section, k, v);
      if (!refused) model = inimodel::write(model, section, k, v);
      ASSERT_EQ(writeBy(static_cast<unsigned>(dice(5)), file, writer, section, k, v), refused ? 0 : 1)
          << section << "|" << key << "|" << value;
      const std::string named = k ? key : section;
      ASSERT_EQ(errors.take(), refused ? "2718" + (named.empty() ? "" : ": " + named) : "");
      ASSERT_EQ(fs::exists(file) ? readFile(file) : "", model) << section << "|" << key << "|" << value;

      const std::string wanted = pick(kKeys);
      const std::string now = inimodel::value(model, section, wanted, "?");
      const unsigned long size = dice(3) ? 100000 : 1 + dice(6);
      // A value may fill the size, the default leaves one byte of it.
      ASSERT_EQ(valueOf(dice(2) ? reader : writer, section, wanted.c_str(), size),
                now.substr(0, now == "?" || now.size() > size ? size - 1 : size));
      const std::string list = inimodel::keys(model, section);
      ASSERT_EQ(valueOf(reader, section, nullptr, 300000), list.empty() ? "?" : list);
      const std::string digits = inimodel::value(model, section, key, "").substr(0, 20);
      const auto last = digits.find_first_not_of("0123456789");
      const unsigned long number =
          last == 0 || digits.empty() ? 1UL << 40 : std::stoul(digits.substr(0, std::min(last, 19UL)));
      ASSERT_EQ(reader.bosGetProfileInt(bytes(section), bytes(key), -7),
                number > INT_MAX ? -7 : static_cast<int>(number));
    }
  }
}

TEST_F(Profiles, WideTextGoesByLatin1) {
  writeFile(file, "[a\xE4]\nk=gr\xFC\xDF\nlong=" + std::string(300, 'x') + "\nempty=\n");
  const std::u16string byName(file.begin(), file.end());
  const struct {
    std::u16string file, section, key;
    const char16_t* otherwise;
    unsigned long size;
    std::u16string value;  // "|": with a terminator
  } cases[] = {
      {byName, u"A\u00E4", u"K", u"?", 200, u"gr\u00FC\u00DF|"},
      {byName, u"a\u00E4", u"long", u"?", 200, std::u16string(126, u'x') + u"|"},
      {byName, u"a\u00E4", u"long", u"?", 10, std::u16string(9, u'x') + u"|"},
      {byName, u"a\u00E4", u"empty", u"", 200, u"|"},
      {byName, u"a\u20AC", u"k", u"raw", 200, u"raw"},  // does not convert: the default without a terminator
      {byName, u"a\u00E4", std::u16string(128, u'k'), u"raw", 2, u"ra"},
      {u"no/such/dir.ini", u"a", u"k", u"raw", 3, u"ra|"},  // without a file it is terminated within the size
      {u".odbcinst.ini", u"a", u"k", u"raw", 200, u"raw|"},
  };
  for (const auto& c : cases) {
    std::vector<unsigned short> out(c.size, 0xEEEE);
    const unsigned long n = zuGetPrivateProfileStringW(units(c.section), units(c.key), units(c.otherwise),
                                                       out.data(), c.size, units(c.file));
    const std::u16string found(out.begin(), out.begin() + static_cast<long>(n));
    EXPECT_EQ(found + (n < c.size && out[n] == 0 ? u"|" : u""), c.value);
  }
  for (const std::u16string& bad : {u"\u20AC"s, std::u16string(1024, u'x')}) {
    EXPECT_EQ(zuWritePrivateProfileStringW(units(u"n"), units(u"k"), units(bad), units(byName)), 0);
    EXPECT_EQ(zuGetPrivateProfileIntW(units(bad), units(u"k"), 5, units(byName)), 5);
  }
  EXPECT_EQ(readFile(file).find("[n]"), std::string::npos) << "a text that would be cut is not written";
}

TEST_F(Profiles, FilesThatCannotBeOpened) {
  EXPECT_TRUE(ZuIniFileCache(bytes(file)).isOpen()) << "a missing file is made";
  EXPECT_TRUE(fs::exists(file));
  ZuIniFileCache drivers(bytes(".odbcinst.ini"));
  EXPECT_FALSE(drivers.isOpen());
  EXPECT_EQ(valueOf(drivers, "a", "k"), "?");
  EXPECT_EQ(put(drivers, "a", "k", "v"), 0);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(zuGetProfileInt(bytes("a"), bytes("k"), 3, bytes(".odbcinst.ini")), 3);
  EXPECT_EQ(errors.take(), "") << "drivers may be missing";

  EXPECT_FALSE(ZuIniFileCache(bytes(directory)).isOpen());
  EXPECT_EQ(errors.getErrorsMix(), ErrMixWarnings);
  errors.take();
  const std::string tooLong = path(std::string(1100, 'x'));
  EXPECT_FALSE(ZuIniFileCache(bytes(tooLong)).isOpen());
  EXPECT_EQ(zuPrivateProfileInit(bytes(tooLong)), nullptr);
  EXPECT_NE(errors.take(), "");
  EXPECT_EQ(zuGetPrivateProfileInt(bytes("a"), bytes("k"), 9, bytes("no/such/dir.ini")), 9);
  EXPECT_EQ(errors.take(), "1509: no/such/dir.ini");
}

TEST_F(Profiles, AFileThatMayNotBeWrittenIsRead) {
  writeFile(path("r.ini"), "[a]\nk=v\n");
  fs::permissions(path("r.ini"), fs::perms(0444));
  fs::permissions(directory, fs::perms(0755));
  for (const bool withList : {true, false}) {
    EXPECT_EQ(inOtherProcess(
                  [&] {
                    if (!withList) ZuErrorKeeper::giveUpErrorList();
                    ZuIniFileCache cache(bytes(path("r.ini")));
                    if (!cache.isOpen() || valueOf(cache, "a", "k") != "v" || !errors.take().empty())
                      return 1;
                    if (put(cache, "a", "k", "w") != 0) return 2;
                    if (errors.take() != (withList ? "1508: " + path("r.ini") : "")) return 3;
                    return valueOf(cache, "a", "k") == "v" ? 0 : 4;
                  },
                  kNobody),
              0);
  }
  EXPECT_EQ(inOtherProcess(
                [&] {
                  ZuErrorList one;
                  ZuErrorKeeper::setErrorList(&one);
                  addError(ZU_MSG_ACCESS_DENIED);
                  const ZuIniFileCache cache(bytes(path("r.ini")));
                  return cache.isOpen() && one.getCount() == 1 && one.isExistingError() ? 0 : 1;
                },
                kNobody),
            0)
      << "an older error of the same number stays";
  EXPECT_EQ(readFile(path("r.ini")), "[a]\nk=v\n");
}

TEST_F(Profiles, OneCacheForAllWhoAsk) {
  writeFile(path(".odbc.ini"), "[a]\nk=v\nn=70000\ns=-5\nt=12\n");
  ZuIniFileCache* const first = zuPrivateProfileInit(bytes(".odbc.ini"));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(zuProfileInit(bytes(path(".odbc.ini"))), first) << "by its path and by its special name";
  ZuIni ini;
  unsigned char out[51];
  EXPECT_EQ(ini.getEntry(bytes("a"), bytes("k"), out, 50, bytes("d")), 1);
  EXPECT_EQ(text(out), "d");
  EXPECT_EQ(errors.take(), "2717");
  EXPECT_EQ(ini.writeEntry(bytes("a"), bytes("k"), bytes("w")), 1);
  ASSERT_EQ(ini.open(bytes(".odbc.ini")), 0);
  EXPECT_EQ(first->getUseCount(), 3);
  const std::pair<const char*, short> numbers[] = {{"n", 3}, {"s", 3}, {"t", 12}};
  for (const auto& [key, expected] : numbers) {
    short number = 0;
    EXPECT_EQ(ini.getEntry(bytes("a"), bytes(key), &number, 3), 0);
    EXPECT_EQ(number, expected) << key;
  }
  EXPECT_EQ(ini.getSectionWithValues(bytes("a"), out, 50, bytes("d")), 9u);
  EXPECT_EQ(first->getUseCount(), 4) << "this reference stays";
  EXPECT_EQ(ini.deleteEntry(bytes("a"), bytes("n")), 0);
  EXPECT_EQ(valueOf(*first, "a", nullptr), "k\0s\0t\0\0"s);
  EXPECT_EQ(ini.open(bytes("no/such/dir.ini")), 1);
  EXPECT_EQ(errors.take(), "1509: no/such/dir.ini");
  EXPECT_EQ(first->getUseCount(), 3);

  ZuIniFileCacheList list;
  ZuIniFileCache* const cache = list.open(bytes(".odbc.ini"));
  ASSERT_EQ(list.open(bytes(".odbc.ini")), cache);
  list.close(cache);
  list.close(first);  // not on this list
  list.close(nullptr);
  EXPECT_EQ(first->getUseCount(), 3);
  list.remove(cache);
  EXPECT_NE(list.open(bytes(".odbc.ini")), cache) << "no longer on the list";
  cache->Close();
  EXPECT_FALSE(cache->isOpen() || cache->isThisFile(bytes(path(".odbc.ini"))));
  EXPECT_EQ(valueOf(*cache, "a", "k"), "?");
  delete cache;
}

TEST_F(Profiles, WhatIsNotTextStaysToo) {
  file = path("a.ini");
  for (const bool linked : {false, true}) {
    SCOPED_TRACE(linked);
    writeFile(path("real.ini"), "[a]\nk=1\n");
    ASSERT_EQ(chown(path("real.ini").c_str(), kNobody, kNobody), 0);
    fs::permissions(path("real.ini"), fs::perms(0640));
    ASSERT_EQ(setxattr(path("real.ini").c_str(), "user.note", "mine", 4, 0), 0);
    // An access list: owner rw, user 7 r, group r, at most r, others nothing.
    const unsigned char acl[] = {2, 0, 0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  4,
                                 0, 7, 0,   0,   0,   4,   0,  4, 0,   255, 255, 255, 255, 16, 0,
                                 4, 0, 255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
    const char* const aclName = "system.posix_acl_access";
    const bool hasAcl = setxattr(path("real.ini").c_str(), aclName, acl, sizeof acl, 0) == 0;
    if (linked) fs::create_hard_link(path("real.ini"), path("other.ini"));
    fs::create_symlink("real.ini", file);
    ZuIniFileCache cache(bytes(file));
    ASSERT_EQ(put(cache, "a", "k", "2"), 1);
    EXPECT_EQ(readFile(path(linked ? "other.ini" : "real.ini")), "[a]\nk=2\n");
    EXPECT_TRUE(fs::is_symlink(file));
    struct stat facts;
    ASSERT_EQ(stat(file.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_uid, kNobody);
    EXPECT_EQ(facts.st_gid, kNobody);
    EXPECT_EQ(facts.st_mode & 07777, 0640u);
    char note[8] = "";
    EXPECT_EQ(getxattr(file.c_str(), "user.note", note, sizeof note), 4);
    EXPECT_STREQ(note, "mine");
    unsigned char kept[sizeof acl];
    EXPECT_TRUE(!hasAcl || (getxattr(file.c_str(), aclName, kept, sizeof kept) == sizeof kept &&
                            std::equal(std::begin(acl), std::end(acl), kept)));
    EXPECT_EQ(names(), linked ? "a.ini other.ini real.ini " : "a.ini real.ini ");
    fs::remove(file);
  }
}

// Runs `work` with the file on a file system of its own, of 64 KB. Skips the test where nothing can be
// mounted.
int onASmallDisk(const std::string& file, const std::function<int()>& work) {
  const std::string directory = fs::path(file).parent_path();
  return inOtherProcess([&] {
    const bool mounted = unshare(CLONE_NEWNS) == 0 &&
                         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount("small", directory.c_str(), "tmpfs", 0, "size=64k") == 0;
    return mounted ? work() : kNotPermitted;
  });
}

TEST_F(Profiles, AFullDiskLosesNothing) {
  std::string old = "[a]\nk=1\nlast=";
  old.resize(40000, 'x');
  old += "\n";
  const int result = onASmallDisk(file, [&] {
    writeFile(file, old);
    ZuIniFileCache cache(bytes(file));
    if (put(cache, "a", "k", std::string(30000, 'y')) != 0 || readFile(file) != old) return 1;
    if (errors.take() != "1506: " + file) return 2;
    writeFile(path("fill"), "");  // keeps the rest of the disk
    std::ofstream(fs::path(file).parent_path() / "fill") << std::string(60000, 'z');
    if (put(cache, "a", "k", "2") != 1 || valueOf(cache, "a", "k") != "2") return 3;
    if (put(cache, "b", "k", std::string(5000, 'y')) != 0 || errors.take() != "1506: " + file) return 4;
    return readFile(file) == old.replace(6, 1, "2") && names() == "a.ini fill " ? 0 : 5;
  });
  if (result == kNotPermitted) GTEST_SKIP() << "no mounts in this environment";
  EXPECT_EQ(result, 0);
}

TEST_F(Profiles, AFileThatCannotBeReplacedIsRewrittenInPlace) {
  writeFile(path("outside.ini"), "[a]\nk=a long value\nj=1\n");
  fs::permissions(path("outside.ini"), fs::perms(0666));
  fs::permissions(directory, fs::perms(0755));
  const auto work = [&](const std::string& name) {
    ZuIniFileCache cache(bytes(name));
    return put(cache, "a", "k", "v") == 1 && put(cache, "b", "k", std::string(70000, 'y')) == 1 ? 0 : 1;
  };
  EXPECT_EQ(inOtherProcess([&] { return work(path("outside.ini")); }, kNobody), 0);
  EXPECT_EQ(readFile(path("outside.ini")), "[a]\nk=v\nj=1\n[b]\nk=" + std::string(70000, 'y') + "\n");
  EXPECT_EQ(inOtherProcess(
                [&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit = {71000, 71000};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  ZuIniFileCache cache(bytes(path("outside.ini")));
                  return put(cache, "a", "l", std::string(5000, 'z')) == 0 && valueOf(cache, "a", "k") == "v"
                             ? 0
                             : 1;
                },
                kNobody),
            0)
      << "a failure half-way";
  EXPECT_EQ(fs::file_size(path("outside.ini")), 70019u);

  writeFile(file, "");
  const int result = inOtherProcess([&] {
    const bool mounted = unshare(CLONE_NEWNS) == 0 &&
                         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount(path("outside.ini").c_str(), file.c_str(), nullptr, MS_BIND, nullptr) == 0;
    if (!mounted) return kNotPermitted;
    ZuIniFileCache cache(bytes(file));
    return put(cache, "a", "k", "w") == 1 && valueOf(cache, "a", "k") == "w" ? 0 : 1;
  });
  if (result == kNotPermitted) GTEST_SKIP() << "no mounts in this environment";
  EXPECT_EQ(result, 0) << "a mount point";
  EXPECT_EQ(readFile(path("outside.ini")).substr(0, 8), "[a]\nk=w\n");
  EXPECT_EQ(names(), "a.ini ");
}

TEST_F(Profiles, NoWriterLosesWhatAnotherWrote) {
  constexpr int kKeys = 300;
  writeFile(file, "[a]\nk=v\n");
  const auto work = [&](const std::string& prefix) {
    int written = 0;
    for (int i = 0; i < kKeys; ++i) {
      written +=
          WritePrivateProfileString(bytes("a"), bytes(prefix + std::to_string(i)), bytes("1"), bytes(file));
    }
    return written == kKeys ? 0 : 1;
  };
  const pid_t other = fork();
  if (other == 0) _exit(work("other"));
  std::vector<std::thread> threads;
  std::atomic<int> failed = 0;
  for (const char* prefix : {"first", "second"})
    threads.emplace_back([&, prefix] { failed += work(prefix); });
  std::atomic<bool> done = false;
  std::thread reader([&] {
    ZuIniFileCache cache(bytes(file));
    while (!done) failed += valueOf(cache, "a", "k") != "v";
  });
  for (auto& thread : threads) thread.join();
  int status = -1;
  waitpid(other, &status, 0);
  done = true;
  reader.join();
  EXPECT_EQ(status + failed, 0);
  ZuIniFileCache cache(bytes(file));
  for (const char* prefix : {"other", "first", "second"}) {
    for (int i = 0; i < kKeys; ++i) ASSERT_EQ(valueOf(cache, "a", (prefix + std::to_string(i)).c_str()), "1");
  }
  EXPECT_EQ(names(), "a.ini ");
}

TEST_F(Profiles, AWriterThatIsKilledLeavesAWholeFileAndNoOther) {
  std::mt19937 random(9);
  const auto twin = [](char letter) { return "[a]\nk=" + std::string(3000, letter) + "\n[b]\nk=x\n"; };
  writeFile(file, twin('a'));
  for (int round = 0; round < 100; ++round) {
    const pid_t writer = fork();
    if (writer == 0) {
      for (char letter = 'a';; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
        WritePrivateProfileString(bytes("a"), bytes("k"), bytes(std::string(3000, letter)), bytes(file));
      }
    }
    usleep(random() % 3000);
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    const std::string now = readFile(file);
    ASSERT_EQ(now, twin(now[6])) << "a part of a text";
  }
  ZuIniFileCache cache(bytes(file));
  EXPECT_EQ(put(cache, "a", "k", "done"), 1);
  EXPECT_EQ(names(), "a.ini ");
}

TEST_F(Profiles, WithoutMemoryNothingIsLost) {
  const std::string old = "[a]\nk=1\n";
  const std::string changed = "[a]\nk=2\n";
  sweepAllocations([&](FaultAllocator& faults) {
    {
      const FaultPause pause;
      writeFile(file, old);
    }
    ZuIniFileCacheList list;
    ZuIniFileCache* const cache = list.open(bytes(file));
    bool worked = cache != nullptr;
    unsigned char out[21] = "";
    if (cache) {
      cache->bosGetProfileString(bytes("a"), bytes("k"), bytes("?"), out, 20);
      const bool wrote = cache->bosPutProfileString(bytes("a"), bytes("k"), bytes("2")) != 0;
      const FaultPause pause;
      EXPECT_TRUE(text(out) == "1" || text(out) == "?") << out;
      EXPECT_EQ(readFile(file), wrote ? changed : old);
      worked = wrote && *out == '1';
    }
    ZuIni ini;
    short number = 0;
    const bool known = ini.open(bytes(file)) == 0 && ini.getEntry(bytes("a"), bytes("k"), &number, 7) == 0;
    EXPECT_TRUE(!known || number == 1 || number == 2 || number == 7);
    const bool failed = faults.triggered();
    faults.stop();
    const FaultPause pause;
    ini.close();
    delete bosGetPTaskIniList();
    bosPutPTaskIniList(nullptr);
    EXPECT_TRUE(!cache || valueOf(*cache, "a", "k") == (readFile(file) == changed ? "2" : "1"));
    errors.clearErrors();
    EXPECT_EQ(names(), "a.ini ");
    return worked && !failed;
  });
}

TEST(ProfileNames, Modules) {
  const char* const names[] = {"", "", "l", "li", "lib", "libx", "libx", "libx", "libx.so", "libx.so"};
  for (unsigned long size = 1; size < std::size(names); ++size) {
    unsigned char out[20];
    unsigned short wide[20];
    EXPECT_EQ(zuGetModName(bytes("libx"), out, size), strlen(names[size]));
    EXPECT_EQ(zuGetModFileNameW(units(u"libx"), size, wide), strlen(names[size]));
    EXPECT_EQ(text(out), names[size]);
    EXPECT_EQ(std::string(wide, wide + strlen(names[size]) + 1), names[size] + std::string(1, 0));
  }
}

}  // namespace
