// The whole life of a scrolling statement with each of its allocations, and each call of its driver, failing
// in turn: the application is told, nothing is leaked, and the connection goes on working.

#include "tests/support/fault_allocator.h"
#include "tests/support/scripted_fixture.h"
#include "zulib/cursor/internal/messages.h"

namespace {

// A variant of the driver, and whether the application binds through a descriptor of its own.
struct FaultCase {
  ScriptedVariant variant;
  bool ownDescriptor;
};

// It scrolls, reads a value again, updates at the cursor, and closes. Each operation returns true if all its
// steps worked; if not, `told` holds the diagnostics of the one that failed. All handles are this object's.
class ScrollingLife {
 public:
  ScrollingLife(SQLHDBC conn, bool ownDescriptor) : conn(conn), ownDescriptor(ownDescriptor) {}

  bool open() {
    return on(SQL_HANDLE_DBC, conn, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt)) &&
           on(SQL_HANDLE_DBC, conn, SQLAllocHandle(SQL_HANDLE_STMT, conn, &writer)) &&
           (!ownDescriptor || (on(SQL_HANDLE_DBC, conn, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc)) &&
                               read(SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, desc, SQL_IS_POINTER)))) &&
           read(set(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC)) &&
           read(set(SQL_ATTR_CONCURRENCY, SQL_CONCUR_VALUES)) && read(set(SQL_ATTR_ROW_ARRAY_SIZE, 3)) &&
           read(SQLSetCursorName(stmt, sqlText("C1"), SQL_NTS)) &&
           read(SQLBindCol(stmt, 1, SQL_C_SLONG, ids, 0, idLengths)) &&
           read(SQLBindCol(stmt, 2, SQL_C_CHAR, names, sizeof names[0], nameLengths)) &&
           write(SQLBindParameter(writer, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &newId, 0,
                                  nullptr));
  }
  bool scroll() {
    char piece[8] = "";
    SQLLEN left = 0;
    return read(SQLExecDirect(stmt, sqlText("select id, name from t"), SQL_NTS)) &&
           read(SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)) && read(SQLFetchScroll(stmt, SQL_FETCH_LAST, 0)) &&
           read(SQLFetchScroll(stmt, SQL_FETCH_ABSOLUTE, 2)) &&
           read(SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE)) &&
           read(SQLGetData(stmt, 2, SQL_C_CHAR, piece, sizeof piece, &left)) &&
           write(SQLPrepare(writer, sqlText("update t set id = ? where current of C1"), SQL_NTS)) &&
           write(SQLExecute(writer)) && read(SQLFreeStmt(stmt, SQL_CLOSE));
  }
  // May be called again when a step of it has failed.
  bool close() {
    return drop(SQL_HANDLE_STMT, writer) && drop(SQL_HANDLE_STMT, stmt) && drop(SQL_HANDLE_DESC, desc);
  }

  // What an application does before it uses a statement again.
  void reset() {
    SQLFreeStmt(stmt, SQL_CLOSE);
    SQLFreeStmt(writer, SQL_CLOSE);
    if (desc) SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, desc, SQL_IS_POINTER);
  }

  std::string told;

 private:
  SQLRETURN set(SQLINTEGER attribute, SQLULEN value) {
    return SQLSetStmtAttr(stmt, attribute, reinterpret_cast<SQLPOINTER>(value), SQL_IS_UINTEGER);
  }
  bool read(SQLRETURN rc) { return on(SQL_HANDLE_STMT, stmt, rc); }
  bool write(SQLRETURN rc) { return on(SQL_HANDLE_STMT, writer, rc); }
  bool on(SQLSMALLINT type, SQLHANDLE handle, SQLRETURN rc) {
    if (SQL_SUCCEEDED(rc)) return true;
    const FaultPause pause;
    told = std::to_string(rc) + " " + diagnostics(type, handle);
    return false;
  }
  bool drop(SQLSMALLINT type, SQLHANDLE& handle) {
    if (!handle) return true;
    if (!on(type, handle, SQLFreeHandle(type, handle))) return false;
    handle = nullptr;
    return true;
  }

  SQLHDBC conn;
  bool ownDescriptor;
  SQLHSTMT stmt = nullptr, writer = nullptr;
  SQLHDESC desc = nullptr;
  SQLINTEGER ids[3] = {}, newId = 3;
  SQLLEN idLengths[3] = {}, nameLengths[3] = {};
  char names[3][12] = {};
};

