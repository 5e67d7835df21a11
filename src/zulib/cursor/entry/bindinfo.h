// BindInfo: what the application bound to a column or parameter. The records hang on the driver manager's
// descriptors (`DMDesc::bindList`); while a cursor lives the driver is bound to the cursor's own buffers,
// and these records are the only place that knows the application's.
//
// The list of a row descriptor is sorted by rising data pointer at insertion time, so bindings stand in
// the order of buffer addresses, not of column numbers; equal keys keep the newest first. The cursors'
// row layout and the order of generated predicates follow this list. Look-ups by column are linear.
//
// Thread use: under CursorLibrarySingleThreadLock when a cursor or analyser exists, else one thread at a
// time, like the descriptor.

#ifndef ZULIB_CURSOR_INTERNAL_BINDINFO_H
#define ZULIB_CURSOR_INTERNAL_BINDINFO_H

#include "zuodbc/bindinfo.h"
#include "zuodbc/dmhandle.h"

// The bit of `DMDesc::headerChanged`: a header field changed since the driver was last told.
constexpr unsigned CL_HEADER_CHANGED = 1u << 0;

// The record of a column in place, or null.
BindInfo* FindBindInfo(DMDesc* desc, unsigned short column);

// The record of a column taken off the list, or a new zeroed one that is on no list. Null when memory is
// gone. The caller owns it until InsertBindInfo, and frees it with `free`.
BindInfo* GetBindInfo(DMDesc* desc, unsigned short column);

// Puts a record before the first one whose data pointer is not below `key`. The list owns it.
void InsertBindInfo(DMDesc* desc, BindInfo* record, const void* key);

// Frees the records with a column above `*upTo`, or all of them when `upTo` is null.
void DropBindings(DMDesc* desc, const SQLULEN* upTo);

// Frees the lists of the row descriptor and of both parameter descriptors.
void FreeBindArray(DMStmt* stmt);

// False while a cursor reads through the descriptor: bindings may then not change their shape.
bool CheckModifyDesc(DMDesc* desc);

// Binds the driver to the application's own buffers again. The code of the last bind call.
SQLRETURN RestoreBindings(DMStmt* stmt);

// The concise type for a type, interval code and form. 1, or 0 when there is none.
int MapToConciseType(short type, short code, tagETBINDTYPE form, short* out);

#endif
