#include "zuodbc/call/entry.h"

namespace dm {

// A cancel that came too late for the last call is none of the next one.
void forgetCancel(DMStmt& stmt) noexcept {
  if (!isInLibrary()) stmt.state->cancelAsked = false;
}

void reapAfterCall(DMConn& conn) noexcept {
  if (!isInLibrary()) reapReleased(conn, false);
}

bool requireConnected(DMConn& conn) noexcept {
  if (conn.state->connected) return true;
  postError(conn, "08003");
  return false;
}

}  // namespace dm
