// Reading profile files: the text as users write it, changes from outside, missing and unreadable files, and
// the three ways to ask.

#include <fcntl.h>

#include "tests/os/zuini_support.h"
#include "zulib/runtime/zumessages.h"

using namespace ostest;
using namespace std::string_literals;

namespace {

constexpr uid_t NOBODY = 65534;

class ProfileRead : public OsTest {
 protected:
  std::unique_ptr<ZuIniFileCache> open(const std::string& content) {
    writeFile(path("a.ini"), content);
    setAge(path("a.ini"), 100);
    return std::make_unique<ZuIniFileCache>(bytes(path("a.ini")));
  }
};

TEST_F(ProfileRead, TextAsUsersWriteIt) {
  const struct {
    const char* what;
    std::string text;
    const char* section;
    const char* key;
    std::string value;  // "?": the default
  } cases[] = {
      {"plain", "[a]\nk=v\n", "a", "k", "v"},
      {"case", "[DSN One]\nDriver=x\n", "dsn ONE", "DRIVER", "x"},
      {"blanks and tabs around =", "[a]\nk \t= \t v w \n", "a", "k", "v w "},
      {"no =", "[a]\nname value\n", "a", "name", "value"},
      {"indented", "[a]\n \t k=v\n", "a", "k", "v"},
      {"a longer key first", "[a]\nkk=1\nk=2\n", "a", "k", "2"},
      {"a shorter key first", "[a]\nk=1\nkk=2\n", "a", "kk", "2"},
      {"comments", "; [a]\n[a]\n;k=0\n  # k=1\nk=2\n", "a", "k", "2"},
      {"headers that are none", ";[a]\nk=1\n#[a]\nk=2\nx[a]\nk=3\n[a]\nk=4\n", "a", "k", "4"},
      {"blank lines", "\n\n[a]\n\n\n\nk=v\n\n", "a", "k", "v"},
      {"carriage returns", "[a]\r\n\r\nj=1\r\nk=v\r\n", "a", "k", "v\r"},
      {"no final line feed", "[a]\nk=v", "a", "k", "v"},
      {"a key that ends the text", "[a]\nk", "a", "k", "?"},
      {"a header that ends the text", "[a]", "a", "k", "?"},
      {"an empty value", "[a]\nk=\nl=v\n", "a", "k", "?"},
      {"the first of two keys", "[a]\nk=1\nk=2\n", "a", "k", "1"},
      {"the first of two sections", "[a]\nk=1\n[b]\n[A]\nk=2\nl=3\n", "a", "l", "?"},
      {"not past the section", "[a]\nj=1\n  [b]\nk=2\n", "a", "k", "?"},
      {"a bracket in a value", "[a]\nj={[x]}\nk=v\n", "a", "k", "v"},
      {"an open bracket takes the next header", "[a\n[b]\nk=1\n[b]\nk=2\n", "b", "k", "2"},
      {"UTF-8",
       "[Stra\xC3\x9F"
       "e]\n\xE2\x82\xAC=\xF0\x9F\x98\x80\n",
       "Stra\xC3\x9F"
       "e",
       "\xE2\x82\xAC", "\xF0\x9F\x98\x80"},
      {"a zero byte", "[a]\nx=1"s + '\0' + "2\nk=v\n", "a", "k", "v"},
      {"a key with a blank", "[a]\nmy key=v\n", "a", "my key", "?"},
      {"nothing", "", "a", "k", "?"},
      {"no section", "[a]\nk=v\n", nullptr, "k", "?"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(valueOf(*open(c.text), c.section, c.key), c.value);
  }
  EXPECT_EQ(errors.take(), "");
}

TEST_F(ProfileRead, TheListOfKeysAlwaysEndsInTwoZeros) {
  const struct {
    std::string text;
    unsigned long size;
    std::string list;
  } cases[] = {
      {"[a]\na=1\nb=2\n", 300, "a\0b\0\0"s},
      {"[a] ; x\n a \t= 1\n\n;c=1\n #d=1\n\tb=2", 300, "a\0b\0\0"s},
      {"[a]\r\nk=1\r\n\r\n[b]\r\nl=1\r\n", 300, "k\0\0"s},
      {"[a]\nno value\nb=2\n", 300, "no valueb\0\0"s},
      {"[a]\nb=2\nlast", 300, "b\0last\0\0"s},
      {"[a]\nj=[x]\nk=1\n", 300, "j\0\0"s},
      {"[a]\nlonger=1\nb=2\n", 9, "longer\0b\0"s.substr(0, 7) + "\0\0"s},
      {"[a]\nlonger=1\n", 5, "lon\0\0"s},
      {"[a]\nlonger=1\n", 2, "\0\0"s},
      {"[a]\nlonger=1\n", 1, "\0"s},
      {"[a]\n", 300, "?"},
      {"[a]\n;only=1\n\n", 300, "?"},
      {"[b]\na=1\n", 300, "?"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(valueOf(*open(c.text), "a", nullptr, "?", c.size), c.list);
  }
  const auto section = [](ZuIniFileCache& cache) {
    return resultOf(50, [&](unsigned char* out, unsigned long n) {
      return cache.bosGetProfileSection(bytes("a"), out, n);
    });
  };
  EXPECT_EQ(section(*open("[a]\nk=1\n")), "k\0\0"s);
  EXPECT_EQ(section(*open("[b]\nk=1\n")), "");
}

TEST_F(ProfileRead, SizesAndNumbers) {
  const auto cache =
      open("[a]\nk=12345\nneg=-3\nmix=12abc\nbig=2147483648\nmost=2147483647\nhuge=" + std::string(40, '9') +
           "\nlong=" + std::string(70000, 'x') + "\n");
  EXPECT_EQ(valueOf(*cache, "a", "k", "?", 5), "12345") << "room for one more than the size";
  EXPECT_EQ(valueOf(*cache, "a", "k", "?", 4), "123");
  EXPECT_EQ(valueOf(*cache, "a", "k", "?", 1), "");
  EXPECT_EQ(valueOf(*cache, "a", "k", "?", 0), "");
  EXPECT_EQ(valueOf(*cache, "a", "none", "default", 4), "def");
  EXPECT_EQ(valueOf(*cache, "a", "long", "?", 100000), std::string(70000, 'x'));
  const struct {
    const char* key;
    int value;
  } numbers[] = {{"k", 12345},         {"neg", -7},  {"mix", 12}, {"big", -7},
                 {"most", 2147483647}, {"huge", -7}, {"none", -7}};
  for (const auto& n : numbers) {
    EXPECT_EQ(cache->bosGetProfileInt(bytes("a"), bytes(n.key), -7), n.value) << n.key;
  }
}

TEST_F(ProfileRead, WideTextGoesByLatin1) {
  writeFile(path("w.ini"), "[a\xE4]\nk=gr\xFC\xDF\nlong=" + std::string(300, 'x') + "\nempty=\n");
  const std::string narrow = path("w.ini");
  const std::u16string name(narrow.begin(), narrow.end());
  ZuIniFileCache cache(bytes(path("w.ini")));
  const auto wide = [&](const std::u16string& section, const std::u16string& key, const char16_t* otherwise,
                        unsigned long size) {
    const auto ask = [&](auto from) {
      std::vector<unsigned short> out(size, 0xEEEE);
      const auto* def = reinterpret_cast<const unsigned short*>(otherwise);
      const unsigned long n =
          zuGetPrivateProfileStringW(units(section), units(key), def, out.data(), size, from);
      return std::u16string(out.begin(), out.begin() + static_cast<long>(n)) +
             (n < size && out[n] == 0 ? u"|" : u"");
    };
    const std::u16string byCache = ask(&cache);
    EXPECT_EQ(byCache, ask(units(name)));
    return byCache;
  };
  EXPECT_EQ(wide(u"A\u00E4", u"K", u"?", 200), u"gr\u00FC\u00DF|");
  EXPECT_EQ(wide(u"a\u00E4", u"long", u"?", 200), std::u16string(126, u'x') + u"|");
  EXPECT_EQ(wide(u"a\u00E4", u"long", u"?", 10), std::u16string(9, u'x') + u"|");
  EXPECT_EQ(wide(u"a\u00E4", u"none", u"other", 200), u"other|");
  EXPECT_EQ(wide(u"a\u00E4", u"empty", u"", 200), u"|");
  EXPECT_EQ(wide(u"a\u20AC", u"k", u"raw", 200), u"raw") << "not convertible: the default as it is";
  EXPECT_EQ(wide(u"a\u00E4", std::u16string(128, u'k'), u"raw", 2), u"ra");
  EXPECT_EQ(wide(u"a\u00E4", u"k", nullptr, 200), u"gr\u00FC\u00DF|");
  EXPECT_EQ(zuGetPrivateProfileIntW(units(u"a\u20AC"), units(u"k"), 5, &cache), 5);

  const std::u16string value = u"\u00FE";
  EXPECT_EQ(zuWritePrivateProfileStringW(units(u"n"), units(u"k"), units(value), units(name)), 1);
  EXPECT_EQ(valueOf(cache, "n", "k"), "\xFE");
  for (const std::u16string& bad : {u"\u20AC"s, std::u16string(1024, u'x')}) {
    EXPECT_EQ(zuWritePrivateProfileStringW(units(u"n"), units(u"k"), units(bad), units(name)), 0);
  }
  EXPECT_EQ(valueOf(cache, "n", "k"), "\xFE") << "a text that would be cut is not written";
}

TEST_F(ProfileRead, AChangeFromOutsideIsSeenAtTheNextRequest) {
  const auto cache = open("[a]\nk=1\n");
  const auto other = [&](const std::string& content, long age) {
    return inOtherProcess([&] {
      writeFile(path("a.ini"), content);
      if (age) setAge(path("a.ini"), age);
      return 0;
    });
  };
  EXPECT_EQ(valueOf(*cache, "a", "k"), "1");
  ASSERT_EQ(other("[a]\nk=22\n", 100), 0);
  EXPECT_EQ(valueOf(*cache, "a", "k"), "22") << "another size";
  ASSERT_EQ(other("[a]\nk=33\n", 50), 0);
  EXPECT_EQ(valueOf(*cache, "a", "k"), "33") << "another date";
  for (const char* digits : {"44", "55", "66"}) {
    ASSERT_EQ(other("[a]\nk="s + digits + "\n", 0), 0);
    EXPECT_EQ(valueOf(*cache, "a", "k"), digits) << "again within the second, with the same size";
  }
  fs::remove(path("a.ini"));
  EXPECT_EQ(valueOf(*cache, "a", "k"), "?");
  EXPECT_EQ(cache->bosPutProfileString(bytes("a"), bytes("k"), bytes("7")), 0);
  EXPECT_FALSE(fs::exists(path("a.ini")));
  ASSERT_EQ(other("[a]\nk=8\n", 0), 0);
  EXPECT_EQ(valueOf(*cache, "a", "k"), "8") << "the cache outlives a time without the file";
}

TEST_F(ProfileRead, FilesThatCannotBeOpened) {
  EXPECT_TRUE(ZuIniFileCache(bytes(path("new.ini"))).isOpen()) << "a missing file is made";
  EXPECT_TRUE(fs::exists(path("new.ini")));
  ZuIniFileCache drivers(bytes(".odbcinst.ini"));
  EXPECT_FALSE(drivers.isOpen());
  EXPECT_EQ(valueOf(drivers, "a", "k"), "?");
  EXPECT_EQ(errors.take(), "") << "drivers may be missing";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(resultOf(20,
                       [](unsigned char* out, unsigned long n) {
                         return zuGetProfileString(bytes("a"), bytes("k"), bytes("?"), out, n,
                                                   bytes(".odbcinst.ini"));
                       }),
              "?");
  }
  EXPECT_EQ(errors.take(), "");

  fs::create_directory(path("dir"));
  ZuIniFileCache directory(bytes(path("dir")));
  EXPECT_FALSE(directory.isOpen());
  EXPECT_EQ(errors.getErrorsMix(), ErrMixWarnings);
  errors.take();
  ZuIniFileCache tooLong(bytes(path(std::string(1100, 'x'))));
  EXPECT_FALSE(tooLong.isOpen());
  EXPECT_EQ(zuPrivateProfileInit(bytes(path(std::string(1100, 'x')))), nullptr);
  EXPECT_NE(errors.take(), "");
  EXPECT_EQ(zuGetPrivateProfileInt(bytes("a"), bytes("k"), 9, bytes("no/such/dir.ini")), 9);
  EXPECT_EQ(errors.take(), "1509: no/such/dir.ini");
}

TEST_F(ProfileRead, AFileThatMayNotBeWrittenIsRead) {
  writeFile(path("r.ini"), "[a]\nk=v\n");
  fs::permissions(path("r.ini"), fs::perms(0444));
  fs::permissions(directory, fs::perms(0755));
  const auto work = [&](ZuErrorList* list) {
    ZuIniFileCache cache(bytes(path("r.ini")));
    if (!cache.isOpen() || valueOf(cache, "a", "k") != "v") return 1;
    if (list && list->getCount() != 0) return 2;
    if (cache.bosPutProfileString(bytes("a"), bytes("k"), bytes("w")) != 0) return 3;
    if (list && errors.take() != "1508: " + path("r.ini")) return 4;
    return valueOf(cache, "a", "k") == "v" ? 0 : 5;
  };
  EXPECT_EQ(inOtherProcess([&] { return work(&errors); }, NOBODY), 0);
  EXPECT_EQ(inOtherProcess(
                [&] {
                  ZuErrorKeeper::giveUpErrorList();
                  return work(nullptr);
                },
                NOBODY),
            0)
      << "without an error list";
  EXPECT_EQ(inOtherProcess(
                [&] {
                  ZuErrorList one;
                  ZuErrorKeeper::setErrorList(&one);
                  addError(ZU_MSG_ACCESS_DENIED);
                  ZuIniFileCache cache(bytes(path("r.ini")));
                  const bool kept = one.getCount() == 1 && one.isExistingError();
                  return cache.isOpen() && kept ? 0 : 1;
                },
                NOBODY),
            0)
      << "an older error of the same number stays";
  EXPECT_EQ(readFile(path("r.ini")), "[a]\nk=v\n");
}

TEST_F(ProfileRead, OneCacheForAllWhoAsk) {
  writeFile(path(".odbc.ini"), "[a]\nk=v\nn=70000\ns=-5\nt=12\n");
  ZuIniFileCache* first = zuPrivateProfileInit(bytes(".odbc.ini"));
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(first->isThisFile(bytes(path(".odbc.ini"))));
  EXPECT_EQ(zuProfileInit(bytes(path(".odbc.ini"))), first) << "by its path and by its special name";
  EXPECT_EQ(first->getUseCount(), 2);
  ZuIni ini;
  unsigned char out[51];
  EXPECT_EQ(ini.getEntry(bytes("a"), bytes("k"), out, 50, bytes("d")), 1);
  EXPECT_EQ(text(out), "d");
  EXPECT_EQ(errors.take(), "2717");
  EXPECT_EQ(ini.writeEntry(bytes("a"), bytes("k"), bytes("w")), 1);
  ASSERT_EQ(ini.open(bytes(".odbc.ini")), 0);
  EXPECT_EQ(first->getUseCount(), 3);
  EXPECT_EQ(ini.getEntryWithLen(bytes("a"), bytes("k"), out, 50, bytes("d")), 1u);
  EXPECT_EQ(text(out), "v");
  const std::pair<const char*, short> numbers[] = {{"n", 3}, {"s", 3}, {"t", 12}};
  for (const auto& [key, expected] : numbers) {
    short number = 0;
    EXPECT_EQ(ini.getEntry(bytes("a"), bytes(key), &number, 3), 0);
    EXPECT_EQ(number, expected) << key;
  }
  EXPECT_EQ(ini.getSectionWithValues(bytes("a"), out, 50, bytes("d")), 9u);
  EXPECT_EQ(first->getUseCount(), 4) << "this reference stays";
  EXPECT_EQ(ini.writeEntry(bytes("a"), bytes("k"), bytes("new")), 0);
  EXPECT_EQ(ini.deleteEntry(bytes("a"), bytes("n")), 0);
  EXPECT_EQ(valueOf(*first, "a", nullptr), "k\0s\0t\0\0"s);
  EXPECT_EQ(ini.open(bytes("no/such/dir.ini")), 1);
  EXPECT_EQ(errors.take(), "1509: no/such/dir.ini");
  EXPECT_EQ(first->getUseCount(), 3);
  for (int i = 0; i < 3; ++i) zuPrivateProfileTerm(first);
  EXPECT_NE(zuPrivateProfileInit(bytes(path(".odbc.ini"))), nullptr);
  EXPECT_EQ(GetPrivateProfileInt(bytes("a"), bytes("t"), 0, bytes(".odbc.ini")), 12);
  EXPECT_EQ(WritePrivateProfileString(bytes("a"), nullptr, nullptr, bytes(".odbc.ini")), 1);
  EXPECT_EQ(readFile(path(".odbc.ini")), "");

  delete bosGetPTaskIniList();
  bosPutPTaskIniList(nullptr);
}

TEST_F(ProfileRead, AListCountsItsReferences) {
  writeFile(path("a.ini"), "[a]\nk=v\n");
  ZuIniFileCacheList list;
  ZuIniFileCache* cache = list.open(bytes(path("a.ini")));
  ASSERT_EQ(list.open(bytes(path("a.ini"))), cache);
  list.close(cache);
  EXPECT_EQ(valueOf(*cache, "a", "k"), "v");
  ZuIniFileCache stranger(bytes(path("a.ini")));
  list.close(&stranger);
  list.close(nullptr);
  EXPECT_EQ(stranger.getUseCount(), 1);
  list.remove(cache);
  EXPECT_NE(list.open(bytes(path("a.ini"))), cache) << "no longer on the list";
  cache->Close();
  EXPECT_FALSE(cache->isOpen());
  EXPECT_FALSE(cache->isThisFile(bytes(path("a.ini"))));
  EXPECT_EQ(valueOf(*cache, "a", "k"), "?");
  delete cache;
}

TEST_F(ProfileRead, TheTraceTellsWhatWasFound) {
  const auto cache = open("[a]\nk=v\n");
  EXPECT_EQ(traceOf("20", [&] { valueOf(*cache, "a", "k"); }),
            "GetProfileString: Section a found.\nGetProfileString: Entry k found.\n"
            "GetProfileString: Value=v\nGetProfileString: Return Len=1 returnBuf=v\n");
  EXPECT_EQ(traceOf("10", [&] { valueOf(*cache, "a", nullptr); }),
            "GetProfileString: Multi-Entry Output Requested.\nGetProfileString: Fecthing all entries for a\n"
            "GetProfileString: Section a found.\nGetProfileString: Entry k Len=1\n"
            "GetProfileString: Return Len=3 returnBuf=k\n");
  EXPECT_EQ(traceOf("10", [&] { cache->bosPutProfileString(bytes("a"), bytes("k"), bytes("w")); }),
            "PutProfileString: Updating Entry Value with: w\nPutProfileString: Updated FileCache: Len=8\n"
            "PutProfileString: Updated FileCache:\n|->[a]\nk=w\n\n");
  EXPECT_EQ(traceOf("80", [&] { ZuIniFileCache(bytes(path("a.ini"))); }),
            "ZuIniOpen: File:" + path("a.ini") + " \nZuIniOpen: File:" + path("a.ini") + " FileSize 8\n");
}

TEST(ProfileNames, Modules) {
  const struct {
    const char* module;
    unsigned long size;
    const char* name;
  } cases[] = {{"libx", 8, "libx.so"}, {"libx", 7, "libx"}, {"libx", 3, "li"}, {"", 9, ""}};
  for (const auto& c : cases) {
    const std::u16string wide(c.module, c.module + strlen(c.module));
    unsigned short out[16];
    EXPECT_EQ(resultOf(c.size, [&](unsigned char* p,
                                   unsigned long n) { return zuGetModName(bytes(c.module), p, n); }),
              c.name);
    const unsigned long n = zuGetModFileNameW(units(wide), c.size, out);
    EXPECT_EQ(text(out), std::u16string(c.name, c.name + strlen(c.name)));
    EXPECT_EQ(n, strlen(c.name));
  }
}

}  // namespace
