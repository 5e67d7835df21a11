// The state of the browser, without a terminal: where in the rows and columns it is, which columns are shown
// and how wide, and what is searched for.

#ifndef TOOLS_ZUSQL_BROWSER_MODEL_H
#define TOOLS_ZUSQL_BROWSER_MODEL_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/zusql/browser/source.h"

namespace zusql {

// Called during long work with the rows done so far. False stops the work.
using GoesOn = std::function<bool(std::int64_t rows)>;

struct Search {
  std::string pattern;                // with a capital letter: case counts
  std::optional<std::size_t> column;  // all if none
  bool isForward = true;
};

// True if `text` holds the pattern. Without capital letters (A to Z) in the pattern the case of ASCII letters
// does not matter.
bool matches(std::string_view text, const std::string& pattern);

class BrowserModel {
 public:
  explicit BrowserModel(RowSource& source);

  // The room for rows and columns of text, without headings and messages.
  void setScreen(std::int64_t rows, std::size_t columns);

  // Movement. Rows are read as needed; the cursor stays on a row that exists, if there is any.
  void moveRows(std::int64_t by);
  void movePages(int by) { moveRows(by * height); }
  void firstRow();

  // These read on until they reach the row or are stopped; then the cursor is on the last row that was read.
  void goToRow(std::int64_t row, const GoesOn& goesOn);
  void lastRow(const GoesOn& goesOn);
  void goToPercentage(double share, const GoesOn& goesOn);

  // To the next or previous column that is shown.
  void moveColumns(int by);
  void firstColumn();
  void lastColumn();

  // Columns. The leftmost shown ones, up to the current one, stay when others scroll; once more, and none
  // does.
  void toggleFreeze();
  void hideColumn();  // never the last one that is shown
  void showAllColumns();
  void resizeColumn(int by);
  void fitColumn();  // as wide as its widest value on the screen

  // Searches from the cell after the cursor, or before it. True and the cursor on the cell if found. If
  // stopped the cursor stays.
  bool find(const Search& search, const GoesOn& goesOn);

  // What is to be drawn.
  struct ShownColumn {
    std::size_t index;
    std::size_t x;
    std::size_t width;
  };
  std::vector<ShownColumn> shownColumns() const;

  // Loads the rows of the screen and returns how many there are, from topRow() on.
  std::int64_t loadScreen();

  std::int64_t topRow() const { return top; }
  std::int64_t row() const { return current; }
  std::size_t column() const { return currentColumn; }
  std::size_t gutterWidth() const;  // of the row numbers, at the left
  bool isFrozen(std::size_t index) const { return index < frozen; }
  std::size_t hiddenColumns() const;
  bool isEmpty() const { return source.isComplete() && source.rowsRead() == 0; }

 private:
  void measure(std::int64_t rows);
  void scrollToRow();
  void scrollToColumn();
  bool isShown(std::size_t index) const { return !hidden[index]; }
  std::optional<std::size_t> neighbour(std::size_t from, int direction) const;
  std::optional<std::size_t> findInRow(std::int64_t at, const Search& search) const;

  RowSource& source;
  std::int64_t height = 1;
  std::size_t width = 80;
  std::int64_t top = 0;
  std::int64_t current = 0;
  std::size_t currentColumn = 0;
  std::size_t leftColumn = 0;  // the first column that is not frozen and on the screen
  std::size_t frozen = 0;
  std::vector<std::size_t> widths;
  std::vector<bool> hidden;
  std::vector<bool> isChosen;  // the width is one that the user has chosen
};

}  // namespace zusql

#endif
