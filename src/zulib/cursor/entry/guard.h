// The one guard of all entry points: takes the lock, runs the work, and turns an exception into posted
// errors and a return code.

#ifndef ZULIB_CURSOR_INTERNAL_GUARD_H
#define ZULIB_CURSOR_INTERNAL_GUARD_H

#include "zulib/cursor/entry/exception.h"
#include "zuodbc/dmhandle.h"

// Posts what the exception says on its own handle, or on `handle`, and answers the return code.
SQLRETURN HandleException(const CException& exception, void* handle);

// Posts message `errorId` on `handle` and answers SQL_ERROR, or SQL_SUCCESS_WITH_INFO.
SQLRETURN clError(void* handle, unsigned short errorId);
SQLRETURN clWarning(void* handle, unsigned short errorId);

// `work()` answers a SQLRETURN.
template <class Work>
SQLRETURN guarded(void* handle, Work&& work) {
  ZuCriticalSectionHolder lock(CursorLibrarySingleThreadLock);
  try {
    return work();
  } catch (const CException& exception) {
    return HandleException(exception, handle);
  }
}

#endif
