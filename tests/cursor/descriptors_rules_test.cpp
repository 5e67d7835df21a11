// Descriptor calls: what may change under a cursor, the bookmark record, the header, and a descriptor that
// is shared between statements.

#include "tests/support/fault_allocator.h"
#include "tests/support/scripted_fixture.h"
#include "zulib/cursor/internal/bindings.h"

namespace {

class Descriptors : public ScriptedTest {
 protected:
  static SQLRETURN set(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT field, const void* value) {
    return SQLSetDescField(desc, record, field, const_cast<void*>(value), 0);
  }
  static SQLRETURN set(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT field, SQLULEN value) {
    return set(desc, record, field, pointer(value));
  }
  template <class T>
  static void expectField(T expected, SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT number) {
    T value{};
    SQLINTEGER length = 0;
    EXPECT_EQ(SQL_SUCCESS, SQLGetDescField(desc, record, number, &value, sizeof value, &length))
        << states(desc);
    EXPECT_EQ(expected, value) << record << " " << number;
  }
  static void expectRefused(const char* state, SQLHDESC desc, SQLRETURN rc) {
    EXPECT_EQ(SQL_ERROR, rc);
    EXPECT_EQ(state, states(desc));
  }
  static std::string states(SQLHDESC desc) { return sqlstates(SQL_HANDLE_DESC, desc); }

  OdbcStatement stmt{conn};
};

TEST_F(Descriptors, UnderACursorOnlyAddressesChange) {
  SQLINTEGER id = 0, other = 0;
  SQLLEN length = 0, indicator = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 4, &length));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
  for (const SQLSMALLINT fixed :
       {SQL_DESC_CONCISE_TYPE, SQL_DESC_TYPE, SQL_DESC_OCTET_LENGTH, SQL_DESC_SCALE})
    expectRefused("HY011", ard, set(ard, 1, fixed, SQLULEN{4}));
  for (const SQLSMALLINT fixed :
       {SQL_DESC_ARRAY_SIZE, SQL_DESC_BIND_TYPE, SQL_DESC_COUNT, SQL_DESC_ARRAY_STATUS_PTR})
    expectRefused("HY011", ard, set(ard, 0, fixed, SQLULEN{1}));
  expectRefused("HY011", ard, set(ard, 2, SQL_DESC_DATA_PTR, &other));  // no such binding
  expectRefused("HY011", ard, SQLSetDescRec(ard, 1, SQL_C_SSHORT, 0, 4, 0, 0, &other, &length, &length));

  const int calls = script.count("SQLSetDescField");
  EXPECT_EQ(SQL_SUCCESS, set(ard, 1, SQL_DESC_DATA_PTR, &other)) << states(ard);
  EXPECT_EQ(SQL_SUCCESS, set(ard, 1, SQL_DESC_OCTET_LENGTH_PTR, &indicator));
  EXPECT_EQ(SQL_SUCCESS, set(ard, 1, SQL_DESC_INDICATOR_PTR, &indicator));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(2, other);
  EXPECT_EQ(4, indicator);
  EXPECT_EQ(SQL_SUCCESS, SQLSetDescRec(ard, 1, SQL_C_SLONG, 0, 4, 0, 0, &id, &length, &length))
      << states(ard);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(3, id);
  EXPECT_EQ(calls, script.count("SQLSetDescField"));
}

