// The guard of all entry points: takes the lock, runs the work, and turns an exception into posted errors and
// a return code.

#ifndef ZULIB_CURSOR_ENTRY_GUARD_H
#define ZULIB_CURSOR_ENTRY_GUARD_H

#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/runtime/zucritse.h"

// `work()` returns a SQLRETURN. Errors without a handle of their own are posted on `handle`.
template <class Work>
SQLRETURN guarded(void* handle, Work&& work) {
  const ZuCriticalSectionHolder lock(CursorLibrarySingleThreadLock);
  try {
    return work();
  } catch (const CException& exception) {
    return HandleException(exception, handle);
  }
}

#endif
