// Both cursors and both fetch functions as a small language: an input decides on a result, its faults and a
// sequence of fetches over the scripted driver, whose effects are those of a plain model: return code, row
// count, status array and every byte of the application's memory, with null values, truncated text, rows in
// error, warnings, SQL_STILL_EXECUTING, cancels, errors that end the result, lost connections, row-set sizes
// and bind offsets that change.

#include <cstring>

#include "fuzz/input.h"
#include "fuzz/scripted.h"

namespace rowsfuzz {

constexpr SQLLEN kMostRows = 6;  // in a row set
constexpr SQLLEN kNameSize = 8;
constexpr SQLLEN kStride = 64;  // of a row in row-wise binding
constexpr SQLLEN kRoom = 1024;

using Memory = std::vector<unsigned char>;

template <class T>
void put(Memory& memory, SQLLEN at, T value) {
  std::memcpy(&memory.at(static_cast<size_t>(at)), &value, sizeof value);
}

// A bound column: where its first elements are, and the steps between elements. No cell: -1.
struct Column {
  SQLLEN data, size, step, length, indicator, cellStep;
};

// What a driver's fetch returns, with the row that it wrote to its buffers, if any.
struct Fetched {
  SQLRETURN rc;
  std::string state;
};

// The scripted driver's rows and faults, and the private buffers that it writes to.
struct DriverModel {
  ScriptAnswer answer;
  std::map<int, Fetched> faults;  // by the number of the fetch
  int calls = 0;
  size_t position = 0;
  bool pending = false, cancelled = false;
  SQLINTEGER id = 0;
  char name[kNameSize] = "";
  SQLLEN cells[2] = {};

  Fetched fetch() {
    ++calls;
    if (std::exchange(pending, false) && std::exchange(cancelled, false)) return {SQL_ERROR, "HY008"};
    if (const auto fault = faults.find(calls); fault != faults.end()) {
      pending = fault->second.rc == SQL_STILL_EXECUTING;
      return fault->second;
    }
    if (position == answer.rows.size()) return {SQL_NO_DATA, ""};
    const ScriptRow& row = answer.rows[position++];
    cells[0] = cells[1] = SQL_NULL_DATA;
    if (row.values[0]) id = std::stoi(*row.values[0]), cells[0] = sizeof id;
    if (row.values[1]) {
      const std::string& text = *row.values[1];
      cells[1] = static_cast<SQLLEN>(text.size());
      name[text.copy(name, kNameSize - 1)] = '\0';
    }
    if (!row.sqlstate.empty()) return {row.rc, row.sqlstate};
    return cells[1] >= kNameSize ? Fetched{SQL_SUCCESS_WITH_INFO, "01004"} : Fetched{SQL_SUCCESS, ""};
  }
};

struct StoredRow {
  SQLINTEGER id;
  char name[kNameSize];
  SQLLEN cells[2];
  SQLUSMALLINT status;
};

// A cursor by the rules alone. Row numbers count from 0; before the start is minus a row-set size.
class Model {
 public:
  Model(DriverModel& driver, bool scrolls, bool extended, SQLLEN size)
      : driver(driver),
        scrolls(scrolls),
        extended(extended),
        size(size),
        last(size),
        done(size),
        at(-size),
        next(-size) {}

  SQLRETURN fetch(SQLSMALLINT direction, SQLLEN offset, SQLLEN bookmark) {
    if (setUpStops) return setUpStops = false, setUpStopped = true, SQL_STILL_EXECUTING;
    if (std::exchange(setUpStopped, false) && std::exchange(cancelled, false)) return SQL_ERROR;
    if (lost || (!scrolls && direction != SQL_FETCH_NEXT)) return SQL_ERROR;
    cut = warned = bad = false;
    if (std::exchange(cancelled, false)) return resumes = false, done = 0, SQL_ERROR;
    SQLLEN row = next + done;
    if (!resumes) {
      if (end && read() == 0) return SQL_NO_DATA;
      done = 0;
      row = direction == SQL_FETCH_BOOKMARK ? (extended ? offset : bookmark + offset) - 1 : offset;
      const SQLRETURN rc = land(direction, row);
      if (rc != SQL_SUCCESS) return rc;
      next = row;
    }
    last = size;
    count = static_cast<SQLULEN>(done);
    if (scrolls && next + done < read()) {
      resumes = false;
      for (; done < last && next + done < read(); ++done) {
        const StoredRow& stored = rows[static_cast<size_t>(next + done)];
        deliver(stored, done, true);
        statuses.at(static_cast<size_t>(done)) = stored.status;
        bad |= stored.status == SQL_ROW_ERROR;
        if (stored.status == SQL_ROW_ERROR && failsCall())
          return count = static_cast<SQLULEN>(done), SQL_ERROR;
      }
      count = static_cast<SQLULEN>(done);
    }
    const SQLRETURN rc = done < last ? fromDriver() : SQL_SUCCESS;
    if (SQL_SUCCEEDED(rc)) at = next;
    if (rc == SQL_NO_DATA) at = read();
    return rc == SQL_SUCCESS && (warned || bad || cut) ? SQLRETURN{SQL_SUCCESS_WITH_INFO} : rc;
  }

