// FwdCursor assembles row sets over a driver that returns one row per fetch: each bound column has a private
// buffer, and every fetch copies rows one by one into the application's arrays. It is the cursor of a
// statement whose cursor type is forward-only, and the base of ScrollCursor.
//
// A statement owns at most one cursor, from its first SQLFetchScroll or SQLExtendedFetch on. Bookmarks are
// row numbers that count from 1.
//
// Thread use: under CursorLibrarySingleThreadLock.

#ifndef ZULIB_CURSOR_ROWS_FWDCURSOR_H
#define ZULIB_CURSOR_ROWS_FWDCURSOR_H

#include "zulib/cursor/internal/clobject.h"
#include "zulib/cursor/rows/columns.h"
#include "zulib/cursor/rows/position.h"
#include "zuodbc/dmhandle.h"

class SearchTarget;

// The status of a row in a cursor's storage.
enum ClRowStatus : unsigned short {
  CL_ROW_READ = SQL_ROW_SUCCESS,
  CL_ROW_DELETED = SQL_ROW_DELETED,
  CL_ROW_UPDATED = SQL_ROW_UPDATED,
  CL_ROW_ERROR = SQL_ROW_ERROR
};

class FwdCursor : public CLObject {
 public:
  // `api`: API_EXTENDEDFETCH or API_FETCHSCROLL, fixed for the life of the cursor.
  FwdCursor(DMStmt* stmt, unsigned short api);
  ~FwdCursor() override;
  ZU_CURSOR_CLASS(FwdCursor, CLObject)

  // Each of these throws, or returns a code. `fetch` that returns SQL_STILL_EXECUTING continues with the next
  // call, whatever its arguments.
  virtual SQLULEN rowNumber();
  virtual SQLRETURN cancel();
  SQLRETURN fetch(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount, unsigned short* rowStatus);
  SQLRETURN getData(unsigned short column, short cType, void* value, SQLLEN length, SQLLEN* lengthPtr);
  virtual SQLRETURN rowCount(SQLLEN* count);
  virtual SQLRETURN setPos(SQLULEN row, int operation, int lock);
  virtual void closeGetDataCursor() {}

  // Reads the rest of the result, so that the driver is free for another statement.
  SQLRETURN flush();
  void setRowsetSize(SQLLEN size) {
    place.rowsetSize = Position::usableRowsetSize(static_cast<SQLULEN>(size));
  }

  // Gives back everything that the cursor holds. Returns 0, or SQL_ERROR with the cause posted on the
  // statement or left by the driver. Nothing is held afterwards in either case.
  virtual SQLRETURN release();

  // The cursor as the target of positioned statements, or null.
  virtual SearchTarget* asTarget() { return nullptr; }

  bool isAtEnd() const { return place.endOfData; }
  bool isMadeFor(unsigned short api) const { return fetchApi == api; }

  // True while the driver is bound to the cursor's buffers, or may be.
  bool hasDriverBindings() const { return columns.areOnDriver(); }

  // True if the last call stopped on SQL_STILL_EXECUTING.
  bool isSuspended() const { return suspended; }

  // The driver's side of the statement is gone, so release() makes no driver call.
  void keepDriverDescriptor() { restoreArd = false; }
  void forgetCancel() { cancelled = false; }
  unsigned getConcurrency() const { return concurrency; }

  // The SQL type of a bound column, or 0 before set-up.
  short sqlTypeOf(unsigned short column) const;

 protected:
  // Set-up in steps: a step that stopped on SQL_STILL_EXECUTING is repeated by the next call. A failure ends
  // in reset().
  SQLRETURN init();
  virtual SQLRETURN runSetUp();
  virtual void reset();
  bool isSetUp() const { return initStage == 0; }

