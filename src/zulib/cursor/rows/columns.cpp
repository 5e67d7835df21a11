#include "zulib/cursor/rows/columns.h"

#include <algorithm>
#include <cstring>

#include "zulib/cursor/internal/diagnostics.h"
#include "zulib/cursor/internal/forward.h"
#include "zuodbc/driverfunctions.h"

namespace {

constexpr short kBookmarkType = SQL_C_ULONG;
constexpr SQLULEN kBookmarkSize = 4;
constexpr char kNoQuote[] = " ";
constexpr unsigned kNameBoundary = 4;
constexpr unsigned kQuotesAndZero = 3;
constexpr unsigned kMaxNameBuffer = 0x7FFC;  // its length must fit in a SQLSMALLINT
constexpr SQLLEN kMaxValue = SQLLEN{1} << 46;

unsigned short nameBufferSize(unsigned short maxColumnNameLength) {
  const unsigned size =
      (maxColumnNameLength + kQuotesAndZero + kNameBoundary - 1) / kNameBoundary * kNameBoundary;
  return static_cast<unsigned short>(std::min(size, kMaxNameBuffer));
}

bool isInterval(short type) { return type >= SQL_INTERVAL_YEAR && type <= SQL_INTERVAL_MINUTE_TO_SECOND; }

// Its size is that of the buffer, which may be 0 bytes; the driver then writes nothing.
bool hasVariableSize(short cType) {
  return cType == SQL_C_CHAR || cType == SQL_C_WCHAR || cType == SQL_C_BINARY;
}

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

// True if another statement's cursor has bound the driver's side of the descriptor to its buffers.
bool isTaken(const DMStmt* stmt) {
  if (!stmt->ard->isExplicit()) return false;
  for (const DMStmt* other : DMStmtList(stmt->conn))
    if (other != stmt && other->cursor && isDescriptor(other->ard, stmt->ard)) return true;
  return false;
}

}  // namespace

short DefaultCType(short sqlType) {
  if (isInterval(sqlType)) return sqlType;
  switch (sqlType) {
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_REAL:
    case SQL_DATE:
    case SQL_TIME:
    case SQL_TIMESTAMP:
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME:
    case SQL_TYPE_TIMESTAMP: return sqlType;
    case SQL_BIGINT: return SQL_C_SBIGINT;
    case SQL_LONGVARBINARY:
    case SQL_VARBINARY:
    case SQL_BINARY: return SQL_C_BINARY;
    case SQL_FLOAT:
    case SQL_DOUBLE: return SQL_C_DOUBLE;
    default: return SQL_C_CHAR;
  }
}

SQLULEN DefaultSize(short cType, SQLULEN size) {
  if (isInterval(cType)) return sizeof(SQL_INTERVAL_STRUCT);
  switch (cType) {
    case SQL_C_UTINYINT:
    case SQL_C_STINYINT:
    case SQL_C_BIT:
    case SQL_C_TINYINT: return 1;
    case SQL_C_UBIGINT:
    case SQL_C_SBIGINT:
    case SQL_C_DOUBLE: return 8;
    case SQL_C_ULONG:
    case SQL_C_SLONG:
    case SQL_C_LONG:
    case SQL_C_FLOAT: return 4;
    case SQL_C_USHORT:
    case SQL_C_SSHORT:
    case SQL_C_SHORT: return 2;
    case SQL_C_NUMERIC: return sizeof(SQL_NUMERIC_STRUCT);
    case SQL_C_DATE:
    case SQL_C_TIME:
    case SQL_C_TYPE_DATE:
    case SQL_C_TYPE_TIME: return sizeof(SQL_DATE_STRUCT);
    case SQL_C_TIMESTAMP:
    case SQL_C_TYPE_TIMESTAMP: return sizeof(SQL_TIMESTAMP_STRUCT);
    default: return size;
  }
}

short effectiveCType(short typeGiven, short sqlType) {
  if (typeGiven != SQL_C_DEFAULT) return typeGiven;
  return sqlType == SQL_GUID ? static_cast<short>(SQL_C_GUID) : DefaultCType(sqlType);
}

