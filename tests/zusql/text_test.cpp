// The texts of zusql that need no data source and no model: formats, widths, connection strings.

#include <gtest/gtest.h>

#include <clocale>

#include "tools/zusql/connectionstring.h"
#include "tools/zusql/display.h"
#include "tools/zusql/formats.h"
#include "tools/zusql/lineeditor.h"
#include "tools/zusql/sqltext.h"

namespace {

using namespace zusql;

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

TEST(ZusqlText, JsonKeepsEveryText) {
  std::string json;
  appendJsonString(json, "a\"\\\n\x01ü\xff");
  EXPECT_EQ("\"a\\\"\\\\\\u000a\\u0001ü\xEF\xBF\xBD\"", json);
  for (const char* const number : {"0", "-1", "10.50", "1e9", "0.1E-7"})
    EXPECT_TRUE(isJsonNumber(number)) << number;
  for (const char* const other : {"", "-", "01", "1.", ".5", "1e", "NaN", "1 ", "+1", "0x1"})
    EXPECT_FALSE(isJsonNumber(other)) << other;
}

TEST(ZusqlText, TextFitsItsColumns) {
  ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8"));
  EXPECT_EQ("a␛[31m␊", visible("a\x1b[31m\n"));
  EXPECT_EQ(4u, columnsOf("李雷"));
  EXPECT_EQ("李… ", fitted("李雷雷", 4, false));
  EXPECT_EQ("   1", fitted("1", 4, true));
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
