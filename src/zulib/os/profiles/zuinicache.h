// Profile files: one file's whole text in memory, searched as it is, and written back on every change; and
// the list through which the process's callers share these caches.
//
// A request compares the file's date and size first, one `stat`, and reads the file again if they have
// changed. A text that was read within the second of its file's last change is read again at the next
// request, since a later change in that second would leave the same date.
//
// A write opens and locks the file, reads it again under that lock, and replaces its content. Of several
// writers, threads and processes alike, each sees what the one before left. A reader sees the old text or the
// new one (internal/zuinifile.h has the exceptions), and a failure leaves the old one.
//
// Texts are bytes in the encoding of the C locale, terminated. Reads never fail: they give the default.
// Errors of opening and writing stay on the thread's error list.
//
// Thread safety: any thread may read and write, while none opens or closes. The semaphore guards the text;
// the comparison of date and size runs without it. The list's semaphore is taken before that of a cache, and
// that before the lock of a file.

#ifndef ZULIB_OS_PROFILES_ZUINICACHE_H
#define ZULIB_OS_PROFILES_ZUINICACHE_H

#include "zulib/collections/zuarray.h"
#include "zulib/runtime/mds.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/runtime/zusemaph.h"

namespace zuini {
class FileText;
}

class ZU_API ZuIniFileCache : public ZuObject {
 public:
  // Opens the file; `isOpen` tells whether that succeeded. The use count is 1.
  explicit ZuIniFileCache(const unsigned char* name);
  ZuIniFileCache(const ZuIniFileCache&) = delete;
  ZuIniFileCache& operator=(const ZuIniFileCache&) = delete;
  ~ZuIniFileCache() override;

  // Maps a special name (bosfile.h) and reads the file. A missing file is created if possible; one that must
  // not be written is opened for reading. 0, or 1 with the last error turned into a warning. The file of
  // installed drivers may be missing: 0 without an error, and the cache is closed.
  int bosZuIniOpen(const unsigned char* name);

  // Reads the file again if it has changed. 0; or 1 if it is missing or cannot be read, with the text and its
  // date unchanged.
  int proFileSync();

  // Finds the section of that header ("[name]"): `*start` is its "[", `*end` the next "[" or the text's end.
  // 0, or 1 if there is none. The positions are valid until the next request on this cache.
  int getSection(const unsigned char* bracketed, const unsigned char** start, const unsigned char** end);

  // Finds the entry in the lines after the one of `*cursor`, which moves to the entry's line. 0, or 1 if
  // there is none up to the next header.
  int getEntry(const unsigned char* key, const unsigned char** cursor, const unsigned char** valueStart,
               const unsigned char** valueEnd);

  // Writes the value to `out` and returns its length. An empty value counts as none and gives the default, as
  // zustrlcpy copies it. A value of up to `size` bytes is copied whole, so `out` must have room for size + 1
  // bytes; a longer one is cut to size - 1.
  //
  // With a null key: the keys of the section, each terminated, and one more terminator at the end; all within
  // `size` bytes. The length counts all terminators.
  unsigned long bosGetProfileString(const unsigned char* section, const unsigned char* key,
                                    const unsigned char* defaultValue, unsigned char* out,
                                    unsigned long size);

  // In UTF-16, converted as Latin-1: section, key and default of at most 127 characters, and of the value at
  // most 127 bytes. If one of them does not convert, or the value is empty, as much of the default as fits
  // goes to `out` without a terminator; only an empty default is terminated. Returns the length in units.
  unsigned long bosGetProfileStringW(const unsigned short* section, const unsigned short* key,
                                     const unsigned short* defaultValue, unsigned short* out,
                                     unsigned long size);

  // Writes the list of keys; the default is empty.
  unsigned long bosGetProfileSection(const unsigned char* section, unsigned char* out, unsigned long size);

