#include "zulib/storage/zuptree.h"

#include <algorithm>

#include "zulib/storage/internal/treenode.h"

namespace {

constexpr unsigned long kPositionEnd = 0xFFFFFFFF;

}  // namespace

short treeZUSIZE_TCompare(const void* a, const void* b, unsigned long) {
  uint32_t left = 0;
  uint32_t right = 0;
  std::memcpy(&left, a, sizeof left);
  std::memcpy(&right, b, sizeof right);
  return static_cast<short>((left > right) - (left < right));
}

ZuPTree::ZuPTree(unsigned short dataSize) : ZuTree(sizeof(uint32_t), dataSize, treeZUSIZE_TCompare, 1, 0, 0) {
  flags |= kPositional;
}

ZuPTree::~ZuPTree() = default;

int ZuPTree::reset() {
  positionEnd = 0;
  return ZuTree::reset();
}

int ZuPTree::incKeys(unsigned long address, unsigned short from, unsigned long amount) {
  Node node;
  if (getDirtyPtr(address, &node)) return 1;
  node.addToKeys(from, static_cast<uint32_t>(amount));
  return 0;
}

int ZuPTree::decKeys(unsigned long address, unsigned short from, unsigned long amount) {
  return incKeys(address, from, 0 - amount);
}

// The search of ZuTree, in which the wanted position counts from the start of each node's subtree.
int ZuPTree::treeSearch(const void* key, unsigned long& node, unsigned short& position, unsigned int& found,
                        ZuTreeIterator* it, unsigned int forceDescent) {
  auto wanted = Node::load<uint32_t>(static_cast<const unsigned char*>(key));
  found = 0;
  depth = 0;
  if (it->begin(this)) return 1;
  for (unsigned long address = root; address != 0;) {
    Node visited;
    if (it->depth() == levels) return failDamaged();
    if (getPtr(address, &visited)) return 1;
    const bool hit = nodeSearch(visited, &wanted, &position);
    const bool keysFollow = position < visited.keyCount();
    if (it->push(visited.address(), position)) return 1;
    ++depth;
    node = address;
    const unsigned long son = visited.son(position);
    const uint32_t before = position > 0 ? visited.number(position - 1u) : 0;
    if (inserting && keysFollow && incKeys(address, position, 1)) return 1;
    if (deleting && keysFollow && decKeys(address, position, 1)) return 1;
    if (hit && !inserting && !forceDescent) {
      maxDepth = std::max(maxDepth, depth);
      it->setOnRecord(true);
      found = 1;
      return 0;
    }
    address = son;
    if (son != 0) {
      wanted -= before;
      it->basePosition += before;
    }
  }
  return depth == levels ? 0 : failDamaged();
}

// The keys of the new node counted from the start of the old one; from here on they count from the key
// between the two.
int ZuPTree::split(unsigned long address, unsigned short position, unsigned long son, unsigned long newNode) {
  if (ZuTree::split(address, position, son, newNode)) return 1;
  Node right;
  if (getDirtyPtr(newNode, &right)) return 1;
  right.setPendingKeyAdjust(1);
  return doDecKeys(newNode, Node::load<uint32_t>(promotedKey));
}

// Down the left edge, as far as nodes are that still wait to be adjusted.
int ZuPTree::doDecKeys(unsigned long address, unsigned long amount) {
  for (unsigned short level = 0; address != 0 && level <= levels; ++level) {
    Node node;
    if (getPtr(address, &node)) return 1;
    if (!node.pendingKeyAdjust()) return 0;
    if (decKeys(address, 0, amount) || getDirtyPtr(address, &node)) return 1;
    node.setPendingKeyAdjust(0);
    address = node.son(0);
  }
  return 0;
}

// 1 if a record that is inserted at `position` would move one past the last position.
int ZuPTree::makeRoom(unsigned long position) {
  if (position >= kPositionEnd) return 1;
  if (std::max(positionEnd, position) + 1 > kPositionEnd) {
    // Deletions are not counted in it.
    uint32_t last = 0;
    unsigned int found = 0;
    if (getLast(&last, nullptr, &found, &iterator)) return 1;
    positionEnd = found ? last + 1UL : 0;
    if (std::max(positionEnd, position) + 1 > kPositionEnd) return 1;
  }
  positionEnd = std::max(positionEnd, position) + 1;
  return 0;
}

int ZuPTree::addAtPos(unsigned long position, const void* data) {
  if (makeRoom(position)) return 1;
  const auto key = static_cast<uint32_t>(position);
  inserting = 1;
  const int result = ZuTree::add(&key, data, nullptr);
  inserting = 0;
  return result;
}

int ZuPTree::addHoleAtPos(unsigned long position) {
  if (makeRoom(position)) return 1;
  const auto key = static_cast<uint32_t>(position);
  unsigned long node = 0;
  unsigned short place = 0;
  unsigned int found = 0;
  inserting = 1;
  const int result = treeSearch(&key, node, place, found, &iterator, 0);
  inserting = 0;
  iterator.clear();
  return result;
}

int ZuPTree::deleteKeyAtPos(unsigned long position, unsigned int* found) {
  *found = 0;
  if (position >= kPositionEnd) return 0;
  const auto key = static_cast<uint32_t>(position);
  unsigned long node = 0;
  unsigned short place = 0;
  deleting = 1;
  const int failed = treeSearch(&key, node, place, *found, &iterator, 0);
  deleting = 0;
  return failed || !*found ? failed : deleteCurrent(&iterator);
}

int ZuPTree::add(const void* key, const void* data, unsigned int* existed) {
  const unsigned long end = Node::load<uint32_t>(static_cast<const unsigned char*>(key)) + 1UL;
  if (end > kPositionEnd) return 1;
  positionEnd = std::max(positionEnd, end);
  return ZuTree::add(key, data, existed);
}

int ZuPTree::deliverPosition(int failed, void* key, const unsigned int* found,
                             const ZuTreeIterator* it) const {
  if (failed || !*found || !key) return failed;
  auto* position = static_cast<unsigned char*>(key);
  Node::store(position, Node::load<uint32_t>(position) + static_cast<uint32_t>(it->basePosition));
  return 0;
}

int ZuPTree::getFirst(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return deliverPosition(ZuTree::getFirst(key, data, found, it), key, found, chosen(it));
}
int ZuPTree::getNext(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return deliverPosition(ZuTree::getNext(key, data, found, it), key, found, chosen(it));
}
int ZuPTree::getPrevious(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return deliverPosition(ZuTree::getPrevious(key, data, found, it), key, found, chosen(it));
}
int ZuPTree::getLast(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return deliverPosition(ZuTree::getLast(key, data, found, it), key, found, chosen(it));
}
