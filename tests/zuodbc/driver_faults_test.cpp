// What a driver may do to the driver manager, and what the driver manager must not do to a driver: codes and
// exceptions, freed handles, descriptors that change places, buffers that may be gone.

#include <algorithm>

#include "tests/support/scripted_fixture.h"
#include "zuodbc/driverfunctions.h"

namespace {

class DriverFaults : public ScriptedTest {
 protected:
  DriverFaults() : ScriptedTest({.cursors = SQL_CUR_USE_DRIVER}) {}

  OdbcStatement stmt{conn};
  DMDriverFunctions& functions = *static_cast<DMConn*>(SQLHDBC(conn))->driverFunctions;
};

TEST_F(DriverFaults, ExceptionsAndStrangeCodesStayWithTheCall) {
  SQLSMALLINT count = 0;
  functions.SQLNumParams = [](SQLHSTMT, SQLSMALLINT*) -> SQLRETURN { throw 42; };
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select 1"));
  EXPECT_EQ("HY000", refusal(stmt, SQLNumParams(stmt, &count)));
  functions.SQLGetDiagRec = [](SQLSMALLINT, SQLHANDLE, SQLSMALLINT, SQLCHAR*, SQLINTEGER*, SQLCHAR*,
                               SQLSMALLINT, SQLSMALLINT*) -> SQLRETURN { throw 42; };
  script.faults = {{"SQLExecute", 1, SQL_ERROR, "HY000"}};
  EXPECT_EQ("", refusal(stmt, SQLExecute(stmt)));

  for (const SQLRETURN code : {-1001, -1002, -1003}) {
    static SQLRETURN strange;
    strange = code;
    functions.SQLNumParams = [](SQLHSTMT, SQLSMALLINT*) { return strange; };
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select 1"));
    EXPECT_EQ(SQL_ERROR, SQLNumParams(stmt, &count)) << code;
    EXPECT_EQ("", stmt.states()) << "neither IM001 nor a warning";
  }
}

TEST_F(DriverFaults, AFreedHandleIsNotAskedForDiagnostics) {
  SQLHSTMT other;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &other));
  static int asked;
  asked = 0;
  static decltype(functions.SQLFreeHandle) real;
  real = functions.SQLFreeHandle;
  functions.SQLFreeHandle = [](SQLSMALLINT type, SQLHANDLE handle) -> SQLRETURN {
    return real(type, handle) == SQL_SUCCESS ? SQL_SUCCESS_WITH_INFO : SQL_ERROR;
  };
  functions.SQLGetDiagRec = [](SQLSMALLINT, SQLHANDLE, SQLSMALLINT, SQLCHAR*, SQLINTEGER*, SQLCHAR*,
                               SQLSMALLINT, SQLSMALLINT*) -> SQLRETURN {
    ++asked;
    return SQL_NO_DATA;
  };
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, SQLFreeHandle(SQL_HANDLE_STMT, other));
  EXPECT_EQ(0, asked);
}

TEST_F(DriverFaults, CancelsOfOtherHandlesAreNoneOfAStatement) {
  const SQLHDESC desc = newDescriptor();
  EXPECT_EQ("HYC00", refusal(conn, SQLCancelHandle(SQL_HANDLE_DBC, SQLHDBC(conn))));
  EXPECT_EQ("HY092", refusal(SQL_HANDLE_DESC, desc, SQLCancelHandle(SQL_HANDLE_DESC, desc)));
  EXPECT_EQ(SQL_ERROR, SQLCancelHandle(SQL_HANDLE_ENV, conn.environment()));
  EXPECT_EQ(SQL_SUCCESS, SQLCancelHandle(SQL_HANDLE_STMT, SQLHSTMT(stmt)));
  EXPECT_EQ(1, script.count("SQLCancel"));
}

