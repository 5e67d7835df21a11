// Reads one value of a result whole, in pieces, through a statement of its own.

#ifndef TOOLS_ZUSQL_BROWSER_VALUEREADER_H
#define TOOLS_ZUSQL_BROWSER_VALUEREADER_H

#include <memory>
#include <string>

#include "tools/zusql/browser/longtext.h"
#include "tools/zusql/browser/result.h"

namespace zusql {

// A reader of the pieces of a value. What is held of it is enough unless it is cut. Then the row is read
// again, by the primary key of the table if the result has it, else by all values that are held whole: the
// cursor library would look for the cut value too, and not find the row. Throws std::runtime_error if the row
// cannot be found again.
LongText::Reader readerOfValue(const Connection& connection, Result& result, const std::string& sql,
                               std::int64_t row, std::size_t column);

}  // namespace zusql

#endif
