// Row sets on a driver of the other version, and on one that has neither of the two functions for them.

#include "zuodbc/driver/bridge.h"

namespace dm {
namespace {

SQLPOINTER asPointer(SQLULEN number) { return reinterpret_cast<SQLPOINTER>(number); }

// One row by SQLFetch, reported like a row set of one.
SQLRETURN fetchOneRow(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN* rowCountPtr,
                      SQLUSMALLINT* statusPtr) {
  SQLRETURN rc = ask(driver.SQLFetch, stmt.driverHandle);
  if (rc == driverLacksFunction || rc == SQL_STILL_EXECUTING) return rc;
  bool row = SQL_SUCCEEDED(rc);
  if (rowCountPtr) *rowCountPtr = row;
  if (statusPtr && rc != SQL_NO_DATA) *statusPtr = SQLUSMALLINT(row ? SQL_ROW_SUCCESS : SQL_ROW_ERROR);
  return rc;
}

// SQLExtendedFetch for a call that may want neither count nor status, which the function has to have.
SQLRETURN extendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                        SQLLEN offset, SQLULEN rows, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
  if (!statusPtr) {
    auto& statuses = stmt.state->sequence.rowStatuses;
    if (statuses.size() < rows) statuses.resize(rows);
    statusPtr = statuses.data();
  }
  return driver.SQLExtendedFetch(stmt.driverHandle, orientation, offset, orScratch(rowCountPtr), statusPtr);
}

// The row-array settings of a version 3 driver, as an extended fetch needs them. They are put back as the
// application set them, once the diagnostics of the fetch are safe.
class RowArrayLoan {
 public:
  RowArrayLoan(DMStmt& stmt, const DMDriverFunctions& driver) : stmt(stmt), driver(driver) {}

  SQLRETURN take(SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
    return set(stmt.rowsetSize, rowCountPtr, statusPtr);
  }
  void giveBack() {
    pullDriverErrors(stmt);
    set(stmt.ard->arraySize, stmt.ird->rowsProcessedPtr, stmt.ird->arrayStatusPtr);
  }

 private:
  SQLRETURN set(SQLULEN rows, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
    auto one = [&](SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
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
  SQLRETURN rc = ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ATTR_FETCH_BOOKMARK_PTR,
                     SQLPOINTER(&bookmark), SQL_IS_POINTER);
  if (!SQL_SUCCEEDED(rc)) return rc;
  rc = driver.SQLFetchScroll(stmt.driverHandle, SQL_FETCH_BOOKMARK, 0);
  pullDriverErrors(stmt);
  ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ATTR_FETCH_BOOKMARK_PTR,
      SQLPOINTER(stmt.fetchBookmarkPtr), SQL_IS_POINTER);
  return rc;
}

SQLRETURN scrollForExtendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                                 SQLLEN offset, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
  RowArrayLoan loan(stmt, driver);
  SQLRETURN rc = loan.take(rowCountPtr, statusPtr);
  if (SQL_SUCCEEDED(rc)) {
    rc = orientation == SQL_FETCH_BOOKMARK
             ? scrollByBookmark(stmt, driver, offset)
             : driver.SQLFetchScroll(stmt.driverHandle, SQLSMALLINT(orientation), offset);
  }
  if (rc != SQL_STILL_EXECUTING) loan.giveBack();
  // An error in a row is a warning to this function, also when the row set has but one.
  if (rc == SQL_ERROR && statusPtr && *statusPtr == SQL_ROW_ERROR) rc = SQL_SUCCESS_WITH_INFO;
  return rc;
}

bool wantsRowSet(const DMStmt& stmt) {
  return stmt.ard->arraySize > 1 || stmt.ird->rowsProcessedPtr || stmt.ird->arrayStatusPtr;
}

}  // namespace

// SQLFetch on a driver below version 3, which knows nothing of row arrays there. The cursor library takes
// one row at a time and keeps the application's settings to itself.
SQLRETURN driverFetchArray(DMStmt& stmt, const DMDriverFunctions& driver) {
  if (!driver.SQLExtendedFetch || isMarked(&stmt) || !wantsRowSet(stmt)) {
    return ask(driver.SQLFetch, stmt.driverHandle);
  }
  return extendedFetch(stmt, driver, SQL_FETCH_NEXT, 0, stmt.ard->arraySize, stmt.ird->rowsProcessedPtr,
                       stmt.ird->arrayStatusPtr);
}

SQLRETURN driverFetchScroll(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT orientation,
                            SQLLEN offset) {
  if (driver.SQLFetchScroll) return driver.SQLFetchScroll(stmt.driverHandle, orientation, offset);
  DMDesc& rows = *stmt.ird;
  if (!driver.SQLExtendedFetch) {
    if (orientation != SQL_FETCH_NEXT || stmt.ard->arraySize > 1) return driverLacksFunction;
    return fetchOneRow(stmt, driver, rows.rowsProcessedPtr, rows.arrayStatusPtr);
  }
  if (orientation == SQL_FETCH_BOOKMARK) {
    if (!stmt.fetchBookmarkPtr) return refuse(stmt, "HY111");
    if (offset != 0) return refuse(stmt, "HYC00");  // ODBC 2 cannot count from a bookmark
    offset = *stmt.fetchBookmarkPtr;
  }
  return extendedFetch(stmt, driver, SQLUSMALLINT(orientation), offset, stmt.ard->arraySize,
                       rows.rowsProcessedPtr, rows.arrayStatusPtr);
}

SQLRETURN driverExtendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                              SQLLEN offset, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr) {
  if (driver.SQLExtendedFetch) {
    return extendedFetch(stmt, driver, orientation, offset, stmt.rowsetSize, rowCountPtr, statusPtr);
  }
  if (driver.SQLFetchScroll) {
    return scrollForExtendedFetch(stmt, driver, orientation, offset, rowCountPtr, statusPtr);
  }
  if (orientation != SQL_FETCH_NEXT || stmt.rowsetSize > 1) return driverLacksFunction;
  return fetchOneRow(stmt, driver, rowCountPtr, statusPtr);
}

SQLRETURN driverSetPos(DMStmt& stmt, const DMDriverFunctions& driver, SQLSETPOSIROW row,
                       SQLUSMALLINT operation, SQLUSMALLINT lock) {
  // Adding rows is no business of SQLSetPos in ODBC 3.
  if (operation == SQL_ADD && isVersion3Driver(*stmt.conn) && driver.SQLBulkOperations) {
    return driver.SQLBulkOperations(stmt.driverHandle, SQL_ADD);
  }
  return ask(driver.SQLSetPos, stmt.driverHandle, row, operation, lock);
}

SQLRETURN driverBulkOperations(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT operation) {
  if (driver.SQLBulkOperations) return driver.SQLBulkOperations(stmt.driverHandle, operation);
  if (operation != SQL_ADD) return driverLacksFunction;
  constexpr SQLSETPOSIROW EVERY_ROW = 0;
  return ask(driver.SQLSetPos, stmt.driverHandle, EVERY_ROW, SQLUSMALLINT(SQL_ADD),
             SQLUSMALLINT(SQL_LOCK_NO_CHANGE));
}

SQLRETURN driverCloseCursor(DMStmt& stmt, const DMDriverFunctions& driver) {
  if (driver.SQLCloseCursor && (isVersion3Driver(*stmt.conn) || !driver.SQLFreeStmt)) {
    return driver.SQLCloseCursor(stmt.driverHandle);
  }
  return ask(driver.SQLFreeStmt, stmt.driverHandle, SQLUSMALLINT(SQL_CLOSE));
}

}  // namespace dm
