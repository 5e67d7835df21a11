// SQLTables, SQLColumns and SQLGetTypeInfo.

#include <algorithm>

#include "odbc/catalogquery.h"

namespace pgwire {

namespace {

constexpr std::string_view kTableType =
    "(CASE WHEN n.nspname IN ('pg_catalog', 'information_schema') OR n.nspname LIKE 'pg\\_toast%' THEN CASE "
    "WHEN c.relkind = 'v' THEN 'SYSTEM VIEW' ELSE 'SYSTEM TABLE' END WHEN c.relpersistence = 't' THEN 'LOCAL "
    "TEMPORARY' WHEN c.relkind = 'v' THEN 'VIEW' WHEN c.relkind = 'm' THEN 'MATERIALIZED VIEW' WHEN "
    "c.relkind = "
    "'f' THEN 'FOREIGN TABLE' ELSE 'TABLE' END)::varchar(63)";

// One word of a list 'TABLE','VIEW' or TABLE, VIEW; the list moves past it.
std::string_view takeWord(std::string_view& list) {
  std::string_view word = list.substr(0, list.find(','));
  list.remove_prefix(std::min(list.size(), word.size() + 1));
  while (!word.empty() && (word.front() == ' ' || word.front() == '\'')) word.remove_prefix(1);
  while (!word.empty() && (word.back() == ' ' || word.back() == '\'')) word.remove_suffix(1);
  return word;
}

void addTypeList(CatalogQuery& query, std::string_view types) {
  if (types.empty() || types == "%") return;
  query.add(" AND ").add(kTableType).add(" IN (");
  for (bool first = true; !types.empty(); first = false) query.add(first ? "" : ",").literal(takeWord(types));
  query.add(")");
}

// The lists of catalogs, schemas and types that special arguments ask for; empty for any other arguments.
std::string_view specialList(std::string_view catalog, std::string_view schema, std::string_view table,
                             std::string_view types) {
  if (catalog == SQL_ALL_CATALOGS && schema.empty() && table.empty()) {
    return "SELECT datname AS \"TABLE_CAT\", NULL::name AS \"TABLE_SCHEM\", NULL::name AS \"TABLE_NAME\", "
           "NULL::varchar AS \"TABLE_TYPE\", NULL::varchar AS \"REMARKS\" FROM pg_catalog.pg_database WHERE "
           "datallowconn ORDER BY 1";
  }
  if (schema == SQL_ALL_SCHEMAS && catalog.empty() && table.empty()) {
    return "SELECT NULL::name AS \"TABLE_CAT\", nspname AS \"TABLE_SCHEM\", NULL::name AS \"TABLE_NAME\", "
           "NULL::varchar AS \"TABLE_TYPE\", NULL::varchar AS \"REMARKS\" FROM pg_catalog.pg_namespace ORDER "
           "BY "
           "2";
  }
  if (types == SQL_ALL_TABLE_TYPES && catalog.empty() && schema.empty() && table.empty()) {
    return "SELECT NULL::name AS \"TABLE_CAT\", NULL::name AS \"TABLE_SCHEM\", NULL::name AS \"TABLE_NAME\", "
           "v::varchar AS \"TABLE_TYPE\", NULL::varchar AS \"REMARKS\" FROM unnest(ARRAY['FOREIGN TABLE', "
           "'LOCAL TEMPORARY', 'MATERIALIZED VIEW', 'SYSTEM TABLE', 'SYSTEM VIEW', 'TABLE', 'VIEW']) v ORDER "
           "BY "
           "4";
  }
  return {};
}

template <class Char>
SQLRETURN listTables(SQLHSTMT handle, Char* catalog, SQLSMALLINT catalogLength, Char* schema,
                     SQLSMALLINT schemaLength, Char* table, SQLSMALLINT tableLength, Char* types,
                     SQLSMALLINT typesLength) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    CodePage& page = stmt.conn.codePage;
    const TextArgument<Char> catalogText(page, catalog, catalogLength);
    const TextArgument<Char> schemaText(page, schema, schemaLength);
    const TextArgument<Char> tableText(page, table, tableLength);
    const TextArgument<Char> typesText(page, types, typesLength);
    if (catalogText.hasFailed() || schemaText.hasFailed() || tableText.hasFailed() || typesText.hasFailed())
      return codeOf(1);
    CatalogQuery query(stmt);
    const std::string_view special = stmt.metadataId ? std::string_view()
                                                     : specialList(catalogText.view(), schemaText.view(),
                                                                   tableText.view(), typesText.view());
    if (!special.empty()) return query.add(special).run();
    query.add("SELECT ").add(kDatabase).add(" AS \"TABLE_CAT\", n.nspname AS \"TABLE_SCHEM\", c.relname AS ");
    query.add("\"TABLE_NAME\", ")
        .add(kTableType)
        .add(" AS \"TABLE_TYPE\", obj_description(c.oid, 'pg_class')");
    query.add("::varchar(254) AS \"REMARKS\"")
        .add(kTableFrom)
        .add(" WHERE c.relkind IN ('r','p','v','m','f')");
    query.matching(kDatabase, catalogText).matching("n.nspname", schemaText).matching("c.relname", tableText);
    addTypeList(query, typesText.view());
    return query.add(" ORDER BY 4, 1, 2, 3").run();
  });
}

