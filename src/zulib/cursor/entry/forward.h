// The forwarding layer: one CursorLib* function for each ODBC function that the cursor library has to
// reach on the driver. Each one marks the handle, calls the driver manager's exported function, which
// goes to the driver and not back to the CL* layer while the mark stands, and takes the mark back.
//
// Arguments and codes are those of the ODBC functions.

#ifndef ZULIB_CURSOR_INTERNAL_FORWARD_H
#define ZULIB_CURSOR_INTERNAL_FORWARD_H

#include "zuodbc/dmhandle.h"

// "Failed" in the cursor library: any code but SQL_SUCCESS and SQL_SUCCESS_WITH_INFO, so SQL_NO_DATA,
// SQL_NEED_DATA and SQL_STILL_EXECUTING count as failed; who treats them apart says so.
inline bool clFailed(SQLRETURN rc) { return (rc & ~1) != 0; }

// The first `DMConn::driverVersion` with descriptors and the attributes of rows and parameters.
constexpr unsigned short CL_VERSION_3 = 300;

// The numbers of the API functions whose two forms share one road.
enum ClApi : unsigned short {
  API_TRANSACT = 23,
  API_SETCONNECTOPTION = 50,
  API_EXTENDEDFETCH = 59,
  API_ENDTRAN = 1005,
  API_SETCONNECTATTR = 1016,
  API_FETCHSCROLL = 1021,
};

// Marked on the statement.
SQLRETURN CursorLibBindCol(DMStmt* stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER data,
                           SQLLEN length, SQLLEN* lengthPtr);
SQLRETURN CursorLibBindParameter(DMStmt* stmt, SQLUSMALLINT number, SQLSMALLINT ioType, SQLSMALLINT cType,
                                 SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT scale, SQLPOINTER data,
                                 SQLLEN length, SQLLEN* lengthPtr);
SQLRETURN CursorLibCancel(DMStmt* stmt);
SQLRETURN CursorLibCloseCursor(DMStmt* stmt);
SQLRETURN CursorLibColAttribute(DMStmt* stmt, SQLUSMALLINT column, SQLUSMALLINT field, SQLPOINTER text,
                                SQLSMALLINT textSize, SQLSMALLINT* textLength, SQLLEN* number);
SQLRETURN CursorLibColAttributes(DMStmt* stmt, SQLUSMALLINT column, SQLUSMALLINT field, SQLPOINTER text,
                                 SQLSMALLINT textSize, SQLSMALLINT* textLength, SQLLEN* number);
SQLRETURN CursorLibDescribeCol(DMStmt* stmt, SQLUSMALLINT column, SQLCHAR* name, SQLSMALLINT nameSize,
                               SQLSMALLINT* nameLength, SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT* scale,
                               SQLSMALLINT* nullable);
SQLRETURN CursorLibExecDirect(DMStmt* stmt, SQLCHAR* sql, SQLINTEGER length);
SQLRETURN CursorLibExecute(DMStmt* stmt);
SQLRETURN CursorLibGetData(DMStmt* stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value,
                           SQLLEN length, SQLLEN* lengthPtr);
SQLRETURN CursorLibGetStmtAttr(DMStmt* stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                               SQLINTEGER* lengthPtr);
SQLRETURN CursorLibGetStmtOption(DMStmt* stmt, SQLUSMALLINT option, SQLPOINTER value);
SQLRETURN CursorLibMoreResults(DMStmt* stmt);
SQLRETURN CursorLibNumParams(DMStmt* stmt, SQLSMALLINT* count);
SQLRETURN CursorLibNumResultCols(DMStmt* stmt, SQLSMALLINT* count);
SQLRETURN CursorLibParamData(DMStmt* stmt, SQLPOINTER* value);
SQLRETURN CursorLibParamOptions(DMStmt* stmt, SQLULEN rows, SQLULEN* rowPtr);
SQLRETURN CursorLibPrepare(DMStmt* stmt, SQLCHAR* sql, SQLINTEGER length);
SQLRETURN CursorLibPutData(DMStmt* stmt, SQLPOINTER value, SQLLEN length);
SQLRETURN CursorLibRowCount(DMStmt* stmt, SQLLEN* count);
SQLRETURN CursorLibSetPos(DMStmt* stmt, SQLSETPOSIROW row, SQLUSMALLINT operation, SQLUSMALLINT lock);
SQLRETURN CursorLibSetStmtOption(DMStmt* stmt, SQLUSMALLINT option, SQLULEN value);

