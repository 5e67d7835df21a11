// The bound columns of a cursor: what the driver says about them, the private buffers that the driver fetches
// into, and the application's storage that rows are copied to.
//
// While a cursor lives the driver knows only the private buffers. If the application has put a descriptor of
// its own on the statement and the driver can copy descriptors, a copy takes its place on the statement
// (`DMStmt::savedArd` then holds the application's one); otherwise the driver's bindings are replaced.
//
//   application's arrays  <--copy--  private buffer of one row  <--SQLFetch--  driver
//                         <--copy--  cached row
//
// Thread use: under CursorLibrarySingleThreadLock.

#ifndef ZULIB_CURSOR_ROWS_COLUMNS_H
#define ZULIB_CURSOR_ROWS_COLUMNS_H

#include <cstdint>
#include <span>

#include "zulib/cursor/internal/bindings.h"
#include "zulib/cursor/internal/clobject.h"
#include "zuodbc/dmhandle.h"

// Values and length cells begin on boundaries of a length cell, so that the driver can be given pointers to
// them.
constexpr SQLULEN kCell = sizeof(SQLLEN);
constexpr SQLULEN alignCell(SQLULEN n) { return (n + kCell - 1) / kCell * kCell; }

// The application's storage for a column, worked out once for each fetch: element `i` of an array is `i`
// steps after its base.
struct ClTarget {
  unsigned char* data;  // null: nothing bound
  SQLULEN dataStep;
  unsigned char* length;     // the array of lengths; null: none
  unsigned char* indicator;  // the array of indicators if it is not that of the lengths; else null
  SQLULEN cellStep;
};

// A bound column's private state. `length` and `hasCell` are fixed at set-up, so a pointer that the
// application adds or removes later does not move the fields of rows that are stored already.
struct tagCINFO {
  BindInfo* bind;
  unsigned char* buffer;  // alignCell(length) bytes, owned; the application's own if the length is 0
  bool ownsBuffer;
  bool hasCell;       // a stored row has a length cell after the value
  SQLULEN length;     // bytes of a value
  SQLLEN* lengthPtr;  // to lengthCell
  SQLLEN lengthCell;  // what the driver stores as length or indicator
  short sqlType;      // from SQLDescribeCol; SQL_C_ULONG for the bookmark column
  short cType;
  char* name;       // owned; the column's name between two identifier quotes
  ClTarget target;  // valid during a fetch

  bool isBookmark() const { return bind->column == 0; }
};

// The default C type of an SQL type, and the buffer size of a fixed-size C type (others: `size`).
short DefaultCType(short sqlType);
SQLULEN DefaultSize(short cType, SQLULEN size);

// The C type that a binding has in effect on a column of `sqlType`, and the size of its values. Beyond the
// defaults above they know GUIDs, which have a fixed size, too.
short effectiveCType(short typeGiven, short sqlType);
SQLULEN effectiveSize(short cType, SQLULEN length);

// Bytes of a bookmark value in a binding of `length` bytes.
constexpr std::size_t bookmarkWidth(SQLLEN length) { return length >= 8 ? 8 : 4; }

// Stores a length or an indicator in the application's storage, which may have any alignment.
void storeCell(void* cell, SQLLEN value);

class BoundColumns {
 public:
  explicit BoundColumns(DMStmt* stmt);
  BoundColumns(const BoundColumns&) = delete;
  BoundColumns& operator=(const BoundColumns&) = delete;
  ~BoundColumns();  // release() has been called, or nothing was bound

  // The steps of set-up. They throw, or return the driver's code; the two that ask the driver can be repeated
  // after SQL_STILL_EXECUTING.
  void allocateColumns();
  SQLRETURN getColAttributes();
  SQLRETURN setStmtBindings();

  // Gives the statement's own descriptor or bindings room again, and frees everything. `driverThere` false:
  // the driver's side of the statement is gone, so the driver is not called. Returns 0, or SQL_ERROR with the
  // driver's records if the application's descriptor could not be put back.
  //
  // A buffer that the driver refuses to unbind is kept until the descriptor is freed that it is bound in.
  SQLRETURN release(bool driverThere);

  // True while the driver is bound to private buffers, or may be.
  bool areOnDriver() const { return onDriver; }

  // Works out every column's `target`.
  void prepareTargets();

  // The application's storage for row `index` of the row set; null if nothing is bound.
  unsigned char* dataElement(const BindInfo* bind, SQLLEN index) const;
  SQLLEN* lengthElement(SQLLEN* pointer, SQLLEN index) const;

  std::span<tagCINFO> all() const { return {first, count}; }
  const tagCINFO* find(unsigned short column) const;
  unsigned short size() const { return count; }
  unsigned short nameSize() const { return nameLength; }  // bytes of a name's buffer

  // Bytes of one row in a cursor's storage, without its status.
  SQLULEN rowSize() const;

 private:
  struct Array;
  static void freeArray(DMOwnedBlock* block);

  SQLRETURN describeColumn(tagCINFO* info);
  void quoteName(char* name) const;
  void shapeColumn(tagCINFO* info);
  SQLRETURN standInDescriptor();
  SQLRETURN switchDescriptor(DMDesc* desc);
  SQLRETURN giveBackDescriptor(bool driverThere, bool* unbound);
  void bindPrivateBuffers();

  DMStmt* stmt;
  const unsigned short nameLength;
  Array* array = nullptr;  // owned; holds the tagCINFOs
  tagCINFO* first = nullptr;
  unsigned short count = 0;
  bool onDriver = false;
};

// Steps one column on.
inline tagCINFO* NextCINFO(tagCINFO* info, SQLULEN) { return info + 1; }

#endif
