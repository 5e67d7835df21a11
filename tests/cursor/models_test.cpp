// Bounded runs of the fuzz targets of the cursors.

#define LLVMFuzzerTestOneInput fetchRows
#include "fuzz/rows_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

#define LLVMFuzzerTestOneInput movePositions
#include "fuzz/positions_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

TEST(CursorModels, RowsAgree) {
  Dice dice(1);
  for (unsigned round = 0; round < 2000 && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    const std::vector<uint8_t> commands = dice.bytes(600);
    fetchRows(commands.data(), commands.size());
  }
}

TEST(CursorModels, PositionedStatementsAgree) {
  Dice dice(2);
  for (uint8_t round = 0; round < 8 && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    std::vector<uint8_t> commands = dice.bytes(15000);  // some results are larger than the cache
    commands[0] = round;                                // the version of the driver
    movePositions(commands.data(), commands.size());
  }
}

}  // namespace
