// The driver over a real server: values there and back, results, transactions, the cursor library.

#include <chrono>
#include <cstring>
#include <random>

#include "tests/pgwire/support.h"

namespace {

class PgwireStatements : public PgwireFixture {};

std::string utf16(const std::string& utf8) {
  std::u16string out;
  for (std::size_t i = 0; i < utf8.size();) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    const int n = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t c = n == 1 ? lead : lead & (0x7F >> n);
    for (int k = 1; k < n; ++k)
      c = c << 6 | (static_cast<unsigned char>(utf8[i + static_cast<unsigned>(k)]) & 0x3F);
    i += static_cast<unsigned>(n);
    if (c >= 0x10000) {
      out += static_cast<char16_t>(0xD7C0 + (c >> 10));
      out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    } else {
      out += static_cast<char16_t>(c);
    }
  }
  return {reinterpret_cast<const char*>(out.data()), 2 * out.size()};
}

std::string hex(const std::string& bytes) {
  std::string out;
  char digits[3];
  for (const char c : bytes) {
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(c));
    out += digits;
  }
  return out;
}

// Text and bytes of any length, sent in one piece or put in many, come back equal in pieces of any size, in
// any column order, and while another statement takes the wire away in the middle of a value.
TEST_F(PgwireStatements, RandomLongValues) {
  static const char* const kCharacters[] = {"a", "Z", "7", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                                            "'", "\\"};
  OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  std::mt19937 random(20260101);
  const auto dice = [&](unsigned n) { return random() % n; };
  for (int round = 0; round < 60; ++round) {
    const unsigned length = round % 20 == 19 ? 150000 + dice(60000) : dice(3) ? dice(300) : dice(30000);
    std::string text;
    std::string bytes;
    for (unsigned i = 0; i < length; ++i) text += kCharacters[dice(dice(2) ? 8 : 3)];
    for (unsigned i = 0; i < length; ++i) bytes += static_cast<char>(random());
    OdbcStatement stmt(conn);
    SQLLEN textLength = dice(2) ? static_cast<SQLLEN>(text.size()) : SQL_DATA_AT_EXEC;
    SQLLEN bytesLength = dice(2) ? static_cast<SQLLEN>(bytes.size()) : SQL_LEN_DATA_AT_EXEC(100);
    const auto bind = [&](SQLUSMALLINT n, SQLSMALLINT cType, SQLSMALLINT type, std::string& value,
                          SQLLEN* at) {
      SQLPOINTER data = *at < 0 ? reinterpret_cast<SQLPOINTER>(static_cast<SQLLEN>(n)) : value.data();
      ASSERT_SQL(SQL_SUCCESS, stmt,
                 SQLBindParameter(stmt, n, SQL_PARAM_INPUT, cType, type, 0, 0, data, 0, at));
    };
    bind(1, SQL_C_CHAR, SQL_LONGVARCHAR, text, &textLength);
    bind(2, SQL_C_BINARY, SQL_LONGVARBINARY, bytes, &bytesLength);
    SQLRETURN code = stmt.execute("select ?::text, 5, ?::bytea");
    SQLPOINTER token = nullptr;
    while (code == SQL_NEED_DATA && (code = SQLParamData(stmt, &token)) == SQL_NEED_DATA) {
      std::string& value = token == reinterpret_cast<SQLPOINTER>(1) ? text : bytes;
      for (std::size_t at = 0; at < value.size() || at == 0;) {
        const std::size_t n = std::min<std::size_t>(value.size() - at, 1 + dice(40000));
        ASSERT_SQL(SQL_SUCCESS, stmt, SQLPutData(stmt, value.data() + at, static_cast<SQLLEN>(n)));
        at += std::max<std::size_t>(n, 1);
      }
    }
    ASSERT_EQ(code, SQL_SUCCESS) << stmt.why();
    ASSERT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
    if (dice(2)) {
      char piece[10];
      const SQLRETURN first = SQLGetData(stmt, 1, SQL_C_CHAR, piece, sizeof piece, nullptr);
      ASSERT_TRUE(SQL_SUCCEEDED(first));
      EXPECT_EQ(conn.value("select 7"), "7");
      if (first == SQL_SUCCESS_WITH_INFO) {
        EXPECT_TRUE(piece + readPieces(stmt, 1, SQL_C_CHAR, 100 + dice(5000)) == text);
      }
    }
    const SQLLEN size = 12 + static_cast<SQLLEN>(dice(2) ? dice(40) : dice(40000));
    EXPECT_TRUE(readPieces(stmt, 3, SQL_C_BINARY, size) == bytes);
    EXPECT_TRUE(readPieces(stmt, 1, SQL_C_WCHAR, size & ~1) == utf16(text));
    EXPECT_TRUE(readPieces(stmt, 3, SQL_C_CHAR, size) == hex(bytes));
    EXPECT_TRUE(readPieces(stmt, 1, SQL_C_CHAR, size) == text);
    EXPECT_EQ(readPieces(stmt, 2, SQL_C_CHAR, 12), "5");
  }
}

