// The trace bits of profile files, and the lock of a scope.

#ifndef ZULIB_OS_INTERNAL_ZUINITRACE_H
#define ZULIB_OS_INTERNAL_ZUINITRACE_H

#include "zulib/runtime/zudebug.h"
#include "zulib/runtime/zusemaph.h"

namespace zuini {

constexpr unsigned long TRACE_WRITES = 16;  // and reads of many entries
constexpr unsigned long TRACE_READS = 32;
constexpr unsigned long TRACE_OPEN = 128;

inline bool isTraced(unsigned long bit) { return BOS_RUNTIME_DEBUG.debugItem(bit) != 0; }

inline const char* chars(const unsigned char* text) { return reinterpret_cast<const char*>(text); }

class SemaphoreHolder {
 public:
  explicit SemaphoreHolder(ZuSemaphore& semaphore) : semaphore(semaphore) { semaphore.SemaphoreEnter(); }
  SemaphoreHolder(const SemaphoreHolder&) = delete;
  SemaphoreHolder& operator=(const SemaphoreHolder&) = delete;
  ~SemaphoreHolder() { semaphore.SemaphoreExit(); }

 private:
  ZuSemaphore& semaphore;
};

}  // namespace zuini

#endif
