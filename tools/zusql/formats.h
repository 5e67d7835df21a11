// The forms in which rows are written: an aligned table, CSV, JSON lines.

#ifndef TOOLS_ZUSQL_FORMATS_H
#define TOOLS_ZUSQL_FORMATS_H

#include <memory>
#include <string>
#include <vector>

#include "tools/zusql/odbc.h"
#include "tools/zusql/output.h"

namespace zusql {

enum class Format { Aligned, Csv, JsonLines };

// "aligned", "csv" or "jsonl". Throws std::runtime_error for other names.
Format formatNamed(const std::string& name);
const char* nameOf(Format format);

// The format that a file's ending asks for (.csv, .json, .jsonl, .ndjson), else `otherwise`.
Format formatOfFile(const std::string& path, Format otherwise);

struct FormatOptions {
  Format format = Format::Aligned;
  std::string nullText = "NULL";  // in tables; CSV has an empty field without quotes, JSON null
  bool hasHeader = true;
};

// Takes the rows of one result, in order.
class RowWriter {
 public:
  virtual ~RowWriter() = default;
  virtual void row(const std::vector<Field>& fields) = 0;

  // After the last row.
  virtual void end() {}

  // Writes what has been held back, when rows come slowly.
  virtual void flush() = 0;
};

// A writer for a result with these columns; the header is written at once, or by the first flush.
//
// A table's column is as wide as the widest of its first 500 values; later values that are wider are written
// whole, out of line.
std::unique_ptr<RowWriter> makeWriter(Output& out, const std::vector<Column>& columns,
                                      const FormatOptions& options);

// `text` as a field of RFC 4180, in quotes where it must be: also if it is empty, since null is nothing.
void appendCsvField(std::string& out, const std::string& text);

// `text` as a JSON string. Bytes that are no UTF-8 become U+FFFD.
void appendJsonString(std::string& out, const std::string& text);

// True if `text` is a number as JSON writes it.
bool isJsonNumber(const std::string& text);

}  // namespace zusql

#endif
