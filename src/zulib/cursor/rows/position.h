// Where a cursor is in its result, and the arithmetic of the fetch directions.
//
// Row numbers are 0-based positions in the result. A position before the result is minus a row-set size, so
// that one row set forward is the first row; a position after it is the number of rows. Nothing here reads
// rows: a direction that counts from the end must not be resolved before the result has been read.

#ifndef ZULIB_CURSOR_ROWS_POSITION_H
#define ZULIB_CURSOR_ROWS_POSITION_H

#include <sql.h>
#include <sqlext.h>

// A fetch direction of ODBC 1, which the current headers do not have.
constexpr unsigned short kFetchResume = 7;

class Position {
 public:
  // Clamps a row-set size to what the arithmetic on row numbers can hold; at least one row.
  static SQLLEN usableRowsetSize(SQLULEN size);

  explicit Position(SQLULEN rowsetSize);

  enum Landing {
    OnRow,         // at *row
    MovedToStart,  // at row 0, because part of the row set would lie before it
    OutOfResult,   // before the start or after the end, where the position now is
  };

  // True if the direction counts from the end of a result that has not been read to its end. To be asked
  // before `land`.
  bool needsEnd(unsigned short orientation, SQLLEN row);

  // Turns a direction into the first row of the new row set. `*row` is the application's offset, for a
  // bookmark the 0-based row that it names, and receives the row.
  Landing land(unsigned short orientation, SQLLEN* row);

  SQLLEN curRow;           // the current row set's first row
  SQLLEN nextRow;          // first row of the row set in progress; bookmarks count from here
  SQLLEN rowsRead = 0;     // rows taken from the driver so far
  bool endOfData = false;  // the driver has no more rows
  SQLLEN rowsDone;         // rows of the row set in progress that have been delivered
  SQLLEN rowsetSize;       // in force
  SQLLEN effectiveRowset;  // of the last fetch; differs from rowsetSize if that has changed since

 private:
  Landing beforeStart(SQLLEN size);
  Landing afterEnd();
  Landing onRow(SQLLEN target, SQLLEN* row);
  Landing movedToStart(SQLLEN* row);
  Landing prior(SQLLEN* row);
  Landing absolute(SQLLEN* row);
  Landing relative(SQLLEN* row);
};

// Limits a row number to a range in which the sum of two does not overflow.
SQLLEN nearer(SQLLEN row);

#endif
