#include "zuodbc/call/drivercall.h"

#include "zuodbc/driver/driverdiagnostics.h"

namespace dm {
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

SQLRETURN DriverCall::fetchDiagnostics(SQLRETURN rc) noexcept {
  if (rc == kDriverLacksFunction) {
    postForDriver(handle, "IM001");
    return SQL_ERROR;
  }
  if (stmt && rc == SQL_ERROR) stmt->state->cancelAsked.store(false, std::memory_order_relaxed);
  pullDriverErrors(handle);
  return rc;
}

void DriverCall::tellCaller(DMStmt* newCaller) noexcept {
  const DMStmt& told = newCaller ? *newCaller : *caller;
  const std::lock_guard lock(told.state->cancelLock);
  told.state->driverStmt = newCaller ? stmt : nullptr;
  caller = newCaller;
}

// Kept for drivers with one active statement only: the cursor library asks it before another statement
// uses the connection.
void DriverCall::noteOpenResult(SQLRETURN rc) noexcept {
  DMConn& conn = *stmt->conn;
  if (SQL_SUCCEEDED(rc) && leavesResult(api)) {
    SQLSMALLINT columns = 0;
    const SQLRETURN asked = guardQuietly(
        [&] { return ask(conn.driverFunctions->SQLNumResultCols, stmt->driverHandle, &columns); });
    if (!SQL_SUCCEEDED(asked) || columns <= 0) return;
    const std::lock_guard lock(conn.state->openLock);
    conn.setResultOpen(true);
    conn.state->openStmt = stmt;
  } else if ((rc == SQL_NO_DATA && readsResult(api)) ||
             (SQL_SUCCEEDED(rc) && (api == Api::CloseCursor || api == Api::FreeHandle))) {
    endOpenResult(*stmt);
  }
}

void endOpenResult(DMStmt& stmt) noexcept {
  DMConnState& state = *stmt.conn->state;
  const std::lock_guard lock(state.openLock);
  if (state.openStmt && state.openStmt != &stmt) return;
  state.openStmt = nullptr;
  stmt.conn->setResultOpen(false);
}

SQLRETURN endByCancel(DMStmt& stmt) noexcept {
  stmt.state->cancelAsked.store(false, std::memory_order_relaxed);
  postForDriver(stmt, "HY008");
  return SQL_ERROR;
}

bool haveDriverDescriptor(DMDesc& desc) {
  if (desc.driverHandle) return true;
  DMStmt* stmt = desc.ownerStmt;
  if (!stmt || !stmt->driverHandle || !stmt->conn->driverFunctions->SQLGetStmtAttr) return false;
  const bool isRow = &desc == &stmt->implicitArdStorage;
  const bool isParameter = &desc == &stmt->implicitApdStorage;
  // While another descriptor is set in its place the driver would give that one's handle.
  if ((isRow && stmt->ard != &desc) || (isParameter && stmt->apd != &desc)) return false;
  const SQLINTEGER attribute = isRow                                ? SQL_ATTR_APP_ROW_DESC
                               : isParameter                        ? SQL_ATTR_APP_PARAM_DESC
                               : &desc == &stmt->implicitIrdStorage ? SQL_ATTR_IMP_ROW_DESC
                                                                    : SQL_ATTR_IMP_PARAM_DESC;
  SQLPOINTER handle = nullptr;
  stmt->lock();
  const SQLRETURN rc = guardQuietly([&] {
    return stmt->conn->driverFunctions->SQLGetStmtAttr(stmt->driverHandle, attribute, &handle, SQL_IS_POINTER,
                                                       nullptr);
  });
  stmt->unlock();
  if (SQL_SUCCEEDED(rc)) desc.driverHandle = handle;
  return desc.driverHandle != nullptr;
}

void completeDescriptor(DMDesc& desc) {
  DMStmt* owner = desc.ownerStmt;
  if (!owner || owner->state->heldBindings.empty() || !owner->driverHandle) return;
  owner->lock();
  guardQuietly([&] { return bindHeldColumns(*owner, *owner->conn->driverFunctions); });
  owner->unlock();
}

}  // namespace dm
