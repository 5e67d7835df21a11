// What the driver is bound to: never to memory that has been freed, never to the application's while a cursor
// exists, and to the application's again afterwards.

#include "tests/support/scripted_fixture.h"
#include "zuodbc/bindinfo.h"

namespace {

class DriverBinding : public ScriptedTest {
 protected:
  explicit DriverBinding(ScriptedVariant variant = ScriptedVariant::Odbc3)
      : ScriptedTest({.variant = variant}) {
    script.answers["none"] = ScriptAnswer{scriptedRows(1).columns, {}, -1, {}};
  }

  OdbcStatement stmt{conn};
};

// Every way in which a cursor can end, with a driver that fails the calls of it in turn: the statement can be
// fetched from afterwards, and the driver writes where it may.
TEST_F(DriverBinding, SurvivesADriverThatRefusesToUnbind) {
  for (const char* function :
       {"SQLFreeStmt", "SQLBindCol", "SQLFreeHandle", "SQLSetStmtAttr", "SQLCloseCursor"}) {
    for (const bool ownDescriptor : {false, true}) {
      for (int nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(function + std::to_string(nth) + (ownDescriptor ? " own" : ""));
        auto by = std::make_unique<OdbcStatement>(conn);
        if (ownDescriptor) by->set(SQL_ATTR_APP_ROW_DESC, newDescriptor());
        by->makeScrollable(1);
        Rowset rows(*by, 1);
        ASSERT_SQL(SQL_SUCCESS, *by, by->execute("select"));
        ASSERT_SQL(SQL_SUCCESS, *by, rows.fetch(SQL_FETCH_NEXT));
        script.counts.clear();
        script.faults = {{function, nth, SQL_ERROR, "HY000"}};
        if (std::string(function) == "SQLFreeHandle") SQLFreeHandle(SQL_HANDLE_STMT, *by);
        SQLFreeStmt(*by, SQL_CLOSE);
        script.faults.clear();
        SQLFreeStmt(*by, SQL_CLOSE);
        if (by->execute("select") == SQL_SUCCESS) SQLFetch(*by);
      }
    }
  }
}

TEST_F(DriverBinding, EveryFixedTypeHasItsSize) {
  ScriptAnswer answer = scriptedRows(4);
  answer.columns[1].sqlType = SQL_GUID;
  script.answers["select"] = answer;
  for (const SQLSMALLINT type : {SQL_C_GUID, SQL_C_DEFAULT}) {
    struct Row {
      SQLGUID guid;
      SQLLEN length;
    } rows[2] = {};
    OdbcStatement by(conn);
    by.makeScrollable(2);
    by.set(SQL_ATTR_ROW_BIND_TYPE, sizeof(Row));
    ASSERT_SQL(SQL_SUCCESS, by, SQLBindCol(by, 2, type, &rows[0].guid, 0, &rows[0].length));
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    EXPECT_TRUE(SQL_SUCCEEDED(SQLFetchScroll(by, SQL_FETCH_NEXT, 0))) << by.why();
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ("row " + std::to_string(i + 1), std::string(reinterpret_cast<char*>(&rows[i].guid), 5));
    const BindInfo* const bind = object(by).ard->bindList;
    EXPECT_EQ(16, bind->length);
    EXPECT_EQ(SQL_C_GUID, bind->cType);
  }
  char unknown[8];
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 2, 0x4001, unknown, 0, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_EQ("HY021", refusal(stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)));
}

