// The environment of the process.

#ifndef ZULIB_OS_BOSENV_H
#define ZULIB_OS_BOSENV_H

#include "zulib/runtime/zuapi.h"

// The value of a variable, or null. It stands until the environment changes.
ZU_API const unsigned char* bosGetEnv(const unsigned char* name);

// The same in UTF-16, converted both ways; null also when the name or the value does not convert. The value
// lies in a buffer of the calling thread and stands until the thread asks again.
ZU_API const unsigned short* bosGetEnv(const unsigned short* name);

#endif
