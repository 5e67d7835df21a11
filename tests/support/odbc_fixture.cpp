// Connections, statements, diagnostics and scratch directories for tests; the SQLite data source.

#include "tests/support/odbc_fixture.h"

#include <nl_types.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/fault_allocator.h"

namespace {

template <class Each>
void eachDiagnostic(SQLSMALLINT type, SQLHANDLE handle, Each each) {
  SQLCHAR state[6] = "";
  SQLCHAR text[512] = "";
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  for (SQLSMALLINT i = 1;
       SQL_SUCCEEDED(SQLGetDiagRec(type, handle, i, state, &native, text, sizeof text, &length)); ++i) {
    each(reinterpret_cast<char*>(state), reinterpret_cast<char*>(text));
  }
}

}  // namespace

std::string diagnostics(SQLSMALLINT type, SQLHANDLE handle) {
  const FaultPause pause;
  std::string all;
  eachDiagnostic(type, handle, [&](const char* state, const char* text) {
    all += (all.empty() ? "" : "\n") + std::string(state) + ": " + text;
  });
  return all;
}

std::string sqlstates(SQLSMALLINT type, SQLHANDLE handle) {
  const FaultPause pause;
  std::string all;
  eachDiagnostic(type, handle, [&](const char* state, const char*) {
    all += (all.empty() ? "" : " ") + std::string(state);
  });
  return all;
}

OdbcConnection::OdbcConnection(SQLULEN cursors, SQLULEN odbcVersion) {
  EXPECT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env));
  EXPECT_EQ(SQL_SUCCESS,
            SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(odbcVersion), 0));
  EXPECT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DBC, env, &conn));
  EXPECT_SQL(SQL_SUCCESS, *this,
             SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, reinterpret_cast<SQLPOINTER>(cursors), 0));
}

OdbcConnection::OdbcConnection(const std::string& connectionString, SQLULEN cursors)
    : OdbcConnection(cursors) {
  const SQLRETURN rc = connect(connectionString);
  EXPECT_TRUE(SQL_SUCCEEDED(rc)) << why();
}

OdbcConnection::~OdbcConnection() {
  SQLDisconnect(conn);
  SQLFreeHandle(SQL_HANDLE_DBC, conn);
  SQLFreeHandle(SQL_HANDLE_ENV, env);
}

SQLRETURN OdbcConnection::connect(const std::string& connectionString) {
  return SQLDriverConnect(conn, nullptr, sqlText(connectionString), SQL_NTS, nullptr, 0, nullptr,
                          SQL_DRIVER_NOPROMPT);
}

SQLRETURN OdbcConnection::setAutocommit(bool on) {
  const SQLULEN mode = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
  return SQLSetConnectAttr(conn, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(mode), SQL_IS_UINTEGER);
}

void OdbcConnection::run(const std::string& sql) {
  OdbcStatement stmt(conn);
  const SQLRETURN rc = stmt.execute(sql);
  EXPECT_TRUE(SQL_SUCCEEDED(rc) || rc == SQL_NO_DATA) << sql << "\n" << stmt.why();
}

std::string OdbcConnection::value(const std::string& sql) {
  OdbcStatement stmt(conn);
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute(sql)) << sql;
  const SQLRETURN rc = SQLFetch(stmt);
  if (rc == SQL_NO_DATA) return "no row";
  EXPECT_SQL(SQL_SUCCESS, stmt, rc) << sql;
  char text[4096] = "";
  SQLLEN length = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetData(stmt, 1, SQL_C_CHAR, text, sizeof text, &length)) << sql;
  return length == SQL_NULL_DATA ? "NULL" : text;
}

OdbcStatement::OdbcStatement(SQLHDBC conn) {
  EXPECT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt)) << diagnostics(SQL_HANDLE_DBC, conn);
}

OdbcStatement::~OdbcStatement() {
  if (stmt) SQLFreeHandle(SQL_HANDLE_STMT, stmt);
}

SQLRETURN OdbcStatement::execute(const std::string& sql) {
  return SQLExecDirect(stmt, sqlText(sql), SQL_NTS);
}
SQLRETURN OdbcStatement::prepare(const std::string& sql) { return SQLPrepare(stmt, sqlText(sql), SQL_NTS); }
SQLRETURN OdbcStatement::setName(const std::string& name) {
  return SQLSetCursorName(stmt, sqlText(name), SQL_NTS);
}

SQLRETURN OdbcStatement::set(SQLINTEGER attribute, SQLULEN value) {
  return SQLSetStmtAttr(stmt, attribute, reinterpret_cast<SQLPOINTER>(value), SQL_IS_UINTEGER);
}

SQLRETURN OdbcStatement::set(SQLINTEGER attribute, void* value) {
  return SQLSetStmtAttr(stmt, attribute, value, SQL_IS_POINTER);
}

void OdbcStatement::makeScrollable(SQLULEN rowsetSize) {
  EXPECT_SQL(SQL_SUCCESS, *this, set(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC));
  EXPECT_SQL(SQL_SUCCESS, *this, set(SQL_ATTR_CONCURRENCY, SQL_CONCUR_VALUES));
  EXPECT_SQL(SQL_SUCCESS, *this, set(SQL_ATTR_ROW_ARRAY_SIZE, rowsetSize));
}

ScratchDirectory::ScratchDirectory() {
  std::string pattern = testing::TempDir() + "zulibXXXXXX";
  if (!mkdtemp(pattern.data()))
    throw std::filesystem::filesystem_error("mkdtemp", {errno, std::generic_category()});
  name = pattern;
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(name, ignored);
}

std::vector<std::string> ScratchDirectory::files() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(name))
    names.push_back(entry.path().filename());
  return names;
}

EnvironmentSetting::EnvironmentSetting(const char* name, const char* value) : name(name) {
  const char* old = getenv(name);
  wasSet = old != nullptr;
  if (old) before = old;
  setenv(name, value, 1);
}

EnvironmentSetting::~EnvironmentSetting() {
  if (wasSet) {
    setenv(name.c_str(), before.c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

std::string SqliteFixture::connectionString(const ScratchDirectory& directory) {
  return "Driver=/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so;SyncPragma=OFF;Database=" +
         directory.path() + "/test.db";
}

std::string catalogText(int number) {
  const FaultPause pause;
  static const nl_catd catalog =
      catopen(ZULIB_BUILD_DIRECTORY "/share/zulib/locale/en_US/LC_MESSAGES/odbc.m", 0);
  return catgets(catalog, 1, number, "no such message");
}
