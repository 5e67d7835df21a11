// The catalog functions. They differ in their arguments only: each checks them and passes them on.

#include <initializer_list>

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

// One name argument.
struct Name {
  const SQLCHAR* text;
  SQLSMALLINT length;
  bool required = false;
};

constexpr bool kRequired = true;

const char* checkNames(std::initializer_list<Name> names) {
  for (const Name& name : names) {
    if (const char* wrong = name.required ? checkText(name.text, name.length) : checkLength(name.length))
      return wrong;
  }
  return nullptr;
}

// The whole path of a catalog function; `function` is the driver's entry.
template <class Function, class... Arguments>
SQLRETURN callCatalog(SQLHSTMT handle, Api api, const char* wrong, Function DMDriverFunctions::*function,
                      Arguments... arguments) {
  return callStatement(
      handle, api, [wrong](DMStmt&) { return wrong; }, kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return ask(driver.*function, stmt.driverHandle, arguments...);
      });
}

const char* checkSpecialColumns(SQLUSMALLINT identifier, SQLUSMALLINT scope, SQLUSMALLINT nullable) {
  if (identifier != SQL_BEST_ROWID && identifier != SQL_ROWVER) return "HY097";
  if (scope > SQL_SCOPE_SESSION) return "HY098";
  return nullable > SQL_NULLABLE ? "HY099" : nullptr;
}

const char* checkStatistics(SQLUSMALLINT unique, SQLUSMALLINT accuracy) {
  if (unique > SQL_INDEX_ALL) return "HY100";
  return accuracy > SQL_ENSURE ? "HY101" : nullptr;
}

const char* firstOf(const char* wrong, const char* otherwise) { return wrong ? wrong : otherwise; }

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLGetTypeInfo(SQLHSTMT handle, SQLSMALLINT type) {
  return callStatement(handle, Api::GetTypeInfo, kNoCheck, kNoCursorLibrary,
                       [&](DMStmt& stmt, const DMDriverFunctions& driver) {
                         return ask(driver.SQLGetTypeInfo, stmt.driverHandle,
                                    typeForTypeInfo(*stmt.conn, type));
                       });
}

ZU_API SQLRETURN SQL_API SQLTables(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                   SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                   SQLSMALLINT tableLength, SQLCHAR* type, SQLSMALLINT typeLength) {
  const char* wrong = checkNames(
      {{catalog, catalogLength}, {schema, schemaLength}, {table, tableLength}, {type, typeLength}});
  return callCatalog(handle, Api::Tables, wrong, &DMDriverFunctions::SQLTables, catalog, catalogLength,
                     schema, schemaLength, table, tableLength, type, typeLength);
}

ZU_API SQLRETURN SQL_API SQLColumns(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                    SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                    SQLSMALLINT tableLength, SQLCHAR* column, SQLSMALLINT columnLength) {
  const char* wrong = checkNames(
      {{catalog, catalogLength}, {schema, schemaLength}, {table, tableLength}, {column, columnLength}});
  return callCatalog(handle, Api::Columns, wrong, &DMDriverFunctions::SQLColumns, catalog, catalogLength,
                     schema, schemaLength, table, tableLength, column, columnLength);
}

ZU_API SQLRETURN SQL_API SQLStatistics(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                       SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                       SQLSMALLINT tableLength, SQLUSMALLINT unique, SQLUSMALLINT accuracy) {
  const char* wrong =
      firstOf(checkNames({{catalog, catalogLength}, {schema, schemaLength}, {table, tableLength, kRequired}}),
              checkStatistics(unique, accuracy));
  return callCatalog(handle, Api::Statistics, wrong, &DMDriverFunctions::SQLStatistics, catalog,
                     catalogLength, schema, schemaLength, table, tableLength, unique, accuracy);
}

ZU_API SQLRETURN SQL_API SQLSpecialColumns(SQLHSTMT handle, SQLUSMALLINT identifier, SQLCHAR* catalog,
                                           SQLSMALLINT catalogLength, SQLCHAR* schema,
                                           SQLSMALLINT schemaLength, SQLCHAR* table, SQLSMALLINT tableLength,
                                           SQLUSMALLINT scope, SQLUSMALLINT nullable) {
  const char* wrong =
      firstOf(checkNames({{catalog, catalogLength}, {schema, schemaLength}, {table, tableLength, kRequired}}),
              checkSpecialColumns(identifier, scope, nullable));
  return callCatalog(handle, Api::SpecialColumns, wrong, &DMDriverFunctions::SQLSpecialColumns, identifier,
                     catalog, catalogLength, schema, schemaLength, table, tableLength, scope, nullable);
}

