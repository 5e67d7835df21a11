#include "zulib/language/parser/internal/zuparserun.h"

#include <cstdlib>

#include "zulib/errors/zuerror.h"

int ZuParser::parse(const unsigned char* text, ZuReduction** result, zuCPType cp) {
  *result = nullptr;
  if (!parserOk) return 1;
  ZuParseRun run(*this, text, cp);
  return run.parse(result);
}

ZuParseRun::ZuParseRun(ZuParser& p, const unsigned char* t, zuCPType cp)
    : parser(p), lexer(t, cp, p.keywords) {}

ZuParseRun::~ZuParseRun() {
  delete position;
  delete stack;
  delete current;
  while (ZuReduction* const spare = spareReductions) {
    spareReductions = spare->nextSibling;
    spare->nextSibling = nullptr;
    delete spare;
  }
  delete spareNodes;
  std::free(choices);
  if (scratch) {
    scratch[kLastStretch] = lastStretch;
    scratch[kLastPlace] = lastPlace;
  }
  // A run within a callback of this one may have left its own.
  if (parser.scratch) {
    std::free(scratch);
  } else {
    parser.scratch = scratch;
  }
}

int ZuParseRun::parse(ZuReduction** result) {
  if (start()) return 1;
  while (true) {
    switch (step()) {
      case Step::Go: continue;
      case Step::Failed: return 1;
      case Step::Done:
        *result = current;
        current = nullptr;
        return 0;
    }
  }
}

int ZuParseRun::start() {
  if (parser.grammar->getParseTable(&goal)) return 1;
  state = goal->getParseTop();
  const unsigned long states = parser.grammar->getStateCount();
  if (finalState.finish(states)) return 1;
  if (takeScratch()) return 1;
  if (finalState.setOthers(nullptr)) return 1;
  finalState.getOthersState()->setAction(actionAccept, nullptr);
  stack = new ZuParseStackNode(&finalState, goal->getNumber(), nullptr);
  current = newReduction();
  if (!stack || !current) return 1;
  stack->parseTop = state;
  stack->activation = ++lastActivation;
  parser.reductFailed = false;
  if (parser.quotesSet) lexer.setLiteralQuoteChars(parser.quote1, parser.quote2, parser.quote3);
  if (lexer.setValidChars(parser.validFirstChars, parser.validMiddleChars, parser.validChars)) return 1;
  if (lexer.nextToken(&token, &text)) return 1;
  place = lastPlace = placeOfToken();
  stretch = ++lastStretch;
  entered[state->getIndex()] = place;
  return 0;
}

int ZuParseRun::takeScratch() {
  const unsigned long states = parser.grammar->getStateCount() + 1;
  scratch = parser.scratch;
  parser.scratch = nullptr;
  if (!scratch) {
    scratch = static_cast<unsigned long*>(ramAllocZ((kScratchNumbers + 2 * states) * sizeof *scratch));
    if (!scratch) return 1;
  }
  lastStretch = scratch[kLastStretch];
  firstPlace = lastPlace = scratch[kLastPlace];
  reached = scratch + kScratchNumbers;
  entered = reached + states;
  return 0;
}

ZuParseRun::Step ZuParseRun::step() {
  noSave = false;
  if (restoring) {
    // The stack is back at the position's node, and the path is final.
    if (restoreLexer()) return Step::Failed;
    alternative = position->alternative;
    noSave = true;
    dropPosition();
    deadEnds.clear();
    isEndless = false;
    replayed = 1;
    stretch = ++lastStretch;
  }
  ZuStateTransition* found;
  bool isDeadEnd = choose(&found) != 0;
  do {
    if (isDeadEnd && backtrack(&found)) return Step::Failed;
    alternative = 0;
    if (found->getTokenType() == tokenLiteralContents) {
      noSave = true;
      if (lexer.getLiteralContents(&text)) return Step::Failed;
      token = tokenLiteralContents;
      moveToToken();
    }
    const bool isChoice = !noSave && found->isDuplicate();
    isDeadEnd = isChoice && deadEnds.has(choiceHere());
    if (isDeadEnd) continue;
    if (isChoice && savePosition()) return Step::Failed;
    isDeadEnd = found->getAction() == actionPush && cannotPush(found);
  } while (isDeadEnd);
  restoring = false;
  int failed = 0;
  switch (found->getAction()) {
    case actionShift: failed = shift(found); break;
    case actionPush: failed = push(found); break;
    case actionGoto: state = found->getNextParseState(); break;
    case actionReturn: failed = reduce(); break;
    case actionAccept: return Step::Done;
  }
  return failed ? Step::Failed : Step::Go;
}

// --- choosing a transition --------------------------------------------------------------------------------

int ZuParseRun::choose(ZuStateTransition** found) {
  if (comesBack() || find(token, text, alternative, found)) return 1;
  if (noSave || position || replayed == choiceCount || !(*found)->isDuplicate()) return 0;
  if ((*found)->getTokenType() == tokenLiteralContents) return 0;
  noSave = true;
  return find(token, text, choices[replayed++], found);
}

