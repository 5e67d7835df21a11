// What the driver manager offers to the cursor library beside its handles and the ODBC functions.

#ifndef ZUODBC_DMSERVICES_H
#define ZUODBC_DMSERVICES_H

#include "zulib/runtime/zuapi.h"
#include "zuodbc/dmhandle.h"

// The component number of the cursor library, whose texts lie in the catalog "odbc.m".
constexpr unsigned short kDmComponentCursorLibrary = 524;

// A diagnostic with its place in a row set. `recordSize` is the size that the caller was built with.
struct tagODBCERROR {
  unsigned long recordSize;
  void* handle;
  unsigned short component;
  unsigned short errorId;
  short argument;     // -1: none
  long rowNumber;     // from 1
  long columnNumber;  // from 1; 0 is the bookmark column
};

extern "C" {

// Queues message `errorId` of a component on a handle: the catalog holds the text under that number and
// the SQLSTATE under the next. Without a catalog the text is the number and the state HY000. Never fails;
// if allocation fails the handle's own reserve record is queued.
ZU_API void PostODBCError(unsigned short component, void* handle, unsigned short errorId, short argument);
ZU_API void PostODBCComponentError(tagODBCERROR* error);

// Locks (1) or unlocks (0) a handle's call lock; `type` 3 is a statement.
ZU_API void LockHandle(void* handle, long type, int lock);

// Ends the transaction of a connection, or of every connection of `env` when `conn` is null, on the drivers.
ZU_API SQLRETURN DMCursorLibTransact(DMEnv* env, DMConn* conn, unsigned short completion);

// Compares a UTF-16 text with an ASCII one, without regard to the case of ASCII letters: below 0, 0, above 0.
ZU_API int UTF16asciistrcmpi(const unsigned short* wide, const char* ascii);

// Frees a chain of error records.
ZU_API void FreeErrorBuf(tagERRBUF* first);
}

#endif
