// Arbitrary files as query files, read in any order: what is read is the same however it is read, and the
// same again from the file that is saved.

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "zulib/errors/zuerror.h"
#include "zulib/language/zuqueryfile.h"
#include "zulib/runtime/zumessages.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }
std::string plain(const ZuSubString& view) {
  return {reinterpret_cast<const char*>(view.asPascalStr()), view.getLength()};
}

// A directory that goes with the process.
struct Scratch {
  ~Scratch() {
    for (const std::string& file : {in, out}) unlink(file.c_str());
    rmdir(directory.c_str());
  }
  static std::string make() {
    char pattern[] = "/tmp/zuqueryfuzzXXXXXX";
    demand(mkdtemp(pattern) != nullptr);
    return pattern;
  }
  const std::string directory = make();
  const std::string in = directory + "/in";
  const std::string out = directory + "/out";
};

struct Content {
  std::string statement;
  std::vector<std::string> sections;

  bool operator==(const Content&) const = default;
};

// Reads by the order that the script says, which changes nothing once the whole file is known.
Content contentOf(ZuQueryFile& query, const std::vector<std::string>& names, const std::string& script) {
  for (const char step : script) {
    const std::string& name = names[static_cast<unsigned char>(step) / 4 % names.size()];
    ZuString text;
    unsigned exists;
    unsigned long offset;
    switch (step & 3) {
      case 0: demand(query.getSectionChunk(bytes(name), &text) == 0); break;
      case 1: demand(query.doesSectionExist(bytes(name), &exists) == 0); break;
      case 2: demand(query.getFirstSectionOffset(&offset) == 0); break;
      default: demand(query.getSqlStmt(&text) == 0);
    }
  }
  ZuString text;
  Content content;
  demand(query.getSqlStmt(&text) == 0);
  content.statement = plain(text);
  unsigned exists;
  demand(query.doesSectionExist(bytes("no section has this name"), &exists) == 0 && !exists);
  for (const std::string& name : names) {
    unsigned char* data;
    unsigned long length;
    demand(query.getSectionChunk(bytes(name), &text) == 0);
    demand(query.getHugeSectionChunk(bytes(name), &data, &length) == 0);
    content.sections.push_back(plain(text));
    demand(content.sections.back() == std::string(reinterpret_cast<char*>(data), length));
    free(data);
  }
  return content;
}

// The names in the headers of the text, and those that any file may have.
std::vector<std::string> namesIn(const std::string& text) {
  std::vector<std::string> names(Sections, Sections + kSectionCount);
  for (size_t at = text.find("\n["); at != std::string::npos && names.size() < 64;
       at = text.find("\n[", at + 1)) {
    const std::string line = text.substr(at + 2, text.find('\n', at + 2) - at - 2);
    const size_t close = line.rfind(']');
    if (close != std::string::npos && line.find('\0') == std::string::npos)
      names.push_back(line.substr(0, close));
  }
  return names;
}

// A statement that the format holds as it is.
bool isKept(std::string statement) {
  for (char& c : statement) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const auto start = statement.find_first_not_of(" \t\n\v\f\r");
  return statement.find_first_of(";[") == std::string::npos && start == 0 &&
         statement.compare(0, 3, "use") != 0 && statement.compare(0, 5, "ctzuf") != 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Scratch scratch;
  if (size < 1) return 0;
  const size_t steps = std::min<size_t>(data[0] % 32, size - 1);
  const std::string script(reinterpret_cast<const char*>(data) + 1, steps);
  // Most inputs get a header, so that the rest of them counts.
  static const char* const kHeaders[] = {"", "ZUK 7.0 for X\n", "ZUK 2.0 for X\n\n", "ZUK 7.0 for X (2)\n"};
  std::string text = kHeaders[data[0] / 32 % 4] +
                     std::string(reinterpret_cast<const char*>(data) + 1 + steps, size - 1 - steps);
  std::ofstream(scratch.in, std::ios::binary) << text;

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  {
    ZuQueryFile query;
    if (query.openFile(bytes(scratch.in)) == 0) {
      if (query.wasEncrypted()) {
        for (size_t i = text.find('\n'); i < text.size(); ++i)
          text[i] = text[i] == '\n' ? '\n' : static_cast<char>(~text[i]);
      }
      const auto names = namesIn(text);
      const Content content = contentOf(query, names, script);
      if (query.saveAs(bytes(scratch.out))) {
        demand(errors.getLastError()->getErrorNumber() == ZU_MSG_NOT_A_QUERY_FILE);
      } else {
        const Content saved = contentOf(query, names, "");
        // What comes after a statement that was cut short is not known.
        if (isKept(content.statement)) demand(saved == content);
      }
    } else {
      demand(!query.isFileOpen() && errors.getLastError()->getErrorNumber() == ZU_MSG_NOT_A_QUERY_FILE);
    }
  }
  ZuErrorKeeper::giveUpErrorList();
  return 0;
}
