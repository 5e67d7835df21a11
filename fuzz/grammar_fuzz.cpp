// Grammars and texts for them: any bytes as the text of a grammar, and grammars that are made of the bytes so
// that they compile. What the parser makes of a text is what the model makes of it.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/language/parsemodel.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

// Entries of a block, with numbers from `first` on.
std::string block(const std::vector<std::string>& texts, short first) {
  std::string packed;
  for (const std::string& text : texts) {
    packed.append(text.c_str(), std::char_traits<char>::length(text.c_str()) + 1);
    packed.append(reinterpret_cast<const char*>(&first), sizeof first);
    ++first;
  }
  return packed + '\0';
}

class Parser : public ZuParser {
 public:
  using ZuParser::ZuParser;
  ZuReduction* ReductProc(short production, ZuReduction* children) override {
    ++reductions;
    return ZuParser::ReductProc(production, children);
  }
  int FailProc(short, const unsigned char*, short, const unsigned char*, ZuStateTransition*) override {
    return ++failures != 0;
  }
  unsigned long reductions = 0;
  unsigned long failures = 0;
};

size_t nonTerminals(const std::string& tree) {
  size_t count = 0;
  bool inText = false;
  for (size_t i = 0; i < tree.size(); ++i) {
    if (tree[i] == '\'' && (!inText || tree.compare(i, 2, "' ") == 0)) inText = !inText;
    count += !inText && tree[i] == '(';
  }
  return count;
}

void compare(const std::string& grammarBlock, const std::string& text) {
  static const std::string kKeywords = block({"A", "B", "C"}, 100);
  Parser parser(grammarBlock.data(), kKeywords.data());
  ZuKeywordList keywords;
  demand(keywords.init(kKeywords.data()) == 0);
  const ZuGrammar grammar(grammarBlock.data(), &keywords);
  ZuReduction* tree;
  if (!grammar.isOK()) {
    demand(parser.parse(bytes(text), &tree) == 1 && !tree);
    return;
  }
  std::string expected;
  ParseModel model(grammar, &keywords, text);
  const ParseModel::Result result = model.parse(&expected);
  if (result == ParseModel::Result::TooLong) return;
  const int failed = parser.parse(bytes(text), &tree);
  demand(failed == (result != ParseModel::Result::Parsed) && !failed == (tree != nullptr));
  demand(parser.failures == (result == ParseModel::Result::Unparsable));
  if (failed) return;
  demand(ParseModel::textOf(tree) == expected);
  // No callback was run for a path that was given up.
  demand(parser.reductions == nonTerminals(expected));
  delete tree;
}

class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : at(data), end(data + size) {}
  unsigned below(unsigned n) { return at == end ? 0 : *at++ % n; }
  bool isEmpty() const { return at == end; }
  std::string rest() const { return {at, end}; }

 private:
  const uint8_t* at;
  const uint8_t* end;
};

constexpr unsigned kMostDepth = 3;

std::string alternatives(Bytes& in, unsigned productions, unsigned depth) {
  static const char* const kTerms[] = {
      "A",    "B",      "C", "A", "alphanum",           "~foo",
      "~bar", "number", "<", "=", "literal-quote-char", "' literal-contents '"};
  std::string made;
  do {
    if (!made.empty()) made += "| ";
    do {
      const unsigned kind = in.below(8);
      if (kind < 3) {
        made += kTerms[in.below(12)];
      } else if (kind < 5 || depth == kMostDepth) {
        made += std::string("p-") + static_cast<char>('a' + in.below(productions));
      } else {
        static const char* const kClosings[] = {" ]", " }", " }*", " }+"};
        const unsigned closing = in.below(4);
        made += (closing == 0 ? "[ " : "{ ") + alternatives(in, productions, depth + 1) + kClosings[closing];
      }
      made += ' ';
    } while (in.below(5) < 3 && !in.isEmpty());
  } while (in.below(5) < 2 && !in.isEmpty());
  return made;
}

// A text along a random path through the table. The parser may see it otherwise: it is made without looking
// ahead, and a token may be replaced by another one.
std::string walked(const ZuGrammar& grammar, Bytes& in) {
  static const char* const kTokens[] = {"A", "foo", "1", "<=", "''", "'foo A'", "(+)", "' '"};
  constexpr int kMostSteps = 300;
  ZuProduction* goal;
  demand(grammar.getParseTable(&goal) == 0);
  std::string text;
  std::vector<const ZuParseState*> stack;
  const ZuParseState* state = goal->getParseTop();
  for (int i = 0; i < kMostSteps && state && !in.isEmpty(); ++i) {
    std::vector<const ZuStateTransition*> all;
    for (const auto* t = state->getTransitions(); t; t = t->getNextTransition()) all.push_back(t);
    if (state->getOthersState()) all.push_back(state->getOthersState());
    if (all.empty()) break;
    const ZuStateTransition* const taken = all[in.below(static_cast<unsigned>(all.size()))];
    state = taken->getNextParseState();
    if (taken->getAction() == actionPush) {
      stack.push_back(taken->getPushState());
    } else if (taken->getAction() == actionReturn) {
      state = stack.empty() ? nullptr : stack.back();
      if (state) stack.pop_back();
    } else if (taken->getAction() == actionShift) {
      const auto* const token = reinterpret_cast<const char*>(taken->getTokenString());
      const short type = taken->getTokenType();
      text += in.below(30) == 1           ? kTokens[in.below(8)]
              : token                     ? token
              : type == tokenNumber       ? "1"
              : type == tokenLiteralQuote ? "'"
                                          : "bar";
      if (in.below(4) && type != tokenLiteralQuote) text += ' ';
    }
  }
  return text;
}

void structured(Bytes in) {
  const unsigned productions = 1 + in.below(4);
  std::vector<std::string> texts = {"goal ::= p-a"};
  for (unsigned i = 0; i < productions; ++i) {
    texts.push_back(std::string("p-") + static_cast<char>('a' + i) +
                    " ::= " + alternatives(in, productions, 0));
  }
  const std::string made = block(texts, 1000);
  ZuKeywordList keywords;
  demand(keywords.init(block({"A", "B", "C"}, 100).data()) == 0);
  const ZuGrammar grammar(made.data(), &keywords);
  for (int i = 0; i < 4; ++i) compare(made, grammar.isOK() ? walked(grammar, in) : "A B");
}

// Lines are productions; the text to parse comes after a NUL.
void raw(const std::string& all) {
  constexpr size_t kMostBytes =
      400;  // brackets in brackets make tables that grow with the power of their depth
  const std::string lines = all.substr(0, std::min(all.find('\0'), kMostBytes));
  const std::string text = lines.size() < all.size() ? all.substr(lines.size() + 1) : "A B";
  std::vector<std::string> texts;
  for (size_t at = 0; at < lines.size();) {
    const size_t end = std::min(lines.find('\n', at), lines.size());
    if (end > at) texts.push_back(lines.substr(at, end - at));
    at = end + 1;
  }
  compare(block(texts, 1000), text.substr(0, kMostBytes));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Bytes in(data + 1, size - 1);
  data[0] & 1 ? raw(in.rest()) : structured(in);
  return 0;
}