  void cancel() {
    cancelled = true;
    driver.cancelled = driver.pending;
  }
  void resize(SQLLEN rows) { size = rows; }
  SQLULEN numberOf(SQLSETPOSIROW place) const { return static_cast<SQLULEN>(at) + place; }

  SQLULEN count = 77;
  std::vector<SQLUSMALLINT> statuses = std::vector<SQLUSMALLINT>(kMostRows, 99);
  Memory memory = Memory(kRoom, 0xAA);
  std::vector<Column> columns;  // the bookmark, the id, the name
  SQLLEN bindOffset = 0;
  bool setUpStops = false;  // the driver is still describing a column

 private:
  SQLLEN read() const { return static_cast<SQLLEN>(rows.size()); }
  bool failsCall() const { return size == 1 && !extended; }

  SQLRETURN nowhere(SQLLEN place) { return at = next = place, SQL_NO_DATA; }
  SQLRETURN onRow(SQLLEN target, SQLLEN& row) {
    if (end && target >= read()) return nowhere(read());
    return row = std::max<SQLLEN>(target, 0), last = size, SQL_SUCCESS;
  }
  SQLRETURN atStart(SQLLEN& row) { return row = 0, warned = true, SQL_SUCCESS; }

  SQLRETURN land(SQLSMALLINT direction, SQLLEN& row) {
    switch (direction) {
      case SQL_FETCH_NEXT: return onRow(at + last, row);
      case SQL_FETCH_BOOKMARK: return row < 0 ? nowhere(-last) : onRow(row, row);
      case SQL_FETCH_ABSOLUTE: return absolute(row);
      case SQL_FETCH_FIRST: return row = 0, last = size, SQL_SUCCESS;
      default: break;
    }
    last = size;
    if (direction == SQL_FETCH_LAST) {
      if (const SQLRETURN rc = readTo(0); rc != SQL_NO_DATA) return rc;
      if (read() == 0) return SQL_NO_DATA;
      return row = std::max<SQLLEN>(read() - size, 0), SQL_SUCCESS;
    }
    const SQLLEN step = direction == SQL_FETCH_PRIOR ? -size : row;
    if (direction == SQL_FETCH_PRIOR) {
      if (at < 1) return nowhere(-size);
      const bool whole = at >= size && (!end || read() >= size);
      return whole ? (row = at - size, SQL_SUCCESS) : atStart(row);
    }
    if ((at < 0 && step > 0) || (end && at >= read() && step < 0)) return absolute(row);
    if (at < 0 || (at == 0 && step < 0)) return nowhere(-size);
    if (at + step >= 0) return onRow(at + step, row);
    return -step > size ? nowhere(-size) : atStart(row);
  }

  SQLRETURN absolute(SQLLEN& row) {
    if (row == 0) return nowhere(-std::exchange(last, size));
    if (row > 0) return end && row > read() ? nowhere(read()) : (row -= 1, last = size, SQL_SUCCESS);
    if (!end)
      if (const SQLRETURN rc = readTo(0); rc != SQL_NO_DATA) return rc;
    if (-row <= read()) return row += read(), last = size, SQL_SUCCESS;
    return -row > last ? nowhere(-last) : atStart(row);
  }

