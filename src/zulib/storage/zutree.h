// ZuTree: a B-tree of fixed-size keys and data whose nodes are in a ZuTmpFile, so that it can outgrow memory.
//
// A node has `nodeSize` bytes in one page and is known by its address. It has up to `maxSons` triads of a
// son's address, a key and its data; the last triad consists of the son alone, so there is one key less:
//
//   0         2         4     8
//   |sonCount|pending  |self |son 0|key 0|data 0|mark?|son 1|key 1|...|son n|
//
// Deletion is lazy. A key that does not leave a leaf at once gets a mark, and its place is used again by a
// key that belongs there. Nodes are not merged, and none is freed before `reset`.
//
// Invariants:
//   1. In the order of a walk, keys do not decrease, marked ones included.
//   2. All leaves are on the same level, `levels` below the outside.
//   3. `recordCount` keys are not marked.
// Node headers are checked against these whenever a node is read, so damaged bytes in the file make an
// operation fail (error 30041) and nothing else.
//
// Usage:
//   ZuTree tree(8, 4, nullptr, 1, 0, 0);
//   unsigned existed;
//   if (tree.add(key, data, &existed)) return 1;
//   unsigned found;
//   ZuTreeIterator walk(&tree);
//   for (int failed = tree.getFirst(key, data, &found, &walk); !failed && found;
//        failed = tree.getNext(key, data, &found, &walk)) { ... }
//
// Operations return 0, or 1 after a failure of memory or of the file, which is on the thread's error list, or
// where they say so. After a failure the tree may have been changed in part. That there is no such record is
// no failure: `*found` is 0.
//
// Thread safety: none; a tree and its iterators are used by one thread at a time.

#ifndef ZULIB_STORAGE_ZUTREE_H
#define ZULIB_STORAGE_ZUTREE_H

#include <cstdint>

#include "zulib/collections/zuarray.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/storage/tmp.h"

namespace zustorage {
class TreeNode;
}

class ZuTree;

// A place in a tree: on a record, or between two. It is valid until the tree is changed in another way than
// through it. A change of the tree's structure leaves the tree's own iterator without a place, and `reset`
// every one; a walk then begins with getFirst, getLast or a search.
class ZU_API ZuTreeIterator : public ZuObject {
 public:
  explicit ZuTreeIterator(ZuTree* tree = nullptr);
  ZuTreeIterator(const ZuTreeIterator&) = delete;
  ZuTreeIterator& operator=(const ZuTreeIterator&) = delete;
  ~ZuTreeIterator() override;

  bool isOnRecord() const { return (flags & kOnRecord) != 0; }

 private:
  friend class ZuTree;
  friend class ZuPTree;
  static constexpr unsigned kOnRecord = 1;

  int begin(ZuTree* newTree);
  void clear();
  void setOnRecord(bool on) { flags = on ? flags | kOnRecord : flags & ~kOnRecord; }
  [[nodiscard]] int push(uint32_t node, uint32_t position);
  void pop();
  bool isEmpty() const { return nodes.getCount() == 0; }
  unsigned long depth() const { return nodes.getCount(); }
  uint32_t node() const { return nodes.at(nodes.getCount() - 1); }
  uint32_t position() const { return positions.at(positions.getCount() - 1); }
  void setPosition(uint32_t position) { positions[positions.getCount() - 1] = position; }

  ZuTree* tree;
  // From the root down, one entry for each level. On a record the last position is that of its key, and those
  // above it are the sons on the way; between records the last node is a leaf, and the position is that of
  // the key that comes next.
  ZuArrayU32 nodes;
  ZuArrayU32 positions;
  unsigned long basePosition = 0;  // of the last node; in positional trees
  unsigned flags = 0;
  unsigned generation = 0;  // of the tree when the place was taken
};

class ZU_API ZuTree : public ZuObject {
 public:
  using Compare = short (*)(const void* a, const void* b, unsigned long keySize);
  using ContextCompare = short (*)(void* context, const void* a, const void* b);

  // With a null `compare` keys are ordered by their bytes. With `markDeleted` each record has a byte more,
  // for the mark; without it deleted keys leave the tree at once. With `duplicates` keys may be equal; among
  // equal ones the record that was added last comes first. `fileOption` is the `disabled` of ZuTmpFile.
  //
  // A record with its key and mark must be below 2032 bytes; nothing can be added to other trees.
  ZuTree(unsigned short keySize, unsigned short dataSize, Compare compare, unsigned int markDeleted,
         unsigned int duplicates, unsigned int fileOption);
  ZuTree(const ZuTree&) = delete;
  ZuTree& operator=(const ZuTree&) = delete;
  ~ZuTree() override;

  // Keys are ordered by this function if there is no plain one. Before the first `add`.
  void setContextCompare(ContextCompare compare, void* context);

  // A null `existed` is allowed. In a tree without duplicates a record that exists stays as it is.
  int add(const void* key, const void* data, unsigned int* existed);

