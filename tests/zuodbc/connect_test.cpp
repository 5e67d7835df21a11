// Connecting: the order of calls, where drivers and data sources are found, and what a failure leaves.

#include <cstdlib>
#include <fstream>

#include "gmock/gmock.h"
#include "tests/support/odbc_fixture.h"
#include "tests/support/scripted_driver.h"

namespace {

// The profile files of the whole program: the reader behind them remembers where they lie. They stand
// before the first test reads any.
class ProfileFiles {
 public:
  ProfileFiles() {
    const std::string scripted = std::string("Driver=") + driver.path() + "\n";
    std::ofstream(directory.path() + "/odbc.ini")
        << "[by name]\nDriver=Scripted\n\n[broken]\nDriver=/nowhere/broken.so\n\n[by path]\n"
        << scripted;
    std::ofstream(directory.path() + "/odbcinst.ini") << "[Scripted]\n" << scripted;
    setenv("ODBCSYSINI", directory.path().c_str(), 1);
    setenv("ODBCINI", (directory.path() + "/odbc.ini").c_str(), 1);
  }

 private:
  ScratchDirectory directory;
  DriverScript script;
  ScriptedDriver driver{ScriptedVariant::Odbc3, script};
};
const ProfileFiles kProfileFiles;

// A connection over SQLite or over the scripted driver.
class Connecting : public SqliteFixture {
 protected:
  DriverScript script;
  ScriptedDriver driver{ScriptedVariant::Odbc3, script};
  OdbcConnection conn{SQL_CUR_USE_DRIVER};
};

TEST_F(Connecting, CallsOutOfOrder) {
  EXPECT_EQ("08003", refusal(conn, SQLDisconnect(conn)));
  EXPECT_EQ("08003", refusal(conn, SQLEndTran(SQL_HANDLE_DBC, conn, SQL_COMMIT)));
  SQLUSMALLINT present;
  EXPECT_EQ("HY010", refusal(conn, SQLGetFunctions(conn, SQL_API_SQLFETCH, &present)));
  EXPECT_EQ("08003", refusal(conn, SQLGetInfo(conn, SQL_DBMS_NAME, nullptr, 0, nullptr)));
  ASSERT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  EXPECT_EQ("08002", refusal(conn, conn.connect(driver.connectionString())));
  EXPECT_EQ("08002", refusal(conn, SQLConnect(conn, sqlText("x"), SQL_NTS, nullptr, 0, nullptr, 0)));
  EXPECT_EQ("HY012", refusal(conn, SQLEndTran(SQL_HANDLE_DBC, conn, 7)));
  EXPECT_EQ(SQL_SUCCESS, conn.disconnect());
  EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString())) << "a second life";
}

TEST_F(Connecting, BadTextsAndLengths) {
  EXPECT_EQ(SQL_ERROR, conn.connect("Driver={" + std::string(driver.path())));
  EXPECT_THAT(conn.why(),
              testing::HasSubstr("HY000: [zulib][ODBC Driver Manager] The brace opened at byte 8"));
  EXPECT_EQ(SQL_ERROR, conn.connect("Driver=;Database=x"));
  EXPECT_EQ("IM012", conn.states());
  EXPECT_EQ("IM002", refusal(conn, conn.connect("FILEDSN=x")));
  EXPECT_EQ("HY090", refusal(conn, SQLDriverConnect(conn, nullptr, sqlText("x"), -7, nullptr, 0, nullptr,
                                                    SQL_DRIVER_NOPROMPT)));
  EXPECT_EQ("HY090", refusal(conn, SQLDriverConnect(conn, nullptr, sqlText("x"), 1, nullptr, -1, nullptr,
                                                    SQL_DRIVER_NOPROMPT)));
  EXPECT_EQ("HY110",
            refusal(conn, SQLDriverConnect(conn, nullptr, sqlText("x"), 1, nullptr, 0, nullptr, 17)));
  EXPECT_EQ("HY090", refusal(conn, SQLConnect(conn, sqlText("x"), -2, nullptr, 0, nullptr, 0)));
  const std::string longName(SQL_MAX_DSN_LENGTH + 1, 'n');
  EXPECT_EQ("IM010", refusal(conn, SQLConnect(conn, sqlText(longName), SQL_NTS, nullptr, 0, nullptr, 0)));
}

