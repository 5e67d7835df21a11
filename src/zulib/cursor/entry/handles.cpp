// The end of handles, and CLCancel.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/resources.h"
#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/cursor/internal/forward.h"
#include "zuodbc/dmservices.h"

namespace {

constexpr long kLockStatement = SQL_HANDLE_STMT;
constexpr unsigned short kOdbcVersion1 = 100;

// Returns true if a cancel that returned `rc` has closed the driver's result as well. Takes over the driver's
// diagnostics.
bool cancelCloses(DMStmt* stmt, SQLRETURN rc) {
  const unsigned short version = stmt->conn->driverVersion;
  bool closes = false;
  if (rc == SQL_SUCCESS_WITH_INFO && version > kOdbcVersion1) {
    closes = clDriverSaid(stmt, u"01S05");
    clMoveErrors(stmt, stmt);
  }
  // A driver of the first version has no code for it: its cancel of an idle statement is a close.
  return closes || (!clFailed(rc) && !stmt->busy && version == kOdbcVersion1);
}

// A cancel concerns the call that is under way; a cursor without one is not disturbed. `*locked` is set when
// the statement's call lock has been taken, which is held longer than the library's lock.
SQLRETURN cancelCursor(DMStmt* stmt, bool* locked) {
  const SQLRETURN rc = stmt->cursor->cancel();
  if (!stmt->cursor->isSuspended()) stmt->cursor->forgetCancel();
  LockHandle(stmt, kLockStatement, 1);
  *locked = true;
  if (!cancelCloses(stmt, rc)) return rc;
  endResult(stmt);
  if (!(stmt->flags & DM_STMT_PREPARED)) deleteParser(stmt);
  return rc;
}

SQLRETURN freeDescriptor(DMDesc* desc) {
  // The cursor uses its records, and will put it back on the statement when it ends.
  if (statementReading(desc)) return clError(desc, clmsg::NotSupported);
  DropBindings(desc, nullptr);
  return CursorLibFreeHandle(SQL_HANDLE_DESC, desc);
}

}  // namespace

SQLRETURN CLFreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
  switch (type) {
    case SQL_HANDLE_ENV: return SQL_SUCCESS;
    case SQL_HANDLE_DBC: return CursorLibFreeHandle(type, static_cast<DMConn*>(handle));
    case SQL_HANDLE_STMT: return CLFreeStmt(handle, SQL_DROP);
    case SQL_HANDLE_DESC: return freeDescriptor(static_cast<DMDesc*>(handle));
    default: return SQL_INVALID_HANDLE;
  }
}

SQLRETURN CLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option) {
  auto* stmt = static_cast<DMStmt*>(handle);
  // Also if the cursor of another statement uses the same descriptor.
  if (option == SQL_UNBIND && (stmt->cursor || !CheckModifyDesc(stmt->ard)))
    return clError(stmt, clmsg::BindingFixed);
  return guarded(stmt, [&] {
    const SQLRETURN rc = ReleaseCLStmtResources(stmt, option);
    if (clFailed(rc)) return rc;
    if (stmt->parser) return stmt->parser->freeStmt(option);
    // The records of parameters outlive the SqlParser that made them.
    if (option == SQL_RESET_PARAMS) dropParameters(stmt);
    return CursorLibFreeStmt(stmt, option);
  });
}

SQLRETURN CLCancel(SQLHSTMT handle) {
  auto* stmt = static_cast<DMStmt*>(handle);
  // Without an object to tell, the lock is not waited for: the driver may be busy in another thread.
  if (!stmt->cursor && !stmt->parser) return DriverSQLCancel(stmt);
  bool locked = false;
  const SQLRETURN rc = guarded(stmt, [&] {
    if (stmt->cursor) return cancelCursor(stmt, &locked);
    if (!stmt->parser) return DriverSQLCancel(stmt);
    const SQLRETURN rc = stmt->parser->cancel();
    stmt->parser->settleCancel(rc);
    return rc;
  });
  if (locked) LockHandle(stmt, kLockStatement, 0);
  return rc;
}
