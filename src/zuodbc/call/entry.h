// The road of every API call, written once.
//
// An entry point names its function, and says how the cursor library and how the driver answers it:
//
//   SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
//     return callStatement(handle, Api::Fetch,
//         [](DMStmt& stmt, const CursorLibrary& library) { return library.CLFetch(&stmt); },
//         [](DMStmt& stmt, const DMDriverFunctions& driver) { return ask(driver.SQLFetch, stmt.driverHandle);
//         });
//   }
//
// The road: a handle that this thread has marked, or whose connection it has marked, goes straight to
// the driver. Any other is looked up in the register (else SQL_INVALID_HANDLE), its queue is emptied, and
// the sequence rule of the function is asked (internal/sequence.h; else HY010). Then the cursor library
// answers when the connection uses it and the statement is not the library's own, else the driver. The
// sequence state moves on by the outer call's code only. A driver call holds the handle's call lock, sets
// `busy`, and brings the driver's diagnostics into the queue when it answers 1 or -1. A function that the
// driver lacks (`ask` answers driverLacksFunction) is IM001.
//
// Exceptions: the driver manager may use standard containers, because no exception leaves the road:
// std::bad_alloc anywhere on it is HY001, through the handle's reserve record, and any other is HY000.
// An entry point that stays off the road (the diagnostics functions) allocates nothing that throws.
//
// SQLCancel may come from another thread while the statement is busy: it takes no call lock, asks no
// sequence rule, moves no state (the entry calls sequenceCancelled itself), and leaves the queue of a busy
// statement alone. The cursor library sends the cancel to the driver off the road; the handle remembers
// until `endCancel` that its diagnostics have not been fetched yet.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_ENTRY_H
#define ZULIB_DRIVERMANAGER_INTERNAL_ENTRY_H

#include <exception>
#include <new>
#include <optional>
#include <type_traits>

#include "zuodbc/call/errors.h"
#include "zuodbc/call/sequence.h"
#include "zuodbc/dmhandle.h"
#include "zuodbc/driver/cursorlibrary.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/handles.h"

namespace dm {

// An entry point without a counterpart in the cursor library passes this for its first work.
struct NoCursorLibrary {};
inline constexpr NoCursorLibrary noCursorLibrary{};

template <class Work>
inline constexpr bool hasLibraryWork =
    !std::is_same_v<std::remove_cv_t<std::remove_reference_t<Work>>, NoCursorLibrary>;

// No ODBC code: the driver has no such function.
inline constexpr SQLRETURN driverLacksFunction = -1001;

// No ODBC code: the work has queued its own diagnostics and not called the driver, which therefore has
// none to fetch: for SQL_ERROR and for SQL_SUCCESS_WITH_INFO.
inline constexpr SQLRETURN refusedHere = -1002;
inline constexpr SQLRETURN warnedHere = -1003;

// Queues `sqlstate` from inside the work for a driver that is not going to be called.
inline SQLRETURN refuse(DMHandle& handle, const char* sqlstate) noexcept {
  postError(handle, sqlstate);
  return refusedHere;
}

// The outcome of a driver call that returned `rc`, a success, and of `own`, what the driver manager made of
// its result with a diagnostic of its own.
inline SQLRETURN ownOutcome(SQLRETURN rc, SQLRETURN own) noexcept {
  if (own == SQL_ERROR) return refusedHere;
  return own == SQL_SUCCESS_WITH_INFO && rc == SQL_SUCCESS ? warnedHere : rc;
}

// Calls an entry of the driver's table, if it has it.
template <class Result, class... Parameters, class... Arguments>
SQLRETURN ask(Result (*function)(Parameters...), Arguments... arguments) {
  return function ? function(arguments...) : driverLacksFunction;
}

// What surrounds a driver call: the call lock, `busy`, and the diagnostics after it.
class DriverCall {
 public:
  DriverCall(DMHandle& handle, Api api) : handle(handle), stmt(nullptr), api(api) { begin(); }
  DriverCall(DMStmt& statement, Api api) : handle(statement), stmt(&statement), api(api) {
    begin();
    if (api != Api::Cancel) setBusy(1);
  }
  DriverCall(const DriverCall&) = delete;
  DriverCall& operator=(const DriverCall&) = delete;
  ~DriverCall() {
    if (stmt && api != Api::Cancel) setBusy(stillExecuting);
    if (api != Api::Cancel) handle.unlock();
  }

