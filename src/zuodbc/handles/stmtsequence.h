// A statement's place in the order of its calls, as data. call/sequence.h has the rules.

#ifndef ZUODBC_HANDLES_STMTSEQUENCE_H
#define ZUODBC_HANDLES_STMTSEQUENCE_H

#include <atomic>

#include "zuodbc/handles/api.h"

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

// Calls on a statement's explicit descriptors read its state without having entered the statement.
class SharedStmtState {
 public:
  operator StmtState() const { return state.load(std::memory_order_relaxed); }
  SharedStmtState& operator=(StmtState next) {
    state.store(next, std::memory_order_relaxed);
    return *this;
  }

 private:
  std::atomic<StmtState> state{StmtState::Allocated};
};

struct StmtSequence {
  SharedStmtState state;
  StmtState before = StmtState::Allocated;  // the state to go on from when StillExecuting ends
  StmtState origin = StmtState::Allocated;  // the state before the call that asked for data
  Api pending = Api::Execute;               // the function that returned SQL_STILL_EXECUTING
  Api asking = Api::Execute;                // the function that asked for data
  int columns = -1;                         // of the result, when SQLNumResultCols has told; else -1
};

#endif
