#include "zulib/storage/zutree.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>

#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/ram.h"
#include "zulib/storage/internal/treenode.h"

namespace {

constexpr unsigned long kStackSize = 32;  // levels for which an iterator has room at once
constexpr unsigned kTriadBytes = 2036;    // a page less the header and the first son
constexpr unsigned kMostSons = 49;
constexpr unsigned kFirstPageBytes = 12;  // header and first son

// memCompare, without the call for keys of the most common size (bench: tree_sqlite_find_1M).
short compareBytes(const void* a, const void* b, unsigned long n) {
  if (n != sizeof(uint64_t)) return memCompare(a, b, n);
  uint64_t left = 0;
  uint64_t right = 0;
  std::memcpy(&left, a, sizeof left);
  std::memcpy(&right, b, sizeof right);
  left = __builtin_bswap64(left);
  right = __builtin_bswap64(right);
  return static_cast<short>((left > right) - (left < right));
}

int failWith(int reason) {
  bosMapError(reason, static_cast<const unsigned char*>(nullptr));
  return 1;
}

}  // namespace

// --- iterators --------------------------------------------------------------------------------------------

ZuTreeIterator::ZuTreeIterator(ZuTree* tree) : tree(tree) {}
ZuTreeIterator::~ZuTreeIterator() = default;

// Leaves the old place, before a search or a walk begins at the root.
int ZuTreeIterator::begin(ZuTree* newTree) {
  tree = newTree;
  clear();
  if (nodes.getSizeOfArray() == 0 && nodes.setInitialSize(kStackSize)) return 1;
  return positions.getSizeOfArray() == 0 && positions.setInitialSize(kStackSize) ? 1 : 0;
}

void ZuTreeIterator::clear() {
  nodes.reset();
  positions.reset();
  basePosition = 0;
  setOnRecord(false);
  generation = tree ? tree->generation : 0;
}

int ZuTreeIterator::push(uint32_t node, uint32_t position) {
  if (nodes.add(node)) return 1;
  if (positions.add(position) == 0) return 0;
  nodes.setNextIndex(nodes.getCount() - 1);
  return 1;
}

void ZuTreeIterator::pop() {
  nodes.setNextIndex(nodes.getCount() - 1);
  positions.setNextIndex(positions.getCount() - 1);
}

// --- making a tree, and its nodes -------------------------------------------------------------------------

ZuTree::ZuTree(unsigned short keySize, unsigned short dataSize, Compare compare, unsigned int markDeleted,
               unsigned int duplicates, unsigned int fileOption)
    : keySize(keySize),
      dataSize(dataSize),
      compareFunction(compare),
      flags(static_cast<unsigned char>((markDeleted ? kMarkDeleted : 0) | (duplicates ? kDuplicates : 0))),
      deleteMarkSize(markDeleted ? 1 : 0),
      file(kFileCacheSize, fileOption),
      iterator(this) {
  const unsigned exact = keySize + dataSize + Node::kSonSize + 0u + deleteMarkSize;
  const unsigned bytes = (exact + 3u) & ~3u;
  triadSize = static_cast<unsigned short>(std::min(bytes, 0xFFFCu));
  maxSons = static_cast<unsigned short>(std::min(kTriadBytes / bytes + 1, kMostSons));
  nodeSize = static_cast<unsigned short>((maxSons - 1u) * triadSize + kFirstPageBytes);
  // Address 0 is no node's in any case; the byte keeps whatever comes first away from the start.
  unsigned long reserved = 0;
  file.tmpFindSpace(1, &reserved);
}

ZuTree::~ZuTree() {
  free(splitKey);
  free(splitData);
  free(promotedKey);
  free(promotedData);
}

void ZuTree::setContextCompare(ContextCompare compare, void* context) {
  contextCompare = compare;
  compareContext = context;
}

int ZuTree::reset() {
  root = 0;
  recordCount = 0;
  nodeCount = 0;
  maxDepth = 0;
  depth = 0;
  levels = 0;
  markedCount = 0;
  addressEnd = 0;
  ++generation;
  iterator.clear();
  unsigned long reserved = 0;
  const int truncated = file.tmpTruncate(0);
  return file.tmpFindSpace(1, &reserved) | truncated;
}

