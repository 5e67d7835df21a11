// Attributes of environments and connections.

#include "odbc/entry.h"
#include "odbc/text.h"

namespace pgwire {

namespace {

SQLULEN asNumber(SQLPOINTER value) { return reinterpret_cast<SQLULEN>(value); }

// The numbers that are only kept.
SQLULEN Connection::*keptAttribute(SQLINTEGER attribute) {
  switch (attribute) {
    case SQL_ATTR_PACKET_SIZE: return &Connection::packetSize;
    case SQL_ATTR_METADATA_ID: return &Connection::metadataId;
    case SQL_ATTR_QUIET_MODE: return &Connection::quietMode;
    case SQL_ATTR_QUERY_TIMEOUT: return &Connection::queryTimeout;
    case SQL_ATTR_MAX_ROWS: return &Connection::maxRows;
    case SQL_ATTR_MAX_LENGTH: return &Connection::maxLength;
    case SQL_ATTR_NOSCAN: return &Connection::noscan;
    default: return nullptr;
  }
}

int setAutocommit(Connection& conn, SQLULEN on) {
  if (on != SQL_AUTOCOMMIT_ON && on != SQL_AUTOCOMMIT_OFF) return fail(Issue::BadAttributeValue);
  const bool turnsOn = on == SQL_AUTOCOMMIT_ON && !conn.autocommit;
  if (turnsOn && conn.connected && conn.endTransaction(true)) return 1;
  conn.autocommit = on == SQL_AUTOCOMMIT_ON;
  return 0;
}

int setAccessMode(Connection& conn, SQLULEN mode) {
  if (mode != SQL_MODE_READ_ONLY && mode != SQL_MODE_READ_WRITE) return fail(Issue::BadAttributeValue);
  if (conn.connected && mode != conn.accessMode) {
    const char* sql = mode == SQL_MODE_READ_ONLY ? "SET default_transaction_read_only = on"
                                                 : "SET default_transaction_read_only = off";
    if (conn.session.run(sql)) return 1;
  }
  conn.accessMode = mode;
  return 0;
}

int setAttribute(Connection& conn, SQLINTEGER attribute, SQLPOINTER value) {
  const SQLULEN number = asNumber(value);
  if (SQLULEN Connection::*const kept = keptAttribute(attribute)) {
    conn.*kept = number;
    return 0;
  }
  switch (attribute) {
    case SQL_ATTR_AUTOCOMMIT: return setAutocommit(conn, number);
    case SQL_ATTR_ACCESS_MODE: return setAccessMode(conn, number);
    case SQL_ATTR_TXN_ISOLATION: return conn.setIsolation(number);
    case SQL_ATTR_LOGIN_TIMEOUT:
      conn.loginTimeout = number;
      conn.hasLoginTimeout = true;
      return 0;
    case SQL_ATTR_CONNECTION_TIMEOUT:
      conn.connectionTimeout = number;
      conn.session.setConnectionWait(static_cast<uint32_t>(number));
      if (conn.connected) conn.session.startQueryTimer(0);
      return 0;
    case SQL_ATTR_ASYNC_ENABLE: return number == SQL_ASYNC_ENABLE_OFF ? 0 : fail(Issue::NotSupported);
    case SQL_ATTR_CURRENT_CATALOG:
    case SQL_ATTR_TRANSLATE_LIB:
    case SQL_ATTR_TRANSLATE_OPTION: return fail(Issue::NotSupported);
    // Statement attributes of ODBC 2 whose only value here is the default.
    case SQL_ATTR_CURSOR_TYPE:
    case SQL_ATTR_CONCURRENCY:
    case SQL_ATTR_ROW_BIND_TYPE:
    case SQL_ATTR_RETRIEVE_DATA: return 0;
    default: return fail(Issue::BadAttribute);
  }
}

template <class Char>
SQLRETURN getAttribute(Connection& conn, SQLINTEGER attribute, SQLPOINTER out, SQLINTEGER size,
                       SQLINTEGER* length) {
  const auto give = [&](SQLULEN value) { return codeOf(giveNumber(static_cast<SQLUINTEGER>(value), out)); };
  if (SQLULEN Connection::*const kept = keptAttribute(attribute)) return give(conn.*kept);
  switch (attribute) {
    case SQL_ATTR_AUTOCOMMIT: return give(conn.autocommit ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF);
    case SQL_ATTR_ACCESS_MODE: return give(conn.accessMode);
    case SQL_ATTR_TXN_ISOLATION: return give(conn.isolation);
    case SQL_ATTR_LOGIN_TIMEOUT:
      return give(conn.hasLoginTimeout ? conn.loginTimeout : conn.settings.loginWait);
    case SQL_ATTR_CONNECTION_TIMEOUT: return give(conn.connectionTimeout);
    case SQL_ATTR_CONNECTION_DEAD: return give(conn.session.isAlive() ? SQL_CD_FALSE : SQL_CD_TRUE);
    case SQL_ATTR_ASYNC_ENABLE: return give(SQL_ASYNC_ENABLE_OFF);
    case SQL_ATTR_AUTO_IPD: return give(SQL_FALSE);
    case SQL_ATTR_CURSOR_TYPE: return give(SQL_CURSOR_FORWARD_ONLY);
    case SQL_ATTR_CONCURRENCY: return give(SQL_CONCUR_READ_ONLY);
    case SQL_ATTR_CURRENT_CATALOG:
      return codeOf(giveTextBytes<Char>(conn.codePage, conn.settings.database.view(), out, size, length));
    default: return codeOf(fail(Issue::BadAttribute));
  }
}

}  // namespace

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLSetEnvAttr(SQLHENV handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  return enter<Environment>(handle, [&](Environment& env) {
    switch (attribute) {
      case SQL_ATTR_ODBC_VERSION:
        env.odbcVersion = static_cast<SQLINTEGER>(asNumber(value));
        return codeOf(0);
      case SQL_ATTR_OUTPUT_NTS:
        return asNumber(value) == SQL_TRUE ? codeOf(0) : codeOf(fail(Issue::NotSupported));
      case SQL_ATTR_CONNECTION_POOLING:
      case SQL_ATTR_CP_MATCH: return codeOf(0);
      default: return codeOf(fail(Issue::BadAttribute));
    }
  });
}

SQLRETURN SQL_API SQLGetEnvAttr(SQLHENV handle, SQLINTEGER attribute, SQLPOINTER out, SQLINTEGER,
                                SQLINTEGER*) {
  return enter<Environment>(handle, [&](Environment& env) {
    switch (attribute) {
      case SQL_ATTR_ODBC_VERSION: return codeOf(giveNumber(env.odbcVersion, out));
      case SQL_ATTR_OUTPUT_NTS: return codeOf(giveNumber(static_cast<SQLINTEGER>(SQL_TRUE), out));
      default: return codeOf(fail(Issue::BadAttribute));
    }
  });
}

SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  return enter<Connection>(handle,
                           [&](Connection& conn) { return codeOf(setAttribute(conn, attribute, value)); });
}
SQLRETURN SQL_API SQLSetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                     SQLINTEGER length) {
  return SQLSetConnectAttr(handle, attribute, value, length);
}

SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER out, SQLINTEGER size,
                                    SQLINTEGER* length) {
  return enter<Connection>(
      handle, [&](Connection& conn) { return getAttribute<SQLCHAR>(conn, attribute, out, size, length); });
}
SQLRETURN SQL_API SQLGetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER out, SQLINTEGER size,
                                     SQLINTEGER* length) {
  return enter<Connection>(
      handle, [&](Connection& conn) { return getAttribute<SQLWCHAR>(conn, attribute, out, size, length); });
}

}  // extern "C"
