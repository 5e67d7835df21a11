// Keyword lists, the lexer, the compiler of grammars, trees; and a bounded run of the fuzz target, which
// aborts where the parser differs from a slow model.

#include <gtest/gtest.h>

#include <random>

#include "fuzz/grammar_fuzz.cpp"
#include "tests/support/fault_allocator.h"
#include "zulib/language/parser/zuparsestack.h"

namespace {

const unsigned char* bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }
std::string plain(const unsigned char* s) { return s ? reinterpret_cast<const char*>(s) : "(null)"; }

struct Keywords : ZuKeywordList {
  explicit Keywords(const std::vector<std::string>& words) {
    EXPECT_EQ(init(block(words, 100).data()), 0);
    setCaseSensitiveCompare(0);
  }
};

// "code'text' " for each token; "!" for one that has no code, at which it stops.
std::string tokens(ZuLexer& lexer) {
  std::string all;
  short code;
  unsigned char* text;
  do {
    if (lexer.nextToken(&code, &text)) return all + "!";
    all += ParseModel::terminal(code, plain(text).c_str());
  } while (code != tokenEnd);
  return all;
}

TEST(Lexer, CutsTextsIntoTheirTokens) {
  Keywords keywords({"SELECT", "x", "select", "a"});
  const struct {
    const char* text;
    const char* tokens;
  } cases[] = {
      {"", "1'' "},
      {"Select sel X", "100'Select' 2'sel' 101'X' 1'' "},
      {"1.5 .5", "5'1' 37'.' 5'5' 37'.' 5'5' 1'' "},
      {"<=< =", "34'<' 23'=' 34'<' 23'=' 1'' "},
      {"(+)(", "18'(' 17'+' 18')' 18'(' 1'' "},
      {"[\\]^~_", "27'[' 25'\\' 29']' 15'^' 8'~' 2'_' 1'' "},
      {"!@#$%&*)-+=|{};:,>.?/<",
       "10'!' 11'@' 12'#' 13'$' 14'%' 16'&' 17'*' 19')' 20'-' 22'+' 23'=' 24'|' 26'{' "
       "28'}' 31';' 30':' 35',' 36'>' 37'.' 38'?' 39'/' 34'<' 1'' "},
      {"''", "40''' 2'' 40''' 1'' "},
      {"' 'x", "40''' 2'' 40''' 101'x' 1'' "},
      {"'a''b' \"c'\"`d\"`",
       "40''' 103'a' 33''' 33''' 2'b' 40''' 40'\"' 2'c' 33''' 40'\"' 40'`' 2'd' 32'\"' 40'`' 1'' "},
      {"x 'open", "101'x' 4''open' 1'' "},
      {"a \x01 b", "103'a' !"},
  };
  for (const auto& c : cases) {
    ZuLexer lexer(bytes(c.text), zuCPUTF8, &keywords);
    EXPECT_EQ(tokens(lexer), c.tokens) << c.text;
    lexer.newString(bytes(c.text), zuCPUTF8);
    EXPECT_EQ(tokens(lexer), c.tokens) << c.text;
  }
}