int ZuTree::allocateScratch() {
  for (unsigned char** key : {&splitKey, &promotedKey}) {
    if (!*key) *key = static_cast<unsigned char*>(ramAlloc(keySize));
    if (!*key) return 1;
  }
  for (unsigned char** data : {&splitData, &promotedData}) {
    if (!*data) *data = static_cast<unsigned char*>(ramAllocZ(dataSize + 1UL));
    if (!*data) return 1;
  }
  return 0;
}

ZuTree::Node ZuTree::nodeAt(unsigned char* bytes) const {
  return Node({keySize, dataSize, deleteMarkSize, triadSize, maxSons}, bytes);
}

int ZuTree::failDamaged() { return failWith(EIO); }

int ZuTree::getNode(unsigned long address, Node* node, unsigned short forWriting) {
  if (address == 0 || address >= addressEnd) return failDamaged();
  void* bytes = nullptr;
  unsigned short room = 0;
  if (file.tmpPointer(address, &bytes, &room, forWriting)) return 1;
  *node = nodeAt(static_cast<unsigned char*>(bytes));
  if (room < nodeSize || node->address() != address || node->sonCount() > maxSons) return failDamaged();
  return 0;
}

int ZuTree::getPtr(unsigned long address, Node* node) { return getNode(address, node, 0); }
int ZuTree::getDirtyPtr(unsigned long address, Node* node) { return getNode(address, node, 1); }

// A new node: with one key, or with none and no son yet.
int ZuTree::makeNode(unsigned long* address, const void* key, const void* data) {
  const unsigned long made = file.getContiguousSpace(nodeSize);
  if (made == 0) return 1;
  void* bytes = nullptr;
  unsigned short room = 0;
  if (file.tmpPointer(made, &bytes, &room, 1)) return 1;
  if (room < nodeSize) return failDamaged();
  Node node = nodeAt(static_cast<unsigned char*>(bytes));
  std::memset(node.start(), 0, nodeSize);
  node.setAddress(made);
  if (key) {
    node.setSonCount(2);
    node.setRecord(0, key, data, false);
  }
  ++nodeCount;
  addressEnd = std::max(addressEnd, made + nodeSize);
  *address = made;
  return 0;
}

// --- searching --------------------------------------------------------------------------------------------

short ZuTree::keyCompare(const void* a, const void* b) const {
  if (compareFunction) return compareFunction(a, b, keySize);
  if (contextCompare) return contextCompare(compareContext, a, b);
  return compareBytes(a, b, keySize);
}

// Below 0 if `key` belongs before key `i`. So does an equal key if that one is marked: it may take its place.
short ZuTree::orderOf(const void* key, const Node& node, unsigned short i) const {
  if (!node.isDeleted(i)) return keyCompare(key, node.key(i));
  if (flags & kPositional) {
    // A marked key is just after the position it has, and that can be one before the first: 0xFFFFFFFF.
    return Node::load<uint32_t>(static_cast<const unsigned char*>(key)) >= node.number(i) + 1 ? 1 : -1;
  }
  const short order = keyCompare(key, node.key(i));
  return order == 0 ? -1 : order;
}

// True with the position of the key; or false with that of the first key after it. Among equal keys the
// first.
bool ZuTree::nodeSearch(const Node& node, const void* key, unsigned short* position) const {
  unsigned low = 0;
  unsigned high = node.keyCount();
  while (low < high) {
    const auto middle = static_cast<unsigned short>((low + high) / 2);
    const short order = orderOf(key, node, middle);
    if (order == 0 && !(flags & kDuplicates)) {
      *position = middle;
      return true;
    }
    if (order > 0) {
      low = middle + 1u;
    } else {
      high = middle;
    }
  }
  *position = static_cast<unsigned short>(low);
  return flags & kDuplicates && low < node.keyCount() && orderOf(key, node, *position) == 0;
}

int ZuTree::treeSearch(const void* key, unsigned long& node, unsigned short& position, unsigned int& found,
                       ZuTreeIterator* it, unsigned int forceDescent) {
  found = 0;
  depth = 0;
  if (it->begin(this)) return 1;
  for (unsigned long address = root; address != 0;) {
    Node visited;
    if (depth == levels) return failDamaged();
    if (getPtr(address, &visited)) return 1;
    const bool hit = nodeSearch(visited, key, &position);
    if (it->push(visited.address(), position)) return 1;
    ++depth;
    node = address;
    if (hit && !forceDescent) {
      maxDepth = std::max(maxDepth, depth);
      it->setOnRecord(true);
      found = 1;
      return 0;
    }
    address = visited.son(position);
  }
  return depth == levels ? 0 : failDamaged();
}

