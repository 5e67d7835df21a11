// Fetching, positioning and what closes a cursor.
//
// SQLFetch under the re-entrance mark is the cursor library's call for every row: nothing may be added to
// its road.

#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

constexpr SQLUSMALLINT DROP_LIBRARY_SIDE = 10;  // the cursor library's own option of SQLFreeStmt
constexpr int FETCH_RESUME = 7;                 // a direction of ODBC 1, no longer in the headers

const char* checkOrientation(const DMStmt& stmt, int orientation) {
  switch (orientation) {
    case SQL_FETCH_NEXT:
    case SQL_FETCH_FIRST:
    case SQL_FETCH_LAST:
    case SQL_FETCH_PRIOR:
    case SQL_FETCH_ABSOLUTE:
    case SQL_FETCH_RELATIVE:
    case SQL_FETCH_BOOKMARK: return nullptr;
    // The cursor library refuses this one in its own words.
    case FETCH_RESUME: return stmt.conn->state->cursorLibrary ? nullptr : "HY106";
    default: return "HY106";
  }
}

const char* checkSetPos(SQLUSMALLINT operation, SQLUSMALLINT lock) {
  return operation > SQL_ADD || lock > SQL_LOCK_UNLOCK ? "HY092" : nullptr;
}

SQLRETURN driverFreeStmt(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT option) {
  if (option != SQL_CLOSE) return ask(driver.SQLFreeStmt, stmt.driverHandle, option);
  SQLRETURN rc =
      driver.SQLFreeStmt ? driver.SQLFreeStmt(stmt.driverHandle, option) : driverCloseCursor(stmt, driver);
  if (SQL_SUCCEEDED(rc) && stmt.conn->activeStatements == 1) endOpenResult(stmt);
  return rc;
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
  return callStatement(
      handle, Api::Fetch, [](DMStmt& stmt, const CursorLibrary& library) { return library.CLFetch(&stmt); },
      [](DMStmt& stmt, const DMDriverFunctions& driver) {
        if (stmt.conn->driverVersion < 300) [[unlikely]] {
          return driverFetchArray(stmt, driver);
        }
        return ask(driver.SQLFetch, stmt.driverHandle);
      });
}

ZU_API SQLRETURN SQL_API SQLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN offset) {
  return callChecked(
      handle, Api::FetchScroll, [&](DMStmt& stmt) { return checkOrientation(stmt, orientation); },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        return library.CLFetchScroll(&stmt, orientation, offset);
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverFetchScroll(stmt, driver, orientation, offset);
      });
}

ZU_API SQLRETURN SQL_API SQLExtendedFetch(SQLHSTMT handle, SQLUSMALLINT orientation, SQLLEN offset,
                                          SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
  return callChecked(
      handle, Api::ExtendedFetch, [&](DMStmt& stmt) { return checkOrientation(stmt, orientation); },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        return library.CLExtendedFetch(&stmt, orientation, offset, rowCountPtr, statusPtr);
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverExtendedFetch(stmt, driver, orientation, offset, rowCountPtr, statusPtr);
      });
}

ZU_API SQLRETURN SQL_API SQLSetPos(SQLHSTMT handle, SQLSETPOSIROW row, SQLUSMALLINT operation,
                                   SQLUSMALLINT lock) {
  return callChecked(
      handle, Api::SetPos, [&](DMStmt&) { return checkSetPos(operation, lock); },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        return library.CLSetPos(&stmt, row, operation, lock);
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverSetPos(stmt, driver, row, operation, lock);
      });
}

ZU_API SQLRETURN SQL_API SQLBulkOperations(SQLHSTMT handle, SQLSMALLINT operation) {
  return callChecked(
      handle, Api::BulkOperations,
      [&](DMStmt&) { return operation < SQL_ADD || operation > SQL_FETCH_BY_BOOKMARK ? "HY092" : nullptr; },
      [&](DMStmt& stmt, const CursorLibrary& library) { return library.CLBulkOperations(&stmt, operation); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverBulkOperations(stmt, driver, operation);
      });
}

ZU_API SQLRETURN SQL_API SQLCloseCursor(SQLHSTMT handle) {
  return callStatement(
      handle, Api::CloseCursor,
      [](DMStmt& stmt, const CursorLibrary& library) { return library.CLCloseCursor(&stmt); },
      [](DMStmt& stmt, const DMDriverFunctions& driver) { return driverCloseCursor(stmt, driver); });
}

ZU_API SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option) {
  if (option == SQL_DROP) return SQLFreeHandle(SQL_HANDLE_STMT, handle);
  bool marked = isMarked(static_cast<DMStmt*>(handle));
  if (marked && option == DROP_LIBRARY_SIDE) return SQL_SUCCESS;
  SQLRETURN rc = callChecked(
      handle, Api::FreeStmt, [&](DMStmt&) { return option > SQL_RESET_PARAMS ? "HY092" : nullptr; },
      [&](DMStmt& stmt, const CursorLibrary& library) { return library.CLFreeStmt(&stmt, option); },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) { return driverFreeStmt(stmt, driver, option); });
  if (SQL_SUCCEEDED(rc) && !marked && option == SQL_CLOSE) {
    if (DMStmt* stmt = findStatement(handle)) sequenceClosed(*stmt);
  }
  return rc;
}

}  // extern "C"
