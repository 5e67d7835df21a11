// zusql: an interactive SQL shell over any ODBC data source, whose results open in a full-screen browser.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "tools/zusql/cancel.h"
#include "tools/zusql/connectionstring.h"
#include "tools/zusql/lineeditor.h"
#include "tools/zusql/options.h"
#include "tools/zusql/session.h"
#include "tools/zusql/shell.h"

namespace {

using namespace zusql;

constexpr int kStatementFailed = 1;
constexpr int kNotConnected = 3;

// The user's language for messages, always with UTF-8 text. Numbers stay as SQL writes them, with a point.
// Drivers set the locale anew from the environment, so it has to say the same.
void chooseLocale() {
  std::setlocale(LC_ALL, "");
  if (MB_CUR_MAX == 1) {
    const char* const all = std::getenv("LC_ALL");
    setenv(all && *all ? "LC_ALL" : "LC_CTYPE", "C.UTF-8", 1);
    std::setlocale(LC_CTYPE, "C.UTF-8");
  }
  std::setlocale(LC_NUMERIC, "C");
}

void converse(Shell& shell, const std::string& historyFile) {
  LineEditor editor(historyFile, [&](const std::string& text, std::size_t start) {
    return shell.completions(text, start);
  });
  std::puts("zusql: statements end with ;   \\? lists commands   \\q quits");
  std::string line;
  for (bool goesOn = true; goesOn;) {
    const LineEvent event = editor.read(shell.prompt(), line);
    if (event == LineEvent::End) break;
    if (event == LineEvent::Interrupt) {
      shell.drop();
      continue;
    }
    std::string whole;
    goesOn = shell.take(line, &whole);
    editor.remember(whole);
  }
}

void runAll(Shell& shell, Session& session, const Options& options) {
  for (const std::string& sql : options.statements) shell.runText(sql);
  for (const std::string& file : options.files) shell.runFile(file);
  if (!options.statements.empty() || !options.files.empty()) return;
  if (session.settings.isInteractive) {
    converse(shell, options.historyFile);
  } else {
    shell.runScript(std::cin);
  }
}

int runSession(const Options& options) {
  Session session(options.settings);
  Shell shell(session, options.stopsAtError);
  try {
    if (!options.output.empty()) session.redirect(options.output);
    if (!options.connection.empty()) session.connect(options.connection, options.asksForPassword);
  } catch (const std::exception& failure) {
    session.report(failure);
    return kNotConnected;
  }
  try {
    runAll(shell, session, options);
    session.out().flush();
  } catch (const std::exception& failure) {
    session.report(failure);
    return kStatementFailed;
  }
  return shell.hasFailed() && !(session.settings.isInteractive && options.statements.empty())
             ? kStatementFailed
             : 0;
}

}  // namespace

int main(int argc, char** argv) try {
  chooseLocale();
  Options options;
  CLI::App app(
      "An SQL shell over any ODBC data source. On a terminal, results open in a full-screen browser that "
      "holds only what is on the screen.",
      "zusql");
  addOptions(app, options);
  CLI11_PARSE(app, argc, argv);
  hidePasswords(argc, argv);
  completeOptions(app, options);
  const CancelWatch watch;
  return runSession(options);
} catch (const std::exception& failure) {
  std::fprintf(stderr, "zusql: %s\n", failure.what());
  return kStatementFailed;
} catch (...) {
  return kStatementFailed;
}
