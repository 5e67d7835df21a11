#include "zulib/language/grammar/zuparsetable.h"

#include <cstdlib>

#include "zulib/text/strcompare.h"

// --- transitions ------------------------------------------------------------------------------------------

ZuStateTransition::~ZuStateTransition() { std::free(tokenString); }

ZuStateTransition* ZuStateTransition::create(ActionType action, ZuParseState* next, short type,
                                             const unsigned char* text) {
  auto* const made = new ZuStateTransition;
  if (!made) return nullptr;
  made->setAction(action, next);
  made->tokenType = type;
  made->tokenString = text ? ramAllocStr(text) : nullptr;
  if (!text || made->tokenString) return made;
  delete made;
  return nullptr;
}

void ZuStateTransition::setAction(ActionType taken, ZuParseState* next) {
  action = taken;
  nextParseState = next;
}

void ZuStateTransition::setPush(ZuParseState* pushed, short production) {
  pushState = pushed;
  productionNumber = production;
}

int ZuStateTransition::match(short type, const unsigned char* text) const {
  if (tokenType == type && (type != tokenWord || !tokenString)) return 0;
  return matchesOtherwise(type, text) ? 0 : 1;
}

bool ZuStateTransition::matchesOtherwise(short type, const unsigned char* text) const {
  if (tokenType == tokenLiteralContents) return true;
  if (type == tokenLiteralQuote && text) {
    return (tokenType == tokenBackQuote && *text == '`') || (tokenType == tokenDoubleQuote && *text == '"') ||
           (tokenType == tokenApostrophe && *text == '\'');
  }
  return type == tokenWord && tokenType == tokenWord && text && strEqualCi(text, tokenString);
}

void ZuStateTransition::addToListEnd(ZuStateTransition* added) {
  ZuStateTransition* last = this;
  while (last->nextTransition) last = last->nextTransition;
  // What matches an equal token was marked when that was added, up to there.
  bool isEqual = false;
  for (ZuStateTransition* t = last; t && !isEqual; t = t->prevTransition) {
    if (t->match(added->tokenType, added->tokenString)) continue;
    t->duplicate = 1;
    added->duplicate = 1;
    isEqual = t->hasTokenOf(added);
  }
  last->nextTransition = added;
  added->prevTransition = last;
}

bool ZuStateTransition::hasTokenOf(const ZuStateTransition* other) const {
  if (tokenType != other->tokenType) return false;
  if (!tokenString || !other->tokenString) return tokenString == other->tokenString;
  return strEqual(tokenString, other->tokenString);
}

// --- states -----------------------------------------------------------------------------------------------

ZuParseState::~ZuParseState() {
  while (ZuStateTransition* const t = transitions) {
    transitions = t->nextTransition;
    delete t;
  }
  delete othersState;
  std::free(searched);
}

void ZuParseState::deleteChain(ZuParseState* first) {
  while (first) {
    ZuParseState* const next = first->nextChained;
    delete first;
    first = next;
  }
}

ZuParseState* ZuParseState::addState() {
  auto* const made = new ZuParseState;
  if (!made) return nullptr;
  made->prevChained = this;
  made->nextChained = nextChained;
  if (nextChained) nextChained->prevChained = made;
  nextChained = made;
  return made;
}

int ZuParseState::finish(unsigned long number) {
  index = number;
  for (unsigned short& start : starts) start = static_cast<unsigned short>(transitionCount);
  std::free(searched);
  types = nullptr;
  searched = static_cast<ZuStateTransition**>(ramAlloc(transitionCount * (sizeof *searched + sizeof *types)));
  if (!searched) return 1;
  auto* const typeOf = reinterpret_cast<short*>(searched + transitionCount);
  unsigned i = 0;
  bool takesEverything = false;
  for (ZuStateTransition* t = transitions; t; t = t->nextTransition, ++i) {
    searched[i] = t;
    typeOf[i] = t->tokenType;
    unsigned short& start = starts[static_cast<unsigned short>(t->tokenType) % kStarts];
    if (start == transitionCount) start = static_cast<unsigned short>(i);
    takesEverything = takesEverything || t->tokenType == tokenLiteralContents;
  }
  if (!takesEverything) types = typeOf;
  return 0;
}

int ZuParseState::nextState(short type, const unsigned char* text, ZuStateTransition** found,
                            short skip) const {
  if (types && type != tokenLiteralQuote) {
    for (unsigned i = starts[static_cast<unsigned short>(type) % kStarts]; i < transitionCount; ++i) {
      if (types[i] != type || (type == tokenWord && searched[i]->match(type, text))) continue;
      if (skip-- != 0) continue;
      *found = searched[i];
      return 0;
    }
  } else {
    for (ZuStateTransition* t = transitions; t; t = t->nextTransition) {
      if (t->match(type, text) || skip-- != 0) continue;
      *found = t;
      return 0;
    }
  }
  if (!othersState || skip != 0) return 1;
  *found = othersState;
  return 0;
}

int ZuParseState::setOthers(ZuParseState* next) {
  ZuStateTransition* const made = ZuStateTransition::create(next ? actionGoto : actionReturn, next);
  if (!made) return 1;
  delete othersState;
  othersState = made;
  return 0;
}

int ZuParseState::addTransition(ZuStateTransition* added) {
  if (!added || transitionCount == kMostTransitions) {
    delete added;
    return 1;
  }
  ++transitionCount;
  types = nullptr;
  if (transitions) {
    lastTransition->addToListEnd(added);
  } else {
    transitions = added;
  }
  lastTransition = added;
  return 0;
}

int ZuParseState::copyList(const ZuParseState* from) {
  for (const ZuStateTransition* t = from->transitions; t; t = t->nextTransition) {
    ZuStateTransition* const copy =
        ZuStateTransition::create(t->action, t->nextParseState, t->tokenType, t->tokenString);
    if (copy) copy->setPush(t->pushState, t->productionNumber);
    if (addTransition(copy)) return 1;
  }
  return 0;
}

int ZuParseState::copyListOthers(const ZuParseState* from, ZuParseState* next) {
  // The other state may be this one: what is added here is not copied again.
  unsigned count = from->transitionCount;
  for (const ZuStateTransition* t = from->transitions; count; t = t->nextTransition, --count) {
    if (addTransition(ZuStateTransition::create(actionGoto, next, t->tokenType, t->tokenString))) return 1;
  }
  return 0;
}
