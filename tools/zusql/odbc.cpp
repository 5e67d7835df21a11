#include "tools/zusql/odbc.h"

#include <array>
#include <cstring>

#include "tools/zusql/cancel.h"

namespace zusql {

namespace {

// A piece of a value, its terminator included.
constexpr std::size_t kPieceBytes = 16384;

std::string textOf(const SQLCHAR* text) { return reinterpret_cast<const char*>(text); }

// The attribute of a column; 0 if the driver does not tell.
SQLLEN numberOf(SQLHSTMT stmt, SQLUSMALLINT column, SQLUSMALLINT attribute) {
  SQLLEN value = 0;
  if (!SQL_SUCCEEDED(SQLColAttribute(stmt, column, attribute, nullptr, 0, nullptr, &value))) return 0;
  return value;
}

std::string nameOf(SQLHSTMT stmt, SQLUSMALLINT column, SQLUSMALLINT attribute) {
  std::array<SQLCHAR, 512> text{};
  SQLSMALLINT length = 0;
  const SQLRETURN rc = SQLColAttribute(stmt, column, attribute, text.data(),
                                       static_cast<SQLSMALLINT>(text.size()), &length, nullptr);
  return SQL_SUCCEEDED(rc) ? textOf(text.data()) : std::string();
}

}  // namespace

bool Column::isNumeric() const {
  switch (sqlType) {
    case SQL_NUMERIC:
    case SQL_DECIMAL:
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT:
    case SQL_BIGINT:
    case SQL_FLOAT:
    case SQL_REAL:
    case SQL_DOUBLE: return true;
    default: return false;
  }
}

bool Column::isBinary() const {
  return sqlType == SQL_BINARY || sqlType == SQL_VARBINARY || sqlType == SQL_LONGVARBINARY;
}

OdbcError diagnosticsOf(SQLSMALLINT handleType, SQLHANDLE handle) {
  constexpr SQLSMALLINT kMost = 20;
  std::string first;
  std::string all;
  std::array<SQLCHAR, 6> state{};
  std::array<SQLCHAR, 2048> text{};
  for (SQLSMALLINT i = 1; i <= kMost; ++i) {
    const SQLRETURN rc = SQLGetDiagRec(handleType, handle, i, state.data(), nullptr, text.data(),
                                       static_cast<SQLSMALLINT>(text.size()), nullptr);
    if (!SQL_SUCCEEDED(rc)) break;
    if (i == 1) first = textOf(state.data());
    all += (all.empty() ? "" : "\n") + textOf(state.data()) + ": " + textOf(text.data());
  }
  if (all.empty()) return {"HY000", "HY000: the driver gave no reason"};
  return {first, all};
}

Connection::Connection(const std::string& connectionString) {
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
  SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, env, &conn);
  SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, reinterpret_cast<SQLPOINTER>(SQL_CUR_USE_ODBC), 0);
  const SQLRETURN rc = SQLDriverConnect(conn, nullptr, sqlText(connectionString), SQL_NTS, nullptr, 0,
                                        nullptr, SQL_DRIVER_NOPROMPT);
  if (SQL_SUCCEEDED(rc)) return;
  const OdbcError why = diagnosticsOf(SQL_HANDLE_DBC, conn);
  release();
  throw why;
}

Connection::~Connection() {
  SQLEndTran(SQL_HANDLE_DBC, conn, SQL_ROLLBACK);
  SQLDisconnect(conn);
  release();
}

void Connection::release() {
  SQLFreeHandle(SQL_HANDLE_DBC, conn);
  SQLFreeHandle(SQL_HANDLE_ENV, env);
}

void Connection::check(SQLRETURN rc) const {
  if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) throw diagnosticsOf(SQL_HANDLE_DBC, conn);
}

std::string Connection::info(SQLUSMALLINT item) const {
  std::array<SQLCHAR, 512> text{};
  const SQLRETURN rc = SQLGetInfo(conn, item, text.data(), static_cast<SQLSMALLINT>(text.size()), nullptr);
  return SQL_SUCCEEDED(rc) ? textOf(text.data()) : std::string();
}

std::string Connection::quoted(const std::string& name) const {
  const std::string quote = info(SQL_IDENTIFIER_QUOTE_CHAR);
  if (quote.empty() || quote == " ") return name;
  std::string doubled;
  for (const char c : name) doubled += c == quote[0] ? quote + quote : std::string(1, c);
  return quote + doubled + quote;
}

