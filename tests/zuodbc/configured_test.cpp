// What a user changes without changing the program: who scrolls, which lock the cursor library takes, and the
// trace.

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "gmock/gmock.h"
#include "tests/support/odbc_fixture.h"
#include "tests/support/scripted_driver.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class ConfiguredTest : public testing::Test {
 protected:
  void writeSources(const std::string& text) { std::ofstream(directory.path() + "/odbc.ini") << text; }
  std::string source(const std::string& keys) const {
    return "[s]\nDriver=" + std::string(scripted.path()) + '\n' + keys;
  }

  // The last row's number by a scroll, or the SQLSTATE of what says that there is none.
  std::string last(SQLHDBC conn) const {
    OdbcStatement stmt(conn);
    SQLINTEGER number = 0;
    stmt.set(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC);
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
    SQLBindCol(stmt, 1, SQL_C_SLONG, &number, 0, nullptr);
    return SQLFetchScroll(stmt, SQL_FETCH_LAST, 0) == SQL_SUCCESS ? std::to_string(number) : stmt.states();
  }

  DriverScript script;
  ScriptedDriver scripted{ScriptedVariant::Odbc3, script};
  ScratchDirectory directory;
  EnvironmentSetting file{"ODBCINI", (directory.path() + "/odbc.ini").c_str()};
};

TEST_F(ConfiguredTest, CursorsOfTheDataSourceAndTheConnectionString) {
  script.answers["select"] = scriptedRows(3);
  writeSources(source("Cursors=library\n"));
  {
    const OdbcConnection conn("DSN=s", SQL_CUR_USE_DRIVER);
    EXPECT_EQ("3", last(conn));
    OdbcStatement forward(conn);  // of a program that binds nothing, and mixes the functions
    EXPECT_SQL(SQL_SUCCESS, forward, forward.execute("select"));
    EXPECT_SQL(SQL_SUCCESS, forward, SQLFetchScroll(forward, SQL_FETCH_NEXT, 0));
    EXPECT_SQL(SQL_SUCCESS, forward, SQLFetch(forward));
    EXPECT_SQL(SQL_SUCCESS, forward, SQLFetchScroll(forward, SQL_FETCH_NEXT, 0));
    EXPECT_EQ(SQL_ERROR, SQLFetchScroll(forward, SQL_FETCH_FIRST, 0));
  }
  for (const char* word : {"ifneeded", "Library"}) {
    const OdbcConnection conn(scripted.connectionString() + ";cursors=" + word, SQL_CUR_USE_DRIVER);
    EXPECT_EQ("3", last(conn));
  }
  OdbcConnection conn(SQL_CUR_USE_ODBC);
  EXPECT_SQL(SQL_SUCCESS, conn, conn.connect("DSN=s;Cursors=driver"));
  EXPECT_NE("3", last(conn));
  conn.disconnect();
  EXPECT_EQ(SQL_ERROR, conn.connect("DSN=s;Cursors=mine"));
  EXPECT_EQ("HY024", conn.states());
  // What a connection string has said is gone with the connection.
  writeSources(source(""));
  EXPECT_SQL(SQL_SUCCESS, conn, conn.connect("DSN=s"));
  EXPECT_EQ("3", last(conn));
}

// A connection whose fetch is in the driver lets another one scroll if each has a lock of its own.
TEST_F(ConfiguredTest, ThreadsScrollOnConnectionsWithLocksOfTheirOwn) {
  script.answers["select"] = scriptedRows(3);
  writeSources(source("") + "[ODBC]\nCursorLibraryLock=connection\n");
  const OdbcConnection slow("DSN=s;Cursors=library"), quick("DSN=s;Cursors=library");
  OdbcStatement stmt(slow);
  SQLINTEGER number = 0;
  stmt.makeScrollable();
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  SQLBindCol(stmt, 1, SQL_C_SLONG, &number, 0, nullptr);
  script.closeGate("SQLFetch");
  std::thread other([&] { SQLFetchScroll(stmt, SQL_FETCH_FIRST, 0); });
  EXPECT_TRUE(script.waitForGate());
  {
    OdbcStatement free(quick);
    free.makeScrollable();
    EXPECT_SQL(SQL_SUCCESS, free, free.execute("select"));
  }
  script.openGate();
  other.join();
  EXPECT_EQ(1, number);
  EXPECT_EQ("3", last(quick));
}