// Each row: an expression, a C type, and what the value is as text, or the SQLSTATE that tells why not.
TEST_F(PgwireStatements, ConvertsToCTypes) {
  OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  const auto asText = [&](const std::string& sql, SQLSMALLINT cType, bool prepared) -> std::string {
    OdbcStatement stmt(conn);
    if (prepared) {
      EXPECT_SQL(SQL_SUCCESS, stmt, stmt.prepare("select " + sql));
      EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
    } else {
      EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("select " + sql));
    }
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
    alignas(8) unsigned char value[64] = {};
    SQLLEN length = 0;
    const SQLRETURN code = SQLGetData(stmt, 1, cType, value, sizeof value, &length);
    const std::string state = code == SQL_SUCCESS ? "" : " " + stmt.states();
    if (!SQL_SUCCEEDED(code)) return stmt.states();
    char text[80] = "";
    const auto* t = reinterpret_cast<const SQL_TIMESTAMP_STRUCT*>(value);
    const auto* i = reinterpret_cast<const SQL_INTERVAL_STRUCT*>(value);
    switch (cType) {
      case SQL_C_INTERVAL_YEAR_TO_MONTH:
        std::snprintf(text, sizeof text, "%s%u-%u", i->interval_sign ? "-" : "", i->intval.year_month.year,
                      i->intval.year_month.month);
        break;
      case SQL_C_INTERVAL_DAY_TO_SECOND:
      case SQL_C_INTERVAL_HOUR:
        std::snprintf(text, sizeof text, "%s%u %u:%u:%u.%06u", i->interval_sign ? "-" : "",
                      i->intval.day_second.day, i->intval.day_second.hour, i->intval.day_second.minute,
                      i->intval.day_second.second, i->intval.day_second.fraction);
        break;
      case SQL_C_SLONG: std::snprintf(text, sizeof text, "%d", *reinterpret_cast<int*>(value)); break;
      case SQL_C_UTINYINT: std::snprintf(text, sizeof text, "%d", value[0]); break;
      case SQL_C_SBIGINT: std::snprintf(text, sizeof text, "%ld", *reinterpret_cast<long*>(value)); break;
      case SQL_C_DOUBLE: std::snprintf(text, sizeof text, "%g", *reinterpret_cast<double*>(value)); break;
      case SQL_C_TYPE_TIMESTAMP:
        std::snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d.%u", t->year, t->month, t->day, t->hour,
                      t->minute, t->second, t->fraction);
        break;
      case SQL_C_TYPE_DATE: std::snprintf(text, sizeof text, "%d-%d-%d", t->year, t->month, t->day); break;
      case SQL_C_NUMERIC: {
        const auto* n = reinterpret_cast<const SQL_NUMERIC_STRUCT*>(value);
        std::snprintf(text, sizeof text, "%c%d,%d e-%d", n->sign ? '+' : '-', n->val[0], n->val[1], n->scale);
        break;
      }
      default: std::snprintf(text, sizeof text, "%s", reinterpret_cast<char*>(value)); break;
    }
    return text + state;
  };
  struct Row {
    const char* sql;
    SQLSMALLINT cType;
    const char* expected;
  };
  static constexpr Row kRows[] = {
      {"-2147483648", SQL_C_SLONG, "-2147483648"},
      {"2147483648", SQL_C_SLONG, "22003"},
      {"9223372036854775807", SQL_C_SBIGINT, "9223372036854775807"},
      {"9223372036854775808::numeric", SQL_C_SBIGINT, "22003"},
      {"12.75::numeric", SQL_C_SLONG, "12 01S07"},
      {"1e3::float8", SQL_C_SLONG, "1000"},
      {"256", SQL_C_UTINYINT, "22003"},
      {"' 17 '::text", SQL_C_SLONG, "17"},
      {"'seven'::text", SQL_C_SLONG, "22018"},
      {"true", SQL_C_SLONG, "1"},
      {"true", SQL_C_CHAR, "1"},
      {"1.0/3::float8", SQL_C_DOUBLE, "0.333333"},
      {"'-Infinity'::float8", SQL_C_DOUBLE, "-inf"},
      {"-1.50::numeric(5,2)", SQL_C_NUMERIC, "-150,0 e-2"},
      {"'2020-02-29 23:59:58.25+02'::timestamptz at time zone 'UTC'", SQL_C_TYPE_TIMESTAMP,
       "2020-2-29 21:59:58.250000000"},
      {"'2020-02-29 10:00'::timestamp", SQL_C_TYPE_DATE, "2020-2-29 01S07"},
      {"'infinity'::timestamp", SQL_C_TYPE_TIMESTAMP, "22007"},
      {"'0044-03-15 BC'::date", SQL_C_TYPE_DATE, "22007"},
      {"5", SQL_C_TYPE_DATE, "07006"},
      {"'550e8400-e29b-41d4-a716-446655440000'::uuid", SQL_C_CHAR, "550e8400-e29b-41d4-a716-446655440000"},
      {"'1 day 02:03:04'::interval", SQL_C_CHAR, "1 day 02:03:04"},
      {"array[1,2]", SQL_C_CHAR, "{1,2}"},
      {"interval '-13 mons'", SQL_C_INTERVAL_YEAR_TO_MONTH, "-1-1"},
      {"'3-2'::text", SQL_C_INTERVAL_YEAR_TO_MONTH, "3-2"},
      {"interval '1 day -02:03:04.5'", SQL_C_INTERVAL_DAY_TO_SECOND, "0 21:56:55.500000"},
      {"'-3 4:05:06.07'::text", SQL_C_INTERVAL_DAY_TO_SECOND, "-2 19:54:53.930000"},
      {"interval '26:30' hour to minute", SQL_C_INTERVAL_HOUR, "0 26:0:0.000000 01S07"},
      {"interval '1 mon'", SQL_C_INTERVAL_HOUR, "22015"},
      {"5", SQL_C_INTERVAL_HOUR, "0 5:0:0.000000"},
      {"5", SQL_C_INTERVAL_DAY_TO_SECOND, "07006"},
  };
  for (const Row& row : kRows) {
    EXPECT_EQ(asText(row.sql, row.cType, false), row.expected) << row.sql;
    EXPECT_EQ(asText(row.sql, row.cType, true), row.expected) << row.sql << ", prepared";
  }
  // Numbers in binary form are printed as the server prints them.
  std::mt19937_64 random(3);
  for (int round = 0; round < 40; ++round) {
    std::string list;
    for (int n = 0; n < 50; ++n) {
      const auto bits = static_cast<int64_t>(random() >> random() % 64);
      const int exponent = static_cast<int>(random() % 60) - 30;
      const char* const type = n % 5 == 0 ? "int8" : n % 5 == 1 ? "float4" : "float8";
      list += (n ? ", '" : "'") + std::to_string(n % 5 ? bits % 99999 : bits) +
              (n % 5 ? "e" + std::to_string(exponent) : "") + "'::" + type;
    }
    OdbcStatement text(conn);
    OdbcStatement binary(conn);
    ASSERT_SQL(SQL_SUCCESS, text, text.execute("select " + list));
    ASSERT_SQL(SQL_SUCCESS, binary, binary.prepare("select " + list));
    ASSERT_SQL(SQL_SUCCESS, binary, SQLExecute(binary));
    ASSERT_SQL(SQL_SUCCESS, text, SQLFetch(text));
    ASSERT_SQL(SQL_SUCCESS, binary, SQLFetch(binary));
    for (SQLUSMALLINT column = 1; column <= 50; ++column)
      EXPECT_EQ(readPieces(binary, column, SQL_C_CHAR, 60), readPieces(text, column, SQL_C_CHAR, 60));
  }
}

