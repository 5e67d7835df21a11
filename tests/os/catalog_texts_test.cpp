// Texts in the user's language: where catalogs are found, which language is used, what replaces a text if a
// catalog is missing or damaged, who opens and closes, and how texts reach errors.

#include "zulib/os/catalogs/boscatalog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/os/support.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/locales.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/zutexttools.h"

namespace {

using namespace ostest;

const char* const kEnglish = "The file %s1 was not found.";
const char* const kGerman = "Die Datei %s1 wurde nicht gefunden.";

std::string shareDirectory() {
  return fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "share/zulib";
}

std::string load(unsigned id, unsigned long size = 0) {
  unsigned char out[4096];
  const unsigned long length = LoadString(BZUHINST, id, out, size);
  EXPECT_EQ(length, strlen(reinterpret_cast<char*>(out)));
  return text(out);
}

std::u16string loadWide(unsigned id, unsigned long size = 0) {
  unsigned short out[4096];
  const unsigned long length = LoadStringW(BZUHINST, id, out, size);
  EXPECT_EQ(length, text(out).size());
  return text(out);
}

std::u16string resourceText(unsigned short id) {
  unsigned short out[zuResourceTextSize];
  std::fill(std::begin(out), std::end(out), u'x');
  const unsigned long length = winGetString(out, id);
  EXPECT_EQ(text(out).size(), length);
  EXPECT_EQ(std::u16string(out, out + length), text(out));
  return text(out);
}

// No catalog is open before and after a test, and the locale is plain.
class Catalogs : public OsTest {
 protected:
  Catalogs() {
    set("LC_MESSAGES", nullptr);
    set("LANG", nullptr);
    bosFreeResourceDLL(BZUHINST, nullptr);
    bosSetInstallDir(nullptr);
  }
  ~Catalogs() override {
    bosFreeResourceDLL(BZUHINST, nullptr);
    bosSetInstallDir(bytes(shareDirectory()));
  }

  // Makes a catalog of the text in the scratch directory, and that the installation directory.
  void provide(const std::string& locale, const std::string& messages, const char* codeset = "UTF-8") const {
    const std::string place = path("locale/" + locale + "/LC_MESSAGES");
    fs::create_directories(place);
    writeFile(path("source.msg"), std::string("$ codeset=") + codeset + "\n$set 1\n" + messages);
    const std::string command = "gencat '" + place + "/zulib.mo' '" + path("source.msg") + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    bosSetInstallDir(bytes(directory));
  }

