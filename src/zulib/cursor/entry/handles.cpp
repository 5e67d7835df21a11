// The end of handles, and CLCancel.

#include "zulib/cursor/entry/bindinfo.h"
#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/queue.h"
#include "zulib/cursor/entry/stmtresources.h"
#include "zuodbc/dmservices.h"

namespace {

constexpr long LOCK_STATEMENT = SQL_HANDLE_STMT;
constexpr unsigned short ODBC_VERSION_1 = 100;

// Whether a cancel that answered `rc` closed the driver's result as well. The driver's diagnostics are
// taken over on the way.
bool cancelCloses(DMStmt* stmt, SQLRETURN rc) {
  const unsigned short version = stmt->conn->driverVersion;
  bool closes = false;
  if (rc == SQL_SUCCESS_WITH_INFO && version > ODBC_VERSION_1) {
    closes = clQueued(stmt, u"01S05");
    stmt->RetrieveDriverErrorsRowCol(stmt, 1, -2, -2);
  }
  // A driver of the first version has no code for it: its cancel of an idle statement is a close.
  return closes || (!clFailed(rc) && !stmt->busy && version == ODBC_VERSION_1);
}

// `locked` tells that the statement's call lock was taken, which outlives the library's lock.
SQLRETURN cancelCursor(DMStmt* stmt, bool* locked) {
  SQLRETURN rc = stmt->cursor->cancel();
  LockHandle(stmt, LOCK_STATEMENT, 1);
  *locked = true;
  if (!cancelCloses(stmt, rc)) return rc;
  endResult(stmt);
  if (!(stmt->flags & DM_STMT_PREPARED)) deleteParser(stmt);
  return rc;
}

bool isSavedRowDescriptor(const DMDesc* desc) {
  DMConn* conn = desc->conn;
  for (DMStmt* stmt = conn->GetFirstStmtFromDbcList(); stmt; stmt = conn->GetNextStmtFromDbcList(stmt))
    if (stmt->savedArd == desc) return true;
  return false;
}

SQLRETURN freeDescriptor(DMDesc* desc) {
  // A cursor will put it back in its place when it ends.
  if (isSavedRowDescriptor(desc)) return clError(desc, clmsg::NotSupported);
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
  // Also when the cursor of another statement stands on the same descriptor.
  if (option == SQL_UNBIND && (stmt->cursor || !CheckModifyDesc(stmt->ard)))
    return clError(stmt, clmsg::BindingFixed);
  return guarded(stmt, [&] {
    SQLRETURN rc = ReleaseCLStmtResources(stmt, option);
    if (clFailed(rc)) return rc;
    return stmt->parser ? stmt->parser->freeStmt(option) : CursorLibFreeStmt(stmt, option);
  });
}

SQLRETURN CLCancel(SQLHSTMT handle) {
  auto* stmt = static_cast<DMStmt*>(handle);
  // Without an object to tell, nothing is waited for: the driver may be busy in another thread.
  if (!stmt->cursor && !stmt->parser) return DriverSQLCancel(stmt);
  bool locked = false;
  SQLRETURN rc = guarded(stmt, [&] {
    if (stmt->cursor) return cancelCursor(stmt, &locked);
    return stmt->parser ? stmt->parser->cancel() : DriverSQLCancel(stmt);
  });
  if (locked) LockHandle(stmt, LOCK_STATEMENT, 0);
  return rc;
}
