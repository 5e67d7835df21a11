// How rows come into the application's storage: layouts, offsets, nulls, bad rows, interrupted fetches; and
// what set-up refuses.

#include <cstring>

#include "tests/cursor/entry_fixture.h"

namespace {

constexpr SQLRETURN STILL = SQL_STILL_EXECUTING;

class FwdRows : public EntryTest {
 protected:
  // Rows 1 to `count`, with the state and code of row `bad`.
  void answer(int count, int bad = 0, const std::string& state = "22003", SQLRETURN rc = SQL_ERROR) {
    ScriptAnswer rows = scriptedRows(count);
    if (bad) {
      rows.rows[static_cast<size_t>(bad) - 1].sqlstate = state;
      rows.rows[static_cast<size_t>(bad) - 1].rc = rc;
    }
    script.answers["select"] = rows;
  }
  // A statement with both kinds of cursor in turn.
  static constexpr SQLULEN KINDS[] = {SQL_CURSOR_FORWARD_ONLY, SQL_CURSOR_STATIC};

  OdbcStatement stmt{conn};
};

TEST_F(FwdRows, AShortRowsetAndTheEnd) {
  answer(3);
  Rowset rows(stmt, 10);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_EQ(rowTexts(1, 3), rows.text());
  for (SQLULEN i = 3; i < 10; ++i) EXPECT_EQ(SQL_ROW_NOROW, rows.status(i));
  SQLLEN count = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLRowCount(stmt, &count));
  EXPECT_EQ(3, count);
  for (int i = 0; i < 2; ++i) EXPECT_SQL(SQL_NO_DATA, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_SQL(SQL_ERROR, stmt, rows.fetch(SQL_FETCH_PRIOR));
  EXPECT_EQ("HY106", stmt.states());
  SQLINTEGER value;
  EXPECT_SQL(SQL_ERROR, stmt, SQLGetData(stmt, 1, SQL_C_SLONG, &value, 0, nullptr));
}

// Rows of a structure, and arrays, both moved by an offset; the two kinds of cursor, twice through.
TEST_F(FwdRows, LayoutsAndOffsets) {
  struct Row {
    char before;
    SQLINTEGER id;
    SQLLEN idLength;
    char name[7];
    SQLLEN nameLength;
  };
  ScriptAnswer answer = scriptedRows(4);
  answer.rows[1].values[1] = std::nullopt;
  answer.rows[2].values[1] = "longer than the buffer";
  script.answers["select"] = answer;
  for (const SQLULEN kind : KINDS) {
    Row rows[2][2];
    std::memset(rows, 'x', sizeof rows);
    SQLLEN offset = sizeof rows[0];  // the second pair of rows
    OdbcStatement by(conn);
    by.set(SQL_ATTR_CURSOR_TYPE, kind);
    by.set(SQL_ATTR_ROW_ARRAY_SIZE, 2);
    by.set(SQL_ATTR_ROW_BIND_TYPE, sizeof(Row));
    by.set(SQL_ATTR_ROW_BIND_OFFSET_PTR, &offset);
    SQLBindCol(by, 1, SQL_C_SLONG, &rows[0][0].id, 0, &rows[0][0].idLength);
    SQLBindCol(by, 2, SQL_C_CHAR, rows[0][0].name, sizeof rows[0][0].name, &rows[0][0].nameLength);
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    EXPECT_SQL(SQL_SUCCESS, by, SQLFetchScroll(by, SQL_FETCH_NEXT, 0));
    offset = 0;
    EXPECT_SQL(SQL_SUCCESS_WITH_INFO, by, SQLFetchScroll(by, SQL_FETCH_NEXT, 0));
    EXPECT_EQ("01004", by.states());
    const Row* const found[] = {&rows[1][0], &rows[1][1], &rows[0][0], &rows[0][1]};
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(i + 1, found[i]->id);
      EXPECT_EQ(4, found[i]->idLength);
      EXPECT_EQ('x', found[i]->before);
    }
    EXPECT_STREQ("row 1", found[0]->name);
    EXPECT_EQ(SQL_NULL_DATA, found[1]->nameLength);
    EXPECT_STREQ("longer", found[2]->name);
    EXPECT_EQ(22, found[2]->nameLength);
    EXPECT_STREQ("row 4", found[3]->name);
    if (kind == SQL_CURSOR_FORWARD_ONLY) continue;
    offset = sizeof rows[0];  // out of the cache, the other way round
    EXPECT_SQL(SQL_SUCCESS, by, SQLFetchScroll(by, SQL_FETCH_ABSOLUTE, 3));
    EXPECT_EQ(3, rows[1][0].id);
    EXPECT_EQ(22, rows[1][0].nameLength);
  }
}

