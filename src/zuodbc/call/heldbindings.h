// Bindings that are held back. When a result ends, the cursor library binds the driver to the application's
// buffers again. Those may be gone by then: an application may free them once it has closed its cursor, if it
// binds others before it fetches again, and some drivers write to the indicator as soon as it is bound. So
// these bindings reach the driver only with the next call that uses them.

#ifndef ZUODBC_CALL_HELDBINDINGS_H
#define ZUODBC_CALL_HELDBINDINGS_H

#include "zuodbc/handles/handles.h"

namespace dm {

// True if a marked bind call of the statement is to be held back.
bool holdsBindings(const DMStmt& stmt) noexcept;

// Makes room for a column's binding, before the driver is told it for the first time. Throws std::bad_alloc.
void reserveHeldBinding(DMStmt& stmt, SQLUSMALLINT column);

// Holds a binding back, in the place of an earlier one of the column. The driver has been told the column
// before.
void holdBinding(DMStmt& stmt, const HeldBinding& binding);

// Before a driver call: tells the driver the held bindings if `api` uses bindings, and forgets them if it
// ends them. The driver's code for the first that it refuses.
SQLRETURN settleHeldBindings(DMStmt& stmt, const DMDriverFunctions& driver, Api api);

// Tells the driver all of them.
SQLRETURN bindHeldColumns(DMStmt& stmt, const DMDriverFunctions& driver);

// Forgets that of one column.
void forgetHeldBinding(DMStmt& stmt, SQLUSMALLINT column) noexcept;

}  // namespace dm

#endif
