// Diagnostic records: the queue of a handle, and the driver manager's own messages.
//
// A record is one block of malloc. A queue belongs to its handle and is guarded by the handle's
// queueLock. A driver's records come into the queue right after the driver call, flagged as unsettled: the
// cursor library either takes them over, for a row and a column, or lets the next driver call on the handle
// drop them. What is queued at the end of the application's call is what it may read.
//
// SQLSTATEs are kept as they were given, by a driver of any version; they are mapped to the application's
// ODBC version when they are reported.

#ifndef ZUODBC_CALL_ERRORS_H
#define ZUODBC_CALL_ERRORS_H

#include <string_view>

#include "zuodbc/dmhandle.h"

// tagERRBUF::flags
enum : unsigned {
  DM_ERR_UNSETTLED = 1u << 0,  // of the last driver call, not yet taken over
  DM_ERR_RESERVE = 1u << 1,    // the handle's reserve record: owned by the handle, not by the queue
  DM_ERR_IN_USE = 1u << 2,     // the reserve record is in a queue, or held with one
  DM_ERR_UTF8 = 1u << 3,       // the text is UTF-8; else it is in the code page of the connection
  DM_ERR_OF_WIDE = 1u << 4,  // the text came as UTF-16 from a driver: a narrow application gets it converted
};

struct tagERRBUF {
  tagERRBUF* next;
  unsigned flags;
  SQLINTEGER nativeError;
  SQLLEN row;         // from 1; SQL_NO_ROW_NUMBER, SQL_ROW_NUMBER_UNKNOWN
  SQLINTEGER column;  // from 1; SQL_NO_COLUMN_NUMBER, SQL_COLUMN_NUMBER_UNKNOWN
  char sqlstate[6];
  unsigned textLength;  // bytes, without the zero
  char text[1];         // zero-ended, as long as it is
};

namespace dm {

// Queues one of the driver manager's own diagnostics, by SQLSTATE, with the table's text for it or with
// the text given. Never fails: if allocation fails the handle's reserve record is queued.
void postError(DMHandle& handle, const char* sqlstate) noexcept;
void postError(DMHandle& handle, const char* sqlstate, std::string_view text) noexcept;

// The same for what a driver call comes to without the driver: the cursor library judges the record as if it
// were the driver's.
void postForDriver(DMHandle& handle, const char* sqlstate) noexcept;

// The same, as the last line of a function: returns SQL_ERROR, or SQL_SUCCESS_WITH_INFO.
SQLRETURN fail(DMHandle& handle, const char* sqlstate) noexcept;
SQLRETURN fail(DMHandle& handle, const char* sqlstate, std::string_view text) noexcept;
SQLRETURN warn(DMHandle& handle, const char* sqlstate) noexcept;

// The reserve record (HY001).
SQLRETURN failForMemory(DMHandle& handle) noexcept;

// A record in the driver manager's form. Null if allocation fails. The caller owns it until it is queued.
[[nodiscard]] tagERRBUF* makeRecord(const char* sqlstate, std::string_view text) noexcept;

// Puts it at the end of the queue. Null is the reserve record.
void queueRecord(DMHandle& handle, tagERRBUF* record) noexcept;

// The record that a handle keeps for the day if allocation fails.
[[nodiscard]] tagERRBUF* makeReserve() noexcept;

// Takes the unsettled records off the queue, in their order; frees them; or turns them into ordinary ones.
[[nodiscard]] tagERRBUF* detachUnsettled(DMHandle& handle) noexcept;
void dropUnsettled(DMHandle& handle) noexcept;
void settleErrors(DMHandle& handle) noexcept;

// Takes the first record off the queue, or returns null. The caller holds the queue's lock.
[[nodiscard]] tagERRBUF* takeFirst(DMHandle& handle) noexcept;

}  // namespace dm

#endif
