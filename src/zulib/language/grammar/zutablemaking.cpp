// The operations of ZuParseState that make the table out of a production's elements.

#include "zulib/language/grammar/zuproduction.h"

int ZuParseState::processTopLevel(const ZuBNFElement* element, ZuParseState* next, ZuParseState* stateList,
                                  int required, int repeat) {
  ZuParseState* again = nullptr;  // after the first round of a group that is required and repeats
  ZuParseState* target = next;
  if (!required && setOthers(next)) return 1;
  if (repeat && required) {
    again = stateList->addState();
    if (!again) return 1;
    again->othersState = new ZuStateTransition;
    if (!again->othersState) return 1;
    target = again;
  } else if (repeat) {
    target = this;
  }
  for (; element; element = element->nextAlternationOrNull()) {
    ZuParseState* const start = stateList->addState();
    if (!start) return 1;
    if (start->processAlternation(element, target, stateList)) return 1;
    if (addStart(start)) return 1;
  }
  if (!again) return 0;
  return again->copyList(this) || again->setOthers(next);
}

// Goes to the first state of an alternative on each of its tokens; and past it on the tokens that can follow
// a beginning that may be left out.
int ZuParseState::addStart(ZuParseState* start) {
  if (copyListOthers(start, start)) return 1;
  const ZuStateTransition* others = start->othersState;
  if (!others || others->action != actionGoto) return 0;
  ZuParseState* const target = others->nextParseState;
  for (const ZuParseState* c = target; c; c = others->nextParseState) {
    if (copyListOthers(c, target)) return 1;
    others = c->othersState;
    if (!others || others->action != actionGoto) break;
  }
  return 0;
}

int ZuParseState::processAlternation(const ZuBNFElement* element, ZuParseState* next,
                                     ZuParseState* stateList) {
  ZuParseState* state = this;
  while (element) {
    const ZuBNFElement* const rest = element->nextSequentialOrNull();
    ZuParseState* const following = rest ? stateList->addState() : next;
    if (rest && !following) return 1;
    if (state->processSequentialElement(element, following, stateList)) return 1;
    state = following;
    element = rest;
  }
  return 0;
}

int ZuParseState::processSequentialElement(const ZuBNFElement* element, ZuParseState* next,
                                           ZuParseState* stateList) {
  if (element->getBracket() == ZuBNFElement::kSquare) {
    return processTopLevel(element->containsOrNull(), next, stateList, 0, 0);
  }
  if (element->getBracket() == ZuBNFElement::kBraces) {
    const int closure = element->getClosure();
    return processTopLevel(element->containsOrNull(), next, stateList, closure != ZuBNFElement::kAnyNumber,
                           closure != ZuBNFElement::kOnce);
  }
  ZuParseState* const following = next ? next : addReturningState(stateList);
  if (!following) return 1;
  if (element->nonTerminalOrNull()) return pushProduction(element->nonTerminalOrNull(), following);
  return addTransition(
      ZuStateTransition::create(actionShift, following, element->getTokenType(), element->getTokenString()));
}

int ZuParseState::pushProduction(const ZuProduction* production, ZuParseState* pushed) {
  for (const ZuTokenNode* node = production->getFirstList(); node; node = node->getNext()) {
    ZuStateTransition* const made = ZuStateTransition::create(actionPush, production->getParseTop(),
                                                              node->getTokenType(), node->getTokenString());
    if (made) made->setPush(pushed, production->getNumber());
    if (addTransition(made)) return 1;
  }
  return 0;
}

ZuParseState* ZuParseState::addReturningState(ZuParseState* stateList) {
  ZuParseState* const made = stateList->addState();
  return made && made->setOthers(nullptr) == 0 ? made : nullptr;
}
