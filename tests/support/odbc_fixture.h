// What the tests of ODBC applications share: connections and statements that free themselves, diagnostics
// as text, scratch directories, and data sources behind real drivers.

#ifndef ZULIB_TESTS_SUPPORT_ODBC_FIXTURE_H
#define ZULIB_TESTS_SUPPORT_ODBC_FIXTURE_H

#include <sql.h>
#include <sqlext.h>

#include <string>
#include <vector>

#include "gtest/gtest.h"

// The diagnostics of a handle, "SQLSTATE: text", one a line.
std::string diagnostics(SQLSMALLINT type, SQLHANDLE handle);

// Their SQLSTATEs, with blanks between.
std::string sqlstates(SQLSMALLINT type, SQLHANDLE handle);

// A text as an argument of an ODBC function, which does not write to it.
inline SQLCHAR* sqlText(const char* text) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text)); }
inline SQLCHAR* sqlText(const std::string& text) { return sqlText(text.c_str()); }

// Expects a call on an OdbcConnection or OdbcStatement to answer `code`, and shows the diagnostics if not.
#define EXPECT_SQL(code, handle, call) EXPECT_EQ(code, (call)) << (handle).why()
#define ASSERT_SQL(code, handle, call) ASSERT_EQ(code, (call)) << (handle).why()

// An environment and a connection. Made unconnected; disconnects and frees both at its end.
class OdbcConnection {
 public:
  explicit OdbcConnection(SQLULEN cursors = SQL_CUR_USE_ODBC, SQLULEN odbcVersion = SQL_OV_ODBC3);
  explicit OdbcConnection(const std::string& connectionString, SQLULEN cursors = SQL_CUR_USE_ODBC);
  OdbcConnection(const OdbcConnection&) = delete;
  OdbcConnection& operator=(const OdbcConnection&) = delete;
  ~OdbcConnection();

  SQLRETURN connect(const std::string& connectionString);
  SQLRETURN disconnect() { return SQLDisconnect(conn); }
  SQLRETURN endTransaction(SQLSMALLINT completion) { return SQLEndTran(SQL_HANDLE_DBC, conn, completion); }
  SQLRETURN setAutocommit(bool on);

  // Runs a statement for its effect only; a failure is a test failure.
  void run(const std::string& sql);

  // The first column of a query's first row, "NULL" for a null value; read without scrolling.
  std::string value(const std::string& sql);

  std::string why() const { return diagnostics(SQL_HANDLE_DBC, conn); }
  std::string states() const { return sqlstates(SQL_HANDLE_DBC, conn); }
  operator SQLHDBC() const { return conn; }
  SQLHENV environment() const { return env; }

 private:
  SQLHENV env = SQL_NULL_HENV;
  SQLHDBC conn = SQL_NULL_HDBC;
};

class OdbcStatement {
 public:
  explicit OdbcStatement(SQLHDBC conn);
  OdbcStatement(const OdbcStatement&) = delete;
  OdbcStatement& operator=(const OdbcStatement&) = delete;
  ~OdbcStatement();

  SQLRETURN execute(const std::string& sql);
  SQLRETURN prepare(const std::string& sql);
  SQLRETURN set(SQLINTEGER attribute, SQLULEN value);
  SQLRETURN set(SQLINTEGER attribute, void* value);
  SQLRETURN setName(const std::string& name);

  // Makes the statement scroll over a static cursor, updatable through positioned statements.
  void makeScrollable(SQLULEN rowsetSize = 1);

  std::string why() const { return diagnostics(SQL_HANDLE_STMT, stmt); }
  std::string states() const { return sqlstates(SQL_HANDLE_STMT, stmt); }
  operator SQLHSTMT() const { return stmt; }

 private:
  SQLHSTMT stmt = SQL_NULL_HSTMT;
};

// The SQLSTATEs of a call that failed, or warned; what it returned if it did not.
inline std::string refusal(SQLSMALLINT type, SQLHANDLE handle, SQLRETURN rc) {
  return rc == SQL_ERROR ? sqlstates(type, handle) : "returned " + std::to_string(rc);
}
template <class Handle>
std::string refusal(const Handle& handle, SQLRETURN rc) {
  return rc == SQL_ERROR ? handle.states() : "returned " + std::to_string(rc);
}
template <class Handle>
std::string warning(const Handle& handle, SQLRETURN rc) {
  return rc == SQL_SUCCESS_WITH_INFO ? handle.states() : "returned " + std::to_string(rc);
}

// A directory that goes with all it holds.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory();
  const std::string& path() const { return name; }
  std::vector<std::string> files() const;  // their names

 private:
  std::string name;
};

// Sets an environment variable, and puts it back.
class EnvironmentSetting {
 public:
  EnvironmentSetting(const char* name, const char* value);
  EnvironmentSetting(const EnvironmentSetting&) = delete;
  EnvironmentSetting& operator=(const EnvironmentSetting&) = delete;
  ~EnvironmentSetting();

 private:
  std::string name;
  std::string before;
  bool wasSet;
};

// A new SQLite database for each test.
class SqliteFixture : public testing::Test {
 public:
  static std::string connectionString(const ScratchDirectory& directory);

 protected:
  std::string connectionString() const { return connectionString(scratch); }
  ScratchDirectory scratch;
};

// A PostgreSQL server of the test program's own, on a loopback port. It starts with the first test that
// asks for it, and ends with the program, however that ends.
class PostgresFixture : public testing::Test {
 public:
  static bool isRunning(std::string& why);
  static std::string connectionString(const std::string& options = "");

  // A result then comes in portions of `rows`, as a true forward-only stream.
  static std::string streaming(int rows = 100);

 protected:
  void SetUp() override;
};

// The cursor library's text for a message number, from the catalog of the build.
std::string catalogText(int number);

#endif
