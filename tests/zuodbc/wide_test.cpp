// Texts between applications and drivers of either form: random texts against a model of code points, and
// what the standard says about bytes, characters and bad input.

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <cstring>
#include <random>

#include "gmock/gmock.h"
#include "tests/support/scripted_fixture.h"
#include "zuodbc/call/encoding.h"
#include "zuodbc/handles/handles.h"

namespace {

using CodePoints = std::u32string;

std::u16string utf16(const CodePoints& text) {
  std::u16string out;
  for (const char32_t c : text) {
    if (c < 0x10000) {
      out += static_cast<char16_t>(c);
    } else {
      out += static_cast<char16_t>(0xD7C0 + (c >> 10));
      out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    }
  }
  return out;
}

std::string utf8(const CodePoints& text) {
  std::string out;
  for (const char32_t c : text) {
    const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr unsigned char kFirst[] = {0, 0xC0, 0xE0, 0xF0};
    out += static_cast<char>(kFirst[more] | (c >> (6 * more)));
    for (int i = more - 1; i >= 0; --i) out += static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
  }
  return out;
}

// The bytes of a text as a speaker of the code page has them, and of its characters one by one.
std::string encoded(const CodePoints& text, long page) {
  if (page == dm::kUtf8) return utf8(text);
  if (page != dm::kUtf16) return {text.begin(), text.end()};  // Latin-1
  const std::u16string wide = utf16(text);
  return {reinterpret_cast<const char*>(wide.data()), wide.size() * 2};
}

// What the driver of the random test holds and was given.
struct NativeDriver {
  std::string text;   // in its own code page
  std::string given;  // the last text that came in
  long page = 0;
} native;

template <class Char>
SQLRETURN nativeSql(SQLHDBC, Char* in, SQLINTEGER length, Char* out, SQLINTEGER size, SQLINTEGER* told) {
  size_t units = 0;
  while (length == SQL_NTS ? in[units] != 0 : units < static_cast<size_t>(length)) ++units;
  native.given.assign(reinterpret_cast<char*>(in), units * sizeof(Char));
  const size_t full = native.text.size() / sizeof(Char);
  if (told) *told = static_cast<SQLINTEGER>(full);
  if (!out || size <= 0) return SQL_SUCCESS;
  const size_t fits = std::min(full, static_cast<size_t>(size) - 1);
  std::memcpy(out, native.text.data(), fits * sizeof(Char));
  out[fits] = 0;
  return fits < full ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

class WideTest : public ScriptedTest {
 protected:
  WideTest() : ScriptedTest({.cursors = SQL_CUR_USE_DRIVER}) {}
  DMConn& handle() { return *static_cast<DMConn*>(static_cast<SQLHDBC>(conn)); }
};

constexpr int kGuard = 0x5A5A;

SQLRETURN callNative(SQLHDBC h, SQLCHAR* in, SQLINTEGER n, SQLCHAR* out, SQLINTEGER size, SQLINTEGER* told) {
  return SQLNativeSql(h, in, n, out, size, told);
}
SQLRETURN callNative(SQLHDBC h, SQLWCHAR* in, SQLINTEGER n, SQLWCHAR* out, SQLINTEGER size,
                     SQLINTEGER* told) {
  return SQLNativeSqlW(h, in, n, out, size, told);
}

// One call, whose arguments are made of exactly as much memory as they say.
template <class Char>
void callAndCompare(SQLHDBC conn, const CodePoints& sent, const CodePoints& held, long page, SQLINTEGER size,
                    bool counted) {
  const std::string in = encoded(sent, page);
  const size_t units = in.size() / sizeof(Char);
  std::vector<Char> text(counted && units != 0 ? units : units + 1);
  if (units != 0) std::memcpy(text.data(), in.data(), in.size());
  std::vector<Char> out(static_cast<size_t>(size) + 1, static_cast<Char>(kGuard));
  SQLINTEGER told = -77;
  const SQLRETURN rc = callNative(conn, text.data(), counted ? static_cast<SQLINTEGER>(units) : SQL_NTS,
                                  out.data(), size, &told);
  EXPECT_EQ(encoded(sent, native.page), native.given);

  const std::string full = encoded(held, page);
  EXPECT_EQ(static_cast<SQLINTEGER>(full.size() / sizeof(Char)), told);
  EXPECT_EQ(static_cast<Char>(kGuard), out[static_cast<size_t>(size)]);
  const bool fits = told < size;
  if (size == 0) return;
  EXPECT_EQ(fits ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO, rc) << diagnostics(SQL_HANDLE_DBC, conn);
  // The longest prefix of whole characters. A text that is passed on untouched is cut by the driver.
  std::string expected;
  for (const char32_t c : held) {
    const std::string one = encoded(CodePoints(1, c), page);
    if (expected.size() + one.size() > (static_cast<size_t>(size) - 1) * sizeof(Char)) break;
    expected += one;
  }
  if (page == native.page) expected = full.substr(0, (static_cast<size_t>(size) - 1) * sizeof(Char));
  EXPECT_EQ(expected, std::string(reinterpret_cast<char*>(out.data()), expected.size()));
  EXPECT_EQ(0, out[expected.size() / sizeof(Char)]);
}

TEST_F(WideTest, RandomTextsAgreeWithCodePoints) {
  std::mt19937 random(20);
  const char32_t kLimits[] = {0x7F, 0xFF, 0xD7FF, 0x10FFFF};
  for (int round = 0; round < 4000; ++round) {
    SCOPED_TRACE(round);
    const bool isLatin = random() % 2;
    const auto text = [&] {
      CodePoints made(random() % 12 + (random() % 50 == 0 ? 700 : 0), U'x');
      for (char32_t& c : made) {
        c = 1 + random() % kLimits[random() % (isLatin ? 2 : 4)];
        if (c >= 0xD800 && c < 0xE000) c = U'\U0001F600';
      }
      return made;
    };
    const long page = isLatin ? dm::kLatin1 : dm::kUtf8;
    const bool driverIsWide = random() % 2, appIsWide = random() % 2;
    dm::useCodePage(handle(), page);
    native.page = driverIsWide ? dm::kUtf16 : page;
    handle().driverFunctions->SQLNativeSql = driverIsWide ? nullptr : nativeSql<SQLCHAR>;
    handle().driverFunctions->SQLNativeSqlW = driverIsWide ? nativeSql<SQLWCHAR> : nullptr;
    const CodePoints sent = text(), held = text();
    native.text = encoded(held, native.page);
    const auto size = static_cast<SQLINTEGER>(random() % 2 ? random() % 16 : 3000);
    const bool counted = random() % 2;
    if (appIsWide) {
      callAndCompare<SQLWCHAR>(conn, sent, held, dm::kUtf16, size, counted);
    } else {
      callAndCompare<SQLCHAR>(conn, sent, held, page, size, counted);
    }
    if (testing::Test::HasFailure()) return;
  }
}

// A code page that ICU converts, with characters of one and two bytes: Shift-JIS.
TEST_F(WideTest, TwoByteCharactersAreCutWhole) {
  dm::useCodePage(handle(), 2024);
  handle().driverFunctions->SQLNativeSql = nullptr;
  handle().driverFunctions->SQLNativeSqlW = nativeSql<SQLWCHAR>;
  native.page = dm::kUtf16;
  native.text = encoded(U"a\u8868\u793A", dm::kUtf16);  // the second byte of one of them is a backslash
  SQLCHAR in[] = "\x95\x5C", out[5];
  SQLINTEGER told = 0;
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, SQLNativeSql(conn, in, SQL_NTS, out, sizeof out, &told));
  EXPECT_EQ(5, told);
  EXPECT_STREQ("a\x95\x5C", reinterpret_cast<char*>(out));
  EXPECT_EQ(encoded(U"\u8868", dm::kUtf16), native.given);
}

// What cannot be converted: a text that goes in is refused, one that comes out has a question mark.
TEST_F(WideTest, WhatTheOtherFormLacks) {
  handle().driverFunctions->SQLNativeSql = nativeSql<SQLCHAR>;
  SQLWCHAR lone[] = {'a', 0xD800, 'b', 0}, chinese[] = {0x6F22, 0}, out[8];
  SQLINTEGER told = 0;
  native.text = "same";
  native.given = "untouched";
  for (const long page : {dm::kUtf8, dm::kLatin1, 999999L}) {
    dm::useCodePage(handle(), page);
    EXPECT_EQ("HY000", refusal(conn, SQLNativeSqlW(conn, lone, SQL_NTS, out, 8, &told)));
  }
  dm::useCodePage(handle(), dm::kLatin1);
  EXPECT_EQ(SQL_ERROR, SQLNativeSqlW(conn, chinese, SQL_NTS, out, 8, &told));
  EXPECT_EQ("untouched", native.given);

  dm::useCodePage(handle(), dm::kUtf8);
  native.text = "a\xFF";
  EXPECT_EQ("01000", warning(conn, SQLNativeSqlW(conn, chinese, SQL_NTS, out, 8, &told)));
  EXPECT_EQ(0xFFFD, out[1]);

  // A driver that takes UTF-16 gets what the application has, whatever it is.
  handle().driverFunctions->SQLNativeSqlW = nativeSql<SQLWCHAR>;
  EXPECT_EQ(SQL_SUCCESS, SQLNativeSqlW(conn, lone, 3, nullptr, 0, nullptr));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(lone), 6), native.given);
}