TEST_F(PgwireStatements, ArraysOfParametersAndRows) {
  OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  conn.run("create temp table numbers (id int primary key, half float8, word varchar(10))");
  constexpr SQLULEN kSets = 3000;
  std::vector<SQLINTEGER> ids(kSets);
  std::vector<double> halves(kSets);
  std::vector<SQLLEN> lengths(kSets, sizeof(double));
  std::vector<SQLUSMALLINT> statuses(kSets, 99);
  SQLULEN processed = 0;
  for (SQLULEN i = 0; i < kSets; ++i) {
    ids[i] = static_cast<SQLINTEGER>(i == 7 ? 6 : i);  // one twice
    halves[i] = static_cast<double>(i) / 2;
    if (i % 5 == 0) lengths[i] = SQL_NULL_DATA;
  }
  OdbcStatement stmt(conn);
  stmt.set(SQL_ATTR_PARAMSET_SIZE, kSets);
  stmt.set(SQL_ATTR_PARAM_STATUS_PTR, statuses.data());
  stmt.set(SQL_ATTR_PARAMS_PROCESSED_PTR, &processed);
  SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, ids.data(), 0, nullptr);
  SQLBindParameter(stmt, 2, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, halves.data(), 0,
                   lengths.data());
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("insert into numbers values (?, ?, 'w')"));
  EXPECT_EQ(SQLExecute(stmt), SQL_SUCCESS_WITH_INFO);
  EXPECT_EQ(stmt.states(), "23505");
  SQLLEN affected = 0;
  SQLRowCount(stmt, &affected);
  EXPECT_EQ(affected, static_cast<SQLLEN>(kSets - 1));
  EXPECT_EQ(processed, kSets);
  EXPECT_EQ(statuses[7], SQL_PARAM_ERROR);
  EXPECT_EQ(statuses[8], SQL_PARAM_SUCCESS);
  EXPECT_EQ(conn.value("select count(*) || ' ' || count(half) || ' ' || sum(half) from numbers"),
            "2999 2399 1799996.5");

  OdbcStatement query(conn);
  std::vector<SQLINTEGER> fetched(1000);
  SQLULEN rows = 0;
  query.set(SQL_ATTR_ROW_ARRAY_SIZE, 1000UL);
  query.set(SQL_ATTR_ROWS_FETCHED_PTR, &rows);
  SQLBindCol(query, 1, SQL_C_SLONG, fetched.data(), 0, nullptr);
  ASSERT_SQL(SQL_SUCCESS, query, query.execute("select id from numbers order by id"));
  SQLULEN total = 0;
  while (SQLFetch(query) == SQL_SUCCESS) total += rows;
  EXPECT_EQ(total, kSets - 1);
  EXPECT_EQ(rows, 0U);
  EXPECT_EQ(fetched[998], 2999);
}

