// The end of a transaction, which depending on the driver's cursor behaviour is also the end of cursors and
// of prepared statements.

#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/entry/guard.h"
#include "zulib/cursor/entry/resources.h"
#include "zulib/cursor/internal/forward.h"

namespace {

SQLRETURN DoTransact(DMEnv* env, DMConn* conn, unsigned short completion) {
  const SQLRETURN rc = CursorLibTransact(env, conn, completion);
  if (clFailed(rc) || !conn || completion > SQL_ROLLBACK) return rc;
  const unsigned short behavior = conn->cursorBehavior[completion];
  if (behavior == SQL_CB_PRESERVE || !conn->GetFirstStmtFromDbcList()) return rc;
  return guarded(conn, [&] {
    for (DMStmt* stmt : DMStmtList(conn)) {
      endResult(stmt);
      if (behavior == SQL_CB_DELETE) deleteParser(stmt);
    }
    return rc;
  });
}

}  // namespace

SQLRETURN CLEndTran(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion) {
  const auto how = static_cast<unsigned short>(completion);
  switch (type) {
    case SQL_HANDLE_ENV: return DoTransact(static_cast<DMEnv*>(handle), nullptr, how);
    case SQL_HANDLE_DBC: {
      auto* conn = static_cast<DMConn*>(handle);
      return DoTransact(conn->env, conn, how);
    }
    default: return SQL_INVALID_HANDLE;
  }
}

SQLRETURN CLTransact(SQLHENV env, SQLHDBC conn, SQLUSMALLINT completion) {
  return DoTransact(static_cast<DMEnv*>(env), static_cast<DMConn*>(conn), completion);
}
