// One profile file: its whole text in memory, searched as it stands, and written back on every change.
//
// A request looks at the file's date and size first, one `stat`, and reads the file again when they are not
// those of the text. A text that was read within the second of its file's last change is read again at the
// next request, since a later change in that second would leave the same date.
//
// A write makes a new text of the old one and puts it in the file whole: another reader, in this process or
// another, sees the old text or the new one, and a full disk leaves the old one. Two processes that write at
// the same time are kept apart by nothing but the advisory lock of `bosFileOpen`: one of the two changes may
// be lost, though never the file.
//
// Texts are bytes in the encoding of the C locale, terminated. Reads never fail: they give the default.
// Errors of opening and writing stay on the thread's error list.
//
// Thread use: any thread may read and write, while none opens or closes. The semaphore guards the text; the
// test of date and size runs without it.

#ifndef ZULIB_OS_ZUINICACHE_H
#define ZULIB_OS_ZUINICACHE_H

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/runtime/zusemaph.h"

class ZU_API ZuIniFileCache : public ZuObject {
 public:
  // Opens the file; `isOpen` tells whether that worked. The use count is 1.
  explicit ZuIniFileCache(const unsigned char* name);
  ZuIniFileCache(const ZuIniFileCache&) = delete;
  ZuIniFileCache& operator=(const ZuIniFileCache&) = delete;
  ~ZuIniFileCache() override;

  // Maps a special name (bosfile.h) and reads the file, which is made when it is missing and may be; one that
  // may not be written is opened for reading. 0, or 1 with the last error turned into a warning. The file of
  // installed drivers may be missing: 0 without an error, and the cache is closed.
  int bosZuIniOpen(const unsigned char* name);

  // Reads the file again when it has changed. 0; or 1 when it is gone or cannot be read, with the text and
  // its date as they were.
  int proFileSync();

  // The section of that header ("[name]"): `*start` is at its "[", `*end` at the next "[" or the text's end.
  // 0, or 1 when there is none. The positions stand until the next request on this cache.
  int getSection(const unsigned char* bracketed, const unsigned char** start, const unsigned char** end);

  // The entry in the lines behind the one of `*cursor`, which moves to the entry's line. 0, or 1 when there
  // is none up to the next header.
  int getEntry(const unsigned char* key, const unsigned char** cursor, const unsigned char** valueStart,
               const unsigned char** valueEnd);

  // The value in `out`, and its length; an empty value counts as none and gives the default, as zustrlcpy
  // does. A value of up to `size` bytes comes whole, so `out` has room for size + 1: that is meant. Of a
  // longer one come size - 1.
  //
  // With a null key the keys of the section, each terminated, and one more terminator at the end; all within
  // `size` bytes. The length counts all terminators.
  unsigned long bosGetProfileString(const unsigned char* section, const unsigned char* key,
                                    const unsigned char* defaultValue, unsigned char* out,
                                    unsigned long size);

  // In UTF-16, by way of Latin-1: section, key and default of at most 127 characters, and of the value what
  // lies within 127 bytes. When one of them does not convert, or the value is empty, the default goes to
  // `out` without a terminator, which is meant, as far as it fits; an empty default is terminated. Length in
  // units.
  unsigned long bosGetProfileStringW(const unsigned short* section, const unsigned short* key,
                                     const unsigned short* defaultValue, unsigned short* out,
                                     unsigned long size);

  // The list of keys with an empty default.
  unsigned long bosGetProfileSection(const unsigned char* section, unsigned char* out, unsigned long size);

  // The digits that the value begins with; the default when there are none, or when they are no int.
  int bosGetProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue);

  // Writes the entry; a null value removes it, a null key the section. A removed section that has a "["
  // inside a value is removed up to there. 1; or 0 with the file as it was: the cache is not open, the file
  // cannot be written (the error stands on the list), or a text holds a line feed (or the section a "]").
  int bosPutProfileString(const unsigned char* section, const unsigned char* key, const unsigned char* value);

  // Frees name and text. The cache is closed then, and gives defaults.
  void Close();

  bool isOpen() const { return openState != 0; }

  // True when `path` is the file's true path, byte for byte.
  bool isThisFile(const unsigned char* path) const;

  // A count that has reached the greatest int stays there, and the cache with it.
  int getUseCount() const { return useCount; }
  int incrementUseCount();
  int decrementUseCount();

 private:
  friend class ZuIniFileCacheList;
  ZuIniFileCache();
  int reload();
  int syncLocked();
  bool isCurrent(unsigned long nowDate, unsigned long nowSize);
  void stamp(unsigned long newDate, unsigned long newSize);
  int openForWriting();
  int put(const unsigned char* section, const unsigned char* key, const unsigned char* value);
  unsigned long findValue(const unsigned char* section, const unsigned char* key, unsigned char* out,
                          unsigned long size);
  unsigned long findKeys(const unsigned char* section, unsigned char* out, unsigned long size);

  int handle = 0;                 // while the file is open for writing
  unsigned long size = 0;         // of the file when it was read; 0 with date 0: to be read again
  unsigned long openMode = 0;     // bits of BosOpenMode
  unsigned char* name = nullptr;  // owned; the true path. Stays while the cache is open
  unsigned long date = 0;         // of the file's modification when it was read, in seconds
  int useCount = 1;
  unsigned char* text = nullptr;  // owned; terminated
  int openState = 0;              // 1 while open
  unsigned long textLength = 0;   // bytes read
  ZuSemaphore semaphore;
};

// Copies at most size - 1 bytes and a terminator; a null `src` is empty. Answers the bytes copied; 0, with
// nothing written, for a null `dst` or a size of 0. The texts may overlap.
ZU_API unsigned long zustrlcpy(unsigned char* dst, const unsigned char* src, unsigned long size);

#endif
