#include "tools/zusql/session.h"

#include <strings.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "tools/zusql/browser/browser.h"
#include "tools/zusql/cancel.h"
#include "tools/zusql/connectionstring.h"
#include "tools/zusql/display.h"
#include "tools/zusql/export.h"

namespace zusql {

namespace {

class Stopwatch {
 public:
  double milliseconds() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  }

 private:
  const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

std::string rowsText(std::int64_t rows) { return grouped(rows) + (rows == 1 ? " row" : " rows"); }

}  // namespace

bool Session::wantsPassword(const OdbcError& failure) const {
  return !hasPassword(lastString) && isatty(STDIN_FILENO) != 0 &&
         (failure.state().starts_with("28") || strcasestr(failure.what(), "password"));
}

void Session::connect(const std::string& connectionString, bool asks) {
  if (!connectionString.empty()) lastString = connectionString;
  if (lastString.empty()) throw std::runtime_error("no data source: \\c CONNECTION opens one");
  current.reset();
  const std::string shown = withoutPassword(lastString);
  if (asks && !hasPassword(lastString)) lastString = withPassword(lastString, askForPassword(shown));
  try {
    open(lastString);
  } catch (const OdbcError& failure) {
    if (!wantsPassword(failure)) throw;
    const std::string complete = withPassword(lastString, askForPassword(shown));
    open(complete);
    lastString = complete;
  }
}

// Which options make a driver give rows as they come is known when its name is.
void Session::open(const std::string& connectionString) {
  auto opened = std::make_unique<Connection>(connectionString);
  const std::string streaming = withStreaming(connectionString, opened->info(SQL_DRIVER_NAME));
  if (streaming != connectionString) {
    opened.reset();
    opened = std::make_unique<Connection>(streaming);
  }
  current = std::move(opened);
}

Connection& Session::connection() {
  if (!current) throw std::runtime_error("not connected: \\c opens the connection again");
  return *current;
}

std::string Session::name() const { return current ? shortName(lastString) : "not connected"; }

void Session::redirect(const std::string& path) {
  out().flush();
  file.reset();
  if (!path.empty()) file = std::make_unique<Output>(path);
}

void Session::run(const std::string& sql) {
  (void)takeInterrupt();
  const Stopwatch stopwatch;
  if (settings.isBrowsing && !file) {
    browse(sql);
  } else {
    runToOutput(sql);
  }
  if (!settings.isTiming) return;
  std::fprintf(stderr, "Time: %.3f ms\n", stopwatch.milliseconds());
}

void Session::runToOutput(const std::string& sql) {
  Statement statement(connection());
  statement.execute(sql);
  do {
    const std::vector<Column> columns = statement.columns();
    if (!columns.empty()) {
      const std::int64_t rows = writeRows(statement, columns, out(), settings.format, nullptr);
      if (settings.isInteractive && settings.format.format == Format::Aligned) {
        out().write("(" + rowsText(rows) + ")\n");
      }
    } else if (const std::int64_t rows = statement.rowCount(); settings.isInteractive && rows >= 0) {
      out().write(rowsText(rows) + " changed\n");
    }
  } while (statement.moreResults());
  out().flush();
}

void Session::browse(const std::string& sql) {
  // Rows beyond the screen's, so that not every step reads.
  constexpr int kMargin = 32;
  Result result(connection(), sql, terminalSize().rows + kMargin, settings.cellBytes);
  if (!result.hasRows()) {
    if (const std::int64_t rows = result.statement().rowCount(); rows >= 0)
      out().write(rowsText(rows) + " changed\n");
    out().flush();
    return;
  }
  // What fails before the first row, or is cancelled, is told in the shell.
  if (result.load(0, result.rowsAtOnce()) == 0) {
    const auto header = makeWriter(out(), result.columns(), settings.format);
    header->end();
  } else {
    Browser(connection(), result, sql).run();
  }
  out().write("(" + rowsText(result.rowsRead()) + (result.isComplete() ? ")\n" : " read)\n"));
  out().flush();
}

void Session::exportTo(const std::string& path, const std::string& sql) {
  (void)takeInterrupt();
  Statement statement(connection());
  statement.execute(sql);
  const std::vector<Column> columns = statement.columns();
  if (columns.empty()) throw std::runtime_error("the statement has no result to export");
  FormatOptions options = settings.format;
  options.format = formatOfFile(path, options.format);
  Output target(path);
  ExportProgress progress(statement.rowCount());
  const std::int64_t rows = writeRows(statement, columns, target, options, &progress);
  const double seconds = progress.seconds();
  std::fprintf(
      stderr, "%s as %s to %s in %.1f s, %s rows/s\n", rowsText(rows).c_str(), nameOf(options.format),
      path.c_str(), seconds,
      grouped(static_cast<std::int64_t>(static_cast<double>(rows) / std::max(seconds, 1e-3))).c_str());
}

void Session::report(const std::exception& failure) {
  std::fflush(stdout);
  std::fprintf(stderr, "zusql: %s\n", failure.what());
  const auto* odbc = dynamic_cast<const OdbcError*>(&failure);
  if (!odbc || !current || !(odbc->isConnectionFailure() || current->isDead())) return;
  current.reset();
  std::fprintf(stderr, "zusql: the connection is lost (%s); \\c opens it again\n", odbc->state().c_str());
}

}  // namespace zusql
