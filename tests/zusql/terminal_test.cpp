// zusql as its user sees it: on a terminal, over real drivers.

#include <sys/stat.h>

#include "tests/zusql/terminal.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsPlain = false;
#else
constexpr bool kIsPlain = true;
#endif

// Sanitizers are slow, and their memory is not the program's.
constexpr int kRows = kIsPlain ? 1000000 : 60000;
constexpr long kMostMemory = 20000;  // KB

std::string grouped(int number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) digits.insert(i -= 3, ",");
  return digits;
}

class ZusqlOnTerminal : public SqliteFixture {
 protected:
  // A table `big` of so many rows, with a long value in every thousandth.
  void fill(int rows) {
    OdbcConnection conn(connectionString(), SQL_CUR_USE_DRIVER);
    conn.run("create table big (id integer primary key, name varchar(40), note text)");
    conn.run(
        "insert into big with recursive n(i) as (select 1 union all select i + 1 from n where i < " +
        std::to_string(rows) +
        ") select i, 'name ' || i, case when i % 1000 = 0 then hex(zeroblob(5000)) || 'end of ' || i else "
        "'note ' || i end from n");
  }

  std::string value(const std::string& sql) {
    return OdbcConnection(connectionString(), SQL_CUR_USE_DRIVER).value(sql);
  }

  static void expectSmall(ZusqlTerminal& terminal) {
    const long used = terminal.memory();
    EXPECT_GT(used, 0);
    EXPECT_TRUE(!kIsPlain || used < kMostMemory) << used << " KB";
  }
};

TEST_F(ZusqlOnTerminal, BrowsesAResultWithoutHoldingIt) {
  fill(kRows);
  ZusqlTerminal terminal(scratch, {connectionString(), "-e", "select * from big"});
  ASSERT_TRUE(terminal.shows("row 1, 56 read so far"));
  expectSmall(terminal);
  terminal.key("End");
  const std::string last = grouped(kRows);
  ASSERT_TRUE(terminal.shows("row " + last + " of " + last + ", all read"));
  ASSERT_TRUE(terminal.shows("name " + std::to_string(kRows)));
  expectSmall(terminal);
  terminal.key("Home");
  ASSERT_TRUE(terminal.shows("row 1 of"));
  ASSERT_TRUE(terminal.shows("note 3"));
  terminal.type("g");
  terminal.enter("50%");
  ASSERT_TRUE(terminal.shows("row " + grouped(kRows / 2) + " of"));

  // The long value of this row, read whole in its window.
  terminal.key("]");
  terminal.key("Enter");
  ASSERT_TRUE(terminal.shows("note, row " + grouped(kRows / 2)));
  terminal.key("End");
  ASSERT_TRUE(terminal.shows("end of " + std::to_string(kRows / 2)));
  terminal.type("q");

  terminal.resize(60, 12);
  terminal.type("/");
  const int wanted = kRows / 4 * 3 + 1;
  terminal.enter("name " + std::to_string(wanted));
  ASSERT_TRUE(terminal.shows("row " + grouped(wanted) + " of"));
  terminal.type("?");
  terminal.enter("name 1234");
  ASSERT_TRUE(terminal.shows(kIsPlain ? "row 123,499 of" : "row 12,349 of"));
  terminal.type("f");
  terminal.enter("nowhere");
  ASSERT_TRUE(terminal.shows("Not found: nowhere"));
  expectSmall(terminal);
  terminal.type("q");
  ASSERT_TRUE(terminal.ends());
}

TEST_F(ZusqlOnTerminal, ChangesRowsAtTheirPosition) {
  fill(50);
  ZusqlTerminal terminal(scratch, {connectionString()});
  ASSERT_TRUE(terminal.shows("=>"));
  const auto change = [&](const char* ending) {
    terminal.enter("select * from big;");
    ASSERT_TRUE(terminal.shows("row 1"));
    terminal.key("Right");
    terminal.key("Down");
    terminal.type("e");
    ASSERT_TRUE(terminal.shows("name (Ctrl-N: null): name 2"));
    terminal.key("C-u");
    terminal.enter("李雷 ' new");
    ASSERT_TRUE(terminal.shows("1 changed"));
    terminal.key("Down");
    terminal.type("e");
    ASSERT_TRUE(terminal.shows("name 3"));
    terminal.key("C-n");
    ASSERT_TRUE(terminal.shows("2 changed"));
    terminal.key("Down");
    terminal.type("D");
    terminal.enter("y");
    ASSERT_TRUE(terminal.shows("D    4"));
    ASSERT_TRUE(terminal.shows("*    2   2  李雷 ' new"));
    terminal.type("q");
    terminal.enter(ending);
    ASSERT_TRUE(terminal.shows("(50 rows)"));
    terminal.key("C-l");
  };
  const char* const kState =
      "select count(*) || ' ' || count(name) || ' ' || max(name) from big where id < 6";
  change("r");
  EXPECT_EQ("5 5 name 5", value(kState));
  change("c");
  EXPECT_EQ("4 3 李雷 ' new", value(kState));

  terminal.enter("select name, count(*) from big group by name;");
  ASSERT_TRUE(terminal.shows("row 1"));
  terminal.type("e");
  ASSERT_TRUE(terminal.shows("cannot be changed: its rows are grouped"));
}

