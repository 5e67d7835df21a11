// The options, attributes and information types that the cursor library handles by itself.

#include "tests/support/scripted_fixture.h"

namespace {

using Options = ScriptedTest;

TEST_F(Options, OfAStatement) {
  const struct {
    SQLINTEGER attribute;
    SQLULEN value;
    const char* states;  // "01..." is a warning
    SQLINTEGER read;     // what shows the effect, and as what; 0: nothing does
    SQLULEN shows;
  } cases[] = {
      {SQL_ATTR_CURSOR_SENSITIVITY, SQL_SENSITIVE, "HYC00", 0, 0},
      {SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE, "", SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC},
      {SQL_ATTR_CURSOR_SENSITIVITY, SQL_INSENSITIVE, "", SQL_ATTR_CURSOR_SENSITIVITY, SQL_INSENSITIVE},
      {SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE, "", SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE},
      {SQL_ATTR_CURSOR_SCROLLABLE, SQL_NONSCROLLABLE, "", SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_FORWARD_ONLY},
      {SQL_CURSOR_TYPE, SQL_CURSOR_KEYSET_DRIVEN, "01S02", SQL_CURSOR_TYPE, SQL_CURSOR_STATIC},
      {SQL_CONCURRENCY, SQL_CONCUR_ROWVER, "01S02", SQL_CONCURRENCY, SQL_CONCUR_VALUES},
      {SQL_CONCURRENCY, SQL_CONCUR_LOCK, "HYC00", SQL_CONCURRENCY, SQL_CONCUR_VALUES},
      {SQL_KEYSET_SIZE, 0, "HYC00", 0, 0},
      {SQL_SIMULATE_CURSOR, SQL_SC_UNIQUE, "01S02", SQL_SIMULATE_CURSOR, SQL_SC_NON_UNIQUE},
      {SQL_RETRIEVE_DATA, SQL_RD_OFF, "HYC00", SQL_RETRIEVE_DATA, SQL_RD_ON},
      {SQL_USE_BOOKMARKS, SQL_UB_VARIABLE, "", SQL_USE_BOOKMARKS, SQL_UB_VARIABLE},
      {SQL_USE_BOOKMARKS, 9, "", SQL_USE_BOOKMARKS, SQL_UB_OFF},
      {SQL_ATTR_ROW_ARRAY_SIZE, 0, "", SQL_ATTR_ROW_ARRAY_SIZE, 0},
      {SQL_ROWSET_SIZE, 0, "", SQL_ROWSET_SIZE, 0},
  };
  OdbcStatement stmt(conn);
  const int calls = script.count("SQLSetStmtAttr");
  for (const auto& step : cases) {
    SCOPED_TRACE(std::to_string(step.attribute) + " = " + std::to_string(step.value));
    const std::string states = step.states;
    const SQLRETURN rc = states.starts_with("01") ? SQL_SUCCESS_WITH_INFO
                         : states.empty()         ? SQL_SUCCESS
                                                  : SQL_ERROR;
    EXPECT_EQ(rc, stmt.set(step.attribute, step.value));
    EXPECT_EQ(states, stmt.states());
    EXPECT_EQ(step.shows, step.read != 0 ? attribute(stmt, step.read) : 0);
  }
  EXPECT_EQ(calls, script.count("SQLSetStmtAttr"));  // the driver has heard of none of them
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_QUERY_TIMEOUT, 30));
  EXPECT_EQ(calls + 1, script.count("SQLSetStmtAttr"));

  EXPECT_EQ("HYC00", refusal(stmt, SQLSetScrollOptions(stmt, SQL_CONCUR_VALUES, SQL_SCROLL_FORWARD_ONLY, 9)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetScrollOptions(stmt, SQL_CONCUR_READ_ONLY, SQL_SCROLL_STATIC, 9));
  EXPECT_EQ(SQL_CURSOR_STATIC, attribute(stmt, SQL_CURSOR_TYPE));
  EXPECT_EQ(9u, attribute(stmt, SQL_ROWSET_SIZE));
}

TEST_F(Options, OfAConnectionReachItsStatements) {
  OdbcStatement first(conn), second(conn);
  const auto set = [&](SQLINTEGER attribute, SQLULEN value) {
    return SQLSetConnectAttr(conn, attribute, pointer(value), 0);
  };
  const SQLINTEGER passed[] = {SQL_BIND_TYPE, SQL_CURSOR_TYPE, SQL_ROWSET_SIZE, SQL_ATTR_ROW_ARRAY_SIZE};
  for (const SQLINTEGER number : passed) {
    EXPECT_SQL(SQL_SUCCESS, conn, set(number, SQL_CURSOR_STATIC)) << number;
    for (OdbcStatement* stmt : {&first, &second}) EXPECT_EQ(SQL_CURSOR_STATIC, attribute(*stmt, number));
  }
  EXPECT_SQL(SQL_SUCCESS, conn, set(SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE));
  EXPECT_EQ(SQL_CURSOR_STATIC, attribute(first, SQL_CURSOR_TYPE));
  EXPECT_EQ(SQL_CURSOR_FORWARD_ONLY, attribute(second, SQL_CURSOR_TYPE));  // the first one only
  for (const SQLINTEGER number :
       {SQL_CURSOR_TYPE, SQL_CONCURRENCY, SQL_SIMULATE_CURSOR, SQL_ATTR_CURSOR_SENSITIVITY}) {
    EXPECT_SQL(SQL_ERROR, conn, set(number, 2)) << number;
    EXPECT_EQ("HYC00", conn.states());
  }
  EXPECT_SQL(SQL_SUCCESS, conn, SQLSetConnectOption(conn, SQL_SIMULATE_CURSOR, SQL_SC_NON_UNIQUE));
}

TEST_F(Options, InformationTypes) {
  script.info[SQL_GETDATA_EXTENSIONS] = SQLUINTEGER{1};
  script.info[SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2] = SQLUINTEGER{0xFFFFFFFF};
  const std::pair<SQLUSMALLINT, SQLUINTEGER> cases[] = {
      {8, 191}, {43, 9},       {44, 17},      {78, 1},           {79, 1},          {80, 7},
      {82, 82}, {83, 4},       {144, 0},      {145, 0},          {150, 0},         {151, 0},
      {81, 5},  {146, 0xE001}, {167, 0xE24F}, {147, 0xFFFE7F81}, {168, 0xFFFE7FC9}};
  for (const auto& [type, expected] : cases) {
    SQLUINTEGER value = 0xDEAD;
    SQLSMALLINT length = 0;
    EXPECT_SQL(SQL_SUCCESS, conn, SQLGetInfo(conn, type, &value, sizeof value, &length)) << type;
    EXPECT_EQ(expected, value) << type;
    EXPECT_EQ(4, length) << type;
  }
  char text[] = "xx";
  SQLSMALLINT length = -1;
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, conn, SQLGetInfo(conn, SQL_ROW_UPDATES, text, 1, &length));
  EXPECT_STREQ("", text);
  EXPECT_EQ(0, length);
  EXPECT_EQ("01004", conn.states());
}

}  // namespace
