// Statement attributes and statement options, either through the other, and what is kept of them.

#include "zuodbc/driver/bridge.h"

namespace dm {
namespace {

SQLPOINTER asPointer(SQLULEN number) { return reinterpret_cast<SQLPOINTER>(number); }
SQLULEN asNumber(SQLPOINTER value) { return reinterpret_cast<SQLULEN>(value); }

// The first option that belongs to a driver alone.
constexpr SQLINTEGER DRIVER_OPTIONS = 1000;

bool isVersion2Option(SQLINTEGER attribute) {
  return (attribute >= SQL_QUERY_TIMEOUT && attribute <= SQL_ROW_NUMBER) || attribute >= DRIVER_OPTIONS;
}

bool isDescriptor(SQLINTEGER attribute) {
  return attribute >= SQL_ATTR_APP_ROW_DESC && attribute <= SQL_ATTR_IMP_PARAM_DESC;
}

// The driver's handle of the descriptor that the application, or the cursor library, has named.
SQLPOINTER driverDescriptor(const DMStmt& stmt, SQLPOINTER value) {
  auto* desc = static_cast<DMDesc*>(value);
  if (!desc || desc->ownerStmt == &stmt) return SQL_NULL_HDESC;
  return desc->selfRef == desc ? desc->driverHandle : desc->selfRef;
}

void keepBookmarks(DMStmt& stmt, SQLULEN value) {
  stmt.useBookmarks = value;
  stmt.flags &= ~unsigned(DM_STMT_UB_ON | DM_STMT_UB_VARIABLE);
  if (value == SQL_UB_FIXED) stmt.flags |= DM_STMT_UB_ON;
  if (value == SQL_UB_VARIABLE) stmt.flags |= DM_STMT_UB_VARIABLE;
}

// A driver below version 3 has options, and SQLParamOptions for the parameter array.
SQLRETURN setOnOldDriver(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute,
                         SQLPOINTER value) {
  switch (attribute) {
    case SQL_ATTR_PARAMSET_SIZE:
      if (!driver.SQLParamOptions && asNumber(value) == 1) return SQL_SUCCESS;
      return ask(driver.SQLParamOptions, stmt.driverHandle, asNumber(value), stmt.ipd->rowsProcessedPtr);
    case SQL_ATTR_PARAMS_PROCESSED_PTR:
      if (!driver.SQLParamOptions && !value) return SQL_SUCCESS;
      return ask(driver.SQLParamOptions, stmt.driverHandle, stmt.apd->arraySize,
                 static_cast<SQLULEN*>(value));
    case SQL_ATTR_ROW_ARRAY_SIZE:
      if (!driver.SQLSetStmtOption && asNumber(value) == 1) return SQL_SUCCESS;
      return ask(driver.SQLSetStmtOption, stmt.driverHandle, SQLUSMALLINT(SQL_ROWSET_SIZE), asNumber(value));
    // Kept here and used when rows are fetched.
    case SQL_ATTR_ROW_STATUS_PTR:
    case SQL_ATTR_ROWS_FETCHED_PTR:
    case SQL_ATTR_FETCH_BOOKMARK_PTR: return SQL_SUCCESS;
    default: break;
  }
  if (isVersion2Option(attribute)) {
    return ask(driver.SQLSetStmtOption, stmt.driverHandle, SQLUSMALLINT(attribute), asNumber(value));
  }
  // Of what ODBC 2 cannot do, only the default can be set: no pointer, column-wise, no more than usual.
  return value ? refuse(stmt, "HYC00") : SQLRETURN(SQL_SUCCESS);
}

// Where the count of parameter sets goes. The cursor library keeps it on the application's descriptor.
SQLULEN* processedPtr(const DMStmt& stmt) {
  return stmt.apd->rowsProcessedPtr ? stmt.apd->rowsProcessedPtr : stmt.ipd->rowsProcessedPtr;
}

// The answer from what is kept here; false when the attribute is not one of those.
bool keptStmtAttr(DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  auto number = [&](SQLULEN kept) { *static_cast<SQLULEN*>(value) = kept; };
  auto pointer = [&](void* kept) { *static_cast<void**>(value) = kept; };
  switch (attribute) {
    case SQL_ATTR_ROW_BIND_TYPE: number(stmt.ard->bindType); return true;
    case SQL_ATTR_ROW_ARRAY_SIZE: number(stmt.ard->arraySize); return true;
    case SQL_ATTR_PARAM_BIND_TYPE: number(stmt.apd->bindType); return true;
    case SQL_ATTR_PARAMSET_SIZE: number(stmt.apd->arraySize); return true;
    case SQL_ATTR_PARAM_BIND_OFFSET_PTR: pointer(stmt.apd->bindOffsetPtr); return true;
    case SQL_ATTR_PARAM_OPERATION_PTR: pointer(stmt.apd->arrayStatusPtr); return true;
    case SQL_ATTR_PARAM_STATUS_PTR: pointer(stmt.ipd->arrayStatusPtr); return true;
    case SQL_ATTR_PARAMS_PROCESSED_PTR: pointer(processedPtr(stmt)); return true;
    case SQL_ATTR_ROW_BIND_OFFSET_PTR: pointer(stmt.ard->bindOffsetPtr); return true;
    case SQL_ATTR_ROW_OPERATION_PTR: pointer(stmt.ard->arrayStatusPtr); return true;
    case SQL_ATTR_ROW_STATUS_PTR: pointer(stmt.ird->arrayStatusPtr); return true;
    case SQL_ATTR_ROWS_FETCHED_PTR: pointer(stmt.ird->rowsProcessedPtr); return true;
    case SQL_ATTR_FETCH_BOOKMARK_PTR: pointer(stmt.fetchBookmarkPtr); return true;
    case SQL_ATTR_APP_ROW_DESC: pointer(stmt.savedArd ? stmt.savedArd : stmt.ard); return true;
    case SQL_ATTR_APP_PARAM_DESC: pointer(stmt.apd); return true;
    case SQL_ATTR_IMP_ROW_DESC: pointer(stmt.ird); return true;
    case SQL_ATTR_IMP_PARAM_DESC: pointer(stmt.ipd); return true;
    default: return false;
  }
}

// A number that a version 3 driver may have changed when it was set, so that it has the last word.
bool driverKnowsBetter(SQLINTEGER attribute) {
  return attribute == SQL_ATTR_ROW_ARRAY_SIZE || attribute == SQL_ATTR_ROW_BIND_TYPE;
}

}  // namespace

void keepStmtAttr(DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) noexcept {
  auto status = static_cast<SQLUSMALLINT*>(value);
  auto* desc = static_cast<DMDesc*>(value);
  switch (attribute) {
    case SQL_ATTR_ASYNC_ENABLE:
      stmt.flags = asNumber(value) ? stmt.flags | DM_STMT_ASYNC : stmt.flags & ~unsigned(DM_STMT_ASYNC);
      return;
    case SQL_ATTR_ROW_BIND_TYPE: stmt.ard->bindType = asNumber(value); return;
    case SQL_ROWSET_SIZE: stmt.rowsetSize = asNumber(value); return;
    case SQL_ATTR_USE_BOOKMARKS: return keepBookmarks(stmt, asNumber(value));
    case SQL_ATTR_FETCH_BOOKMARK_PTR: stmt.fetchBookmarkPtr = static_cast<SQLLEN*>(value); return;
    case SQL_ATTR_PARAM_BIND_OFFSET_PTR: stmt.apd->bindOffsetPtr = static_cast<SQLLEN*>(value); return;
    case SQL_ATTR_PARAM_BIND_TYPE: stmt.apd->bindType = asNumber(value); return;
    case SQL_ATTR_PARAM_OPERATION_PTR: stmt.apd->arrayStatusPtr = status; return;
    case SQL_ATTR_PARAM_STATUS_PTR: stmt.ipd->arrayStatusPtr = status; return;
    case SQL_ATTR_PARAMS_PROCESSED_PTR: stmt.ipd->rowsProcessedPtr = static_cast<SQLULEN*>(value); return;
    case SQL_ATTR_PARAMSET_SIZE: stmt.apd->arraySize = asNumber(value); return;
    case SQL_ATTR_ROW_BIND_OFFSET_PTR: stmt.ard->bindOffsetPtr = static_cast<SQLLEN*>(value); return;
    case SQL_ATTR_ROW_OPERATION_PTR: stmt.ard->arrayStatusPtr = status; return;
    case SQL_ATTR_ROW_STATUS_PTR: stmt.ird->arrayStatusPtr = status; return;
    case SQL_ATTR_ROWS_FETCHED_PTR: stmt.ird->rowsProcessedPtr = static_cast<SQLULEN*>(value); return;
    case SQL_ATTR_ROW_ARRAY_SIZE: stmt.ard->arraySize = asNumber(value); return;
    case SQL_ATTR_APP_ROW_DESC: stmt.ard = desc ? desc : &stmt.implicitArdStorage; return;
    case SQL_ATTR_APP_PARAM_DESC: stmt.apd = desc ? desc : &stmt.implicitApdStorage; return;
    default: return;
  }
}

SQLRETURN driverSetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length) {
  SQLRETURN rc;
  if (driver.SQLSetStmtAttr) {
    SQLPOINTER given = isDescriptor(attribute) ? driverDescriptor(stmt, value) : value;
    rc = driver.SQLSetStmtAttr(stmt.driverHandle, attribute, given, length);
  } else {
    rc = isDescriptor(attribute) ? driverLacksFunction : setOnOldDriver(stmt, driver, attribute, value);
  }
  if (SQL_SUCCEEDED(rc)) keepStmtAttr(stmt, attribute, value);
  return rc;
}