  // Reads without delivering, to `target` rows or, with 0, to the end.
  SQLRETURN readTo(SQLLEN target) {
    if (end) return SQL_NO_DATA;
    do {
      Fetched row = driver.fetch();
      if (row.state == "08S01") lost = true;
      if (row.state == "08S01" || row.state == "HY008") return SQL_ERROR;
      if (row.state == "HY000") cut = true;
      if (row.state == "HY000" || row.state == "24000") row.rc = SQL_NO_DATA;
      if (row.rc == SQL_NO_DATA) end = true;
      if (row.rc == SQL_NO_DATA || row.rc == SQL_STILL_EXECUTING) return row.rc;
      store(row.rc);
    } while (target == 0 || read() < target);
    return SQL_SUCCESS;
  }

  SQLRETURN fromDriver() {
    SQLLEN i = done;
    Fetched row{SQL_NO_DATA, ""};
    if (!end) {
      if (read() < next + done)
        if (const SQLRETURN rc = readTo(next + done); !SQL_SUCCEEDED(rc)) return rc;
      resumes = false;
      for (; i < last; ++i) {
        row = driver.fetch();
        if (row.state == "24000") row.rc = SQL_NO_DATA;
        if (row.state == "08S01") return lost = true, SQL_ERROR;
        const bool ends = row.state == "HY000" || row.state == "HY008";
        if (ends && i > 0) warned = true;
        if (ends || row.rc == SQL_NO_DATA || row.rc == SQL_STILL_EXECUTING) break;
        bad |= row.rc == SQL_ERROR;
        if (row.rc == SQL_ERROR && failsCall()) return SQL_ERROR;
        warned |= row.rc == SQL_SUCCESS_WITH_INFO;
        const bool info = row.rc == SQL_SUCCESS_WITH_INFO && !extended;
        statuses.at(static_cast<size_t>(i)) = row.rc == SQL_ERROR ? SQL_ROW_ERROR
                                              : info              ? SQL_ROW_SUCCESS_WITH_INFO
                                                                  : SQL_ROW_SUCCESS;
        store(row.rc);
        if (!deliver(rows.back(), i, false)) return SQL_ERROR;
      }
      count = static_cast<SQLULEN>(i);
      done = i;
      resumes = row.rc == SQL_STILL_EXECUTING && i < last;
      end = row.rc == SQL_NO_DATA;
    }
    if (i == 0 || resumes) return row.rc;
    for (; i < last; ++i) statuses.at(static_cast<size_t>(i)) = SQL_ROW_NOROW;
    return SQL_SUCCESS;
  }

  void store(SQLRETURN rc) {
    StoredRow row{driver.id,
                  "",
                  {driver.cells[0], driver.cells[1]},
                  static_cast<SQLUSMALLINT>(rc == SQL_ERROR ? SQL_ROW_ERROR : SQL_ROW_SUCCESS)};
    std::memcpy(row.name, driver.name, sizeof row.name);
    rows.push_back(row);
  }

  // False when a null value without a cell fails the call.
  bool deliver(const StoredRow& row, SQLLEN i, bool fromCache) {
    const Column& bookmark = columns[0];
    put(memory, bookmark.data + i * bookmark.step + bindOffset, std::uint64_t(next + i + 1));
    put(memory, bookmark.length + i * bookmark.cellStep + bindOffset, SQLLEN{8});
    for (size_t c = 0; c < 2; ++c) {
      const Column& column = columns[c + 1];
      const SQLLEN cell = row.cells[c];
      const auto place = [&](SQLLEN first, SQLLEN step) { return first + i * step + bindOffset; };
      const void* const value = c == 0 ? static_cast<const void*>(&row.id) : row.name;
      std::memcpy(&memory.at(static_cast<size_t>(place(column.data, column.step))), value,
                  static_cast<size_t>(column.size));
      const bool apart = column.indicator != column.length;
      if (column.length >= 0 && (fromCache || cell != SQL_NULL_DATA || !apart))
        put(memory, place(column.length, column.cellStep), cell);
      if (apart && column.indicator >= 0)
        put(memory, place(column.indicator, column.cellStep),
            SQLLEN{cell == SQL_NULL_DATA ? SQL_NULL_DATA : 0});
      if (fromCache || cell != SQL_NULL_DATA || column.length >= 0 || column.indicator >= 0) continue;
      if (failsCall()) return false;
      bad = true;
    }
    return true;
  }

  DriverModel& driver;
  bool scrolls, extended;
  std::vector<StoredRow> rows;
  SQLLEN size, last, done, at, next;
  bool end = false, resumes = false, lost = false, cancelled = false, setUpStopped = false;
  bool cut = false, warned = false, bad = false;  // of this call
};

class Run : public ScriptedConnection {
 public:
  Run(Input& input, ScriptedVariant variant) : ScriptedConnection({.variant = variant}), input(input) {}
  void run();

