// Bounded runs of the fuzz targets of the driver manager.

#define LLVMFuzzerTestOneInput callInOrder
#include "fuzz/callorder_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

#define LLVMFuzzerTestOneInput fetchSizes
#include "fuzz/fetchsizes_fuzz.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

TEST(DriverManagerModels, Agree) {
  Dice dice(1);
  for (unsigned round = 0; round < 400 && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    const std::vector<uint8_t> commands = dice.bytes(200);
    callInOrder(commands.data(), commands.size());
    fetchSizes(commands.data(), commands.size());
  }
}

}  // namespace