SQLRETURN driverGetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length, SQLINTEGER* lengthPtr) {
  value = value ? value : orScratch<SQLULEN>(nullptr);
  if (!(driverKnowsBetter(attribute) && driver.SQLGetStmtAttr) && keptStmtAttr(stmt, attribute, value)) {
    if (lengthPtr) *lengthPtr = sizeof(SQLULEN);
    return SQL_SUCCESS;
  }
  if (driver.SQLGetStmtAttr || !isVersion2Option(attribute)) {
    return ask(driver.SQLGetStmtAttr, stmt.driverHandle, attribute, value, length, lengthPtr);
  }
  if (lengthPtr) *lengthPtr = sizeof(SQLULEN);
  return ask(driver.SQLGetStmtOption, stmt.driverHandle, SQLUSMALLINT(attribute), value);
}

SQLRETURN driverSetStmtOption(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT option,
                              SQLULEN value) {
  if (!driver.SQLSetStmtOption)
    return driverSetStmtAttr(stmt, driver, option, asPointer(value), SQL_IS_UINTEGER);
  SQLRETURN rc = driver.SQLSetStmtOption(stmt.driverHandle, option, value);
  if (SQL_SUCCEEDED(rc)) keepStmtAttr(stmt, option, asPointer(value));
  return rc;
}

