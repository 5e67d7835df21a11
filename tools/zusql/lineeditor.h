// Lines from the terminal, with editing, history and completion.

#ifndef TOOLS_ZUSQL_LINEEDITOR_H
#define TOOLS_ZUSQL_LINEEDITOR_H

#include <functional>
#include <string>
#include <vector>

namespace zusql {

enum class LineEvent { Line, Interrupt, End };

// One at a time.
class LineEditor {
 public:
  // The completions of the word that begins at `start` of the text.
  using Completer = std::function<std::vector<std::string>(const std::string& text, std::size_t start)>;

  // Reads the history; a file that is not there yet is made by the first entry, for its owner only.
  LineEditor(std::string historyFile, Completer completer);
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;
  ~LineEditor();

  // Ctrl-C gives Interrupt, with the line dropped; the end of the input gives End.
  LineEvent read(const std::string& prompt, std::string& line);

  // Keeps an entry, at once also in the file. Passwords of connection strings are taken out; other texts that
  // may hold a password are not kept.
  void remember(const std::string& entry);

 private:
  const std::string historyFile;
};

// `entry` as it may be kept: empty if it may not.
std::string keptInHistory(const std::string& entry);

// $ZUSQL_HISTORY, else .zusql_history in the home directory; empty if there is neither.
std::string defaultHistoryFile();

}  // namespace zusql

#endif
