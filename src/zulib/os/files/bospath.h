// Paths: making them absolute, taking them apart, and the current directory.
//
// Texts are terminated bytes. A buffer that a path is written to has room for bosPathSize bytes (bosfile.h)
// unless its size is given. An operation whose result would not fit answers 1, records error 30041, and
// leaves the buffer as it was.
//
// Thread use: reentrant on distinct texts; the current directory is the process's.

#ifndef ZULIB_OS_BOSPATH_H
#define ZULIB_OS_BOSPATH_H

#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/zuapi.h"

// Makes `path` absolute in its buffer of `n` bytes, by the current directory. A path that begins with "/" is
// left alone.
ZU_API int bosfpath(unsigned char* path, unsigned long n);

// Puts a directory and "/" in front of `name`: "HOME", else "ZU" from the environment, else the current one.
ZU_API int boshpath(unsigned char* name);

// Removes the directories that `path` shares with the current directory from its front. A "/" at index 2
// does not end a directory: that is meant, it belongs to a drive there.
ZU_API void bosmpath(unsigned char* path);

// Writes the absolute path of a file to `out`: `name` without white space or a single "." at its end; in
// `dir` when it names no directory; with "." and `defaultExt` when its last part holds no ".". `dir` and
// `defaultExt` may be null. "f.." keeps its dots, and takes no extension.
ZU_API int bospath(unsigned char* out, const unsigned char* dir, const unsigned char* name,
                   const unsigned char* defaultExt);
ZU_API int bospath(unsigned short* out, const unsigned short* dir, const unsigned short* name,
                   const unsigned short* defaultExt);

// Room for the parts that bosParseName writes: 128 and 4 characters, and a terminator.
constexpr unsigned long bosBaseNameSize = 129;
constexpr unsigned long bosExtensionSize = 5;

// Takes the file's name out of `path`, in which only the directory, with its "/", remains. `base` gets what
// stands before the first "." of the name, `ext` up to 4 characters behind that ".". A base that is too long
// is cut; or, when `report` is not 0, all three stay as they were and the answer is 1 with error 1524 and the
// name.
ZU_API int bosParseName(unsigned char* path, unsigned char* base, unsigned char* ext, int report);
ZU_API int bosParseName(unsigned short* path, unsigned short* base, unsigned short* ext, int report);

// The current directory; with `addSlash` it ends with "/". On failure `out` is empty and the answer 1.
ZU_API int bosgtcwd(unsigned char* out, int addSlash);

// Changes the current directory to the `n` bytes of `dir`, or to fewer if a terminator comes first. Error
// 1504 with the directory.
ZU_API int bosstcwd(const unsigned char* dir, unsigned long n);

#endif
