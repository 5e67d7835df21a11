// Parameters: their count and description, and what is bound to them.

#include "zuodbc/call/arguments.h"
#include "zuodbc/call/crossing.h"
#include "zuodbc/call/entry.h"
#include "zuodbc/call/trace.h"
#include "zuodbc/driver/bridge.h"

using namespace dm;

namespace {

struct Binding {
  SQLUSMALLINT number;
  SQLSMALLINT ioType;  // 0: the function has no such argument
  SQLSMALLINT cType;
  SQLSMALLINT sqlType;
  SQLULEN size;
  SQLSMALLINT scale;
  SQLPOINTER data;
  SQLLEN length;
  SQLLEN* lengthPtr;

  bool isOutput() const { return ioType == SQL_PARAM_OUTPUT || ioType == SQL_PARAM_OUTPUT_STREAM; }
};

const char* checkBinding(const Binding& binding) {
  if (binding.number == 0) return "07009";
  switch (binding.ioType) {
    case 0:
    case SQL_PARAM_INPUT:
    case SQL_PARAM_INPUT_OUTPUT:
    case SQL_PARAM_OUTPUT:
    case SQL_PARAM_INPUT_OUTPUT_STREAM:
    case SQL_PARAM_OUTPUT_STREAM: break;
    default: return "HY105";
  }
  if (binding.length < 0 && binding.length != SQL_SETPARAM_VALUE_MAX) return "HY090";
  return !binding.data && !binding.lengthPtr && !binding.isOutput() ? "HY009" : nullptr;
}

SQLRETURN bind(SQLHSTMT handle, Api api, const Binding& b) {
  return callStatement(
      handle, api, [&](DMStmt&) { return checkBinding(b); },
      [&](DMStmt& stmt, const CursorLibrary& library) {
        const SQLSMALLINT ioType = b.ioType ? b.ioType : SQLSMALLINT(SQL_PARAM_INPUT);
        return library.CLBindParameter(&stmt, b.number, ioType, b.cType, b.sqlType, b.size, b.scale, b.data,
                                       b.length, b.lengthPtr);
      },
      [&](DMStmt& stmt, const DMDriverFunctions& driver) {
        return driverBindParameter(stmt, driver, b.number, b.ioType, b.cType, b.sqlType, b.size, b.scale,
                                   b.data, b.length, b.lengthPtr);
      });
}

}  // namespace

extern "C" {

ZU_API SQLRETURN SQL_API SQLNumParams(SQLHSTMT handle, SQLSMALLINT* count) {
  return traced(
      "SQLNumParams",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::NumParams, kNoCheck,
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLNumParams(&stmt, orScratch(stmt, count));
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return ask(driver.SQLNumParams, stmt.driverHandle, orScratch(stmt, count));
            });
      },
      handle, count);
}

ZU_API SQLRETURN SQL_API SQLDescribeParam(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT* type,
                                          SQLULEN* size, SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return traced(
      "SQLDescribeParam",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::DescribeParam, [&](DMStmt&) { return number == 0 ? "07009" : nullptr; },
            kNoCursorLibrary,
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              const SQLRETURN rc =
                  ask(driver.SQLDescribeParam, stmt.driverHandle, number, type, size, scale, nullable);
              if (SQL_SUCCEEDED(rc) && type) *type = typeForApplication(*stmt.conn, *type);
              return rc;
            });
      },
      handle, number, type, size, scale, nullable);
}

DM_ALIAS(SQLDescribeParam);

ZU_API SQLRETURN SQL_API SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT ioType,
                                          SQLSMALLINT cType, SQLSMALLINT sqlType, SQLULEN size,
                                          SQLSMALLINT scale, SQLPOINTER data, SQLLEN length,
                                          SQLLEN* lengthPtr) {
  return traced(
      "SQLBindParameter",
      [&](const auto&...)
          -> SQLRETURN {  // An application's 0 is no input/output type; Binding uses it for SQLBindParam.
        const SQLSMALLINT given = ioType == 0 ? SQLSMALLINT(-1) : ioType;
        return bind(handle, Api::BindParameter,
                    {number, given, cType, sqlType, size, scale, data, length, lengthPtr});
      },
      handle, number, ioType, cType, sqlType, size, scale, data, length, lengthPtr);
}

ZU_API SQLRETURN SQL_API SQLBindParam(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT cType,
                                      SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT scale, SQLPOINTER data,
                                      SQLLEN* lengthPtr) {
  return traced(
      "SQLBindParam",
      [&](const auto&...) -> SQLRETURN {
        return bind(handle, Api::BindParam,
                    {number, 0, cType, sqlType, size, scale, data, SQL_SETPARAM_VALUE_MAX, lengthPtr});
      },
      handle, number, cType, sqlType, size, scale, data, lengthPtr);
}

ZU_API SQLRETURN SQL_API SQLSetParam(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT cType,
                                     SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT scale, SQLPOINTER data,
                                     SQLLEN* lengthPtr) {
  return traced(
      "SQLSetParam",
      [&](const auto&...) -> SQLRETURN {
        return bind(handle, Api::SetParam,
                    {number, SQL_PARAM_INPUT_OUTPUT, cType, sqlType, size, scale, data,
                     SQL_SETPARAM_VALUE_MAX, lengthPtr});
      },
      handle, number, cType, sqlType, size, scale, data, lengthPtr);
}

ZU_API SQLRETURN SQL_API SQLParamOptions(SQLHSTMT handle, SQLULEN rows, SQLULEN* rowPtr) {
  return traced(
      "SQLParamOptions",
      [&](const auto&...) -> SQLRETURN {
        return callStatement(
            handle, Api::ParamOptions, [&](DMStmt&) { return rows == 0 ? "HY107" : nullptr; },
            [&](DMStmt& stmt, const CursorLibrary& library) {
              return library.CLParamOptions(&stmt, rows, rowPtr);
            },
            [&](DMStmt& stmt, const DMDriverFunctions& driver) {
              return driverParamOptions(stmt, driver, rows, rowPtr);
            });
      },
      handle, rows, rowPtr);
}

}  // extern "C"
