// Descriptor calls: what may change under a cursor, the bookmark record, the header, and a descriptor that
// is shared between statements.

#include "tests/cursor/entry_fixture.h"
#include "tests/support/fault_allocator.h"
#include "zulib/cursor/internal/bindings.h"

namespace {

class Descriptors : public EntryTest {
 protected:
  SQLRETURN setField(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT field, const void* value) {
    return SQLSetDescField(desc, record, field, const_cast<void*>(value), 0);
  }
  SQLRETURN setField(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT field, SQLULEN value) {
    return setField(desc, record, field, pointer(value));
  }
  template <class T>
  static T field(SQLHDESC desc, SQLSMALLINT record, SQLSMALLINT number) {
    T value{};
    SQLINTEGER length = 0;
    EXPECT_EQ(SQL_SUCCESS, SQLGetDescField(desc, record, number, &value, sizeof value, &length))
        << record << " " << number << states(desc);
    return value;
  }
  static std::string states(SQLHDESC desc) { return sqlstates(SQL_HANDLE_DESC, desc); }

  SQLHDESC explicitDescriptor() {
    SQLHDESC desc = SQL_NULL_HDESC;
    EXPECT_EQ(SQL_SUCCESS, SQLAllocHandle(SQL_HANDLE_DESC, conn, &desc));
    return desc;
  }

  OdbcStatement stmt{conn};
};

TEST_F(Descriptors, UnderACursorOnlyAddressesChange) {
  SQLINTEGER id = 0, other = 0;
  SQLLEN length = 0, indicator = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 4, &length));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);

  for (SQLSMALLINT fixed : {SQL_DESC_CONCISE_TYPE, SQL_DESC_TYPE, SQL_DESC_OCTET_LENGTH, SQL_DESC_SCALE}) {
    EXPECT_EQ(SQL_ERROR, setField(ard, 1, fixed, SQLULEN{4})) << fixed;
    EXPECT_EQ("HY011", states(ard));
  }
  for (SQLSMALLINT fixed :
       {SQL_DESC_ARRAY_SIZE, SQL_DESC_BIND_TYPE, SQL_DESC_COUNT, SQL_DESC_ARRAY_STATUS_PTR})
    EXPECT_EQ(SQL_ERROR, setField(ard, 0, fixed, SQLULEN{1})) << fixed;
  EXPECT_EQ(SQL_ERROR, setField(ard, 2, SQL_DESC_DATA_PTR, &other));  // no such binding
  EXPECT_EQ(SQL_ERROR, SQLSetDescRec(ard, 1, SQL_C_SSHORT, 0, 4, 0, 0, &other, &length, &length));
  EXPECT_EQ("HY011", states(ard));

  const int calls = script.count("SQLSetDescField");
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 1, SQL_DESC_DATA_PTR, &other)) << states(ard);
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 1, SQL_DESC_OCTET_LENGTH_PTR, &indicator));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 1, SQL_DESC_INDICATOR_PTR, &indicator));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(1, id);
  EXPECT_EQ(2, other);
  EXPECT_EQ(4, indicator);
  EXPECT_EQ(SQL_SUCCESS, SQLSetDescRec(ard, 1, SQL_C_SLONG, 0, 4, 0, 0, &id, &length, &length))
      << states(ard);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(3, id);
  EXPECT_EQ(calls, script.count("SQLSetDescField"));
}

TEST_F(Descriptors, RecordsComeAndGo) {
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
  SQLINTEGER cells[4] = {};
  for (SQLSMALLINT column : {1, 2, 3}) {
    EXPECT_EQ(SQL_SUCCESS, setField(ard, column, SQL_DESC_CONCISE_TYPE, SQLULEN{SQL_C_LONG}));
    EXPECT_EQ(SQL_SUCCESS, setField(ard, column, SQL_DESC_DATA_PTR, &cells[column]));
  }
  EXPECT_EQ(&cells[2], field<void*>(ard, 2, SQL_DESC_DATA_PTR));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_COUNT, SQLULEN{2}));
  EXPECT_EQ(nullptr, FindBindInfo(object(stmt).ard, 3));
  EXPECT_EQ(2, field<SQLSMALLINT>(ard, 0, SQL_DESC_COUNT));

  // What the driver refuses is not kept here either.
  script.faults.push_back({"SQLSetDescField", script.count("SQLSetDescField") + 1, SQL_ERROR, "HY016"});
  EXPECT_EQ(SQL_ERROR, setField(ard, 1, SQL_DESC_DATA_PTR, &cells[0]));
  EXPECT_EQ("HY016", states(ard));
  EXPECT_EQ(&cells[1], FindBindInfo(object(stmt).ard, 1)->data);

  // Verbose types are mapped when a cursor binds them; some name no type.
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 1, SQL_DESC_TYPE, SQLULEN{SQL_INTERVAL}));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 1, SQL_DESC_DATETIME_INTERVAL_CODE, SQLULEN{14}));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_SQL(SQL_ERROR, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ("HY021", stmt.states());

  const struct {
    short type, code;
    tagETBINDTYPE form;
    int mapped;
    short concise;
  } types[] = {
      {9, 0, ET_BIND_CONCISE, 1, 9},    {9, 1, ET_BIND_VERBOSE, 1, 9},     {9, 3, ET_BIND_VERBOSE, 1, 11},
      {9, 4, ET_BIND_VERBOSE, 0, 0},    {9, 0, ET_BIND_VERBOSE, 0, 0},     {10, 0, ET_BIND_CONCISE, 1, 10},
      {10, 1, ET_BIND_VERBOSE, 1, 101}, {10, 13, ET_BIND_VERBOSE, 1, 113}, {10, 14, ET_BIND_VERBOSE, 0, 0},
      {4, 99, ET_BIND_VERBOSE, 1, 4},   {4, 0, ET_BIND_NONE, 0, 0}};
  for (const auto& step : types) {
    short concise = 0;
    EXPECT_EQ(step.mapped, MapToConciseType(step.type, step.code, step.form, &concise));
    EXPECT_EQ(step.concise, concise) << step.type << " " << step.code;
  }
}

