// Row sets on a driver of the other version, and on one that has neither of the two functions for them.

#include <algorithm>

#include "zuodbc/driver/bridge.h"

namespace dm {
namespace {

// A row by SQLFetch.
SQLRETURN fetchRow(DMStmt& stmt, const DMDriverFunctions& driver) {
  const SQLRETURN rc = ask(driver.SQLFetch, stmt.driverHandle);
  translateFetched(stmt, rc, 1, nullptr);
  return rc;
}

// The row array of a driver of ODBC 3, by a fetch that returned `rc`.
SQLRETURN arrayFetched(DMStmt& stmt, SQLRETURN rc) {
  if (stmt.state->catalogTypes.column == 0) return rc;
  const SQLULEN* count = SQL_SUCCEEDED(rc) ? stmt.ird->rowsProcessedPtr : nullptr;
  const SQLULEN rows = stmt.ard->arraySize;
  translateFetched(stmt, rc, count ? std::min(*count, rows) : rows, stmt.ird->arrayStatusPtr);
  return rc;
}

// One row by SQLFetch, reported like a row set of one.
SQLRETURN fetchOneRow(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN* rowCountPtr,
                      SQLUSMALLINT* statusPtr) {
  const SQLRETURN rc = fetchRow(stmt, driver);
  if (rc == kDriverLacksFunction || rc == SQL_STILL_EXECUTING) return rc;
  const bool isRow = SQL_SUCCEEDED(rc);
  if (rowCountPtr) *rowCountPtr = isRow;
  if (statusPtr && rc != SQL_NO_DATA)
    *statusPtr = static_cast<SQLUSMALLINT>(isRow ? SQL_ROW_SUCCESS : SQL_ROW_ERROR);
  return rc;
}

// The status array of an extended fetch: SQLExtendedFetch must be given one. Its first entry is set, so that
// an old one is not taken for that of a fetch which failed as a whole.
SQLUSMALLINT* statusesFor(DMStmt& stmt, SQLUSMALLINT* statusPtr, SQLULEN rows) {
  auto& own = stmt.state->driverRowset.statuses;
  if (!statusPtr && own.size() <= rows) own.resize(rows + 1);
  SQLUSMALLINT* statuses = statusPtr ? statusPtr : own.data();
  *statuses = SQL_ROW_NOROW;
  return statuses;
}

SQLRETURN extendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                        SQLLEN offset, SQLULEN rows, SQLULEN* rowCountPtr, SQLUSMALLINT* statuses) {
  const SQLRETURN taken = driverTakeRowset(stmt, driver, rows);
  if (!SQL_SUCCEEDED(taken)) return taken;
  if (!rowCountPtr) rowCountPtr = &stmt.state->driverRowset.fetchedRows;
  const SQLRETURN rc =
      ask(driver.SQLExtendedFetch, stmt.driverHandle, orientation, offset, rowCountPtr, statuses);
  translateFetched(stmt, rc, SQL_SUCCEEDED(rc) ? std::min(*rowCountPtr, rows) : 0, statuses);
  return rc;
}

// The same for SQLFetch and SQLFetchScroll, to which an error in the only row is an error.
SQLRETURN fetchRowArray(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                        SQLLEN offset) {
  const SQLULEN rows = stmt.ard->arraySize;
  SQLUSMALLINT* statuses = statusesFor(stmt, stmt.ird->arrayStatusPtr, rows);
  const SQLRETURN rc =
      extendedFetch(stmt, driver, orientation, offset, rows, stmt.ird->rowsProcessedPtr, statuses);
  const bool isRowError = rc == SQL_SUCCESS_WITH_INFO && rows == 1 && *statuses == SQL_ROW_ERROR;
  return isRowError ? SQLRETURN(SQL_ERROR) : rc;
}

// Lends the row array of a driver of ODBC 3 to an extended fetch, or to another function of ODBC 2 that works
// on the extended row set. It is set back as the application set it once the diagnostics of the call are
// safe.
class RowArrayLoan {
 public:
  RowArrayLoan(DMStmt& stmt, const DMDriverFunctions& driver) : stmt(stmt), driver(driver) {}

  // Does nothing if the call goes on that already has the array.
  SQLRETURN take(SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
    if (stmt.state->driverRowset.isLent) return SQL_SUCCESS;
    return set(stmt.rowsetSize, rowCountPtr, statusPtr);
  }

