// Handles come and go: SQLAllocHandle, SQLFreeHandle and their ODBC 2 forms.

#include <new>

#include "zuodbc/call/entry.h"

using namespace dm;

namespace {

SQLRETURN allocateEnvironment(SQLHANDLE* out, long odbcVersion) {
  auto* env = new (std::nothrow) DMEnv;
  if (!env || !env->state || !env->reserve) {
    delete env;
    return SQL_ERROR;
  }
  env->odbcVersion = odbcVersion;
  *out = env;
  return SQL_SUCCESS;
}

SQLRETURN allocateConnection(DMEnv& env, SQLHANDLE* out) {
  if (env.odbcVersion == 0) return fail(env, "HY010");
  auto* conn = new (std::nothrow) DMConn(&env);
  if (!conn || !conn->state || !conn->reserve) {
    delete conn;
    return failForMemory(env);
  }
  std::lock_guard guard(env.state->lock);
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
    if (driver.SQLAllocHandle) return driver.SQLAllocHandle(type, conn.driverHandle, driverHandle);
    if (type == SQL_HANDLE_STMT) return ask(driver.SQLAllocStmt, conn.driverHandle, driverHandle);
    return driverLacksFunction;
  };
  return askDriver(conn, *conn.driverFunctions, api, work);
}

SQLRETURN allocateStatement(DMConn& conn, Api api, bool ofCursorLibrary, SQLHANDLE* out) {
  DMStmt* stmt = makeStatement(conn);
  if (!stmt) return failForMemory(conn);
  SQLRETURN rc = allocateInDriver(conn, SQL_HANDLE_STMT, api, &stmt->driverHandle);
  if (!SQL_SUCCEEDED(rc)) {
    retireStatement(stmt);
    return rc;
  }
  stmt->ofCursorLibrary = ofCursorLibrary;
  *out = stmt;
  return rc;
}

SQLRETURN allocateDescriptor(DMConn& conn, Api api, bool ofCursorLibrary, SQLHANDLE* out) {
  DMDesc* desc = makeDescriptor(conn);
  if (!desc) return failForMemory(conn);
  SQLRETURN rc = allocateInDriver(conn, SQL_HANDLE_DESC, api, &desc->driverHandle);
  if (!SQL_SUCCEEDED(rc)) {
    retireDescriptor(desc);
    return rc;
  }
  desc->state->ofCursorLibrary = ofCursorLibrary;
  *out = desc;
  return rc;
}

// A statement or a descriptor. What the cursor library allocates under its mark is its own.
SQLRETURN allocateOnConnection(SQLSMALLINT type, SQLHANDLE input, Api api, SQLHANDLE* out) {
  auto allocate = type == SQL_HANDLE_STMT ? allocateStatement : allocateDescriptor;
  auto* marked = static_cast<DMConn*>(input);
  if (isMarked(marked)) {
    return guardRoad(*marked, [&] { return allocate(*marked, api, true, out); });
  }
  return callOwn(findConnection(input), api, [&](DMConn& conn) -> SQLRETURN {
    if (!out) return fail(conn, "HY009");
    *out = nullptr;
    if (!requireConnected(conn)) return SQL_ERROR;
    return allocate(conn, api, false, out);
  });
}

SQLRETURN freeEnvironment(DMEnv* env, Api api) {
  if (!env) return SQL_INVALID_HANDLE;
  beginCall(*env, api);
  std::unique_lock guard(env->state->lock);
  if (!env->state->connections.empty()) return endCall(*env, nullptr, fail(*env, "HY010"));
  guard.unlock();
  delete env;
  return SQL_SUCCESS;
}

SQLRETURN freeConnection(DMConn* conn, Api api) {
  if (!conn) return SQL_INVALID_HANDLE;
  beginCall(*conn, api);
  if (conn->state->connected || conn->state->browsing) return endCall(*conn, conn, fail(*conn, "HY010"));
  {
    std::lock_guard guard(conn->env->state->lock);
    auto& list = conn->env->state->connections;
    std::erase(list, conn);
  }
  delete conn;
  return SQL_SUCCESS;
}

// The driver's side of a statement; what is gone already counts as freed.
SQLRETURN freeStatementInDriver(DMStmt& stmt, Api api) {
  if (!stmt.driverHandle) return SQL_SUCCESS;
  auto work = [](DMStmt& stmt, const DMDriverFunctions& driver) -> SQLRETURN {
    if (driver.SQLFreeHandle) return driver.SQLFreeHandle(SQL_HANDLE_STMT, stmt.driverHandle);
    return ask(driver.SQLFreeStmt, stmt.driverHandle, static_cast<SQLUSMALLINT>(SQL_DROP));
  };
  SQLRETURN rc = askDriver(stmt, *stmt.conn->driverFunctions, api, work);
  if (SQL_SUCCEEDED(rc)) stmt.driverHandle = nullptr;
  return rc;
}

