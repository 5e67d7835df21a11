/* The cursor library's entry points: the driver manager calls these in place of the driver's functions
 * on a connection that asks for the cursor library.
 *
 * Arguments and return codes are those of the ODBC functions of the same names. Handles are the driver
 * manager's own objects. Failures are diagnostics on the handle, component 524, numbers of the catalog
 * "odbc.m". All of them may be called from any thread; one lock serialises the work. */

#ifndef ZULIB_CURSOR_ENTRY_CURSORLIB_H
#define ZULIB_CURSOR_ENTRY_CURSORLIB_H

#include <sql.h>
#include <sqlext.h>

#include "zulib/runtime/zuapi.h"

#ifdef __cplusplus
extern "C" {
#endif

ZU_API SQLRETURN CLBindCol(SQLHSTMT stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER data,
                           SQLLEN length, SQLLEN* lengthPtr);
ZU_API SQLRETURN CLBindParameter(SQLHSTMT stmt, SQLUSMALLINT number, SQLSMALLINT ioType, SQLSMALLINT cType,
                                 SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT scale, SQLPOINTER data,
                                 SQLLEN length, SQLLEN* lengthPtr);
ZU_API SQLRETURN CLBulkOperations(SQLHSTMT stmt, SQLSMALLINT operation);
ZU_API SQLRETURN CLCancel(SQLHSTMT stmt);
ZU_API SQLRETURN CLCloseCursor(SQLHSTMT stmt);
ZU_API SQLRETURN CLEndTran(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion);
ZU_API SQLRETURN CLExecDirect(SQLHSTMT stmt, SQLCHAR* sql, SQLINTEGER length);
ZU_API SQLRETURN CLExecute(SQLHSTMT stmt);
ZU_API SQLRETURN CLExtendedFetch(SQLHSTMT stmt, SQLUSMALLINT orientation, SQLLEN offset, SQLULEN* rowCountPtr,
                                 SQLUSMALLINT* statusPtr);
ZU_API SQLRETURN CLFetch(SQLHSTMT stmt);
ZU_API SQLRETURN CLFetchScroll(SQLHSTMT stmt, SQLSMALLINT orientation, SQLLEN offset);
ZU_API SQLRETURN CLFreeHandle(SQLSMALLINT type, SQLHANDLE handle);

/* Option 10, besides those of the standard, drops what the library holds for a statement whose driver side no
 * longer exists; no driver call is made. */
ZU_API SQLRETURN CLFreeStmt(SQLHSTMT stmt, SQLUSMALLINT option);
ZU_API SQLRETURN CLGetData(SQLHSTMT stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value,
                           SQLLEN length, SQLLEN* lengthPtr);
ZU_API SQLRETURN CLGetDescField(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                                SQLINTEGER length, SQLINTEGER* lengthPtr);
ZU_API SQLRETURN CLGetDescRec(SQLHDESC desc, SQLSMALLINT record, SQLCHAR* name, SQLSMALLINT nameSize,
                              SQLSMALLINT* nameLengthPtr, SQLSMALLINT* typePtr, SQLSMALLINT* subTypePtr,
                              SQLLEN* lengthPtr, SQLSMALLINT* precisionPtr, SQLSMALLINT* scalePtr,
                              SQLSMALLINT* nullablePtr);
ZU_API SQLRETURN CLGetInfo(SQLHDBC conn, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT length,
                           SQLSMALLINT* lengthPtr);
ZU_API SQLRETURN CLGetStmtAttr(SQLHSTMT stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                               SQLINTEGER* lengthPtr);
ZU_API SQLRETURN CLGetStmtOption(SQLHSTMT stmt, SQLUSMALLINT option, SQLPOINTER value);
ZU_API SQLRETURN CLMoreResults(SQLHSTMT stmt);
ZU_API SQLRETURN CLNativeSql(SQLHDBC conn, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out, SQLINTEGER outMax,
                             SQLINTEGER* outLength);
ZU_API SQLRETURN CLNumParams(SQLHSTMT stmt, SQLSMALLINT* count);
ZU_API SQLRETURN CLParamData(SQLHSTMT stmt, SQLPOINTER* value);
ZU_API SQLRETURN CLParamOptions(SQLHSTMT stmt, SQLULEN rows, SQLULEN* rowPtr);
ZU_API SQLRETURN CLPrepare(SQLHSTMT stmt, SQLCHAR* sql, SQLINTEGER length);
ZU_API SQLRETURN CLPutData(SQLHSTMT stmt, SQLPOINTER value, SQLLEN length);
ZU_API SQLRETURN CLRowCount(SQLHSTMT stmt, SQLLEN* count);
ZU_API SQLRETURN CLSetConnectAttr(SQLHDBC conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length);
ZU_API SQLRETURN CLSetConnectOption(SQLHDBC conn, SQLUSMALLINT option, SQLULEN value);
ZU_API SQLRETURN CLSetDescField(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                                SQLINTEGER length);
ZU_API SQLRETURN CLSetDescRec(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT type, SQLSMALLINT subType,
                              SQLLEN length, SQLSMALLINT precision, SQLSMALLINT scale, SQLPOINTER data,
                              SQLLEN* lengthPtr, SQLLEN* indicatorPtr);
ZU_API SQLRETURN CLSetPos(SQLHSTMT stmt, SQLSETPOSIROW row, SQLUSMALLINT operation, SQLUSMALLINT lock);
ZU_API SQLRETURN CLSetScrollOptions(SQLHSTMT stmt, SQLUSMALLINT concurrency, SQLLEN keyset,
                                    SQLUSMALLINT rowset);
ZU_API SQLRETURN CLSetStmtAttr(SQLHSTMT stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length);
ZU_API SQLRETURN CLSetStmtOption(SQLHSTMT stmt, SQLUSMALLINT option, SQLULEN value);
ZU_API SQLRETURN CLTransact(SQLHENV env, SQLHDBC conn, SQLUSMALLINT completion);

/* The version string of the library's files, static storage. */
ZU_API const char* getFileVersionString(void);

#ifdef __cplusplus
}
#endif

#endif
