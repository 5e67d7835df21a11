// Every option, attribute and information type that the cursor library handles by itself.

#include "tests/cursor/entry_fixture.h"

namespace {

using Options = EntryTest;

constexpr SQLULEN UNREAD = 12345;

TEST_F(Options, StatementAttributesOneByOne) {
  SQLULEN cell = 0;
  const auto address = reinterpret_cast<SQLULEN>(&cell);
  const struct {
    SQLINTEGER attribute;
    SQLULEN value;
    SQLRETURN rc;
    const char* states;
    SQLINTEGER read;  // what shows the effect, and as what
    SQLULEN shows;
  } cases[] = {
      {SQL_ATTR_CURSOR_SENSITIVITY, SQL_SENSITIVE, SQL_ERROR, "HYC00", 0, UNREAD},
      {SQL_ATTR_CURSOR_SENSITIVITY, SQL_INSENSITIVE, SQL_SUCCESS, "", 0, UNREAD},
      {SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE, SQL_SUCCESS, "", SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC},
      {SQL_ATTR_CURSOR_SENSITIVITY, SQL_INSENSITIVE, SQL_SUCCESS, "", SQL_ATTR_CURSOR_SENSITIVITY, 1},
      {SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE, SQL_SUCCESS, "", SQL_ATTR_CURSOR_SCROLLABLE, 1},
      {SQL_ATTR_CURSOR_SCROLLABLE, SQL_NONSCROLLABLE, SQL_SUCCESS, "", SQL_ATTR_CURSOR_TYPE, 0},
      {SQL_BIND_TYPE, 40, SQL_SUCCESS, "", SQL_BIND_TYPE, 40},
      {SQL_CURSOR_TYPE, SQL_CURSOR_KEYSET_DRIVEN, SQL_SUCCESS_WITH_INFO, "01S02", SQL_CURSOR_TYPE, 3},
      {SQL_CURSOR_TYPE, SQL_CURSOR_FORWARD_ONLY, SQL_SUCCESS, "", SQL_CURSOR_TYPE, 0},
      {SQL_CURSOR_TYPE, SQL_CURSOR_DYNAMIC, SQL_SUCCESS_WITH_INFO, "01S02", SQL_CURSOR_TYPE, 3},
      {SQL_CONCURRENCY, SQL_CONCUR_VALUES, SQL_SUCCESS, "", SQL_CONCURRENCY, SQL_CONCUR_VALUES},
      {SQL_CONCURRENCY, SQL_CONCUR_READ_ONLY, SQL_SUCCESS, "", SQL_CONCURRENCY, SQL_CONCUR_READ_ONLY},
      {SQL_CONCURRENCY, SQL_CONCUR_ROWVER, SQL_SUCCESS_WITH_INFO, "01S02", SQL_CONCURRENCY, 4},
      {SQL_CONCURRENCY, SQL_CONCUR_LOCK, SQL_ERROR, "HYC00", SQL_CONCURRENCY, 4},
      {SQL_KEYSET_SIZE, 0, SQL_ERROR, "HYC00", 0, UNREAD},
      {SQL_ROWSET_SIZE, 7, SQL_SUCCESS, "", SQL_ROWSET_SIZE, 7},
      {SQL_SIMULATE_CURSOR, SQL_SC_NON_UNIQUE, SQL_SUCCESS, "", SQL_SIMULATE_CURSOR, 0},
      {SQL_SIMULATE_CURSOR, SQL_SC_UNIQUE, SQL_SUCCESS_WITH_INFO, "01S02", SQL_SIMULATE_CURSOR, 0},
      {SQL_RETRIEVE_DATA, SQL_RD_ON, SQL_SUCCESS, "", SQL_RETRIEVE_DATA, SQL_RD_ON},
      {SQL_RETRIEVE_DATA, SQL_RD_OFF, SQL_ERROR, "HYC00", SQL_RETRIEVE_DATA, SQL_RD_ON},
      {SQL_USE_BOOKMARKS, SQL_UB_ON, SQL_SUCCESS, "", SQL_USE_BOOKMARKS, SQL_UB_ON},
      {SQL_USE_BOOKMARKS, SQL_UB_VARIABLE, SQL_SUCCESS, "", SQL_USE_BOOKMARKS, SQL_UB_VARIABLE},
      {SQL_USE_BOOKMARKS, 9, SQL_SUCCESS, "", SQL_USE_BOOKMARKS, SQL_UB_OFF},
      {SQL_USE_BOOKMARKS, SQL_UB_OFF, SQL_SUCCESS, "", SQL_USE_BOOKMARKS, SQL_UB_OFF},
      {SQL_ATTR_FETCH_BOOKMARK_PTR, address, SQL_SUCCESS, "", SQL_ATTR_FETCH_BOOKMARK_PTR, address},
      {SQL_ATTR_PARAM_OPERATION_PTR, address, SQL_SUCCESS, "", SQL_ATTR_PARAM_OPERATION_PTR, address},
      {SQL_ATTR_ROW_BIND_OFFSET_PTR, address, SQL_SUCCESS, "", SQL_ATTR_ROW_BIND_OFFSET_PTR, address},
      {SQL_ATTR_ROW_OPERATION_PTR, address, SQL_SUCCESS, "", SQL_ATTR_ROW_OPERATION_PTR, address},
      {SQL_ATTR_ROW_STATUS_PTR, address, SQL_SUCCESS, "", SQL_ATTR_ROW_STATUS_PTR, address},
      {SQL_ATTR_ROWS_FETCHED_PTR, address, SQL_SUCCESS, "", SQL_ATTR_ROWS_FETCHED_PTR, address},
      {SQL_ATTR_ROW_ARRAY_SIZE, 6, SQL_SUCCESS, "", SQL_ATTR_ROW_ARRAY_SIZE, 6},
      {SQL_ATTR_ROW_ARRAY_SIZE, 0, SQL_SUCCESS, "", SQL_ATTR_ROW_ARRAY_SIZE, 0},
      {SQL_ROWSET_SIZE, 0, SQL_SUCCESS, "", SQL_ROWSET_SIZE, 0},
  };
  OdbcStatement stmt(conn);
  const int calls = script.count("SQLSetStmtAttr");
  for (const auto& step : cases) {
    SCOPED_TRACE(std::to_string(step.attribute) + " = " + std::to_string(step.value));
    EXPECT_EQ(step.rc, stmt.set(step.attribute, step.value));
    EXPECT_EQ(step.states, stmt.states());
    if (step.shows != UNREAD) {
      EXPECT_EQ(step.shows, attribute(stmt, step.read));
    }
  }
  EXPECT_EQ(calls, script.count("SQLSetStmtAttr"));  // the driver has heard of none of them
  EXPECT_SQL(SQL_ERROR, stmt, SQLGetStmtAttr(stmt, SQL_KEYSET_SIZE, &cell, 0, nullptr));
  EXPECT_EQ("HYC00", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_QUERY_TIMEOUT, 30));
  EXPECT_EQ(calls + 1, script.count("SQLSetStmtAttr"));
  EXPECT_EQ(30u, attribute(stmt, SQL_ATTR_QUERY_TIMEOUT));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtOption(stmt, SQL_ROWSET_SIZE, nullptr));
}

