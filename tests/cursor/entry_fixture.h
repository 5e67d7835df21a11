// A connection through the cursor library to the scripted driver, for the tests of the entry points.

#ifndef ZULIB_TESTS_CURSOR_ENTRY_FIXTURE_H
#define ZULIB_TESTS_CURSOR_ENTRY_FIXTURE_H

#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"
#include "zuodbc/dmhandle.h"

class EntryTest : public testing::TestWithParam<ScriptedVariant> {
 protected:
  // `behaviour`: of the driver's cursors at the end of a transaction.
  explicit EntryTest(ScriptedVariant variant = ScriptedVariant::Odbc3,
                     SQLUSMALLINT behaviour = SQL_CB_PRESERVE)
      : driver(variant, script) {
    script.info[SQL_CURSOR_COMMIT_BEHAVIOR] = behaviour;
    script.answers["select"] = scriptedRows(5);
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }

  // Not the handle's own operator: the objects of the driver manager are the handles.
  static DMStmt& object(SQLHSTMT stmt) { return *static_cast<DMStmt*>(stmt); }
  static SQLPOINTER pointer(SQLULEN value) { return reinterpret_cast<SQLPOINTER>(value); }

  static SQLULEN attribute(SQLHSTMT stmt, SQLINTEGER number) {
    SQLULEN value = 12345;
    EXPECT_EQ(SQL_SUCCESS, SQLGetStmtAttr(stmt, number, &value, 0, nullptr)) << number;
    return value;
  }
  static SQLHDESC descriptor(SQLHSTMT stmt, SQLINTEGER number) {
    SQLHDESC desc = SQL_NULL_HDESC;
    EXPECT_EQ(SQL_SUCCESS, SQLGetStmtAttr(stmt, number, &desc, 0, nullptr)) << number;
    return desc;
  }

  DriverScript script;
  ScriptedDriver driver;
  OdbcConnection conn;
};

#endif
