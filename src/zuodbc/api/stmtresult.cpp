// The result of a statement: its columns, what is bound to them, and values read one at a time.

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

// True for a field of SQLColAttribute whose value is a text, in either version's numbers.
bool isTextField(SQLUSMALLINT field) {
  switch (field) {
    case SQL_COLUMN_NAME:
    case SQL_DESC_NAME:
    case SQL_DESC_TYPE_NAME:
    case SQL_DESC_TABLE_NAME:
    case SQL_DESC_SCHEMA_NAME:
    case SQL_DESC_CATALOG_NAME:
    case SQL_DESC_LABEL:
    case SQL_DESC_BASE_COLUMN_NAME:
    case SQL_DESC_BASE_TABLE_NAME:
    case SQL_DESC_LITERAL_PREFIX:
    case SQL_DESC_LITERAL_SUFFIX:
    case SQL_DESC_LOCAL_TYPE_NAME: return true;
    default: return false;
  }
}

const char* checkField(SQLUSMALLINT field, SQLSMALLINT size) {
  return isTextField(field) && size < 0 ? "HY090" : nullptr;
}

const char* checkDescribe(const DMStmt& stmt, SQLUSMALLINT column, SQLSMALLINT size) {
  if (size < 0) return "HY090";
  return column == 0 && stmt.useBookmarks == SQL_UB_OFF ? "07009" : nullptr;
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
  return callStatement(handle, Api::NumResultCols, kNoCheck, kNoCursorLibrary,
                       [&](DMStmt& stmt, const DMDriverFunctions& driver) {
                         SQLSMALLINT* columns = orScratch(stmt, count);
                         const SQLRETURN rc = ask(driver.SQLNumResultCols, stmt.driverHandle, columns);
                         if (SQL_SUCCEEDED(rc)) sequenceColumnsTold(stmt, *columns);
                         return rc;
                       });
}

ZU_API SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT column, SQLCHAR* name,
                                        SQLSMALLINT nameSize, SQLSMALLINT* nameLength, SQLSMALLINT* type,
                                        SQLULEN* size, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return callStatement(
      handle, Api::DescribeCol, [&](DMStmt& stmt) { return checkDescribe(stmt, column, nameSize); },
      kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        const SQLRETURN rc = ask(driver.SQLDescribeCol, stmt.driverHandle, column, name, nameSize, nameLength,
                                 type, size, scale, nullable);
        if (SQL_SUCCEEDED(rc) && type) *type = typeForApplication(*stmt.conn, *type);
        return rc;
      });
}

ZU_API SQLRETURN SQL_API SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field,
                                         SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                                         SQLLEN* number) {
  return callStatement(
      handle, Api::ColAttribute, [&](DMStmt&) { return checkField(field, size); }, kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverColAttribute(stmt, driver, column, field, text, size, length, number);
      });
}

ZU_API SQLRETURN SQL_API SQLColAttributes(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field,
                                          SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                                          SQLLEN* number) {
  return callStatement(
      handle, Api::ColAttributes, [&](DMStmt&) { return checkField(field, size); }, kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverColAttributes(stmt, driver, column, field, text, size, length, number);
      });
}

ZU_API SQLRETURN SQL_API SQLBindCol(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER data,
                                    SQLLEN length, SQLLEN* lengthPtr) {
  return callStatement(
      handle, Api::BindCol, [&](DMStmt&) { return checkSize(length); },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        return library.CLBindCol(&stmt, column, cType, data, length, lengthPtr);
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        const SQLSMALLINT type = typeForDriver(*stmt.conn, cType);
        if (holdsBindings(stmt)) {
          holdBinding(stmt, {column, type, data, length, lengthPtr});
          return SQLRETURN(SQL_SUCCESS);
        }
        forgetHeldBinding(stmt, column);
        if (isMarked(&stmt)) reserveHeldBinding(stmt, column);
        return ask(driver.SQLBindCol, stmt.driverHandle, column, type, data, length, lengthPtr);
      });
}

ZU_API SQLRETURN SQL_API SQLGetData(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value,
                                    SQLLEN length, SQLLEN* lengthPtr) {
  return callStatement(
      handle, Api::GetData, [&](DMStmt&) { return value ? checkSize(length) : "HY009"; },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        return library.CLGetData(&stmt, column, cType, value, length, lengthPtr);
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return ask(driver.SQLGetData, stmt.driverHandle, column, typeForDriver(*stmt.conn, cType), value,
                   length, lengthPtr);
      });
}

}  // extern "C"
