// ZuReduction: a node of the tree that a parser builds. A terminal has a token code and the token's text; any
// other node has the number of its production, and children in the order of the text.
//
// Ownership: a node owns its children. Trees of any depth and width are deleted without recursion.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_PARSER_ZUREDUCTION_H
#define ZULIB_LANGUAGE_PARSER_ZUREDUCTION_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZU_API ZuReduction : public ZuObject {
 public:
  ZuReduction() = default;
  // The text is copied and may be null; getString returns null if the allocation failed. Terminal from 1 to
  // 999.
  ZuReduction(short number, const unsigned char* text);
  ZuReduction(const ZuReduction&) = delete;
  ZuReduction& operator=(const ZuReduction&) = delete;
  // Deletes the children, and takes the node out of its siblings and its parent.
  ~ZuReduction() override;

  // Takes a copy. 1 with the old text kept if allocation fails.
  int setString(const unsigned char* text);
  const unsigned char* getString() const { return string; }

  short reductNumber() const { return number; }
  // Terminal up to 999 then.
  void setReductNumber(short n);
  int terminal() const { return isTerminal; }
  void setTerminal(int is) { isTerminal = is; }

  // Links, null where there is none. All return 0.
  int getChild(ZuReduction** found) const;
  int getNextSibling(ZuReduction** found) const;
  int getPrevSibling(ZuReduction** found) const;
  int getParent(ZuReduction** found) const;
  // The root: the node without a parent above this one.
  int getGoal(ZuReduction** found);
  // Does nothing and returns 0.
  int getNextReduction(ZuReduction**) { return 0; }

  // Set one link only. A child is owned.
  void setChild(ZuReduction* node) { child = node; }
  void setNextSibling(ZuReduction* node) { nextSibling = node; }
  void setPrevSibling(ZuReduction* node) { prevSibling = node; }
  void setParent(ZuReduction* node) { parent = node; }

  // Adds a node after the last child, which it has to find; null does nothing.
  void addChild(ZuReduction* node);

 private:
  friend class ZuParseRun;
  void unlink();

  int isTerminal = 0;
  short number = 0;
  unsigned char* string = nullptr;  // owned
  ZuReduction* parent = nullptr;
  ZuReduction* child = nullptr;
  ZuReduction* nextSibling = nullptr;
  ZuReduction* prevSibling = nullptr;
};

#endif