// A binding that could not be kept is not left on the list in halves; what the driver refuses is not kept.
TEST_F(Descriptors, RecordsComeAndGo) {
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
  SQLINTEGER cells[4] = {};
  sweepAllocations([&] {
    const bool bound =
        SQLBindCol(stmt, 1, SQL_C_SLONG, &cells[0], 4, nullptr) == SQL_SUCCESS &&
        set(ard, 2, SQL_DESC_DATA_PTR, &cells[1]) == SQL_SUCCESS &&
        SQLSetDescRec(ard, 3, SQL_C_SLONG, 0, 4, 0, 0, &cells[2], nullptr, nullptr) == SQL_SUCCESS;
    const FaultPause pause;
    EXPECT_EQ(bound ? "" : "HY001", stmt.states() + states(ard));
    EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(stmt, SQL_UNBIND));
    EXPECT_EQ(nullptr, object(stmt).ard->bindList);
    return bound;
  });
  for (const SQLSMALLINT column : {1, 2, 3})
    EXPECT_EQ(SQL_SUCCESS, set(ard, column, SQL_DESC_DATA_PTR, &cells[column]));
  EXPECT_EQ(SQL_SUCCESS, set(ard, 0, SQL_DESC_COUNT, SQLULEN{2}));
  EXPECT_EQ(nullptr, FindBindInfo(object(stmt).ard, 3));
  script.faults = {{"SQLSetDescField", script.count("SQLSetDescField") + 1, SQL_ERROR, "HY016", 2}};
  expectRefused("HY016", ard, set(ard, 1, SQL_DESC_DATA_PTR, &cells[0]));
  expectRefused("HY016", ard, set(ard, 0, SQL_DESC_BIND_TYPE, SQLULEN{32}));
  expectField<void*>(&cells[1], ard, 1, SQL_DESC_DATA_PTR);
  expectField(SQLINTEGER{0}, ard, 0, SQL_DESC_BIND_TYPE);
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_BIND_TYPE, 32));  // it has another way

  const struct {
    short type, code;
    tagETBINDTYPE form;
    short concise;  // 0: there is none
  } types[] = {{9, 0, ET_BIND_CONCISE, 9},    {9, 1, ET_BIND_VERBOSE, 9},     {9, 3, ET_BIND_VERBOSE, 11},
               {9, 4, ET_BIND_VERBOSE, 0},    {9, 0, ET_BIND_VERBOSE, 0},     {10, 0, ET_BIND_CONCISE, 10},
               {10, 1, ET_BIND_VERBOSE, 101}, {10, 13, ET_BIND_VERBOSE, 113}, {10, 14, ET_BIND_VERBOSE, 0},
               {4, 99, ET_BIND_VERBOSE, 4},   {4, 0, ET_BIND_NONE, 0}};
  for (const auto& step : types) {
    short concise = 0;
    EXPECT_EQ(step.concise != 0, MapToConciseType(step.type, step.code, step.form, &concise));
    EXPECT_EQ(step.concise, concise) << step.type << " " << step.code;
  }
}

