// What the catalog functions share: building a query over the server's catalog, with the application's names
// as conditions.

#ifndef PGWIRE_ODBC_CATALOGQUERY_H
#define PGWIRE_ODBC_CATALOGQUERY_H

#include <string_view>

#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/text.h"

namespace pgwire {

class CatalogQuery {
 public:
  explicit CatalogQuery(Statement& stmt) : stmt(stmt) {}

  CatalogQuery& add(std::string_view words) {
    failed = failed || sql.append(words);
    return *this;
  }
  CatalogQuery& number(long value);
  CatalogQuery& literal(std::string_view value) {
    failed = failed || appendLiteral(sql, value);
    return *this;
  }
  // A literal, or NULL of the type for a null pointer.
  CatalogQuery& literalOrNull(const char* value, std::string_view type);

  // " AND column LIKE 'pattern'", by equality if names are identifiers; nothing without an argument.
  template <class Char>
  CatalogQuery& matching(std::string_view column, const TextArgument<Char>& pattern) {
    return pattern.given() ? condition(column, pattern.view(), stmt.metadataId ? " = " : " LIKE ") : *this;
  }
  // " AND column = 'name'".
  template <class Char>
  CatalogQuery& equal(std::string_view column, const TextArgument<Char>& name) {
    return name.given() ? condition(column, name.view(), " = ") : *this;
  }
  CatalogQuery& condition(std::string_view column, std::string_view value, std::string_view comparison);

  // Joins the table "tt" of types, (oid, sqltype, name, size, octets, kind, range), to the type "t" with a
  // modifier. Kind is N for a numeric, D for a date and time, C for text, B for bytes, I for other numbers,
  // else O.
  CatalogQuery& joinTypes(std::string_view modifier);
  // The columns DATA_TYPE, TYPE_NAME, COLUMN_SIZE, BUFFER_LENGTH, DECIMAL_DIGITS and NUM_PREC_RADIX of a type
  // of `tt` with a modifier; the last four names are given, an empty one leaves
  // the radix out.
  CatalogQuery& typeColumns(std::string_view modifier, std::string_view size, std::string_view length,
                            std::string_view scale, std::string_view radix);
  // SQL_DATA_TYPE and SQL_DATETIME_SUB.
  CatalogQuery& verboseColumns();

  SQLRETURN run() { return codeOf(failed || executeOwn(stmt, sql.view())); }

 private:
  Statement& stmt;
  Text sql;
  bool failed = false;
};

// The code of a type in a result, by the ODBC version of the application: dates and times differ.
SQLSMALLINT listedType(const Statement& stmt, SQLSMALLINT type);

// A table's kind, and the catalog's tables that hold it, as in "FROM".
constexpr std::string_view kTableFrom =
    " FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace";
constexpr std::string_view kDatabase = "current_database()";

}  // namespace pgwire

#endif
