// Diagnostics: what an application reads, in which words, and how driver records settle.

#include "tests/support/scripted_fixture.h"
#include "zuodbc/dmservices.h"

namespace {

class Diagnostics : public ScriptedTest {
 protected:
  Diagnostics() : ScriptedTest({.cursors = SQL_CUR_USE_DRIVER}) {}
};

std::string field(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT which) {
  char text[128] = "?";
  SQLSMALLINT length = 0;
  const SQLRETURN rc = SQLGetDiagField(type, handle, 1, which, text, sizeof text, &length);
  return rc == SQL_SUCCESS ? std::string(text, static_cast<size_t>(length)) : "code " + std::to_string(rc);
}

TEST_F(Diagnostics, FieldsOfHeaderAndRecord) {
  EXPECT_EQ(SQL_ERROR, SQLEndTran(SQL_HANDLE_DBC, conn, 9));
  SQLINTEGER count = 0, native = 99;
  SQLRETURN code = 99;
  SQLLEN row = 0;
  EXPECT_EQ(SQL_SUCCESS, SQLGetDiagField(SQL_HANDLE_DBC, conn, 0, SQL_DIAG_NUMBER, &count, 0, nullptr));
  EXPECT_EQ(1, count);
  EXPECT_EQ(SQL_SUCCESS, SQLGetDiagField(SQL_HANDLE_DBC, conn, 0, SQL_DIAG_RETURNCODE, &code, 0, nullptr));
  EXPECT_EQ(SQL_ERROR, code);
  EXPECT_EQ(SQL_SUCCESS, SQLGetDiagField(SQL_HANDLE_DBC, conn, 1, SQL_DIAG_NATIVE, &native, 0, nullptr));
  EXPECT_EQ(0, native);
  EXPECT_EQ(SQL_SUCCESS, SQLGetDiagField(SQL_HANDLE_DBC, conn, 1, SQL_DIAG_ROW_NUMBER, &row, 0, nullptr));
  EXPECT_EQ(SQL_NO_ROW_NUMBER, row);
  EXPECT_EQ("HY012", field(SQL_HANDLE_DBC, conn, SQL_DIAG_SQLSTATE));
  EXPECT_EQ("ISO 9075", field(SQL_HANDLE_DBC, conn, SQL_DIAG_CLASS_ORIGIN));
  EXPECT_EQ("[zulib][ODBC Driver Manager] Invalid transaction operation code",
            field(SQL_HANDLE_DBC, conn, SQL_DIAG_MESSAGE_TEXT));

  char cut[8];
  SQLSMALLINT length = 0;
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO,
            SQLGetDiagField(SQL_HANDLE_DBC, conn, 1, SQL_DIAG_MESSAGE_TEXT, cut, sizeof cut, &length));
  EXPECT_STREQ("[zulib]", cut);
  EXPECT_EQ(63, length);
  EXPECT_EQ(SQL_ERROR, SQLGetDiagField(SQL_HANDLE_DBC, conn, 1, SQL_DIAG_MESSAGE_TEXT, cut, -1, nullptr));
  EXPECT_EQ(SQL_ERROR, SQLGetDiagField(SQL_HANDLE_DBC, conn, 1, 12345, cut, sizeof cut, nullptr));
  EXPECT_EQ(SQL_ERROR, SQLGetDiagField(SQL_HANDLE_DBC, conn, 0, SQL_DIAG_SQLSTATE, cut, sizeof cut, nullptr));
  EXPECT_EQ(SQL_ERROR, SQLGetDiagField(SQL_HANDLE_DBC, conn, 0, SQL_DIAG_ROW_COUNT, &row, 0, nullptr));
  EXPECT_EQ(SQL_NO_DATA,
            SQLGetDiagField(SQL_HANDLE_DBC, conn, 2, SQL_DIAG_SQLSTATE, cut, sizeof cut, nullptr));
  EXPECT_EQ(SQL_ERROR, SQLGetDiagRec(SQL_HANDLE_DBC, conn, 0, nullptr, nullptr, nullptr, 0, nullptr));
  EXPECT_EQ(SQL_NO_DATA, SQLGetDiagRec(SQL_HANDLE_DBC, conn, 2, nullptr, nullptr, nullptr, 0, nullptr));
}

TEST_F(Diagnostics, ErrorTakesAwayWhatItTellsAndTheNextCallTheRest) {
  SQLEndTran(SQL_HANDLE_DBC, conn, 9);
  SQLCHAR state[6], text[128];
  EXPECT_EQ(SQL_SUCCESS,
            SQLError(SQL_NULL_HENV, conn, SQL_NULL_HSTMT, state, nullptr, text, sizeof text, nullptr));
  EXPECT_STREQ("HY012", reinterpret_cast<char*>(state));
  EXPECT_EQ(SQL_NO_DATA,
            SQLError(SQL_NULL_HENV, conn, SQL_NULL_HSTMT, state, nullptr, text, sizeof text, nullptr));
  EXPECT_STREQ("00000", reinterpret_cast<char*>(state));
  SQLEndTran(SQL_HANDLE_DBC, conn, 9);
  EXPECT_EQ(SQL_SUCCESS, SQLEndTran(SQL_HANDLE_DBC, conn, SQL_COMMIT));
  EXPECT_EQ("", conn.states());
}

