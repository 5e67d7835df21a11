// Facts about the machine, the user and the process.
//
// Texts go to `out`, which has room for `size` + 1 characters; a longer text is cut to `size` and terminated.
// With a null `out` or a `size` of 0 nothing is written and 0 is returned.
//
// Thread safety: any thread.

#ifndef ZULIB_OS_HOST_BOSHOST_H
#define ZULIB_OS_HOST_BOSHOST_H

#include "zulib/runtime/zuapi.h"

// Return 0; or 1 without an error record if the system does not tell, or the name does not convert.
ZU_API int bosGetMachineName(unsigned char* out, unsigned long size);
ZU_API int bosGetMachineName(unsigned short* out, unsigned long size);
ZU_API int bosGetHostUser(unsigned char* out, unsigned long size);
ZU_API int bosGetHostUser(unsigned short* out, unsigned long size);

ZU_API unsigned long bosGetProcessID();
ZU_API unsigned long bosGetThreadID();
ZU_API long bosGetLogicalProcessorCount();

// The command name of this process, whatever `process` is, of at most `size` - 2 characters; empty if the
// system does not tell. Nothing is written if no process can be started to ask.
ZU_API void bosGetCommand(unsigned long process, unsigned char* out, unsigned long size);

// Waits for `ms` milliseconds, or until a signal was handled.
ZU_API void bossleep(unsigned short ms);

// Does nothing here: the scheduler needs no help.
ZU_API void bosYieldThread(unsigned long n);

// The library starts no threads: 1.
ZU_API int bosCreateThread(void* entry, unsigned long stackSize, void* argument, void* attributes,
                           unsigned long flags, unsigned long* id);

// Do nothing; kept for callers that are built for every platform. The second returns 0.
ZU_API void boscreth(unsigned short id, void* data);
ZU_API int bosabort();

#endif
