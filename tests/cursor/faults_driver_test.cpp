// A driver that fails each of its calls in turn, through the whole life of a scrolling statement.
//
// What the application is told is the driver's error, with two exceptions: the library has its own words for
// a binding that the driver refused; and a fetch that fails while the library reads ahead ends the result at
// that row, so that a later step may miss a row. The driver's handles all go, and the connection and the
// statements themselves go on working.

#include "tests/cursor/faults_scenario.h"
#include "zulib/cursor/internal/messages.h"

namespace {

class FailingDriver : public ScriptedFaults {
 protected:
  void failCall(int n) {
    script.calls = 0;
    script.failed.clear();
    script.failAtCall = n;
  }

  // The function that failed; empty when there were fewer calls.
  std::string stopFailing() {
    script.failAtCall = 0;
    return script.failed;
  }
};

INSTANTIATE_TEST_SUITE_P(Drivers, FailingDriver, testing::ValuesIn(FAULT_CASES));

TEST_P(FailingDriver, IsHeardAndSurvived) {
  const int before = script.liveHandles;
  bool struck = true;
  int heard = 0;
  for (int n = 1; struck && !HasFailure(); ++n) {
    ScrollingLife life(connection, GetParam().ownDescriptor);
    failCall(n);
    const bool opened = life.open();
    const bool passed = opened && life.scroll();
    const std::string failed = stopFailing();
    struck = !failed.empty();
    SCOPED_TRACE("call " + std::to_string(n) + ", " + failed);
    EXPECT_TRUE(struck || passed) << life.told;
    if (!passed && failed != "SQLFetch") {
      const bool ofBinding = life.told.find(catalogText(clmsg::DriverBindFailed)) != std::string::npos;
      EXPECT_TRUE(ofBinding || life.told.find("[scripted]") != std::string::npos) << "told: " << life.told;
      ++heard;
    }
    if (opened) {
      life.reset();
      EXPECT_TRUE(life.scroll()) << life.told;
    }
    EXPECT_TRUE(life.close()) << life.told;
    // The library's own second statement, which the driver did not free, goes with the connection.
    if (failed == "SQLFreeHandle" || failed == "SQLFreeStmt") {
      EXPECT_SQL(SQL_SUCCESS, connection, connection.disconnect());
      EXPECT_SQL(SQL_SUCCESS, connection, connection.connect(driver.connectionString()));
    }
    EXPECT_EQ(before, script.liveHandles);
    expectUsable();
  }
  EXPECT_GT(heard, 10);
}

// A statement that the driver would not free is still there to be freed again.
TEST_P(FailingDriver, MayRefuseToFree) {
  const int before = script.liveHandles;
  bool struck = true;
  for (int n = 1; struck && !HasFailure(); ++n) {
    ScrollingLife life(connection, GetParam().ownDescriptor);
    ASSERT_TRUE(life.open() && life.scroll()) << life.told;
    failCall(n);
    const bool closed = life.close();
    const std::string failed = stopFailing();
    struck = !failed.empty();
    SCOPED_TRACE("call " + std::to_string(n) + ", " + failed);
    EXPECT_TRUE(closed || life.told.find("[scripted]") != std::string::npos) << "told: " << life.told;
    EXPECT_TRUE(life.close()) << life.told;
    EXPECT_EQ(before, script.liveHandles);
    expectUsable();
  }
}

}  // namespace
