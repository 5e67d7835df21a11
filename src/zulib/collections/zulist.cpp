#include "zulib/collections/zulist.h"

ZuNode::~ZuNode() = default;

ZuList::~ZuList() = default;

void ZuList::insert(ZuNode* node) {
  if (last) {
    node->next = last->next;
    last->next = node;
  } else {
    node->next = node;
    last = node;
  }
  ++count;
}

void ZuList::append(ZuNode* node) {
  insert(node);
  last = node;
}

int ZuList::insertAtPos(ZuNode* node, unsigned long pos) {
  if (pos == 0) {
    insert(node);
  } else if (pos == count) {
    append(node);
  } else {
    ZuNode* before = getNodeAtPos(pos - 1);
    if (!before) return 1;
    node->next = before->next;
    before->next = node;
    ++count;
  }
  return 0;
}

void ZuList::unlink(ZuNode* node) {
  if (!last) return;
  ZuNode* before = last;
  while (before->next != node) {
    before = before->next;
    if (before == last) return;
  }
  if (before == node) {
    last = nullptr;
  } else {
    before->next = node->next;
    if (node == last) last = before;
  }
  node->next = nullptr;
  --count;
  if (cursor == node) cursor = nullptr;
}

void ZuList::deleteNodes() {
  while (ZuNode* node = removeFirstNode()) delete node;
}

ZuNode* ZuList::getFirstNode() { return cursor = last ? last->next : nullptr; }

ZuNode* ZuList::getNextNode() { return cursor = cursor && cursor != last ? cursor->next : nullptr; }

ZuNode* ZuList::getLastNode() { return cursor = last; }

ZuNode* ZuList::getNodeAtPos(unsigned long pos) {
  constexpr unsigned long kMostSteps = 0xFFFF;
  if (pos > kMostSteps) return cursor = nullptr;
  getFirstNode();
  for (unsigned long step = 0; cursor && step < pos; ++step) getNextNode();
  return cursor;
}

ZuNode* ZuList::removeFirstNode() {
  ZuNode* node = last ? last->next : nullptr;
  if (node) unlink(node);
  return node;
}

ZuNode* ZuList::removeLastNode() {
  ZuNode* node = last;
  if (node) unlink(node);
  return node;
}

int ZuList::moveLastNodeToPos(unsigned long pos) {
  ZuNode* node = removeLastNode();
  if (!node) return 1;
  if (insertAtPos(node, pos) == 0) return 0;
  append(node);
  return 1;
}
