// The texts and SQLSTATEs of the cursor library's messages, out of the catalog "odbc.m": set 1, a number
// holds the text and the next number the SQLSTATE.
//
// The catalog lies in locale/LOCALE/LC_MESSAGES/ of the installation directory: the key "InstallDir" of
// section "ODBC" in odbc.ini, else in odbcinst.ini, else ../share/zulib (or ../../share/zulib) as seen from
// where this library, or the program that it is linked into, lies. The first message looks for it, once.
// Texts are UTF-8.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_MESSAGECATALOG_H
#define ZULIB_DRIVERMANAGER_INTERNAL_MESSAGECATALOG_H

#include <cstddef>

namespace dm {

constexpr size_t messageTextSize = 512;

// Writes the text, zero-ended and cut to `size`, and the SQLSTATE. Without a catalog the text is the
// number and the state HY000. No memory of ours is needed.
void readMessage(unsigned short number, char* text, size_t size, char (&sqlstate)[6]) noexcept;

}  // namespace dm

#endif
