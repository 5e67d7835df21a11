// The guard of all entry points: takes the lock, runs the work, and turns an exception into posted errors and
// a return code.

#ifndef ZULIB_CURSOR_ENTRY_GUARD_H
#define ZULIB_CURSOR_ENTRY_GUARD_H

#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/runtime/zucritse.h"
#include "zuodbc/dmhandle.h"

// The lock for work on a handle: one for all connections, unless the connection has its own.
inline ZuCriticalSection& libraryLockOf(const DMHandle& handle) {
  const DMConn* conn = nullptr;
  switch (handle.handleType) {
    case DM_CONN: conn = static_cast<const DMConn*>(&handle); break;
    case DM_STMT: conn = static_cast<const DMStmt&>(handle).conn; break;
    case DM_DESC: conn = static_cast<const DMDesc&>(handle).conn; break;
    default: break;
  }
  return conn && conn->libraryLock ? *conn->libraryLock : CursorLibrarySingleThreadLock;
}

// `work()` returns a SQLRETURN. Errors without a handle of their own are posted on `handle`.
template <class Work>
SQLRETURN guarded(void* handle, Work&& work) {
  const ZuCriticalSectionHolder lock(libraryLockOf(*static_cast<const DMHandle*>(handle)));
  try {
    return work();
  } catch (const CException& exception) {
    return HandleException(exception, handle);
  }
}

#endif
