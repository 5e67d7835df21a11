// The two cursors of the cursor library.
//
// FwdCursor assembles row sets over a driver that is set to one row per fetch: each bound column is
// rebound to a private buffer, and every fetch copies rows one by one into the application's arrays.
// ScrollCursor adds a cache of all rows read so far, in fixed-size blocks, of which at most 64 KB stay in
// memory and the rest lies in a private temporary file; the driver only ever moves forward.
//
// A statement owns at most one cursor, from its first SQLFetchScroll or SQLExtendedFetch on. Row numbers
// are 0-based positions in the result, bookmarks 1-based. Sizes are bytes.
//
// Thread use: under CursorLibrarySingleThreadLock.

#ifndef ZULIB_CURSOR_CURSOR_H
#define ZULIB_CURSOR_CURSOR_H

#include <cstdint>

#include "zulib/cursor/entry/bindinfo.h"
#include "zulib/cursor/rows/cfile.h"
#include "zulib/cursor/rows/clobject.h"
#include "zuodbc/dmhandle.h"

// Fields in a row and its length cells stand on boundaries of a length cell, so that the driver can be
// handed pointers into a row.
constexpr SQLULEN CL_CELL = sizeof(SQLLEN);
constexpr SQLULEN alignCell(SQLULEN n) { return (n + CL_CELL - 1) / CL_CELL * CL_CELL; }

// A fetch direction of the old standard, which the current headers do not have.
constexpr unsigned short CL_FETCH_RESUME = 7;

// The application's storage for a column, worked out once for each fetch: element `i` of an array lies
// `i` steps behind its base.
struct ClTarget {
  unsigned char* data;  // null: nothing bound
  SQLULEN dataStep;
  unsigned char* length;     // of the lengths; null: none
  unsigned char* indicator;  // of the indicators where they are apart from the lengths; else null
  SQLULEN cellStep;
};

// A bound column's private state. The shape (`length`, `hasCell`) is fixed at set-up, so that a pointer
// which the application adds or takes away later does not move the fields of the rows stored so far.
struct tagCINFO {
  BindInfo* bind;
  unsigned char* buffer;  // alignCell(length) bytes, owned; the application's own for a length of 0
  bool ownsBuffer;
  bool hasCell;       // a stored row has a length cell behind the value
  SQLULEN length;     // bytes of a value
  SQLLEN* lengthPtr;  // to lengthCell
  SQLLEN lengthCell;  // what the driver stores as length or indicator
  short sqlType;      // from SQLDescribeCol; -18 for the bookmark column
  short cType;
  char* name;       // owned; the column's name between two identifier quotes
  ClTarget target;  // valid during a fetch
};

// The default C type of an SQL type, and the buffer size of a fixed-size C type (others: `size`).
short DefaultCType(short sqlType);
SQLULEN DefaultSize(short cType, SQLULEN size);

class FwdCursor : public CLObject {
 public:
  // `api`: API_EXTENDEDFETCH or API_FETCHSCROLL, fixed for the life of the cursor.
  FwdCursor(DMStmt* stmt, unsigned short api);
  ~FwdCursor() override;
  ZU_CURSOR_CLASS(FwdCursor, CLObject)

  virtual SQLULEN rowNumber();
  virtual void closeGetDataCursor();
  virtual SQLRETURN cancel();
  virtual SQLRETURN fetch(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                          unsigned short* rowStatus);
  virtual SQLRETURN getData(unsigned short column, short cType, void* value, SQLLEN length,
                            SQLLEN* lengthPtr);
  virtual SQLRETURN rowCount(SQLLEN* count);
  virtual SQLRETURN setPos(SQLULEN row, int operation, int lock);
  virtual SQLRETURN init();
  virtual void prepareFetch();
  virtual void reset();
  virtual void saveData(unsigned short status);

  // Reads the rest of the result, so that the driver is free for another statement.
  SQLRETURN flush();
  void setRowsetSize(SQLLEN size) { rowsetSize = usableRowsetSize(size); }