template <class Char>
SQLRETURN listColumns(SQLHSTMT handle, Char* catalog, SQLSMALLINT catalogLength, Char* schema,
                      SQLSMALLINT schemaLength, Char* table, SQLSMALLINT tableLength, Char* column,
                      SQLSMALLINT columnLength) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    CodePage& page = stmt.conn.codePage;
    const TextArgument<Char> catalogText(page, catalog, catalogLength);
    const TextArgument<Char> schemaText(page, schema, schemaLength);
    const TextArgument<Char> tableText(page, table, tableLength);
    const TextArgument<Char> columnText(page, column, columnLength);
    if (catalogText.hasFailed() || schemaText.hasFailed() || tableText.hasFailed() || columnText.hasFailed())
      return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT ").add(kDatabase).add(" AS \"TABLE_CAT\", n.nspname AS \"TABLE_SCHEM\", c.relname AS ");
    query.add("\"TABLE_NAME\", a.attname AS \"COLUMN_NAME\", ");
    query.typeColumns("m.modifier", "COLUMN_SIZE", "BUFFER_LENGTH", "DECIMAL_DIGITS", "NUM_PREC_RADIX");
    query.add(", (CASE WHEN a.attnotnull THEN 0 ELSE 1 END)::int2 AS \"NULLABLE\", col_description(c.oid, ");
    query.add("a.attnum)::varchar(254) AS \"REMARKS\", pg_get_expr(d.adbin, d.adrelid)::varchar(4000) AS ");
    query.add("\"COLUMN_DEF\", ").verboseColumns();
    query.add(
        ", (CASE WHEN coalesce(tt.kind, 'C') = 'C' THEN CASE WHEN m.modifier >= 4 THEN m.modifier - 4 ELSE ");
    query.number(stmt.conn.settings.textSize);
    query.add(
        " END WHEN tt.kind = 'O' THEN tt.octets END)::int4 AS \"CHAR_OCTET_LENGTH\", a.attnum::int4 AS ");
    query.add("\"ORDINAL_POSITION\", (CASE WHEN a.attnotnull THEN 'NO' ELSE 'YES' END)::varchar(3) AS ");
    query.add("\"IS_NULLABLE\"").add(kTableFrom);
    query.add(
        " JOIN pg_catalog.pg_attribute a ON a.attrelid = c.oid AND a.attnum > 0 AND NOT a.attisdropped");
    query.add(" JOIN pg_catalog.pg_type ty ON ty.oid = a.atttypid CROSS JOIN LATERAL (SELECT CASE WHEN ");
    query.add(
        "ty.typtype = 'd' THEN ty.typbasetype ELSE ty.oid END AS base, CASE WHEN ty.typtype = 'd' THEN ");
    query.add("ty.typtypmod ELSE a.atttypmod END AS modifier) m JOIN pg_catalog.pg_type t ON t.oid = m.base");
    query.add(" LEFT JOIN pg_catalog.pg_attrdef d ON d.adrelid = c.oid AND d.adnum = a.attnum");
    query.joinTypes("m.modifier").add(" WHERE c.relkind IN ('r','p','v','m','f')");
    query.matching(kDatabase, catalogText).matching("n.nspname", schemaText);
    query.matching("c.relname", tableText).matching("a.attname", columnText);
    return query.add(" ORDER BY 1, 2, 3, a.attnum").run();
  });
}