  // The text for a missing file from a catalog that is opened anew.
  std::string reopened() const {
    bosFreeResourceDLL(BZUHINST, nullptr);
    EXPECT_EQ(bosLoadResourceDLL(BZUHINST, 0, nullptr, nullptr), 0);
    return load(ZU_MSG_FILE_NOT_FOUND);
  }
};

std::string installDir(const char* path) {
  EXPECT_EQ(bosSetInstallDir(path ? bytes(path) : nullptr), 0);
  return text(InstallDirLocation);
}

TEST_F(Catalogs, TheInstallationDirectory) {
  EXPECT_EQ(installDir(nullptr), fs::canonical(shareDirectory())) << "beside the library";
  writeFile(path(".odbcinst.ini"), "[ODBC]\nInstallDir=/for/all \t\n");
  EXPECT_EQ(installDir(nullptr), "/for/all");
  writeFile(path(".odbc.ini"), "[mine]\nInstallDir=/not/this\n[odbc]\ninstalldir = /my own//\n");
  EXPECT_EQ(installDir(nullptr), "/my own/") << "one slash goes, and the user's file wins";

  EXPECT_EQ(installDir("/given/ \n"), "/given");
  EXPECT_EQ(installDir("  "), " ") << "the first character is no end";
  EXPECT_EQ(installDir(""), "");
  const std::string longest(bosInstallDirSize - 1, 'd');
  EXPECT_EQ(installDir(longest.c_str()), longest);
  EXPECT_EQ(installDir((longest + "d").c_str()), "") << "too long for a directory";
  writeFile(path(".odbc.ini"), "[ODBC]\nInstallDir=" + std::string(5000, 'd') + "\n");
  EXPECT_LT(installDir(nullptr).size(), bosInstallDirSize);
}

TEST_F(Catalogs, TheLanguageIsTheProgramsElseTheUsers) {
  const struct {
    const char* program;
    const char* messages;
    const char* language;
    bool german;
  } cases[] = {
      {"C", nullptr, nullptr, false},
      {"C", "C", nullptr, false},
      {"C", "de_DE", nullptr, true},
      {"C", "de_DE.UTF-8", "en_US", true},
      {"C", "C", "de_DE.utf8@euro", true},
      {"C", "", "de_DE", true},
      {"C", nullptr, "de_DE@euro", true},
      {"C", "en_US", "de_DE", false},
      {"C", "fr_FR.UTF-8", "de_DE", false},     // a language without a catalog is en_US
      {"C", nullptr, "en_US/../de_DE", false},  // no way out of the directory
      {"de_DE.UTF-8", nullptr, nullptr, true},
      {"de_DE.UTF-8", "en_US", "en_US", true},
      {"en_US.UTF-8", "de_DE", "de_DE", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.program) + ", " + (c.messages ? c.messages : "-") + ", " +
                 (c.language ? c.language : "-"));
    const TestLocale program(c.program);
    set("LC_MESSAGES", c.messages);
    set("LANG", c.language);
    EXPECT_EQ(reopened(), c.german ? kGerman : kEnglish);
  }
  set("LC_MESSAGES", std::string(5000, 'x').c_str());
  EXPECT_EQ(reopened(), kEnglish);
}

TEST_F(Catalogs, TextsAreCutBetweenCharactersAndWidened) {
  std::string longText = "1 ";
  for (int i = 0; i < 1500; ++i) longText += "\xE4\xB8\xAD";
  provide("en_US", longText + "\n2 a\xF0\x9F\x98\x80z\n3 Stra\xDF\n4 " + std::string(5000, 'x') + "\n",
          "ISO-8859-1");
  reopened();
  EXPECT_EQ(loadWide(1), std::u16string(1365, u'\u4e2d')) << "4095 bytes";
  EXPECT_EQ(loadWide(1, 10), std::u16string(9, u'\u4e2d'));
  EXPECT_EQ(resourceText(1), std::u16string(1023, u'\u4e2d'));
  EXPECT_EQ(load(1, 9), "\xE4\xB8\xAD\xE4\xB8\xAD");
  EXPECT_EQ(load(1, 1), "");
  for (unsigned long size = 2; size < 6; ++size) EXPECT_EQ(load(2, size), "a") << size;
  EXPECT_EQ(load(2, 6), "a\xF0\x9F\x98\x80");
  EXPECT_EQ(loadWide(2, 3), u"a");
  EXPECT_EQ(load(3), "Stra\xDF");
  EXPECT_EQ(loadWide(3), u"Stra\u00df") << "what is no UTF-8 is Latin-1";
  EXPECT_EQ(loadWide(4), std::u16string(4095, u'x'));
  EXPECT_EQ(load(60000, 3), "60") << "a number for a text that is not there";
  EXPECT_EQ(loadWide(60000), u"60000");
}

