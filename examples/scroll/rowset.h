// A block of rows bound column-wise as text, fetched in any direction, and printed as a table.

#pragma once

#include <string>
#include <vector>

#include "odbc.h"

class Rowset {
 public:
  // Makes the statement's cursor static with `rows` rows a fetch. Call before executing.
  Rowset(Statement& statement, SQLULEN rows);

  // Binds every column of the result, plus the bookmark column. Columns longer than `widest` characters
  // are cut to that. `leftOut` (from 1, 0: none) stays unbound, to be read with SQLGetData.
  void bind(SQLLEN widest, SQLUSMALLINT leftOut = 0);

  // False at either end of the result.
  bool fetch(SQLSMALLINT orientation, SQLLEN offset = 0);

  // The rows that the last fetch delivered, with their positions and states.
  void print() const;

  SQLULEN count() const { return fetched; }
  SQLULEN bookmarkOf(SQLULEN row) const { return bookmarks[row]; }
  std::string value(SQLULEN row, std::size_t column) const;

  // Puts a new text into the application's own buffer for a value, cut to the column's width; the answer
  // is that buffer, to be bound as a parameter. A positioned UPDATE takes the row's buffers into the cache.
  char* setValue(SQLULEN row, std::size_t column, const std::string& text);

  // The bookmark that a fetch by bookmark starts from.
  void startFrom(SQLULEN bookmark) { fromBookmark = bookmark; }

 private:
  struct Column {
    std::string name;
    SQLLEN width;
    std::vector<char> values;
    std::vector<SQLLEN> lengths;
  };

  Statement& statement;
  SQLULEN rows;
  SQLULEN fetched = 0;
  SQLULEN fromBookmark = 0;
  std::vector<SQLUSMALLINT> states;
  std::vector<SQLULEN> bookmarks;
  std::vector<Column> columns;
};