  // After the call has returned `rc`.
  void giveBack(SQLRETURN rc) {
    stmt.state->driverRowset.isLent = rc == SQL_STILL_EXECUTING;
    if (stmt.state->driverRowset.isLent) return;
    if (rc != SQL_SUCCESS) pullDriverErrors(stmt);
    set(stmt.ard->arraySize, stmt.ird->rowsProcessedPtr, stmt.ird->arrayStatusPtr);
  }

 private:
  SQLRETURN set(SQLULEN rows, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
    const auto one = [&](SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
      return ask(driver.SQLSetStmtAttr, stmt.driverHandle, attribute, value, length);
    };
    SQLRETURN rc = one(SQL_ATTR_ROW_ARRAY_SIZE, asPointer(rows), SQL_IS_UINTEGER);
    if (SQL_SUCCEEDED(rc)) rc = one(SQL_ATTR_ROWS_FETCHED_PTR, rowCountPtr, SQL_IS_POINTER);
    if (SQL_SUCCEEDED(rc)) rc = one(SQL_ATTR_ROW_STATUS_PTR, statusPtr, SQL_IS_POINTER);
    return rc;
  }

  DMStmt& stmt;
  const DMDriverFunctions& driver;
};

SQLRETURN scrollByBookmark(DMStmt& stmt, const DMDriverFunctions& driver, SQLLEN bookmark) {
  DriverRowset& own = stmt.state->driverRowset;
  SQLRETURN rc = SQL_SUCCESS;
  if (!own.isLent) {
    own.bookmark = bookmark;
    rc = ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ATTR_FETCH_BOOKMARK_PTR, SQLPOINTER(&own.bookmark),
             SQL_IS_POINTER);
  }
  if (SQL_SUCCEEDED(rc)) rc = ask(driver.SQLFetchScroll, stmt.driverHandle, SQL_FETCH_BOOKMARK, 0);
  if (rc == SQL_STILL_EXECUTING) return rc;
  if (rc != SQL_SUCCESS) pullDriverErrors(stmt);
  ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ATTR_FETCH_BOOKMARK_PTR,
      SQLPOINTER(stmt.fetchBookmarkPtr), SQL_IS_POINTER);
  return rc;
}

SQLRETURN scrollForExtendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                                 SQLLEN offset, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
  RowArrayLoan loan(stmt, driver);
  if (statusPtr) *statusPtr = SQL_ROW_NOROW;
  SQLRETURN rc = loan.take(rowCountPtr, statusPtr);
  if (SQL_SUCCEEDED(rc)) {
    rc = orientation == SQL_FETCH_BOOKMARK
             ? scrollByBookmark(stmt, driver, offset)
             : ask(driver.SQLFetchScroll, stmt.driverHandle, static_cast<SQLSMALLINT>(orientation), offset);
  }
  const SQLULEN rows = stmt.rowsetSize;
  translateFetched(stmt, rc, rowCountPtr && SQL_SUCCEEDED(rc) ? std::min(*rowCountPtr, rows) : rows,
                   statusPtr);
  loan.giveBack(rc);
  // An error in a row is a warning to this function, also if the row set has only one.
  return rc == SQL_ERROR && statusPtr && *statusPtr == SQL_ROW_ERROR ? SQLRETURN(SQL_SUCCESS_WITH_INFO) : rc;
}

bool wantsRowSet(const DMStmt& stmt) {
  return stmt.ard->arraySize > 1 || stmt.ird->rowsProcessedPtr || stmt.ird->arrayStatusPtr;
}

}  // namespace

// SQLFetch on a driver below version 3, or on a result with type codes of another version. An application of
// ODBC 3 may mix it with SQLFetchScroll, which such a
// driver forbids, so both use the same function of the driver. The cursor library's own fetches are of
// one row, into its own buffers; what it passes on for the application is marked with DM_FETCH_IN_FETCH.
SQLRETURN driverFetchArray(DMStmt& stmt, const DMDriverFunctions& driver) {
  const bool isMarkedCall = isMarked(&stmt);
  const bool isOwnRow = isMarkedCall && !(stmt.fetchState & DM_FETCH_IN_FETCH);
  const bool driverHasArrays = driver.SQLSetStmtAttr && (!isMarkedCall || isVersion3Driver(*stmt.conn));
  const bool isPlain = !isVersion3Application(*stmt.conn) && !wantsRowSet(stmt);
  if (isOwnRow) return fetchRow(stmt, driver);
  if (driverHasArrays) return arrayFetched(stmt, ask(driver.SQLFetch, stmt.driverHandle));
  if (isPlain) return fetchRow(stmt, driver);
  if (driver.SQLExtendedFetch) return fetchRowArray(stmt, driver, SQL_FETCH_NEXT, 0);
  if (stmt.ard->arraySize > 1) return refuse(stmt, "HYC00");
  return fetchOneRow(stmt, driver, stmt.ird->rowsProcessedPtr, stmt.ird->arrayStatusPtr);
}

