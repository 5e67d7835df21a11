// Preparing and executing: the statement's text, its data at execution, its results in turn, cancelling.

#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

const char* checkPutData(SQLPOINTER value, SQLLEN length) {
  bool noValue = length == SQL_NULL_DATA || length == SQL_DEFAULT_PARAM;
  if (!value && length != 0 && !noValue) return "HY009";
  return length < 0 && length != SQL_NTS && !noValue ? "HY090" : nullptr;
}

// A cancel has worked and no other call runs: what it did to the sequence.
void noteCancelled(DMStmt& stmt) {
  if (__atomic_load_n(&stmt.state->sequence.underWay, __ATOMIC_ACQUIRE)) return;
  constexpr unsigned short WAS_CLOSE[] = {'0', '1', 'S', '0', '5', 0};
  sequenceCancelled(stmt, stmt.conn->driverVersion == 100 || stmt.SearchStatusCode(WAS_CLOSE));
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLPrepare(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return callChecked(
      handle, Api::Prepare, [&](DMStmt&) { return checkSql(sql, length); },
      [&](DMStmt& stmt, const CursorLibrary& library) { return library.CLPrepare(&stmt, sql, length); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return ask(driver.SQLPrepare, stmt.driverHandle, sql, length);
      });
}

ZU_API SQLRETURN SQL_API SQLExecDirect(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return callChecked(
      handle, Api::ExecDirect, [&](DMStmt&) { return checkSql(sql, length); },
      [&](DMStmt& stmt, const CursorLibrary& library) { return library.CLExecDirect(&stmt, sql, length); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        SQLRETURN rc = driverTakeParameterHeader(stmt, driver);
        return SQL_SUCCEEDED(rc) ? ask(driver.SQLExecDirect, stmt.driverHandle, sql, length) : rc;
      });
}

ZU_API SQLRETURN SQL_API SQLExecute(SQLHSTMT handle) {
  return callStatement(
      handle, Api::Execute,
      [](DMStmt& stmt, const CursorLibrary& library) { return library.CLExecute(&stmt); },
      [](DMStmt& stmt, const DMDriverFunctions& driver) {
        SQLRETURN rc = driverTakeParameterHeader(stmt, driver);
        return SQL_SUCCEEDED(rc) ? ask(driver.SQLExecute, stmt.driverHandle) : rc;
      });
}

ZU_API SQLRETURN SQL_API SQLParamData(SQLHSTMT handle, SQLPOINTER* value) {
  return callStatement(
      handle, Api::ParamData,
      [&](DMStmt& stmt, const CursorLibrary& library) {
        return library.CLParamData(&stmt, orScratch(value));
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return ask(driver.SQLParamData, stmt.driverHandle, orScratch(value));
      });
}

ZU_API SQLRETURN SQL_API SQLPutData(SQLHSTMT handle, SQLPOINTER value, SQLLEN length) {
  return callChecked(
      handle, Api::PutData, [&](DMStmt&) { return checkPutData(value, length); },
      [&](DMStmt& stmt, const CursorLibrary& library) { return library.CLPutData(&stmt, value, length); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return ask(driver.SQLPutData, stmt.driverHandle, value, length);
      });
}

ZU_API SQLRETURN SQL_API SQLMoreResults(SQLHSTMT handle) {
  return callStatement(
      handle, Api::MoreResults,
      [](DMStmt& stmt, const CursorLibrary& library) { return library.CLMoreResults(&stmt); },
      [](DMStmt& stmt, const DMDriverFunctions& driver) {
        if (stmt.state->sequence.state <= StmtState::Prepared && !isMarked(&stmt))
          return SQLRETURN(SQL_NO_DATA);
        return ask(driver.SQLMoreResults, stmt.driverHandle);
      });
}

ZU_API SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN* count) {
  return callStatement(
      handle, Api::RowCount,
      [&](DMStmt& stmt, const CursorLibrary& library) { return library.CLRowCount(&stmt, count); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return ask(driver.SQLRowCount, stmt.driverHandle, orScratch(count));
      });
}

ZU_API SQLRETURN SQL_API SQLCancel(SQLHSTMT handle) {
  SQLRETURN rc = callStatement(
      handle, Api::Cancel, [](DMStmt& stmt, const CursorLibrary& library) { return library.CLCancel(&stmt); },
      [](DMStmt& stmt, const DMDriverFunctions& driver) { return ask(driver.SQLCancel, stmt.driverHandle); });
  if (SQL_SUCCEEDED(rc) && !isMarked(static_cast<DMStmt*>(handle))) {
    if (DMStmt* stmt = findStatement(handle)) noteCancelled(*stmt);
  }
  return rc;
}

ZU_API SQLRETURN SQL_API SQLCancelHandle(SQLSMALLINT type, SQLHANDLE handle) {
  switch (type) {
    case SQL_HANDLE_STMT: return SQLCancel(handle);
    case SQL_HANDLE_DBC:  // no driver is asked to work on a connection asynchronously
      return callOwn(findConnection(handle), Api::Cancel, [](DMConn& conn) { return fail(conn, "HYC00"); });
    default:
      return callOwn(findAnyHandle(handle), Api::Cancel,
                     [](DMHandle& other) { return fail(other, "HY092"); });
  }
}

}  // extern "C"