TEST_F(FwdRows, LengthsAndIndicatorsApart) {
  ScriptAnswer answer = scriptedRows(2);
  answer.rows[0].values[1] = std::nullopt;
  script.answers["select"] = answer;
  for (const SQLULEN kind : KINDS) {
    OdbcStatement by(conn);
    by.set(SQL_ATTR_CURSOR_TYPE, kind);
    char names[2][8] = {};
    SQLLEN lengths[2] = {77, 77}, indicators[2] = {77, 77};
    SQLHDESC ard = descriptor(by, SQL_ATTR_APP_ROW_DESC);
    by.set(SQL_ATTR_ROW_ARRAY_SIZE, 2);
    ASSERT_SQL(SQL_SUCCESS, by, SQLBindCol(by, 2, SQL_C_CHAR, names, 8, lengths));
    ASSERT_EQ(SQL_SUCCESS, SQLSetDescField(ard, 2, SQL_DESC_INDICATOR_PTR, indicators, SQL_IS_POINTER));
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    ASSERT_SQL(SQL_SUCCESS, by, SQLFetchScroll(by, SQL_FETCH_NEXT, 0));
    EXPECT_EQ(77, lengths[0]);  // a null leaves it
    EXPECT_EQ(SQL_NULL_DATA, indicators[0]);
    EXPECT_EQ(5, lengths[1]);
    EXPECT_EQ(0, indicators[1]);
  }
}

TEST_F(FwdRows, ANullWithoutAnIndicator) {
  ScriptAnswer answer = scriptedRows(2);
  answer.rows[0].values[0] = std::nullopt;
  script.answers["select"] = answer;
  for (const SQLULEN size : {2, 1}) {
    OdbcStatement by(conn);
    SQLINTEGER ids[2] = {};
    by.set(SQL_ATTR_ROW_ARRAY_SIZE, size);
    SQLBindCol(by, 1, SQL_C_SLONG, ids, 0, nullptr);
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    EXPECT_SQL(size == 1 ? SQL_ERROR : SQL_SUCCESS_WITH_INFO, by, SQLFetchScroll(by, SQL_FETCH_NEXT, 0));
    EXPECT_EQ("22002", by.states());
    SQLLEN row = 0;
    SQLINTEGER column = 0;
    SQLGetDiagField(SQL_HANDLE_STMT, by, 1, SQL_DIAG_ROW_NUMBER, &row, 0, nullptr);
    SQLGetDiagField(SQL_HANDLE_STMT, by, 1, SQL_DIAG_COLUMN_NUMBER, &column, 0, nullptr);
    EXPECT_EQ(1, row);
    EXPECT_EQ(1, column);
    EXPECT_EQ(size == 1 ? 0 : 2, ids[1]);
    EXPECT_SQL(size == 1 ? SQL_SUCCESS : SQL_NO_DATA, by, SQLFetchScroll(by, SQL_FETCH_NEXT, 0));
  }
}

TEST_F(FwdRows, BadRows) {
  answer(3, 2);
  for (const SQLULEN kind : KINDS) {
    SCOPED_TRACE(kind);
    OdbcStatement by(conn);
    by.set(SQL_ATTR_CURSOR_TYPE, kind);
    Rowset rows(by, 3);
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    EXPECT_SQL(SQL_SUCCESS_WITH_INFO, by, rows.fetch(SQL_FETCH_NEXT));
    EXPECT_EQ("1:row 1 2:row 2! 3:row 3", rows.text());
    EXPECT_EQ("22003", by.states());
    if (kind == SQL_CURSOR_FORWARD_ONLY) continue;
    EXPECT_SQL(SQL_SUCCESS_WITH_INFO, by, rows.fetch(SQL_FETCH_FIRST));  // and again out of the cache
    EXPECT_EQ("1:row 1 2:row 2! 3:row 3", rows.text());
    SQLULEN number;
    ASSERT_SQL(SQL_SUCCESS, by, SQLSetPos(by, 2, SQL_POSITION, SQL_LOCK_NO_CHANGE));
    EXPECT_SQL(SQL_ERROR, by, SQLGetStmtAttr(by, SQL_ATTR_ROW_NUMBER, &number, 0, nullptr));
    EXPECT_EQ("HY109", by.states());
  }
  for (const bool extended : {false, true}) {
    OdbcStatement by(conn);
    SQLINTEGER id = 0;
    SQLULEN count = 0;
    SQLUSMALLINT status = 99;
    SQLBindCol(by, 1, SQL_C_SLONG, &id, 0, nullptr);
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    const auto next = [&] {
      return extended ? SQLExtendedFetch(by, SQL_FETCH_NEXT, 0, &count, &status)
                      : SQLFetchScroll(by, SQL_FETCH_NEXT, 0);
    };
    EXPECT_SQL(SQL_SUCCESS, by, next());
    EXPECT_SQL(extended ? SQL_SUCCESS_WITH_INFO : SQL_ERROR, by, next());
    EXPECT_EQ(extended ? "01S01 22003" : "22003", by.states());
    EXPECT_EQ(extended ? SQL_ROW_ERROR : 99, status);
    EXPECT_SQL(SQL_SUCCESS, by, next());
    EXPECT_EQ(3, id);
  }
}

