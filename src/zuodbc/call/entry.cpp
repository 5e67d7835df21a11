#include "zuodbc/call/entry.h"

namespace dm {

void beginCall(DMHandle& handle) noexcept {
  if (__atomic_load_n(&handle.errorQueue, __ATOMIC_RELAXED)) handle.VFreeErrors();
  if (handle.handleType != DM_STMT) return;
  // A cancel that came too late for the last call is none of the next one.
  auto& cancelAsked = static_cast<DMStmt&>(handle).state->cancelAsked;
  if (cancelAsked.load(std::memory_order_relaxed) && !isInLibrary()) cancelAsked = false;
}

SQLRETURN endCall(DMHandle& handle, DMConn* conn, SQLRETURN rc) noexcept {
  settleErrors(handle);
  __atomic_store_n(&handle.lastReturn, rc, __ATOMIC_RELAXED);
  if (conn && conn->state && conn->state->releasedCount.load(std::memory_order_relaxed) != 0 &&
      !isInLibrary()) {
    reapReleased(*conn, false);
  }
  return rc;
}

bool requireConnected(DMConn& conn) noexcept {
  if (conn.state->connected) return true;
  postError(conn, "08003");
  return false;
}

}  // namespace dm