TEST(Lexer, StepsBackAndRestoresPositionsAtEveryToken) {
  const std::string longText(40000, 'x');
  const std::string text = "a <= (+) '' ' ' 'b <= c''' `\"` '" + longText + "' \"d\" || 1.5";
  std::string all;
  {
    ZuLexer lexer(bytes(text), nullptr);
    all = tokens(lexer);
  }
  for (int n = 1;; ++n) {
    ZuLexer lexer(bytes(text), nullptr);
    short code = tokenNone, index, again;
    unsigned char* word = nullptr;
    for (int i = 0; i < n; ++i) ASSERT_EQ(lexer.nextToken(&code, &word), 0);
    if (code == tokenEnd) break;
    const std::string last = ParseModel::terminal(code, plain(word).c_str());
    const unsigned long place = lexer.getTokenPosition();
    EXPECT_EQ(text.compare(place, plain(word).size(), plain(word)), 0) << n;
    const bool isIn = lexer.tokenIsLiteral();
    ZuToken *token, literalToken;
    ZuScanner* literal;
    ASSERT_EQ(lexer.getPosition(&token, &index, &literal, &literalToken), 0);
    const std::string rest = tokens(lexer);
    EXPECT_TRUE(all.substr(all.size() - rest.size()) == rest) << n;
    ASSERT_EQ(lexer.setPosition(token, index, literal, &literalToken), 0);
    EXPECT_EQ(lexer.tokenIsLiteral(), isIn);
    EXPECT_EQ(lexer.getTokenPosition(), place);
    lexer.thisToken(&again, &word, 0);
    EXPECT_EQ(ParseModel::terminal(code, plain(word).c_str()), last);
    lexer.backup();
    EXPECT_TRUE(tokens(lexer) == last + rest) << n;
    if (isIn && last != "2'' ") {
      ASSERT_EQ(lexer.setPosition(token, index, literal, &literalToken), 0);
      ASSERT_EQ(lexer.getLiteralContents(&word), 0);
      EXPECT_EQ(plain(word), text.substr(literalToken.getBegOfToken() + 1, literalToken.getLength() - 2));
      ASSERT_EQ(lexer.nextToken(&code, &word), 0);
      EXPECT_EQ(code, tokenLiteralQuote);
      EXPECT_FALSE(lexer.tokenIsLiteral());
    }
    delete token;
    delete literal;
  }
}

TEST(Lexer, ValidCharactersHoldInsideLiterals) {
  ZuLexer lexer(bytes("$a-b '$a-b#'"), nullptr);
  ASSERT_EQ(lexer.setValidChars(bytes("$"), bytes("-"), bytes("#")), 0);
  EXPECT_EQ(tokens(lexer), "2'$a-b' 40''' 2'$a-b#' 40''' 1'' ");
}

// The transitions of a production: "token>action", with "!" for duplicates; "others" at the end.
std::string table(const ZuParseState* state) {
  std::string all;
  for (const ZuStateTransition* t = state->getTransitions(); t; t = t->getNextTransition()) {
    all +=
        plain(t->getTokenString()) + ">" + std::to_string(t->getAction()) + (t->isDuplicate() ? "! " : " ");
  }
  const ZuStateTransition* const others = state->getOthersState();
  return others ? all + "others>" + std::to_string(others->getAction()) : all;
}

TEST(Grammar, CompilesTexts) {
  const struct {
    std::vector<std::string> texts;
    const char* table;  // of the goal's first state; null: cannot be compiled
  } cases[] = {
      {{}, nullptr},
      {{"goal ::= A"}, "A>3 "},
      {{"goal : : = a-b", "a-b::=A|B"}, "A>3 B>3 "},
      {{"a-b ::= A"}, nullptr},
      {{"goal ::= c-d"}, nullptr},
      {{"goal ::= [ A ] B"}, "A>3 B>3 "},
      {{"goal ::= [ A ] [ B ]"}, "A>3 B>3 "},
      {{"goal ::= A B | A C"}, "A>3! A>3! "},
      {{"goal ::= x", "x ::= ~foo | ~bar"}, "foo>3 "},
      {{"goal ::= alphanum | ~foo | ~bar | number"}, "(null)>3! foo>3! bar>3! (null)>3 "},
      {{"goal ::= ~foo | alphanum"}, "foo>3 (null)>3 "},
      {{"goal ::= \\| \\\\ \\A | \\Foo | <="}, "|>3 Foo>3 <>3 "},
      {{"goal ::= ' literal-contents ' | literal-quote-char"}, "'>3 (null)>3 "},
      {{"goal ::= {A}+ | {{B}*}"}, "A>3 B>3 "},
      {{"goal ::= a", "a ::= b", "b ::= A | a"}, nullptr},
      {{"goal ::= [ A ] goal"}, nullptr},
      {{"goal ::= { [ A ] }* goal B"}, nullptr},
      {{"Goal ::= A"}, nullptr},
      {{"goal ::= Ab"}, nullptr},
      {{"goal ::= a_b"}, nullptr},
      {{"alphanum ::= A", "goal ::= B"}, nullptr},
      {{"goal ::="}, nullptr},
      {{"goal ::= A |"}, nullptr},
      {{"goal ::= | A"}, nullptr},
      {{"goal = A"}, nullptr},
      {{"goal ::= [ A }"}, nullptr},
      {{"goal ::= { A"}, nullptr},
      {{"goal ::= A ]"}, nullptr},
      {{"goal ::= [ ]"}, nullptr},
      {{"goal ::= \\"}, nullptr},
      {{"goal ::= ~"}, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.texts.empty() ? "" : c.texts[0]);
    Keywords keywords({"A", "B", "C"});
    const ZuGrammar compiled(block(c.texts, 1000).data(), &keywords);
    ASSERT_EQ(compiled.isOK(), c.table ? 1u : 0u);
    ZuProduction* goal;
    if (!c.table || compiled.getParseTable(&goal)) continue;
    EXPECT_EQ(table(goal->getParseTop()), c.table);
  }
}

