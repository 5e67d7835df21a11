// The order of calls as a small language: each byte calls a function on a statement over the scripted driver,
// against a table of which function each state admits and a model of how the states follow.

#include <functional>

#include "fuzz/input.h"
#include "fuzz/scripted.h"

namespace callorderfuzz {

// The states: allocated, prepared, executed without a result, with an open cursor, fetched from, fetched from
// by SQLExtendedFetch; waiting for SQLParamData, for SQLPutData, for either; still executing.
constexpr std::string_view kStates = "APNOFXDGTS";

struct Function {
  std::string name;
  // For each state `.` if the call goes on, else why not: q HY010, c 24000, h HY090, f 42000 of the driver.
  // p, P and t depend on a prepared statement: HY010 without, 24000 with and HY010 without, HY011 with.
  std::string_view refusals;
  char next;  // the state afterwards; = the same, C closed, R by the text that was executed
  std::function<SQLRETURN()> call;
};

class Walk : public ScriptedConnection {
 public:
  Walk(Input& input, SQLUSMALLINT behaviour)
      : ScriptedConnection({.cursors = SQL_CUR_USE_DRIVER, .behaviour = behaviour}),
        input(input),
        behaviour(behaviour) {
    script.answers["select"] = script.answers["SQLTables"] = scriptedRows(100);
  }
  void run();

 private:
  bool oneIn(unsigned n) { return input(n) == n - 1; }
  std::string sqlstate(char verdict) const {
    switch (verdict) {
      case 'q': return "HY010";
      case 'c': return "24000";
      case 'h': return "HY090";
      case 'f': return "42000";
      case 'p': return prepared.empty() ? "HY010" : "";
      case 'P': return prepared.empty() ? "HY010" : "24000";
      case 't': return prepared.empty() ? "" : "HY011";
      default: return "";
    }
  }
  void fail(const char* function, SQLRETURN rc, const char* state, int times = 1) {
    script.faults = {{function, script.count(function) + 1, rc, state, times}};
  }
  // The text of a new execution, of which some wait for data.
  SQLCHAR* pickText() {
    length = oneIn(4) ? SQL_LEN_DATA_AT_EXEC(1) : SQL_NTS;
    sent = oneIn(2) ? "select 1" : "update t";
    return reinterpret_cast<SQLCHAR*>(sent.data());
  }

  std::vector<Function> functions();
  void moveOn(const Function& function, SQLRETURN rc);

  Input& input;
  SQLUSMALLINT behaviour;
  SQLHSTMT stmt = nullptr;
  SQLLEN length = SQL_NTS, left = 0;
  SQLULEN count = 0;
  SQLUSMALLINT status = 0;
  SQLSMALLINT number = 0;
  SQLPOINTER token = nullptr;
  char value[8] = "abc";  // of the parameter
  char buffer[32] = "";

  char state = 'A';
  std::string prepared, sent, executing;  // texts
  std::string given;                      // by SQLPutData
  bool cancelled = false;
};

std::vector<Function> Walk::functions() {
  const auto start = [&](auto call) { return [this, call] { return call(pickText()); }; };
  return {
      {"prepare", "...cccqqqq", 'P', start([&](auto* sql) { return SQLPrepare(stmt, sql, SQL_NTS); })},
      {"prepare with a wrong length", "hhhhhhhhhh", '=',
       start([&](auto* sql) { return SQLPrepare(stmt, sql, -7); })},
      {"prepare what the driver refuses", "fffcccqqqq", 'A', start([&](auto* sql) {
         fail("SQLPrepare", SQL_ERROR, "42000");
         return SQLPrepare(stmt, sql, SQL_NTS);
       })},
      {"execute directly", "...cccqqq.", 'R', start([&](auto* sql) {
         if (state != 'S' && oneIn(6)) fail("SQLExecDirect", SQL_STILL_EXECUTING, "", 2);
         return SQLExecDirect(stmt, sql, SQL_NTS);
       })},
      {"execute", "q.pPPPqqqq", 'R', start([&](auto*) { return SQLExecute(stmt); })},
      {"tables", "...cccqqqq", 'R',
       [&] {
         length = SQL_NTS;
         sent = "SQLTables";
         return SQLTables(stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0);
       }},
      {"fetch", "qqc..qqqqq", 'F', [&] { return SQLFetch(stmt); }},
      {"scroll", "qqc..qqqqq", 'F', [&] { return SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0); }},
      {"fetch extended", "qqc.q.qqqq", 'X',
       [&] { return SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, &count, &status); }},
      {"get data", "qqcc..qqqq", '=',
       [&] { return SQLGetData(stmt, 1, SQL_C_CHAR, buffer, sizeof buffer, &left); }},
      {"columns", "q.....qqqq", '=', [&] { return SQLNumResultCols(stmt, &number); }},
      {"row count", "qq....qqqq", '=', [&] { return SQLRowCount(stmt, &left); }},
      {"param data", "qqqqqq.q.q", 'G', [&] { return SQLParamData(stmt, &token); }},
      {"put data", "qqqqqqq..q", 'T', [&] { return SQLPutData(stmt, value, 3); }},
      {"close", "ccc...qqqq", 'C', [&] { return SQLCloseCursor(stmt); }},
      {"more results", "......qqqq", 'C', [&] { return SQLMoreResults(stmt); }},
      {"free by SQL_CLOSE", "......qqqq", 'C', [&] { return SQLFreeStmt(stmt, SQL_CLOSE); }},
      {"name", "..ccccqqqq", '=', [&] { return SQLSetCursorName(stmt, sqlText("c"), SQL_NTS); }},
      {"cursor type", ".ttcccqqqq", '=',
       [&] { return SQLSetStmtAttr(stmt, SQL_ATTR_CURSOR_TYPE, SQLPOINTER{SQL_CURSOR_FORWARD_ONLY}, 0); }},
      {"cancel", "..........", '=', [&] { return SQLCancel(stmt); }},
      {"commit", "......qqqq", '=', [&] { return conn.endTransaction(SQL_COMMIT); }},
  };
}

