// A singly linked list in a ring, with a cursor of its own.
//
// The list points to its last node, and the last node's next is the first. A node lies in one list at a
// time and is not owned: whoever put it in deletes it, or calls `deleteNodes`.
//
// Every walk moves the one cursor, so walks of a list do not nest.
//
// Thread safety: one thread at a time, or under a lock of the caller.

#ifndef ZULIB_COLLECTIONS_ZULIST_H
#define ZULIB_COLLECTIONS_ZULIST_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

// Base of what can lie in a list.
class ZU_API ZuNode : public ZuObject {
 public:
  ZuNode() = default;
  ~ZuNode() override;

  // The node after this one, in a ring; null outside a list.
  ZuNode* getNext() const { return next; }

 private:
  friend class ZuList;
  ZuNode* next = nullptr;
};

class ZU_API ZuList : public ZuObject {
 public:
  ZuList() = default;
  ZuList(const ZuList&) = delete;
  ZuList& operator=(const ZuList&) = delete;

  // Deletes no nodes.
  ~ZuList() override;

  // Puts the node at the head, or at the end.
  void insert(ZuNode* node);
  void append(ZuNode* node);

  // Puts the node at `pos` (0 the head, count the end), and moves the cursor when it has to walk there. 0,
  // or 1 with the list as it was when no walk gets to `pos` - 1.
  int insertAtPos(ZuNode* node, unsigned long pos);

  // Takes the node out, at a cost that grows with its position. A cursor on the node is cleared. A node
  // that is not in the list is left alone.
  void unlink(ZuNode* node);

  // Deletes all nodes.
  void deleteNodes();

  // Set the cursor, and give the node under it: null when there is none. Behind the last node the cursor
  // is cleared, and `getNextNode` stays null.
  ZuNode* getFirstNode();
  ZuNode* getNextNode();
  ZuNode* getLastNode();

  // Walks there with the cursor. The steps are counted in 16 bits: a position above 65535
  // is never reached and gives null, with the cursor cleared.
  ZuNode* getNodeAtPos(unsigned long pos);

  // Take the node out and hand it to the caller; null when the list is empty.
  ZuNode* removeFirstNode();
  ZuNode* removeLastNode();

  // Takes the last node out and puts it at `pos` of what is left. 0, or 1 with the list as it was when it
  // is empty or has no such position.
  int moveLastNodeToPos(unsigned long pos);

  unsigned long getCount() const { return count; }

 private:
  ZuNode* last = nullptr;
  unsigned long count = 0;
  ZuNode* cursor = nullptr;
};

#endif
