#include "zulib/cursor/internal/forward.h"

#include "zuodbc/dmservices.h"
#include "zuodbc/driverfunctions.h"

namespace {

void setMark(DMStmt* stmt, int mark) { stmt->CursorLibLockStmt(mark); }
void setMark(DMConn* conn, int mark) { conn->CursorLibLockDbc(mark); }
void setMark(DMDesc* desc, int mark) { desc->CursorLibLockDesc(mark); }

// Sets the re-entrance mark for the life of a scope.
template <class Handle>
class Mark {
 public:
  explicit Mark(Handle* handle) : handle(handle) { setMark(handle, 1); }
  Mark(const Mark&) = delete;
  Mark& operator=(const Mark&) = delete;
  ~Mark() { setMark(handle, 0); }

 private:
  Handle* handle;
};

// Replaces the value of a cell for the life of a scope.
template <class T>
class Replaced {
 public:
  Replaced(T& cell, T value) : cell(cell), kept(cell) { cell = value; }
  // Restores at the end what the cell holds now.
  explicit Replaced(T& cell) : cell(cell), kept(cell) {}
  Replaced(const Replaced&) = delete;
  Replaced& operator=(const Replaced&) = delete;
  ~Replaced() { cell = kept; }

 private:
  T& cell;
  T kept;
};

// Calls the driver manager's `function` on a marked handle.
template <class Handle, class Function, class... Arguments>
SQLRETURN forward(Function function, Handle* handle, Arguments... arguments) {
  const Mark<Handle> mark(handle);
  return function(handle, arguments...);
}

// The five row-array attributes of CursorLibSetStmtAttr, on any driver.
SQLRETURN setRowArray(DMStmt* stmt, SQLULEN rowArraySize, SQLULEN* rowsFetchedPtr, SQLLEN* bindOffsetPtr,
                      SQLUSMALLINT* rowStatusPtr, SQLULEN bindType) {
  // The arguments can be the values of these fields, which the calls below change.
  const Replaced<SQLULEN> keptBindType(stmt->ard->bindType);
  const Replaced<SQLULEN> keptSize(stmt->ard->arraySize);
  const Replaced<SQLULEN*> keptProcessed(stmt->ird->rowsProcessedPtr);
  const Replaced<SQLLEN*> keptOffset(stmt->ard->bindOffsetPtr);
  const Replaced<SQLUSMALLINT*> keptStatus(stmt->ird->arrayStatusPtr);

  const struct {
    SQLPOINTER value;
    SQLINTEGER attribute;
    SQLINTEGER length;
  } settings[] = {
      {asPointer(bindType), SQL_BIND_TYPE, SQL_IS_UINTEGER},
      {asPointer(rowArraySize), SQL_ATTR_ROW_ARRAY_SIZE, SQL_IS_UINTEGER},
      {rowsFetchedPtr, SQL_ATTR_ROWS_FETCHED_PTR, SQL_IS_POINTER},
      {bindOffsetPtr, SQL_ATTR_ROW_BIND_OFFSET_PTR, SQL_IS_POINTER},
      {rowStatusPtr, SQL_ATTR_ROW_STATUS_PTR, SQL_IS_POINTER},
  };
  for (const auto& setting : settings) {
    const SQLRETURN rc = CursorLibSetOneStmtAttr(stmt, setting.attribute, setting.value, setting.length);
    if (clFailed(rc)) return rc;
  }
  return SQL_SUCCESS;
}

}  // namespace

SQLRETURN CursorLibBindCol(DMStmt* stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER data,
                           SQLLEN length, SQLLEN* lengthPtr) {
  return forward(SQLBindCol, stmt, column, cType, data, length, lengthPtr);
}

SQLRETURN CursorLibBindParameter(DMStmt* stmt, SQLUSMALLINT number, SQLSMALLINT ioType, SQLSMALLINT cType,
                                 SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT scale, SQLPOINTER data,
                                 SQLLEN length, SQLLEN* lengthPtr) {
  return forward(SQLBindParameter, stmt, number, ioType, cType, sqlType, size, scale, data, length,
                 lengthPtr);
}

SQLRETURN CursorLibCancel(DMStmt* stmt) { return forward(SQLCancel, stmt); }

SQLRETURN CursorLibCloseCursor(DMStmt* stmt) { return forward(SQLCloseCursor, stmt); }

SQLRETURN CursorLibColAttribute(DMStmt* stmt, SQLUSMALLINT column, SQLUSMALLINT field, SQLPOINTER text,
                                SQLSMALLINT textSize, SQLSMALLINT* textLength, SQLLEN* number) {
  return forward(SQLColAttribute, stmt, column, field, text, textSize, textLength, number);
}