ZU_API SQLRETURN SQL_API SQLPrimaryKeys(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                        SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                        SQLSMALLINT tableLength) {
  const char* wrong =
      checkNames({{catalog, catalogLength}, {schema, schemaLength}, {table, tableLength, kRequired}});
  return callCatalog(handle, Api::PrimaryKeys, wrong, &DMDriverFunctions::SQLPrimaryKeys, catalog,
                     catalogLength, schema, schemaLength, table, tableLength);
}

ZU_API SQLRETURN SQL_API SQLForeignKeys(SQLHSTMT handle, SQLCHAR* pkCatalog, SQLSMALLINT pkCatalogLength,
                                        SQLCHAR* pkSchema, SQLSMALLINT pkSchemaLength, SQLCHAR* pkTable,
                                        SQLSMALLINT pkTableLength, SQLCHAR* fkCatalog,
                                        SQLSMALLINT fkCatalogLength, SQLCHAR* fkSchema,
                                        SQLSMALLINT fkSchemaLength, SQLCHAR* fkTable,
                                        SQLSMALLINT fkTableLength) {
  const char* wrong =
      firstOf(pkTable || fkTable ? nullptr : "HY009", checkNames({{pkCatalog, pkCatalogLength},
                                                                  {pkSchema, pkSchemaLength},
                                                                  {pkTable, pkTableLength},
                                                                  {fkCatalog, fkCatalogLength},
                                                                  {fkSchema, fkSchemaLength},
                                                                  {fkTable, fkTableLength}}));
  return callCatalog(handle, Api::ForeignKeys, wrong, &DMDriverFunctions::SQLForeignKeys, pkCatalog,
                     pkCatalogLength, pkSchema, pkSchemaLength, pkTable, pkTableLength, fkCatalog,
                     fkCatalogLength, fkSchema, fkSchemaLength, fkTable, fkTableLength);
}

ZU_API SQLRETURN SQL_API SQLTablePrivileges(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                            SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                            SQLSMALLINT tableLength) {
  const char* wrong = checkNames({{catalog, catalogLength}, {schema, schemaLength}, {table, tableLength}});
  return callCatalog(handle, Api::TablePrivileges, wrong, &DMDriverFunctions::SQLTablePrivileges, catalog,
                     catalogLength, schema, schemaLength, table, tableLength);
}

ZU_API SQLRETURN SQL_API SQLColumnPrivileges(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                             SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* table,
                                             SQLSMALLINT tableLength, SQLCHAR* column,
                                             SQLSMALLINT columnLength) {
  const char* wrong = checkNames({{catalog, catalogLength},
                                  {schema, schemaLength},
                                  {table, tableLength, kRequired},
                                  {column, columnLength}});
  return callCatalog(handle, Api::ColumnPrivileges, wrong, &DMDriverFunctions::SQLColumnPrivileges, catalog,
                     catalogLength, schema, schemaLength, table, tableLength, column, columnLength);
}

ZU_API SQLRETURN SQL_API SQLProcedures(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                       SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* procedure,
                                       SQLSMALLINT procedureLength) {
  const char* wrong =
      checkNames({{catalog, catalogLength}, {schema, schemaLength}, {procedure, procedureLength}});
  return callCatalog(handle, Api::Procedures, wrong, &DMDriverFunctions::SQLProcedures, catalog,
                     catalogLength, schema, schemaLength, procedure, procedureLength);
}

ZU_API SQLRETURN SQL_API SQLProcedureColumns(SQLHSTMT handle, SQLCHAR* catalog, SQLSMALLINT catalogLength,
                                             SQLCHAR* schema, SQLSMALLINT schemaLength, SQLCHAR* procedure,
                                             SQLSMALLINT procedureLength, SQLCHAR* column,
                                             SQLSMALLINT columnLength) {
  const char* wrong = checkNames({{catalog, catalogLength},
                                  {schema, schemaLength},
                                  {procedure, procedureLength},
                                  {column, columnLength}});
  return callCatalog(handle, Api::ProcedureColumns, wrong, &DMDriverFunctions::SQLProcedureColumns, catalog,
                     catalogLength, schema, schemaLength, procedure, procedureLength, column, columnLength);
}

}  // extern "C"
