// Applications of one ODBC version over drivers of the other.

#include <cstring>

#include "tests/support/scripted_fixture.h"

namespace {

struct Bridge : ScriptedConnection {
  explicit Bridge(ScriptedVariant variant, SQLULEN version = SQL_OV_ODBC3,
                  SQLULEN cursors = SQL_CUR_USE_DRIVER)
      : ScriptedConnection({.variant = variant, .cursors = cursors, .version = version}) {
    ScriptAnswer dates;
    // The other version's code than the application's.
    dates.columns = {{"day", version == SQL_OV_ODBC3 ? SQLSMALLINT{SQL_DATE} : SQLSMALLINT{SQL_TYPE_DATE}}};
    dates.rows = {{{"2024-02-29"}, "", SQL_SUCCESS}};
    script.answers["dates"] = dates;
    script.takeLog("");
  }
};

// Whatever form a driver's SQLSTATE has, the application reads that of its own version.
TEST(Bridge, SqlstatesOfEitherVersion) {
  const struct {
    const char* version3;
    const char* version2;
    bool down = true, up = true;  // is mapped in this direction
  } pairs[] = {
      {"42000", "37000"},
      {"HY018", "70100"},
      {"42S01", "S0001"},
      {"42S02", "S0002"},
      {"42S11", "S0011"},
      {"42S12", "S0012"},
      {"42S21", "S0021"},
      {"42S22", "S0022"},
      {"42S23", "S0023"},
      {"22018", "22005"},
      {"07009", "S1002"},
      {"HY000", "S1000"},
      {"HY010", "S1010"},
      {"HYC00", "S1C00"},
      {"HYT00", "S1T00"},
      {"HY105", "S1105"},
      {"08S01", "08S01"},
      {"01004", "01004"},
      {"IM001", "IM001"},
      {"22007", "22008", true, false},
      {"07005", "24000", true, false},
      {"HY007", "S1010", true, false},
      {"HY019", "22003", true, false},
      {"HY024", "S1009", true, false},
      {"HYT01", "S1T00", true, false},
      {"01001", "01S03", false},
      {"01001", "01S04", false},
      {"07009", "S1093", false},
  };
  for (const SQLULEN version : {SQL_OV_ODBC3, SQL_OV_ODBC2}) {
    Bridge b(ScriptedVariant::Odbc3, version);
    const auto seen = [&](const char* given) {
      b.script.counts.clear();
      b.script.faults = {{"SQLEndTran", 1, SQL_ERROR, given}};
      return refusal(b.conn, b.conn.endTransaction(SQL_COMMIT));
    };
    const bool isOld = version == SQL_OV_ODBC2;
    for (const auto& pair : pairs) {
      const char* const expected = isOld ? pair.version2 : pair.version3;
      EXPECT_EQ(expected, pair.down || !isOld ? seen(pair.version3) : expected);
      EXPECT_EQ(expected, pair.up || isOld ? seen(pair.version2) : expected);
    }
  }
}

TEST(Bridge, TypesSpeakTheVersionOfWhoeverReadsThem) {
  for (const auto& [variant, version, told] :
       {std::tuple{ScriptedVariant::Odbc3, SQL_OV_ODBC2, SQL_TIMESTAMP},
        std::tuple{ScriptedVariant::Odbc2, SQL_OV_ODBC3, SQL_TYPE_TIMESTAMP}}) {
    Bridge b(variant, SQLULEN(version));
    OdbcStatement stmt(b.conn);
    SQLINTEGER value = 0;
    EXPECT_SQL(SQL_SUCCESS, stmt,
               SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQLSMALLINT(told), SQLSMALLINT(told), 10, 0, &value,
                                0, nullptr));
    const std::string bound = variant == ScriptedVariant::Odbc3 ? "93=93" : "11=11";
    EXPECT_EQ("SQLBindParameter " + bound, b.script.takeLog("SQLBindParameter"));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetTypeInfo(stmt, SQLSMALLINT(told)));
    EXPECT_EQ("SQLGetTypeInfo 0=11", b.script.takeLog("SQLGetTypeInfo"));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_RESET_PARAMS));
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("dates"));
    SQLSMALLINT type = 0;
    EXPECT_SQL(SQL_SUCCESS, stmt,
               SQLDescribeCol(stmt, 1, nullptr, 0, nullptr, &type, nullptr, nullptr, nullptr));
    EXPECT_EQ(version == SQL_OV_ODBC2 ? SQL_DATE : SQL_TYPE_DATE, type);
    SQLLEN number = 0;
    EXPECT_SQL(SQL_SUCCESS, stmt,
               SQLColAttribute(stmt, 1, SQL_DESC_CONCISE_TYPE, nullptr, 0, nullptr, &number));
    EXPECT_EQ(type, number);
    if (version == SQL_OV_ODBC2) continue;
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLColAttribute(stmt, 1, SQL_DESC_TYPE, nullptr, 0, nullptr, &number));
    EXPECT_EQ(SQL_DATETIME, number);
  }
}

