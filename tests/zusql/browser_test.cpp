// The browser's state and long texts, beside plain models; no terminal.

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <optional>
#include <random>

#include "tools/zusql/browser/longtext.h"
#include "tools/zusql/browser/model.h"
#include "tools/zusql/display.h"

namespace {

using namespace zusql;

// Rows of numbers as text: row r, column c holds r * (c + 1). Keeps the rules of a source: only loaded rows
// may be looked at, and rows come in order.
class CountingSource : public RowSource {
 public:
  CountingSource(std::int64_t total, std::int64_t capacity, std::size_t columnCount)
      : total(total), capacity(capacity), described(columnCount) {
    for (std::size_t i = 0; i < columnCount; ++i) described[i].name = "column" + std::to_string(i);
  }

  const std::vector<Column>& columns() const override { return described; }
  std::int64_t rowsAtOnce() const override { return capacity; }
  std::int64_t load(std::int64_t first, std::int64_t count) override {
    count = std::min(count, capacity);
    readUpTo(first + count);
    start = first;
    held = std::clamp<std::int64_t>(read - first, 0, count);
    return held;
  }
  CellView cell(std::int64_t row, std::size_t column) const override {
    EXPECT_TRUE(row >= start && row < start + held) << row << " is not held";
    text = textOf(row, column);
    return {text, false, false};
  }
  RowState state(std::int64_t) const override { return RowState::Unchanged; }
  std::int64_t rowsRead() const override { return read; }
  bool isComplete() const override { return complete; }
  void readTowards(std::int64_t row) override { readUpTo(std::min(row + 1, read + 7)); }

  static std::string textOf(std::int64_t row, std::size_t column) {
    return std::to_string(row * static_cast<std::int64_t>(column + 1));
  }

 private:
  void readUpTo(std::int64_t end) {
    if (end >= total) complete = true;
    read = std::max(read, std::min(end, total));
  }

  const std::int64_t total;
  const std::int64_t capacity;
  std::vector<Column> described;
  std::int64_t start = 0;
  std::int64_t held = 0;
  std::int64_t read = 0;
  bool complete = false;
  mutable std::string text;
};

// Where a search has to end, by looking at every cell in turn.
std::optional<std::pair<std::int64_t, std::size_t>> expectedFind(std::int64_t total, std::size_t columnCount,
                                                                 const BrowserModel& model,
                                                                 const Search& search) {
  const auto columns = static_cast<std::int64_t>(columnCount);
  const std::int64_t step = search.isForward ? 1 : -1;
  std::int64_t at = model.row() * columns + static_cast<std::int64_t>(model.column()) + step;
  for (; at >= 0 && at < total * columns; at += step) {
    const auto column = static_cast<std::size_t>(at % columns);
    if (search.column && *search.column != column) continue;
    if (CountingSource::textOf(at / columns, column).find(search.pattern) != std::string::npos) {
      return std::pair{at / columns, column};
    }
  }
  return std::nullopt;
}

void move(BrowserModel& model, std::mt19937& random, std::int64_t total) {
  const GoesOn always = [](std::int64_t) { return true; };
  const GoesOn never = [](std::int64_t) { return false; };
  switch (random() % 14) {
    case 0: model.moveRows(static_cast<std::int64_t>(random() % 9) - 4); break;
    case 1: model.movePages(random() % 2 == 0 ? 1 : -1); break;
    case 2: model.firstRow(); break;
    case 3: model.lastRow(random() % 2 == 0 ? always : never); break;
    case 4:
      model.goToRow(static_cast<std::int64_t>(random() % static_cast<unsigned>(2 * total + 2)) - 1, always);
      break;
    case 5: model.goToPercentage(static_cast<double>(random() % 101), always); break;
    case 6: model.moveColumns(static_cast<int>(random() % 5) - 2); break;
    case 7: model.toggleFreeze(); break;
    case 8: model.hideColumn(); break;
    case 9: model.showAllColumns(); break;
    case 10: model.resizeColumn(static_cast<int>(random() % 40) - 20); break;
    case 11: model.fitColumn(); break;
    case 12: model.setScreen(1 + random() % 12, 20 + random() % 100); break;
    default: model.lastColumn(); break;
  }
}

// After any keys: the cursor is on a row that is on the screen and has been read, and its column is on the
// screen unless frozen columns leave no room.
TEST(ZusqlBrowser, CursorStaysOnTheScreen) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    std::mt19937 random(seed);
    const std::int64_t total = static_cast<std::int64_t>(random() % 60);
    CountingSource source(total, 1 + random() % 20, 1 + random() % 6);
    BrowserModel model(source);
    std::int64_t height = 5;
    model.setScreen(height, 60);
    for (int i = 0; i < 60; ++i) {
      const std::string where = "seed " + std::to_string(seed) + ", step " + std::to_string(i);
      move(model, random, total);
      height = 1 + random() % 12;
      const std::size_t width = 30 + random() % 60;
      model.setScreen(height, width);
      model.loadScreen();
      ASSERT_TRUE(model.row() >= model.topRow() && model.row() < model.topRow() + height) << where;
      ASSERT_TRUE(model.row() == 0 || model.row() < source.rowsRead()) << where;
      const auto shown = model.shownColumns();
      bool isShown = model.isFrozen(model.column());
      for (const auto& column : shown) {
        ASSERT_LE(column.x + column.width, std::max(width, column.x)) << where;
        isShown = isShown || column.index == model.column();
      }
      const bool isCrowded = !shown.empty() && model.isFrozen(shown.back().index);
      ASSERT_TRUE(isShown || isCrowded || shown.empty()) << where;
    }
    model.goToPercentage(100, [](std::int64_t) { return true; });
    EXPECT_EQ(std::max<std::int64_t>(total - 1, 0), model.row());
  }
}

