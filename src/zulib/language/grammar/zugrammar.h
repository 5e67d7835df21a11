// ZuGrammar: compiles a grammar, given as text, into the parse table that ZuParser runs.
//
//   const resourceElement rows[] = {{"goal ::= SELECT list FROM table", 1000},
//                                   {"list ::= column { , column }*", 1001}, ...};
//   ZuGrammar grammar(rows, count, &keywords);
//   if (!grammar.isOK()) ...
//
// A grammar is a block (see zuresourceblock.h) of productions with their numbers, from 1000 on. One text is
// one production:
//
//   production    name "::=" alternatives
//   alternatives  items, with "|" between the alternatives
//   item          "[" alternatives "]"      may be left out
//                 "{" alternatives "}"      once
//                 "{" alternatives "}" "*"  any number of times
//                 "{" alternatives "}" "+"  once or more
//                 term
//   term          a word of lower-case letters and hyphens: a production; or alphanum for any word,
//                 number for a number, literal-quote-char and literal-contents for quoted text
//                 a keyword of the list
//                 "\" and a token: that token, also if it means something here
//                 "~" and a word: that word, in any case, without being a keyword
//                 any other token: itself
//
// Brackets nest up to kMostNesting. A production must not begin with itself, directly or through others, nor
// come after nothing but brackets that may be left out.
//
// What the parser does with a grammar follows from two rules that are easy to overlook. A production is
// entered only on a token with which it can begin, so an empty one is never entered. And the tokens with
// which it can begin are told apart by their types only: of several words (~a | ~b) in that place the one
// that was listed first counts.
//
// There are no messages: a grammar that cannot be compiled is not OK.
//
// Thread safety: none while it is compiled; the table is read-only afterwards.

#ifndef ZULIB_LANGUAGE_GRAMMAR_ZUGRAMMAR_H
#define ZULIB_LANGUAGE_GRAMMAR_ZUGRAMMAR_H

#include "zulib/language/grammar/zuproduction.h"
#include "zulib/language/zulexer.h"
#include "zulib/language/zuresourceblock.h"

class ZU_API ZuGrammar : public ZuObject {
 public:
  static constexpr unsigned kMostNesting = 1000;

  ZuGrammar() = default;
  // Compile at once; `isOK` tells the result. The keyword list may be null; it is not owned, and parsing uses
  // it too.
  ZuGrammar(const void* block, ZuKeywordList* keywords) : ZuGrammar(block, keywords, zuCPLocale) {}
  ZuGrammar(const void* block, ZuKeywordList* keywords, zuCPType cp);
  ZuGrammar(const resourceElement* rows, unsigned short count, ZuKeywordList* keywords)
      : ZuGrammar(rows, count, keywords, zuCPLocale) {}
  ZuGrammar(const resourceElement* rows, unsigned short count, ZuKeywordList* keywords, zuCPType cp);
  ZuGrammar(const ZuGrammar&) = delete;
  ZuGrammar& operator=(const ZuGrammar&) = delete;
  ~ZuGrammar() override;

  // Compiles a grammar in place of the one before. 0, or 1. The keywords are compared with regard to case
  // while it is read, and without from then on; after a text that cannot be read they stay as they were while
  // reading.
  [[nodiscard]] int compile(const void* block);
  std::uint32_t isOK() const { return compiledOk; }

  // 0 with the goal production, or 1 if there is none.
  int getParseTable(ZuProduction** goal) const;

  // Makes another production the goal, which is the one named "goal" at first. A grammar that was not OK only
  // because it had no goal is OK then. 1 if allocation fails or no production has the name; the goal stays
  // then, but a later `compile` looks for the new name.
  int changeGoal(const unsigned char* name);

  // Does nothing; returns 0. Kept: drivers call it before they delete a grammar.
  int freeGrammar() { return 0; }

  const ZuProduction* getProductions() const { return productions; }
  // States of all productions; their numbers are below it.
  unsigned long getStateCount() const { return stateCount; }

 private:
  int compGoal(const unsigned char* block);
  int compReduct(ZuLexer& lexer, ZuProduction* production);
  static int compValidateToken(ZuLexer& lexer, short wanted);
  static int compReductName(ZuLexer& lexer, ZuBNFElement* element);
  int compReductElement(ZuLexer& lexer, ZuBNFElement** found);
  int compAlternatives(ZuLexer& lexer, ZuBNFElement** found, short* after);
  int compGroup(ZuLexer& lexer, short opening, ZuBNFElement* element);
  int compBraceContents(ZuLexer& lexer, ZuBNFElement** found);
  static int compReductTerm(ZuLexer& lexer, ZuBNFElement** found);
  static int compTerm(ZuLexer& lexer, short code, unsigned char* text, ZuBNFElement* element);
  static int isLegalReductTerm(short code);
  int createParseTree();
  int resolveNonTerminals();
  int resolve(ZuBNFElement* element);
  int getNonTerminalProduction(const unsigned char* name, ZuProduction** found) const;
  int findGoal();

  std::uint32_t compiledOk = 0;
  zuCPType codePage = zuCPLocale;
  ZuProduction* productions = nullptr;  // owned
  ZuProduction* goalProduction = nullptr;
  unsigned char* goalName = nullptr;  // owned
  ZuKeywordList* keywords = nullptr;
  bool tableComplete = false;
  unsigned nesting = 0;  // of brackets, while a production is read
  unsigned long stateCount = 0;
};

#endif
