// Intervals: the server's text form, "1 year 2 mons 3 days 04:05:06.7" with a sign on each part, and the SQL
// form, "1-2" or "3 4:05:06.7", into SQL_INTERVAL_STRUCT and back.

#ifndef PGWIRE_TYPES_INTERVAL_H
#define PGWIRE_TYPES_INTERVAL_H

#include <sql.h>
#include <sqlext.h>

#include <string_view>

#include "base/array.h"

namespace pgwire {

inline bool isIntervalType(SQLSMALLINT type) {
  return type >= SQL_INTERVAL_YEAR && type <= SQL_INTERVAL_MINUTE_TO_SECOND;
}

enum class IntervalOutcome { Exact, Truncated, Overflow, NotAnInterval };

// Reads an interval for a C type of intervals; a number alone counts the type's leading field. A day has 24
// hours, as on the server. What the type's fields cannot hold is an overflow if it lies before them, and is
// cut if after. The fraction of a second is in microseconds.
IntervalOutcome intervalFromText(std::string_view text, SQLSMALLINT cType, SQL_INTERVAL_STRUCT& out);

// Appends the interval in the server's form. 1 after a record if its type is none.
[[nodiscard]] int intervalToText(SQL_INTERVAL_STRUCT interval, Text& out);

}  // namespace pgwire

#endif
