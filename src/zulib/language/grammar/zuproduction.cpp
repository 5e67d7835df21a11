#include "zulib/language/grammar/zuproduction.h"

#include <cstdlib>

#include "zulib/language/internal/replacetext.h"

// --- lists of tokens --------------------------------------------------------------------------------------

ZuTokenNode::ZuTokenNode(short type, const unsigned char* text)
    : tokenType(type), tokenString(text ? ramAllocStr(text) : nullptr) {
  complete = !text || tokenString;
}

ZuTokenNode::ZuTokenNode(const ZuTokenNode& list) : ZuTokenNode(list.tokenType, list.tokenString) {
  ZuTokenNode* end = this;
  for (const ZuTokenNode* node = list.next; node && complete; node = node->next) {
    end->next = new ZuTokenNode(node->tokenType, node->tokenString);
    end = end->next;
    complete = end && end->complete;
  }
}

ZuTokenNode::~ZuTokenNode() {
  std::free(tokenString);
  while (ZuTokenNode* const node = next) {
    next = node->next;
    node->next = nullptr;
    delete node;
  }
}

int ZuTokenNode::addToList(short type, const unsigned char* text) {
  for (const ZuTokenNode* node = this; node; node = node->next) {
    if (node->tokenType == type) return 0;
  }
  auto* const added = new ZuTokenNode(type, text);
  if (!added || !added->complete) {
    delete added;
    return 1;
  }
  added->next = next;
  next = added;
  return 0;
}

int ZuTokenNode::addToList(const ZuTokenNode* list) {
  for (; list; list = list->next) {
    if (addToList(list->tokenType, list->tokenString)) return 1;
  }
  return 0;
}

// --- elements ---------------------------------------------------------------------------------------------

// Takes the elements off one by one into a list through `containedBy`: chains and groups can be long and
// deep.
ZuBNFElement::~ZuBNFElement() {
  ZuBNFElement* work = nullptr;
  const auto takeOff = [&work](ZuBNFElement*& link) {
    if (!link) return;
    link->containedBy = work;
    work = link;
    link = nullptr;
  };
  ZuBNFElement* element = this;
  while (true) {
    takeOff(element->contains);
    takeOff(element->nextSequential);
    takeOff(element->nextAlternation);
    if (element != this) delete element;
    if (!work) break;
    element = work;
    work = element->containedBy;
  }
  std::free(tokenString);
}

int ZuBNFElement::setTokenString(const unsigned char* text) {
  return language::replaceText(tokenString, text);
}

void ZuBNFElement::addToSequentialEnd(ZuBNFElement* element) {
  ZuBNFElement* last = this;
  while (last->nextSequential) last = last->nextSequential;
  last->nextSequential = element;
  element->prevSequential = last;
}

void ZuBNFElement::addToAlternationEnd(ZuBNFElement* element) {
  ZuBNFElement* last = this;
  while (last->nextAlternation) last = last->nextAlternation;
  last->nextAlternation = element;
  element->prevAlternation = last;
}

// --- productions ------------------------------------------------------------------------------------------

ZuProduction::ZuProduction() : parseTop(new ZuParseState) {}

ZuProduction::~ZuProduction() {
  std::free(name);
  delete compiledProduction;
  delete firstList;
  ZuParseState::deleteChain(parseTop);
  while (ZuProduction* const after = nextProduction) {
    nextProduction = after->nextProduction;
    after->nextProduction = nullptr;
    delete after;
  }
}

int ZuProduction::setName(const unsigned char* text) { return language::replaceText(name, text); }

int ZuProduction::finishStates(unsigned long* next) {
  for (ZuParseState* state = parseTop; state; state = state->getNextState()) {
    if (state->finish((*next)++)) return 1;
  }
  return 0;
}

const unsigned char* ZuProduction::numberToName(short wanted) const {
  for (const ZuProduction* production = this; production; production = production->nextProduction) {
    if (production->number == wanted) return production->name;
  }
  return nullptr;
}

// Productions that wait for one another form a chain, so that a long one needs no call stack.
int ZuProduction::calculateFirst() {
  if (first == First::Known) return 0;
  first = First::Pending;
  for (ZuProduction* production = this; production;) {
    ZuProduction* needed = nullptr;
    if (production->addFirstOfElement(production->compiledProduction, &needed)) return 1;
    if (needed && needed->first == First::Pending) return 1;
    if (needed) {
      needed->first = First::Pending;
      needed->waiting = production;
      production = needed;
    } else {
      production->first = First::Known;
      production = production == this ? nullptr : production->waiting;
    }
  }
  return 0;
}

int ZuProduction::addFirstOfElement(const ZuBNFElement* element, ZuProduction** needed) {
  for (const ZuBNFElement* alternative = element; alternative;
       alternative = alternative->nextAlternationOrNull()) {
    for (const ZuBNFElement* e = alternative; e; e = e->nextSequentialOrNull()) {
      ZuProduction* production;
      if (e->getNonTerminal(&production) == 0) {
        if (production->first != First::Known) {
          *needed = production;
          return 0;
        }
        if (addFirst(production->firstList)) return 1;
        break;
      }
      if (e->getBracket() == ZuBNFElement::kNoBracket) {
        if (addFirst(e->getTokenType(), e->getTokenString())) return 1;
        break;
      }
      if (addFirstOfElement(e->containsOrNull(), needed)) return 1;
      if (*needed) return 0;
      if (e->getBracket() != ZuBNFElement::kSquare && e->getClosure() != ZuBNFElement::kAnyNumber) break;
    }
  }
  return 0;
}

int ZuProduction::addFirst(short type, const unsigned char* text) {
  if (firstList) return firstList->addToList(type, text);
  firstList = new ZuTokenNode(type, text);
  return firstList && firstList->isComplete() ? 0 : 1;
}

int ZuProduction::addFirst(const ZuTokenNode* list) {
  if (firstList) return firstList->addToList(list);
  firstList = new ZuTokenNode(*list);
  return firstList && firstList->isComplete() ? 0 : 1;
}

int ZuProduction::createParseStates() {
  return parseTop->processTopLevel(compiledProduction, nullptr, parseTop, 1, 0);
}
