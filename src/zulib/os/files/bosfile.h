// Files: open, read, write, seek, size, lock, delete, rename, and what a name stands for.
//
// A handle is a plain descriptor; 0 and below are no handle. Offsets and sizes of files are 64 bits wide, and
// an offset of -1 in a read or write means the current position. Names are terminated; a path, with its
// terminator, takes at most bosPathSize bytes, and a longer one is an error (30041). UTF-16 names are
// converted by `zuGetANSIStrFromUTF16Str`; one that does not convert gives 1 and no error record.
//
// Operations answer 0, or 1 after one record on the thread's error list; `bosMapError` has the numbers.
//
// Locks are the advisory ones of POSIX: they belong to the process, and closing any handle of a file gives
// up all that the process holds on it.
//
// Thread use: any thread; one thread at a time uses a handle.

#ifndef ZULIB_OS_BOSFILE_H
#define ZULIB_OS_BOSFILE_H

#include "zulib/runtime/zuapi.h"

// Bytes of the longest path, its terminator included: the size of every buffer that takes a path.
constexpr unsigned long bosPathSize = 1024;

// Bits of the mode of bosFileOpen.
enum BosOpenMode : unsigned long {
  bosOpenCreate = 0x0001,           // read and write, made if missing, never cut
  bosOpenReadWrite = 0x0002,        // read and write; without it, read only
  bosOpenCreateIfMissing = 0x0004,  // made if it is not there
  bosOpenIsSpecial = 0x0008,        // set inside the call: the name is a special one
  bosOpenLocate = 0x0010,           // when it cannot be opened, look for it once through bosLocateFile
  bosOpenExclusive = 0x0020,        // with bosOpenCreate: it must not exist
  bosOpenTemporary = 0x0040,        // make a new file of a new name, and tell the name
  bosOpenResolveOnly = 0x0100,      // map and test the name, open nothing; the handle is 0
  bosOpenMapSpecial = 0x0200,       // map special names
  bosOpenNoReadLock = 0x0400,       // not the lock of bosOpenReadLock
  bosOpenReadLock = 0x0800,         // take a read lock
  bosOpenWriteLock = 0x1000,        // with bosOpenReadWrite: take a write lock in place of the read lock
};

// Opens `name`. A lock that another process holds against ours fails the open at once.
//
// Special names are compared as they stand, without a directory, and stand for files in "HOME":
//   ODBC.INI, .odbc.ini          (any case)  "ODBCINI", else "ODBC_INI" win over it; the file must exist
//   ODBCINST.INI, .odbcinst.ini  (any case)  "ODBCINST", else "ODBCINSTINI" win over it; the file must exist
//   .zulib.ini                   (exactly)   "ZULIB_INI" when it is not there
//   .system.defaults             (exactly)   "ZU_SYSTEM_INI" when it is not there
//
// A temporary file is made in "TMPDIR", "ZU_TMPDIR" or "/tmp", the first that is a directory; its name is
// "zu" and six characters, and only its owner may read it.
//
// With a temporary or a special name the true path goes to `name`, which then has room for bosPathSize
// bytes. On failure `name` and `*handle` are as they were. The const form keeps the path to itself.
ZU_API int bosFileOpen(unsigned char* name, unsigned long mode, int* handle);
ZU_API int bosFileOpen(const unsigned char* name, unsigned long mode, int* handle);
ZU_API int bosFileOpen(const unsigned short* name, unsigned long mode, int* handle);

// The same; the two creator codes mean nothing here.
ZU_API int bosFileOpen(unsigned char* name, unsigned long mode, int* handle, const char* creator,
                       const char* type);

// A handle below 1 succeeds and closes nothing.
ZU_API int bosFileClose(int handle);

// Reads up to `n` bytes. Always 0: a failed read, or seek, shows only as `*got` of -1 (as unsigned).
ZU_API int bosFileRead(int handle, long long offset, void* buffer, unsigned long n, unsigned long* got);

// Writes `n` bytes. The count written is kept in 16 bits and compared with `n`: a write of 65536 bytes or
// more fails even when the file took all of it, so callers write less at a time. 1506 when the 16-bit count
// is 0 or the disk is full, else 30041.
ZU_API int bosFileWrite(int handle, long long offset, const void* buffer, unsigned long n);

// UTF-16: `n` units as UTF-8; or, with `toUtf8` 0, `n` bytes as they lie in memory.
ZU_API int bosFileWrite(int handle, long long offset, const unsigned short* text, unsigned long n,
                        int toUtf8);

// `whence` is that of lseek.
ZU_API int bosFileSeek(int handle, long long offset, int whence);

// Sets the size. It reads none, and records no error.
ZU_API int bosFileSize(int handle, long long size);

// Sets the size, and records why it could not.
ZU_API int bosFileTruncate(int handle, long long size);
ZU_API int bosFileTruncate(const unsigned char* name, long long size);

// Time of the last modification, in seconds since 1970, and size in bytes. 1 without a record when the file
// cannot be looked at.
ZU_API int bosFileDateSize(const unsigned char* name, unsigned long* date, unsigned long* size);

// A file that is not there counts as deleted. Error 1502 with the name.
ZU_API int bosFileDelete(const unsigned char* name);
ZU_API int bosFileDelete(const unsigned short* name);

// The new name must not exist. Error 30042 with both names; the file then has its old name only.
ZU_API int bosrname(const unsigned char* oldName, const unsigned char* newName);
ZU_API int bosrname(const unsigned short* oldName, const unsigned short* newName);

// Bits of bosfattr.
enum BosFileAttribute : int {
  bosAttrFile = 1,       // a regular file
  bosAttrDirectory = 2,  // or the name ".."
  bosAttrReadOnly = 4,   // with bosAttrFile
  bosAttrNotFound = 8,
  bosAttrUnknown = 16,  // it could not be looked at
  bosAttrOther = 32,    // neither file nor directory
};

// What the name stands for, symbolic links followed. When the answer is bosAttrNotFound or bosAttrUnknown,
// `errno` says why.
ZU_API int bosfattr(const unsigned char* name);

// 1 for a regular file; 0 for a directory.
ZU_API int bosexist(const unsigned char* name);
ZU_API int bosexist(const unsigned short* name);

// True when a file can be made in the directory of `path`, which holds a "/": one is made and removed.
ZU_API bool bosftest(const unsigned char* path);

// Records the error for an `errno`; a null name counts as empty. Numbers that have no error of their own
// give 30041 with the system's explanation.
ZU_API void bosMapError(int errnum, const unsigned char* name);
ZU_API void bosMapError(int errnum, const unsigned short* name);

// Guards a file while it is made: armed, it closes the handle and deletes the file at the end of its scope.
class ZU_API ZuFileHandle {
 public:
  // Not armed. The name is the caller's and outlives the guard; it may be null when nothing is deleted.
  explicit ZuFileHandle(int handle = 0, const unsigned char* name = nullptr) : handle(handle), name(name) {}
  ZuFileHandle(const ZuFileHandle&) = delete;
  ZuFileHandle& operator=(const ZuFileHandle&) = delete;
  ~ZuFileHandle();

  void setHandle(int newHandle) { handle = newHandle; }
  void setName(const unsigned char* newName) { name = newName; }
  int getHandle() const { return handle; }
  operator int() const { return handle; }

  void setClose() { closes = true; }
  void setDelete() { deletes = true; }
  void setCloseDelete() { closes = deletes = true; }
  void resetCloseDelete() { closes = deletes = false; }

 private:
  int handle;
  const unsigned char* name;  // not owned
  bool closes = false;
  bool deletes = false;
};

#endif
