#include "tools/zusql/browser/model.h"

#include <algorithm>
#include <cstring>

#include "tools/zusql/display.h"

namespace zusql {

namespace {

constexpr std::size_t kNarrowest = 3;
constexpr std::size_t kWidestByItself = 40;
constexpr std::size_t kWidest = 1000;
constexpr std::size_t kGap = 2;  // between columns
constexpr std::size_t kNullWidth = 4;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool matches(std::string_view text, const std::string& pattern) {
  const bool isExact = std::ranges::any_of(pattern, [](char c) { return c >= 'A' && c <= 'Z'; });
  if (isExact) return memmem(text.data(), text.size(), pattern.data(), pattern.size()) != nullptr;
  const auto isSame = [](char a, char b) { return lower(a) == b; };
  return std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), isSame) != text.end() ||
         pattern.empty();
}

BrowserModel::BrowserModel(RowSource& source)
    : source(source), hidden(source.columns().size()), isChosen(hidden) {
  for (const Column& column : source.columns()) {
    widths.push_back(std::clamp(columnsOf(visible(column.name)), kNarrowest, kWidestByItself));
  }
}

void BrowserModel::setScreen(std::int64_t rows, std::size_t columns) {
  height = std::max<std::int64_t>(rows, 1);
  width = columns;
  scrollToRow();
  scrollToColumn();
}

// Columns grow with what comes on the screen, and do not shrink, so that they do not dance.
void BrowserModel::measure(std::int64_t rows) {
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (isChosen[i]) continue;
    for (std::int64_t r = top; r < top + rows; ++r) {
      const CellView cell = source.cell(r, i);
      const std::size_t needed = cell.isNull ? kNullWidth : columnsOf(visible(cell.text));
      widths[i] = std::clamp(needed, widths[i], kWidestByItself);
    }
  }
  scrollToColumn();
}

std::int64_t BrowserModel::loadScreen() {
  std::int64_t rows = source.load(top, height);
  if (rows < height && source.isComplete() && current >= source.rowsRead()) {
    moveRows(0);
    rows = source.load(top, height);
  }
  measure(rows);
  return rows;
}

void BrowserModel::moveRows(std::int64_t by) {
  std::int64_t target = std::max<std::int64_t>(current + by, 0);
  if (target >= source.rowsRead() && !source.isComplete()) source.load(target, 1);
  target = std::min(target, source.rowsRead() - 1);
  current = std::max<std::int64_t>(target, 0);
  scrollToRow();
}

void BrowserModel::firstRow() {
  current = 0;
  scrollToRow();
}

void BrowserModel::goToRow(std::int64_t row, const GoesOn& goesOn) {
  while (source.rowsRead() <= row && !source.isComplete() && goesOn(source.rowsRead()))
    source.readTowards(row);
  current = std::clamp<std::int64_t>(row, 0, std::max<std::int64_t>(source.rowsRead() - 1, 0));
  scrollToRow();
}

void BrowserModel::lastRow(const GoesOn& goesOn) {
  while (!source.isComplete() && goesOn(source.rowsRead())) source.readTowards(INT64_MAX / 2);
  goToRow(std::max<std::int64_t>(source.rowsRead() - 1, 0), goesOn);
}

void BrowserModel::goToPercentage(double share, const GoesOn& goesOn) {
  constexpr double kWhole = 100;
  while (!source.isComplete() && goesOn(source.rowsRead())) source.readTowards(INT64_MAX / 2);
  const auto last = static_cast<double>(std::max<std::int64_t>(source.rowsRead() - 1, 0));
  goToRow(static_cast<std::int64_t>(last * std::clamp(share, 0.0, kWhole) / kWhole), goesOn);
}

// Keeps the cursor on the screen.
void BrowserModel::scrollToRow() {
  if (current < top) top = current;
  if (current >= top + height) top = current - height + 1;
}

std::optional<std::size_t> BrowserModel::neighbour(std::size_t from, int direction) const {
  for (std::size_t i = from; direction > 0 ? i + 1 < hidden.size() : i > 0;) {
    i = direction > 0 ? i + 1 : i - 1;
    if (isShown(i)) return i;
  }
  return std::nullopt;
}

void BrowserModel::moveColumns(int by) {
  for (int step = std::abs(by); step > 0; --step) {
    const auto next = neighbour(currentColumn, by);
    if (!next) break;
    currentColumn = *next;
  }
  scrollToColumn();
}