TEST_F(ConfiguredTest, TraceShowsCallsAndNoPasswords) {
  const std::string name = directory.path() + "/trace";
  writeSources(source(""));
  std::string text = name;
  {
    OdbcConnection conn(SQL_CUR_USE_DRIVER);
    SQLSetConnectAttr(conn, SQL_ATTR_TRACEFILE, text.data(), SQL_NTS);
    EXPECT_SQL(SQL_SUCCESS, conn,
               SQLSetConnectAttr(conn, SQL_ATTR_TRACE, reinterpret_cast<SQLPOINTER>(1), 0));
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect("DSN=s;UID=me;pwd={hid;den};Password=hidden2"));
    OdbcStatement stmt(conn);
    SQLWCHAR sql[] = {'u', 0xFC, 0};
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecDirectW(stmt, sql, 2));
    stmt.set(SQL_ATTR_CONCURRENCY, SQLULEN{7777});
    stmt.set(SQL_ATTR_CURSOR_TYPE, SQLULEN{SQL_CURSOR_STATIC});
    SQLCHAR version[20];
    SQLGetInfo(conn, SQL_DM_VER, version, sizeof version, nullptr);
    EXPECT_EQ(SQL_ERROR, SQLSetCursorName(stmt, nullptr, 0));
    SQLCHAR user[] = "u", password[] = "hidden3", source[] = "s";
    OdbcConnection byName(SQL_CUR_USE_DRIVER);
    EXPECT_SQL(SQL_SUCCESS, byName, SQLConnect(byName, source, SQL_NTS, user, SQL_NTS, password, SQL_NTS));
    byName.disconnect();
    EXPECT_SQL(SQL_SUCCESS, conn, SQLSetConnectAttr(conn, SQL_ATTR_TRACE, nullptr, 0));
    stmt.execute("after");
  }
  std::ostringstream read;
  read << std::ifstream(name).rdbuf();
  const std::string trace = read.str();
  EXPECT_THAT(trace, HasSubstr("DSN=s;UID=me;pwd=***;Password=***;"));
  EXPECT_THAT(trace, HasSubstr("\"u\xC3\xBC\", 2) = SQL_SUCCESS  "));
  EXPECT_THAT(trace, HasSubstr(", SQL_ATTR_CONCURRENCY, 7777, "));
  EXPECT_THAT(trace, HasSubstr(", SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC, "));
  EXPECT_THAT(trace, HasSubstr(" us  -> \"03.52."));
  EXPECT_THAT(trace, HasSubstr(") = SQL_ERROR  "));
  EXPECT_THAT(trace, HasSubstr("\n    HY009 \"[zulib]"));
  EXPECT_THAT(trace, HasSubstr("\"u\", SQL_NTS, ***, SQL_NTS) = SQL_SUCCESS"));
  EXPECT_THAT(trace, Not(HasSubstr("hid")));
  EXPECT_THAT(trace, Not(HasSubstr("after")));
}

// One connection of the driver serves those of the same string, one after the other, and each finds it as
// new.
TEST_F(ConfiguredTest, PooledConnectionsServeTheNext) {
  SQLHENV env = SQL_NULL_HENV;
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
  SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  SQLSetEnvAttr(env, SQL_ATTR_CONNECTION_POOLING, reinterpret_cast<SQLPOINTER>(SQL_CP_ONE_PER_HENV), 0);
  const auto use = [&](std::string text, bool changes) {
    SQLHDBC conn = SQL_NULL_HDBC;
    SQLAllocHandle(SQL_HANDLE_DBC, env, &conn);
    SQLCHAR out[300] = "";
    SQLSMALLINT length = 0;
    if (!text.starts_with("DSN")) text = scripted.connectionString() + text;
    EXPECT_EQ(SQL_SUCCESS, SQLDriverConnect(conn, nullptr, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS,
                                            out, sizeof out, &length, SQL_DRIVER_NOPROMPT))
        << diagnostics(SQL_HANDLE_DBC, conn);
    EXPECT_EQ(text, reinterpret_cast<char*>(out));
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    EXPECT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt));  // goes with the connection
    if (changes)
      SQLSetConnectAttr(conn, SQL_ATTR_ACCESS_MODE, reinterpret_cast<SQLPOINTER>(SQL_MODE_READ_ONLY), 0);
    EXPECT_EQ(SQL_SUCCESS, SQLDisconnect(conn)) << diagnostics(SQL_HANDLE_DBC, conn);
    SQLFreeHandle(SQL_HANDLE_DBC, conn);
    return script.count("SQLDriverConnect");
  };
  EXPECT_EQ(1, use(";PWD=a", false));
  EXPECT_EQ(1, use(";PWD=a", true));
  EXPECT_THAT(script.takeLog("SQLSetConnectAttr"), HasSubstr("116=1"));
  EXPECT_EQ(2, use(";PWD=b", false));
  EXPECT_EQ(2, use(";PWD=a", false));
  EXPECT_EQ(4, script.liveHandles);

  // Without the reset a connection that was changed is not used again, one that was not is.
  script.counts.clear();
  script.faults = {{"SQLSetConnectAttr", 2, SQL_ERROR, "HY092"},
                   {"SQLSetConnectAttr", 4, SQL_ERROR, "HY092"}};
  EXPECT_EQ(0, use(";PWD=a", true));
  EXPECT_EQ(1, use(";PWD=a", false));
  EXPECT_EQ(1, use(";PWD=a", false));
  EXPECT_EQ(1, use(";PWD=a", false));
  EXPECT_EQ(1, script.count("SQLEndTran"));
  writeSources(source("CPTimeout=0\n"));
  for (const int calls : {2, 3}) EXPECT_EQ(calls, use("DSN=s", false));
  SQLFreeHandle(SQL_HANDLE_ENV, env);
  EXPECT_EQ(0, script.liveHandles);
}

}  // namespace
