// Rows of a result to a writer, as they arrive from the driver: no scrolling, one row in memory.

#ifndef TOOLS_ZUSQL_EXPORT_H
#define TOOLS_ZUSQL_EXPORT_H

#include <chrono>
#include <cstdint>

#include "tools/zusql/formats.h"
#include "tools/zusql/odbc.h"

namespace zusql {

// A line on the standard error that tells how far an export is: rows, rows per second, and a bar where the
// driver knows the number of rows. Shown on a terminal only.
class ExportProgress {
 public:
  explicit ExportProgress(std::int64_t total);
  void show(std::int64_t rows);

  // Removes the line.
  void clear();

  double seconds() const;

 private:
  std::int64_t total;
  bool isShown = false;
  const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

// Writes all rows of the statement's result and returns their number. Ctrl-C ends it with an OdbcError of the
// state HY008; what has been written stays. `progress` may be null.
std::int64_t writeRows(Statement& statement, const std::vector<Column>& columns, Output& out,
                       const FormatOptions& options, ExportProgress* progress);

}  // namespace zusql

#endif
