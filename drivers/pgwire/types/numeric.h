// SQL_NUMERIC_STRUCT: a decimal number as an integer of 128 bits and a scale.

#ifndef PGWIRE_TYPES_NUMERIC_H
#define PGWIRE_TYPES_NUMERIC_H

#include <sql.h>
#include <sqlext.h>

#include <string_view>

#include "base/array.h"

namespace pgwire {

enum class NumericOutcome { Exact, Truncated, OutOfRange, NotANumber };

// Reads a decimal text, perhaps with an exponent. A scale of NumericForm::kOwnScale (scalars.h) takes as many
// decimal digits as the text has.
NumericOutcome numericFromText(std::string_view text, int precision, int scale, SQL_NUMERIC_STRUCT& out);

// Appends the number as decimal text.
[[nodiscard]] int numericToText(const SQL_NUMERIC_STRUCT& number, Text& out);

}  // namespace pgwire

#endif