class Faults : public ScriptedTest, public testing::WithParamInterface<FaultCase> {
 protected:
  Faults() : ScriptedTest({.variant = GetParam().variant}) {
    script.answers["select"] = scriptedRows(9);
    script.answers["select id, name from t WHERE"] = scriptedRows(1);
    live = script.liveHandles;
  }

  void expectUsable() {
    EXPECT_EQ(live, script.liveHandles);
    OdbcStatement stmt(conn);
    stmt.makeScrollable();
    Rowset rows(stmt, 2);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
    ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, 8));
    EXPECT_EQ(rowTexts(8, 9), rows.text());
  }

  void failCall(int n) {
    script.calls = 0;
    script.failed.clear();
    script.failAtCall = n;
  }

  // Lives once. What a failure leaves is freed.
  bool liveWithoutMemory() {
    ScrollingLife life(conn, GetParam().ownDescriptor);
    const bool passed = life.open() && life.scroll();
    const bool closed = life.close();
    const FaultPause pause;
    EXPECT_TRUE((passed && closed) || life.told.find("-1 HY001") == 0) << "told: " << life.told;
    EXPECT_TRUE(closed || life.close()) << life.told;
    return passed && closed;
  }

  int live = 0;
};

INSTANTIATE_TEST_SUITE_P(Drivers, Faults,
                         testing::Values(FaultCase{ScriptedVariant::Odbc1, false},
                                         FaultCase{ScriptedVariant::Odbc2, false},
                                         FaultCase{ScriptedVariant::Odbc3, false},
                                         FaultCase{ScriptedVariant::Odbc3, true},
                                         FaultCase{ScriptedVariant::NoDescriptors, false}));

TEST_P(Faults, OfOneAllocation) {
  sweepAllocations([&](FaultAllocator& faults) {
    const bool passed = liveWithoutMemory();
    const bool struck = faults.triggered();
    const FaultPause pause;
    if (struck) expectUsable();
    return passed;
  });
}

// From some allocation on there is no memory at all, until the statements are freed.
TEST_P(Faults, OfAllAllocationsFromOneOn) {
  bool struck = true;
  for (std::size_t n = 1; struck && !HasFailure(); n += 3) {
    SCOPED_TRACE("from allocation " + std::to_string(n) + " on");
    FaultAllocator faults;
    faults.failFrom(n);
    const bool passed = liveWithoutMemory();
    struck = faults.triggered();
    faults.stop();
    EXPECT_NE(struck, passed);
    expectUsable();
  }
}

// The application is told the driver's error, with two exceptions: the library has its own words for a
// binding that the driver refused; and a fetch that fails while the library reads ahead ends the result at
// that row. A statement that the driver would not free is still there to be freed again.
TEST_P(Faults, OfOneDriverCall) {
  std::string failed = "none yet";
  int heard = 0;
  for (int n = 1; !failed.empty() && !HasFailure(); ++n) {
    for (const bool atEnd : {false, true}) {
      ScrollingLife life(conn, GetParam().ownDescriptor);
      bool passed = true;
      if (!atEnd) failCall(n);
      const bool opened = life.open();
      passed = opened && life.scroll();
      if (atEnd) failCall(n), passed = life.close();
      script.failAtCall = 0;
      if (!atEnd) failed = script.failed;
      SCOPED_TRACE("call " + std::to_string(n) + ", " + script.failed);
      const bool isTold = life.told.find("[scripted]") != std::string::npos ||
                          life.told.find(catalogText(clmsg::DriverBindFailed)) != std::string::npos;
      EXPECT_TRUE(passed || isTold || script.failed == "SQLFetch") << "told: " << life.told;
      heard += !passed && isTold;
      if (opened && !atEnd) {
        life.reset();
        EXPECT_TRUE(life.scroll()) << life.told;
      }
      EXPECT_TRUE(life.close()) << life.told;
      // The library's own second statement, which the driver did not free, goes with the connection.
      if (!atEnd && (failed == "SQLFreeHandle" || failed == "SQLFreeStmt")) reconnect();
      expectUsable();
    }
  }
  EXPECT_GT(heard, 10);
}

}  // namespace