SQLULEN effectiveSize(short cType, SQLULEN length) {
  return cType == SQL_C_GUID ? sizeof(SQLGUID) : DefaultSize(cType, length);
}

void storeCell(void* cell, SQLLEN value) {
  if (cell) std::memcpy(cell, &value, sizeof value);
}

// One block: what the driver writes to must outlive the cursor if the driver refuses to unbind it.
struct BoundColumns::Array {
  DMOwnedBlock owned;  // first, so that the block can be given to the descriptor
  SQLULEN count;

  tagCINFO* columns() { return reinterpret_cast<tagCINFO*>(this + 1); }
};

BoundColumns::BoundColumns(DMStmt* stmt)
    : stmt(stmt), nameLength(nameBufferSize(stmt->conn->maxColumnNameLength)) {}

BoundColumns::~BoundColumns() {
  if (array) freeArray(&array->owned);
}

void BoundColumns::freeArray(DMOwnedBlock* block) {
  auto* const array = reinterpret_cast<Array*>(block);
  for (const tagCINFO& info : std::span(array->columns(), array->count)) {
    if (info.ownsBuffer) std::free(info.buffer);
    std::free(info.name);
  }
  std::free(array);
}

void BoundColumns::allocateColumns() {
  unsigned short bound = 0;
  for (const BindInfo* bind = stmt->ard->bindList; bind; bind = bind->next) ++bound;
  array = static_cast<Array*>(clAllocZ(sizeof(Array) + bound * sizeof(tagCINFO)));
  array->owned.release = freeArray;
  array->count = count = bound;
  first = array->columns();
  BindInfo* bind = stmt->ard->bindList;
  for (tagCINFO& info : all()) {
    info.bind = bind;
    info.name = static_cast<char*>(clAllocZ(nameLength));
    bind = bind->next;  // NOLINT(clang-analyzer-core.NullDereference): there are as many as columns
  }
}

const tagCINFO* BoundColumns::find(unsigned short column) const {
  for (const tagCINFO& info : all())
    if (info.bind->column == column) return &info;
  return nullptr;
}

SQLULEN BoundColumns::rowSize() const {
  SQLULEN size = 0;
  for (const tagCINFO& info : all())
    if (!info.isBookmark()) size += alignCell(info.length) + (info.hasCell ? kCell : 0);
  return size;
}