// Rows of a catalog function: column `column` holds the type codes of dates, a null, and one that is the same
// in both versions.
ScriptAnswer catalogRows(SQLUSMALLINT column, bool isOld) {
  ScriptAnswer answer;
  answer.columns.assign(column, {"c", SQL_SMALLINT});
  for (const ScriptValue& code : {ScriptValue(isOld ? "9" : "91"), ScriptValue(isOld ? "10" : "92"),
                                  ScriptValue(isOld ? "11" : "93"), ScriptValue(), ScriptValue("12")}) {
    answer.rows.push_back({std::vector<ScriptValue>(column, code), "", SQL_SUCCESS});
  }
  return answer;
}

template <class Number>
std::string boundCode(const void* data, SQLLEN length) {
  Number number;
  std::memcpy(&number, data, sizeof number);
  return length == SQL_NULL_DATA ? "null" : std::to_string(static_cast<int>(number));
}
template <class Unit>
std::string boundText(const void* data, SQLLEN length) {
  if (length == SQL_NULL_DATA) return "null";
  const auto* units = static_cast<const Unit*>(data);
  EXPECT_EQ(0, units[length / SQLLEN(sizeof(Unit))]);
  return {units, units + length / SQLLEN(sizeof(Unit))};
}

const struct {
  SQLSMALLINT cType;
  SQLLEN size;
  std::string (*read)(const void* data, SQLLEN length);
} kCodeTypes[] = {
    {SQL_C_SHORT, 2, boundCode<SQLSMALLINT>}, {SQL_C_DEFAULT, 2, boundCode<SQLSMALLINT>},
    {SQL_C_LONG, 4, boundCode<SQLINTEGER>},   {SQL_C_STINYINT, 1, boundCode<SQLSCHAR>},
    {SQL_C_SBIGINT, 8, boundCode<SQLBIGINT>}, {SQL_C_DOUBLE, 8, boundCode<double>},
    {SQL_C_CHAR, 6, boundText<char>},
};

