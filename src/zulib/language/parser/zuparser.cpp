#include "zulib/language/parser/zuparser.h"

#include <cstdlib>

#include "zulib/language/internal/replacetext.h"

ZuParser::ZuParser(const void* grammarBlock, const void* keywordBlock, zuCPType cp) {
  if (makeKeywords(keywordBlock) == 0) setGrammar(new ZuGrammar(grammarBlock, keywords, cp));
}

ZuParser::ZuParser(const resourceElement* grammarRows, unsigned short grammarCount,
                   const resourceElement* keywordRows, unsigned short keywordCount, zuCPType cp) {
  unsigned char* const block = zuPackBlock(keywordRows, keywordCount);
  if (block && makeKeywords(block) == 0) {
    setGrammar(new ZuGrammar(grammarRows, grammarCount, keywords, cp));
  }
  std::free(block);
}

ZuParser::~ZuParser() {
  delete grammar;
  delete keywords;
  std::free(validFirstChars);
  std::free(validMiddleChars);
  std::free(validChars);
  dropScratch();
}

void ZuParser::dropScratch() {
  std::free(scratch);
  scratch = nullptr;
}

int ZuParser::makeKeywords(const void* block) {
  keywords = new ZuKeywordList;
  return keywords ? keywords->init(block) : 1;
}

int ZuParser::setGrammar(ZuGrammar* made) {
  grammar = made;
  parserOk = grammar ? grammar->isOK() : 0;
  return parserOk ? 0 : 1;
}

int ZuParser::init(const void* grammarBlock, const void* keywordBlock) {
  return init(grammarBlock, keywordBlock, zuCPLocale);
}

int ZuParser::init(const resourceElement* grammarRows, unsigned short grammarCount,
                   const resourceElement* keywordRows, unsigned short keywordCount) {
  return init(grammarRows, grammarCount, keywordRows, keywordCount, zuCPLocale);
}

int ZuParser::init(const resourceElement* grammarRows, unsigned short grammarCount,
                   const resourceElement* keywordRows, unsigned short keywordCount, zuCPType cp) {
  unsigned char* const grammarBlock = zuPackBlock(grammarRows, grammarCount);
  unsigned char* const keywordBlock = zuPackBlock(keywordRows, keywordCount);
  // Without memory for them there is no grammar, which is a failure like any other.
  const int failed = init(keywordBlock ? grammarBlock : nullptr, keywordBlock, cp);
  std::free(grammarBlock);
  std::free(keywordBlock);
  return failed;
}

int ZuParser::init(const void* grammarBlock, const void* keywordBlock, zuCPType cp) {
  parserOk = 0;
  dropScratch();
  delete grammar;
  delete keywords;
  grammar = nullptr;
  if (makeKeywords(keywordBlock) == 0 && setGrammar(new ZuGrammar(grammarBlock, keywords, cp)) == 0) return 0;
  delete grammar;
  delete keywords;
  grammar = nullptr;
  keywords = nullptr;
  return 1;
}

void ZuParser::setLiteralQuoteChars(unsigned short first, unsigned short second, unsigned short third) {
  quotesSet = 1;
  quote1 = first;
  quote2 = second;
  quote3 = third;
}

int ZuParser::setValidFirstChars(const unsigned char* text) {
  return language::replaceText(validFirstChars, text);
}

int ZuParser::setValidMiddleChars(const unsigned char* text) {
  return language::replaceText(validMiddleChars, text);
}

int ZuParser::setValidChars(const unsigned char* text) { return language::replaceText(validChars, text); }

int ZuParser::changeGoal(const unsigned char* name) {
  if (!grammar || grammar->changeGoal(name)) return 1;
  parserOk = grammar->isOK();
  return 0;
}

ZuReduction* ZuParser::ReductProc(short production, ZuReduction* children) {
  auto* const made = new ZuReduction(production, nullptr);
  if (!made) {
    reductFailed = true;
    while (ZuReduction* const child = children) {
      child->getNextSibling(&children);
      delete child;
    }
    return nullptr;
  }
  made->setChild(children);
  for (ZuReduction* child = children; child; child->getNextSibling(&child)) child->setParent(made);
  return made;
}

int ZuParser::FailProc(short, const unsigned char*, short, const unsigned char*, ZuStateTransition*) {
  return 1;
}