SQLRETURN freeDescriptorInDriver(DMDesc& desc) {
  if (!desc.driverHandle) return SQL_SUCCESS;
  auto work = [](DMDesc& desc, const DMDriverFunctions& driver) {
    return ask(driver.SQLFreeHandle, static_cast<SQLSMALLINT>(SQL_HANDLE_DESC), desc.driverHandle);
  };
  SQLRETURN rc = askDriver(desc, *desc.conn->driverFunctions, Api::FreeHandle, work);
  if (SQL_SUCCEEDED(rc)) desc.driverHandle = nullptr;
  return rc;
}

SQLRETURN dropDescriptor(SQLHDESC handle) {
  auto* marked = static_cast<DMDesc*>(handle);
  if (isMarked(marked)) {
    return guardRoad(*marked, [&]() -> SQLRETURN {
      SQLRETURN rc = freeDescriptorInDriver(*marked);
      if (SQL_SUCCEEDED(rc) && marked->state->ofCursorLibrary) retireDescriptor(marked);
      return rc;
    });
  }
  DMDesc* desc = findDescriptor(handle);
  if (!desc) return SQL_INVALID_HANDLE;
  DMConn* conn = desc->conn;
  beginCall(*desc, Api::FreeHandle);
  SQLRETURN rc = guardRoad(*desc, [&]() -> SQLRETURN {
    if (!desc->isExplicit()) return fail(*desc, "HY017");
    const CursorLibrary* library = conn->state->cursorLibrary;
    // One that the cursor library made for itself goes here and now, not a second time on its way back.
    const bool own = desc->state->ofCursorLibrary;
    return library && !own ? library->CLFreeHandle(SQL_HANDLE_DESC, desc) : freeDescriptorInDriver(*desc);
  });
  if (!SQL_SUCCEEDED(rc)) return endCall(*desc, conn, rc);
  retireDescriptor(desc);
  return endCall(*conn, conn, rc);
}

}  // namespace

namespace dm {

SQLRETURN dropStatement(SQLHSTMT handle, Api api) {
  auto* marked = static_cast<DMStmt*>(handle);
  if (isMarked(marked)) {
    return guardRoad(*marked, [&]() -> SQLRETURN {
      SQLRETURN rc = freeStatementInDriver(*marked, api);
      if (SQL_SUCCEEDED(rc) && marked->ofCursorLibrary) retireStatement(marked);
      return rc;
    });
  }
  DMStmt* stmt = findStatement(handle);
  if (!stmt) return SQL_INVALID_HANDLE;
  DMConn* conn = stmt->conn;
  beginCall(*stmt, api);
  SQLRETURN rc = guardRoad(*stmt, [&]() -> SQLRETURN {
    if (sequencePending(*stmt)) return fail(*stmt, "HY010");
    const CursorLibrary* library = stmt->ofCursorLibrary ? nullptr : conn->state->cursorLibrary;
    if (!library) return freeStatementInDriver(*stmt, api);
    return api == Api::FreeStmt ? library->CLFreeStmt(stmt, SQL_DROP)
                                : library->CLFreeHandle(SQL_HANDLE_STMT, stmt);
  });
  if (!SQL_SUCCEEDED(rc)) return endCall(*stmt, conn, rc);
  retireStatement(stmt);
  reapReleased(*conn, false);
  return rc;
}

}  // namespace dm

extern "C" {

ZU_API SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* out) {
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
      DMHandle* handle = findAnyHandle(input);
      return callOwn(handle, Api::AllocHandle, [](DMHandle& any) { return fail(any, "HY092"); });
    }
  }
}

ZU_API SQLRETURN SQL_API SQLAllocEnv(SQLHENV* out) {
  return out ? allocateEnvironment(out, SQL_OV_ODBC2) : SQL_ERROR;
}

ZU_API SQLRETURN SQL_API SQLAllocConnect(SQLHENV env, SQLHDBC* out) {
  return SQLAllocHandle(SQL_HANDLE_DBC, env, out);
}

ZU_API SQLRETURN SQL_API SQLAllocStmt(SQLHDBC conn, SQLHSTMT* out) {
  return allocateOnConnection(SQL_HANDLE_STMT, conn, Api::AllocStmt, out);
}

ZU_API SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
  switch (type) {
    case SQL_HANDLE_ENV: return freeEnvironment(findEnvironment(handle), Api::FreeHandle);
    case SQL_HANDLE_DBC: return freeConnection(findConnection(handle), Api::FreeHandle);
    case SQL_HANDLE_STMT: return dropStatement(handle, Api::FreeHandle);
    case SQL_HANDLE_DESC: return dropDescriptor(handle);
    default: return SQL_INVALID_HANDLE;
  }
}

ZU_API SQLRETURN SQL_API SQLFreeEnv(SQLHENV env) {
  return freeEnvironment(findEnvironment(env), Api::FreeEnv);
}
ZU_API SQLRETURN SQL_API SQLFreeConnect(SQLHDBC conn) {
  return freeConnection(findConnection(conn), Api::FreeConnect);
}
}