  // Gives back everything that the cursor holds, as the destructor does, but answers: 0, or SQL_ERROR with
  // the cause posted on the statement. Nothing is held afterwards in either case.
  virtual SQLRETURN release();

  bool isAtEnd() const { return endOfData; }
  bool isMadeFor(unsigned short api) const { return fetchApi == api; }
  void keepDriverDescriptor() { restoreArd = false; }
  void markCancelled() { cancelled = true; }
  unsigned getConcurrency() const { return concurrency; }

 protected:
  SQLRETURN allocateColumns();
  SQLRETURN getColAttributes();
  SQLRETURN setStmtBindings();
  void cleanup();
  void initMembers();
  SQLRETURN firstRow(unsigned short orientation, SQLLEN* row);
  SQLRETURN fetchFromDriver(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus);
  SQLRETURN fetchToRow(SQLLEN row);
  SQLRETURN handleBookmark(tagCINFO* info, SQLLEN index);
  void moveErrors(DMStmt* from, SQLLEN row, SQLLEN column);
  static int isExpectedFetchError(unsigned short* sqlstate);

  void throwIfCancelled();
  SQLRETURN withCutShort(SQLRETURN rc);  // a warning, once, when the result was cut short
  bool isVersion3Driver() const { return conn->driverVersion >= 300; }

  // A failure of one row fails the call: the row set has one row, and the caller is SQLFetchScroll.
  bool rowFailureIsFinal() const;
  void postRowError();
  bool isBookmark(const tagCINFO* info) const { return info->bind->column == 0; }

  // Bytes of a bookmark value in a binding of `length` bytes.
  static std::size_t bookmarkWidth(SQLLEN length) { return length >= 8 ? 8 : 4; }

  // Fills every column's `target` for this fetch.
  void prepareTargets();
  tagCINFO* NextCINFO(tagCINFO* info) const { return info + 1; }
  tagCINFO* endOfColumns() const { return columns + boundCols; }

  // The application's storage for row `index` of the row set; null where nothing is bound.
  unsigned char* dataElement(const BindInfo* bind, SQLLEN index) const;
  SQLLEN* lengthElement(SQLLEN* pointer, SQLLEN index) const;

  int initStage;   // 1 to 4 while set-up is under way, 0 when done; ScrollCursor adds more
  bool cancelled;  // set by cancel(), read in the row loops
  DMConn* conn;
  DMStmt* stmt;
  unsigned concurrency;       // SQL_CONCUR_READ_ONLY here
  unsigned scrollType;        // SQL_CURSOR_FORWARD_ONLY here
  SQLLEN curRow;              // the current row set's first row
  SQLLEN nextRow;             // first row of the row set in progress
  SQLLEN rowsRead;            // rows taken from the driver so far
  bool endOfData;             // the driver has answered SQL_NO_DATA
  bool resumeFetch;           // the last fetch stopped on SQL_STILL_EXECUTING
  bool rowErrors;             // a row of this row set had an error
  bool cutShort;              // an error of the driver ended the result while rows were read ahead
  SQLLEN rowsDone;            // rows of the current row set already delivered
  SQLLEN rowsetSize;          // in force
  SQLLEN effectiveRowset;     // used by this fetch; can differ between fetches
  unsigned short nameLength;  // allocation of a column-name buffer
  unsigned short resultCols;
  unsigned short boundCols;  // entries of `columns`
  tagCINFO* columns;         // owned, in BindInfo list order
  SQLULEN rowSize;           // of one row in a cursor's storage
  SQLULEN bindType;          // of the row descriptor when the cursor was made
  bool restoreArd;           // cleanup gives the statement its own descriptor back
  unsigned short fetchApi;
  bool driverBound;       // the driver writes into this cursor's buffers
  bool rowWaits;          // a row from the driver could not be stored; it is the next one
  SQLRETURN waitingCode;  // with which the driver gave it

 private:
  static SQLLEN usableRowsetSize(SQLULEN size);

