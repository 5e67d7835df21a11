// How a library finds its files of message texts: the directory that was installed beside it, the locale
// whose texts are wanted, and the catalog for that locale. Both libraries contain a copy of this unit, so
// that each finds what lies beside itself.
//
// Thread use: any thread, as long as none calls setlocale() meanwhile.

#ifndef ZULIB_RUNTIME_ZUCATALOGFILE_H
#define ZULIB_RUNTIME_ZUCATALOGFILE_H

#include <nl_types.h>

#include <climits>

namespace zucatalogfile {

// What catopen returns on failure.
inline nl_catd none() { return reinterpret_cast<nl_catd>(-1); }  // NOLINT

// Writes the directory share/zulib of the installation that the library (or the program that it is linked
// into) belongs to: PREFIX/share/zulib for PREFIX/lib/libzulib.so and for
// PREFIX/lib/x86_64-linux-gnu/libzulib.so. Returns false if there is none.
bool findBesideLibrary(char (&directory)[PATH_MAX]);

// The program's locale for messages if it chose one; else that of the variable LC_MESSAGES, else of LANG;
// else "en_US". A name with a slash could lead out of the directory and counts as none. In a set-user-ID
// program the variables are not read.
const char* messageLocale();

// Opens INSTALLDIR/locale/LOCALE/LC_MESSAGES/FILE for the locale (de_DE.UTF-8), else for its name without
// code set and modifier (de_DE), else for en_US. Returns none() if all fail. The caller closes it by
// catclose.
nl_catd open(const char* installDir, const char* locale, const char* file);

}  // namespace zucatalogfile

#endif