TEST_F(Connecting, UnknownDriversAndSourcesAreNamed) {
  EXPECT_EQ(SQL_ERROR, conn.connect("Driver=/nowhere/driver.so"));
  EXPECT_THAT(conn.why(),
              testing::StartsWith("IM003: [zulib][ODBC Driver Manager] Specified driver could not be "
                                  "loaded: /nowhere/driver.so: cannot open shared object file"));
  EXPECT_EQ(SQL_ERROR, conn.connect("Driver={No Such Driver}"));
  EXPECT_THAT(conn.why(), testing::HasSubstr("No Such Driver: cannot open shared object file"));
  EXPECT_EQ(SQL_ERROR, conn.connect("DSN=nobody"));
  EXPECT_THAT(conn.why(), testing::AllOf(testing::StartsWith("IM002"), testing::HasSubstr("'nobody'")));
  EXPECT_EQ(SQL_ERROR, SQLConnect(conn, sqlText("broken"), SQL_NTS, nullptr, 0, nullptr, 0));
  EXPECT_THAT(conn.why(), testing::HasSubstr("/nowhere/broken.so: cannot open"));
  EXPECT_EQ(SQL_ERROR, conn.connect("Driver=libm.so.6"));
  EXPECT_THAT(conn.why(), testing::HasSubstr("no ODBC driver")) << "a library that is none";
}

TEST_F(Connecting, NamesComeOutOfTheProfileFiles) {
  for (const char* name : {"by name", "by path"}) {
    const OdbcConnection conn(SQL_CUR_USE_DRIVER);
    EXPECT_SQL(SQL_SUCCESS, conn, SQLConnect(conn, sqlText(name), SQL_NTS, sqlText("me"), 2, nullptr, 0));
  }
  EXPECT_EQ(2, script.count("SQLConnect"));
  EXPECT_SQL(SQL_SUCCESS, conn, conn.connect("Driver=Scripted;DSN=nobody")) << "the first of the two counts";
  EXPECT_EQ(1, script.count("SQLDriverConnect"));

  SQLCHAR name[32], description[256];
  SQLSMALLINT nameLength, length;
  std::string found;
  while (SQL_SUCCEEDED(SQLDataSources(conn.environment(), SQL_FETCH_NEXT, name, sizeof name, &nameLength,
                                      description, sizeof description, &length)))
    found += std::string(reinterpret_cast<char*>(name)) + ";";
  EXPECT_THAT(found, testing::AllOf(testing::HasSubstr("by name;"), testing::HasSubstr("by path;")));
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, SQLDrivers(conn.environment(), SQL_FETCH_FIRST, name, 4, &nameLength,
                                              description, sizeof description, &length));
  EXPECT_EQ("01004", sqlstates(SQL_HANDLE_ENV, conn.environment()));
  EXPECT_EQ(8, nameLength);
  EXPECT_STREQ("Scr", reinterpret_cast<char*>(name));
  EXPECT_EQ("Driver=" + std::string(driver.path()), reinterpret_cast<char*>(description));
  EXPECT_EQ("HY103", refusal(SQL_HANDLE_ENV, conn.environment(),
                             SQLDataSources(conn.environment(), 99, name, 4, nullptr, nullptr, 0, nullptr)));
}