SQLRETURN driverFetchScroll(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT orientation,
                            SQLLEN offset) {
  if (driver.SQLFetchScroll)
    return arrayFetched(stmt, ask(driver.SQLFetchScroll, stmt.driverHandle, orientation, offset));
  if (!driver.SQLExtendedFetch)
    return orientation == SQL_FETCH_NEXT ? driverFetchArray(stmt, driver) : kDriverLacksFunction;
  if (orientation == SQL_FETCH_BOOKMARK) {
    if (!stmt.fetchBookmarkPtr) return refuse(stmt, "HY111");
    if (offset != 0) return refuse(stmt, "HYC00");  // ODBC 2 cannot count from a bookmark
    offset = *stmt.fetchBookmarkPtr;
  }
  return fetchRowArray(stmt, driver, static_cast<SQLUSMALLINT>(orientation), offset);
}

SQLRETURN driverExtendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                              SQLLEN offset, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
  if (driver.SQLExtendedFetch) {
    return extendedFetch(stmt, driver, orientation, offset, stmt.rowsetSize, rowCountPtr,
                         statusesFor(stmt, statusPtr, stmt.rowsetSize));
  }
  if (driver.SQLFetchScroll)
    return scrollForExtendedFetch(stmt, driver, orientation, offset, rowCountPtr, statusPtr);
  if (orientation != SQL_FETCH_NEXT || stmt.rowsetSize > 1) return kDriverLacksFunction;
  return fetchOneRow(stmt, driver, rowCountPtr, statusPtr);
}

// SQL_ADD, which adds every row of the row set if `row` is 0, is SQLBulkOperations in ODBC 3.
SQLRETURN driverSetPos(DMStmt& stmt, const DMDriverFunctions& driver, SQLSETPOSIROW row,
                       SQLUSMALLINT operation, SQLUSMALLINT lock) {
  const bool addsAll = operation == SQL_ADD && (row == 0 || stmt.rowsetSize == 1);
  if (!addsAll || !isVersion3Driver(*stmt.conn) || !driver.SQLBulkOperations) {
    const SQLRETURN rc = ask(driver.SQLSetPos, stmt.driverHandle, row, operation, lock);
    // A refreshed row set is in the driver's codes again.
    const bool isRefreshed = operation == SQL_REFRESH && SQL_SUCCEEDED(rc);
    translateFetched(stmt, rc, isRefreshed ? stmt.state->catalogTypes.rows : 0, nullptr);
    return rc;
  }
  if (stmt.rowsetSize == stmt.ard->arraySize)
    return ask(driver.SQLBulkOperations, stmt.driverHandle, SQL_ADD);
  RowArrayLoan loan(stmt, driver);
  SQLRETURN rc = loan.take(stmt.ird->rowsProcessedPtr, nullptr);
  if (SQL_SUCCEEDED(rc)) rc = ask(driver.SQLBulkOperations, stmt.driverHandle, SQL_ADD);
  loan.giveBack(rc);
  return rc;
}

SQLRETURN driverBulkOperations(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT operation) {
  constexpr SQLSETPOSIROW kEveryRow = 0;
  if (driver.SQLBulkOperations) return ask(driver.SQLBulkOperations, stmt.driverHandle, operation);
  if (operation != SQL_ADD || !driver.SQLSetPos) return kDriverLacksFunction;
  const SQLRETURN rc = driverTakeRowset(stmt, driver, stmt.ard->arraySize);
  return SQL_SUCCEEDED(rc) ? ask(driver.SQLSetPos, stmt.driverHandle, kEveryRow, SQL_ADD, SQL_LOCK_NO_CHANGE)
                           : rc;
}

SQLRETURN driverCloseCursor(DMStmt& stmt, const DMDriverFunctions& driver) {
  if (driver.SQLCloseCursor && (isVersion3Driver(*stmt.conn) || !driver.SQLFreeStmt)) {
    return ask(driver.SQLCloseCursor, stmt.driverHandle);
  }
  return ask(driver.SQLFreeStmt, stmt.driverHandle, SQLUSMALLINT(SQL_CLOSE));
}

}  // namespace dm
