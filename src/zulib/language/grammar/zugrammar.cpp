#include "zulib/language/grammar/zugrammar.h"

#include <cstdlib>
#include <initializer_list>

#include "zulib/language/internal/replacetext.h"
#include "zulib/text/strcompare.h"
#include "zulib/text/strcopy.h"
#include "zulib/text/strfind.h"

namespace {

constexpr unsigned char kHyphen[] = "-";
constexpr unsigned char kDefaultGoal[] = "goal";

// Names that stand for tokens.
struct TokenName {
  const char* name;
  short code;
};
constexpr TokenName kTokenNames[] = {{"alphanum", tokenWord},
                                     {"number", tokenNumber},
                                     {"literal-contents", tokenLiteralContents},
                                     {"literal-quote-char", tokenLiteralQuote}};

bool isLowerCase(unsigned char c) { return c >= 'a' && c <= 'z'; }

// Chains elements at the end of a list that keeps its end, since lists can be long.
struct Chain {
  ZuBNFElement* head = nullptr;
  ZuBNFElement* last = nullptr;

  ~Chain() { delete head; }
  ZuBNFElement* release() {
    ZuBNFElement* const all = head;
    head = nullptr;
    return all;
  }
  // Takes one element, or a sequence of them.
  void addSequence(ZuBNFElement* element) {
    if (head) {
      last->addToSequentialEnd(element);
    } else {
      head = element;
    }
    last = element;
    while (last->getNextSequential(&element) == 0) last = element;
  }
  void addAlternative(ZuBNFElement* element) {
    if (head) {
      last->addToAlternationEnd(element);
    } else {
      head = element;
    }
    last = element;
  }
};

}  // namespace

ZuGrammar::ZuGrammar(const void* block, ZuKeywordList* list, zuCPType cp) : codePage(cp), keywords(list) {
  static_cast<void>(compile(block));
}

ZuGrammar::ZuGrammar(const resourceElement* rows, unsigned short count, ZuKeywordList* list, zuCPType cp)
    : codePage(cp), keywords(list) {
  unsigned char* const block = zuPackBlock(rows, count);
  if (!block) return;
  static_cast<void>(compile(block));
  std::free(block);
}

ZuGrammar::~ZuGrammar() {
  delete productions;
  std::free(goalName);
}

int ZuGrammar::compile(const void* block) {
  compiledOk = 0;
  tableComplete = false;
  goalProduction = nullptr;
  delete productions;
  productions = nullptr;
  stateCount = 0;
  if (keywords) keywords->setCaseSensitiveCompare(1);
  if (compGoal(static_cast<const unsigned char*>(block))) return 1;
  if (keywords) keywords->setCaseSensitiveCompare(0);
  if (createParseTree()) return 1;
  compiledOk = 1;
  return 0;
}

int ZuGrammar::getParseTable(ZuProduction** goal) const {
  *goal = goalProduction;
  return goalProduction ? 0 : 1;
}

int ZuGrammar::changeGoal(const unsigned char* name) {
  if (!name || language::replaceText(goalName, name) || findGoal()) return 1;
  if (tableComplete) compiledOk = 1;
  return 0;
}

int ZuGrammar::findGoal() {
  ZuProduction* found;
  if (getNonTerminalProduction(goalName ? goalName : kDefaultGoal, &found)) return 1;
  goalProduction = found;
  return 0;
}

// --- reading ----------------------------------------------------------------------------------------------

int ZuGrammar::compGoal(const unsigned char* block) {
  if (!block || !*block) return 1;
  ZuProduction* last = nullptr;
  ZuBlockEntry entry;
  for (const unsigned char* at = block; (at = zuReadBlockEntry(at, entry));) {
    auto* const production = new ZuProduction;
    if (!production) return 1;
    ZuLexer lexer(entry.text, codePage, keywords);
    lexer.setLiteralQuoteChars(0, 0, 0);
    if (!production->getParseTop() || compReduct(lexer, production)) {
      delete production;
      return 1;
    }
    production->setNumber(entry.number);
    if (last) {
      last->setNextProduction(production);
    } else {
      productions = production;
    }
    last = production;
  }
  return resolveNonTerminals();
}