void Walk::moveOn(const Function& function, SQLRETURN rc) {
  const char closed = prepared.empty() ? 'A' : 'P';
  if (rc == SQL_STILL_EXECUTING) {
    state = 'S';
  } else if (function.name == "cancel") {
    cancelled = state == 'S';
    if (state == 'D' || state == 'G' || state == 'T') state = closed;
  } else if (function.name == "commit") {
    if (behaviour == SQL_CB_DELETE) prepared.clear();
    if (behaviour != SQL_CB_PRESERVE) state = prepared.empty() ? 'A' : 'P';
  } else if (function.next == 'R') {
    executing = function.name == "execute" ? prepared : sent;
    if (function.name != "execute") prepared.clear();
    state = rc == SQL_NEED_DATA ? 'D' : executing == "update t" ? 'N' : 'O';
    if (rc != SQL_NEED_DATA) {
      EXPECT_EQ(executing + " | " + value, lastExecution(script));
    }
  } else if (function.name == "param data" && rc == SQL_SUCCESS) {
    EXPECT_EQ(executing + " | " + given, lastExecution(script));
    state = executing == "update t" ? 'N' : 'O';
  } else if (function.next != '=') {
    if (state == 'A' || function.next == 'A') prepared.clear();
    if (function.next == 'P') prepared = sent;
    if (function.next == 'T') given += value;
    if (function.next == 'G') given.clear();
    state = function.next == 'C' ? closed : function.next;
  }
}

void Walk::run() {
  const OdbcStatement owner(conn);
  stmt = owner;
  SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 9, 0, value, 0, &length);
  const std::vector<Function> all = functions();
  std::string history;
  for (int step = 0; step < 200 && !input.atEnd(); ++step) {
    const Function& function = all[input(all.size())];
    history += "\n" + function.name + " in " + state;
    std::string expected = sqlstate(function.refusals[kStates.find(state)]);
    if (state == 'S' && expected.empty() && function.next == 'R' && std::exchange(cancelled, false))
      expected = "HY008";
    const SQLRETURN rc = function.call();
    ASSERT_EQ(expected, function.name == "commit" ? conn.states() : owner.states()) << history;
    ASSERT_EQ(!expected.empty(), rc == SQL_ERROR) << history;
    if (expected == "HY008" || expected == "42000") {
      prepared.clear();
      state = 'A';
    }
    if (expected.empty()) moveOn(function, rc);
    if (state != 'S') script.faults.clear();
  }
  SQLCancel(stmt);
  if (state == 'S') SQLExecDirect(stmt, sqlText("update t"), SQL_NTS);
  script.faults.clear();
}

}  // namespace callorderfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const SQLUSMALLINT behaviours[] = {SQL_CB_DELETE, SQL_CB_CLOSE, SQL_CB_PRESERVE};
  const SQLUSMALLINT behaviour = behaviours[input(3)];
  callorderfuzz::Walk(input, behaviour).run();
  endProgramOnFailure();
  return 0;
}