  // The code to go on with.
  SQLRETURN finish(SQLRETURN rc) {
    stillExecuting = rc == SQL_STILL_EXECUTING;
    if (rc == refusedHere) return SQL_ERROR;
    if (rc == warnedHere) return SQL_SUCCESS_WITH_INFO;
    if (rc == SQL_SUCCESS_WITH_INFO || rc == SQL_ERROR || rc == driverLacksFunction)
      rc = fetchDiagnostics(rc);
    if (stmt && stmt->conn->activeStatements == 1) noteOpenResult(rc);
    return rc;
  }

 private:
  void begin() {
    if (api == Api::Cancel) return;
    handle.lock();
    if (handle.hasUnsettled()) dropUnsettled(handle);
  }
  void setBusy(int busy) { __atomic_store_n(&stmt->busy, busy, __ATOMIC_RELAXED); }
  SQLRETURN fetchDiagnostics(SQLRETURN rc) noexcept;
  void noteOpenResult(SQLRETURN rc) noexcept;

  DMHandle& handle;
  DMStmt* stmt;
  Api api;
  int stillExecuting = 0;
};

// The driver's answer, inside or outside an application's call. Descriptors that belong to a statement
// are asked of the driver at their first use.
template <class Handle, class DriverWork>
SQLRETURN askDriver(Handle& handle, const DMDriverFunctions& driver, Api api, DriverWork& driverWork) {
  if (!handle.driverHandle) return SQL_INVALID_HANDLE;  // the driver's side is gone already
  DriverCall call(handle, api);
  return call.finish(driverWork(handle, driver));
}

// The statement's result is read to its end or closed: `hasOpenResult` falls, unless it is another's.
void endOpenResult(DMStmt& stmt) noexcept;

// The two ends of an application's call on a live handle. `beginCall` empties the queue.
void beginCall(DMHandle& handle, Api api) noexcept;
SQLRETURN endCall(DMHandle& handle, DMConn* conn, SQLRETURN rc) noexcept;

// Around a cancel that goes to the driver off the road: its diagnostics are fetched when the cursor
// library asks for them, at the latest at the end.
void beginCancel(DMStmt& stmt) noexcept;
void endCancel(DMStmt& stmt, SQLRETURN rc) noexcept;

// The driver's handle of an implicit descriptor, asked for at first use. False: the driver has none.
bool haveDriverDescriptor(DMDesc& desc);

// 08003 unless connected.
bool requireConnected(DMConn& conn) noexcept;

// Tells a cancel in another thread that a call runs on the statement, and the sequence state is its own.
// Calls nest, on one thread.
class CallUnderWay {
 public:
  explicit CallUnderWay(int& underWay) : underWay(underWay), before(underWay) { store(1); }
  CallUnderWay(const CallUnderWay&) = delete;
  CallUnderWay& operator=(const CallUnderWay&) = delete;
  ~CallUnderWay() { store(before); }

 private:
  void store(int value) { __atomic_store_n(&underWay, value, __ATOMIC_RELEASE); }

  int& underWay;
  int before;
};

// SQLFreeHandle on a statement, and SQLFreeStmt with SQL_DROP (`api` FreeStmt): marked, the driver's side
// only; else the driver's side, the cursor library's and the statement itself.
SQLRETURN dropStatement(SQLHSTMT handle, Api api);

template <class Handle, class Work>
SQLRETURN guardRoad(Handle& handle, Work&& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return failForMemory(handle);
  } catch (const std::exception&) {
    return fail(handle, "HY000");
  }
}

