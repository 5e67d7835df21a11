// Walks over the directories below the current one, and over file systems.
//
// The caller calls with the handle that the call before left, and with null first; the walk is over when
// the handle is null again. Then, and when there was no memory for a handle (the answer is 1), `out` is
// empty; otherwise it gets the next name, and has room for bosPathSize bytes (bosfile.h). A walk that is
// not finished keeps its handle.
//
// Thread use: each walk belongs to one thread.

#ifndef ZULIB_OS_BOSWALK_H
#define ZULIB_OS_BOSWALK_H

#include <stdio.h>

#include "zulib/runtime/zuapi.h"

struct BosDirectoryWalk;

// Names of the directories in the current directory, those that begin with "." left out. A directory that
// cannot be read ends the walk.
ZU_API int bosGetDirectoryNames(BosDirectoryWalk** handle, unsigned char* out);

// A `ram` block. `table` is an open stream in the format of /etc/mtab; it stays the property of whoever
// opened it.
struct BosFileSystemWalk {
  FILE* table;
};

// Directories where file systems are mounted. A walk that begins with a null handle has no table, which is
// meant: it ends at once. A caller that wants names hands in a handle of its own with a table.
ZU_API int bosGetFileSystems(BosFileSystemWalk** handle, unsigned char* out);

#endif
