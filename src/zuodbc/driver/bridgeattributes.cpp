// Statement attributes and statement options, either through the other, and what is kept of them.

#include <cstdint>

#include "zuodbc/call/crossing.h"
#include "zuodbc/driver/bridge.h"
#include "zuodbc/driver/optioncell.h"

namespace dm {
namespace {

// True for the options of ODBC 2, and for those that a driver defines.
bool isOption(SQLINTEGER attribute) {
  if (attribute >= SQL_ATTR_APP_ROW_DESC && attribute <= SQL_ATTR_METADATA_ID) return false;
  return (attribute >= SQL_QUERY_TIMEOUT && attribute <= SQL_ROW_NUMBER) ||
         (attribute >= kFirstDriverAttribute && attribute <= UINT16_MAX);
}

bool isDescriptor(SQLINTEGER attribute) {
  return attribute >= SQL_ATTR_APP_ROW_DESC && attribute <= SQL_ATTR_IMP_PARAM_DESC;
}

// No attribute of the standard is a text. What a driver defines is one if its length can be that of a text.
bool mayBeText(SQLINTEGER attribute, SQLINTEGER length) {
  const bool isStandard = attribute >= SQL_ATTR_APP_ROW_DESC && attribute <= SQL_ATTR_METADATA_ID;
  return attribute >= kFirstDriverAttribute && !isStandard && (length == SQL_NTS || length > 0);
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

// SQLParamOptions of a driver that writes the number of the row whether anybody wants it or not.
SQLRETURN paramOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN rows, SQLULEN* rowPtr) {
  if (!driver.SQLParamOptions && rows <= 1 && !rowPtr) return SQL_SUCCESS;
  SQLULEN* cell = rowPtr ? rowPtr : &stmt.state->driverRowset.parameterRow;
  return ask(driver.SQLParamOptions, stmt.driverHandle, rows, cell);
}

// The size of the extended row set. A driver that chooses another size says so with SQL_SUCCESS_WITH_INFO;
// `rows` is then the size that it chose.
SQLRETURN setRowsetSize(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN& rows) {
  DriverRowset& known = stmt.state->driverRowset;
  if (known.size == rows) return SQL_SUCCESS;
  const SQLRETURN rc =
      driver.SQLSetStmtOption
          ? ask(driver.SQLSetStmtOption, stmt.driverHandle, SQL_ROWSET_SIZE, rows)
          : ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ROWSET_SIZE, asPointer(rows), SQL_IS_UINTEGER);
  if (!SQL_SUCCEEDED(rc)) return rc;
  if (rc == SQL_SUCCESS_WITH_INFO) {
    pullDriverErrors(stmt);  // the next call to the driver loses them
    SQLULEN chosen = 0;
    const SQLRETURN asked = ask(driver.SQLGetStmtOption, stmt.driverHandle, SQLUSMALLINT(SQL_ROWSET_SIZE),
                                static_cast<SQLPOINTER>(&chosen));
    if (SQL_SUCCEEDED(asked) && chosen != 0) rows = chosen;
  }
  known.size = rows;
  return rc;
}

// An attribute on a driver that has options, and SQLParamOptions for the parameter array. `value` becomes
// what the driver has chosen.
SQLRETURN setOption(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute, SQLPOINTER& value,
                    SQLINTEGER length) {
  switch (attribute) {
    case SQL_ATTR_PARAMSET_SIZE:
      return paramOptions(stmt, driver, asNumber(value), stmt.ipd->rowsProcessedPtr);
    case SQL_ATTR_PARAMS_PROCESSED_PTR:
      return paramOptions(stmt, driver, stmt.apd->arraySize, static_cast<SQLULEN*>(value));
    case SQL_ATTR_ROW_ARRAY_SIZE:
    case SQL_ROWSET_SIZE: {
      SQLULEN rows = asNumber(value);
      if (rows > 1 && !driver.SQLExtendedFetch) return refuse(stmt, "HYC00");
      const SQLRETURN rc = setRowsetSize(stmt, driver, rows);
      value = asPointer(rows);
      return rc;
    }
    // Kept here and used when rows are fetched.
    case SQL_ATTR_ROW_STATUS_PTR:
    case SQL_ATTR_ROWS_FETCHED_PTR:
    case SQL_ATTR_FETCH_BOOKMARK_PTR: return SQL_SUCCESS;
    default: break;
  }
  if (isDescriptor(attribute) && (!value || static_cast<DMDesc*>(value)->ownerStmt == &stmt))
    return SQL_SUCCESS;
  if (attribute > UINT16_MAX) return refuse(stmt, "HY092");
  if (isOption(attribute)) {
    const bool isText = attribute >= kFirstDriverAttribute && length != SQL_NTS;
    std::string text(isText ? valueBytes(value, length) : std::string_view());
    const SQLPOINTER given = text.empty() ? value : text.data();
    const SQLRETURN rc =
        ask(driver.SQLSetStmtOption, stmt.driverHandle, SQLUSMALLINT(attribute), asNumber(given));
    if (SQL_SUCCEEDED(rc) && attribute == SQL_BIND_TYPE) stmt.state->driverRowset.bindType = asNumber(value);
    return rc;
  }
  // An attribute of ODBC 3 can only be set to its default: no pointer, column-wise, false.
  return value ? refuse(stmt, "HYC00") : SQLRETURN(SQL_SUCCESS);
}

// The attributes of ODBC 3 that a driver of ODBC 2 has by their default only.
bool isVersion3Switch(SQLINTEGER attribute) {
  return attribute == SQL_ATTR_CURSOR_SCROLLABLE || attribute == SQL_ATTR_CURSOR_SENSITIVITY ||
         attribute == SQL_ATTR_ENABLE_AUTO_IPD || attribute == SQL_ATTR_METADATA_ID;
}

SQLRETURN getOption(DMStmt& stmt, const DMDriverFunctions& driver, SQLINTEGER attribute, SQLPOINTER value,
                    SQLINTEGER size, SQLINTEGER* lengthPtr) {
  if (attribute > UINT16_MAX) return refuse(stmt, "HY092");
  OptionCell cell;
  SQLRETURN rc = SQL_SUCCESS;
  if (isOption(attribute)) {
    rc = ask(driver.SQLGetStmtOption, stmt.driverHandle, SQLUSMALLINT(attribute), cell.address());
  } else if (!isVersion3Switch(attribute)) {
    rc = kDriverLacksFunction;
  }
  if (!SQL_SUCCEEDED(rc)) return rc;
  const bool isEither = attribute >= kFirstDriverAttribute && size > 0;
  return ownOutcome(
      rc, isEither ? cell.giveEither(stmt, Form::Narrow, valueOut(Form::Narrow, value, size, lengthPtr, true))
                   : cell.giveNumber(sizeof(SQLULEN), value, lengthPtr));
}

// Where the count of parameter sets goes. The cursor library keeps it on the application's descriptor.
SQLULEN* processedPtr(const DMStmt& stmt) {
  return stmt.apd->rowsProcessedPtr ? stmt.apd->rowsProcessedPtr : stmt.ipd->rowsProcessedPtr;
}

// Reads an attribute that is kept here; false if it is not one of those.
bool keptStmtAttr(DMStmt& stmt, SQLINTEGER attribute, SQLPOINTER value) {
  const auto number = [&](SQLULEN kept) { *static_cast<SQLULEN*>(value) = kept; };
  const auto pointer = [&](void* kept) { *static_cast<void**>(value) = kept; };
  switch (attribute) {
    case SQL_ATTR_ROW_BIND_TYPE: number(stmt.ard->bindType); return true;
    case SQL_ATTR_ROW_ARRAY_SIZE: number(stmt.ard->arraySize); return true;
    case SQL_ROWSET_SIZE: number(stmt.rowsetSize); return true;
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

// A number that a driver may have changed when it was set, so that the driver is asked for it.
bool mayDifferInDriver(SQLINTEGER attribute, const DMDriverFunctions& driver) {
  if (!driver.SQLGetStmtAttr) return false;
  return attribute == SQL_ATTR_ROW_ARRAY_SIZE || attribute == SQL_ATTR_ROW_BIND_TYPE ||
         (attribute == SQL_ROWSET_SIZE && driver.SQLExtendedFetch);
}

// Parameters on a driver that has only SQLParamOptions for their arrays. What it cannot obey would give wrong
// rows, so the execution is refused.
SQLRETURN takeParameterOptions(DMStmt& stmt, const DMDriverFunctions& driver) {
  const DMDesc& apd = *stmt.apd;
  const DMDesc& ipd = *stmt.ipd;
  const bool isRowWise = apd.bindType != SQL_PARAM_BIND_BY_COLUMN && apd.arraySize > 1;
  if (isRowWise || apd.bindOffsetPtr || apd.arrayStatusPtr || ipd.arrayStatusPtr)
    return refuse(stmt, "HYC00");
  if (!((apd.headerChanged | ipd.headerChanged) & 1)) return SQL_SUCCESS;
  const SQLRETURN rc = paramOptions(stmt, driver, apd.arraySize, processedPtr(stmt));
  return rc == kDriverLacksFunction ? refuse(stmt, "HYC00") : rc;
}

SQLRETURN takeParameterAttributes(DMStmt& stmt, const DMDriverFunctions& driver) {
  if (!((stmt.apd->headerChanged | stmt.ipd->headerChanged) & 1)) return SQL_SUCCESS;
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
    const SQLRETURN rc =
        ask(driver.SQLSetStmtAttr, stmt.driverHandle, setting.attribute, setting.value, setting.length);
    // A driver may not know a setting that nobody uses.
    if (!SQL_SUCCEEDED(rc) && setting.value) return rc;
  }
  return SQL_SUCCESS;
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
    // Another thread that frees a descriptor looks for the statements that use it.
    case SQL_ATTR_APP_ROW_DESC:
      __atomic_store_n(&stmt.ard, desc ? desc : &stmt.implicitArdStorage, __ATOMIC_RELAXED);
      return;
    case SQL_ATTR_APP_PARAM_DESC:
      __atomic_store_n(&stmt.apd, desc ? desc : &stmt.implicitApdStorage, __ATOMIC_RELAXED);
      return;
    default: return;
  }
}

SQLRETURN driverSetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length, Form form) {
  SQLRETURN rc;
  // An extended fetch through SQLFetchScroll sets the driver's row array itself.
  const bool staysHere = attribute == SQL_ROWSET_SIZE && !driver.SQLExtendedFetch && driver.SQLFetchScroll;
  const bool asOption = api == Api::SetStmtOption && driver.SQLSetStmtOption && isOption(attribute);
  if (staysHere) {
    rc = SQL_SUCCESS;
  } else if (!driver.SQLSetStmtAttr || asOption) {
    rc = setOption(stmt, driver, attribute, value, length);
  } else {
    const SQLPOINTER given = isDescriptor(attribute) ? driverDescriptor(stmt, value) : value;
    rc = askText(stmt, DM_ENTRIES(driver, SQLSetStmtAttr), stmt.driverHandle, attribute,
                 valueIn(form, given, length, mayBeText(attribute, length)));
    if (SQL_SUCCEEDED(rc) && attribute == SQL_ROWSET_SIZE) stmt.state->driverRowset.size = asNumber(value);
    if (SQL_SUCCEEDED(rc) && attribute == SQL_BIND_TYPE) stmt.state->driverRowset.bindType = asNumber(value);
  }
  if (SQL_SUCCEEDED(rc)) keepStmtAttr(stmt, attribute, value);
  return rc;
}

