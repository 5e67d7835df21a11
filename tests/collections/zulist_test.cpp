#include "zulib/collections/zulist.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(ZuList, LeavesAForeignNodeAlone) {
  ZuList list;
  ZuNode inside, outside;
  list.append(&inside);
  list.unlink(&outside);
  EXPECT_EQ(list.insertAtPos(&outside, 3), 1) << "there is no node at 2";
  EXPECT_EQ(list.getFirstNode(), &inside);
  EXPECT_EQ(list.getCount(), 1u);
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