SQLRETURN CursorLibColAttributes(DMStmt* stmt, SQLUSMALLINT column, SQLUSMALLINT field, SQLPOINTER text,
                                 SQLSMALLINT textSize, SQLSMALLINT* textLength, SQLLEN* number) {
  return forward(SQLColAttributes, stmt, column, field, text, textSize, textLength, number);
}

SQLRETURN CursorLibDescribeCol(DMStmt* stmt, SQLUSMALLINT column, SQLCHAR* name, SQLSMALLINT nameSize,
                               SQLSMALLINT* nameLength, SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT* scale,
                               SQLSMALLINT* nullable) {
  return forward(SQLDescribeCol, stmt, column, name, nameSize, nameLength, type, size, scale, nullable);
}

SQLRETURN CursorLibExecDirect(DMStmt* stmt, SQLCHAR* sql, SQLINTEGER length) {
  return forward(SQLExecDirect, stmt, sql, length);
}

SQLRETURN CursorLibExecute(DMStmt* stmt) { return forward(SQLExecute, stmt); }

SQLRETURN CursorLibGetData(DMStmt* stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value,
                           SQLLEN length, SQLLEN* lengthPtr) {
  return forward(SQLGetData, stmt, column, cType, value, length, lengthPtr);
}

SQLRETURN CursorLibGetStmtAttr(DMStmt* stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                               SQLINTEGER* lengthPtr) {
  return forward(SQLGetStmtAttr, stmt, attribute, value, length, lengthPtr);
}

SQLRETURN CursorLibGetStmtOption(DMStmt* stmt, SQLUSMALLINT option, SQLPOINTER value) {
  return forward(SQLGetStmtOption, stmt, option, value);
}

SQLRETURN CursorLibMoreResults(DMStmt* stmt) { return forward(SQLMoreResults, stmt); }

SQLRETURN CursorLibNumParams(DMStmt* stmt, SQLSMALLINT* count) { return forward(SQLNumParams, stmt, count); }

SQLRETURN CursorLibNumResultCols(DMStmt* stmt, SQLSMALLINT* count) {
  return forward(SQLNumResultCols, stmt, count);
}

SQLRETURN CursorLibParamData(DMStmt* stmt, SQLPOINTER* value) { return forward(SQLParamData, stmt, value); }

SQLRETURN CursorLibParamOptions(DMStmt* stmt, SQLULEN rows, SQLULEN* rowPtr) {
  return forward(SQLParamOptions, stmt, rows, rowPtr);
}

SQLRETURN CursorLibPrepare(DMStmt* stmt, SQLCHAR* sql, SQLINTEGER length) {
  return forward(SQLPrepare, stmt, sql, length);
}

SQLRETURN CursorLibPutData(DMStmt* stmt, SQLPOINTER value, SQLLEN length) {
  return forward(SQLPutData, stmt, value, length);
}

SQLRETURN CursorLibRowCount(DMStmt* stmt, SQLLEN* count) { return forward(SQLRowCount, stmt, count); }

SQLRETURN CursorLibSetPos(DMStmt* stmt, SQLSETPOSIROW row, SQLUSMALLINT operation, SQLUSMALLINT lock) {
  return forward(SQLSetPos, stmt, row, operation, lock);
}

SQLRETURN CursorLibSetStmtOption(DMStmt* stmt, SQLUSMALLINT option, SQLULEN value) {
  return forward(SQLSetStmtOption, stmt, option, value);
}

SQLRETURN CursorLibFetch(DMStmt* stmt) {
  const Replaced<SQLLEN*> offset(stmt->ard->bindOffsetPtr, nullptr);
  return forward(SQLFetch, stmt);
}

SQLRETURN CursorLibSetStmtAttr(DMStmt* stmt, SQLULEN rowArraySize, SQLULEN* rowsFetchedPtr,
                               SQLLEN* bindOffsetPtr, SQLUSMALLINT* rowStatusPtr, SQLULEN bindType) {
  if (!isVersion3Driver(stmt->conn)) return SQL_SUCCESS;
  return setRowArray(stmt, rowArraySize, rowsFetchedPtr, bindOffsetPtr, rowStatusPtr, bindType);
}

SQLRETURN CursorLibSetOneRow(DMStmt* stmt) {
  const DMDriverFunctions* const functions = stmt->conn->driverFunctions;
  const bool hasRowArray =
      isVersion3Driver(stmt->conn) ||
      (functions && functions->SQLSetStmtAttr && (functions->SQLSetDescField || functions->SQLCopyDesc));
  return hasRowArray ? setRowArray(stmt, 1, nullptr, nullptr, nullptr, SQL_BIND_BY_COLUMN)
                     : SQLRETURN{SQL_SUCCESS};
}