// 1 also if the goal would return while text is left.
int ZuParseRun::find(short type, const unsigned char* t, short skip, ZuStateTransition** found) const {
  if (state->nextState(type, t, found, skip)) return 1;
  return (*found)->getAction() == actionReturn && !stack->nextNode && type != tokenEnd;
}

// Whether this stretch has been in this state. What follows would be the same again: an endless loop, or what
// has failed already.
bool ZuParseRun::comesBack() {
  unsigned long& last = reached[state->getIndex()];
  if (last == stretch) return true;
  last = stretch;
  return false;
}

// Whether a production has failed at this place; or was called from here at this place, and what followed has
// failed; or would be entered inside itself with the same token, and so for ever. What fails because of the
// last may not fail elsewhere, so that no failures of productions are noted from then on.
bool ZuParseRun::cannotPush(const ZuStateTransition* transition) {
  const unsigned long top = transition->getNextParseState()->getIndex();
  if (entered[top] == place) {
    isEndless = true;
    return true;
  }
  return deadEnds.has({kProduction, top, place}) || deadEnds.has(callHere(transition));
}

// The end of the text can be taken again and again, and the contents of a literal looked at: nothing moves
// then.
void ZuParseRun::moveToToken() {
  const unsigned long before = place;
  place = placeOfToken();
  if (place > lastPlace) lastPlace = place;
  if (place != before) stretch = ++lastStretch;
}

// Literal contents begin where the first token inside does; the word in an empty literal lies where the
// closing quote does.
unsigned long ZuParseRun::placeOfToken() const {
  constexpr unsigned long kKinds = 3;
  const bool isEmptyWord = token == tokenWord && !*text;
  return firstPlace + kKinds * lexer.getTokenPosition() +
         (token == tokenLiteralContents ? 3
          : isEmptyWord                 ? 2
                                        : 1);
}

void ZuParseRun::parseFailed(short type, const unsigned char* t) {
  parser.failPosition = lexer.getTokenPosition();
  // From the bottom up: the links are turned round on the way down, and back again on the way up.
  ZuParseStackNode* above = nullptr;
  for (ZuParseStackNode* node = stack; node;) {
    ZuParseStackNode* const below = node->nextNode;
    node->nextNode = above;
    above = node;
    node = below;
  }
  bool isTold = false;
  ZuParseStackNode* below = nullptr;
  while (ZuParseStackNode* const node = above) {
    const short number = node->reduction;
    if (!isTold) {
      const unsigned char* name = goal->numberToName(number);
      if (!name) name = parser.grammar->getProductions()->numberToName(number);
      isTold = parser.FailProc(type, t, number, name, state->getTransitions()) != 0;
    }
    above = node->nextNode;
    node->nextNode = below;
    below = node;
  }
}

// --- positions --------------------------------------------------------------------------------------------

int ZuParseRun::savePosition() {
  auto* const saved = new ZuBacktrackPosition;
  if (!saved) return 1;
  saved->nextPosition = position;
  position = saved;
  if (lexer.getPosition(&saved->token, &saved->tokenIndex, &saved->literalScanner, &saved->literalToken)) {
    return 1;
  }
  saved->parseStackNode = stack;
  saved->parseState = state;
  saved->reduction = current;
  saved->lastChild = lastChild;
  saved->tokenType = token;
  saved->tokenName = ramAllocStr(text);
  saved->place = place;
  saved->stretch = stretch;
  if (!saved->nextPosition) choiceCount = 0;
  replayed = 0;
  saved->choice = choiceCount;
  return !saved->tokenName || deadEnds.add(choiceHere()) || noteChoice(0);
}

int ZuParseRun::noteChoice(short chosen) {
  if (choiceCount == choiceRoom) {
    constexpr unsigned long kLeastRoom = 64;
    const unsigned long room = choiceRoom ? 2 * choiceRoom : kLeastRoom;
    void* block = choices;
    if (ramResize(&block, room * sizeof *choices)) return 1;
    choices = static_cast<short*>(block);
    choiceRoom = room;
  }
  choices[choiceCount++] = chosen;
  return 0;
}

// Goes back to the newest position that has another transition.
int ZuParseRun::backtrack(ZuStateTransition** found) {
  if (!position) {
    parseFailed(token, text);
    return 1;
  }
  noSave = true;
  while (true) {
    if (unwind() || restoreLexer()) return 1;
    alternative = ++position->alternative;
    choiceCount = position->choice;
    if (noteChoice(alternative)) return 1;
    constexpr short kMost = ZuParseState::kMostTransitions;
    if (alternative < kMost && find(position->tokenType, position->tokenName, alternative, found) == 0)
      return 0;
    if (!position->nextPosition) break;
    dropPosition();
  }
  parseFailed(position->tokenType, position->tokenName);
  return 1;
}

