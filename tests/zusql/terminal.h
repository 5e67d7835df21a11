// zusql on a terminal: a session of tmux with a server of its own, which ends with the object.

#ifndef TESTS_ZUSQL_TERMINAL_H
#define TESTS_ZUSQL_TERMINAL_H

#include <string>
#include <vector>

#include "tests/support/odbc_fixture.h"

class ZusqlTerminal {
 public:
  static constexpr int kRows = 24;
  static constexpr int kColumns = 100;

  // Starts zusql with these arguments, and its history in the directory.
  ZusqlTerminal(const ScratchDirectory& directory, const std::vector<std::string>& arguments);
  ZusqlTerminal(const ZusqlTerminal&) = delete;
  ZusqlTerminal& operator=(const ZusqlTerminal&) = delete;
  ~ZusqlTerminal();

  // Keys by tmux's names (Enter, PageDown, C-c), and text as it is typed.
  void key(const std::string& name);
  void type(const std::string& text);

  // Text, and Enter.
  void enter(const std::string& text);

  void resize(int columns, int rows);

  std::string screen();

  // Waits until the screen has the text. A failure shows the screen.
  testing::AssertionResult shows(const std::string& text);

  // Waits until zusql has ended.
  testing::AssertionResult ends();

  // The memory of zusql that is resident, in KB.
  long memory();
  std::string commandLine();
  std::string history();

 private:
  std::string tmux(const std::vector<std::string>& arguments);
  std::string processFile(const std::string& name);

  const ScratchDirectory& directory;
};

// Runs a program to its end, with its output and errors as the result.
std::string outputOf(const std::vector<std::string>& command, const std::string& input = {},
                     int* status = nullptr);

#endif