template <class ClWork, class DriverWork>
SQLRETURN callStatement(SQLHSTMT handle, Api api, ClWork&& clWork, DriverWork&& driverWork) {
  auto* marked = static_cast<DMStmt*>(handle);
  if (isMarked(marked)) {
    return guardRoad(*marked,
                     [&] { return askDriver(*marked, *marked->conn->driverFunctions, api, driverWork); });
  }
  DMStmt* stmt = findStatement(handle);
  if (!stmt) return SQL_INVALID_HANDLE;
  beginCall(*stmt, api);
  SQLRETURN rc = guardRoad(*stmt, [&]() -> SQLRETURN {
    DMConn& conn = *stmt->conn;
    const CursorLibrary* library = nullptr;
    if constexpr (hasLibraryWork<ClWork>)
      library = stmt->ofCursorLibrary ? nullptr : conn.state->cursorLibrary;
    std::optional<CallUnderWay> underWay;
    if (api != Api::Cancel) {
      underWay.emplace(stmt->state->sequence.underWay);
      if (const char* refused = sequenceBegin(*stmt, api, library != nullptr)) return fail(*stmt, refused);
    }
    SQLRETURN answer = SQL_ERROR;
    if constexpr (hasLibraryWork<ClWork>) {
      if (library && api == Api::Cancel) beginCancel(*stmt);
      if (library) answer = clWork(*stmt, *library);
    }
    if (!library) answer = askDriver(*stmt, *conn.driverFunctions, api, driverWork);
    if (api == Api::Cancel) {
      endCancel(*stmt, answer);
    } else {
      sequenceEnd(*stmt, api, answer);
    }
    return answer;
  });
  return endCall(*stmt, stmt->conn, rc);
}

// A connection must be connected for these (else 08003).
template <class ClWork, class DriverWork>
SQLRETURN callConnection(SQLHDBC handle, Api api, ClWork&& clWork, DriverWork&& driverWork) {
  auto* marked = static_cast<DMConn*>(handle);
  if (isMarked(marked)) {
    return guardRoad(*marked, [&] { return askDriver(*marked, *marked->driverFunctions, api, driverWork); });
  }
  DMConn* conn = findConnection(handle);
  if (!conn) return SQL_INVALID_HANDLE;
  beginCall(*conn, api);
  SQLRETURN rc = guardRoad(*conn, [&]() -> SQLRETURN {
    if (!requireConnected(*conn)) return SQL_ERROR;
    if constexpr (hasLibraryWork<ClWork>) {
      if (conn->state->cursorLibrary) return clWork(*conn, *conn->state->cursorLibrary);
    }
    return askDriver(*conn, *conn->driverFunctions, api, driverWork);
  });
  return endCall(*conn, conn, rc);
}

template <class ClWork, class DriverWork>
SQLRETURN callDescriptor(SQLHDESC handle, Api api, ClWork&& clWork, DriverWork&& driverWork) {
  auto toDriver = [&](DMDesc& desc) -> SQLRETURN {
    if (!haveDriverDescriptor(desc)) return fail(desc, "IM001");
    return askDriver(desc, *desc.conn->driverFunctions, api, driverWork);
  };
  auto* marked = static_cast<DMDesc*>(handle);
  if (isMarked(marked)) return guardRoad(*marked, [&] { return toDriver(*marked); });
  DMDesc* desc = findDescriptor(handle);
  if (!desc) return SQL_INVALID_HANDLE;
  beginCall(*desc, api);
  SQLRETURN rc = guardRoad(*desc, [&]() -> SQLRETURN {
    if (const char* refused = sequenceBegin(*desc)) return fail(*desc, refused);
    if constexpr (hasLibraryWork<ClWork>) {
      const CursorLibrary* library = desc->conn->state->cursorLibrary;
      if (library && !desc->state->ofCursorLibrary) return clWork(*desc, *library);
    }
    return toDriver(*desc);
  });
  return endCall(*desc, desc->conn, rc);
}

// For work that the driver manager does itself on a live handle, with nothing of the road but its ends:
// `work(handle)` answers the code.
template <class Handle, class Work>
SQLRETURN callOwn(Handle* handle, Api api, Work&& work) {
  if (!handle) return SQL_INVALID_HANDLE;
  beginCall(*handle, api);
  SQLRETURN rc = guardRoad(*handle, [&]() -> SQLRETURN { return work(*handle); });
  return endCall(*handle, connectionOf(*handle), rc);
}

template <class Work>
SQLRETURN callEnvironment(SQLHENV handle, Api api, Work&& work) {
  return callOwn(findEnvironment(handle), api, work);
}

}  // namespace dm

#endif
