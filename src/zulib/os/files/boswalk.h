// Walks over the directories below the current one, and over file systems.
//
// The caller passes a null handle first, and then the handle that the last call left; the walk is over when
// the handle is null again. Then, and if the allocation of a handle fails (the result is 1), `out` is empty;
// otherwise it receives the next name, and must have room for bosPathSize bytes (boserror.h). A walk that is
// not finished keeps its handle.
//
// Thread safety: each walk belongs to one thread.

#ifndef ZULIB_OS_FILES_BOSWALK_H
#define ZULIB_OS_FILES_BOSWALK_H

#include <stdio.h>

#include "zulib/runtime/zuapi.h"

struct BosDirectoryWalk;

// Names of the directories in the current directory, those that begin with "." left out. A directory that
// cannot be read ends the walk.
ZU_API int bosGetDirectoryNames(BosDirectoryWalk** handle, unsigned char* out);

// A `ram` block. `table` is an open stream in the format of /etc/mtab, owned by the caller.
struct BosFileSystemWalk {
  FILE* table;
};

// Directories where file systems are mounted. A walk that begins with a null handle has no table and ends at
// once; a caller that wants names passes a handle of its own with a table.
ZU_API int bosGetFileSystems(BosFileSystemWalk** handle, unsigned char* out);

#endif
