#include "zulib/collections/zulist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/collections/support.h"

namespace {

using Nodes = std::vector<ZuNode*>;

void expectSame(ZuList& list, const Nodes& model) {
  ASSERT_EQ(list.getCount(), model.size());
  ZuNode* node = list.getFirstNode();
  for (ZuNode* expected : model) {
    ASSERT_EQ(node, expected);
    node = list.getNextNode();
  }
  ASSERT_EQ(node, nullptr);
  EXPECT_EQ(list.getNextNode(), nullptr) << "the cursor stays off the end";
  EXPECT_EQ(list.getLastNode(), model.empty() ? nullptr : model.back());
}

// One random operation on both: a node comes, goes, or moves from the end to `pos`.
void step(ZuList& list, Nodes& model, Dice& dice) {
  const unsigned long n = model.size();
  const unsigned long work = dice(8);
  const unsigned long pos = work == 0 || work == 4 ? 0 : work == 1 ? n : dice(n + 1);
  if (work < 4) {
    model.insert(model.begin() + pos, new ZuNode);
    if (work > 1) {
      EXPECT_EQ(list.insertAtPos(model[pos], pos), 0);
    }
    if (work == 0) list.insert(model[pos]);
    if (work == 1) list.append(model[pos]);
  } else if (work < 7) {
    const unsigned long from = work == 5 && n ? n - 1 : pos;
    ZuNode* node = from < n ? model[from] : nullptr;
    if (work == 4) {
      EXPECT_EQ(list.removeFirstNode(), node);
    }
    if (work == 5) {
      EXPECT_EQ(list.removeLastNode(), node);
    }
    if (!node) return;
    if (work == 6) {
      ASSERT_EQ(list.getNodeAtPos(pos), node);
      list.unlink(node);
      EXPECT_EQ(list.getNextNode(), nullptr) << "a cursor on the node is cleared";
    }
    EXPECT_EQ(node->getNext(), nullptr);
    model.erase(model.begin() + from);
    delete node;
  } else {
    ASSERT_EQ(list.moveLastNodeToPos(pos), pos < n ? 0 : 1);
    if (pos < n) std::rotate(model.begin() + pos, model.end() - 1, model.end());
  }
}

TEST(ZuList, BehavesAsASequenceThroughRandomOperations) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    Dice dice(seed);
    ZuList list;
    Nodes model;
    for (int i = 0; i < 500; ++i) {
      ASSERT_NO_FATAL_FAILURE(step(list, model, dice));
      ASSERT_NO_FATAL_FAILURE(expectSame(list, model));
    }
    list.deleteNodes();
    expectSame(list, {});
  }
}

TEST(ZuList, LeavesAForeignNodeAlone) {
  ZuList list;
  ZuNode inside, outside;
  list.append(&inside);
  list.unlink(&outside);
  EXPECT_EQ(list.insertAtPos(&outside, 3), 1) << "there is no node at 2";
  expectSame(list, {&inside});
}

TEST(ZuList, CountsPositionsInSixteenBits) {
  ZuList list;
  std::vector<ZuNode> nodes(65538);
  for (ZuNode& node : nodes) list.append(&node);
  EXPECT_EQ(list.getNodeAtPos(65535), &nodes[65535]);
  EXPECT_EQ(list.getNextNode(), &nodes[65536]);
  EXPECT_EQ(list.getNodeAtPos(65536), nullptr);
}

}  // namespace
