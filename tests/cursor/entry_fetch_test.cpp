// Fetch functions beside each other, bindings under an open cursor, and the end of cursors.

#include <functional>

#include "tests/cursor/entry_fixture.h"
#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/internal/bindings.h"

namespace {

class EntryFetch : public EntryTest {
 protected:
  EntryFetch() : EntryTest(ScriptedVariant::Odbc3, SQL_CB_CLOSE) {}

  using Fetch = SQLRETURN (*)(SQLHSTMT);
  static SQLRETURN plain(SQLHSTMT stmt) { return SQLFetch(stmt); }
  static SQLRETURN scroll(SQLHSTMT stmt) { return SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0); }
  static SQLRETURN extended(SQLHSTMT stmt) {
    return SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, nullptr, nullptr);
  }
  static constexpr Fetch FETCHES[] = {plain, scroll, extended};

  OdbcStatement stmt{conn};
};

TEST_F(EntryFetch, FunctionsExcludeEachOtherUntilTheResultEnds) {
  Rowset rows(stmt, 1);
  const std::pair<const char*, std::function<void()>> ends[] = {
      {"close", [&] { EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt)); }},
      {"free", [&] { EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE)); }},
      {"commit", [&] { EXPECT_SQL(SQL_SUCCESS, conn, conn.endTransaction(SQL_COMMIT)); }},
  };
  for (const auto& [end, finish] : ends) {
    for (size_t first = 0; first < std::size(FETCHES); ++first) {
      SCOPED_TRACE(std::string(end) + " after " + std::to_string(first));
      ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
      ASSERT_SQL(SQL_SUCCESS, stmt, FETCHES[first](stmt));
      for (size_t other = 0; other < std::size(FETCHES); ++other) {
        EXPECT_EQ(other == first ? SQL_SUCCESS : SQL_ERROR, FETCHES[other](stmt)) << other << stmt.why();
        EXPECT_EQ(other == first ? "" : "HY010", stmt.states());
      }
      finish();
    }
  }
  // What the cursor had bound is the application's again.
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  EXPECT_EQ(rowTexts(1, 1), rows.text());
}

TEST_F(EntryFetch, PlainFetchHearsOfTheRowArrayOnceAndAgainWhenItChanges) {
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  const auto settings = [&] { return script.count("SQLSetStmtAttr"); };
  int before = settings();
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  EXPECT_EQ(before + 5, settings());
  EXPECT_EQ(rowTexts(1, 2), rows.text());
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  EXPECT_EQ(before + 5, settings());
  EXPECT_EQ(rowTexts(3, 4), rows.text());
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, 1));
  before = settings();
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  EXPECT_EQ(before + 5, settings());
  EXPECT_EQ(rowTexts(5, 5), rows.text());
  EXPECT_EQ(1u, attribute(stmt, SQL_ATTR_ROW_ARRAY_SIZE));
}

TEST_F(EntryFetch, AnOpenCursorTakesNewAddressesOnly) {
  SQLINTEGER ids[2] = {}, others[2] = {};
  SQLLEN lengths[2] = {};
  const auto bind = [&](SQLUSMALLINT column, SQLSMALLINT type, void* data, SQLLEN length) {
    return SQLBindCol(stmt, column, type, data, length, lengths);
  };
  EXPECT_SQL(SQL_ERROR, stmt, bind(0, SQL_C_BOOKMARK, ids, 4));
  EXPECT_EQ("07009", stmt.states());
  ASSERT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_C_LONG, ids, 0));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, scroll(stmt));
  EXPECT_EQ(1, ids[0]);

  const int bound = script.count("SQLBindCol");
  EXPECT_SQL(SQL_ERROR, stmt, bind(1, SQL_C_SHORT, others, 0));
  EXPECT_EQ("HY011", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_C_LONG, others, 8));  // a fixed size has no other length
  EXPECT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_C_DEFAULT, ids, 0));  // of an integer column
  EXPECT_SQL(SQL_ERROR, stmt, bind(2, SQL_C_LONG, others, 4));
  EXPECT_SQL(SQL_ERROR, stmt, SQLFreeStmt(stmt, SQL_UNBIND));
  EXPECT_EQ("HY011", stmt.states());
  EXPECT_SQL(SQL_ERROR, stmt, stmt.set(SQL_ATTR_ROW_BIND_TYPE, 8));
  EXPECT_EQ("HY011", stmt.states());

  EXPECT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_C_LONG, others, 0));
  ASSERT_SQL(SQL_SUCCESS, stmt, scroll(stmt));
  EXPECT_EQ(1, ids[0]);
  EXPECT_EQ(2, others[0]);
  EXPECT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_C_LONG, nullptr, 0));
  ASSERT_SQL(SQL_SUCCESS, stmt, scroll(stmt));
  EXPECT_EQ(2, others[0]);
  EXPECT_EQ(bound, script.count("SQLBindCol"));  // the driver has heard of none of it
}