SQLRETURN driverGetStmtOption(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT option,
                              SQLPOINTER value) {
  value = value ? value : orScratch<SQLULEN>(nullptr);
  if (driver.SQLGetStmtOption) return driver.SQLGetStmtOption(stmt.driverHandle, option, value);
  // The bookmark of the current row is a column, not an attribute, in ODBC 3.
  if (option == SQL_GET_BOOKMARK) {
    SQLLEN length = 0;
    return ask(driver.SQLGetData, stmt.driverHandle, SQLUSMALLINT(0), SQLSMALLINT(SQL_C_BOOKMARK), value,
               SQLLEN(sizeof(SQLULEN)), &length);
  }
  return driverGetStmtAttr(stmt, driver, option, value, SQL_MAX_OPTION_STRING_LENGTH, nullptr);
}

SQLRETURN driverParamOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN rows, SQLULEN* rowPtr) {
  SQLRETURN rc;
  if (driver.SQLParamOptions) {
    rc = driver.SQLParamOptions(stmt.driverHandle, rows, rowPtr);
  } else {
    rc = ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ATTR_PARAMSET_SIZE, asPointer(rows),
             SQL_IS_UINTEGER);
    if (SQL_SUCCEEDED(rc)) {
      rc = driver.SQLSetStmtAttr(stmt.driverHandle, SQL_ATTR_PARAMS_PROCESSED_PTR, rowPtr, SQL_IS_POINTER);
    }
  }
  if (!SQL_SUCCEEDED(rc)) return rc;
  keepStmtAttr(stmt, SQL_ATTR_PARAMSET_SIZE, asPointer(rows));
  (isMarked(&stmt) ? stmt.apd : stmt.ipd)->rowsProcessedPtr = rowPtr;
  return rc;
}

