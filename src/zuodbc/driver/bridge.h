// Statement functions on a driver of either ODBC version, if need be through the function that the other
// version has in its place.
//
// Each of these is the driver work of a call path (call/entry.h). It returns the driver's code;
// kDriverLacksFunction if the driver has neither function; or kRefusedHere, with a diagnostic queued, if the
// function that it has cannot do what is asked. They run in an application's call as well as under the
// re-entrance mark.

#ifndef ZUODBC_DRIVER_BRIDGE_H
#define ZUODBC_DRIVER_BRIDGE_H

#include "zuodbc/call/drivercall.h"
#include "zuodbc/call/text.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driver/driverdiagnostics.h"

namespace dm {

// --- Types (bridgetypes.cpp) ---

// Date, time and timestamp have the type codes 9 to 11 in ODBC 2 and 91 to 93 in ODBC 3. A code that goes to
// the driver takes the form of the driver's version, a code that comes from it that of the application's.
// Nothing changes if both have the same version.
SQLSMALLINT typeForDriver(const DMConn& conn, SQLSMALLINT type) noexcept;
SQLSMALLINT typeForApplication(const DMConn& conn, SQLSMALLINT type) noexcept;
bool versionsDiffer(const DMConn& conn) noexcept;

// The type that SQLGetTypeInfo asks about. A driver that took SQL_ATTR_ODBC_VERSION gets it as the
// application gave it.
SQLSMALLINT typeForTypeInfo(const DMConn& conn, SQLSMALLINT type) noexcept;

// `ioType` 0: the application called SQLBindParam, which has no such argument.
SQLRETURN driverBindParameter(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT number,
                              SQLSMALLINT ioType, SQLSMALLINT cType, SQLSMALLINT sqlType, SQLULEN size,
                              SQLSMALLINT scale, SQLPOINTER data, SQLLEN length, SQLLEN* lengthPtr);

// --- Type codes in the results of catalog functions (bridgecatalog.cpp) ---
//
// The column DATA_TYPE of these results holds type codes. In the rows that a driver of the other version
// returns they are translated where the driver wrote them: in what is bound to the column, and in what
// SQLGetData reads from it. A bound text that has no room for the other code stays as the driver wrote it.

// A catalog function has left a result.
void noteCatalogResult(DMStmt& stmt, Api api) noexcept;

// Before the driver is told a binding, and once it has taken it. The first throws std::bad_alloc.
void reserveBinding(DMStmt& stmt, SQLUSMALLINT column);
void noteBinding(DMStmt& stmt, const HeldBinding& binding) noexcept;
void forgetBindings(DMStmt& stmt) noexcept;  // it was told SQL_UNBIND

// A fetch has returned `rc` and filled `rows` rows, those with these statuses (null: all are good).
void translateFetched(DMStmt& stmt, SQLRETURN rc, SQLULEN rows, const SQLUSMALLINT* statuses) noexcept;

// SQLGetData on such a result.
SQLRETURN driverGetData(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column, SQLSMALLINT cType,
                        SQLPOINTER value, SQLLEN size, SQLLEN* lengthPtr);

// --- Statement attributes (bridgeattributes.cpp) ---

// `value` is a number or a pointer, as the attribute has it; `api` is the function that the application
// called, preferred if the driver has both. What the driver has accepted of the row-array, parameter-array
// and bookmark settings is also kept on the statement and its current descriptors, where the bridge and the
// cursor library read it.
SQLRETURN driverSetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length, Form form = Form::Narrow);
SQLRETURN driverGetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length, SQLINTEGER* lengthPtr,
                            Form form = Form::Narrow);
SQLRETURN driverParamOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN rows, SQLULEN* rowPtr);
SQLRETURN driverSetScrollOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT concurrency,
                                 SQLLEN keyset, SQLUSMALLINT rowset);

// Sends the parameter-array settings that were changed on the descriptors alone, as the cursor library does,
// and refuses those that a driver of ODBC 2 cannot obey. To be called before the driver executes.
SQLRETURN driverTakeParameterHeader(DMStmt& stmt, const DMDriverFunctions& driver);

// Keeps an attribute that has been set. A null pointer for a descriptor attribute restores the statement's
// own one.
void keepStmtAttr(DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) noexcept;

// Sets the extended row set of the driver, if it has another. ODBC 2 has one size where ODBC 3 has two, so
// every fetch sets the size that it wants.
SQLRETURN driverTakeRowset(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN rows);

// --- Fetching (bridgefetch.cpp) ---

SQLRETURN driverFetchArray(DMStmt& stmt, const DMDriverFunctions& driver);
SQLRETURN driverFetchScroll(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT orientation,
                            SQLLEN offset);
SQLRETURN driverExtendedFetch(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT orientation,
                              SQLLEN offset, SQLULEN* rowCountPtr, SQLUSMALLINT* statusPtr);
SQLRETURN driverSetPos(DMStmt& stmt, const DMDriverFunctions& driver, SQLSETPOSIROW row,
                       SQLUSMALLINT operation, SQLUSMALLINT lock);
SQLRETURN driverBulkOperations(DMStmt& stmt, const DMDriverFunctions& driver, SQLSMALLINT operation);
SQLRETURN driverCloseCursor(DMStmt& stmt, const DMDriverFunctions& driver);

// --- Column attributes (bridgecolumns.cpp): `field` is a number of ODBC 3, or of ODBC 2 ---

SQLRETURN driverColAttribute(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column,
                             SQLUSMALLINT field, const TextOut<SQLSMALLINT>& text, SQLLEN* number);
SQLRETURN driverColAttributes(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column,
                              SQLUSMALLINT field, const TextOut<SQLSMALLINT>& text, SQLLEN* number);

}  // namespace dm

#endif
