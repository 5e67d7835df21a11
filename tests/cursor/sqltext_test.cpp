// What SqlParser finds in the text of a statement.

#include <cstring>

#include "gmock/gmock.h"
#include "tests/support/scripted_fixture.h"
#include "zulib/cursor/internal/messages.h"
#include "zulib/cursor/statement/sqltext.h"

namespace {

// "1[word]2[?]" for the tokens of a text.
std::string tokens(std::string text) {
  std::string out;
  TOKEN token;
  for (char* at = text.data();;) {
    at = readToken(at, '"', &token);
    if (token.type == TOKEN::End) return out + (token.length == 0 ? "" : " with a length");
    out +=
        std::to_string(token.type) + "[" + std::string(token.start, static_cast<size_t>(token.length)) + "]";
  }
}

SqlText analysed(const std::string& sql) {
  SqlText text('"');
  text.assign(sql.data(), static_cast<SQLLEN>(sql.size()));
  text.setStmtType();
  if (text.type == SqlText::Select) text.analyzeSelect();
  return text;
}

std::string sent(const SqlText& text) { return {text.get(), static_cast<size_t>(text.length())}; }

TEST(SqlText, Tokens) {
  const std::pair<const char*, const char*> cases[] = {
      {" \t\n\r", ""},
      {"_a1$b c", "1[_a1$b]1[c]"},
      {"a.b,c=?", "1[a]6[.]1[b]6[,]1[c]6[=]2[?]"},
      {"1a2;b", "6[1a2;b]"},
      {"'it''s' x ''''", "4['it''s']1[x]4['''']"},
      {"\"a b\"c 'open", "4[\"a b\"]1[c]4['open]"},
      {"(a (b) ')') c", "3[(a (b) ')]4[') c]"},  // quotes do not count inside
      {"(*x", "3[(]6[*]1[x]"},
      {"{oj t} (", "6[{]1[oj]1[t]6[}]3[(]"},
      {"\xC3\xA4z b", "6[\xC3\xA4z]1[b]"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, tokens(text)) << text;
}

TEST(SqlText, Selects) {
  const struct {
    const char* sql;
    const char* sent;  // "|" where a search goes
    bool joins, groups;
  } cases[] = {
      {"select a, b from t", "select a, b from t |", false, false},
      {"select a from t for update", "select a from t |", false, false},
      {"select a from t where b = 1 FOR Update of a", "select a from t |where b = 1 ", false, false},
      {"select a from t for browse", "select a from t |for browse", false, false},
      {"select a, b from t, u", "select a, b from t, u |", true, false},
      {"select (select max(x), y from u) from t", "select (select max(x), y from u) from t |", false, false},
      {"select * from {oj t left outer join u on a = b}", "select * from {oj t left outer join u on a = b} |",
       true, false},
      {"select oj from t", "select oj from t |", false, false},
      {"select a from t where b = 1 group by a", "select a from t |where b = 1 group by a", false, true},
      {"select a from t order by group", "select a from t |order by group", false, false},
      {"select a from t union select group, by", "select a from t |union select group, by", false, false},
  };
  for (const auto& test : cases) {
    const SqlText text = analysed(test.sql);
    EXPECT_EQ(test.sent, sent(text).insert(text.whereOffset, "|"));
    EXPECT_EQ(test.joins, text.joinFlag) << test.sql;
    EXPECT_EQ(test.groups, text.groupBy) << test.sql;
  }
}

TEST(SqlText, KindsAndWhatIsNotPositioned) {
  const std::pair<const char*, int> cases[] = {
      {" Select 1", SqlText::Select},
      {"create table t (a integer)", SqlText::Create},
      {"selects", SqlText::Unknown},
      {"delete from t where a = 1", SqlText::Delete},
      {"update t set a = 'where current of c' where b = 1", SqlText::Update},
      {"update t set a = (select 1 where current of c)", SqlText::Update},
      {"delete from t where current of", SqlText::Delete},
      {"delete from t where current of 'c'", SqlText::Delete},
  };
  for (const auto& [sql, kind] : cases) {
    SqlText text = analysed(sql);
    EXPECT_EQ(kind, text.type) << sql;
    EXPECT_EQ(SqlText::Form::Searched, text.findCursorName()) << sql;
    EXPECT_EQ(sql, sent(text).substr(0, std::strlen(sql)));
  }
  SqlText text = analysed("update t set a = ?, b = f(?) where current of LINES \n");
  EXPECT_EQ(SqlText::Form::Positioned, text.findCursorName());
  EXPECT_STREQ("LINES", text.cursorName.get());
  EXPECT_EQ(1, text.paramCount);  // the one in the group is not seen
}

using CursorNames = ScriptedTest;

TEST_F(CursorNames, LeadToTheirCursors) {
  OdbcStatement user(conn), stmt(conn);
  stmt.makeScrollable(2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("Lines"));
  Rowset rows(stmt, 2);
  const auto expect = [&](int message, const std::string& rest) {
    EXPECT_EQ(message == 0 ? SQL_SUCCESS : SQL_ERROR, user.execute("delete from t where current of " + rest))
        << rest;
    EXPECT_THAT(user.why(), testing::HasSubstr(message == 0 ? "" : catalogText(message)));
  };
  expect(clmsg::CursorNameNotFound, "lines");  // it has no cursor yet
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));
  expect(0, "LINES");
  expect(clmsg::PositionedStatementInvalid, "lines and x = 1");
  expect(clmsg::CursorNameNotFound, std::string(300, 'x'));
  object(user).conn->caseSensitiveIdentifiers = 1;
  expect(clmsg::CursorNameNotFound, "lines");
  user.set(SQL_ATTR_PARAMSET_SIZE, 2);
  expect(clmsg::ParameterArrays, "Lines");
  object(user).concurrency = SQL_CONCUR_VALUES;  // with a forward-only cursor type
  expect(clmsg::NotSupported, "Lines");
}

}  // namespace
