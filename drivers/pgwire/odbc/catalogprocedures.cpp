// SQLProcedures and SQLProcedureColumns.

#include "odbc/catalogquery.h"

namespace pgwire {

namespace {

constexpr std::string_view kProcedureFrom =
    " FROM pg_catalog.pg_proc p JOIN pg_catalog.pg_namespace n ON n.oid = p.pronamespace";

template <class Char>
SQLRETURN listProcedures(SQLHSTMT handle, const Char* c, SQLSMALLINT cl, const Char* s, SQLSMALLINT sl,
                         const Char* p, SQLSMALLINT pl) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TextArgument<Char> catalog(stmt.conn.codePage, c, cl);
    const TextArgument<Char> schema(stmt.conn.codePage, s, sl);
    const TextArgument<Char> name(stmt.conn.codePage, p, pl);
    if (catalog.hasFailed() || schema.hasFailed() || name.hasFailed()) return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT ").add(kDatabase).add(
        " AS \"PROCEDURE_CAT\", n.nspname AS \"PROCEDURE_SCHEM\", p.proname ");
    query.add("AS \"PROCEDURE_NAME\", p.pronargs::int4 AS \"NUM_INPUT_PARAMS\", NULL::int4 AS ");
    query.add("\"NUM_OUTPUT_PARAMS\", NULL::int4 AS \"NUM_RESULT_SETS\", obj_description(p.oid, 'pg_proc')");
    query.add("::varchar(254) AS \"REMARKS\", (CASE WHEN p.prokind = 'p' THEN 1 ELSE 2 END)::int2 AS ");
    query.add("\"PROCEDURE_TYPE\"").add(kProcedureFrom).add(" WHERE p.prokind IN ('f', 'p')");
    query.matching(kDatabase, catalog).matching("n.nspname", schema).matching("p.proname", name);
    return query.add(" ORDER BY 1, 2, 3").run();
  });
}

// The arguments, and the value that a function returns as column 0.
template <class Char>
SQLRETURN listProcedureColumns(SQLHSTMT handle, const Char* c, SQLSMALLINT cl, const Char* s, SQLSMALLINT sl,
                               const Char* p, SQLSMALLINT pl, const Char* column, SQLSMALLINT columnLength) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TextArgument<Char> catalog(stmt.conn.codePage, c, cl);
    const TextArgument<Char> schema(stmt.conn.codePage, s, sl);
    const TextArgument<Char> name(stmt.conn.codePage, p, pl);
    const TextArgument<Char> columnText(stmt.conn.codePage, column, columnLength);
    if (catalog.hasFailed() || schema.hasFailed() || name.hasFailed() || columnText.hasFailed())
      return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT ").add(kDatabase).add(
        " AS \"PROCEDURE_CAT\", n.nspname AS \"PROCEDURE_SCHEM\", p.proname ");
    query.add(
        "AS \"PROCEDURE_NAME\", coalesce(k.name, '')::varchar(63) AS \"COLUMN_NAME\", (CASE WHEN k.place = "
        "0 ");
    query.add(
        "THEN 5 WHEN k.mode = 'b' THEN 2 WHEN k.mode = 'o' THEN 4 WHEN k.mode = 't' THEN 3 ELSE 1 "
        "END)::int2 ");
    query.add("AS \"COLUMN_TYPE\", ");
    query.typeColumns("(-1)", "COLUMN_SIZE", "BUFFER_LENGTH", "DECIMAL_DIGITS", "NUM_PREC_RADIX");
    query.add(", 2::int2 AS \"NULLABLE\", NULL::varchar(254) AS \"REMARKS\", NULL::varchar(4000) AS ");
    query.add("\"COLUMN_DEF\", ")
        .verboseColumns()
        .add(", NULL::int4 AS \"CHAR_OCTET_LENGTH\", k.place::int4 AS ");
    query.add("\"ORDINAL_POSITION\", ''::varchar(3) AS \"IS_NULLABLE\"").add(kProcedureFrom);
    query.add(
        " CROSS JOIN LATERAL (SELECT 0::int8 AS place, NULL::text AS name, 'r'::text AS mode, p.prorettype "
        "AS ");
    query.add("type WHERE p.prokind = 'f' UNION ALL SELECT u.place, p.proargnames[u.place], ");
    query.add(
        "p.proargmodes[u.place]::text, u.type FROM unnest(coalesce(p.proallargtypes, "
        "p.proargtypes::oid[])) ");
    query.add("WITH ORDINALITY u(type, place)) k JOIN pg_catalog.pg_type t ON t.oid = k.type");
    query.joinTypes("(-1)").add(" WHERE p.prokind IN ('f', 'p')");
    query.matching(kDatabase, catalog).matching("n.nspname", schema).matching("p.proname", name);
    query.matching("coalesce(k.name, '')", columnText);
    return query.add(" ORDER BY 1, 2, 3, p.oid, k.place").run();
  });
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLProcedures(SQLHSTMT handle, SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* s, SQLSMALLINT sl,
                                SQLCHAR* p, SQLSMALLINT pl) {
  return listProcedures(handle, c, cl, s, sl, p, pl);
}
SQLRETURN SQL_API SQLProceduresW(SQLHSTMT handle, SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* s, SQLSMALLINT sl,
                                 SQLWCHAR* p, SQLSMALLINT pl) {
  return listProcedures(handle, c, cl, s, sl, p, pl);
}

SQLRETURN SQL_API SQLProcedureColumns(SQLHSTMT handle, SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* s, SQLSMALLINT sl,
                                      SQLCHAR* p, SQLSMALLINT pl, SQLCHAR* column, SQLSMALLINT columnLength) {
  return listProcedureColumns(handle, c, cl, s, sl, p, pl, column, columnLength);
}
SQLRETURN SQL_API SQLProcedureColumnsW(SQLHSTMT handle, SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* s,
                                       SQLSMALLINT sl, SQLWCHAR* p, SQLSMALLINT pl, SQLWCHAR* column,
                                       SQLSMALLINT columnLength) {
  return listProcedureColumns(handle, c, cl, s, sl, p, pl, column, columnLength);
}

}  // extern "C"
