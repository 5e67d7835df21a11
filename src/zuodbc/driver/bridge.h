// How a driver of either ODBC version answers a statement function, when need be through the function that
// the other version has in its place.
//
// Each of these is the work for the driver on the road of internal/entry.h: the driver's code,
// driverLacksFunction when neither function is there, or refusedHere with a diagnostic queued when the
// function that is there cannot do what is asked. They run in an application's call as well as under the
// re-entrance mark.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_BRIDGE_H
#define ZULIB_DRIVERMANAGER_INTERNAL_BRIDGE_H

#include "zuodbc/call/statementcall.h"

namespace dm {

// Date, time and timestamp have the type codes 9 to 11 in ODBC 2 and 91 to 93 in ODBC 3. What goes to the
// driver is put in its version, what comes from it in the application's; nothing changes when both are
// of the same version.
SQLSMALLINT typeForDriver(const DMConn& conn, SQLSMALLINT type) noexcept;
SQLSMALLINT typeForApplication(const DMConn& conn, SQLSMALLINT type) noexcept;

// Statement attributes. `value` is a number or a pointer, as the attribute has it. What the driver has
// taken of the row-array, parameter-array and bookmark settings is also kept on the statement and its
// current descriptors, where the bridges and the cursor library read it.
SQLRETURN driverSetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length);
SQLRETURN driverGetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length, SQLINTEGER* lengthPtr);
SQLRETURN driverSetStmtOption(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT option,
                              SQLULEN value);
SQLRETURN driverGetStmtOption(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT option,
                              SQLPOINTER value);
SQLRETURN driverParamOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN rows, SQLULEN* rowPtr);
SQLRETURN driverSetScrollOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT concurrency,
                                 SQLLEN keyset, SQLUSMALLINT rowset);

// Tells a version 3 driver the parameter-array settings that were changed on the descriptors alone, as the
// cursor library does. To be called before the driver executes.
SQLRETURN driverTakeParameterHeader(DMStmt& stmt, const DMDriverFunctions& driver);

// Keeps an attribute that has been set. A null pointer for a descriptor attribute restores the statement's
// own one.
void keepStmtAttr(DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) noexcept;

// Fetching.
SQLRETURN driverFetchArray(DMStmt& stmt, const DMDriverFunctions& driver);
SQLRETURN driverFetchScroll(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT orientation,
                            SQLLEN offset);
SQLRETURN driverExtendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                              SQLLEN offset, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr);
SQLRETURN driverSetPos(DMStmt& stmt, const DMDriverFunctions& driver, SQLSETPOSIROW row,
                       SQLUSMALLINT operation, SQLUSMALLINT lock);
SQLRETURN driverBulkOperations(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT operation);
SQLRETURN driverCloseCursor(DMStmt& stmt, const DMDriverFunctions& driver);

// Column attributes: `field` in the words of ODBC 3, or in those of ODBC 2.
SQLRETURN driverColAttribute(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column,
                             SQLUSMALLINT field, SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                             SQLLEN* number);
SQLRETURN driverColAttributes(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column,
                              SQLUSMALLINT field, SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                              SQLLEN* number);

// Parameters. `ioType` 0 stands for a call of SQLBindParam or SQLSetParam, which do not say it.
SQLRETURN driverBindParameter(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT number,
                              SQLSMALLINT ioType, SQLSMALLINT cType, SQLSMALLINT sqlType, SQLULEN size,
                              SQLSMALLINT scale, SQLPOINTER data, SQLLEN length, SQLLEN* lengthPtr);

}  // namespace dm

#endif