// Each set of an array with a result has a result of its own, and outputs go to the parameters of their set.
TEST_F(PgwireStatements, ResultsAndOutputsOfParameters) {
  OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  conn.run(
      "create function pg_temp.swap(inout a int, inout b text, in c int, out d float8) language sql as "
      "$$select c, b || '!', a / 2.0::float8$$; create function pg_temp.twice(int) returns int language sql "
      "as "
      "'select 2 * $1'; create procedure pg_temp.put(in a int, out b int, inout c text) language plpgsql as "
      "$$begin b := 100 / a; c := upper(c); end$$");
  constexpr SQLULEN kSets = 3;
  SQLINTEGER a[kSets] = {5, 0, 25};
  SQLINTEGER b[kSets] = {};
  char word[kSets][8] = {"one", "two", "three"};
  double half = 0;
  SQLLEN lengths[kSets] = {SQL_NTS, SQL_NTS, SQL_NTS};
  SQLUSMALLINT statuses[kSets] = {9, 9, 9};
  SQLSMALLINT columns = 9;
  OdbcStatement stmt(conn);
  const auto bind = [&](SQLUSMALLINT n, SQLSMALLINT direction, SQLINTEGER* value) {
    return SQLBindParameter(stmt, n, direction, SQL_C_SLONG, SQL_INTEGER, 0, 0, value, 0, nullptr);
  };
  const auto bindWord = [&](SQLUSMALLINT n, SQLSMALLINT direction) {
    return SQLBindParameter(stmt, n, direction, SQL_C_CHAR, SQL_VARCHAR, 7, 0, word, sizeof word[0], lengths);
  };
  EXPECT_SQL(SQL_SUCCESS, stmt, bind(1, SQL_PARAM_OUTPUT, b));
  bind(2, SQL_PARAM_INPUT, a);
  EXPECT_SQL(SQL_SUCCESS, stmt, stmt.execute("{? = call pg_temp.twice(?)}"));
  EXPECT_EQ(b[0], 10);
  SQLNumResultCols(stmt, &columns);
  EXPECT_EQ(columns, 0);

  SQLINTEGER c = 44;
  bind(1, SQL_PARAM_INPUT_OUTPUT, a);
  bindWord(2, SQL_PARAM_INPUT_OUTPUT);
  bind(3, SQL_PARAM_INPUT, &c);
  SQLBindParameter(stmt, 4, SQL_PARAM_OUTPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, &half, 0, nullptr);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.prepare("{call pg_temp.swap(?, ?, ?, ?)}"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLExecute(stmt));
  EXPECT_EQ(a[0], 44);
  EXPECT_STREQ(word[0], "one!!");
  EXPECT_EQ(half, 22);

  a[0] = 4;
  lengths[0] = SQL_NTS;
  SQLFreeStmt(stmt, SQL_RESET_PARAMS);
  bind(1, SQL_PARAM_INPUT, a);
  bind(2, SQL_PARAM_OUTPUT, b);
  bindWord(3, SQL_PARAM_INPUT_OUTPUT);
  stmt.set(SQL_ATTR_PARAMSET_SIZE, kSets);
  stmt.set(SQL_ATTR_PARAM_STATUS_PTR, statuses);
  EXPECT_SQL(SQL_SUCCESS_WITH_INFO, stmt, stmt.execute("{call pg_temp.put(?, ?, ?)}"));
  EXPECT_EQ(stmt.states(), "22012");
  while (SQLMoreResults(stmt) != SQL_NO_DATA) continue;
  EXPECT_EQ(b[0], 25);
  EXPECT_EQ(b[2], 4);
  EXPECT_STREQ(word[2], "THREE");
  EXPECT_EQ(statuses[1], SQL_PARAM_ERROR);
  EXPECT_EQ(statuses[2], SQL_PARAM_SUCCESS);

  SQLFreeStmt(stmt, SQL_RESET_PARAMS);
  bind(1, SQL_PARAM_INPUT, a);
  std::string results;
  SQLRETURN code = stmt.execute("select i, 100 / i from generate_series(1, 3) i where i <= 100 / ?::int");
  for (; SQL_SUCCEEDED(code); code = SQLMoreResults(stmt)) {
    int rows = 0;
    while (SQLFetch(stmt) == SQL_SUCCESS) ++rows;
    results += std::to_string(code) + ":" + std::to_string(rows) + " ";
  }
  EXPECT_EQ(results, "0:3 1:0 0:3 ");
  EXPECT_EQ(code, SQL_NO_DATA);
}

