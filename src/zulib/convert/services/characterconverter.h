// CharacterConverter: converts complete strings between code pages for one connection, and never opens the
// same converter twice.
//
// The converters that it opens stay open, and are its own, until it is destroyed. The last one asked for by
// number and the last one asked for by name are found without a search.
//
// Usage:
//   CharacterConverter converter(ZuReportAsWarning);
//   if (converter.initialize(8)) return 1;
//   if (converter.oxAnsiToUTF8(out, outSize, text, length, &written, nullptr, 2252)) return 1;
//
// Operations return 0, or 1 with an error on the thread's list (see checkICUreturn). Truncation and, by the
// policy, substitution are warnings, with a result of 0.
//
// Thread safety: none; one call at a time.

#ifndef ZULIB_CONVERT_SERVICES_CHARACTERCONVERTER_H
#define ZULIB_CONVERT_SERVICES_CHARACTERCONVERTER_H

#include "zulib/codepages/zuhandlecache.h"
#include "zulib/convert/services/zuconvertreturn.h"
#include "zulib/runtime/zuapi.h"

class ZU_API CharacterConverter {
 public:
  explicit CharacterConverter(ReportCodePageErrors reportCodePageErrors = ZuReportNone);
  CharacterConverter(const CharacterConverter&) = delete;
  CharacterConverter& operator=(const CharacterConverter&) = delete;
  ~CharacterConverter();

  // Makes the caches, with room for `size` converters by number and by name. Everything else needs it first.
  [[nodiscard]] int initialize(unsigned long size);

  // Applies to the converters that are open and to those to come.
  void setEnableFallbackMapping(unsigned int on);

  // Bytes per character of a code page; 0 when no converter can be had.
  unsigned long oxMaxCharSize(long codePage);
  unsigned long oxMinCharSize(long codePage);

  // The converter of a code page. An unknown number opens the platform's default, as 0 does.
  [[nodiscard]] int getHandle(long codePage, UConverter** handle);
  [[nodiscard]] int getHandle(const unsigned char* name, unsigned long length, UConverter** handle);

  // The lead-byte map of a code page (codepages/zuleadbytes.h), which stays the converter's.
  [[nodiscard]] int getPossibleLeadByteMap(long codePage, const unsigned char** map);
  [[nodiscard]] int isPossibleLeadByte(long codePage, unsigned char byte, int* result);

  // The conversions of oxconvert.h, as one or the other form by whether `srcUsed` is null. If a character was
  // substituted under the warning policy, that is the one warning, also of a truncated text.
  //
  // oxAnsiToUTF8 copies text that is UTF-8 already, and takes UTF-16LE. A text of UTF-8 that is cut may end
  // within a character. `*srcUsed` for UTF-16LE counts two bytes for every character.
  [[nodiscard]] int oxAnsiToUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                 long* dstUsed, long* srcUsed, long codePage);
  [[nodiscard]] int oxUTF8ToAnsi(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                                 long* dstUsed, long* srcUsed, long codePage);
  [[nodiscard]] int oxCpgToCpg(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                               long* dstUsed, long* srcUsed, long fromCodePage, long toCodePage);
  [[nodiscard]] int oxUCS2ToAnsi(unsigned char* dst, long dstLen, unsigned short* src, long srcLen,
                                 long* dstUsed, long* srcUsed, long codePage, int byteSwap = 0);
  [[nodiscard]] int oxAnsiToUCS2(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                                 long* dstUsed, long* srcUsed, long codePage, int byteSwap = 0);

  // The number last asked for with success, kNoCodePage before the first.
  static constexpr long kNoCodePage = 0xFEDCBA89;
  long getLastCodePage() const { return lastCodePage; }

 private:
  [[gnu::noinline]] int findHandle(long codePage, UConverter** handle);
  UConverter* openInto(long codePage);
  UConverter* openInto(const unsigned char*& name, unsigned long length);
  bool prepare(UConverter* handle);
  int getUTF8Handle();
  int finish(ZuConvertReturn result);
  int copyUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen, long* dstUsed,
               long* srcUsed);
  int convertUTF16(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen, long* dstUsed,
                   long* srcUsed);

  ZuIntHandleCache* handleCache = nullptr;  // converters by number
  long lastCodePage = kNoCodePage;
  UConverter* lastHandle = nullptr;
  ZuPCU8Cache* leadByteCache = nullptr;
  long lastLeadCodePage = kNoCodePage;
  const unsigned char* lastLeadMap = nullptr;
  ZuStrHandleCache* nameCache = nullptr;    // converters by name
  const unsigned char* lastName = nullptr;  // the copy of nameCache
  unsigned long lastNameLength = 0;
  UConverter* lastNameHandle = nullptr;
  UConverter* utf8Handle = nullptr;  // of nameCache, once it is needed
  ICUSubstitutionErrorInfo substitution;
  unsigned int enableFallback = 0;
};

#endif
