// Locks on byte ranges of files, between processes and between the threads of one process.
//
// The system's locks belong to the process: they keep no two threads of it apart, and closing any handle of a
// file gives up all that the process holds on it. So a list of the ranges that are held, each by one thread,
// is asked in addition.
//
// Thread safety: any thread.

#ifndef ZULIB_OS_FILES_BOSREGION_H
#define ZULIB_OS_FILES_BOSREGION_H

#include "zulib/runtime/zuapi.h"

// Locks `length` bytes from `offset` for writing, or (`unlock` not 0) gives them up; a length of 0 reaches to
// the end of the file. Does not wait. A handle of 0 succeeds and does nothing.
//
// Returns 0; or 1 with error 1512 if another process or thread holds an overlapping range, 1503 if memory is
// exhausted, or what `bosMapError` has for the system's reason. After a conflict with another thread the
// process has the system's lock all the same.
//
// A held range overlaps a new one if its first or last byte is in the new one, or if one of them reaches to
// the end of the file and the other does not end before it. Kept: a new range strictly inside a held one does
// not count as overlapping.
//
// The same range may be locked again by the thread that holds it, and is held until it was unlocked as often;
// but the system's lock, which other processes see, goes with the first unlock. Unlocking what is not held
// succeeds.
ZU_API int bosRegionLock(int handle, int unlock, long long offset, long long length);

#endif