void addTypeRow(CatalogQuery& query, const Statement& stmt, const TypeRow& row, long position) {
  SQLSMALLINT subcode = 0;
  const SQLSMALLINT verbose = verboseType(row.sqlType, &subcode);
  const ColumnFacts facts = factsOf(static_cast<uint32_t>(row.oid), -1, stmt.conn.settings.textSize);
  const bool number = isNumber(row);
  const bool isText = row.kind == Kind::Text;
  const bool isTime = row.kind == Kind::Time || row.kind == Kind::Timestamp;
  const char* scale = row.kind == Kind::Decimal   ? "1000"
                      : isTime                    ? "6"
                      : row.kind == Kind::Integer ? "0"
                                                  : "NULL";
  query.add("(").literal(row.name).add("::varchar(63),").number(listedType(stmt, row.sqlType)).add("::int2,");
  query.number(row.kind == Kind::Decimal ? 1000 : facts.size).add("::int4,");
  query.literalOrNull(row.prefix, "varchar").add(",").literalOrNull(row.suffix, "varchar").add(",");
  query.literalOrNull(row.createParameters, "varchar")
      .add(",1::int2,")
      .add(isText ? "1" : "0")
      .add("::int2,");
  query.number(row.searchable).add("::int2,");
  query.add(number ? (row.oid == Oid::ObjectId ? "1" : "0") : "NULL").add("::int2,");
  query.add(row.oid == Oid::Money ? "1" : "0").add("::int2,").add(number ? "0" : "NULL").add("::int2,");
  query.literal(row.name).add("::varchar(63),");
  query.add(row.kind == Kind::Integer || row.kind == Kind::Decimal || isTime ? "0" : "NULL").add("::int2,");
  query.add(scale).add("::int2,").number(verbose).add("::int2,");
  if (subcode) {
    query.number(subcode);
  } else {
    query.add("NULL");
  }
  query.add("::int2,")
      .add(number ? "10" : "NULL")
      .add(row.range ? "::int4,9::int2," : "::int4,NULL::int2,")
      .number(position)
      .add(")");
}

SQLRETURN listTypes(SQLHSTMT handle, SQLSMALLINT type) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    CatalogQuery query(stmt);
    query.add("SELECT \"TYPE_NAME\",\"DATA_TYPE\",\"COLUMN_SIZE\",\"LITERAL_PREFIX\",\"LITERAL_SUFFIX\",");
    query.add("\"CREATE_PARAMS\",\"NULLABLE\",\"CASE_SENSITIVE\",\"SEARCHABLE\",\"UNSIGNED_ATTRIBUTE\",");
    query.add("\"FIXED_PREC_SCALE\",\"AUTO_UNIQUE_VALUE\",\"LOCAL_TYPE_NAME\",\"MINIMUM_SCALE\",");
    query.add("\"MAXIMUM_SCALE\",\"SQL_DATA_TYPE\",\"SQL_DATETIME_SUB\",\"NUM_PREC_RADIX\",");
    query.add("\"INTERVAL_PRECISION\" FROM (VALUES ");
    for (unsigned i = 0; i < typeRowCount(); ++i) {
      if (i) query.add(",");
      addTypeRow(query, stmt, typeRows()[i], static_cast<long>(i));
    }
    query.add(") AS v(\"TYPE_NAME\",\"DATA_TYPE\",\"COLUMN_SIZE\",\"LITERAL_PREFIX\",\"LITERAL_SUFFIX\",");
    query.add("\"CREATE_PARAMS\",\"NULLABLE\",\"CASE_SENSITIVE\",\"SEARCHABLE\",\"UNSIGNED_ATTRIBUTE\",");
    query.add("\"FIXED_PREC_SCALE\",\"AUTO_UNIQUE_VALUE\",\"LOCAL_TYPE_NAME\",\"MINIMUM_SCALE\",");
    query.add("\"MAXIMUM_SCALE\",\"SQL_DATA_TYPE\",\"SQL_DATETIME_SUB\",\"NUM_PREC_RADIX\",");
    query.add("\"INTERVAL_PRECISION\", place)");
    const auto listed = listedType(stmt, type);
    if (type != SQL_ALL_TYPES) query.add(" WHERE \"DATA_TYPE\" = ").number(listed);
    return query.add(" ORDER BY \"DATA_TYPE\", place").run();
  });
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

#define PGWIRE_FOUR_NAMES(Function, Work)                                                                  \
  SQLRETURN SQL_API Function(SQLHSTMT handle, SQLCHAR* a, SQLSMALLINT al, SQLCHAR* b, SQLSMALLINT bl,      \
                             SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* d, SQLSMALLINT dl) {                     \
    return Work(handle, a, al, b, bl, c, cl, d, dl);                                                       \
  }                                                                                                        \
  SQLRETURN SQL_API Function##W(SQLHSTMT handle, SQLWCHAR* a, SQLSMALLINT al, SQLWCHAR* b, SQLSMALLINT bl, \
                                SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* d, SQLSMALLINT dl) {                \
    return Work(handle, a, al, b, bl, c, cl, d, dl);                                                       \
  }

PGWIRE_FOUR_NAMES(SQLTables, listTables)
PGWIRE_FOUR_NAMES(SQLColumns, listColumns)
#undef PGWIRE_FOUR_NAMES

SQLRETURN SQL_API SQLGetTypeInfo(SQLHSTMT handle, SQLSMALLINT type) { return listTypes(handle, type); }
SQLRETURN SQL_API SQLGetTypeInfoW(SQLHSTMT handle, SQLSMALLINT type) { return listTypes(handle, type); }

}  // extern "C"
