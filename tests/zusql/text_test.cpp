// The texts of zusql that need no data source: where statements end, formats, widths, connection strings.

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <random>

#include "tools/zusql/connectionstring.h"
#include "tools/zusql/display.h"
#include "tools/zusql/formats.h"
#include "tools/zusql/lineeditor.h"
#include "tools/zusql/sqltext.h"

namespace {

using namespace zusql;

using Random = std::mt19937;

template <class Choices>
auto oneOf(Random& random, const Choices& choices) {
  return choices[std::uniform_int_distribution<std::size_t>(0, std::size(choices) - 1)(random)];
}

// Statements are made of pieces that each hold what could be taken for an end, and arrive in lines that are
// cut at any blank.
TEST(ZusqlText, StatementsEndOutsideOfQuotesAndComments) {
  constexpr const char* kPieces[] = {
      "select 1", "'a;b'",        "'it''s;'", "\"c;d\"", "`e;`", "/* ;\n' */",    "-- x; ' \"\n",
      "$$;'$$",   "$t$ ; $$ $t$", "(a, b)",   "-",       "/",    "'two\nlines;'", "$1"};
  for (unsigned seed = 1; seed <= 500; ++seed) {
    Random random(seed);
    std::vector<std::string> expected(1 + random() % 4);
    std::string script;
    for (std::string& sql : expected) {
      sql = "x";
      for (unsigned n = random() % 6; n > 0; --n)
        sql += std::string(oneOf(random, std::array{" ", "\n"})) + oneOf(random, kPieces);
      script += sql + ";" + oneOf(random, std::array{" ", "\n", "", "\n-- end; \n", " ; "});
    }
    StatementSplitter splitter;
    std::vector<std::string> found;
    for (std::size_t from = 0; from <= script.size();) {
      const std::size_t end = std::min(script.find('\n', from), script.size());
      for (std::string& sql : splitter.add(script.substr(from, end - from))) found.push_back(std::move(sql));
      from = end + 1;
    }
    for (std::string& sql : found) sql.erase(0, sql.find('x'));
    EXPECT_EQ(expected, found) << "seed " << seed << "\n" << script;
    EXPECT_TRUE(splitter.isEmpty()) << splitter.pending();
    EXPECT_EQ("", splitter.rest());
  }
}

TEST(ZusqlText, SelectsOfOneTableAreKnown) {
  EXPECT_EQ(
      "s.\"my t\"",
      shapeOf("select a, (select max(x) from u, v group by y) from s.\"my t\" t where a in (1, 2)").table);
  EXPECT_EQ("", shapeOf("select a, (select max(x) from u, v group by y) from t order by 1, 2").reason);
  for (const char* const sql :
       {"select a from t, u", "select a from t join u on 1=1", "select distinct a from t",
        "select a from t group by a", "select a from t union select 1", "select 1",
        "with x as (select 1) select * from x", "values (1)"}) {
    EXPECT_NE("", shapeOf(sql).reason) << sql;
  }
}

// A reader of RFC 4180 for one record; a field without quotes that is empty is null.
std::vector<Field> readCsv(const std::string& line) {
  std::vector<Field> fields(1, Field{"", true});
  for (std::size_t i = 0; i + 2 < line.size(); ++i) {
    if (line[i] == ',') {
      fields.push_back({"", true});
    } else if (line[i] == '"') {
      fields.back().isNull = false;
      for (++i; line[i] != '"' || line[i + 1] == '"'; ++i) {
        if (line[i] == '"') ++i;
        fields.back().text += line[i];
      }
    } else {
      fields.back().isNull = false;
      fields.back().text += line[i];
    }
  }
  return fields;
}

TEST(ZusqlText, CsvAndJsonKeepEveryText) {
  constexpr const char* kPieces[] = {"", "a", ",", "\"", "\r\n", "\n", " ", "\\", "ä", "\xff", "\t", "\x01"};
  Random random(1);
  for (int i = 0; i < 500; ++i) {
    std::vector<Field> fields(1 + random() % 4);
    std::string line;
    for (Field& field : fields) {
      for (unsigned n = random() % 5; n > 0; --n) field.text += oneOf(random, kPieces);
      field.isNull = field.text.empty() && random() % 2 == 0;
      if (&field != fields.data()) line += ',';
      if (!field.isNull) appendCsvField(line, field.text);
    }
    const std::vector<Field> read = readCsv(line + "\r\n");
    ASSERT_EQ(fields.size(), read.size()) << line;
    for (std::size_t f = 0; f < read.size(); ++f) {
      EXPECT_EQ(fields[f].text, read[f].text) << line;
      EXPECT_EQ(fields[f].isNull, read[f].isNull) << line;
    }
  }
  std::string json;
  appendJsonString(json, "a\"\\\n\x01ü\xff");
  EXPECT_EQ("\"a\\\"\\\\\\u000a\\u0001ü\xEF\xBF\xBD\"", json);
  for (const char* const number : {"0", "-1", "10.50", "1e9", "0.1E-7"})
    EXPECT_TRUE(isJsonNumber(number)) << number;
  for (const char* const other : {"", "-", "01", "1.", ".5", "1e", "NaN", "1 ", "+1", "0x1"})
    EXPECT_FALSE(isJsonNumber(other)) << other;
}

// Whatever the text and the columns: exactly so many columns, and nothing that a terminal would act on.
TEST(ZusqlText, TextFitsItsColumns) {
  ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8"));
  EXPECT_EQ("a␛[31m␊", visible("a\x1b[31m\n"));
  EXPECT_EQ(4u, columnsOf("李雷"));
  EXPECT_EQ("李… ", fitted("李雷雷", 4, false));
  EXPECT_EQ("   1", fitted("1", 4, true));
  constexpr const char* kPieces[] = {"a",    "李",     "e\u0301", "\x1b[2J",   "\xe6\x9d",
                                     "\x7f", "\u0085", "ü",       "\U0001F600"};
  Random random(2);
  for (int i = 0; i < 1000; ++i) {
    std::string text;
    for (unsigned n = random() % 8; n > 0; --n) text += oneOf(random, kPieces);
    const std::string shown = visible(text);
    for (const char c : shown) EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) << text;
    const std::size_t width = random() % 10;
    EXPECT_EQ(width, columnsOf(fitted(shown, width, random() % 2 == 0))) << shown;
  }
  EXPECT_EQ("-1,234,567", grouped(-1234567));
  EXPECT_EQ("999", grouped(999));
}

