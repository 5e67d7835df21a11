// Loading shared libraries.
//
// Thread safety: any thread; the environment belongs to the process.

#ifndef ZULIB_OS_LOADING_BOSLOAD_H
#define ZULIB_OS_LOADING_BOSLOAD_H

#include "zulib/os/loading/boslocate.h"
#include "zulib/runtime/zuapi.h"

// Appends "22", the version mark of this family of libraries, to `name`, which must have room for it.
ZU_API void bosdllname(unsigned char* name);

// Loads the library `name`, without white space at its end, with the version mark if `addVersion` is not 0,
// and with ".so" appended unless the name holds it anywhere, from the directories of bosLocateLibrary and
// bosLocateLoadPath. Returns the handle, for `dlclose`; or null: without a record if there is no such file,
// with error 1523, the path and the loader's words if it cannot be loaded, and with error 30041 if the name
// is longer than a path. UTF-16 names are converted by `zuGetANSIStrFromUTF16Str`.
ZU_API void* bosLoadLibrary(const unsigned char* name, int addVersion);
ZU_API void* bosLoadLibrary(const unsigned short* name, int addVersion);

// The address of a function of a loaded library, or null without a record.
ZU_API void* zuGetProcAddr(void* library, const unsigned char* function);

#endif
