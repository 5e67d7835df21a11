// The environment of the process.

#ifndef ZULIB_OS_LOADING_BOSENV_H
#define ZULIB_OS_LOADING_BOSENV_H

#include "zulib/runtime/zuapi.h"

// The value of a variable, or null. It is valid until the environment changes. Names of files and libraries
// are not for this function: the library reads them with `secure_getenv`.
ZU_API const unsigned char* bosGetEnv(const unsigned char* name);

// The same in UTF-16, converted both ways; null also if the name or the value does not convert, or if the
// allocation fails. The value stays valid until the library is unloaded, which keeps each distinct value
// once.
ZU_API const unsigned short* bosGetEnv(const unsigned short* name);

#endif
