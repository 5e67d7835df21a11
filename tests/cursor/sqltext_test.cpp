// What SqlParser finds in the text of a statement.

#include <cstring>

#include "tests/cursor/entry_fixture.h"
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
      {"", ""},
      {" \t\n\r", ""},
      {"_a1$b c", "1[_a1$b]1[c]"},
      {"a.b,c", "1[a]6[.]1[b]6[,]1[c]"},
      {"1a2;b", "6[1a2;b]"},
      {"a=?", "1[a]6[=]2[?]"},
      {"'it''s' x", "4['it''s']1[x]"},
      {"'' ''''", "4['']4['''']"},
      {"\"a b\"c", "4[\"a b\"]1[c]"},
      {"'open", "4['open]"},
      {"(a (b) ')') c", "3[(a (b) ')]4[') c]"},  // quotes do not count inside
      {"(a", "3[(a]"},
      {"(*x", "3[(]6[*]1[x]"},
      {"(", "3[(]"},
      {"{oj t}", "6[{]1[oj]1[t]6[}]"},
      {"\xC3\xA4z b", "6[\xC3\xA4z]1[b]"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, tokens(text)) << text;
}

TEST(SqlText, Selects) {
  const struct {
    const char* sql;
    const char* sent;  // null: all that comes before a search
    const char* beforeSearch;
    bool joins, groups;
  } cases[] = {
      {"select a, b from t", nullptr, "select a, b from t ", false, false},
      {"select a from t  ", nullptr, "select a from t   ", false, false},
      {"select a from t for update", "select a from t ", "select a from t ", false, false},
      {"select a from t where b = 1 FOR Update of a", "select a from t where b = 1 ", "select a from t ",
       false, false},
      {"select a from t for browse", "select a from t for browse", "select a from t ", false, false},
      {"select a from t order by a", "select a from t order by a", "select a from t ", false, false},
      {"select a, b from t, u", nullptr, "select a, b from t, u ", true, false},
      {"select (select max(x), y from u) from t", nullptr, "select (select max(x), y from u) from t ", false,
       false},
      {"select * from t1 {oj t1 left outer join t2 on a = b}", nullptr,
       "select * from t1 {oj t1 left outer join t2 on a = b} ", true, false},
      {"select oj from t", nullptr, "select oj from t ", false, false},
      {"select oj", nullptr, "select oj ", false, false},
      {"select a from t group by a", "select a from t group by a", "select a from t ", false, true},
      {"select a from t where b = 1 group by a", "select a from t where b = 1 group by a", "select a from t ",
       false, true},
      {"select a from t order by group", "select a from t order by group", "select a from t ", false, false},
      {"select a from t union select group, by from u", "select a from t union select group, by from u",
       "select a from t ", false, false},
      {"select 'where' from t", nullptr, "select 'where' from t ", false, false},
  };
  for (const auto& test : cases) {
    const SqlText text = analysed(test.sql);
    EXPECT_EQ(test.sent ? test.sent : test.beforeSearch, sent(text));
    EXPECT_EQ(test.beforeSearch, std::string(text.get(), text.whereOffset)) << test.sql;
    EXPECT_EQ(test.joins, text.joinFlag) << test.sql;
    EXPECT_EQ(test.groups, text.groupBy) << test.sql;
  }
}

TEST(SqlText, KindsAndWhatIsNotPositioned) {
  const std::pair<const char*, int> cases[] = {
      {" Select 1", SqlText::Select},
      {"insert into t values (1)", SqlText::Insert},
      {"create table t (a integer)", SqlText::Create},
      {"selects", SqlText::Unknown},
      {"{call p}", SqlText::Unknown},
      {"", SqlText::Unknown},
      {"delete from t where a = 1", SqlText::Delete},
      {"delete from t", SqlText::Delete},
      {"update t set a = 'where current of c' where b = 1", SqlText::Update},
      {"update t set a = (select 1 where current of c)", SqlText::Update},
      {"delete from t where current", SqlText::Delete},
      {"delete from t where current of", SqlText::Delete},
      {"delete from t where current of 'c'", SqlText::Delete},
  };
  for (const auto& [sql, kind] : cases) {
    SqlText text = analysed(sql);
    EXPECT_EQ(kind, text.type) << sql;
    EXPECT_EQ(SqlText::Form::Searched, text.findCursorName()) << sql;
    EXPECT_EQ(sql, sent(text).substr(0, std::strlen(sql)));
  }
}

TEST(SqlText, APositionedStatementAndItsSearch) {
  SqlText text = analysed("update t set a = ?, b = f(?) where current of LINES \n");
  ASSERT_EQ(SqlText::Form::Positioned, text.findCursorName());
  EXPECT_STREQ("LINES", text.cursorName.get());
  EXPECT_EQ(1, text.paramCount);  // the one in the group is not seen
  for (int again = 0; again < 2; ++again) {
    text.openSearch(2, 40);
    text.beginPredicates();
    EXPECT_FALSE(text.closePredicates());
    text.appendPredicate("\"a\"", false);
    text.appendPredicate(("\"" + std::string(38, 'b') + "\"").c_str(), true);
    EXPECT_TRUE(text.closePredicates());
    EXPECT_EQ("update t set a = ?, b = f(?) WHERE \"a\" = ? AND \"" + std::string(38, 'b') + "\" IS NULL",
              sent(text));
  }
  EXPECT_EQ(SqlText::Form::Malformed,
            analysed("delete from t where current of c and x = 1").findCursorName());
}

class CursorNames : public EntryTest {};

TEST_F(CursorNames, LeadToTheirCursors) {
  OdbcStatement user(conn), stmt(conn);
  const auto errorOf = [&](const std::string& sql) {
    return user.execute(sql) == SQL_SUCCESS ? "" : user.why();
  };
  const auto says = [](int number) { return testing::HasSubstr(catalogText(number)); };
  stmt.makeScrollable(2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("Lines"));
  EXPECT_THAT(errorOf("delete from t where current of lines"), says(clmsg::CursorNameNotFound));
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));
  EXPECT_EQ("", errorOf("delete from t WHERE CURRENT OF LINES"));
  EXPECT_THAT(errorOf("delete from t where current of lines and x = 1"),
              says(clmsg::PositionedStatementInvalid));
  EXPECT_THAT(errorOf("delete from t where current of " + std::string(300, 'x')),
              says(clmsg::CursorNameNotFound));
  user.set(SQL_ATTR_PARAMSET_SIZE, 2);
  EXPECT_THAT(errorOf("delete from t where current of lines"), says(clmsg::ParameterArrays));
  user.set(SQL_ATTR_PARAMSET_SIZE, 1);
  object(user).conn->caseSensitiveIdentifiers = 1;
  EXPECT_THAT(errorOf("delete from t where current of lines"), says(clmsg::CursorNameNotFound));
  object(user).concurrency = SQL_CONCUR_VALUES;  // with a forward-only cursor type
  EXPECT_THAT(errorOf("select 1"), says(clmsg::NotSupported));
}

}  // namespace