// Every step towards the driver fails in turn: the cause is told, and what was made is given back.
TEST_F(Connecting, FailureOfEachStepGivesEverythingBack) {
  struct Step {
    const char* function;
    int nth;
    const char* state;
  };
  for (const Step& step : {Step{"SQLAllocHandle", 1, "IM004"}, Step{"SQLAllocHandle", 2, "IM005"},
                           Step{"SQLDriverConnect", 1, "28000"}}) {
    script.counts.clear();
    script.faults = {{step.function, step.nth, SQL_ERROR, "28000"}};
    OdbcConnection conn(SQL_CUR_USE_DRIVER);
    EXPECT_EQ(SQL_ERROR, conn.connect(driver.connectionString()));
    EXPECT_EQ(step.state, conn.states());
    EXPECT_EQ(0, script.liveHandles);
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString())) << "the next try is not harmed";
  }
}

TEST_F(Connecting, AttributesSetBeforeAreKeptAndApplied) {
  SQLUINTEGER value = 99;
  EXPECT_EQ(SQL_SUCCESS, SQLGetConnectAttr(conn, SQL_ATTR_AUTOCOMMIT, &value, 0, nullptr));
  EXPECT_EQ(SQLUINTEGER(SQL_AUTOCOMMIT_ON), value);
  ASSERT_EQ(SQL_SUCCESS, SQLSetConnectAttr(conn, SQL_ATTR_AUTOCOMMIT, SQLPOINTER(SQL_AUTOCOMMIT_OFF), 0));
  EXPECT_EQ(SQL_SUCCESS, SQLGetConnectAttr(conn, SQL_ATTR_AUTOCOMMIT, &value, 0, nullptr));
  EXPECT_EQ(SQLUINTEGER(SQL_AUTOCOMMIT_OFF), value);
  EXPECT_EQ("HY024", refusal(conn, SQLSetConnectAttr(conn, SQL_ATTR_AUTOCOMMIT, SQLPOINTER(7), 0)));
  EXPECT_EQ("HY090", refusal(conn, SQLSetConnectAttr(conn, SQL_ATTR_CURRENT_CATALOG, sqlText("x"), -9)));
  ASSERT_SQL(SQL_SUCCESS, conn, conn.connect(connectionString()));
  conn.run("create table t (a)");
  ASSERT_SQL(SQL_SUCCESS, conn, conn.endTransaction(SQL_ROLLBACK));
  EXPECT_EQ("0", conn.value("select count(*) from sqlite_master")) << "autocommit was on";

  EXPECT_EQ("08002",
            refusal(conn, SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, SQLPOINTER(SQL_CUR_USE_ODBC), 0)));
  SQLULEN cursors = 99;
  EXPECT_EQ(SQL_SUCCESS, SQLGetConnectOption(conn, SQL_ODBC_CURSORS, &cursors));
  EXPECT_EQ(SQLULEN(SQL_CUR_USE_DRIVER), cursors);
}

TEST_F(Connecting, RefusedAttributeIsAWarning) {
  ASSERT_EQ(SQL_SUCCESS, SQLSetConnectAttr(conn, SQL_ATTR_LOGIN_TIMEOUT, SQLPOINTER(5), 0));
  script.faults = {{"SQLSetConnectAttr", 1, SQL_ERROR, "HYC00"}};
  EXPECT_EQ("HYC00 IM006", warning(conn, conn.connect(driver.connectionString())));
}

TEST_F(Connecting, TransactionsOfAnEnvironmentReachEveryConnection) {
  const OdbcConnection first(driver.connectionString(), SQL_CUR_USE_DRIVER);
  SQLHDBC second;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DBC, first.environment(), &second));
  ASSERT_EQ(SQL_SUCCESS, SQLDriverConnect(second, nullptr, sqlText(driver.connectionString()), SQL_NTS,
                                          nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT));
  EXPECT_EQ(SQL_SUCCESS, SQLEndTran(SQL_HANDLE_ENV, first.environment(), SQL_COMMIT));
  EXPECT_EQ(2, script.count("SQLEndTran"));
  script.faults = {{"SQLEndTran", 3, SQL_ERROR, "40001"}};
  EXPECT_EQ(SQL_ERROR, SQLEndTran(SQL_HANDLE_ENV, first.environment(), SQL_COMMIT));
  EXPECT_EQ(4, script.count("SQLEndTran")) << "the others are ended all the same";
  EXPECT_EQ("25S01", sqlstates(SQL_HANDLE_ENV, first.environment()));
  EXPECT_EQ("40001", first.states());
  EXPECT_EQ(SQL_SUCCESS, SQLDisconnect(second));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DBC, second));
}