TEST_F(Options, ScrollOptionsInOneCall) {
  const struct {
    SQLUSMALLINT concurrency;
    SQLLEN keyset;
    SQLRETURN rc;
  } cases[] = {
      {SQL_CONCUR_READ_ONLY, SQL_SCROLL_FORWARD_ONLY, SQL_SUCCESS},
      {SQL_CONCUR_READ_ONLY, SQL_SCROLL_STATIC, SQL_SUCCESS},
      {SQL_CONCUR_VALUES, SQL_SCROLL_STATIC, SQL_SUCCESS},
      {SQL_CONCUR_VALUES, SQL_SCROLL_FORWARD_ONLY, SQL_ERROR},
      {SQL_CONCUR_LOCK, SQL_SCROLL_STATIC, SQL_ERROR},
      {SQL_CONCUR_READ_ONLY, SQL_SCROLL_DYNAMIC, SQL_ERROR},
  };
  for (const auto& step : cases) {
    OdbcStatement stmt(conn);
    EXPECT_SQL(step.rc, stmt, SQLSetScrollOptions(stmt, step.concurrency, step.keyset, 9));
    EXPECT_EQ(step.rc == SQL_SUCCESS ? "" : "HYC00", stmt.states());
    if (step.rc != SQL_SUCCESS) continue;
    EXPECT_EQ(step.concurrency, attribute(stmt, SQL_CONCURRENCY));
    EXPECT_EQ(static_cast<SQLULEN>(-step.keyset), attribute(stmt, SQL_CURSOR_TYPE));
    EXPECT_EQ(9u, attribute(stmt, SQL_ROWSET_SIZE));
  }
}

