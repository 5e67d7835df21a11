// Fetch functions beside each other, bindings under an open cursor, and the end of cursors.

#include "tests/support/scripted_fixture.h"
#include "zulib/cursor/entry/cursorlib.h"
#include "zulib/cursor/internal/bindings.h"

namespace {

class EntryFetch : public ScriptedTest {
 protected:
  EntryFetch() : ScriptedTest({.behaviour = SQL_CB_CLOSE}) {}

  OdbcStatement stmt{conn};
};

// Also a scroll that returned no row has bound the driver to the cursor's buffers.
TEST_F(EntryFetch, FunctionsExcludeEachOtherUntilTheResultEnds) {
  script.answers["none"] = ScriptAnswer{scriptedRows(1).columns, {}, -1, {}};
  stmt.makeScrollable(3);
  Rowset rows(stmt, 3);
  const auto fetch = [&](int function, SQLSMALLINT direction) {
    if (function == 0) return SQLFetch(stmt);
    return function == 1 ? rows.fetch(direction) : SQLExtendedFetch(stmt, direction, 0, nullptr, nullptr);
  };
  const std::pair<const char*, SQLSMALLINT> scrolls[] = {{"select", SQL_FETCH_NEXT},
                                                         {"select", SQL_FETCH_ABSOLUTE},
                                                         {"select", SQL_FETCH_PRIOR},
                                                         {"none", SQL_FETCH_NEXT}};
  int ends = 0;
  for (const auto& [sql, direction] : scrolls) {
    for (int first = sql == scrolls[0].first && direction == SQL_FETCH_NEXT ? 0 : 1; first < 3; ++first) {
      SCOPED_TRACE(sql + std::to_string(direction) + " by " + std::to_string(first));
      ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute(sql));
      EXPECT_NE(SQL_ERROR, fetch(first, direction));
      for (int other = 0; other < 3; ++other) {
        if (other == first) continue;
        EXPECT_EQ("HY010", refusal(stmt, fetch(other, direction)));
      }
      SQLINTEGER value = 0;
      const SQLRETURN read = SQLGetData(stmt, 1, SQL_C_SLONG, &value, 0, nullptr);
      EXPECT_TRUE(read == SQL_ERROR || direction == SQL_FETCH_NEXT);
      switch (ends++ % 3) {
        case 0: EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt)); break;
        case 1: EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE)); break;
        default: EXPECT_SQL(SQL_SUCCESS, conn, conn.endTransaction(SQL_COMMIT));
      }
      ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
      ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));  // into the application's arrays again
      EXPECT_EQ(rowTexts(1, 3), rows.text());
      SQLCloseCursor(stmt);
    }
  }
}

TEST_F(EntryFetch, PlainFetchHearsOfTheRowArrayOnceAndAgainWhenItChanges) {
  const Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  for (const auto& [size, last, told] : {std::tuple{2, 2, 5}, {2, 4, 0}, {1, 5, 5}}) {
    if (size == 1) stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, 1);
    const int before = script.count("SQLSetStmtAttr");
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
    EXPECT_EQ(before + told, script.count("SQLSetStmtAttr"));
    EXPECT_EQ(rowTexts(last - size + 1, last), rows.text());
  }
}