SQLRETURN driverGetStmtAttr(DMStmt& stmt, const DMDriverFunctions& driver, Api api, SQLINTEGER attribute,
                            SQLPOINTER value, SQLINTEGER length, SQLINTEGER* lengthPtr, Form form) {
  // The cursor library asks for the attributes -1 and -2 as options, cut to 16 bits.
  if (api == Api::GetStmtOption && attribute >= UINT16_MAX - 1) attribute -= UINT16_MAX + 1;
  OptionCell unwanted;
  if (!value) {
    value = unwanted.address();
    length = SQL_MAX_OPTION_STRING_LENGTH;
  }
  if (!mayDifferInDriver(attribute, driver) && keptStmtAttr(stmt, attribute, value)) {
    if (lengthPtr) *lengthPtr = sizeof(SQLULEN);
    return SQL_SUCCESS;
  }
  // The bookmark of the current row is a column, not an attribute, in ODBC 3.
  if (attribute == SQL_GET_BOOKMARK && !driver.SQLGetStmtOption) {
    SQLLEN received = 0;
    return ask(driver.SQLGetData, stmt.driverHandle, SQLUSMALLINT(0), SQLSMALLINT(SQL_C_BOOKMARK), value,
               SQLLEN(sizeof(SQLULEN)), &received);
  }
  if (!driver.SQLGetStmtAttr || (api == Api::GetStmtOption && driver.SQLGetStmtOption && isOption(attribute)))
    return getOption(stmt, driver, attribute, value, length, lengthPtr);
  return askText(stmt, DM_ENTRIES(driver, SQLGetStmtAttr), stmt.driverHandle, attribute,
                 valueOut(form, value, length, lengthPtr, mayBeText(attribute, length)));
}

