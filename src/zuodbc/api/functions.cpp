// SQLGetFunctions: what an application can call on a connection, the driver manager's own part included.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"

using namespace dm;

namespace {

// The numbers of ODBC 2 are below this.
constexpr unsigned kVersion2Numbers = 100;

// A function of the driver: whether it exports it, and the number by which it says whether it supports it on
// a connection.
struct DriverFunction {
  bool (*exported)(const DMDriverFunctions& driver);
  SQLUSMALLINT number;
};

struct FunctionRow {
  Api api;
  DriverFunction function;     // none: the driver manager has it, whatever the driver is
  DriverFunction alternative;  // the form of the other ODBC version, onto which it is bridged
};

bool isExported(auto* entry) { return entry != nullptr; }

// clang-format off
#define ZU_FUNCTION(name, constant) {[](const auto& driver) { return isExported(driver.name) || ZU_WIDE(driver, name); }, constant}
#define ZU_WIDE(driver, name) [](const auto& table) { if constexpr (requires { table.name##W; }) return isExported(table.name##W); else return false; }(driver)
// clang-format on

#define ZU_OWN(api)  \
  {                  \
    Api::api, {}, {} \
  }
#define ZU_ONE(api, name, constant)           \
  {                                           \
    Api::api, ZU_FUNCTION(name, constant), {} \
  }
#define ZU_EITHER(api, name, constant, other, otherConstant) \
  { Api::api, ZU_FUNCTION(name, constant), ZU_FUNCTION(other, otherConstant) }

constexpr FunctionRow kFunctionRows[] = {
    ZU_OWN(AllocConnect),
    ZU_OWN(AllocEnv),
    ZU_OWN(AllocHandle),
    ZU_OWN(AllocStmt),
    ZU_ONE(BindCol, SQLBindCol, SQL_API_SQLBINDCOL),
    ZU_EITHER(BindParam, SQLBindParameter, SQL_API_SQLBINDPARAMETER, SQLSetParam, SQL_API_SQLSETPARAM),
    ZU_EITHER(BindParameter, SQLBindParameter, SQL_API_SQLBINDPARAMETER, SQLSetParam, SQL_API_SQLSETPARAM),
    ZU_ONE(BrowseConnect, SQLBrowseConnect, SQL_API_SQLBROWSECONNECT),
    ZU_ONE(BulkOperations, SQLBulkOperations, SQL_API_SQLBULKOPERATIONS),
    ZU_ONE(Cancel, SQLCancel, SQL_API_SQLCANCEL),
    ZU_EITHER(CloseCursor, SQLCloseCursor, SQL_API_SQLCLOSECURSOR, SQLFreeStmt, SQL_API_SQLFREESTMT),
    ZU_EITHER(ColAttribute, SQLColAttribute, SQL_API_SQLCOLATTRIBUTE, SQLColAttributes,
              SQL_API_SQLCOLATTRIBUTES),
    ZU_ONE(ColumnPrivileges, SQLColumnPrivileges, SQL_API_SQLCOLUMNPRIVILEGES),
    ZU_ONE(Columns, SQLColumns, SQL_API_SQLCOLUMNS),
    ZU_OWN(Connect),
    ZU_ONE(CopyDesc, SQLCopyDesc, SQL_API_SQLCOPYDESC),
    ZU_OWN(DataSources),
    ZU_ONE(DescribeCol, SQLDescribeCol, SQL_API_SQLDESCRIBECOL),
    ZU_ONE(DescribeParam, SQLDescribeParam, SQL_API_SQLDESCRIBEPARAM),
    ZU_OWN(Disconnect),
    ZU_ONE(DriverConnect, SQLDriverConnect, SQL_API_SQLDRIVERCONNECT),
    ZU_OWN(Drivers),
    ZU_EITHER(EndTran, SQLEndTran, SQL_API_SQLENDTRAN, SQLTransact, SQL_API_SQLTRANSACT),
    ZU_OWN(Error),
    ZU_ONE(ExecDirect, SQLExecDirect, SQL_API_SQLEXECDIRECT),
    ZU_ONE(Execute, SQLExecute, SQL_API_SQLEXECUTE),
    ZU_EITHER(ExtendedFetch, SQLExtendedFetch, SQL_API_SQLEXTENDEDFETCH, SQLFetchScroll,
              SQL_API_SQLFETCHSCROLL),
    ZU_ONE(Fetch, SQLFetch, SQL_API_SQLFETCH),
    ZU_EITHER(FetchScroll, SQLFetchScroll, SQL_API_SQLFETCHSCROLL, SQLExtendedFetch,
              SQL_API_SQLEXTENDEDFETCH),
    ZU_ONE(ForeignKeys, SQLForeignKeys, SQL_API_SQLFOREIGNKEYS),
    ZU_OWN(FreeConnect),
    ZU_OWN(FreeEnv),
    ZU_OWN(FreeHandle),
    ZU_OWN(FreeStmt),
    ZU_EITHER(GetConnectAttr, SQLGetConnectAttr, SQL_API_SQLGETCONNECTATTR, SQLGetConnectOption,
              SQL_API_SQLGETCONNECTOPTION),
    ZU_EITHER(GetConnectOption, SQLGetConnectAttr, SQL_API_SQLGETCONNECTATTR, SQLGetConnectOption,
              SQL_API_SQLGETCONNECTOPTION),
    ZU_OWN(GetCursorName),
    ZU_ONE(GetData, SQLGetData, SQL_API_SQLGETDATA),
    ZU_ONE(GetDescField, SQLGetDescField, SQL_API_SQLGETDESCFIELD),
    ZU_ONE(GetDescRec, SQLGetDescRec, SQL_API_SQLGETDESCREC),
    ZU_OWN(GetDiagField),
    ZU_OWN(GetDiagRec),
    ZU_OWN(GetEnvAttr),
    ZU_OWN(GetFunctions),
    ZU_ONE(GetInfo, SQLGetInfo, SQL_API_SQLGETINFO),
    ZU_EITHER(GetStmtAttr, SQLGetStmtAttr, SQL_API_SQLGETSTMTATTR, SQLGetStmtOption,
              SQL_API_SQLGETSTMTOPTION),
    ZU_EITHER(GetStmtOption, SQLGetStmtAttr, SQL_API_SQLGETSTMTATTR, SQLGetStmtOption,
              SQL_API_SQLGETSTMTOPTION),
    ZU_ONE(GetTypeInfo, SQLGetTypeInfo, SQL_API_SQLGETTYPEINFO),
    ZU_ONE(MoreResults, SQLMoreResults, SQL_API_SQLMORERESULTS),
    ZU_ONE(NativeSql, SQLNativeSql, SQL_API_SQLNATIVESQL),
    ZU_ONE(NumParams, SQLNumParams, SQL_API_SQLNUMPARAMS),
    ZU_ONE(NumResultCols, SQLNumResultCols, SQL_API_SQLNUMRESULTCOLS),
    ZU_ONE(ParamData, SQLParamData, SQL_API_SQLPARAMDATA),
    ZU_EITHER(ParamOptions, SQLParamOptions, SQL_API_SQLPARAMOPTIONS, SQLSetStmtAttr, SQL_API_SQLSETSTMTATTR),
    ZU_ONE(Prepare, SQLPrepare, SQL_API_SQLPREPARE),
    ZU_ONE(PrimaryKeys, SQLPrimaryKeys, SQL_API_SQLPRIMARYKEYS),
    ZU_ONE(ProcedureColumns, SQLProcedureColumns, SQL_API_SQLPROCEDURECOLUMNS),
    ZU_ONE(Procedures, SQLProcedures, SQL_API_SQLPROCEDURES),
    ZU_ONE(PutData, SQLPutData, SQL_API_SQLPUTDATA),
    ZU_ONE(RowCount, SQLRowCount, SQL_API_SQLROWCOUNT),
    ZU_EITHER(SetConnectAttr, SQLSetConnectAttr, SQL_API_SQLSETCONNECTATTR, SQLSetConnectOption,
              SQL_API_SQLSETCONNECTOPTION),
    ZU_EITHER(SetConnectOption, SQLSetConnectAttr, SQL_API_SQLSETCONNECTATTR, SQLSetConnectOption,
              SQL_API_SQLSETCONNECTOPTION),
    ZU_OWN(SetCursorName),
    ZU_ONE(SetDescField, SQLSetDescField, SQL_API_SQLSETDESCFIELD),
    ZU_ONE(SetDescRec, SQLSetDescRec, SQL_API_SQLSETDESCREC),
    ZU_OWN(SetEnvAttr),
    ZU_EITHER(SetParam, SQLBindParameter, SQL_API_SQLBINDPARAMETER, SQLSetParam, SQL_API_SQLSETPARAM),
    ZU_ONE(SetPos, SQLSetPos, SQL_API_SQLSETPOS),
    ZU_EITHER(SetScrollOptions, SQLSetScrollOptions, SQL_API_SQLSETSCROLLOPTIONS, SQLSetStmtAttr,
              SQL_API_SQLSETSTMTATTR),
    ZU_EITHER(SetStmtAttr, SQLSetStmtAttr, SQL_API_SQLSETSTMTATTR, SQLSetStmtOption,
              SQL_API_SQLSETSTMTOPTION),
    ZU_EITHER(SetStmtOption, SQLSetStmtAttr, SQL_API_SQLSETSTMTATTR, SQLSetStmtOption,
              SQL_API_SQLSETSTMTOPTION),
    ZU_ONE(SpecialColumns, SQLSpecialColumns, SQL_API_SQLSPECIALCOLUMNS),
    ZU_ONE(Statistics, SQLStatistics, SQL_API_SQLSTATISTICS),
    ZU_ONE(TablePrivileges, SQLTablePrivileges, SQL_API_SQLTABLEPRIVILEGES),
    ZU_ONE(Tables, SQLTables, SQL_API_SQLTABLES),
    ZU_EITHER(Transact, SQLEndTran, SQL_API_SQLENDTRAN, SQLTransact, SQL_API_SQLTRANSACT),
};

#undef ZU_EITHER
#undef ZU_ONE
#undef ZU_OWN
#undef ZU_WIDE
#undef ZU_FUNCTION

// What the cursor library brings to a driver without it.
bool fromCursorLibrary(Api api) {
  return api == Api::ExtendedFetch || api == Api::FetchScroll || api == Api::SetPos ||
         api == Api::SetScrollOptions;
}

// What the driver says of its functions on this connection. A driver that says nothing supports what it
// exports.
class Supported {
 public:
  explicit Supported(DMConn& conn) : conn(conn) {
    auto work = [&](DMConn& asked, const DMDriverFunctions& driver) {
      return ask(driver.SQLGetFunctions, asked.driverHandle, everything(), &answer[0]);
    };
    isKnown = conn.driverFunctions->SQLGetFunctions &&
              SQL_SUCCEEDED(askDriver(conn, *conn.driverFunctions, Api::GetFunctions, work));
    dropUnsettled(conn);
  }