TEST_F(Catalogs, ADamagedCatalogIsNoCatalog) {
  const std::string whole = readFile(shareDirectory() + "/locale/en_US/LC_MESSAGES/zulib.mo");
  const std::string place = path("locale/en_US/LC_MESSAGES");
  fs::create_directories(place);
  bosSetInstallDir(bytes(directory));
  for (size_t length = 0; length < whole.size(); length += length < 64 ? 1 : 97) {
    SCOPED_TRACE("the first " + std::to_string(length) + " bytes");
    writeFile(place + "/zulib.mo", whole.substr(0, length));
    const std::string found = reopened();
    ASSERT_TRUE(found == "1509" || (found == kEnglish && length > whole.size() / 2)) << found;
    const std::string last = load(ZU_MSG_OUT_OF_MEMORY);
    const bool cut = found == kEnglish && std::string("Memory is exhausted.").rfind(last, 0) == 0;
    ASSERT_TRUE(last == "30190" || cut) << last;
  }
  std::string otherFormat = whole;
  otherFormat[0] ^= 1;
  writeFile(place + "/zulib.mo", otherFormat);
  EXPECT_EQ(reopened(), "1509");
  writeFile(place + "/zulib.mo", whole);
  EXPECT_EQ(reopened(), kEnglish);
  fs::remove(place + "/zulib.mo");
  fs::create_directory(place + "/zulib.mo");
  EXPECT_EQ(reopened(), "1509");
}

TEST_F(Catalogs, TheLibrarysTextsAndTheDriversAreApart) {
  // Without a catalog: numbers, and no accelerator.
  bosSetInstallDir(bytes(directory));
  EXPECT_EQ(resourceText(ZU_MSG_FILE_LOCKED), u"1512");
  unsigned char markers[zuResourceTextSize] = "x";
  getMenuAccelerator(markers);
  EXPECT_EQ(text(markers), "");

  // Of which one comes later.
  fs::create_directories(path("locale/en_US/LC_MESSAGES"));
  provide("en_US", "1512 library\n9001\n");
  EXPECT_EQ(resourceText(ZU_MSG_FILE_LOCKED), u"library") << "tried again";
  fs::rename(path("locale/en_US/LC_MESSAGES/zulib.mo"), path("locale/en_US/LC_MESSAGES/own.mo"));
  provide("en_US", "1512 driver\n9000 text of the driver\n");
  fs::rename(path("locale/en_US/LC_MESSAGES/zulib.mo"), path("locale/en_US/LC_MESSAGES/driver.mo"));
  fs::rename(path("locale/en_US/LC_MESSAGES/own.mo"), path("locale/en_US/LC_MESSAGES/zulib.mo"));
  EXPECT_EQ(resourceText(ZU_MSG_FILE_LOCKED), u"library");
  unsigned long count = 0;
  EXPECT_EQ(load(1512), "1512");
  EXPECT_EQ(loadWide(1512), u"1512");
  EXPECT_EQ(bosLoadResourceDLL("driver", 0, nullptr, &count), 0);
  EXPECT_EQ(bosLoadResourceDLL("other", 0, nullptr, &count), 0);
  EXPECT_EQ(load(1512), "driver") << "although the library's own was opened before it, and another after it";
  EXPECT_EQ(resourceText(ZU_MSG_FILE_LOCKED), u"library");
  EXPECT_EQ(resourceText(9000), u"text of the driver");
  EXPECT_EQ(resourceText(9001), u"") << "an empty text";
  bosFreeResourceDLL("driver", &count);
  EXPECT_EQ(load(1512), "driver");
  bosFreeResourceDLL("driver", &count);
  EXPECT_EQ(load(1512), "1512");
  bosFreeResourceDLL("driver", &count);
  EXPECT_EQ(count, 0u);
  bosSetInstallDir(bytes(""));
  EXPECT_EQ(bosLoadResourceDLL("driver", 0, nullptr, &count), 1);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(OpenStrings("driver", nullptr), bosNoCatalog);
  bosSetInstallDir(bytes(directory));
  EXPECT_EQ(resourceText(ZU_MSG_FILE_LOCKED), u"library") << "after the driver has closed its own";
}

