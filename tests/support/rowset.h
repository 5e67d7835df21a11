// A row set of the columns that most tests read, (id integer, name text), shown as one line of text.

#ifndef ZULIB_TESTS_SUPPORT_ROWSET_H
#define ZULIB_TESTS_SUPPORT_ROWSET_H

#include <memory>
#include <string>
#include <vector>

#include "tests/support/odbc_fixture.h"

// Binds columns 1 and 2 of a statement column-wise, with a status array. Must outlive the statement's use of
// the bindings. Both columns lie in one block, the numbers first: the cursor library takes columns in the
// order of their addresses.
class Rowset {
 public:
  // `nameSize`: bytes of a name's buffer, its end included.
  Rowset(OdbcStatement& stmt, SQLULEN size, SQLLEN nameSize = 24);
  Rowset(const Rowset&) = delete;
  Rowset& operator=(const Rowset&) = delete;

  SQLRETURN fetch(SQLSMALLINT orientation, SQLLEN offset = 0) {
    return SQLFetchScroll(stmt, orientation, offset);
  }

  // The rows that the last fetch gave, "1:one 2:two"; a row's mark follows it: "-" deleted, "+" updated,
  // "!" in error, "~" with a warning.
  std::string text() const;

  // What the application would write into a row, counted from 0, before it updates it.
  void setName(SQLULEN row, const char* name);  // null: a null value

  SQLULEN count() const { return fetched; }
  SQLINTEGER id(SQLULEN row) const { return ids()[row]; }
  SQLUSMALLINT status(SQLULEN row) const { return statuses[row]; }

 private:
  SQLINTEGER* ids() const { return reinterpret_cast<SQLINTEGER*>(values.get()); }
  char* nameAt(SQLULEN row) const { return values.get() + size * sizeof(SQLINTEGER) + row * nameSize; }

  OdbcStatement& stmt;
  SQLULEN size;
  SQLLEN nameSize;
  std::unique_ptr<char[]> values;
  std::vector<SQLLEN> idLengths;
  std::vector<SQLLEN> nameLengths;
  std::vector<SQLUSMALLINT> statuses;
  SQLULEN fetched = 0;
};

// The same text for rows `first` to `last` of scriptedRows() and of the fixtures' table: "2:row 2 3:row 3".
std::string rowTexts(int first, int last);

#endif