// The lexer, the token, and how far the path had come.
int ZuParseRun::restoreLexer() {
  if (lexer.setPosition(position->token, position->tokenIndex, position->literalScanner,
                        &position->literalToken)) {
    return 1;
  }
  state = position->parseState;
  current = position->reduction;
  lastChild = position->lastChild;
  token = position->tokenType;
  place = position->place;
  stretch = position->stretch;
  short code;
  static_cast<void>(lexer.thisToken(&code, &text, 0));
  return 0;
}

// Takes down the stack to the position's node. What was pushed since holds no children, and has failed.
int ZuParseRun::unwind() {
  int failed = 0;
  if (current != position->reduction) keepReduction(current);
  while (stack != position->parseStackNode) {
    const unsigned long top = stack->parseTop->getIndex();
    if (!isEndless && deadEnds.add({kProduction, top, entered[top]})) failed = 1;
    ZuParseStackNode* const node = popNode();
    if (node->partialReduction != position->reduction) keepReduction(node->partialReduction);
    node->partialReduction = nullptr;
  }
  current = position->reduction;
  return failed;
}

void ZuParseRun::dropPosition() {
  ZuBacktrackPosition* const dropped = position;
  position = dropped->nextPosition;
  dropped->nextPosition = nullptr;
  delete dropped;
}

// --- actions ----------------------------------------------------------------------------------------------

int ZuParseRun::shift(const ZuStateTransition* transition) {
  if (!position) {
    auto* const terminal = new ZuReduction(token, text);
    if (!terminal) return 1;
    addChild(terminal);
    if (!terminal->getString()) return 1;
  }
  state = transition->getNextParseState();
  if (lexer.nextToken(&token, &text)) return 1;
  moveToToken();
  return 0;
}

int ZuParseRun::push(const ZuStateTransition* transition) {
  // Only a choice of this activation can lead here again.
  const bool canRepeat = position && position->parseStackNode == stack;
  if (canRepeat && deadEnds.add(callHere(transition))) return 1;
  ZuParseStackNode* const node = newNode();
  ZuReduction* const empty = newReduction();
  if (!node || !empty) {
    delete node;
    delete empty;
    return 1;
  }
  node->parseState = transition->getPushState();
  node->reduction = transition->getProductionNumber();
  node->partialReduction = current;
  node->lastChild = lastChild;
  node->activation = ++lastActivation;
  node->callerStretch = stretch;
  node->callerPlace = place;
  node->nextNode = stack;
  stack = node;
  current = empty;
  lastChild = nullptr;
  stretch = ++lastStretch;
  state = transition->getNextParseState();
  node->parseTop = state;
  node->enteredBefore = entered[state->getIndex()];
  entered[state->getIndex()] = place;
  return 0;
}

int ZuParseRun::reduce() {
  // The choices of this production are final.
  while (position && position->parseStackNode == stack && position->nextPosition) dropPosition();
  if (position && position->parseStackNode == stack) {
    restoring = true;
    return 0;
  }
  ZuReduction* const children = current->child;
  current->child = nullptr;
  ZuReduction* made = nullptr;
  if (!position) {
    for (ZuReduction* child = children; child; child = child->nextSibling) child->parent = nullptr;
    made = parser.ReductProc(stack->reduction, children);
    if (!made && (parser.reductFailed || isOutOfMemory())) return 1;
  }
  ZuParseStackNode* const node = popNode();
  state = node->parseState;
  keepReduction(current);
  if (!stack) {
    current = made;
  } else {
    current = node->partialReduction;
    lastChild = node->lastChild;
    stretch = place == node->callerPlace ? node->callerStretch : ++lastStretch;
    node->partialReduction = nullptr;
    addChild(made);
  }
  return 0;
}

// A subclass may drop a node by returning null, or have failed to make it.
bool ZuParseRun::isOutOfMemory() {
  const ZuErrorList* const errors = ZuErrorKeeper::getErrorList();
  return errors && errors->isOutOfMemory();
}

// --- objects ----------------------------------------------------------------------------------------------

void ZuParseRun::addChild(ZuReduction* node) {
  if (!node) return;
  node->parent = current;
  node->prevSibling = lastChild;
  if (lastChild) {
    lastChild->nextSibling = node;
  } else {
    current->child = node;
  }
  lastChild = node;
}

ZuReduction* ZuParseRun::newReduction() {
  ZuReduction* const spare = spareReductions;
  if (!spare) return new ZuReduction;
  spareReductions = spare->nextSibling;
  spare->nextSibling = nullptr;
  return spare;
}

void ZuParseRun::keepReduction(ZuReduction* node) {
  node->nextSibling = spareReductions;
  spareReductions = node;
}

ZuParseStackNode* ZuParseRun::newNode() {
  ZuParseStackNode* const spare = spareNodes;
  if (!spare) return new ZuParseStackNode;
  spareNodes = spare->nextNode;
  spare->nextNode = nullptr;
  return spare;
}

// The top node stays usable until the next push.
ZuParseStackNode* ZuParseRun::popNode() {
  ZuParseStackNode* const node = stack;
  stack = node->nextNode;
  entered[node->parseTop->getIndex()] = node->enteredBefore;
  node->nextNode = spareNodes;
  spareNodes = node;
  return node;
}
