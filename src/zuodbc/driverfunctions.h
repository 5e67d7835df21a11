// The table of a driver's entry points. A null entry means that the driver lacks the function.

#ifndef ZUODBC_DRIVERFUNCTIONS_H
#define ZUODBC_DRIVERFUNCTIONS_H

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

// Every function that a driver may export, by its standard name.
// clang-format off
#define ZU_DRIVER_FUNCTIONS(X)                                                                 \
  X(SQLAllocConnect) X(SQLAllocEnv) X(SQLAllocHandle) X(SQLAllocStmt) X(SQLBindCol)            \
  X(SQLBindParameter) X(SQLBrowseConnect) X(SQLBulkOperations) X(SQLCancel) X(SQLCloseCursor)  \
  X(SQLColAttribute) X(SQLColAttributes) X(SQLColumnPrivileges) X(SQLColumns) X(SQLConnect)    \
  X(SQLCopyDesc) X(SQLDescribeCol) X(SQLDescribeParam) X(SQLDisconnect) X(SQLDriverConnect)    \
  X(SQLEndTran) X(SQLError) X(SQLExecDirect) X(SQLExecute) X(SQLExtendedFetch) X(SQLFetch)     \
  X(SQLFetchScroll) X(SQLForeignKeys) X(SQLFreeConnect) X(SQLFreeEnv) X(SQLFreeHandle)         \
  X(SQLFreeStmt) X(SQLGetConnectAttr) X(SQLGetConnectOption) X(SQLGetCursorName) X(SQLGetData) \
  X(SQLGetDescField) X(SQLGetDescRec) X(SQLGetDiagField) X(SQLGetDiagRec) X(SQLGetEnvAttr)     \
  X(SQLGetFunctions) X(SQLGetInfo) X(SQLGetStmtAttr) X(SQLGetStmtOption) X(SQLGetTypeInfo)     \
  X(SQLMoreResults) X(SQLNativeSql) X(SQLNumParams) X(SQLNumResultCols) X(SQLParamData)        \
  X(SQLParamOptions) X(SQLPrepare) X(SQLPrimaryKeys) X(SQLProcedureColumns) X(SQLProcedures)   \
  X(SQLPutData) X(SQLRowCount) X(SQLSetConnectAttr) X(SQLSetConnectOption) X(SQLSetCursorName) \
  X(SQLSetDescField) X(SQLSetDescRec) X(SQLSetEnvAttr) X(SQLSetParam) X(SQLSetPos)             \
  X(SQLSetScrollOptions) X(SQLSetStmtAttr) X(SQLSetStmtOption) X(SQLSpecialColumns)            \
  X(SQLStatistics) X(SQLTablePrivileges) X(SQLTables) X(SQLTransact)

// Those that have a wide form beside the narrow one.
#define ZU_DRIVER_TEXT_FUNCTIONS(X)                                                            \
  X(SQLBrowseConnect) X(SQLColAttribute) X(SQLColAttributes) X(SQLColumnPrivileges)            \
  X(SQLColumns) X(SQLConnect) X(SQLDescribeCol) X(SQLDriverConnect) X(SQLError)                \
  X(SQLExecDirect) X(SQLForeignKeys) X(SQLGetConnectAttr) X(SQLGetConnectOption)               \
  X(SQLGetCursorName) X(SQLGetDescField) X(SQLGetDescRec) X(SQLGetDiagField) X(SQLGetDiagRec)  \
  X(SQLGetInfo) X(SQLGetStmtAttr) X(SQLGetTypeInfo) X(SQLNativeSql) X(SQLPrepare)              \
  X(SQLPrimaryKeys) X(SQLProcedureColumns) X(SQLProcedures) X(SQLSetConnectAttr)               \
  X(SQLSetConnectOption) X(SQLSetCursorName) X(SQLSetDescField) X(SQLSetStmtAttr)              \
  X(SQLSpecialColumns) X(SQLStatistics) X(SQLTablePrivileges) X(SQLTables)
// clang-format on

struct DMDriverFunctions {
#define ZU_DRIVER_FUNCTION(name) decltype(&::name) name = nullptr;
  ZU_DRIVER_FUNCTIONS(ZU_DRIVER_FUNCTION)
#undef ZU_DRIVER_FUNCTION
#define ZU_DRIVER_FUNCTION(name) decltype(&::name##W) name##W = nullptr;
  ZU_DRIVER_TEXT_FUNCTIONS(ZU_DRIVER_FUNCTION)
#undef ZU_DRIVER_FUNCTION

  // True when the driver has the calls with which a descriptor can be copied.
  bool hasDescriptorCalls() const { return SQLAllocHandle && SQLCopyDesc; }
};

#endif