TEST_F(Connecting, InformationOfTheDriverManagerItself) {
  SQLCHAR text[32] = "";
  SQLSMALLINT length = 0;
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, SQLGetInfo(conn, SQL_ODBC_VER, text, 3, &length))
      << "known while unconnected";
  EXPECT_EQ("01004", conn.states());
  EXPECT_STREQ("03", reinterpret_cast<char*>(text));
  EXPECT_EQ(5, length);
  ASSERT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  SQLHANDLE handle = nullptr;
  EXPECT_EQ(SQL_SUCCESS, SQLGetInfo(conn, SQL_DRIVER_HDBC, &handle, sizeof handle, &length));
  EXPECT_NE(nullptr, handle);
  EXPECT_NE(SQLHDBC(conn), handle);
  const OdbcStatement stmt(conn);
  handle = SQLHSTMT(stmt);
  EXPECT_EQ(SQL_SUCCESS, SQLGetInfo(conn, SQL_DRIVER_HSTMT, &handle, sizeof handle, &length));
  EXPECT_NE(SQLHSTMT(stmt), handle);
  handle = text;
  EXPECT_EQ("HY024", refusal(conn, SQLGetInfo(conn, SQL_DRIVER_HSTMT, &handle, sizeof handle, &length)));

  // What the application does not want goes to cells of ours, with and without the cursor library.
  for (const SQLULEN cursors : {SQL_CUR_USE_DRIVER, SQL_CUR_USE_ODBC}) {
    script.info[SQL_DBMS_NAME] = std::string(3000, 'n');
    const OdbcConnection other(driver.connectionString(), cursors);
    for (const SQLUSMALLINT type : {SQL_DBMS_NAME, SQL_MAX_COLUMN_NAME_LEN, SQL_GETDATA_EXTENSIONS}) {
      EXPECT_SQL(SQL_SUCCESS, other, SQLGetInfo(other, type, nullptr, 0, nullptr)) << type;
      EXPECT_SQL(SQL_SUCCESS, other, SQLGetInfo(other, type, nullptr, 0, &length)) << type;
      if (type == SQL_DBMS_NAME) {
        EXPECT_EQ(3000, length);
      }
    }
  }

  SQLUSMALLINT words[SQL_API_ODBC3_ALL_FUNCTIONS_SIZE], one = 99, old[100];
  ASSERT_EQ(SQL_SUCCESS, SQLGetFunctions(conn, SQL_API_ODBC3_ALL_FUNCTIONS, words));
  ASSERT_EQ(SQL_SUCCESS, SQLGetFunctions(conn, SQL_API_ALL_FUNCTIONS, old));
  for (const SQLUSMALLINT function :
       {SQL_API_SQLFETCH, SQL_API_SQLGETINFO, SQL_API_SQLSETPOS, SQL_API_SQLSETSTMTOPTION}) {
    ASSERT_EQ(SQL_SUCCESS, SQLGetFunctions(conn, function, &one));
    EXPECT_EQ(one, SQL_FUNC_EXISTS(words, function)) << function;
    EXPECT_EQ(one, old[function]) << function;
  }
  EXPECT_EQ(SQL_TRUE, SQL_FUNC_EXISTS(words, SQL_API_SQLSETSTMTOPTION)) << "bridged";
  EXPECT_EQ("HY095", refusal(conn, SQLGetFunctions(conn, 12345, &one)));
}

