// Message texts out of catalogs, in the user's language.
//
// A catalog is a file for the C library's `catopen`, with all its messages in set 1 and its texts in UTF-8.
// Its path is locale/LOCALE/LC_MESSAGES/FILE in the installation directory. LOCALE is the process's locale
// for messages; if that is still "C", the value of LC_MESSAGES or LANG; else en_US. If there is no catalog
// for de_DE.UTF-8, that of de_DE is tried, then that of en_US. Texts never fail: without a catalog, or in one
// that lacks the message, a text is its number.
//
// Two catalogs are open at a time. CatFD is the drivers': `bosLoadResourceDLL` opens it, and its users count
// themselves in a variable of their own, the same for each call. The other is the library's own, which is
// opened for the first text that `winGetString` is asked for: only then has the program had the time to set
// its locale. It is tried again for the next text if that fails, and closed when the installation directory
// changes.
//
// The installation directory is looked up when the library is loaded. It is the key "InstallDir" of section
// "ODBC" in .odbc.ini, else in .odbcinst.ini, else ../share/zulib (or ../../share/zulib) as seen from the
// library's directory, if that is a directory.
//
// Thread safety: any thread. CritOpen guards the directory, the opening of catalogs and the counts;
// CritCatalog guards look-ups, and catalogs are closed under it. The two are never held together.

#ifndef ZULIB_OS_CATALOGS_BOSCATALOG_H
#define ZULIB_OS_CATALOGS_BOSCATALOG_H

#include <nl_types.h>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zucritse.h"

// The instance of the library's own catalog: zulib.mo.
constexpr const char* BZUHINST = "zulib";  // NOLINT(readability-identifier-naming): an interface name

enum : unsigned long { bosInstallDirSize = 1025 };

// The directory without "/" at its end; empty if there is none.
extern ZU_API unsigned char InstallDirLocation[bosInstallDirSize];
// The drivers' open catalog, or bosNoCatalog.
extern ZU_API nl_catd CatFD;
extern ZU_API ZuCriticalSection CritOpen;
extern ZU_API ZuCriticalSection CritCatalog;

// -1 as a descriptor.
extern ZU_API const nl_catd bosNoCatalog;  // NOLINT: nl_catd is a pointer

// What the cursor library keeps for the life of the process.
struct CursorLibraryRecord {
  nl_catd catalog;  // "odbc.m"; bosNoCatalog if it could not be opened
};
extern ZU_API CursorLibraryRecord thisDLL;

// Sets the installation directory: `path`, without white space and one "/" at its end, or with null the one
// that the library finds for itself. A path of bosInstallDirSize bytes or more counts as none. Always returns
// 0. To be called before catalogs are opened.
ZU_API int bosSetInstallDir(const unsigned char* path);

// Opens the catalog `instance`.mo as CatFD, unless one is open, and counts up `*count`, which may be null.
// 0, also if there is no such catalog; 1, with the count unchanged, without an installation directory.
// `flag` and `out` are ignored.
ZU_API int bosLoadResourceDLL(const char* instance, int flag, void* out, unsigned long* count);

// Counts down, not below 0, and closes CatFD if `*count` is then 0, or `count` is null. Always returns 0.
ZU_API int bosFreeResourceDLL(const char* instance, unsigned long* count);

// Opens a catalog of the caller's own: `fileName`, or with null `instance`.mo. bosNoCatalog on failure.
ZU_API nl_catd OpenStrings(const char* instance, const char* fileName);
ZU_API void CloseStrings(nl_catd catalog);

// Writes text `id` of CatFD, or of an own catalog, terminated and cut to `size` bytes, or whole if `size` is
// 0; UTF-8 is cut between two characters. Returns the length of what was written.
ZU_API unsigned long LoadString(const char* instance, unsigned id, unsigned char* out, unsigned long size);
ZU_API unsigned long LoadStringFromOpenFile(nl_catd catalog, unsigned id, unsigned char* out,
                                            unsigned long size);

// The text of CatFD in UTF-16, of at most its first 4095 bytes; sizes are in units. A text that is not UTF-8
// is read as Latin-1.
ZU_API unsigned long LoadStringW(const char* instance, unsigned id, unsigned short* out, unsigned long size);

// The longest text of winGetString with its terminator, in characters.
enum : unsigned long { zuResourceTextSize = 1024 };

// Writes text `id` of the library's own catalog, else of CatFD, else the number in decimal, to `out`, which
// must have room for zuResourceTextSize characters. Returns the length; an empty text leaves `out` empty.
ZU_API unsigned long winGetString(unsigned char* out, unsigned short id);
ZU_API unsigned long winGetString(unsigned short* out, unsigned short id);

// Such a text as a value.
class ZU_API ZuResourceString {
 public:
  explicit ZuResourceString(unsigned short id) { winGetString(buffer, id); }
  operator const unsigned char*() const { return buffer; }

 private:
  unsigned char buffer[zuResourceTextSize];
};

class ZU_API ZuResourceStringW {
 public:
  explicit ZuResourceStringW(unsigned short id) { winGetString(buffer, id); }
  operator const unsigned short*() const { return buffer; }

 private:
  unsigned short buffer[zuResourceTextSize];
};

// Finds the installation directory and opens the cursor library's catalog. Runs once, at library load.
ZU_API void cursorLibInit();

// True if `state` is the SQLSTATE of the cursor library's message `id`, ignoring case. Message `id` is the
// text, message `id` + 1 the SQLSTATE.
ZU_API bool IsSqlState(const char* state, unsigned id);

// Registers winGetString for the texts of the lower floors at load; closes both catalogs at unload.
class ResourceTexts {
 public:
  ResourceTexts();
  ResourceTexts(const ResourceTexts&) = delete;
  ResourceTexts& operator=(const ResourceTexts&) = delete;
  ~ResourceTexts();
};

class CursorLibraryStart {
 public:
  CursorLibraryStart() { cursorLibInit(); }
  CursorLibraryStart(const CursorLibraryStart&) = delete;
  CursorLibraryStart& operator=(const CursorLibraryStart&) = delete;
  ~CursorLibraryStart() { CloseStrings(thisDLL.catalog); }
};

#endif
