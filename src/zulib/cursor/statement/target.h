// What SqlParser sees of a cursor: the rows that a positioned statement refers to, and the few calls by which
// one statement frees the connection for another. Implemented in rows/.
//
// Thread use: under CursorLibrarySingleThreadLock.

#ifndef ZULIB_CURSOR_STATEMENT_TARGET_H
#define ZULIB_CURSOR_STATEMENT_TARGET_H

#include "zuodbc/dmhandle.h"

// A column that can be part of a search, with its value in the current row.
struct SearchColumn {
  const char* name;   // quoted
  void* value;        // in the cursor's cache
  SQLLEN* lengthPtr;  // null: the value is null-terminated or of fixed size
  short cType;
  short sqlType;
  SQLULEN size;
  short scale;
};

// A scrollable cursor as the target of positioned statements. The current row is the one that SQLSetPos or
// the last fetch chose.
class SearchTarget {
 public:
  virtual unsigned getConcurrency() const = 0;

  // True if the select reads more than one table.
  virtual int getJoinFlag() = 0;

  // The number of columns that can be part of a search, and the room that a column's name needs, with its
  // zero.
  virtual int numSearchCols() = 0;
  virtual unsigned short searchNameSize() const = 0;

  // Advances `*index`, which starts at -1, to the next such column. Returns false after the last one. Throws
  // if the cursor has no current row; the error belongs to `statement`.
  virtual bool nextSearchCol(DMStmt* statement, int* index, SearchColumn* column) = 0;

  // Keeps the current row in memory until unpinRow(row) is called with the row that pinRow returned: the
  // driver was given pointers to its values. Calls pair up.
  virtual SQLLEN pinRow() = 0;
  virtual void unpinRow(SQLLEN row) = 0;

  // The cached row takes the application's buffers and the status "updated", or the status "deleted".
  virtual void updateRow() = 0;
  virtual void deleteRow() = 0;

  // Closes the second statement that SQLGetData reads through, if the connection has one active statement.
  virtual void closeGetDataCursor() = 0;

  // Reads the rest of the result into the cache.
  virtual SQLRETURN flush() = 0;

  // Makes a flush that is under way stop at its next row.
  virtual void markCancelled() = 0;

  // Notes that the positioned statement of another statement refers to the cursor: such a statement has to be
  // told when the cursor ends.
  void noteReference() { referred = true; }
  bool isReferredTo() const { return referred; }

 protected:
  SearchTarget() = default;
  ~SearchTarget() = default;

 private:
  bool referred = false;
};

// Returns the scrollable cursor of a statement, or null.
SearchTarget* targetOf(const DMStmt* stmt);

// True if the statement has a cursor of either kind that has not read its result to the end.
bool hasUnreadRows(const DMStmt* stmt);

#endif
