// The trace bits of the operating-system layer, and text as the C library takes it.

#ifndef ZULIB_OS_INTERNAL_TRACING_H
#define ZULIB_OS_INTERNAL_TRACING_H

#include "zulib/runtime/zudebug.h"

namespace zuos {

constexpr unsigned long kTraceFileOpen = 1;
constexpr unsigned long kTraceLocation = 2;
constexpr unsigned long kTraceLoading = 4;
constexpr unsigned long kTraceCatalogs = 8;
constexpr unsigned long kTraceProfileWrites = 16;  // and reads of many entries
constexpr unsigned long kTraceProfileReads = 32;
constexpr unsigned long kTraceProfileOpen = 128;
constexpr unsigned long kTraceExistence = 256;
constexpr unsigned long kTraceFileSearch = 512;
constexpr unsigned long kTracePaths = 1024;

inline bool traced(unsigned long bit) { return BOS_RUNTIME_DEBUG.debugItem(bit) != 0; }

inline const char* chars(const unsigned char* text) { return reinterpret_cast<const char*>(text); }
inline const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

}  // namespace zuos

#endif
