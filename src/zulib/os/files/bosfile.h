// Files: open, read, write, seek, size, lock, delete, rename.
//
// A handle is a plain descriptor; 0 and below are no handle. Offsets and sizes of files are 64 bits wide, and
// an offset of -1 in a read or write means the current position. Names are terminated; a path, with its
// terminator, takes at most bosPathSize bytes, and a longer one is an error (30041). UTF-16 names are
// converted by `zuGetANSIStrFromUTF16Str`; one that does not convert gives 1 and no error record.
//
// Operations return 0, or 1 after one record on the thread's error list; `bosMapError` (boserror.h) has the
// numbers.
//
// Locks are the advisory ones of POSIX: they belong to the process, and closing any handle of a file gives
// up all that the process holds on it.
//
// Thread safety: any thread; one thread at a time uses a handle.

#ifndef ZULIB_OS_FILES_BOSFILE_H
#define ZULIB_OS_FILES_BOSFILE_H

#include "zulib/os/files/bosattr.h"
#include "zulib/os/files/boserror.h"
#include "zulib/runtime/zuapi.h"

// Bits of the mode of bosFileOpen.
enum BosOpenMode : unsigned long {
  bosOpenCreate = 0x0001,           // read and write, made if missing, never cut
  bosOpenReadWrite = 0x0002,        // read and write; without it, read only
  bosOpenCreateIfMissing = 0x0004,  // made if it is not there
  bosOpenIsSpecial = 0x0008,        // set inside the call: the name is a special one
  bosOpenLocate = 0x0010,           // if it cannot be opened, look for it once through bosLocateFile
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
// A special name is a whole name, without a directory, and means a file in "HOME", unless an environment
// variable names another one:
//   ODBC.INI, .odbc.ini          (any case)  "ODBCINI", else "ODBC_INI" come first; the file must exist
//   ODBCINST.INI, .odbcinst.ini  (any case)  "ODBCINST", else "ODBCINSTINI" come first; the file must exist
//   .zulib.ini                   (exactly)   "ZULIB_INI" if the file in "HOME" does not exist
//   .system.defaults             (exactly)   "ZU_SYSTEM_INI" if the file in "HOME" does not exist
//
// A temporary file is created in "TMPDIR", "ZU_TMPDIR" or "/tmp", the first that is a directory; its name is
// "zu" and six characters, and only its owner may read it.
//
// With a temporary or a special name the true path goes to `name`, which must then have room for bosPathSize
// bytes. On failure `name` and `*handle` are unchanged. The const form does not return the path.
ZU_API int bosFileOpen(unsigned char* name, unsigned long mode, int* handle);
ZU_API int bosFileOpen(const unsigned char* name, unsigned long mode, int* handle);
ZU_API int bosFileOpen(const unsigned short* name, unsigned long mode, int* handle);

// The same; the two creator codes are ignored.
ZU_API int bosFileOpen(unsigned char* name, unsigned long mode, int* handle, const char* creator,
                       const char* type);

// A handle below 1 succeeds and closes nothing.
ZU_API int bosFileClose(int handle);

// Reads up to `n` bytes. Always returns 0: a failed read, or seek, shows only as `*got` of -1 (as unsigned).
ZU_API int bosFileRead(int handle, long long offset, void* buffer, unsigned long n, unsigned long* got);

// Writes `n` bytes. The count written is kept in 16 bits and compared with `n`: a write of 65536 bytes or
// more fails even if the file took all of it, so callers write less at a time. 1506 if the 16-bit count
// is 0 or the disk is full, else 30041.
ZU_API int bosFileWrite(int handle, long long offset, const void* buffer, unsigned long n);

// UTF-16: `n` units as UTF-8; or, with `toUtf8` 0, `n` bytes as they are in memory.
ZU_API int bosFileWrite(int handle, long long offset, const unsigned short* text, unsigned long n,
                        int toUtf8);

// `whence` is that of lseek.
ZU_API int bosFileSeek(int handle, long long offset, int whence);

// Sets the size, and does not read it. Records no error.
ZU_API int bosFileSize(int handle, long long size);

// Sets the size, and records why it cannot.
ZU_API int bosFileTruncate(int handle, long long size);
ZU_API int bosFileTruncate(const unsigned char* name, long long size);

// Time of the last modification, in seconds since 1970, and size in bytes. 1 without a record if `stat`
// fails.
ZU_API int bosFileDateSize(const unsigned char* name, unsigned long* date, unsigned long* size);

// A missing file counts as deleted. Error 1502 with the name.
ZU_API int bosFileDelete(const unsigned char* name);
ZU_API int bosFileDelete(const unsigned short* name);

// The new name must not exist. Error 30042 with both names; the file then has its old name only.
ZU_API int bosrname(const unsigned char* oldName, const unsigned char* newName);
ZU_API int bosrname(const unsigned short* oldName, const unsigned short* newName);

// Guards a file while it is created: armed, it closes the handle and deletes the file at the end of its
// scope.
class ZU_API ZuFileHandle {
 public:
  // Not armed. The caller owns the name, which must outlive the guard; it may be null if nothing is deleted.
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