// Which lengths are in bytes, which in characters, and which sizes are none.
TEST_F(WideTest, BytesAndCharacters) {
  SQLWCHAR buffer[64];
  SQLSMALLINT length = 0;
  const auto text = [&](size_t units) {
    std::string narrow;
    for (size_t i = 0; i < units; ++i) narrow += static_cast<char>(buffer[i]);
    return narrow;
  };
  EXPECT_SQL(SQL_SUCCESS, conn, SQLGetInfoW(conn, SQL_DRIVER_NAME, buffer, sizeof buffer, &length));
  EXPECT_EQ(16, length);
  EXPECT_EQ("scripted", text(8));
  EXPECT_EQ("01004", warning(conn, SQLGetInfoW(conn, SQL_DRIVER_NAME, buffer, 8, &length)));
  EXPECT_EQ("scr", text(3));
  EXPECT_EQ(16, length);
  EXPECT_EQ(0, buffer[3]);
  EXPECT_SQL(SQL_SUCCESS, conn, SQLGetInfoW(conn, SQL_DRIVER_NAME, nullptr, 0, &length));
  EXPECT_EQ(16, length);
  for (const SQLSMALLINT wrong : {SQLSMALLINT{7}, SQLSMALLINT{-2}}) {
    EXPECT_EQ("HY090", refusal(conn, SQLGetInfoW(conn, SQL_DRIVER_NAME, buffer, wrong, &length)));
    EXPECT_EQ(SQL_ERROR,
              SQLGetDiagFieldW(SQL_HANDLE_DBC, conn, 1, SQL_DIAG_SQLSTATE, buffer, wrong, &length));
  }
  EXPECT_SQL(SQL_SUCCESS, conn, SQLGetInfoW(conn, SQL_TXN_CAPABLE, buffer, 2, &length));  // a number

  SQLWCHAR catalog[] = {'d', 'b', 0xE4, 0};
  SQLINTEGER told = 0;
  EXPECT_SQL(SQL_SUCCESS, conn, SQLSetConnectAttrW(conn, kScriptedTextAttribute, catalog, 6));
  EXPECT_SQL(SQL_SUCCESS, conn, SQLGetConnectAttrW(conn, kScriptedTextAttribute, buffer, 64, &told));
  EXPECT_EQ(6, told);
  EXPECT_EQ(0xE4, buffer[2]);

  const OdbcStatement stmt(conn);
  script.answers["select"] = scriptedRows(1);
  script.answers["select"].columns[1].name = "n\xE4me";
  SQLWCHAR select[] = {'s', 'e', 'l', 'e', 'c', 't', 0}, name[] = {'C', 0xFC, 0};
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetCursorNameW(stmt, name, 2));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecDirectW(stmt, select, 6));
  EXPECT_SQL(SQL_SUCCESS, stmt,
             SQLDescribeColW(stmt, 2, buffer, 5, &length, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(4, length);
  EXPECT_EQ(0xE4, buffer[1]);
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO, SQLColAttributeW(stmt, 2, SQL_DESC_NAME, buffer, 4, &length, nullptr));
  EXPECT_EQ(8, length);
  EXPECT_EQ("n", text(1));
  EXPECT_EQ("HY090", refusal(stmt, SQLColAttributeW(stmt, 2, SQL_DESC_NAME, buffer, 3, &length, nullptr)));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLGetCursorNameW(stmt, buffer, 3, &length));
  EXPECT_EQ(2, length);
  EXPECT_EQ(0xFC, buffer[1]);

  // A diagnostic in either form, with the SQLSTATE in sixteen bits.
  script.faults.push_back({"SQLExecute", 1, SQL_ERROR, "42000"});
  EXPECT_EQ(SQL_ERROR, SQLSetCursorNameW(stmt, name, -7));
  SQLWCHAR state[6];
  EXPECT_EQ(SQL_SUCCESS_WITH_INFO,
            SQLGetDiagRecW(SQL_HANDLE_STMT, stmt, 1, state, nullptr, buffer, 8, &length));
  EXPECT_EQ(std::u16string(u"HY090"), std::u16string(reinterpret_cast<char16_t*>(state)));
  EXPECT_EQ("[zulib]", text(7));
  EXPECT_EQ(static_cast<int>(std::strlen("[zulib][ODBC Driver Manager] Invalid string or buffer length")),
            length);
}

