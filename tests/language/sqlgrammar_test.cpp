// The SQL grammar of data/sql.bnf: trees of statements, where and how wrong statements fail, random sentences
// of the grammar, and statements that are long and deep.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "examples/sqltree/grammarfile.h"
#include "tests/support/fault_allocator.h"
#include "zulib/errors/zuerror.h"
#include "zulib/language/parser/zuparser.h"

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }
std::string plain(const unsigned char* s) { return s ? reinterpret_cast<const char*>(s) : ""; }

std::ifstream data(const std::string& name) {
  return std::ifstream(ZULIB_SOURCE_DIR "/tests/language/data/" + name);
}

const GrammarFile& sql() {
  static const GrammarFile file = [] {
    std::ifstream in = data("sql.bnf");
    return GrammarFile(in);
  }();
  return file;
}

// Keeps what it is told of the innermost production: "offset 'token' in production: what was expected".
class SqlParser : public ZuParser {
 public:
  SqlParser() : ZuParser(sql().grammarBlock().data(), sql().keywordBlock().data()) {}

  ZuReduction* ReductProc(short production, ZuReduction* children) override {
    ++reductions;
    return ZuParser::ReductProc(production, children);
  }
  int FailProc(short, const unsigned char* text, short, const unsigned char* name,
               ZuStateTransition* expected) override {
    std::vector<std::string> tokens;
    for (; expected; expected = expected->getNextTransition()) {
      const std::string token = plain(expected->getTokenString());
      const short type = expected->getTokenType();
      tokens.push_back(token.empty() ? type == tokenWord     ? "word"
                                       : type == tokenNumber ? "number"
                                                             : "contents"
                                     : token);
    }
    std::sort(tokens.begin(), tokens.end());
    tokens.erase(std::unique(tokens.begin(), tokens.end()), tokens.end());
    failure = std::to_string(getFailPosition()) + " '" + plain(text) + "' in " + plain(name) + ":";
    for (const std::string& token : tokens) failure += " " + token;
    return 0;
  }

  std::string failure;
  unsigned long reductions = 0;
};

// A node with one child is shown as the child: "select(SELECT a from-clause(FROM t))".
std::string shown(ZuReduction* node, unsigned long* count) {
  ZuReduction* child;
  node->getChild(&child);
  if (node->terminal()) return plain(node->getString());
  ++*count;
  std::string inside;
  unsigned children = 0;
  for (; child; child->getNextSibling(&child)) inside += (children++ ? " " : "") + shown(child, count);
  return children == 1 ? inside : sql().nameOf(node->reductNumber()) + "(" + inside + ")";
}

void addTerminals(ZuReduction* node, std::vector<std::string>& found) {
  ZuReduction* child;
  node->getChild(&child);
  if (node->terminal()) found.push_back(plain(node->getString()));
  for (; child; child->getNextSibling(&child)) addTerminals(child, found);
}

// Calls `check` with every statement of a file and the text that is indented below it.
template <class Check>
void forEachCase(const std::string& name, int expected, Check check) {
  std::ifstream in = data(name);
  int count = 0;
  std::string statement;
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, 2, "  ") != 0) {
      statement = line;
      continue;
    }
    SCOPED_TRACE(statement);
    check(statement, line.substr(2));
    ++count;
  }
  EXPECT_EQ(count, expected);
}

TEST(SqlGrammar, BuildsTrees) {
  SqlParser parser;
  forEachCase("sql_trees.txt", 60, [&](const std::string& statement, const std::string& tree) {
    ZuReduction* root;
    parser.reductions = 0;
    ASSERT_EQ(parser.parse(bytes(statement), &root, zuCPUTF8), 0) << parser.failure;
    unsigned long nodes = 0;
    EXPECT_EQ(shown(root, &nodes), tree);
    EXPECT_EQ(parser.reductions, nodes);
    delete root;
  });
}

TEST(SqlGrammar, TellsWhereItFailsAndWhatWasExpected) {
  SqlParser parser;
  forEachCase("sql_errors.txt", 40, [&](const std::string& statement, const std::string& failure) {
    ZuReduction* root;
    parser.failure = "not told";
    EXPECT_EQ(parser.parse(bytes(statement), &root, zuCPUTF8), 1);
    EXPECT_EQ(root, nullptr);
    EXPECT_EQ(parser.failure, failure);
  });
}

// Random sentences of a grammar whose symbols have blanks between them.
class Sentences {
 public:
  explicit Sentences(const GrammarFile& file) {
    for (const std::string& text : file.getProductions()) {
      std::istringstream in(text);
      std::string name, symbol;
      in >> name >> symbol;
      while (in >> symbol) symbols[name].push_back(symbol);
    }
  }

  // Its tokens; contents of a literal are one token.
  std::vector<std::string> make(unsigned most) {
    sentence.clear();
    room = most;
    produce("goal");
    return sentence;
  }

 private:
  using Symbols = std::vector<std::string>;

  void produce(const std::string& name) {
    const Symbols& s = symbols.at(name);
    size_t at = 0;
    alternatives(s, at, true);
  }