 private:
  int pick(int below) { return static_cast<int>(input(static_cast<unsigned long>(below))); }
  bool oneIn(int n) { return pick(n) == n - 1; }  // never at the end of the input
  SQLLEN pickSize() { return oneIn(3) ? 1 : 1 + pick(kMostRows); }

  void makeResult(DriverModel& driver) {
    ScriptAnswer& answer = driver.answer = scriptedRows(pick(14));
    for (ScriptRow& row : answer.rows) {
      for (ScriptValue& value : row.values)
        if (oneIn(6)) value.reset();
      if (row.values[1] && oneIn(5)) *row.values[1] += " and more";
      if (oneIn(6)) row.sqlstate = "22003";
      if (oneIn(8)) row.sqlstate = "01000", row.rc = SQL_SUCCESS_WITH_INFO;
    }
    for (int n = 1; n < 30; ++n) {
      if (oneIn(8)) driver.faults[n] = {SQL_STILL_EXECUTING, ""};
      if (oneIn(60)) driver.faults[n] = {SQL_ERROR, "HY000"};
      if (oneIn(120)) driver.faults[n] = {SQL_ERROR, "08S01"};
      if (oneIn(120)) driver.faults[n] = {SQL_ERROR, "24000"};
    }
    script.answers["select"] = answer;
    script.counts.clear();
    script.faults.clear();
    for (const auto& [n, fault] : driver.faults)
      script.faults.push_back({"SQLFetch", n, fault.rc, fault.state});
  }

  // Three columns row-wise or column-wise, some of them without cells or with an indicator of their own.
  std::vector<Column> bind(SQLHSTMT stmt, Memory& memory, bool byRow) {
    std::vector<Column> columns;
    const SQLSMALLINT types[] = {SQL_C_VARBOOKMARK, SQL_C_SLONG, SQL_C_CHAR};
    const SQLLEN sizes[] = {8, 4, kNameSize};
    SQLLEN top = 0;
    SQLHDESC ard = SQL_NULL_HDESC;
    EXPECT_EQ(SQL_SUCCESS, SQLGetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, &ard, 0, nullptr));
    for (SQLUSMALLINT c = 0; c < 3; ++c) {
      const auto take = [&](SQLLEN size) {
        return std::exchange(top, top + (byRow ? 8 : size * (kMostRows + 2)));
      };
      const bool cells = c == 0 || !oneIn(4);
      Column column{
          take(sizes[c]), sizes[c], byRow ? kStride : sizes[c], -1, -1, byRow ? kStride : SQLLEN{8}};
      if (cells) column.length = column.indicator = take(8);
      EXPECT_EQ(SQL_SUCCESS,
                SQLBindCol(stmt, c, types[c], &memory[static_cast<size_t>(column.data)], sizes[c],
                           cells ? reinterpret_cast<SQLLEN*>(&memory[static_cast<size_t>(column.length)])
                                 : nullptr));
      if (c == 2 && cells && oneIn(2)) {
        const SQLLEN apart = take(8);
        if (SQL_SUCCEEDED(SQLSetDescField(ard, 2, SQL_DESC_INDICATOR_PTR, &memory[static_cast<size_t>(apart)],
                                          SQL_IS_POINTER)))
          column.indicator = apart;
      }
      columns.push_back(column);
    }
    return columns;
  }

  Input& input;
};

