// SqlText: a private copy of an SQL statement, what an analysis finds in it, and the search that can take the
// place of the end of its text.
//
//   select a, b from t where c = 1 order by a        update t set a = ? where current of c1
//                      ^ whereOffset                                     ^ whereOffset
//
// The text is not parsed in full. The analysis finds the kind of statement, whether it is a positioned UPDATE
// or DELETE (WHERE CURRENT OF cursor), and where the WHERE clause of a select belongs.
//
// Thread safety: none. Functions that allocate throw CMemoryException.

#ifndef ZULIB_CURSOR_STATEMENT_SQLTEXT_H
#define ZULIB_CURSOR_STATEMENT_SQLTEXT_H

#include <sql.h>
#include <sqlext.h>

#include "zulib/cursor/internal/clobject.h"
#include "zulib/cursor/statement/tokens.h"

class SqlText {
 public:
  enum Type { Select = 1, Update = 2, Delete = 3, Insert = 4, Create = 5, Unknown = 6 };
  enum class Form { Searched, Positioned, Malformed };

  // `identifierQuote` begins quoted text besides ' and ".
  explicit SqlText(char identifierQuote) : identifierQuote(identifierQuote) {}

  // Copies a statement; SQL_NTS is allowed. Null is the empty text.
  void assign(const char* sql, SQLLEN length);

  // Finds the type by the first word.
  void setStmtType();

  // Looks for WHERE CURRENT OF name and counts the parameters before it. With a cursor name `cursorName` is
  // set; text after it is Malformed.
  Form findCursorName();

  // Finds where the WHERE clause of a select belongs, joins and GROUP BY. Cuts FOR UPDATE and what follows,
  // so that it never reaches the driver.
  void analyzeSelect();

  // Ends the text with "WHERE " at `whereOffset`, with room for `predicates` predicates on names of up to
  // `nameSize` bytes. May be called again.
  void openSearch(SQLULEN predicates, SQLULEN nameSize);

  // Appends `name = ? AND ` or `name IS NULL AND `, and removes the last AND.
  void beginPredicates();
  void appendPredicate(const char* name, bool isNull);
  bool closePredicates();  // false if there is none

  char* get() const { return text.get(); }
  SQLLEN length() const { return textLength; }

  Type type = Unknown;
  SQLULEN whereOffset = 0;        // of the WHERE, or where one has to go
  unsigned short paramCount = 0;  // `?` before the WHERE
  bool groupBy = false;           // the select has a GROUP BY
  bool joinFlag = false;          // the select reads more than one table
  ClBlock<char> cursorName;       // of a positioned statement, else null

 private:
  char* getToken(char* position, TOKEN* token) const { return readToken(position, identifierQuote, token); }
  char* walkToSearch(TOKEN* token);
  void walkAfterSearch(TOKEN* token, char* position);
  bool isOuterJoinEscape(const TOKEN& token) const;
  void reserve(SQLULEN size);

  char identifierQuote;
  ClBlock<char> text;
  SQLLEN textLength = 0;
  SQLULEN textRoom = 0;      // bytes of `text`
  char* position = nullptr;  // where the next predicate goes
};

#endif
