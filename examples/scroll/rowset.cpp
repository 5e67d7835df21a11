#include "rowset.h"

#include <algorithm>
#include <cstdio>

namespace {

const char* stateName(SQLUSMALLINT state) {
  switch (state) {
    case SQL_ROW_SUCCESS: return "";
    case SQL_ROW_DELETED: return "deleted";
    case SQL_ROW_UPDATED: return "updated";
    case SQL_ROW_ERROR: return "error";
    default: return "?";
  }
}

}  // namespace

Rowset::Rowset(Statement& statement, SQLULEN rows)
    : statement(statement), rows(rows), states(rows), bookmarks(rows) {
  statement.setAttribute(SQL_ATTR_CURSOR_TYPE, SQL_CURSOR_STATIC, "a static cursor");
  statement.setAttribute(SQL_ATTR_CONCURRENCY, SQL_CONCUR_VALUES, "an updatable cursor");
  statement.setAttribute(SQL_ATTR_USE_BOOKMARKS, SQL_UB_VARIABLE, "bookmarks");
  statement.setAttribute(SQL_ATTR_ROW_ARRAY_SIZE, rows, "the row-set size");
  const SQLHSTMT handle = statement.handle();
  statement.check(SQLSetStmtAttr(handle, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0), "the row count");
  statement.check(SQLSetStmtAttr(handle, SQL_ATTR_ROW_STATUS_PTR, states.data(), 0), "the row states");
  statement.check(SQLSetStmtAttr(handle, SQL_ATTR_FETCH_BOOKMARK_PTR, &fromBookmark, 0), "the bookmark");
}

void Rowset::bind(SQLLEN widest, SQLUSMALLINT leftOut) {
  SQLSMALLINT count = 0;
  statement.check(SQLNumResultCols(statement.handle(), &count), "SQLNumResultCols");
  columns.clear();
  columns.reserve(count);
  for (SQLUSMALLINT number = 1; number <= count; ++number) {
    if (number == leftOut) continue;
    SQLCHAR name[128];
    SQLULEN size = 0;
    statement.check(SQLDescribeCol(statement.handle(), number, name, sizeof name, nullptr, nullptr, &size,
                                   nullptr, nullptr),
                    "SQLDescribeCol");
    const SQLLEN width =
        size == 0 ? widest : std::min<SQLLEN>(static_cast<SQLLEN>(std::max<SQLULEN>(size, 12)), widest);
    Column& column = columns.emplace_back();
    column.name = reinterpret_cast<char*>(name);
    column.width = width + 1;
    column.values.resize(rows * column.width);
    column.lengths.resize(rows);
    statement.check(SQLBindCol(statement.handle(), number, SQL_C_CHAR, column.values.data(), column.width,
                               column.lengths.data()),
                    "SQLBindCol");
  }
  statement.check(
      SQLBindCol(statement.handle(), 0, SQL_C_BOOKMARK, bookmarks.data(), sizeof(SQLULEN), nullptr),
      "the bookmark column");
}

bool Rowset::fetch(SQLSMALLINT orientation, SQLLEN offset) {
  const SQLRETURN rc = SQLFetchScroll(statement.handle(), orientation, offset);
  if (rc != SQL_NO_DATA) statement.check(rc, "SQLFetchScroll");
  if (rc == SQL_NO_DATA) fetched = 0;
  return rc != SQL_NO_DATA;
}

std::string Rowset::value(SQLULEN row, std::size_t column) const {
  const Column& from = columns[column];
  if (from.lengths[row] == SQL_NULL_DATA) return "(null)";
  return &from.values[row * from.width];
}

char* Rowset::setValue(SQLULEN row, std::size_t column, const std::string& text) {
  Column& to = columns[column];
  char* buffer = &to.values[row * to.width];
  std::snprintf(buffer, static_cast<std::size_t>(to.width), "%s", text.c_str());
  to.lengths[row] = SQL_NTS;
  return buffer;
}

void Rowset::print() const {
  std::vector<std::size_t> widths;
  for (std::size_t c = 0; c < columns.size(); ++c) {
    std::size_t width = columns[c].name.size();
    for (SQLULEN row = 0; row < fetched; ++row) width = std::max(width, value(row, c).size());
    widths.push_back(width);
  }
  std::printf("    %8s", "row");
  for (std::size_t c = 0; c < columns.size(); ++c) {
    std::printf("  %-*s", static_cast<int>(widths[c]), columns[c].name.c_str());
  }
  std::puts("");
  for (SQLULEN row = 0; row < fetched; ++row) {
    std::printf("    %8lu", static_cast<unsigned long>(bookmarks[row]));
    for (std::size_t c = 0; c < columns.size(); ++c) {
      std::printf("  %-*s", static_cast<int>(widths[c]), value(row, c).c_str());
    }
    std::printf("%s%s\n", states[row] == SQL_ROW_SUCCESS ? "" : "  <- ", stateName(states[row]));
  }
  if (fetched == 0) std::puts("    (no rows)");
}
