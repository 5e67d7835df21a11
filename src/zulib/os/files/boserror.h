// What all file operations share: the size of a path, and the library's error for each `errno`.
//
// Thread safety: any thread.

#ifndef ZULIB_OS_FILES_BOSERROR_H
#define ZULIB_OS_FILES_BOSERROR_H

#include "zulib/runtime/zuapi.h"

// Bytes of the longest path, its terminator included: the size of every buffer that takes a path.
enum : unsigned long { bosPathSize = 1024 };

// Records the error for an `errno`; a null name counts as empty. Numbers that have no error of their own
// give 30041 with the system's explanation.
ZU_API void bosMapError(int errnum, const unsigned char* name);
ZU_API void bosMapError(int errnum, const unsigned short* name);

#endif