// The first record with the key. In a tree with duplicates an equal key of a node may have equal ones before
// it in other nodes, so the search goes to the leaf and takes the record that comes next.
int ZuTree::searchFirst(const void* key, unsigned int* found, ZuTreeIterator* it) {
  unsigned long node = 0;
  unsigned short position = 0;
  const unsigned duplicates = flags & kDuplicates;
  *found = 0;
  if (root == 0) return it->begin(this);
  if (treeSearch(key, node, position, *found, it, duplicates)) return 1;
  if (!duplicates) return 0;
  if (walk(promotedKey, nullptr, found, it, true)) return 1;
  if (*found && keyCompare(key, promotedKey) != 0) {
    *found = 0;
    it->clear();
  }
  return 0;
}

int ZuTree::getData(const void* key, void* data, unsigned int* found, ZuTreeIterator* iterator) {
  ZuTreeIterator* it = chosen(iterator);
  if (searchFirst(key, found, it)) return 1;
  if (!*found) return 0;
  Node node;
  if (getPtr(it->node(), &node)) return 1;
  deliver(node, it->position(), nullptr, data);
  return 0;
}

int ZuTree::doesExist(const void* key, unsigned int* found) { return searchFirst(key, found, &iterator); }

// --- adding -----------------------------------------------------------------------------------------------

int ZuTree::add(const void* key, const void* data, unsigned int* existed) {
  if (existed) *existed = 0;
  if (root == 0) {
    if (maxSons < 2) return failWith(EINVAL);
    if (allocateScratch() || iterator.begin(this) || makeNode(&root, key, data)) return 1;
    levels = 1;
    recordCount = 1;
    return 0;
  }
  unsigned long node = 0;
  unsigned short position = 0;
  unsigned int found = 0;
  if (treeSearch(key, node, position, found, &iterator, flags & kDuplicates)) return 1;
  if (existed) *existed = found;
  if (found) return 0;
  uint32_t relative = 0;
  if (flags & kPositional) {
    relative = Node::load<uint32_t>(static_cast<const unsigned char*>(key)) -
               static_cast<uint32_t>(iterator.basePosition);
    key = &relative;
  }
  if (insertFound(node, position, key, data)) return 1;
  iterator.clear();
  ++recordCount;
  return 0;
}

// Puts a new record where the search ended.
int ZuTree::insertFound(unsigned long address, unsigned short position, const void* key, const void* data) {
  Node node;
  if (getPtr(address, &node)) return 1;
  const bool full = node.isFull();
  if (position < node.keyCount() && node.isDeleted(position)) {
    if (getDirtyPtr(address, &node)) return 1;
    node.setRecord(position, key, data, false);
    --markedCount;
    return 0;
  }
  bool reused = false;
  if (markedCount > 0 && position == node.keyCount() && reuseInnerSlot(key, data, &reused)) return 1;
  if (reused) return 0;
  return full ? insertWithSplit(key, data) : insertInNode(address, position, key, data, 0, 0);
}

// The key after the end of a leaf is the next one of the nodes above. If that is marked the new record takes
// its place. In a positional tree it does not: the keys below count from it.
int ZuTree::reuseInnerSlot(const void* key, const void* data, bool* reused) {
  if (flags & kPositional) return 0;
  for (unsigned long level = iterator.depth() - 1; level-- > 0;) {
    Node node;
    const unsigned long address = iterator.nodes.at(level);
    const uint32_t position = iterator.positions.at(level);
    if (getPtr(address, &node)) return 1;
    if (position >= node.keyCount()) continue;
    if (!node.isDeleted(position)) return 0;
    if (getDirtyPtr(address, &node)) return 1;
    node.setRecord(position, key, data, false);
    --markedCount;
    *reused = true;
    return 0;
  }
  return 0;
}