SQLRETURN BoundColumns::getColAttributes() {
  bool warning = false;
  for (tagCINFO& info : all()) {
    if (info.isBookmark()) {
      info.sqlType = kBookmarkType;
      info.bind->size = kBookmarkSize;
    } else if (!*info.name) {
      const SQLRETURN rc = describeColumn(&info);
      if (clFailed(rc)) return rc;
      warning |= rc == SQL_SUCCESS_WITH_INFO;
    }
    shapeColumn(&info);
  }
  return warning ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

// Asks for type, size and scale of a column, and for its name: that of the base column if the driver tells
// it.
SQLRETURN BoundColumns::describeColumn(tagCINFO* info) {
  BindInfo* const bind = info->bind;
  char* const name = info->name + 1;
  const auto room = static_cast<SQLSMALLINT>(nameLength - 2);
  auto* const text = reinterpret_cast<SQLCHAR*>(name);
  if (isVersion3Driver(stmt->conn)) {
    const SQLRETURN rc =
        CursorLibColAttribute(stmt, bind->column, SQL_DESC_BASE_COLUMN_NAME, text, room, nullptr, nullptr);
    if (clFailed(rc)) {  // the other name will do, so the application is not told
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

// Puts quotes around the name at `name` + 1, and doubles a quote inside it. A name that does not fit then
// becomes a blank, which keeps the column out of searches.
void BoundColumns::quoteName(char* name) const {
  const char* const quote = stmt->conn->identifierQuote[0] ? stmt->conn->identifierQuote : kNoQuote;
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
    for (const char* from = name + 1 + length; from-- != name + 1;) {
      *--to = *from;
      if (*from == mark) *--to = mark;
    }
    length += inside;
  }
  name[0] = mark;
  std::memcpy(name + 1 + length, quote, closing);
  name[1 + length + closing] = '\0';
}

// Works out the types in effect, and from them the size of a value. A type of unknown size needs a length:
// the driver must not write more than there is room for.
void BoundColumns::shapeColumn(tagCINFO* info) {
  BindInfo* const bind = info->bind;
  bind->cType = info->cType = effectiveCType(bind->typeGiven, info->sqlType);
  short type;
  if (!MapToConciseType(bind->cType, bind->intervalCode, bind->typeForm, &type))
    throw ODBCException(stmt, clmsg::TypeNotMappable);
  bind->length = static_cast<SQLLEN>(effectiveSize(type, static_cast<SQLULEN>(bind->length)));
  if (bind->length < 0) throw ODBCException(stmt, clmsg::DriverBindFailed);
  if (bind->length > kMaxValue) throw CMemoryException();
  if (bind->length == 0 && !hasVariableSize(type) && !info->isBookmark())
    throw ODBCException(stmt, clmsg::TypeNotMappable);
  info->length = static_cast<SQLULEN>(bind->length);
  // A column that has only an indicator keeps its null values in the cell, too.
  info->hasCell = bind->octetLengthPtr || bind->indicatorPtr;
}

SQLRETURN BoundColumns::setStmtBindings() {
  const DMDriverFunctions* const functions = stmt->conn->driverFunctions;
  if (stmt->ard->isExplicit() && functions && functions->hasDescriptorCalls()) {
    const SQLRETURN rc = standInDescriptor();
    if (clFailed(rc)) return rc;
    onDriver = true;
  } else {
    if (isTaken(stmt)) throw ODBCException(stmt, clmsg::BindingFixed);
    onDriver = true;
    CursorLibFreeStmt(stmt, SQL_UNBIND);
  }
  if (clFailed(CursorLibSetOneRow(stmt))) throw ODBCException(stmt, clmsg::DriverBindFailed);
  bindPrivateBuffers();
  return SQL_SUCCESS;
}

// Puts a copy in the place of the application's own descriptor, whose bindings on the driver stay as they
// are. From here on the columns use the copy's records, which are those that later bind calls change.
SQLRETURN BoundColumns::standInDescriptor() {
  DMDesc* copy = nullptr;
  SQLRETURN rc = CursorLibAllocHandle(SQL_HANDLE_DESC, stmt->conn, &copy);
  if (clFailed(rc)) {
    if (clOutOfMemory(stmt->conn)) throw CMemoryException();
    clMoveErrors(stmt, stmt->conn);
    return rc;
  }
  rc = SQLCopyDesc(stmt->ard, copy);
  if (!clFailed(rc)) {
    stmt->savedArd = stmt->ard;
    rc = switchDescriptor(copy);
  }
  if (clFailed(rc)) {
    const bool copied = stmt->savedArd != nullptr;
    const bool outOfMemory = clOutOfMemory(copy);
    stmt->savedArd = nullptr;
    SQLFreeHandle(SQL_HANDLE_DESC, copy);
    if (outOfMemory) throw CMemoryException();
    if (!copied) throw ODBCException(stmt, clmsg::DriverBindFailed);
    return rc;
  }
  ++stmt->savedArd->shareCount;
  for (tagCINFO& info : all()) {
    BindInfo* const record = FindBindInfo(stmt->ard, info.bind->column);
    if (!record) throw ODBCException(stmt, clmsg::DriverBindFailed);
    info.bind = record;
  }
  return SQL_SUCCESS;
}

// The attribute must not change with an open cursor, so the statement has none during the call.
SQLRETURN BoundColumns::switchDescriptor(DMDesc* desc) {
  const HeldErrors hold(stmt);
  FwdCursor* const own = stmt->cursor;
  stmt->cursor = nullptr;
  const SQLRETURN rc = SQLSetStmtAttr(stmt, SQL_ATTR_APP_ROW_DESC, desc, SQL_IS_POINTER);
  stmt->cursor = own;
  return rc;
}

void BoundColumns::bindPrivateBuffers() {
  for (tagCINFO& info : all()) {
    const BindInfo* const bind = info.bind;
    info.ownsBuffer = info.length != 0;
    info.buffer = info.ownsBuffer ? static_cast<unsigned char*>(clAllocZ(alignCell(info.length)))
                                  : static_cast<unsigned char*>(bind->data);
    info.lengthPtr = &info.lengthCell;
    if (info.isBookmark()) continue;
    short type;
    if (!MapToConciseType(bind->typeGiven, bind->intervalCode, bind->typeForm, &type))
      throw ODBCException(stmt, clmsg::TypeNotMappable);
    const SQLRETURN rc =
        CursorLibBindCol(stmt, bind->column, type, info.buffer, bind->length, info.lengthPtr);
    if (clFailed(rc)) throw ODBCException(stmt, clmsg::DriverBindFailed);
  }
}

SQLRETURN BoundColumns::release(bool driverThere) {
  SQLRETURN rc = SQL_SUCCESS;
  DMDesc* const bound = stmt->ard;
  bool unbound = !onDriver || !driverThere;
  if (!unbound) unbound = !clFailed(CursorLibFreeStmt(stmt, SQL_UNBIND));
  if (stmt->savedArd) rc = giveBackDescriptor(driverThere, &unbound);
  if (array && unbound) freeArray(&array->owned);
  if (array && !unbound) {
    array->owned.next = bound->ownedBlocks;
    bound->ownedBlocks = &array->owned;
    bound->flags |= DM_DESC_CURSOR_BOUND;
  }
  array = nullptr;
  first = nullptr;
  count = 0;
  onDriver = false;
  return rc;
}

SQLRETURN BoundColumns::giveBackDescriptor(bool driverThere, bool* unbound) {
  DMDesc* const copy = stmt->ard;
  SQLRETURN rc = SQL_SUCCESS;
  --stmt->savedArd->shareCount;
  if (driverThere) {
    rc = switchDescriptor(stmt->savedArd);
    if (!clFailed(SQLFreeHandle(SQL_HANDLE_DESC, copy))) *unbound = true;
  } else {
    DropBindings(copy, nullptr);
  }
  stmt->savedArd = nullptr;
  return clFailed(rc) ? SQLRETURN{SQL_ERROR} : SQLRETURN{SQL_SUCCESS};
}

unsigned char* BoundColumns::dataElement(const BindInfo* bind, SQLLEN index) const {
  if (!bind->data) return nullptr;
  const DMDesc* const ard = stmt->ard;
  const SQLLEN step = ard->bindType ? static_cast<SQLLEN>(ard->bindType) : bind->length;
  return static_cast<unsigned char*>(bind->data) + index * step +
         (ard->bindOffsetPtr ? *ard->bindOffsetPtr : 0);
}

// Row-wise the lengths step with the rows, as the data do; column-wise they are an array of their own.
SQLLEN* BoundColumns::lengthElement(SQLLEN* pointer, SQLLEN index) const {
  if (!pointer) return nullptr;
  const DMDesc* const ard = stmt->ard;
  const SQLLEN step = ard->bindType ? static_cast<SQLLEN>(ard->bindType) : static_cast<SQLLEN>(kCell);
  auto* const base = reinterpret_cast<unsigned char*>(pointer);
  return reinterpret_cast<SQLLEN*>(base + index * step + (ard->bindOffsetPtr ? *ard->bindOffsetPtr : 0));
}

void BoundColumns::prepareTargets() {
  const SQLULEN byRow = stmt->ard->bindType;
  for (tagCINFO& info : all()) {
    const BindInfo* const bind = info.bind;
    SQLLEN* const apart = bind->indicatorPtr != bind->octetLengthPtr ? bind->indicatorPtr : nullptr;
    ClTarget& target = info.target;
    target.data = dataElement(bind, 0);
    target.dataStep = byRow ? byRow : info.length;
    target.length = reinterpret_cast<unsigned char*>(lengthElement(bind->octetLengthPtr, 0));
    target.indicator = reinterpret_cast<unsigned char*>(lengthElement(apart, 0));
    target.cellStep = byRow ? byRow : kCell;
  }
}