TEST_F(PgwireStatements, ResultsErrorsAndNoticesOfABatch) {
  const OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  OdbcStatement stmt(conn);
  EXPECT_EQ(stmt.execute("create temp table t (a int); insert into t values (1), (2); select a from t; do "
                         "$$begin raise notice 'noted'; end$$; select 1/0"),
            SQL_SUCCESS);
  SQLLEN count = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLMoreResults(stmt));
  SQLRowCount(stmt, &count);
  EXPECT_EQ(count, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLMoreResults(stmt));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetch(stmt));
  EXPECT_EQ(SQLMoreResults(stmt), SQL_SUCCESS_WITH_INFO);
  EXPECT_EQ(diagnostics(SQL_HANDLE_STMT, stmt).find("noted") != std::string::npos, true) << stmt.why();
  EXPECT_EQ(SQLMoreResults(stmt), SQL_ERROR);
  EXPECT_EQ(stmt.states(), "22012");
  EXPECT_EQ(SQLMoreResults(stmt), SQL_NO_DATA);
  EXPECT_EQ(stmt.execute("select 5 as five, from"), SQL_ERROR);
  EXPECT_NE(stmt.why().find("at character 19"), std::string::npos) << stmt.why();
}

TEST_F(PgwireStatements, EscapesAndMarkers) {
  OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  const auto native = [&](const char* sql) {
    SQLCHAR out[400];
    SQLINTEGER length = 0;
    const SQLRETURN code = SQLNativeSql(conn, reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql)), SQL_NTS,
                                        out, sizeof out, &length);
    return SQL_SUCCEEDED(code) ? std::string(reinterpret_cast<char*>(out)) : conn.states();
  };
  static const char* const kPairs[][2] = {
      {"select ? , '?', \"?\", $$ ? $$, $x$ ? $$ $x$, ? -- ?",
       "select $1 , '?', \"?\", $$ ? $$, $x$ ? $$ $x$, $2 -- ?"},
      {"select /* ? /* ? */ ? */ ?, E'\\'?', a$b$?, x ?? 'k'",
       "select /* ? /* ? */ ? */ $1, E'\\'?', a$b$$2, x ? 'k'"},
      {"{d '2020-01-02'} {t '1:2:3'}{ts 'x'}", "DATE '2020-01-02' TIME '1:2:3'TIMESTAMP 'x'"},
      {"{fn UCase({fn ltrim(' {d ?}')})}", "upper(ltrim(' {d ?}'))"},
      {"{fn ifnull(a, (?))} {fn Dayofweek({fn curdate()})}",
       "coalesce(a, ($1)) (1 + date_part('dow', current_date)::int)"},
      {"{call p} {call q(?, '}')}", "SELECT * FROM p() SELECT * FROM q($1, '}')"},
      {"{ ?= call s.f ( ?, 1 ) }", "  SELECT * FROM s.f ( $1, 1 ) "},
      {"select * from {oj a left outer join b on a.x = b.x} where c like ? {escape '!'}",
       "select * from  a left outer join b on a.x = b.x where c like $1 ESCAPE '!'"},
      {"{fn ucase('x')", "42000"},
      {"{nonsense 1}", "42000"},
  };
  for (const auto& pair : kPairs) EXPECT_EQ(native(pair[0]), pair[1]);
  EXPECT_EQ(conn.value("select {fn concat('a', {fn ucase('b')})} || {fn dayofmonth({d '2020-01-17'})}"),
            "aB17");
}

