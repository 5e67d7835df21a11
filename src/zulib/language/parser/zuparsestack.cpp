#include "zulib/language/parser/zuparsestack.h"

#include <cstdlib>

ZuParseStackNode::~ZuParseStackNode() {
  delete partialReduction;
  while (ZuParseStackNode* const below = nextNode) {
    nextNode = below->nextNode;
    below->nextNode = nullptr;
    delete below;
  }
}

ZuParseStackNode* ZuParseStackNode::getNodeBefore(const ZuParseStackNode* node) {
  if (node == this) return nullptr;
  ZuParseStackNode* above = this;
  while (above && above->nextNode != node) above = above->nextNode;
  return above;
}

ZuBacktrackPosition::~ZuBacktrackPosition() {
  delete token;
  delete literalScanner;
  std::free(tokenName);
  while (ZuBacktrackPosition* const older = nextPosition) {
    nextPosition = older->nextPosition;
    older->nextPosition = nullptr;
    delete older;
  }
}