TEST(Grammar, LongDeepAndExplosiveTextsUseNoStack) {
  std::string sequence = "goal ::=", alternatives = "goal ::= A";
  std::vector<std::string> chain = {"goal ::= p-aaaa"};
  const auto name = [](int n) {
    std::string all = "p-";
    for (int i = 0; i < 4; ++i, n /= 26) all += static_cast<char>('a' + n % 26);
    return all;
  };
  for (int i = 0; i < 100000; ++i) sequence += " [ A ] B";
  for (int i = 0; i < 2000; ++i) alternatives += " | A";
  for (int i = 0; i < 2000; ++i) chain.push_back(name(i) + " ::= " + name(i + 1));
  chain.push_back(name(2000) + " ::= A");
  const auto nested = [](unsigned depth, const char* closing) {
    std::string text = "goal ::= ";
    for (unsigned i = 0; i < depth; ++i) text += "{";
    text += "A";
    for (unsigned i = 0; i < depth; ++i) text += closing;
    return text;
  };
  const struct {
    std::vector<std::string> texts;
    unsigned isOk;
  } cases[] = {{{sequence}, 1},
               {{alternatives}, 1},
               {chain, 1},
               {{nested(ZuGrammar::kMostNesting, "}")}, 1},
               {{nested(ZuGrammar::kMostNesting + 1, "}")}, 0},
               {{nested(100000, "}")}, 0},
               {{nested(17, "}*")}, 0}};
  Keywords keywords({"A", "B"});
  for (const auto& c : cases) {
    EXPECT_EQ(ZuGrammar(block(c.texts, 1000).data(), &keywords).isOK(), c.isOk) << c.texts[0].substr(0, 40);
  }
}

class Told : public ZuParser {
 public:
  using ZuParser::ZuParser;
  int FailProc(short token, const unsigned char*, short production, const unsigned char* name,
               ZuStateTransition*) override {
    told += std::to_string(token) + ":" + std::to_string(production) + plain(name) + " ";
    return production == 1001;
  }
  std::string told;
};