TEST_F(Descriptors, TheHeaderAndTheBookmarkRecordAreTheLibrarysOwn) {
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC), ird = descriptor(stmt, SQL_ATTR_IMP_ROW_DESC);
  SQLLEN cell = 0;
  expectField(SQLSMALLINT{SQL_C_DEFAULT}, ard, 0, SQL_DESC_CONCISE_TYPE);
  const int calls = script.count("SQLSetDescField");
  for (const SQLSMALLINT number : {SQL_DESC_LENGTH, SQL_DESC_OCTET_LENGTH}) {
    expectRefused("HY090", ard, set(ard, 0, number, SQLULEN{8}));
    EXPECT_EQ(SQL_SUCCESS, set(ard, 0, number, SQLULEN{0}));
    EXPECT_EQ(SQL_SUCCESS, set(ard, 0, number, SQLULEN{4}));
  }
  expectRefused("HY090", ard, SQLSetDescRec(ard, 0, SQL_C_BOOKMARK, 0, 8, 0, 0, &cell, nullptr, nullptr));

  EXPECT_EQ(SQL_SUCCESS, set(ard, 0, SQL_DESC_CONCISE_TYPE, SQLULEN{SQL_C_BOOKMARK & 0xFFFF}));
  expectField(SQLSMALLINT{SQL_C_BOOKMARK}, ard, 0, SQL_DESC_TYPE);
  expectField(SQLLEN{4}, ard, 0, SQL_DESC_OCTET_LENGTH);
  const SQLSMALLINT addresses[] = {SQL_DESC_DATA_PTR,         SQL_DESC_OCTET_LENGTH_PTR,
                                   SQL_DESC_INDICATOR_PTR,    SQL_DESC_BIND_OFFSET_PTR,
                                   SQL_DESC_ARRAY_STATUS_PTR, SQL_DESC_ROWS_PROCESSED_PTR};
  for (const SQLSMALLINT number : addresses) {
    EXPECT_EQ(SQL_SUCCESS, set(ard, 0, number, &cell));
    expectField<void*>(&cell, ard, 0, number);
  }
  for (const SQLULEN size : {0, 2}) {
    EXPECT_EQ(SQL_SUCCESS, set(ard, 0, SQL_DESC_ARRAY_SIZE, size));
    expectField(size, ard, 0, SQL_DESC_ARRAY_SIZE);
  }
  EXPECT_EQ(calls, script.count("SQLSetDescField"));
  EXPECT_EQ(SQL_SUCCESS, set(ard, 0, SQL_DESC_BIND_TYPE, SQLULEN{24}));
  EXPECT_EQ(calls + 1, script.count("SQLSetDescField"));

  SQLSMALLINT type = 0, precision = -1, nullable = -1, nameLength = -1;
  SQLLEN length = 0;
  SQLCHAR name[8] = "unset";
  const auto record = [&](SQLHDESC desc) {
    return SQLGetDescRec(desc, 0, name, sizeof name, &nameLength, &type, nullptr, &length, &precision,
                         nullptr, &nullable);
  };
  expectRefused("24000", ird, record(ird));
  expectRefused("07009", ird, SQLGetDescField(ird, 0, SQL_DESC_TYPE, &type, 0, nullptr));
  expectRefused("HY007", ird, SQLGetDescField(ird, 1, SQL_DESC_TYPE, &type, 0, nullptr));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_USE_BOOKMARKS, SQL_UB_VARIABLE));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  for (const auto& [desc, expected] : {std::pair{ard, SQL_C_BOOKMARK}, {ird, SQL_C_BINARY}}) {
    EXPECT_EQ(SQL_SUCCESS, record(desc)) << states(desc);
    EXPECT_EQ(expected, type);
    EXPECT_EQ(4, length);
    EXPECT_EQ(0, nameLength);
  }
  EXPECT_EQ(4, precision);
  EXPECT_EQ(0, nullable);
  expectField(SQLSMALLINT{SQL_UNNAMED}, ird, 0, SQL_DESC_UNNAMED);
}

TEST_F(Descriptors, AnExplicitOneUnderACursor) {
  const SQLHDESC shared = newDescriptor();
  auto drop = std::make_unique<OdbcStatement>(conn);
  OdbcStatement& other = *drop;
  SQLINTEGER id = 0, moved = 0, bound = 0;
  const auto fetch = [&] { ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0)); };
  for (OdbcStatement* user : {&stmt, &other})
    ASSERT_SQL(SQL_SUCCESS, *user, user->set(SQL_ATTR_APP_ROW_DESC, shared));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 4, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  fetch();
  EXPECT_EQ(shared, descriptor(stmt, SQL_ATTR_APP_ROW_DESC));  // not the copy that is in use
  expectRefused("HYC00", shared, SQLFreeHandle(SQL_HANDLE_DESC, shared));
  for (const SQLINTEGER attribute : {SQL_ATTR_APP_ROW_DESC, SQL_ATTR_APP_PARAM_DESC})
    EXPECT_SQL(SQL_ERROR, stmt, stmt.set(attribute, shared));
  for (const SQLRETURN rc :
       {SQLBindCol(other, 2, SQL_C_SLONG, &bound, 4, nullptr), SQLFreeStmt(other, SQL_UNBIND)})
    EXPECT_EQ("HY011", refusal(other, rc));

  EXPECT_EQ(SQL_SUCCESS, set(shared, 1, SQL_DESC_DATA_PTR, &moved)) << states(shared);
  fetch();
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &bound, 4, nullptr));
  drop.reset();  // a statement that goes leaves the records that the cursor of another reads through
  fetch();
  EXPECT_EQ("1 2 3", std::to_string(id) + " " + std::to_string(moved) + " " + std::to_string(bound));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));  // through the application's descriptor again
  EXPECT_EQ(1, bound);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DESC, shared));
}

}  // namespace