// The column DATA_TYPE speaks the application's version, however it is read, with the cursor library and
// without; other columns and other results are left alone.
TEST(Bridge, TypeCodesInCatalogResults) {
  for (const SQLULEN cursors : {SQL_CUR_USE_DRIVER, SQL_CUR_USE_ODBC})
    for (const bool isOld : {true, false})
      for (const SQLUSMALLINT column : {2, 5})
        for (const auto& type : kCodeTypes) {
          SCOPED_TRACE(testing::Message()
                       << cursors << isOld << " column " << column << " as " << type.cType);
          Bridge b(isOld ? ScriptedVariant::Odbc2 : ScriptedVariant::Odbc3,
                   SQLULEN(isOld ? SQL_OV_ODBC3 : SQL_OV_ODBC2), cursors);
          for (const char* name : {"SQLGetTypeInfo", "SQLColumns", "SQLTables"})
            b.script.answers[name] = catalogRows(6, isOld);
          const std::string codes[] = {isOld ? "91" : "9", isOld ? "92" : "10", isOld ? "93" : "11", "null",
                                       "12"};
          OdbcStatement stmt(b.conn);
          const auto list = [&](SQLUSMALLINT ofColumn) {
            EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
            return ofColumn == 2 ? SQLGetTypeInfo(stmt, SQL_ALL_TYPES)
                                 : SQLColumns(stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0);
          };
          char data[8 * 3] = {}, other[8 * 3] = {};
          SQLLEN lengths[3] = {}, otherLengths[3] = {};
          EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, column, type.cType, data, type.size, lengths));
          EXPECT_SQL(SQL_SUCCESS, stmt, SQLBindCol(stmt, 4, type.cType, other, type.size, otherLengths));
          // Row by row.
          ASSERT_SQL(SQL_SUCCESS, stmt, list(column));
          for (const std::string& code : codes) {
            ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
            EXPECT_EQ(code, type.read(data, *lengths));
            EXPECT_EQ(code == "12" || code == "null", type.read(other, *otherLengths) == code);
          }
          // In row sets, of which the last is short.
          EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetStmtOption(stmt, SQL_ROWSET_SIZE, 3));
          ASSERT_SQL(SQL_SUCCESS, stmt, list(column));
          SQLUSMALLINT statuses[3] = {};
          SQLULEN count = 0;
          for (size_t row = 0; row < 5; row += 3) {
            ASSERT_SQL(SQL_SUCCESS, stmt, SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, &count, statuses));
            ASSERT_EQ(row == 0 ? 3u : 2u, count);
            for (size_t i = 0; i < count; ++i)
              EXPECT_EQ(codes[row + i], type.read(data + i * size_t(type.size), lengths[i])) << row + i;
          }
          // A result of other things.
          EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_CLOSE));
          ASSERT_SQL(SQL_SUCCESS, stmt, SQLTables(stmt, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0));
          ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
          EXPECT_NE(codes[0], type.read(data, *lengths));
          // Unbound, by SQLGetData; a text also in pieces.
          EXPECT_SQL(SQL_SUCCESS, stmt, SQLFreeStmt(stmt, SQL_UNBIND));
          ASSERT_SQL(SQL_SUCCESS, stmt, list(column));
          for (const std::string& code : codes) {
            ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
            if (type.cType == SQL_C_CHAR && code.size() == 2) {
              EXPECT_SQL(SQL_SUCCESS_WITH_INFO, stmt, SQLGetData(stmt, column, type.cType, data, 2, lengths));
              EXPECT_EQ("01004", stmt.states());
              EXPECT_EQ(code.substr(0, 1) + "2", data + std::to_string(*lengths));
              EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetData(stmt, column, type.cType, data, 2, lengths));
              EXPECT_EQ(code.substr(1) + "1", data + std::to_string(*lengths));
              EXPECT_EQ(SQL_NO_DATA, SQLGetData(stmt, column, type.cType, data, 2, lengths));
              continue;
            }
            EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetData(stmt, column, type.cType, data, type.size, lengths));
            EXPECT_EQ(code, type.read(data, *lengths));
          }
        }
}

// A version 3 driver that refuses the application's version only knows its own codes.
TEST(Bridge, ADriverThatRefusesTheVersionGetsItsOwnTypes) {
  Bridge b(ScriptedVariant::Odbc3, SQL_OV_ODBC2);
  b.script.counts.clear();
  b.script.faults = {{"SQLSetEnvAttr", 1, SQL_ERROR, "HYC00"}};
  b.reconnect();
  const OdbcStatement stmt(b.conn);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetTypeInfo(stmt, SQL_TIMESTAMP));
  EXPECT_EQ("SQLGetTypeInfo 0=93", b.script.takeLog("SQLGetTypeInfo"));
}