  // Of several records with this key the first is deleted; or the first with this data.
  int deleteKey(const void* key, unsigned int* found);
  int deleteKeyAndData(const void* key, const void* data, unsigned int* found);

  // In all that follows a null iterator is the tree's own, and a null `key` or `data` to be written is left
  // out.

  // Deletes the record that the iterator is on; a walk continues from its place. 1 if it is on none.
  int deleteCurrent(ZuTreeIterator* iterator);

  // The first record with this key.
  int getData(const void* key, void* data, unsigned int* found, ZuTreeIterator* iterator);
  int doesExist(const void* key, unsigned int* found);

  // 1 if there is no such record, and for changeKey in a tree without duplicates if the new key exists.
  int changeData(const void* key, const void* data);
  int changeKey(const void* oldKey, const void* newKey);
  int changeCurrentData(const void* data, ZuTreeIterator* iterator);

  // Removes all records, and the file.
  int reset();

  unsigned long getRecordCount() const { return recordCount; }

  virtual int getFirst(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator);
  virtual int getNext(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator);
  virtual int getPrevious(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator);
  virtual int getLast(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator);

 protected:
  using Node = zustorage::TreeNode;

  // Finds a key, and its place in the tree. With `forceDescent` the search goes to a leaf, where a new key
  // belongs.
  virtual int treeSearch(const void* key, unsigned long& node, unsigned short& position, unsigned int& found,
                         ZuTreeIterator* iterator, unsigned int forceDescent);
  // Splits a full node that gets one more key, splitKey, at `position`, and `son` after it. The key between
  // the two halves goes to promotedKey.
  virtual int split(unsigned long node, unsigned short position, unsigned long son, unsigned long newNode);
  virtual int doDecKeys(unsigned long node, unsigned long amount);

  // Records that the tree's bytes are damaged.
  static int failDamaged();
  Node nodeAt(unsigned char* bytes) const;
  int getPtr(unsigned long address, Node* node);
  int getDirtyPtr(unsigned long address, Node* node);
  short keyCompare(const void* a, const void* b) const;
  bool nodeSearch(const Node& node, const void* key, unsigned short* position) const;
  ZuTreeIterator* chosen(ZuTreeIterator* it) { return it ? it : &iterator; }

  static constexpr unsigned char kMarkDeleted = 1;
  static constexpr unsigned char kDuplicates = 2;
  static constexpr unsigned char kPositional = 4;
  static constexpr unsigned short kFileCacheSize = 32768;

  unsigned short keySize;
  unsigned short dataSize;
  Compare compareFunction;
  ContextCompare contextCompare = nullptr;
  void* compareContext = nullptr;
  unsigned char flags;
  unsigned short maxSons;
  unsigned short triadSize;
  unsigned short nodeSize;
  unsigned short deleteMarkSize;  // 0 or 1
  unsigned long root = 0;         // 0: empty
  ZuTmpFile file;
  ZuTreeIterator iterator;  // of callers that bring none
  // A key, or data and a mark; owned; allocated by the first add.
  unsigned char* splitKey = nullptr;
  unsigned char* splitData = nullptr;
  unsigned char* promotedKey = nullptr;
  unsigned char* promotedData = nullptr;
  unsigned long recordCount = 0;
  unsigned short nodeCount = 0;
  unsigned short maxDepth = 0;
  unsigned short depth = 0;   // of the last search
  unsigned short levels = 0;  // of nodes

 private:
  friend class ZuTreeIterator;

  int getNode(unsigned long address, Node* node, unsigned short forWriting);
  short orderOf(const void* key, const Node& node, unsigned short i) const;
  int searchFirst(const void* key, unsigned int* found, ZuTreeIterator* it);
  int allocateScratch();
  int makeNode(unsigned long* address, const void* key, const void* data);
  int insertInNode(unsigned long node, unsigned short position, const void* key, const void* data,
                   unsigned long son, unsigned copyMark);
  int insertWithSplit(const void* key, const void* data);
  int promoteToParent(unsigned long level);
  int copyTriads(unsigned long target, const Node& source, unsigned short from);
  int insertFound(unsigned long node, unsigned short position, const void* key, const void* data);
  int reuseInnerSlot(const void* key, const void* data, bool* reused);
  int removeInner(ZuTreeIterator* it);
  int descend(uint32_t address, bool toLast, ZuTreeIterator* it);
  int getFirstOrLast(void* key, void* data, unsigned int* found, ZuTreeIterator* it, bool first);
  bool hasPlace(ZuTreeIterator* it) const;
  int walk(void* key, void* data, unsigned int* found, ZuTreeIterator* it, bool forward);
  int moveForward(ZuTreeIterator* it, Node* node);
  int moveBackward(ZuTreeIterator* it, Node* node);
  int climb(ZuTreeIterator* it, Node* node);
  void deliver(const Node& node, unsigned position, void* key, void* data) const;

  unsigned long markedCount = 0;  // keys that are marked
  unsigned long addressEnd = 0;   // no node ends after it
  unsigned generation = 0;        // counts resets
};

#endif
