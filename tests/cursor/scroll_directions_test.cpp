// Every fetch direction at every edge of small results, against a plain model.
//
// The model knows the standard's words only: a cursor stands before the result, on a row set, or behind the
// result, and a fetch names the row at which the new row set starts.

#include <algorithm>
#include <limits>
#include <tuple>

#include "tests/cursor/entry_fixture.h"

namespace {

struct Fetch {
  SQLSMALLINT direction;
  SQLLEN offset;
  SQLLEN bookmark = 0;
};

std::string nameOf(const Fetch& fetch) {
  const char* names[] = {"", "next", "first", "last", "prior", "absolute", "relative", "", "bookmark"};
  return std::string(names[fetch.direction]) + " " + std::to_string(fetch.offset) +
         (fetch.direction == SQL_FETCH_BOOKMARK ? " from " + std::to_string(fetch.bookmark) : "");
}

class Model {
 public:
  Model(SQLLEN rows, SQLLEN size) : rows(rows), size(size) {}

  // The row set's text, "none" without one; "<" before it when it had to move to the start.
  std::string fetch(const Fetch& fetch) {
    if (rows == 0) return "none";
    switch (fetch.direction) {
      case SQL_FETCH_NEXT: return at(isBefore() ? 0 : place + size);
      case SQL_FETCH_FIRST: return at(0);
      case SQL_FETCH_LAST: return at(std::max<SQLLEN>(rows - size, 0));
      case SQL_FETCH_PRIOR: return isBefore() || place == 0 ? before() : back(size, false);
      case SQL_FETCH_ABSOLUTE: return absolute(fetch.offset);
      case SQL_FETCH_RELATIVE: return relative(fetch.offset);
      default: return at(sum(fetch.bookmark - 1, fetch.offset));
    }
  }

 private:
  static SQLLEN sum(SQLLEN a, SQLLEN b) {
    SQLLEN result;
    const bool overflows = __builtin_add_overflow(a, b, &result);
    return overflows ? std::numeric_limits<SQLLEN>::max() : result;
  }
  bool isBefore() const { return place < 0; }
  bool isBehind() const { return place >= rows; }
  std::string before() {
    place = -1;
    return "none";
  }
  std::string at(SQLLEN row) {
    if (row < 0) return before();
    place = std::min(row, rows);
    if (isBehind()) return "none";
    return rowTexts(static_cast<int>(row) + 1, static_cast<int>(std::min(row + size, rows)));
  }
  std::string absolute(SQLLEN row) {
    if (row == 0) return before();
    if (row > 0) return at(row - 1);
    if (-row <= rows) return at(rows + row);
    return -row > size ? before() : "<" + at(0);
  }
  std::string relative(SQLLEN step) {
    if ((isBefore() && step > 0) || (isBehind() && step < 0)) return absolute(step);
    if (isBefore() || (place == 0 && step < 0)) return before();
    return step >= 0 ? at(sum(place, step)) : back(-step, true);
  }
  std::string back(SQLLEN by, bool farIsBefore) {
    if (place >= by) return at(place - by);
    return farIsBefore && by > size ? before() : "<" + at(0);
  }

  SQLLEN rows, size;
  SQLLEN place = -1;
};

class Directions : public EntryTest {
 protected:
  std::vector<Fetch> fetches(SQLLEN rows) const {
    std::vector<Fetch> all = {
        {SQL_FETCH_NEXT, 0}, {SQL_FETCH_FIRST, 0}, {SQL_FETCH_LAST, 0}, {SQL_FETCH_PRIOR, 0}};
    for (SQLLEN offset = -7; offset <= 7; ++offset) {
      all.push_back({SQL_FETCH_ABSOLUTE, offset});
      all.push_back({SQL_FETCH_RELATIVE, offset});
    }
    for (SQLLEN bookmark = 0; bookmark <= rows + 1; ++bookmark)
      for (SQLLEN offset = -2; offset <= 2; ++offset) all.push_back({SQL_FETCH_BOOKMARK, offset, bookmark});
    return all;
  }

  // Ways to every position: none, before, on each row, behind.
  static std::vector<Fetch> ways(SQLLEN rows) {
    std::vector<Fetch> all;
    for (SQLLEN row = 0; row <= rows + 1; ++row) all.push_back({SQL_FETCH_ABSOLUTE, row});
    return all;
  }
};

class Scrolling {
 public:
  Scrolling(SQLHDBC conn, SQLULEN size) : stmt(conn), size(size), model(0, 0) {
    stmt.makeScrollable(size);
    stmt.set(SQL_ATTR_USE_BOOKMARKS, SQL_UB_VARIABLE);
    stmt.set(SQL_ATTR_FETCH_BOOKMARK_PTR, &bookmark);
    rows = std::make_unique<Rowset>(stmt, size);
    EXPECT_SQL(SQL_SUCCESS, stmt,
               SQLBindCol(stmt, 0, SQL_C_VARBOOKMARK, bookmarks, sizeof *bookmarks, nullptr));
  }