TEST(Bridge, ADriverThatDoesNotKnowItsVersionIsOfVersion1) {
  Bridge b(ScriptedVariant::Odbc3);
  b.script.info.erase(SQL_DRIVER_ODBC_VER);
  b.reconnect();
  char version[8] = "";
  SQLSMALLINT length = 0;
  EXPECT_SQL(SQL_SUCCESS, b.conn, SQLGetInfo(b.conn, SQL_DRIVER_ODBC_VER, version, sizeof version, &length));
  EXPECT_STREQ("01.00", version);
  EXPECT_EQ("01004", warning(b.conn, SQLGetInfo(b.conn, SQL_DRIVER_ODBC_VER, version, 3, &length)));
  const OdbcStatement stmt(b.conn);
  const SQLSMALLINT type = SQL_TYPE_DATE;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetTypeInfo(stmt, type));
  EXPECT_EQ("SQLGetTypeInfo 0=9", b.script.takeLog("SQLGetTypeInfo"));
}

TEST(Bridge, ARowSetSizeOfTheConnectionCountsForItsStatements) {
  const Bridge b(ScriptedVariant::Odbc2, SQL_OV_ODBC2);
  const OdbcStatement before(b.conn);
  EXPECT_SQL(SQL_SUCCESS, b.conn, SQLSetConnectOption(b.conn, SQL_ROWSET_SIZE, 6));
  const OdbcStatement after(b.conn);
  for (const OdbcStatement* stmt : {&before, &after}) {
    SQLULEN rowset = 0;
    EXPECT_SQL(SQL_SUCCESS, *stmt, SQLGetStmtOption(*stmt, SQL_ROWSET_SIZE, &rowset));
    EXPECT_EQ(6u, rowset);
  }
}

TEST(Bridge, TheOldestDriversOnlyGoForward) {
  const Bridge b(ScriptedVariant::Odbc1);
  OdbcStatement stmt(b.conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  EXPECT_EQ("IM001", refusal(stmt, SQLFetchScroll(stmt, SQL_FETCH_LAST, 0)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_NEXT, 0));
  EXPECT_EQ("IM001", refusal(stmt, SQLMoreResults(stmt)));
  SQLINTEGER value = 5;
  for (const SQLSMALLINT direction : {SQL_PARAM_INPUT, SQL_PARAM_OUTPUT}) {
    const SQLRETURN rc =
        SQLBindParameter(stmt, 1, direction, SQL_C_SLONG, SQL_INTEGER, 10, 0, &value, 0, nullptr);
    EXPECT_EQ(direction == SQL_PARAM_INPUT ? "returned 0" : "IM001", refusal(stmt, rc));
  }
}

// An error in the only row is an error to SQLFetch and a warning to SQLExtendedFetch.
TEST(Bridge, AnErrorInTheOnlyRow) {
  for (const auto& [variant, extended] :
       {std::pair{ScriptedVariant::Odbc2, false}, {ScriptedVariant::Odbc3, true}}) {
    Bridge b(variant, SQLULEN(extended ? SQL_OV_ODBC2 : SQL_OV_ODBC3));
    b.script.answers["select"].rows[0].sqlstate = "22003";
    b.script.faults = {{"SQLExtendedFetch", 1, SQL_SUCCESS_WITH_INFO, ""}};
    OdbcStatement stmt(b.conn);
    SQLUSMALLINT status = 99;
    SQLULEN count = 99;
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
    if (extended) {
      EXPECT_SQL(SQL_ERROR, stmt, SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, &count, &status))
          << "the driver names no row in error";
    } else {
      EXPECT_SQL(SQL_ERROR, stmt, SQLFetch(stmt));
    }
    EXPECT_EQ("22003", stmt.states());
  }
}