TEST_F(EntryFetch, ColumnsStandInTheOrderOfTheirBuffers) {
  SQLINTEGER cells[3] = {};
  for (SQLUSMALLINT column : {1, 3, 2}) {
    SQLINTEGER* cell = &cells[column == 2 ? 2 : column == 1 ? 1 : 0];
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, column, SQL_C_SLONG, cell, 4, nullptr));
  }
  std::vector<int> order;
  for (const BindInfo* bind = object(stmt).ard->bindList; bind; bind = bind->next)
    order.push_back(bind->column);
  EXPECT_EQ((std::vector<int>{3, 1, 2}), order);

  // A refused binding leaves the column unbound, as does a null address.
  script.faults.push_back({"SQLBindCol", script.count("SQLBindCol") + 1, SQL_ERROR, "HY003"});
  EXPECT_SQL(SQL_ERROR, stmt, SQLBindCol(stmt, 1, 77, &cells[0], 4, nullptr));
  EXPECT_EQ("HY003", stmt.states());
  EXPECT_EQ(nullptr, FindBindInfo(object(stmt).ard, 1));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 3, SQL_C_SLONG, nullptr, 4, nullptr));
  EXPECT_EQ(nullptr, FindBindInfo(object(stmt).ard, 3));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_UNBIND));
  EXPECT_EQ(nullptr, object(stmt).ard->bindList);
}

TEST_F(EntryFetch, CallsWithAndWithoutACursor) {
  SQLSMALLINT count = 0;
  SQLLEN rowCount = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id from t where id > ?"));
  EXPECT_SQL(SQL_ERROR, stmt, scroll(stmt));  // nothing is bound
  EXPECT_EQ("HY010", stmt.states());
  EXPECT_SQL(SQL_ERROR, stmt, SQLBulkOperations(stmt, SQL_ADD));
  EXPECT_EQ("HYC00", stmt.states());
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLNumParams(stmt, &count));
  EXPECT_EQ(1, count);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLRowCount(stmt, &rowCount));
  EXPECT_EQ(-1, rowCount);

  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, scroll(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLRowCount(stmt, &rowCount));
  EXPECT_EQ(2, rowCount);
  for (SQLUSMALLINT operation : {SQL_UPDATE, SQL_DELETE, SQL_ADD}) {
    EXPECT_SQL(SQL_ERROR, stmt, SQLSetPos(stmt, 1, operation, SQL_LOCK_NO_CHANGE));
    EXPECT_EQ("HYC00", stmt.states());
  }
  EXPECT_SQL(SQL_ERROR, stmt, SQLGetData(stmt, 1, SQL_C_SLONG, &rowCount, 8, nullptr));
  EXPECT_EQ("HYC00", stmt.states());

  // Without a text of its own the statement counts the columns of its result.
  OdbcStatement tables(conn);
  script.answers["SQLTables"] = scriptedRows(1);
  ASSERT_EQ(SQL_SUCCESS, SQLTables(tables, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0));
  EXPECT_SQL(SQL_SUCCESS, tables, SQLNumParams(tables, &count));
  EXPECT_EQ(2, count);
  EXPECT_SQL(SQL_ERROR, tables, SQLSetPos(tables, 1, SQL_UPDATE, SQL_LOCK_NO_CHANGE));
  EXPECT_EQ("24000", tables.states());  // no cursor, and no row either
}

TEST_F(EntryFetch, BadCallsOnTheLibraryItselfGiveErrors) {
  object(stmt).VFreeErrors();
  EXPECT_EQ(SQL_ERROR, CLExecute(stmt));
  EXPECT_EQ(SQL_ERROR, CLPutData(stmt, nullptr, 0));
  EXPECT_EQ("HY010 HY010", stmt.states());
  object(stmt).VFreeErrors();
  EXPECT_EQ(SQL_ERROR, CLPrepare(stmt, nullptr, SQL_NTS));
  EXPECT_EQ("HY009", stmt.states());
  EXPECT_EQ(SQL_SUCCESS, CLFreeHandle(SQL_HANDLE_ENV, nullptr));
  EXPECT_EQ(SQL_INVALID_HANDLE, CLFreeHandle(77, stmt));
  EXPECT_EQ(SQL_INVALID_HANDLE, CLEndTran(77, stmt, SQL_COMMIT));
}

TEST_F(EntryFetch, CancelOfACursorThatTheDriverClosesEndsIt) {
  script.faults.push_back({"SQLCancel", 1, SQL_SUCCESS_WITH_INFO, "01S05"});
  Rowset rows(stmt, 1);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, scroll(stmt));
  ASSERT_NE(nullptr, object(stmt).cursor);
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, stmt, SQLCancel(stmt));
  EXPECT_EQ("01S05", stmt.states());
  EXPECT_EQ(nullptr, object(stmt).cursor);
  EXPECT_EQ(nullptr, object(stmt).parser);
}

}  // namespace
