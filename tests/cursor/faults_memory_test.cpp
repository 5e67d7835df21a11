// A whole life of a scrolling statement with each of its allocations failing in turn: every failure is told
// as HY001, nothing is leaked, and the connection goes on working.

#include "tests/cursor/faults_scenario.h"

namespace {

class FailingMemory : public ScriptedFaults {
 protected:
  // Lives once. A failed step must have told of memory. What a failure leaves standing is freed.
  bool live() {
    ScrollingLife life(connection, GetParam().ownDescriptor);
    const bool passed = life.open() && life.scroll();
    bool closed = life.close();
    const FaultPause pause;
    if (!passed || !closed) {
      EXPECT_EQ(SQL_ERROR, life.code);
      EXPECT_NE(std::string::npos, life.told.find("HY001")) << "told: " << life.told;
    }
    EXPECT_TRUE(closed || life.close()) << life.told;
    return passed && closed;
  }
};

INSTANTIATE_TEST_SUITE_P(Drivers, FailingMemory, testing::ValuesIn(FAULT_CASES));

TEST_P(FailingMemory, IsToldAndLosesNothing) {
  const int before = script.liveHandles;
  sweepAllocations([&](FaultAllocator& faults) {
    const bool passed = live();
    const bool struck = faults.triggered();
    const FaultPause pause;
    EXPECT_EQ(before, script.liveHandles);
    if (struck) expectUsable();
    return passed;
  });
}

// From some allocation on there is no memory at all, until the statements are freed.
TEST_P(FailingMemory, MayLast) {
  const int before = script.liveHandles;
  bool struck = true;
  for (std::size_t n = 1; struck && !HasFailure(); n += 3) {
    SCOPED_TRACE("from allocation " + std::to_string(n) + " on");
    FaultAllocator faults;
    faults.failFrom(n);
    const bool passed = live();
    struck = faults.triggered();
    faults.stop();
    EXPECT_NE(struck, passed);
    EXPECT_EQ(before, script.liveHandles);
    expectUsable();
  }
}

}  // namespace
