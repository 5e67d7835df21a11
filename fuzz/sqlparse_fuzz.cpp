// SQL text through the grammar of the tests: any bytes, and tokens of the grammar picked by the bytes. What
// the parser makes of a text is what the model makes of it.

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "examples/sqltree/grammarfile.h"
#include "fuzz/language/parsemodel.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

struct Sql {
  Sql() {
    std::ifstream in(ZULIB_SOURCE_DIR "/tests/language/data/sql.bnf");
    const GrammarFile file(in);
    demand(keywords.init(file.keywordBlock().data()) == 0);
    demand(grammar.compile(file.grammarBlock().data()) == 0);
    demand(parser.init(file.grammarBlock().data(), file.keywordBlock().data()) == 0);
    words = file.getKeywords();
    for (const char* word :
         {"a", "b", "1", "(", ")", ",", ".", "*", "+", "=", "<=", "'x'", "''", "\"q\"", "?", ";", "||"}) {
      words.emplace_back(word);
    }
  }

  ZuKeywordList keywords;
  ZuGrammar grammar{nullptr, &keywords};
  ZuParser parser;
  std::vector<std::string> words;
};

void compare(Sql& sql, const std::string& text) {
  std::string expected;
  ParseModel model(sql.grammar, &sql.keywords, text);
  const ParseModel::Result result = model.parse(&expected);
  if (result == ParseModel::Result::TooLong) return;
  ZuReduction* tree;
  const int failed = sql.parser.parse(reinterpret_cast<const unsigned char*>(text.c_str()), &tree);
  demand(failed == (result != ParseModel::Result::Parsed));
  demand(failed || ParseModel::textOf(tree) == expected);
  delete tree;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Sql sql;
  constexpr size_t kMostBytes = 500;
  if (size == 0 || size > kMostBytes) return 0;
  std::string text;
  if (data[0] & 1) {
    text.assign(data + 1, data + size);
    text = text.c_str();
  } else {
    for (size_t i = 1; i < size; ++i)
      text += sql.words[data[i] % sql.words.size()] + (data[i] & 0x80 ? " " : "\n");
  }
  compare(sql, text);
  return 0;
}