TEST_F(PgwireStatements, TransactionsAndTimeouts) {
  OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  conn.run("create temp table t (a int primary key)");
  conn.setAutocommit(false);
  SQLSetConnectAttr(conn, SQL_ATTR_TXN_ISOLATION, reinterpret_cast<SQLPOINTER>(SQL_TXN_SERIALIZABLE), 0);
  conn.run("insert into t values (1)");
  EXPECT_EQ(conn.value("show transaction_isolation"), "serializable");
  EXPECT_SQL(SQL_SUCCESS, conn, conn.endTransaction(SQL_ROLLBACK));
  EXPECT_EQ(conn.value("select count(*) from t"), "0");
  OdbcStatement stmt(conn);
  EXPECT_EQ(stmt.execute("select 1/0"), SQL_ERROR);
  EXPECT_EQ(conn.endTransaction(SQL_COMMIT), SQL_ERROR);
  EXPECT_EQ(conn.states(), "25S03");
  // A statement that takes too long, and one that another thread cancels.
  stmt.set(SQL_ATTR_QUERY_TIMEOUT, 1UL);
  EXPECT_EQ(stmt.execute("select pg_sleep(20)"), SQL_ERROR);
  EXPECT_EQ(stmt.states(), "HYT00");
  conn.endTransaction(SQL_ROLLBACK);
  stmt.set(SQL_ATTR_QUERY_TIMEOUT, 0UL);
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(SQLCancel(stmt), SQL_SUCCESS);
  });
  EXPECT_EQ(stmt.execute("select pg_sleep(20)"), SQL_ERROR);
  canceller.join();
  EXPECT_EQ(stmt.states(), "57014");
  conn.endTransaction(SQL_ROLLBACK);
  EXPECT_EQ(conn.value("select 'alive'"), "alive");
}

