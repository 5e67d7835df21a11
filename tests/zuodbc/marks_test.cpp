// Re-entrance marks: whose they are, what they skip, and the objects that the cursor library makes under
// them.

#include <thread>

#include "tests/support/scripted_fixture.h"
#include "zuodbc/dmservices.h"
#include "zuodbc/handles/handles.h"

namespace {

class Marks : public ScriptedTest {
 protected:
  Marks() : ScriptedTest({.cursors = SQL_CUR_USE_DRIVER}) {}

  OdbcStatement statement{conn};
  DMStmt* stmt = static_cast<DMStmt*>(SQLHSTMT(statement));
  DMConn* dbc = static_cast<DMConn*>(SQLHDBC(conn));
};

TEST_F(Marks, MarkedCallsSkipTheSequenceRulesOfThisThreadOnly) {
  EXPECT_EQ("HY010", refusal(statement, SQLFetch(stmt)));
  const int before = script.count("SQLFetch");
  stmt->CursorLibLockStmt(1);
  stmt->CursorLibLockStmt(1);
  stmt->CursorLibLockStmt(0);
  SQLFetch(stmt);
  EXPECT_EQ(before + 1, script.count("SQLFetch")) << "nested marks hold until the last is taken back";
  std::string inThread;
  std::thread([&] {
    EXPECT_EQ(SQL_ERROR, SQLFetch(stmt));
    inThread = statement.states();
  }).join();
  EXPECT_EQ("HY010", inThread);
  EXPECT_EQ(before + 1, script.count("SQLFetch"));
  stmt->CursorLibLockStmt(0);
  EXPECT_EQ(SQL_ERROR, SQLFetch(stmt));
  EXPECT_EQ(before + 1, script.count("SQLFetch"));

  dbc->CursorLibLockDbc(1);
  SQLFetch(stmt);
  dbc->CursorLibLockDbc(0);
  EXPECT_EQ(before + 2, script.count("SQLFetch")) << "a mark on the connection is one on its statements";
}

TEST_F(Marks, FreeUnderAMarkLeavesTheObjectToTheOuterCall) {
  SQLHSTMT inner;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &inner));
  const int live = script.liveHandles;
  auto* object = static_cast<DMStmt*>(inner);
  object->CursorLibLockStmt(1);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(inner, 10)) << "nothing to do in the driver";
  EXPECT_EQ(live, script.liveHandles);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_STMT, inner));
  EXPECT_EQ(live - 1, script.liveHandles);
  object->CursorLibLockStmt(0);
  EXPECT_EQ(dm::findStatement(inner), object);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_STMT, inner));
  EXPECT_EQ(dm::findStatement(inner), nullptr);
  EXPECT_EQ(live - 1, script.liveHandles);
}

// The cursor library writes to its own statement after it has freed it, so the object outlives the call,
// and goes with the next call of the application in the same thread.
TEST_F(Marks, StatementsOfTheCursorLibraryGoWithTheOuterCall) {
  SQLHSTMT aux = nullptr;
  dbc->CursorLibLockDbc(1);
  ASSERT_EQ(SQL_SUCCESS, SQLAllocStmt(dbc, &aux));
  dbc->CursorLibLockDbc(0);
  auto* object = static_cast<DMStmt*>(aux);
  EXPECT_EQ(1, object->ofCursorLibrary);
  dbc->CursorLibLockDbc(1);
  object->selfRef = object->driverHandle;
  EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(aux, SQL_DROP));
  object->selfRef = object;
  dbc->CursorLibLockDbc(0);
  EXPECT_EQ(stmt, dbc->GetFirstStmtFromDbcList());
  EXPECT_EQ(nullptr, dbc->GetNextStmtFromDbcList(stmt)) << "it has left the list";
  std::thread([&] { EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(stmt, SQL_UNBIND)); }).join();
  EXPECT_EQ(object, dm::findStatement(aux)) << "another thread leaves it alone";
  EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(stmt, SQL_UNBIND));
  EXPECT_EQ(nullptr, dm::findStatement(aux));
}

