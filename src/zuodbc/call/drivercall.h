// A call of a driver's function, and what surrounds it: the call lock, the sign that the statement is in the
// driver, and the driver's diagnostics, which come into the handle's queue when the driver returns 1 or -1.
//
// The work of a call returns the driver's code, or one of the three codes of call/ask.h, which are no codes
// of ODBC.

#ifndef ZUODBC_CALL_DRIVERCALL_H
#define ZUODBC_CALL_DRIVERCALL_H

#include <cxxabi.h>

#include <new>
#include <type_traits>

#include "zuodbc/call/ask.h"
#include "zuodbc/call/errors.h"
#include "zuodbc/call/heldbindings.h"
#include "zuodbc/handles/api.h"
#include "zuodbc/handles/handles.h"
#include "zuodbc/handles/marks.h"

namespace dm {

// Queues `sqlstate` from inside the work for a driver that is not going to be called.
inline SQLRETURN refuse(DMHandle& handle, const char* sqlstate) noexcept {
  postForDriver(handle, sqlstate);
  return kRefusedHere;
}

// The outcome of a driver call that returned `rc`, a success, and of `own`, what the driver manager made of
// its result with a diagnostic of its own.
inline SQLRETURN ownOutcome(SQLRETURN rc, SQLRETURN own) noexcept {
  if (own == SQL_ERROR) return kRefusedHere;
  return own == SQL_SUCCESS_WITH_INFO && rc == SQL_SUCCESS ? kWarnedHere : rc;
}

// Runs work that calls a driver or allocates: no exception leaves the driver manager. Allocation that fails
// is HY001, through the handle's reserve record, and any other exception, also of the driver's, is HY000.
template <class Handle, class Work>
SQLRETURN guardCall(Handle& handle, Work&& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return failForMemory(handle);
  } catch (abi::__forced_unwind&) {
    throw;  // the thread is being cancelled
  } catch (...) {
    postForDriver(handle, "HY000");
    return SQL_ERROR;
  }
}

// The same where a failure has no one to be told to.
template <class Work>
SQLRETURN guardQuietly(Work&& work) {
  try {
    return work();
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return SQL_ERROR;
  }
}

// What surrounds a driver call.
class DriverCall {
 public:
  DriverCall(DMHandle& handle, Api api) : handle(handle), stmt(nullptr), api(api) { begin(); }

  // `marks` are the calling thread's. A statement whose caller has it to itself needs no call lock.
  DriverCall(DMStmt& statement, Api api, const ThreadMarks* marks, bool isAlone)
      : handle(statement), stmt(&statement), api(api), isAlone(isAlone) {
    begin();
    setBusy(1);
    if (marks && marks->onBehalf && marks->onBehalf != stmt) [[unlikely]]
      tellCaller(marks->onBehalf);
  }
  DriverCall(const DriverCall&) = delete;
  DriverCall& operator=(const DriverCall&) = delete;
  ~DriverCall() {
    if (caller) [[unlikely]]
      tellCaller(nullptr);
    if (stmt) setBusy(stillExecuting);
    if (!isAlone) handle.unlock();
  }

  // The code to go on with.
  SQLRETURN finish(SQLRETURN rc) {
    stillExecuting = rc == SQL_STILL_EXECUTING;
    if (rc == kRefusedHere) return SQL_ERROR;
    if (rc == kWarnedHere) return SQL_SUCCESS_WITH_INFO;
    if (rc == SQL_SUCCESS_WITH_INFO || rc == SQL_ERROR || rc == kDriverLacksFunction)
      rc = fetchDiagnostics(rc);
    if (stmt && stmt->conn->activeStatements == 1) noteOpenResult(rc);
    return rc;
  }

 private:
  void begin() {
    if (!isAlone) handle.lock();
    if (handle.hasUnsettled()) dropUnsettled(handle);
  }
  void setBusy(int busy) { __atomic_store_n(&stmt->busy, busy, __ATOMIC_RELAXED); }
  void tellCaller(DMStmt* newCaller) noexcept;
  SQLRETURN fetchDiagnostics(SQLRETURN rc) noexcept;
  void noteOpenResult(SQLRETURN rc) noexcept;

  DMHandle& handle;
  DMStmt* stmt;
  Api api;
  bool isAlone = false;
  int stillExecuting = 0;
  DMStmt* caller = nullptr;  // the statement on whose behalf this one is in the driver
};

// The calls of the cursor library that a cancel between two of them ends.
inline bool canBeCancelled(Api api) {
  return api == Api::Fetch || api == Api::Execute || api == Api::ExecDirect;
}

// Queues what a cancelled call ends with, as if the driver had said so, and returns SQL_ERROR.
SQLRETURN endByCancel(DMStmt& stmt) noexcept;

// Calls the driver: `driverWork(handle, driver)`, inside or outside an application's call.
template <class Handle, class DriverWork>
SQLRETURN askDriver(Handle& handle, const DMDriverFunctions& driver, Api api, DriverWork& driverWork) {
  if (!handle.driverHandle) return SQL_INVALID_HANDLE;  // the driver's side is gone already
  DriverCall call(handle, api);
  return call.finish(driverWork(handle, driver));
}

// The same for a statement. What the driver has yet to be told comes first, and a cancel that came while the
// cursor library was between two calls takes effect at the next one that it can end.
template <class DriverWork>
SQLRETURN askDriver(DMStmt& stmt, const DMDriverFunctions& driver, Api api, DriverWork& driverWork,
                    const ThreadMarks* marks, bool isAlone) {
  if (!stmt.driverHandle) return SQL_INVALID_HANDLE;
  DriverCall call(stmt, api, marks, isAlone);
  if (stmt.state->cancelAsked.load(std::memory_order_relaxed) && canBeCancelled(api)) [[unlikely]] {
    return endByCancel(stmt);
  }
  if (!stmt.state->heldBindings.empty()) [[unlikely]] {
    const SQLRETURN rc = settleHeldBindings(stmt, driver, api);
    if (!SQL_SUCCEEDED(rc)) return call.finish(rc);
  }
  return call.finish(driverWork(stmt, driver));
}
template <class DriverWork>
SQLRETURN askDriver(DMStmt& stmt, const DMDriverFunctions& driver, Api api, DriverWork& driverWork) {
  return askDriver(stmt, driver, api, driverWork, marksOfThread(), false);
}

// The driver's handle of a statement's own descriptor, asked for at first use. False if the driver has none.
bool haveDriverDescriptor(DMDesc& desc);

// Before a descriptor is read or changed: the driver is told the bindings that were held back from it.
void completeDescriptor(DMDesc& desc);

// The statement's result is read to its end or closed: `hasOpenResult` falls, unless it is another's.
void endOpenResult(DMStmt& stmt) noexcept;

// `cell`, or one of the statement's own for a value that the application does not want: some drivers write it
// regardless.
template <class Cell>
Cell* orScratch(DMStmt& stmt, Cell* cell) noexcept {
  static_assert(sizeof(Cell) <= sizeof stmt.state->scratch && std::is_trivial_v<Cell>);
  return cell ? cell : reinterpret_cast<Cell*>(stmt.state->scratch);
}

}  // namespace dm

#endif
