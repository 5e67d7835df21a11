#include "odbc/catalogquery.h"

#include <cstdio>

namespace pgwire {

namespace {

char kindOf(const TypeRow& row) {
  switch (row.kind) {
    case Kind::Decimal: return 'N';
    case Kind::Time:
    case Kind::Timestamp: return 'D';
    case Kind::Text: return row.size > 0 ? 'O' : 'C';
    case Kind::Bytes: return 'B';
    case Kind::Integer:
    case Kind::Float: return 'I';
    default: return 'O';
  }
}

}  // namespace

SQLSMALLINT listedType(const Statement& stmt, SQLSMALLINT type) {
  const bool isTime = type >= SQL_TYPE_DATE && type <= SQL_TYPE_TIMESTAMP;
  if (stmt.conn.env.odbcVersion != SQL_OV_ODBC2 || !isTime) return type;
  return static_cast<SQLSMALLINT>(type - SQL_TYPE_DATE + SQL_DATE);
}

CatalogQuery& CatalogQuery::number(long value) {
  char text[24];
  return add({text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%ld", value))});
}

CatalogQuery& CatalogQuery::literalOrNull(const char* value, std::string_view type) {
  if (value) return literal(value).add("::").add(type);
  return add("NULL::").add(type);
}

CatalogQuery& CatalogQuery::condition(std::string_view column, std::string_view value,
                                      std::string_view comparison) {
  return add(" AND ").add(column).add(comparison).literal(value);
}

CatalogQuery& CatalogQuery::joinTypes(std::string_view modifier) {
  add(" LEFT JOIN (VALUES ");
  for (unsigned i = 0; i < typeRowCount(); ++i) {
    const TypeRow& row = typeRows()[i];
    const char kind[] = {'\'', kindOf(row), '\''};
    add(i ? ",(" : "(").number(static_cast<long>(row.oid)).add(",").number(listedType(stmt, row.sqlType));
    add(",").literal(row.name).add(",").number(row.size).add(",").number(row.octets).add(",");
    add({kind, sizeof kind}).add(",").number(row.range).add(")");
  }
  add(") AS tt(oid, sqltype, name, size, octets, kind, range) ON tt.oid = t.oid AND ");
  // Of an interval the modifier tells which fields it has; none and all are the same.
  add("(CASE WHEN t.oid = 1186 AND ").add(modifier).add(" >= 0 THEN nullif(").add(modifier);
  return add(" >> 16 & 32767, 32767) END IS NOT DISTINCT FROM nullif(tt.range, 0))");
}

CatalogQuery& CatalogQuery::typeColumns(std::string_view modifier, std::string_view size,
                                        std::string_view length, std::string_view scale,
                                        std::string_view radix) {
  // A size by the modifier where the type has one, else the table's.
  const auto addSize = [&](std::string_view fixed) -> CatalogQuery& {
    add("(CASE coalesce(tt.kind, 'C') WHEN 'N' THEN CASE WHEN ").add(modifier).add(" >= 4 THEN ((");
    add(modifier).add(" - 4) >> 16) ELSE 28 END WHEN 'C' THEN CASE WHEN ").add(modifier).add(" >= 4 THEN ");
    add(modifier).add(" - 4 ELSE ").number(stmt.conn.settings.textSize).add(" END WHEN 'B' THEN ");
    return number(stmt.conn.settings.textSize).add(" ELSE ").add(fixed).add(" END)::int4 AS \"");
  };
  add("coalesce(tt.sqltype, ").number(SQL_LONGVARCHAR).add(")::int2 AS \"DATA_TYPE\", ");
  add("(CASE WHEN tt.range > 0 THEN tt.name ELSE format_type(t.oid, NULL) END)::varchar(63) AS ");
  add("\"TYPE_NAME\", ");
  Text timed;  // of a date and time: 8 or 19 characters, and a fraction with its point
  failed = failed ||
           timed.append("CASE WHEN tt.kind = 'D' THEN CASE tt.size WHEN 8 THEN 8 ELSE 19 END + CASE ") ||
           timed.append(modifier) || timed.append(" WHEN 0 THEN 0 WHEN -1 THEN 7 ELSE 1 + ") ||
           timed.append(modifier) || timed.append(" END ELSE tt.size END");
  addSize(timed.view()).add(size).add("\", ");
  addSize("tt.octets").add(length).add("\", (CASE tt.kind WHEN 'N' THEN CASE WHEN ");
  add(modifier).add(" >= 4 THEN (").add(modifier).add(" - 4) & 2047 ELSE 6 END WHEN 'D' THEN CASE WHEN ");
  add(modifier)
      .add(" BETWEEN 0 AND 6 THEN ")
      .add(modifier)
      .add(" ELSE 6 END WHEN 'I' THEN 0 END)::int2 AS \"");
  add(scale).add("\"");
  if (radix.empty()) return *this;
  return add(", (CASE WHEN tt.kind IN ('N', 'I') THEN 10 END)::int2 AS \"").add(radix).add("\"");
}

CatalogQuery& CatalogQuery::verboseColumns() {
  add("(CASE WHEN tt.sqltype IN (9, 10, 11, 91, 92, 93) THEN ").number(SQL_DATETIME);
  add(" WHEN tt.range > 0 THEN ").number(SQL_INTERVAL);
  add(" ELSE coalesce(tt.sqltype, ").number(SQL_LONGVARCHAR).add(") END)::int2 AS \"SQL_DATA_TYPE\", ");
  return add(
      "(CASE WHEN tt.sqltype IN (9, 10, 11) THEN tt.sqltype - 8 WHEN tt.sqltype IN (91, 92, 93) THEN "
      "tt.sqltype - 90 WHEN tt.range > 0 THEN tt.sqltype - 100 END)::int2 AS \"SQL_DATETIME_SUB\"");
}

}  // namespace pgwire