// An error that is not one row's ends the row set; the rows before it are given with the error's record.
TEST_F(FwdRows, AnErrorThatEndsTheRowset) {
  script.faults = {{"SQLFetch", 3, SQL_ERROR, "HY000"}};
  Rowset rows(stmt, 4);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_EQ("HY000", stmt.states());
  EXPECT_EQ(rowTexts(1, 2), rows.text());
  SQLFreeStmt(stmt, SQL_CLOSE);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  script.counts.clear();
  script.faults = {{"SQLFetch", 1, SQL_ERROR, "HY000"}};
  EXPECT_SQL(SQL_ERROR, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_EQ("HY000", stmt.states());
}

// One among rows that are only passed over ends the result, and the fetch that did so tells.
TEST_F(FwdRows, AnErrorInRowsThatArePassedOver) {
  script.faults = {{"SQLFetch", 4, SQL_ERROR, "HY000"}};
  stmt.makeScrollable(2);
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, stmt, rows.fetch(SQL_FETCH_LAST));
  EXPECT_EQ("HY000", stmt.states());
  EXPECT_EQ(rowTexts(2, 3), rows.text());
  EXPECT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_FIRST));
}

// Each call that can say so says that it is still executing, once, also in the middle of a row set.
TEST_F(FwdRows, ResumesWhereTheDriverStopped) {
  for (const SQLULEN kind : KINDS) {
    SCOPED_TRACE(kind);
    OdbcStatement by(conn);
    by.set(SQL_ATTR_CURSOR_TYPE, kind);
    Rowset rows(by, 3);
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    script.counts.clear();
    script.faults = {{"SQLNumResultCols", 1, STILL, ""},
                     {"SQLDescribeCol", 2, STILL, ""},
                     {"SQLFetch", 2, STILL, ""},
                     {"SQLFetch", 4, STILL, ""}};
    int stops = 0;
    SQLRETURN rc;
    while ((rc = rows.fetch(SQL_FETCH_NEXT)) == STILL && stops < 9) ++stops;
    EXPECT_EQ(4, stops);
    EXPECT_SQL(SQL_SUCCESS, by, rc);
    EXPECT_EQ(rowTexts(1, 3), rows.text());
    EXPECT_SQL(SQL_SUCCESS, by, rows.fetch(SQL_FETCH_NEXT));
    EXPECT_EQ(rowTexts(4, 5), rows.text());
    script.faults.clear();
  }
}

TEST_F(FwdRows, SetUpRefusesAndCanBeTriedAgain) {
  script.answers["update"] = ScriptAnswer{};
  SQLINTEGER id = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_ERROR, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ("HY010", stmt.states());  // nothing is bound
  SQLBindCol(stmt, 3, SQL_C_SLONG, &id, 0, nullptr);
  EXPECT_SQL(SQL_ERROR, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ("07009", stmt.states());
  SQLFreeStmt(stmt, SQL_CLOSE);
  SQLBindCol(stmt, 3, SQL_C_SLONG, nullptr, 0, nullptr);
  SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 0, nullptr);
  for (const char* function : {"SQLNumResultCols", "SQLDescribeCol", "SQLSetStmtAttr", "SQLBindCol"}) {
    SCOPED_TRACE(function);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
    script.counts.clear();
    script.faults = {{function, 1, SQL_ERROR, "HY000"}};
    EXPECT_SQL(SQL_ERROR, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
    EXPECT_NE("", stmt.states());
    script.faults.clear();
    id = 0;
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));  // the driver writes where the application told it
    EXPECT_EQ(1, id);
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  }
}

// Columns of every size, among them none at all, over a list in the order of their addresses.
TEST_F(FwdRows, ABufferWithoutLengthIsTheApplicationsOwn) {
  char name[16] = "untouched";
  SQLLEN length = 0;
  SQLINTEGER id = 0;
  SQLBindCol(stmt, 2, SQL_C_CHAR, name, 0, &length);
  SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 0, nullptr);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_TRUE(SQL_SUCCEEDED(SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0))) << stmt.why();
  EXPECT_STREQ("untouched", name);
  EXPECT_EQ(5, length);
  EXPECT_EQ(1, id);
}

}  // namespace
