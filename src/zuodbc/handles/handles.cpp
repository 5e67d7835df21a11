#include "zuodbc/handles/handles.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>

#include "zuodbc/bindinfo.h"
#include "zuodbc/call/errors.h"
#include "zuodbc/dmservices.h"

namespace dm {

DMConn* connectionOf(DMHandle& handle) noexcept {
  switch (handle.handleType) {
    case DM_CONN: return static_cast<DMConn*>(&handle);
    case DM_STMT: return static_cast<DMStmt&>(handle).conn;
    case DM_DESC: return static_cast<DMDesc&>(handle).conn;
    default: return nullptr;
  }
}

bool isVersion2Application(DMHandle& handle) noexcept {
  DMConn* conn = connectionOf(handle);
  const DMEnv* env = conn ? conn->env : static_cast<DMEnv*>(handle.handleType == DM_ENV ? &handle : nullptr);
  return env && env->odbcVersion == SQL_OV_ODBC2;
}

DMStmt* makeStatement(DMConn& conn, bool ofCursorLibrary) noexcept {
  auto* stmt = new (std::nothrow) DMStmt(&conn);
  if (stmt) stmt->ofCursorLibrary = ofCursorLibrary;
  if (stmt && stmt->SetupHandleList(&conn)) {
    stmt->rowsetSize = stmt->state->driverRowset.size = conn.state->rowsetSize;
    stmt->ard->bindType = stmt->state->driverRowset.bindType = conn.state->bindType;
    return stmt;
  }
  delete stmt;
  return nullptr;
}

DMDesc* makeDescriptor(DMConn& conn, bool ofCursorLibrary) noexcept {
  auto* desc = new (std::nothrow) DMDesc(&conn, nullptr, DM_DESC_EXPLICIT);
  if (desc && desc->state) desc->state->ofCursorLibrary = ofCursorLibrary;
  if (desc && desc->SetupHandleList(&conn)) return desc;
  delete desc;
  return nullptr;
}

namespace {

// Room in `released` is taken when a handle enters the lists, so putting it there cannot fail.
bool reserveRelease(DMConnState& state) {
  const size_t live = state.released.size() + state.descriptors.size() + state.statements + 1;
  if (live <= state.released.capacity()) return true;
  try {
    state.released.reserve(2 * live);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void unlist(DMStmt* stmt) {
  DMConnState& conn = *stmt->conn->state;
  DMStmtState& own = *stmt->state;
  if (!own.listed) return;
  (own.previous ? own.previous->state->next : conn.firstStmt) = own.next;
  (own.next ? own.next->state->previous : conn.lastStmt) = own.previous;
  own.listed = false;
  --conn.statements;
}

void unlist(DMDesc* desc) {
  if (!desc->state || !desc->state->listed) return;
  auto& list = desc->conn->state->descriptors;
  list.erase(std::find(list.begin(), list.end(), desc));
  desc->state->listed = false;
}

pthread_t releaser(DMHandle* handle) {
  if (handle->handleType == DM_STMT) return static_cast<DMStmt*>(handle)->state->releasedBy;
  return static_cast<DMDesc*>(handle)->state->releasedBy;
}

void destroy(DMHandle* handle) {
  if (handle->handleType == DM_STMT) {
    delete static_cast<DMStmt*>(handle);
  } else {
    delete static_cast<DMDesc*>(handle);
  }
}

}  // namespace

void leaveLists(DMStmt& stmt) noexcept {
  const std::lock_guard lock(stmt.conn->state->lock);
  unlist(&stmt);
}

void leaveLists(DMDesc& desc) noexcept {
  const std::lock_guard lock(desc.conn->state->lock);
  unlist(&desc);
}

void retireStatement(DMStmt* stmt) noexcept {
  DMConnState& conn = *stmt->conn->state;
  const std::unique_lock lock(conn.lock);
  unlist(stmt);
  if (stmt->ofCursorLibrary) {
    stmt->state->releasedBy = pthread_self();
    conn.released.push_back(stmt);
    ++conn.releasedCount;
    return;
  }
  delete stmt;  // under the lock that walks of the list hold
}

namespace {

// Takes a descriptor that goes out of a statement. Other threads use the other statements: those are only
// read.
void replaceIf(DMDesc*& slot, const DMDesc* gone, DMDesc* replacement) noexcept {
  if (isDescriptor(slot, gone)) __atomic_store_n(&slot, replacement, __ATOMIC_RELAXED);
}

}  // namespace

void retireDescriptor(DMDesc* desc) noexcept {
  DMConnState& conn = *desc->conn->state;
  std::unique_lock lock(conn.lock);
  unlist(desc);
  for (DMStmt* stmt = conn.firstStmt; stmt; stmt = stmt->state->next) {
    replaceIf(stmt->ard, desc, &stmt->implicitArdStorage);
    replaceIf(stmt->apd, desc, &stmt->implicitApdStorage);
  }
  if (desc->state->ofCursorLibrary) {
    desc->state->releasedBy = pthread_self();
    conn.released.push_back(desc);
    ++conn.releasedCount;
    return;
  }
  lock.unlock();
  delete desc;
}

void reapReleased(DMConn& conn, bool all) noexcept {
  DMConnState& state = *conn.state;
  const std::lock_guard lock(state.lock);
  auto keep = [&](DMHandle* handle) {
    if (!all && !pthread_equal(releaser(handle), pthread_self())) return true;
    destroy(handle);
    --state.releasedCount;
    return false;
  };
  auto end =
      std::remove_if(state.released.begin(), state.released.end(), [&](DMHandle* h) { return !keep(h); });
  state.released.erase(end, state.released.end());
}

EnteredStatements::EnteredStatements(DMConn& conn, const DMDesc* usedDescriptor) {
  {
    const std::lock_guard lock(conn.state->lock);
    statements.reserve(conn.state->statements);
    for (DMStmt* stmt = conn.state->firstStmt; stmt; stmt = stmt->state->next) {
      const bool isWanted = !usedDescriptor ||
                            __atomic_load_n(&stmt->ard, __ATOMIC_RELAXED) == usedDescriptor ||
                            __atomic_load_n(&stmt->apd, __ATOMIC_RELAXED) == usedDescriptor;
      if (!isWanted || stmt->ofCursorLibrary) continue;
      pin(*stmt);
      statements.push_back(stmt);
    }
  }
  std::sort(statements.begin(), statements.end(), std::less<>());
  std::erase_if(statements, [](DMStmt* stmt) {
    if (enter(*stmt)) return false;
    unpin(*stmt);
    return true;
  });
}

EnteredStatements::~EnteredStatements() {
  for (DMStmt* stmt : statements) {
    leave(*stmt);
    unpin(*stmt);
  }
}

void EnteredStatements::retire() noexcept {
  for (DMStmt* stmt : statements) {
    leaveLists(*stmt);
    withdraw(*stmt);
    leave(*stmt);
    awaitUnpinned(*stmt, 1);
    retireStatement(stmt);
  }
  statements.clear();
}

}  // namespace dm

using namespace dm;

CharacterConverter::~CharacterConverter() = default;

DMHandle::DMHandle(DMHandleType type) : handleType(type), reserve(makeReserve()) {
  if (type != DM_DESC) enterRegister(*this);
}

DMHandle::~DMHandle() {
  leaveRegister(*this);
  FreeErrorBuf(errorQueue);
  std::free(reserve);
  delete converter;
}

void DMHandle::lock() {
  const pthread_t self = pthread_self();
  if (__atomic_load_n(&lockOwner, __ATOMIC_RELAXED) == self) {
    ++lockDepth;
    return;
  }
  callLock.enter();
  __atomic_store_n(&lockOwner, self, __ATOMIC_RELAXED);
  lockDepth = 1;
}

void DMHandle::unlock() {
  if (--lockDepth != 0) return;
  __atomic_store_n(&lockOwner, pthread_t{}, __ATOMIC_RELAXED);
  callLock.leave();
}

int DMHandle::SetupHandleList(void* owner) {
  if (!isWhole()) return 0;
  auto* conn = static_cast<DMConn*>(owner);
  if (handleType == DM_STMT) {
    auto* stmt = static_cast<DMStmt*>(this);
    if (!stmt->state) return 0;
    for (const DMDesc* desc : stmt->implicitDescriptors()) {
      if (!desc->isWhole() || !desc->state) return 0;
    }
    if (!conn) return 1;
    const std::lock_guard lock(conn->state->lock);
    if (!reserveRelease(*conn->state)) return 0;
    stmt->state->previous = conn->state->lastStmt;
    (conn->state->lastStmt ? conn->state->lastStmt->state->next : conn->state->firstStmt) = stmt;
    conn->state->lastStmt = stmt;
    ++conn->state->statements;
    stmt->state->listed = true;
    return 1;
  }
  if (handleType != DM_DESC) return 1;
  auto* desc = static_cast<DMDesc*>(this);
  if (!desc->state) return 0;
  if (!conn) return 1;
  const std::lock_guard lock(conn->state->lock);
  if (!reserveRelease(*conn->state)) return 0;
  try {
    conn->state->descriptors.push_back(desc);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  desc->state->listed = true;
  return 1;
}

DMEnv::DMEnv() : DMHandle(DM_ENV), state(new (std::nothrow) DMEnvState) {}
DMEnv::~DMEnv() { delete state; }

DMConn::DMConn(DMEnv* env) : DMHandle(DM_CONN), env(env), state(new (std::nothrow) DMConnState) {}
DMConn::~DMConn() { delete state; }

DMStmt* DMConn::GetFirstStmtFromDbcList() {
  const std::lock_guard lock(state->lock);
  return state->firstStmt;
}

DMStmt* DMConn::GetNextStmtFromDbcList(DMStmt* stmt) {
  const std::lock_guard lock(state->lock);
  return stmt && stmt->state ? stmt->state->next : nullptr;
}

void DMConn::LockStmtList(int lock) {
  if (lock) {
    state->lock.lock();
  } else {
    state->lock.unlock();
  }
}

// Narrow drivers and narrow applications are all there is so far.
int DMConn::isUTF8Driver() const { return state && state->isWide; }
int DMConn::isUTF8DriverIgnoringCursorLib() const { return isUTF8Driver(); }
int DMConn::isUTF8EnvAttr() const { return env && __atomic_load_n(&env->utf8Mode, __ATOMIC_RELAXED) != 1; }

DMDesc::DMDesc(DMConn* conn, DMStmt* ownerStmt, unsigned flags)
    : DMHandle(DM_DESC),
      conn(conn),
      ownerStmt(ownerStmt),
      flags(flags),
      state(new (std::nothrow) DMDescState) {
  enterRegister(*this);
}

DMDesc::~DMDesc() {
  while (bindList) {
    BindInfo* next = bindList->next;
    std::free(bindList);
    bindList = next;
  }
  while (DMOwnedBlock* const block = ownedBlocks) {
    ownedBlocks = block->next;
    block->release(block);
  }
  delete state;
}

DMStmt::DMStmt(DMConn* conn)
    : DMHandle(DM_STMT),
      conn(conn),
      ard(&implicitArdStorage),
      apd(&implicitApdStorage),
      ird(&implicitIrdStorage),
      ipd(&implicitIpdStorage),
      implicitApd(&implicitApdStorage),
      implicitArdStorage(conn, this, 0),
      implicitApdStorage(conn, this, 0),
      implicitIrdStorage(conn, this, DM_DESC_IRD),
      implicitIpdStorage(conn, this, DM_DESC_IPD),
      state(new (std::nothrow) DMStmtState) {}

DMStmt::~DMStmt() { delete state; }
