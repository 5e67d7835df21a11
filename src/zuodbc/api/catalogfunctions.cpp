// The catalog functions. They differ in their arguments only: each checks them and passes them on.

#include <initializer_list>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

using Name = TextIn<SQLSMALLINT>;

const char* checkNames(std::initializer_list<Name> names) {
  for (const Name& name : names) {
    if (const char* wrong = checkLength(name)) return wrong;
  }
  return nullptr;
}

const char* firstOf(const char* wrong, const char* otherwise) { return wrong ? wrong : otherwise; }

// The whole path of a catalog function; `entries` gives the driver's.
template <class GetEntries, class... Arguments>
SQLRETURN callCatalog(SQLHSTMT handle, Api api, const char* wrong, GetEntries entries,
                      const Arguments&... arguments) {
  return callStatement(
      handle, api, [wrong](DMStmt&) { return wrong; }, kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        const SQLRETURN rc = askText(stmt, entries(driver), stmt.driverHandle, arguments...);
        if (SQL_SUCCEEDED(rc)) noteCatalogResult(stmt, api);
        return rc;
      });
}
#define ENTRIES(name) [](const DMDriverFunctions& driver) { return DM_ENTRIES(driver, name); }

const char* checkSpecialColumns(SQLUSMALLINT identifier, SQLUSMALLINT scope, SQLUSMALLINT nullable) {
  if (identifier != SQL_BEST_ROWID && identifier != SQL_ROWVER) return "HY097";
  if (scope > SQL_SCOPE_SESSION) return "HY098";
  return nullable > SQL_NULLABLE ? "HY099" : nullptr;
}

const char* checkStatistics(SQLUSMALLINT unique, SQLUSMALLINT accuracy) {
  if (unique > SQL_INDEX_ALL) return "HY100";
  return accuracy > SQL_ENSURE ? "HY101" : nullptr;
}

SQLRETURN typeInfo(SQLHSTMT handle, Form form, SQLSMALLINT type) {
  return callStatement(handle, Api::GetTypeInfo, kNoCheck, kNoCursorLibrary,
                       [&](DMStmt& stmt, const DMDriverFunctions& driver) {
                         const bool wide = driver.SQLGetTypeInfoW && prefersWide(stmt.conn, form);
                         const SQLRETURN rc = ask(wide ? driver.SQLGetTypeInfoW : driver.SQLGetTypeInfo,
                                                  stmt.driverHandle, typeForTypeInfo(*stmt.conn, type));
                         if (SQL_SUCCEEDED(rc)) noteCatalogResult(stmt, Api::GetTypeInfo);
                         return rc;
                       });
}

SQLRETURN tables(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& table,
                 const Name& type) {
  const char* wrong = checkNames({catalog, schema, table, type});
  return callCatalog(handle, Api::Tables, wrong, ENTRIES(SQLTables), catalog, schema, table, type);
}

SQLRETURN columns(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& table,
                  const Name& column) {
  const char* wrong = checkNames({catalog, schema, table, column});
  return callCatalog(handle, Api::Columns, wrong, ENTRIES(SQLColumns), catalog, schema, table, column);
}

SQLRETURN statistics(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& table,
                     SQLUSMALLINT unique, SQLUSMALLINT accuracy) {
  const char* wrong = firstOf(firstOf(table.text ? nullptr : "HY009", checkNames({catalog, schema, table})),
                              checkStatistics(unique, accuracy));
  return callCatalog(handle, Api::Statistics, wrong, ENTRIES(SQLStatistics), catalog, schema, table, unique,
                     accuracy);
}

SQLRETURN specialColumns(SQLHSTMT handle, SQLUSMALLINT identifier, const Name& catalog, const Name& schema,
                         const Name& table, SQLUSMALLINT scope, SQLUSMALLINT nullable) {
  const char* wrong = firstOf(firstOf(table.text ? nullptr : "HY009", checkNames({catalog, schema, table})),
                              checkSpecialColumns(identifier, scope, nullable));
  return callCatalog(handle, Api::SpecialColumns, wrong, ENTRIES(SQLSpecialColumns), identifier, catalog,
                     schema, table, scope, nullable);
}

SQLRETURN primaryKeys(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& table) {
  const char* wrong = firstOf(table.text ? nullptr : "HY009", checkNames({catalog, schema, table}));
  return callCatalog(handle, Api::PrimaryKeys, wrong, ENTRIES(SQLPrimaryKeys), catalog, schema, table);
}

SQLRETURN foreignKeys(SQLHSTMT handle, const Name& pkCatalog, const Name& pkSchema, const Name& pkTable,
                      const Name& fkCatalog, const Name& fkSchema, const Name& fkTable) {
  const char* wrong = firstOf(pkTable.text || fkTable.text ? nullptr : "HY009",
                              checkNames({pkCatalog, pkSchema, pkTable, fkCatalog, fkSchema, fkTable}));
  return callCatalog(handle, Api::ForeignKeys, wrong, ENTRIES(SQLForeignKeys), pkCatalog, pkSchema, pkTable,
                     fkCatalog, fkSchema, fkTable);
}

