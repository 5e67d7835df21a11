// Dates and times in the server's text form, which is that of ISO 8601 with a blank before the time.

#ifndef PGWIRE_TYPES_DATETIME_H
#define PGWIRE_TYPES_DATETIME_H

#include <sql.h>
#include <sqlext.h>

#include <string_view>

#include "base/array.h"

namespace pgwire {

struct DateTime {
  bool hasDate = false;
  bool hasTime = false;
  SQL_TIMESTAMP_STRUCT value = {};  // the fraction in nanoseconds
};

// Reads a date, a time or both; a time zone at the end is left out. False if the text is none of these, or
// has a year beyond 9999 or before the year 1.
bool parseDateTime(std::string_view text, DateTime& out);

[[nodiscard]] int appendDate(Text& out, SQLSMALLINT year, unsigned month, unsigned day);
[[nodiscard]] int appendTime(Text& out, unsigned hour, unsigned minute, unsigned second,
                             SQLUINTEGER fraction);

}  // namespace pgwire

#endif
