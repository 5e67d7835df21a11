// ZuPTree: a sequence of records by position, in a tree. A record is inserted or deleted at a position, and
// all later ones move by one. Positions may be free: a sequence has holes.
//
// Keys are 32 bits and count from the start of their subtree, which is the key before it in the parent. So
// all that comes after a key moves with it, and an insertion changes only the keys of the nodes on its path:
//
//                |  10  |  25  |              positions 10 and 25
//   | 0 | 4 |    | 1 | 5 |    | 2 | 9 |       positions 0, 4 - 11, 15 - 27, 34
//
// A deleted key that could not leave its node keeps the position before it; before the first that is
// 0xFFFFFFFF.
//
// Keys delivered or taken by the operations of ZuTree are positions, uint32_t. `add` and `deleteKey` fill and
// make holes, and move nothing.

#ifndef ZULIB_STORAGE_ZUPTREE_H
#define ZULIB_STORAGE_ZUPTREE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/storage/zutree.h"

// The order of two uint32_t.
ZU_API short treeZUSIZE_TCompare(const void* a, const void* b, unsigned long size);

class ZU_API ZuPTree : public ZuTree {
 public:
  explicit ZuPTree(unsigned short dataSize);
  ZuPTree(const ZuPTree&) = delete;
  ZuPTree& operator=(const ZuPTree&) = delete;
  ~ZuPTree() override;

  // Inserts a record, or a hole, before the record at `position`. 1 without an error record if a position
  // would pass 0xFFFFFFFE.
  int addAtPos(unsigned long position, const void* data);
  int addHoleAtPos(unsigned long position);

  // Deletes the record or the hole at `position`; `*found` is 0 for a hole.
  int deleteKeyAtPos(unsigned long position, unsigned int* found);

  // As that of ZuTree.
  int add(const void* key, const void* data, unsigned int* existed);
  int reset();

  int getFirst(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator) override;
  int getNext(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator) override;
  int getPrevious(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator) override;
  int getLast(void* key, void* data, unsigned int* found, ZuTreeIterator* iterator) override;

 protected:
  int treeSearch(const void* key, unsigned long& node, unsigned short& position, unsigned int& found,
                 ZuTreeIterator* iterator, unsigned int forceDescent) override;
  int split(unsigned long node, unsigned short position, unsigned long son, unsigned long newNode) override;
  int doDecKeys(unsigned long node, unsigned long amount) override;

 private:
  int incKeys(unsigned long node, unsigned short from, unsigned long amount);
  int decKeys(unsigned long node, unsigned short from, unsigned long amount);
  int makeRoom(unsigned long position);
  int deliverPosition(int failed, void* key, const unsigned int* found, const ZuTreeIterator* it) const;

  int inserting = 0;              // a search raises the keys from the wanted one on
  int deleting = 0;               // a search lowers them
  unsigned long positionEnd = 0;  // no record is at or after it
};

#endif