// An unmodified PostgreSQL driver connected by a wide program, with the cursor library between them: names
// and values beyond Latin-1, and an update of the row under the cursor.
class WideCursorTest : public PostgresFixture {};

std::vector<SQLWCHAR> wide(const std::u16string& text) {
  return {text.c_str(), text.c_str() + text.size() + 1};
}

TEST_F(WideCursorTest, PositionedUpdateWithNamesBeyondLatin1) {
  for (const char* library : {"psqlodbcw.so", "psqlodbca.so"}) {
    SCOPED_TRACE(library);
    const bool driverIsWide = std::string_view(library) == "psqlodbcw.so";
    std::string where = connectionString("IANAAppCodePage=106;");
    where.replace(where.find("psqlodbca.so"), 12, library);
    OdbcConnection conn;
    std::vector<SQLWCHAR> text(where.begin(), where.end());
    ASSERT_SQL(SQL_SUCCESS, conn,
               SQLDriverConnectW(conn, nullptr, text.data(), SQLSMALLINT(text.size()), nullptr, 0, nullptr,
                                 SQL_DRIVER_NOPROMPT));
    const auto run = [&](SQLHSTMT stmt, const std::u16string& sql) {
      return SQLExecDirectW(stmt, wide(sql).data(), SQL_NTS);
    };
    OdbcStatement stmt(conn), other(conn);
    ASSERT_TRUE(
        SQL_SUCCEEDED(run(other, u"create temp table \"t\u6F22\" (\"\u5B57\" integer, v varchar(20))")))
        << other.why();
    ASSERT_SQL(SQL_SUCCESS, other,
               run(other, u"insert into \"t\u6F22\" values (1, '\u00FC'), (2, '\U0001F600')"));
    stmt.makeScrollable();
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLSetCursorNameW(stmt, wide(u"c\u0443\u0440").data(), SQL_NTS));
    ASSERT_SQL(SQL_SUCCESS, stmt, run(stmt, u"select \"\u5B57\", v from \"t\u6F22\" order by 1"));
    EXPECT_EQ(1, static_cast<DMStmt*>(static_cast<SQLHSTMT>(stmt))->isUTF8App());
    EXPECT_EQ(driverIsWide, static_cast<DMStmt*>(static_cast<SQLHSTMT>(stmt))->isUTF8Driver());
    SQLINTEGER number = 0;
    SQLCHAR value[20];
    SQLLEN length = 0;
    SQLBindCol(stmt, 1, SQL_C_SLONG, &number, 0, nullptr);
    // What is bound the driver converts: this one has no narrow form of it.
    SQLBindCol(stmt, 2, driverIsWide ? SQL_C_WCHAR : SQL_C_CHAR, value, sizeof value, &length);
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_LAST, 0));
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_FIRST, 0));
    EXPECT_EQ(1, number);
    ASSERT_SQL(SQL_SUCCESS, other,
               run(other, u"update \"t\u6F22\" set \"\u5B57\" = 7 where current of c\u0443\u0440"));
    SQLSMALLINT told = 0;
    SQLWCHAR name[8];
    ASSERT_SQL(SQL_SUCCESS, stmt,
               SQLDescribeColW(stmt, 1, name, 8, &told, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(1, told);
    EXPECT_EQ(0x5B57, name[0]);
    SQLFreeStmt(stmt, SQL_CLOSE);
    EXPECT_EQ("7", conn.value("select max(\""
                              "\xE5\xAD\x97"
                              "\") from \"t"
                              "\xE6\xBC\xA2"
                              "\""));
    EXPECT_EQ(SQL_ERROR, run(other, u"select * from \u6F22"));
    SQLWCHAR message[200];
    SQLGetDiagRecW(SQL_HANDLE_STMT, other, 1, nullptr, nullptr, message, 200, &told);
    EXPECT_NE(std::u16string::npos, std::u16string(message, message + told).find(u'\u6F22'));
  }
}

}  // namespace
