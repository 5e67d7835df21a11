#include "tools/zusql/browser/editing.h"

#include <cstring>
#include <stdexcept>

namespace zusql {

namespace {

// SQLSTATEs of warnings: a positioned statement has touched no row, or several.
constexpr const char* kNoRow = "01S03";
constexpr const char* kSeveralRows = "01S04";

// Puts a new value into a buffer of the row set, and the old one back unless it is kept.
class SlotChange {
 public:
  SlotChange(const Result::Slot& slot, const std::string* text)
      : slot(slot), before(slot.text, slot.bytes), lengthBefore(*slot.length) {
    if (text) std::memcpy(slot.text, text->c_str(), text->size() + 1);
    *slot.length = text ? static_cast<SQLLEN>(text->size()) : SQL_NULL_DATA;
  }
  SlotChange(const SlotChange&) = delete;
  SlotChange& operator=(const SlotChange&) = delete;
  ~SlotChange() {
    if (isKept) return;
    std::memcpy(slot.text, before.data(), before.size());
    *slot.length = lengthBefore;
  }
  void keep() { isKept = true; }

 private:
  const Result::Slot slot;
  const std::string before;
  const SQLLEN lengthBefore;
  bool isKept = false;
};

}  // namespace

RowEditor::RowEditor(Connection& connection, Result& result, const std::string& sql)
    : connection(connection), result(result), shape(shapeOf(sql)) {}

RowEditor::~RowEditor() {
  if (!isOpen) return;
  try {
    rollback();
  } catch (const OdbcError&) {
    return;  // the connection is lost, and its transaction with it
  }
}

std::string RowEditor::whyNot() const {
  if (!shape.reason.empty()) return "Rows of this result cannot be changed: " + shape.reason + ".";
  if (!result.isUpdatable())
    return "Rows of this result cannot be changed: the driver's cursor is read-only.";
  return {};
}

void RowEditor::begin() {
  if (isOpen) return;
  connection.setAutocommit(false);
  isOpen = true;
}

void RowEditor::makeCurrent(std::int64_t row) {
  if (const std::string why = whyNot(); !why.empty()) throw std::runtime_error(why);
  if (result.load(row, 1) == 0) throw std::runtime_error("There is no row here.");
  if (result.state(row) == RowState::Deleted) throw std::runtime_error("This row has been deleted.");
  for (std::size_t i = 0; i < result.columns().size(); ++i) {
    if (!result.cell(row, i).isCut) continue;
    throw std::runtime_error("The row is found by its values, and that of " + result.columns()[i].name +
                             " is not held whole: leave, and raise \\width.");
  }
  begin();
  result.makeCurrent(row);
}

void RowEditor::run(Statement& statement, const std::string& sql) {
  const SQLRETURN rc = statement.check(SQLExecDirect(statement.handle(), sqlText(sql), SQL_NTS));
  if (rc == SQL_SUCCESS) return;
  const OdbcError warning = diagnosticsOf(SQL_HANDLE_STMT, statement.handle());
  if (rc == SQL_NO_DATA || warning.state() == kNoRow) {
    throw std::runtime_error(
        "No row has these values now: somebody else has changed it, or the data source compares "
        "them otherwise.");
  }
  if (warning.state() != kSeveralRows) return;
  ++changes;
  throw std::runtime_error(
      "Several rows have these values, and all have been changed: roll back when you leave.");
}

void RowEditor::change(std::int64_t row, std::size_t column, const std::string* text) {
  makeCurrent(row);
  const Result::Slot slot = result.slot(row, column);
  if (text && text->size() >= slot.bytes) {
    throw std::runtime_error("The value is longer than the " + std::to_string(slot.bytes - 1) +
                             " bytes that are held of it: leave, and raise \\width.");
  }
  Statement writer(connection);
  SQLLEN length = text ? SQL_NTS : SQL_NULL_DATA;
  std::string value = text ? *text : std::string();
  const Column& facts = result.columns()[column];
  writer.check(SQLBindParameter(writer.handle(), 1, SQL_PARAM_INPUT, SQL_C_CHAR, facts.sqlType,
                                std::max<SQLULEN>(facts.size, value.size() + 1), 0, value.data(),
                                static_cast<SQLLEN>(value.size() + 1), &length));
  SlotChange inRowSet(slot, text);
  run(writer, "update " + shape.table + " set " + connection.quoted(facts.name) + " = ? where current of " +
                  Result::kCursorName);
  inRowSet.keep();
  result.forget();
  ++changes;
}

void RowEditor::remove(std::int64_t row) {
  makeCurrent(row);
  Statement writer(connection);
  run(writer, "delete from " + shape.table + " where current of " + Result::kCursorName);
  result.forget();
  ++changes;
}

void RowEditor::commit() { end(SQL_COMMIT); }
void RowEditor::rollback() { end(SQL_ROLLBACK); }

void RowEditor::end(SQLSMALLINT completion) {
  if (!isOpen) return;
  connection.endTransaction(completion);
  isOpen = false;
  changes = 0;
  connection.setAutocommit(true);
}

}  // namespace zusql
