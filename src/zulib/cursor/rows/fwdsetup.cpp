// FwdCursor: set-up. The driver is asked about the bound columns and then bound to private buffers, one
// row at a time. Each step can be asked again: it may stop on SQL_STILL_EXECUTING.

#include <algorithm>
#include <cstring>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/entry/queue.h"
#include "zulib/cursor/rows/cursor.h"
#include "zuodbc/driverfunctions.h"

namespace {

enum Stage : int { CheckBindings = 1, Allocate = 2, Describe = 3, Bind = 4, Done = 0 };

constexpr short BOOKMARK_TYPE = SQL_C_ULONG;  // -18
constexpr SQLULEN BOOKMARK_SIZE = 4;
constexpr char NO_QUOTE[] = " ";
constexpr SQLLEN MAX_VALUE = SQLLEN{1} << 46;

// Keeps a statement's diagnostics out of the way of a call that empties the queue.
class HeldErrors {
 public:
  explicit HeldErrors(DMStmt* stmt) : stmt(stmt), held(stmt->HoldErrors()) {}
  HeldErrors(const HeldErrors&) = delete;
  HeldErrors& operator=(const HeldErrors&) = delete;
  ~HeldErrors() { stmt->ReleaseErrors(held); }

 private:
  DMStmt* stmt;
  tagERRBUF* held;
};

}  // namespace

SQLRETURN FwdCursor::init() {
  try {
    const SQLRETURN rc = runSetUp();
    if (clFailed(rc) && rc != SQL_STILL_EXECUTING) reset();
    return rc;
  } catch (const CException&) {
    reset();
    throw;
  }
}

SQLRETURN FwdCursor::runSetUp() {
  SQLRETURN rc = SQL_SUCCESS;
  bool warning = false;
  const auto run = [&](SQLRETURN (FwdCursor::*step)(), int stage) {
    if (initStage != stage) return true;
    rc = (this->*step)();
    warning |= rc == SQL_SUCCESS_WITH_INFO;
    if (!clFailed(rc)) initStage = stage + 1;
    return !clFailed(rc);
  };
  if (initStage == CheckBindings) {
    if (!stmt->ard->bindList) throw ODBCException(stmt, clmsg::NoBoundColumns);
    initStage = Allocate;
  }
  if (!run(&FwdCursor::allocateColumns, Allocate) || !run(&FwdCursor::getColAttributes, Describe) ||
      !run(&FwdCursor::setStmtBindings, Bind))
    return rc;
  initStage = Done;
  return warning ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

SQLRETURN FwdCursor::allocateColumns() {
  SQLSMALLINT count = 0;
  const SQLRETURN rc = CursorLibNumResultCols(stmt, &count);
  if (clFailed(rc)) return rc;
  resultCols = static_cast<unsigned short>(std::max<SQLSMALLINT>(count, 0));
  unsigned short bound = 0;
  for (const BindInfo* bind = stmt->ard->bindList; bind; bind = bind->next, ++bound) {
    if (resultCols != 0 && bind->column <= resultCols) continue;
    endOfData = true;
    throw ODBCException(stmt, resultCols == 0 ? clmsg::InvalidCursorState : clmsg::ColumnBeyondResult);
  }
  columns = static_cast<tagCINFO*>(clAllocZ(bound * sizeof(tagCINFO)));
  boundCols = bound;
  BindInfo* bind = stmt->ard->bindList;
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info), bind = bind->next) {
    info->bind = bind;
    info->name = static_cast<char*>(clAllocZ(nameLength));
  }
  return SQL_SUCCESS;
}

