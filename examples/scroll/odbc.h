// Owners for ODBC handles, and one way to report a failure.
//
// Every call goes through `check`, which throws OdbcError with the handle's diagnostics when the code is
// an error. SQL_NO_DATA is an answer, not an error.

#pragma once

#include <sql.h>
#include <sqlext.h>

#include <stdexcept>
#include <string>

class OdbcError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// All diagnostics of a handle, one "state: text" a line.
std::string diagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

// An environment and a connection through the cursor library.
class Connection {
 public:
  explicit Connection(const std::string& connectionString);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  void check(SQLRETURN rc, const char* what) const;
  SQLHDBC handle() const { return conn; }

 private:
  SQLHENV env = SQL_NULL_HENV;
  SQLHDBC conn = SQL_NULL_HDBC;
};

class Statement {
 public:
  explicit Statement(const Connection& connection);
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement();

  // The code, when it is no error.
  SQLRETURN check(SQLRETURN rc, const char* what) const;

  // Runs SQL text that gives no rows back, or begins a result.
  void execute(const std::string& sql);

  void setAttribute(SQLINTEGER attribute, SQLULEN value, const char* what);
  SQLHSTMT handle() const { return stmt; }

 private:
  SQLHSTMT stmt = SQL_NULL_HSTMT;
};

// The text of an ODBC function's argument.
inline SQLCHAR* sqlText(const std::string& text) {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}