TEST(Parser, GoalsCanChangeAndFailuresAreToldFromTheOutside) {
  const resourceElement rows[] = {{"start ::= one A", 1000}, {"one ::= B two", 1001}, {"two ::= C", 1002}};
  const resourceElement words[] = {{"A", 100}, {"B", 101}, {"C", 102}};
  Told parser(rows, 3, words, 3, zuCPUTF8);
  ZuReduction* tree;
  EXPECT_EQ(parser.parse(bytes("b c a"), &tree), 1);
  EXPECT_EQ(parser.changeGoal(bytes("none")), 1);
  ASSERT_EQ(parser.changeGoal(bytes("start")), 0);
  ASSERT_EQ(parser.parse(bytes("b c a"), &tree), 0);
  EXPECT_EQ(ParseModel::textOf(tree), "1000(1001(101'b' 1002(102'c' ))100'a' )");
  ZuReduction *node, *goal;
  tree->getChild(&node);
  node->getNextSibling(&node);
  node->getGoal(&goal);
  EXPECT_EQ(goal, tree);
  delete node;
  EXPECT_EQ(ParseModel::textOf(tree), "1000(1001(101'b' 1002(102'c' )))");
  delete tree;
  EXPECT_EQ(parser.parse(bytes("b b"), &tree), 1);
  EXPECT_EQ(parser.parse(bytes("b c"), &tree), 1);
  EXPECT_EQ(parser.parse(bytes("b c a a"), &tree), 1);
  EXPECT_EQ(parser.parse(bytes("b \x01"), &tree), 1);
  EXPECT_EQ(parser.told, "101:1000start 101:1001one 1:1000start 100:1000start ");
  ASSERT_EQ(parser.changeGoal(bytes("two")), 0);
  ASSERT_EQ(parser.parse(bytes("C"), &tree), 0);
  delete tree;
  EXPECT_EQ(parser.init(rows, 3, words, 3), 1);
  EXPECT_EQ(parser.changeGoal(bytes("start")), 1);
  const resourceElement quoted[] = {
      {"goal ::= ~x { literal-quote-char alphanum literal-quote-char }*", 1000}};
  ASSERT_EQ(parser.init(quoted, 1, nullptr, 0), 0);
  parser.setLiteralQuoteChars('%', 0xFFFF, 0xFFFF);
  ASSERT_EQ(parser.setValidMiddleChars(bytes("'")), 0);
  ASSERT_EQ(parser.parse(bytes("X%it's% %%"), &tree), 0);
  EXPECT_EQ(ParseModel::textOf(tree), "1000(2'X' 40'%' 2'it's' 40'%' 40'%' 2'' 40'%' )");
  delete tree;
}

TEST(Parser, NodesOfTheStackAreFoundFromTheTop) {
  auto* const bottom = new ZuParseStackNode;
  auto* const middle = new ZuParseStackNode;
  ZuParseStackNode top;
  middle->setNextNode(bottom);
  top.setNextNode(middle);
  EXPECT_EQ(top.getNodeBefore(nullptr), bottom);
  EXPECT_EQ(top.getNodeBefore(bottom), middle);
  EXPECT_EQ(top.getNodeBefore(middle), &top);
  EXPECT_EQ(top.getNodeBefore(&top), nullptr);
  EXPECT_EQ(bottom->getNodeBefore(&top), nullptr);
}

TEST(Parser, AgreesWithTheModel) {
  std::mt19937 random(1);
  std::vector<uint8_t> data;
  for (int round = 0; round < 1500; ++round) {
    data.resize(20 + random() % 160);
    for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());
    data[0] = 0;
    LLVMFuzzerTestOneInput(data.data(), data.size());
  }
  const std::string texts[] = {"goal ::= { [ A ] }* B",
                               "goal ::= p p\np ::= [ A B | A C ]",
                               "goal ::= { p }*\np ::= [ A B | A C ]",
                               "goal ::= x\nx ::= p x B | p x C\np ::= [ A B | A C ]",
                               "goal ::= ' literal-contents | A literal-contents",
                               "goal ::= { A | A }* { B B | B }"};
  const std::string statements[] = {"A A B", "B", "A C A B", "", "A", "'A B", "'A B'", "A B B"};
  for (const std::string& text : texts) {
    for (const std::string& statement : statements) {
      const std::string input = "\1" + text + std::string(1, '\0') + statement;
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    }
  }
}

}  // namespace