// The driver fetches into the library's own buffers, so the application's bind offset is out of the way
// for the time of the call.
SQLRETURN CursorLibFetch(DMStmt* stmt);

// Five row-array attributes at once, in this order of the driver's attributes: SQL_BIND_TYPE,
// SQL_ATTR_ROW_ARRAY_SIZE, SQL_ATTR_ROWS_FETCHED_PTR, SQL_ATTR_ROW_BIND_OFFSET_PTR,
// SQL_ATTR_ROW_STATUS_PTR. Stops at the first failure. Reaches the driver only: the application's view in
// the descriptors stays. Nothing to do on a driver below version 3.
SQLRETURN CursorLibSetStmtAttr(DMStmt* stmt, SQLULEN rowArraySize, SQLULEN* rowsFetchedPtr,
                               SQLLEN* bindOffsetPtr, SQLUSMALLINT* rowStatusPtr, SQLULEN bindType);

// Any one statement attribute, as it stands.
SQLRETURN CursorLibSetOneStmtAttr(DMStmt* stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length);

// SQL_DROP marks the connection, and the statement refers to its driver handle for the time of the call.
SQLRETURN CursorLibFreeStmt(DMStmt* stmt, SQLUSMALLINT option);

// Marked on the connection. `CursorLibAllocHandle` knows descriptors only.
SQLRETURN CursorLibAllocHandle(SQLSMALLINT type, DMConn* input, DMDesc** output);
SQLRETURN CursorLibAllocStmt(DMConn* conn, DMStmt** stmt);
SQLRETURN CursorLibGetInfo(DMConn* conn, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT length,
                           SQLSMALLINT* lengthPtr);
SQLRETURN CursorLibNativeSql(DMConn* conn, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out, SQLINTEGER outMax,
                             SQLINTEGER* outLength);
SQLRETURN CursorLibSetConnectAttr(DMConn* conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                                  unsigned short api);
SQLRETURN CursorLibTransact(DMEnv* env, DMConn* conn, unsigned short completion);

// Marked on the handle itself: connection, statement or descriptor.
SQLRETURN CursorLibFreeHandle(SQLSMALLINT type, DMHandle* handle);

// Marked on the descriptor.
SQLRETURN CursorLibGetDescField(DMDesc* desc, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                                SQLINTEGER length, SQLINTEGER* lengthPtr);
SQLRETURN CursorLibGetDescRec(DMDesc* desc, SQLSMALLINT record, SQLCHAR* name, SQLSMALLINT nameSize,
                              SQLSMALLINT* nameLengthPtr, SQLSMALLINT* typePtr, SQLSMALLINT* subTypePtr,
                              SQLLEN* lengthPtr, SQLSMALLINT* precisionPtr, SQLSMALLINT* scalePtr,
                              SQLSMALLINT* nullablePtr);
SQLRETURN CursorLibSetDescField(DMDesc* desc, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                                SQLINTEGER length);
SQLRETURN CursorLibSetDescRec(DMDesc* desc, SQLSMALLINT record, SQLSMALLINT type, SQLSMALLINT subType,
                              SQLLEN length, SQLSMALLINT precision, SQLSMALLINT scale, SQLPOINTER data,
                              SQLLEN* lengthPtr, SQLLEN* indicatorPtr);

// Calls the driver's SQLCancel entry directly, without lock or mark, so that it works while another
// thread is inside the driver. 0 when the driver has none.
SQLRETURN DriverSQLCancel(DMStmt* stmt);

#endif
