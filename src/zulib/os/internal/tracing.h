// The trace bits of the operating-system layer.

#ifndef ZULIB_OS_INTERNAL_TRACING_H
#define ZULIB_OS_INTERNAL_TRACING_H

#include "zulib/runtime/zudebug.h"

namespace zuos {

constexpr unsigned long TRACE_FILE_OPEN = 1;
constexpr unsigned long TRACE_EXISTENCE = 256;
constexpr unsigned long TRACE_FILE_SEARCH = 512;
constexpr unsigned long TRACE_PATHS = 1024;

inline bool traced(unsigned long bit) { return BOS_RUNTIME_DEBUG.debugItem(bit) != 0; }

}  // namespace zuos

#endif