SQLRETURN driverSetScrollOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT concurrency,
                                 SQLLEN keyset, SQLUSMALLINT rowset) {
  if (driver.SQLSetScrollOptions && !driver.SQLSetStmtAttr) {
    SQLRETURN rc = driver.SQLSetScrollOptions(stmt.driverHandle, concurrency, keyset, rowset);
    if (SQL_SUCCEEDED(rc)) stmt.rowsetSize = rowset;
    return rc;
  }
  // A positive size is the keyset of a keyset-driven cursor, the rest are cursor types by their own numbers.
  SQLULEN type = keyset > 0 ? SQLULEN(SQL_CURSOR_KEYSET_DRIVEN) : SQLULEN(-keyset);
  if (keyset == SQL_SCROLL_DYNAMIC) type = SQL_CURSOR_DYNAMIC;
  auto set = [&](SQLINTEGER attribute, SQLULEN number) {
    return driverSetStmtAttr(stmt, driver, attribute, asPointer(number), SQL_IS_UINTEGER);
  };
  SQLRETURN rc = set(SQL_ATTR_CURSOR_TYPE, type);
  if (SQL_SUCCEEDED(rc)) rc = set(SQL_ATTR_CONCURRENCY, concurrency);
  if (SQL_SUCCEEDED(rc) && keyset > 0) rc = set(SQL_ATTR_KEYSET_SIZE, SQLULEN(keyset));
  if (SQL_SUCCEEDED(rc)) rc = set(SQL_ROWSET_SIZE, rowset);
  return rc;
}

SQLRETURN driverTakeParameterHeader(DMStmt& stmt, const DMDriverFunctions& driver) {
  if (!((stmt.apd->headerChanged | stmt.ipd->headerChanged) & 1) || !driver.SQLSetStmtAttr)
    return SQL_SUCCESS;
  const struct {
    SQLINTEGER attribute;
    SQLPOINTER value;
    SQLINTEGER length;
  } settings[] = {
      {SQL_ATTR_PARAM_BIND_TYPE, asPointer(stmt.apd->bindType), SQL_IS_UINTEGER},
      {SQL_ATTR_PARAM_BIND_OFFSET_PTR, stmt.apd->bindOffsetPtr, SQL_IS_POINTER},
      {SQL_ATTR_PARAM_OPERATION_PTR, stmt.apd->arrayStatusPtr, SQL_IS_POINTER},
      {SQL_ATTR_PARAM_STATUS_PTR, stmt.ipd->arrayStatusPtr, SQL_IS_POINTER},
      {SQL_ATTR_PARAMS_PROCESSED_PTR, processedPtr(stmt), SQL_IS_POINTER},
      {SQL_ATTR_PARAMSET_SIZE, asPointer(stmt.apd->arraySize), SQL_IS_UINTEGER},
  };
  for (const auto& setting : settings) {
    SQLRETURN rc = driver.SQLSetStmtAttr(stmt.driverHandle, setting.attribute, setting.value, setting.length);
    // A driver may not know a setting that nobody uses.
    if (!SQL_SUCCEEDED(rc) && setting.value) return rc;
  }
  stmt.apd->headerChanged &= ~1u;
  stmt.ipd->headerChanged &= ~1u;
  return SQL_SUCCESS;
}

}  // namespace dm