TEST_F(Marks, OneActiveStatementIsWatched) {
  dbc->activeStatements = 1;
  script.answers["select"] = scriptedRows(1);
  OdbcStatement other(conn);
  ASSERT_SQL(SQL_SUCCESS, other, other.execute("update"));
  EXPECT_EQ(0, dbc->hasOpenResult);
  ASSERT_SQL(SQL_SUCCESS, statement, statement.execute("select"));
  EXPECT_EQ(1, dbc->hasOpenResult);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(other, SQL_CLOSE));
  EXPECT_EQ(1, dbc->hasOpenResult) << "the result of another statement";
  EXPECT_EQ(SQL_SUCCESS, SQLFetch(statement));
  EXPECT_EQ(1, dbc->hasOpenResult);
  EXPECT_EQ(SQL_NO_DATA, SQLFetch(statement));
  EXPECT_EQ(0, dbc->hasOpenResult);
  ASSERT_SQL(SQL_SUCCESS, statement, SQLCloseCursor(statement));
  ASSERT_SQL(SQL_SUCCESS, statement, statement.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, statement, SQLCloseCursor(statement));
  EXPECT_EQ(0, dbc->hasOpenResult);
}

TEST_F(Marks, CallLockIsRecursiveAndHoldsOthersBack) {
  LockHandle(stmt, SQL_HANDLE_STMT, 1);
  LockHandle(stmt, SQL_HANDLE_STMT, 1);
  LockHandle(stmt, SQL_HANDLE_STMT, 0);
  SQLSMALLINT columns;
  std::atomic<bool> done{false};
  std::thread other([&] {
    SQLNumParams(stmt, &columns);
    SQLGetTypeInfo(stmt, SQL_ALL_TYPES);
    done = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(done);
  LockHandle(stmt, SQL_HANDLE_STMT, 0);
  other.join();
  EXPECT_TRUE(done);
  LockHandle(nullptr, SQL_HANDLE_STMT, 1);
  LockHandle(dbc, SQL_HANDLE_STMT, 1);
}

TEST_F(Marks, CancelReachesAStatementThatIsInTheDriver) {
  script.closeGate("SQLExecDirect");
  std::string states;
  std::thread busy([&] { states = refusal(statement, statement.execute("update")); });
  ASSERT_TRUE(script.waitForGate());
  EXPECT_EQ(SQL_SUCCESS, SQLCancel(stmt)) << "no lock is waited for";
  busy.join();
  EXPECT_EQ("HY008", states);
  EXPECT_SQL(SQL_SUCCESS, statement, statement.execute("update"));
}

// The register is entered by constructors at any address, and left by destructors.
TEST(Register, TakesObjectsAtAnyAddress) {
  alignas(DMStmt) unsigned char place[sizeof(DMStmt)];
  auto* stmt = new (place) DMStmt(nullptr);
  EXPECT_EQ(stmt, dm::findStatement(place));
  EXPECT_EQ(static_cast<DMHandle*>(stmt), dm::findAnyHandle(place)) << "a handle has one address";
  EXPECT_EQ(1, stmt->SetupHandleList(nullptr));
  EXPECT_EQ(&stmt->implicitIrdStorage, dm::findDescriptor(&stmt->implicitIrdStorage));
  EXPECT_EQ(1, stmt->isUTF8Driver());
  EXPECT_EQ(1, stmt->isUTF8App());
  stmt->~DMStmt();
  EXPECT_EQ(nullptr, dm::findAnyHandle(place));
  std::vector<std::unique_ptr<DMStmt>> many;
  for (int i = 0; i < 5000; ++i) many.push_back(std::make_unique<DMStmt>(nullptr));
  for (const auto& one : many) ASSERT_EQ(one.get(), dm::findStatement(one.get()));
}

}  // namespace