TEST_F(Descriptors, TheBookmarkRecordIsTheLibrarysOwn) {
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
  SQLUINTEGER bookmark = 0;
  SQLLEN length = 0;
  EXPECT_EQ(SQL_C_DEFAULT, field<SQLSMALLINT>(ard, 0, SQL_DESC_CONCISE_TYPE));
  const int calls = script.count("SQLSetDescField");
  for (SQLSMALLINT number : {SQL_DESC_LENGTH, SQL_DESC_OCTET_LENGTH}) {
    EXPECT_EQ(SQL_ERROR, setField(ard, 0, number, SQLULEN{8}));
    EXPECT_EQ("HY090", states(ard));
    EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, number, SQLULEN{0}));
    EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, number, SQLULEN{4}));
  }
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_CONCISE_TYPE, SQLULEN{SQL_C_BOOKMARK & 0xFFFF}));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_PRECISION, SQLULEN{1}));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_DATA_PTR, &bookmark));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_OCTET_LENGTH_PTR, &length));
  EXPECT_EQ(calls, script.count("SQLSetDescField"));
  EXPECT_EQ(SQL_C_BOOKMARK, field<SQLSMALLINT>(ard, 0, SQL_DESC_TYPE));
  EXPECT_EQ(4, field<SQLLEN>(ard, 0, SQL_DESC_OCTET_LENGTH));
  EXPECT_EQ(&bookmark, field<void*>(ard, 0, SQL_DESC_DATA_PTR));
  EXPECT_EQ(&length, field<void*>(ard, 0, SQL_DESC_OCTET_LENGTH_PTR));
  EXPECT_EQ(SQL_ERROR, SQLSetDescRec(ard, 0, SQL_C_BOOKMARK, 0, 8, 0, 0, &bookmark, nullptr, nullptr));
  EXPECT_EQ("HY090", states(ard));

  SQLSMALLINT type = 0, precision = -1, nullable = -1, nameLength = -1;
  SQLCHAR name[8] = "unset";
  const auto record = [&](SQLHDESC desc) {
    return SQLGetDescRec(desc, 0, name, sizeof name, &nameLength, &type, nullptr, &length, &precision,
                         nullptr, &nullable);
  };
  EXPECT_EQ(SQL_SUCCESS, record(ard));
  EXPECT_EQ(SQL_C_BOOKMARK, type);
  EXPECT_STREQ("", reinterpret_cast<char*>(name));

  SQLHDESC ird = descriptor(stmt, SQL_ATTR_IMP_ROW_DESC);
  EXPECT_EQ(SQL_ERROR, record(descriptor(stmt, SQL_ATTR_IMP_PARAM_DESC)));
  EXPECT_EQ(SQL_ERROR, record(ird));
  EXPECT_EQ("24000", states(ird));
  EXPECT_EQ(SQL_ERROR, SQLGetDescField(ird, 0, SQL_DESC_TYPE, &type, 0, nullptr));
  EXPECT_EQ("07009", states(ird));
  EXPECT_EQ(SQL_ERROR, SQLGetDescField(ird, 1, SQL_DESC_TYPE, &type, 0, nullptr));
  EXPECT_EQ("HY007", states(ird));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_EQ(SQL_ERROR, record(ird));
  EXPECT_EQ("07009", states(ird));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_USE_BOOKMARKS, SQL_UB_VARIABLE));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  EXPECT_EQ(SQL_SUCCESS, record(ird)) << states(ird);
  EXPECT_EQ(SQL_C_BINARY, type);
  EXPECT_EQ(4, length);
  EXPECT_EQ(4, precision);
  EXPECT_EQ(0, nullable);
  EXPECT_EQ(0, nameLength);
  EXPECT_EQ(SQL_C_BINARY, field<SQLSMALLINT>(ird, 0, SQL_DESC_CONCISE_TYPE));
  EXPECT_EQ(4u, field<SQLULEN>(ird, 0, SQL_DESC_LENGTH));
  EXPECT_EQ(SQL_UNNAMED, field<SQLSMALLINT>(ird, 0, SQL_DESC_UNNAMED));
}

