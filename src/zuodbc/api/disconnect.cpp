// SQLDisconnect: the driver first, then all statements and descriptors of the connection.

#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/attach.h"
#include "zuodbc/driver/pool.h"

using namespace dm;

namespace {

// The option of CLFreeStmt for a statement whose driver side is gone.
constexpr SQLUSMALLINT kDropLibrarySide = 10;

// From here on no call on a statement or descriptor reaches the driver: its handles are gone with the
// connection.
void forgetDriverHandles(DMConn& conn) {
  const std::lock_guard guard(conn.state->lock);
  for (DMStmt* stmt = conn.state->firstStmt; stmt; stmt = stmt->state->next) {
    {
      const std::lock_guard cancelLock(stmt->state->cancelLock);
      stmt->driverHandle = nullptr;
    }
    for (DMDesc* desc : stmt->implicitDescriptors()) desc->driverHandle = nullptr;
  }
  for (DMDesc* desc : conn.state->descriptors) desc->driverHandle = nullptr;
}

DMStmt* firstWithLibraryParts(DMConn& conn) {
  DMStmt* stmt = conn.GetFirstStmtFromDbcList();
  while (stmt && !stmt->parser && !stmt->cursor) stmt = conn.GetNextStmtFromDbcList(stmt);
  return stmt;
}

// A cursor may own another statement of the connection, so the list is begun anew after each one.
void dropLibraryParts(DMConn& conn) {
  const CursorLibrary* library = conn.state->cursorLibrary;
  const InLibrary inLibrary(nullptr);
  while (DMStmt* stmt = library ? firstWithLibraryParts(conn) : nullptr) {
    library->CLFreeStmt(stmt, kDropLibrarySide);
    stmt->parser = nullptr;
    stmt->cursor = nullptr;
  }
}

// The next explicit descriptor, pinned, or null.
DMDesc* pinNextDescriptor(DMConnState& state) {
  const std::lock_guard guard(state.lock);
  if (state.descriptors.empty()) return nullptr;
  pin(*state.descriptors.back());
  return state.descriptors.back();
}

// The cursor library's own statements, and the explicit descriptors. A call of another thread may just be
// freeing such a descriptor, which then leaves the list by itself.
void dropOtherHandles(DMConn& conn) {
  DMConnState& state = *conn.state;
  while (state.firstStmt) {
    state.firstStmt->ofCursorLibrary = 0;
    retireStatement(state.firstStmt);
  }
  while (DMDesc* desc = pinNextDescriptor(state)) {
    if (!enter(*desc)) {
      unpin(*desc);
      continue;
    }
    desc->state->ofCursorLibrary = false;
    leaveLists(*desc);
    withdraw(*desc);
    leave(*desc);
    awaitUnpinned(*desc, 1);
    retireDescriptor(desc);
  }
  reapReleased(conn, true);
}

SQLRETURN disconnect(DMConn& conn) {
  if (!conn.state->connected && !conn.state->browsing) return fail(conn, "08003");
  EnteredStatements statements(conn);
  if (!requireNonePending(conn)) return SQL_ERROR;
  auto work = [](DMConn& conn, const DMDriverFunctions& driver) {
    return ask(driver.SQLDisconnect, conn.driverHandle);
  };
  const bool isPooled = conn.state->connected && givePooled(conn);
  const SQLRETURN rc =
      isPooled ? SQLRETURN(SQL_SUCCESS) : askDriver(conn, *conn.driverFunctions, Api::Disconnect, work);
  if (!SQL_SUCCEEDED(rc)) return rc;
  forgetDriverHandles(conn);
  dropLibraryParts(conn);
  statements.retire();
  dropOtherHandles(conn);
  detachDriver(conn);
  return rc;
}

}  // namespace

extern "C" ZU_API SQLRETURN SQL_API SQLDisconnect(SQLHDBC handle) {
  const auto work = [](SQLHDBC conn) {
    return callOwn(static_cast<DMConn*>(conn), Api::Disconnect, disconnect);
  };
  return traced("SQLDisconnect", work, handle);
}