// The cursor library's side: records of one driver call fall at the next unless they are taken over.
TEST_F(Diagnostics, UnsettledRecordsFallUnlessTakenOver) {
  OdbcStatement statement(conn);
  auto* stmt = static_cast<DMStmt*>(SQLHSTMT(statement));
  script.answers["select"].rows[0].sqlstate = "22003";
  script.answers["select"].rows[1].sqlstate = "01004";
  script.answers["select"].rows[1].rc = SQL_SUCCESS_WITH_INFO;
  ASSERT_SQL(SQL_SUCCESS, statement, statement.execute("select"));

  static std::string seen;
  auto collect = [](unsigned short* state) {
    for (int i = 0; i < 5; ++i) seen += static_cast<char>(state[i]);
    return 1;
  };
  auto reject = [](unsigned short*) { return 0; };
  const unsigned short state22003[] = {'2', '2', '0', '0', '3', 0};
  const unsigned short state01004[] = {'0', '1', '0', '0', '4', 0};

  stmt->CursorLibLockStmt(1);
  EXPECT_EQ(SQL_ERROR, SQLFetch(stmt));
  EXPECT_EQ(1, stmt->SearchStatusCode(state22003));
  stmt->RetrieveDriverErrorsRowCol(stmt, 1, 7, 3);
  seen.clear();
  EXPECT_EQ(1, stmt->ValidateErrorQueue(reject)) << "a record that has its row is not asked about";
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, SQLFetch(stmt));
  EXPECT_EQ(1, stmt->ValidateErrorQueue(collect));
  EXPECT_EQ("01004", seen);
  EXPECT_EQ(0, stmt->ValidateErrorQueue(reject));
  EXPECT_EQ(1, stmt->SearchStatusCode(state01004));
  EXPECT_EQ(1, stmt->SearchStatusCode(state22003));
  EXPECT_EQ(SQL_SUCCESS, SQLFetch(stmt));
  EXPECT_EQ(0, stmt->SearchStatusCode(state01004)) << "nobody took it over";
  stmt->CursorLibLockStmt(0);

  EXPECT_EQ("22003", statement.states());
  SQLLEN row = 0;
  SQLINTEGER column = 0;
  EXPECT_EQ(SQL_SUCCESS, SQLGetDiagField(SQL_HANDLE_STMT, stmt, 1, SQL_DIAG_ROW_NUMBER, &row, 0, nullptr));
  EXPECT_EQ(SQL_SUCCESS,
            SQLGetDiagField(SQL_HANDLE_STMT, stmt, 1, SQL_DIAG_COLUMN_NUMBER, &column, 0, nullptr));
  EXPECT_EQ(7, row);
  EXPECT_EQ(3, column);

  auto* other = static_cast<DMConn*>(SQLHDBC(conn));
  other->VFreeErrors();
  stmt->CursorLibLockStmt(1);
  script.faults = {{"SQLFetch", script.count("SQLFetch") + 1, SQL_ERROR, "08S01"}};
  EXPECT_EQ(SQL_ERROR, SQLFetch(stmt));
  stmt->CursorLibLockStmt(0);
  other->RetrieveDriverErrorsRowCol(stmt, 1, -2, -2);
  EXPECT_EQ("08S01", conn.states()) << "moved to another handle";
  EXPECT_EQ("22003", statement.states());
}

TEST_F(Diagnostics, CatalogMessagesBearTheComponentAndThePlace) {
  const OdbcStatement stmt(conn);
  PostODBCError(kDmComponentCursorLibrary, SQLHSTMT(stmt), 464, -1);
  EXPECT_EQ("HY010: [zulib][ODBC Cursor Library] " + catalogText(464), stmt.why());
  tagODBCERROR error{sizeof error, SQLHSTMT(stmt), kDmComponentCursorLibrary, 332, -1, 4, 2};
  PostODBCComponentError(&error);
  SQLLEN row = 0;
  EXPECT_EQ(SQL_SUCCESS, SQLGetDiagField(SQL_HANDLE_STMT, stmt, 2, SQL_DIAG_ROW_NUMBER, &row, 0, nullptr));
  EXPECT_EQ(4, row);
  static_cast<DMStmt*>(SQLHSTMT(stmt))->VFreeErrors();
  PostODBCError(kDmComponentCursorLibrary, SQLHSTMT(stmt), 65000, -1);
  EXPECT_EQ("HY000: [zulib][ODBC Cursor Library] 65000", stmt.why()) << "a number without a text";
  PostODBCError(kDmComponentCursorLibrary, nullptr, 464, -1);
  PostODBCError(kDmComponentCursorLibrary, &row, 464, -1);
}

TEST(WideCompare, IgnoresTheCaseOfAsciiLettersOnly) {
  const unsigned short text[] = {'0', '1', 's', '0', '6', 0};
  EXPECT_EQ(0, UTF16asciistrcmpi(text, "01S06"));
  EXPECT_LT(UTF16asciistrcmpi(text, "01S07"), 0);
  EXPECT_GT(UTF16asciistrcmpi(text, "01S0"), 0);
  EXPECT_LT(UTF16asciistrcmpi(text, "01S066"), 0);
  const unsigned short high[] = {0x100 + 'a', 0};
  EXPECT_GT(UTF16asciistrcmpi(high, "a"), 0);
}

}  // namespace
