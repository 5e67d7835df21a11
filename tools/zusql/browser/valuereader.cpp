#include "tools/zusql/browser/valuereader.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "tools/zusql/catalog.h"
#include "tools/zusql/sqltext.h"

namespace zusql {

namespace {

// The name of a table without its qualifiers and quotes.
std::string plainName(const std::string& written) {
  std::string name;
  std::size_t position = 0;
  for (SqlToken token = nextToken(written, position); token.kind != TokenKind::End;
       token = nextToken(written, position)) {
    if (token.kind == TokenKind::Word) name = token.text;
    if (token.kind == TokenKind::Quoted) name = token.text.substr(1, token.text.size() - 2);
  }
  return name;
}

struct Condition {
  std::string column;
  std::string value;
  SQLSMALLINT sqlType;
};

// What tells the row apart: the values of the primary key if the result has them all, else all values that
// are held whole and are neither null nor floating-point numbers, which may be equal in no text.
std::vector<Condition> conditionsFor(const Connection& connection, const Result& result,
                                     const std::string& table, std::int64_t row) {
  const std::vector<std::string> key = primaryKeyOf(connection, table);
  std::vector<Condition> all;
  std::vector<Condition> ofKey;
  for (std::size_t i = 0; i < result.columns().size(); ++i) {
    const Column& column = result.columns()[i];
    const CellView cell = result.cell(row, i);
    if (cell.isNull || cell.isCut) continue;
    const Condition condition{column.name, std::string(cell.text), column.sqlType};
    if (std::ranges::find(key, column.name) != key.end()) ofKey.push_back(condition);
    if (column.sqlType != SQL_DOUBLE && column.sqlType != SQL_REAL && column.sqlType != SQL_FLOAT)
      all.push_back(condition);
  }
  return !key.empty() && ofKey.size() == key.size() ? ofKey : all;
}

// A statement that has moved to the row and reads one of its columns.
std::unique_ptr<Statement> reread(const Connection& connection, const Result& result,
                                  const std::string& table, const std::vector<Condition>& conditions,
                                  std::size_t column) {
  std::string sql =
      "select " + connection.quoted(result.columns()[column].name) + " from " + table + " where";
  auto statement = std::make_unique<Statement>(connection);
  SQLUSMALLINT number = 0;
  for (const Condition& condition : conditions) {
    sql += (number > 0 ? " and " : " ") + connection.quoted(condition.column) + " = ?";
    statement->check(SQLBindParameter(statement->handle(), ++number, SQL_PARAM_INPUT, SQL_C_CHAR,
                                      condition.sqlType, condition.value.size() + 1, 0,
                                      sqlText(condition.value),
                                      static_cast<SQLLEN>(condition.value.size() + 1), nullptr));
  }
  statement->execute(sql);
  if (!statement->fetch()) throw std::runtime_error("The row cannot be found again by its values.");
  return statement;
}

LongText::Reader piecesOf(const std::shared_ptr<Statement>& statement) {
  return [statement](std::string& piece) {
    bool isNull = false;
    return statement->getPiece(1, piece, isNull);
  };
}

}  // namespace

LongText::Reader readerOfValue(const Connection& connection, Result& result, const std::string& sql,
                               std::int64_t row, std::size_t column) {
  if (result.load(row, 1) == 0) throw std::runtime_error("There is no row here.");
  const CellView cell = result.cell(row, column);
  if (!cell.isCut) {
    return [text = std::string(cell.isNull ? "NULL" : cell.text)](std::string& piece) {
      piece += text;
      return false;
    };
  }
  const SelectShape shape = shapeOf(sql);
  if (!shape.reason.empty()) {
    throw std::runtime_error(
        "Only the beginning of this value is held, and the row cannot be read again: " + shape.reason + ".");
  }
  const std::vector<Condition> conditions = conditionsFor(connection, result, plainName(shape.table), row);
  if (conditions.empty())
    throw std::runtime_error("Only the beginning of this value is held, and nothing tells the row apart.");
  return piecesOf(reread(connection, result, shape.table, conditions, column));
}

}  // namespace zusql
