#include "tools/zusql/lineeditor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <readline/history.h>
#include <readline/readline.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/zusql/cancel.h"
#include "tools/zusql/connectionstring.h"
#include "tools/zusql/sqltext.h"

namespace zusql {

namespace {

constexpr int kHistoryEntries = 2000;

// The interface of the line library has no place for an object of the caller's.
LineEditor::Completer completer;
std::vector<std::string> candidates;
bool wasInterrupted = false;

char* nextCandidate(const char*, int number) {
  return static_cast<std::size_t>(number) < candidates.size()
             ? strdup(candidates[static_cast<std::size_t>(number)].c_str())
             : nullptr;
}

char** complete(const char* word, int start, int) {
  rl_attempted_completion_over = 1;  // never file names
  candidates = completer(std::string(rl_line_buffer, static_cast<std::size_t>(start)) + word,
                         static_cast<std::size_t>(start));
  return rl_completion_matches(word, nextCandidate);
}

// A byte from the terminal. Ctrl-C ends the line, empty.
int nextByte(std::FILE* terminal) {
  pollfd input{fileno(terminal), POLLIN, 0};
  while (poll(&input, 1, -1) < 0 && errno == EINTR) {
    rl_check_signals();
    if (!takeInterrupt()) continue;
    wasInterrupted = true;
    std::fputs("^C", rl_outstream);
    rl_replace_line("", 0);
    return '\n';
  }
  unsigned char byte = 0;
  return read(input.fd, &byte, 1) == 1 ? byte : EOF;
}

}  // namespace

LineEditor::LineEditor(std::string file, Completer words) : historyFile(std::move(file)) {
  completer = std::move(words);
  rl_readline_name = "zusql";
  rl_catch_signals = 0;
  rl_getc_function = nextByte;
  rl_attempted_completion_function = complete;
  rl_completer_word_break_characters = const_cast<char*>(" \t\n,;()=<>+-*/.'\"");
  stifle_history(kHistoryEntries);
  if (historyFile.empty()) return;
  read_history(historyFile.c_str());
}

LineEditor::~LineEditor() {
  completer = nullptr;
  clear_history();
}

LineEvent LineEditor::read(const std::string& prompt, std::string& line) {
  wasInterrupted = false;
  (void)takeInterrupt();
  char* const text = readline(prompt.c_str());
  if (wasInterrupted) {
    std::free(text);
    return LineEvent::Interrupt;
  }
  if (!text) return LineEvent::End;
  line = text;
  std::free(text);
  return LineEvent::Line;
}

void LineEditor::remember(const std::string& entry) {
  const std::string kept = keptInHistory(entry);
  if (kept.empty()) return;
  const HIST_ENTRY* const last = history_get(history_base + history_length - 1);
  if (last && kept == last->line) return;
  add_history(kept.c_str());
  if (historyFile.empty()) return;
  const int fd = open(historyFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (fd < 0) return;
  const bool isPrivate = fchmod(fd, S_IRUSR | S_IWUSR) == 0;
  close(fd);
  if (isPrivate) append_history(1, historyFile.c_str());
}

std::string keptInHistory(const std::string& entry) {
  std::string kept = entry;
  if (entry.starts_with("\\c ")) {
    kept = "\\c " + withoutPassword(std::string_view(entry).substr(3));
  }
  if (kept.find('\n') != std::string::npos || mayHoldPassword(kept)) return {};
  return kept;
}

std::string defaultHistoryFile() {
  if (const char* const named = secure_getenv("ZUSQL_HISTORY")) return named;
  const char* const home = secure_getenv("HOME");
  return home && *home ? std::string(home) + "/.zusql_history" : std::string();
}

}  // namespace zusql
