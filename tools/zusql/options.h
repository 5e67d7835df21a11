// The command line.

#ifndef TOOLS_ZUSQL_OPTIONS_H
#define TOOLS_ZUSQL_OPTIONS_H

#include <string>
#include <vector>

#include "tools/zusql/session.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the parser's own
class App;
}

namespace zusql {

struct Options {
  std::string connection;
  std::vector<std::string> statements;
  std::vector<std::string> files;
  std::string format;
  std::string output;
  std::string historyFile;
  bool asksForPassword = false;
  bool stopsAtError = true;
  Settings settings;
};

void addOptions(CLI::App& app, Options& options);

// What follows from the options and from whether there is a terminal, after they have been read.
void completeOptions(const CLI::App& app, Options& options);

}  // namespace zusql

#endif
