// The terminal in full-screen mode, and what is asked on its last line.

#ifndef TOOLS_ZUSQL_BROWSER_SCREEN_H
#define TOOLS_ZUSQL_BROWSER_SCREEN_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "tools/zusql/browser/model.h"

struct screen;

namespace zusql {

enum class Look { Plain, Bold, Dim, Reverse, Heading };

// The size of the terminal before it is in full-screen mode.
struct TerminalSize {
  int rows;
  int columns;
};
TerminalSize terminalSize();

// One at a time.
class Screen {
 public:
  static constexpr int kEscape = 27;
  static constexpr int kEnter = '\n';

  // Throws std::runtime_error if the terminal cannot do it.
  Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen();

  int rows() const;
  int columns() const;

  void clear();
  void put(int row, int column, std::string_view text, Look look = Look::Plain);

  // Text over a whole line.
  void putLine(int row, std::string_view text, Look look = Look::Plain);
  void show();

  // Waits for a key: a character or one of the KEY_ codes of curses. Ctrl-C is kEscape.
  int key();

  // A line of text typed on the last line. None if Esc was typed. `isNull`, if given, tells that Ctrl-N was
  // typed.
  std::optional<std::string> ask(const std::string& label, const std::string& initial = {},
                                 bool* isNull = nullptr);

  // A callback for long work: shows how far it is, with the rows per second, and stops it at Esc or Ctrl-C.
  GoesOn progress(std::string what);

  // Shows text over the whole screen until a key is typed.
  void showText(const std::string& text);

 private:
  bool isStopped();

  screen* terminal;
};

}  // namespace zusql

#endif
