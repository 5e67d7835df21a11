// Settings in profile files: by file name, by an open cache, or through a small object.
//
// Texts are bytes in the encoding of the C locale, terminated; UTF-16 arguments are converted as Latin-1,
// and one that does not convert, or is longer than 1023 characters, makes a read give its default and a
// write 0. File names may be the special ones of bosfile.h. The rules of values, defaults and lists of keys
// are those of ZuIniFileCache (zuinicache.h): mind that `out` has room for size + 1 bytes.
//
// Thread use: any thread; a ZuIni one thread at a time.

#ifndef ZULIB_OS_ZUINI_H
#define ZULIB_OS_ZUINI_H

#include "zulib/os/profiles/zuinicache.h"
#include "zulib/os/profiles/zuinilist.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

// A reference to the cache of a file, shared through the task's list; null when the file cannot be opened.
// `zuPrivateProfileTerm` gives it back.
ZU_API ZuIniFileCache* zuProfileInit(const unsigned char* name);
ZU_API ZuIniFileCache* zuPrivateProfileInit(const unsigned char* name);
ZU_API void zuPrivateProfileTerm(ZuIniFileCache* cache);

// By name, for files that are asked again and again: the cache stays until the list goes.
ZU_API unsigned long zuGetProfileString(const unsigned char* section, const unsigned char* key,
                                        const unsigned char* defaultValue, unsigned char* out,
                                        unsigned long size, const unsigned char* name);
ZU_API int zuWriteProfileString(const unsigned char* section, const unsigned char* key,
                                const unsigned char* value, const unsigned char* name);
ZU_API int zuGetProfileInt(const unsigned char* section, const unsigned char* key, int defaultValue,
                           const unsigned char* name);

// By cache, or by name, in which case the reference is given back. A file that cannot be opened gives the
// default, and 0 for a write.
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

// The list of keys; 0 with `out` untouched when the file cannot be opened. The cache stays until the list
// goes.
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

// The file name of a module: its name, with ".so" if that fits as a whole into the `size` elements, with the
// terminator. A name that is too long is cut. The length in elements.
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

  // The value, or the default. Without an open file the default too, with error 2717: the first then answers
  // 1, else 0; the second answers the length.
  virtual int getEntry(const unsigned char* section, const unsigned char* key, unsigned char* out,
                       unsigned long size, const unsigned char* defaultValue);
  virtual unsigned long getEntryWithLen(const unsigned char* section, const unsigned char* key,
                                        unsigned char* out, unsigned long size,
                                        const unsigned char* defaultValue);
  // The default also for a number that is no short.
  virtual int getEntry(const unsigned char* section, const unsigned char* key, short* out,
                       short defaultValue);

  // The list of keys in `out`, and its length.
  virtual unsigned long getSectionWithValues(const unsigned char* section, unsigned char* out,
                                             unsigned long size, const unsigned char* defaultValue);

  // 0, or 1 when the file could not be written, or is not open, which is no error.
  virtual int writeEntry(const unsigned char* section, const unsigned char* key, const unsigned char* value);
  virtual int deleteEntry(const unsigned char* section, const unsigned char* key);

  // 0 when a file is open, else 1 with error 2717.
  virtual int validState();

 private:
  void closeCache();

  ZuIniFileCache* cache = nullptr;    // a reference
  unsigned char* fileName = nullptr;  // owned; as the caller gave it
};

#endif