TEST_F(DriverFaults, NoRowTouchedIsNoResult) {
  script.faults = {{"SQLExecute", 1, SQL_NO_DATA, ""}};
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("update t"));
  EXPECT_SQL(SQL_NO_DATA, stmt, SQLExecute(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
  // Whether there is a row without result columns is the driver's to say.
  script.faults = {{"SQLFetch", 1, SQL_NO_DATA, ""}};
  EXPECT_SQL(SQL_NO_DATA, stmt, SQLFetch(stmt));
  EXPECT_EQ(1, script.count("SQLFetch"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
}

TEST_F(DriverFaults, TheDriverSaysWhatItSupportsOnAConnection) {
  SQLUSMALLINT present = SQL_FALSE;
  EXPECT_EQ(SQL_SUCCESS, SQLGetFunctions(conn, SQL_API_SQLTABLES, &present));
  EXPECT_EQ(SQL_TRUE, present);
  functions.SQLGetFunctions = [](SQLHDBC, SQLUSMALLINT number, SQLUSMALLINT* out) -> SQLRETURN {
    if (number != SQL_API_ODBC3_ALL_FUNCTIONS) return SQL_ERROR;
    std::fill_n(out, SQL_API_ODBC3_ALL_FUNCTIONS_SIZE, SQLUSMALLINT(0xFFFF));
    out[SQL_API_SQLTABLES >> 4] &= SQLUSMALLINT(~(1u << (SQL_API_SQLTABLES & 15)));
    return SQL_SUCCESS;
  };
  EXPECT_EQ(SQL_SUCCESS, SQLGetFunctions(conn, SQL_API_SQLTABLES, &present));
  EXPECT_EQ(SQL_FALSE, present);
  SQLUSMALLINT all[SQL_API_ODBC3_ALL_FUNCTIONS_SIZE];
  EXPECT_EQ(SQL_SUCCESS, SQLGetFunctions(conn, SQL_API_ODBC3_ALL_FUNCTIONS, all));
  EXPECT_EQ(SQL_FALSE, SQL_FUNC_EXISTS(all, SQL_API_SQLTABLES));
  EXPECT_EQ(SQL_TRUE, SQL_FUNC_EXISTS(all, SQL_API_SQLCOLUMNS));
  EXPECT_EQ(SQL_FALSE, SQL_FUNC_EXISTS(all, SQL_API_SQLBROWSECONNECT)) << "supported, but not exported";
}

// The driver's handle of a statement's own descriptor is another one than that of a descriptor set in its
// place, and the driver forgets that one before it is freed.
TEST_F(DriverFaults, DescriptorsKeepTheirOwnDriverHandles) {
  for (const SQLINTEGER attribute : {SQL_ATTR_APP_ROW_DESC, SQL_ATTR_APP_PARAM_DESC}) {
    OdbcStatement user(conn);
    SQLINTEGER id = 0;
    const SQLHDESC own = descriptor(user, attribute), desc = newDescriptor();
    ASSERT_SQL(SQL_SUCCESS, user, SQLSetStmtAttr(user, attribute, desc, SQL_IS_POINTER));
    const auto inDriver = [&](SQLHDESC handle) {
      EXPECT_EQ(SQL_SUCCESS, SQLGetInfo(conn, SQL_DRIVER_HDESC, &handle, sizeof handle, nullptr));
      return handle;
    };
    EXPECT_NE(inDriver(desc), inDriver(own));
    ASSERT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DESC, desc));
    const auto freed = std::find(script.log.rbegin(), script.log.rend(), "SQLFreeHandle");
    ASSERT_NE(script.log.rend(), freed);
    EXPECT_EQ(0u, std::next(freed)->rfind("SQLSetStmtAttr", 0)) << *std::next(freed);
    EXPECT_EQ(SQL_SUCCESS, SQLSetDescField(own, 0, SQL_DESC_ARRAY_SIZE, SQLPOINTER(1), 0));
    EXPECT_SQL(SQL_SUCCESS, user, SQLBindCol(user, 1, SQL_C_SLONG, &id, 0, nullptr));
    ASSERT_SQL(SQL_SUCCESS, user, user.execute("select 1"));
    EXPECT_SQL(SQL_SUCCESS, user, SQLFetch(user));
    EXPECT_EQ(1, id);
  }
}

// After its cursor is closed an application may free the buffers and bind others: the driver hears of the old
// ones only from a call that uses them.
using HeldBindings = ScriptedTest;

TEST_F(HeldBindings, ReachTheDriverWithTheNextFetch) {
  OdbcStatement stmt(conn);
  auto first = std::make_unique<SQLINTEGER>(0);
  SQLINTEGER second = 0;
  SQLLEN length = 0;
  const auto scrollAndClose = [&] {
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
    const int bound = script.count("SQLBindCol");
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
    EXPECT_EQ(bound, script.count("SQLBindCol"));
  };
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, first.get(), 0, &length));
  scrollAndClose();
  EXPECT_EQ(1, *first);
  first.reset();
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &second, 0, &length));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  EXPECT_EQ(1, second);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
  scrollAndClose();

  // Unless it binds others, the old ones are used again, and a descriptor shows them at once.
  SQLPOINTER data = nullptr;
  EXPECT_EQ(SQL_SUCCESS, SQLGetDescField(descriptor(stmt, SQL_ATTR_APP_ROW_DESC), 1, SQL_DESC_DATA_PTR, &data,
                                         SQL_IS_POINTER, nullptr));
  EXPECT_EQ(&second, data);
  second = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  EXPECT_EQ(1, second);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
  scrollAndClose();
  script.faults = {{"SQLBindCol", script.count("SQLBindCol") + 1, SQL_ERROR, "HY001"}};
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  EXPECT_EQ("HY001", refusal(stmt, SQLFetch(stmt)));
}

}  // namespace
