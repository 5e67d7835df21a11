// The binding records of descriptors: look-up, order, release, and their way back to the driver. While a
// cursor lives the driver is bound to the cursor's own buffers, and the records are the only place that knows
// the application's.
//
// The list of a row descriptor is sorted by the data pointer at insertion time, so bindings are in the order
// of buffer addresses, not of column numbers; of equal keys the newest comes first. The cursors' row layout
// and the order of generated predicates follow this list. Look-ups by column are linear.
//
// Thread use: like the descriptor, one thread at a time; under CursorLibrarySingleThreadLock if a cursor or a
// SqlParser exists.

#ifndef ZULIB_CURSOR_INTERNAL_BINDINGS_H
#define ZULIB_CURSOR_INTERNAL_BINDINGS_H

#include "zuodbc/bindinfo.h"
#include "zuodbc/dmhandle.h"

// The bit of `DMDesc::headerChanged`: a header field has changed since the driver was last told.
constexpr unsigned kHeaderChanged = 1u << 0;

// Returns the record of a column, which stays on the list, or null.
BindInfo* FindBindInfo(const DMDesc* desc, unsigned short column);

// Takes the record of a column off the list, or makes a new zeroed one that is on no list. Returns null if
// allocation fails. The caller owns the record until InsertBindInfo, and frees it with `free`.
BindInfo* GetBindInfo(DMDesc* desc, unsigned short column);

// Inserts a record before the first one whose data pointer is not below `key`. The list owns it.
void InsertBindInfo(DMDesc* desc, BindInfo* record, const void* key);

// Frees the records with a column above `*upTo`, or all of them if `upTo` is null.
void DropBindings(DMDesc* desc, const SQLULEN* upTo);

// Frees the lists of the row descriptor and of both parameter descriptors, except one that the cursor of
// another statement reads.
void FreeBindArray(DMStmt* stmt);

// Frees the parameter records, after the statement's own descriptor has replaced an explicit one.
void dropParameters(DMStmt* stmt);

// Returns false while a cursor reads through the descriptor: bindings must then keep their shape.
bool CheckModifyDesc(const DMDesc* desc);

// Returns the statement whose cursor reads through the descriptor, directly or through a copy, or null.
DMStmt* statementReading(const DMDesc* desc);

// Binds the driver to the application's own buffers again. Returns the code of the last bind call.
SQLRETURN RestoreBindings(DMStmt* stmt);

// Maps a type, interval code and form to the concise type. Returns 1, or 0 if there is none.
int MapToConciseType(short type, short code, tagETBINDTYPE form, short* out);

// Sets the size of a row or parameter array in a descriptor's header.
inline void setArraySize(DMDesc* desc, SQLULEN size) {
  desc->arraySize = size;
  desc->headerChanged |= kHeaderChanged;
}

// Makes the same call on each descriptor that is a copy in use for `desc`. Stops at the first failure.
template <class Call>
SQLRETURN onStandIns(const DMDesc* desc, Call call) {
  if (desc->shareCount == 0) return SQL_SUCCESS;
  for (DMStmt* stmt : DMStmtList(desc->conn)) {
    if (stmt->savedArd != desc || isDescriptor(stmt->ard, desc)) continue;
    const SQLRETURN rc = call(stmt->ard);
    if (!SQL_SUCCEEDED(rc)) return rc;
  }
  return SQL_SUCCESS;
}

#endif
