// SQLEndTran and SQLTransact, and the transaction services for the cursor library.

#include "zuodbc/call/entry.h"
#include "zuodbc/dmservices.h"
#include "zuodbc/driver/attach.h"

using namespace dm;

namespace {

SQLRETURN endInDriver(DMConn& conn, unsigned short completion, bool endTran) {
  auto work = [&](DMConn& conn, const DMDriverFunctions& driver) -> SQLRETURN {
    bool newForm = driver.SQLEndTran && (endTran || !driver.SQLTransact);
    if (newForm)
      return driver.SQLEndTran(SQL_HANDLE_DBC, conn.driverHandle, static_cast<SQLSMALLINT>(completion));
    return ask(driver.SQLTransact, SQLHENV(nullptr), conn.driverHandle, completion);
  };
  return askDriver(conn, *conn.driverFunctions, Api::EndTran, work);
}

void statementsAfterEnd(DMConn& conn, unsigned short completion) {
  std::lock_guard guard(conn.state->lock);
  for (DMStmt* stmt = conn.state->firstStmt; stmt; stmt = stmt->state->next) {
    sequenceTransactionEnded(*stmt, conn.cursorBehavior[completion]);
  }
}

// On one live, connected connection, for the application.
SQLRETURN endOnConnection(DMConn& conn, unsigned short completion, Api api) {
  if (!requireNonePending(conn)) return SQL_ERROR;
  const CursorLibrary* library = conn.state->cursorLibrary;
  SQLRETURN rc;
  if (!library) {
    rc = endInDriver(conn, completion, true);
  } else if (api == Api::EndTran) {
    rc = library->CLEndTran(SQL_HANDLE_DBC, &conn, static_cast<SQLSMALLINT>(completion));
  } else {
    rc = library->CLTransact(conn.env, &conn, completion);
  }
  if (SQL_SUCCEEDED(rc)) statementsAfterEnd(conn, completion);
  return rc;
}

std::vector<DMConn*> connectedOf(DMEnv& env) {
  std::lock_guard guard(env.state->lock);
  std::vector<DMConn*> found;
  for (DMConn* conn : env.state->connections) {
    if (conn->state->connected) found.push_back(conn);
  }
  return found;
}

// All connections are tried; the causes of a failure stand on the connections that failed.
SQLRETURN endOnEnvironment(DMEnv& env, unsigned short completion, Api api) {
  SQLRETURN result = SQL_SUCCESS;
  for (DMConn* conn : connectedOf(env)) {
    SQLRETURN rc = callOwn(conn, api, [&](DMConn& conn) { return endOnConnection(conn, completion, api); });
    if (!SQL_SUCCEEDED(rc)) {
      result = SQL_ERROR;
    } else if (result != SQL_ERROR) {
      result = joined(result, rc);
    }
  }
  if (result == SQL_ERROR)
    postError(env, "25S01", "Transaction state unknown: a connection could not end its own");
  return result;
}

SQLRETURN endTransaction(SQLHENV env, SQLHDBC conn, unsigned short completion, Api api) {
  bool valid = completion == SQL_COMMIT || completion == SQL_ROLLBACK;
  if (conn) {
    return callOwn(findConnection(conn), api, [&](DMConn& conn) -> SQLRETURN {
      if (!requireConnected(conn)) return SQL_ERROR;
      return valid ? endOnConnection(conn, completion, api) : fail(conn, "HY012");
    });
  }
  return callEnvironment(env, api, [&](DMEnv& env) -> SQLRETURN {
    return valid ? endOnEnvironment(env, completion, api) : fail(env, "HY012");
  });
}

}  // namespace

int DMHandle::DoTransaction(short type, unsigned short completion, int endTran) {
  if (type == SQL_HANDLE_DBC && handleType == DM_CONN) {
    auto& conn = static_cast<DMConn&>(*this);
    if (!conn.driverFunctions) return SQL_ERROR;
    return guardRoad(conn, [&] { return endInDriver(conn, completion, endTran != 0); });
  }
  if (handleType != DM_ENV) return SQL_INVALID_HANDLE;
  auto& env = static_cast<DMEnv&>(*this);
  return guardRoad(env, [&]() -> SQLRETURN {
    SQLRETURN result = SQL_SUCCESS;
    for (DMConn* conn : connectedOf(env)) {
      SQLRETURN rc = endInDriver(*conn, completion, endTran != 0);
      result = SQL_SUCCEEDED(rc) ? result : SQL_ERROR;
    }
    return result;
  });
}

extern "C" {

SQLRETURN DMCursorLibTransact(DMEnv* env, DMConn* conn, unsigned short completion) {
  if (conn) return static_cast<SQLRETURN>(conn->DoTransaction(SQL_HANDLE_DBC, completion, 1));
  if (!env) return SQL_INVALID_HANDLE;
  return static_cast<SQLRETURN>(env->DoTransaction(SQL_HANDLE_ENV, completion, 1));
}

ZU_API SQLRETURN SQL_API SQLEndTran(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion) {
  auto number = static_cast<unsigned short>(completion);
  if (type == SQL_HANDLE_DBC) {
    return handle ? endTransaction(nullptr, handle, number, Api::EndTran) : SQL_INVALID_HANDLE;
  }
  if (type == SQL_HANDLE_ENV) return endTransaction(handle, nullptr, number, Api::EndTran);
  return callOwn(findAnyHandle(handle), Api::EndTran, [](DMHandle& any) { return fail(any, "HY092"); });
}

ZU_API SQLRETURN SQL_API SQLTransact(SQLHENV env, SQLHDBC conn, SQLUSMALLINT completion) {
  return endTransaction(env, conn, completion, Api::Transact);
}
}
