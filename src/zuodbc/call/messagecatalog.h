// The texts and SQLSTATEs of the cursor library's messages, from the catalog "odbc.m": set 1, a number
// holds the text and the next number the SQLSTATE.
//
// The catalog lies in locale/LOCALE/LC_MESSAGES/ of the installation directory: the key "InstallDir" of
// section "ODBC" in odbc.ini, else in odbcinst.ini, else ../share/zulib (or ../../share/zulib) as seen from
// the directory of this library, or of the program that it is linked into. Texts are UTF-8.
//
// The catalog is opened once, by openMessages() or by the first message. A failed open is tried again with
// the next message, since it may only have lacked a file descriptor.
//
// Thread use: any thread.

#ifndef ZUODBC_CALL_MESSAGECATALOG_H
#define ZUODBC_CALL_MESSAGECATALOG_H

#include <cstddef>

namespace dm {

constexpr size_t kMessageTextSize = 512;

// Opens the catalog while there is memory: a connection calls this when it begins to use the cursor library.
void openMessages() noexcept;

// Writes the text, zero-ended and cut to `size`, and the SQLSTATE. Without a catalog the text is the
// number and the state HY000. The out-of-memory message needs neither the catalog nor memory: the profile
// reader that finds the catalog does not survive a failing allocation.
void readMessage(unsigned short number, char* text, size_t size, char (&sqlstate)[6]) noexcept;

}  // namespace dm

#endif
