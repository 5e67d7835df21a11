// Code pages: their numbers and names, and the application code page of a connection.
//
// A code page is its IANA number. The application code page is looked for in the connection string, then in
// the data source's section of the user's profile file, then in section "ODBC" of that file and of the
// installation file; when none has one it is Latin-1.
//
// Both profile files are read whole when the library is loaded, by a parser of this unit's own, so that code
// pages are known before anything else runs; a later change to the files is not seen. This unit needs only
// memory and ICU, and records no errors: what is missing gives the next candidate.
//
// A profile is lines "key=value" under "[section]". A line that begins with ";" or "#" is a comment. Keys and
// sections are found in any case; a section with its brackets, and a key, have at most 167 bytes, and a
// value is cut at 255. A section ends at the next "[", wherever that is.
//
// Thread safety: any thread; the profile texts are only read once the library is loaded.

#ifndef ZULIB_CODEPAGES_UCNVCONV_H
#define ZULIB_CODEPAGES_UCNVCONV_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"

// Code pages that are known by value.
enum UcnvCodePage : long {
  UCNV_IANA_US_ASCII = 3,
  UCNV_IANA_LATIN_1 = 4,  // the default
  UCNV_IANA_UTF_8 = 106,
  UCNV_IANA_UTF_16BE = 1013,
  UCNV_IANA_UTF_16LE = 1014,  // wide data
  UCNV_IANA_UTF_16 = 1015,    // with a byte-order mark
  UCNV_IANA_PLATFORM_DEFAULT = 2000000000,
};

// No such number.
constexpr long ucnvNoNumber = 0x80000000L;

struct UcnvNameRow {
  std::int32_t id;
  const char* name;
};

struct UcnvNumberRow {
  std::int32_t id;
  std::int32_t iana;
};

// The name by which ICU knows a code page. Null for an unknown number and for the platform's default: ICU
// opens its default converter for a null name.
ZU_API const char* ucnvIANAidToICUname(long id);

// The IANA number of an "AppCodePage" number, or of a Windows code page; ucnvNoNumber when there is none.
ZU_API long ucnvUnilibToIANA(long id);
ZU_API long ucnvWindowsToIANA(long id);

// The searches under them, over rows sorted by id: null, or ucnvNoNumber, for an id that no row has.
ZU_API const char* ucnvMapToName(long id, const UcnvNameRow* table, unsigned long rows);
ZU_API long ucnvMapToIANAID(long id, const UcnvNumberRow* table, unsigned long rows);

// The application code page of a connection. `connectString` has `length` bytes, or units. `*dsn` is null,
// and gets a copy of the name of the data source if the string has a "DSN" keyword, which goes by
// `ucnv_free`; or it is a name that the caller knows, which then stays.
ZU_API long ucnvGetAppCodePage(const char* connectString, unsigned long length, char** dsn);
ZU_API long ucnvGetAppCodePageW(const char16_t* connectString, unsigned long length, char16_t** dsn);

// The same by the profiles alone. A null `dsn` leaves out the data source's section.
ZU_API long ucnvGetAppCodePageFromDSN(const char* dsn);

// The same by the connection string alone: ucnvNoNumber when no keyword gives a number. The keywords are
// "IANAAppCodePage" and "IACP", whose number ends the search, and "AppCodePage" and "ACP", of which the last
// one counts; a longer keyword that begins with one of these counts as it, though it has no value then. 8-bit
// strings are read by ICU's default converter.
ZU_API long ucnvAnsiIANAAppCodePage(const char* connectString, unsigned long length, char** dsn);
ZU_API long ucnvUnicodeIANAAppCodePage(const char16_t* connectString, unsigned long length, char16_t** dsn);

// 1 when the text from `cursor` to `end` begins with a word, given in upper and in lower case.
ZU_API int ucnvEquals(const char16_t* cursor, const char16_t* end, const char16_t* upper,
                      const char16_t* lower);

// The number after "=", white space left out; ucnvNoNumber without "=" or a digit. The cursor moves past
// what was read. Numbers beyond 32 bits are taken to the next one that has 32.
ZU_API long ucnvGetNumericValue(const char16_t** cursor, const char16_t* end);

// Frees what the functions here allocated; null is accepted.
ZU_API void ucnv_free(void* block);

// A value of the user's profile, or of the installation profile (Inst): its length; `out`, of `outSize`
// bytes, gets the value, cut if need be. What is not there gives `defaultValue`, which may be null. A null
// key lists the keys of the section, each terminated, and one more terminator; all of these count.
ZU_API unsigned long ucnvGetProfileString(const char* section, const char* key, const char* defaultValue,
                                          char* out, unsigned long outSize);
ZU_API unsigned long ucnvGetProfileStringInst(const char* section, const char* key, const char* defaultValue,
                                              char* out, unsigned long outSize);

// The same as a decimal number; a value without digits is 0, and one that begins with "&" counts as not
// there.
ZU_API long ucnvGetProfileInt(const char* section, const char* key, long defaultValue);
ZU_API long ucnvGetProfileIntInst(const char* section, const char* key, long defaultValue);

// The search under them, over `bufferSize` bytes of text, or up to a terminator in them.
ZU_API unsigned long ucnvNWGetProfileString(const char* buffer, unsigned long bufferSize, const char* section,
                                            const char* key, const char* defaultValue, char* out,
                                            unsigned long outSize);

// The texts of the user's profile and of the installation profile, terminated; null when there is none. The
// sizes count the terminator.
extern ZU_API char* MORVA_UCNV_INI_Buf;
extern ZU_API unsigned long MORVA_UCNV_INI_BufSize;
extern ZU_API char* MORVA_UCNV_INST_Buf;
extern ZU_API unsigned long MORVA_UCNV_INST_BufSize;

// Reads the two files in its constructor, and frees the texts in its destructor. The library has one, made at
// load (runtime/statics.cpp). The user's profile is the file of "ODBCINI", else "ODBC_INI", else .odbc.ini in
// "HOME"; without it the installation profile is not read either. That is the file of "ODBCINSTINI", else
// "ODBCINST_INI", else .odbcinst.ini in "HOME".
class ZU_API IniInitialize {
 public:
  IniInitialize();
  IniInitialize(const IniInitialize&) = delete;
  IniInitialize& operator=(const IniInitialize&) = delete;
  ~IniInitialize();
};

#endif
