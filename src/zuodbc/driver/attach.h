// The steps that SQLConnect, SQLDriverConnect and SQLBrowseConnect share, and the way back.
//
// A connection goes through three states:
//
//   attached    the driver is loaded, its handles are allocated, and the kept attributes that drivers
//               want before they connect are set
//   connected   by the driver's own connect function
//   completed   the driver has been asked what the driver manager and the cursor library must know, and
//               the other kept attributes are set
//
// If a step fails, or throws, the caller calls detachDriver, which leaves the connection as it was before,
// with the diagnostics.

#ifndef ZUODBC_DRIVER_ATTACH_H
#define ZUODBC_DRIVER_ATTACH_H

#include <string>

#include "zuodbc/handles/handles.h"

namespace dm {

// Both return SQL_ERROR with the cause posted, or SQL_SUCCESS, or SQL_SUCCESS_WITH_INFO if the driver posted
// a warning.
// A connection that is made by a wide function, to a driver that has some, speaks UTF-16 to the driver.
SQLRETURN attachDriver(DMConn& conn, const std::string& library, bool byWide);
SQLRETURN completeConnection(DMConn& conn);

// Frees the driver's handles. Diagnostics stay.
void detachDriver(DMConn& conn) noexcept;

// The result of two steps that both succeeded, perhaps with information.
inline SQLRETURN joined(SQLRETURN a, SQLRETURN b) { return a == SQL_SUCCESS ? b : a; }

}  // namespace dm

#endif
