// SQLDisconnect: the driver first; then everything that stood on the connection goes with it.

#include "zuodbc/call/entry.h"
#include "zuodbc/driver/attach.h"

using namespace dm;

namespace {

// From here on no call on a statement or descriptor reaches the driver: its handles are gone with the
// connection.
void forgetDriverHandles(DMConn& conn) {
  std::lock_guard guard(conn.state->lock);
  for (DMStmt* stmt = conn.state->firstStmt; stmt; stmt = stmt->state->next) {
    stmt->driverHandle = nullptr;
    for (DMDesc* desc : {&stmt->implicitArdStorage, &stmt->implicitApdStorage, &stmt->implicitIrdStorage,
                         &stmt->implicitIpdStorage})
      desc->driverHandle = nullptr;
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
  while (DMStmt* stmt = library ? firstWithLibraryParts(conn) : nullptr) {
    library->CLFreeStmt(stmt, 10);
    stmt->parser = nullptr;
    stmt->cursor = nullptr;
  }
}

void dropHandles(DMConn& conn) {
  DMConnState& state = *conn.state;
  while (state.firstStmt) {
    state.firstStmt->ofCursorLibrary = 0;
    retireStatement(state.firstStmt);
  }
  while (!state.descriptors.empty()) {
    state.descriptors.back()->state->ofCursorLibrary = false;
    retireDescriptor(state.descriptors.back());
  }
  reapReleased(conn, true);
}

}  // namespace

extern "C" ZU_API SQLRETURN SQL_API SQLDisconnect(SQLHDBC handle) {
  return callOwn(findConnection(handle), Api::Disconnect, [](DMConn& conn) -> SQLRETURN {
    if (!conn.state->connected && !conn.state->browsing) return fail(conn, "08003");
    if (!requireNonePending(conn)) return SQL_ERROR;
    auto work = [](DMConn& conn, const DMDriverFunctions& driver) {
      return ask(driver.SQLDisconnect, conn.driverHandle);
    };
    SQLRETURN rc = askDriver(conn, *conn.driverFunctions, Api::Disconnect, work);
    if (!SQL_SUCCEEDED(rc)) return rc;
    forgetDriverHandles(conn);
    dropLibraryParts(conn);
    dropHandles(conn);
    detachDriver(conn);
    return rc;
  });
}