TEST(ZusqlBrowser, SearchFindsTheNextCell) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    std::mt19937 random(seed);
    const std::int64_t total = 1 + static_cast<std::int64_t>(random() % 80);
    const std::size_t columns = 1 + random() % 4;
    CountingSource source(total, 1 + random() % 10, columns);
    BrowserModel model(source);
    model.setScreen(5, 60);
    for (int i = 0; i < 8; ++i) {
      Search search{std::to_string(random() % 30), {}, random() % 2 == 0};
      if (random() % 2 == 0) search.column = random() % columns;
      const auto expected = expectedFind(total, columns, model, search);
      const bool isFound = model.find(search, [](std::int64_t) { return true; });
      ASSERT_EQ(expected.has_value(), isFound) << "seed " << seed;
      if (!expected) continue;
      EXPECT_EQ(*expected, std::pair(model.row(), model.column())) << "seed " << seed;
    }
  }
  EXPECT_TRUE(matches("Zürich", "zür"));
  EXPECT_FALSE(matches("zürich", "Zür"));
}

// Lines by any order of questions, at widths that change, as if the whole text were cut at once.
TEST(ZusqlBrowser, LongTextIsCutIntoLines) {
  ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8"));
  constexpr const char* kPieces[] = {"a", "bc", "\n", "李雷", "ü", "e\u0301", "\x01", " word ", "\n\n"};
  for (unsigned seed = 1; seed <= 150; ++seed) {
    std::mt19937 random(seed);
    std::string whole;
    for (unsigned n = random() % 400; n > 0; --n) whole += kPieces[random() % std::size(kPieces)];
    std::size_t given = 0;
    LongText text([&](std::string& piece) {
      const std::size_t bytes = std::min<std::size_t>(1 + random() % 50, whole.size() - given);
      piece += whole.substr(given, bytes);
      given += bytes;
      return given < whole.size();
    });
    for (int round = 0; round < 3; ++round) {
      const std::size_t width = 2 + random() % 30;
      text.setWidth(width);
      std::vector<std::string> expected;
      for (std::size_t from = 0; from < whole.size();) {
        const std::size_t feed = std::min(whole.find('\n', from), whole.size());
        const std::size_t taken = bytesWithin(std::string_view(whole).substr(from, feed - from), width);
        expected.push_back(visible(whole.substr(from, taken)));
        from += taken + (from + taken == feed ? 1 : 0);
      }
      for (int i = 0; i < 20; ++i) {
        const std::size_t number = random() % (expected.size() + 2);
        std::string line;
        ASSERT_EQ(number < expected.size(), text.line(static_cast<std::int64_t>(number), line))
            << "seed " << seed;
        ASSERT_EQ(number < expected.size() ? expected[number] : "", line)
            << "seed " << seed << ", width " << width;
      }
    }
  }
}

}  // namespace
