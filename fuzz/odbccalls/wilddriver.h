// A driver that returns anything: codes that no standard knows, lengths of any size, texts without an end,
// handles that are null, functions that are missing, exceptions. It is forward-only in that every result
// ends.
//
// It does not lie about its ODBC version and the size of its row set, since what it may write depends on
// them, and it does not break ODBC's rules about memory: it writes to the buffers that it was given and still
// has, at most as many bytes as it was told. It reads parameters and writes rows through the addresses that
// were bound last, so that a driver manager which leaves it with a stale one is found by the address
// sanitizer. A handle of its own that comes back after it was freed ends the program.
//
// Thread use: any thread. The decisions of a call come from the source of the calling thread.

#ifndef ZULIB_FUZZ_ODBCCALLS_WILDDRIVER_H
#define ZULIB_FUZZ_ODBCCALLS_WILDDRIVER_H

#include <string>

#include "fuzz/odbccalls/bytesource.h"
#include "zuodbc/driverfunctions.h"

namespace odbccalls {

// The source for calls of this thread; null: every call succeeds and does what it should.
void setDriverSource(ByteSource* source);

// The functions of a driver of ODBC 2 or 3, some of them missing by decision of the source.
DMDriverFunctions wildFunctions(ByteSource& source);

// True for the information types whose value is a text.
bool isTextInfo(SQLUSMALLINT type);

// What the driver manager finds as the driver of every connection from here on.
void loadDriver(const DMDriverFunctions& functions);

// The text of the last SQLPrepare, SQLExecDirect or SQLNativeSql.
std::string lastText();

// Frees what the driver still has; returns how many handles that was.
size_t clearDriver();

}  // namespace odbccalls

#endif
