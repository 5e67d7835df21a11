// SQLPrimaryKeys, SQLForeignKeys, SQLStatistics and SQLSpecialColumns.

#include "odbc/catalogquery.h"

namespace pgwire {

namespace {

// A table's three names.
template <class Char>
struct TableName {
  TableName(CodePage& page, const Char* c, SQLSMALLINT cl, const Char* s, SQLSMALLINT sl, const Char* t,
            SQLSMALLINT tl)
      : catalog(page, c, cl), schema(page, s, sl), table(page, t, tl) {}
  bool hasFailed() const { return catalog.hasFailed() || schema.hasFailed() || table.hasFailed(); }

  void addConditions(CatalogQuery& query, std::string_view schemaColumn, std::string_view tableColumn) const {
    query.equal(kDatabase, catalog).equal(schemaColumn, schema).equal(tableColumn, table);
  }

  TextArgument<Char> catalog, schema, table;
};

template <class Char>
SQLRETURN listPrimaryKeys(SQLHSTMT handle, Char* c, SQLSMALLINT cl, Char* s, SQLSMALLINT sl, Char* t,
                          SQLSMALLINT tl) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TableName<Char> name(stmt.conn.codePage, c, cl, s, sl, t, tl);
    if (name.hasFailed()) return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT ").add(kDatabase).add(" AS \"TABLE_CAT\", n.nspname AS \"TABLE_SCHEM\", c.relname AS ");
    query.add("\"TABLE_NAME\", a.attname AS \"COLUMN_NAME\", k.place::int2 AS \"KEY_SEQ\", p.conname AS ");
    query.add("\"PK_NAME\"").add(kTableFrom);
    query.add(
        " JOIN pg_catalog.pg_constraint p ON p.conrelid = c.oid AND p.contype = 'p' CROSS JOIN LATERAL ");
    query.add(
        "unnest(p.conkey) WITH ORDINALITY k(number, place) JOIN pg_catalog.pg_attribute a ON a.attrelid = ");
    query.add("c.oid AND a.attnum = k.number WHERE true");
    name.addConditions(query, "n.nspname", "c.relname");
    return query.add(" ORDER BY 1, 2, 3, 5").run();
  });
}

template <class Char>
SQLRETURN listForeignKeys(SQLHSTMT handle, const Char* c, SQLSMALLINT cl, const Char* s, SQLSMALLINT sl,
                          const Char* t, SQLSMALLINT tl, const Char* fc, SQLSMALLINT fcl, const Char* fs,
                          SQLSMALLINT fsl, const Char* ft, SQLSMALLINT ftl) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TableName<Char> primary(stmt.conn.codePage, c, cl, s, sl, t, tl);
    const TableName<Char> foreign(stmt.conn.codePage, fc, fcl, fs, fsl, ft, ftl);
    if (primary.hasFailed() || foreign.hasFailed()) return codeOf(1);
    const auto rule = [&](CatalogQuery& q, std::string_view column) -> CatalogQuery& {
      q.add("(CASE ").add(column).add(
          " WHEN 'c' THEN 0 WHEN 'r' THEN 1 WHEN 'n' THEN 2 WHEN 'd' THEN 4 ELSE 3 END)");
      return q.add("::int2");
    };
    CatalogQuery query(stmt);
    query.add("SELECT ").add(kDatabase).add(
        " AS \"PKTABLE_CAT\", pn.nspname AS \"PKTABLE_SCHEM\", pc.relname ");
    query.add("AS \"PKTABLE_NAME\", pa.attname AS \"PKCOLUMN_NAME\", ").add(kDatabase);
    query.add(
        " AS \"FKTABLE_CAT\", n.nspname AS \"FKTABLE_SCHEM\", c.relname AS \"FKTABLE_NAME\", a.attname AS ");
    query.add("\"FKCOLUMN_NAME\", k.place::int2 AS \"KEY_SEQ\", ");
    rule(query, "p.confupdtype").add(" AS \"UPDATE_RULE\", ");
    rule(query, "p.confdeltype")
        .add(" AS \"DELETE_RULE\", p.conname AS \"FK_NAME\", pk.conname AS \"PK_NAME\", ");
    query.add(
        "(CASE WHEN p.condeferrable THEN CASE WHEN p.condeferred THEN 5 ELSE 6 END ELSE 7 END)::int2 AS ");
    query.add("\"DEFERRABILITY\"").add(kTableFrom);
    query.add(" JOIN pg_catalog.pg_constraint p ON p.conrelid = c.oid AND p.contype = 'f' JOIN pg_catalog.");
    query.add(
        "pg_class pc ON pc.oid = p.confrelid JOIN pg_catalog.pg_namespace pn ON pn.oid = pc.relnamespace ");
    query.add(
        "CROSS JOIN LATERAL unnest(p.conkey, p.confkey) WITH ORDINALITY k(number, pnumber, place) JOIN ");
    query.add("pg_catalog.pg_attribute a ON a.attrelid = c.oid AND a.attnum = k.number JOIN pg_catalog.");
    query.add("pg_attribute pa ON pa.attrelid = pc.oid AND pa.attnum = k.pnumber LEFT JOIN pg_catalog.");
    query.add("pg_constraint pk ON pk.conrelid = pc.oid AND pk.contype = 'p' WHERE true");
    primary.addConditions(query, "pn.nspname", "pc.relname");
    foreign.addConditions(query, "n.nspname", "c.relname");
    return query.add(foreign.table.given() ? " ORDER BY 1, 2, 3, 9" : " ORDER BY 5, 6, 7, 9").run();
  });
}

