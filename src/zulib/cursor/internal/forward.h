// The forwarding layer: one CursorLib* function for each ODBC function that the cursor library calls on the
// driver. Each one marks the handle, calls the driver manager's exported function, which goes to the driver
// and not back to the CL* layer while the mark is set, and clears the mark.
//
// Arguments and codes are those of the ODBC functions.

#ifndef ZULIB_CURSOR_INTERNAL_FORWARD_H
#define ZULIB_CURSOR_INTERNAL_FORWARD_H

#include "zuodbc/dmhandle.h"

// "Failed" in the cursor library: any code except SQL_SUCCESS and SQL_SUCCESS_WITH_INFO. SQL_NO_DATA,
// SQL_NEED_DATA and SQL_STILL_EXECUTING count as failed; callers that treat them differently say so.
inline bool clFailed(SQLRETURN rc) { return (rc & ~1) != 0; }

// The first `DMConn::driverVersion` with descriptors and the attributes of rows and parameters.
constexpr unsigned short kDriverVersion3 = 300;
inline bool isVersion3Driver(const DMConn* conn) { return conn->driverVersion >= kDriverVersion3; }

// Attributes carry numbers in pointers.
inline SQLPOINTER asPointer(SQLULEN number) { return reinterpret_cast<SQLPOINTER>(number); }
inline SQLULEN asNumber(SQLPOINTER value) { return reinterpret_cast<SQLULEN>(value); }

// The numbers of the API functions that share one implementation.
enum ClApi : unsigned short {
  API_SETCONNECTOPTION = 50,
  API_EXTENDEDFETCH = 59,
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

// Sets the application's bind offset to null during the call: the driver fetches into the library's own
// buffers, which take no offset.
SQLRETURN CursorLibFetch(DMStmt* stmt);

// Five row-array attributes at once, in this order of the driver's attributes: SQL_BIND_TYPE,
// SQL_ATTR_ROW_ARRAY_SIZE, SQL_ATTR_ROWS_FETCHED_PTR, SQL_ATTR_ROW_BIND_OFFSET_PTR,
// SQL_ATTR_ROW_STATUS_PTR. Stops at the first failure. Reaches the driver only: the fields of the
// descriptors, which are the application's view, are unchanged. Does nothing on a driver below version 3.
SQLRETURN CursorLibSetStmtAttr(DMStmt* stmt, SQLULEN rowArraySize, SQLULEN* rowsFetchedPtr,
                               SQLLEN* bindOffsetPtr, SQLUSMALLINT* rowStatusPtr, SQLULEN bindType);

// Makes the driver fetch one row at a time, by column, without statuses, count and offset: for private
// buffers. Also on a driver below version 3 if it has descriptors, which may have brought it a row array.
SQLRETURN CursorLibSetOneRow(DMStmt* stmt);

// Sets one statement attribute.
SQLRETURN CursorLibSetOneStmtAttr(DMStmt* stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length);

// With SQL_DROP the connection is marked, and `stmt->selfRef` is the driver handle during the call.
SQLRETURN CursorLibFreeStmt(DMStmt* stmt, SQLUSMALLINT option);

// Marked on the connection. CursorLibAllocHandle makes descriptors only; other types do nothing.
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
// thread is inside the driver. Returns 0 if the driver has none.
SQLRETURN DriverSQLCancel(DMStmt* stmt);

#endif