TEST(ZusqlText, PasswordsStayOutOfSight) {
  const std::string string = "DSN=x; PWD = {a;b}};c} ;UID=me;password=secret";
  EXPECT_TRUE(hasPassword(string));
  EXPECT_EQ("DSN=x;UID=me;", withoutPassword(string));
  EXPECT_FALSE(hasPassword("DSN=x;Note={PWD=1}"));
  EXPECT_EQ("DSN=x;PWD={a;}}b}", withPassword("DSN=x", "a;}b"));
  EXPECT_EQ("DSN=x;UID=me;", withoutPassword(withPassword("DSN=x;UID=me", "p;{}w")));

  char program[] = "zusql";
  char connection[] = "Driver=d;PWD={my;secret};Database=b";
  char* arguments[] = {program, connection};
  hidePasswords(2, arguments);
  EXPECT_STREQ("Driver=d;PWD=***********;Database=b", connection);

  EXPECT_EQ("\\c DSN=x;UID=me;", keptInHistory("\\c " + string));
  EXPECT_EQ("select 1;", keptInHistory("select 1;"));
  for (const char* const entry :
       {"alter role a password 'x';", "create user u identified by 'x';", "select 'PWD=x';"}) {
    EXPECT_EQ("", keptInHistory(entry));
  }
  EXPECT_EQ("select a, 'b -- c' from t;", onOneLine("select a, -- x\n 'b -- c'\n/* y */ from t;"));
  EXPECT_EQ("", onOneLine("select 'a\nb'"));
}

}  // namespace
