// One run of ZuParser: the machine.
//
// While a position is open, the run is a trial: it moves through the table and builds nothing. Every choice
// on the path is noted in `choices`. When the last open position is final, the run goes back to it and takes
// the noted choices again, this time building; no choice of the path is tried a second time.

#ifndef ZULIB_LANGUAGE_PARSER_INTERNAL_ZUPARSERUN_H
#define ZULIB_LANGUAGE_PARSER_INTERNAL_ZUPARSERUN_H

#include "zulib/language/parser/internal/zudeadends.h"
#include "zulib/language/parser/zuparser.h"
#include "zulib/language/parser/zuparsestack.h"

class ZuParseRun {
 public:
  ZuParseRun(ZuParser& parser, const unsigned char* text, zuCPType cp);
  ZuParseRun(const ZuParseRun&) = delete;
  ZuParseRun& operator=(const ZuParseRun&) = delete;
  ~ZuParseRun();

  // 0 with the tree, or 1.
  [[nodiscard]] int parse(ZuReduction** result);

 private:
  enum class Step { Go, Done, Failed };

  int start();
  int takeScratch();
  Step step();

  int choose(ZuStateTransition** found);
  int find(short type, const unsigned char* text, short skip, ZuStateTransition** found) const;
  bool comesBack();
  bool cannotPush(const ZuStateTransition* transition);
  unsigned long placeOfToken() const;
  void moveToToken();
  static bool isOutOfMemory();
  void parseFailed(short type, const unsigned char* text);

  ZuDeadEnd choiceHere() const { return {stack->activation, 2 * state->getIndex(), place}; }
  ZuDeadEnd callHere(const ZuStateTransition* transition) const {
    return {stack->activation, 2 * transition->getPushState()->getIndex() + 1, place};
  }
  int savePosition();
  int noteChoice(short alternative);
  int backtrack(ZuStateTransition** found);
  int restoreLexer();
  int unwind();
  void dropPosition();

  int shift(const ZuStateTransition* transition);
  int push(const ZuStateTransition* transition);
  int reduce();

  void addChild(ZuReduction* node);
  ZuReduction* newReduction();
  void keepReduction(ZuReduction* node);
  ZuParseStackNode* newNode();
  ZuParseStackNode* popNode();

  ZuParser& parser;
  ZuLexer lexer;
  ZuProduction* goal = nullptr;
  ZuParseState finalState;

  ZuParseState* state = nullptr;
  ZuParseStackNode* stack = nullptr;        // owned: the top node
  ZuReduction* current = nullptr;           // owned: the unfinished node of the production under way
  ZuReduction* lastChild = nullptr;         // of the current node
  ZuBacktrackPosition* position = nullptr;  // owned: the newest one
  short token = tokenNone;
  unsigned char* text = nullptr;  // the lexer's
  short alternative = 0;          // matching transitions to skip
  bool restoring = false;         // the path to the position is final: run it again
  bool noSave = false;            // this choice is noted already

  // Memory that the parser keeps from one run to the next: the two numbers that its runs have used up, and
  // the arrays below. No run meets a number of another one.
  unsigned long* scratch = nullptr;  // owned
  enum ScratchNumber { kLastStretch, kLastPlace, kScratchNumbers };

  // Paths that move without taking a token, for ever, are found by where they have been. A place is one token
  // of the text; a stretch is what one activation of a production does at one place. No number is used for
  // two of them, and 0 is none.
  unsigned long* reached = nullptr;  // by number of the state, the last stretch that came to it
  unsigned long* entered = nullptr;  // by number of its first state, where a production under way began
  unsigned long firstPlace = 0;
  unsigned long place = 0;
  unsigned long lastPlace = 0;
  unsigned long stretch = 0;
  unsigned long lastStretch = 0;

  short* choices = nullptr;  // owned
  unsigned long choiceCount = 0;
  unsigned long choiceRoom = 0;
  unsigned long replayed = 0;  // choices taken again

  // Where a path came by may be noted before it fails: whoever comes there again has come back from it, or is
  // on it still and runs in a circle. A choice or a call is noted for one activation, a production for all.
  static constexpr unsigned long kProduction = ~0UL;  // in place of an activation
  ZuDeadEnds deadEnds;
  bool isEndless = false;
  unsigned long lastActivation = 0;

  // Emptied objects for the next push, chained through nextSibling and nextNode.
  ZuReduction* spareReductions = nullptr;
  ZuParseStackNode* spareNodes = nullptr;
};

#endif
