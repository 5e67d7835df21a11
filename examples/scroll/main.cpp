// An application that scrolls: a tour over a database of its own, or any data source of the user's.

#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "odbc.h"
#include "tour.h"

namespace {

// A directory of its own under the system's temporary one, removed at the end.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "scrollXXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no scratch directory could be made");
    path = pattern;
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  std::string path;
};

}  // namespace

int main(int argc, char** argv) {
  // The user's language, for error texts. Numbers stay as SQL writes them, with a point. Where the machine
  // does not have the locale, error texts still follow the environment.
  std::setlocale(LC_ALL, "");
  std::setlocale(LC_NUMERIC, "C");

  CLI::App app("Scrolls in the result of a query, through the cursor library.");
  std::string connect;
  std::string sql;
  std::size_t rows = 5000;
  CLI::Option* connectOption =
      app.add_option("--connect", connect, "connection string of your own data source, as \"DSN=...\"");
  CLI::Option* sqlOption = app.add_option("--sql", sql, "the select to scroll in");
  app.add_option("--rows", rows, "rows of the database that is made without --connect")
      ->check(CLI::Range(1100, 10000000))
      ->capture_default_str();
  connectOption->needs(sqlOption);
  sqlOption->needs(connectOption);
  CLI11_PARSE(app, argc, argv);

  try {
    if (!connect.empty()) {
      scrollAny(connect, sql);
    } else {
      const ScratchDirectory scratch;
      tourOfSqlite(scratch.path, rows);
    }
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "scroll: %s\n", problem.what());
    return 1;
  }
  return 0;
}
