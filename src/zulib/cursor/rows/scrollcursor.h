// ScrollCursor: a static scrollable cursor over a driver that only moves forward. Every row read from the
// driver is kept in a RowCache, from which row sets are copied. Positioned updates and deletes keep the
// cached row in step; SQLGetData reads the current row again through a second statement.
//
// Thread use: under CursorLibrarySingleThreadLock.

#ifndef ZULIB_CURSOR_ROWS_SCROLLCURSOR_H
#define ZULIB_CURSOR_ROWS_SCROLLCURSOR_H

#include <span>

#include "zulib/cursor/rows/fwdcursor.h"
#include "zulib/cursor/rows/rowcache.h"
#include "zulib/cursor/statement/target.h"

// One column in a stored row.
struct FieldMapEntry {
  tagCINFO* info;
  SQLULEN offset;      // of the value in a row; the length cell, if any, is after it
  SQLULEN searchable;  // SQL_COLUMN_SEARCHABLE; kSearchableUnknown until the driver has been asked
};
constexpr SQLULEN kSearchableUnknown = 4;

class ScrollCursor : public FwdCursor, public SearchTarget {
 public:
  ScrollCursor(DMStmt* stmt, unsigned short api);
  ~ScrollCursor() override;
  ZU_CURSOR_CLASS(ScrollCursor, FwdCursor)

  SQLULEN rowNumber() override;
  SQLRETURN cancel() override;
  SQLRETURN setPos(SQLULEN row, int operation, int lock) override;
  SQLRETURN release() override;
  void closeGetDataCursor() override;

  SearchTarget* asTarget() override { return this; }
  unsigned getConcurrency() const override { return FwdCursor::getConcurrency(); }
  int getJoinFlag() override;
  int numSearchCols() override;
  unsigned short searchNameSize() const override { return boundColumns().nameSize(); }
  bool nextSearchCol(DMStmt* statement, int* index, SearchColumn* column) override;
  SQLLEN pinRow() override;
  void unpinRow(SQLLEN row) override { cache.unpin(row); }
  void updateRow() override;
  void deleteRow() override;
  SQLRETURN flush() override { return FwdCursor::flush(); }
  void markCancelled() override { setCancelled(); }

  // nextSearchCol with its results one by one; copies the name to `name`.
  int getSearchCol(DMStmt* statement, int* index, char* name, void** value, SQLLEN** lengthPtr, short* cType,
                   short* sqlType, SQLULEN* size, short* scale);

 protected:
  SQLRETURN runSetUp() override;
  void reset() override;
  void checkDirection(unsigned short orientation) const override;
  SQLRETURN fetchFromBuffer(SQLLEN row, SQLULEN* rowCount, unsigned short* rowStatus) override;
  void saveData(unsigned short status) override;
  void leaveRow() override { getDataStage = Positioned; }
  void enterRowset() override { rowInSet = 0; }
  SQLRETURN takeWarning() override;
  SQLRETURN readValue(unsigned short column, short cType, void* value, SQLLEN length,
                      SQLLEN* lengthPtr) override;

 private:
  // How far SQLGetData has come on the current row.
  enum GetDataStage : int { Positioned = -4, Selecting = -3, Fetching = -2, Getting = -1, Ready = 0 };

  SQLRETURN createFieldMap();
  void layOutRows();
  void lowerConcurrencyIfNeeded();
  SQLRETURN cleanup();

  SQLRETURN copyCachedRows(SQLLEN row, SQLLEN* done, unsigned short* status);
  SQLRETURN retrieveData(unsigned short columns, const unsigned char* row, unsigned short** status,
                         SQLLEN rowNumber, SQLLEN index);

  SQLLEN currentRow() const { return rowInSet + position().curRow; }
  bool isOnRow(SQLLEN row) const;
  unsigned char* requireRow(DMStmt* statement);
  unsigned char* rowToChange(tagFBHDR** block);
  void updateField(const FieldMapEntry& entry, unsigned char* field);
  static bool isSearchable(const FieldMapEntry& entry);
  static SQLLEN* searchLength(const FieldMapEntry& entry, unsigned char* field, short cType);

  SQLRETURN getBookmark(short cType, void* value, SQLLEN length, SQLLEN* lengthPtr) const;
  SQLRETURN prepareGetData();
  SQLRETURN continueGetData(unsigned short column, short cType, void* value, SQLLEN length,
                            SQLLEN* lengthPtr);

  std::span<FieldMapEntry> fields() const { return {fieldMap.get(), fieldCount}; }

  DMConn* conn;
  RowCache cache;
  ClBlock<FieldMapEntry> fieldMap;  // one for each bound column
  unsigned short fieldCount = 0;
  SQLLEN rowInSet = 0;              // the current row inside the row set, from setPos
  bool concurrencyLowered = false;  // a warning is waiting
  DMStmt* auxStmt = nullptr;        // the second statement, for SQLGetData; owned
  bool auxHasRow = false;           // it is on a row
  GetDataStage getDataStage = Ready;
};

#endif
