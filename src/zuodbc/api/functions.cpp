// SQLGetFunctions: what an application can call on a connection, the driver manager's own part included.

#include <cstring>

#include "zuodbc/call/entry.h"

using namespace dm;

namespace {

using Has = bool (*)(const DMDriverFunctions& driver);

struct FunctionRow {
  Api api;
  Has present;  // null: the driver manager has it, whatever the driver is
};

#define ZU_HAS(name) [](const DMDriverFunctions& driver) { return driver.name != nullptr; }
#define ZU_HAS_EITHER(a, b) \
  [](const DMDriverFunctions& driver) { return driver.a != nullptr || driver.b != nullptr; }

// A function counts as present when the driver has it or the form of the other ODBC version, onto which
// it is bridged.
constexpr FunctionRow functionRows[] = {
    {Api::AllocConnect, nullptr},
    {Api::AllocEnv, nullptr},
    {Api::AllocHandle, nullptr},
    {Api::AllocStmt, nullptr},
    {Api::BindCol, ZU_HAS(SQLBindCol)},
    {Api::BindParam, ZU_HAS_EITHER(SQLBindParameter, SQLSetParam)},
    {Api::BindParameter, ZU_HAS_EITHER(SQLBindParameter, SQLSetParam)},
    {Api::BrowseConnect, ZU_HAS(SQLBrowseConnect)},
    {Api::BulkOperations, ZU_HAS(SQLBulkOperations)},
    {Api::Cancel, ZU_HAS(SQLCancel)},
    {Api::CloseCursor, ZU_HAS_EITHER(SQLCloseCursor, SQLFreeStmt)},
    {Api::ColAttribute, ZU_HAS_EITHER(SQLColAttribute, SQLColAttributes)},
    {Api::ColumnPrivileges, ZU_HAS(SQLColumnPrivileges)},
    {Api::Columns, ZU_HAS(SQLColumns)},
    {Api::Connect, nullptr},
    {Api::CopyDesc, ZU_HAS(SQLCopyDesc)},
    {Api::DataSources, nullptr},
    {Api::DescribeCol, ZU_HAS(SQLDescribeCol)},
    {Api::DescribeParam, ZU_HAS(SQLDescribeParam)},
    {Api::Disconnect, nullptr},
    {Api::DriverConnect, ZU_HAS(SQLDriverConnect)},
    {Api::Drivers, nullptr},
    {Api::EndTran, ZU_HAS_EITHER(SQLEndTran, SQLTransact)},
    {Api::Error, nullptr},
    {Api::ExecDirect, ZU_HAS(SQLExecDirect)},
    {Api::Execute, ZU_HAS(SQLExecute)},
    {Api::ExtendedFetch, ZU_HAS_EITHER(SQLExtendedFetch, SQLFetchScroll)},
    {Api::Fetch, ZU_HAS(SQLFetch)},
    {Api::FetchScroll, ZU_HAS_EITHER(SQLFetchScroll, SQLExtendedFetch)},
    {Api::ForeignKeys, ZU_HAS(SQLForeignKeys)},
    {Api::FreeConnect, nullptr},
    {Api::FreeEnv, nullptr},
    {Api::FreeHandle, nullptr},
    {Api::FreeStmt, nullptr},
    {Api::GetConnectAttr, ZU_HAS_EITHER(SQLGetConnectAttr, SQLGetConnectOption)},
    {Api::GetConnectOption, ZU_HAS_EITHER(SQLGetConnectAttr, SQLGetConnectOption)},
    {Api::GetCursorName, nullptr},
    {Api::GetData, ZU_HAS(SQLGetData)},
    {Api::GetDescField, ZU_HAS(SQLGetDescField)},
    {Api::GetDescRec, ZU_HAS(SQLGetDescRec)},
    {Api::GetDiagField, nullptr},
    {Api::GetDiagRec, nullptr},
    {Api::GetEnvAttr, nullptr},
    {Api::GetFunctions, nullptr},
    {Api::GetInfo, ZU_HAS(SQLGetInfo)},
    {Api::GetStmtAttr, ZU_HAS_EITHER(SQLGetStmtAttr, SQLGetStmtOption)},
    {Api::GetStmtOption, ZU_HAS_EITHER(SQLGetStmtAttr, SQLGetStmtOption)},
    {Api::GetTypeInfo, ZU_HAS(SQLGetTypeInfo)},
    {Api::MoreResults, ZU_HAS(SQLMoreResults)},
    {Api::NativeSql, ZU_HAS(SQLNativeSql)},
    {Api::NumParams, ZU_HAS(SQLNumParams)},
    {Api::NumResultCols, ZU_HAS(SQLNumResultCols)},
    {Api::ParamData, ZU_HAS(SQLParamData)},
    {Api::ParamOptions, ZU_HAS_EITHER(SQLParamOptions, SQLSetStmtAttr)},
    {Api::Prepare, ZU_HAS(SQLPrepare)},
    {Api::PrimaryKeys, ZU_HAS(SQLPrimaryKeys)},
    {Api::ProcedureColumns, ZU_HAS(SQLProcedureColumns)},
    {Api::Procedures, ZU_HAS(SQLProcedures)},
    {Api::PutData, ZU_HAS(SQLPutData)},
    {Api::RowCount, ZU_HAS(SQLRowCount)},
    {Api::SetConnectAttr, ZU_HAS_EITHER(SQLSetConnectAttr, SQLSetConnectOption)},
    {Api::SetConnectOption, ZU_HAS_EITHER(SQLSetConnectAttr, SQLSetConnectOption)},
    {Api::SetCursorName, nullptr},
    {Api::SetDescField, ZU_HAS(SQLSetDescField)},
    {Api::SetDescRec, ZU_HAS(SQLSetDescRec)},
    {Api::SetEnvAttr, nullptr},
    {Api::SetParam, ZU_HAS_EITHER(SQLBindParameter, SQLSetParam)},
    {Api::SetPos, ZU_HAS(SQLSetPos)},
    {Api::SetScrollOptions, ZU_HAS_EITHER(SQLSetScrollOptions, SQLSetStmtAttr)},
    {Api::SetStmtAttr, ZU_HAS_EITHER(SQLSetStmtAttr, SQLSetStmtOption)},
    {Api::SetStmtOption, ZU_HAS_EITHER(SQLSetStmtAttr, SQLSetStmtOption)},
    {Api::SpecialColumns, ZU_HAS(SQLSpecialColumns)},
    {Api::Statistics, ZU_HAS(SQLStatistics)},
    {Api::TablePrivileges, ZU_HAS(SQLTablePrivileges)},
    {Api::Tables, ZU_HAS(SQLTables)},
    {Api::Transact, ZU_HAS_EITHER(SQLEndTran, SQLTransact)},
};

#undef ZU_HAS
#undef ZU_HAS_EITHER

// What the cursor library brings to a driver without it.
bool fromCursorLibrary(Api api) {
  return api == Api::ExtendedFetch || api == Api::FetchScroll || api == Api::SetPos ||
         api == Api::SetScrollOptions;
}

bool isPresent(const DMConn& conn, const FunctionRow& row) {
  if (!row.present || row.present(*conn.driverFunctions)) return true;
  return conn.state->cursorLibrary && fromCursorLibrary(row.api);
}

// One bit for each number, 16 to a word.
void fillBits(const DMConn& conn, SQLUSMALLINT* words) {
  std::memset(words, 0, SQL_API_ODBC3_ALL_FUNCTIONS_SIZE * sizeof *words);
  for (const FunctionRow& row : functionRows) {
    auto number = static_cast<unsigned>(row.api);
    if (isPresent(conn, row)) words[number >> 4] |= static_cast<SQLUSMALLINT>(1u << (number & 15u));
  }
}

// One word for each number below 100, for ODBC 2.
constexpr unsigned version2Numbers = 100;
void fillWords(const DMConn& conn, SQLUSMALLINT* words) {
  std::memset(words, 0, version2Numbers * sizeof *words);
  for (const FunctionRow& row : functionRows) {
    auto number = static_cast<unsigned>(row.api);
    if (number < version2Numbers) words[number] = isPresent(conn, row) ? SQL_TRUE : SQL_FALSE;
  }
}

// False: there is no function of this number.
bool isPresent(const DMConn& conn, SQLUSMALLINT number, bool& known) {
  for (const FunctionRow& row : functionRows) {
    if (static_cast<SQLUSMALLINT>(row.api) != number) continue;
    known = true;
    return isPresent(conn, row);
  }
  return false;
}

}  // namespace

extern "C" ZU_API SQLRETURN SQL_API SQLGetFunctions(SQLHDBC handle, SQLUSMALLINT number, SQLUSMALLINT* out) {
  return callOwn(findConnection(handle), Api::GetFunctions, [&](DMConn& conn) -> SQLRETURN {
    if (!conn.state->connected) return fail(conn, "HY010");
    if (!out) return fail(conn, "HY009");
    if (number == SQL_API_ODBC3_ALL_FUNCTIONS) {
      fillBits(conn, out);
    } else if (number == SQL_API_ALL_FUNCTIONS) {
      fillWords(conn, out);
    } else {
      bool known = false;
      *out = isPresent(conn, number, known) ? SQL_TRUE : SQL_FALSE;
      if (!known) return fail(conn, "HY095");
    }
    return SQL_SUCCESS;
  });
}