// A cursor that scrolls over a result larger than memory keeps, and changes it, while statements share the
// wire.
TEST_F(PgwireStatements, ScrollThroughTheCursorLibrary) {
  OdbcConnection conn(source(), SQL_CUR_USE_ODBC);
  conn.run("create temp table animals (id int primary key, name varchar(20))");
  conn.run("insert into animals select i, 'animal ' || i from generate_series(1, 20000) i");
  OdbcStatement stmt(conn);
  stmt.makeScrollable(1);
  stmt.setName("zoo");
  SQLINTEGER id = 0;
  char name[21] = "";
  SQLLEN length = 0;
  SQLBindCol(stmt, 1, SQL_C_SLONG, &id, 0, nullptr);
  SQLBindCol(stmt, 2, SQL_C_CHAR, name, sizeof name, &length);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select id, name from animals order by id"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_ABSOLUTE, 100));
  EXPECT_STREQ(name, "animal 100");
  OdbcStatement change(conn);
  EXPECT_SQL(SQL_SUCCESS, change, change.execute("update animals set name = 'changed' where current of zoo"));
  EXPECT_SQL(SQL_SUCCESS, stmt, SQLFetchScroll(stmt, SQL_FETCH_LAST, 0));
  EXPECT_EQ(id, 20000);
  int seen = 1;
  while (SQLFetchScroll(stmt, SQL_FETCH_PRIOR, 0) == SQL_SUCCESS) ++seen;
  EXPECT_EQ(seen, 20000);
  EXPECT_EQ(conn.value("select name from animals where id = 100"), "changed");
}