SQLRETURN FwdCursor::getColAttributes() {
  bool warning = false;
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info)) {
    if (isBookmark(info)) {
      info->sqlType = BOOKMARK_TYPE;
      info->bind->size = BOOKMARK_SIZE;
    } else if (!*info->name) {
      const SQLRETURN rc = describeColumn(info);
      if (clFailed(rc)) return rc;
      warning |= rc == SQL_SUCCESS_WITH_INFO;
    }
    shapeColumn(info);
  }
  rowSize = 0;
  for (const tagCINFO* info = columns; info != endOfColumns(); ++info) {
    if (isBookmark(info) || info->bind->column > resultCols) continue;
    rowSize += alignCell(info->length) + (info->hasCell ? CL_CELL : 0);
  }
  return warning ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

// Type, size and scale of a column, and its name: that of the column under it where the driver tells.
SQLRETURN FwdCursor::describeColumn(tagCINFO* info) {
  BindInfo* bind = info->bind;
  char* name = info->name + 1;
  const auto room = static_cast<SQLSMALLINT>(nameLength - 2);
  auto* text = reinterpret_cast<SQLCHAR*>(name);
  if (isVersion3Driver()) {
    const SQLRETURN rc =
        CursorLibColAttribute(stmt, bind->column, SQL_DESC_BASE_COLUMN_NAME, text, room, nullptr, nullptr);
    if (clFailed(rc)) {  // no loss, so nothing for the application to read
      name[0] = '\0';
      stmt->VFreeErrors();
    }
  }
  const bool haveName = name[0] != '\0';
  const SQLRETURN rc =
      CursorLibDescribeCol(stmt, bind->column, haveName ? nullptr : text, haveName ? SQLSMALLINT{0} : room,
                           nullptr, &info->sqlType, &bind->size, &bind->scale, nullptr);
  if (clFailed(rc)) return rc;
  quoteName(info->name);
  return rc;
}

// Puts the quotes around a name that stands at `name` + 1, and doubles a quote inside it. A name for which
// there is no room then becomes a blank, which keeps the column out of searches.
void FwdCursor::quoteName(char* name) const {
  const char* quote = conn->identifierQuote[0] ? conn->identifierQuote : NO_QUOTE;
  const char mark = quote[0];
  name[nameLength - 2] = '\0';
  std::size_t length = std::strlen(name + 1);
  const auto inside =
      static_cast<std::size_t>(mark == ' ' ? 0 : std::count(name + 1, name + 1 + length, mark));
  std::size_t closing = std::strlen(quote);
  if (1 + length + inside + closing + 1 > nameLength) {
    std::strcpy(name + 1, " ");
    length = 1;
    closing = std::min<std::size_t>(closing, nameLength - 3);
  } else if (inside) {
    char* to = name + 1 + length + inside;
    for (char* from = name + 1 + length; from-- != name + 1;) {
      *--to = *from;
      if (*from == mark) *--to = mark;
    }
    length += inside;
  }
  name[0] = mark;
  std::memcpy(name + 1 + length, quote, closing);
  name[1 + length + closing] = '\0';
}

// The types in effect, and from them the size of a value.
void FwdCursor::shapeColumn(tagCINFO* info) {
  BindInfo* bind = info->bind;
  const bool isDefault = bind->typeGiven == SQL_C_DEFAULT;
  bind->cType = info->cType = isDefault ? DefaultCType(info->sqlType) : bind->typeGiven;
  short type;
  if (!MapToConciseType(bind->cType, bind->intervalCode, bind->typeForm, &type))
    throw ODBCException(stmt, clmsg::TypeNotMappable);
  bind->length = static_cast<SQLLEN>(DefaultSize(type, static_cast<SQLULEN>(bind->length)));
  if (bind->length < 0) throw ODBCException(stmt, clmsg::DriverBindFailed);
  if (bind->length > MAX_VALUE) throw CMemoryException();
  info->length = static_cast<SQLULEN>(bind->length);
  // A column that has only an indicator keeps its null values in the cell, too.
  info->hasCell = bind->octetLengthPtr || bind->indicatorPtr;
}

