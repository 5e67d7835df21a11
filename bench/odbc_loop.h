// An ODBC application of the benchmarks, which talks to our driver manager or straight to a driver.
//
// One thread; a failed call ends the program with its diagnostics.

#ifndef ZULIB_BENCH_ODBC_LOOP_H
#define ZULIB_BENCH_ODBC_LOOP_H

#include <dlfcn.h>
#include <sql.h>
#include <sqlext.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#define BENCH_ODBC_CALLS(X) \
  X(SQLAllocHandle)         \
  X(SQLBindCol)             \
  X(SQLCloseCursor)         \
  X(SQLDisconnect)          \
  X(SQLDriverConnect)       \
  X(SQLExecDirect)          \
  X(SQLExecute)             \
  X(SQLFetch)               \
  X(SQLFetchScroll)         \
  X(SQLFreeHandle)          \
  X(SQLGetData)             \
  X(SQLGetDiagRec)          \
  X(SQLPrepare)             \
  X(SQLSetConnectAttr)      \
  X(SQLSetEnvAttr)          \
  X(SQLSetStmtAttr)

// The calls as the driver manager exports them, or as a driver does.
struct OdbcCalls {
#define BENCH_MEMBER(name) decltype(&::name) name = &::name;
  BENCH_ODBC_CALLS(BENCH_MEMBER)
#undef BENCH_MEMBER

  static OdbcCalls ofDriver(const char* library) {
    OdbcCalls calls;
    // As the driver manager opens it: the driver's inner calls stay its own.
    void* driver = dlopen(library, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
#define BENCH_LOOK_UP(name) \
  calls.name = driver ? reinterpret_cast<decltype(&::name)>(dlsym(driver, #name)) : nullptr;
    BENCH_ODBC_CALLS(BENCH_LOOK_UP)
#undef BENCH_LOOK_UP
    return calls;
  }
};

// A connection with one statement. Freed at its end.
class OdbcLoop {
 public:
  // With a null `straight` goes through the driver manager, with its cursor library unless `cursors` says
  // otherwise.
  OdbcLoop(const std::string& driver, const std::string& options, const OdbcCalls* straight,
           SQLULEN cursors = SQL_CUR_USE_ODBC)
      : odbc(straight ? *straight : OdbcCalls()) {
    check(odbc.SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), "environment");
    check(odbc.SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, number(SQL_OV_ODBC3), 0), "version");
    check(odbc.SQLAllocHandle(SQL_HANDLE_DBC, env, &conn), "connection");
    if (!straight) check(odbc.SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, number(cursors), 0), "cursors");
    std::string text = (straight ? "" : "Driver=" + driver + ";") + options;
    check(
        odbc.SQLDriverConnect(conn, nullptr, bytes(text), SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT),
        "connect");
    check(odbc.SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt), "statement");
  }
  OdbcLoop(const OdbcLoop&) = delete;
  OdbcLoop& operator=(const OdbcLoop&) = delete;
  ~OdbcLoop() {
    odbc.SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    odbc.SQLDisconnect(conn);
    odbc.SQLFreeHandle(SQL_HANDLE_DBC, conn);
    odbc.SQLFreeHandle(SQL_HANDLE_ENV, env);
  }

  void set(SQLINTEGER attribute, SQLULEN value) {
    check(odbc.SQLSetStmtAttr(stmt, attribute, number(value), 0), "set");
  }
  void set(SQLINTEGER attribute, void* value) {
    check(odbc.SQLSetStmtAttr(stmt, attribute, value, 0), "set");
  }

  void execute(std::string query) { check(odbc.SQLExecDirect(stmt, bytes(query), SQL_NTS), "execute"); }

  void bind(SQLUSMALLINT column, SQLSMALLINT type, void* data, SQLLEN width, SQLLEN* lengths) {
    check(odbc.SQLBindCol(stmt, column, type, data, width, lengths), "bind");
  }

  void prepare(std::string query) { check(odbc.SQLPrepare(stmt, bytes(query), SQL_NTS), "prepare"); }
  void executePrepared() { check(odbc.SQLExecute(stmt), "execute"); }
  void close() { check(odbc.SQLCloseCursor(stmt), "close"); }
  void getData(SQLUSMALLINT column, SQLSMALLINT type, void* data, SQLLEN size) {
    SQLLEN length = 0;
    check(odbc.SQLGetData(stmt, column, type, data, size, &length), "get data");
  }

  // False at the end of the result.
  bool fetch() { return found(odbc.SQLFetch(stmt)); }
  bool scroll(SQLSMALLINT orientation, SQLLEN offset) {
    return found(odbc.SQLFetchScroll(stmt, orientation, offset));
  }

 private:
  static SQLPOINTER number(SQLULEN value) { return reinterpret_cast<SQLPOINTER>(value); }
  static SQLCHAR* bytes(std::string& text) { return reinterpret_cast<SQLCHAR*>(text.data()); }

  bool found(SQLRETURN code) {
    if (code == SQL_NO_DATA) return false;
    check(code, "fetch");
    return true;
  }

  void check(SQLRETURN code, const char* what) {
    if (SQL_SUCCEEDED(code)) return;
    SQLCHAR state[6] = "", text[512] = "";
    const SQLSMALLINT type = stmt ? SQL_HANDLE_STMT : conn ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
    odbc.SQLGetDiagRec(type, stmt ? stmt : conn ? conn : env, 1, state, nullptr, text, sizeof text, nullptr);
    std::fprintf(stderr, "%s: %d %s %s\n", what, code, state, text);
    std::exit(1);
  }

  OdbcCalls odbc;
  SQLHENV env = SQL_NULL_HENV;
  SQLHDBC conn = SQL_NULL_HDBC;
  SQLHSTMT stmt = SQL_NULL_HSTMT;
};

#endif
