// Finding files along lists of directories.
//
// A list of directories is one text: directories, each followed by ":". Empty ones are skipped. Names and
// paths are terminated; a path, with its terminator, takes at most bosPathSize bytes (boserror.h), and a file
// whose path would be longer is not found.
//
// Thread safety: any thread; the environment and the current directory belong to the process.

#ifndef ZULIB_OS_LOADING_BOSLOCATE_H
#define ZULIB_OS_LOADING_BOSLOCATE_H

#include "zulib/runtime/zuapi.h"

// The directories of bosLocateFile. They are searched in the order of this list.
enum BosLocateFlag : unsigned long {
  bosLocateCurrent = 16,     // the current directory
  bosLocateHome = 2,         // "HOME"
  bosLocateLibrary = 4,      // "ZU", then "ZULIB"
  bosLocateLoadPath = 8,     // "LD_LIBRARY_PATH", "LD_RUN_PATH", then /usr/local/lib; and each one's parent
  bosLocateCommandPath = 1,  // "PATH"
};

// Returns a `ram` block of `list`, `dir` and ":"; `list`, which may be null, is freed. With a null `dir` it
// returns `list` itself. If the allocation fails it returns null, and `list` is freed all the same.
ZU_API unsigned char* appendPath(unsigned char* list, const unsigned char* dir);

// Looks for a regular file: `name` itself, else in the directories of `flags`. 0 with the path in
// `out`; or 1 with `out` empty, and no error recorded. `out` may be null.
//
// With bosLocateLoadPath, "dir/../name" follows every directory, whichever flag added it: a library in the
// parent of a directory of libraries is found, and its path keeps the "..".
ZU_API int bosLocateFile(unsigned char* out, const unsigned char* name, unsigned long flags);

#endif
