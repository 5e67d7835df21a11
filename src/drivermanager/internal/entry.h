// The road of every API call, written once.
//
// An entry point names its function, and says how the cursor library and how the driver answers it:
//
//   SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
//     return callStatement(handle, Api::Fetch,
//         [](DMStmt& stmt, const CursorLibrary& library) { return library.CLFetch(&stmt); },
//         [](DMStmt& stmt, const DMDriverFunctions& driver) { return driver.SQLFetch(stmt.driverHandle); });
//   }
//
// The road: a handle that this thread has marked, or whose connection it has marked, goes straight to
// the driver. Any other is looked up in the register (else SQL_INVALID_HANDLE), its queue is emptied, and
// the sequence rule of the function is asked (internal/sequence.h; else HY010). Then the cursor library
// answers when the connection uses it and the statement is not the library's own, else the driver. The
// sequence state moves on by the outer call's code only. A driver call holds the handle's call lock, sets
// `busy`, and brings the driver's diagnostics into the queue when it answers 1 or -1. Exhausted memory
// anywhere on the road is HY001.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_ENTRY_H
#define ZULIB_DRIVERMANAGER_INTERNAL_ENTRY_H

// Filled by the driver manager's core.

#endif