template <class Char>
SQLRETURN listStatistics(SQLHSTMT handle, const Char* c, SQLSMALLINT cl, const Char* s, SQLSMALLINT sl,
                         const Char* t, SQLSMALLINT tl, SQLUSMALLINT unique) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TableName<Char> name(stmt.conn.codePage, c, cl, s, sl, t, tl);
    if (name.hasFailed()) return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT * FROM (SELECT ").add(kDatabase);
    query.add(" AS \"TABLE_CAT\", n.nspname AS \"TABLE_SCHEM\", c.relname AS \"TABLE_NAME\", NULL::int2 AS ");
    query.add("\"NON_UNIQUE\", NULL::name AS \"INDEX_QUALIFIER\", NULL::name AS \"INDEX_NAME\", 0::int2 AS ");
    query.add(
        "\"TYPE\", NULL::int2 AS \"ORDINAL_POSITION\", NULL::name AS \"COLUMN_NAME\", NULL::char(1) AS ");
    query.add("\"ASC_OR_DESC\", greatest(c.reltuples, 0)::int4 AS \"CARDINALITY\", c.relpages::int4 AS ");
    query.add("\"PAGES\", NULL::varchar AS \"FILTER_CONDITION\"").add(kTableFrom);
    query.add(" WHERE c.relkind IN ('r','p','m')");
    name.addConditions(query, "n.nspname", "c.relname");
    query.add(" UNION ALL SELECT ").add(kDatabase);
    query.add(
        ", n.nspname, c.relname, (CASE WHEN x.indisunique THEN 0 ELSE 1 END)::int2, NULL::name, i.relname, ");
    query.add(
        "(CASE WHEN x.indisclustered THEN 1 WHEN am.amname = 'hash' THEN 2 ELSE 3 END)::int2, "
        "k.place::int2, ");
    query.add(
        "pg_get_indexdef(x.indexrelid, k.place, true)::name, (CASE WHEN am.amname = 'btree' THEN CASE WHEN ");
    query.add(
        "x.indoption[k.place - 1] & 1 = 1 THEN 'D' ELSE 'A' END END)::char(1), greatest(i.reltuples, 0)");
    query.add("::int4, i.relpages::int4, pg_get_expr(x.indpred, x.indrelid)::varchar").add(kTableFrom);
    query.add(" JOIN pg_catalog.pg_index x ON x.indrelid = c.oid JOIN pg_catalog.pg_class i ON i.oid = ");
    query.add(
        "x.indexrelid JOIN pg_catalog.pg_am am ON am.oid = i.relam CROSS JOIN LATERAL generate_series(1, ");
    query.add("x.indnkeyatts) k(place) WHERE true");
    name.addConditions(query, "n.nspname", "c.relname");
    if (unique == SQL_INDEX_UNIQUE) query.add(" AND x.indisunique");
    return query.add(") q ORDER BY 4 NULLS FIRST, 7, 5, 6, 8").run();
  });
}

