// SQLEndTran and SQLTransact, and the transaction services for the cursor library.

#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/dmservices.h"
#include "zuodbc/driver/attach.h"

using namespace dm;

namespace {

SQLRETURN endInDriver(DMConn& conn, unsigned short completion, bool endTran) {
  auto work = [&](DMConn& conn, const DMDriverFunctions& driver) -> SQLRETURN {
    const bool newForm = driver.SQLEndTran && (endTran || !driver.SQLTransact);
    if (newForm)
      return ask(driver.SQLEndTran, static_cast<SQLSMALLINT>(SQL_HANDLE_DBC), conn.driverHandle,
                 static_cast<SQLSMALLINT>(completion));
    return ask(driver.SQLTransact, SQLHENV(nullptr), conn.driverHandle, completion);
  };
  return askDriver(conn, *conn.driverFunctions, Api::EndTran, work);
}

// On one live, connected connection, for the application.
SQLRETURN endOnConnection(DMConn& conn, unsigned short completion, Api api) {
  const EnteredStatements statements(conn);
  if (!requireNonePending(conn)) return SQL_ERROR;
  for (DMStmt* stmt : statements) stmt->state->call = Api::EndTran;
  const CursorLibrary* library = conn.state->cursorLibrary;
  SQLRETURN rc;
  if (!library) {
    rc = endInDriver(conn, completion, true);
  } else {
    const InLibrary inLibrary(nullptr);
    rc = api == Api::EndTran ? library->CLEndTran(SQL_HANDLE_DBC, &conn, static_cast<SQLSMALLINT>(completion))
                             : library->CLTransact(conn.env, &conn, completion);
  }
  if (!SQL_SUCCEEDED(rc)) return rc;
  for (DMStmt* stmt : statements) sequenceTransactionEnded(*stmt, conn.cursorBehavior[completion]);
  return rc;
}

// The connections of an environment, kept alive.
class PinnedConnections {
 public:
  explicit PinnedConnections(DMEnv& env) {
    const std::lock_guard guard(env.state->lock);
    connections = env.state->connections;
    for (DMConn* conn : connections) pin(*conn);
  }
  PinnedConnections(const PinnedConnections&) = delete;
  PinnedConnections& operator=(const PinnedConnections&) = delete;
  ~PinnedConnections() {
    for (DMConn* conn : connections) unpin(*conn);
  }
  auto begin() const { return connections.begin(); }
  auto end() const { return connections.end(); }

 private:
  std::vector<DMConn*> connections;
};

// All connected connections are tried; the causes of a failure are queued on the connections that failed.
SQLRETURN endOnEnvironment(DMEnv& env, unsigned short completion, Api api) {
  SQLRETURN result = SQL_SUCCESS;
  for (DMConn* conn : PinnedConnections(env)) {
    const SQLRETURN rc = callOwn(conn, api, [&](DMConn& conn) -> SQLRETURN {
      return conn.state->connected ? endOnConnection(conn, completion, api) : SQLRETURN(SQL_SUCCESS);
    });
    if (rc == SQL_INVALID_HANDLE) continue;  // freed meanwhile
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
    return callOwn(static_cast<DMConn*>(conn), api, [&](DMConn& conn) -> SQLRETURN {
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
    return guardCall(conn, [&] { return endInDriver(conn, completion, endTran != 0); });
  }
  if (handleType != DM_ENV) return SQL_INVALID_HANDLE;
  auto& env = static_cast<DMEnv&>(*this);
  return guardCall(env, [&]() -> SQLRETURN {
    SQLRETURN result = SQL_SUCCESS;
    for (DMConn* conn : PinnedConnections(env)) {
      const Entered<DMConn> entered(conn);
      if (!entered || !conn->state->connected) continue;
      const SQLRETURN rc = endInDriver(*conn, completion, endTran != 0);
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
  return traced(
      "SQLEndTran",
      [&](const auto&...) -> SQLRETURN {
        auto number = static_cast<unsigned short>(completion);
        if (type == SQL_HANDLE_DBC) {
          return handle ? endTransaction(nullptr, handle, number, Api::EndTran) : SQL_INVALID_HANDLE;
        }
        if (type == SQL_HANDLE_ENV) return endTransaction(handle, nullptr, number, Api::EndTran);
        return callOwn(static_cast<DMHandle*>(handle), Api::EndTran,
                       [](DMHandle& any) { return fail(any, "HY092"); });
      },
      type, handle, completion);
}

ZU_API SQLRETURN SQL_API SQLTransact(SQLHENV env, SQLHDBC conn, SQLUSMALLINT completion) {
  return traced(
      "SQLTransact",
      [&](const auto&...) -> SQLRETURN { return endTransaction(env, conn, completion, Api::Transact); }, env,
      conn, completion);
}
}