TEST_F(ZusqlOnTerminal, StopsWhatTakesLong) {
  fill(kRows);
  ZusqlTerminal terminal(scratch, {connectionString()});
  ASSERT_TRUE(terminal.shows("=>"));
  terminal.enter("with recursive n(i) as (select 1 union all select i + 1 from n) select count(*) from n;");
  // Only when the statement runs is there something to cancel.
  terminal.key("C-c");
  for (int i = 0; i < 100 && terminal.screen().find("zusql: ") == std::string::npos; ++i) terminal.key("C-c");
  ASSERT_TRUE(terminal.shows("zusql: ")) << "the statement went on";
  terminal.enter("select * from big a, big b;");
  ASSERT_TRUE(terminal.shows("read so far"));
  terminal.key("End");
  ASSERT_TRUE(terminal.shows("Esc stops"));
  terminal.key("Escape");
  ASSERT_TRUE(terminal.shows("read so far"));
  ASSERT_TRUE(terminal.shows("q leave"));
  terminal.type("q");
  ASSERT_TRUE(terminal.shows("read)"));
  terminal.type("select nonsense");
  terminal.key("C-c");
  ASSERT_TRUE(terminal.shows("^C"));
  terminal.enter("select count(*) from big limit 5;");
  ASSERT_TRUE(terminal.shows("row 1 of 1, all read"));
}

TEST_F(ZusqlOnTerminal, CompletesNamesAndKeepsNoPassword) {
  fill(5);
  ZusqlTerminal terminal(scratch, {"-W", connectionString()});
  ASSERT_TRUE(terminal.shows("Password for"));
  terminal.enter("geheim");
  ASSERT_TRUE(terminal.shows("=>"));
  EXPECT_EQ(std::string::npos, terminal.screen().find("geheim"));
  terminal.type("select na from bi");
  terminal.key("Tab");
  ASSERT_TRUE(terminal.shows("from big"));
  terminal.enter(";");
  ASSERT_TRUE(terminal.shows("zusql: "));
  terminal.enter("\\d b%");
  ASSERT_TRUE(terminal.shows("primary"));
  terminal.enter("\\c " + connectionString() + ";PWD=geheim");
  terminal.enter("select 'identified by geheim';");
  ASSERT_TRUE(terminal.shows("row 1 of 1"));
  terminal.type("q");
  terminal.enter("select 12345;");
  ASSERT_TRUE(terminal.shows("12345"));
  const std::string history = terminal.history();
  EXPECT_NE(std::string::npos, history.find("select na from big;")) << history;
  EXPECT_NE(std::string::npos, history.find("\\c Driver=")) << history;
  EXPECT_EQ(std::string::npos, history.find("geheim")) << history;
  struct stat facts {};
  ASSERT_EQ(0, stat((scratch.path() + "/history").c_str(), &facts));
  EXPECT_EQ(0600u, facts.st_mode & 07777u);
  EXPECT_EQ(std::string::npos, terminal.commandLine().find("geheim"));
}

TEST_F(ZusqlOnTerminal, HidesThePasswordOfItsArguments) {
  ZusqlTerminal terminal(scratch, {connectionString() + ";PWD=geheim"});
  ASSERT_TRUE(terminal.shows("=>"));
  const std::string line = terminal.commandLine();
  EXPECT_NE(std::string::npos, line.find("PWD=******")) << line;
  EXPECT_EQ(std::string::npos, line.find("geheim"));
}

class ZusqlOnPostgres : public PostgresFixture {
 protected:
  ScratchDirectory scratch;
};

TEST_F(ZusqlOnPostgres, OpensALostConnectionAgain) {
  ZusqlTerminal terminal(scratch, {connectionString()});
  ASSERT_TRUE(terminal.shows("=>"));
  terminal.enter("select pg_terminate_backend(pg_backend_pid());");
  ASSERT_TRUE(terminal.shows("the connection is lost (")) << "no word of it";
  terminal.enter("select 1;");
  ASSERT_TRUE(terminal.shows("not connected"));
  terminal.enter("\\c");
  terminal.enter("select 4711 as found;");
  ASSERT_TRUE(terminal.shows("found"));
  ASSERT_TRUE(terminal.shows("4711"));
}

}  // namespace