SQLRETURN driverTakeRowset(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN rows) {
  DriverRowset& known = stmt.state->driverRowset;
  SQLULEN chosen = rows;
  const SQLRETURN rc = setRowsetSize(stmt, driver, chosen);
  if (!SQL_SUCCEEDED(rc)) return rc;
  if (rc == SQL_SUCCESS_WITH_INFO) dropUnsettled(stmt);
  if (chosen > rows) return refuse(stmt, "HYC00");  // more than the application's arrays hold
  const SQLULEN bindType = stmt.ard->bindType;
  if (known.bindType == bindType || rows <= 1) return SQL_SUCCESS;
  const SQLRETURN bound = driver.SQLSetStmtOption
                              ? ask(driver.SQLSetStmtOption, stmt.driverHandle, SQL_BIND_TYPE, bindType)
                              : ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_BIND_TYPE,
                                    asPointer(bindType), SQL_IS_UINTEGER);
  if (SQL_SUCCEEDED(bound)) known.bindType = bindType;
  return bound;
}

SQLRETURN driverParamOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLULEN rows, SQLULEN* rowPtr) {
  SQLRETURN rc;
  if (driver.SQLSetStmtAttr) {
    rc = ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ATTR_PARAMSET_SIZE, asPointer(rows),
             SQL_IS_UINTEGER);
    if (SQL_SUCCEEDED(rc)) {
      rc = ask(driver.SQLSetStmtAttr, stmt.driverHandle, SQL_ATTR_PARAMS_PROCESSED_PTR, rowPtr,
               SQL_IS_POINTER);
    }
  } else {
    rc = paramOptions(stmt, driver, rows, rowPtr);
  }
  if (!SQL_SUCCEEDED(rc)) return rc;
  keepStmtAttr(stmt, SQL_ATTR_PARAMSET_SIZE, asPointer(rows));
  (isMarked(&stmt) ? stmt.apd : stmt.ipd)->rowsProcessedPtr = rowPtr;
  return rc;
}

