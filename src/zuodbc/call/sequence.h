// The order in which a statement's functions may be called, and how each call moves the statement on.
//
// One table (sequence.cpp) says for every function and every state whether the call goes on or which
// SQLSTATE refuses it. Only the application's own (unmarked) calls ask and move; the road of
// internal/entry.h does so for every statement function, in this shape:
//
//     if (const char* refused = sequenceBegin(stmt, api, throughLibrary)) -> post that SQLSTATE, SQL_ERROR
//     rc = the cursor library or the driver
//     sequenceEnd(stmt, api, rc)
//
// SQLCancel takes neither step: it may come from another thread while a call runs (see sequenceCancelled).
//
// Thread use: one thread at a time for one statement.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_SEQUENCE_H
#define ZULIB_DRIVERMANAGER_INTERNAL_SEQUENCE_H

#include "zuodbc/call/api.h"
#include "zuodbc/dmhandle.h"

enum class StmtState : unsigned char {
  Allocated,
  Prepared,
  NoResult,         // executed, and there are no result columns
  UnknownResult,    // executed, and whether there are result columns has not been asked, or could not be
  CursorOpen,       // executed, before the first fetch
  Fetched,          // SQLFetch or SQLFetchScroll was used on the result
  ExtendedFetched,  // SQLExtendedFetch was used on the result
  // From here on nothing but the functions that lead out of the state.
  NeedParam,       // SQLParamData is due
  NeedData,        // SQLPutData is due
  DataPut,         // SQLPutData was called; more of it, or SQLParamData
  StillExecuting,  // the same function again
};

// A statement's place in the sequence; part of DMStmtState as its member `sequence`.
struct StmtSequence {
  StmtState state = StmtState::Allocated;
  StmtState before = StmtState::Allocated;  // the state to go on from when StillExecuting ends
  StmtState origin = StmtState::Allocated;  // the state before the call that asked for data
  Api pending = Api::Execute;               // the function that answered SQL_STILL_EXECUTING
  Api asking = Api::Execute;                // the function that asked for data
  int columns = -1;                         // of the result, when SQLNumResultCols has told; else -1
  int underWay = 0;                         // a call other than a cancel runs; read by cancelling threads
};

// Null when `api` may be called now, else the SQLSTATE that refuses it. `throughLibrary` is set when the
// cursor library will answer: it has its own rule against mixing fetch functions.
const char* sequenceBegin(DMStmt& stmt, Api api, bool throughLibrary) noexcept;

// Null, or HY010 when a statement that uses the descriptor waits for data or still executes.
const char* sequenceBegin(DMDesc& desc) noexcept;

// Moves the statement on after the call, and keeps DM_STMT_PREPARED and DM_STMT_EXECUTED in step. Whether
// an execution left a result is asked of the driver by the first call that depends on it.
void sequenceEnd(DMStmt& stmt, Api api, SQLRETURN rc) noexcept;

// After a SQLCancel that worked, made while no other call was running on the statement: data is no longer
// asked for, and the cursor is gone when `closed`.
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

// True while a cursor is open. Asks the driver when that is not known; false when it does not say.
bool sequenceCursorOpen(DMStmt& stmt) noexcept;

// SQLNumResultCols has answered, inside or outside an application's call.
void sequenceColumnsTold(DMStmt& stmt, int columns) noexcept;

// The columns of the current result as the driver counts them; -1 when that is not known.
int resultColumns(DMStmt& stmt) noexcept;

#endif
