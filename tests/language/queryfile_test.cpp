// Query files: random operations against a plain model with saves and new openings in between, headers and
// files of other makers, and saves whose allocations and file calls fail.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/fault_allocator.h"
#include "tests/support/file_faults.h"
#include "zulib/errors/zuerror.h"
#include "zulib/language/zuqueryfile.h"
#include "zulib/runtime/zumessages.h"

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

std::string plain(const ZuSubString& view) {
  return {reinterpret_cast<const char*>(view.asPascalStr()), view.getLength()};
}

class QueryFiles : public testing::Test {
 protected:
  QueryFiles() {
    std::string pattern = (fs::temp_directory_path() / "zuqueryXXXXXX").string();
    directory = mkdtemp(pattern.data());
    ZuErrorKeeper::setErrorList(&errors);
  }
  ~QueryFiles() override {
    ZuErrorKeeper::giveUpErrorList();
    fs::remove_all(directory);
  }

  std::string path(const std::string& name) const { return directory + "/" + name; }
  static void write(const std::string& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
  }
  static std::string read(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  Names filesThere() const {
    Names names;
    for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  unsigned short takeError() {
    const ZuError* const error = errors.getLastError();
    const unsigned short number = errors.isOutOfMemory() ? 1 : error ? error->getErrorNumber() : 0;
    errors.clearErrors();
    return number;
  }

  ZuErrorList errors{nullptr, 1};
  std::string directory;
};

std::string chunk(ZuQueryFile& query, const std::string& name) {
  ZuString text;
  EXPECT_EQ(query.getSectionChunk(bytes(name), &text), 0);
  return plain(text);
}

std::string hugeChunk(ZuQueryFile& query, const std::string& name) {
  unsigned char* data;
  unsigned long length;
  EXPECT_EQ(query.getHugeSectionChunk(bytes(name), &data, &length), 0);
  std::string text(reinterpret_cast<char*>(data), length);
  EXPECT_EQ(data == nullptr, length == 0);
  free(data);
  return text;
}

std::string statement(ZuQueryFile& query) {
  ZuString text;
  EXPECT_EQ(query.getSqlStmt(&text), 0);
  return plain(text);
}

bool isSet(ZuQueryFile& query, const std::string& name, const std::string& text) {
  return query.setHugeSectionChunk(bytes(name), text.data(), text.size()) == 0;
}

// A text as it is read: not at all, or with two line feeds at its end.
std::string closed(std::string text) {
  if (text.empty()) return text;
  while (!text.ends_with("\n\n")) text += '\n';
  return text;
}

// A query as a model knows it: what is set and what the last file held are both just texts.
struct Model {
  std::string type, database, sql;
  std::map<std::string, std::string> sections;
  Names order;  // of the sections in the file

  static bool isKnown(std::string name) {
    for (char& c : name) c = static_cast<char>(std::toupper(c));
    return std::any_of(Sections, Sections + kSectionCount, [&](const char* known) { return name == known; });
  }

  // What a file makes of it.
  void passThroughFile() {
    if (sql.ends_with(';')) sql.pop_back();
    std::replace(sql.begin(), sql.end(), '\n', ' ');
    for (auto& [name, text] : sections)
      text = closed(text.substr(std::min(text.find_first_not_of('\n'), text.size())));
  }

  // The order that a saved file must have, as far as it is certain: `found` is taken for the rest.
  void takeOrder(const Names& found) {
    for (const bool known : {true, false}) {
      Names before, now;
      for (const auto& name : order)
        if (isKnown(name) == known && sections.count(name)) before.push_back(name);
      for (const auto& name : found)
        if (isKnown(name) == known) now.push_back(name);
      ASSERT_GE(now.size(), before.size());
      EXPECT_EQ(Names(now.begin(), now.begin() + static_cast<long>(before.size())), before);
    }
    EXPECT_TRUE(std::is_partitioned(found.begin(), found.end(), isKnown));
    EXPECT_EQ(found.size(), sections.size());
    order = found;
  }
};

class RandomQuery {
 public:
  explicit RandomQuery(unsigned seed) : random(seed) {}

  unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }
  bool oneIn(unsigned n) { return below(n) == 0; }

  std::string name() {
    static const Names kNames = {
        "PAGE_LAYOUT", "PARAMETERS", "DEFINITION", "USER COMMANDS",       "parameters", "",
        "[x",          "a]b",        " blank ",    std::string(3000, 'n')};
    return oneIn(2) ? kNames[below(static_cast<unsigned>(kNames.size()))] : "S" + std::to_string(below(40));
  }
  // Lines of all lengths, also some that look like the start or the end of a header.
  std::string text() {
    static const Names kLines = {"",      "",       "x",    "a b c", "[open", "close]",
                                 "x [y]", "tab\t ", "it's", "\r",    ";"};
    std::string made;
    for (unsigned n = below(6); n; --n) {
      made += kLines[below(static_cast<unsigned>(kLines.size()))];
      if (oneIn(8)) made += "[" + std::string(2000 + below(100), '.') + "[half]" + std::string(2100, '-');
      if (n > 1 || oneIn(2)) made += '\n';
    }
    if (oneIn(30)) made += std::string(70000, 'b') + "\n" + std::string(3000, '\n');
    return made;
  }
  std::string sql() {
    static const Names kWords = {"select", "a_column", "'it''s; '", "\"from x\"", "from", "[t]", "where"};
    std::string made = "select";
    for (unsigned n = below(oneIn(10) ? 900 : 30); n; --n)
      made += (oneIn(9) ? '\n' : ' ') + kWords[below(static_cast<unsigned>(kWords.size()))] + "x";
    return made + (oneIn(3) ? ";" : "");
  }

 private:
  std::mt19937 random;
};

// The headers of a file, which is unscrambled if need be, in their order.
Names headersOf(std::string content, bool isScrambled) {
  const auto start = content.find('\n');
  for (std::size_t i = start; isScrambled && i < content.size(); ++i)
    if (content[i] != '\n') content[i] = static_cast<char>(~content[i]);
  Names names;
  for (std::size_t at = content.find("\n["); at != std::string::npos; at = content.find("\n[", at + 1)) {
    const auto end = std::min(content.find('\n', at + 1), content.size());
    if (content[end - 1] == ']') names.push_back(content.substr(at + 2, end - at - 3));
  }
  return names;
}

TEST_F(QueryFiles, FollowAModelThroughSavesAndOpenings) {
  for (unsigned seed = 1; seed <= 24; ++seed) {
    SCOPED_TRACE(seed);
    RandomQuery random(seed);
    Model model{"Some DB", "", "select 1", {}, {}};
    Model saved;
    ZuQueryFile query;
    ASSERT_EQ(query.initialize(bytes(model.type), bytes(model.sql), model.sql.size()), 0);
    ASSERT_EQ(query.setWriteFileName(bytes(path("first"))), 0);
    std::string file = path("first");
    bool scrambles = false;
    const auto afterSave = [&] {
      ASSERT_TRUE(query.isFileOpen());
      EXPECT_EQ(query.wasEncrypted(), scrambles);
      EXPECT_FALSE(query.isDirty());
      model.takeOrder(headersOf(read(file), scrambles));
      model.passThroughFile();
      saved = model;
    };
    ASSERT_EQ(query.save(), 0);
    afterSave();
    for (int step = 0; step < 120 && !HasFailure(); ++step) {
      const std::string name = random.name();
      const auto there = model.sections.find(name);
      const std::string text = there == model.sections.end() ? "" : closed(there->second);
      switch (random.below(16)) {
        case 0:
        case 1:
        case 2:
          model.sections[name] = random.text();
          ASSERT_TRUE(isSet(query, name, model.sections[name]));
          EXPECT_TRUE(query.isDirty());
          break;
        case 3:
          ASSERT_EQ(query.removeSection(bytes(name)), 0);
          model.sections.erase(name);
          break;
        case 4: EXPECT_EQ(hugeChunk(query, name), text); break;
        case 5: {
          unsigned exists;
          ASSERT_EQ(query.doesSectionExist(bytes(name), &exists), 0);
          EXPECT_EQ(exists != 0, there != model.sections.end());
          break;
        }
        case 6:
          model.sql = random.sql();
          ASSERT_EQ(query.setSqlStmt(bytes(model.sql), model.sql.size()), 0);
          break;
        case 7:
          model.database = random.oneIn(3) ? "" : "db" + std::to_string(step);
          ASSERT_EQ(query.setDbName(bytes(model.database)), 0);
          break;
        case 8: {
          // A description replaces the old one, or comes first.
          const std::string words(random.below(256), 'w');
          ZuString description, found;
          ASSERT_EQ(description.initialize(bytes(words)), 0);
          ASSERT_EQ(query.setDescription(&description), 0);
          ASSERT_EQ(query.getDescription(&found), 0);
          EXPECT_EQ(plain(found), words);
          std::string& definition = model.sections["DEFINITION"];
          definition = closed(definition);
          const std::string line = "SET.QUERY.DESCRIPTION ('" + words + "')";
          const auto at = definition.find("SET.QUERY.DESCRIPTION");
          if (at == std::string::npos) {
            definition = line + "\n" + definition;
          } else {
            definition.replace(at, definition.find('\n', at) - at, line);
          }
          definition.erase(definition.find_last_not_of(" \t\r\n") + 1);
          break;
        }
        case 9:
          scrambles = !scrambles;
          query.setEncryptOnWrite(scrambles);
          [[fallthrough]];
        case 10:
          if (random.oneIn(3)) {
            file = path("file" + std::to_string(random.below(3)) + (random.oneIn(4) ? "$" : ""));
            ASSERT_EQ(query.setWriteFileName(bytes(file)), 0);
          }
          ASSERT_EQ(query.save(), 0);
          afterSave();
          break;
        case 11:
          // Changes that are not saved are forgotten.
          if (random.oneIn(2)) {
            ASSERT_EQ(query.openFile(bytes(file)), 0);
            model = saved;
          }
          break;
        case 12: {
          unsigned long offset;
          ASSERT_EQ(query.getFirstSectionOffset(&offset), 0);
          EXPECT_EQ(offset != 0, !model.order.empty()) << offset;
          break;
        }
        default: EXPECT_EQ(chunk(query, name), text) << name;
      }
      EXPECT_EQ(statement(query), model.sql);
      const auto* const database = reinterpret_cast<const char*>(query.getDbName());
      EXPECT_EQ(std::string(database ? database : ""), model.database);
    }
    ASSERT_EQ(query.saveAndClose(), 0);
    EXPECT_FALSE(query.isFileOpen());
    ASSERT_EQ(query.openFile(bytes(file)), 0);
    model.passThroughFile();
    for (const auto& [name, text] : model.sections) EXPECT_EQ(chunk(query, name), text) << name;
    ASSERT_FALSE(HasFailure());
    EXPECT_EQ(errors.getCount(), 0u);
  }
}

TEST_F(QueryFiles, HeadersOfEveryForm) {
  const struct {
    const char* line;
    const char* type;  // null: not a header
    unsigned long major = 1, minor = 0, third = 0;
    bool encrypted = false;
  } cases[] = {
      {"ZUK for MyDb", "MyDb"},
      {"zak 7 FOR  My Db ", "My Db", 7},
      {"ZUK 7.0 for X Y Z", "X Y Z", 7},
      {"ZUK 10.2.33b for X", "X", 10, 2, 33},
      {"ZUK 1.2.3. for X", "X", 1, 2, 3},
      {"ZUK 7.0 for X (2)", "X", 7, 0, 0, true},
      {"ZUK 7.0 for X(1) ", "X", 7, 0, 0, true},
      {"ZUK 7.0 for X (A)", nullptr},
      {"ZUK 7.0 for X (2", nullptr},
      {"ZUK 7.0 for X (2) y", nullptr},
      {"ZUK 7.0 for X (65536)", nullptr},
      {"ZUK 99999999999999999999 for X", nullptr},
      {"ZUK 7.0", nullptr},
      {"ZUK 7.0 for", nullptr},
      {"ZUK 7.0 for (2)", nullptr},
      {"ZUK 1.2.3bb for X", nullptr},
      {"ZOK for X", nullptr},
      {"+ZUK for X", nullptr},
      {"", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    write(path("q"), std::string(c.line) + "\nselect\n");
    ZuQueryFile query;
    const int failed = query.openFile(bytes(path("q")));
    EXPECT_EQ(failed, c.type ? 0 : 1);
    EXPECT_EQ(query.isFileOpen(), !failed);
    EXPECT_EQ(takeError(), c.type ? 0 : ZU_MSG_NOT_A_QUERY_FILE);
    if (failed || !c.type) continue;
    EXPECT_STREQ(reinterpret_cast<const char*>(query.getDbType()), c.type);
    EXPECT_EQ(query.getVersionMajor(), c.major);
    EXPECT_EQ(query.getVersionMinor(), c.minor);
    EXPECT_EQ(query.getVersionThird(), c.third);
    EXPECT_EQ(query.wasEncrypted(), c.encrypted);
  }
  // A type that could not be read back is refused before anything is written.
  for (const char* type : {"", "a (b", "x (2)", "two\nlines"}) {
    ZuQueryFile query;
    ASSERT_EQ(query.initialize(bytes(type), bytes("s"), 1), 0);
    EXPECT_EQ(query.saveAs(bytes(path("new"))), 1) << type;
    EXPECT_EQ(takeError(), ZU_MSG_NOT_A_QUERY_FILE);
    EXPECT_FALSE(fs::exists(path("new")));
  }
  ZuQueryFile query;
  ASSERT_EQ(query.initialize(bytes("X"), bytes("s"), 1), 0);
  EXPECT_EQ(query.save(), 1) << "there is no name";
  EXPECT_EQ(takeError(), ZU_MSG_BAD_FILE_HANDLE);
}

TEST_F(QueryFiles, FilesOfOtherMakers) {
  ZuQueryFile query;
  unsigned long offset;
  // A version 2 file, whose first section has no header; then a section twice, one at the very end, no line
  // feed.
  const std::string old =
      "ZUK 2.1 for Old\n\n ctzuf tag\n\nuse shop ;\n\nselect *\nfrom t ; \n\n\ndef 1\ndef 2\n";
  write(path("old"), old + "[A]\n\nfirst\n[B]\n[A]\nsecond\n\n\n[END] ");
  ASSERT_EQ(query.openFile(bytes(path("old"))), 0);
  EXPECT_TRUE(query.isFormatTagged());
  EXPECT_STREQ(reinterpret_cast<const char*>(query.getDbName()), "shop");
  EXPECT_EQ(hugeChunk(query, "DEFINITION"), "def 1\ndef 2\n\n");
  EXPECT_EQ(chunk(query, "A"), "first\n\n");
  ASSERT_EQ(query.getFirstSectionOffset(&offset), 0);
  EXPECT_EQ(offset, old.size());
  EXPECT_EQ(chunk(query, "END"), "");
  EXPECT_EQ(chunk(query, "A"), "second\n\n\n") << "the last one found counts";
  EXPECT_EQ(hugeChunk(query, "A"), "second\n\n\n");
  EXPECT_EQ(hugeChunk(query, "B"), "");
  EXPECT_EQ(statement(query), "select * from t ");
  ASSERT_EQ(query.save(), 0);
  EXPECT_EQ(read(path("old")),
            "ZUK 7.0 for Old\n\nuse shop;\nselect * from t ;\n\n[DEFINITION]\ndef 1\ndef "
            "2\n\n[B]\n\n[A]\nsecond\n\n\n"
            "[END]\n\n");

  // A file without a statement, with a header at once; one with nothing; and a long line that no ";" ends.
  write(path("none"), "ZUK for X\n[A]\ntext");
  ASSERT_EQ(query.openFile(bytes(path("none"))), 0);
  EXPECT_EQ(statement(query), "");
  EXPECT_EQ(chunk(query, "A"), "text\n\n");
  write(path("none"), "ZUK for X\n");
  ASSERT_EQ(query.openFile(bytes(path("none"))), 0);
  EXPECT_EQ(statement(query), "");
  ASSERT_EQ(query.getFirstSectionOffset(&offset), 0);
  EXPECT_EQ(offset, 0u);
  const std::string line(2043, 'x');
  write(path("none"), "ZUK for X\n" + line + ";" + line + "\n[A]\n" + line + "[A]\ny");
  ASSERT_EQ(query.openFile(bytes(path("none"))), 0);
  EXPECT_EQ(statement(query), line + ";" + line);
  EXPECT_EQ(chunk(query, "A"), line + "[A]\ny\n\n");
}

TEST_F(QueryFiles, ParametersComeBack) {
  ZuQueryFile query;
  ASSERT_EQ(query.initialize(bytes("X"), bytes("s"), 1), 0);
  ZuArray params;
  params.setDeleteContentsOnDestruct();
  const std::string texts[] = {"", "it's", "a, (b)", "\"x\"", "'''", "1.5"};
  for (unsigned long i = 0; i < 6; ++i) {
    auto* const param = new ZufParam;
    ASSERT_EQ(params.add(param), 0);
    for (ZuString* text : {&param->text1, &param->text2, &param->text3, &param->text4})
      ASSERT_EQ(text->initialize(bytes(texts[(i + static_cast<unsigned long>(text - &param->text1)) % 6])),
                0);
    param->number = i ? ~0UL / i : 0;
  }
  ASSERT_EQ(query.setParams(&params), 0);
  EXPECT_EQ(chunk(query, "PARAMETERS").substr(0, 67),
            "PARAMETER.CLEAR ()\nPARAMETER.ITEM ('', 'it''s', 'a, (b)', '\"x\"', 0)");
  ASSERT_EQ(query.saveAs(bytes(path("q"))), 0);
  ZuArray found;
  found.setDeleteContentsOnDestruct();
  ASSERT_EQ(query.getParams(&found), 0);
  const std::string written = chunk(query, "PARAMETERS");
  ASSERT_EQ(found.getCount(), params.getCount());
  ASSERT_EQ(query.setParams(&found), 0);
  EXPECT_EQ(chunk(query, "PARAMETERS"), written);
  // A line that is too short has empty texts; a number that is none is an error.
  ZufParam param;
  EXPECT_EQ(param.initialize(ZuSubString(bytes("PARAMETER.ITEM ('a'"))), 0);
  EXPECT_EQ(plain(param.text1) + plain(param.text2), "a");
  EXPECT_EQ(param.initialize(ZuSubString(bytes("P.I ('a', 'b', 'c', 'd', 99999999999999999999)"))), 1);
  EXPECT_EQ(takeError(), ZU_MSG_NUMBER_OUT_OF_RANGE);
  // A description needs its line, and without apostrophes it is empty.
  ZuString text;
  EXPECT_EQ(query.getDescription(&text), 1);
  ASSERT_TRUE(isSet(query, "DEFINITION", "x SET.QUERY.DESCRIPTION (don't, can't) y\n"));
  EXPECT_EQ(query.getDescription(&text), 0);
  EXPECT_EQ(plain(text), "t, can");
  ASSERT_TRUE(isSet(query, "DEFINITION", "SET.QUERY.DESCRIPTION '"));
  EXPECT_EQ(query.getDescription(&text), 0);
  EXPECT_EQ(plain(text), "");
  EXPECT_EQ(takeError(), 0);
}

TEST_F(QueryFiles, TenThousandSections) {
  constexpr int kCount = 10000;
  ZuQueryFile query;
  ASSERT_EQ(query.initialize(bytes("X"), bytes("s"), 1), 0);
  for (int i = 0; i < kCount; ++i) {
    const std::string name = "section number " + std::to_string(i * 7919 % kCount);
    ASSERT_TRUE(isSet(query, name, name + "\n"));
  }
  ASSERT_EQ(query.saveAs(bytes(path("many"))), 0);
  for (int i = kCount - 1; i >= 0; --i) {
    const std::string name = "section number " + std::to_string(i);
    ASSERT_EQ(chunk(query, name), name + "\n\n");
  }
}

// Saves that fail half-way. `edit` and `save` are run with each file call, or each allocation, failing in
// turn; whatever fails, each file is the old one or the whole new one, and the changes are still there to be
// saved.
class FailingSaves : public QueryFiles {
 protected:
  const std::string longText = std::string(40000, 'l') + "\n\n";
  const std::string first = path("q1");
  const std::string second = path("q2");
  std::string old;

  void writeOld() {
    const FaultPause pause;
    for (const auto& name : filesThere()) fs::remove(path(name));
    for (const char* name : {"q1", "q2"})
      write(path(name), "ZUK 7.0 for X\n\nselect 1;\n\n[KEPT]\nkept\n\n[CHANGED]\nold\n\n");
    old = read(path("q1"));
  }

  bool edit(ZuQueryFile& query) const {
    unsigned long offset;
    unsigned char* data = nullptr;
    unsigned long length;
    ZuArray params;
    params.setDeleteContentsOnDestruct();
    ZuString text;
    const bool done = query.openFile(bytes(first)) == 0 && isSet(query, "CHANGED", longText) &&
                      query.getFirstSectionOffset(&offset) == 0 && query.getParams(&params) == 0 &&
                      query.setParams(&params) == 0 && query.getSqlStmt(&text) == 0 &&
                      query.getHugeSectionChunk(bytes("KEPT"), &data, &length) == 0 &&
                      query.getDescription(&text) == 1 && errors.getCount() == 0 && !errors.isOutOfMemory() &&
                      query.setDescription(&text) == 0 && query.removeSection(bytes("gone")) == 0;
    free(data);
    return done;
  }

  void checkFile(const std::string& name) {
    if (read(path(name)) == old) return;
    ZuQueryFile query;
    // If it was the renaming that failed, the new file is still there under the other name.
    ASSERT_EQ(query.openFile(bytes(path(fs::exists(path(name)) ? name : "q$"))), 0);
    EXPECT_TRUE(chunk(query, "CHANGED") == longText);
    EXPECT_EQ(chunk(query, "KEPT"), "kept\n\n");
    EXPECT_NE(chunk(query, "DEFINITION"), "");
  }

  template <class Faults>
  bool saveWith(Faults& faults, std::vector<unsigned short>& seen) {
    writeOld();
    ZuQueryFile query;
    const bool isEdited = edit(query);
    const bool isSaved = isEdited && query.save() == 0;
    const bool isDone = isSaved && query.saveAs(bytes(second)) == 0 && query.closeFile() == 0;
    faults.stop();
    const unsigned short error = takeError();
    EXPECT_EQ(error == 0, isDone);
    seen.push_back(error);
    checkFile("q1");
    checkFile("q2");
    if (isEdited && query.isFileOpen()) {
      EXPECT_TRUE(chunk(query, "CHANGED") == longText);
      EXPECT_EQ(query.saveAs(bytes(path("q1"))), 0);
      checkFile("q1");
    }
    if (error == ZU_MSG_QUERY_FILE_NOT_SAVED) {
      EXPECT_EQ(filesThere(), (Names{"q1", "q2"}));
    }
    // A read that fails after it got something is tried again, and then the work succeeds.
    return isDone && !faults.triggered();
  }
};

TEST_F(FailingSaves, LoseNothingWhenFileCallsFail) {
  std::vector<unsigned short> seen;
  const auto calls = sweepFileCalls([&](FileFaults& faults) { return saveWith(faults, seen); }, true);
  EXPECT_GE(calls, 40u);
  EXPECT_EQ(std::count(seen.begin(), seen.end(), ZU_MSG_QUERY_FILE_NOT_SAVED), 2);
  EXPECT_GE(std::count(seen.begin(), seen.end(), ZU_MSG_FILE_NOT_RENAMED), 2);
}

TEST_F(FailingSaves, LoseNothingWhenAllocationsFail) {
  std::vector<unsigned short> seen;
  sweepAllocations([&](FaultAllocator& faults) { return saveWith(faults, seen); });
}

}  // namespace
