#include "tools/zusql/browser/browser.h"

#include <curses.h>
#include <cmath>
#include <cstdlib>

#include "tools/zusql/browser/valuereader.h"
#include "tools/zusql/browser/valuewindow.h"
#include "tools/zusql/display.h"
#include "tools/zusql/sqltext.h"

namespace zusql {

namespace {

// Lines above the rows (statement, headings) and below (status, messages).
constexpr int kLinesAbove = 2;
constexpr int kLinesBelow = 2;

constexpr char kHelp[] =
    "Movement\n"
    "  arrows          a row or a column        PgUp PgDn   a screen\n"
    "  Home End        first and last row       [ ]         first and last column\n"
    "  g               to row N, or to N%\n"
    "\n"
    "Search (a capital letter makes case count)\n"
    "  /  ?            forward, back            n N         again, the other way\n"
    "  f  F            the same in this column only\n"
    "\n"
    "Columns\n"
    "  <  >            narrower, wider          =           as wide as its values\n"
    "  z               freeze up to this one    x X         hide this one, show all\n"
    "\n"
    "Values\n"
    "  Enter           the whole value in a window\n"
    "  e               change it (Ctrl-N: to null)          D   delete the row\n"
    "\n"
    "  q               leave; changes are then committed or rolled back\n"
    "  Esc, Ctrl-C     stop what is under way\n";

std::string firstLine(const std::string& text) { return visible(text.substr(0, text.find('\n'))); }

}  // namespace

Browser::Browser(Connection& connection, Result& result, const std::string& sql)
    : connection(connection), result(result), sql(sql), model(result), editor(connection, result, sql) {
  fitToScreen();
}

void Browser::fitToScreen() {
  model.setScreen(screen.rows() - kLinesAbove - kLinesBelow, static_cast<std::size_t>(screen.columns()));
}

void Browser::run() {
  for (bool goesOn = true; goesOn;) {
    try {
      draw();
    } catch (const std::exception& failure) {
      message = firstLine(failure.what());
      screen.putLine(screen.rows() - 1, message, Look::Bold);
      screen.show();
    }
    const int key = screen.key();
    message.clear();
    try {
      goesOn = take(key);
    } catch (const std::exception& failure) {
      message = firstLine(failure.what());
    }
  }
}

void Browser::draw() {
  const std::int64_t rows = model.loadScreen();
  screen.clear();
  const std::string statement = onOneLine(sql);
  screen.putLine(0, " " + visible(statement.empty() ? sql : statement), Look::Dim);
  drawHeading();
  for (std::int64_t i = 0; i < rows; ++i) drawRow(kLinesAbove + static_cast<int>(i), model.topRow() + i);
  if (model.isEmpty())
    screen.put(kLinesAbove, static_cast<int>(model.gutterWidth()) + 1, "(no rows)", Look::Dim);
  screen.putLine(screen.rows() - 2, status(), Look::Reverse);
  if (message.empty()) {
    screen.putLine(screen.rows() - 1, " h help   g go to   / search   Enter value   e edit   q leave",
                   Look::Dim);
  } else {
    screen.putLine(screen.rows() - 1, " " + message, Look::Bold);
  }
  screen.show();
}

void Browser::drawHeading() {
  screen.put(1, 0, fitted("row", model.gutterWidth(), true), Look::Heading);
  for (const BrowserModel::ShownColumn& shown : model.shownColumns()) {
    const Column& column = result.columns()[shown.index];
    screen.put(1, static_cast<int>(shown.x), fitted(visible(column.name), shown.width, column.isNumeric()),
               shown.index == model.column() ? Look::Reverse : Look::Heading);
  }
}

void Browser::drawRow(int line, std::int64_t row) {
  const RowState state = result.state(row);
  const bool isCurrent = row == model.row();
  constexpr const char* kMarks[] = {" ", "*", "D", "!"};
  const std::string number = fitted(grouped(row + 1), model.gutterWidth() - 1, true);
  screen.put(line, 0, kMarks[static_cast<int>(state)] + number, isCurrent ? Look::Bold : Look::Dim);
  for (const BrowserModel::ShownColumn& shown : model.shownColumns()) {
    const CellView cell = result.cell(row, shown.index);
    const std::string text = cell.isNull ? "NULL" : visible(cell.text) + (cell.isCut ? "…" : "");
    Look look = cell.isNull || state == RowState::Deleted ? Look::Dim : Look::Plain;
    if (state == RowState::Changed) look = Look::Bold;
    if (isCurrent && shown.index == model.column()) look = Look::Reverse;
    screen.put(line, static_cast<int>(shown.x),
               fitted(text, shown.width, result.columns()[shown.index].isNumeric()), look);
    if (model.isFrozen(shown.index) && !model.isFrozen(shown.index + 1)) {
      screen.put(line, static_cast<int>(shown.x + shown.width), "│", Look::Dim);
    }
  }
}

std::string Browser::status() const {
  const Column& column = result.columns()[model.column()];
  std::string text = " row " + grouped(model.isEmpty() ? 0 : model.row() + 1);
  text += result.isComplete() ? " of " + grouped(result.rowsRead()) + ", all read"
                              : ", " + grouped(result.rowsRead()) + " read so far";
  text += "   column " + std::to_string(model.column() + 1) + " of " +
          std::to_string(result.columns().size()) + ": " + visible(column.name) + " " + column.typeName;
  if (column.size > 0) text += "(" + std::to_string(column.size) + ")";
  if (model.hiddenColumns() > 0) text += "   " + std::to_string(model.hiddenColumns()) + " hidden";
  if (editor.hasChanges()) text += "   " + grouped(editor.changeCount()) + " changed";
  return text;
}

bool Browser::take(int key) {
  switch (key) {
    case 'q': return !leave();
    case 'h':
    case KEY_F(1): screen.showText(kHelp); break;
    case 'g': jump(); break;
    case '/':
    case '?': askSearch(key == '/', false); break;
    case 'f':
    case 'F': askSearch(key == 'f', true); break;
    case 'n':
    case 'N': searchAgain(key == 'N'); break;
    case Screen::kEnter: showValue(); break;
    case 'e': editCell(); break;
    case 'D': deleteRow(); break;
    case KEY_RESIZE: fitToScreen(); break;
    default: takeMovement(key); takeColumnKey(key);
  }
  return true;
}

void Browser::takeMovement(int key) {
  switch (key) {
    case KEY_UP: model.moveRows(-1); break;
    case KEY_DOWN: model.moveRows(1); break;
    case KEY_PPAGE: model.movePages(-1); break;
    case KEY_NPAGE:
    case ' ': model.movePages(1); break;
    case KEY_HOME: model.firstRow(); break;
    case KEY_END: model.lastRow(screen.progress("rows read")); break;
    case KEY_LEFT: model.moveColumns(-1); break;
    case KEY_RIGHT: model.moveColumns(1); break;
    case '[': model.firstColumn(); break;
    case ']': model.lastColumn(); break;
    default: break;
  }
}

void Browser::takeColumnKey(int key) {
  constexpr int kStep = 4;
  switch (key) {
    case '<': model.resizeColumn(-kStep); break;
    case '>': model.resizeColumn(kStep); break;
    case '=': model.fitColumn(); break;
    case 'z': model.toggleFreeze(); break;
    case 'x': model.hideColumn(); break;
    case 'X': model.showAllColumns(); break;
    default: break;
  }
}

void Browser::jump() {
  const auto where = screen.ask("Row number, or percentage with %: ");
  if (!where || where->empty()) return;
  std::string digits;
  for (const char c : *where) {
    if (c != ',' && c != ' ') digits += c;
  }
  char* end = nullptr;
  const double number = std::strtod(digits.c_str(), &end);
  const bool isShare = std::string_view(end) == "%";
  if (end == digits.c_str() || !std::isfinite(number) || number < 0 || (*end != '\0' && !isShare)) {
    message = "Not a row number or a percentage: " + visible(*where);
    return;
  }
  constexpr double kMostRows = 1e15;
  const GoesOn progress = screen.progress("rows read");
  if (isShare) {
    model.goToPercentage(number, progress);
    return;
  }
  const auto row = static_cast<std::int64_t>(std::min(number, kMostRows));
  model.goToRow(row - 1, progress);
  if (result.isComplete() && row > result.rowsRead())
    message = "The last row is " + grouped(result.rowsRead()) + ".";
}

void Browser::askSearch(bool isForward, bool isInColumn) {
  const std::string where = isInColumn ? " in " + visible(result.columns()[model.column()].name) : "";
  const auto pattern = screen.ask("Search" + where + (isForward ? ": " : " back: "));
  if (!pattern) return;
  if (!pattern->empty()) {
    search = Search{*pattern, {}, isForward};
    if (isInColumn) search->column = model.column();
  }
  searchAgain(false);
}

void Browser::searchAgain(bool isReversed) {
  if (!search) {
    message = "Nothing has been searched for yet.";
    return;
  }
  Search now = *search;
  now.isForward = now.isForward != isReversed;
  bool isStopped = false;
  const GoesOn progress = screen.progress("rows searched");
  const bool isFound = model.find(now, [&](std::int64_t rows) {
    isStopped = !progress(rows);
    return !isStopped;
  });
  if (!isFound) {
    message = (isStopped ? "Stopped before " : "Not found: ") + visible(now.pattern) +
              (isStopped ? " was found." : "");
  }
}

void Browser::showValue() {
  if (model.isEmpty()) return;
  const Column& column = result.columns()[model.column()];
  ValueWindow window(screen, visible(column.name) + ", row " + grouped(model.row() + 1),
                     readerOfValue(connection, result, sql, model.row(), model.column()));
  window.run();
  fitToScreen();
}

void Browser::editCell() {
  if (const std::string why = editor.whyNot(); !why.empty() || model.isEmpty()) {
    message = why;
    return;
  }
  result.load(model.row(), 1);
  const CellView cell = result.cell(model.row(), model.column());
  bool isNull = false;
  const auto text = screen.ask(visible(result.columns()[model.column()].name) + " (Ctrl-N: null): ",
                               cell.isNull ? std::string() : std::string(cell.text), &isNull);
  if (!text) return;
  editor.change(model.row(), model.column(), isNull ? nullptr : &*text);
  message = "Changed. Leaving with q commits or rolls back.";
}

void Browser::deleteRow() {
  if (const std::string why = editor.whyNot(); !why.empty() || model.isEmpty()) {
    message = why;
    return;
  }
  const auto yes =
      screen.ask("Delete row " + grouped(model.row() + 1) + " of " + visible(editor.table()) + "? y or n: ");
  if (!yes || *yes != "y") return;
  editor.remove(model.row());
  message = "Deleted. Leaving with q commits or rolls back.";
}

// True if the user leaves.
bool Browser::leave() {
  if (!editor.hasChanges()) return true;
  const auto how =
      screen.ask(grouped(editor.changeCount()) + " changed: c commits, r rolls back, Esc goes on: ");
  if (!how) return false;
  if (*how == "c") {
    editor.commit();
    return true;
  }
  if (*how != "r") return false;
  editor.rollback();
  return true;
}

}  // namespace zusql