TEST_F(Catalogs, CatalogsOfACallersOwn) {
  set("LANG", "de_DE");
  const nl_catd cursors = OpenStrings(nullptr, "odbc.m");
  const nl_catd library = OpenStrings(BZUHINST, nullptr);
  ASSERT_TRUE(cursors != bosNoCatalog && library != bosNoCatalog);
  unsigned char out[1024];
  EXPECT_EQ(LoadStringFromOpenFile(cursors, 388, out, sizeof out), 30u);
  EXPECT_EQ(text(out), "Der Vorgang wurde abgebrochen.");
  LoadStringFromOpenFile(library, ZU_MSG_FILE_NOT_FOUND, out, 0);
  EXPECT_EQ(text(out), kGerman);
  EXPECT_EQ(LoadStringFromOpenFile(bosNoCatalog, 388, out, sizeof out), 3u);
  EXPECT_EQ(text(out), "388");
  EXPECT_EQ(load(388), "388") << "not the process's catalog";
  CloseStrings(cursors);
  CloseStrings(library);
  CloseStrings(bosNoCatalog);
}

TEST_F(Catalogs, StatesOfTheCursorLibrary) {
  EXPECT_NE(thisDLL.catalog, bosNoCatalog) << "opened at load";
  EXPECT_TRUE(IsSqlState("34000", 64));
  EXPECT_TRUE(IsSqlState("hyc00", 264));
  EXPECT_FALSE(IsSqlState("HY000", 264));
  EXPECT_FALSE(IsSqlState("3400", 64));
  EXPECT_FALSE(IsSqlState("34000", 4711));
}

TEST_F(Catalogs, ErrorsAreInTheUsersLanguage) {
  const TestLocale locale("de_DE.UTF-8");
  ZuErrorList list;
  ZuErrorKeeper::setErrorList(&list);
  addError(ZU_MSG_FILE_NOT_RENAMED) << "a"
                                    << "b";
  EXPECT_EQ(text(list.getLastError()->getErrorTextW()), u"Die Datei a konnte nicht in b umbenannt werden.");
  appendTextToLastError(ZU_TEXT_KEYWORDS_EXCLUDE);
  *list.getLastError() << "UID"
                       << "User";
  EXPECT_EQ(text(list.getLastError()->getErrorText()),
            "Die Datei a konnte nicht in b umbenannt werden. Die Schlüsselwörter UID und User bedeuten "
            "dasselbe: Nur "
            "eines von beiden angeben.");
  EXPECT_EQ(text(static_cast<const unsigned char*>(ZuResourceString(ZU_TEXT_ACCELERATOR_MARKERS))), "&");
  ZuErrorKeeper::giveUpErrorList();
}

// Catalogs are closed while other threads look texts up: each text is the right one or its number.
TEST_F(Catalogs, ThreadsLookUpWhileACatalogComesAndGoes) {
  std::atomic<bool> end = false;
  std::atomic<int> wrong = 0;
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (!end) {
        const std::string found = load(ZU_MSG_FILE_NOT_FOUND);
        if (found != kEnglish && found != "1509") ++wrong;
      }
    });
  }
  for (int round = 0; round < 300; ++round) {
    unsigned long count = 0;
    bosLoadResourceDLL(BZUHINST, 0, nullptr, &count);
    if (round % 10 == 0) bosSetInstallDir(bytes(shareDirectory()));
    bosFreeResourceDLL(BZUHINST, &count);
  }
  end = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(wrong, 0);
}

// Memory that fails while the profile files are read, a text is loaded or an error recorded leaves the
// directory found otherwise, or the error list in its out-of-memory state.
TEST_F(Catalogs, TextsNeedNoMemory) {
  writeFile(path(".odbc.ini"), "[ODBC]\nInstallDir=" + shareDirectory() + "\n");
  sweepAllocations([&](FaultAllocator& faults) {
    bosFreeResourceDLL(BZUHINST, nullptr);
    bosSetInstallDir(nullptr);
    EXPECT_EQ(bosLoadResourceDLL(BZUHINST, 0, nullptr, nullptr), 0);
    const bool failed = faults.triggered();
    faults.stop();
    const FaultPause pause;
    EXPECT_EQ(load(ZU_MSG_FILE_NOT_FOUND), kEnglish);
    errors.clearErrors();
    return !failed;
  });
}

}  // namespace
