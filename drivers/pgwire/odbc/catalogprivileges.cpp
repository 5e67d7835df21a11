// SQLTablePrivileges and SQLColumnPrivileges.

#include "odbc/catalogquery.h"

namespace pgwire {

namespace {

// GRANTOR, GRANTEE, PRIVILEGE and IS_GRANTABLE of an entry "x" of an access list of the table "c".
constexpr std::string_view kGrant =
    "pg_catalog.pg_get_userbyid(x.grantor)::varchar(63) AS \"GRANTOR\", (CASE x.grantee WHEN 0 THEN 'PUBLIC' "
    "ELSE "
    "pg_catalog.pg_get_userbyid(x.grantee) END)::varchar(63) AS \"GRANTEE\", x.privilege_type::varchar(63) "
    "AS "
    "\"PRIVILEGE\", (CASE WHEN x.is_grantable OR x.grantee = c.relowner THEN 'YES' ELSE 'NO' "
    "END)::varchar(3) AS "
    "\"IS_GRANTABLE\"";
constexpr std::string_view kTableList =
    "pg_catalog.aclexplode(coalesce(c.relacl, pg_catalog.acldefault('r', c.relowner)))";
constexpr std::string_view kKinds = " WHERE c.relkind IN ('r','p','v','m','f')";

template <class Char>
SQLRETURN listTablePrivileges(SQLHSTMT handle, const Char* c, SQLSMALLINT cl, const Char* s, SQLSMALLINT sl,
                              const Char* t, SQLSMALLINT tl) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TextArgument<Char> catalog(stmt.conn.codePage, c, cl);
    const TextArgument<Char> schema(stmt.conn.codePage, s, sl);
    const TextArgument<Char> table(stmt.conn.codePage, t, tl);
    if (catalog.hasFailed() || schema.hasFailed() || table.hasFailed()) return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT ").add(kDatabase).add(" AS \"TABLE_CAT\", n.nspname AS \"TABLE_SCHEM\", c.relname AS ");
    query.add("\"TABLE_NAME\", ").add(kGrant).add(kTableFrom).add(" CROSS JOIN LATERAL ").add(kTableList);
    query.add(" x").add(kKinds);
    query.equal(kDatabase, catalog).matching("n.nspname", schema).matching("c.relname", table);
    return query.add(" ORDER BY 1, 2, 3, 6, 5").run();
  });
}

// A privilege on the table is one on each of its columns.
template <class Char>
SQLRETURN listColumnPrivileges(SQLHSTMT handle, const Char* c, SQLSMALLINT cl, const Char* s, SQLSMALLINT sl,
                               const Char* t, SQLSMALLINT tl, const Char* column, SQLSMALLINT columnLength) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    const TextArgument<Char> catalog(stmt.conn.codePage, c, cl);
    const TextArgument<Char> schema(stmt.conn.codePage, s, sl);
    const TextArgument<Char> table(stmt.conn.codePage, t, tl);
    const TextArgument<Char> columnText(stmt.conn.codePage, column, columnLength);
    if (catalog.hasFailed() || schema.hasFailed() || table.hasFailed() || columnText.hasFailed())
      return codeOf(1);
    CatalogQuery query(stmt);
    query.add("SELECT DISTINCT ")
        .add(kDatabase)
        .add(" AS \"TABLE_CAT\", n.nspname AS \"TABLE_SCHEM\", c.relname ");
    query.add("AS \"TABLE_NAME\", a.attname AS \"COLUMN_NAME\", ").add(kGrant).add(kTableFrom);
    query.add(
        " JOIN pg_catalog.pg_attribute a ON a.attrelid = c.oid AND a.attnum > 0 AND NOT a.attisdropped ");
    query.add("CROSS JOIN LATERAL (SELECT * FROM ").add(kTableList).add(" UNION ALL SELECT * FROM ");
    query.add("pg_catalog.aclexplode(a.attacl)) x").add(kKinds);
    query.add(" AND x.privilege_type IN ('SELECT', 'INSERT', 'UPDATE', 'REFERENCES')");
    query.equal(kDatabase, catalog).equal("n.nspname", schema).equal("c.relname", table);
    return query.matching("a.attname", columnText).add(" ORDER BY 1, 2, 3, 4, 7, 6").run();
  });
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLTablePrivileges(SQLHSTMT handle, SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* s, SQLSMALLINT sl,
                                     SQLCHAR* t, SQLSMALLINT tl) {
  return listTablePrivileges(handle, c, cl, s, sl, t, tl);
}
SQLRETURN SQL_API SQLTablePrivilegesW(SQLHSTMT handle, SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* s,
                                      SQLSMALLINT sl, SQLWCHAR* t, SQLSMALLINT tl) {
  return listTablePrivileges(handle, c, cl, s, sl, t, tl);
}

SQLRETURN SQL_API SQLColumnPrivileges(SQLHSTMT handle, SQLCHAR* c, SQLSMALLINT cl, SQLCHAR* s, SQLSMALLINT sl,
                                      SQLCHAR* t, SQLSMALLINT tl, SQLCHAR* column, SQLSMALLINT columnLength) {
  return listColumnPrivileges(handle, c, cl, s, sl, t, tl, column, columnLength);
}
SQLRETURN SQL_API SQLColumnPrivilegesW(SQLHSTMT handle, SQLWCHAR* c, SQLSMALLINT cl, SQLWCHAR* s,
                                       SQLSMALLINT sl, SQLWCHAR* t, SQLSMALLINT tl, SQLWCHAR* column,
                                       SQLSMALLINT columnLength) {
  return listColumnPrivileges(handle, c, cl, s, sl, t, tl, column, columnLength);
}

}  // extern "C"
