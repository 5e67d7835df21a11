// Connection attributes on a driver of either ODBC version.

#ifndef ZUODBC_DRIVER_CONNECTIONATTRIBUTES_H
#define ZUODBC_DRIVER_CONNECTIONATTRIBUTES_H

#include "zuodbc/call/text.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driverfunctions.h"
#include "zuodbc/handles/api.h"
#include "zuodbc/handles/handles.h"

namespace dm {

// True for the text attributes of the standard. An attribute that a driver defines is a text if its length
// says so: SQL_NTS or positive.
bool isTextAttribute(SQLINTEGER attribute) noexcept;
bool isDriverDefined(SQLINTEGER attribute) noexcept;

// True if an attribute's value, of this length, is a text; or a text or binary value, which has to be copied
// to be kept.
bool isText(SQLINTEGER attribute, SQLINTEGER length) noexcept;
bool isBytes(SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) noexcept;

// Set and read one attribute through the function that the driver has; `api` is the function that the
// application called and is preferred if the driver has both. An option of ODBC 2 carries no length: a text
// is copied so that it ends in a zero, and a value that is read passes through a buffer of the size that
// ODBC 2 allows it.
SQLRETURN setDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                             const TextIn<SQLINTEGER>& value);
SQLRETURN getDriverAttribute(DMConn& conn, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                             const TextOut<SQLINTEGER>& out);

// Sets the attributes that were kept while there was no driver: those that drivers want before they
// connect, or all the others. An attribute that the driver refuses is a warning (IM006).
SQLRETURN applyKeptAttributes(DMConn& conn, bool beforeConnect);

}  // namespace dm

#endif
