// SQLCancel and SQLCancelHandle.
//
// A cancel may come from another thread while a call is under way on the statement. Then it reaches the
// driver at once, without the statement's locks, if that call is in the driver; a call of the cursor library
// that is just between two driver calls finds the cancel before its next one. When the call has ended there
// is nothing left to cancel, unless it waits for data or still executes.
//
// A statement on which nothing waits is idle. Its cancel has no effect unless the driver says so: drivers
// of ODBC 2 close the cursor.

#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/driverdiagnostics.h"

using namespace dm;

namespace {

bool isBusy(const DMStmt& stmt) { return __atomic_load_n(&stmt.busy, __ATOMIC_RELAXED) != 0; }

// The driver's SQLCancel. Its diagnostics are not fetched while a call of another thread is in the driver:
// they are that call's.
SQLRETURN cancelInDriver(DMStmt& stmt, bool fetchesDiagnostics) {
  if (!stmt.driverHandle) return SQL_INVALID_HANDLE;
  const SQLRETURN rc = ask(stmt.conn->driverFunctions->SQLCancel, stmt.driverHandle);
  if (rc == kDriverLacksFunction) return fail(stmt, "IM001");
  if (fetchesDiagnostics && (rc == SQL_SUCCESS_WITH_INFO || rc == SQL_ERROR)) pullDriverErrors(stmt);
  return rc;
}

// A call of another thread is under way.
SQLRETURN cancelRunning(DMStmt& stmt) {
  DMStmtState& state = *stmt.state;
  const std::lock_guard lock(state.cancelLock);
  DMStmt& inDriver = state.driverStmt ? *state.driverStmt : stmt;
  if (libraryOf(stmt)) {
    state.cancelAsked.store(true, std::memory_order_relaxed);
    if (!isBusy(inDriver)) return SQL_SUCCESS;
  }
  return cancelInDriver(inDriver, false);
}

// True if a cancel that returned `rc` closed the cursor.
bool closesCursor(DMStmt& stmt, SQLRETURN rc) {
  constexpr unsigned short kCancelWasClose[] = {'0', '1', 'S', '0', '5', 0};
  if (!SQL_SUCCEEDED(rc)) return false;
  return stmt.conn->driverVersion == 100 || stmt.SearchStatusCode(kCancelWasClose);
}

// The statement waits for data or still executes. The cursor library sends the cancel to the driver by
// itself; its diagnostics are fetched when the library asks for them, at the latest at the end.
SQLRETURN cancelPending(DMStmt& stmt, const CursorLibrary& library) {
  __atomic_store_n(&stmt.cancelThread, pthread_self(), __ATOMIC_RELAXED);
  SQLRETURN rc;
  {
    const InLibrary inLibrary(&stmt);
    rc = library.CLCancel(&stmt);
  }
  if (__atomic_load_n(&stmt.cancelThread, __ATOMIC_RELAXED) != pthread_self()) return rc;
  __atomic_store_n(&stmt.cancelThread, pthread_t{}, __ATOMIC_RELAXED);
  if (rc == SQL_SUCCESS_WITH_INFO || rc == SQL_ERROR) pullDriverErrors(stmt);
  return rc;
}

SQLRETURN cancelIdle(DMStmt& stmt) {
  const SQLRETURN rc = cancelInDriver(stmt, true);
  settleErrors(stmt);
  const CursorLibrary* library = libraryOf(stmt);
  if (!library || !closesCursor(stmt, rc)) return rc;
  const InLibrary inLibrary(&stmt);
  const SQLRETURN closed = library->CLFreeStmt(&stmt, SQL_CLOSE);
  return SQL_SUCCEEDED(closed) ? rc : closed;
}

// No other call is under way.
SQLRETURN cancelEntered(DMStmt& stmt) {
  beginCall(stmt);
  const CallScope scope(stmt, Api::Cancel);
  const SQLRETURN rc = guardCall(stmt, [&]() -> SQLRETURN {
    const CursorLibrary* library = sequencePending(stmt) ? libraryOf(stmt) : nullptr;
    const SQLRETURN cancelled = library ? cancelPending(stmt, *library) : cancelIdle(stmt);
    if (SQL_SUCCEEDED(cancelled)) sequenceCancelled(stmt, closesCursor(stmt, cancelled));
    return cancelled;
  });
  return endCall(stmt, stmt.conn, rc);
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLCancel(SQLHSTMT handle) {
  return traced(
      "SQLCancel",
      [&](const auto&...) -> SQLRETURN {
        auto* marked = static_cast<DMStmt*>(handle);
        if (isMarked(marked))
          return guardCall(*marked, [&] { return cancelInDriver(*marked, !isBusy(*marked)); });
        const Pinned<DMStmt> stmt(handle);
        if (!stmt) return SQL_INVALID_HANDLE;
        SQLRETURN rc = SQL_SUCCESS;
        if (!tryEnter(*stmt)) {
          rc = guardCall(*stmt, [&] { return cancelRunning(*stmt); });
          // The cursor library's call may end with more to cancel: wait for it.
          if (!libraryOf(*stmt)) return rc;
          if (!enter(*stmt)) return SQL_INVALID_HANDLE;
          if (!sequencePending(*stmt)) {
            leave(*stmt);
            return rc;
          }
        }
        rc = cancelEntered(*stmt);
        leave(*stmt);
        return rc;
      },
      handle);
}

ZU_API SQLRETURN SQL_API SQLCancelHandle(SQLSMALLINT type, SQLHANDLE handle) {
  return traced(
      "SQLCancelHandle",
      [&](const auto&...) -> SQLRETURN {
        switch (type) {
          case SQL_HANDLE_STMT: return SQLCancel(handle);
          case SQL_HANDLE_DBC:  // no driver is asked to work on a connection asynchronously
            return callOwn(static_cast<DMConn*>(handle), Api::Cancel,
                           [](DMConn& conn) { return fail(conn, "HYC00"); });
          default:
            return callOwn(static_cast<DMHandle*>(handle), Api::Cancel,
                           [](DMHandle& other) { return fail(other, "HY092"); });
        }
      },
      type, handle);
}

}  // extern "C"
