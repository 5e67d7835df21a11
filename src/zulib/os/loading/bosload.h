// Finding files along lists of directories, and loading shared libraries.
//
// A list of directories is one text: directories, each with a ":" behind it. Empty ones count as absent.
// Names and paths are terminated; a path, with its terminator, takes at most bosPathSize bytes (bosfile.h),
// and a file whose path would be longer counts as not there.
//
// Thread use: any thread; the environment and the current directory are the process's.

#ifndef ZULIB_OS_BOSLOAD_H
#define ZULIB_OS_BOSLOAD_H

#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/zuapi.h"

// Where bosLocateFile looks. The order is that of this list, whatever the order of the bits.
enum BosLocateFlag : unsigned long {
  bosLocateCurrent = 16,  // the current directory
  bosLocateHome = 2,      // "HOME"
  bosLocateLibrary = 4,   // "ZU", then "ZULIB"
  bosLocateLoadPath = 8,  // "LD_LIBRARY_PATH", "LD_RUN_PATH", then /usr/local/lib; and above each directory
  bosLocateCommandPath = 1,  // "PATH"
};

// A `ram` block of `list`, `dir` and ":"; `list` is freed, and may be null. A null `dir` answers `list` as it
// is. Without memory the answer is null, and `list` is gone too.
ZU_API unsigned char* appendPath(unsigned char* list, const unsigned char* dir);

// Looks for a regular file: `name` as it stands, else in the directories of `flags`. 0 with the path in
// `out`; or 1 with `out` empty, and no error recorded. `out` may be null.
//
// With bosLocateLoadPath every directory is followed by "dir/../name", whichever flag brought it: a library
// that stands above a directory of libraries is found, and its path keeps the "..".
ZU_API int bosLocateFile(unsigned char* out, const unsigned char* name, unsigned long flags);

// Appends "22" to `name`, which has room for it: the version mark of this family of libraries.
ZU_API void bosdllname(unsigned char* name);

// Loads the library `name`, without white space at its end, with the version mark when `addVersion` is not
// 0, and with ".so" unless that stands anywhere in it, from the directories of bosLocateLibrary and
// bosLocateLoadPath. The handle, which goes with `dlclose`; or null: without a record when there is no such
// file, with error 1523, the path and the loader's words when it cannot be loaded, and with error 30041 when
// the name is longer than a path. UTF-16 names are converted by `zuGetANSIStrFromUTF16Str`.
ZU_API void* bosLoadLibrary(const unsigned char* name, int addVersion);
ZU_API void* bosLoadLibrary(const unsigned short* name, int addVersion);

#endif
