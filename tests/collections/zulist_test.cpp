#include "zulib/collections/zulist.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(ZuList, CountsPositionsInSixteenBits) {
  ZuList list;
  std::vector<ZuNode> nodes(65538);
  for (ZuNode& node : nodes) list.append(&node);
  EXPECT_EQ(list.getNodeAtPos(65535), &nodes[65535]);
  EXPECT_EQ(list.getNextNode(), &nodes[65536]);
  EXPECT_EQ(list.getNodeAtPos(65536), nullptr);
}

}  // namespace
