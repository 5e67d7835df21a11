// Applications of one ODBC version over drivers of the other.

#include "tests/support/odbc_fixture.h"
#include "tests/support/scripted_driver.h"

namespace {

SQLCHAR* text(const char* literal) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(literal)); }

struct Bridge {
  Bridge(ScriptedVariant variant, SQLULEN odbcVersion)
      : driver(variant, script), conn(SQL_CUR_USE_DRIVER, odbcVersion) {
    script.answers["select"] = scriptedRows(5);
    ScriptAnswer dates;
    // The other version's code than the application's.
    dates.columns = {{"day", SQLSMALLINT(odbcVersion == SQL_OV_ODBC3 ? SQL_DATE : SQL_TYPE_DATE)}};
    dates.rows = {{{"2024-02-29"}, "", SQL_SUCCESS}};
    script.answers["dates"] = dates;
    EXPECT_SQL(SQL_SUCCESS, conn, conn.connect(driver.connectionString()));
  }
  DriverScript script;
  ScriptedDriver driver;
  OdbcConnection conn;
};

TEST(Bridge, AVersion3ApplicationScrollsRowSetsOverAVersion2Driver) {
  Bridge b(ScriptedVariant::Odbc2, SQL_OV_ODBC3);
  OdbcStatement stmt(b.conn);
  SQLULEN fetched = 99;
  SQLUSMALLINT status[3] = {9, 9, 9};
  SQLINTEGER id[3] = {};
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, SQLULEN(3)));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROWS_FETCHED_PTR, static_cast<void*>(&fetched)));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_STATUS_PTR, static_cast<void*>(status)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, id, 0, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(3u, fetched);
  EXPECT_EQ(3, id[2]);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt)) << "goes on by row sets too";
  EXPECT_EQ(2u, fetched);
  EXPECT_EQ(5, id[1]);
  EXPECT_EQ(SQL_ROW_NOROW, status[2]);
  EXPECT_EQ(2, b.script.count("SQLExtendedFetch"));
  EXPECT_EQ(0, b.script.count("SQLFetch"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt)) << "by SQLFreeStmt";

  // Without places for count and status the driver gets places all the same.
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROWS_FETCHED_PTR, static_cast<void*>(nullptr)));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_STATUS_PTR, static_cast<void*>(nullptr)));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(3, id[2]);
}

TEST(Bridge, AVersion2ApplicationUsesItsOldCallsOverAVersion3Driver) {
  Bridge b(ScriptedVariant::Odbc3, SQL_OV_ODBC2);
  OdbcStatement stmt(b.conn);
  SQLINTEGER id[2] = {};
  SQLULEN fetched = 99;
  SQLUSMALLINT status[2] = {9, 9};
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetStmtOption(stmt, SQL_ROWSET_SIZE, 2));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetStmtOption(stmt, SQL_QUERY_TIMEOUT, 7));
  SQLULEN timeout = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtOption(stmt, SQL_QUERY_TIMEOUT, &timeout));
  EXPECT_EQ(7u, timeout);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, id, 0, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  SQLLEN number = 0;
  SQLSMALLINT length = 0;
  char name[8];
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLColAttributes(stmt, 1, SQL_COLUMN_COUNT, nullptr, 0, nullptr, &number));
  EXPECT_EQ(2, number);
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLColAttributes(stmt, 1, SQL_COLUMN_NAME, name, sizeof name, &length, &number));
  EXPECT_STREQ("id", name);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, &fetched, status));
  EXPECT_EQ(2u, fetched);
  EXPECT_EQ(2, id[1]);
  EXPECT_EQ(SQL_ROW_SUCCESS, status[1]);
}

TEST(Bridge, ParameterArraysGoEitherWay) {
  for (auto [variant, version] :
       {std::pair{ScriptedVariant::Odbc3, SQL_OV_ODBC2}, {ScriptedVariant::Odbc2, SQL_OV_ODBC3}}) {
    Bridge b(variant, version);
    OdbcStatement stmt(b.conn);
    SQLULEN done = 0;
    if (version == SQL_OV_ODBC2) {
      EXPECT_SQL(SQL_SUCCESS, stmt, SQLParamOptions(stmt, 4, &done));
      EXPECT_EQ(2, b.script.count("SQLSetStmtAttr"));
    } else {
      EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_PARAMSET_SIZE, SQLULEN(4)));
      EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_PARAMS_PROCESSED_PTR, static_cast<void*>(&done)));
      EXPECT_EQ(2, b.script.count("SQLParamOptions"));
    }
    SQLULEN size = 0;
    SQLULEN* where = nullptr;
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtAttr(stmt, SQL_ATTR_PARAMSET_SIZE, &size, 0, nullptr));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtAttr(stmt, SQL_ATTR_PARAMS_PROCESSED_PTR, &where, 0, nullptr));
    EXPECT_EQ(4u, size);
    EXPECT_EQ(&done, where);
  }
}