int ZuGrammar::compReduct(ZuLexer& lexer, ZuProduction* production) {
  ZuBNFElement name;
  if (compReductName(lexer, &name) || !name.getTokenString()) return 1;
  if (production->setName(name.getTokenString())) return 1;
  for (const short wanted : {tokenColon, tokenColon, tokenEqual}) {
    if (compValidateToken(lexer, wanted)) return 1;
  }
  ZuBNFElement* alternatives;
  short after;
  if (compAlternatives(lexer, &alternatives, &after)) return 1;
  production->setCompiledProduction(alternatives);
  return after == tokenEnd ? 0 : 1;
}

int ZuGrammar::compValidateToken(ZuLexer& lexer, short wanted) {
  short code;
  return lexer.nextToken(&code, nullptr) || code != wanted;
}

int ZuGrammar::compReductName(ZuLexer& lexer, ZuBNFElement* element) {
  ZuScanner* const scanner = lexer.getScanner();
  short code;
  unsigned char* text;
  if (scanner->setValidMiddleChars(kHyphen)) return 1;
  const int failed = lexer.nextToken(&code, &text);
  scanner->resetValidChars();
  if (failed || code != tokenWord) return 1;
  if (!strContains(text, strLen(text), kHyphen, strClassLower, zuCPSingleByte)) return 1;
  for (const TokenName& name : kTokenNames) {
    if (!strEqual(text, reinterpret_cast<const unsigned char*>(name.name))) continue;
    element->setTokenType(name.code);
    return 0;
  }
  element->setTokenType(tokenWord);
  return element->setTokenString(text);
}

// Alternatives, and the token that ends them.
int ZuGrammar::compAlternatives(ZuLexer& lexer, ZuBNFElement** found, short* after) {
  Chain alternatives;
  do {
    ZuBNFElement* element;
    if (compReductElement(lexer, &element)) return 1;
    alternatives.addAlternative(element);
    if (lexer.nextToken(after, nullptr)) return 1;
  } while (*after == tokenBar);
  *found = alternatives.release();
  return 0;
}

// One alternative: groups and runs of terms, up to what cannot belong to it.
int ZuGrammar::compReductElement(ZuLexer& lexer, ZuBNFElement** found) {
  Chain sequence;
  short code;
  do {
    if (lexer.nextToken(&code, nullptr)) return 1;
    ZuBNFElement* element = nullptr;
    if (code == tokenLeftBrace || code == tokenLeftBracket) {
      element = new ZuBNFElement;
      if (!element) return 1;
      sequence.addSequence(element);
      if (compGroup(lexer, code, element)) return 1;
    } else {
      lexer.backup();
      if (compReductTerm(lexer, &element)) return 1;
      sequence.addSequence(element);
    }
    if (lexer.nextToken(&code, nullptr)) return 1;
    lexer.backup();
  } while (code != tokenEnd && code != tokenBar && code != tokenRightBrace && code != tokenRightBracket);
  *found = sequence.release();
  return 0;
}

int ZuGrammar::compGroup(ZuLexer& lexer, short opening, ZuBNFElement* element) {
  const bool isBraces = opening == tokenLeftBrace;
  element->setBracket(isBraces ? ZuBNFElement::kBraces : ZuBNFElement::kSquare);
  if (nesting == kMostNesting) return 1;
  ++nesting;
  ZuBNFElement* contents = nullptr;
  const int failed = compBraceContents(lexer, &contents);
  --nesting;
  if (failed) return 1;
  element->setContains(contents);
  for (ZuBNFElement* inner = contents; inner;) {
    inner->setContainedBy(element);
    if (inner->getNextAlternation(&inner)) break;
  }
  if (compValidateToken(lexer, isBraces ? tokenRightBrace : tokenRightBracket)) return 1;
  if (!isBraces) return 0;
  short code;
  if (lexer.nextToken(&code, nullptr)) return 1;
  if (code == tokenAsterisk) {
    element->setClosure(ZuBNFElement::kAnyNumber);
  } else if (code == tokenPlus) {
    element->setClosure(ZuBNFElement::kAtLeastOnce);
  } else {
    lexer.backup();
  }
  return 0;
}

