// A bounded run of the fuzz target of the collections, which aborts where they differ from the standard
// library's.

#define LLVMFuzzerTestOneInput editCollection
#include "fuzz/collections_fuzz.cpp"

#include <gtest/gtest.h>

TEST(Collections, RandomEditsLikeTheModels) {
  Dice dice(1);
  for (int round = 0; round < 210; ++round) {
    std::vector<uint8_t> commands = dice.bytes(1 + dice(2500));
    commands[0] = static_cast<uint8_t>(round);
    ASSERT_EQ(editCollection(commands.data(), commands.size()), 0) << round;
  }
}