// With `copyMark` the byte after `data` tells whether the key is marked.
int ZuTree::insertInNode(unsigned long address, unsigned short position, const void* key, const void* data,
                         unsigned long son, unsigned copyMark) {
  Node node;
  if (getDirtyPtr(address, &node)) return 1;
  if (position >= node.sonCount() || node.isFull()) return failDamaged();
  node.openGap(position);
  node.setRecord(position, key, data, copyMark && static_cast<const unsigned char*>(data)[dataSize] == 1);
  node.setSon(position + 1u, son);
  return 0;
}

int ZuTree::insertWithSplit(const void* key, const void* data) {
  std::memcpy(splitKey, key, keySize);
  if (dataSize) std::memmove(splitData, data, dataSize);
  splitData[dataSize] = 0;
  unsigned long son = 0;
  for (unsigned long level = iterator.depth(); level-- > 0;) {
    const unsigned long address = iterator.nodes.at(level);
    const auto position = static_cast<unsigned short>(iterator.positions.at(level));
    Node node;
    if (getPtr(address, &node)) return 1;
    if (!node.isFull()) return insertInNode(address, position, splitKey, splitData, son, 1);
    unsigned long newNode = 0;
    if (makeNode(&newNode, nullptr, nullptr) || split(address, position, son, newNode)) return 1;
    std::swap(splitKey, promotedKey);
    std::swap(splitData, promotedData);
    if (promoteToParent(level)) return 1;
    son = newNode;
  }
  unsigned long newRoot = 0;
  Node top;
  if (makeNode(&newRoot, splitKey, splitData) || getDirtyPtr(newRoot, &top)) return 1;
  top.setSon(0, root);
  top.setSon(1, son);
  top.setDeleted(0, splitData[dataSize] == 1);
  root = newRoot;
  ++levels;
  return 0;
}

// In a positional tree the key that goes from a node of `level` to its parent counts from the parent's start.
int ZuTree::promoteToParent(unsigned long level) {
  if (!(flags & kPositional) || level == 0 || iterator.positions.at(level - 1) == 0) return 0;
  Node parent;
  if (getPtr(iterator.nodes.at(level - 1), &parent)) return 1;
  const uint32_t before = iterator.positions.at(level - 1) - 1;
  if (before >= parent.keyCount()) return failDamaged();
  Node::store(splitKey, Node::load<uint32_t>(splitKey) + parent.number(before));
  return 0;
}

// Copies the triads of a full node from `from` on to an empty one.
int ZuTree::copyTriads(unsigned long target, const Node& source, unsigned short from) {
  Node node;
  if (getDirtyPtr(target, &node)) return 1;
  const unsigned keys = maxSons - 1u - from;
  std::memcpy(node.triad(0), source.triad(from), keys * triadSize + Node::kSonSize);
  node.setSonCount(keys + 1);
  return 0;
}

int ZuTree::split(unsigned long address, unsigned short position, unsigned long son, unsigned long newNode) {
  // Looking up the new node may move the old one out of the cache.
  unsigned char copy[Node::kMostBytes];
  Node node;
  if (getPtr(address, &node)) return 1;
  if (!node.isFull() || position >= maxSons) return failDamaged();
  std::memcpy(copy, node.start(), nodeSize);
  const Node old = nodeAt(copy);
  const auto half = static_cast<unsigned short>(maxSons / 2);
  const bool toRight = position > half;
  if (copyTriads(newNode, old, static_cast<unsigned short>(toRight ? half + 1 : half))) return 1;
  if (getDirtyPtr(address, &node)) return 1;
  node.setSonCount(position < half ? half : half + 1u);
  if (position == half) {
    std::memcpy(promotedKey, splitKey, keySize);
    std::memcpy(promotedData, splitData, dataSize + 1UL);
    Node right;
    if (getDirtyPtr(newNode, &right)) return 1;
    right.setSon(0, son);
    return 0;
  }
  const unsigned promoted = toRight ? half : half - 1u;
  std::memcpy(promotedKey, old.key(promoted), keySize);
  std::memcpy(promotedData, old.data(promoted), dataSize);
  promotedData[dataSize] = old.isDeleted(promoted);
  return toRight ? insertInNode(newNode, static_cast<unsigned short>(position - half - 1), splitKey,
                                splitData, son, 1)
                 : insertInNode(address, position, splitKey, splitData, son, 1);
}

int ZuTree::doDecKeys(unsigned long, unsigned long) { return 0; }

// --- deleting and changing --------------------------------------------------------------------------------