TEST(Bridge, AVersion2ApplicationUsesItsOldCallsOverAVersion3Driver) {
  Bridge b(ScriptedVariant::Odbc3, SQL_OV_ODBC2);
  OdbcStatement stmt(b.conn);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetScrollOptions(stmt, SQL_CONCUR_READ_ONLY, SQL_SCROLL_FORWARD_ONLY, 2));
  EXPECT_EQ("SQLSetStmtAttr 6=0 SQLSetStmtAttr 7=1", b.script.takeLog("SQLSetStmtAttr"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetStmtOption(stmt, SQL_QUERY_TIMEOUT, 7));
  SQLULEN timeout = 0;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtOption(stmt, SQL_QUERY_TIMEOUT, &timeout));
  EXPECT_EQ(7u, timeout);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtOption(stmt, SQL_QUERY_TIMEOUT, nullptr));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  SQLLEN number = 0;
  SQLSMALLINT length = 0;
  char name[8];
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLColAttributes(stmt, 1, SQL_COLUMN_COUNT, nullptr, 0, nullptr, &number));
  EXPECT_EQ(2, number);
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLColAttributes(stmt, 1, SQL_COLUMN_NAME, name, sizeof name, &length, &number));
  EXPECT_STREQ("id", name);
}

TEST(Bridge, AnExtendedFetchThatStillExecutesKeepsTheDriversRowArray) {
  Bridge b(ScriptedVariant::Odbc3, SQL_OV_ODBC2);
  OdbcStatement stmt(b.conn);
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetStmtOption(stmt, SQL_ASYNC_ENABLE, SQL_ASYNC_ENABLE_ON));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  b.script.counts.clear();
  b.script.faults = {{"SQLFetchScroll", 1, SQL_STILL_EXECUTING, ""}};
  b.script.takeLog("");
  SQLULEN fetched = 0;
  SQLUSMALLINT status = 99;
  EXPECT_EQ(SQL_STILL_EXECUTING, SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, &fetched, &status));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLExtendedFetch(stmt, SQL_FETCH_NEXT, 0, &fetched, &status));
  EXPECT_EQ(
      "SQLSetStmtAttr 27=1 SQLSetStmtAttr 26=1 SQLSetStmtAttr 25=1 SQLFetchScroll SQLFetchScroll "
      "SQLSetStmtAttr 27=1 SQLSetStmtAttr 26=0 SQLSetStmtAttr 25=0",
      b.script.takeLog("SQL"));
  EXPECT_EQ(1u, fetched);
}

TEST(Bridge, ParameterArraysGoEitherWay) {
  for (auto [variant, version] :
       {std::pair{ScriptedVariant::Odbc3, SQL_OV_ODBC2}, {ScriptedVariant::Odbc2, SQL_OV_ODBC3}}) {
    Bridge b(variant, SQLULEN(version));
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

// The cursor library accepts parameter settings that an old driver cannot obey: the execution is refused.
TEST(Bridge, ParameterSettingsThatAnOldDriverCannotObey) {
  Bridge b(ScriptedVariant::Odbc2, SQLULEN(SQL_OV_ODBC3), SQLULEN(SQL_CUR_USE_ODBC));
  SQLLEN offset = 0;
  SQLUSMALLINT statuses[2] = {};
  SQLINTEGER value[2] = {1, 2};
  const std::pair<SQLINTEGER, void*> settings[] = {
      {SQL_ATTR_PARAM_BIND_OFFSET_PTR, &offset},
      {SQL_ATTR_PARAM_OPERATION_PTR, statuses},
      {SQL_ATTR_PARAM_STATUS_PTR, statuses},
      {SQL_ATTR_PARAM_BIND_TYPE, reinterpret_cast<void*>(SQLULEN(16))},
  };
  for (const auto& [attribute, setting] : settings) {
    OdbcStatement stmt(b.conn);
    EXPECT_SQL(
        SQL_SUCCESS, stmt,
        SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 10, 0, value, 0, nullptr));
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(SQL_ATTR_PARAMSET_SIZE, SQLULEN(2)));
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(attribute, setting));
    EXPECT_SQL(SQL_ERROR, stmt, stmt.execute("insert"));
    EXPECT_EQ("HYC00", stmt.states()) << attribute;
    EXPECT_EQ(0u, b.script.executed().size());
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.set(attribute, static_cast<void*>(nullptr)));
    b.script.takeLog("");
    EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("insert"));
    EXPECT_EQ("SQLParamOptions 22=2", b.script.takeLog("SQLParamOptions"));
    b.script.executions.clear();
  }
}

