// A bounded run of the fuzz target that edits strings beside a plain model; it aborts where they differ.

#define LLVMFuzzerTestOneInput editStrings
#include "fuzz/stringedit_fuzz.cpp"

#include <gtest/gtest.h>

#include <random>
#include <vector>

TEST(StringEdit, RandomEditsLikeTheModel) {
  std::mt19937 random(23);
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8_t> commands(random() % 1500);
    for (uint8_t& command : commands) command = static_cast<uint8_t>(random());
    ASSERT_EQ(editStrings(commands.data(), commands.size()), 0) << round;
  }
}