  void open(SQLLEN count) {
    SQLFreeStmt(stmt, SQL_CLOSE);
    ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
    model = Model(count, static_cast<SQLLEN>(size));
  }

  // False when the cursor and the model differ.
  bool agree(const Fetch& fetch) {
    const std::string expected = model.fetch(fetch);
    bookmark = fetch.bookmark;
    const SQLRETURN rc = rows->fetch(fetch.direction, fetch.offset);
    std::string found = rc == SQL_NO_DATA ? "none" : rows->text();
    if (rc == SQL_SUCCESS_WITH_INFO && stmt.states() == "01S06") found = "<" + found;
    bool same = expected == found && (rc == SQL_NO_DATA || SQL_SUCCEEDED(rc));
    for (SQLULEN i = 0; same && rc != SQL_NO_DATA && i < size; ++i) {
      same = i < rows->count() ? bookmarks[i] == rows->id(i) : rows->status(i) == SQL_ROW_NOROW;
    }
    EXPECT_TRUE(same) << nameOf(fetch) << " gives " << found << ", not " << expected << "\n" << stmt.why();
    return same;
  }

 private:
  OdbcStatement stmt;
  SQLULEN size;
  SQLLEN bookmark = 0;
  SQLLEN bookmarks[4] = {};
  std::unique_ptr<Rowset> rows;
  Model model;
};

TEST_F(Directions, AgreeWithTheModelFromEveryPosition) {
  for (int count = 0; count <= 5; ++count) {
    script.answers["select"] = scriptedRows(count);
    for (SQLULEN size = 1; size <= 4; ++size) {
      Scrolling cursor(conn, size);
      for (const Fetch& fetch : fetches(count)) {
        SCOPED_TRACE(std::to_string(count) + " rows, sets of " + std::to_string(size));
        cursor.open(count);
        if (!cursor.agree(fetch)) return;  // the very first
        for (const Fetch& way : ways(count)) {
          SCOPED_TRACE("after " + nameOf(way));
          // With the result read to its end, and again without that.
          if (!cursor.agree(way) || !cursor.agree(fetch)) return;
          cursor.open(count);
          if (!cursor.agree(way) || !cursor.agree(fetch) || !cursor.agree({SQL_FETCH_LAST, 0})) return;
        }
      }
    }
  }
}

TEST_F(Directions, FarOffsetsAndOddOnesAreHarmless) {
  Scrolling cursor(conn, 2);
  cursor.open(5);
  const SQLLEN far = std::numeric_limits<SQLLEN>::max();  // as the model: its negation is a number, too
  const Fetch fetches[] = {
      {SQL_FETCH_NEXT, 0},       {SQL_FETCH_RELATIVE, far},      {SQL_FETCH_RELATIVE, -far},
      {SQL_FETCH_ABSOLUTE, 3},   {SQL_FETCH_RELATIVE, far},      {SQL_FETCH_ABSOLUTE, -far},
      {SQL_FETCH_ABSOLUTE, far}, {SQL_FETCH_BOOKMARK, far, far}, {SQL_FETCH_BOOKMARK, 0, -far}};
  for (const Fetch& fetch : fetches) EXPECT_TRUE(cursor.agree(fetch));
}

// The next row set starts behind the last one that was given, whatever the size is now.
TEST_F(Directions, TheRowsetSizeMayChange) {
  OdbcStatement stmt(conn);
  stmt.makeScrollable(3);
  Rowset rows(stmt, 4);
  const std::tuple<SQLULEN, SQLSMALLINT, SQLRETURN, std::string> steps[] = {
      {2, SQL_FETCH_NEXT, SQL_SUCCESS, rowTexts(1, 2)},
      {1, SQL_FETCH_NEXT, SQL_SUCCESS, rowTexts(3, 3)},
      {4, SQL_FETCH_NEXT, SQL_SUCCESS, rowTexts(4, 5)},
      {2, SQL_FETCH_PRIOR, SQL_SUCCESS, rowTexts(2, 3)},
      {3, SQL_FETCH_PRIOR, SQL_SUCCESS_WITH_INFO, rowTexts(1, 3)},
      {1, SQL_FETCH_LAST, SQL_SUCCESS, rowTexts(5, 5)},
  };
  ASSERT_SQL(SQL_SUCCESS, stmt, stmt.execute("select"));
  for (const auto& [size, direction, rc, text] : steps) {
    stmt.set(SQL_ATTR_ROW_ARRAY_SIZE, size);
    EXPECT_SQL(rc, stmt, rows.fetch(direction));
    EXPECT_EQ(text, rows.text());
  }
}

}  // namespace