TEST_F(Options, OfAnOpenCursor) {
  OdbcStatement stmt(conn);
  SQLULEN value = 0;
  stmt.makeScrollable(2);
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_USE_BOOKMARKS, SQL_UB_VARIABLE));
  Rowset rows(stmt, 3);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE));
  EXPECT_EQ(2u, attribute(stmt, SQL_ATTR_ROW_NUMBER));
  EXPECT_EQ(2u, attribute(stmt, SQL_GET_BOOKMARK));

  // The cursor takes the size that belongs to its fetch function, and no other.
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ROWSET_SIZE, 1));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, 2));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_FIRST, 0));
  EXPECT_EQ(rowTexts(1, 2), rows.text());

  SQLHDESC desc = SQL_NULL_HDESC;
  ASSERT_SQL(SQL_SUCCESS, conn, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc));
  for (SQLINTEGER attribute : {SQL_ATTR_APP_ROW_DESC, SQL_ATTR_APP_PARAM_DESC}) {
    EXPECT_SQL(SQL_ERROR, stmt, stmt.set(attribute, desc));
    EXPECT_EQ("HYC00", stmt.states());
  }
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_APP_ROW_DESC, desc));
  EXPECT_EQ(desc, descriptor(stmt, SQL_ATTR_APP_ROW_DESC));
  EXPECT_EQ(desc, static_cast<DMDesc*>(desc)->selfRef);
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_APP_ROW_DESC, nullptr));
  EXPECT_NE(desc, descriptor(stmt, SQL_ATTR_APP_ROW_DESC));

  OdbcStatement plain(conn);
  Rowset others(plain, 1);
  ASSERT_SQL(SQL_SUCCESS, plain, plain.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, plain, SQLFetch(plain));
  EXPECT_SQL(SQL_ERROR, plain, SQLGetStmtAttr(plain, SQL_GET_BOOKMARK, &value, 0, nullptr));
  EXPECT_EQ("07009", plain.states());
}

