#include "odbc/call.h"

#include <algorithm>

#include "odbc/entry.h"
#include "odbc/execute.h"

namespace pgwire {

namespace {

SQLSMALLINT directionOf(const void* context, unsigned parameter) {
  const auto& records = static_cast<const Statement*>(context)->parameters.records;
  return parameter < records.size() ? records[parameter].parameterType
                                    : static_cast<SQLSMALLINT>(SQL_PARAM_INPUT);
}

int askServer(Statement& stmt) {
  Text sql;
  if (sql.assign("SELECT 1 FROM pg_catalog.pg_proc p JOIN pg_catalog.pg_namespace n ON n.oid = "
                 "p.pronamespace CROSS JOIN LATERAL pg_catalog.parse_ident(") ||
      appendLiteral(sql, stmt.text.procedure.view()) ||
      sql.append(") i WHERE p.prokind = 'p' AND p.proname = i[cardinality(i)] AND CASE WHEN cardinality(i) "
                 "< 2 THEN pg_catalog.pg_function_is_visible(p.oid) WHEN i[cardinality(i) - 1] = 'pg_temp' "
                 "THEN n.oid = pg_catalog.pg_my_temp_schema() ELSE n.nspname = i[cardinality(i) - 1] END")) {
    return 1;
  }
  const auto found = [](void* context, MessageReader&) {
    *static_cast<bool*>(context) = true;
    return 0;
  };
  stmt.isProcedure = false;
  return stmt.conn.session.run(sql.view(), found, &stmt.isProcedure);
}

}  // namespace

int resolveCall(Statement& stmt) {
  if (stmt.text.procedure.empty()) return 0;
  Array<SQLSMALLINT> directions;
  for (unsigned i = 0; i < stmt.text.parameters; ++i) {
    if (directions.append(directionOf(&stmt, i))) return 1;
  }
  if (stmt.isResolved && std::equal(directions.begin(), directions.end(), stmt.directions.begin())) return 0;
  if (!stmt.isResolved && askServer(stmt)) return 1;
  releaseServerStatement(stmt);
  stmt.columns.clearRecords();
  stmt.knowsColumns = false;
  TranslateOptions options;
  options.standardStrings = stmt.conn.session.standardStrings;
  options.isProcedure = stmt.isProcedure;
  options.direction = directionOf;
  options.context = &stmt;
  if (translate(stmt.source.view(), options, stmt.text)) return 1;
  stmt.directions.swap(directions);
  stmt.isResolved = true;
  return 0;
}

SQLRETURN takeOutputs(Statement& stmt) {
  SQLRETURN code = stmt.stage == Stage::Cursor ? fetchRow(stmt) : static_cast<SQLRETURN>(SQL_NO_DATA);
  const std::size_t count = std::min(stmt.text.outputs.size(), stmt.fields.size());
  bool failed = false;
  for (std::size_t i = 0; code == SQL_SUCCESS && i < count; ++i)
    failed = storeOutput(stmt, i + 1, stmt.text.outputs[i]) == Outcome::Failed || failed;
  while (code == SQL_SUCCESS) code = fetchRow(stmt);
  if (code == SQL_ERROR) return code;
  stmt.stage = Stage::Executed;
  stmt.rowCount = -1;
  return codeOf(failed);
}

}  // namespace pgwire
