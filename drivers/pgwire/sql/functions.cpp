#include "sql/functions.h"

#include <algorithm>
#include <iterator>

namespace pgwire {

namespace {

constexpr FunctionForm kForms[] = {
    {"CHAR", "chr(", ")"},
    {"CURDATE", "current_date", ""},
    {"CURRENT_DATE", "current_date", ""},
    {"CURRENT_TIME", "localtime(0", ")"},
    {"CURRENT_TIMESTAMP", "localtimestamp", ""},
    {"CURTIME", "localtime(0", ")"},
    {"DATABASE", "current_database(", ")"},
    {"DAYNAME", "to_char(", ", 'FMDay')"},
    {"DAYOFMONTH", "date_part('day', ", ")::int"},
    {"DAYOFWEEK", "(1 + date_part('dow', ", ")::int)"},
    {"DAYOFYEAR", "date_part('doy', ", ")::int"},
    {"HOUR", "date_part('hour', ", ")::int"},
    {"IFNULL", "coalesce(", ")"},
    {"LCASE", "lower(", ")"},
    {"LENGTH", "length(rtrim(", "))"},
    {"LOG10", "log(", ")"},
    {"MINUTE", "date_part('minute', ", ")::int"},
    {"MONTH", "date_part('month', ", ")::int"},
    {"MONTHNAME", "to_char(", ", 'FMMonth')"},
    {"NOW", "localtimestamp", ""},
    {"QUARTER", "date_part('quarter', ", ")::int"},
    {"RAND", "random(", ")"},
    {"SECOND", "date_part('second', ", ")::int"},
    {"SPACE", "repeat(' ', ", ")"},
    {"SUBSTRING", "substr(", ")"},
    {"TRUNCATE", "trunc(", ")"},
    {"UCASE", "upper(", ")"},
    {"USER", "cast(current_user as text", ")"},
    {"WEEK", "date_part('week', ", ")::int"},
    {"YEAR", "date_part('year', ", ")::int"},
};

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

const FunctionForm* findFunction(std::string_view name) {
  const auto* form = std::find_if(std::begin(kForms), std::end(kForms), [&](const FunctionForm& f) {
    return std::equal(f.name.begin(), f.name.end(), name.begin(), name.end(),
                      [](char a, char b) { return a == upper(b); });
  });
  return form == std::end(kForms) ? nullptr : form;
}

}  // namespace pgwire