TEST(Environment, Attributes) {
  SQLHENV env = nullptr;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env));
  SQLINTEGER value = 99, length = 0;
  EXPECT_EQ(SQL_ERROR, SQLGetEnvAttr(env, SQL_ATTR_ODBC_VERSION, &value, 0, &length)) << "not set yet";
  EXPECT_EQ("HY010", sqlstates(SQL_HANDLE_ENV, env));
  SQLHDBC conn = nullptr;
  EXPECT_EQ("HY010", refusal(SQL_HANDLE_ENV, env, SQLAllocHandle(SQL_HANDLE_DBC, env, &conn)));
  const struct {
    SQLINTEGER attribute;
    SQLULEN value;
    const char* refused;  // or null
  } table[] = {
      {SQL_ATTR_ODBC_VERSION, 4, "HY024"},
      {SQL_ATTR_ODBC_VERSION, SQL_OV_ODBC3_80, nullptr},
      {SQL_ATTR_ODBC_VERSION, SQL_OV_ODBC2, nullptr},
      {SQL_ATTR_CONNECTION_POOLING, SQL_CP_ONE_PER_DRIVER, nullptr},
      {SQL_ATTR_CONNECTION_POOLING, 9, "S1009"},
      {SQL_ATTR_CP_MATCH, SQL_CP_RELAXED_MATCH, nullptr},
      {SQL_ATTR_CP_MATCH, 9, "S1009"},
      {SQL_ATTR_OUTPUT_NTS, SQL_TRUE, nullptr},
      {SQL_ATTR_OUTPUT_NTS, SQL_FALSE, "S1C00"},
      {SQL_ATTR_OUTPUT_NTS, 2, "S1009"},
      {4711, 0, "S1092"},
  };
  for (const auto& row : table) {
    const SQLPOINTER given = reinterpret_cast<SQLPOINTER>(row.value);
    EXPECT_EQ(row.refused ? SQL_ERROR : SQL_SUCCESS, SQLSetEnvAttr(env, row.attribute, given, 0));
    EXPECT_EQ(row.refused ? row.refused : "", sqlstates(SQL_HANDLE_ENV, env));
    if (row.refused) continue;
    EXPECT_EQ(SQL_SUCCESS, SQLGetEnvAttr(env, row.attribute, &value, 0, &length));
    EXPECT_EQ(SQLINTEGER(row.value), value);
    EXPECT_EQ(4, length);
  }
  EXPECT_EQ("S1092", refusal(SQL_HANDLE_ENV, env, SQLGetEnvAttr(env, 4711, &value, 0, nullptr)));
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DBC, env, &conn));
  EXPECT_EQ(SQL_ERROR, SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, SQLPOINTER(SQL_OV_ODBC3), 0));
  EXPECT_EQ("S1010", sqlstates(SQL_HANDLE_ENV, env)) << "a connection has begun to use it";
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DBC, conn));
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_ENV, env));

  // The process's own pooling is set without an environment.
  EXPECT_EQ(SQL_SUCCESS,
            SQLSetEnvAttr(SQL_NULL_HENV, SQL_ATTR_CONNECTION_POOLING, SQLPOINTER(SQL_CP_ONE_PER_HENV), 0));
  EXPECT_EQ(SQL_ERROR, SQLSetEnvAttr(SQL_NULL_HENV, SQL_ATTR_CONNECTION_POOLING, SQLPOINTER(9), 0));
  EXPECT_EQ(SQL_SUCCESS, SQLGetEnvAttr(SQL_NULL_HENV, SQL_ATTR_CONNECTION_POOLING, &value, 0, nullptr));
  EXPECT_EQ(SQL_CP_ONE_PER_HENV, SQLULEN(value));
  EXPECT_EQ(SQL_SUCCESS,
            SQLSetEnvAttr(SQL_NULL_HENV, SQL_ATTR_CONNECTION_POOLING, SQLPOINTER(SQL_CP_OFF), 0));
  EXPECT_EQ(SQL_INVALID_HANDLE, SQLGetEnvAttr(SQL_NULL_HENV, SQL_ATTR_CP_MATCH, &value, 0, nullptr));
}

}  // namespace
