// The result of a query through a static cursor: any row by its number. Only one row set is held here; the
// cursor library keeps the rows that have been read in its file.
//
// Values are bound as text, cut to a number of bytes. The row set is column-wise: for each column an array of
// values of one width, and an array of lengths.

#ifndef TOOLS_ZUSQL_BROWSER_RESULT_H
#define TOOLS_ZUSQL_BROWSER_RESULT_H

#include <string>
#include <vector>

#include "tools/zusql/browser/source.h"

namespace zusql {

class Result : public RowSource {
 public:
  // The name of the cursor for positioned statements.
  static constexpr char kCursorName[] = "zusql_rows";

  // Runs the statement. hasRows() is false if it has no result; then only `statement` may be used.
  Result(const Connection& connection, const std::string& sql, std::int64_t rowsWanted,
         std::size_t cellBytes);

  bool hasRows() const { return !described.empty(); }
  Statement& statement() { return query; }

  const std::vector<Column>& columns() const override { return described; }
  std::int64_t rowsAtOnce() const override { return capacity; }
  std::int64_t load(std::int64_t first, std::int64_t count) override;
  CellView cell(std::int64_t row, std::size_t column) const override;
  RowState state(std::int64_t row) const override;
  std::int64_t rowsRead() const override { return read; }
  bool isComplete() const override { return complete; }
  void readTowards(std::int64_t row) override;

  // For positioned statements. Makes a row the current one of the cursor; false if there is no such row.
  bool makeCurrent(std::int64_t row);

  // The buffer of a value of a row that is held, to be changed before a positioned update, which takes it
  // over.
  struct Slot {
    char* text;
    std::size_t bytes;  // with the terminator
    SQLLEN* length;
  };
  Slot slot(std::int64_t row, std::size_t column);

  // What is held is read again from the cursor library's rows when it is next needed.
  void forget() { held = 0; }

  // True if the driver's cursor takes positioned statements.
  bool isUpdatable() const { return updatable; }

 private:
  struct Buffer {
    std::size_t width;
    std::vector<char> values;
    std::vector<SQLLEN> lengths;
  };

  void bind(std::int64_t rowsWanted, std::size_t cellBytes);
  void fetchAt(std::int64_t first);
  std::size_t place(std::int64_t row) const { return static_cast<std::size_t>(row - start); }

  Statement query;
  std::vector<Column> described;
  std::vector<Buffer> buffers;
  std::vector<SQLUSMALLINT> states;
  std::int64_t capacity = 0;
  std::int64_t start = 0;  // the first row that is held
  SQLULEN held = 0;        // how many
  std::int64_t read = 0;
  std::int64_t portion = 1000;  // rows that readTowards reads
  bool complete = false;
  bool updatable = true;
};

}  // namespace zusql

#endif
