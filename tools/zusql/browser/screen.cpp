#include "tools/zusql/browser/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <curses.h>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cwchar>
#include <stdexcept>

#include "tools/zusql/cancel.h"
#include "tools/zusql/display.h"

namespace zusql {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEscapeDelay = 25;  // milliseconds in which a key's sequence has to come
constexpr wint_t kControlN = 14;
constexpr wint_t kControlU = 21;
constexpr wint_t kRubOut = 127;
constexpr wint_t kBackspace = 8;

attr_t attributesOf(Look look) {
  switch (look) {
    case Look::Bold: return A_BOLD;
    case Look::Dim: return A_DIM;
    case Look::Reverse: return A_REVERSE;
    case Look::Heading: return A_BOLD | A_UNDERLINE;
    default: return A_NORMAL;
  }
}

// The start of the character before `at`, and after it.
std::size_t before(const std::string& text, std::size_t at) {
  do {
    if (at > 0) --at;
  } while (at > 0 && (static_cast<unsigned char>(text[at]) & 0xC0u) == 0x80);
  return at;
}
std::size_t after(const std::string& text, std::size_t at) {
  do {
    if (at < text.size()) ++at;
  } while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0u) == 0x80);
  return at;
}

// A line that is being typed.
class Typing {
 public:
  explicit Typing(const std::string& initial) : text(initial), at(initial.size()) {}

  void take(wint_t key, bool isFunctionKey) {
    if (isFunctionKey) {
      takeFunctionKey(static_cast<int>(key));
    } else if (key == kRubOut || key == kBackspace) {
      removeBefore();
    } else if (key == kControlU) {
      text.clear();
      at = 0;
    } else if (key >= ' ') {
      char bytes[MB_LEN_MAX];
      std::mbstate_t state{};
      const std::size_t count = std::wcrtomb(bytes, static_cast<wchar_t>(key), &state);
      if (count == static_cast<std::size_t>(-1)) return;
      text.insert(at, bytes, count);
      at += count;
    }
  }

  void show(Screen& screen, const std::string& label) const {
    const int row = screen.rows() - 1;
    const auto room =
        static_cast<std::size_t>(std::max(screen.columns() - static_cast<int>(columnsOf(label)) - 1, 1));
    std::size_t from = 0;
    while (columnsOf(visible(text.substr(from, at - from))) > room) from = after(text, from);
    const std::string shown = visible(text.substr(from));
    screen.putLine(row, label + shown.substr(0, bytesWithin(shown, room)));
    move(row, static_cast<int>(columnsOf(label) + columnsOf(visible(text.substr(from, at - from)))));
  }

  std::string text;

 private:
  void takeFunctionKey(int key) {
    switch (key) {
      case KEY_BACKSPACE: removeBefore(); break;
      case KEY_DC: text.erase(at, after(text, at) - at); break;
      case KEY_LEFT: at = before(text, at); break;
      case KEY_RIGHT: at = after(text, at); break;
      case KEY_HOME: at = 0; break;
      case KEY_END: at = text.size(); break;
      default: break;
    }
  }
  void removeBefore() {
    const std::size_t start = before(text, at);
    text.erase(start, at - start);
    at = start;
  }

  std::size_t at;
};

}  // namespace

TerminalSize terminalSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return {24, 80};
  return {size.ws_row, size.ws_col};
}

Screen::Screen() : terminal(newterm(nullptr, stdout, stdin)) {
  if (!terminal)
    throw std::runtime_error("the terminal has no full-screen mode; \\browse off shows results as tables");
  cbreak();
  noecho();
  keypad(stdscr, TRUE);
  set_escdelay(kEscapeDelay);
  curs_set(0);
}

Screen::~Screen() {
  endwin();
  delscreen(terminal);
}

int Screen::rows() const { return getmaxy(stdscr); }
int Screen::columns() const { return getmaxx(stdscr); }
void Screen::clear() { erase(); }
void Screen::show() { refresh(); }

void Screen::put(int row, int column, std::string_view text, Look look) {
  if (column >= columns()) return;
  const std::size_t bytes = bytesWithin(text, static_cast<std::size_t>(columns() - column));
  attrset(attributesOf(look));
  mvaddnstr(row, column, text.data(), static_cast<int>(bytes));
  attrset(A_NORMAL);
}

void Screen::putLine(int row, std::string_view text, Look look) {
  put(row, 0, fitted(text, static_cast<std::size_t>(columns()), false), look);
}

int Screen::key() {
  for (;;) {
    const int typed = getch();
    if (takeInterrupt()) return kEscape;
    if (typed != ERR) return typed == '\r' || typed == KEY_ENTER ? kEnter : typed;
    if (feof(stdin) || ferror(stdin)) return kEscape;
  }
}

std::optional<std::string> Screen::ask(const std::string& label, const std::string& initial, bool* isNull) {
  Typing typing(initial);
  curs_set(1);
  std::optional<std::string> result;
  for (;;) {
    typing.show(*this, label);
    wint_t key = 0;
    const int kind = get_wch(&key);
    if (takeInterrupt() || (kind == OK && key == kEscape)) break;
    if (kind == ERR) continue;
    if (kind == OK && key == kControlN && isNull) {
      *isNull = true;
      result.emplace();
      break;
    }
    if ((kind == OK && (key == '\n' || key == '\r')) || (kind == KEY_CODE_YES && key == KEY_ENTER)) {
      result = typing.text;
      break;
    }
    typing.take(key, kind == KEY_CODE_YES);
  }
  curs_set(0);
  return result;
}

// Other keys than Esc are lost while work goes on.
bool Screen::isStopped() {
  nodelay(stdscr, TRUE);
  bool stops = takeInterrupt();
  for (int typed = getch(); typed != ERR; typed = getch()) stops = stops || typed == kEscape;
  nodelay(stdscr, FALSE);
  return stops;
}

GoesOn Screen::progress(std::string what) {
  const Clock::time_point start = Clock::now();
  return [this, what = std::move(what), start, shown = start](std::int64_t count) mutable {
    constexpr std::chrono::milliseconds kBetween{100};
    const Clock::time_point now = Clock::now();
    if (now - shown < kBetween) return true;
    shown = now;
    const auto rate = static_cast<std::int64_t>(static_cast<double>(count) /
                                                std::chrono::duration<double>(now - start).count());
    putLine(rows() - 1, what + ": " + grouped(count) + ", " + grouped(rate) + " a second   Esc stops",
            Look::Bold);
    show();
    return !isStopped();
  };
}

void Screen::showText(const std::string& text) {
  clear();
  int row = 0;
  for (std::size_t from = 0; from < text.size() && row < rows(); ++row) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    put(row, 1, text.substr(from, end - from));
    from = end + 1;
  }
  show();
  (void)key();
}

}  // namespace zusql
