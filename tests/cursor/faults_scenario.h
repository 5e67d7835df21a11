// The life of a scrolling statement that the fault tests run again and again: it scrolls, reads a value
// again, updates at the cursor, and closes.

#ifndef ZULIB_TESTS_CURSOR_FAULTS_SCENARIO_H
#define ZULIB_TESTS_CURSOR_FAULTS_SCENARIO_H

#include <string>

#include "tests/support/fault_allocator.h"
#include "tests/support/odbc_fixture.h"
#include "tests/support/rowset.h"
#include "tests/support/scripted_driver.h"

// A variant of the driver, and whether the application binds through a descriptor of its own.
struct FaultCase {
  ScriptedVariant variant;
  bool ownDescriptor;
};

inline constexpr FaultCase FAULT_CASES[] = {{ScriptedVariant::Odbc1, false},
                                            {ScriptedVariant::Odbc2, false},
                                            {ScriptedVariant::Odbc3, false},
                                            {ScriptedVariant::Odbc3, true},
                                            {ScriptedVariant::NoDescriptors, false}};

// Each operation returns true if all its steps worked; if not, `told` holds the diagnostics of the one that
// failed. All handles are this object's.
class ScrollingLife {
 public:
  ScrollingLife(SQLHDBC conn, bool ownDescriptor) : conn(conn), ownDescriptor(ownDescriptor) {}

  bool open() {
    return on(SQL_HANDLE_DBC, conn, SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt)) &&
           on(SQL_HANDLE_DBC, conn, SQLAllocHandle(SQL_HANDLE_STMT, conn, &writer)) &&
           (!ownDescriptor || (on(SQL_HANDLE_DBC, conn, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc)) &&
                               read(SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, desc, SQL_IS_POINTER)))) &&
           read(set(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC)) &&
           read(set(SQL_ATTR_CONCURRENCY, SQL_CONCUR_VALUES)) && read(set(SQL_ATTR_ROW_ARRAY_SIZE, 3)) &&
           read(SQLSetCursorName(stmt, text("C1"), SQL_NTS)) &&
           read(SQLBindCol(stmt, 1, SQL_C_SLONG, ids, 0, idLengths)) &&
           read(SQLBindCol(stmt, 2, SQL_C_CHAR, names, sizeof names[0], nameLengths)) &&
           write(SQLBindParameter(writer, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &newId, 0,
                                  nullptr));
  }

  bool scroll() {
    char piece[8] = "";
    SQLLEN left = 0;
    return read(SQLExecDirect(stmt, text("select id, name from t"), SQL_NTS)) &&
           read(SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)) && read(SQLFetchScroll(stmt, SQL_FETCH_LAST, 0)) &&
           read(SQLFetchScroll(stmt, SQL_FETCH_ABSOLUTE, 2)) &&
           read(SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE)) &&
           read(SQLGetData(stmt, 2, SQL_C_CHAR, piece, sizeof piece, &left)) &&
           write(SQLPrepare(writer, text("update t set id = ? where current of C1"), SQL_NTS)) &&
           write(SQLExecute(writer)) && read(SQLFreeStmt(stmt, SQL_CLOSE));
  }

  // May be called again when a step of it has failed.
  bool close() {
    return drop(SQL_HANDLE_STMT, writer) && drop(SQL_HANDLE_STMT, stmt) && drop(SQL_HANDLE_DESC, desc);
  }

  // What an application does before it uses a statement again.
  void reset() {
    SQLFreeStmt(stmt, SQL_CLOSE);
    SQLFreeStmt(writer, SQL_CLOSE);
    if (desc) SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, desc, SQL_IS_POINTER);
  }

  std::string told;
  SQLRETURN code = SQL_SUCCESS;  // of the step that failed
  int step = 0;                  // how many were made

 private:
  static SQLCHAR* text(const char* text) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text)); }

  SQLRETURN set(SQLINTEGER attribute, SQLULEN value) {
    return SQLSetStmtAttr(stmt, attribute, reinterpret_cast<SQLPOINTER>(value), SQL_IS_UINTEGER);
  }

  bool read(SQLRETURN rc) { return on(SQL_HANDLE_STMT, stmt, rc); }
  bool write(SQLRETURN rc) { return on(SQL_HANDLE_STMT, writer, rc); }

  bool on(SQLSMALLINT type, SQLHANDLE handle, SQLRETURN rc) {
    ++step;
    if (SQL_SUCCEEDED(rc)) return true;
    const FaultPause pause;
    told = "step " + std::to_string(step) + ": " + diagnostics(type, handle);
    code = rc;
    return false;
  }

  bool drop(SQLSMALLINT type, SQLHANDLE& handle) {
    if (!handle) return true;
    if (!on(type, handle, SQLFreeHandle(type, handle))) return false;
    handle = nullptr;
    return true;
  }

  SQLHDBC conn;
  bool ownDescriptor;
  SQLHSTMT stmt = nullptr;
  SQLHSTMT writer = nullptr;
  SQLHDESC desc = nullptr;
  SQLINTEGER ids[3] = {};
  SQLLEN idLengths[3] = {};
  char names[3][12] = {};
  SQLLEN nameLengths[3] = {};
  SQLINTEGER newId = 3;
};

// A connection to a scripted driver whose queries give nine rows.
class ScriptedFaults : public testing::TestWithParam<FaultCase> {
 protected:
  ScriptedFaults() : driver(GetParam().variant, script), connection(SQL_CUR_USE_ODBC) {
    script.answers["select"] = scriptedRows(9);
    script.answers["select id, name from t WHERE"] = scriptedRows(1);
  }

  void SetUp() override {
    ASSERT_SQL(SQL_SUCCESS, connection, connection.connect(driver.connectionString()));
  }

  void expectUsable() {
    OdbcStatement stmt(connection);
    stmt.makeScrollable();
    Rowset rows(stmt, 2);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from t"));
    ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_ABSOLUTE, 8));
    EXPECT_EQ(rowTexts(8, 9), rows.text());
  }

  DriverScript script;
  ScriptedDriver driver;
  OdbcConnection connection;
};

#endif
