// Message texts out of catalogs, in the user's language.
//
// A catalog is a file of the C library's `catopen`, with all its messages in set 1 and its texts in UTF-8. It
// lies in the installation directory, at locale/LOCALE/LC_MESSAGES/. LOCALE is the process's locale for
// messages; where that is still "C", what the environment says in LC_MESSAGES or LANG; else en_US. A locale
// with an encoding, such as de_DE.UTF-8, also finds the catalog of de_DE. A catalog that is not there for
// the locale is looked for once more for en_US. Texts never fail: without a catalog, or in one that lacks the
// message, a text is its number.
//
// The process has one open catalog, CatFD: the first `bosLoadResourceDLL` decides which, and the library's
// own texts then come from it too. So a driver may bring a catalog that holds the texts of both. Who opens
// first is counted in variables of the callers; one that calls again passes the same variable.
//
// The installation directory is looked up when the library is loaded. It is the key "InstallDir" of section
// "ODBC" in .odbc.ini, else in .odbcinst.ini, else ../share/zulib (or ../../share/zulib) as seen from where
// the library lies, when there is such a directory.
//
// Thread use: any thread. CritOpen guards the directory, CatFD and the counts; CritCatalog guards look-ups,
// and CatFD is closed under it. The two are never held together.

#ifndef ZULIB_OS_BOSCATALOG_H
#define ZULIB_OS_BOSCATALOG_H

#include <nl_types.h>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zucritse.h"

// The instance of the library's own catalog: zulib.mo.
constexpr const char* BZUHINST = "zulib";

constexpr unsigned long bosInstallDirSize = 1025;

// The directory without "/" at its end; empty when there is none.
extern ZU_API unsigned char InstallDirLocation[bosInstallDirSize];
// The open catalog, or bosNoCatalog.
extern ZU_API nl_catd CatFD;
extern ZU_API ZuCriticalSection CritOpen;
extern ZU_API ZuCriticalSection CritCatalog;

// -1 as a descriptor.
extern ZU_API const nl_catd bosNoCatalog;

// What the cursor library keeps for the life of the process.
struct CursorLibraryRecord {
  nl_catd catalog;  // "odbc.m"; bosNoCatalog when it could not be opened
};
extern ZU_API CursorLibraryRecord thisDLL;

// Sets the installation directory: `path`, without white space and one "/" at its end, or with null the one
// that the library finds for itself. A path of bosInstallDirSize bytes or more counts as none. Always 0.
// Called before catalogs are opened.
ZU_API int bosSetInstallDir(const unsigned char* path);

// Opens the catalog `instance`.mo as CatFD, unless one is open, and counts in `*count`, which may be null.
// 0, also when there is no such catalog; 1, with the count as it was, without an installation directory.
// `flag` and `out` mean nothing here.
ZU_API int bosLoadResourceDLL(const char* instance, int flag, void* out, unsigned long* count);

// Counts down, not below 0, and closes CatFD when `*count` is then 0, or `count` is null. Always 0.
ZU_API int bosFreeResourceDLL(const char* instance, unsigned long* count);

// A catalog of the caller's own: `fileName`, or with null `instance`.mo. bosNoCatalog on failure.
ZU_API nl_catd OpenStrings(const char* instance, const char* fileName);
ZU_API void CloseStrings(nl_catd catalog);

// Writes text `id`, terminated and cut to `size` bytes, or whole when `size` is 0. Answers the length of what
// was written.
ZU_API unsigned long LoadString(const char* instance, unsigned id, unsigned char* out, unsigned long size);
ZU_API unsigned long LoadStringFromOpenFile(nl_catd catalog, unsigned id, unsigned char* out,
                                            unsigned long size);

// The same in UTF-16, of at most the first 4095 bytes of the text; sizes are in units. A text that is not
// UTF-8 is read as Latin-1.
ZU_API unsigned long LoadStringW(const char* instance, unsigned id, unsigned short* out, unsigned long size);

// Finds the installation directory and opens the cursor library's catalog. Runs once, at library load.
ZU_API void cursorLibInit();

// True when the SQLSTATE that belongs to the cursor library's message `id` is `state`, without regard to
// case. The number holds the text and the next number the SQLSTATE.
ZU_API bool IsSqlState(const char* state, unsigned id);

// What happens at load and at unload; one static object of each.
class ProcessCatalogOwner {
 public:
  ProcessCatalogOwner() = default;
  ProcessCatalogOwner(const ProcessCatalogOwner&) = delete;
  ProcessCatalogOwner& operator=(const ProcessCatalogOwner&) = delete;
  ~ProcessCatalogOwner() { bosFreeResourceDLL(nullptr, nullptr); }
};

class CursorLibraryStart {
 public:
  CursorLibraryStart() { cursorLibInit(); }
  CursorLibraryStart(const CursorLibraryStart&) = delete;
  CursorLibraryStart& operator=(const CursorLibraryStart&) = delete;
  ~CursorLibraryStart() { CloseStrings(thisDLL.catalog); }
};

#endif
