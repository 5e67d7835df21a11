// What a parser remembers while it runs: the productions under way, and the choices that it can come back to.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_PARSER_ZUPARSESTACK_H
#define ZULIB_LANGUAGE_PARSER_ZUPARSESTACK_H

#include "zulib/language/grammar/zuparsetable.h"
#include "zulib/language/parser/zureduction.h"
#include "zulib/language/zulexer.h"

// A production under way, and what its caller does when it has returned.
class ZU_API ZuParseStackNode : public ZuObject {
 public:
  ZuParseStackNode() = default;
  ZuParseStackNode(ZuParseState* state, short production, ZuReduction* partial)
      : parseState(state), reduction(production), partialReduction(partial) {}
  ZuParseStackNode(const ZuParseStackNode&) = delete;
  ZuParseStackNode& operator=(const ZuParseStackNode&) = delete;
  // Deletes the nodes below, too, and their partial nodes of the tree.
  ~ZuParseStackNode() override;

  short getReduction() const { return reduction; }
  ZuParseStackNode* getNextNode() const { return nextNode; }
  void setNextNode(ZuParseStackNode* owned) { nextNode = owned; }

  // The node above `node`: the one from here down whose next node it is. Null if `node` is this one, or not
  // below it. The bottom node if `node` is null.
  ZuParseStackNode* getNodeBefore(const ZuParseStackNode* node);

 private:
  friend class ZuParseRun;

  ZuParseState* parseTop = nullptr;         // the first state of the production
  ZuParseState* parseState = nullptr;       // where the caller goes on
  short reduction = 0;                      // number of the production
  ZuReduction* partialReduction = nullptr;  // owned: the caller's unfinished node of the tree
  ZuReduction* lastChild = nullptr;         // of that node
  ZuParseStackNode* nextNode = nullptr;     // owned: toward the bottom
  unsigned long activation = 0;             // no other one has this number
  unsigned long callerStretch = 0;
  unsigned long callerPlace = 0;
  unsigned long enteredBefore = 0;  // where the production was entered that contains this activation of it
};

// A choice between several transitions, and everything that it takes to come back to it.
class ZU_API ZuBacktrackPosition : public ZuObject {
 public:
  ZuBacktrackPosition() = default;
  ZuBacktrackPosition(const ZuBacktrackPosition&) = delete;
  ZuBacktrackPosition& operator=(const ZuBacktrackPosition&) = delete;
  // Deletes the older positions, too.
  ~ZuBacktrackPosition() override;

 private:
  friend class ZuParseRun;

  ZuToken* token = nullptr;  // owned, with the next three a snapshot of the lexer
  short tokenIndex = 0;
  ZuScanner* literalScanner = nullptr;  // owned
  ZuToken literalToken;
  ZuParseStackNode* parseStackNode = nullptr;
  ZuParseState* parseState = nullptr;
  ZuReduction* reduction = nullptr;  // the current node of the tree; not owned
  ZuReduction* lastChild = nullptr;  // of that node
  short tokenType = tokenNone;
  unsigned char* tokenName = nullptr;           // owned
  ZuBacktrackPosition* nextPosition = nullptr;  // owned: the older one
  short alternative = 0;                        // matching transitions that are skipped
  unsigned long choice = 0;                     // number of this choice on the path
  unsigned long place = 0;
  unsigned long stretch = 0;
};

#endif