bool Connection::isDead() const {
  SQLUINTEGER dead = SQL_CD_FALSE;
  const SQLRETURN rc = SQLGetConnectAttr(conn, SQL_ATTR_CONNECTION_DEAD, &dead, sizeof dead, nullptr);
  return SQL_SUCCEEDED(rc) && dead == SQL_CD_TRUE;
}

void Connection::setAutocommit(bool on) {
  const SQLULEN mode = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
  check(SQLSetConnectAttr(conn, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(mode), SQL_IS_UINTEGER));
}

void Connection::endTransaction(SQLSMALLINT completion) {
  check(SQLEndTran(SQL_HANDLE_DBC, conn, completion));
}

Statement::Statement(const Connection& connection) : connection(connection) {
  connection.check(SQLAllocHandle(SQL_HANDLE_STMT, connection.handle(), &stmt));
}

Statement::~Statement() { SQLFreeHandle(SQL_HANDLE_STMT, stmt); }

SQLRETURN Statement::check(SQLRETURN rc) const {
  if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) throw diagnosticsOf(SQL_HANDLE_STMT, stmt);
  return rc;
}

void Statement::execute(const std::string& sql) {
  const CancelScope cancellable(stmt);
  check(SQLExecDirect(stmt, sqlText(sql), SQL_NTS));
}

void Statement::setAttribute(SQLINTEGER attribute, SQLULEN value) {
  setAttribute(attribute, reinterpret_cast<void*>(value));
}

void Statement::setAttribute(SQLINTEGER attribute, void* value) {
  check(SQLSetStmtAttr(stmt, attribute, value, 0));
}

std::uint64_t Statement::attribute(SQLINTEGER attribute) const {
  SQLULEN value = 0;
  check(SQLGetStmtAttr(stmt, attribute, &value, sizeof value, nullptr));
  return value;
}

std::vector<Column> Statement::columns() const {
  SQLSMALLINT count = 0;
  check(SQLNumResultCols(stmt, &count));
  std::vector<Column> all(static_cast<std::size_t>(count));
  SQLUSMALLINT number = 0;
  for (Column& column : all) {
    ++number;
    std::array<SQLCHAR, 512> name{};
    SQLULEN size = 0;
    check(SQLDescribeCol(stmt, number, name.data(), static_cast<SQLSMALLINT>(name.size()), nullptr,
                         &column.sqlType, &size, nullptr, nullptr));
    column.name = textOf(name.data());
    column.size = size;
    column.displaySize = numberOf(stmt, number, SQL_DESC_DISPLAY_SIZE);
    column.typeName = nameOf(stmt, number, SQL_DESC_TYPE_NAME);
  }
  return all;
}

std::int64_t Statement::rowCount() const {
  SQLLEN count = -1;
  return SQL_SUCCEEDED(SQLRowCount(stmt, &count)) ? count : -1;
}

bool Statement::fetch() { return check(SQLFetch(stmt)) != SQL_NO_DATA; }

void Statement::get(SQLUSMALLINT number, Field& field) {
  field.text.clear();
  field.isNull = false;
  while (getPiece(number, field.text, field.isNull)) {
  }
}

bool Statement::getPiece(SQLUSMALLINT number, std::string& text, bool& isNull) {
  std::array<char, kPieceBytes> piece;
  piece[0] = '\0';
  SQLLEN length = 0;
  const SQLRETURN rc =
      check(SQLGetData(stmt, number, SQL_C_CHAR, piece.data(), static_cast<SQLLEN>(piece.size()), &length));
  if (rc == SQL_NO_DATA) return false;
  isNull = length == SQL_NULL_DATA;
  if (isNull) return false;
  const auto room = static_cast<SQLLEN>(piece.size()) - 1;
  const bool isWhole = length != SQL_NO_TOTAL && length <= room;
  text.append(piece.data(), isWhole ? static_cast<std::size_t>(length) : strnlen(piece.data(), piece.size()));
  return !isWhole && rc == SQL_SUCCESS_WITH_INFO;
}

bool Statement::moreResults() {
  const CancelScope cancellable(stmt);
  return check(SQLMoreResults(stmt)) != SQL_NO_DATA;
}

}  // namespace zusql