void BrowserModel::firstColumn() { moveColumns(-static_cast<int>(hidden.size())); }
void BrowserModel::lastColumn() { moveColumns(static_cast<int>(hidden.size())); }

void BrowserModel::scrollToColumn() {
  leftColumn = std::max(leftColumn, frozen);
  if (currentColumn < frozen) return;
  leftColumn = std::min(leftColumn, currentColumn);
  const auto isOnScreen = [&] {
    return std::ranges::any_of(shownColumns(), [&](const ShownColumn& shown) {
      return shown.index == currentColumn && shown.x + widths[currentColumn] <= width;
    });
  };
  while (leftColumn < currentColumn && !isOnScreen()) ++leftColumn;
}

std::vector<BrowserModel::ShownColumn> BrowserModel::shownColumns() const {
  std::vector<ShownColumn> shown;
  std::size_t x = gutterWidth() + 1;
  for (std::size_t i = 0; i < widths.size() && x < width; ++i) {
    if (!isShown(i) || (i >= frozen && i < leftColumn)) continue;
    shown.push_back({i, x, std::min(widths[i], width - x)});
    x += widths[i] + kGap;
  }
  return shown;
}

// A column of marks, and the digits of the row numbers on the screen.
std::size_t BrowserModel::gutterWidth() const {
  constexpr std::size_t kLeast = 6;
  return std::max(kLeast, grouped(top + height).size() + 2);
}

void BrowserModel::toggleFreeze() {
  frozen = frozen == currentColumn + 1 ? 0 : currentColumn + 1;
  leftColumn = frozen;
  scrollToColumn();
}

void BrowserModel::hideColumn() {
  auto next = neighbour(currentColumn, 1);
  if (!next) next = neighbour(currentColumn, -1);
  if (!next) return;
  hidden[currentColumn] = true;
  currentColumn = *next;
  scrollToColumn();
}

void BrowserModel::showAllColumns() { hidden.assign(hidden.size(), false); }

std::size_t BrowserModel::hiddenColumns() const {
  return static_cast<std::size_t>(std::ranges::count(hidden, true));
}

void BrowserModel::resizeColumn(int by) {
  isChosen[currentColumn] = true;
  const auto wanted = static_cast<std::int64_t>(widths[currentColumn]) + by;
  widths[currentColumn] = static_cast<std::size_t>(std::clamp<std::int64_t>(
      wanted, kNarrowest, std::min(kWidest, std::max(kNarrowest, width - gutterWidth() - 1))));
  scrollToColumn();
}

void BrowserModel::fitColumn() {
  std::size_t widest = columnsOf(visible(source.columns()[currentColumn].name));
  const std::int64_t rows = source.load(top, height);
  for (std::int64_t r = top; r < top + rows; ++r) {
    const CellView cell = source.cell(r, currentColumn);
    widest = std::max(widest, cell.isNull ? kNullWidth : columnsOf(visible(cell.text)));
  }
  widths[currentColumn] = widest;
  resizeColumn(0);
}

// The first cell of a row that matches, in the direction of the search. In the row of the cursor only cells
// that are after it count.
std::optional<std::size_t> BrowserModel::findInRow(std::int64_t at, const Search& search) const {
  for (std::size_t n = 0; n < hidden.size(); ++n) {
    const std::size_t i = search.isForward ? n : hidden.size() - 1 - n;
    if (search.column ? *search.column != i : !isShown(i)) continue;
    if (at == current && (search.isForward ? i <= currentColumn : i >= currentColumn)) continue;
    const CellView cell = source.cell(at, i);
    if (!cell.isNull && matches(cell.text, search.pattern)) return i;
  }
  return std::nullopt;
}

bool BrowserModel::find(const Search& search, const GoesOn& goesOn) {
  const std::int64_t step = search.isForward ? 1 : -1;
  const std::int64_t portion = source.rowsAtOnce();
  for (std::int64_t at = current; at >= 0;) {
    const std::int64_t first = search.isForward ? at : std::max<std::int64_t>(at - portion + 1, 0);
    const std::int64_t rows = source.load(first, search.isForward ? portion : at - first + 1);
    if (rows == 0) break;
    for (std::int64_t i = 0; i < rows; ++i, at += step) {
      const auto column = findInRow(at, search);
      if (!column) continue;
      current = at;
      currentColumn = *column;
      scrollToRow();
      scrollToColumn();
      return true;
    }
    if (!goesOn(std::abs(at - current))) break;
  }
  return false;
}

}  // namespace zusql
