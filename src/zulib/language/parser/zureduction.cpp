#include "zulib/language/parser/zureduction.h"

#include <cstdlib>

#include "zulib/language/internal/replacetext.h"
#include "zulib/language/zutokencode.h"

ZuReduction::ZuReduction(short n, const unsigned char* text)
    : isTerminal(n > 0 && n < kFirstProduction), number(n), string(text ? ramAllocStr(text) : nullptr) {}

// Takes each node off its parent on the way down, and deletes it on the way up, when it has no children left.
ZuReduction::~ZuReduction() {
  ZuReduction* node = this;
  while (true) {
    if (ZuReduction* const first = node->child) {
      node->child = first->nextSibling;
      first->nextSibling = nullptr;
      first->prevSibling = nullptr;
      first->parent = node;
      node = first;
      continue;
    }
    if (node == this) break;
    ZuReduction* const above = node->parent;
    node->parent = nullptr;
    delete node;
    node = above;
  }
  std::free(string);
  unlink();
}

void ZuReduction::unlink() {
  if (prevSibling) prevSibling->nextSibling = nextSibling;
  if (nextSibling) nextSibling->prevSibling = prevSibling;
  if (parent && parent->child == this) parent->child = nextSibling;
}

int ZuReduction::setString(const unsigned char* text) { return language::replaceText(string, text); }

void ZuReduction::setReductNumber(short n) {
  number = n;
  isTerminal = n < kFirstProduction;
}

int ZuReduction::getChild(ZuReduction** found) const {
  *found = child;
  return 0;
}

int ZuReduction::getNextSibling(ZuReduction** found) const {
  *found = nextSibling;
  return 0;
}

int ZuReduction::getPrevSibling(ZuReduction** found) const {
  *found = prevSibling;
  return 0;
}

int ZuReduction::getParent(ZuReduction** found) const {
  *found = parent;
  return 0;
}

int ZuReduction::getGoal(ZuReduction** found) {
  ZuReduction* node = this;
  while (node->parent) node = node->parent;
  *found = node;
  return 0;
}

void ZuReduction::addChild(ZuReduction* node) {
  if (!node) return;
  node->parent = this;
  if (!child) {
    child = node;
    return;
  }
  ZuReduction* last = child;
  while (last->nextSibling) last = last->nextSibling;
  last->nextSibling = node;
  node->prevSibling = last;
}
