// Results of the scripted driver: description, fetching, SQLGetData.

#include <cstdlib>
#include <cstring>

#include "tests/support/scripted_driver/driver.h"

using namespace scripted;

namespace {

template <class T>
void store(void* target, T value) {
  std::memcpy(target, &value, sizeof value);
}

// Writes a value of fixed size: its size, or 0 when `cType` is none.
SQLLEN storeFixed(const std::string& text, SQLSMALLINT cType, void* target) {
  const auto integer = std::strtoll(text.c_str(), nullptr, 10);
  switch (cType) {
    case SQL_C_LONG:
    case SQL_C_SLONG:
    case SQL_C_ULONG: store(target, static_cast<SQLINTEGER>(integer)); return sizeof(SQLINTEGER);
    case SQL_C_SHORT:
    case SQL_C_SSHORT:
    case SQL_C_USHORT: store(target, static_cast<SQLSMALLINT>(integer)); return sizeof(SQLSMALLINT);
    case SQL_C_BIT:
    case SQL_C_TINYINT:
    case SQL_C_STINYINT:
    case SQL_C_UTINYINT: store(target, static_cast<SQLCHAR>(integer)); return sizeof(SQLCHAR);
    case SQL_C_SBIGINT:
    case SQL_C_UBIGINT: store(target, static_cast<SQLBIGINT>(integer)); return sizeof(SQLBIGINT);
    case SQL_C_DOUBLE: store(target, std::strtod(text.c_str(), nullptr)); return sizeof(double);
    case SQL_C_FLOAT: store(target, std::strtof(text.c_str(), nullptr)); return sizeof(float);
    default: return 0;
  }
}

SQLSMALLINT defaultType(SQLSMALLINT sqlType) {
  switch (sqlType) {
    case SQL_INTEGER: return SQL_C_SLONG;
    case SQL_SMALLINT: return SQL_C_SSHORT;
    case SQL_BIGINT: return SQL_C_SBIGINT;
    case SQL_DOUBLE:
    case SQL_FLOAT: return SQL_C_DOUBLE;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY: return SQL_C_BINARY;
    default: return SQL_C_CHAR;
  }
}

// Where row `index` of the row set goes. `size` is the element's size in column-wise binding.
template <class T>
T* rowCell(const Desc& ard, T* cell, SQLULEN index, SQLLEN size) {
  if (!cell) return nullptr;
  const DescContents& contents = ard.contents;
  char* place = reinterpret_cast<char*>(cell) + index * (contents.bindType ? contents.bindType : size);
  return reinterpret_cast<T*>(place + (contents.bindOffsetPtr ? *contents.bindOffsetPtr : 0));
}

SQLLEN elementSize(const Record& record) {
  char scratch[16];
  const SQLLEN fixed = storeFixed("0", record.cType, scratch);
  return fixed ? fixed : record.length;
}

SQLRETURN deliver(Stmt& stmt, const ScriptRow& row, SQLULEN index) {
  SQLRETURN rc = SQL_SUCCESS;
  for (const auto& [number, record] : stmt.ard->contents.records) {
    if (number < 1 || number > static_cast<SQLSMALLINT>(stmt.result->columns.size())) continue;
    if (!record.data && !record.octetLengthPtr) continue;
    std::size_t taken = 0;
    const SQLRETURN one =
        convert(stmt, row.values[number - 1], stmt.result->columns[number - 1], record.cType,
                rowCell(*stmt.ard, static_cast<char*>(record.data), index, elementSize(record)),
                record.length, rowCell(*stmt.ard, record.octetLengthPtr, index, sizeof(SQLLEN)),
                rowCell(*stmt.ard, record.indicatorPtr, index, sizeof(SQLLEN)), 0, taken);
    if (one != SQL_SUCCESS) rc = one;
  }
  return rc;
}

SQLRETURN fetchRow(Stmt& stmt, SQLULEN index) {
  const ScriptRow& row = stmt.result->rows[stmt.position++];
  const SQLRETURN rc = deliver(stmt, row, index);
  if (row.sqlstate.empty()) return rc;
  return stmt.post(row.sqlstate, row.rc, static_cast<SQLLEN>(index) + 1);
}

SQLRETURN fetch(Stmt& stmt, SQLULEN size, SQLULEN* fetched, SQLUSMALLINT* status) {
  stmt.taken.clear();
  if (!stmt.result) return stmt.post("24000");
  if (fetched) *fetched = 0;
  if (!stmt.hasOpenRows()) {
    stmt.position = stmt.result->rows.size() + 1;
    return kNoData;
  }
  SQLRETURN rc = SQL_SUCCESS;
  for (SQLULEN i = 0; i < size; ++i) {
    if (!stmt.hasOpenRows()) {
      if (status) status[i] = SQL_ROW_NOROW;
      continue;
    }
    const SQLRETURN one = fetchRow(stmt, i);
    if (one == SQL_ERROR && size == 1) return one;
    if (one != SQL_SUCCESS) rc = SQL_SUCCESS_WITH_INFO;
    if (fetched) *fetched = i + 1;
    if (status) {
      status[i] = one == SQL_ERROR     ? SQL_ROW_ERROR
                  : one == SQL_SUCCESS ? SQL_ROW_SUCCESS
                                       : SQL_ROW_SUCCESS_WITH_INFO;
    }
  }
  return rc;
}

SQLRETURN fetchArray(Stmt& stmt) {
  const DescContents& ird = stmt.ownIrd.contents;
  return fetch(stmt, stmt.ard->contents.arraySize, ird.rowsProcessedPtr, ird.arrayStatusPtr);
}

const ScriptColumn* columnOf(Stmt& stmt, SQLUSMALLINT number) {
  if (!stmt.result) {
    // A prepared statement is described before it is executed.
    const auto told = script->answers.find(stmt.text);
    if (!stmt.prepared || told == script->answers.end()) return nullptr;
    stmt.result = std::make_unique<ScriptAnswer>(told->second);
    stmt.position = stmt.result->rows.size() + 1;
  }
  return number >= 1 && number <= stmt.result->columns.size() ? &stmt.result->columns[number - 1] : nullptr;
}

SQLRETURN columnAttribute(const char* function, SQLHSTMT handle, SQLUSMALLINT number, SQLUSMALLINT field,
                          SQLPOINTER text, SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return answer<Stmt>(handle, function, [&](Stmt& stmt) {
    SQLLEN scratch = 0;
    SQLLEN& out = value ? *value : scratch;
    const ScriptColumn* column = columnOf(stmt, number);
    if (field == SQL_COLUMN_COUNT || field == SQL_DESC_COUNT) {
      out = stmt.result ? static_cast<SQLLEN>(stmt.result->columns.size()) : 0;
      return kOk;
    }
    if (!column) return stmt.post("07009");
    switch (field) {
      case SQL_COLUMN_NAME:
      case SQL_COLUMN_LABEL:
      case SQL_DESC_NAME:
      case SQL_DESC_BASE_COLUMN_NAME: return copyText(stmt, column->name, text, size, length);
      case SQL_COLUMN_TYPE: out = column->sqlType; return kOk;
      case SQL_COLUMN_SEARCHABLE: out = column->searchable; return kOk;
      case SQL_COLUMN_LENGTH:
      case SQL_COLUMN_PRECISION:
      case SQL_DESC_OCTET_LENGTH:
      case SQL_DESC_LENGTH:
      case SQL_COLUMN_DISPLAY_SIZE: out = static_cast<SQLLEN>(column->size); return kOk;
      case SQL_COLUMN_NULLABLE: out = SQL_NULLABLE; return kOk;
      default: out = 0; return kOk;
    }
  });
}

SQLRETURN convertText(Stmt& stmt, const std::string& value, const ScriptColumn& column, bool isText,
                      void* target, SQLLEN size, SQLLEN* lengthPtr, std::size_t from, std::size_t& taken) {
  const std::size_t left = value.size() - from;
  const std::size_t room = size > 0 ? static_cast<std::size_t>(size) - (isText ? 1 : 0) : 0;
  taken = std::min(left, room);
  const bool cut = taken < left;
  if (target && size > 0) {
    std::copy_n(value.data() + from, taken, static_cast<char*>(target));
    if (isText) static_cast<char*>(target)[taken] = '\0';
  }
  if (lengthPtr) *lengthPtr = cut && column.noTotal ? SQL_NO_TOTAL : static_cast<SQLLEN>(left);
  return cut ? stmt.post("01004", SQL_SUCCESS_WITH_INFO) : SQL_SUCCESS;
}

}  // namespace