TEST_F(EntryFetch, AnOpenCursorTakesNewAddressesOnly) {
  SQLINTEGER ids[2] = {}, others[2] = {};
  const auto bind = [&](SQLUSMALLINT column, SQLSMALLINT type, void* data, SQLLEN length) {
    return SQLBindCol(stmt, column, type, data, length, nullptr);
  };
  EXPECT_EQ("07009", refusal(stmt, bind(0, SQL_C_BOOKMARK, ids, 4)));
  ASSERT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_C_LONG, ids, 0));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(1, ids[0]);

  const int bound = script.count("SQLBindCol");
  for (const SQLRETURN refused : {bind(1, SQL_C_SHORT, others, 0), bind(2, SQL_C_LONG, others, 4),
                                  SQLFreeStmt(stmt, SQL_UNBIND), stmt.set(SQL_ATTR_ROW_BIND_TYPE, 8)})
    EXPECT_EQ("HY011", refusal(stmt, refused));
  // A fixed size has no other length, and the column has a default type.
  for (const auto& [type, length] : {std::pair{SQL_C_DEFAULT, 0}, {SQL_C_LONG, 8}})
    EXPECT_SQL(SQL_SUCCESS, stmt, bind(1, static_cast<SQLSMALLINT>(type), others, length));
  for (void* data : {static_cast<void*>(others), static_cast<void*>(nullptr)}) {
    EXPECT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_C_LONG, data, 0));
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  }
  EXPECT_EQ(1, ids[0]);
  EXPECT_EQ(2, others[0]);
  EXPECT_EQ(bound, script.count("SQLBindCol"));  // the driver has heard of none of it
}

TEST_F(EntryFetch, ColumnsComeInTheOrderOfTheirBuffers) {
  SQLINTEGER cells[3] = {};
  const std::pair<SQLUSMALLINT, int> columns[] = {{1, 1}, {3, 0}, {2, 2}};
  for (const auto& [column, cell] : columns)
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, column, SQL_C_SLONG, &cells[cell], 4, nullptr));
  std::string order;
  for (const BindInfo* bind = object(stmt).ard->bindList; bind; bind = bind->next)
    order += std::to_string(bind->column);
  EXPECT_EQ("312", order);
  // A refused binding leaves the column unbound, as does a null address.
  script.faults = {{"SQLBindCol", script.count("SQLBindCol") + 1, SQL_ERROR, "HY003"}};
  EXPECT_SQL(SQL_ERROR, stmt, SQLBindCol(stmt, 1, 77, &cells[0], 4, nullptr));
  EXPECT_EQ(nullptr, FindBindInfo(object(stmt).ard, 1));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 3, SQL_C_SLONG, nullptr, 4, nullptr));
  EXPECT_EQ(nullptr, FindBindInfo(object(stmt).ard, 3));
}

TEST_F(EntryFetch, CallsWithAndWithoutACursor) {
  SQLSMALLINT count = 0;
  SQLLEN rowCount = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id from t where id > ?"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLNumParams(stmt, &count));
  EXPECT_EQ(1, count);
  EXPECT_SQL(SQL_ERROR, stmt, SQLBulkOperations(stmt, SQL_ADD));
  const Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLRowCount(stmt, &rowCount));
  EXPECT_EQ(2, rowCount);
  for (const SQLRETURN refused : {SQLSetPos(stmt, 1, SQL_UPDATE, SQL_LOCK_NO_CHANGE),
                                  SQLGetData(stmt, 1, SQL_C_SLONG, &rowCount, 8, nullptr)})
    EXPECT_EQ("HYC00", refusal(stmt, refused));

  // Without a text of its own the statement counts the columns of its result.
  const OdbcStatement tables(conn);
  script.answers["SQLTables"] = scriptedRows(1);
  ASSERT_EQ(SQL_SUCCESS, SQLTables(tables, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0));
  EXPECT_SQL(SQL_SUCCESS, tables, SQLNumParams(tables, &count));
  EXPECT_EQ(2, count);
  object(tables).VFreeErrors();
  for (const SQLRETURN refused :
       {CLExecute(tables), CLPutData(tables, nullptr, 0), CLPrepare(tables, nullptr, SQL_NTS)})
    EXPECT_EQ("HY010 HY010 HY009", refusal(tables, refused));
}

TEST_F(EntryFetch, CancelOfACursorThatTheDriverClosesEndsIt) {
  script.faults.push_back({"SQLCancel", 1, SQL_SUCCESS_WITH_INFO, "01S05"});
  const Rowset rows(stmt, 1);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ("01S05", warning(stmt, SQLCancel(stmt)));
  EXPECT_EQ(nullptr, object(stmt).cursor);
  EXPECT_EQ(nullptr, object(stmt).parser);
}

}  // namespace
