// Fetching, positioning and what closes a cursor.
//
// SQLFetch under the re-entrance mark is the cursor library's call for every row: nothing may be added to
// its path.

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

constexpr SQLUSMALLINT kDropLibrarySide = 10;  // the cursor library's own option of SQLFreeStmt
constexpr int kFetchResume = 7;                // a direction of ODBC 1, no longer in the headers

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
    case kFetchResume: return stmt.conn->state->cursorLibrary ? nullptr : "HY106";
    default: return "HY106";
  }
}

// A program that has the cursor library by configuration was not written for it: what it fetches forward from
// the driver it goes on fetching from the driver, be it that it has bound no column or that it used SQLFetch.
bool isForwardFetch(const DMStmt& stmt, SQLSMALLINT orientation) {
  if (orientation != SQL_FETCH_NEXT || stmt.cursor || !stmt.conn->state->configuredCursors) return false;
  return !stmt.ard->bindList || stmt.fetchState & DM_FETCH_BY_FETCH;
}

const char* checkSetPos(SQLUSMALLINT operation, SQLUSMALLINT lock) {
  return operation > SQL_ADD || lock > SQL_LOCK_UNLOCK ? "HY092" : nullptr;
}

SQLRETURN driverFreeStmt(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT option) {
  if (option == SQL_UNBIND) {
    stmt.state->heldBindings.clear();
    forgetBindings(stmt);
  }
  if (option != SQL_CLOSE) return ask(driver.SQLFreeStmt, stmt.driverHandle, option);
  const SQLRETURN rc = driver.SQLFreeStmt ? ask(driver.SQLFreeStmt, stmt.driverHandle, option)
                                          : driverCloseCursor(stmt, driver);
  if (SQL_SUCCEEDED(rc) && stmt.conn->activeStatements == 1) endOpenResult(stmt);
  return rc;
}

// An application's SQLFreeStmt has returned `rc`.
SQLRETURN closing(DMStmt& stmt, SQLUSMALLINT option, SQLRETURN rc) {
  if (option == SQL_CLOSE && SQL_SUCCEEDED(rc)) sequenceClosed(stmt);
  return rc;
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
  return traced(
      "SQLFetch",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::Fetch, kNoCheck,
            [](DMStmt& stmt, const CursorLibrary& library) { return library.CLFetch(&stmt); },
            [](DMStmt& stmt, const DMDriverFunctions& driver) {
              if (stmt.conn->driverVersion < 300 || stmt.state->catalogTypes.column != 0) [[unlikely]] {
                return driverFetchArray(stmt, driver);
              }
              return ask(driver.SQLFetch, stmt.driverHandle);
            });
      },
      handle);
}

ZU_API SQLRETURN SQL_API SQLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN offset) {
  return traced(
      "SQLFetchScroll",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::FetchScroll, [&](DMStmt& stmt) { return checkOrientation(stmt, orientation); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              if (isForwardFetch(stmt, orientation)) return library.CLFetch(&stmt);
              return library.CLFetchScroll(&stmt, orientation, offset);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return driverFetchScroll(stmt, driver, orientation, offset);
            });
      },
      handle, orientation, offset);
}

ZU_API SQLRETURN SQL_API SQLExtendedFetch(SQLHSTMT handle, SQLUSMALLINT orientation, SQLLEN offset,
                                          SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
  return traced(
      "SQLExtendedFetch",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::ExtendedFetch, [&](DMStmt& stmt) { return checkOrientation(stmt, orientation); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLExtendedFetch(&stmt, orientation, offset, rowCountPtr, statusPtr);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return driverExtendedFetch(stmt, driver, orientation, offset, rowCountPtr, statusPtr);
            });
      },
      handle, orientation, offset, rowCountPtr, statusPtr);
}

ZU_API SQLRETURN SQL_API SQLSetPos(SQLHSTMT handle, SQLSETPOSIROW row, SQLUSMALLINT operation,
                                   SQLUSMALLINT lock) {
  return traced(
      "SQLSetPos",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::SetPos, [&](DMStmt&) { return checkSetPos(operation, lock); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLSetPos(&stmt, row, operation, lock);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return driverSetPos(stmt, driver, row, operation, lock);
            });
      },
      handle, row, operation, lock);
}

ZU_API SQLRETURN SQL_API SQLBulkOperations(SQLHSTMT handle, SQLSMALLINT operation) {
  return traced(
      "SQLBulkOperations",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::BulkOperations,
            [&](DMStmt&) {
              return operation < SQL_ADD || operation > SQL_FETCH_BY_BOOKMARK ? "HY092" : nullptr;
            },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLBulkOperations(&stmt, operation);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return driverBulkOperations(stmt, driver, operation);
            });
      },
      handle, operation);
}

ZU_API SQLRETURN SQL_API SQLCloseCursor(SQLHSTMT handle) {
  return traced(
      "SQLCloseCursor",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::CloseCursor, kNoCheck,
            [](DMStmt& stmt, const CursorLibrary& library) { return library.CLCloseCursor(&stmt); },
            [](DMStmt& stmt, const DMDriverFunctions& driver) { return driverCloseCursor(stmt, driver); });
      },
      handle);
}

ZU_API SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option) {
  return traced(
      "SQLFreeStmt",
      [&](const auto&...) -> SQLRETURN {
        if (option == SQL_DROP) return SQLFreeHandle(SQL_HANDLE_STMT, handle);
        if (option == kDropLibrarySide && isMarked(static_cast<DMStmt*>(handle))) return SQL_SUCCESS;
        return callStatement(
            handle, Api::FreeStmt, [&](DMStmt&) { return option > SQL_RESET_PARAMS ? "HY092" : nullptr; },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return closing(stmt, option, library.CLFreeStmt(&stmt, option));
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              const SQLRETURN rc = driverFreeStmt(stmt, driver, option);
              return isMarked(&stmt) ? rc : closing(stmt, option, rc);
            });
      },
      handle, option);
}

}  // extern "C"