TEST_F(PgwireStatements, CatalogAndInformation) {
  OdbcConnection conn(source(), SQL_CUR_USE_DRIVER);
  conn.run(
      "drop table if exists child, parent; create table parent (id int primary key, price numeric(10,2) not "
      "null, at timestamp(3)); "
      "create table child (p int references parent on delete cascade, word varchar(7) unique)");
  const auto rows = [&](SQLRETURN (*list)(SQLHSTMT), std::initializer_list<SQLUSMALLINT> columns) {
    const OdbcStatement stmt(conn);
    EXPECT_SQL(SQL_SUCCESS, stmt, list(stmt));
    std::string all;
    while (SQLFetch(stmt) == SQL_SUCCESS) {
      for (const SQLUSMALLINT c : columns) all += readPieces(stmt, c, SQL_C_CHAR, 100) + " ";
      all += "|";
    }
    return all;
  };
#define NAME(s) reinterpret_cast<SQLCHAR*>(const_cast<char*>(s)), SQL_NTS
  EXPECT_EQ(rows(
                [](SQLHSTMT s) {
                  return SQLTables(s, nullptr, 0, NAME("public"), NAME("%a%e%t"), NAME("'TABLE'"));
                },
                {3, 4}),
            "parent TABLE |");
  EXPECT_EQ(rows([](SQLHSTMT s) { return SQLColumns(s, nullptr, 0, nullptr, 0, NAME("parent"), NAME("%")); },
                 {4, 5, 7, 9, 11, 17}),
            "id 4 10 0 0 1 |price 2 10 2 0 2 |at 93 23 3 1 3 |");
  EXPECT_EQ(
      rows([](SQLHSTMT s) { return SQLPrimaryKeys(s, nullptr, 0, nullptr, 0, NAME("parent")); }, {3, 4, 5}),
      "parent id 1 |");
  EXPECT_EQ(rows(
                [](SQLHSTMT s) {
                  return SQLForeignKeys(s, nullptr, 0, nullptr, 0, NAME("parent"), nullptr, 0, nullptr, 0,
                                        nullptr, 0);
                },
                {3, 4, 7, 8, 10, 11}),
            "parent id child p 3 0 |");
  EXPECT_EQ(rows(
                [](SQLHSTMT s) {
                  return SQLStatistics(s, nullptr, 0, nullptr, 0, NAME("child"), SQL_INDEX_UNIQUE, SQL_QUICK);
                },
                {4, 6, 7, 9}),
            "NULL NULL 0 NULL |0 child_word_key 3 word |");
  EXPECT_EQ(rows(
                [](SQLHSTMT s) {
                  return SQLSpecialColumns(s, SQL_BEST_ROWID, nullptr, 0, nullptr, 0, NAME("parent"),
                                           SQL_SCOPE_SESSION, SQL_NULLABLE);
                },
                {2, 3}),
            "id 4 |");
  conn.run("grant select on child to public; grant update (word) on child to postgres with grant option");
  EXPECT_EQ(rows([](SQLHSTMT s) { return SQLTablePrivileges(s, nullptr, 0, nullptr, 0, NAME("chil_")); },
                 {3, 4, 5, 6, 7})
                .substr(0, 36),
            "child postgres postgres DELETE YES |");
  EXPECT_EQ(rows(
                [](SQLHSTMT s) {
                  return SQLColumnPrivileges(s, nullptr, 0, nullptr, 0, NAME("child"), NAME("w%"));
                },
                {4, 6, 7}),
            "word postgres INSERT |word postgres REFERENCES |word PUBLIC SELECT |word postgres SELECT |"
            "word postgres UPDATE |");
#undef NAME
  EXPECT_EQ(rows([](SQLHSTMT s) { return SQLGetTypeInfo(s, SQL_SMALLINT); }, {1, 2, 3}), "int2 5 5 |");
  EXPECT_EQ(rows([](SQLHSTMT s) { return SQLGetTypeInfo(s, SQL_INTERVAL_HOUR); }, {1, 16, 17}),
            "interval hour 10 4 |");
  // Where the columns of a result come from is also told while its rows are coming.
  OdbcStatement stmt(conn);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select p as q, i, 5 from child, generate_series(1, 3000) i"));
  const auto field = [&](SQLUSMALLINT column, SQLUSMALLINT id) {
    char text[64] = "?";
    EXPECT_SQL(SQL_SUCCESS, stmt, SQLColAttribute(stmt, column, id, text, sizeof text, nullptr, nullptr));
    return std::string(text) + " ";
  };
  EXPECT_EQ(field(1, SQL_DESC_BASE_TABLE_NAME) + field(1, SQL_DESC_BASE_COLUMN_NAME) +
                field(1, SQL_DESC_SCHEMA_NAME) + field(1, SQL_DESC_CATALOG_NAME) +
                field(2, SQL_DESC_TABLE_NAME),
            "child p public postgres  ");
  SQLSMALLINT type = 0;
  ASSERT_SQL(SQL_SUCCESS, stmt, SQLCloseCursor(stmt));
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select interval '5' day, interval '1' day to second(3)"));
  SQLULEN size = 0;
  SQLSMALLINT scale = 0;
  SQLDescribeCol(stmt, 2, nullptr, 0, nullptr, &type, &size, &scale, nullptr);
  EXPECT_EQ(type, SQL_INTERVAL_DAY_TO_SECOND);
  EXPECT_EQ(scale, 3);
  conn.run("drop table child, parent");
  // Everything that an application may ask: the numbers of the standard, without a failure.
  for (SQLUSMALLINT type = 0; type <= 170; ++type) {
    const bool isHandle = type == SQL_DRIVER_HSTMT || type == SQL_DRIVER_HDESC;
    if (isHandle) continue;  // the driver manager wants a handle in the buffer
    char out[1024] = "";
    const SQLRETURN code = SQLGetInfo(conn, type, out, sizeof out, nullptr);
    EXPECT_TRUE(SQL_SUCCEEDED(code) || conn.states() == "HY096") << type << ": " << conn.why();
  }
}

}  // namespace