SQLRETURN driverSetScrollOptions(DMStmt& stmt, const DMDriverFunctions& driver, SQLUSMALLINT concurrency,
                                 SQLLEN keyset, SQLUSMALLINT rowset) {
  if (driver.SQLSetScrollOptions && !driver.SQLSetStmtAttr) {
    const SQLRETURN rc = ask(driver.SQLSetScrollOptions, stmt.driverHandle, concurrency, keyset, rowset);
    if (SQL_SUCCEEDED(rc)) stmt.rowsetSize = stmt.state->driverRowset.size = rowset;
    return rc;
  }
  // A positive size is the keyset of a keyset-driven cursor; the others are cursor types, negated.
  SQLULEN type = keyset > 0 ? SQLULEN(SQL_CURSOR_KEYSET_DRIVEN) : SQLULEN(-keyset);
  if (keyset == SQL_SCROLL_DYNAMIC) type = SQL_CURSOR_DYNAMIC;
  const auto set = [&](SQLINTEGER attribute, SQLULEN number) {
    return driverSetStmtAttr(stmt, driver, Api::SetStmtAttr, attribute, asPointer(number), SQL_IS_UINTEGER);
  };
  SQLRETURN rc = set(SQL_ATTR_CURSOR_TYPE, type);
  if (SQL_SUCCEEDED(rc)) rc = set(SQL_ATTR_CONCURRENCY, concurrency);
  if (SQL_SUCCEEDED(rc) && keyset > 0) rc = set(SQL_ATTR_KEYSET_SIZE, SQLULEN(keyset));
  if (SQL_SUCCEEDED(rc)) rc = set(SQL_ROWSET_SIZE, rowset);
  return rc;
}

SQLRETURN driverTakeParameterHeader(DMStmt& stmt, const DMDriverFunctions& driver) {
  const SQLRETURN rc =
      driver.SQLSetStmtAttr ? takeParameterAttributes(stmt, driver) : takeParameterOptions(stmt, driver);
  if (!SQL_SUCCEEDED(rc)) return rc;
  stmt.apd->headerChanged &= ~1u;
  stmt.ipd->headerChanged &= ~1u;
  return rc;
}

}  // namespace dm
