// Type codes of either ODBC version, and the parameter binding that carries them.

#include "zuodbc/driver/bridge.h"

namespace dm {
namespace {

constexpr SQLSMALLINT kToVersion3 = SQL_TYPE_DATE - SQL_DATE;
static_assert(SQL_TYPE_TIME - SQL_TIME == kToVersion3 && SQL_TYPE_TIMESTAMP - SQL_TIMESTAMP == kToVersion3);

SQLSMALLINT toVersion3(SQLSMALLINT type) {
  return type >= SQL_DATE && type <= SQL_TIMESTAMP ? SQLSMALLINT(type + kToVersion3) : type;
}

SQLSMALLINT toVersion2(SQLSMALLINT type) {
  return type >= SQL_TYPE_DATE && type <= SQL_TYPE_TIMESTAMP ? SQLSMALLINT(type - kToVersion3) : type;
}

}  // namespace

bool versionsDiffer(const DMConn& conn) noexcept {
  return isVersion3Driver(conn) != isVersion3Application(conn);
}

SQLSMALLINT typeForDriver(const DMConn& conn, SQLSMALLINT type) noexcept {
  if (!versionsDiffer(conn)) return type;
  return isVersion3Driver(conn) ? toVersion3(type) : toVersion2(type);
}

SQLSMALLINT typeForApplication(const DMConn& conn, SQLSMALLINT type) noexcept {
  if (!versionsDiffer(conn)) return type;
  return isVersion3Application(conn) ? toVersion3(type) : toVersion2(type);
}

SQLSMALLINT typeForTypeInfo(const DMConn& conn, SQLSMALLINT type) noexcept {
  const bool takesEither = isVersion3Driver(conn) && conn.state->driverKnowsVersion;
  return takesEither ? type : typeForDriver(conn, type);
}

SQLRETURN driverBindParameter(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT number,
                              SQLSMALLINT ioType, SQLSMALLINT cType, SQLSMALLINT sqlType, SQLULEN size,
                              SQLSMALLINT scale, SQLPOINTER data, SQLLEN length, SQLLEN* lengthPtr) {
  cType = typeForDriver(*stmt.conn, cType);
  sqlType = typeForDriver(*stmt.conn, sqlType);
  // SQLSetParam, all that a version 1 driver has, binds for input and output.
  const bool canSetParam =
      driver.SQLSetParam && (ioType == 0 || ioType == SQL_PARAM_INPUT || ioType == SQL_PARAM_INPUT_OUTPUT);
  if (!driver.SQLBindParameter && canSetParam) {
    return ask(driver.SQLSetParam, stmt.driverHandle, number, cType, sqlType, size, scale, data, lengthPtr);
  }
  const SQLSMALLINT direction = ioType ? ioType : SQLSMALLINT(SQL_PARAM_INPUT);
  return ask(driver.SQLBindParameter, stmt.driverHandle, number, direction, cType, sqlType, size, scale, data,
             length, lengthPtr);
}

}  // namespace dm
