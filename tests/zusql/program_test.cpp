// zusql without a terminal: formats over real drivers, scripts, exit codes; and its manual beside its help.

#include <fstream>
#include <set>
#include <sstream>

#include "tests/zusql/terminal.h"
#include "tools/zusql/shell.h"

namespace {

class ZusqlProgram : public SqliteFixture {};

constexpr char kTable[] =
    "create table t (id integer primary key, price double precision, name varchar(20));"
    "insert into t values (1, 2.25, 'a,\"b\"'); insert into t values (2, null, ''); insert into t values (3, "
    "-7.25, "
    "'Köln');";
constexpr char kQuery[] = "select id, price, name from t order by id";

// The same rows in every format, whichever driver they come from.
void expectFormats(const std::string& connectionString) {
  int status = 0;
  EXPECT_EQ("", outputOf({ZUSQL_PROGRAM, connectionString, "-e", kTable}, "", &status));
  EXPECT_EQ(0, status);
  EXPECT_EQ("id,price,name\r\n1,2.25,\"a,\"\"b\"\"\"\r\n2,,\"\"\r\n3,-7.25,Köln\r\n",
            outputOf({ZUSQL_PROGRAM, connectionString, "-F", "csv", "-e", kQuery}));
  EXPECT_EQ(
      "{\"id\":1,\"price\":2.25,\"name\":\"a,\\\"b\\\"\"}\n{\"id\":2,\"price\":null,\"name\":\"\"}\n"
      "{\"id\":3,\"price\":-7.25,\"name\":\"Köln\"}\n",
      outputOf({ZUSQL_PROGRAM, connectionString, "--format", "jsonl", "-e", kQuery}));
  EXPECT_EQ("id | price | name\n---+-------+------\n 1 |  2.25 | a,\"b\"\n 2 |  NULL | \n 3 | -7.25 | Köln\n",
            outputOf({ZUSQL_PROGRAM, connectionString}, std::string(kQuery) + ";\n"));
}

TEST_F(ZusqlProgram, WritesFormatsOverSqlite) { expectFormats(connectionString()); }

class ZusqlProgramOnPostgres : public PostgresFixture {};
TEST_F(ZusqlProgramOnPostgres, WritesFormats) { expectFormats(connectionString()); }

TEST_F(ZusqlProgram, RunsScriptsAndReportsFailures) {
  const std::string script = scratch.path() + "/script.sql";
  std::ofstream(script)
      << "create table t (a integer);\n\\timing off\ninsert into t\nvalues (1); select wrong;\n"
         "insert into t values (2);\n";
  int status = 0;
  const std::string output = outputOf({ZUSQL_PROGRAM, connectionString(), "-f", script}, "", &status);
  EXPECT_EQ(1, status);
  EXPECT_NE(std::string::npos, output.find("zusql: HY000: ")) << output;
  EXPECT_EQ("count(*)\r\n1\r\n",
            outputOf({ZUSQL_PROGRAM, connectionString(), "-F", "csv", "-e", "select count(*) from t"}));
  outputOf({ZUSQL_PROGRAM, connectionString(), "-k"}, "select wrong; insert into t values (2)", &status);
  EXPECT_EQ(1, status);

  const std::string target = scratch.path() + "/out.csv";
  const std::string report = outputOf({ZUSQL_PROGRAM, connectionString()},
                                      "\\export " + target + " select a from t order by a;\n", &status);
  EXPECT_EQ(0, status) << report;
  EXPECT_NE(std::string::npos, report.find("2 rows as csv")) << report;
  std::ostringstream written;
  written << std::ifstream(target).rdbuf();
  EXPECT_EQ("a\r\n1\r\n2\r\n", written.str());

  outputOf({ZUSQL_PROGRAM, "Driver=/no/such/driver.so", "-e", "select 1"}, "", &status);
  EXPECT_EQ(3, status);
  const std::string full =
      outputOf({ZUSQL_PROGRAM, connectionString(), "-o", "/dev/full", "-e", "select 1"}, "", &status);
  EXPECT_EQ(1, status);
  EXPECT_NE(std::string::npos, full.find("writing to /dev/full failed")) << full;
}

// What follows each `marker` in the lines that begin with `lineStart`: small letters, `-` and `?`.
std::set<std::string> namesIn(const std::string& text, const std::string& lineStart,
                              const std::string& marker) {
  std::set<std::string> names;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(lineStart)) continue;
    for (std::size_t at = line.find(marker); at != std::string::npos; at = line.find(marker, at + 1)) {
      const std::size_t from = at + marker.size();
      const std::size_t end = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz-?", from);
      if (end != from) names.insert(line.substr(from, end - from));
    }
  }
  return names;
}

// Every option and command is in the manual, and the manual has no others.
TEST_F(ZusqlProgram, ManualTellsOfEveryOption) {
  std::ostringstream all;
  all << std::ifstream(ZULIB_SOURCE_DIR "/docs/zusql.md").rdbuf();
  const std::string help = outputOf({ZUSQL_PROGRAM, "--help"});
  const std::set<std::string> options = namesIn(help, "", "--");
  EXPECT_GT(options.size(), 10u) << help;
  EXPECT_EQ(options, namesIn(all.str(), "| `-", "--"));
  std::set<std::string> names;
  for (const zusql::Command& command : zusql::commands()) names.insert(command.name);
  EXPECT_EQ(names, namesIn(all.str(), "| `\\", "`\\"));
}

}  // namespace
