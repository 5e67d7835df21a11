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

// An environment, a connection and the loading of a driver.
TEST_P(FailingMemory, WhileConnecting) {
  const std::string connectionString = driver.connectionString();
  auto* text = reinterpret_cast<SQLCHAR*>(const_cast<char*>(connectionString.c_str()));
  const int before = script.liveHandles;
  const auto worked = [](SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle) {
    const FaultPause pause;
    EXPECT_TRUE(SQL_SUCCEEDED(rc) || sqlstates(type, handle).find("HY001") != std::string::npos)
        << diagnostics(type, handle);
    return SQL_SUCCEEDED(rc);
  };
  sweepAllocations([&] {
    SQLHENV env = nullptr;
    SQLHDBC conn = nullptr;
    const auto number = [](SQLULEN value) { return reinterpret_cast<SQLPOINTER>(value); };
    const bool passed =
        SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env)) &&
        worked(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, number(SQL_OV_ODBC3), 0), SQL_HANDLE_ENV, env) &&
        worked(SQLAllocHandle(SQL_HANDLE_DBC, env, &conn), SQL_HANDLE_ENV, env) &&
        worked(SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, number(SQL_CUR_USE_ODBC), 0), SQL_HANDLE_DBC,
               conn) &&
        worked(SQLDriverConnect(conn, nullptr, text, SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT),
               SQL_HANDLE_DBC, conn) &&
        worked(SQLDisconnect(conn), SQL_HANDLE_DBC, conn);
    if (conn) SQLFreeHandle(SQL_HANDLE_DBC, conn);
    if (env) SQLFreeHandle(SQL_HANDLE_ENV, env);
    const FaultPause pause;
    EXPECT_EQ(before, script.liveHandles);
    return passed;
  });
}

}  // namespace
