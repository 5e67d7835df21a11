// The parts of the road that need not be in its templates.

#include "zuodbc/call/entry.h"
#include "zuodbc/driver/driverdiagnostics.h"

namespace dm {

void beginCall(DMHandle& handle, Api api) noexcept {
  if (api == Api::Cancel) {
    auto& stmt = static_cast<DMStmt&>(handle);
    if (__atomic_load_n(&stmt.busy, __ATOMIC_RELAXED)) return;
  }
  if (__atomic_load_n(&handle.errorQueue, __ATOMIC_RELAXED)) handle.VFreeErrors();
}

SQLRETURN endCall(DMHandle& handle, DMConn* conn, SQLRETURN rc) noexcept {
  settleErrors(handle);
  __atomic_store_n(&handle.lastReturn, rc, __ATOMIC_RELAXED);
  if (conn && conn->state && conn->state->releasedCount.load(std::memory_order_relaxed) != 0) {
    reapReleased(*conn, false);
  }
  return rc;
}

void beginCancel(DMStmt& stmt) noexcept {
  __atomic_store_n(&stmt.cancelThread, pthread_self(), __ATOMIC_RELAXED);
}

void endCancel(DMStmt& stmt, SQLRETURN rc) noexcept {
  if (__atomic_load_n(&stmt.cancelThread, __ATOMIC_RELAXED) != pthread_self()) return;
  __atomic_store_n(&stmt.cancelThread, pthread_t{}, __ATOMIC_RELAXED);
  if (__atomic_load_n(&stmt.busy, __ATOMIC_RELAXED)) return;
  if (rc == SQL_SUCCESS_WITH_INFO || rc == SQL_ERROR) pullDriverErrors(stmt);
}

SQLRETURN DriverCall::fetchDiagnostics(SQLRETURN rc) noexcept {
  if (rc == driverLacksFunction) return fail(handle, "IM001");
  // While another thread is inside the driver with this statement, its diagnostics are not ours to read.
  if (api == Api::Cancel && __atomic_load_n(&stmt->busy, __ATOMIC_RELAXED)) return rc;
  pullDriverErrors(handle);
  return rc;
}

namespace {

bool leavesResult(Api api) {
  switch (api) {
    case Api::Execute:
    case Api::ExecDirect:
    case Api::ParamData:
    case Api::GetTypeInfo:
    case Api::Columns:
    case Api::ColumnPrivileges:
    case Api::ForeignKeys:
    case Api::PrimaryKeys:
    case Api::ProcedureColumns:
    case Api::Procedures:
    case Api::SpecialColumns:
    case Api::Statistics:
    case Api::TablePrivileges:
    case Api::Tables: return true;
    default: return false;
  }
}

bool readsResult(Api api) {
  return api == Api::Fetch || api == Api::FetchScroll || api == Api::ExtendedFetch || api == Api::MoreResults;
}

}  // namespace

// Kept for drivers with one active statement only: the cursor library asks it before another statement
// takes the connection.
void DriverCall::noteOpenResult(SQLRETURN rc) noexcept {
  DMConn& conn = *stmt->conn;
  if (SQL_SUCCEEDED(rc) && leavesResult(api)) {
    SQLSMALLINT columns = 0;
    SQLRETURN asked = ask(conn.driverFunctions->SQLNumResultCols, stmt->driverHandle, &columns);
    if (SQL_SUCCEEDED(asked) && columns > 0) {
      conn.hasOpenResult = 1;
      conn.state->openStmt = stmt;
    }
  } else if ((rc == SQL_NO_DATA && readsResult(api)) ||
             (SQL_SUCCEEDED(rc) && (api == Api::CloseCursor || api == Api::FreeHandle))) {
    endOpenResult(*stmt);
  }
}

void endOpenResult(DMStmt& stmt) noexcept {
  DMStmt*& open = stmt.conn->state->openStmt;
  if (open && open != &stmt) return;
  open = nullptr;
  stmt.conn->hasOpenResult = 0;
}

bool haveDriverDescriptor(DMDesc& desc) {
  if (desc.driverHandle) return true;
  DMStmt* stmt = desc.ownerStmt;
  if (!stmt || !stmt->driverHandle || !stmt->conn->driverFunctions->SQLGetStmtAttr) return false;
  SQLINTEGER attribute = &desc == &stmt->implicitArdStorage   ? SQL_ATTR_APP_ROW_DESC
                         : &desc == &stmt->implicitApdStorage ? SQL_ATTR_APP_PARAM_DESC
                         : &desc == &stmt->implicitIrdStorage ? SQL_ATTR_IMP_ROW_DESC
                                                              : SQL_ATTR_IMP_PARAM_DESC;
  SQLPOINTER handle = nullptr;
  stmt->lock();
  SQLRETURN rc = stmt->conn->driverFunctions->SQLGetStmtAttr(stmt->driverHandle, attribute, &handle,
                                                             SQL_IS_POINTER, nullptr);
  stmt->unlock();
  if (SQL_SUCCEEDED(rc)) desc.driverHandle = handle;
  return desc.driverHandle != nullptr;
}

bool requireConnected(DMConn& conn) noexcept {
  if (conn.state->connected) return true;
  postError(conn, "08003");
  return false;
}

}  // namespace dm
