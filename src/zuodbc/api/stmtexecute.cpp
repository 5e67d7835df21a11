// Preparing and executing: the statement's text, its data at execution, its results in turn.

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

const char* checkPutData(SQLPOINTER value, SQLLEN length) {
  const bool noValue = length == SQL_NULL_DATA || length == SQL_DEFAULT_PARAM;
  if (!value && length != 0 && !noValue) return "HY009";
  return length < 0 && length != SQL_NTS && !noValue ? "HY090" : nullptr;
}

SQLRETURN prepare(SQLHSTMT handle, const TextIn<SQLINTEGER>& sql) {
  return callStatement(
      handle, Api::Prepare, [&](DMStmt& stmt) { return checkSql(noteForm(stmt, sql)); },
      [&](DMStmt& stmt, const CursorLibrary& library) { return askLibrary(stmt, library.CLPrepare, sql); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return askText(stmt, DM_ENTRIES(driver, SQLPrepare), stmt.driverHandle, sql);
      });
}

SQLRETURN execDirect(SQLHSTMT handle, const TextIn<SQLINTEGER>& sql) {
  return callStatement(
      handle, Api::ExecDirect, [&](DMStmt& stmt) { return checkSql(noteForm(stmt, sql)); },
      [&](DMStmt& stmt, const CursorLibrary& library) { return askLibrary(stmt, library.CLExecDirect, sql); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        const SQLRETURN rc = driverTakeParameterHeader(stmt, driver);
        return SQL_SUCCEEDED(rc) ? askText(stmt, DM_ENTRIES(driver, SQLExecDirect), stmt.driverHandle, sql)
                                 : rc;
      });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLPrepare(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return traced("SQLPrepare", prepare, handle, textIn(sql, length));
}
ZU_API SQLRETURN SQL_API SQLPrepareW(SQLHSTMT handle, SQLWCHAR* sql, SQLINTEGER length) {
  return traced("SQLPrepareW", prepare, handle, textIn(sql, length));
}
DM_ALIAS(SQLPrepare);

ZU_API SQLRETURN SQL_API SQLExecDirect(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
  return traced("SQLExecDirect", execDirect, handle, textIn(sql, length));
}
ZU_API SQLRETURN SQL_API SQLExecDirectW(SQLHSTMT handle, SQLWCHAR* sql, SQLINTEGER length) {
  return traced("SQLExecDirectW", execDirect, handle, textIn(sql, length));
}
DM_ALIAS(SQLExecDirect);

ZU_API SQLRETURN SQL_API SQLExecute(SQLHSTMT handle) {
  return traced(
      "SQLExecute",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::Execute, kNoCheck,
            [](DMStmt& stmt, const CursorLibrary& library) { return library.CLExecute(&stmt); },
            [](DMStmt& stmt, const DMDriverFunctions& driver) {
              const SQLRETURN rc = driverTakeParameterHeader(stmt, driver);
              return SQL_SUCCEEDED(rc) ? ask(driver.SQLExecute, stmt.driverHandle) : rc;
            });
      },
      handle);
}

ZU_API SQLRETURN SQL_API SQLParamData(SQLHSTMT handle, SQLPOINTER* value) {
  return traced(
      "SQLParamData",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::ParamData, kNoCheck,
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLParamData(&stmt, orScratch(stmt, value));
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return ask(driver.SQLParamData, stmt.driverHandle, orScratch(stmt, value));
            });
      },
      handle, value);
}

ZU_API SQLRETURN SQL_API SQLPutData(SQLHSTMT handle, SQLPOINTER value, SQLLEN length) {
  return traced(
      "SQLPutData",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::PutData, [&](DMStmt&) { return checkPutData(value, length); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLPutData(&stmt, value, length);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return ask(driver.SQLPutData, stmt.driverHandle, value, length);
            });
      },
      handle, value, length);
}

ZU_API SQLRETURN SQL_API SQLMoreResults(SQLHSTMT handle) {
  return traced(
      "SQLMoreResults",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::MoreResults, kNoCheck,
            [](DMStmt& stmt, const CursorLibrary& library) { return library.CLMoreResults(&stmt); },
            [](DMStmt& stmt, const DMDriverFunctions& driver) {
              if (stmt.state->sequence.state <= StmtState::Prepared && !isMarked(&stmt))
                return SQLRETURN(SQL_NO_DATA);
              return ask(driver.SQLMoreResults, stmt.driverHandle);
            });
      },
      handle);
}

ZU_API SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN* count) {
  return traced(
      "SQLRowCount",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::RowCount, kNoCheck,
            [&](DMStmt& stmt, const CursorLibrary& library) { return library.CLRowCount(&stmt, count); },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return ask(driver.SQLRowCount, stmt.driverHandle, orScratch(stmt, count));
            });
      },
      handle, count);
}

}  // extern "C"