  // Passes over alternatives up to their closing bracket; takes one of them if `isTaken`. Past the room of
  // the sentence that is the one after a "(", or the last: those of this grammar that end soonest.
  void alternatives(const Symbols& s, size_t& at, bool isTaken) {
    const size_t begin = at;
    unsigned count = 1;
    for (unsigned depth = 0; at < s.size() && !(depth == 0 && isClosing(s[at])); ++at) {
      depth += s[at] == "[" || s[at] == "{";
      depth -= isClosing(s[at]);
      count += depth == 0 && s[at] == "|";
    }
    if (!isTaken) return;
    unsigned skipped = sentence.size() < room ? random() % count : count - 1;
    size_t i = begin;
    for (unsigned depth = 0; skipped; ++i) {
      depth += s[i] == "[" || s[i] == "{";
      depth -= isClosing(s[i]);
      skipped -= depth == 0 && s[i] == "|";
    }
    while (i < at && s[i] != "|") symbol(s, i);
  }

  void symbol(const Symbols& s, size_t& i) {
    static const Symbols kContents = {"", "a", "it''s", "a  b", "1 < 2", " ", "(+)", "x\"\"y"};
    static const Symbols kWords = {"a", "b_1", "Total", "selection"};
    const std::string& now = s[i++];
    if (now == "[" || now == "{") {
      const size_t begin = i;
      alternatives(s, i, false);
      const std::string& closing = s[i++];
      unsigned times = closing == "}" || closing == "}+";
      if (closing != "}" && sentence.size() < room) times += random() % (closing == "]" ? 2 : 3);
      for (; times; --times) {
        size_t again = begin;
        alternatives(s, again, true);
      }
    } else if (symbols.count(now)) {
      produce(now);
    } else if (now == "alphanum") {
      sentence.push_back(kWords[random() % kWords.size()]);
    } else if (now == "number") {
      sentence.push_back(std::to_string(random() % 1000));
    } else if (now == "literal-contents") {
      sentence.push_back(kContents[random() % kContents.size()]);
    } else {
      sentence.push_back(now[0] == '\\' ? now.substr(1) : now);
    }
  }

  static bool isClosing(const std::string& s) { return s[0] == ']' || s[0] == '}'; }

  std::map<std::string, Symbols> symbols;
  std::mt19937 random{7};
  Symbols sentence;
  size_t room = 0;
};

TEST(SqlGrammar, RandomSentencesComeBackFromTheirTrees) {
  SqlParser parser;
  Sentences sentences(sql());
  std::mt19937 random(3);
  size_t longest = 0;
  for (int round = 0; round < 800; ++round) {
    const std::vector<std::string> sentence = sentences.make(random() % 300);
    std::string text;
    bool inLiteral = false;
    for (const std::string& token : sentence) {
      const bool isQuote = token == "'" || token == "\"";
      text += (isQuote || inLiteral) ? token : token + (random() % 4 ? " " : "\n");
      if (isQuote) inLiteral = !inLiteral;
      if (isQuote && !inLiteral) text += " ";
    }
    SCOPED_TRACE(text);
    ZuReduction* root;
    ASSERT_EQ(parser.parse(bytes(text), &root, zuCPUTF8), 0) << parser.failure;
    std::vector<std::string> found;
    addTerminals(root, found);
    EXPECT_EQ(found, sentence);
    longest = std::max(longest, found.size());
    delete root;
  }
  EXPECT_GT(longest, 300u);
}

std::string repeated(const std::string& piece, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += piece;
  return all;
}

TEST(SqlGrammar, DepthAndLengthAreLimitedByMemoryOnly) {
  SqlParser parser;
  constexpr int kDeep = 100000;
  const std::string tenMegabytes =
      repeated(std::string(1000, 'x') + ",", 10000) + "'" + std::string(1 << 20, 'y') + "'";
  ZuReduction* root;
  for (const std::string& text :
       {"SELECT " + repeated("(", kDeep) + "1" + repeated(")", kDeep), "SELECT " + tenMegabytes}) {
    ASSERT_EQ(parser.parse(bytes(text), &root), 0) << parser.failure;
    delete root;
  }
  EXPECT_EQ(parser.parse(bytes("SELECT " + repeated("(", kDeep) + "1" + repeated(")", kDeep - 1)), &root), 1);
  EXPECT_EQ(parser.failure.substr(0, 11), "7 '(' in pr");
}

TEST(SqlGrammar, FailuresOfMemoryFailCompilingAndParsing) {
  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  const std::string grammar = sql().grammarBlock();
  const std::string keywords = sql().keywordBlock();
  // Every 50th allocation of the compilation.
  for (size_t n = 1; n < 1000000; n += 50) {
    FaultAllocator faults;
    faults.failAt(n);
    const ZuParser parser(grammar.data(), keywords.data());
    if (!faults.triggered()) break;
    ASSERT_LT(n, 900000u);
  }
  SqlParser parser;
  const std::string text = "SELECT f('', a.b, (1)) FROM (t JOIN \"u\" ON (a) = ''''), s";
  sweepAllocations([&] {
    ZuReduction* root;
    const bool failed = parser.parse(bytes(text), &root) != 0;
    EXPECT_EQ(failed, root == nullptr);
    EXPECT_EQ(failed, errors.isOutOfMemory());
    errors.clearErrors();
    delete root;
    return !failed;
  });
  ZuErrorKeeper::giveUpErrorList();
}

}  // namespace