SQLRETURN CursorLibSetOneStmtAttr(DMStmt* stmt, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
  return forward(SQLSetStmtAttr, stmt, attribute, value, length);
}

SQLRETURN CursorLibFreeStmt(DMStmt* stmt, SQLUSMALLINT option) {
  if (option != SQL_DROP) return forward(SQLFreeStmt, stmt, option);
  const Mark<DMConn> mark(stmt->conn);
  const Replaced<void*> driverSide(stmt->selfRef, stmt->driverHandle);
  return SQLFreeStmt(stmt, option);
}

SQLRETURN CursorLibAllocHandle(SQLSMALLINT type, DMConn* input, DMDesc** output) {
  if (type != SQL_HANDLE_DESC) return SQL_SUCCESS;
  const Mark<DMConn> mark(input);
  return SQLAllocHandle(type, input, reinterpret_cast<SQLHANDLE*>(output));
}

SQLRETURN CursorLibAllocStmt(DMConn* conn, DMStmt** stmt) {
  return forward(SQLAllocStmt, conn, reinterpret_cast<SQLHSTMT*>(stmt));
}

SQLRETURN CursorLibGetInfo(DMConn* conn, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT length,
                           SQLSMALLINT* lengthPtr) {
  return forward(SQLGetInfo, conn, type, value, length, lengthPtr);
}

SQLRETURN CursorLibNativeSql(DMConn* conn, SQLCHAR* sql, SQLINTEGER length, SQLCHAR* out, SQLINTEGER outMax,
                             SQLINTEGER* outLength) {
  return forward(SQLNativeSql, conn, sql, length, out, outMax, outLength);
}

SQLRETURN CursorLibSetConnectAttr(DMConn* conn, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length,
                                  unsigned short api) {
  if (api == API_SETCONNECTATTR) return forward(SQLSetConnectAttr, conn, attribute, value, length);
  return forward(SQLSetConnectOption, conn, static_cast<SQLUSMALLINT>(attribute), asNumber(value));
}

SQLRETURN CursorLibTransact(DMEnv* env, DMConn* conn, unsigned short completion) {
  // A whole environment has no one connection to mark; the call goes to the drivers in any case.
  if (!conn) return DMCursorLibTransact(env, conn, completion);
  const Mark<DMConn> mark(conn);
  return DMCursorLibTransact(env, conn, completion);
}

SQLRETURN CursorLibFreeHandle(SQLSMALLINT type, DMHandle* handle) {
  const auto freeMarked = [type](auto* typed) {
    const Mark mark(typed);
    return SQLFreeHandle(type, typed);
  };
  switch (type) {
    case SQL_HANDLE_DBC: return freeMarked(static_cast<DMConn*>(handle));
    case SQL_HANDLE_STMT: return freeMarked(static_cast<DMStmt*>(handle));
    case SQL_HANDLE_DESC: return freeMarked(static_cast<DMDesc*>(handle));
    default: return SQL_SUCCESS;
  }
}

SQLRETURN CursorLibGetDescField(DMDesc* desc, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                                SQLINTEGER length, SQLINTEGER* lengthPtr) {
  return forward(SQLGetDescField, desc, record, field, value, length, lengthPtr);
}

SQLRETURN CursorLibGetDescRec(DMDesc* desc, SQLSMALLINT record, SQLCHAR* name, SQLSMALLINT nameSize,
                              SQLSMALLINT* nameLengthPtr, SQLSMALLINT* typePtr, SQLSMALLINT* subTypePtr,
                              SQLLEN* lengthPtr, SQLSMALLINT* precisionPtr, SQLSMALLINT* scalePtr,
                              SQLSMALLINT* nullablePtr) {
  return forward(SQLGetDescRec, desc, record, name, nameSize, nameLengthPtr, typePtr, subTypePtr, lengthPtr,
                 precisionPtr, scalePtr, nullablePtr);
}

SQLRETURN CursorLibSetDescField(DMDesc* desc, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                                SQLINTEGER length) {
  return forward(SQLSetDescField, desc, record, field, value, length);
}

SQLRETURN CursorLibSetDescRec(DMDesc* desc, SQLSMALLINT record, SQLSMALLINT type, SQLSMALLINT subType,
                              SQLLEN length, SQLSMALLINT precision, SQLSMALLINT scale, SQLPOINTER data,
                              SQLLEN* lengthPtr, SQLLEN* indicatorPtr) {
  return forward(SQLSetDescRec, desc, record, type, subType, length, precision, scale, data, lengthPtr,
                 indicatorPtr);
}

SQLRETURN DriverSQLCancel(DMStmt* stmt) {
  const DMDriverFunctions* functions = stmt->conn->driverFunctions;
  if (!functions || !functions->SQLCancel) return SQL_SUCCESS;
  return functions->SQLCancel(stmt->driverHandle);
}
