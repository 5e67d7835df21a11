#include "fuzz/odbccalls/sqltext.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/odbccalls/wilddriver.h"

namespace odbccalls {
namespace {

void demand(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "sqltext: %s\n", what);
  std::abort();
}

// Decides that each call succeeds, with names and numbers that a cursor can use: searchable columns, a few
// rows.
ByteSource steady() {
  static const std::vector<uint8_t> bytes(1 << 16, 3);
  return {bytes.data(), bytes.size()};
}

// A connection over the cursor library, with a scrolling cursor on its first row.
class Connection {
 public:
  Connection() {
    ByteSource source({}, 0);
    loadDriver(wildFunctions(source));
    ByteSource decisions = steady();
    setDriverSource(&decisions);
    char where[] = "Driver=wild";
    char name[] = "C1";
    char query[] = "select ddd from t";
    const auto text = [](char* bytes) { return reinterpret_cast<SQLCHAR*>(bytes); };
    const auto number = [](SQLULEN n) { return reinterpret_cast<SQLPOINTER>(n); };
    SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, number(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &conn);
    SQLSetConnectAttr(conn, SQL_ATTR_ODBC_CURSORS, number(SQL_CUR_USE_ODBC), 0);
    demand(SQL_SUCCEEDED(SQLDriverConnect(conn, nullptr, text(where), SQL_NTS, nullptr, 0, nullptr, 0)),
           "no connection");
    SQLAllocHandle(SQL_HANDLE_STMT, conn, &cursor);
    SQLSetStmtAttr(cursor, SQL_ATTR_CURSOR_TYPE, number(SQL_CURSOR_STATIC), 0);
    SQLSetStmtAttr(cursor, SQL_ATTR_CONCURRENCY, number(SQL_CONCUR_VALUES), 0);
    SQLSetCursorName(cursor, text(name), SQL_NTS);
    SQLBindCol(cursor, 1, SQL_C_CHAR, value, sizeof value, &length);
    demand(SQL_SUCCEEDED(SQLExecDirect(cursor, text(query), SQL_NTS)), "no query");
    demand(SQL_SUCCEEDED(SQLFetchScroll(cursor, SQL_FETCH_NEXT, 0)), "no row");
    setDriverSource(nullptr);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    SQLFreeHandle(SQL_HANDLE_STMT, cursor);
    SQLDisconnect(conn);
    SQLFreeHandle(SQL_HANDLE_DBC, conn);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    clearDriver();
  }
  operator SQLHDBC() const { return conn; }

 private:
  SQLHENV env = nullptr;
  SQLHDBC conn = nullptr;
  SQLHSTMT cursor = nullptr;
  char value[16];
  SQLLEN length;
};

std::string stateOf(SQLSMALLINT type, SQLHANDLE handle, SQLRETURN rc) {
  SQLCHAR state[6] = "";
  if (rc != SQL_SUCCESS) SQLGetDiagRec(type, handle, 1, state, nullptr, nullptr, 0, nullptr);
  return std::to_string(rc) + " " + reinterpret_cast<char*>(state);
}

// What becomes of a text: the outcome of each call, and what reached the driver.
std::vector<std::string> outcomes(SQLHDBC conn, SQLCHAR* sql, SQLINTEGER length) {
  ByteSource decisions = steady();
  setDriverSource(&decisions);
  SQLHSTMT stmt = nullptr;
  demand(SQLAllocHandle(SQL_HANDLE_STMT, conn, &stmt) == SQL_SUCCESS, "no statement");
  std::vector<std::string> all;
  const auto note = [&](SQLRETURN rc) {
    all.push_back(stateOf(SQL_HANDLE_STMT, stmt, rc));
    all.push_back(lastText());
  };
  note(SQLPrepare(stmt, sql, length));
  SQLSMALLINT count = 0;
  note(SQLNumParams(stmt, &count));
  note(SQLExecute(stmt));
  SQLCancel(stmt);
  SQLFreeStmt(stmt, SQL_CLOSE);
  note(SQLExecDirect(stmt, sql, length));
  SQLCancel(stmt);
  demand(SQL_SUCCEEDED(SQLFreeHandle(SQL_HANDLE_STMT, stmt)), "a statement cannot be freed");

  const std::unique_ptr<SQLCHAR[]> out(new SQLCHAR[20]);
  SQLINTEGER outLength = 0;
  all.push_back(stateOf(SQL_HANDLE_DBC, conn, SQLNativeSql(conn, sql, length, out.get(), 20, &outLength)));
  all.push_back(lastText());
  setDriverSource(nullptr);
  return all;
}

// The analyser may add blanks at the end.
std::string trimmed(std::string text) {
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

// Positioned statements are written anew, a select loses its FOR UPDATE, and to the analyser a text ends with
// its first zero.
bool mayChange(const std::string& text) {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower.find("current") != std::string::npos || lower.find("for") != std::string::npos ||
         lower.find('\0') != std::string::npos;
}

}  // namespace

void runSqlText(const std::string& text) {
  static const Connection conn;
  const std::unique_ptr<SQLCHAR[]> exact(new SQLCHAR[text.size()]);
  std::copy(text.begin(), text.end(), exact.get());
  const std::vector<std::string> counted = outcomes(conn, exact.get(), static_cast<SQLINTEGER>(text.size()));
  if (!text.empty() && !mayChange(text)) {
    demand(counted[0] == "0 " && trimmed(counted[1]) == trimmed(text),
           "a text is changed on its way to SQLPrepare");
    demand(counted[6] == "0 " && trimmed(counted[7]) == trimmed(text),
           "a text is changed on its way to SQLExecDirect");
    demand(trimmed(counted[9]) == trimmed(text), "a text is changed on its way to SQLNativeSql");
  }
  if (text.empty() || text.find('\0') != std::string::npos) return;
  std::string copy = text;
  demand(outcomes(conn, reinterpret_cast<SQLCHAR*>(copy.data()), SQL_NTS) == counted,
         "a text with a length and one with a zero come to different ends");
}

}  // namespace odbccalls
