// The steps that SQLConnect, SQLDriverConnect and SQLBrowseConnect share, and the way back.
//
// A connection goes: attached to a driver (the library is loaded, the driver's handles are there, the
// kept attributes that a driver wants early are set), connected by the driver's own function, and
// completed (what the driver manager and the cursor library must know is asked, the rest of the kept
// attributes is set). A failure at any step, an exception included, is followed by detachDriver, which
// leaves the connection as it was, with the diagnostics.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_CONNECTING_H
#define ZULIB_DRIVERMANAGER_INTERNAL_CONNECTING_H

#include <string>

#include "zuodbc/handles/handles.h"

namespace dm {

// SQL_ERROR with the cause posted, or SQL_SUCCESS (SQL_SUCCESS_WITH_INFO when the driver had something to
// say).
SQLRETURN attachDriver(DMConn& conn, const std::string& library);
SQLRETURN completeConnection(DMConn& conn);

// Gives the driver's handles back. Diagnostics stay.
void detachDriver(DMConn& conn) noexcept;

// The worse of two codes of steps that both went on.
inline SQLRETURN joined(SQLRETURN a, SQLRETURN b) { return a == SQL_SUCCESS ? b : a; }

// Sets the attributes that were kept while there was no driver: those that drivers want before they
// connect, or all the others. What a driver refuses is a warning (IM006).
SQLRETURN applyKeptAttributes(DMConn& conn, bool beforeConnect);

// One attribute on the driver, over the function that it has.
SQLRETURN setDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, SQLINTEGER attribute,
                             SQLPOINTER value, SQLINTEGER length);

}  // namespace dm

#endif