// A binding that could not be kept is not left on the list in halves, and the descriptor works on.
TEST_F(Descriptors, BindingsTellOfExhaustedMemory) {
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
  SQLINTEGER cells[3] = {};
  sweepAllocations([&] {
    const bool bound =
        SQLBindCol(stmt, 1, SQL_C_SLONG, &cells[0], 4, nullptr) == SQL_SUCCESS &&
        setField(ard, 2, SQL_DESC_DATA_PTR, &cells[1]) == SQL_SUCCESS &&
        SQLSetDescRec(ard, 3, SQL_C_SLONG, 0, 4, 0, 0, &cells[2], nullptr, nullptr) == SQL_SUCCESS;
    const FaultPause pause;
    EXPECT_EQ(bound ? "" : "HY001", stmt.states() + states(ard));
    EXPECT_EQ(SQL_SUCCESS, SQLFreeStmt(stmt, SQL_UNBIND));
    EXPECT_EQ(nullptr, object(stmt).ard->bindList);
    return bound;
  });
}

TEST_F(Descriptors, TheHeaderIsKeptHere) {
  SQLHDESC ard = descriptor(stmt, SQL_ATTR_APP_ROW_DESC);
  SQLLEN offset = 0;
  SQLULEN processed = 0;
  SQLUSMALLINT statuses[2] = {};
  const int calls = script.count("SQLSetDescField");
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_ARRAY_SIZE, SQLULEN{2}));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_BIND_OFFSET_PTR, &offset));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_ARRAY_STATUS_PTR, statuses));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_ROWS_PROCESSED_PTR, &processed));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_ARRAY_SIZE, SQLULEN{0}));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_ARRAY_SIZE, SQLULEN{2}));
  EXPECT_EQ(calls, script.count("SQLSetDescField"));
  EXPECT_EQ(SQL_SUCCESS, setField(ard, 0, SQL_DESC_BIND_TYPE, SQLULEN{24}));
  EXPECT_EQ(calls + 1, script.count("SQLSetDescField"));

  EXPECT_EQ(2u, field<SQLULEN>(ard, 0, SQL_DESC_ARRAY_SIZE));
  EXPECT_EQ(&offset, field<void*>(ard, 0, SQL_DESC_BIND_OFFSET_PTR));
  EXPECT_EQ(statuses, field<void*>(ard, 0, SQL_DESC_ARRAY_STATUS_PTR));
  EXPECT_EQ(&processed, field<void*>(ard, 0, SQL_DESC_ROWS_PROCESSED_PTR));
  EXPECT_EQ(24, field<SQLINTEGER>(ard, 0, SQL_DESC_BIND_TYPE));

  // What the driver refuses is reported and not kept; as a statement attribute it has another way.
  script.faults.push_back({"SQLSetDescField", script.count("SQLSetDescField") + 1, SQL_ERROR, "IM001", 2});
  EXPECT_EQ(SQL_ERROR, setField(ard, 0, SQL_DESC_BIND_TYPE, SQLULEN{32}));
  EXPECT_EQ("IM001", states(ard));
  EXPECT_EQ(24, field<SQLINTEGER>(ard, 0, SQL_DESC_BIND_TYPE));
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_ROW_BIND_TYPE, 32));
  EXPECT_EQ(32, field<SQLINTEGER>(ard, 0, SQL_DESC_BIND_TYPE));
}

TEST_F(Descriptors, AnExplicitOneUnderACursor) {
  SQLHDESC shared = explicitDescriptor();
  auto drop = std::make_unique<OdbcStatement>(conn);
  OdbcStatement& other = *drop;
  SQLINTEGER id = 0, moved = 0, bound = 0;
  for (OdbcStatement* user : {&stmt, &other})
    ASSERT_SQL(SQL_SUCCESS, *user, user->set(SQL_ATTR_APP_ROW_DESC, shared));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 4, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(1, id);
  EXPECT_EQ(shared, descriptor(stmt, SQL_ATTR_APP_ROW_DESC));  // not the copy that is in use

  EXPECT_EQ(SQL_ERROR, SQLFreeHandle(SQL_HANDLE_DESC, shared));
  EXPECT_EQ("HYC00", states(shared));
  EXPECT_SQL(SQL_ERROR, other, SQLBindCol(other, 2, SQL_C_SLONG, &bound, 4, nullptr));
  EXPECT_EQ("HY011", other.states());

  EXPECT_EQ(SQL_SUCCESS, setField(shared, 1, SQL_DESC_DATA_PTR, &moved)) << states(shared);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(2, moved);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 1, SQL_C_SLONG, &bound, 4, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(3, bound);

  // A statement that goes leaves the records that the cursor of another reads through.
  EXPECT_SQL(SQL_ERROR, other, SQLFreeStmt(other, SQL_UNBIND));
  EXPECT_EQ("HY011", other.states());
  drop.reset();
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ(4, bound);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));  // through the application's descriptor again
  EXPECT_EQ(1, bound);
  EXPECT_EQ(SQL_SUCCESS, SQLFreeHandle(SQL_HANDLE_DESC, shared));
}

}  // namespace
