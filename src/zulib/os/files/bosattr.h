// What kind of file a name is, and whether a file can be created beside it.
//
// Names are terminated. Thread safety: any thread.

#ifndef ZULIB_OS_FILES_BOSATTR_H
#define ZULIB_OS_FILES_BOSATTR_H

#include "zulib/runtime/zuapi.h"

// Bits of bosfattr.
enum BosFileAttribute : int {
  bosAttrFile = 1,       // a regular file
  bosAttrDirectory = 2,  // or the name ".."
  bosAttrReadOnly = 4,   // with bosAttrFile
  bosAttrNotFound = 8,
  bosAttrUnknown = 16,  // `stat` failed for another reason
  bosAttrOther = 32,    // neither file nor directory
};

// What kind of file the name is, symbolic links followed. `errno` has the reason for bosAttrNotFound and
// bosAttrUnknown.
ZU_API int bosfattr(const unsigned char* name);

// 1 for a regular file; 0 for a directory. The UTF-16 form returns 1 also for a name that does not convert.
ZU_API int bosexist(const unsigned char* name);
ZU_API int bosexist(const unsigned short* name);

// True if a file can be created in the directory of `path`, which must hold a "/": one is created and
// removed.
ZU_API bool bosftest(const unsigned char* path);

#endif
