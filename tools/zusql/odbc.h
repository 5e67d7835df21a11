// Owners for ODBC handles, and one way to report a failure.
//
// Every call of the interface goes through `check`, which throws OdbcError with the diagnostics of the handle
// if the call failed. SQL_NO_DATA is a result, not a failure. Texts are UTF-8.
//
// Thread safety: one thread at a time, except that cancel.h calls SQLCancel from a thread of its own.

#ifndef TOOLS_ZUSQL_ODBC_H
#define TOOLS_ZUSQL_ODBC_H

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace zusql {

// what(): all diagnostics, one "SQLSTATE: text" a line.
class OdbcError : public std::runtime_error {
 public:
  OdbcError(std::string sqlstate, const std::string& text)
      : std::runtime_error(text), sqlstate(std::move(sqlstate)) {}

  // Of the first diagnostic.
  const std::string& state() const { return sqlstate; }

  // True if the connection could not be made or has been lost.
  bool isConnectionFailure() const { return sqlstate.starts_with("08"); }
  bool isCancel() const { return sqlstate == "HY008" || sqlstate == "57014" || sqlstate == "70100"; }

 private:
  std::string sqlstate;
};

// A column of a result.
struct Column {
  std::string name;
  SQLSMALLINT sqlType = SQL_UNKNOWN_TYPE;
  std::string typeName;          // as the data source calls the type
  std::uint64_t size = 0;        // in characters, digits or bytes; 0 if unknown
  std::int64_t displaySize = 0;  // widest text, in characters; 0 if unknown

  bool isNumeric() const;
  bool isBinary() const;
};

struct Field {
  std::string text;
  bool isNull = false;
};

// An environment with one connection through the cursor library.
class Connection {
 public:
  explicit Connection(const std::string& connectionString);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Rolls back a transaction that is open.
  ~Connection();

  void check(SQLRETURN rc) const;
  SQLHDBC handle() const { return conn; }

  // A text of SQLGetInfo, empty if the driver has none.
  std::string info(SQLUSMALLINT item) const;

  // `name` as an identifier in SQL text.
  std::string quoted(const std::string& name) const;

  // True if the driver says that the connection is gone.
  bool isDead() const;

  void setAutocommit(bool on);
  void endTransaction(SQLSMALLINT completion);

 private:
  void release();

  SQLHENV env = SQL_NULL_HENV;
  SQLHDBC conn = SQL_NULL_HDBC;
};

class Statement {
 public:
  explicit Statement(const Connection& connection);
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement();

  // Returns `rc` unless it is a failure.
  SQLRETURN check(SQLRETURN rc) const;

  // Runs SQL text. Ctrl-C cancels it.
  void execute(const std::string& sql);

  void setAttribute(SQLINTEGER attribute, SQLULEN value);
  void setAttribute(SQLINTEGER attribute, void* value);
  std::uint64_t attribute(SQLINTEGER attribute) const;

  std::vector<Column> columns() const;  // empty if there is no result
  std::int64_t rowCount() const;        // -1 if the driver does not know

  // Moves to the next row without scrolling. False at the end.
  bool fetch();

  // The value of a column, from 1, of the row that `fetch` moved to, whatever its length.
  void get(SQLUSMALLINT number, Field& field);

  // Appends the next piece of a value to `text`. False after the last piece; `isNull` tells a null value.
  bool getPiece(SQLUSMALLINT number, std::string& text, bool& isNull);

  // Moves to the next result of a batch.
  bool moreResults();

  SQLHSTMT handle() const { return stmt; }
  const Connection& owner() const { return connection; }

 private:
  const Connection& connection;
  SQLHSTMT stmt = SQL_NULL_HSTMT;
};

// All diagnostics of a handle as an error.
OdbcError diagnosticsOf(SQLSMALLINT handleType, SQLHANDLE handle);

// The text of an argument of the interface, which takes no const.
inline SQLCHAR* sqlText(const std::string& text) {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}

}  // namespace zusql

#endif