void Run::run() {
  DriverModel driver;
  makeResult(driver);
  const bool scrolls = !oneIn(3), extended = oneIn(3), byRow = oneIn(2);
  SQLLEN size = pickSize(), offset = 0, bookmark = 1;
  Memory memory(kRoom, 0xAA);
  SQLULEN count = 77;
  std::vector<SQLUSMALLINT> statuses(kMostRows, 99);

  OdbcStatement stmt(conn);
  const SQLINTEGER sizeAttribute = extended ? SQL_ROWSET_SIZE : SQL_ATTR_ROW_ARRAY_SIZE;
  stmt.set(SQL_ATTR_CURSOR_TYPE, scrolls ? SQL_CURSOR_STATIC : SQL_CURSOR_FORWARD_ONLY);
  stmt.set(SQL_ATTR_USE_BOOKMARKS, SQL_UB_VARIABLE);
  stmt.set(SQL_ATTR_FETCH_BOOKMARK_PTR, &bookmark);
  stmt.set(SQL_ATTR_ROW_BIND_TYPE, byRow ? kStride : SQL_BIND_BY_COLUMN);
  stmt.set(SQL_ATTR_ROW_BIND_OFFSET_PTR, &offset);
  stmt.set(SQL_ATTR_ROWS_FETCHED_PTR, &count);
  stmt.set(SQL_ATTR_ROW_STATUS_PTR, statuses.data());
  stmt.set(sizeAttribute, static_cast<SQLULEN>(size));
  const std::vector<Column> columns = bind(stmt, memory, byRow);
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  Model model(driver, scrolls, extended, size);
  model.columns = columns;
  if (oneIn(4))
    script.faults.push_back({"SQLDescribeCol", 1, SQL_STILL_EXECUTING, ""}), model.setUpStops = true;

  std::string history;
  SQLRETURN rc = SQL_SUCCESS;
  SQLSMALLINT direction = SQL_FETCH_NEXT;
  SQLLEN row = 0;
  for (int step = 0; step < 14; ++step) {
    if (rc == SQL_STILL_EXECUTING) {
      if (oneIn(5)) SQLCancel(stmt), model.cancel(), history += " cancel";
    } else {
      if (step && oneIn(5))
        stmt.set(sizeAttribute, static_cast<SQLULEN>(size = pickSize())), model.resize(size);
      if (oneIn(6))
        SQLCancel(stmt), driver.cancelled = driver.pending;  // of a call that was given up, if any
      offset = model.bindOffset = byRow ? pick(2) * kStride : pick(2) * 16;
      const SQLSMALLINT directions[] = {SQL_FETCH_NEXT,    SQL_FETCH_FIRST,    SQL_FETCH_LAST,
                                        SQL_FETCH_PRIOR,   SQL_FETCH_ABSOLUTE, SQL_FETCH_RELATIVE,
                                        SQL_FETCH_BOOKMARK};
      direction = oneIn(scrolls ? 2 : 9) ? directions[pick(7)] : SQLSMALLINT{SQL_FETCH_NEXT};
      row = oneIn(20) ? (SQLLEN{pick(2)} * 2 - 1) << 50 : pick(19) - 9;
      bookmark = pick(12);
    }
    history += " " + std::to_string(direction) + "(" + std::to_string(row) + "," + std::to_string(bookmark) +
               ")/" + std::to_string(size);
    SCOPED_TRACE((scrolls ? "scrolls" : "forward") + std::string(extended ? " extended" : "") + history);
    const SQLRETURN expected = model.fetch(direction, row, bookmark);
    rc = extended ? SQLExtendedFetch(stmt, static_cast<SQLUSMALLINT>(direction), row, &count, statuses.data())
                  : SQLFetchScroll(stmt, direction, row);
    ASSERT_SQL(expected, stmt, rc);
    ASSERT_EQ(model.count, count);
    ASSERT_EQ(model.statuses, statuses);
    ASSERT_EQ(model.memory, memory);
    if (rc == SQL_SUCCESS || rc == SQL_ERROR) {
      ASSERT_EQ(rc == SQL_ERROR, !stmt.states().empty()) << stmt.why();
    }
    if (scrolls && SQL_SUCCEEDED(rc) && count > 0) {
      const auto place = 1 + static_cast<SQLSETPOSIROW>(pick(static_cast<int>(count)));
      ASSERT_SQL(SQL_SUCCESS, stmt, SQLSetPos(stmt, place, SQL_POSITION, SQL_LOCK_NO_CHANGE));
      SQLULEN number = 0;
      const bool readable = statuses[place - 1] != SQL_ROW_ERROR;
      ASSERT_SQL(readable ? SQL_SUCCESS : SQL_ERROR, stmt,
                 SQLGetStmtAttr(stmt, SQL_ATTR_ROW_NUMBER, &number, 0, nullptr));
      if (readable) {
        ASSERT_EQ(model.numberOf(place), number);
      }
    }
  }
}

}  // namespace rowsfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  rowsfuzz::Run(input, input(2) ? ScriptedVariant::Odbc2 : ScriptedVariant::Odbc3).run();
  endProgramOnFailure();
  return 0;
}