  SQLRETURN runSetUp();
  SQLRETURN describeColumn(tagCINFO* info);
  void shapeColumn(tagCINFO* info);
  void quoteName(char* name) const;
  SQLRETURN standInDescriptor();
  void giveBackDescriptor();
  SQLRETURN switchDescriptor(DMDesc* desc);
  void unbindDriver();
  void bindPrivateBuffers();

  SQLRETURN beforeStart(SQLLEN size);
  SQLRETURN afterEnd();
  SQLRETURN toRow(SQLLEN target, SQLLEN* row);
  SQLRETURN toStart(SQLLEN* row);
  SQLRETURN firstRowNext(SQLLEN* row);
  SQLRETURN firstRowLast(SQLLEN* row);
  SQLRETURN firstRowPrior(SQLLEN* row);
  SQLRETURN firstRowAbsolute(SQLLEN* row);
  SQLRETURN firstRowRelative(SQLLEN* row);
  SQLRETURN firstRowBookmark(SQLLEN* row);

  struct Delivery;
  SQLRETURN pullRows(SQLLEN firstRow, SQLULEN* rowCount, unsigned short* rowStatus);
  bool pullRow(Delivery* delivery, unsigned short* rowStatus);
  bool takeFailedRow(Delivery* delivery);
  SQLRETURN nextDriverRow();
  void storeRow(SQLRETURN rc);
  bool deliverRow(SQLLEN index);
  bool deliverLength(const tagCINFO* info, SQLLEN index);
  bool postNullWithoutIndicator(const tagCINFO* info, SQLLEN index);
};

// One entry of a ScrollCursor's row layout.
struct FieldMapEntry {
  tagCINFO* info;
  SQLULEN offset;      // of the column in a row
  SQLULEN searchable;  // SQL_COLUMN_SEARCHABLE; CL_SEARCHABLE_UNKNOWN until asked
};
constexpr SQLULEN CL_SEARCHABLE_UNKNOWN = 4;

// Head of a block; the rows follow. In the file the block lies at firstRow / rowsPerBlock * blockSize,
// head included; the two pointers have no meaning there.
struct tagFBHDR {
  tagFBHDR* next;
  tagFBHDR* prev;
  SQLLEN firstRow;  // row number of the first row in the block
  SQLLEN lastRow;   // of the last; firstRow - 1 while it is empty
  SQLLEN dirty;     // changed since it was made; stays set when written, so each eviction writes again
};

// The status cell that ends each row. The mark behind the number is set in every row that was stored: a
// file that someone cut short and a later write made long again has zeros where rows were.
struct ClStatusCell {
  unsigned short status;
  unsigned short mark;
};
constexpr unsigned short CL_ROW_MARK = 0x5AC3;
enum ClRowStatus : unsigned short {
  CL_ROW_READ = 0,
  CL_ROW_DELETED = 1,
  CL_ROW_UPDATED = 2,
  CL_ROW_ERROR = 5
};

class ScrollCursor : public FwdCursor {
 public:
  static constexpr char CFilePrefix[] = "CTT";

  ScrollCursor(DMStmt* stmt, unsigned short api);
  ~ScrollCursor() override;
  ZU_CURSOR_CLASS(ScrollCursor, FwdCursor)

  SQLULEN rowNumber() override;
  void closeGetDataCursor() override;
  SQLRETURN cancel() override;
  SQLRETURN fetch(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                  unsigned short* rowStatus) override;
  SQLRETURN getData(unsigned short column, short cType, void* value, SQLLEN length,
                    SQLLEN* lengthPtr) override;
  SQLRETURN setPos(SQLULEN row, int operation, int lock) override;
  SQLRETURN init() override;
  void reset() override;
  void saveData(unsigned short status) override;
  SQLRETURN release() override;

  // Room for a name from getSearchCol, its zero included.
  unsigned short searchNameSize() const { return nameLength; }

  // The cached row takes the status deleted, or takes the application's buffers and the status updated.
  virtual void deleteRow();
  virtual void updateRow();

