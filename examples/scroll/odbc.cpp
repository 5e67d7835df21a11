#include "odbc.h"

std::string diagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
  std::string all;
  SQLCHAR state[6];
  SQLCHAR text[1024];
  SQLINTEGER native;
  for (SQLSMALLINT i = 1;
       SQL_SUCCEEDED(SQLGetDiagRec(handleType, handle, i, state, &native, text, sizeof text, nullptr)); ++i) {
    if (!all.empty()) all += '\n';
    all += std::string(reinterpret_cast<char*>(state)) + ": " + reinterpret_cast<char*>(text);
  }
  return all;
}

Connection::Connection(const std::string& connectionString) {
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
  SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, env, &conn);
  SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, reinterpret_cast<SQLPOINTER>(SQL_CUR_USE_ODBC), 0);
  const SQLRETURN rc = SQLDriverConnect(conn, nullptr, sqlText(connectionString), SQL_NTS, nullptr, 0,
                                        nullptr, SQL_DRIVER_NOPROMPT);
  if (SQL_SUCCEEDED(rc)) return;
  const std::string why = diagnostics(SQL_HANDLE_DBC, conn);
  SQLFreeHandle(SQL_HANDLE_DBC, conn);
  SQLFreeHandle(SQL_HANDLE_ENV, env);
  throw OdbcError("connecting failed\n" + why);
}

Connection::~Connection() {
  SQLEndTran(SQL_HANDLE_DBC, conn, SQL_ROLLBACK);
  SQLDisconnect(conn);
  SQLFreeHandle(SQL_HANDLE_DBC, conn);
  SQLFreeHandle(SQL_HANDLE_ENV, env);
}

void Connection::check(SQLRETURN rc, const char* what) const {
  if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) {
    throw OdbcError(std::string(what) + " failed\n" + diagnostics(SQL_HANDLE_DBC, conn));
  }
}

Statement::Statement(const Connection& connection) {
  connection.check(SQLAllocHandle(SQL_HANDLE_STMT, connection.handle(), &stmt), "SQLAllocHandle");
}

Statement::~Statement() { SQLFreeHandle(SQL_HANDLE_STMT, stmt); }

SQLRETURN Statement::check(SQLRETURN rc, const char* what) const {
  if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) {
    throw OdbcError(std::string(what) + " failed\n" + diagnostics(SQL_HANDLE_STMT, stmt));
  }
  return rc;
}

void Statement::execute(const std::string& sql) {
  check(SQLExecDirect(stmt, sqlText(sql), SQL_NTS), sql.c_str());
}

void Statement::setAttribute(SQLINTEGER attribute, SQLULEN value, const char* what) {
  check(SQLSetStmtAttr(stmt, attribute, reinterpret_cast<SQLPOINTER>(value), 0), what);
}