  // What a fetch asks of the derived class: to refuse a direction (it throws), to deliver rows that it holds
  // (`rowCount` receives how many rows the row set has then), and to store a row that came from the driver.
  virtual void checkDirection(unsigned short orientation) const;
  virtual SQLRETURN fetchFromBuffer(SQLLEN row, SQLULEN* rowCount, unsigned short* rowStatus);
  virtual void saveData(unsigned short status);
  virtual void leaveRow() {}        // a fetch begins
  virtual void enterRowset() {}     // a fetch has delivered a row set
  virtual SQLRETURN takeWarning();  // a warning of the cursor itself, posted: SQL_SUCCESS_WITH_INFO, or 0
  virtual SQLRETURN readValue(unsigned short column, short cType, void* value, SQLLEN length,
                              SQLLEN* lengthPtr);

  DMStmt* statement() const { return stmt; }
  const Position& position() const { return place; }
  const BoundColumns& boundColumns() const { return columns; }
  void prepareTargets() { columns.prepareTargets(); }
  void setConcurrency(unsigned value) { concurrency = value; }
  void setInitStage(int stage) { initStage = stage; }
  int getInitStage() const { return initStage; }
  bool keepsDriver() const { return restoreArd; }
  void setCancelled() { cancelled = true; }

  // Notes how many rows of the row set in progress are delivered, and whether more are to come.
  void setRowsDone(SQLLEN rows, bool moreToCome);

  // A row has the status "error". Posts that, and returns the code of the call if the row is the last one.
  SQLRETURN noteRowError();
  SQLRETURN handleBookmark(const tagCINFO* info, SQLLEN index);
  void failIfLost() const;
  void moveErrors(DMStmt* from, SQLLEN row, SQLLEN column);

 private:
  struct Delivery;
  enum class Verdict { RowError, EndOfResult, Cancelled, Lost, ResultError };

  void initMembers();
  void cleanup();
  SQLRETURN allocateColumns();
  SQLRETURN getColAttributes();
  SQLRETURN setStmtBindings();

  SQLRETURN fetchRowset(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                        unsigned short* rowStatus);
  SQLRETURN firstRow(unsigned short orientation, SQLLEN* row);
  SQLRETURN bookmarkedRow(SQLLEN* row);
  SQLRETURN fetchFromDriver(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus);
  SQLRETURN fetchToRow(SQLLEN row);
  SQLRETURN pullRows(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus);
  bool pullRow(Delivery* delivery, unsigned short* rowStatus);
  bool takeFailedRow(Delivery* delivery);
  SQLRETURN takeFailedReadAhead(SQLRETURN rc, bool* ends);
  Verdict judge() const;
  SQLRETURN nextDriverRow();
  void storeRow(SQLRETURN rc);
  bool deliverRow(SQLLEN index);
  bool deliverLength(const tagCINFO& info, SQLLEN index);
  bool postNullWithoutIndicator(const tagCINFO& info, SQLLEN index);
  bool rowFailureIsFinal() const;
  void postRowError();
  void throwIfCancelled();
  void prepareFetch() { place.rowsDone = 0; }
  static int isExpectedFetchError(unsigned short* sqlstate);

  DMConn* conn;
  DMStmt* stmt;
  Position place;
  BoundColumns columns;
  int initStage = 1;  // the next step of set-up; 0 when done
  bool cancelled = false;
  bool suspended = false;
  bool resumeFetch = false;  // the last fetch stopped on SQL_STILL_EXECUTING
  bool rowErrors = false;    // a row of this row set had an error
  bool cutShort = false;     // an error of the driver ended the result while rows were read ahead
  bool lost = false;         // the connection was lost before the end of the result
  bool restoreArd = true;
  unsigned concurrency = SQL_CONCUR_READ_ONLY;
  unsigned short resultCols = 0;
  const unsigned short fetchApi;
  bool rowWaits = false;                // a row from the driver could not be stored; it is the next one ...
  SQLRETURN waitingCode = SQL_SUCCESS;  // ... and this is the driver's code for it
};

#endif
