// The library's own size types: as wide as a pointer, so that every size, offset and count fits.

#ifndef ZULIB_RUNTIME_ZUTYPES_H
#define ZULIB_RUNTIME_ZUTYPES_H

typedef unsigned long ZUSIZE_T;
typedef long ZUSSIZE_T;

#endif
