// Handles come and go: SQLAllocHandle, SQLFreeHandle and their ODBC 2 forms.

#include <new>

#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/pool.h"

using namespace dm;

namespace {

SQLRETURN allocateEnvironment(SQLHANDLE* out, long odbcVersion) {
  startConfiguredTrace();
  auto* env = new (std::nothrow) DMEnv;
  if (!env || !env->state || !env->isWhole()) {
    delete env;
    return SQL_ERROR;
  }
  env->odbcVersion = odbcVersion;
  env->state->connectionPooling = processPooling();
  *out = env;
  return SQL_SUCCESS;
}

SQLRETURN allocateConnection(DMEnv& env, SQLHANDLE* out) {
  if (env.odbcVersion == 0) return fail(env, "HY010");
  auto* conn = new (std::nothrow) DMConn(&env);
  if (!conn || !conn->state || !conn->isWhole()) {
    delete conn;
    return failForMemory(env);
  }
  const std::lock_guard guard(env.state->lock);
  try {
    env.state->connections.push_back(conn);
  } catch (const std::bad_alloc&) {
    delete conn;
    throw;
  }
  *out = conn;
  return SQL_SUCCESS;
}

// The driver's handle for a new statement or descriptor, asked on the connection.
SQLRETURN allocateInDriver(DMConn& conn, SQLSMALLINT type, Api api, SQLHANDLE* driverHandle) {
  auto work = [&](DMConn& conn, const DMDriverFunctions& driver) -> SQLRETURN {
    if (driver.SQLAllocHandle) return ask(driver.SQLAllocHandle, type, conn.driverHandle, driverHandle);
    if (type == SQL_HANDLE_STMT) return ask(driver.SQLAllocStmt, conn.driverHandle, driverHandle);
    return kDriverLacksFunction;
  };
  return askDriver(conn, *conn.driverFunctions, api, work);
}

SQLRETURN allocateStatement(DMConn& conn, Api api, bool ofCursorLibrary, SQLHANDLE* out) {
  DMStmt* stmt = makeStatement(conn, ofCursorLibrary);
  if (!stmt) return failForMemory(conn);
  const SQLRETURN rc = allocateInDriver(conn, SQL_HANDLE_STMT, api, &stmt->driverHandle);
  if (!SQL_SUCCEEDED(rc)) {
    retireStatement(stmt);
    return rc;
  }
  *out = stmt;
  return rc;
}

SQLRETURN allocateDescriptor(DMConn& conn, Api api, bool ofCursorLibrary, SQLHANDLE* out) {
  DMDesc* desc = makeDescriptor(conn, ofCursorLibrary);
  if (!desc) return failForMemory(conn);
  const SQLRETURN rc = allocateInDriver(conn, SQL_HANDLE_DESC, api, &desc->driverHandle);
  if (!SQL_SUCCEEDED(rc)) {
    retireDescriptor(desc);
    return rc;
  }
  *out = desc;
  return rc;
}

// A statement or a descriptor. What the cursor library allocates under its mark is its own.
SQLRETURN allocateOnConnection(SQLSMALLINT type, SQLHANDLE input, Api api, SQLHANDLE* out) {
  const auto allocate = type == SQL_HANDLE_STMT ? allocateStatement : allocateDescriptor;
  auto* conn = static_cast<DMConn*>(input);
  if (isMarked(conn)) {
    return guardCall(*conn, [&] { return allocate(*conn, api, true, out); });
  }
  return callOwn(conn, api, [&](DMConn& entered) -> SQLRETURN {
    if (!out) return fail(entered, "HY009");
    *out = nullptr;
    if (!requireConnected(entered)) return SQL_ERROR;
    return allocate(entered, api, false, out);
  });
}

SQLRETURN freeEnvironment(SQLHENV handle) {
  Entered<DMEnv> env(handle);
  if (!env) return SQL_INVALID_HANDLE;
  beginCall(*env);
  std::unique_lock guard(env->state->lock);
  if (!env->state->connections.empty()) return endCall(*env, nullptr, fail(*env, "HY010"));
  guard.unlock();
  closePool(*env);
  delete env.takeOut();
  return SQL_SUCCESS;
}

SQLRETURN freeConnection(SQLHDBC handle) {
  Entered<DMConn> conn(handle);
  if (!conn) return SQL_INVALID_HANDLE;
  beginCall(*conn);
  if (conn->state->connected || conn->state->browsing) return endCall(*conn, &*conn, fail(*conn, "HY010"));
  {
    const std::lock_guard guard(conn->env->state->lock);
    std::erase(conn->env->state->connections, &*conn);
  }
  delete conn.takeOut();
  return SQL_SUCCESS;
}

// Takes the driver's handle away from a cancel in another thread, which may be about to use it.
void* takeDriverHandle(DMStmt& stmt) {
  const std::lock_guard lock(stmt.state->cancelLock);
  return std::exchange(stmt.driverHandle, nullptr);
}

// The driver's side of a statement; what is gone already counts as freed. A handle that the driver has freed
// is not asked for diagnostics, whatever its code.
SQLRETURN freeStatementInDriver(DMStmt& stmt) {
  if (!stmt.driverHandle) return SQL_SUCCESS;
  auto work = [](DMStmt& stmt, const DMDriverFunctions& driver) -> SQLRETURN {
    void* const handle = takeDriverHandle(stmt);
    const SQLRETURN rc = driver.SQLFreeHandle
                             ? ask(driver.SQLFreeHandle, static_cast<SQLSMALLINT>(SQL_HANDLE_STMT), handle)
                             : ask(driver.SQLFreeStmt, handle, static_cast<SQLUSMALLINT>(SQL_DROP));
    if (!SQL_SUCCEEDED(rc)) stmt.driverHandle = handle;
    return rc;
  };
  return askDriver(stmt, *stmt.conn->driverFunctions, Api::FreeHandle, work);
}

SQLRETURN freeDescriptorInDriver(DMDesc& desc) {
  if (!desc.driverHandle) return SQL_SUCCESS;
  auto work = [](DMDesc& desc, const DMDriverFunctions& driver) {
    void* const handle = std::exchange(desc.driverHandle, nullptr);
    const SQLRETURN rc = ask(driver.SQLFreeHandle, static_cast<SQLSMALLINT>(SQL_HANDLE_DESC), handle);
    if (!SQL_SUCCEEDED(rc)) desc.driverHandle = handle;
    return rc;
  };
  return askDriver(desc, *desc.conn->driverFunctions, Api::FreeHandle, work);
}

// Has the driver use `desc` for rows or parameters of a statement, or the statement's own descriptor if null.
void useInDriver(DMStmt& stmt, SQLINTEGER attribute, SQLHDESC desc) {
  const DMDriverFunctions& driver = *stmt.conn->driverFunctions;
  if (!driver.SQLSetStmtAttr || !stmt.driverHandle) return;
  stmt.lock();
  guardQuietly([&] { return driver.SQLSetStmtAttr(stmt.driverHandle, attribute, desc, SQL_IS_POINTER); });
  stmt.unlock();
}

// Frees the driver's side of an application's descriptor. First the driver has the statements that use it go
// back to their own, or it would keep the address of what is freed.
SQLRETURN freeUsedDescriptor(DMDesc& desc) {
  const DMStmtList statements(desc.conn);
  const auto use = [&](SQLHDESC inDriver) {
    for (DMStmt* stmt : statements) {
      if (isDescriptor(stmt->ard, &desc)) useInDriver(*stmt, SQL_ATTR_APP_ROW_DESC, inDriver);
      if (isDescriptor(stmt->apd, &desc)) useInDriver(*stmt, SQL_ATTR_APP_PARAM_DESC, inDriver);
    }
  };
  use(SQL_NULL_HDESC);
  const SQLRETURN rc = freeDescriptorInDriver(desc);
  if (!SQL_SUCCEEDED(rc)) use(desc.driverHandle);
  return rc;
}

SQLRETURN dropMarkedDescriptor(DMDesc& desc) {
  return guardCall(desc, [&]() -> SQLRETURN {
    const SQLRETURN rc = freeUsedDescriptor(desc);
    if (SQL_SUCCEEDED(rc) && desc.state->ofCursorLibrary) retireDescriptor(&desc);
    return rc;
  });
}

SQLRETURN dropDescriptor(SQLHDESC handle) {
  auto* marked = static_cast<DMDesc*>(handle);
  if (isMarked(marked)) return dropMarkedDescriptor(*marked);
  Entered<DMDesc> desc(handle);
  if (!desc) return SQL_INVALID_HANDLE;
  DMConn* const conn = desc->conn;
  beginCall(*desc);
  const SQLRETURN rc = guardCall(*desc, [&]() -> SQLRETURN {
    if (!desc->isExplicit()) return fail(*desc, "HY017");
    const CursorLibrary* library = conn->state->cursorLibrary;
    if (!library) {
      const EnteredStatements users(*conn, &*desc);
      return freeUsedDescriptor(*desc);
    }
    // What the cursor library has allocated for itself it frees here, inside its call on the statement.
    if (desc->state->ofCursorLibrary) return freeUsedDescriptor(*desc);
    const EnteredStatements users(*conn, &*desc);
    const InLibrary inLibrary(nullptr);
    return library->CLFreeHandle(SQL_HANDLE_DESC, &*desc);
  });
  if (!SQL_SUCCEEDED(rc)) return endCall(*desc, conn, rc);
  leaveLists(*desc);
  retireDescriptor(desc.takeOut());
  return endCall(*conn, conn, rc);
}

SQLRETURN dropStatement(SQLHSTMT handle) {
  auto* marked = static_cast<DMStmt*>(handle);
  if (isMarked(marked)) {
    return guardCall(*marked, [&]() -> SQLRETURN {
      const SQLRETURN rc = freeStatementInDriver(*marked);
      if (SQL_SUCCEEDED(rc) && marked->ofCursorLibrary) retireStatement(marked);
      return rc;
    });
  }
  Entered<DMStmt> stmt(handle);
  if (!stmt) return SQL_INVALID_HANDLE;
  DMConn* const conn = stmt->conn;
  beginCall(*stmt);
  const SQLRETURN rc = guardCall(*stmt, [&]() -> SQLRETURN {
    const CallScope scope(*stmt, Api::FreeHandle);
    if (sequencePending(*stmt)) return fail(*stmt, "HY010");
    const CursorLibrary* library = libraryOf(*stmt);
    if (!library) return freeStatementInDriver(*stmt);
    const InLibrary inLibrary(&*stmt);
    return library->CLFreeHandle(SQL_HANDLE_STMT, &*stmt);
  });
  if (!SQL_SUCCEEDED(rc)) return endCall(*stmt, conn, rc);
  leaveLists(*stmt);
  retireStatement(stmt.takeOut());
  if (!isInLibrary()) reapReleased(*conn, false);
  return rc;
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* out) {
  return traced(
      "SQLAllocHandle",
      [&](const auto&...) -> SQLRETURN {
        switch (type) {
          case SQL_HANDLE_ENV: return out ? allocateEnvironment(out, 0) : SQL_ERROR;
          case SQL_HANDLE_DBC:
            return callEnvironment(input, Api::AllocHandle, [&](DMEnv& env) -> SQLRETURN {
              if (!out) return fail(env, "HY009");
              *out = nullptr;
              return allocateConnection(env, out);
            });
          case SQL_HANDLE_STMT:
          case SQL_HANDLE_DESC: return allocateOnConnection(type, input, Api::AllocHandle, out);
          default: {
            return callOwn(static_cast<DMHandle*>(input), Api::AllocHandle,
                           [](DMHandle& any) { return fail(any, "HY092"); });
          }
        }
      },
      type, input, out);
}

// What the standard calls SQLAllocHandle has no other way to say the version.
ZU_API SQLRETURN SQL_API SQLAllocHandleStd(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* out) {
  return traced(
      "SQLAllocHandleStd",
      [&](const auto&...) -> SQLRETURN {
        if (type != SQL_HANDLE_ENV) return SQLAllocHandle(type, input, out);
        return out ? allocateEnvironment(out, SQL_OV_ODBC3) : SQL_ERROR;
      },
      type, input, out);
}

ZU_API SQLRETURN SQL_API SQLAllocEnv(SQLHENV* out) {
  return traced(
      "SQLAllocEnv",
      [&](const auto&...) -> SQLRETURN { return out ? allocateEnvironment(out, SQL_OV_ODBC2) : SQL_ERROR; },
      out);
}

ZU_API SQLRETURN SQL_API SQLAllocConnect(SQLHENV env, SQLHDBC* out) {
  return traced(
      "SQLAllocConnect",
      [&](const auto&...) -> SQLRETURN { return SQLAllocHandle(SQL_HANDLE_DBC, env, out); }, env, out);
}

ZU_API SQLRETURN SQL_API SQLAllocStmt(SQLHDBC conn, SQLHSTMT* out) {
  return traced(
      "SQLAllocStmt",
      [&](const auto&...) -> SQLRETURN {
        return allocateOnConnection(SQL_HANDLE_STMT, conn, Api::AllocStmt, out);
      },
      conn, out);
}

ZU_API SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
  return traced(
      "SQLFreeHandle",
      [&](const auto&...) -> SQLRETURN {
        switch (type) {
          case SQL_HANDLE_ENV: return freeEnvironment(handle);
          case SQL_HANDLE_DBC: return freeConnection(handle);
          case SQL_HANDLE_STMT: return dropStatement(handle);
          case SQL_HANDLE_DESC: return dropDescriptor(handle);
          default: return SQL_INVALID_HANDLE;
        }
      },
      type, handle);
}

ZU_API SQLRETURN SQL_API SQLFreeEnv(SQLHENV env) {
  return traced(
      "SQLFreeEnv", [&](const auto&...) -> SQLRETURN { return freeEnvironment(env); }, env);
}
ZU_API SQLRETURN SQL_API SQLFreeConnect(SQLHDBC conn) {
  return traced(
      "SQLFreeConnect", [&](const auto&...) -> SQLRETURN { return freeConnection(conn); }, conn);
}
}