int ZuTree::deleteKey(const void* key, unsigned int* found) { return deleteKeyAndData(key, nullptr, found); }

int ZuTree::deleteKeyAndData(const void* key, const void* data, unsigned int* found) {
  if (searchFirst(key, found, &iterator)) return 1;
  if (data && flags & kDuplicates) {
    while (*found) {
      Node node;
      if (getPtr(iterator.node(), &node)) return 1;
      const unsigned position = iterator.position();
      if (keyCompare(key, node.key(position)) != 0) *found = 0;
      if (!*found || memCompare(data, node.data(position), dataSize) == 0) break;
      if (walk(nullptr, nullptr, found, &iterator, true)) return 1;
    }
    if (!*found) iterator.clear();
  }
  return *found ? deleteCurrent(&iterator) : 0;
}

int ZuTree::deleteCurrent(ZuTreeIterator* where) {
  ZuTreeIterator* it = chosen(where);
  if (!hasPlace(it) || !it->isOnRecord()) return 1;
  Node node;
  if (getDirtyPtr(it->node(), &node)) return 1;
  const uint32_t position = it->position();
  if (position >= node.keyCount() || node.isDeleted(position)) return 1;
  if (node.isLeaf() && (node.sonCount() > 2 || !deleteMarkSize)) {
    node.removeWithSonAfter(position);
    it->setOnRecord(false);
  } else if (deleteMarkSize) {
    node.setDeleted(position, true);
    ++markedCount;
  } else if (removeInner(it)) {
    return 1;
  }
  --recordCount;
  return 0;
}

// Removes a key that separates two sons, without a mark: the last key before it takes its place. If there is
// none the sons before it are empty, and go with it. The iterator then is before the record that came next.
int ZuTree::removeInner(ZuTreeIterator* it) {
  const unsigned long address = it->node();
  const uint32_t position = it->position();
  Node node;
  if (getPtr(address, &node)) return 1;
  unsigned long last = 0;
  unsigned long below = node.son(position);
  for (unsigned long level = it->depth(); level < levels; ++level) {
    if (getPtr(below, &node)) return 1;
    if (node.keyCount() > 0) last = below;
    below = node.son(node.keyCount());
  }
  if (last == 0) {
    if (getDirtyPtr(address, &node)) return 1;
    node.removeWithSonBefore(position);
  } else {
    if (getDirtyPtr(last, &node)) return 1;
    const unsigned key = node.keyCount() - 1u;
    std::memcpy(promotedKey, node.key(key), keySize);
    std::memcpy(promotedData, node.data(key), dataSize);
    node.removeWithSonAfter(key);
    if (getDirtyPtr(address, &node)) return 1;
    node.setRecord(position, promotedKey, promotedData, false);
    it->setPosition(position + 1);
  }
  it->setOnRecord(false);
  return descend(node.son(it->position()), false, it);
}

int ZuTree::changeData(const void* key, const void* data) {
  unsigned int found = 0;
  if (searchFirst(key, &found, &iterator) || !found) return 1;
  return changeCurrentData(data, &iterator);
}

int ZuTree::changeCurrentData(const void* data, ZuTreeIterator* where) {
  ZuTreeIterator* it = chosen(where);
  if (!hasPlace(it) || !it->isOnRecord()) return 1;
  Node node;
  if (getDirtyPtr(it->node(), &node)) return 1;
  if (it->position() >= node.keyCount()) return 1;
  if (dataSize) std::memcpy(node.data(it->position()), data, dataSize);
  return 0;
}

// The new record is added before the old one is deleted, so that a failure loses nothing.
int ZuTree::changeKey(const void* oldKey, const void* newKey) {
  unsigned int found = 0;
  unsigned int existed = 0;
  if (searchFirst(oldKey, &found, &iterator) || !found) return 1;
  Node node;
  if (keyCompare(oldKey, newKey) == 0) {
    if (getDirtyPtr(iterator.node(), &node)) return 1;
    if (!(flags & kPositional)) std::memcpy(node.key(iterator.position()), newKey, keySize);
    return 0;
  }
  if (getPtr(iterator.node(), &node)) return 1;
  deliver(node, iterator.position(), nullptr, splitData);
  if (add(newKey, splitData, &existed) || existed) return 1;
  return deleteKey(oldKey, &found);
}

