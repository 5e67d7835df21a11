#include "zuodbc/call/crossing.h"

namespace dm {

void noteWide(DMStmt& stmt) noexcept {
  if (stmt.unicodeApp) return;
  stmt.unicodeApp = 1;
  __atomic_store_n(&stmt.conn->env->utf8Mode, 0, __ATOMIC_RELAXED);
}

}  // namespace dm
