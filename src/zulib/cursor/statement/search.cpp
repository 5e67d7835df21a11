// SqlParser: the search that stands for a cursor's current row, one predicate for each bound column that
// can be searched. Positioned statements are sent with it, and SQLGetData reads the row again by it.

#include <algorithm>
#include <cstring>

#include "zulib/cursor/entry/forward.h"
#include "zulib/cursor/rows/cursor.h"
#include "zulib/cursor/statement/parser.h"

namespace {

constexpr char ParamString[] = " = ? AND";
constexpr char NullPredicate[] = " IS NULL AND";
constexpr char SEARCH_HEAD[] = "WHERE ";
constexpr SQLULEN SEARCH_HEAD_LENGTH = sizeof SEARCH_HEAD - 1;
constexpr SQLULEN LONGEST_PREDICATE_TAIL = sizeof NullPredicate;  // a blank with it
constexpr SQLLEN LAST_JOINT = sizeof " AND " - 1;

}  // namespace

void SqlParser::makeUpdateStmt() { openSearch(); }

void SqlParser::makeDeleteStmt() { openSearch(); }

// Ends the text with the head of a search. The predicates come at execution, from the row current then.
void SqlParser::openSearch() {
  reserveSearch();
  std::memcpy(text + whereOffset, SEARCH_HEAD, sizeof SEARCH_HEAD);
  textLength = static_cast<SQLLEN>(whereOffset + SEARCH_HEAD_LENGTH);
}

// Room for a predicate on each column that the target can have in a search now.
void SqlParser::reserveSearch() {
  const SQLULEN predicate = std::max(nameLength, target->searchNameSize()) + LONGEST_PREDICATE_TAIL;
  const SQLULEN needed =
      whereOffset + SEARCH_HEAD_LENGTH + 1 + predicate * static_cast<SQLULEN>(target->numSearchCols());
  if (needed <= textRoom) return;
  text = static_cast<char*>(clResize(text, needed));
  textRoom = needed;
}

void SqlParser::buildSearch(DMStmt* statement) {
  if (target->getJoinFlag()) throw ODBCException(stmt, clmsg::JoinNotUpdatable);
  reserveSearch();
  char* const start = text + whereOffset + SEARCH_HEAD_LENGTH;
  char* position = start;
  int index = -1;
  unsigned short parameter = static_cast<unsigned short>(paramCount + 1);
  void* value;
  SQLLEN* lengthPtr;
  short cType, sqlType, scale;
  SQLULEN size;
  while (target->getSearchCol(statement, &index, position, &value, &lengthPtr, &cType, &sqlType, &size,
                              &scale)) {
    if (!lengthPtr && cType == SQL_C_BINARY) throw ODBCException(stmt, clmsg::BinaryWithoutLength);
    const bool isNull = lengthPtr && *lengthPtr == SQL_NULL_DATA;
    position += std::strlen(position);
    position = stpcpy(stpcpy(position, isNull ? NullPredicate : ParamString), " ");
    if (isNull) continue;
    // No buffer length: the value stays in the cursor's block.
    if (statement == stmt) holdSearch();
    const SQLRETURN rc = dvrBindParam(statement, parameter++, SQL_PARAM_INPUT, cType, sqlType, size, scale,
                                      value, 0, lengthPtr);
    if (clFailed(rc)) throw RCException(rc);
  }
  if (position == start) throw ODBCException(stmt, clmsg::NoSearchableColumn);
  position -= LAST_JOINT;
  *position = '\0';
  textLength = position - text;
}

SQLRETURN SqlParser::dvrBindParam(DMStmt* statement, unsigned short number, short ioType, short cType,
                                  short sqlType, SQLULEN size, short scale, void* data, SQLLEN length,
                                  SQLLEN* lengthPtr) {
  return CursorLibBindParameter(statement, number, ioType, cType, sqlType, size, scale, data, length,
                                lengthPtr);
}

// While the driver may still read the search values, the blocks that hold them stay in memory.
void SqlParser::holdSearch() {
  if (searched) return;
  searched = target;
  searched->holdBlocks();
}

void SqlParser::letGoSearch() {
  if (searched) searched->letGoBlocks();
  searched = nullptr;
}

// The generated parameters go, and the application's own come back. The first failure ends it.
void SqlParser::resetParams() {
  letGoSearch();
  CursorLibFreeStmt(stmt, SQL_RESET_PARAMS);
  for (const BindInfo* bind = stmt->apd->bindList; bind; bind = bind->next) {
    const SQLRETURN rc =
        dvrBindParam(stmt, bind->column, bind->ioType, bind->cType, bind->sqlType, bind->size, bind->scale,
                     bind->data, bind->length, bind->octetLengthPtr);
    if (clFailed(rc)) return;
  }
}

void SqlParser::forgetTarget(const ScrollCursor* cursor) {
  if (target == cursor) target = nullptr;
  if (searched != cursor) return;
  DriverSQLCancel(stmt);
  resetParams();
  forgetExecution();
}

// Stands where a statement stands that has been prepared and not been executed yet.
void SqlParser::forgetExecution() {
  state = Idle;
  cancelled = suspended = searchStale = false;
}

SQLRETURN SqlParser::selectCurrent(ScrollCursor* cursor, DMStmt* other) {
  target = cursor;
  if (stmtType != Select) throw ODBCException(stmt, clmsg::ReselectNotSelect);
  if (groupBy) throw ODBCException(stmt, clmsg::ReselectGrouped);
  if (conn->activeStatements == 1 && conn->hasOpenResult) {
    const SQLRETURN rc = flushStmts();
    if (clFailed(rc)) return rc;
  }
  if (state != Final) {
    stopIfCancelled();
    try {
      state = Analysing;
      openSearch();
      buildSearch(other);
    } catch (const CException&) {
      forgetExecution();  // or the statement could not be executed again
      throw;
    }
    stopIfCancelled();
    state = Final;
  }
  const SQLRETURN rc =
      CursorLibExecDirect(other, reinterpret_cast<SQLCHAR*>(text), static_cast<SQLINTEGER>(textLength));
  if (rc != SQL_STILL_EXECUTING) {
    state = Idle;
    cancelled = false;
  }
  return rc;
}

SQLRETURN SqlParser::selectCurrentCancel(ScrollCursor* cursor, DMStmt* other) {
  target = cursor;
  if (conn->activeStatements == 1 && conn->hasOpenResult) return SQL_SUCCESS;
  cancelled = true;
  return state == Analysing ? SQLRETURN{SQL_SUCCESS} : DriverSQLCancel(other);
}
