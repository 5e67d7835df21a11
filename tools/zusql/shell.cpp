#include "tools/zusql/shell.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zusql {

namespace {

constexpr int kDeepestScript = 20;

constexpr std::array kCommands{
    Command{"?", "", "this list"},
    Command{"browse", "[on|off]", "show results in the browser"},
    Command{"c", "[CONNECTION]", "connect; without a connection string, open the last connection again"},
    Command{"d", "[TABLE]", "list tables and views; columns and keys of a table, whose name may hold %"},
    Command{"export", "FILE SELECT...", "write a result to a file: .csv, .jsonl, else in the current format"},
    Command{"format", "[FORMAT]", "aligned, csv or jsonl"},
    Command{"i", "FILE", "run a script"},
    Command{"o", "[FILE]", "send output to a file; without one, to the terminal"},
    Command{"q", "", "quit"},
    Command{"timing", "[on|off]", "show how long each statement takes"},
    Command{"width", "[BYTES]", "bytes of a value that the browser holds, 16 to 65536"},
};

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r;") + 1 - first);
}

// "on" and "off"; without either, the other way round.
bool switched(bool before, const std::string& argument) {
  if (argument.empty()) return !before;
  if (argument != "on" && argument != "off") throw std::runtime_error("on or off is needed, not " + argument);
  return argument == "on";
}

std::size_t cellBytes(const std::string& argument) {
  constexpr unsigned long kLeast = 16;
  constexpr unsigned long kMost = 65536;
  char* end = nullptr;
  const unsigned long bytes = std::strtoul(argument.c_str(), &end, 10);
  if (*end != '\0' || bytes < kLeast || bytes > kMost) {
    throw std::runtime_error("a number from 16 to 65536 is needed, not " + argument);
  }
  return bytes;
}

}  // namespace

std::span<const Command> commands() { return kCommands; }

template <class Work>
void Shell::reported(Work work) {
  try {
    work();
  } catch (const std::exception& failure) {
    ++failures;
    session.report(failure);
  }
}

void Shell::run(const std::string& sql) {
  reported([&] { session.run(sql); });
  if (changesCatalog(sql)) names.forget();
}

bool Shell::take(const std::string& line, std::string* whole) {
  if (splitter.isEmpty() && splitter.openQuote() == 0) {
    const std::size_t first = line.find_first_not_of(" \t");
    if (first != std::string::npos && line[first] == '\\') {
      if (whole) *whole = line;
      return runCommand(trimmed(line));
    }
  }
  for (const std::string& sql : splitter.add(line)) {
    if (whole) *whole += (whole->empty() ? "" : " ") + onOneLine(sql) + ";";
    run(sql);
    if (mustStop()) return false;
  }
  return true;
}

void Shell::finish() {
  const std::string sql = splitter.rest();
  if (!sql.empty() && !mustStop()) run(sql);
}

void Shell::runScript(std::istream& script) {
  std::string line;
  while (std::getline(script, line) && take(line)) {
  }
  finish();
}

void Shell::runText(const std::string& text) {
  std::istringstream lines(text);
  runScript(lines);
}

void Shell::runFile(const std::string& path) {
  std::ifstream script(path);
  if (!script) throw std::runtime_error("cannot read " + path);
  if (depth == kDeepestScript) throw std::runtime_error("too many scripts that run scripts: " + path);
  ++depth;
  runScript(script);
  --depth;
}

std::string Shell::prompt() const {
  if (splitter.pending().empty()) return session.name() + "=> ";
  const char quote = splitter.openQuote();
  return session.name() + (quote ? std::string(1, quote) : "-") + "> ";
}

bool Shell::runCommand(const std::string& line) {
  const std::size_t end = line.find_first_of(" \t");
  const std::string name = line.substr(1, end == std::string::npos ? end : end - 1);
  const std::string argument = end == std::string::npos ? "" : trimmed(line.substr(end));
  bool goesOn = true;
  reported([&] { goesOn = dispatch(name, argument); });
  return goesOn && !mustStop();
}

bool Shell::dispatch(const std::string& name, const std::string& argument) {
  Settings& settings = session.settings;
  if (name == "q") return false;
  if (name == "?") {
    showHelp();
  } else if (name == "c") {
    names.forget();
    session.connect(argument);
  } else if (name == "d" && argument.empty()) {
    describeTables(session.connection(), session.out(), settings.format);
  } else if (name == "d") {
    describeTable(session.connection(), argument, session.out(), settings.format);
  } else if (name == "export") {
    exportCommand(argument);
  } else if (name == "i") {
    runFile(argument);
  } else if (name == "o") {
    session.redirect(argument);
  } else if (name == "browse") {
    settings.isBrowsing = switched(settings.isBrowsing, argument);
  } else if (name == "timing") {
    settings.isTiming = switched(settings.isTiming, argument);
  } else if (name == "format") {
    if (!argument.empty()) settings.format.format = formatNamed(argument);
    if (argument.empty()) session.out().write(nameOf(settings.format.format) + std::string("\n"));
  } else if (name == "width") {
    if (!argument.empty()) settings.cellBytes = cellBytes(argument);
    if (argument.empty()) session.out().write(std::to_string(settings.cellBytes) + "\n");
  } else {
    throw std::runtime_error("no command \\" + name + ": \\? lists them");
  }
  return true;
}

void Shell::exportCommand(const std::string& argument) {
  const std::size_t end = argument.find_first_of(" \t");
  if (end == std::string::npos) throw std::runtime_error("\\export needs a file and a query");
  session.exportTo(argument.substr(0, end), argument.substr(end + 1));
}

void Shell::showHelp() {
  std::string text = "Statements end with a semicolon.\n";
  for (const Command& command : kCommands) {
    std::string left = std::string("  \\") + command.name + " " + command.argument;
    left.resize(26, ' ');
    text += left + command.help + "\n";
  }
  session.out().write(text);
  session.out().flush();
}

std::vector<std::string> Shell::completions(const std::string& line, std::size_t start) {
  std::vector<std::string> found;
  const std::string word = line.substr(start);
  if (!session.isConnected() || word.starts_with('\\')) {
    for (const Command& command : kCommands) {
      if (const std::string name = std::string("\\") + command.name; name.starts_with(word))
        found.push_back(name);
    }
    return found;
  }
  try {
    if (line.starts_with("\\d ")) return names.matchingTables(session.connection(), word);
    return names.matching(session.connection(), word, splitter.pending() + line);
  } catch (const std::exception&) {
    return found;  // no names rather than a message in the middle of a line
  }
}

}  // namespace zusql
