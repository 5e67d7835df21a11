// zusql's texts and its browser beside plain models: where statements end, CSV that is read back, texts cut
// to the columns of a terminal, long texts cut into lines, and the cursor of the browser. The first byte
// chooses one of them.

#include <algorithm>
#include <array>
#include <clocale>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/input.h"
#include "tools/zusql/browser/longtext.h"
#include "tools/zusql/browser/model.h"
#include "tools/zusql/display.h"
#include "tools/zusql/formats.h"
#include "tools/zusql/sqltext.h"

namespace zusqlfuzz {

using namespace zusql;

template <class Choices>
auto oneOf(Input& in, const Choices& choices) {
  return choices[in(std::size(choices))];
}

template <class Choices>
std::string textOf(Input& in, const Choices& pieces, unsigned long most) {
  std::string text;
  for (unsigned long n = in(most); n > 0; --n) text += oneOf(in, pieces);
  return text;
}

// Statements are made of pieces that each hold what could be taken for an end, and arrive in lines that are
// cut at any blank.
void statements(Input& in) {
  constexpr const char* kPieces[] = {
      "select 1", "'a;b'",        "'it''s;'", "\"c;d\"", "`e;`", "/* ;\n' */",    "-- x; ' \"\n",
      "$$;'$$",   "$t$ ; $$ $t$", "(a, b)",   "-",       "/",    "'two\nlines;'", "$1"};
  std::vector<std::string> expected(1 + in(4));
  std::string script;
  for (std::string& sql : expected) {
    sql = "x";
    for (unsigned long n = in(6); n > 0; --n)
      sql += std::string(oneOf(in, std::array{" ", "\n"})) + oneOf(in, kPieces);
    script += sql + ";" + oneOf(in, std::array{" ", "\n", "", "\n-- end; \n", " ; "});
  }
  StatementSplitter splitter;
  std::vector<std::string> found;
  for (std::size_t from = 0; from <= script.size();) {
    const std::size_t end = std::min(script.find('\n', from), script.size());
    for (std::string& sql : splitter.add(script.substr(from, end - from))) found.push_back(std::move(sql));
    from = end + 1;
  }
  for (std::string& sql : found) sql.erase(0, sql.find('x'));
  demand(expected == found && splitter.isEmpty() && splitter.rest().empty());
}

// A reader of RFC 4180 for one record; a field without quotes that is empty is null.
std::vector<Field> readCsv(const std::string& line) {
  std::vector<Field> fields(1, Field{"", true});
  for (std::size_t i = 0; i + 2 < line.size(); ++i) {
    if (line[i] == ',') {
      fields.push_back({"", true});
    } else if (line[i] == '"') {
      fields.back().isNull = false;
      for (++i; line[i] != '"' || line[i + 1] == '"'; ++i) {
        if (line[i] == '"') ++i;
        fields.back().text += line[i];
      }
    } else {
      fields.back().isNull = false;
      fields.back().text += line[i];
    }
  }
  return fields;
}

void csv(Input& in) {
  constexpr const char* kPieces[] = {"", "a", ",", "\"", "\r\n", "\n", " ", "\\", "ä", "\xff", "\t", "\x01"};
  std::vector<Field> fields(1 + in(4));
  std::string line;
  for (Field& field : fields) {
    field.text = textOf(in, kPieces, 5);
    field.isNull = field.text.empty() && in(2) == 0;
    if (&field != fields.data()) line += ',';
    if (!field.isNull) appendCsvField(line, field.text);
  }
  const std::vector<Field> read = readCsv(line + "\r\n");
  demand(fields.size() == read.size());
  for (std::size_t f = 0; f < read.size(); ++f) {
    demand(fields[f].text == read[f].text && fields[f].isNull == read[f].isNull);
  }
}

// Whatever the text and the columns: exactly so many columns, and nothing that a terminal would act on.
void columns(Input& in) {
  constexpr const char* kPieces[] = {"a",    "李",     "e\u0301", "\x1b[2J",   "\xe6\x9d",
                                     "\x7f", "\u0085", "ü",       "\U0001F600"};
  const std::string shown = visible(textOf(in, kPieces, 8));
  for (const char c : shown) demand(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);
  const std::size_t width = in(10);
  demand(width == columnsOf(fitted(shown, width, in(2) == 0)));
}

// Lines by any order of questions, at widths that change, as if the whole text were cut at once.
void longText(Input& in) {
  constexpr const char* kPieces[] = {"a", "bc", "\n", "李雷", "ü", "e\u0301", "\x01", " word ", "\n\n"};
  const std::string whole = textOf(in, kPieces, 400);
  std::size_t given = 0;
  LongText text([&](std::string& piece) {
    const std::size_t bytes = std::min<std::size_t>(1 + in(50), whole.size() - given);
    piece += whole.substr(given, bytes);
    given += bytes;
    return given < whole.size();
  });
  for (int round = 0; round < 3; ++round) {
    const std::size_t width = 2 + in(30);
    text.setWidth(width);
    std::vector<std::string> expected;
    for (std::size_t from = 0; from < whole.size();) {
      const std::size_t feed = std::min(whole.find('\n', from), whole.size());
      const std::size_t taken = bytesWithin(std::string_view(whole).substr(from, feed - from), width);
      expected.push_back(visible(whole.substr(from, taken)));
      from += taken + (from + taken == feed ? 1 : 0);
    }
    for (int i = 0; i < 20; ++i) {
      const std::size_t number = in(expected.size() + 2);
      std::string line;
      demand(text.line(static_cast<std::int64_t>(number), line) == (number < expected.size()));
      demand(line == (number < expected.size() ? expected[number] : ""));
    }
  }
}

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
    demand(row >= start && row < start + held);
    text = cellText(row, column);
    return {text, false, false};
  }
  RowState state(std::int64_t) const override { return RowState::Unchanged; }
  std::int64_t rowsRead() const override { return read; }
  bool isComplete() const override { return complete; }
  void readTowards(std::int64_t row) override { readUpTo(std::min(row + 1, read + 7)); }

  static std::string cellText(std::int64_t row, std::size_t column) {
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

const GoesOn kAlways = [](std::int64_t) { return true; };
const GoesOn kNever = [](std::int64_t) { return false; };

std::int64_t number(Input& in, unsigned long sides) { return static_cast<std::int64_t>(in(sides)); }

void move(BrowserModel& model, Input& in, std::int64_t total) {
  switch (in(14)) {
    case 0: model.moveRows(number(in, 9) - 4); break;
    case 1: model.movePages(in(2) == 0 ? 1 : -1); break;
    case 2: model.firstRow(); break;
    case 3: model.lastRow(in(2) == 0 ? kAlways : kNever); break;
    case 4: model.goToRow(number(in, static_cast<unsigned long>(2 * total + 2)) - 1, kAlways); break;
    case 5: model.goToPercentage(static_cast<double>(in(101)), kAlways); break;
    case 6: model.moveColumns(static_cast<int>(in(5)) - 2); break;
    case 7: model.toggleFreeze(); break;
    case 8: model.hideColumn(); break;
    case 9: model.showAllColumns(); break;
    case 10: model.resizeColumn(static_cast<int>(in(40)) - 20); break;
    case 11: model.fitColumn(); break;
    case 12: model.setScreen(1 + number(in, 12), 20 + in(100)); break;
    default: model.lastColumn(); break;
  }
}

// After any keys: the cursor is on a row that is on the screen and has been read, and its column is on the
// screen unless frozen columns leave no room.
void keys(Input& in) {
  const std::int64_t total = number(in, 60);
  CountingSource source(total, 1 + number(in, 20), 1 + in(6));
  BrowserModel model(source);
  model.setScreen(5, 60);
  while (!in.atEnd()) {
    move(model, in, total);
    const std::int64_t height = 1 + number(in, 12);
    const std::size_t width = 30 + in(60);
    model.setScreen(height, width);
    model.loadScreen();
    demand(model.row() >= model.topRow() && model.row() < model.topRow() + height);
    demand(model.row() == 0 || model.row() < source.rowsRead());
    const auto shown = model.shownColumns();
    bool isShown = model.isFrozen(model.column());
    for (const auto& column : shown) {
      demand(column.x + column.width <= std::max(width, column.x));
      isShown = isShown || column.index == model.column();
    }
    const bool isCrowded = !shown.empty() && model.isFrozen(shown.back().index);
    demand(isShown || isCrowded || shown.empty());
  }
  model.goToPercentage(100, kAlways);
  demand(model.row() == std::max<std::int64_t>(total - 1, 0));
}

using Cell = std::pair<std::int64_t, std::size_t>;

// Where a search has to end, by looking at every cell in turn.
std::optional<Cell> expectedFind(std::int64_t total, std::size_t columnCount, const BrowserModel& model,
                                 const Search& search) {
  const auto columns = static_cast<std::int64_t>(columnCount);
  const std::int64_t step = search.isForward ? 1 : -1;
  std::int64_t at = model.row() * columns + static_cast<std::int64_t>(model.column()) + step;
  for (; at >= 0 && at < total * columns; at += step) {
    const auto column = static_cast<std::size_t>(at % columns);
    if (search.column && *search.column != column) continue;
    if (CountingSource::cellText(at / columns, column).find(search.pattern) != std::string::npos) {
      return Cell{at / columns, column};
    }
  }
  return std::nullopt;
}

void searches(Input& in) {
  const std::int64_t total = 1 + number(in, 80);
  const std::size_t columns = 1 + in(4);
  CountingSource source(total, 1 + number(in, 10), columns);
  BrowserModel model(source);
  model.setScreen(5, 60);
  for (int i = 0; i < 8; ++i) {
    Search search{std::to_string(in(30)), {}, in(2) == 0};
    if (in(2) == 0) search.column = in(columns);
    const auto expected = expectedFind(total, columns, model, search);
    demand(model.find(search, kAlways) == expected.has_value());
    demand(!expected || *expected == Cell(model.row(), model.column()));
  }
}

constexpr void (*kTargets[])(Input&) = {statements, csv, columns, longText, keys, searches};

}  // namespace zusqlfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool isUtf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  demand(isUtf8);
  Input in(data, size);
  zusqlfuzz::oneOf(in, zusqlfuzz::kTargets)(in);
  return 0;
}
