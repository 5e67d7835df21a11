// A driver whose functions do nothing: what is left of a call through the driver manager is the driver
// manager's own.

#include <sql.h>
#include <sqlext.h>

#include <cstring>

namespace {
char handle;
}

#define NULL_DRIVER extern "C" __attribute__((visibility("default"))) SQLRETURN SQL_API

NULL_DRIVER SQLAllocHandle(SQLSMALLINT, SQLHANDLE, SQLHANDLE* out) {
  *out = &handle;
  return SQL_SUCCESS;
}
NULL_DRIVER SQLFreeHandle(SQLSMALLINT, SQLHANDLE) { return SQL_SUCCESS; }
NULL_DRIVER SQLSetEnvAttr(SQLHENV, SQLINTEGER, SQLPOINTER, SQLINTEGER) { return SQL_SUCCESS; }
NULL_DRIVER SQLDriverConnect(SQLHDBC, SQLHWND, SQLCHAR*, SQLSMALLINT, SQLCHAR* out, SQLSMALLINT size,
                             SQLSMALLINT* length, SQLUSMALLINT) {
  if (out && size > 0) *out = 0;
  if (length) *length = 0;
  return SQL_SUCCESS;
}
NULL_DRIVER SQLDisconnect(SQLHDBC) { return SQL_SUCCESS; }
NULL_DRIVER SQLSetConnectAttr(SQLHDBC, SQLINTEGER, SQLPOINTER, SQLINTEGER) { return SQL_SUCCESS; }
NULL_DRIVER SQLSetStmtAttr(SQLHSTMT, SQLINTEGER, SQLPOINTER, SQLINTEGER) { return SQL_SUCCESS; }
NULL_DRIVER SQLGetInfo(SQLHDBC, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT, SQLSMALLINT* length) {
  if (length) *length = type == SQL_DRIVER_ODBC_VER ? 5 : 0;
  if (type == SQL_DRIVER_ODBC_VER && value) std::memcpy(value, "03.80", sizeof "03.80");
  return SQL_SUCCESS;
}
NULL_DRIVER SQLGetDiagRec(SQLSMALLINT, SQLHANDLE, SQLSMALLINT, SQLCHAR*, SQLINTEGER*, SQLCHAR*, SQLSMALLINT,
                          SQLSMALLINT*) {
  return SQL_NO_DATA;
}
NULL_DRIVER SQLNumResultCols(SQLHSTMT, SQLSMALLINT* count) {
  *count = 1;
  return SQL_SUCCESS;
}
NULL_DRIVER SQLPrepare(SQLHSTMT, SQLCHAR*, SQLINTEGER) { return SQL_SUCCESS; }
NULL_DRIVER SQLExecute(SQLHSTMT) { return SQL_SUCCESS; }
NULL_DRIVER SQLExecDirect(SQLHSTMT, SQLCHAR*, SQLINTEGER) { return SQL_SUCCESS; }
NULL_DRIVER SQLBindCol(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER, SQLLEN, SQLLEN*) {
  return SQL_SUCCESS;
}
NULL_DRIVER SQLFetch(SQLHSTMT) { return SQL_SUCCESS; }
NULL_DRIVER SQLFetchScroll(SQLHSTMT, SQLSMALLINT, SQLLEN) { return SQL_SUCCESS; }
NULL_DRIVER SQLGetData(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER, SQLLEN, SQLLEN*) {
  return SQL_SUCCESS;
}
NULL_DRIVER SQLCloseCursor(SQLHSTMT) { return SQL_SUCCESS; }