SQLRETURN tablePrivileges(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& table) {
  const char* wrong = checkNames({catalog, schema, table});
  return callCatalog(handle, Api::TablePrivileges, wrong, ENTRIES(SQLTablePrivileges), catalog, schema,
                     table);
}

SQLRETURN columnPrivileges(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& table,
                           const Name& column) {
  const char* wrong = firstOf(table.text ? nullptr : "HY009", checkNames({catalog, schema, table, column}));
  return callCatalog(handle, Api::ColumnPrivileges, wrong, ENTRIES(SQLColumnPrivileges), catalog, schema,
                     table, column);
}

SQLRETURN procedures(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& procedure) {
  const char* wrong = checkNames({catalog, schema, procedure});
  return callCatalog(handle, Api::Procedures, wrong, ENTRIES(SQLProcedures), catalog, schema, procedure);
}

SQLRETURN procedureColumns(SQLHSTMT handle, const Name& catalog, const Name& schema, const Name& procedure,
                           const Name& column) {
  const char* wrong = checkNames({catalog, schema, procedure, column});
  return callCatalog(handle, Api::ProcedureColumns, wrong, ENTRIES(SQLProcedureColumns), catalog, schema,
                     procedure, column);
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLGetTypeInfo(SQLHSTMT handle, SQLSMALLINT type) {
  return traced("SQLGetTypeInfo", typeInfo, handle, Form::Narrow, type);
}
ZU_API SQLRETURN SQL_API SQLGetTypeInfoW(SQLHSTMT handle, SQLSMALLINT type) {
  return traced("SQLGetTypeInfoW", typeInfo, handle, Form::Wide, type);
}
DM_ALIAS(SQLGetTypeInfo);

ZU_API SQLRETURN SQL_API SQLTables(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                   SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                   SQLSMALLINT tableLength, SQLCHAR* type, SQLSMALLINT typeLength) {
  return traced("SQLTables", tables, handle, textIn(catalog, catalogLength), textIn(schema, schemaLength),
                textIn(table, tableLength), textIn(type, typeLength));
}
ZU_API SQLRETURN SQL_API SQLTablesW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                    SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* table,
                                    SQLSMALLINT tableLength, SQLWCHAR* type, SQLSMALLINT typeLength) {
  return traced("SQLTablesW", tables, handle, textIn(catalog, catalogLength), textIn(schema, schemaLength),
                textIn(table, tableLength), textIn(type, typeLength));
}
DM_ALIAS(SQLTables);

ZU_API SQLRETURN SQL_API SQLColumns(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                    SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                    SQLSMALLINT tableLength, SQLCHAR* column, SQLSMALLINT columnLength) {
  return traced("SQLColumns", columns, handle, textIn(catalog, catalogLength), textIn(schema, schemaLength),
                textIn(table, tableLength), textIn(column, columnLength));
}
ZU_API SQLRETURN SQL_API SQLColumnsW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                     SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* table,
                                     SQLSMALLINT tableLength, SQLWCHAR* column, SQLSMALLINT columnLength) {
  return traced("SQLColumnsW", columns, handle, textIn(catalog, catalogLength), textIn(schema, schemaLength),
                textIn(table, tableLength), textIn(column, columnLength));
}
DM_ALIAS(SQLColumns);

ZU_API SQLRETURN SQL_API SQLStatistics(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                       SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                       SQLSMALLINT tableLength, SQLUSMALLINT unique, SQLUSMALLINT accuracy) {
  return traced("SQLStatistics", statistics, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength), unique, accuracy);
}
ZU_API SQLRETURN SQL_API SQLStatisticsW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                        SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* table,
                                        SQLSMALLINT tableLength, SQLUSMALLINT unique, SQLUSMALLINT accuracy) {
  return traced("SQLStatisticsW", statistics, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength), unique, accuracy);
}
DM_ALIAS(SQLStatistics);

ZU_API SQLRETURN SQL_API SQLSpecialColumns(SQLHSTMT handle, SQLUSMALLINT identifier, SQLCHAR* catalog,
                                           SQLSMALLINT catalogLength, SQLCHAR* schema,
                                           SQLSMALLINT schemaLength, SQLCHAR* table, SQLSMALLINT tableLength,
                                           SQLUSMALLINT scope, SQLUSMALLINT nullable) {
  return traced("SQLSpecialColumns", specialColumns, handle, identifier, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength), scope, nullable);
}
ZU_API SQLRETURN SQL_API SQLSpecialColumnsW(SQLHSTMT handle, SQLUSMALLINT identifier, SQLWCHAR* catalog,
                                            SQLSMALLINT catalogLength, SQLWCHAR* schema,
                                            SQLSMALLINT schemaLength, SQLWCHAR* table,
                                            SQLSMALLINT tableLength, SQLUSMALLINT scope,
                                            SQLUSMALLINT nullable) {
  return traced("SQLSpecialColumnsW", specialColumns, handle, identifier, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength), scope, nullable);
}
DM_ALIAS(SQLSpecialColumns);

