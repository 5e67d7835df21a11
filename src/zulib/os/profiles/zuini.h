// Settings in profile files: by file name, by an open cache, or through a small object.
//
// Texts are bytes in the encoding of the C locale, terminated; UTF-16 arguments are converted as Latin-1,
// and one that does not convert, or is longer than 1023 characters, makes a read give its default and a
// write 0. File names may be the special ones of bosfile.h. The rules of values, defaults and lists of keys
// are those of ZuIniFileCache (zuinicache.h): `out` must have room for size + 1 bytes.
//
// Thread safety: any thread; one thread at a time uses a ZuIni.

#ifndef ZULIB_OS_PROFILES_ZUINI_H
#define ZULIB_OS_PROFILES_ZUINI_H

#include "zulib/os/profiles/zuinicache.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

// A reference to the cache of a file, shared through the task's list; null when the file cannot be opened.
// `zuPrivateProfileTerm` gives it back.
ZU_API ZuIniFileCache* zuProfileInit(const unsigned char* name);
ZU_API ZuIniFileCache* zuPrivateProfileInit(const unsigned char* name);
ZU_API void zuPrivateProfileTerm(ZuIniFileCache* cache);

// By name, for files that are used again and again: the cache stays until the list is deleted.
ZU_API unsigned long zuGetProfileString(const unsigned char* section, const unsigned char* key,
                                        const unsigned char* defaultValue, unsigned char* out,
                                        unsigned long size, const unsigned char* name);
ZU_API int zuWriteProfileString(const unsigned char* section, const unsigned char* key,
                                const unsigned char* value, const unsigned char* name);
ZU_API int zuGetProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                           const unsigned char* name);

// By cache, or by name, in which case the reference is given back. A file that cannot be opened gives the
// default, which is terminated here in UTF-16 as well, and 0 for a write.
ZU_API unsigned long zuGetPrivateProfileString(const unsigned char* section, const unsigned char* key,
                                               const unsigned char* defaultValue, unsigned char* out,
                                               unsigned long size, ZuIniFileCache* cache);
ZU_API unsigned long zuGetPrivateProfileString(const unsigned char* section, const unsigned char* key,
                                               const unsigned char* defaultValue, unsigned char* out,
                                               unsigned long size, const unsigned char* name);
ZU_API unsigned long zuGetPrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                                const unsigned short* defaultValue, unsigned short* out,
                                                unsigned long size, ZuIniFileCache* cache);
ZU_API unsigned long zuGetPrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                                const unsigned short* defaultValue, unsigned short* out,
                                                unsigned long size, const unsigned short* name);
ZU_API int zuWritePrivateProfileString(const unsigned char* section, const unsigned char* key,
                                       const unsigned char* value, ZuIniFileCache* cache);
ZU_API int zuWritePrivateProfileString(const unsigned char* section, const unsigned char* key,
                                       const unsigned char* value, const unsigned char* name);
ZU_API int zuWritePrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                        const unsigned short* value, ZuIniFileCache* cache);
ZU_API int zuWritePrivateProfileStringW(const unsigned short* section, const unsigned short* key,
                                        const unsigned short* value, const unsigned short* name);
ZU_API int zuGetPrivateProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                                  ZuIniFileCache* cache);
ZU_API int zuGetPrivateProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                                  const unsigned char* name);
ZU_API int zuGetPrivateProfileIntW(const unsigned short* section, const unsigned short* key, int defaultValue,
                                   ZuIniFileCache* cache);
ZU_API int zuGetPrivateProfileIntW(const unsigned short* section, const unsigned short* key, int defaultValue,
                                   const unsigned short* name);

// Writes the list of keys; returns 0 with `out` untouched if the file cannot be opened. The cache stays until
// the list of caches is deleted.
ZU_API unsigned long zuGetPrivateProfileSection(const unsigned char* section, unsigned char* out,
                                                unsigned long size, const unsigned char* name);

// The same on a cache of their own, which nobody shares.
ZU_API unsigned long GetPrivateProfileString(const unsigned char* section, const unsigned char* key,
                                             const unsigned char* defaultValue, unsigned char* out,
                                             unsigned long size, const unsigned char* name);
ZU_API int GetPrivateProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                                const unsigned char* name);
ZU_API int WritePrivateProfileString(const unsigned char* section, const unsigned char* key,
                                     const unsigned char* value, const unsigned char* name);

// Writes the file name of a module: its name, and ".so" if both and a terminator fit into `size` elements. A
// name that is too long is cut. Returns the length in elements.
ZU_API unsigned long zuGetModName(const unsigned char* module, unsigned char* out, unsigned long size);
ZU_API unsigned long zuGetModFileNameW(const unsigned short* module, unsigned long size, unsigned short* out);

// One profile file, open for as long as the caller likes.
class ZU_API ZuIni : public ZuObject {
 public:
  ZuIni() = default;
  ZuIni(const ZuIni&) = delete;
  ZuIni& operator=(const ZuIni&) = delete;
  ~ZuIni() override;

  // Closes what is open first. 0, or 1 with nothing open and the error recorded.
  virtual int open(const unsigned char* name);
  virtual void close();

  // Writes the value, or the default. Without an open file the default too, with error 2717: the first form
  // then returns 1, else 0; the second returns the length.
  virtual int getEntry(const unsigned char* section, const unsigned char* key, unsigned char* out,
                       unsigned long size, const unsigned char* defaultValue);
  virtual unsigned long getEntryWithLen(const unsigned char* section, const unsigned char* key,
                                        unsigned char* out, unsigned long size,
                                        const unsigned char* defaultValue);
  // Gives the default also for a number that does not fit a short.
  virtual int getEntry(const unsigned char* section, const unsigned char* key, short* out,
                       short defaultValue);

  // Writes the list of keys to `out` and returns its length.
  virtual unsigned long getSectionWithValues(const unsigned char* section, unsigned char* out,
                                             unsigned long size, const unsigned char* defaultValue);

  // 0, or 1 if the file could not be written, or is not open, which records no error.
  virtual int writeEntry(const unsigned char* section, const unsigned char* key, const unsigned char* value);
  virtual int deleteEntry(const unsigned char* section, const unsigned char* key);

  // 0 if a file is open, else 1 with error 2717.
  virtual int validState();

 private:
  void closeCache();

  ZuIniFileCache* cache = nullptr;    // a reference
  unsigned char* fileName = nullptr;  // owned; as the caller gave it
};

#endif
