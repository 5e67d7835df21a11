// A connection to the scripted driver, for tests of the cursor library and of the driver manager.

#ifndef ZULIB_TESTS_SUPPORT_SCRIPTED_FIXTURE_H
#define ZULIB_TESTS_SUPPORT_SCRIPTED_FIXTURE_H

#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"
#include "zuodbc/dmhandle.h"

struct ScriptedSetup {
  ScriptedVariant variant = ScriptedVariant::Odbc3;
  SQLULEN cursors = SQL_CUR_USE_ODBC;
  SQLULEN version = SQL_OV_ODBC3;            // of the application
  SQLUSMALLINT behaviour = SQL_CB_PRESERVE;  // of the driver's cursors at the end of a transaction
};

// Connected. Queries that begin with "select" have five rows.
struct ScriptedConnection {
  explicit ScriptedConnection(const ScriptedSetup& setup = {})
      : driver(setup.variant, script), conn(setup.cursors, setup.version) {
    for (const SQLUSMALLINT type : {SQL_CURSOR_COMMIT_BEHAVIOR, SQL_CURSOR_ROLLBACK_BEHAVIOR})
      script.info[type] = setup.behaviour;
    script.answers["select"] = scriptedRows(5);
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }

  void reconnect() {
    conn.disconnect();
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }
  void takeOneStatementAtATime() {
    script.oneActiveStatement = true;
    script.info[SQL_ACTIVE_STATEMENTS] = SQLUSMALLINT{1};
    reconnect();
  }

  DriverScript script;
  ScriptedDriver driver;
  OdbcConnection conn;
};

class ScriptedTest : public testing::Test, protected ScriptedConnection {
 protected:
  using ScriptedConnection::ScriptedConnection;

  // Not the handle's own operator: the objects of the driver manager are the handles.
  static DMStmt& object(SQLHSTMT stmt) { return *static_cast<DMStmt*>(stmt); }
  static SQLPOINTER pointer(SQLULEN value) { return reinterpret_cast<SQLPOINTER>(value); }

  static SQLULEN attribute(SQLHSTMT stmt, SQLINTEGER number) {
    SQLULEN value = 12345;
    EXPECT_EQ(SQL_SUCCESS, SQLGetStmtAttr(stmt, number, &value, 0, nullptr)) << number;
    return value;
  }
  static SQLHDESC descriptor(SQLHSTMT stmt, SQLINTEGER number) {
    return reinterpret_cast<SQLHDESC>(attribute(stmt, number));
  }
  SQLHDESC newDescriptor() {
    SQLHDESC desc = SQL_NULL_HDESC;
    EXPECT_SQL(SQL_SUCCESS, conn, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc));
    return desc;
  }
};

#endif
