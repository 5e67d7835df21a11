// Code pages: the tables whole, the connection-string parsers in both forms, the profiles and their order.

#include "zulib/codepages/ucnvconv.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

#include "tests/support/fault_allocator.h"
#include "zulib/codepages/internal/ucnvtables.h"

namespace {

namespace fs = std::filesystem;

template <class Row, size_t n>
void expectSorted(const Row (&table)[n]) {
  for (size_t i = 1; i < n; ++i) EXPECT_LT(table[i - 1].id, table[i].id);
}

TEST(CodePageTables, AreWholeAndSorted) {
  EXPECT_EQ(std::size(IANAtoICUTable), 310u);
  EXPECT_EQ(std::size(UnilibToIANATable), 78u);
  EXPECT_EQ(std::size(WindowsToIANATable), 73u);
  expectSorted(IANAtoICUTable);
  expectSorted(UnilibToIANATable);
  expectSorted(WindowsToIANATable);

  // Every number that the maps give has a name, and every row is found, with nothing between the rows.
  for (const UcnvNameRow& row : IANAtoICUTable) EXPECT_EQ(ucnvIANAidToICUname(row.id), row.name);
  for (const UcnvNumberRow& row : UnilibToIANATable) {
    EXPECT_EQ(ucnvUnilibToIANA(row.id), row.iana);
    EXPECT_TRUE(ucnvIANAidToICUname(row.iana)) << row.iana;
  }
  for (const UcnvNumberRow& row : WindowsToIANATable) {
    EXPECT_EQ(ucnvWindowsToIANA(row.id), row.iana);
    EXPECT_TRUE(ucnvIANAidToICUname(row.iana)) << row.iana;
  }
  for (const long id : {2L, 107L, 108L, 2000000000L, 2000005057L, -1L, (1L << 32) + 4}) {
    EXPECT_EQ(ucnvIANAidToICUname(id), nullptr) << id;
  }
  for (const long id : {-2L, 8L, 1259L, (1L << 32) + 1}) EXPECT_EQ(ucnvUnilibToIANA(id), ucnvNoNumber) << id;
  for (const long id : {0L, 65002L}) EXPECT_EQ(ucnvWindowsToIANA(id), 0x80000000) << id;
  EXPECT_EQ(ucnvMapToName(1, IANAtoICUTable, 0), nullptr);
}

struct Parsed {
  long codePage;
  std::optional<std::string> dsn;
  bool operator==(const Parsed&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Parsed& parsed) {
  return out << parsed.codePage << " DSN " << parsed.dsn.value_or("(none)");
}

Parsed parse(const std::string& text) {
  char* dsn = nullptr;
  const long codePage = ucnvAnsiIANAAppCodePage(text.data(), text.size(), &dsn);
  const std::unique_ptr<char, decltype(&ucnv_free)> owner(dsn, &ucnv_free);
  return {codePage, dsn ? std::optional<std::string>(dsn) : std::nullopt};
}

Parsed parseWide(const std::string& text) {
  // In a block of its own size, so that a step over the end is found.
  const std::vector<char16_t> wide(text.begin(), text.end());
  char16_t* dsn = nullptr;
  const long codePage = ucnvUnicodeIANAAppCodePage(wide.data(), wide.size(), &dsn);
  Parsed parsed{codePage, std::nullopt};
  if (dsn) parsed.dsn = std::string(dsn, dsn + std::char_traits<char16_t>::length(dsn));
  ucnv_free(dsn);
  return parsed;
}

TEST(ConnectionString, Parsers) {
  const long none = ucnvNoNumber;
  const struct {
    const char* text;
    Parsed parsed;
  } cases[] = {
      {"IACP=2252;ACP=1252", {2252, {}}},
      {"ACP=1252;ACP=1250", {2250, {}}},
      {"dsn = my source ;iAnAaPpCoDePaGe = 106", {106, "my source "}},
      {"DSN=;DSN=b", {none, ""}},
      {"DSN=a;DSN=b;AppCodePage=1", {4, "a"}},
      {"UID=me;PWD=ACP=1;acp=-1", {1015, {}}},
      {"ACP=1252;ACP=77777", {none, {}}},
      {"IACP;ACP=1", {4, {}}},
      {"XACP=1", {none, {}}},
      {"IACP=-", {none, {}}},
      {"IACP=99999999999999999999", {0x7FFFFFFF, {}}},
      {"", {none, {}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parse(c.text), c.parsed) << c.text;
    EXPECT_EQ(parseWide(c.text), c.parsed) << c.text;
  }

  char known[] = "known";
  char* dsn = known;
  EXPECT_EQ(ucnvAnsiIANAAppCodePage("DSN=x;ACP=1", 11, &dsn), 4);
  EXPECT_EQ(dsn, known);
  char16_t knownWide[] = u"known";
  char16_t* wideDsn = knownWide;
  EXPECT_EQ(ucnvUnicodeIANAAppCodePage(u"DSN=x;ACP=1", 11, &wideDsn), 4);
  EXPECT_EQ(wideDsn, knownWide);
  wideDsn = nullptr;
  EXPECT_EQ(ucnvUnicodeIANAAppCodePage(u"\U0001F600ACP=1;\xD800", 8, &wideDsn), 4);
  EXPECT_EQ(ucnvUnicodeIANAAppCodePage(u"\xD800", 1, &wideDsn), none);
  EXPECT_EQ(ucnvUnicodeIANAAppCodePage(u"\u3000IACP\u3000=\u20037", 9, &wideDsn), 7);
}

// Reads profiles of its own; at its end there are none.
class Profiles {
 public:
  Profiles() {
    char name[] = "/tmp/zuucnvXXXXXX";
    directory = mkdtemp(name);
    if (const char* value = getenv("HOME")) home = value;
    for (const char* variable : {"ODBCINI", "ODBC_INI", "ODBCINSTINI", "ODBCINST_INI", "HOME"}) {
      unsetenv(variable);
    }
  }
  Profiles(const Profiles&) = delete;
  Profiles& operator=(const Profiles&) = delete;
  ~Profiles() {
    profiles.reset();
    fs::remove_all(directory);
    if (home) setenv("HOME", home->c_str(), 1);
  }

  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(directory + "/" + name) << content;
    return directory + "/" + name;
  }
  // Loads what the variables name now.
  void load(const std::map<std::string, std::string>& variables) {
    profiles.reset();
    for (const auto& [variable, value] : variables) setenv(variable.c_str(), value.c_str(), 1);
    profiles = std::make_unique<IniInitialize>();
    for (const auto& [variable, value] : variables) unsetenv(variable.c_str());
  }
  std::string texts() const {
    const auto shown = [](const char* text, unsigned long size) {
      if (!text) return std::string("none");
      EXPECT_EQ(text[size - 1], 0);
      return std::string(text, size - 1);
    };
    return shown(MORVA_UCNV_INI_Buf, MORVA_UCNV_INI_BufSize) + "," +
           shown(MORVA_UCNV_INST_Buf, MORVA_UCNV_INST_BufSize);
  }

  std::string directory;

 private:
  std::optional<std::string> home;
  std::unique_ptr<IniInitialize> profiles;
};

TEST(ProfileFiles, AreFoundByTheEnvironment) {
  Profiles p;
  const std::string own = p.write("own", "1");
  const std::string other = p.write("other", "2");
  const std::string missing = p.directory + "/missing";
  p.load({});
  EXPECT_EQ(p.texts(), "none,none");
  EXPECT_EQ(ucnvGetAppCodePageFromDSN(nullptr), 4);
  EXPECT_EQ(ucnvGetProfileInt("ODBC", "k", 77), 77);
  p.load({{"ODBCINI", own}, {"ODBC_INI", other}, {"ODBCINSTINI", other}, {"ODBCINST_INI", own}});
  EXPECT_EQ(p.texts(), "1,2");
  p.load({{"ODBC_INI", other}, {"ODBCINST_INI", own}});
  EXPECT_EQ(p.texts(), "2,1");
  p.load({{"ODBCINI", own}});
  EXPECT_EQ(p.texts(), "1,none") << "no home";
  p.load({{"ODBCINI", missing}, {"ODBCINSTINI", own}});
  EXPECT_EQ(p.texts(), "none,none") << "without the user's profile the other is not read";
  p.load({{"ODBCINI", "/dev/null"}, {"ODBCINSTINI", std::string(3000, 'x')}});
  EXPECT_EQ(p.texts(), ",none");
  p.write(".odbc.ini", "3");
  p.write(".odbcinst.ini", "4");
  p.load({{"HOME", p.directory}});
  EXPECT_EQ(p.texts(), "3,4");

  FaultAllocator faults;
  {
    const FaultPause pause;
    setenv("HOME", p.directory.c_str(), 1);
  }
  faults.failAt(1);
  {
    const IniInitialize withoutMemory;
    faults.stop();
    EXPECT_EQ(p.texts(), "none,4") << "a text that has no memory is missing alone";
  }
  unsetenv("HOME");
}

TEST(ProfileFiles, CodePageOfADataSource) {
  const struct {
    const char* user;
    const char* installed;
    long codePage;
  } cases[] = {
      {"[x]\nIANAAppCodePage=106\nAppCodePage=1252\n", "", 106},
      {"[X]\niANAappCODEpage=-1\nAPPCODEPAGE=1252\n", "", 2252},
      {"[x]\nAppCodePage=98765\n[odbc]\nAppCodePage=1\n", "", 4},
      {"[x]\nIANAAppCodePage=&106\n[ODBC]\nIANAAppCodePage=-666666\n", "[ODBC]\nIANAAppCodePage=113\n", 113},
      {"[y]\nIANAAppCodePage=106\n", "[ODBC]\nAppCodePage=936\n[x]\nIANAAppCodePage=5\n", 113},
      {";[ODBC]\nIANAAppCodePage=106\n", "#[ODBC]\nIANAAppCodePage=5\n", 4},
      {"[x]\nIANAAppCodePage= 10 6\n", "", 10},
  };
  for (const auto& c : cases) {
    Profiles p;
    p.load({{"ODBCINI", p.write("u", c.user)}, {"ODBCINSTINI", p.write("i", c.installed)}});
    EXPECT_EQ(ucnvGetAppCodePageFromDSN("x"), c.codePage) << c.user;
    char16_t* wideDsn = nullptr;
    EXPECT_EQ(ucnvGetAppCodePageW(u"UID=u;DSN=x", 11, &wideDsn), c.codePage) << c.user;
    EXPECT_EQ(std::u16string(wideDsn), u"x");
    ucnv_free(wideDsn);
    char* dsn = nullptr;
    EXPECT_EQ(ucnvGetAppCodePage("DSN=x;ACP=1252", 14, &dsn), 2252);
    ucnv_free(dsn);
  }
}

TEST(ProfileText, Values) {
  const std::string text =
      "top=0\n[a]\n;c=1\n# d=1\n key = \t=va lue \r\nb=2\nlone\nafter=3\n\n\n\tlast=4\n "
      "x[no]\n[A]\nb=9\n[empty]\n"
      "[long]\nv=" +
      std::string(300, 'v') + "\n" + std::string(200, 'k') + "=1\n[end]\nt=5";
  const struct {
    const char* section;
    const char* key;
    std::string value;
  } cases[] = {
      {"A", "B", "2"},
      {"a", "key ", "va lue \r"},
      {"a", "key", "default"},
      {"a", "last", "4"},
      {"a", "top", "default"},
      {"end", "t", "5"},
      {"long", "v", std::string(255, 'v')},
      {"a]", "b", "default"},
  };
  const auto get = [&](const std::string& from, const char* section, const char* key, unsigned long size,
                       const char* standard = "default") {
    std::vector<char> out(size);
    // The text ends with the buffer: nothing past it may be read.
    const std::vector<char> buffer(from.begin(), from.end());
    const unsigned long n =
        ucnvNWGetProfileString(buffer.data(), buffer.size(), section, key, standard, out.data(), size);
    EXPECT_LE(n, size);
    return std::string(out.data(), n);
  };
  for (const auto& c : cases) EXPECT_EQ(get(text, c.section, c.key, 1000), c.value) << c.section << c.key;
  EXPECT_EQ(get(text, "long", std::string(200, 'k').c_str(), 9), "default");
  EXPECT_EQ(get(text, "long", "v", 10), std::string(9, 'v'));
  EXPECT_EQ(get(text, "none", "v", 4), "def");
  EXPECT_EQ(get(text, "none", "v", 4, nullptr), "");
  EXPECT_EQ(get(text, nullptr, "v", 20), "default");
  EXPECT_EQ(get("", "a", "v", 20), "default");
  EXPECT_EQ(ucnvNWGetProfileString("[a]\nb=1", 7, "a", "b", "d", nullptr, 20), 0u);

  EXPECT_EQ(get("[a]\nkey =1\n;c=1\nb=2\nlone\n\nlast=4\n[b]\nx=1\n", "a", nullptr, 100),
            std::string("key \0b\0last\0\0", 13));
  EXPECT_EQ(get("[a]\nkey=1\nb=2\n", "a", nullptr, 6), std::string("key\0b\0", 6));
  EXPECT_EQ(get("[a]\nkey=1\n", "a", nullptr, 3), std::string("ke\0", 3));
  EXPECT_EQ(get("[a]\n[b]\nx=1\n", "a", nullptr, 30), "default");
  EXPECT_EQ(get("[a\n[b]\nx=1\n", "b", "x", 30), "default") << "an open bracket takes the next header along";
}

TEST(ConnectionString, LackOfMemoryGivesTheNextCandidate) {
  Profiles p;
  p.load({});
  sweepAllocations([] {
    char* dsn = nullptr;
    const std::string_view text = "DSN=source;IACP=106";
    const long codePage = ucnvGetAppCodePage(text.data(), text.size(), &dsn);
    const bool whole = codePage == 106 && dsn;
    EXPECT_TRUE(whole || codePage == 4 || codePage == 106);
    ucnv_free(dsn);
    return whole;
  });
}

}  // namespace
