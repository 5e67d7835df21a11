// The path of every application's call, written once.
//
// An entry point names its function, and says what is wrong with the arguments, and how the cursor library
// and how the driver carries the call out:
//
//   SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
//     return callStatement(
//         handle, Api::Fetch, kNoCheck,
//         [](DMStmt& stmt, const CursorLibrary& library) { return library.CLFetch(&stmt); },
//         [](DMStmt& stmt, const DMDriverFunctions& driver) { return ask(driver.SQLFetch, stmt.driverHandle);
//         });
//   }
//
// The path: a handle that this thread has marked, or whose connection it has marked, goes straight to the
// driver. Any other is looked up and entered (else SQL_INVALID_HANDLE), and its queue is emptied. Then the
// check of the arguments returns the SQLSTATE of what is wrong, or null, and the sequence rule of the
// function is applied (call/sequence.h). The cursor library carries the call out if the connection uses it
// and the statement is not the library's own, else the driver. The sequence state moves on by the outer
// call's code only.
//
// The driver manager may use standard containers, since no exception leaves this path (guardCall). An entry
// point outside it (the diagnostics functions) allocates nothing that throws. SQLCancel has a path of its own
// (api/cancel.cpp).

#ifndef ZUODBC_CALL_ENTRY_H
#define ZUODBC_CALL_ENTRY_H

#include <type_traits>

#include "zuodbc/call/drivercall.h"
#include "zuodbc/call/errors.h"
#include "zuodbc/call/sequence.h"
#include "zuodbc/driver/cursorlibrary.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/handles.h"
#include "zuodbc/handles/marks.h"

namespace dm {

// An entry point without a counterpart in the cursor library passes this for its first work.
struct NoCursorLibrary {};
inline constexpr NoCursorLibrary kNoCursorLibrary{};

template <class Work>
inline constexpr bool kHasLibraryWork =
    !std::is_same_v<std::remove_cv_t<std::remove_reference_t<Work>>, NoCursorLibrary>;

// For an entry point whose arguments need no check.
inline constexpr auto kNoCheck = [](const DMHandle&) -> const char* { return nullptr; };

// The two ends of an application's call on an entered handle. `beginCall` empties the queue.
void forgetCancel(DMStmt& stmt) noexcept;
inline void beginCall(DMHandle& handle) noexcept {
  if (__atomic_load_n(&handle.errorQueue, __ATOMIC_RELAXED)) handle.VFreeErrors();
}
inline void beginCall(DMStmt& stmt) noexcept {
  beginCall(static_cast<DMHandle&>(stmt));
  if (stmt.state->cancelAsked.load(std::memory_order_relaxed)) [[unlikely]]
    forgetCancel(stmt);
}
void reapAfterCall(DMConn& conn) noexcept;
inline SQLRETURN endCall(DMHandle& handle, DMConn* conn, SQLRETURN rc) noexcept {
  if (handle.hasUnsettled()) settleErrors(handle);
  __atomic_store_n(&handle.lastReturn, rc, __ATOMIC_RELAXED);
  if (conn && conn->state && conn->state->releasedCount.load(std::memory_order_relaxed) != 0) [[unlikely]]
    reapAfterCall(*conn);
  return rc;
}

// Posts 08003 and returns false unless connected.
bool requireConnected(DMConn& conn) noexcept;

// The cursor library that serves a statement, or null.
inline const CursorLibrary* libraryOf(const DMStmt& stmt) {
  return stmt.ofCursorLibrary ? nullptr : stmt.conn->state->cursorLibrary;
}

// Remembers which application's call is under way on a statement. Calls nest when the cursor library comes
// back.
class CallScope {
 public:
  CallScope(DMStmt& stmt, Api api) : call(stmt.state->call), outer(call) { call = api; }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;
  ~CallScope() { call = outer; }

