// Checks the nodes of a tree against the rules of its header, and counts its records from outside.

#ifndef ZULIB_FUZZ_STORAGE_TREECHECKER_H
#define ZULIB_FUZZ_STORAGE_TREECHECKER_H

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include "fuzz/input.h"
#include "zulib/storage/internal/treenode.h"
#include "zulib/storage/zuptree.h"
#include "zulib/storage/zutree.h"

// `Tree` is ZuTree or ZuPTree.
template <class Tree>
class CheckedTree : public Tree {
 public:
  using Tree::Tree;
  using Node = zustorage::TreeNode;

  // Walks all nodes. Every address is that of one node, all leaves are on one level, keys do not decrease,
  // and as many are not marked as the tree has records.
  void check() {
    seen.clear();
    live = 0;
    leafLevel = 0;
    previous.clear();
    if (this->root) checkNode(this->root, 1, 0);
    demand(live == this->recordCount && leafLevel == this->levels);
    demand(seen.size() <= this->nodeCount);
  }

 private:
  void checkNode(unsigned long address, unsigned level, uint32_t base) {
    demand(seen.insert(address).second);
    unsigned char copy[Node::kMostBytes];
    Node node;
    demand(this->getPtr(address, &node) == 0);
    demand(address % 4 == 0 && address % 2048 + this->nodeSize <= 2048);
    demand(node.sonCount() >= 1 && node.pendingKeyAdjust() == 0);
    std::memcpy(copy, node.start(), this->nodeSize);
    node = this->nodeAt(copy);
    const bool leaf = node.isLeaf();
    if (leaf) {
      if (leafLevel == 0) leafLevel = level;
      demand(leafLevel == level);
    }
    for (unsigned i = 0; i <= node.keyCount(); ++i) {
      demand((node.son(i) == 0) == leaf);
      const bool positional = (this->flags & ZuTree::kPositional) != 0;
      if (!leaf) checkNode(node.son(i), level + 1, base + (positional && i > 0 ? node.number(i - 1) : 0));
      if (i == node.keyCount()) break;
      checkKey(node, i, positional ? base + node.number(i) : 0);
    }
  }

  void checkKey(const Node& node, unsigned i, uint32_t position) {
    if (!node.isDeleted(i)) ++live;
    if (this->flags & ZuTree::kPositional) {
      // A marked key has the position before it.
      const int64_t place = node.isDeleted(i) ? int64_t{static_cast<int32_t>(position)} : int64_t{position};
      const int64_t before = lastPlace;
      lastPlace = previous.empty() ? place : std::max(place, before);
      demand(previous.empty() || place >= before + (node.isDeleted(i) ? 0 : 1));
      previous.assign(1, 'x');
      return;
    }
    const std::string key(reinterpret_cast<char*>(node.key(i)), this->keySize);
    if (!previous.empty()) {
      const bool equalAllowed = (this->flags & ZuTree::kDuplicates) != 0;
      demand(this->keyCompare(previous.data(), key.data()) <= (equalAllowed ? 0 : -1));
    }
    previous = key;
  }

  std::set<unsigned long> seen;
  unsigned long live = 0;
  unsigned leafLevel = 0;
  std::string previous;
  int64_t lastPlace = 0;
};

#endif