// Statement attributes of ODBC 3 over a driver of ODBC 2: what cannot be bridged is refused without a driver
// call, and reads as its default.
TEST(Bridge, AttributesOfVersion3OverAnOldDriver) {
  Bridge b(ScriptedVariant::Odbc2);
  OdbcStatement stmt(b.conn);
  SQLLEN cell = 0;
  SQLHDESC own = nullptr;
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &own, 0, nullptr));
  const struct {
    SQLINTEGER attribute;
    void* value;
    const char* refused;  // or null
  } table[] = {
      {SQL_ATTR_ROW_BIND_OFFSET_PTR, &cell, "HYC00"},
      {SQL_ATTR_ROW_BIND_OFFSET_PTR, nullptr, nullptr},
      {SQL_ATTR_ROW_OPERATION_PTR, &cell, "HYC00"},
      {SQL_ATTR_CURSOR_SCROLLABLE, reinterpret_cast<void*>(SQL_SCROLLABLE), "HYC00"},
      {SQL_ATTR_CURSOR_SENSITIVITY, nullptr, nullptr},
      {SQL_ATTR_ENABLE_AUTO_IPD, reinterpret_cast<void*>(SQL_TRUE), "HYC00"},
      {SQL_ATTR_METADATA_ID, reinterpret_cast<void*>(SQL_TRUE), "HYC00"},
      {SQL_ATTR_METADATA_ID, nullptr, nullptr},
      {SQL_ATTR_APP_ROW_DESC, own, nullptr},
      {SQL_ATTR_APP_ROW_DESC, nullptr, nullptr},
      {65536 + SQL_BIND_TYPE, reinterpret_cast<void*>(SQLULEN(4)), "HY092"},
  };
  b.script.takeLog("");
  for (const auto& row : table) {
    EXPECT_SQL(row.refused ? SQL_ERROR : SQL_SUCCESS, stmt, stmt.set(row.attribute, row.value))
        << row.attribute;
    if (row.refused) {
      EXPECT_EQ(row.refused, stmt.states()) << row.attribute;
    }
  }
  for (const SQLINTEGER attribute :
       {SQL_ATTR_CURSOR_SCROLLABLE, SQL_ATTR_CURSOR_SENSITIVITY, SQL_ATTR_ENABLE_AUTO_IPD,
        SQL_ATTR_METADATA_ID, SQL_ATTR_ROW_BIND_TYPE}) {
    SQLULEN value = 99;
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetStmtAttr(stmt, attribute, &value, 0, nullptr)) << attribute;
    EXPECT_EQ(0u, value) << attribute;
  }
  EXPECT_EQ("", b.script.takeLog("SQL"));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select 1"));
  char name[8];
  SQLSMALLINT length = 0;
  EXPECT_EQ("HY091", refusal(stmt, SQLColAttribute(stmt, 1, SQL_DESC_BASE_COLUMN_NAME, name, sizeof name,
                                                   &length, nullptr)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLColAttribute(stmt, 1, SQL_DESC_NAME, name, sizeof name, &length, nullptr));
  EXPECT_STREQ("id", name);
}

