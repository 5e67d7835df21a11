// Rewriting profile files: what becomes of the text, that the file is whole at any moment, and that no
// failure loses it.

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <atomic>
#include <random>
#include <thread>

#include "tests/os/zuini_model.h"
#include "tests/os/zuini_support.h"
#include "tests/support/fault_allocator.h"

using namespace ostest;

namespace {

constexpr uid_t NOBODY = 65534;

int put(ZuIniFileCache& cache, const char* section, const char* key, const std::string& value) {
  return cache.bosPutProfileString(bytesOrNull(section), bytesOrNull(key), bytes(value));
}

class ProfileWrite : public OsTest {
 protected:
  ProfileWrite() : file(path("a.ini")) {}

  // Nothing but the named files is left in the directory.
  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& entry : fs::directory_iterator(directory)) all.push_back(entry.path().filename());
    std::sort(all.begin(), all.end());
    return all;
  }

  std::string file;
};

TEST_F(ProfileWrite, WhereTheNewTextGoes) {
  const struct {
    const char* what;
    const char* before;
    const char *section, *key, *value;
    const char* after;
  } cases[] = {
      {"an empty file", "", "a", "k", "v", "[a]\nk=v\n"},
      {"a new section", "[a]\nk=1\n", "b", "k", "2", "[a]\nk=1\n[b]\nk=2\n"},
      {"no final line feed", "[a]\nk=1", "b", "k", "2", "[a]\nk=1\n[b]\nk=2\n"},
      {"a new entry is the first", "x\n[A] ;note\n\nj=1\n", "a", "k", "v", "x\n[a]\nk=v\n\nj=1\n"},
      {"behind a header that ends the text", "[a]", "a", "k", "v", "[a]\nk=v\n"},
      {"a change stays in place", "[a]\ni=1\n  K = 2\nj=3\n", "a", "k", "v", "[a]\ni=1\nk=v\nj=3\n"},
      {"the first of two", "[a]\nk=1\nk=2\n", "a", "k", "v", "[a]\nk=v\nk=2\n"},
      {"shorter", "[a]\nk=a long value\n[b]\nj=1\n", "a", "k", "v", "[a]\nk=v\n[b]\nj=1\n"},
      {"the last line", "[a]\nk=1", "a", "k", "v", "[a]\nk=v\n"},
      {"an empty value", "[a]\nk=1\n", "a", "k", "", "[a]\nk=\n"},
      {"an entry goes", "[a]\nj=1\nk=2\nl=3\n", "a", "k", nullptr, "[a]\nj=1\nl=3\n"},
      {"no such entry", "[a]\nj=1\n", "a", "k", nullptr, "[a]\nj=1\n"},
      {"no such section", "[a]\nj=1", "b", "k", nullptr, "[a]\nj=1"},
      {"a section goes", "[a]\nj=1\n[b]\nk=1\n[c]\n", "b", nullptr, nullptr, "[a]\nj=1\n[c]\n"},
      {"the last section goes", "[a]\nj=1\n[b]\nk=1\n", "b", nullptr, "v", "[a]\nj=1\n"},
      {"up to a bracket in a value", "[a]\nj=1\nk=[x]\n", "a", nullptr, nullptr, "[x]\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    writeFile(file, c.before);
    ZuIniFileCache cache(bytes(file));
    EXPECT_EQ(cache.bosPutProfileString(bytesOrNull(c.section), bytesOrNull(c.key), bytesOrNull(c.value)), 1);
    EXPECT_EQ(readFile(file), c.after);
    const std::string expected = c.key && c.value && *c.value ? c.value : "?";
    EXPECT_EQ(valueOf(cache, c.section, c.key ? c.key : "k"), expected);
  }
  const std::string intact = readFile(file);
  ZuIniFileCache cache(bytes(file));
  EXPECT_EQ(put(cache, "a", "k", "1\n[x]"), 0);
  EXPECT_EQ(put(cache, "a", "k\n", "1"), 0);
  EXPECT_EQ(put(cache, "a]", "k", "1"), 0);
  EXPECT_EQ(put(cache, nullptr, "k", "1"), 0);
  EXPECT_EQ(readFile(file), intact) << "nothing that breaks the lines is written";
  EXPECT_EQ(errors.take(), "");
}

TEST_F(ProfileWrite, RandomEditsFollowTheRules) {
  // Every write waits for the disk: where there is a file system without one, the thousands go there.
  char memory[] = "/dev/shm/zuiniXXXXXX";
  const bool isInMemory = mkdtemp(memory) != nullptr;
  if (isInMemory) file = std::string(memory) + "/a.ini";
  std::mt19937 random(4);
  const auto pick = [&random](const auto& from) { return from[random() % std::size(from)]; };
  const std::string sections[] = {"a", "A", "b", "ODBC", "my dsn", ""};
  const std::string keys[] = {"k", "K", "kk", "Driver", "my key", ";c", "\xC3\xA4"};
  const std::string values[] = {"", "v", "a=b", " x ", "[v]", "]", ";", "\t", "\xE2\x82\xAC"};
  const std::string starts[] = {
      "", "x", "[a]\r\nk=1\r\n", "\n;[a]\n[b\n[b]\n k v\n\n", "[a]\nk", "[A]  \n[a]\nk=1"};
  for (int round = 0; round < 60; ++round) {
    inimodel::Text model = pick(starts);
    writeFile(file, model);
    ZuIniFileCache writer(bytes(file));
    ZuIniFileCache reader(bytes(file));
    for (int edit = 0; edit < 50; ++edit) {
      const std::string section = pick(sections);
      const std::string key = pick(keys);
      const std::string value = random() % 100 == 0 ? std::string(70000, 'x') : pick(values);
      const bool withKey = random() % 10 != 0;
      const bool withValue = random() % 4 != 0;
      const std::string before = model;
      model = inimodel::write(model, section, withKey ? &key : nullptr, withValue ? &value : nullptr);
      ASSERT_EQ(writer.bosPutProfileString(bytes(section), withKey ? bytes(key) : nullptr,
                                           withValue ? bytes(value) : nullptr),
                1);
      ASSERT_EQ(readFile(file), model) << "[" << section << "] " << key << " = " << value << "\n" << before;
      for (ZuIniFileCache* cache : {&writer, &reader}) {
        const std::string asked = pick(keys);
        ASSERT_EQ(valueOf(*cache, section.c_str(), asked.c_str(), "?", 100000),
                  inimodel::value(model, section, asked, "?"));
      }
    }
  }
  if (isInMemory) fs::remove_all(memory);
}

TEST_F(ProfileWrite, OwnerModeAndLinksStay) {
  writeFile(path("real.ini"), "[a]\nk=1\n");
  ASSERT_EQ(chown(path("real.ini").c_str(), NOBODY, NOBODY), 0);
  fs::permissions(path("real.ini"), fs::perms(0640));
  fs::create_directory(path("sub"));
  fs::create_symlink("../real.ini", path("sub/link.ini"));
  ZuIniFileCache cache(bytes(path("sub/link.ini")));
  ASSERT_EQ(put(cache, "a", "k", "2"), 1);
  EXPECT_EQ(readFile(path("real.ini")), "[a]\nk=2\n");
  EXPECT_TRUE(fs::is_symlink(path("sub/link.ini")));
  struct stat facts;
  ASSERT_EQ(stat(path("real.ini").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_uid, NOBODY);
  EXPECT_EQ(facts.st_gid, NOBODY);
  EXPECT_EQ(facts.st_mode & 07777, 0640u);
  EXPECT_EQ(names(), (std::vector<std::string>{"real.ini", "sub"})) << "no temporary file stays";
}

// Fills the place of a disk that is full: no file may grow beyond `most` bytes.
void limitFiles(rlim_t most) {
  signal(SIGXFSZ, SIG_IGN);
  const rlimit limit = {most, most};
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(ProfileWrite, AFullDiskLeavesTheOldText) {
  std::string old = "[a]\nk=1\n";
  for (int i = 0; i < 2000; ++i) old += "key" + std::to_string(i) + "=" + std::to_string(i) + "\n";
  const auto failsAndKeeps = [&] {
    ZuIniFileCache cache(bytes(file));
    limitFiles(old.size() + 100);
    if (put(cache, "a", "k", std::string(1000, 'x')) != 0) return 1;
    if (readFile(file) != old) return 2;
    if (names() != std::vector<std::string>{"a.ini"}) return 3;
    if (errors.take().empty()) return 4;
    if (valueOf(cache, "a", "k") != "1") return 5;
    return put(cache, "a", "k", "22") == 1 && valueOf(cache, "a", "k") == "22" ? 0 : 6;
  };
  for (const bool inPlace : {false, true}) {
    SCOPED_TRACE(inPlace);
    writeFile(file, old);
    fs::permissions(file, fs::perms(0666));
    fs::permissions(directory, fs::perms(inPlace ? 0755 : 0777));
    EXPECT_EQ(inOtherProcess(failsAndKeeps, NOBODY), 0);
  }
}

TEST_F(ProfileWrite, ADirectoryThatMayNotBeWrittenIsNoHindrance) {
  writeFile(file, "[a]\nk=a long value\nj=1\n");
  fs::permissions(file, fs::perms(0666));
  fs::permissions(directory, fs::perms(0755));
  EXPECT_EQ(inOtherProcess(
                [&] {
                  ZuIniFileCache cache(bytes(file));
                  return put(cache, "a", "k", "v") == 1 && put(cache, "b", "k", std::string(70000, 'y')) == 1
                             ? 0
                             : 1;
                },
                NOBODY),
            0);
  EXPECT_EQ(readFile(file), "[a]\nk=v\nj=1\n[b]\nk=" + std::string(70000, 'y') + "\n");
  struct stat facts;
  ASSERT_EQ(stat(file.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_uid, 0u) << "the owner stays, although another user wrote";
}

TEST_F(ProfileWrite, AMountPointIsRewrittenInPlace) {
  writeFile(path("outside.ini"), "[a]\nk=a long value\n");
  writeFile(file, "");
  constexpr int notPermitted = 77;
  const int result = inOtherProcess([&] {
    const bool mounted = unshare(CLONE_NEWNS) == 0 &&
                         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount(path("outside.ini").c_str(), file.c_str(), nullptr, MS_BIND, nullptr) == 0;
    if (!mounted) return notPermitted;
    ZuIniFileCache cache(bytes(file));
    return put(cache, "a", "k", "v") == 1 && valueOf(cache, "a", "k") == "v" ? 0 : 1;
  });
  if (result == notPermitted) GTEST_SKIP() << "no mounts in this environment";
  EXPECT_EQ(result, 0);
  EXPECT_EQ(readFile(path("outside.ini")), "[a]\nk=v\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"a.ini", "outside.ini"}));
}

// Every text that a writer leaves repeats one letter in two sections, a long way from each other.
std::string twin(char letter) {
  return "[a]\nk=" + std::string(3000, letter) + "\n[b]\nk=" + std::string(3000, letter) + "\n";
}

TEST_F(ProfileWrite, ReadersSeeTheOldTextOrTheNewOne) {
  writeFile(file, twin('a'));
  const pid_t other = fork();
  if (other == 0) {
    // Whatever it opens is a whole text, also while the change from one to the next goes on.
    for (int i = 0; i < 300; ++i) {
      const std::string text = readFile(file);
      const std::string withoutFirst = text.size() > 3006 ? text.substr(text.find('\n', 4) + 1) : "";
      if (withoutFirst.size() != 3007 || text.size() != twin('a').size()) _exit(1);
    }
    _exit(0);
  }
  ZuIniFileCache cache(bytes(file));
  std::atomic<bool> done{false};
  std::atomic<int> reads{0};
  std::atomic<int> wrong{0};
  const auto read = [&] {
    while (!done) {
      const std::string value = valueOf(cache, "a", "k", "?", 4000);
      if (value != std::string(3000, value[0])) ++wrong;
      ++reads;
    }
  };
  std::thread first(read);
  std::thread second(read);
  for (int i = 0; i < 100; ++i) {
    const char letter = static_cast<char>('a' + i % 26);
    EXPECT_EQ(put(cache, "a", "k", std::string(3000, letter)), 1);
    EXPECT_EQ(valueOf(cache, "a", "k", "?", 4000), std::string(3000, letter));
  }
  done = true;
  first.join();
  second.join();
  int status = -1;
  waitpid(other, &status, 0);
  EXPECT_EQ(status, 0) << "another process saw a part of a text";
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(reads, 0);
}

TEST_F(ProfileWrite, WithoutMemoryNothingIsLost) {
  const std::string old = "[a]\nk=1\n";
  const std::string changed = "[a]\nk=2\n";
  sweepAllocations([&](FaultAllocator& faults) {
    {
      const FaultPause pause;
      writeFile(file, old);
    }
    ZuIniFileCacheList list;
    ZuIniFileCache* cache = list.open(bytes(file));
    bool worked = cache != nullptr;
    unsigned char out[21] = "";
    if (cache) {
      const unsigned long n = cache->bosGetProfileString(bytes("a"), bytes("k"), bytes("?"), out, 20);
      const bool wrote = cache->bosPutProfileString(bytes("a"), bytes("k"), bytes("2")) != 0;
      const FaultPause pause;
      EXPECT_EQ(n, 1u);
      EXPECT_TRUE(*out == '1' || *out == '?') << out;
      EXPECT_EQ(readFile(file), wrote ? changed : old);
      worked = wrote && *out == '1';
    }
    const bool failed = faults.triggered();
    if (cache) {
      faults.stop();
      const FaultPause pause;
      const char* now = readFile(file) == changed ? "2" : "1";
      EXPECT_EQ(valueOf(*cache, "a", "k"), now) << "the cache is good again";
    }
    const FaultPause pause;
    errors.clearErrors();
    EXPECT_EQ(names(), (std::vector<std::string>{"a.ini"}));
    return worked && !failed;
  });
}

TEST_F(ProfileWrite, WithoutMemoryTheFunctionsGiveDefaults) {
  writeFile(file, "[a]\nk=1\n");
  sweepAllocations([&] {
    const int value = zuGetPrivateProfileInt(bytes("a"), bytes("k"), 7, bytes(file));
    ZuIni ini;
    const bool opened = ini.open(bytes(file)) == 0;
    short number = 0;
    const bool known = opened && ini.getEntry(bytes("a"), bytes("k"), &number, 7) == 0;
    const FaultPause pause;
    EXPECT_TRUE(value == 1 || value == 7);
    EXPECT_TRUE(!known || number == 1 || number == 7);
    ini.close();
    delete bosGetPTaskIniList();
    bosPutPTaskIniList(nullptr);
    errors.clearErrors();
    return value == 1 && number == 1;
  });
}

}  // namespace