SQLRETURN FwdCursor::setStmtBindings() {
  const DMDriverFunctions* functions = conn->driverFunctions;
  if (stmt->ard->isExplicit() && functions && functions->hasDescriptorCalls()) {
    const SQLRETURN rc = standInDescriptor();
    if (clFailed(rc)) return rc;
  } else {
    unbindDriver();
  }
  if (clFailed(CursorLibSetStmtAttr(stmt, 1, nullptr, nullptr, nullptr, SQL_BIND_BY_COLUMN)))
    throw ODBCException(stmt, clmsg::DriverBindFailed);
  bindPrivateBuffers();
  return SQL_SUCCESS;
}

void FwdCursor::unbindDriver() {
  driverBound = true;
  CursorLibFreeStmt(stmt, SQL_UNBIND);
}

// Puts a copy in the place of the application's own descriptor, whose bindings on the driver stay as they
// are. From here on the columns read the copy's records, which are those that later bind calls reach.
SQLRETURN FwdCursor::standInDescriptor() {
  DMDesc* copy = nullptr;
  SQLRETURN rc = CursorLibAllocHandle(SQL_HANDLE_DESC, conn, &copy);
  if (clFailed(rc)) {
    if (clQueued(conn, u"HY001")) throw CMemoryException();
    stmt->RetrieveDriverErrorsRowCol(conn, 1, -2, -2);
    return rc;
  }
  rc = SQLCopyDesc(stmt->ard, copy);
  if (!clFailed(rc)) {
    stmt->savedArd = stmt->ard;
    rc = switchDescriptor(copy);
  }
  if (clFailed(rc)) {
    const bool copied = stmt->savedArd != nullptr;
    const bool outOfMemory = clQueued(copy, u"HY001");
    stmt->savedArd = nullptr;
    SQLFreeHandle(SQL_HANDLE_DESC, copy);
    if (outOfMemory) throw CMemoryException();
    if (!copied) throw ODBCException(stmt, clmsg::DriverBindFailed);
    return rc;
  }
  ++stmt->savedArd->shareCount;
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info)) {
    BindInfo* record = FindBindInfo(stmt->ard, info->bind->column);
    if (!record) throw ODBCException(stmt, clmsg::DriverBindFailed);
    info->bind = record;
  }
  return SQL_SUCCESS;
}

// With an open cursor the attribute may not change, so the statement has none for the time of the call.
SQLRETURN FwdCursor::switchDescriptor(DMDesc* desc) {
  const HeldErrors hold(stmt);
  FwdCursor* own = stmt->cursor;
  stmt->cursor = nullptr;
  const SQLRETURN rc = SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, desc, SQL_IS_POINTER);
  stmt->cursor = own;
  return rc;
}

void FwdCursor::giveBackDescriptor() {
  --stmt->savedArd->shareCount;
  if (!restoreArd) {
    DropBindings(stmt->ard, nullptr);
  } else {
    DMDesc* copy = stmt->ard;
    switchDescriptor(stmt->savedArd);
    SQLFreeHandle(SQL_HANDLE_DESC, copy);
  }
  stmt->savedArd = nullptr;
}

void FwdCursor::bindPrivateBuffers() {
  for (tagCINFO* info = columns; info != endOfColumns(); info = NextCINFO(info)) {
    BindInfo* bind = info->bind;
    info->ownsBuffer = info->length != 0;
    info->buffer = info->ownsBuffer ? static_cast<unsigned char*>(clAllocZ(alignCell(info->length)))
                                    : static_cast<unsigned char*>(bind->data);
    info->lengthPtr = &info->lengthCell;
    if (isBookmark(info)) continue;
    short type;
    if (!MapToConciseType(bind->typeGiven, bind->intervalCode, bind->typeForm, &type))
      throw ODBCException(stmt, clmsg::TypeNotMappable);
    const SQLRETURN rc =
        CursorLibBindCol(stmt, bind->column, type, info->buffer, bind->length, info->lengthPtr);
    if (clFailed(rc)) throw ODBCException(stmt, clmsg::DriverBindFailed);
  }
}
