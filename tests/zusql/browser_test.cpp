// The texts and the browser of zusql without a terminal: a bounded run of the fuzz target, which aborts where
// they differ from its models.

#define LLVMFuzzerTestOneInput runZusql
#include "fuzz/zusql_fuzz.cpp"

#include <gtest/gtest.h>

namespace {

TEST(ZusqlModels, AgreeAfterRandomSteps) {
  Dice dice(1);
  for (size_t round = 0; round < 500 * std::size(zusqlfuzz::kTargets); ++round) {
    std::vector<uint8_t> bytes = dice.bytes(1 + dice(600));
    bytes[0] = static_cast<uint8_t>(round % std::size(zusqlfuzz::kTargets));
    ASSERT_EQ(runZusql(bytes.data(), bytes.size()), 0) << round;
  }
  EXPECT_TRUE(zusql::matches("Zürich", "zür"));
  EXPECT_FALSE(zusql::matches("zürich", "Zür"));
}

}  // namespace
