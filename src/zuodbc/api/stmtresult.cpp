// The result of a statement: its columns, what is bound to them, and values read one at a time.

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/textfields.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

const char* checkDescribe(const DMStmt& stmt, SQLUSMALLINT column, const TextOut<SQLSMALLINT>& name) {
  if (const char* wrong = checkSize(name)) return wrong;
  return column == 0 && stmt.useBookmarks == SQL_UB_OFF ? "07009" : nullptr;
}

SQLRETURN describeCol(SQLHSTMT handle, SQLUSMALLINT column, const TextOut<SQLSMALLINT>& name,
                      SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return callStatement(
      handle, Api::DescribeCol, [&](DMStmt& stmt) { return checkDescribe(stmt, column, name); },
      kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        const SQLRETURN rc = askText(stmt, DM_ENTRIES(driver, SQLDescribeCol), stmt.driverHandle, column,
                                     name, type, size, scale, nullable);
        if (SQL_SUCCEEDED(rc) && type) *type = typeForApplication(*stmt.conn, *type);
        return rc;
      });
}

using ColumnField = SQLRETURN (*)(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT column,
                                  SQLUSMALLINT field, const TextOut<SQLSMALLINT>& text, SQLLEN* number);

SQLRETURN colAttribute(SQLHSTMT handle, Api api, ColumnField ask, SQLUSMALLINT column, SQLUSMALLINT field,
                       const TextOut<SQLSMALLINT>& text, SQLLEN* number) {
  return callStatement(
      handle, api, [&](DMStmt&) { return checkSize(text); }, kNoCursorLibrary,
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return ask(stmt, driver, column, field, text, number);
      });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
  return traced(
      "SQLNumResultCols",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(handle, Api::NumResultCols, kNoCheck, kNoCursorLibrary,
                             [&](DMStmt& stmt, const DMDriverFunctions& driver) {
                               SQLSMALLINT* columns = orScratch(stmt, count);
                               const SQLRETURN rc = ask(driver.SQLNumResultCols, stmt.driverHandle, columns);
                               if (SQL_SUCCEEDED(rc)) sequenceColumnsTold(stmt, *columns);
                               return rc;
                             });
      },
      handle, count);
}

ZU_API SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT column, SQLCHAR* name,
                                        SQLSMALLINT nameSize, SQLSMALLINT* nameLength, SQLSMALLINT* type,
                                        SQLULEN* size, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return traced("SQLDescribeCol", describeCol, handle, column, textOut(name, nameSize, nameLength), type,
                size, scale, nullable);
}
ZU_API SQLRETURN SQL_API SQLDescribeColW(SQLHSTMT handle, SQLUSMALLINT column, SQLWCHAR* name,
                                         SQLSMALLINT nameSize, SQLSMALLINT* nameLength, SQLSMALLINT* type,
                                         SQLULEN* size, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return traced("SQLDescribeColW", describeCol, handle, column, textOut(name, nameSize, nameLength), type,
                size, scale, nullable);
}
DM_ALIAS(SQLDescribeCol);

ZU_API SQLRETURN SQL_API SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field,
                                         SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                                         SQLLEN* number) {
  return traced("SQLColAttribute", colAttribute, handle, Api::ColAttribute, driverColAttribute, column, field,
                valueOut(Form::Narrow, text, size, length, isTextField(field)), number);
}
ZU_API SQLRETURN SQL_API SQLColAttributeW(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field,
                                          SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                                          SQLLEN* number) {
  return traced("SQLColAttributeW", colAttribute, handle, Api::ColAttribute, driverColAttribute, column,
                field, valueOut(Form::Wide, text, size, length, isTextField(field)), number);
}
// Not an alias: the header has it with signed numbers.
ZU_API SQLRETURN SQL_API SQLColAttributeA(SQLHSTMT handle, SQLSMALLINT column, SQLSMALLINT field,
                                          SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                                          SQLLEN* number) {
  return traced(
      "SQLColAttributeA",
      [&](const auto&...) -> SQLRETURN {
        return SQLColAttribute(handle, static_cast<SQLUSMALLINT>(column), static_cast<SQLUSMALLINT>(field),
                               text, size, length, number);
      },
      handle, column, field, text, size, length, number);
}

ZU_API SQLRETURN SQL_API SQLColAttributes(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field,
                                          SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                                          SQLLEN* number) {
  return traced("SQLColAttributes", colAttribute, handle, Api::ColAttributes, driverColAttributes, column,
                field, valueOut(Form::Narrow, text, size, length, isTextField(field)), number);
}
ZU_API SQLRETURN SQL_API SQLColAttributesW(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field,
                                           SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length,
                                           SQLLEN* number) {
  return traced("SQLColAttributesW", colAttribute, handle, Api::ColAttributes, driverColAttributes, column,
                field, valueOut(Form::Wide, text, size, length, isTextField(field)), number);
}
DM_ALIAS(SQLColAttributes);

ZU_API SQLRETURN SQL_API SQLBindCol(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER data,
                                    SQLLEN length, SQLLEN* lengthPtr) {
  return traced(
      "SQLBindCol",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::BindCol, [&](DMStmt&) { return checkSize(length); },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLBindCol(&stmt, column, cType, data, length, lengthPtr);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              const HeldBinding binding{column, typeForDriver(*stmt.conn, cType), data, length, lengthPtr};
              reserveBinding(stmt, column);
              if (holdsBindings(stmt)) {
                holdBinding(stmt, binding);
                noteBinding(stmt, binding);
                return SQLRETURN(SQL_SUCCESS);
              }
              forgetHeldBinding(stmt, column);
              if (isMarked(&stmt)) reserveHeldBinding(stmt, column);
              const SQLRETURN rc =
                  ask(driver.SQLBindCol, stmt.driverHandle, column, binding.cType, data, length, lengthPtr);
              if (SQL_SUCCEEDED(rc)) noteBinding(stmt, binding);
              return rc;
            });
      },
      handle, column, cType, data, length, lengthPtr);
}

ZU_API SQLRETURN SQL_API SQLGetData(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value,
                                    SQLLEN length, SQLLEN* lengthPtr) {
  return traced(
      "SQLGetData",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::GetData, [&](DMStmt&) { return value ? checkSize(length) : "HY009"; },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLGetData(&stmt, column, cType, value, length, lengthPtr);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              if (stmt.state->catalogTypes.column != 0) [[unlikely]]
                return driverGetData(stmt, driver, column, cType, value, length, lengthPtr);
              return ask(driver.SQLGetData, stmt.driverHandle, column, typeForDriver(*stmt.conn, cType),
                         value, length, lengthPtr);
            });
      },
      handle, column, cType, value, length, lengthPtr);
}

}  // extern "C"
