// Paths, the environment, walks, logical lines in memory, and texts between the widths.

#include "zulib/os/files/bospath.h"

#include <mntent.h>

#include <numeric>
#include <random>
#include <set>

#include "tests/os/support.h"
#include "tests/support/fault_allocator.h"
#include "zulib/codepages/zutextconvert.h"
#include "zulib/os/files/bosgetbl.h"
#include "zulib/os/files/boswalk.h"
#include "zulib/os/loading/bosenv.h"
#include "zulib/runtime/ram.h"

using namespace ostest;

namespace {

class BosPath : public OsTest {
 protected:
  // A path in a buffer that an operation changes.
  template <class Operation>
  std::string changed(const std::string& from, Operation operation) {
    unsigned char buffer[bosPathSize];
    std::copy_n(from.c_str(), from.size() + 1, buffer);
    operation(buffer);
    return text(buffer);
  }
};

TEST_F(BosPath, IsBuiltOfItsParts) {
  const std::string longName(1000, 'n');
  const struct {
    const char* dir;
    std::string name;
    const char* extension;
    std::string path;
  } cases[] = {
      {"/d", "f ", "txt", "/d/f.txt"},         {"/d", "f.", "txt", "/d/f.txt"},
      {"/d/", "f..", "txt", "/d/f.."},         {"/d", "f.x", "txt", "/d/f.x"},
      {"/d", "/e.e/f", "t", "/e.e/f.t"},       {"/d", "f", nullptr, "/d/f"},
      {nullptr, "f", "t", directory + "/f.t"}, {"s", "f\t \n", "t", directory + "/s/f.t"},
      {"", "f", nullptr, directory + "/f"},    {"/d", "", "t", "/d/.t"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    unsigned char out[bosPathSize];
    const unsigned char* dir = c.dir ? bytes(c.dir) : nullptr;
    EXPECT_EQ(bospath(out, dir, bytes(c.name), c.extension ? bytes(c.extension) : nullptr), 0);
    EXPECT_EQ(text(out), c.path);
  }
  unsigned char out[bosPathSize] = "as it was";
  EXPECT_EQ(bospath(out, bytes("/directory/of/its/own/that/counts"), bytes(longName), nullptr), 1);
  EXPECT_EQ(text(out), "as it was");
  EXPECT_EQ(errors.take(), "30041: File name too long (" + longName + ")");
  unsigned short wide[bosPathSize];
  EXPECT_EQ(bospath(wide, units(u"/\u00e9"), units(u"f"), units(u"t")), 0);
  EXPECT_EQ(text(wide), u"/\u00e9/f.t");
  EXPECT_EQ(bospath(wide, nullptr, units(u"\u4e2d"), nullptr), 1);
  EXPECT_EQ(errors.take(), "");
}

TEST_F(BosPath, IsMadeAbsoluteAndShort) {
  const auto absolute = [](unsigned char* path) { EXPECT_EQ(bosfpath(path, bosPathSize), 0); };
  EXPECT_EQ(changed("/a", absolute), "/a");
  EXPECT_EQ(changed("a/b", absolute), directory + "/a/b");
  EXPECT_EQ(changed("a", [&](unsigned char* path) { EXPECT_EQ(bosfpath(path, directory.size() + 2), 1); }),
            "a");
  EXPECT_EQ(changed("a", [&](unsigned char* path) { EXPECT_EQ(bosfpath(path, directory.size() + 3), 0); }),
            directory + "/a");
  errors.take();

  EXPECT_EQ(changed(directory + "/a/b", bosmpath), "a/b");
  EXPECT_EQ(changed("/tmp/zux", bosmpath), "zux");
  EXPECT_EQ(changed("a", bosmpath), "a");
  fs::create_directories(path("c:/d"));
  fs::current_path(path("c:/d"));
  EXPECT_EQ(changed(path("c:x"), bosmpath), "x");

  const auto home = [](unsigned char* path) { EXPECT_EQ(boshpath(path), 0); };
  EXPECT_EQ(changed("f", home), directory + "/f");
  set("HOME", nullptr);
  EXPECT_EQ(changed("f", home), path("c:/d/f"));
  set("ZU", "/zu");
  EXPECT_EQ(changed("f", home), "/zu/f");
  set("ZU", std::string(bosPathSize - 2, 'z').c_str());
  EXPECT_EQ(changed("f", [](unsigned char* path) { EXPECT_EQ(boshpath(path), 1); }), "f");
  EXPECT_EQ(errors.take(), "30041: File name too long (f)");

  EXPECT_EQ(changed("", [](unsigned char* path) { EXPECT_EQ(bosgtcwd(path, 1), 0); }), path("c:/d/"));
  EXPECT_EQ(bosstcwd(bytes(directory + "/c:zzz"), directory.size() + 3), 0);
  EXPECT_EQ(fs::current_path(), path("c:"));
  EXPECT_EQ(bosstcwd(bytes("none"), 100), 1);
  EXPECT_EQ(errors.take(), "1504: none");
  fs::remove_all(path("c:"));
  EXPECT_EQ(changed("x", [](unsigned char* path) { EXPECT_EQ(bosgtcwd(path, 0), 1); }), "");
  EXPECT_EQ(changed("x", [](unsigned char* path) { EXPECT_EQ(bosfpath(path, bosPathSize), 1); }), "x");
  fs::current_path("/");
  EXPECT_EQ(changed("", [](unsigned char* path) { EXPECT_EQ(bosgtcwd(path, 1), 0); }), "/");
}

TEST_F(BosPath, IsTakenApart) {
  const std::string most(128, 'b');
  const struct {
    std::string path, directory, base, extension;
  } cases[] = {{"/d/f.txt", "/d/", "f", "txt"}, {"f", "", "f", ""},
               {"/d.d/f", "/d.d/", "f", ""},    {".odbc.ini", "", "", "odbc"},
               {"f.a.b", "", "f", "a.b"},       {"/d/" + most + ".x", "/d/", most, "x"},
               {"/d/", "/d/", "", ""},          {most + "b.x", "", most, "x"}};
  for (const auto& c : cases) {
    unsigned char base[bosBaseNameSize];
    unsigned char extension[bosExtensionSize];
    EXPECT_EQ(
        changed(c.path, [&](unsigned char* path) { EXPECT_EQ(bosParseName(path, base, extension, 0), 0); }),
        c.directory);
    EXPECT_EQ(text(base), c.base);
    EXPECT_EQ(text(extension), c.extension);
  }
  unsigned char base[bosBaseNameSize] = "as";
  unsigned char extension[bosExtensionSize] = "was";
  EXPECT_EQ(changed("/" + most + "b.x",
                    [&](unsigned char* path) { EXPECT_EQ(bosParseName(path, base, extension, 1), 1); }),
            "/" + most + "b.x");
  EXPECT_EQ(text(base) + text(extension), "aswas");
  EXPECT_EQ(errors.take(), "1524: " + most + "b.x");
  unsigned short wide[] = {'/', 0xE9, '/', 'f', '.', 't', 0};
  unsigned short wideBase[bosBaseNameSize];
  unsigned short wideExtension[bosExtensionSize];
  EXPECT_EQ(bosParseName(wide, wideBase, wideExtension, 1), 0);
  EXPECT_EQ(text(wide) + text(wideBase) + text(wideExtension), u"/\u00e9/ft");
}

TEST_F(BosPath, EnvironmentInBothWidths) {
  set("ZU", "\xE9");
  EXPECT_EQ(text(bosGetEnv(bytes("ZU"))), "\xE9");
  const unsigned short* const first = bosGetEnv(units(u"ZU"));
  set("ZU", "other");
  EXPECT_EQ(text(bosGetEnv(units(u"ZU"))), u"other");
  EXPECT_EQ(text(first), u"\u00e9") << "a value outlives the next question";
  set("ZU", "\xE9");
  EXPECT_EQ(bosGetEnv(units(u"ZU")), first);
  set("ZU", std::string(2000, 'v').c_str());
  EXPECT_EQ(bosGetEnv(units(u"ZU")), nullptr);
  EXPECT_EQ(bosGetEnv(units(u"\u4e2d")), nullptr);
  set("ZU", nullptr);
  EXPECT_EQ(bosGetEnv(bytes("ZU")), nullptr);
  EXPECT_EQ(bosGetEnv(units(u"ZU")), nullptr);
}

TEST_F(BosPath, WalksDirectoriesAndFileSystems) {
  for (const char* name : {"a", "b", ".hidden"}) fs::create_directory(name);
  fs::create_directory_symlink("a", "link");
  fs::create_directory_symlink("none", "dangling");
  writeFile("file", "");
  const auto walk = [](std::set<std::string>& names) {
    BosDirectoryWalk* handle = nullptr;
    unsigned char name[bosPathSize];
    do {
      if (bosGetDirectoryNames(&handle, name)) return false;
      EXPECT_EQ(handle == nullptr, *name == 0);
      if (handle) names.insert(text(name));
    } while (handle);
    return true;
  };
  std::set<std::string> names;
  EXPECT_TRUE(walk(names));
  EXPECT_EQ(names, (std::set<std::string>{"a", "b", "link"}));
  sweepAllocations([&] {
    BosDirectoryWalk* handle = nullptr;
    BosFileSystemWalk* systems = nullptr;
    unsigned char name[bosPathSize];
    if (bosGetFileSystems(&systems, name)) return false;
    EXPECT_EQ(systems, nullptr);
    if (bosGetDirectoryNames(&handle, name)) return false;
    const FaultPause pause;
    while (handle) bosGetDirectoryNames(&handle, name);
    return true;
  });
  errors.take();

  writeFile("mounts", "dev /one ext4 rw 0 0\ndev /two\\040x ext4 rw 0 0\ndev /" + std::string(2000, 'l') +
                          " ext4 rw 0 0\n");
  auto* handle = static_cast<BosFileSystemWalk*>(ramAlloc(sizeof(BosFileSystemWalk)));
  FILE* table = setmntent("mounts", "r");
  handle->table = table;
  unsigned char name[bosPathSize];
  std::string all;
  while (bosGetFileSystems(&handle, name) == 0 && handle) all += text(name) + ";";
  EXPECT_EQ(all, "/one;/two x;");
  endmntent(table);
}

TEST(Bosgetbl, TakesLogicalLines) {
  const struct {
    std::string text;
    std::vector<std::string> lines;
  } cases[] = {
      {"", {}},
      {"a\r\nb\n\nc", {"a", "b", "", "c"}},
      {"a\rb\r", {"a\rb\r"}},
      {"a\x1A"
       "b\n",
       {"a"}},
      {"'a\nb' c\nd\n", {"'a\nb' c", "d"}},
      {"\"a'\n'\r\n\"\nb", {"\"a'\n'\r\n\"", "b"}},
      {"'a\"b'c\"d'\ne", {"'a\"b'c\"d'", "e"}},
      {"; 'x\ny;z\n", {";", "y;z"}},
      {"'open\n", {"'open\n"}},
  };
  for (const auto& c : cases) {
    std::vector<std::string> lines;
    unsigned long pos = 0;
    long status = 0;
    for (;;) {
      unsigned char out[32];
      bosgetbl(bytes(c.text), &pos, out, sizeof out, &status);
      if (status < 0) break;
      lines.emplace_back(text(out));
      EXPECT_EQ(static_cast<unsigned long>(status), lines.back().size());
    }
    EXPECT_EQ(lines, c.lines) << c.text;
    EXPECT_EQ(status, bosLineEnd);
  }
  unsigned char out[4] = {9, 9, 9, 9};
  unsigned long pos = 1;
  long status = 0;
  bosgetbl(bytes("xabcd\n"), &pos, out, 3, &status);
  EXPECT_EQ(status, bosLineTooLong);
  EXPECT_EQ(text(out), "ab");
  EXPECT_EQ(pos, 1u);
  bosgetbl(bytes("xabc\r\n"), &pos, out, 3, &status);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(std::string(out, out + 4), "abc\x09") << "no room for a terminator";
  EXPECT_EQ(pos, 6u);
}

// Random texts of Latin-1 and beyond, cut where the room ends; UTF-8 takes all of them.
TEST(TextConvert, BetweenTheWidths) {
  std::mt19937 random(5);
  const auto isLatin1 = [](const std::u16string& s) {
    return std::all_of(s.begin(), s.end(), [](char16_t c) { return c < 256; });
  };
  for (int round = 0; round < 3000; ++round) {
    std::u16string wide;
    const unsigned most = random() % 3 ? 255 : 300;
    for (unsigned n = random() % 10 ? random() % 12 : 1500; n > 0; --n)
      wide += static_cast<char16_t>(1 + random() % most);
    const unsigned long size = wide.size() < 12 ? 1 + random() % 14 : 2000;
    const std::u16string kept = wide.substr(0, std::min(size - 1, 1023UL));
    std::vector<unsigned char> narrow(size);
    const long length = zuGetANSIStrFromUTF16Str(units(wide), narrow.data(), size);
    ASSERT_TRUE(length >= 0 ? isLatin1(kept) : !isLatin1(wide));
    if (length >= 0) {
      ASSERT_EQ(std::u16string(narrow.begin(), narrow.begin() + length), kept);
      std::vector<unsigned short> back(size);
      ASSERT_EQ(zuGetUTF16StrFromANSIStr(narrow.data(), back.data(), size), length);
      ASSERT_EQ(text(back.data()), kept);
    }
    const long whole = std::accumulate(wide.begin(), wide.end(), 0L,
                                       [](long n, char16_t c) { return n + (c < 128 ? 1 : 2); });
    const long utf8 = zuGetUTF8StrFromUTF16Str(units(wide), narrow.data(), size);
    const auto room = static_cast<long>(size);
    ASSERT_EQ(utf8, whole < room    ? whole
                    : whole == room ? room - 1
                                    : -1)
        << "a full buffer loses its last byte";
  }
  unsigned char narrow[8];
  unsigned short wide[2000];
  EXPECT_EQ(zuGetANSIStrFromUTF16Str(nullptr, narrow), -1);
  EXPECT_EQ(zuGetANSIStrFromUTF16Str(units(u"a"), narrow, 0), -1);
  EXPECT_EQ(zuGetUTF16StrFromANSIStr(bytes(std::string(1500, 'x')), wide), 1023);
  EXPECT_EQ(zuGetUTF16StrFromANSIStr(bytes(std::string(1500, 'x')), wide, 2000), 1500);
  EXPECT_EQ(zuGetUTF8StrFromUTF16Str(units(std::u16string(u"a\xDC00", 2)), narrow, 8), -1);
}

}  // namespace