SQLRETURN scripted::convert(Stmt& stmt, const ScriptValue& value, const ScriptColumn& column,
                            SQLSMALLINT cType, void* target, SQLLEN size, SQLLEN* lengthPtr,
                            SQLLEN* indicatorPtr, std::size_t from, std::size_t& taken) {
  if (!value) {
    if (!indicatorPtr) return stmt.post("22002");
    *indicatorPtr = SQL_NULL_DATA;
    return kOk;
  }
  if (indicatorPtr && indicatorPtr != lengthPtr) *indicatorPtr = 0;
  if (cType == SQL_C_DEFAULT) cType = defaultType(column.sqlType);
  char scratch[16];
  const SQLLEN fixed = storeFixed(*value, cType, target ? target : scratch);
  if (fixed == 0) {
    return convertText(stmt, *value, column, cType != SQL_C_BINARY, target, size, lengthPtr, from, taken);
  }
  taken = value->size();
  if (lengthPtr) *lengthPtr = fixed;
  return kOk;
}

extern "C" {

SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
  return answer<Stmt>(handle, "SQLNumResultCols", [&](Stmt& stmt) {
    columnOf(stmt, 0);
    *count = stmt.result ? static_cast<SQLSMALLINT>(stmt.result->columns.size()) : 0;
    return kOk;
  });
}

SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT number, SQLCHAR* name, SQLSMALLINT size,
                                 SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* columnSize,
                                 SQLSMALLINT* scale, SQLSMALLINT* nullable) {
  return answer<Stmt>(handle, "SQLDescribeCol", [&](Stmt& stmt) {
    const ScriptColumn* column = columnOf(stmt, number);
    if (!column) return stmt.post("07009");
    if (type) *type = column->sqlType;
    if (columnSize) *columnSize = column->size;
    if (scale) *scale = column->scale;
    if (nullable) *nullable = SQL_NULLABLE;
    return copyText(stmt, column->name, name, size, length);
  });
}

SQLRETURN SQL_API SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT number, SQLUSMALLINT field, SQLPOINTER text,
                                  SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return columnAttribute("SQLColAttribute", handle, number, field, text, size, length, value);
}
SQLRETURN SQL_API SQLColAttributes(SQLHSTMT handle, SQLUSMALLINT number, SQLUSMALLINT field, SQLPOINTER text,
                                   SQLSMALLINT size, SQLSMALLINT* length, SQLLEN* value) {
  return columnAttribute("SQLColAttributes", handle, number, field, text, size, length, value);
}

SQLRETURN SQL_API SQLBindCol(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT cType, SQLPOINTER data,
                             SQLLEN length, SQLLEN* lengthPtr) {
  return answer<Stmt>(handle, "SQLBindCol", [&](Stmt& stmt) {
    auto& records = stmt.ard->contents.records;
    records.erase(static_cast<SQLSMALLINT>(number));
    if (data) records[static_cast<SQLSMALLINT>(number)] = {cType, 0, data, length, lengthPtr, lengthPtr};
    return kOk;
  });
}

SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) { return answer<Stmt>(handle, "SQLFetch", fetchArray); }

SQLRETURN SQL_API SQLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN) {
  return answer<Stmt>(handle, "SQLFetchScroll", [&](Stmt& stmt) {
    return orientation == SQL_FETCH_NEXT ? fetchArray(stmt) : stmt.post("HY106");
  });
}

SQLRETURN SQL_API SQLExtendedFetch(SQLHSTMT handle, SQLUSMALLINT orientation, SQLLEN, SQLULEN* fetched,
                                   SQLUSMALLINT* status) {
  return answer<Stmt>(handle, "SQLExtendedFetch", [&](Stmt& stmt) {
    if (orientation != SQL_FETCH_NEXT) return stmt.post("HY106");
    const SQLULEN size = stmt.attributes[SQL_ROWSET_SIZE];
    return fetch(stmt, size ? size : 1, fetched, status);
  });
}

SQLRETURN SQL_API SQLGetData(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT cType, SQLPOINTER target,
                             SQLLEN size, SQLLEN* lengthPtr) {
  return answer<Stmt>(handle, "SQLGetData", [&](Stmt& stmt) {
    const ScriptColumn* column = columnOf(stmt, number);
    if (!column || stmt.position == 0 || stmt.position > stmt.result->rows.size()) return stmt.post("24000");
    const ScriptValue& value = stmt.result->rows[stmt.position - 1].values[number - 1];
    const auto given = stmt.taken.find(number);
    const std::size_t from = given == stmt.taken.end() ? 0 : given->second;
    if (given != stmt.taken.end() && (!value || from >= value->size())) return kNoData;
    std::size_t taken = 0;
    const SQLRETURN rc =
        convert(stmt, value, *column, cType, target, size, lengthPtr, lengthPtr, from, taken);
    stmt.taken[number] = from + taken;
    return rc;
  });
}

SQLRETURN SQL_API SQLSetPos(SQLHSTMT handle, SQLSETPOSIROW, SQLUSMALLINT, SQLUSMALLINT) {
  return answer<Stmt>(handle, "SQLSetPos", [](Stmt&) { return kOk; });
}
SQLRETURN SQL_API SQLSetScrollOptions(SQLHSTMT handle, SQLUSMALLINT, SQLLEN, SQLUSMALLINT) {
  return answer<Stmt>(handle, "SQLSetScrollOptions", [](Stmt&) { return kOk; });
}

}  // extern "C"