// --- walking ----------------------------------------------------------------------------------------------

bool ZuTree::hasPlace(ZuTreeIterator* it) const {
  if (it->tree == this && it->generation == generation) return !it->isEmpty();
  it->clear();
  return false;
}

void ZuTree::deliver(const Node& node, unsigned position, void* key, void* data) const {
  if (key) std::memcpy(key, node.key(position), keySize);
  if (data && dataSize) std::memcpy(data, node.data(position), dataSize);
}

// Goes down from a node to the first or after the last key of its first or last leaf.
int ZuTree::descend(uint32_t address, bool toLast, ZuTreeIterator* it) {
  while (it->depth() < levels) {
    Node node;
    if (getPtr(address, &node)) return 1;
    const uint16_t position = toLast ? node.keyCount() : 0;
    if (it->push(address, position)) return 1;
    address = node.son(position);
    if (flags & kPositional && position > 0 && address) it->basePosition += node.number(position - 1u);
  }
  return address == 0 ? 0 : failDamaged();
}

int ZuTree::getFirstOrLast(void* key, void* data, unsigned int* found, ZuTreeIterator* it, bool first) {
  *found = 0;
  if (it->begin(this)) return 1;
  if (recordCount == 0) return 0;
  if (descend(static_cast<uint32_t>(root), !first, it)) return 1;
  return walk(key, data, found, it, first);
}

int ZuTree::getFirst(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return getFirstOrLast(key, data, found, chosen(it), true);
}
int ZuTree::getLast(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return getFirstOrLast(key, data, found, chosen(it), false);
}
int ZuTree::getNext(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return walk(key, data, found, chosen(it), true);
}
int ZuTree::getPrevious(void* key, void* data, unsigned int* found, ZuTreeIterator* it) {
  return walk(key, data, found, chosen(it), false);
}

// To the next record that is not marked. At the end the iterator has no place any more.
int ZuTree::walk(void* key, void* data, unsigned int* found, ZuTreeIterator* it, bool forward) {
  *found = 0;
  while (hasPlace(it)) {
    Node node;
    if (forward ? moveForward(it, &node) : moveBackward(it, &node)) return 1;
    if (it->isEmpty() || node.isDeleted(it->position())) continue;
    deliver(node, it->position(), key, data);
    *found = 1;
    break;
  }
  return 0;
}

// Leaves a node for the one above.
int ZuTree::climb(ZuTreeIterator* it, Node* node) {
  it->pop();
  if (it->isEmpty()) {
    it->clear();
    return 0;
  }
  if (getPtr(it->node(), node)) return 1;
  const uint32_t position = it->position();
  if (position > node->keyCount()) return failDamaged();
  if (flags & kPositional && position > 0) it->basePosition -= node->number(position - 1);
  return 0;
}

// To the next key, marked or not; `node` is the one that has it.
int ZuTree::moveForward(ZuTreeIterator* it, Node* node) {
  if (getPtr(it->node(), node)) return 1;
  if (it->isOnRecord()) {
    const uint32_t position = it->position() + 1;
    if (position > node->keyCount()) return failDamaged();
    it->setPosition(position);
    it->setOnRecord(false);
    if (const uint32_t son = node->son(position)) {
      if (flags & kPositional) it->basePosition += node->number(position - 1);
      if (descend(son, false, it) || getPtr(it->node(), node)) return 1;
    }
  }
  while (it->position() >= node->keyCount()) {
    if (climb(it, node)) return 1;
    if (it->isEmpty()) return 0;
  }
  it->setOnRecord(true);
  return 0;
}

int ZuTree::moveBackward(ZuTreeIterator* it, Node* node) {
  if (getPtr(it->node(), node)) return 1;
  const uint32_t position = it->position();
  if (position > node->keyCount()) return failDamaged();
  if (it->isOnRecord()) {
    it->setOnRecord(false);
    if (const uint32_t son = node->son(position)) {
      if (flags & kPositional && position > 0) it->basePosition += node->number(position - 1);
      if (descend(son, true, it) || getPtr(it->node(), node)) return 1;
    }
  }
  while (it->position() == 0) {
    if (climb(it, node)) return 1;
    if (it->isEmpty()) return 0;
  }
  it->setPosition(it->position() - 1);
  it->setOnRecord(true);
  return 0;
}
