// ZuParser: runs a text through the parse table of a grammar and builds a tree.
//
//   class Parser : public ZuParser {
//     using ZuParser::ZuParser;
//     int FailProc(short token, const unsigned char* text, short, const unsigned char* production,
//                  const ZuStateTransition* expected) override;   // says what is wrong
//   };
//   Parser parser(grammarRows, grammarCount, keywordRows, keywordCount);
//   ZuReduction* tree;
//   if (parser.parse(sql, &tree, zuCPUTF8)) ...
//   delete tree;
//
// The machine works from the top down, with a stack of productions under way. Where several transitions
// match a token, it takes the first and remembers a position, to which it comes back for the next one when
// the first leads nowhere. While any position is open it builds nothing and calls nothing: ReductProc is
// never run for a path that is given up.
//
// A choice is final when the production in which it was made returns: what fails later comes back to older
// positions only. When the last open position is final, the path that led there is run once more, and
// builds.
//
// Cost: text is read once, and what lies between a choice and the return of its production twice. Trying
// alternatives costs what they read. What has failed at a token is not tried there again while the choice
// before it is open, but what has succeeded is: a production whose alternatives begin alike, around itself,
// as in x ::= "(" x ")" A | "(" x ")" B, doubles the work with each level that takes the second one. Such
// alternatives should share what they begin with: x ::= "(" x ")" { A | B }. Memory grows with the depth of
// the stack, open positions and failures; nothing else limits them.
//
// A grammar may ask for work without end, by repeating what can be empty. A path that comes back to where it
// was without having taken a token fails.
//
// Thread safety: one thread at a time uses a parser. It may run any number of parses.

#ifndef ZULIB_LANGUAGE_PARSER_ZUPARSER_H
#define ZULIB_LANGUAGE_PARSER_ZUPARSER_H

#include "zulib/language/grammar/zugrammar.h"
#include "zulib/language/parser/zureduction.h"

class ZU_API ZuParser : public ZuObject {
 public:
  // Without a grammar, or with one that is not OK, `parse` fails. Grammar and keywords are given as blocks or
  // as tables (see zuresourceblock.h) and are copied; there may be no keywords (null).
  ZuParser() = default;
  ZuParser(const void* grammarBlock, const void* keywordBlock)
      : ZuParser(grammarBlock, keywordBlock, zuCPLocale) {}
  ZuParser(const void* grammarBlock, const void* keywordBlock, zuCPType cp);
  ZuParser(const resourceElement* grammarRows, unsigned short grammarCount,
           const resourceElement* keywordRows, unsigned short keywordCount)
      : ZuParser(grammarRows, grammarCount, keywordRows, keywordCount, zuCPLocale) {}
  ZuParser(const resourceElement* grammarRows, unsigned short grammarCount,
           const resourceElement* keywordRows, unsigned short keywordCount, zuCPType cp);
  ZuParser(const ZuParser&) = delete;
  ZuParser& operator=(const ZuParser&) = delete;
  ~ZuParser() override;

  // Builds the node of a production; null for none, and if allocation fails. It owns the children, null or
  // the first of them, also when it fails.
  virtual ZuReduction* ReductProc(short production, ZuReduction* children);

  // Told that the text cannot be parsed: the token that nothing takes, a production under way and its name,
  // and the transitions of the state where it failed. When choices were open, these are of the oldest one.
  // Called for the outermost production first, and on inward until the result is not 0; this one returns 1.
  virtual int FailProc(short token, const unsigned char* text, short production, const unsigned char* name,
                       ZuStateTransition* expected);

  // Replace grammar and keywords. 0, or 1 with neither if one cannot be made.
  [[nodiscard]] int init(const void* grammarBlock, const void* keywordBlock);
  [[nodiscard]] int init(const void* grammarBlock, const void* keywordBlock, zuCPType cp);
  [[nodiscard]] int init(const resourceElement* grammarRows, unsigned short grammarCount,
                         const resourceElement* keywordRows, unsigned short keywordCount);
  [[nodiscard]] int init(const resourceElement* grammarRows, unsigned short grammarCount,
                         const resourceElement* keywordRows, unsigned short keywordCount, zuCPType cp);

  // Parses a terminated text. 0 with a tree that the caller owns; or 1 with a null tree: the text does not
  // follow the grammar (FailProc is told), it has a character that is no token, the grammar takes literal
  // contents outside a literal, the parser is not OK, or allocation fails (it is not told).
  [[nodiscard]] int parse(const unsigned char* text, ZuReduction** result, zuCPType cp = zuCPLocale);

  // For every later parse: the quotes and the valid characters of its lexer. A text replaces the one before.
  // 1 if allocation fails.
  void setLiteralQuoteChars(unsigned short first, unsigned short second, unsigned short third);
  int setValidFirstChars(const unsigned char* text);
  int setValidMiddleChars(const unsigned char* text);
  int setValidChars(const unsigned char* text);

  // As on ZuGrammar.
  int changeGoal(const unsigned char* name);

  // Where the token begins that the last call of FailProc was about, in bytes.
  unsigned long getFailPosition() const { return failPosition; }

 private:
  friend class ZuParseRun;

  void dropScratch();
  int makeKeywords(const void* block);
  int setGrammar(ZuGrammar* made);

  std::uint32_t parserOk = 0;
  ZuGrammar* grammar = nullptr;       // owned
  ZuKeywordList* keywords = nullptr;  // owned
  std::uint32_t quotesSet = 0;
  unsigned short quote1 = 0;
  unsigned short quote2 = 0;
  unsigned short quote3 = 0;
  unsigned char* validFirstChars = nullptr;  // owned
  unsigned char* validMiddleChars = nullptr;
  unsigned char* validChars = nullptr;
  unsigned long failPosition = 0;
  // Memory of the last run for the next one, which needs not clear it then. Owned; null while a run has it.
  unsigned long* scratch = nullptr;
  bool reductFailed = false;  // ReductProc of this class could not make a node
};

#endif