ZU_API SQLRETURN SQL_API SQLPrimaryKeys(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                        SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                        SQLSMALLINT tableLength) {
  return traced("SQLPrimaryKeys", primaryKeys, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength));
}
ZU_API SQLRETURN SQL_API SQLPrimaryKeysW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                         SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* table,
                                         SQLSMALLINT tableLength) {
  return traced("SQLPrimaryKeysW", primaryKeys, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength));
}
DM_ALIAS(SQLPrimaryKeys);

ZU_API SQLRETURN SQL_API SQLForeignKeys(SQLHSTMT handle, SQLCHAR* pkCatalog, SQLSMALLINT pkCatalogLength,
                                        SQLCHAR* pkSchema, SQLSMALLINT pkSchemaLength, SQLCHAR* pkTable,
                                        SQLSMALLINT pkTableLength, SQLCHAR* fkCatalog,
                                        SQLSMALLINT fkCatalogLength, SQLCHAR* fkSchema,
                                        SQLSMALLINT fkSchemaLength, SQLCHAR* fkTable,
                                        SQLSMALLINT fkTableLength) {
  return traced("SQLForeignKeys", foreignKeys, handle, textIn(pkCatalog, pkCatalogLength),
                textIn(pkSchema, pkSchemaLength), textIn(pkTable, pkTableLength),
                textIn(fkCatalog, fkCatalogLength), textIn(fkSchema, fkSchemaLength),
                textIn(fkTable, fkTableLength));
}
ZU_API SQLRETURN SQL_API SQLForeignKeysW(SQLHSTMT handle, SQLWCHAR* pkCatalog, SQLSMALLINT pkCatalogLength,
                                         SQLWCHAR* pkSchema, SQLSMALLINT pkSchemaLength, SQLWCHAR* pkTable,
                                         SQLSMALLINT pkTableLength, SQLWCHAR* fkCatalog,
                                         SQLSMALLINT fkCatalogLength, SQLWCHAR* fkSchema,
                                         SQLSMALLINT fkSchemaLength, SQLWCHAR* fkTable,
                                         SQLSMALLINT fkTableLength) {
  return traced("SQLForeignKeysW", foreignKeys, handle, textIn(pkCatalog, pkCatalogLength),
                textIn(pkSchema, pkSchemaLength), textIn(pkTable, pkTableLength),
                textIn(fkCatalog, fkCatalogLength), textIn(fkSchema, fkSchemaLength),
                textIn(fkTable, fkTableLength));
}
DM_ALIAS(SQLForeignKeys);

ZU_API SQLRETURN SQL_API SQLTablePrivileges(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                            SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                            SQLSMALLINT tableLength) {
  return traced("SQLTablePrivileges", tablePrivileges, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength));
}
ZU_API SQLRETURN SQL_API SQLTablePrivilegesW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                             SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* table,
                                             SQLSMALLINT tableLength) {
  return traced("SQLTablePrivilegesW", tablePrivileges, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength));
}
DM_ALIAS(SQLTablePrivileges);

ZU_API SQLRETURN SQL_API SQLColumnPrivileges(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                             SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                             SQLSMALLINT tableLength, SQLCHAR* column,
                                             SQLSMALLINT columnLength) {
  return traced("SQLColumnPrivileges", columnPrivileges, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength), textIn(column, columnLength));
}
ZU_API SQLRETURN SQL_API SQLColumnPrivilegesW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                              SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* table,
                                              SQLSMALLINT tableLength, SQLWCHAR* column,
                                              SQLSMALLINT columnLength) {
  return traced("SQLColumnPrivilegesW", columnPrivileges, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(table, tableLength), textIn(column, columnLength));
}
DM_ALIAS(SQLColumnPrivileges);

ZU_API SQLRETURN SQL_API SQLProcedures(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                       SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* procedure,
                                       SQLSMALLINT procedureLength) {
  return traced("SQLProcedures", procedures, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(procedure, procedureLength));
}
ZU_API SQLRETURN SQL_API SQLProceduresW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                        SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* procedure,
                                        SQLSMALLINT procedureLength) {
  return traced("SQLProceduresW", procedures, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(procedure, procedureLength));
}
DM_ALIAS(SQLProcedures);

ZU_API SQLRETURN SQL_API SQLProcedureColumns(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                             SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* procedure,
                                             SQLSMALLINT procedureLength, SQLCHAR* column,
                                             SQLSMALLINT columnLength) {
  return traced("SQLProcedureColumns", procedureColumns, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(procedure, procedureLength),
                textIn(column, columnLength));
}
ZU_API SQLRETURN SQL_API SQLProcedureColumnsW(SQLHSTMT handle, SQLWCHAR* catalog, SQLSMALLINT catalogLength,
                                              SQLWCHAR* schema, SQLSMALLINT schemaLength, SQLWCHAR* procedure,
                                              SQLSMALLINT procedureLength, SQLWCHAR* column,
                                              SQLSMALLINT columnLength) {
  return traced("SQLProcedureColumnsW", procedureColumns, handle, textIn(catalog, catalogLength),
                textIn(schema, schemaLength), textIn(procedure, procedureLength),
                textIn(column, columnLength));
}
DM_ALIAS(SQLProcedureColumns);

}  // extern "C"
