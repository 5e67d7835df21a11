// The export mark. Everything is hidden but what carries ZU_API: what a driver, an application or the
// other of the two libraries calls.

#ifndef ZULIB_RUNTIME_ZUAPI_H
#define ZULIB_RUNTIME_ZUAPI_H

#define ZU_API __attribute__((visibility("default")))

#endif
