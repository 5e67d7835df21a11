// zusqltree: prints the tree of a statement by the grammar in a file, or where the statement is wrong.

#include <zulib/language/parser/zuparser.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <string>

#include "grammarfile.h"

namespace {

std::string text(const unsigned char* s) { return s ? reinterpret_cast<const char*>(s) : ""; }

// What a transition takes, in the words of a message.
std::string described(const ZuStateTransition& transition) {
  const std::string token = text(transition.getTokenString());
  if (!token.empty()) return token;
  switch (transition.getTokenType()) {
    case tokenWord: return "a word";
    case tokenNumber: return "a number";
    case tokenLiteralQuote: return "a quote";
    default: return "quoted text";
  }
}

// Prints where it fails, with a caret under the place.
class TreeParser : public ZuParser {
 public:
  TreeParser(const GrammarFile& file, const std::string& statement)
      : ZuParser(file.grammarBlock().data(), file.keywordBlock().data(), zuCPUTF8), statement(statement) {}

  int FailProc(short, const unsigned char*, short, const unsigned char*,
               ZuStateTransition* expected) override {
    const unsigned long at = std::min<unsigned long>(getFailPosition(), statement.size());
    const size_t begin = at == 0 ? 0 : statement.rfind('\n', at - 1) + 1;
    const size_t end = std::min(statement.find('\n', at), statement.size());
    std::printf("%s\n%s^\n", statement.substr(begin, end - begin).c_str(),
                std::string(at - begin, ' ').c_str());
    std::set<std::string> tokens;
    for (; expected; expected = expected->getNextTransition()) tokens.insert(described(*expected));
    std::printf("expected%s", tokens.empty() ? " the end" : "");
    for (const std::string& token : tokens) std::printf(" %s", token.c_str());
    std::printf("\n");
    isTold = true;
    return 1;
  }

  bool isTold = false;

 private:
  const std::string& statement;
};

// The tree in the order of the text, a line for each node.
void print(const GrammarFile& file, ZuReduction* root) {
  int depth = 0;
  for (ZuReduction* node = root; node;) {
    const std::string name = file.nameOf(node->reductNumber());
    std::printf("%*s%s\n", 2 * depth, "", node->terminal() ? text(node->getString()).c_str() : name.c_str());
    ZuReduction* next;
    node->getChild(&next);
    depth += next != nullptr;
    while (!next && node != root) {
      node->getNextSibling(&next);
      if (next) break;
      node->getParent(&node);
      --depth;
    }
    node = next;
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Prints the tree of a statement, or where it does not follow the grammar.");
  std::string grammarName;
  std::string statement;
  app.add_option("grammar", grammarName, "file with the grammar")->required()->check(CLI::ExistingFile);
  app.add_option("statement", statement, "default: the standard input");
  CLI11_PARSE(app, argc, argv);
  if (statement.empty()) statement.assign(std::istreambuf_iterator<char>(std::cin), {});

  std::ifstream in(grammarName);
  const GrammarFile file(in);
  TreeParser parser(file, statement);
  ZuReduction* found;
  if (parser.parse(reinterpret_cast<const unsigned char*>(statement.c_str()), &found, zuCPUTF8)) {
    if (!parser.isTold) std::fprintf(stderr, "zusqltree: the grammar or a character is wrong\n");
    return 1;
  }
  const std::unique_ptr<ZuReduction> tree(found);
  print(file, tree.get());
  return 0;
}
