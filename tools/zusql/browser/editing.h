// Changes to rows of a result, through positioned statements in one transaction.

#ifndef TOOLS_ZUSQL_BROWSER_EDITING_H
#define TOOLS_ZUSQL_BROWSER_EDITING_H

#include <cstdint>
#include <string>

#include "tools/zusql/browser/result.h"
#include "tools/zusql/sqltext.h"

namespace zusql {

class RowEditor {
 public:
  RowEditor(Connection& connection, Result& result, const std::string& sql);
  RowEditor(const RowEditor&) = delete;
  RowEditor& operator=(const RowEditor&) = delete;

  // Rolls back what has been neither committed nor rolled back.
  ~RowEditor();

  // Why rows cannot be changed; empty if they can.
  std::string whyNot() const;

  // Change a value, with null as no text, and delete a row. They throw std::runtime_error, and leave
  // everything as it was, if the row cannot be told apart from others or the data source refuses.
  void change(std::int64_t row, std::size_t column, const std::string* text);
  void remove(std::int64_t row);

  bool hasChanges() const { return changes > 0; }
  std::int64_t changeCount() const { return changes; }

  // End the transaction. The data source may close the result.
  void commit();
  void rollback();

  const std::string& table() const { return shape.table; }

 private:
  void begin();
  void makeCurrent(std::int64_t row);
  void run(Statement& statement, const std::string& sql);
  void end(SQLSMALLINT completion);

  Connection& connection;
  Result& result;
  const SelectShape shape;
  bool isOpen = false;  // a transaction
  std::int64_t changes = 0;
};

}  // namespace zusql

#endif
