#include "tools/zusql/browser/valuewindow.h"

#include <curses.h>
#include <algorithm>

#include "tools/zusql/display.h"

namespace zusql {

ValueWindow::ValueWindow(Screen& screen, std::string title, LongText::Reader reader)
    : screen(screen), title(std::move(title)), text(std::move(reader)) {}

void ValueWindow::run() {
  do {
    draw();
  } while (take(screen.key()));
}

void ValueWindow::draw() {
  text.setWidth(static_cast<std::size_t>(screen.columns()));
  screen.clear();
  std::string line;
  for (std::int64_t i = 0; i < height() && text.line(top + i, line); ++i)
    screen.put(static_cast<int>(i) + 1, 0, line);
  const std::string size = grouped(text.bytesRead()) + (text.isComplete() ? " bytes" : " bytes read so far");
  screen.putLine(0, " " + title + "   " + size, Look::Reverse);
  screen.putLine(screen.rows() - 1, " arrows PgUp PgDn Home End   q closes", Look::Dim);
  screen.show();
}

bool ValueWindow::take(int key) {
  switch (key) {
    case 'q':
    case Screen::kEscape:
    case Screen::kEnter: return false;
    case KEY_UP: --top; break;
    case KEY_DOWN: ++top; break;
    case KEY_PPAGE: top -= height(); break;
    case KEY_NPAGE:
    case ' ': top += height(); break;
    case KEY_HOME: top = 0; break;
    case KEY_END: toEnd(); break;
    default: break;
  }
  std::string line;
  text.line(top + height() - 1, line);
  top = std::max<std::int64_t>(std::min(top, text.linesKnown() - height()), 0);
  return true;
}

void ValueWindow::toEnd() {
  const GoesOn progress = screen.progress("bytes read");
  while (!text.isComplete() && progress(text.bytesRead())) text.readPiece();
  std::string line;
  while (text.line(text.linesKnown(), line) && progress(text.bytesRead())) {
  }
  top = text.linesKnown();
}

}  // namespace zusql