  // The next column at or after `*index` + 1 that can stand in a search, with its value in the current
  // row. 0 when there is none. `lengthPtr` null: the value is null-terminated or of fixed size. Errors
  // are posted on `statement`.
  virtual int getSearchCol(DMStmt* statement, int* index, char* name, void** value, SQLLEN** lengthPtr,
                           short* cType, short* sqlType, SQLULEN* size, short* scale);
  virtual int numSearchCols();

  // Between the two no block leaves memory, past the limit if need be: the driver was given values of
  // getSearchCol and may still read them. Calls pair up.
  void holdBlocks() { ++blocksHeld; }
  void letGoBlocks() { --blocksHeld; }

  // The select reads more than one table.
  virtual int getJoinFlag();
  virtual SQLRETURN createFieldMap();

  // Copies a cached row to index `index` of the application's arrays; `*status`, where given, steps on.
  virtual SQLRETURN retrieveData(unsigned short columns, unsigned char* row, unsigned short** status,
                                 SQLLEN rowNumber, SQLLEN index);

 private:
  // `initStage` once set-up is done: how far a getData has come.
  enum GetDataStage : int { Positioned = -4, Selecting = -3, Fetching = -2, Getting = -1, Ready = 0 };

  SQLRETURN runSetUp();
  void lowerConcurrency();
  void makeFile();
  void makeFirstBlock();
  void layOutRows();
  void layOutBlocks();

  SQLRETURN fetchRowset(unsigned short orientation, SQLLEN offset, SQLULEN* rowCount,
                        unsigned short* rowStatus);
  SQLRETURN fetchFromBuffer(SQLLEN row, SQLULEN* count, unsigned short* status);
  SQLRETURN copyCachedRows(SQLLEN row, SQLLEN* done, unsigned short* status);

  tagFBHDR* findBlock(SQLLEN row) const;
  tagFBHDR* getBlock(SQLLEN row);
  tagFBHDR* addBlock(SQLLEN row);
  void unlink(tagFBHDR* block);
  void moveToHead(tagFBHDR* block);
  void readBlock(tagFBHDR* block, SQLLEN row);
  bool isBlockOf(tagFBHDR* block, SQLLEN row) const;
  void writeBlock(tagFBHDR* block);
  off_t blockOffset(SQLLEN row) const;
  unsigned char* rowAddress(tagFBHDR* block, SQLLEN row) const;

  bool isOnRow(SQLLEN row) const;
  unsigned char* currentRow(tagFBHDR** block);
  void setStatus(unsigned char* row, unsigned short status) const;
  unsigned short statusOf(const unsigned char* row) const;
  void updateField(const FieldMapEntry& entry, unsigned char* row);
  bool isSearchable(const FieldMapEntry& entry) const;
  SQLLEN* searchLength(const FieldMapEntry& entry, unsigned char* field, short cType) const;

  SQLRETURN getBookmark(short cType, void* value, SQLLEN length, SQLLEN* lengthPtr) const;
  SQLRETURN prepareGetData();
  SQLRETURN continueGetData(unsigned short column, short cType, void* value, SQLLEN length,
                            SQLLEN* lengthPtr);

  SQLRETURN releaseFile();
  SQLRETURN cleanup();
  void initMembers();

  DMStmt* auxStmt;  // second statement, for getData; owned
  bool auxHasRow;   // auxStmt stands on a row
  unsigned short fieldCount;
  FieldMapEntry* fieldMap;  // owned, one per bound column
  SQLLEN rowInSet;          // current row inside the row set, from setPos
  SQLULEN statusOffset;     // of the row status within a row
  SQLULEN blockSize;
  SQLULEN blockBytes;  // of all blocks in memory
  SQLULEN rowsPerBlock;
  unsigned blocksHeld = 0;  // statements whose search values lie in blocks
  tagFBHDR* blockList;      // owned, most recently used first
  char tempName[1024];
  CFile* file;              // owned
  SQLLEN fileLength;        // bytes written so far, by the block count
  bool concurrencyLowered;  // a warning is waiting
};

#endif
