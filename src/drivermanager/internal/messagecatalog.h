// The texts and SQLSTATEs of the cursor library's messages, out of the catalog "odbc.m": set 1, a number
// holds the text and the next number the SQLSTATE.
//
// The catalog lies in ../share/zulib/locale/LOCALE/LC_MESSAGES/ seen from the directory of this library
// (or of the program that it is linked into), and is opened by the first message.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_MESSAGECATALOG_H
#define ZULIB_DRIVERMANAGER_INTERNAL_MESSAGECATALOG_H

#include <cstddef>

namespace dm {

constexpr size_t messageTextSize = 512;

// Writes the text, zero-ended and cut to `size`, and the SQLSTATE. Without a catalog the text is the
// number and the state HY000. Allocates nothing.
void readMessage(unsigned short number, char* text, size_t size, char (&sqlstate)[6]) noexcept;

}  // namespace dm

#endif
