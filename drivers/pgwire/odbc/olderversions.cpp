// The functions of ODBC 1 and 2 by those of ODBC 3, and the functions of ODBC 3 that a forward-only driver
// does not have. A driver exports all of them: the search for a function in a driver goes on in the libraries
// that the driver is linked with, and would find the driver manager's own function of the name.

#include "odbc/entry.h"
#include "odbc/text.h"

using namespace pgwire;

namespace {

template <class H>
SQLRETURN notSupported(SQLHANDLE handle) {
  return enter<H>(handle, [](H&) { return codeOf(fail(Issue::NotSupported)); });
}

// SQLError has no record number: each call takes the next record.
template <class GetRecord>
SQLRETURN takeError(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, GetRecord getRecord) {
  const SQLSMALLINT type = stmt ? SQL_HANDLE_STMT : conn ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
  SQLHANDLE handle = stmt ? stmt : conn ? conn : env;
  if (!handle) return SQL_INVALID_HANDLE;
  return getRecord(type, handle, ++static_cast<Handle*>(handle)->errorsTaken);
}

// Options of a text type take and give SQL_MAX_OPTION_STRING_LENGTH characters.
constexpr SQLINTEGER kOptionSize = SQL_MAX_OPTION_STRING_LENGTH;

}  // namespace

extern "C" {

SQLRETURN SQL_API SQLAllocEnv(SQLHENV* out) { return SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, out); }
SQLRETURN SQL_API SQLAllocConnect(SQLHENV env, SQLHDBC* out) {
  return SQLAllocHandle(SQL_HANDLE_DBC, env, out);
}
SQLRETURN SQL_API SQLAllocStmt(SQLHDBC conn, SQLHSTMT* out) {
  return SQLAllocHandle(SQL_HANDLE_STMT, conn, out);
}
SQLRETURN SQL_API SQLFreeEnv(SQLHENV env) { return SQLFreeHandle(SQL_HANDLE_ENV, env); }
SQLRETURN SQL_API SQLFreeConnect(SQLHDBC conn) { return SQLFreeHandle(SQL_HANDLE_DBC, conn); }

SQLRETURN SQL_API SQLError(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, SQLCHAR* state, SQLINTEGER* native,
                           SQLCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  return takeError(env, conn, stmt, [&](SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number) {
    return SQLGetDiagRec(type, handle, number, state, native, text, size, length);
  });
}
SQLRETURN SQL_API SQLErrorW(SQLHENV env, SQLHDBC conn, SQLHSTMT stmt, SQLWCHAR* state, SQLINTEGER* native,
                            SQLWCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  return takeError(env, conn, stmt, [&](SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number) {
    return SQLGetDiagRecW(type, handle, number, state, native, text, size, length);
  });
}

SQLRETURN SQL_API SQLTransact(SQLHENV env, SQLHDBC conn, SQLUSMALLINT completion) {
  const bool isConnection = conn != SQL_NULL_HDBC;
  return SQLEndTran(isConnection ? SQL_HANDLE_DBC : SQL_HANDLE_ENV, isConnection ? conn : env,
                    static_cast<SQLSMALLINT>(completion));
}

SQLRETURN SQL_API SQLSetConnectOption(SQLHDBC conn, SQLUSMALLINT option, SQLULEN value) {
  return SQLSetConnectAttr(conn, option, reinterpret_cast<SQLPOINTER>(value), SQL_NTS);
}
SQLRETURN SQL_API SQLSetConnectOptionW(SQLHDBC conn, SQLUSMALLINT option, SQLULEN value) {
  return SQLSetConnectAttrW(conn, option, reinterpret_cast<SQLPOINTER>(value), SQL_NTS);
}
SQLRETURN SQL_API SQLGetConnectOption(SQLHDBC conn, SQLUSMALLINT option, SQLPOINTER out) {
  return SQLGetConnectAttr(conn, option, out, kOptionSize, nullptr);
}
SQLRETURN SQL_API SQLGetConnectOptionW(SQLHDBC conn, SQLUSMALLINT option, SQLPOINTER out) {
  return SQLGetConnectAttrW(conn, option, out, kOptionSize, nullptr);
}
SQLRETURN SQL_API SQLSetStmtOption(SQLHSTMT stmt, SQLUSMALLINT option, SQLULEN value) {
  return SQLSetStmtAttr(stmt, option, reinterpret_cast<SQLPOINTER>(value), SQL_NTS);
}
SQLRETURN SQL_API SQLGetStmtOption(SQLHSTMT stmt, SQLUSMALLINT option, SQLPOINTER out) {
  return SQLGetStmtAttr(stmt, option, out, kOptionSize, nullptr);
}

SQLRETURN SQL_API SQLColAttributes(SQLHSTMT stmt, SQLUSMALLINT column, SQLUSMALLINT field, SQLPOINTER text,
                                   SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return SQLColAttribute(stmt, column, field == SQL_COLUMN_COUNT ? SQL_DESC_COUNT : field, text, size, length,
                         value);
}
SQLRETURN SQL_API SQLColAttributesW(SQLHSTMT stmt, SQLUSMALLINT column, SQLUSMALLINT field, SQLPOINTER text,
                                    SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return SQLColAttributeW(stmt, column, field == SQL_COLUMN_COUNT ? SQL_DESC_COUNT : field, text, size,
                          length, value);
}

SQLRETURN SQL_API SQLBindParam(SQLHSTMT stmt, SQLUSMALLINT number, SQLSMALLINT cType, SQLSMALLINT sqlType,
                               SQLULEN size, SQLSMALLINT scale, SQLPOINTER data, SQLLEN* length) {
  return SQLBindParameter(stmt, number, SQL_PARAM_INPUT, cType, sqlType, size, scale, data, 0, length);
}
SQLRETURN SQL_API SQLSetParam(SQLHSTMT stmt, SQLUSMALLINT number, SQLSMALLINT cType, SQLSMALLINT sqlType,
                              SQLULEN size, SQLSMALLINT scale, SQLPOINTER data, SQLLEN* length) {
  return SQLBindParameter(stmt, number, SQL_PARAM_INPUT, cType, sqlType, size, scale, data,
                          SQL_SETPARAM_VALUE_MAX, length);
}
SQLRETURN SQL_API SQLParamOptions(SQLHSTMT stmt, SQLULEN sets, SQLULEN* processed) {
  const SQLRETURN code = SQLSetStmtAttr(stmt, SQL_ATTR_PARAMSET_SIZE, reinterpret_cast<SQLPOINTER>(sets), 0);
  return SQL_SUCCEEDED(code) ? SQLSetStmtAttr(stmt, SQL_ATTR_PARAMS_PROCESSED_PTR, processed, 0) : code;
}
SQLRETURN SQL_API SQLSetScrollOptions(SQLHSTMT stmt, SQLUSMALLINT, SQLLEN keyset, SQLUSMALLINT rows) {
  if (keyset != SQL_SCROLL_FORWARD_ONLY) return notSupported<Statement>(stmt);
  return SQLSetStmtAttr(stmt, SQL_ROWSET_SIZE, reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(rows)), 0);
}

SQLRETURN SQL_API SQLSetPos(SQLHSTMT stmt, SQLSETPOSIROW, SQLUSMALLINT, SQLUSMALLINT) {
  return notSupported<Statement>(stmt);
}
SQLRETURN SQL_API SQLBulkOperations(SQLHSTMT stmt, SQLSMALLINT) { return notSupported<Statement>(stmt); }

}  // extern "C"
