// Paths: making them absolute, taking them apart, and the current directory.
//
// Texts are terminated bytes. A buffer that a path is written to has room for bosPathSize bytes (boserror.h)
// unless its size is given. An operation whose result would not fit returns 1, records error 30041, and
// leaves the buffer unchanged.
//
// Thread safety: reentrant on distinct texts; the current directory belongs to the process.

#ifndef ZULIB_OS_FILES_BOSPATH_H
#define ZULIB_OS_FILES_BOSPATH_H

#include "zulib/os/files/boserror.h"
#include "zulib/runtime/zuapi.h"

// Makes `path` absolute in its buffer of `n` bytes, by the current directory. A path that begins with "/" is
// left alone.
ZU_API int bosfpath(unsigned char* path, unsigned long n);

// Puts a directory and "/" in front of `name`: "HOME", else "ZU" from the environment, else the current one.
ZU_API int boshpath(unsigned char* name);

// Removes the directories that `path` shares with the current directory from its front. A "/" at index 2
// does not end a directory: there it belongs to a drive.
ZU_API void bosmpath(unsigned char* path);

// Writes the absolute path of a file to `out`: `name` without white space or a single "." at its end; in
// `dir` if it names no directory; with "." and `defaultExt` if its last part holds no ".". `dir` and
// `defaultExt` may be null. "f.." keeps its dots, and gets no extension.
ZU_API int bospath(unsigned char* out, const unsigned char* dir, const unsigned char* name,
                   const unsigned char* defaultExt);
ZU_API int bospath(unsigned short* out, const unsigned short* dir, const unsigned short* name,
                   const unsigned short* defaultExt);

// Room for the parts that bosParseName writes: 128 and 4 characters, and a terminator.
enum : unsigned long { bosBaseNameSize = 129, bosExtensionSize = 5 };

// Cuts the file's name from `path`, in which only the directory, with its "/", remains. `base` receives what
// comes before the first "." of the name, `ext` up to 4 characters after that ".". A base that is too long
// is cut; or, if `report` is not 0, all three stay unchanged and the function returns 1 with error 1524 and
// the name.
ZU_API int bosParseName(unsigned char* path, unsigned char* base, unsigned char* ext, int report);
ZU_API int bosParseName(unsigned short* path, unsigned short* base, unsigned short* ext, int report);

// Writes the current directory; with `addSlash` it ends with "/". On failure `out` is empty and the result 1.
ZU_API int bosgtcwd(unsigned char* out, int addSlash);

// Changes the current directory to the `n` bytes of `dir`, or to fewer if a terminator comes first. Error
// 1504 with the directory.
ZU_API int bosstcwd(const unsigned char* dir, unsigned long n);

#endif