TEST(Bridge, ConnectionAttributesOverADriverOfEitherVersion) {
  for (const ScriptedVariant variant : {ScriptedVariant::Odbc2, ScriptedVariant::Odbc3}) {
    Bridge b(variant);
    b.conn.disconnect();
    const bool isOld = variant == ScriptedVariant::Odbc2;
    // Not zero-ended: what lies after the length must not be read.
    const std::vector<char> exact{'c', 'a', 't', 'z'};
    auto* catalog = const_cast<char*>(exact.data());
    EXPECT_SQL(SQL_SUCCESS, b.conn,
               SQLSetConnectAttr(b.conn, kScriptedTextAttribute, sqlText("early"), SQL_NTS));
    b.reconnect();
    char value[300] = "";
    SQLINTEGER length = 0;
    EXPECT_SQL(SQL_SUCCESS, b.conn,
               SQLGetConnectAttr(b.conn, kScriptedTextAttribute, value, sizeof value, &length));
    EXPECT_STREQ("early", value);
    EXPECT_EQ(5, length);
    for (const SQLINTEGER attribute : {SQL_ATTR_CURRENT_CATALOG, kScriptedTextAttribute}) {
      EXPECT_SQL(SQL_SUCCESS, b.conn, SQLSetConnectAttr(b.conn, attribute, catalog, 4));
      EXPECT_SQL(SQL_SUCCESS, b.conn, SQLGetConnectAttr(b.conn, attribute, value, sizeof value, &length));
      EXPECT_STREQ("catz", value) << attribute;
      EXPECT_EQ("01004", warning(b.conn, SQLGetConnectAttr(b.conn, attribute, value, 3, &length)));
      EXPECT_STREQ("ca", value);
      EXPECT_EQ(4, length);
    }
    EXPECT_EQ("HY090", refusal(b.conn, SQLSetConnectAttr(b.conn, SQL_ATTR_CURRENT_CATALOG, catalog, -7)));
    EXPECT_EQ("HY009", refusal(b.conn, SQLSetConnectAttr(b.conn, SQL_ATTR_CURRENT_CATALOG, nullptr, 0)));
    EXPECT_SQL(SQL_SUCCESS, b.conn, SQLSetConnectOption(b.conn, SQL_ACCESS_MODE, SQL_MODE_READ_ONLY));
    SQLUINTEGER mode = 99;
    EXPECT_SQL(SQL_SUCCESS, b.conn, SQLGetConnectOption(b.conn, SQL_ACCESS_MODE, &mode));
    EXPECT_EQ(SQLUINTEGER(SQL_MODE_READ_ONLY), mode);
    EXPECT_SQL(isOld ? SQL_ERROR : SQL_SUCCESS, b.conn,
               SQLSetConnectAttr(b.conn, SQL_ATTR_CONNECTION_TIMEOUT, SQLPOINTER(5), 0));
    EXPECT_SQL(isOld ? SQL_ERROR : SQL_SUCCESS, b.conn, SQLSetConnectAttr(b.conn, 70000, SQLPOINTER(5), 0));
    if (isOld) {
      EXPECT_EQ("HY092", b.conn.states());
    }
  }
}

TEST(CursorNames, AreKeptHereWhenTheDriverKeepsNone) {
  for (const ScriptedVariant variant : {ScriptedVariant::Odbc3, ScriptedVariant::NoDescriptors}) {
    const Bridge b(variant);
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
    EXPECT_EQ("3C000", refusal(second, second.setName("MINE")));
    EXPECT_EQ("01004", warning(first, SQLGetCursorName(first, reinterpret_cast<SQLCHAR*>(name), 3, &length)));
    EXPECT_STREQ("mi", name);
  }
}

TEST(CursorNames, BadOnesAreRefused) {
  const Bridge b(ScriptedVariant::Odbc3);
  OdbcStatement stmt(b.conn);
  for (const std::string& bad :
       {std::string(), std::string("SQL_CUR1"), std::string("sqlcurx"), std::string(4000, 'x')}) {
    EXPECT_SQL(SQL_ERROR, stmt, stmt.setName(bad));
    EXPECT_EQ("34000", stmt.states()) << bad;
  }
  EXPECT_EQ("HY009", refusal(stmt, SQLSetCursorName(stmt, nullptr, SQL_NTS)));
  EXPECT_EQ("HY090", refusal(stmt, SQLSetCursorName(stmt, sqlText("c"), -9)));
}

}  // namespace