TEST_F(Options, OfAConnectionReachItsStatements) {
  OdbcStatement first(conn), second(conn);
  const auto set = [&](SQLINTEGER attribute, SQLULEN value) {
    return SQLSetConnectOption(conn, static_cast<SQLUSMALLINT>(attribute), value);
  };
  const auto setAttr = [&](SQLINTEGER attribute, SQLULEN value) {
    return SQLSetConnectAttr(conn, attribute, pointer(value), 0);
  };
  const struct {
    SQLINTEGER attribute;
    SQLULEN value;
  } passed[] = {{SQL_BIND_TYPE, 48},
                {SQL_CURSOR_TYPE, SQL_CURSOR_STATIC},
                {SQL_CONCURRENCY, SQL_CONCUR_VALUES},
                {SQL_ROWSET_SIZE, 8}};
  for (const auto& [number, value] : passed) {
    EXPECT_SQL(SQL_SUCCESS, conn, set(number, value)) << number;
    for (OdbcStatement* stmt : {&first, &second}) EXPECT_EQ(value, attribute(*stmt, number));
  }
  EXPECT_SQL(SQL_SUCCESS, conn, setAttr(SQL_ATTR_ROW_ARRAY_SIZE, 5));
  EXPECT_EQ(5u, attribute(second, SQL_ATTR_ROW_ARRAY_SIZE));

  // Only the first statement becomes scrollable.
  EXPECT_SQL(SQL_SUCCESS, conn, setAttr(SQL_ATTR_CURSOR_SCROLLABLE, SQL_SCROLLABLE));
  EXPECT_EQ(SQL_CURSOR_STATIC, attribute(first, SQL_CURSOR_TYPE));
  EXPECT_EQ(SQL_CURSOR_FORWARD_ONLY, attribute(second, SQL_CURSOR_TYPE));

  const struct {
    SQLINTEGER attribute;
    SQLULEN value;
  } refused[] = {{SQL_CURSOR_TYPE, SQL_CURSOR_DYNAMIC},
                 {SQL_CONCURRENCY, SQL_CONCUR_ROWVER},
                 {SQL_SIMULATE_CURSOR, SQL_SC_UNIQUE},
                 {SQL_ATTR_CURSOR_SENSITIVITY, SQL_SENSITIVE}};
  for (const auto& [number, value] : refused) {
    EXPECT_SQL(SQL_ERROR, conn, setAttr(number, value)) << number;
    EXPECT_EQ("HYC00", conn.states());
  }
  EXPECT_SQL(SQL_SUCCESS, conn, set(SQL_SIMULATE_CURSOR, SQL_SC_NON_UNIQUE));
  EXPECT_SQL(SQL_SUCCESS, conn, setAttr(SQL_ATTR_CURSOR_SENSITIVITY, SQL_INSENSITIVE));
  const int calls = script.count("SQLSetConnectAttr");
  EXPECT_SQL(SQL_SUCCESS, conn, setAttr(SQL_ATTR_ACCESS_MODE, SQL_MODE_READ_ONLY));
  EXPECT_EQ(calls + 1, script.count("SQLSetConnectAttr"));
}

TEST_F(Options, InformationTypes) {
  script.info[SQL_GETDATA_EXTENSIONS] = SQLUINTEGER{1};
  script.info[SQL_FORWARD_ONLY_CURSOR_ATTRIBUTES2] = SQLUINTEGER{0xFFFFFFFF};
  script.info[SQL_MAX_COLUMNS_IN_TABLE] = SQLUSMALLINT{77};
  const struct {
    SQLUSMALLINT type;
    SQLUINTEGER value;
  } cases[] = {
      {8, 191}, {43, 9},       {44, 17},      {78, 1},           {79, 1},           {80, 7},
      {82, 82}, {83, 4},       {144, 0},      {145, 0},          {150, 0},          {151, 0},
      {81, 5},  {146, 0xE001}, {167, 0xE24F}, {147, 0xFFFE7F81}, {168, 0xFFFE7FC9},
  };
  for (const auto& step : cases) {
    SQLUINTEGER value = 0xDEAD;
    SQLSMALLINT length = 0;
    EXPECT_SQL(SQL_SUCCESS, conn, SQLGetInfo(conn, step.type, &value, sizeof value, &length)) << step.type;
    EXPECT_EQ(step.value, value) << step.type;
    EXPECT_EQ(4, length) << step.type;
  }
  SQLUSMALLINT columns = 0;
  EXPECT_SQL(SQL_SUCCESS, conn, SQLGetInfo(conn, SQL_MAX_COLUMNS_IN_TABLE, &columns, 2, nullptr));
  EXPECT_EQ(77, columns);

  char text[] = "xx";
  SQLSMALLINT length = -1;
  EXPECT_SQL(SQL_SUCCESS, conn, SQLGetInfo(conn, SQL_ROW_UPDATES, text, sizeof text, &length));
  EXPECT_STREQ("Y", text);
  EXPECT_EQ(1, length);
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, conn, SQLGetInfo(conn, SQL_ROW_UPDATES, text, 1, &length));
  EXPECT_STREQ("", text);
  EXPECT_EQ(0, length);
  EXPECT_EQ("01004", conn.states());
}

}  // namespace
