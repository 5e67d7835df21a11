#include "tools/zusql/options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>

#include "tools/zusql/lineeditor.h"

namespace zusql {

void addOptions(CLI::App& app, Options& options) {
  app.add_option("connection", options.connection,
                 "connection string, as \"DSN=mydata\" or \"Driver=SQLite3;Database=x.db\"")
      ->type_name("CONNECTION");
  app.add_option("-e,--execute", options.statements, "run these statements, and no shell")
      ->type_name("SQL")
      ->take_all()
      ->allow_extra_args(false);
  app.add_option("-f,--file", options.files, "run the statements and commands of a script, and no shell")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_option("-F,--format", options.format,
                 "write results as aligned, csv (RFC 4180) or jsonl (JSON lines), without the browser")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"aligned", "csv", "jsonl"}));
  app.add_option("-o,--output", options.output, "write results to a file")->type_name("FILE");
  app.add_option("--null", options.settings.format.nullText, "text of null values in tables")
      ->type_name("TEXT")
      ->capture_default_str();
  app.add_flag("!--no-header", options.settings.format.hasHeader,
               "no line of column names in tables and CSV");
  app.add_option("--width", options.settings.cellBytes, "bytes of a value that the browser holds")
      ->type_name("BYTES")
      ->check(CLI::Range(16, 65536))
      ->capture_default_str();
  app.add_flag("--timing", options.settings.isTiming, "show how long each statement takes");
  app.add_flag("-W,--password", options.asksForPassword, "ask for the password, without echo");
  app.add_flag("!-k,!--keep-going", options.stopsAtError, "go on with a script after a failure");
  app.add_option("--history", options.historyFile,
                 "history of the shell, else $ZUSQL_HISTORY, else ~/.zusql_history")
      ->type_name("FILE");
}

void completeOptions(const CLI::App& app, Options& options) {
  Settings& settings = options.settings;
  const bool isOnTerminal = isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
  settings.isInteractive = isOnTerminal && options.files.empty();
  settings.isBrowsing = isOnTerminal && options.format.empty() && options.output.empty();
  if (!options.format.empty()) settings.format.format = formatNamed(options.format);
  if (app.count("--history") == 0) options.historyFile = defaultHistoryFile();
  // In a shell a failure is told, and the next line is read.
  if (settings.isInteractive && options.statements.empty()) options.stopsAtError = false;
}

}  // namespace zusql