TEST_F(DriverBinding, DescriptorsAreNotCopiedUnderACursor) {
  SQLINTEGER id = 0, moved = 0;
  SQLHDESC shared = newDescriptor(), spare = newDescriptor();
  OdbcStatement other(conn), own(conn);
  for (OdbcStatement* user : {&stmt, &other})
    ASSERT_SQL(SQL_SUCCESS, *user, user->set(SQL_ATTR_APP_ROW_DESC, shared));
  for (OdbcStatement* user : {&stmt, &own}) {
    ASSERT_SQL(SQL_SUCCESS, *user, SQLBindCol(*user, 1, SQL_C_SLONG, &id, 4, nullptr));
    ASSERT_SQL(SQL_SUCCESS, *user, user->execute("select"));
    ASSERT_SQL(SQL_SUCCESS, *user, SQLFetchScroll(*user, SQL_FETCH_NEXT, 0));
  }
  const SQLHDESC implicit = descriptor(own, SQL_ATTR_APP_ROW_DESC);
  const std::pair<SQLHDESC, SQLHDESC> refused[] = {{spare, shared}, {spare, implicit}, {implicit, spare}};
  for (const auto& [from, to] : refused) {
    EXPECT_EQ("HY011", refusal(SQL_HANDLE_DESC, to, SQLCopyDesc(from, to)));
  }
  EXPECT_EQ(SQL_SUCCESS, SQLCopyDesc(shared, spare));  // its driver side is the application's

  // A new address through one statement reaches the cursors of all that share the descriptor.
  EXPECT_SQL(SQL_SUCCESS, other, SQLBindCol(other, 1, SQL_C_SLONG, &moved, 4, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(1, id);
  EXPECT_EQ(2, moved);
  ASSERT_SQL(SQL_SUCCESS, other, other.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, other, SQLFetch(other));
  EXPECT_EQ(1, moved);
}

TEST_F(DriverBinding, SetUpRefusesAndCanBeTriedAgain) {
  script.answers["update"] = ScriptAnswer{};
  SQLINTEGER id = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_EQ("HY010", refusal(stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)));  // nothing is bound
  SQLBindCol(stmt, 3, SQL_C_SLONG, &id, 0, nullptr);
  EXPECT_EQ("07009", refusal(stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)));
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

// A driver that is of version 2.5 by its own word, but has descriptors: a row array that has reached it with
// one is not fetched into buffers of one row.
TEST_F(DriverBinding, HoldsOneRowInADriverOfVersion2WithDescriptors) {
  script.info[SQL_DRIVER_ODBC_VER] = "02.50";
  const OdbcConnection plain(driver.connectionString(), SQL_CUR_USE_DRIVER);
  const OdbcConnection scrolling(driver.connectionString());
  SQLHDESC source = SQL_NULL_HDESC, own = SQL_NULL_HDESC;
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DESC, plain, &source));
  ASSERT_EQ(SQL_SUCCESS, SQLSetDescField(source, 0, SQL_DESC_ARRAY_SIZE, pointer(5), 0));
  ASSERT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DESC, scrolling, &own));
  for (const bool copies : {false, true}) {
    OdbcStatement by(scrolling);
    ASSERT_SQL(SQL_SUCCESS, by, by.set(SQL_ATTR_APP_ROW_DESC, own));
    EXPECT_EQ(SQL_SUCCESS, copies ? SQLCopyDesc(source, own)
                                  : SQLSetDescField(own, 1, SQL_DESC_ARRAY_SIZE, pointer(5), 0));
    by.makeScrollable(2);
    Rowset rows(by, 2);
    ASSERT_SQL(SQL_SUCCESS, by, by.execute("select"));
    ASSERT_SQL(SQL_SUCCESS, by, rows.fetch(SQL_FETCH_LAST));
    EXPECT_EQ(rowTexts(4, 5), rows.text());
  }
}

// The driver is still executing what the set-up of a cursor asked it: the application repeats its own call.
TEST_F(DriverBinding, APendingCallOfTheSetUpIsTheFetch) {
  const SQLHDESC own = newDescriptor();
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_APP_ROW_DESC, own));
  stmt.makeScrollable(2);
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  script.counts.clear();
  script.faults = {{"SQLSetStmtAttr", 1, SQL_STILL_EXECUTING, "", 2}};
  for (const SQLRETURN rc : {SQL_STILL_EXECUTING, SQL_STILL_EXECUTING, SQL_SUCCESS})
    ASSERT_SQL(rc, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_EQ(rowTexts(1, 2), rows.text());
  // It cannot be replaced as an option of ODBC 2 either.
  EXPECT_SQL(SQL_ERROR, stmt, SQLSetStmtOption(stmt, SQL_ATTR_APP_ROW_DESC, 0));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  EXPECT_EQ(own, descriptor(stmt, SQL_ATTR_APP_ROW_DESC));
}

// With a length of 0 the driver writes nothing, so it may have the application's own pointer.
TEST_F(DriverBinding, ABufferWithoutLengthIsTheApplicationsOwn) {
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

class WithoutCopies : public DriverBinding {
 protected:
  WithoutCopies() : DriverBinding(ScriptedVariant::NoDescriptors) {}
};

// The driver has one set of bindings for both statements, and the first cursor has it.
TEST_F(WithoutCopies, ASharedDescriptorServesOneCursor) {
  SQLINTEGER id = 0;
  SQLHDESC shared = newDescriptor();
  OdbcStatement other(conn);
  for (OdbcStatement* user : {&stmt, &other}) {
    ASSERT_SQL(SQL_SUCCESS, *user, user->set(SQL_ATTR_APP_ROW_DESC, shared));
    ASSERT_SQL(SQL_SUCCESS, *user, user->execute("select"));
  }
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 4, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ("HYC00", refusal(SQL_HANDLE_DESC, shared, SQLFreeHandle(SQL_HANDLE_DESC, shared)));
  EXPECT_EQ("HY010", refusal(other, SQLFetch(other)));
  EXPECT_EQ("HY011", refusal(other, SQLFetchScroll(other, SQL_FETCH_NEXT, 0)));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(2, id);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  ASSERT_SQL(SQL_SUCCESS, other, SQLFetch(other));
  EXPECT_EQ(1, id);
}

}  // namespace
