// The shell: lines in, statements and backslash commands run.

#ifndef TOOLS_ZUSQL_SHELL_H
#define TOOLS_ZUSQL_SHELL_H

#include <istream>
#include <optional>
#include <span>
#include <string>

#include "tools/zusql/catalog.h"
#include "tools/zusql/session.h"
#include "tools/zusql/sqltext.h"

namespace zusql {

struct Command {
  const char* name;      // without the backslash
  const char* argument;  // as the help shows it
  const char* help;
};
std::span<const Command> commands();

class Shell {
 public:
  // `stopsAtError`: a failure ends a script.
  Shell(Session& session, bool stopsAtError) : session(session), stopsAtError(stopsAtError) {}

  // Takes a line. False when the shell is to end. `whole`, if given, takes the complete statements or the
  // command for the history.
  bool take(const std::string& line, std::string* whole = nullptr);

  // Runs what is left without a `;`.
  void finish();

  // Drops the lines of a statement that is not complete.
  void drop() { splitter.rest(); }

  // Runs the lines of a script.
  void runScript(std::istream& script);
  void runFile(const std::string& path);

  // Runs all statements of a text; the last needs no `;`.
  void runText(const std::string& text);

  bool hasFailed() const { return failures > 0; }
  const std::string& pending() const { return splitter.pending(); }

  // The prompt: a name of the data source, and whether a statement or a quote goes on.
  std::string prompt() const;

  // What the word at the end of `line`, from `start`, may be completed to.
  std::vector<std::string> completions(const std::string& line, std::size_t start);

 private:
  void run(const std::string& sql);
  bool runCommand(const std::string& line);
  bool dispatch(const std::string& name, const std::string& argument);
  void exportCommand(const std::string& argument);
  void showHelp();
  bool mustStop() const { return stopsAtError && failures > 0; }

  template <class Work>
  void reported(Work work);

  Session& session;
  const bool stopsAtError;
  int failures = 0;
  int depth = 0;  // of scripts in scripts
  StatementSplitter splitter;
  CompletionNames names;
};

}  // namespace zusql

#endif
