// The order in which a statement's functions may be called, and how each call moves the statement on.
//
// One table (sequence.cpp) says for every function and every state whether the call goes on or which SQLSTATE
// refuses it. Only the application's own (unmarked) calls are judged and move the state (call/entry.h):
//
//     if (const char* refused = sequenceBegin(stmt, api, throughLibrary)) -> post that SQLSTATE, SQL_ERROR
//     rc = the cursor library or the driver
//     sequenceEnd(stmt, api, rc)
//
// SQLCancel takes neither step (see sequenceCancelled).
//
// Thread use: the statement is entered.

#ifndef ZUODBC_CALL_SEQUENCE_H
#define ZUODBC_CALL_SEQUENCE_H

#include "zuodbc/dmhandle.h"
#include "zuodbc/handles/api.h"

namespace dm {

// Null if `api` may be called now, else the SQLSTATE that refuses it. `throughLibrary` is set if the cursor
// library carries the call out: it has its own rule against mixing fetch functions.
const char* sequenceBegin(DMStmt& stmt, Api api, bool throughLibrary) noexcept;

// Null, or HY010 if a statement that uses the descriptor waits for data or still executes.
const char* sequenceBegin(DMDesc& desc) noexcept;

// Moves the statement on after the call, and keeps DM_STMT_PREPARED and DM_STMT_EXECUTED in step. Whether
// an execution left a result is asked of the driver by the first call that depends on it.
void sequenceEnd(DMStmt& stmt, Api api, SQLRETURN rc) noexcept;

// After a SQLCancel that worked, while no other call was under way on the statement: data is no longer asked
// for, and the cursor is gone if `closed`.
void sequenceCancelled(DMStmt& stmt, bool closed) noexcept;

// SQLFreeStmt has closed the cursor.
void sequenceClosed(DMStmt& stmt) noexcept;

// After a transaction: `behavior` is SQL_CB_DELETE, SQL_CB_CLOSE or SQL_CB_PRESERVE.
void sequenceTransactionEnded(DMStmt& stmt, unsigned short behavior) noexcept;

// True while the statement waits for data or still executes: SQLEndTran, SQLDisconnect and freeing the
// handle are then HY010.
bool sequencePending(const DMStmt& stmt) noexcept;

// False, with HY010 on the connection, while a statement of it waits for data or still executes.
bool requireNonePending(DMConn& conn) noexcept;

// True while a cursor is open. Asks the driver if that is not known; false if the driver does not say.
bool sequenceCursorOpen(DMStmt& stmt) noexcept;

// SQLNumResultCols has returned `columns`, inside or outside an application's call.
void sequenceColumnsTold(DMStmt& stmt, int columns) noexcept;

// The columns of the current result as the driver counts them; -1 if that is not known.
int resultColumns(DMStmt& stmt) noexcept;

}  // namespace dm

#endif