// The columns of the smallest unique index without null values, the primary key before others.
template <class Char>
SQLRETURN listSpecialColumns(SQLHSTMT handle, SQLUSMALLINT kind, const Char* c, SQLSMALLINT cl, const Char* s,
                             SQLSMALLINT sl, const Char* t, SQLSMALLINT tl) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TableName<Char> name(stmt.conn.codePage, c, cl, s, sl, t, tl);
    if (name.hasFailed()) return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT 2::int2 AS \"SCOPE\", a.attname AS \"COLUMN_NAME\", ");
    query.typeColumns("a.atttypmod", "COLUMN_SIZE", "BUFFER_LENGTH", "DECIMAL_DIGITS", {});
    query.add(", 1::int2 AS \"PSEUDO_COLUMN\"").add(kTableFrom);
    query.add(
        " JOIN LATERAL (SELECT x.* FROM pg_catalog.pg_index x WHERE x.indrelid = c.oid AND x.indisunique ");
    query.add(
        "AND x.indpred IS NULL AND NOT EXISTS (SELECT FROM unnest(x.indkey) u(number) LEFT JOIN pg_catalog.");
    query.add(
        "pg_attribute n ON n.attrelid = c.oid AND n.attnum = u.number AND n.attnotnull WHERE n.attnum IS ");
    query.add(
        "NULL) ORDER BY x.indisprimary DESC, x.indnkeyatts LIMIT 1) x ON true JOIN pg_catalog.pg_attribute "
        "a ");
    query.add(
        "ON a.attrelid = c.oid AND a.attnum = ANY (x.indkey) JOIN pg_catalog.pg_type t ON t.oid = "
        "a.atttypid ");
    query.joinTypes("a.atttypmod").add(" WHERE ");
    query.add(kind == SQL_BEST_ROWID ? "true" : "false");
    name.addConditions(query, "n.nspname", "c.relname");
    return query.add(" ORDER BY a.attnum").run();
  });
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLPrimaryKeys(SQLHSTMT handle, SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* s, SQLSMALLINT sl,
                                 SQLCHAR* t, SQLSMALLINT tl) {
  return listPrimaryKeys(handle, c, cl, s, sl, t, tl);
}
SQLRETURN SQL_API SQLPrimaryKeysW(SQLHSTMT handle, SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* s, SQLSMALLINT sl,
                                  SQLWCHAR* t, SQLSMALLINT tl) {
  return listPrimaryKeys(handle, c, cl, s, sl, t, tl);
}

SQLRETURN SQL_API SQLForeignKeys(SQLHSTMT handle, SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* s, SQLSMALLINT sl,
                                 SQLCHAR* t, SQLSMALLINT tl, SQLCHAR* fc, SQLSMALLINT fcl, SQLCHAR* fs,
                                 SQLSMALLINT fsl, SQLCHAR* ft, SQLSMALLINT ftl) {
  return listForeignKeys(handle, c, cl, s, sl, t, tl, fc, fcl, fs, fsl, ft, ftl);
}
SQLRETURN SQL_API SQLForeignKeysW(SQLHSTMT handle, SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* s, SQLSMALLINT sl,
                                  SQLWCHAR* t, SQLSMALLINT tl, SQLWCHAR* fc, SQLSMALLINT fcl, SQLWCHAR* fs,
                                  SQLSMALLINT fsl, SQLWCHAR* ft, SQLSMALLINT ftl) {
  return listForeignKeys(handle, c, cl, s, sl, t, tl, fc, fcl, fs, fsl, ft, ftl);
}

SQLRETURN SQL_API SQLStatistics(SQLHSTMT handle, SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* s, SQLSMALLINT sl,
                                SQLCHAR* t, SQLSMALLINT tl, SQLUSMALLINT unique, SQLUSMALLINT) {
  return listStatistics(handle, c, cl, s, sl, t, tl, unique);
}
SQLRETURN SQL_API SQLStatisticsW(SQLHSTMT handle, SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* s, SQLSMALLINT sl,
                                 SQLWCHAR* t, SQLSMALLINT tl, SQLUSMALLINT unique, SQLUSMALLINT) {
  return listStatistics(handle, c, cl, s, sl, t, tl, unique);
}

SQLRETURN SQL_API SQLSpecialColumns(SQLHSTMT handle, SQLUSMALLINT kind, SQLCHAR* c, SQLSMALLINT cl,
                                    SQLCHAR* s, SQLSMALLINT sl, SQLCHAR* t, SQLSMALLINT tl, SQLUSMALLINT,
                                    SQLUSMALLINT) {
  return listSpecialColumns(handle, kind, c, cl, s, sl, t, tl);
}
SQLRETURN SQL_API SQLSpecialColumnsW(SQLHSTMT handle, SQLUSMALLINT kind, SQLWCHAR* c, SQLSMALLINT cl,
                                     SQLWCHAR* s, SQLSMALLINT sl, SQLWCHAR* t, SQLSMALLINT tl, SQLUSMALLINT,
                                     SQLUSMALLINT) {
  return listSpecialColumns(handle, kind, c, cl, s, sl, t, tl);
}

}  // extern "C"
