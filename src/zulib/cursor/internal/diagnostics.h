// Diagnostics: posting the cursor library's own messages, and judging what the last driver call reported.

#ifndef ZULIB_CURSOR_INTERNAL_DIAGNOSTICS_H
#define ZULIB_CURSOR_INTERNAL_DIAGNOSTICS_H

#include "zulib/cursor/internal/exception.h"
#include "zuodbc/dmhandle.h"

// Posts the message that an exception carries, on its own handle or on `handle`, and returns its code.
SQLRETURN HandleException(const CException& exception, void* handle);

// Posts message `errorId` on `handle`. Returns SQL_ERROR, or SQL_SUCCESS_WITH_INFO.
SQLRETURN clError(void* handle, unsigned short errorId);
SQLRETURN clWarning(void* handle, unsigned short errorId);

// The same with a place in the row set: `row` counts from 1.
SQLRETURN clColumnWarning(void* handle, unsigned short errorId, SQLLEN row, unsigned short column);

// True if the SQLSTATE is among the records of the last driver call on the handle. Older records, also the
// library's own, do not count.
bool clDriverSaid(DMHandle* handle, const char16_t (&state)[6]);

// True if the driver stopped because the application asked it to.
bool clDriverCancelled(DMHandle* handle);

// True if the driver reported, with its last call, that the connection or the session is gone: SQLSTATE class
// 08 or 57. Nothing that the result still had can be read.
bool clConnectionLost(DMHandle* handle);

// True if the SQLSTATE is among all records of the handle, the driver manager's own included.
bool clQueued(DMHandle* handle, const char16_t (&state)[6]);
inline bool clOutOfMemory(DMHandle* handle) { return clQueued(handle, u"HY001"); }

// Makes the records of the last driver call on `from` records of `to`, row and column unknown.
void clMoveErrors(DMHandle* to, DMHandle* from);

#endif
