// What the analyser makes of a statement's text.

#include <cstring>

#include "tests/cursor/entry_fixture.h"
#include "zulib/cursor/rows/cursor.h"
#include "zulib/cursor/statement/parser.h"

// Reaches into the analyser: the steps of the analysis and what they found.
struct SqlParserTest {
  explicit SqlParserTest(DMStmt& stmt) : parser(&stmt) {}

  std::string tokens(std::string text) {
    std::string out;
    TOKEN token;
    for (char* at = text.data();;) {
      at = parser.getToken(at, &token);
      if (token.type == TOKEN::End) return out + (token.length == 0 ? "" : " with a length");
      out += std::to_string(token.type) + "[" + std::string(token.start, static_cast<size_t>(token.length)) +
             "]";
    }
  }

  void analyze(const std::string& sql) {
    parser.reset();
    parser.analyzeSql(const_cast<char*>(sql.data()), static_cast<SQLLEN>(sql.size()));
  }
  std::string sent() const { return std::string(parser.text, static_cast<size_t>(parser.textLength)); }
  std::string beforeSearch() const { return std::string(parser.text, parser.whereOffset); }
  int kind() const { return parser.stmtType; }
  bool joins() const { return parser.joinFlag; }
  bool groups() const { return parser.groupBy; }
  int parameters() const { return parser.paramCount; }
  bool positioned() const { return parser.target != nullptr; }
  int state() const { return parser.state; }

  SqlParser parser;
};

namespace {

class ParserTest : public EntryTest {
 protected:
  ParserTest() : analyser(object(user)) {}

  unsigned short errorOf(const std::string& sql) {
    try {
      analyser.analyze(sql);
    } catch (const ODBCException& error) {
      return error.errorId;
    }
    return 0;
  }

  OdbcStatement user{conn};
  SqlParserTest analyser;
};

TEST_F(ParserTest, Tokens) {
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
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, analyser.tokens(text)) << text;
}

TEST_F(ParserTest, Selects) {
  const struct {
    const char* sql;
    const char* sent;  // null: all that stands before a search
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
    analyser.analyze(test.sql);
    EXPECT_EQ(test.sent ? test.sent : test.beforeSearch, analyser.sent());
    EXPECT_EQ(test.beforeSearch, analyser.beforeSearch()) << test.sql;
    EXPECT_EQ(test.joins, analyser.joins()) << test.sql;
    EXPECT_EQ(test.groups, analyser.groups()) << test.sql;
    EXPECT_EQ(SqlParser::Analysed, analyser.state());
  }
}

TEST_F(ParserTest, KindsAndWhatIsNotPositioned) {
  const std::pair<const char*, int> cases[] = {
      {" Select 1", SqlParser::Select},
      {"insert into t values (1)", SqlParser::Insert},
      {"create table t (a integer)", SqlParser::Create},
      {"selects", SqlParser::Unknown},
      {"{call p}", SqlParser::Unknown},
      {"", SqlParser::Unknown},
      {"delete from t where a = 1", SqlParser::Delete},
      {"delete from t", SqlParser::Delete},
      {"update t set a = 'where current of c' where b = 1", SqlParser::Update},
      {"update t set a = (select 1 where current of c)", SqlParser::Update},
      {"delete from t where current", SqlParser::Delete},
      {"delete from t where current of", SqlParser::Delete},
      {"delete from t where current of 'c'", SqlParser::Delete},
  };
  for (const auto& [sql, kind] : cases) {
    analyser.analyze(sql);
    EXPECT_EQ(kind, analyser.kind()) << sql;
    EXPECT_FALSE(analyser.positioned()) << sql;
    EXPECT_EQ(sql, analyser.sent().substr(0, std::strlen(sql)));
  }
}

TEST_F(ParserTest, FindsTheCursorOfAPositionedStatement) {
  OdbcStatement stmt(conn);
  stmt.makeScrollable(2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.setName("Lines"));
  EXPECT_EQ(clmsg::CursorNameNotFound, errorOf("delete from t where current of lines"));  // no cursor yet
  Rowset rows(stmt, 2);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  ASSERT_SQL(SQL_SUCCESS, stmt, rows.fetch(SQL_FETCH_NEXT));

  EXPECT_EQ(0, errorOf("update t set a = ?, b = f(?) where current of LINES \n"));
  EXPECT_TRUE(analyser.positioned());
  EXPECT_EQ(1, analyser.parameters());  // the one in the group is not seen
  EXPECT_EQ("update t set a = ?, b = f(?) WHERE ", analyser.sent());
  EXPECT_EQ(clmsg::PositionedStatementInvalid, errorOf("delete from t where current of lines and x = 1"));
  EXPECT_EQ(clmsg::CursorNameNotFound, errorOf("delete from t where current of " + std::string(300, 'x')));
  EXPECT_EQ(0, errorOf("delete from t WHERE CURRENT OF lines"));
  analyser.parser.paramOptions(2, nullptr);
  EXPECT_EQ(clmsg::ParameterArrays, errorOf("delete from t where current of lines"));
  analyser.parser.paramOptions(1, nullptr);
  object(user).conn->caseSensitiveIdentifiers = 1;
  EXPECT_EQ(clmsg::CursorNameNotFound, errorOf("delete from t where current of lines"));
  EXPECT_EQ(0, errorOf("delete from t where current of Lines"));
}

TEST_F(ParserTest, RefusesUpdatableForwardOnlyStatements) {
  object(user).concurrency = SQL_CONCUR_VALUES;
  EXPECT_EQ(clmsg::NotSupported, errorOf("select 1"));
  object(user).cursorType = SQL_CURSOR_STATIC;
  EXPECT_EQ(0, errorOf("select 1"));
}

}  // namespace