  // Returns the number of the digits that the value begins with; the default if there are none, or if the
  // number is no int.
  int bosGetProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue);

  // Writes the entry; a null value removes it, a null key the section. A section that has a "[" inside a
  // value is removed up to there. A file that was deleted meanwhile is created again.
  //
  // 1; or 0 with the file unchanged: the cache is not open (no record), the file cannot be written (a record
  // of the reason), or the texts could not be read back or would change what is read of other lines (error
  // 2718). These are refused: a line feed; a "]" in the section; a key that is empty, begins with ";", "#" or
  // "[", or holds "=", a blank or a tab; a "[" in key or value without a "]" after it.
  int bosPutProfileString(const unsigned char* section, const unsigned char* key, const unsigned char* value);

  // Frees name and text. The cache is closed afterwards, and gives defaults.
  void Close();

  bool isOpen() const { return openState != 0; }

  // True if `path` is the file's true path, byte for byte.
  bool isThisFile(const unsigned char* path) const;

  // A count that has reached INT_MAX stays there, and the cache is then never freed.
  int getUseCount() const { return useCount; }
  int incrementUseCount();
  int decrementUseCount();

 private:
  friend class ZuIniFileCacheList;
  ZuIniFileCache();
  int reload();
  void take(zuini::FileText& read);
  bool isCurrent(unsigned long nowDate, unsigned long nowSize);
  void stamp(unsigned long newDate, unsigned long newSize);
  int put(const unsigned char* section, const unsigned char* key, const unsigned char* value);
  unsigned long findValue(const unsigned char* section, const unsigned char* key, unsigned char* out,
                          unsigned long size);
  unsigned long findKeys(const unsigned char* section, unsigned char* out, unsigned long size);

  unsigned long size = 0;         // of the file when it was read; 0 with date 0: to be read again
  unsigned long openMode = 0;     // bits of BosOpenMode
  unsigned char* name = nullptr;  // owned; the true path, the same while the cache is open
  unsigned long date = 0;         // of the file's modification when it was read, in seconds
  int useCount = 1;
  unsigned char* text = nullptr;  // owned; terminated
  int openState = 0;              // 1 while open
  unsigned long textLength = 0;   // bytes read
  ZuSemaphore semaphore;
};

// The profile files that the process has open, each once, with a count of references. A list owns its caches;
// a cache is deleted when its last reference is given back. The task has one list, in its own cell, made on
// first use and deleted with its caches when the library is unloaded.
class ZU_API ZuIniFileCacheList : public ZuObject {
 public:
  ZuIniFileCacheList();
  ZuIniFileCacheList(const ZuIniFileCacheList&) = delete;
  ZuIniFileCacheList& operator=(const ZuIniFileCacheList&) = delete;
  ~ZuIniFileCacheList() override;

  // Returns the cache of the file `name` (special names are mapped), with one more reference; or null, with
  // the error recorded. `flag` is ignored.
  ZuIniFileCache* open(const unsigned char* name, int flag = 0);

  // Gives a reference back. Null, and a cache that is not on the list, are ignored.
  void close(ZuIniFileCache* cache);

  // Takes a cache off the list, whatever its references; the caller then owns it.
  void remove(ZuIniFileCache* cache);

 private:
  ZuIniFileCache* findOpen(const unsigned char* path);
  ZuIniFileCache* openNew(const unsigned char* name);
  long indexOf(const ZuIniFileCache* cache) const;

  ZuSemaphore semaphore;
  ZuArray caches;  // ZuIniFileCache, owned
};

// Returns the task's list, null before its first use; stores one, and leaves the old one for the caller to
// delete.
ZU_API ZuIniFileCacheList* bosGetPTaskIniList();
ZU_API void bosPutPTaskIniList(ZuIniFileCacheList* list);

// Copies at most size - 1 bytes and a terminator; a null `src` is empty. Returns the bytes copied; 0, with
// nothing written, for a null `dst` or a size of 0. The texts may overlap.
ZU_API unsigned long zustrlcpy(unsigned char* dst, const unsigned char* src, unsigned long size);

#endif