  bool has(const FunctionRow& row) const {
    if (!row.function.exported || has(row.function) || has(row.alternative)) return true;
    return conn.state->cursorLibrary && fromCursorLibrary(row.api);
  }

 private:
  // A driver of ODBC 3 fills one bit for each number, an older one a word for each number below 100.
  SQLUSMALLINT everything() const {
    return isVersion3Driver(conn) ? SQLUSMALLINT(SQL_API_ODBC3_ALL_FUNCTIONS)
                                  : SQLUSMALLINT(SQL_API_ALL_FUNCTIONS);
  }
  bool has(const DriverFunction& function) const {
    if (!function.exported || !function.exported(*conn.driverFunctions)) return false;
    if (!isKnown) return true;
    if (isVersion3Driver(conn)) return SQL_FUNC_EXISTS(answer, function.number) == SQL_TRUE;
    return function.number < kVersion2Numbers && answer[function.number] != SQL_FALSE;
  }

  DMConn& conn;
  bool isKnown = false;
  SQLUSMALLINT answer[SQL_API_ODBC3_ALL_FUNCTIONS_SIZE] = {};
};

// One bit for each number, 16 to a word.
void fillBits(const Supported& supported, SQLUSMALLINT* words) {
  std::memset(words, 0, SQL_API_ODBC3_ALL_FUNCTIONS_SIZE * sizeof *words);
  for (const FunctionRow& row : kFunctionRows) {
    const auto number = static_cast<unsigned>(row.api);
    if (supported.has(row)) words[number >> 4] |= static_cast<SQLUSMALLINT>(1u << (number & 15u));
  }
}

// One word for each number of ODBC 2.
void fillWords(const Supported& supported, SQLUSMALLINT* words) {
  std::memset(words, 0, kVersion2Numbers * sizeof *words);
  for (const FunctionRow& row : kFunctionRows) {
    const auto number = static_cast<unsigned>(row.api);
    if (number < kVersion2Numbers) words[number] = supported.has(row) ? SQL_TRUE : SQL_FALSE;
  }
}

const FunctionRow* findRow(SQLUSMALLINT number) {
  const auto* row =
      std::find_if(std::begin(kFunctionRows), std::end(kFunctionRows),
                   [=](const FunctionRow& r) { return static_cast<SQLUSMALLINT>(r.api) == number; });
  return row == std::end(kFunctionRows) ? nullptr : row;
}

}  // namespace

extern "C" ZU_API SQLRETURN SQL_API SQLGetFunctions(SQLHDBC handle, SQLUSMALLINT number, SQLUSMALLINT* out) {
  return traced(
      "SQLGetFunctions",
      [&](const auto&...) -> SQLRETURN {
        return callOwn(static_cast<DMConn*>(handle), Api::GetFunctions, [&](DMConn& conn) -> SQLRETURN {
          if (!conn.state->connected) return fail(conn, "HY010");
          if (!out) return fail(conn, "HY009");
          const bool isList = number == SQL_API_ODBC3_ALL_FUNCTIONS || number == SQL_API_ALL_FUNCTIONS;
          const FunctionRow* row = isList ? nullptr : findRow(number);
          if (!isList && !row) {
            *out = SQL_FALSE;
            return fail(conn, "HY095");
          }
          const Supported supported(conn);
          if (row) {
            *out = supported.has(*row) ? SQL_TRUE : SQL_FALSE;
          } else if (number == SQL_API_ODBC3_ALL_FUNCTIONS) {
            fillBits(supported, out);
          } else {
            fillWords(supported, out);
          }
          return SQL_SUCCESS;
        });
      },
      handle, number, out);
}