 private:
  Api& call;
  Api outer;
};

template <class Check, class ClWork, class DriverWork>
SQLRETURN callStatement(SQLHSTMT handle, Api api, Check&& check, ClWork&& clWork, DriverWork&& driverWork) {
  auto* marked = static_cast<DMStmt*>(handle);
  const ThreadMarks* marks = marksOfThread();
  if (isMarked(marks, marked)) {
    return guardCall(*marked, [&] {
      return askDriver(*marked, *marked->conn->driverFunctions, api, driverWork, marks, false);
    });
  }
  // A call that the cursor library makes on its way is a part of the application's call around it.
  const bool isOuter = !isInLibrary(marks);
  const Entered<DMStmt> entered(handle, !isOuter);
  if (!entered) return SQL_INVALID_HANDLE;
  DMStmt& stmt = *entered;
  beginCall(stmt);
  const CallScope scope(stmt, api);
  const SQLRETURN rc = guardCall(stmt, [&]() -> SQLRETURN {
    if (const char* wrong = check(stmt)) return fail(stmt, wrong);
    const CursorLibrary* library = kHasLibraryWork<ClWork> ? libraryOf(stmt) : nullptr;
    const char* refused = isOuter ? sequenceBegin(stmt, api, library != nullptr) : nullptr;
    if (refused) return fail(stmt, refused);
    SQLRETURN done = SQL_ERROR;
    if constexpr (kHasLibraryWork<ClWork>) {
      if (library) {
        const InLibrary inLibrary(&stmt);
        done = clWork(stmt, *library);
      }
    }
    if (!library) {
      // Without the cursor library on the connection only entered calls use a statement.
      const bool isAlone = isOuter && !stmt.conn->state->cursorLibrary;
      done = askDriver(stmt, *stmt.conn->driverFunctions, api, driverWork, marks, isAlone);
    }
    if (isOuter) sequenceEnd(stmt, api, done);
    return done;
  });
  return endCall(stmt, stmt.conn, rc);
}

// A connection must be connected for these (else 08003).
template <class ClWork, class DriverWork>
SQLRETURN callConnection(SQLHDBC handle, Api api, ClWork&& clWork, DriverWork&& driverWork) {
  auto* marked = static_cast<DMConn*>(handle);
  if (isMarked(marked)) {
    return guardCall(*marked, [&] { return askDriver(*marked, *marked->driverFunctions, api, driverWork); });
  }
  const Entered<DMConn> entered(handle);
  if (!entered) return SQL_INVALID_HANDLE;
  DMConn& conn = *entered;
  beginCall(conn);
  const SQLRETURN rc = guardCall(conn, [&]() -> SQLRETURN {
    if (!requireConnected(conn)) return SQL_ERROR;
    if constexpr (kHasLibraryWork<ClWork>) {
      if (conn.state->cursorLibrary) {
        const InLibrary inLibrary(nullptr);
        return clWork(conn, *conn.state->cursorLibrary);
      }
    }
    return askDriver(conn, *conn.driverFunctions, api, driverWork);
  });
  return endCall(conn, &conn, rc);
}

// The driver carries out a call on a descriptor.
template <class DriverWork>
SQLRETURN askDescriptor(DMDesc& desc, Api api, DriverWork& driverWork) {
  if (!haveDriverDescriptor(desc)) return fail(desc, "IM001");
  completeDescriptor(desc);
  return askDriver(desc, *desc.conn->driverFunctions, api, driverWork);
}

template <class Check, class ClWork, class DriverWork>
SQLRETURN callDescriptor(SQLHDESC handle, Api api, Check&& check, ClWork&& clWork, DriverWork&& driverWork) {
  auto* marked = static_cast<DMDesc*>(handle);
  if (isMarked(marked)) return guardCall(*marked, [&] { return askDescriptor(*marked, api, driverWork); });
  const Entered<DMDesc> entered(handle);
  if (!entered) return SQL_INVALID_HANDLE;
  DMDesc& desc = *entered;
  beginCall(desc);
  const SQLRETURN rc = guardCall(desc, [&]() -> SQLRETURN {
    if (const char* wrong = check(desc)) return fail(desc, wrong);
    if (const char* refused = sequenceBegin(desc)) return fail(desc, refused);
    if constexpr (kHasLibraryWork<ClWork>) {
      const CursorLibrary* library = desc.conn->state->cursorLibrary;
      if (library && !desc.state->ofCursorLibrary) {
        const InLibrary inLibrary(desc.ownerStmt);
        return clWork(desc, *library);
      }
    }
    return askDescriptor(desc, api, driverWork);
  });
  return endCall(desc, desc.conn, rc);
}

// For work that the driver manager does itself: `work(handle)` returns the code. The address may be any; it
// is looked up as a handle of the pointer's type.
template <class Handle, class Work>
SQLRETURN callOwn(Handle* address, Api, Work&& work) {
  const Entered<Handle> entered(address);
  if (!entered) return SQL_INVALID_HANDLE;
  beginCall(*entered);
  const SQLRETURN rc = guardCall(*entered, [&]() -> SQLRETURN { return work(*entered); });
  return endCall(*entered, connectionOf(*entered), rc);
}

template <class Work>
SQLRETURN callEnvironment(SQLHENV handle, Api api, Work&& work) {
  return callOwn(static_cast<DMEnv*>(handle), api, work);
}

}  // namespace dm

#endif