TEST(Bridge, DateTypesSpeakTheApplicationsVersion) {
  for (auto [variant, version, expected] : {std::tuple{ScriptedVariant::Odbc3, SQL_OV_ODBC2, SQL_DATE},
                                            {ScriptedVariant::Odbc2, SQL_OV_ODBC3, SQL_TYPE_DATE}}) {
    Bridge b(variant, version);
    OdbcStatement stmt(b.conn);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("dates"));
    SQLSMALLINT type = 0;
    EXPECT_SQL(SQL_SUCCESS, stmt,
               SQLDescribeCol(stmt, 1, nullptr, 0, nullptr, &type, nullptr, nullptr, nullptr));
    EXPECT_EQ(expected, type);
    SQLLEN number = 0;
    EXPECT_SQL(SQL_SUCCESS, stmt,
               SQLColAttribute(stmt, 1, SQL_DESC_CONCISE_TYPE, nullptr, 0, nullptr, &number));
    EXPECT_EQ(expected, number);
  }
}

TEST(Bridge, AnOldestDriverFetchesAndBindsByWhatItHas) {
  Bridge b(ScriptedVariant::Odbc1, SQL_OV_ODBC3);
  OdbcStatement stmt(b.conn);
  SQLINTEGER value = 5;
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &value, 0, nullptr));
  EXPECT_EQ(1, b.script.count("SQLSetParam"));
  EXPECT_SQL(
      SQL_ERROR, stmt,
      SQLBindParameter(stmt, 2, SQL_PARAM_OUTPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, &value, 0, nullptr));
  EXPECT_EQ("IM001", stmt.states());
  SQLULEN fetched = 99;
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROWS_FETCHED_PTR, static_cast<void*>(&fetched)));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  EXPECT_SQL(SQL_ERROR, stmt, SQLFetchScroll(stmt, SQL_FETCH_LAST, 0));
  EXPECT_EQ("IM001", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(1u, fetched);
  EXPECT_SQL(SQL_ERROR, stmt, SQLMoreResults(stmt));
  EXPECT_EQ("IM001", stmt.states());
}

TEST(Bridge, WhatCannotBeBridgedIsRefusedWithoutADriverCall) {
  Bridge b(ScriptedVariant::Odbc2, SQL_OV_ODBC3);
  OdbcStatement stmt(b.conn);
  SQLLEN offset = 0;
  EXPECT_SQL(SQL_ERROR, stmt, stmt.set(SQL_ATTR_ROW_BIND_OFFSET_PTR, static_cast<void*>(&offset)));
  EXPECT_EQ("HYC00", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_BIND_OFFSET_PTR, static_cast<void*>(nullptr)));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  char name[8];
  SQLSMALLINT length = 0;
  EXPECT_SQL(SQL_ERROR, stmt,
             SQLColAttribute(stmt, 1, SQL_DESC_BASE_COLUMN_NAME, name, sizeof name, &length, nullptr));
  EXPECT_EQ("HY091", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLColAttribute(stmt, 1, SQL_DESC_NAME, name, sizeof name, &length, nullptr));
  EXPECT_STREQ("id", name);
}

TEST(CursorNames, AreKeptHereWhenTheDriverKeepsNone) {
  for (ScriptedVariant variant : {ScriptedVariant::Odbc3, ScriptedVariant::NoDescriptors}) {
    Bridge b(variant, SQL_OV_ODBC3);
    OdbcStatement first(b.conn);
    OdbcStatement second(b.conn);
    char name[32] = "";
    char other[32] = "";
    SQLSMALLINT length = 0;
    auto get = [&](OdbcStatement& stmt, char* out) {
      return SQLGetCursorName(stmt, reinterpret_cast<SQLCHAR*>(out), 32, &length);
    };
    EXPECT_SQL(SQL_SUCCESS, first, get(first, name));
    EXPECT_SQL(SQL_SUCCESS, second, get(second, other));
    EXPECT_EQ(0, std::string(name).rfind("SQL_CUR", 0)) << name;
    EXPECT_STRNE(name, other);
    EXPECT_SQL(SQL_SUCCESS, first, first.setName("mine"));
    EXPECT_SQL(SQL_SUCCESS, first, get(first, name));
    EXPECT_STREQ("mine", name);
    EXPECT_EQ(4, length);
    EXPECT_SQL(SQL_ERROR, second, second.setName("MINE"));
    EXPECT_EQ("3C000", second.states());
    EXPECT_SQL(SQL_SUCCESS_WITH_INFO, first,
               SQLGetCursorName(first, reinterpret_cast<SQLCHAR*>(name), 3, &length));
    EXPECT_EQ("01004", first.states());
    EXPECT_STREQ("mi", name);
  }
}

TEST(CursorNames, BadOnesAreRefused) {
  Bridge b(ScriptedVariant::Odbc3, SQL_OV_ODBC3);
  OdbcStatement stmt(b.conn);
  for (const std::string& bad :
       {std::string(), std::string("SQL_CUR1"), std::string("sqlcurx"), std::string(4000, 'x')}) {
    EXPECT_SQL(SQL_ERROR, stmt, stmt.setName(bad));
    EXPECT_EQ("34000", stmt.states()) << bad;
  }
  EXPECT_SQL(SQL_ERROR, stmt, SQLSetCursorName(stmt, nullptr, SQL_NTS));
  EXPECT_EQ("HY009", stmt.states());
  EXPECT_SQL(SQL_ERROR, stmt, SQLSetCursorName(stmt, text("c"), -9));
  EXPECT_EQ("HY090", stmt.states());
}

}  // namespace
