// The parse table: what ZuGrammar compiles and ZuParser runs.
//
// A production is a set of ZuParseState objects; a state lists the tokens that it takes as ZuStateTransition
// objects. The machine is not deterministic: several transitions of a state may match one token. Those are
// marked as duplicates, and the parser tries them in their order.
//
//   state   transitions  token -> action, next state
//           ...
//           others       taken if no transition matches, if there is one
//
// Ownership: a production owns the chain of its states, a state its transitions.
//
// Thread safety: a compiled table is read-only; any number of threads may read it.

#ifndef ZULIB_LANGUAGE_GRAMMAR_ZUPARSETABLE_H
#define ZULIB_LANGUAGE_GRAMMAR_ZUPARSETABLE_H

#include <cstdint>

#include "zulib/language/zutokencode.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZuBNFElement;
class ZuParseState;
class ZuProduction;

enum ActionType {
  actionPush = 0,    // call a production: push the state to return to, go to the production's first one
  actionReturn = 1,  // the production is finished: reduce and pop
  actionShift = 2,   // take the token
  actionGoto = 3,    // go on in another state with the same token
  actionAccept = 4,  // the whole text is parsed
};

class ZU_API ZuStateTransition : public ZuObject {
 public:
  ZuStateTransition() = default;
  ZuStateTransition(const ZuStateTransition&) = delete;
  ZuStateTransition& operator=(const ZuStateTransition&) = delete;
  ~ZuStateTransition() override;

  // Null if allocation fails. The text is copied and may be null.
  static ZuStateTransition* create(ActionType action, ZuParseState* next, short type = tokenNone,
                                   const unsigned char* text = nullptr);

  short getTokenType() const { return tokenType; }
  const unsigned char* getTokenString() const { return tokenString; }
  ZuParseState* getNextParseState() const { return nextParseState; }
  ActionType getAction() const { return action; }
  ZuParseState* getPushState() const { return pushState; }
  short getProductionNumber() const { return productionNumber; }
  bool isDuplicate() const { return duplicate != 0; }
  ZuStateTransition* getPrevTransition() const { return prevTransition; }
  ZuStateTransition* getNextTransition() const { return nextTransition; }

  void setAction(ActionType taken, ZuParseState* next);
  void setPush(ZuParseState* pushed, short production);

  // 0 if the transition takes a token of this type and text, else 1. Literal contents take everything; a
  // literal quote is also taken as the quote character that it is; a word with a text only as that word, in
  // any case.
  int match(short type, const unsigned char* text) const;

  // Puts a transition at the end of the list that this one is in, which owns it then. It, and every
  // transition that matches its token, become duplicates.
  void addToListEnd(ZuStateTransition* added);

 private:
  friend class ZuParseState;
  bool hasTokenOf(const ZuStateTransition* other) const;
  bool matchesOtherwise(short type, const unsigned char* text) const;

  short tokenType = tokenNone;
  short productionNumber = 0;
  ActionType action = actionGoto;
  unsigned char* tokenString = nullptr;  // owned
  ZuParseState* nextParseState = nullptr;
  ZuParseState* pushState = nullptr;
  std::uint32_t duplicate = 0;
  ZuStateTransition* prevTransition = nullptr;
  ZuStateTransition* nextTransition = nullptr;
};

class ZU_API ZuParseState : public ZuObject {
 public:
  // The parser numbers the alternatives of a state in 16 bits.
  static constexpr unsigned kMostTransitions = 0x7FFF;

  ZuParseState() = default;
  ZuParseState(const ZuParseState&) = delete;
  ZuParseState& operator=(const ZuParseState&) = delete;
  // Deletes its transitions, not the other states of the chain.
  ~ZuParseState() override;

  ZuStateTransition* getTransitions() const { return transitions; }
  ZuStateTransition* getOthersState() const { return othersState; }
  // The chain of all states of a production.
  ZuParseState* getNextState() const { return nextChained; }
  ZuParseState* getPrevState() const { return prevChained; }
  static void deleteChain(ZuParseState* first);
  // A new state in the chain, after this one; null if allocation fails.
  ZuParseState* addState();

  // The number of the state in its grammar.
  unsigned long getIndex() const { return index; }
  // Gives the state its number when all its transitions are there, and prepares it for nextState. 1 if
  // allocation fails.
  int finish(unsigned long number);

  // The transition for a token: of those that match it the one after the first `skip`, in the order of the
  // list; the others transition comes last. 0, or 1 if there is none.
  int nextState(short type, const unsigned char* text, ZuStateTransition** found, short skip) const;

  // The others transition: returns if there is no next state, else goes there. 1 if allocation fails.
  int setOthers(ZuParseState* next);
  // Adds at the end of the list; owns the transition, also if the list is full, which is 1. Null is 1 too.
  int addTransition(ZuStateTransition* added);
  // Adds every transition of another state as it is, or as one that goes to `next`.
  int copyList(const ZuParseState* from);
  int copyListOthers(const ZuParseState* from, ZuParseState* next);

  // Make the table of a piece of a production, beginning in this state, which has no transitions yet:
  // a group of alternatives, the sequence of one alternative, one element of a sequence. `next` is the state
  // that follows, null at the production's end. New states go into the chain of `stateList`. A group that is
  // not required may be left out; one that repeats comes back to itself. 1 if allocation fails or a state has
  // too many transitions.
  int processTopLevel(const ZuBNFElement* element, ZuParseState* next, ZuParseState* stateList, int required,
                      int repeat);
  int processAlternation(const ZuBNFElement* element, ZuParseState* next, ZuParseState* stateList);
  int processSequentialElement(const ZuBNFElement* element, ZuParseState* next, ZuParseState* stateList);

 private:
  int addStart(ZuParseState* start);
  int pushProduction(const ZuProduction* production, ZuParseState* pushed);
  static ZuParseState* addReturningState(ZuParseState* stateList);

  ZuStateTransition* transitions = nullptr;
  ZuStateTransition* lastTransition = nullptr;
  ZuStateTransition* othersState = nullptr;
  ZuParseState* nextChained = nullptr;
  ZuParseState* prevChained = nullptr;
  unsigned transitionCount = 0;
  unsigned long index = 0;
  // After `finish`: the transitions in their order and then their types, side by side to be searched fast;
  // null if one of them takes everything.
  ZuStateTransition** searched = nullptr;  // owned
  const short* types = nullptr;
  static constexpr unsigned kStarts = 32;
  // By token type modulo kStarts: the first transition with such a type, or their count.
  unsigned short starts[kStarts] = {};
};

#endif
