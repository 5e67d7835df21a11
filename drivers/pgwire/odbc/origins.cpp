#include "odbc/origins.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace pgwire {

namespace {

template <std::size_t N>
void copyName(const Text& name, char (&out)[N]) {
  const std::size_t n = std::min(name.size(), N - 1);
  std::copy(name.begin(), name.begin() + n, out);
  out[n] = 0;
}

uint32_t numberOf(const Text& text) {
  uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// A row: the table's and the column's numbers, and the names of schema, table and column.
int takeRow(void* context, MessageReader& values) {
  Descriptor& columns = *static_cast<Descriptor*>(context);
  Text table;
  Text column;
  Text names[3];
  if (values.value(table) || values.value(column) || values.value(names[0]) || values.value(names[1]) ||
      values.value(names[2])) {
    return 1;
  }
  for (std::size_t i = 0; i < columns.records.size(); ++i) {
    const DescriptorRecord& record = columns.records[i];
    if (record.table != numberOf(table) || record.tableColumn != numberOf(column)) continue;
    copyName(names[0], columns.origins[i].schema);
    copyName(names[1], columns.origins[i].table);
    copyName(names[2], columns.origins[i].column);
  }
  return 0;
}

int askServer(Statement& stmt) {
  Text sql;
  if (sql.assign(
          "SELECT a.attrelid, a.attnum, n.nspname, c.relname, a.attname FROM pg_catalog.pg_attribute a JOIN "
          "pg_catalog.pg_class c ON c.oid = a.attrelid JOIN pg_catalog.pg_namespace n ON n.oid = "
          "c.relnamespace WHERE (a.attrelid, a.attnum) IN (")) {
    return 1;
  }
  bool any = false;
  for (const DescriptorRecord& record : stmt.columns.records) {
    if (!record.table) continue;
    char pair[40];
    const int n =
        std::snprintf(pair, sizeof pair, "%s(%u,%u)", any ? "," : "", record.table, record.tableColumn);
    if (sql.append({pair, static_cast<std::size_t>(n)})) return 1;
    any = true;
  }
  // In a transaction that has failed the server would refuse.
  if (!any || !stmt.conn.session.isAlive() || stmt.conn.session.transaction == 'E') return 0;
  return sql.append(")") || stmt.conn.session.run(sql.view(), takeRow, &stmt.columns);
}

}  // namespace

const char* originField(Statement& stmt, std::size_t number, SQLUSMALLINT field, int* failed) {
  const bool isName = field == SQL_DESC_BASE_TABLE_NAME || field == SQL_DESC_TABLE_NAME ||
                      field == SQL_DESC_SCHEMA_NAME || field == SQL_DESC_BASE_COLUMN_NAME;
  if (field != SQL_DESC_CATALOG_NAME && !isName) return nullptr;
  Array<ColumnOrigin>& origins = stmt.columns.origins;
  if (origins.empty() && (origins.resize(stmt.columns.records.size()) || askServer(stmt))) {
    origins.clear();
    *failed = 1;
    return "";
  }
  const ColumnOrigin& origin = origins[number - 1];
  switch (field) {
    case SQL_DESC_CATALOG_NAME: return origin.table[0] ? stmt.conn.settings.database.data() : "";
    case SQL_DESC_SCHEMA_NAME: return origin.schema;
    case SQL_DESC_BASE_COLUMN_NAME: return origin.column;
    default: return origin.table;
  }
}

}  // namespace pgwire