int ZuGrammar::compBraceContents(ZuLexer& lexer, ZuBNFElement** found) {
  short after;
  if (compAlternatives(lexer, found, &after)) return 1;
  lexer.backup();
  return 0;
}

int ZuGrammar::compReductTerm(ZuLexer& lexer, ZuBNFElement** found) {
  Chain terms;
  while (true) {
    short code;
    unsigned char* text;
    if (lexer.nextToken(&code, &text)) return 1;
    if (isLegalReductTerm(code)) {
      lexer.backup();
      *found = terms.release();
      return *found ? 0 : 1;
    }
    auto* const element = new ZuBNFElement;
    if (!element) return 1;
    terms.addSequence(element);
    if (compTerm(lexer, code, text, element)) return 1;
  }
}

// The term that begins with a token that was just read.
int ZuGrammar::compTerm(ZuLexer& lexer, short code, unsigned char* text, ZuBNFElement* element) {
  if (code == tokenWord) {
    lexer.backup();
    return compReductName(lexer, element);
  }
  if (code == tokenBackslash || code == tokenTilde) {
    const bool isWord = code == tokenTilde;
    if (lexer.nextToken(&code, &text) || code == tokenEnd) return 1;
    if (isWord) {
      element->setLiteral(1);
      code = tokenWord;
    }
  }
  element->setTokenType(code);
  return element->setTokenString(text);
}

// 0 if a term can begin with the token, else 1.
int ZuGrammar::isLegalReductTerm(short code) {
  switch (code) {
    case tokenLeftBracket:
    case tokenRightBracket:
    case tokenLeftBrace:
    case tokenRightBrace:
    case tokenBar:
    case tokenEnd:
    case tokenUnterminated: return 1;
    default: return 0;
  }
}

// --- names ------------------------------------------------------------------------------------------------

int ZuGrammar::resolveNonTerminals() {
  for (const ZuProduction* p = productions; p; p = p->getNextProduction()) {
    if (resolve(p->getCompiledProduction())) return 1;
  }
  return 0;
}

int ZuGrammar::resolve(ZuBNFElement* element) {
  for (ZuBNFElement* alternative = element; alternative;) {
    for (ZuBNFElement* e = alternative; e;) {
      const unsigned char* const name = e->getTokenString();
      if (e->getTokenType() == tokenWord && name && !e->getLiteral() && isLowerCase(*name)) {
        ZuProduction* production;
        if (getNonTerminalProduction(name, &production)) return 1;
        e->setNonTerminal(production);
      }
      ZuBNFElement* contents;
      if (e->getContains(&contents) == 0 && resolve(contents)) return 1;
      e->getNextSequential(&e);
    }
    alternative->getNextAlternation(&alternative);
  }
  return 0;
}

int ZuGrammar::getNonTerminalProduction(const unsigned char* name, ZuProduction** found) const {
  for (ZuProduction* p = productions; p; p = p->getNextProduction()) {
    if (strCompare(p->getName(), name) != 0) continue;
    *found = p;
    return 0;
  }
  return 1;
}

// --- the table --------------------------------------------------------------------------------------------

int ZuGrammar::createParseTree() {
  for (ZuProduction* p = productions; p; p = p->getNextProduction()) {
    if (p->calculateFirst()) return 1;
  }
  for (ZuProduction* p = productions; p; p = p->getNextProduction()) {
    if (p->createParseStates() || p->finishStates(&stateCount)) return 1;
  }
  tableComplete = true;
  return findGoal();
}
