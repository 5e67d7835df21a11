// What the browser shows: rows by number, of which only a few are held.

#ifndef TOOLS_ZUSQL_BROWSER_SOURCE_H
#define TOOLS_ZUSQL_BROWSER_SOURCE_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "tools/zusql/odbc.h"

namespace zusql {

struct CellView {
  std::string_view text;  // valid until other rows are loaded
  bool isNull = false;
  bool isCut = false;  // the value is longer
};

enum class RowState { Unchanged, Changed, Deleted, Failed };

// Rows are numbered from 0. Every operation may throw OdbcError; the rows that are held are then none.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual const std::vector<Column>& columns() const = 0;

  // How many rows are held at most.
  virtual std::int64_t rowsAtOnce() const = 0;

  // Makes the rows from `first` on available, `count` of them or as many as there are and can be held.
  // Returns how many.
  virtual std::int64_t load(std::int64_t first, std::int64_t count) = 0;

  // Of a row that is held.
  virtual CellView cell(std::int64_t row, std::size_t column) const = 0;
  virtual RowState state(std::int64_t row) const = 0;

  // Rows read from the driver so far, and whether these are all.
  virtual std::int64_t rowsRead() const = 0;
  virtual bool isComplete() const = 0;

  // Reads on up to a row, for a small part of a second; at least one row more, unless these are all.
  virtual void readTowards(std::int64_t row) = 0;
};

}  // namespace zusql

#endif
